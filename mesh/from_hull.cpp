// Meshes from the faces of a 3D hull and of the lifted Delaunay triangulation.

#include "relief/CH2DDelaunay.h"
#include "relief/CHConvexHull3D.h"
#include "relief/CHTriangulation.h"

namespace {

// The lifted triangulation always comes back in input units: its vertices
// were quantised to tenths.
constexpr float kDelaunayDivisor = 10.0f;

// One triangle per face, walking the face circle from its head.
template <typename Corner>
void FillFromFaces(CHTriangulation& mesh, const tFaceStructure* face, Corner corner) {
  for (int k = 0; k < mesh.GetNumTriangles() && face; ++k, face = face->next) {
    for (int c = 0; c < 3; ++c) mesh.EdgeArray[3 * k + c] = corner(face, c);
  }
}

}  // namespace

void CHTriangulation::CreateTriangulationFromHull3D(CHConvexHull3D* hull, float divisor) {
  if (!hull) {
    FreeTriangulation();
    return;
  }
  CreateTriangulation(hull->GetNumFaces());
  FillFromFaces(*this, hull->GetFaces(),
                [&](const tFaceStructure* f, int c) { return hull->GetVertexFromFace3D(f, c, divisor); });
}

void CHTriangulation::CreateTriangulationFrom2DDelaunay(CH2DDelaunay* delaunay, bool flat) {
  if (!delaunay) {
    FreeTriangulation();
    return;
  }
  const int faces = delaunay->GetNumFaces();
  CreateTriangulation(faces);
  if (faces < 1) return;
  FillFromFaces(*this, delaunay->GetFaces(), [&](const tFaceStructure* f, int c) {
    SSEPoint p = delaunay->GetVertexFromFace3D(f, c, kDelaunayDivisor);
    if (flat) p.z = 0.0f;
    return p;
  });
  for (int k = 0; k < faces; ++k) Triangles[k].Type = 14;
}
