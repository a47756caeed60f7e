// The polygon-bounded start and the grid insertion over a polygon's box: the
// two members that take a contour.
#include <algorithm>
#include <cmath>

#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"
#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_refine_helpers.h"
#include "triangulation/delaunay_small.h"

// The start triangle joins the leftmost, the rightmost and the topmost
// polygon point (the first of equals in each case), so it lies inside the
// hull and every other point arrives inside a circle or as an exterior point.
void TaCIncrementalDelaunay2D::Triangulate(CSSE3dPolygon* polygon, int count, bool finalize) {
  if (!polygon || polygon->GetNumPoints() < 3 || GetNumVertices() < 3) return;
  int left = -1, right = -1, top = -1;
  float minX = 999999.9f, maxX = -999999.875f, maxY = -999999.875f;
  for (int i = 0; i < polygon->GetNumPoints(); ++i) {
    float x, y;
    polygon->GetPointXY(i, x, y);
    if (x < minX) minX = x, left = i;
    if (x > maxX) maxX = x, right = i;
    if (y > maxY) maxY = y, top = i;
  }
  const int used = GetNumVertices();
  // The container is expected to hold the polygon's points under the same
  // indices; a start the container does not hold is refused.
  if (left < 0 || right < 0 || top < 0 || left >= used || right >= used || top >= used) return;
  ClearAffectedTriangleList();
  ClearFinalTriangleList();
  ClearTriangleList();
  m_bFinalized = false;
  const relief::detail::PlainScansWhileSmall small(*this, std::min(count, used));

  t_hdelaunaytriangle* t = NewTriangle();
  t->nVertex[0] = left;
  t->nVertex[1] = right;
  t->nVertex[2] = top;
  if (GetOrientation(t) == -1) FlipTriangleOrientation(t);
  CalcCircumCircle(t);
  AppendToWorking(t);
  const int last = std::min(count, used);
  for (int v = 0; v < last; ++v)
    if (v != left && v != right && v != top) InsertVertex(v);

  for (t_hdelaunaytriangle* w : m_TriangleList) {
    SSEPoint c = relief::detail::Centroid(m_pVertices[w->nVertex[0]], m_pVertices[w->nVertex[1]],
                                          m_pVertices[w->nVertex[2]]);
    if (!polygon->PointInLineInnerArea(c, 1)) w->bOutside = true;
  }
  if (finalize) FinalizeTriangleList();
}

namespace {

// First grid value from + k * step (k >= 0) that is >= lo, as a 64-bit value
// so that huge boxes cannot overflow.
long long FirstGridValueAtLeast(long long from, int step, double lo) {
  if (lo <= static_cast<double>(from)) return from;
  const double k = std::ceil((lo - static_cast<double>(from)) / step);
  return from + static_cast<long long>(k) * step;
}

}  // namespace

// Every grid point of the polygon's box strictly inside a working triangle,
// where the derivative is steep, becomes a vertex with the field's height.
// The plain form tests the whole box against every triangle; the fast form
// visits only the grid points within the triangle's own box, in the same
// x-then-y order, which appends the same points: a point inside a triangle
// (all three cross products above 0.005) lies strictly within its corners' box.
// The one-unit margin covers the rounding of the cross products for
// coordinates below 1e6; triangles beyond that use the whole box.
void TaCIncrementalDelaunay2D::HighDerivationInsertPoints(CSSEMatrix* derivative, CSSEMatrix* field,
                                                          CSSE3dPolygon& area, int threshold, int step,
                                                          bool finalize) {
  int xmin, ymin, xmax, ymax;
  area.CalcBoundingBox();
  area.GetBoundingBox2D(xmin, ymin, xmax, ymax);
  if (m_bFinalized) {
    ClearTriangleList();
    CopyFinalTriangleListToTriangleList();
  }
  const int before = GetNumVertices();
  const float limit = static_cast<float>(threshold);
  if (step >= 1 && derivative) {
    for (t_hdelaunaytriangle* t : m_TriangleList) {
      if (t->bOutside || t->bBorder) continue;
      long long x0 = xmin, y0 = ymin;
      double xHi = xmax, yHi = ymax;
      if (!m_bReferenceScans) {
        const SSEPoint& a = m_pVertices[t->nVertex[0]];
        const SSEPoint& b = m_pVertices[t->nVertex[1]];
        const SSEPoint& c = m_pVertices[t->nVertex[2]];
        const double lox = std::min({a.x, b.x, c.x}), hix = std::max({a.x, b.x, c.x});
        const double loy = std::min({a.y, b.y, c.y}), hiy = std::max({a.y, b.y, c.y});
        const double extent = std::max({std::fabs(lox), std::fabs(hix), std::fabs(loy), std::fabs(hiy)});
        if (extent < 1e6) {
          x0 = FirstGridValueAtLeast(xmin, step, lox - 1.0);
          y0 = FirstGridValueAtLeast(ymin, step, loy - 1.0);
          xHi = std::min<double>(xmax, hix + 1.0);
          yHi = std::min<double>(ymax, hiy + 1.0);
        }
      }
      for (long long x = x0; x < xmax && x <= xHi; x += step)
        for (long long y = y0; y < ymax && y <= yHi; y += step) {
          const float fx = static_cast<float>(x), fy = static_cast<float>(y);
          if (PointWhere(fx, fy, t) != ePointInside) continue;
          if (!(std::fabs(relief::detail::FieldAt(derivative, fx, fy)) > limit)) continue;
          SSEPoint p;
          p.m = _mm_setr_ps(fx, fy, relief::detail::FieldAt(field, fx, fy), 0.0f);
          AppendVertex(p);
        }
    }
  }
  InsertNewVertices(before);
  if (finalize) FinalizeTriangleList();
}
