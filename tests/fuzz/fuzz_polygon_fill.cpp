// Differential fuzzing of the fine fill: polygons decoded from the input
// (coordinates on a quarter-pixel grid, so vertices and edges meet pixel
// positions exactly and often) are filled by DrawInMatrixAndFillFine and by
// the plain per-pixel containment loop; any differing pixel aborts.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  const int sizeX = 8 + data[0] % 40, sizeY = 8 + data[1] % 40;
  const bool subsample = data[2] & 1;
  const float yFrom = static_cast<float>(static_cast<int8_t>(data[3]));
  const float yTo = yFrom + (data[2] >> 1);
  const int n = static_cast<int>((size - 4) / 2);
  if (n > 200) return 0;
  CSSE3dPolygon poly;
  poly.Create(n);
  for (int i = 0; i < n; ++i)
    poly.SetPoint(i, static_cast<int8_t>(data[4 + 2 * i]) * 0.25f + 10,
                  static_cast<int8_t>(data[5 + 2 * i]) * 0.25f + 10, 0);

  CSSEMatrix fast, slow;
  fast.Create(sizeX, sizeY);
  slow.Create(sizeX, sizeY);
  CSSE3dPolygon source(poly);
  poly.DrawInMatrixAndFillFine(1.0f, &fast, subsample, yFrom, yTo);

  source.CalcBoundingBox();
  int minX, minY, maxX, maxY;
  source.GetBoundingBox2D(minX, minY, maxX, maxY);
  auto clamp = [](int v, int s) { return std::max(0, std::min(s - 1, v)); };
  int low = std::min(maxY, std::max(minY, static_cast<int>(yFrom)));
  int high = std::max(low, std::min(maxY, static_cast<int>(yTo)));
  low = clamp(low, sizeY);
  high = clamp(high, sizeY);
  minX = clamp(minX, sizeX);
  maxX = clamp(maxX, sizeX);
  CSSE3dPolygon copy;
  copy.CreateSimilar(&source);
  if (subsample) copy.Subsample(5);
  copy.RemoveEqualPointsXY();
  copy.CalcBoundingBox();
  for (int y = low - 5; y < high + 5; ++y)
    for (int x = minX - 5; x < maxX + 5; ++x)
      if (copy.PointInLineInnerArea(float(x), float(y), 1)) slow.SetPoint(clamp(x, sizeX), clamp(y, sizeY), 1.0f);

  for (int y = 0; y < sizeY; ++y)
    for (int x = 0; x < sizeX; ++x)
      if (fast.GetPoint(x, y) != slow.GetPoint(x, y)) std::abort();
  return 0;
}
