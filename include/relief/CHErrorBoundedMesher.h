#pragma once

#include <cstdint>
#include <memory>

#include "relief/Export.h"

class CSSEMatrix;
class CHTriangulation;

// An adaptive mesh of a height field with a guaranteed maximum error: no valid
// pixel of the field lies farther than E (vertically) from the mesh.
//
// Method: the field's valid box (the smallest box holding every pixel with
// data) is split into two triangles; every triangle is scanned for the pixel
// of largest vertical distance to the plane through its corners, and the
// worst pixel of the whole mesh is inserted as a new point again and again,
// the triangulation kept Delaunay by edge flips, until one of the stopping
// rules holds:
//   - every valid pixel lies within maxError of the mesh (the guarantee);
//   - one more point would make more than maxTriangles triangles;
//   - one more point would make more than maxPoints points.
// The last two stop early: the mesh is then as good as that many triangles
// or points allow, and GetMaxError says how far it got. Among equally bad
// pixels of a triangle the first row by row is taken; integer positions make
// the triangulation's tests exact, so a result does not depend on the machine.
//
// No data: pixels holding 0, and pixels whose height is not finite (NaN,
// infinity), carry no data. They are never scored and never become points.
// A corner of the valid box without data takes the height of the nearest
// valid pixel (first found in rings of growing distance, rows first), and
// its triangles are split first, each at its valid pixel nearest to that
// corner (corners excluded), until none of them covers a valid pixel beyond
// its own corners: the points so walk onto the outline of the data, and the
// corner triangles cover no data. The result keeps the triangles with three
// valid corners or covering a valid pixel centre beyond their corners (plus,
// for a valid point that none of those reaches, the first of its triangles),
// so every valid pixel lies in a kept triangle and the mesh ends near the
// outline. Notches and holes in the data that triangles with valid corners
// span stay covered.
//
// Coordinates: points sit on pixel centres. Pixel (x, y) of the field becomes
// the point (x - originX, y - originY) relative to the valid box's corner
// (GetOriginX, GetOriginY), its height the pixel's value. A triangle's
// corners run counter-clockwise seen from above: (P1 - P0) x (P2 - P0) has a
// positive z in these coordinates (before scaling). The result is
// edge-manifold: an edge is shared by at most two triangles.
//
// The error is measured at pixel centres by linear interpolation of the
// triangle's corners, in double precision; E = 0 asks for every valid pixel
// exact (within rounding), which ends at the latest when every valid pixel is
// a point.
//
// Memory: about 9 bytes per pixel of the valid box and 60 per triangle of
// working memory, kept by the object between calls (destroy it to release).
//
// Failures: memory exhaustion throws CMemoryException; everything else makes
// CreateMeshFromSSEField return false with an empty result and a short reason
// (GetProblem).
class RELIEF_API CHErrorBoundedMesher {
 public:
  CHErrorBoundedMesher();
  ~CHErrorBoundedMesher();
  CHErrorBoundedMesher(const CHErrorBoundedMesher&) = delete;
  CHErrorBoundedMesher& operator=(const CHErrorBoundedMesher&) = delete;

  // Meshes field. maxError must be finite and >= 0; maxTriangles >= 2 and
  // maxPoints >= 4 (the starting two triangles need them; pass INT32_MAX for
  // "no limit"). Returns false, with an empty result, for a null field or one
  // without storage, a bad argument, or valid pixels that do not span an area
  // (none, one, or all on one row or column). The field is only read.
  bool CreateMeshFromSSEField(const CSSEMatrix* field, float maxError, int maxTriangles, int maxPoints);

  // Why the last call returned false; "" after success.
  const char* GetProblem() const;

  // ---- the result of the last successful call ---------------------------
  int GetNumTriangles() const;  // triangles kept in the result
  int GetNumPoints() const;     // points those triangles use
  // Points as x, y, z floats, relative to the origin, unscaled (3 per point).
  const float* GetVertexArray() const;
  // Triangles as three indices into the points (3 per triangle), counter-clockwise.
  const std::int32_t* GetTriangleIndexArray() const;
  // The valid box's corner in field pixels: point (0, 0) lies on this pixel.
  int GetOriginX() const;
  int GetOriginY() const;
  // Largest vertical distance between a valid pixel and the result (from the
  // final triangles' own scans).
  double GetMaxError() const;
  // Root-mean-square vertical distance over every valid pixel, each counted
  // once; measured by one pass over the result when first asked for after a
  // call, so meshing alone does not pay for it.
  double GetRMSError() const;
  // Valid pixels measured (every valid pixel of the field).
  std::int64_t GetNumValidPixels() const;
  // Points inserted by the greedy loop (the four box corners not counted).
  std::int64_t GetNumInsertions() const;
  // True when a triangle or point limit ended the loop before the error bound held.
  bool StoppedByLimit() const;

  // Fills mesh with the result, every corner scaled: (x * sx, y * sy, z * sz).
  // The mesh's scale becomes (sx, sy, sz); CalcBoundingBox, CalcSTV and
  // CalcNormalsFromVertices have run. An empty result gives an empty mesh.
  void FillTriangulation(CHTriangulation& mesh, float sx, float sy, float sz) const;

 private:
  struct Result;
  struct Workspace;
  std::unique_ptr<Result> m_result;
  std::unique_ptr<Workspace> m_work;
};
