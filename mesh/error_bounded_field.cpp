#include "mesh/error_bounded_field.h"

#include <emmintrin.h>

#include <algorithm>

#include "raster/data_box.h"
#include "relief/CSSEMatrix.h"

namespace relief::detail {

namespace {

// Lanes with data: finite (v - v is 0, not NaN) and not 0.
inline __m128 DataMask(__m128 v) {
  const __m128 zero = _mm_setzero_ps();
  return _mm_and_ps(_mm_cmpneq_ps(v, zero), _mm_cmpeq_ps(_mm_sub_ps(v, v), zero));
}

}  // namespace

SValidBox FindValidBox(const CSSEMatrix& field) {
  const DataBox scan = ScanDataBox<true>(field, [](__m128 v) { return DataMask(v); });
  if (scan.pixels == 0) return SValidBox{};
  return SValidBox{scan.minX, scan.minY, scan.maxX, scan.maxY, scan.pixels};
}

void CopyBox(const CSSEMatrix& field, const SValidBox& box, std::vector<float>& out) {
  const std::int64_t width = box.Width();
  // Four floats of padding: the scan reads whole registers past a row's end.
  out.resize(static_cast<size_t>(width * box.Height() + 4));
  std::fill(out.end() - 4, out.end(), 0.0f);
  const __m128* const* lines = field.GetMatrixDataDirectly();
  for (int k = box.minY >> 2; k <= box.maxY >> 2; ++k) {
    const __m128* line = lines[k];
    float* rows[4];  // pixel (minX, y) of each of the four rows in the box
    bool inBox[4];
    for (int l = 0; l < 4; ++l) {
      const int y = 4 * k + l;
      inBox[l] = y >= box.minY && y <= box.maxY;
      rows[l] = inBox[l] ? out.data() + (y - box.minY) * width : nullptr;
    }
    int x = box.minX;
    // Four columns at a time: a 4 x 4 transpose turns four registers of
    // four rows each into four rows of four columns.
    for (; x + 3 <= box.maxX; x += 4) {
      __m128 c0 = line[x], c1 = line[x + 1], c2 = line[x + 2], c3 = line[x + 3];
      _MM_TRANSPOSE4_PS(c0, c1, c2, c3);
      const __m128 r[4] = {c0, c1, c2, c3};
      for (int l = 0; l < 4; ++l)
        if (inBox[l]) _mm_storeu_ps(rows[l] + (x - box.minX), _mm_and_ps(r[l], DataMask(r[l])));
    }
    for (; x <= box.maxX; ++x) {
      const float* v = reinterpret_cast<const float*>(line + x);
      for (int l = 0; l < 4; ++l)
        if (inBox[l]) rows[l][x - box.minX] = HasData(v[l]) ? v[l] : 0.0f;
    }
  }
}

float NearestDataHeight(const std::vector<float>& box, int width, int height, int x, int y) {
  auto at = [&](int xx, int yy) {
    return xx < 0 || yy < 0 || xx >= width || yy >= height ? 0.0f : box[static_cast<size_t>(yy) * width + xx];
  };
  const int reach = std::max(width, height);
  for (int r = 0; r <= reach; ++r)
    for (int yy = y - r; yy <= y + r; ++yy) {
      if (yy == y - r || yy == y + r) {
        for (int xx = x - r; xx <= x + r; ++xx)
          if (at(xx, yy) != 0.0f) return at(xx, yy);
      } else {
        if (at(x - r, yy) != 0.0f) return at(x - r, yy);
        if (at(x + r, yy) != 0.0f) return at(x + r, yy);
      }
    }
  return 0.0f;
}

}  // namespace relief::detail
