#include "demo_steps.h"

#include "adaptive_mesh.h"
#include "io/mesh_io.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"

namespace relief::tool {

std::int64_t BuildOutlineMask(const DemoOutline& outline, int width, int height, CSSEMatrix& mask,
                              CSSEMatrix& contour) {
  CSSE3dPolygon polygon;
  const int n = static_cast<int>(outline.x.size());
  polygon.Create(n);
  for (int i = 0; i < n; ++i) polygon.SetPoint(i, outline.x[i], outline.y[i], 0.0f);
  contour.Create(width, height);
  polygon.DrawInMatrix(1.0f, &contour, false, 0.0f, 0.0f, false);
  mask.Create(width, height);
  polygon.DrawInMatrixAndFillFine(1.0f, &mask, false, 0.0f, static_cast<float>(height));
  return mask.NumValuesAbove(0.5f);
}

void MaskField(CSSEMatrix& field, CSSEMatrix& mask) { field.MaskOut(mask); }

AdaptiveResult RefineAgainstField(CSSEMatrix& field, float tolerance, float minHeight, int passes,
                                  const std::filesystem::path& meshPath) {
  AdaptiveOptions options;
  options.tolerance = tolerance;
  options.minHeight = minHeight;
  options.passes = passes;
  const AdaptiveMesh mesh = RefineField(field, options, "demo field");
  auto writer = OpenTriangleWriter(meshPath);
  for (size_t i = 0; i < mesh.corners.size(); i += 9) writer->Add(&mesh.corners[i]);
  writer->Commit();
  AdaptiveResult result;
  result.available = true;
  result.triangles = mesh.Triangles();
  result.error = MeasureAgainstField(mesh.corners, field);
  return result;
}

}  // namespace relief::tool
