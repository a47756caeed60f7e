// Merging a second triangulation's points into this one.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "relief/TaCIncrementalDelaunay2D.h"

namespace {

uint64_t XYKey(const SSEPoint& p) {
  uint32_t x, y;
  std::memcpy(&x, &p.x, sizeof x);
  std::memcpy(&y, &p.y, sizeof y);
  return (static_cast<uint64_t>(x) << 32) | y;
}

// Position of cell (x, y) along a Hilbert curve over a 2^16 x 2^16 grid.
uint64_t HilbertIndex(uint32_t x, uint32_t y) {
  uint64_t d = 0;
  for (uint32_t s = 1u << 15; s > 0; s >>= 1) {
    const uint32_t rx = (x & s) ? 1 : 0, ry = (y & s) ? 1 : 0;
    d += static_cast<uint64_t>(s) * s * ((3 * rx) ^ ry);
    if (ry == 0) {
      if (rx == 1) x = s - 1 - x, y = s - 1 - y;
      std::swap(x, y);
    }
  }
  return d;
}

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

  // Their vertices, each once, in index order; each mapped to this
  // container's index, new or already here with the same x and y.
  const int theirCount = other.GetNumVertices();
  std::vector<char> used(static_cast<std::size_t>(theirCount), 0);
  for (t_hdelaunaytriangle* t : theirs)
    for (int v : t->nVertex)
      if (v >= 0 && v < theirCount) used[static_cast<std::size_t>(v)] = 1;
  std::unordered_map<uint64_t, int> here;
  here.reserve(static_cast<std::size_t>(GetNumVertices() + theirCount) * 2);
  for (int v = 0; v < GetNumVertices(); ++v) here.emplace(XYKey(m_pVertices[v]), v);
  int wanted = 0;
  for (int v = 0; v < theirCount; ++v) wanted += used[static_cast<std::size_t>(v)];
  if (GetNumVertices() + wanted > GetMaxNumVertices()) ReallocSize(GetNumVertices() + wanted);

  std::vector<int> renumber(static_cast<std::size_t>(theirCount), -1);
  const int first = GetNumVertices();
  for (int v = 0; v < theirCount; ++v) {
    if (!used[static_cast<std::size_t>(v)]) continue;
    SSEPoint p = other.m_pVertices[v];
    p.w = 0.0f;
    auto [it, fresh] = here.emplace(XYKey(p), GetNumVertices());
    if (fresh) AppendVertex(p);
    renumber[static_cast<std::size_t>(v)] = it->second;
  }
  const int added = GetNumVertices() - first;

  ClearAffectedTriangleList();
  if (m_bFinalized) {
    ClearTriangleList();
    CopyFinalTriangleListToTriangleList();
  }
  RecordBorder(m_TriangleList, nullptr, eBorderBeforeCombination);
  RecordBorder(theirs, &renumber, eOtherBorderEdges);
  if (m_TriangleList.IsEmpty()) {
    CopyTrianglesFrom(theirs, renumber);
  } else if (added > 0) {
    // Inserted along a Hilbert curve over the new points' box: each insertion
    // then works where the previous one did, which keeps the records it
    // touches in the cache. In general position the result does not depend
    // on the order.
    float x0 = m_pVertices[first].x, x1 = x0, y0 = m_pVertices[first].y, y1 = y0;
    for (int v = first; v < GetNumVertices(); ++v) {
      x0 = std::min(x0, m_pVertices[v].x), x1 = std::max(x1, m_pVertices[v].x);
      y0 = std::min(y0, m_pVertices[v].y), y1 = std::max(y1, m_pVertices[v].y);
    }
    const double sx = x1 > x0 ? 65535.0 / (static_cast<double>(x1) - x0) : 0.0;
    const double sy = y1 > y0 ? 65535.0 / (static_cast<double>(y1) - y0) : 0.0;
    std::vector<std::pair<uint64_t, int>> order;
    order.reserve(static_cast<std::size_t>(added));
    for (int v = first; v < GetNumVertices(); ++v) {
      const auto cx = static_cast<uint32_t>(std::clamp((m_pVertices[v].x - x0) * sx, 0.0, 65535.0));
      const auto cy = static_cast<uint32_t>(std::clamp((m_pVertices[v].y - y0) * sy, 0.0, 65535.0));
      order.emplace_back(HilbertIndex(cx, cy), v);
    }
    std::sort(order.begin(), order.end());
    for (const auto& entry : order) InsertVertex(entry.second);
  }
  if (finalize) FinalizeTriangleList();
  return added;
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
