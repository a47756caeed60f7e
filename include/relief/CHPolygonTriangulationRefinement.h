#pragma once

#include <cstdint>

#include "relief/Export.h"
#include "relief/SSEPoint.h"

class CHPolygonTriangulator;

// One refined triangle: its corners and the link to the next one.
struct t_hrefinedtriangle {
  SSEPoint Point[3];
  t_hrefinedtriangle* pNext;
};

// Splits the triangles of an ear-clipping triangulation until no edge is
// longer than a limit, so that a contour becomes a mesh of evenly small
// triangles instead of long slivers.
//
// Input: the triangulator's triangles, in its own points: for a
// triangulator built from a 3D polygon the source points (vertex index x
// step, unscaled), for one built from a 2D polygon its scaled x, y with z
// = 0. Lengths are measured in x/y only, in those units.
//
// Rounds: every edge longer than maxEdgeLength is cut at its midpoint (z
// interpolated linearly: the midpoint of the edge in 3D), and every
// triangle is re-cut by how many of its edges were split: one edge -> two
// triangles, two -> three (the quad is cut on its shorter diagonal), three
// -> four. Neighbouring triangles split a shared edge at the same point,
// so the result has no T-junctions; every new triangle lies in the plane of
// the triangle it came from, keeps its orientation, and the areas still
// sum to the original ones. Rounds stop when no edge is too long or after
// maxRounds rounds, whichever comes first; a limit that is not positive (or
// NaN) or maxRounds < 1 leaves the triangles as they are.
//
// Output: a singly linked chain of t_hrefinedtriangle records in creation
// order, read with GetFirstTriangle3D / GetNextTriangle3D. The caller
// releases the chain with ReleaseTriangles when done; the destructor
// releases whatever is still held.
//
// The triangle count grows like area / maxEdgeLength^2; more than
// kMaxTriangles triangles throws CMemoryException, as does any failed
// allocation. The triangulator must outlive construction only.
class RELIEF_API CHPolygonTriangulationRefinement {
 public:
  CHPolygonTriangulationRefinement(CHPolygonTriangulator* triangulator, float maxEdgeLength, int maxRounds);
  ~CHPolygonTriangulationRefinement();
  CHPolygonTriangulationRefinement(const CHPolygonTriangulationRefinement&) = delete;
  CHPolygonTriangulationRefinement& operator=(const CHPolygonTriangulationRefinement&) = delete;

  // Triangles in the chain (0 after ReleaseTriangles).
  int GetNumTriangles() const { return m_nNumTriangles; }
  // Rounds that split at least one edge.
  int GetNumRounds() const { return m_nNumRounds; }

  // Writes the first triangle's corners and makes it current; false (and
  // nothing written) when the chain is empty.
  bool GetFirstTriangle3D(SSEPoint& p0, SSEPoint& p1, SSEPoint& p2);
  // Advances to the next triangle and writes it; false at the end.
  bool GetNextTriangle3D(SSEPoint& p0, SSEPoint& p1, SSEPoint& p2);

  t_hrefinedtriangle* GetTriangleChain() const { return m_pFirst; }
  // Frees the chain record by record.
  void ReleaseTriangles();

  static constexpr int kMaxTriangles = 1 << 24;

 private:
  t_hrefinedtriangle* m_pFirst = nullptr;
  t_hrefinedtriangle* m_pCurrent = nullptr;
  int m_nNumTriangles = 0;
  int m_nNumRounds = 0;
};
