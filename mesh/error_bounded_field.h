#pragma once

// The error-bounded mesher's view of the input: the box of pixels with data,
// copied once into a plain row-major float buffer, no data as 0.

#include <cstdint>
#include <vector>

class CSSEMatrix;

namespace relief::detail {

struct SValidBox {
  int minX = 0, minY = 0, maxX = -1, maxY = -1;  // inclusive; empty when maxX < minX
  std::int64_t validPixels = 0;
  int Width() const { return maxX - minX + 1; }
  int Height() const { return maxY - minY + 1; }
};

// A pixel has data when it is finite and not 0.
inline bool HasData(float v) { return v != 0.0f && v - v == 0.0f; }

// The box of pixels with data and their count.
SValidBox FindValidBox(const CSSEMatrix& field);

// The box's pixels row by row, then four zeros of padding; pixels without
// data (0, NaN, infinities) become 0.
void CopyBox(const CSSEMatrix& field, const SValidBox& box, std::vector<float>& out);

// The height of the pixel with data nearest (x, y) in rings of growing
// Chebyshev distance, the first found row by row within a ring; 0 if none.
float NearestDataHeight(const std::vector<float>& box, int width, int height, int x, int y);

}  // namespace relief::detail
