#pragma once

#include <cstdint>

#include "relief/CHConvexHull3D.h"
#include "relief/Export.h"

// 2D Delaunay triangulation by lifting: every point (x, y) becomes the hull
// vertex (X, Y, X^2 + Y^2) on quantised coordinates (see CHConvexHull3D),
// and the faces of the lifted hull that look downwards are the Delaunay
// triangles. Cocircular points lift onto one plane, so four cocircular
// points alone are coplanar and degenerate: ask IsDegenerate() first.
class RELIEF_API CH2DDelaunay : public CHConvexHull3D {
 public:
  // Same as AppendVertex2D.
  void AppendVertex(float x, float y, int index, bool flag) { AppendVertex2D(x, y, index, flag); }

  // Builds the lifted hull, keeps only its lower faces and recounts faces,
  // edges and vertices. On every call the message "Time for 2D-Delaunay ms:
  // %d\n Vertices: %d" (elapsed milliseconds, vertex count) is sent to
  // ShowMessageBox. Precondition: !IsDegenerate().
  void CalcDelaunayTriangulation();

  // Marks faces with NormZ < 0 lower and keeps them; every other face is
  // removed from the list and freed (edges that bordered it lose that side).
  void LowerFaces();

  // z component of (v1 - v0) x (v2 - v0) over the face's corners: negative
  // for a face whose outside looks down. Saturates at the int64 range.
  std::int64_t NormZ(const tFaceStructure* f) const;
};
