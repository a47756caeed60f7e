#pragma once

#include <cstdint>

#include "relief/CHSimpleBasisFcns.h"
#include "relief/Export.h"
#include "relief/SSEPoint.h"

class CSSE2dPolygon;
class CSSE3dPolygon;
namespace relief::detail {
class CEarClipEdgeTree;
}

// One triangle as three vertex indices (into the vertex array), in the
// order previous, ear, next of the clip that produced it.
struct t_htriangleconnectivity {
  std::int32_t Vertex[3];
};

// The diagonal that closed one clipped ear: its two ends (vertex indices)
// and whether the polygon was convex (or flat) at each end when it was cut.
struct t_hdiagonal {
  bool Exists;
  std::int32_t First;
  bool FirstConvex;
  std::int32_t Second;
  bool SecondConvex;
};

// Ear-clipping triangulation of one simple polygon in the x/y plane.
//
// The triangulator works on a thinned, scaled copy of the polygon: vertex i
// is source point i x step with x and y multiplied by the scale factors
// (products in double, stored as float). A circular doubly linked list of
// t_hvertex records is walked and one ear is cut at a time; every cut
// records the triangle (previous, ear, next) and the diagonal that closes
// it. Left, right and collinear are decided with the tolerance of
// CHSimpleBasisFcns (0.0005 on the doubled area), so nearly straight runs
// count as flat.
//
// The polygon must be simple and run counter-clockwise (y up): the cone
// tests read a clockwise polygon inside out, and it finds no ear.
//
// A polygon of n vertices yields n - 2 triangles and n - 2 diagonal records
// (the last one the closing edge of the final triangle). Where no ear is
// flagged while more than three vertices remain, the triangulation stops
// early without a message (self-intersecting or badly degenerate input).
// With exactly three vertices left and no flagged ear, those three form the
// final triangle: the vertex where the search began is its ear.
//
// The ear flags start from EarInit, which leaves the LAST vertex's flag at
// 0 on purpose: it becomes an ear only once a neighbouring clip recomputes
// it. The mode flag only moves where each ear search starts: at the head's
// successor when set, at the head itself when not.
//
// Cost: a flag test asks whether any edge of the remaining polygon meets
// the candidate diagonal. A bounding-box tree over the edges, in polygon
// order, answers it from the edges near the diagonal, with exactly the
// walk's answer (tolerances included), so typical polygons take about
// O(n log n) work in all; a diagonal from a repeated point (whose tolerant
// reach is everywhere), and coordinates beyond +-1e5 (where the rounded
// areas could differ from the true ones by more than the tolerance allows),
// fall back to walking the whole circle, the plain algorithm's O(n) per
// test.
//
// The object owns its arrays (zero-filled) and frees them in the
// destructor; it never owns the polygon, which must outlive it for
// GetTriangle3D. A polygon with fewer than three points, a step below 1, or
// a step that leaves no vertex gives an empty object (no triangles, null
// arrays). Allocation failure throws CMemoryException.
class RELIEF_API CHPolygonTriangulator {
 public:
  CHPolygonTriangulator(CSSE2dPolygon* polygon, int step, float scaleX, float scaleY, bool mode);
  // The 3D constructor first has the polygon compute its bounding box.
  CHPolygonTriangulator(CSSE3dPolygon* polygon, int step, float scaleX, float scaleY, float scaleZ, bool mode);
  // Copies are deep: the copy owns its own arrays, linked the same way.
  CHPolygonTriangulator(const CHPolygonTriangulator& other);
  CHPolygonTriangulator& operator=(const CHPolygonTriangulator& other);
  ~CHPolygonTriangulator();

  int GetNumTriangles() const { return m_nNumTriangles; }
  t_htriangleconnectivity* GetConnectivityArray() const { return m_pConnectivity; }
  t_hvertex* GetVertexArray() const { return m_pVertices; }
  int GetNumVertices() const { return m_nNumVertices; }
  int GetStep() const { return m_nStep; }
  int GetNumDiagonals() const { return m_nNumDiagonals; }
  float GetScaleZ() const { return m_fScaleZ; }
  bool Is3DTriangulation() const { return m_pPolygon3D != nullptr; }
  CSSE3dPolygon* GetPolygon3D() const { return m_pPolygon3D; }

  // The scaled x and y of vertex i; an index outside the array leaves the
  // outputs unchanged.
  void GetPoint(int i, float& x, float& y) const;
  // Triangle i in the 3D source polygon's own points (index x step,
  // unscaled, as GetPointSSE gives them). Nothing is written for an index
  // outside 0 .. GetNumTriangles() - 1 or a triangulator built from a 2D polygon.
  void GetTriangle3D(int i, SSEPoint& p0, SSEPoint& p1, SSEPoint& p2) const;
  // The scaled ends of diagonal i; each end is written only when diagonal i
  // is in the array and its vertex index lies in the vertex array.
  void GetDiagonalPoints(int i, float& x1, float& y1, float& x2, float& y2) const;
  // The diagonal record i (null outside the array).
  const t_hdiagonal* GetDiagonal(int i) const;
  // Its exists flag; false outside the array.
  bool DiagonalExists(int i) const;
  // Relinks the circle from the vertex array, clears the results and runs
  // the triangulation again. With referenceScans every diagonal test walks
  // the whole circle, as the plain algorithm does: the grid's reference,
  // which must give the same triangles and diagonals. An empty object stays
  // empty.
  void Retriangulate(bool referenceScans);

 protected:
  void Triangulate();
  void EarInit();
  // InCone both ways, then Diagonalie, with early exit.
  bool Diagonal(t_hvertex* a, t_hvertex* b) const;
  // No edge of the current polygon that touches neither a nor b meets ab.
  bool Diagonalie(t_hvertex* a, t_hvertex* b) const;

 private:
  void Build(int numPoints, int step, float scaleX, float scaleY, float scaleZ, bool mode);
  void Release();
  void CopyFrom(const CHPolygonTriangulator& other);

  CSSE3dPolygon* m_pPolygon3D = nullptr;
  CSSE2dPolygon* m_pPolygon2D = nullptr;
  int m_nNumVertices = 0;
  int m_nStep = 0;
  int m_nNumDiagonals = 0;
  float m_fScaleX = 0.0f;
  float m_fScaleY = 0.0f;
  float m_fScaleZ = 0.0f;
  t_hvertex* m_pVertices = nullptr;
  t_hdiagonal* m_pDiagonals = nullptr;
  t_hvertex* m_pHead = nullptr;
  t_htriangleconnectivity* m_pConnectivity = nullptr;
  int m_nNumTriangles = 0;
  bool m_bMode = false;
  bool m_bReferenceScans = false;
  relief::detail::CEarClipEdgeTree* m_pEdgeTree = nullptr;  // set while Triangulate runs
};
