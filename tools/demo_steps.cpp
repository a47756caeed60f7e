#include "demo_steps.h"

#include "relief/CSSEMatrix.h"

namespace relief::tool {

std::int64_t BuildOutlineMask(const DemoOutline& outline, int width, int height, CSSEMatrix& mask) {
  // Crossing-number test per pixel centre against the closed outline.
  mask.Create(width, height);
  const size_t n = outline.x.size();
  std::int64_t inside = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      bool in = false;
      for (size_t i = 0, j = n - 1; i < n; j = i++) {
        const float xi = outline.x[i], yi = outline.y[i], xj = outline.x[j], yj = outline.y[j];
        if ((yi > y) != (yj > y) && x < (xj - xi) * (y - yi) / (yj - yi) + xi) in = !in;
      }
      if (in) {
        mask.SetPoint(x, y, 1.0f);
        ++inside;
      }
    }
  return inside;
}

void MaskField(CSSEMatrix& field, CSSEMatrix& mask) { field.MaskOut(mask); }

AdaptiveResult RefineAgainstField(CSSEMatrix&, float, float, int, const std::filesystem::path&) {
  AdaptiveResult result;
  result.why = "Delaunay refinement not in this build";
  return result;
}

}  // namespace relief::tool
