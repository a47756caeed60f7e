#pragma once

#include <cstdint>

#include "relief/CHConvexHull3D.h"
#include "relief/Export.h"

class CHTriangulation;
class CSSE3dPolygon;

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

  // ---- the lower faces as a mesh between two border lines ----------------
  // The two-line members read the vertex flag as the line a point came
  // from: true for the top border line, false for the bottom one (e.g. the
  // outline of a restoration and the preparation margin below it), and the
  // index as its point number in that line.

  // The flagged-true (Top) or flagged-false (Bottom) vertices that are
  // corners of a remaining face with an edge no other remaining face shares
  // (the border of the triangulation), in increasing index order, written
  // into out as (x, y, 0) in input units (the stored tenths / 10). No such
  // vertex: out ends with 0 points.
  void GetBorderPointsTop(CSSE3dPolygon* out) const;
  void GetBorderPointsBottom(CSSE3dPolygon* out) const;
  // Removes every remaining face whose centroid (input units) lies inside
  // both or neither of the x-y outlines of top and bottom (containment test
  // of CSSE3dPolygon), so that of two nested lines only the band between
  // them stays; then recounts faces, edges and vertices. A null polygon
  // counts as one that contains nothing.
  void RemoveFacesOutOfBorderLines(CSSE3dPolygon* top, CSSE3dPolygon* bottom);
  // On a fresh object: appends the points of top (flag true) and bottom
  // (false) with their point numbers as indices, builds the lifted
  // Delaunay triangulation (with its message box), removes the faces out of
  // the border lines and re-creates out with one triangle per remaining
  // face, counter-clockwise seen from +z, its corners the polygons' own
  // points (x, y and z, not the quantised ones); then CalcSTV,
  // CalcNormalsFromVertices, CalcBoundingBox (out's scale is not applied).
  // The lines should be nested in x-y and their points at least 0.1 apart
  // (closer points merge in the quantised hull). Triangles are turned by
  // their quantised corners: a sliver thinner than the quantisation may
  // come out turned over on the exact corners. Degenerate input (fewer
  // than four distinct points, all collinear or cocircular) or a null
  // argument: out ends empty.
  void CreateTriangulationFromTwoBorderPolygons(CSSE3dPolygon* top, CSSE3dPolygon* bottom, CHTriangulation* out);
  // Joins a mesh (e.g. one made from this lifted triangulation or from a 3D
  // hull) to a border line: out := surface's triangles followed by a loft
  // band from surface's border to border (the two-polygon loft of
  // CHTriangulation, matched by arc length, every point of both used),
  // oriented to continue the surface's winding; then CalcSTV,
  // CalcNormalsFromVertices, CalcBoundingBox. The border of surface is its
  // longest closed chain of edges used by one triangle only (corners
  // compared exactly). A surface without a closed border, or a border line
  // of fewer than three points: out := a copy of surface's triangles alone.
  void LoftWith3DTriangulation(CHTriangulation* surface, CSSE3dPolygon* border, CHTriangulation* out);

 private:
  // Takes f out of the face list and frees it; its edges lose that side.
  void DropFace(tFaceStructure* f);
  // After faces were dropped: edges with no face left go, and an edge with
  // one face left keeps it on side 0.
  void SettleEdgesAfterDrops();
};
