// CSSE3dPolygon: nearest-point searches, minimum distances to the normalized
// contour, z interpolation and the patch query.

#include <emmintrin.h>

#include <cmath>

#include "contour/closest_search.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEFns.h"

using relief::detail::ClosestEverySecond;

namespace {


// Squared planar distance: differences and squares in double, the sum
// rounded to float.
inline float SquaredDistance(float a, float b, float pa, float pb) {
  const double da = static_cast<double>(a) - pa;
  const double db = static_cast<double>(b) - pb;
  return static_cast<float>(da * da + db * db);
}

// Minimum over whole groups of four of a per-lane distance, advancing skip + 1
// groups per step. The trailing count mod 4 points are left out on purpose.
template <class Distance>
float MinOverGroups(int count, int skip, Distance distance) {
  __m128 best = _mm_set1_ps(1e6f);
  const int groups = count / 4;
  const int advance = skip + 1 > 0 ? skip + 1 : 1;
  for (int g = 0; g < groups; g += advance) best = _mm_min_ps(distance(4 * g), best);  // NaN lanes skipped
  float result;
  CSSEFns::min_of_m128(best, &result);
  return result;
}

}  // namespace

int CSSE3dPolygon::ClosestPoint(SSEPoint& q) const {
  if (m_nNumPoints < 1) return -1;
  float best = 1e7f;
  int index = -1;
  for (int i = 0; i < m_nNumPoints; ++i) {
    const float d = CSSEFns::euclideandistance(_mm_setr_ps(m_pX[i], m_pY[i], m_pZ[i], 0.0f), q.m);
    if (d < best) {
      best = d;
      index = i;
    }
  }
  return index;
}

int CSSE3dPolygon::ClosestPointXY(float x, float y) const {
  return ClosestEverySecond(m_nNumPoints, [&](int i) { return SquaredDistance(x, y, m_pX[i], m_pY[i]); });
}

int CSSE3dPolygon::ClosestPointYZ(float y, float z) const {
  return ClosestEverySecond(m_nNumPoints, [&](int i) { return SquaredDistance(y, z, m_pY[i], m_pZ[i]); });
}

int CSSE3dPolygon::ClosestPointX(float x) const {
  return ClosestEverySecond(m_nNumPoints, [&](int i) { return std::fabs(x - m_pX[i]); });
}

int CSSE3dPolygon::ClosestPointY(float y) const {
  return ClosestEverySecond(m_nNumPoints, [&](int i) { return std::fabs(y - m_pY[i]); });
}

float CSSE3dPolygon::GetMinEuclDistanceXY(float x, float y, int skip) const {
  const __m128 qx = _mm_set1_ps(x), qy = _mm_set1_ps(y);
  return MinOverGroups(m_nNumPoints, skip, [&](int i) {
    const __m128 dx = _mm_sub_ps(qx, _mm_load_ps(m_pXNormalized + i));
    const __m128 dy = _mm_sub_ps(qy, _mm_load_ps(m_pYNormalized + i));
    return _mm_sqrt_ps(_mm_add_ps(_mm_mul_ps(dx, dx), _mm_mul_ps(dy, dy)));
  });
}

float CSSE3dPolygon::GetMinEuclDistance(float x, float y, float z, int skip) const {
  const __m128 qx = _mm_set1_ps(x), qy = _mm_set1_ps(y), qz = _mm_set1_ps(z);
  return MinOverGroups(m_nNumPoints, skip, [&](int i) {
    const __m128 dx = _mm_sub_ps(qx, _mm_load_ps(m_pXNormalized + i));
    const __m128 dy = _mm_sub_ps(qy, _mm_load_ps(m_pYNormalized + i));
    const __m128 dz = _mm_sub_ps(qz, _mm_load_ps(m_pZNormalized + i));
    return _mm_sqrt_ps(_mm_add_ps(_mm_add_ps(_mm_mul_ps(dx, dx), _mm_mul_ps(dy, dy)), _mm_mul_ps(dz, dz)));
  });
}

float CSSE3dPolygon::GetMinEuclDistanceSpecial(float x, float y, float z, int skip) const {
  // A query on (or within 0.001 of) z = 0 carries no height: measure in the plane.
  if (std::fabs(static_cast<double>(z)) <= 0.001) return GetMinEuclDistanceXY(x, y, skip);
  return GetMinEuclDistance(x, y, z, skip);
}

// Both interpolations share the walk; only the weight differs.
template <class Weight>
static float InterpolateOverPoints(const float* px, const float* py, const float* pz, int count, float x, float y,
                                   int step, float limit, Weight weight) {
  if (step < 1) step = 1;
  double weights = 0.0, weighted = 0.0;
  for (int i = 0; i < count - step + 1; i += step) {
    const float dx = x - px[i];
    const float dy = y - py[i];
    const double d = static_cast<double>(dx) * dx + static_cast<double>(dy) * dy;
    if (d <= limit) return pz[i];
    const double w = weight(d);
    weights += w;
    weighted += w * pz[i];
  }
  return static_cast<float>(weighted / weights);  // 0/0 (NaN) when nothing was visited
}

float CSSE3dPolygon::InterpolateZ(float x, float y, int step, float limit) const {
  return InterpolateOverPoints(m_pX, m_pY, m_pZ, m_nNumPoints, x, y, step, limit,
                               [](double d) { return 1.0 / d; });
}

float CSSE3dPolygon::InterpolateZLow(float x, float y, int step, float limit) const {
  return InterpolateOverPoints(m_pX, m_pY, m_pZ, m_nNumPoints, x, y, step, limit,
                               [](double d) { return 1.0 / std::sqrt(d); });
}

void CSSE3dPolygon::GetPointsInPatch(SSEPoint& upper, SSEPoint& lower, int* indices, int& count) const {
  count = 0;
  for (int i = 0; i < m_nNumPoints; ++i) {
    const float x = m_pX[i], y = m_pY[i];
    if (lower.x < x && x < upper.x && lower.y < y && y < upper.y) indices[count++] = i;
  }
}
