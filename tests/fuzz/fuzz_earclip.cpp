// Differential fuzzing of the ear clipper's edge tree: polygons decoded from
// the input (small integer coordinates with ulp jitter, scaled and moved, so
// that collinear runs, repeated points, crossings and tolerance-sized steps
// are common) are clipped with the tree and by the plain walk; any
// difference in the triangles or the diagonal records aborts.

#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "relief/CHPolygonTriangulator.h"
#include "relief/CSSE2dPolygon.h"

namespace {

float Jitter(float v, int ulps) {
  for (; ulps != 0; ulps += ulps > 0 ? -1 : 1) v = std::nextafter(v, ulps > 0 ? 1e30f : -1e30f);
  return v;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const int n = static_cast<int>((size - 1) / 3);
  if (n < 3 || n > 300) return 0;
  // Scales from 1e-3 (steps near the tolerance) to 100, offsets up to the
  // tree's coordinate bound.
  const float scales[4] = {1.0f, 0.001f, 0.25f, 100.0f};
  const float offsets[4] = {0.0f, 4.0e4f, -9.0e4f, 37.5f};
  const float scale = scales[data[0] & 3], offset = offsets[(data[0] >> 2) & 3];
  const bool mode = data[0] & 16;
  CSSE2dPolygon poly;
  poly.Create(n);
  for (int i = 0; i < n; ++i) {
    const std::uint8_t* p = data + 1 + 3 * i;
    const float x = static_cast<int8_t>(p[0]) * scale + offset, y = static_cast<int8_t>(p[1]) * scale + offset;
    poly.SetPoint(i, Jitter(x, (p[2] & 15) - 8), Jitter(y, (p[2] >> 4) - 8));
  }
  CHPolygonTriangulator fast(&poly, 1, 1.0f, 1.0f, mode);
  CHPolygonTriangulator plain(fast);
  plain.Retriangulate(true);
  if (fast.GetNumTriangles() != plain.GetNumTriangles() || fast.GetNumDiagonals() != plain.GetNumDiagonals())
    std::abort();
  for (int i = 0; i < fast.GetNumTriangles(); ++i)
    for (int k = 0; k < 3; ++k)
      if (fast.GetConnectivityArray()[i].Vertex[k] != plain.GetConnectivityArray()[i].Vertex[k]) std::abort();
  for (int i = 0; i < fast.GetNumDiagonals(); ++i) {
    const t_hdiagonal &a = *fast.GetDiagonal(i), &b = *plain.GetDiagonal(i);
    if (a.Exists != b.Exists || a.First != b.First || a.Second != b.Second || a.FirstConvex != b.FirstConvex ||
        a.SecondConvex != b.SecondConvex)
      std::abort();
  }
  return 0;
}
