#pragma once

#include <vector>

#include "relief/Export.h"
#include "relief/SSEPoint.h"

class CHTriangulation;
class CSSE3dPolygon;
class NyTriangulationStatic;
class NyTriangulationDynamic;

// The convex hull, in the x/y plane, of a mesh's vertices.
//
// The hull is counter-clockwise, starts at the vertex of smallest x (smallest
// y among equals) and holds strictly convex corners only: vertices on a hull
// side, and repeated vertices, are left out. Each corner keeps the x, y, z of
// the mesh vertex it came from (the first one met with that x and y).
// Orientation is decided exactly in double, without tolerance. Corners that
// all lie on one line give its two ends (one point when all coincide); a
// mesh without triangles gives an empty hull.
//
// The external mesh types are empty stand-ins here: their overloads compile
// and leave the hull empty. Allocation failure throws CMemoryException.
class RELIEF_API TaNyTriangulationTo2DHull {
 public:
  TaNyTriangulationTo2DHull() = default;
  explicit TaNyTriangulationTo2DHull(CHTriangulation* mesh) { CalcHull(mesh); }
  explicit TaNyTriangulationTo2DHull(NyTriangulationStatic* mesh) { CalcHull(mesh); }
  explicit TaNyTriangulationTo2DHull(NyTriangulationDynamic* mesh) { CalcHull(mesh); }

  // Replaces the hull by that of the mesh's corners; returns its size. A null
  // mesh gives an empty hull.
  int CalcHull(CHTriangulation* mesh);
  int CalcHull(NyTriangulationStatic* mesh);
  int CalcHull(NyTriangulationDynamic* mesh);

  int GetNumPoints() const { return static_cast<int>(m_Hull.size()); }
  // Hull corner i (x, y, z, 0); (0, 0, 0, 0) for an index out of range.
  SSEPoint GetPoint(int i) const;
  // Re-creates out with the hull corners in order (an empty hull empties it).
  void ObtainHull(CSSE3dPolygon* out) const;
  // True when (x, y) lies inside the hull or on its border; false for a hull
  // of fewer than three corners.
  bool PointInHull(float x, float y) const;

 private:
  std::vector<SSEPoint> m_Hull;
};
