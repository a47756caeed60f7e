// CSSE3dPolygon: containment tests and the point filters built on them.

#include <emmintrin.h>

#include <limits>
#include <vector>

#include "contour/crossing_rule.h"
#include "relief/CSSE3dPolygon.h"

using relief::detail::CrossingParity;

namespace {

struct Point3 {
  float x, y, z;
};

}  // namespace

bool CSSE3dPolygon::PointInLineInnerArea(float x, float y, int step) {
  if (m_nNumPoints < 3) return false;
  if (!m_bBoundingBoxCalculated) CalcBoundingBox();
  // The box pre-test is inclusive: a point on the box edge goes on to the
  // crossing rule.
  if (x < m_pBottomLeft2D->x || y < m_pBottomLeft2D->y || x > m_pTopRight2D->x || y > m_pTopRight2D->y)
    return false;
  return CrossingParity(m_pX, m_pY, m_nNumPoints, step, x, y);
}

// The box pre-test of the SSE forms compares all four lanes of (x, y, 0, w)
// with the 2D corners (z = w = 0), so only w = 0 can pass.
static bool InsideBoxAllLanes(const SSEPoint& q, const SSEPoint& low, const SSEPoint& high) {
  const __m128 outside = _mm_or_ps(_mm_cmplt_ps(q.m, low.m), _mm_cmpgt_ps(q.m, high.m));
  return _mm_movemask_ps(outside) == 0;
}

bool CSSE3dPolygon::PointInLineInnerArea(SSEPoint& p, int step) {
  if (m_nNumPoints < 3) return false;
  if (!m_bBoundingBoxCalculated) CalcBoundingBox();
  SSEPoint q = p;
  q.z = 0.0f;
  if (!InsideBoxAllLanes(q, *m_pBottomLeft2D, *m_pTopRight2D)) return false;
  return CrossingParity(m_pX, m_pY, m_nNumPoints, step, q.x, q.y);
}

bool CSSE3dPolygon::PointInLineInnerAreaNormalized(float x, float y, int step) {
  if (m_nNumPoints < 3) return false;
  if (!m_bBoundingBoxCalculated) CalcBoundingBox();
  // The pre-test deliberately uses the raw box, not a normalized one:
  // callers normalize with factors near 1 and rely on the cheap rejection.
  if (x < m_pBottomLeft2D->x || y < m_pBottomLeft2D->y || x > m_pTopRight2D->x || y > m_pTopRight2D->y)
    return false;
  return CrossingParity(m_pXNormalized, m_pYNormalized, m_nNumPoints, step, x, y);
}

bool CSSE3dPolygon::PointInLineInnerAreaNormalized(SSEPoint& p, int step) {
  if (m_nNumPoints < 3) return false;
  if (!m_bBoundingBoxCalculated) CalcBoundingBox();
  SSEPoint q = p;
  q.z = 0.0f;
  if (!InsideBoxAllLanes(q, *m_pBottomLeft2D, *m_pTopRight2D)) return false;
  return CrossingParity(m_pXNormalized, m_pYNormalized, m_nNumPoints, step, q.x, q.y);
}

bool CSSE3dPolygon::PolygonInThisPolygon(CSSE3dPolygon& other) {
  if (m_nNumPoints < 1 || other.m_nNumPoints < 1) return false;
  for (int i = 0; i < other.m_nNumPoints; ++i) {
    SSEPoint p;
    other.GetPointSSE(i, p);
    if (!PointInLineInnerArea(p, 1)) return false;
  }
  return true;
}

// Re-creates the polygon from the kept points (possibly none).
static void ReplacePoints(CSSE3dPolygon& poly, const std::vector<Point3>& kept) {
  poly.Create(static_cast<int>(kept.size()));
  for (int i = 0; i < poly.GetNumPoints(); ++i) poly.SetPoint(i, kept[i].x, kept[i].y, kept[i].z);
}

void CSSE3dPolygon::KeepPointsInInner(CSSE3dPolygon& other) {
  std::vector<Point3> kept;
  for (int i = 0; i < m_nNumPoints; ++i)
    if (other.PointInLineInnerArea(m_pX[i], m_pY[i], 1)) kept.push_back({m_pX[i], m_pY[i], m_pZ[i]});
  ReplacePoints(*this, kept);
}

void CSSE3dPolygon::KeepPointsBelow(CSSE3dPolygon& other) {
  std::vector<Point3> kept;
  // Until other yields a closest point nothing can be "below" it.
  float reference = -std::numeric_limits<float>::infinity();
  for (int i = 0; i < m_nNumPoints; ++i) {
    SSEPoint p;
    GetPointSSE(i, p);
    const int j = other.ClosestPoint(p);
    if (j >= 0 && j < other.m_nNumPoints) reference = other.m_pY[j];
    if (reference > p.y) kept.push_back({p.x, p.y, p.z});
  }
  ReplacePoints(*this, kept);
}
