#include "mesh/error_bounded_field.h"

#include <emmintrin.h>

#include <algorithm>

#include "relief/CSSEMatrix.h"

namespace relief::detail {

namespace {

// Calls f(x, y, value) for every pixel, reading the storage register by
// register: four rows per register, lane l of SSE row k is row 4k + l.
template <class F>
void ForEachPixel(const CSSEMatrix& field, F&& f) {
  __m128** lines = field.GetMatrixDataDirectly();
  const int width = field.GetSizeX(), height = field.GetSizeY();
  for (int k = 0; 4 * k < height; ++k) {
    const float* line = reinterpret_cast<const float*>(lines[k]);
    const int lanes = std::min(4, height - 4 * k);
    for (int x = 0; x < width; ++x)
      for (int l = 0; l < lanes; ++l) f(x, 4 * k + l, line[4 * x + l]);
  }
}

}  // namespace

SValidBox FindValidBox(const CSSEMatrix& field) {
  SValidBox box;
  box.minX = field.GetSizeX();
  box.minY = field.GetSizeY();
  ForEachPixel(field, [&box](int x, int y, float v) {
    if (!HasData(v)) return;
    ++box.validPixels;
    box.minX = std::min(box.minX, x);
    box.maxX = std::max(box.maxX, x);
    box.minY = std::min(box.minY, y);
    box.maxY = std::max(box.maxY, y);
  });
  if (box.validPixels == 0) box = SValidBox{};
  return box;
}

void CopyBox(const CSSEMatrix& field, const SValidBox& box, std::vector<float>& out) {
  const std::int64_t width = box.Width();
  // Four floats of padding: the scan reads whole registers past a row's end.
  out.assign(static_cast<size_t>(width * box.Height() + 4), 0.0f);
  __m128** lines = field.GetMatrixDataDirectly();
  for (int y = box.minY; y <= box.maxY; ++y) {
    const float* line = reinterpret_cast<const float*>(lines[y >> 2]) + (y & 3);
    float* row = out.data() + (y - box.minY) * width;
    for (int x = box.minX; x <= box.maxX; ++x) {
      const float v = line[4 * x];
      row[x - box.minX] = HasData(v) ? v : 0.0f;
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
