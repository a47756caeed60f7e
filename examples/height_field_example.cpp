// A small height field, thresholded, with its counts and extremes: the
// library's raster basics in a few lines.

#include <cmath>
#include <cstdio>

#include "relief/relief.h"

int main() {
  const int size = 256;
  CSSEMatrix field;
  field.Create(size, size);

  // A smooth dome of height 10 over a flat, empty (0) background.
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x) {
      const float dx = (x - size / 2) / 80.0f, dy = (y - size / 2) / 80.0f;
      const float h = 10.0f * (1.0f - dx * dx - dy * dy);
      field.SetPoint(x, y, h > 0.0f ? h : 0.0f);
    }

  float maximum = 0, minimum = 0;
  field.CalcMinMaxValues(&maximum, &minimum);  // (max, min) in this order
  std::printf("height field     %d x %d\n", field.GetSizeX(), field.GetSizeY());
  std::printf("valid pixels     %d\n", field.NumValuesAbove(0.0f));
  std::printf("maximum, minimum %.4f, %.4f\n", maximum, minimum);
  std::printf("volume (sum)     %.1f\n", field.IntegrateMatrix());

  CSSEMatrix mask(field);  // deep copy
  mask.TresholdAbove(5.0f, 1.0f);
  std::printf("pixels above 5   %d\n", mask.NumValuesAbove(0.5f));
  return 0;
}
