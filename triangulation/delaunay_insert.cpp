// Starting a triangulation and inserting one vertex: the affected triangles,
// the split of the one holding the point, and the hand-over of the new
// triangles to the working list.
#include <xmmintrin.h>

#include <algorithm>
#include <vector>

#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_circle_grid.h"
#include "triangulation/delaunay_predicates.h"
#include "triangulation/delaunay_small.h"

namespace {

// Asks for the cache line holding p; a hint, never a fault.
inline void PrefetchLine(const void* p) { _mm_prefetch(static_cast<const char*>(p), _MM_HINT_T0); }

// A matched triangle's neighbourhood: what its removal from the working list
// rewrites (its list neighbours, its grid cells) and what the split and the
// legalisation read first (its corners, the triangles across its sides).
void PrefetchNeighbourhood(const t_hdelaunaytriangle* t, const SSEPoint* vertices,
                           const relief::detail::CCircleGrid& grid) {
  if (t->pPrev) PrefetchLine(t->pPrev);
  if (t->pNext) PrefetchLine(t->pNext);
  for (const t_hdelaunaytriangle* across : t->pNeighbour)
    if (across) PrefetchLine(across);
  for (int corner : t->nVertex) PrefetchLine(vertices + corner);
  grid.Prefetch(t);
}

}  // namespace

namespace relief::detail {

PlainScansWhileSmall::PlainScansWhileSmall(TaCIncrementalDelaunay2D& d, int points)
    : m_d(d), m_switched(!d.GetReferenceScans() && points < d.GetPlainScansBelow()) {
  if (m_switched) m_d.SetReferenceScans(true);
}

PlainScansWhileSmall::~PlainScansWhileSmall() {
  if (m_switched) m_d.SetReferenceScans(false);
}

}  // namespace relief::detail

void TaCIncrementalDelaunay2D::Triangulate(int count, bool finalize, bool boxStart) {
  if (GetNumVertices() < 3) return;
  ClearAffectedTriangleList();
  ClearFinalTriangleList();
  ClearTriangleList();
  const relief::detail::PlainScansWhileSmall small(*this, std::min(count, GetNumVertices()));
  // The final list is gone, so nothing may be copied back from it later.
  m_bFinalized = false;

  if (!boxStart) {
    t_hdelaunaytriangle* t = NewTriangle();
    t->nVertex[0] = 0;
    t->nVertex[1] = 1;
    t->nVertex[2] = 2;
    if (GetOrientation(t) == -1) FlipTriangleOrientation(t);
    CalcCircumCircle(t);
    AppendToWorking(t);
    const int last = std::min(count, GetNumVertices());
    for (int v = 3; v < last; ++v) InsertVertex(v);
  } else {
    SSEPoint lo, hi;
    int corner[4];  // minimum, maximum, (min x, max y), (max x, min y)
    corner[0] = MinPointIndex(lo);
    corner[1] = MaxPointIndex(hi);
    SSEPoint mixed[2];
    mixed[0].m = _mm_setr_ps(lo.x, hi.y, 0.0f, 0.0f);
    mixed[1].m = _mm_setr_ps(hi.x, lo.y, 0.0f, 0.0f);
    corner[2] = PointIndex(mixed[0]);
    corner[3] = PointIndex(mixed[1]);
    SSEPoint wanted[4];
    wanted[0].m = _mm_setr_ps(lo.x, lo.y, 0.0f, 0.0f);
    wanted[1].m = _mm_setr_ps(hi.x, hi.y, 0.0f, 0.0f);
    wanted[2] = mixed[0];
    wanted[3] = mixed[1];
    for (int i = 0; i < 4; ++i) {
      if (corner[i] >= 0 || GetNumVertices() >= GetMaxNumVertices()) continue;
      corner[i] = GetNumVertices();
      AppendVertex(wanted[i]);
    }
    // Without room for a corner there is no box to start from.
    if (corner[0] < 0 || corner[1] < 0 || corner[2] < 0 || corner[3] < 0) return;
    t_hdelaunaytriangle* t1 = NewTriangle();
    t_hdelaunaytriangle* t2 = NewTriangle();
    t1->nVertex[0] = corner[3];
    t1->nVertex[1] = corner[2];
    t1->nVertex[2] = corner[0];
    t2->nVertex[0] = corner[2];
    t2->nVertex[1] = corner[3];
    t2->nVertex[2] = corner[1];
    t1->pNeighbour[0] = t2;
    t2->pNeighbour[0] = t1;
    CalcCircumCircle(t1);
    CalcCircumCircle(t2);
    AppendToWorking(t1);
    AppendToWorking(t2);
    const int last = std::min(count, GetNumVertices());
    for (int v = 0; v < last; ++v)
      if (v != corner[0] && v != corner[1] && v != corner[2] && v != corner[3]) InsertVertex(v);
  }
  if (finalize) FinalizeTriangleList();
}

void TaCIncrementalDelaunay2D::InsertVertex(int vertex) {
  // Triangulations insert vertices in index order: the next one's query
  // cell is requested now, so that its misses overlap this insertion.
  if (!m_bReferenceScans && vertex + 1 < GetNumVertices())
    m_pGrid->PrefetchQuery(m_pVertices[vertex + 1].x, m_pVertices[vertex + 1].y);
  CalcAffectedTriangles(vertex);
  ProcessAffectedTriangles(vertex);
  LegalizeEdges();
  AddNewTrianglesToList();
  m_AffectedTriangleList.RemoveAll();
}

void TaCIncrementalDelaunay2D::InsertVertexIntoTriangulation(int vertex) {
  if (vertex < 0 || vertex >= GetNumVertices()) return;
  InsertVertex(vertex);
}

void TaCIncrementalDelaunay2D::InsertVertexIntoTriangulation(float x, float y, bool finalize) {
  ClearAffectedTriangleList();
  if (m_bFinalized) {
    ClearTriangleList();
    CopyFinalTriangleListToTriangleList();
  }
  if (GetNumVertices() < GetMaxNumVertices()) {
    SSEPoint p;
    p.m = _mm_setr_ps(x, y, 0.0f, 0.0f);
    AppendVertex(p);
    InsertVertex(GetNumVertices() - 1);
  }
  if (finalize) FinalizeTriangleList();
}

// Every unlocked working triangle whose circle strictly holds the vertex moves
// to the affected list, in working-list order. The grid narrows the search to
// a few candidates; sorting the matches by the rank of their append restores
// the order in which a scan of the list would have met them.
int TaCIncrementalDelaunay2D::CalcAffectedTriangles(int vertex) {
  m_AffectedTriangleList.RemoveAll();
  const float x = m_pVertices[vertex].x, y = m_pVertices[vertex].y;
  int moved = 0;
  if (m_bReferenceScans) {
    for (t_hdelaunaytriangle* t = m_TriangleList.GetHead(); t;) {
      t_hdelaunaytriangle* next = t->pNext;
      if (!t->bLocked && relief::detail::InCircleFloat(t, x, y)) {
        RemoveFromWorking(t);
        m_AffectedTriangleList.AddTail(t);
        ++moved;
      }
      t = next;
    }
  } else {
    t_hdelaunaytriangle* local[32];
    std::vector<t_hdelaunaytriangle*> spill;
    int n = 0;
    m_pGrid->ForEachContaining(x, y, [&](t_hdelaunaytriangle* t) {
      PrefetchLine(t);
      if (n < 32)
        local[n++] = t;
      else
        spill.push_back(t);
    });
    t_hdelaunaytriangle** found = local;
    if (!spill.empty()) {
      spill.insert(spill.begin(), local, local + n);
      found = spill.data();
      n = static_cast<int>(spill.size());
    }
    // The matches lie all over memory. Their records were requested above,
    // their neighbourhoods are requested here, so that the misses overlap.
    n = static_cast<int>(std::remove_if(found, found + n, [](const t_hdelaunaytriangle* t) { return t->bLocked; }) - found);
    for (int i = 0; i < n; ++i) PrefetchNeighbourhood(found[i], m_pVertices, *m_pGrid);
    std::sort(found, found + n,
              [](const t_hdelaunaytriangle* a, const t_hdelaunaytriangle* b) { return a->nSequence < b->nSequence; });
    for (int i = 0; i < n; ++i) {
      RemoveFromWorking(found[i]);
      m_AffectedTriangleList.AddTail(found[i]);
    }
    moved = n;
  }
  m_nNumAffected = moved;
  return moved;
}

void TaCIncrementalDelaunay2D::ProcessAffectedTriangles(int vertex) {
  if (m_nNumAffected == 0) {
    AppendExteriorPoint(vertex);
    return;
  }
  int visited = 0;
  bool placed = false;
  for (t_hdelaunaytriangle* t = m_AffectedTriangleList.GetHead(); t && visited < m_nNumAffected; t = t->pNext) {
    if (t->bKill) continue;
    ++visited;
    if (SplitAt(vertex, t)) {
      placed = true;
      break;
    }
  }
  if (!placed) placed = SplitNextToAffected(vertex);
  if (!placed) AppendExteriorPoint(vertex);
  KillIgnoredTriangles();
}

// Splits t, an affected triangle, at the vertex if the vertex lies in it;
// false when it does not.
bool TaCIncrementalDelaunay2D::SplitAt(int vertex, t_hdelaunaytriangle* t) {
  EPointWhere where = PointWhere(vertex, t);
  if (where == ePointOutside) return false;
  if (where != ePointInside) where = CheckedSideSplit(vertex, t, where);
  if (where == ePointOutside) return false;
  t_hdelaunaytriangle* children[4] = {};
  t_hdelaunaytriangle* across = where == ePointInside ? nullptr : t->pNeighbour[where - ePointOnSide0];
  const int made = MakeChildren(vertex, where, t, children);
  m_AffectedTriangleList.RemoveAt(t);
  ReleaseTriangle(t);
  for (int i = 0; i < made; ++i) m_AffectedTriangleList.AddTail(children[i]);
  // A split neighbour is gone at once. When its circle missed the point it
  // is still in the working list, where no sweep would find it.
  if (made == 4 && InWorkingList(across)) {
    RemoveFromWorking(across);
    ReleaseTriangle(across);
  }
  return true;
}

namespace {

void AddOnce(std::vector<t_hdelaunaytriangle*>& list, t_hdelaunaytriangle* t) {
  if (t && !t->bKill && !t->bLocked && std::find(list.begin(), list.end(), t) == list.end()) list.push_back(t);
}

int CornerIndex(const t_hdelaunaytriangle* t, int v) {
  for (int k = 0; k < 3; ++k)
    if (t->nVertex[k] == v) return k;
  return -1;
}

// The triangles around corner v of t, walked across the sides that meet at
// v, first one way and then the other, until the walk comes back to t or
// reaches the hull. Bounded: a broken fan cannot make it run away. True when
// the walk came back to t: v's fan is a closed ring, met whole, so a walk
// around v from any other of its triangles would add nothing new (t aside).
// A fan cut by a missing neighbour may continue beyond the gap from another
// triangle at v, so it does not count.
bool AddFan(t_hdelaunaytriangle* t, int v, std::vector<t_hdelaunaytriangle*>& out) {
  static constexpr int kPrev[3] = {2, 0, 1};
  constexpr int kMostSteps = 256;
  bool closed = false;
  for (int way = 0; way < 2; ++way) {
    const t_hdelaunaytriangle* from = t;
    int side = way == 0 ? CornerIndex(t, v) : kPrev[CornerIndex(t, v)];
    for (int step = 0; step < kMostSteps; ++step) {
      t_hdelaunaytriangle* next = from->pNeighbour[side];
      if (next == t) closed = true;
      if (!next || next == t) break;
      AddOnce(out, next);
      const int at = CornerIndex(next, v);
      if (at < 0) break;
      // Of next's two sides at v, the one not shared with `from`.
      side = next->pNeighbour[at] == from ? kPrev[at] : at;
      from = next;
    }
  }
  return closed;
}

// The triangles met on a walk from t towards p: each step crosses a side
// that has p strictly on its far side (exact orientation). Bounded, since a
// walk in a triangulation that is not Delaunay may circle.
void AddWalkTowards(t_hdelaunaytriangle* t, const SSEPoint& p, const SSEPoint* vertices,
                    std::vector<t_hdelaunaytriangle*>& out) {
  constexpr int kMostSteps = 64;
  for (int step = 0; step < kMostSteps && t; ++step) {
    t_hdelaunaytriangle* next = nullptr;
    for (int side = 0; side < 3 && !next; ++side) {
      const SSEPoint& a = vertices[t->nVertex[side]];
      const SSEPoint& b = vertices[t->nVertex[(side + 1) % 3]];
      if (relief::detail::TurnsLeftExact(b.x, b.y, a.x, a.y, p.x, p.y)) next = t->pNeighbour[side];
    }
    if (!next || next->bKill) return;
    AddOnce(out, next);
    t = next;
  }
}

}  // namespace

// The triangle holding the point may have a float circle that misses it (a
// thin triangle's circle lies far off). It borders an affected triangle, or,
// next to a corner, lies in the fan around one of their corners, or, rarely,
// further off towards the point. Tried in that order, each in list order.
bool TaCIncrementalDelaunay2D::SplitNextToAffected(int vertex) {
  std::vector<t_hdelaunaytriangle*>& ring = m_NearbyTriangles;
  std::vector<int>& fans = m_WholeFans;
  ring.clear();
  fans.clear();
  std::size_t tried = 0;
  for (int stage = 0; stage < 3; ++stage) {
    for (t_hdelaunaytriangle* t : m_AffectedTriangleList) {
      if (t->bKill) continue;
      if (stage == 0)
        for (t_hdelaunaytriangle* n : t->pNeighbour) AddOnce(ring, n);
      else if (stage == 1)
        for (int v : t->nVertex) {
          // Neighbouring affected triangles share corners: a closed fan met
          // whole is not walked again (the affected triangles it would add from
          // another start are never tried, being out of the working list).
          if (std::find(fans.begin(), fans.end(), v) != fans.end()) continue;
          if (AddFan(t, v, ring)) fans.push_back(v);
        }
      else
        AddWalkTowards(t, m_pVertices[vertex], m_pVertices, ring);
    }
    for (; tried < ring.size(); ++tried) {
      t_hdelaunaytriangle* n = ring[tried];
      if (!InWorkingList(n) || CheckedPointWhere(vertex, n) == ePointOutside) continue;
      RemoveFromWorking(n);
      m_AffectedTriangleList.AddTail(n);
      return SplitAt(vertex, n);
    }
  }
  return false;
}

// PointWhere, with the splits it asks for checked against the exact
// orientation of the pieces. The side tolerance is an area: beside a short
// side it reaches far, so a point it calls "on the side" may lie beyond the
// side's end, or be such that the neighbour's halves would turn clockwise.
// Such a point is taken by a split into three when it lies strictly inside
// the triangle and is left to the neighbour otherwise. On a hull side (no
// neighbour) a point strictly inside is split into three as well, which
// keeps the hull convex (halves would leave a notch), and a point strictly
// outside is an exterior point: every hull side it sees takes it.
EPointWhere TaCIncrementalDelaunay2D::CheckedPointWhere(int vertex, t_hdelaunaytriangle* t) const {
  const EPointWhere where = PointWhere(vertex, t);
  if (where == ePointOutside || where == ePointInside) return where;
  return CheckedSideSplit(vertex, t, where);
}

EPointWhere TaCIncrementalDelaunay2D::CheckedSideSplit(int vertex, t_hdelaunaytriangle* t, EPointWhere where) const {
  using relief::detail::TurnsLeftExact;
  const int side = where - ePointOnSide0;
  const SSEPoint& v = m_pVertices[vertex];
  const SSEPoint& a = m_pVertices[t->nVertex[side]];
  const SSEPoint& b = m_pVertices[t->nVertex[(side + 1) % 3]];
  const SSEPoint& c = m_pVertices[t->nVertex[(side + 2) % 3]];
  const bool strictlyInside = TurnsLeftExact(a.x, a.y, b.x, b.y, v.x, v.y);
  const bool strictlyOutside = TurnsLeftExact(b.x, b.y, a.x, a.y, v.x, v.y);
  const t_hdelaunaytriangle* across = t->pNeighbour[side];
  const ESharedSide acrossSide = across ? FindCommonSide(static_cast<ESharedSide>(side), t, across) : eNoCommonSide;
  if (acrossSide == eNoCommonSide) return strictlyInside ? ePointInside : strictlyOutside ? ePointOutside : where;
  const SSEPoint& d = m_pVertices[across->nVertex[(acrossSide + 2) % 3]];
  // The halves (a, v, c), (v, b, c) here and (b, v, d), (v, a, d) beyond.
  const bool halvesTurnLeft = TurnsLeftExact(a.x, a.y, v.x, v.y, c.x, c.y) && TurnsLeftExact(v.x, v.y, b.x, b.y, c.x, c.y) &&
                              TurnsLeftExact(b.x, b.y, v.x, v.y, d.x, d.y) && TurnsLeftExact(v.x, v.y, a.x, a.y, d.x, d.y);
  if (halvesTurnLeft) return where;
  return strictlyInside ? ePointInside : ePointOutside;
}

//            c                      c
//           / \                    /|\       X = (a, b, v)
//          /   \                  / | \      Y = (b, c, v)
//         /  v  \       ->       / Z v Y\    Z = (c, a, v)
//        /       \              / /  X \ \   .
//       a---------b            a---------b
void TaCIncrementalDelaunay2D::SplitTriangleIntoThree(int vertex, t_hdelaunaytriangle* old, t_hdelaunaytriangle* x,
                                                      t_hdelaunaytriangle* y, t_hdelaunaytriangle* z) {
  CopyTriangle(old, x);
  CopyTriangle(old, y);
  CopyTriangle(old, z);
  const int a = old->nVertex[0], b = old->nVertex[1], c = old->nVertex[2];
  t_hdelaunaytriangle* ta = old->pNeighbour[0];
  t_hdelaunaytriangle* tb = old->pNeighbour[1];
  t_hdelaunaytriangle* tc = old->pNeighbour[2];
  x->nVertex[0] = a, x->nVertex[1] = b, x->nVertex[2] = vertex;
  y->nVertex[0] = b, y->nVertex[1] = c, y->nVertex[2] = vertex;
  z->nVertex[0] = c, z->nVertex[1] = a, z->nVertex[2] = vertex;
  x->pNeighbour[0] = ta, x->pNeighbour[1] = y, x->pNeighbour[2] = z;
  y->pNeighbour[0] = tb, y->pNeighbour[1] = z, y->pNeighbour[2] = x;
  z->pNeighbour[0] = tc, z->pNeighbour[1] = x, z->pNeighbour[2] = y;
  CalcCircumCircle(x);
  CalcCircumCircle(y);
  CalcCircumCircle(z);
  ReplaceNeighbourInNeighbour(ta, old, x);
  ReplaceNeighbourInNeighbour(tb, old, y);
  ReplaceNeighbourInNeighbour(tc, old, z);
}

// The vertex lies on `side`; the line from it to the opposite corner cuts the
// triangle in two. The halves keep the outer neighbours of the two unsplit
// sides; the split side's halves are linked to the neighbour's halves later.
void TaCIncrementalDelaunay2D::SplitTriangleIntoTwo(int vertex, ESharedSide side, t_hdelaunaytriangle* old,
                                                    t_hdelaunaytriangle* x, t_hdelaunaytriangle* y) {
  CopyTriangle(old, x);
  CopyTriangle(old, y);
  const int a = old->nVertex[0], b = old->nVertex[1], c = old->nVertex[2];
  t_hdelaunaytriangle* ta = old->pNeighbour[0];
  t_hdelaunaytriangle* tb = old->pNeighbour[1];
  t_hdelaunaytriangle* tc = old->pNeighbour[2];
  switch (side) {
    case eSide0:  // X = (a, v, c), Y = (v, b, c)
      x->nVertex[0] = a, x->nVertex[1] = vertex, x->nVertex[2] = c;
      y->nVertex[0] = vertex, y->nVertex[1] = b, y->nVertex[2] = c;
      x->pNeighbour[1] = y;
      y->pNeighbour[2] = x;
      ReplaceNeighbourInNeighbour(tc, old, x);
      ReplaceNeighbourInNeighbour(tb, old, y);
      break;
    case eSide1:  // X = (a, b, v), Y = (a, v, c)
      x->nVertex[0] = a, x->nVertex[1] = b, x->nVertex[2] = vertex;
      y->nVertex[0] = a, y->nVertex[1] = vertex, y->nVertex[2] = c;
      x->pNeighbour[2] = y;
      y->pNeighbour[0] = x;
      ReplaceNeighbourInNeighbour(ta, old, x);
      ReplaceNeighbourInNeighbour(tc, old, y);
      break;
    case eSide2:  // X = (a, b, v), Y = (v, b, c)
      x->nVertex[0] = a, x->nVertex[1] = b, x->nVertex[2] = vertex;
      y->nVertex[0] = vertex, y->nVertex[1] = b, y->nVertex[2] = c;
      x->pNeighbour[1] = y;
      y->pNeighbour[0] = x;
      ReplaceNeighbourInNeighbour(ta, old, x);
      ReplaceNeighbourInNeighbour(tb, old, y);
      break;
    default:
      return;
  }
  CalcCircumCircle(x);
  CalcCircumCircle(y);
}

// The split of t at the vertex: three children for a point inside; for a
// point on a side two children, plus two more from the neighbour across that
// side, which gets the kill mark and stays where it is until a sweep deletes
// it. The four are linked pairwise. Returns the number of children.
int TaCIncrementalDelaunay2D::MakeChildren(int vertex, EPointWhere where, t_hdelaunaytriangle* t,
                                           t_hdelaunaytriangle* children[4]) {
  if (where == ePointInside) {
    for (int i = 0; i < 3; ++i) children[i] = NewTriangle();
    SplitTriangleIntoThree(vertex, t, children[0], children[1], children[2]);
    return 3;
  }
  if (where < ePointOnSide0 || where > ePointOnSide2) return 0;
  const ESharedSide side = static_cast<ESharedSide>(where - ePointOnSide0);
  t_hdelaunaytriangle* across = t->pNeighbour[side];
  children[0] = NewTriangle();
  children[1] = NewTriangle();
  SplitTriangleIntoTwo(vertex, side, t, children[0], children[1]);
  if (!across) return 2;
  const ESharedSide acrossSide = FindCommonSide(side, t, across);
  if (acrossSide == eNoCommonSide) return 2;
  children[2] = NewTriangle();
  children[3] = NewTriangle();
  SplitTriangleIntoTwo(vertex, acrossSide, across, children[2], children[3]);
  across->bKill = true;
  for (int i = 0; i < 4; ++i)
    for (int j = i + 1; j < 4; ++j) FindNeighbours(children[i], children[j]);
  return 4;
}

void TaCIncrementalDelaunay2D::KillIgnoredTriangles() {
  for (t_hdelaunaytriangle* t = m_AffectedTriangleList.GetHead(); t;) {
    t_hdelaunaytriangle* next = t->pNext;
    if (t->bKill) {
      m_AffectedTriangleList.RemoveAt(t);
      ReleaseTriangle(t);
    }
    t = next;
  }
}

void TaCIncrementalDelaunay2D::AddNewTrianglesToList() {
  for (t_hdelaunaytriangle* t = m_AffectedTriangleList.GetHead(); t;) {
    t_hdelaunaytriangle* next = t->pNext;
    m_AffectedTriangleList.RemoveAt(t);
    if (t->bKill)
      ReleaseTriangle(t);
    else
      AppendToWorking(t);
    t = next;
  }
}
