// Meshes from a contour: ear clipping (optionally refined) and the fan
// around the geometric centre.

#include "relief/CHPolygonTriangulationRefinement.h"
#include "relief/CHPolygonTriangulator.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSE3dPolygon.h"

namespace {

// Rounds the refinement may take: enough to cut an edge 2^14 times the limit.
constexpr int kRefinementRounds = 14;

}  // namespace

void CHTriangulation::CreateTriangulationFromPolygon(CSSE3dPolygon* polygon, int step, float parameter, bool refine) {
  if (!polygon) {
    FreeTriangulation();
    return;
  }
  CHPolygonTriangulator triangulator(polygon, step, 1.0f, 1.0f, 1.0f, true);
  if (!refine) {
    const int n = triangulator.GetNumTriangles();
    CreateTriangulation(n);
    const t_htriangleconnectivity* c = triangulator.GetConnectivityArray();
    for (int i = 0; i < n; ++i) {
      for (int k = 0; k < 3; ++k) polygon->GetPointSSE(c[i].Vertex[k] * step, EdgeArray[3 * i + k]);
    }
    return;
  }
  CHPolygonTriangulationRefinement refinement(&triangulator, parameter, kRefinementRounds);
  const int m = refinement.GetNumTriangles();
  CreateTriangulation(m);
  if (m > 0) {
    refinement.GetFirstTriangle3D(EdgeArray[0], EdgeArray[1], EdgeArray[2]);
    for (int i = 1; i < m; ++i) refinement.GetNextTriangle3D(EdgeArray[3 * i], EdgeArray[3 * i + 1], EdgeArray[3 * i + 2]);
  }
  refinement.ReleaseTriangles();
}

void CHTriangulation::CreateSimpleFanTriangulationFromPolygon(CSSE3dPolygon* polygon) {
  if (!polygon) {
    FreeTriangulation();
    return;
  }
  // A private copy, so the caller's polygon keeps its centre record.
  CSSE3dPolygon copy;
  copy.CreateSimilar(polygon);
  copy.CalcGeometricCenter();
  SSEPoint centre;
  copy.GetGeometricCenter(centre);
  centre.w = 0.0f;
  const int n = copy.GetNumPoints();

  // One triangle per point; an empty polygon gives an empty mesh.
  CreateTriangulation(n);
  if (n < 1) return;
  copy.GetPointSSE(n - 1, EdgeArray[0]);
  copy.GetPointSSE(0, EdgeArray[1]);
  EdgeArray[2] = centre;
  for (int i = 0; i + 1 < n; ++i) {
    copy.GetPointSSE(i, EdgeArray[3 * (i + 1)]);
    copy.GetPointSSE(i + 1, EdgeArray[3 * (i + 1) + 1]);
    EdgeArray[3 * (i + 1) + 2] = centre;
  }
}
