// Merging a second triangulation's points into this one.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_border_walk.h"

namespace {

uint64_t XYKey(const SSEPoint& p) {
  const float x = p.x + 0.0f, y = p.y + 0.0f;  // -0 and +0 are one position
  uint32_t bx, by;
  std::memcpy(&bx, &x, sizeof bx);
  std::memcpy(&by, &y, sizeof by);
  return (static_cast<uint64_t>(bx) << 32) | by;
}

// Vertex index by position: open addressing over a power-of-two table at
// most half full, so that a merge's repeat search costs a few loads per point.
class CPositionTable {
 public:
  explicit CPositionTable(std::size_t expected) {
    std::size_t size = 16;
    while (size < 2 * expected) size *= 2;
    m_Keys.resize(size);
    m_Values.assign(size, -1);
    m_nMask = size - 1;
  }
  // The index stored under key, or stores `value` there and returns -1.
  int FindOrAdd(uint64_t key, int value) {
    for (std::size_t i = Hash(key) & m_nMask;; i = (i + 1) & m_nMask) {
      if (m_Values[i] < 0) {
        m_Keys[i] = key;
        m_Values[i] = value;
        return -1;
      }
      if (m_Keys[i] == key) return m_Values[i];
    }
  }

 private:
  static std::size_t Hash(uint64_t k) { return static_cast<std::size_t>((k * 0x9E3779B97F4A7C15ull) >> 20); }
  std::vector<uint64_t> m_Keys;
  std::vector<int> m_Values;
  std::size_t m_nMask;
};

const CDelaunayTriangleList& CurrentListOf(const TaCIncrementalDelaunay2D& d) {
  return d.IsFinalized() ? d.GetFinalTriangleList() : d.GetTriangleList();
}

}  // namespace

void TaCIncrementalDelaunay2D::CopyTrianglesFrom(const CDelaunayTriangleList& list, const std::vector<int>& renumber) {
  std::unordered_map<const t_hdelaunaytriangle*, t_hdelaunaytriangle*> copyOf;
  copyOf.reserve(static_cast<std::size_t>(list.GetCount()) * 2);
  std::vector<t_hdelaunaytriangle*> copies;
  copies.reserve(static_cast<std::size_t>(list.GetCount()));
  for (t_hdelaunaytriangle* t : list) {
    t_hdelaunaytriangle* c = NewTriangle();
    for (int k = 0; k < 3; ++k) c->nVertex[k] = renumber[static_cast<std::size_t>(t->nVertex[k])];
    c->fCenterX = t->fCenterX, c->fCenterY = t->fCenterY, c->fRadiusSqr = t->fRadiusSqr;
    c->bOutside = t->bOutside, c->bBorder = t->bBorder, c->bLocked = t->bLocked;
    copyOf.emplace(t, c);
    copies.push_back(c);
  }
  std::size_t i = 0;
  for (t_hdelaunaytriangle* t : list) {
    for (int k = 0; k < 3; ++k) {
      auto it = copyOf.find(t->pNeighbour[k]);
      copies[i]->pNeighbour[k] = it == copyOf.end() ? nullptr : it->second;
    }
    ++i;
  }
  for (t_hdelaunaytriangle* c : copies) AppendToWorking(c);
}

int TaCIncrementalDelaunay2D::InsertOtherTriangulation(const TaCIncrementalDelaunay2D& other, bool finalize) {
  if (&other == this) return 0;
  const CDelaunayTriangleList& theirs = CurrentListOf(other);
  if (theirs.IsEmpty()) return 0;
  using relief::detail::TriangleSide;

  // Each vertex of theirs maps to the vertex here at its position, or is
  // appended (in their index order) when there is none. Their triangles are
  // not walked: on a large triangulation that walk alone costs a tenth of
  // the insertions.
  const int theirCount = other.GetNumVertices();
  CPositionTable here(static_cast<std::size_t>(GetNumVertices() + theirCount));
  for (int v = 0; v < GetNumVertices(); ++v) here.FindOrAdd(XYKey(m_pVertices[v]), v);
  std::vector<int> renumber(static_cast<std::size_t>(theirCount), -1);
  int fresh = 0;
  for (int v = 0; v < theirCount; ++v) {
    const int found = here.FindOrAdd(XYKey(other.m_pVertices[v]), GetNumVertices() + fresh);
    renumber[static_cast<std::size_t>(v)] = found >= 0 ? found : GetNumVertices() + fresh++;
  }
  if (GetNumVertices() + fresh > GetMaxNumVertices()) ReallocSize(GetNumVertices() + fresh);
  const int first = GetNumVertices();
  for (int v = 0; v < theirCount; ++v)
    if (renumber[static_cast<std::size_t>(v)] == GetNumVertices()) {
      SSEPoint p = other.m_pVertices[v];
      p.w = 0.0f;
      AppendVertex(p);
    }

  ClearAffectedTriangleList();
  if (m_bFinalized) {
    ClearTriangleList();
    CopyFinalTriangleListToTriangleList();
  }
  RecordOpenSides(eBorderBeforeCombination);
  if (m_TriangleList.IsEmpty())
    CopyTrianglesFrom(theirs, renumber);
  else
    for (int v = first; v < GetNumVertices(); ++v) InsertVertex(v);
  RecordOpenSides(eBorderAfterCombination);
  if (finalize) FinalizeTriangleList();
  return GetNumVertices() - first;
}

// The loops of the working list's open sides. The hull-side register holds
// every working triangle with one, unless the plain scans keep no register.
void TaCIncrementalDelaunay2D::RecordOpenSides(int edgeList) {
  using relief::detail::TriangleSide;
  std::vector<t_hdelaunaytriangle*> open;
  if (m_bReferenceScans) {
    for (t_hdelaunaytriangle* t : m_TriangleList)
      if (!t->pNeighbour[0] || !t->pNeighbour[1] || !t->pNeighbour[2]) open.push_back(t);
  } else {
    open = m_HullRegister;
    // In list order, so that the loops come out as a scan of the list finds them.
    std::sort(open.begin(), open.end(),
              [](const t_hdelaunaytriangle* a, const t_hdelaunaytriangle* b) { return a->nSequence < b->nSequence; });
  }
  std::vector<TriangleSide> sides;
  for (t_hdelaunaytriangle* t : open)
    for (int s = 0; s < 3; ++s)
      if (!t->pNeighbour[s]) sides.push_back({t, s});
  RecordLoops(m_TriangleList, sides, edgeList);
}

void TaCIncrementalDelaunay2D::CombineTriangulations(const TaCIncrementalDelaunay2D& first,
                                                     const TaCIncrementalDelaunay2D& second, bool finalize) {
  if (&first == this || &second == this) {
    const TaCIncrementalDelaunay2D& other = &first == this ? second : first;
    if (&other != this) InsertOtherTriangulation(other, finalize);
    return;
  }
  ClearAffectedTriangleList();
  ClearTriangleList();
  ClearFinalTriangleList();
  m_bFinalized = false;
  CreateVertexArray(first.GetNumVertices() + second.GetNumVertices());
  InsertOtherTriangulation(first, false);
  InsertOtherTriangulation(second, finalize);
  if (finalize && !m_bFinalized) FinalizeTriangleList();
}
