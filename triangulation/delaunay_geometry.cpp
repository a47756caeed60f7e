// Orientation, position and circumcircle tests, and the record helpers that
// link triangles to each other.
#include <cmath>
#include <cstring>

#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_circle_grid.h"
#include "triangulation/delaunay_predicates.h"

using relief::detail::Cross;
using relief::detail::kSideTolerance;

EPointWhere TaCIncrementalDelaunay2D::PointWhere(int vertex, t_hdelaunaytriangle* t) const {
  return PointWhere(m_pVertices[vertex].x, m_pVertices[vertex].y, t);
}

// A point within the tolerance of a corner has two small values and so is
// reported outside: such a point is not connected rather than making a
// sliver. The comparisons are strict, so exactly 0.005 counts as neither.
EPointWhere TaCIncrementalDelaunay2D::PointWhere(float x, float y, t_hdelaunaytriangle* t) const {
  const SSEPoint& a = m_pVertices[t->nVertex[0]];
  const SSEPoint& b = m_pVertices[t->nVertex[1]];
  const SSEPoint& c = m_pVertices[t->nVertex[2]];
  const float s0 = Cross(a.x, a.y, b.x, b.y, x, y);
  const float s1 = Cross(b.x, b.y, c.x, c.y, x, y);
  const float s2 = Cross(c.x, c.y, a.x, a.y, x, y);
  const bool in0 = s0 > kSideTolerance, in1 = s1 > kSideTolerance, in2 = s2 > kSideTolerance;
  if (in0 && in1 && in2) return ePointInside;
  const auto onLine = [](float s) { return s > -kSideTolerance && s < kSideTolerance; };
  if (onLine(s0) && in1 && in2) return ePointOnSide0;
  if (onLine(s1) && in0 && in2) return ePointOnSide1;
  if (onLine(s2) && in0 && in1) return ePointOnSide2;
  return ePointOutside;
}

// A nearly collinear triangle reports -1 like a clockwise one: the start
// triangle is reordered, never rejected.
int TaCIncrementalDelaunay2D::GetOrientation(t_hdelaunaytriangle* t) const {
  const SSEPoint& a = m_pVertices[t->nVertex[0]];
  const SSEPoint& b = m_pVertices[t->nVertex[1]];
  const SSEPoint& c = m_pVertices[t->nVertex[2]];
  const bool ccw = Cross(a.x, a.y, b.x, b.y, c.x, c.y) > kSideTolerance &&
                   Cross(b.x, b.y, c.x, c.y, a.x, a.y) > kSideTolerance &&
                   Cross(c.x, c.y, a.x, a.y, b.x, b.y) > kSideTolerance;
  return ccw ? 1 : -1;
}

bool TaCIncrementalDelaunay2D::InCircumCircle(int vertex, t_hdelaunaytriangle* t) const {
  return relief::detail::InCircleFloat(t, m_pVertices[vertex].x, m_pVertices[vertex].y);
}

// Float throughout, with no guard for collinear corners: their centre and
// radius come out infinite or NaN and then fail every in-circle comparison.
void TaCIncrementalDelaunay2D::CalcCircumCircle(t_hdelaunaytriangle* t) {
  const SSEPoint& p = m_pVertices[t->nVertex[0]];
  const SSEPoint& q = m_pVertices[t->nVertex[1]];
  const SSEPoint& r = m_pVertices[t->nVertex[2]];
  const float ex = p.x - q.x, ey = p.y - q.y;
  const float fx = r.x - q.x, fy = r.y - q.y;
  const float h = ((p.x * p.x - q.x * q.x) + (p.y * p.y - q.y * q.y)) / 2.0f;
  const float k = ((r.x * r.x - q.x * q.x) + (r.y * r.y - q.y * q.y)) / 2.0f;
  const float d = ex * fy - fx * ey;
  const float cx = (fy * h - ey * k) / d;
  const float cy = (ex * k - fx * h) / d;
  const float dx = cx - p.x, dy = cy - p.y;
  t->fCenterX = cx;
  t->fCenterY = cy;
  t->fRadiusSqr = dx * dx + dy * dy;
  // A working triangle whose circle moved (an in-place flip) is re-filed.
  if (InWorkingIndex(t)) m_pGrid->Update(t);
}

// ---- records ----------------------------------------------------------------

t_hdelaunaytriangle* TaCIncrementalDelaunay2D::InitNewTriangle() {
  t_hdelaunaytriangle* t = new t_hdelaunaytriangle();
  t->nPoolIndex = -1;
  t->nGridLevel = -1;
  t->nHullSlot = -1;
  return t;
}

void TaCIncrementalDelaunay2D::DeleteTriangle(t_hdelaunaytriangle* t) { delete t; }

// Copies what a triangle means (corners, circle, neighbours, marks, field
// slots), never the list and search bookkeeping of the destination.
void TaCIncrementalDelaunay2D::CopyTriangle(const t_hdelaunaytriangle* from, t_hdelaunaytriangle* to) {
  std::memcpy(to->nVertex, from->nVertex, sizeof(to->nVertex));
  to->fCenterX = from->fCenterX;
  to->fCenterY = from->fCenterY;
  to->fRadiusSqr = from->fRadiusSqr;
  for (int i = 0; i < 3; ++i) to->pNeighbour[i] = from->pNeighbour[i];
  to->bKill = from->bKill;
  to->bOutside = from->bOutside;
  to->bBorder = from->bBorder;
  to->bLocked = from->bLocked;
  to->pNormal = from->pNormal;
  to->pCenter = from->pCenter;
}

void TaCIncrementalDelaunay2D::FlipTriangleOrientation(t_hdelaunaytriangle* t) {
  const int32_t v = t->nVertex[0];
  t->nVertex[0] = t->nVertex[1];
  t->nVertex[1] = v;
}

// Links the two triangles across the first side of `a` that `b` shares.
void TaCIncrementalDelaunay2D::FindNeighbours(t_hdelaunaytriangle* a, t_hdelaunaytriangle* b) {
  if (!a || !b || a == b) return;
  for (int s = 0; s < 3; ++s) {
    const ESharedSide other = FindCommonSide(static_cast<ESharedSide>(s), a, b);
    if (other != eNoCommonSide) {
      a->pNeighbour[s] = b;
      b->pNeighbour[other] = a;
      return;
    }
  }
}

void TaCIncrementalDelaunay2D::ReplaceMeInNeighbours(t_hdelaunaytriangle* me, t_hdelaunaytriangle* old) {
  for (int s = 0; s < 3; ++s) ReplaceNeighbourInNeighbour(me->pNeighbour[s], old, me);
}

// ---- exact orientation --------------------------------------------------------

namespace {
void TwoSum(double a, double b, double& x, double& y) {
  x = a + b;
  const double bv = x - a, av = x - bv;
  y = (a - av) + (b - bv);
}
void TwoProduct(double a, double b, double& x, double& y) {
  x = a * b;
  y = std::fma(a, b, -x);
}
}  // namespace

// Floats are exact in double; each difference becomes a pair (value,
// rounding error), each product of pairs four exact pairs, and the sixteen
// terms are summed into a non-overlapping expansion whose largest component
// carries the sign of the exact determinant.
bool relief::detail::TurnsLeftExactSlow(float ax, float ay, float bx, float by, float cx, float cy) {
  double e[4][2];
  TwoSum(bx, -static_cast<double>(ax), e[0][0], e[0][1]);
  TwoSum(cy, -static_cast<double>(ay), e[1][0], e[1][1]);
  TwoSum(by, -static_cast<double>(ay), e[2][0], e[2][1]);
  TwoSum(cx, -static_cast<double>(ax), e[3][0], e[3][1]);
  double terms[16];
  int n = 0;
  for (int i = 0; i < 2; ++i)
    for (int j = 0; j < 2; ++j) {
      TwoProduct(e[0][i], e[1][j], terms[n], terms[n + 1]);
      TwoProduct(-e[2][i], e[3][j], terms[n + 2], terms[n + 3]);
      n += 4;
    }
  double h[17];
  int m = 0;
  for (double term : terms) {
    double q = term;
    int k = 0;
    for (int i = 0; i < m; ++i) {
      double sum, err;
      TwoSum(q, h[i], sum, err);
      if (err != 0.0) h[k++] = err;
      q = sum;
    }
    h[k++] = q;
    m = k;
  }
  for (int i = m - 1; i >= 0; --i)
    if (h[i] != 0.0) return h[i] > 0.0;
  return false;
}
