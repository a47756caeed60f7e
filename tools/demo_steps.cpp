#include "demo_steps.h"

#include <cstdint>
#include <vector>

#include "adaptive_mesh.h"
#include "io/mesh_io.h"
#include "relief/CHErrorBoundedMesher.h"
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

AdaptiveResult MeshToMaxError(CSSEMatrix& field, float maxError, const std::filesystem::path& meshPath) {
  AdaptiveResult result;
  CHErrorBoundedMesher mesher;
  if (!mesher.CreateMeshFromSSEField(&field, maxError, INT32_MAX, INT32_MAX)) {
    result.why = mesher.GetProblem();
    return result;
  }
  // Back into field pixels for the writer and the ruler.
  std::vector<float> corners;
  corners.reserve(9 * size_t(mesher.GetNumTriangles()));
  const float* v = mesher.GetVertexArray();
  for (int i = 0; i < 3 * mesher.GetNumTriangles(); ++i) {
    const float* p = v + 3 * mesher.GetTriangleIndexArray()[i];
    corners.push_back(p[0] + float(mesher.GetOriginX()));
    corners.push_back(p[1] + float(mesher.GetOriginY()));
    corners.push_back(p[2]);
  }
  auto writer = OpenTriangleWriter(meshPath);
  for (size_t i = 0; i < corners.size(); i += 9) writer->Add(&corners[i]);
  writer->Commit();
  result.available = true;
  result.triangles = mesher.GetNumTriangles();
  result.error = MeasureAgainstField(corners, field);
  return result;
}

}  // namespace relief::tool
