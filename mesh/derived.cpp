// CHTriangulation derived-data passes: bounding box, edge vectors and
// per-triangle extremes, flat normals, centre point.

#include <emmintrin.h>

#include <cmath>

#include "relief/CHTriangulation.h"

void CHTriangulation::CalcBoundingBox() {
  // Sentinels rather than the first corner, so an empty mesh has a defined
  // (inverted) box.
  __m128 lo = _mm_set1_ps(1000000.0f);
  __m128 hi = _mm_set1_ps(-1000000.0f);
  const int corners = 3 * NumTriangles;
  for (int i = 0; i < corners; ++i) {
    const __m128 p = EdgeArray[i].m;
    lo = _mm_min_ps(p, lo);
    hi = _mm_max_ps(p, hi);
  }
  PointArray[0].m = lo;
  PointArray[1].m = hi;
}

void CHTriangulation::CalcSTV() {
  for (int i = 0; i < NumTriangles; ++i) {
    const __m128 p0 = EdgeArray[3 * i].m;
    const __m128 p1 = EdgeArray[3 * i + 1].m;
    const __m128 p2 = EdgeArray[3 * i + 2].m;
    SArray[i].m = _mm_sub_ps(p1, p0);
    TArray[i].m = _mm_sub_ps(p2, p0);
    VArray[i].m = _mm_sub_ps(p2, p1);
    MinPointArray[i].m = _mm_min_ps(_mm_min_ps(p0, p1), p2);
    MaxPointArray[i].m = _mm_max_ps(_mm_max_ps(p0, p1), p2);
  }
}

void CHTriangulation::CalcNormalsFromVertices() {
  for (int i = 0; i < NumTriangles; ++i) {
    const SSEPoint& s = SArray[i];
    const SSEPoint& t = TArray[i];
    const float x = s.y * t.z - s.z * t.y;
    const float y = s.z * t.x - s.x * t.z;
    const float z = s.x * t.y - s.y * t.x;
    // No guard for degenerate triangles: a zero length gives non-finite
    // lanes, which callers use to spot them.
    const float len = std::sqrt(x * x + y * y + z * z);
    const __m128 n = _mm_div_ps(_mm_set_ps(0.0f, z, y, x), _mm_set1_ps(len));
    NormalArray[3 * i].m = NormalArray[3 * i + 1].m = NormalArray[3 * i + 2].m = n;
  }
}

void CHTriangulation::CalcCenterPoint() {
  __m128 sum = _mm_setzero_ps();
  const int corners = 3 * NumTriangles;
  for (int i = 0; i < corners; ++i) sum = _mm_add_ps(sum, EdgeArray[i].m);
  PointArray[2].m = _mm_div_ps(sum, _mm_set1_ps(static_cast<float>(corners)));
}
