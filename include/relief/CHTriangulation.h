#pragma once

#include <cstdint>
#include <filesystem>

#include "relief/Export.h"
#include "relief/SSEPoint.h"

class CArchive;
class CSSEMatrix;
class CSSE3dPolygon;
class CHConvexHull3D;
class CH2DDelaunay;
class NyTriangulationStatic;
class NyTriangulationDynamic;
class TaCFieldRange;

// One triangle of a CHTriangulation. The record only points into the mesh's
// arrays: corners, vertex normals and the per-triangle vectors live there, so
// that the scan converter and the octrees load each of them as one aligned
// register. The field order is binding: the mesh archive writes the record as
// it lies in memory (with 32-bit pointer fields, see CHTriangulation::Serialize).
struct t_htriangle {
  SSEPoint* pPoint[3];        // corners P0, P1, P2 = EdgeArray[3i .. 3i+2]
  SSEPoint* pNormal[3];       // vertex normals N0, N1, N2 = NormalArray[3i .. 3i+2]
  SSEPoint* pT;               // TArray[i]: P2 - P0
  SSEPoint* pS;               // SArray[i]: P1 - P0
  SSEPoint* pV;               // VArray[i]: P2 - P1
  SSEPoint* pMainNormal;      // MainNormalArray[i]: normalised N0 + N1 + N2
  SSEPoint* pMinPoint;        // MinPointArray[i]: lane-wise minimum of the corners
  SSEPoint* pMaxPoint;        // MaxPointArray[i]: lane-wise maximum of the corners
  t_htriangle* pNeighbour[3];  // across P0-P1, P1-P2, P2-P0; null on the border
  t_htriangle* pNext;          // working list (CalcNeighbours)
  t_htriangle* pPrev;
  std::int32_t Index;          // position in Triangles when the mesh was allocated
  std::int32_t Type;           // -1 new, 13 border, 9/3 external conversions, 14 lifted Delaunay
};

// One border edge in the stretch list. Created with new, destroyed with delete.
struct t_stretch {
  SSEPoint* pStart;
  SSEPoint* pEnd;
  t_stretch* pNext;
  t_stretch* pPrev;
};

// The triangle mesh: a soup of n triangles that each own their three corners.
// There is no shared vertex table; connectivity is found afterwards by exact
// comparison of corner coordinates (CalcNeighbours).
//
// Storage: eight 16-byte aligned point arrays (corners and vertex normals 3n
// each; main normals, T, S, V, per-triangle minima and maxima n each), the
// plain block of n t_htriangle records, and a 3-point aligned block holding the
// bounding-box minimum, maximum and centre. Derived data (S/T/V, minima,
// maxima, normals, box, centre) are valid only after the passes that compute
// them; no member recomputes them unless its comment says so.
//
// Failures: every allocation failure throws CMemoryException; there are no
// other error reports. Bad indices give null, null arguments do nothing,
// degenerate input gives an empty or partial mesh.
//
// Copies: the constructors from a mesh and CopyFromHTriangulation copy deeply;
// operator= is deliberately shallow (both objects then share every array and
// only one of them may be destroyed or re-created).
class RELIEF_API CHTriangulation {
 public:
  // ---- constructors ------------------------------------------------------
  // Every constructor runs BaseInitialization with its scale, then one
  // builder, then (only when the result has at least one triangle) the
  // derived-data passes named with it.

  // An empty mesh of scale (1, 1, 1), e.g. to load into.
  CHTriangulation();
  // Deep copy with src's scale (CopyFromHTriangulation); no passes.
  explicit CHTriangulation(CHTriangulation* src);
  CHTriangulation(const CHTriangulation& src);
  // CreateTriangulation(n): n zeroed triangles; no passes.
  CHTriangulation(int n, float sx, float sy, float sz);
  // CreateTriangulationFromSSEField; then CalcBoundingBox, CalcSTV.
  CHTriangulation(CSSEMatrix* field, float threshold, bool above, float sx, float sy, float sz);
  // CreateTriangulationFromSSEFieldSubSampled (steps); then CalcBoundingBox, CalcSTV.
  CHTriangulation(CSSEMatrix* field, float threshold, bool above, float sx, float sy, float sz, int stepX,
                  int stepY);
  // The polygon variant of the subsampled builder; then CalcBoundingBox, CalcSTV.
  CHTriangulation(CSSEMatrix* field, float threshold, bool above, float sx, float sy, float sz, int stepX,
                  int stepY, CSSE3dPolygon* polygon);
  // The sub-rectangle variant of the subsampled builder; then CalcBoundingBox, CalcSTV.
  CHTriangulation(CSSEMatrix* field, float threshold, bool above, float sx, float sy, float sz, int xFrom,
                  int xTo, int yFrom, int yTo, int stepX, int stepY, bool fillCells);
  // The two-field builders; then CalcNeighbours, CalcBoundingBox, CalcSTV,
  // CalcNormalsFromVertices.
  CHTriangulation(CSSEMatrix* top, CSSEMatrix* bottom, bool closeSides, float sx, float sy, float sz, int stepX,
                  int stepY);
  CHTriangulation(CSSEMatrix* top, CSSEMatrix* bottom, bool closeSides, float sx, float sy, float sz, int xFrom,
                  int xTo, int yFrom, int yTo, int stepX, int stepY);
  // fan: CreateSimpleFanTriangulationFromPolygon(polygon); otherwise
  // CreateTriangulationFromPolygon(polygon, step, parameter, refine). Then
  // ScaleTriangulation, CalcSTV, CalcNormalsFromVertices, CalcBoundingBox.
  CHTriangulation(CSSE3dPolygon* polygon, float sx, float sy, float sz, int step, float parameter, bool fan,
                  bool refine);
  // CreateTriangulationFromPolygon(polygon, step, parameter, refine), then, if
  // field is not null, ConstrainWithHeightField(top, field, offset). Then
  // ScaleTriangulation, CalcSTV, CalcNormalsFromVertices, CalcBoundingBox.
  CHTriangulation(CSSE3dPolygon* polygon, float sx, float sy, float sz, CSSEMatrix* field, bool top, float offset,
                  int step, float parameter, bool refine);
  // Loft: a band of triangles between two closed border polygons (e.g. a
  // preparation margin and the outline of the restoration above it), one
  // triangle per point of either ring, every point used. second is turned
  // to run the same way round as first and starts at its point nearest
  // first's point 0; the rings are matched by normalised arc length, so a
  // star-shaped pair gives a band without folds. With first below second,
  // both counter-clockwise seen from +z, the band faces outward; flip
  // reverses every triangle. closeEnds adds a fan over each ring around its
  // mean point, facing away from the band, making a closed solid. step uses
  // every step-th point of both polygons (below 1: every point). A null
  // polygon or one of fewer than three points gives an empty mesh. Then
  // ScaleTriangulation, CalcSTV, CalcNormalsFromVertices, CalcBoundingBox.
  CHTriangulation(CSSE3dPolygon* first, CSSE3dPolygon* second, float sx, float sy, float sz, bool flip,
                  bool closeEnds);
  CHTriangulation(CSSE3dPolygon* first, CSSE3dPolygon* second, float sx, float sy, float sz, int step, bool flip,
                  bool closeEnds);
  // CreateTriangulationFrom2DDelaunay(delaunay, flat); then ScaleTriangulation,
  // CalcSTV, CalcNormalsFromVertices, CalcBoundingBox.
  CHTriangulation(CH2DDelaunay* delaunay, float sx, float sy, float sz, bool flat);
  // CreateTriangulationFromHull3D(hull, divisor); then ScaleTriangulation,
  // CalcSTV, CalcNormalsFromVertices, CalcBoundingBox.
  CHTriangulation(CHConvexHull3D* hull, float sx, float sy, float sz, float divisor);
  // The external mesh types are never read: these constructors yield an
  // empty, initialised mesh. (Were it not empty, the static ones without a
  // polygon would tag every triangle Type 9, the dynamic ones with a polygon
  // or without scale Type 3.)
  CHTriangulation(NyTriangulationStatic* mesh, float sx, float sy, float sz);
  explicit CHTriangulation(NyTriangulationStatic* mesh);  // scale (1, 1, 1)
  CHTriangulation(NyTriangulationStatic* mesh, CSSE3dPolygon* polygon, float sx, float sy, float sz);
  CHTriangulation(NyTriangulationDynamic* mesh, CSSE3dPolygon* polygon, float sx, float sy, float sz);
  explicit CHTriangulation(NyTriangulationDynamic* mesh);  // scale (1, 1, 1)
  CHTriangulation(NyTriangulationDynamic* mesh, float sx, float sy, float sz);

  // FreeTriangulation, then releases the three-point block.
  ~CHTriangulation();
  // Shallow: copies every member as it stands (see the class comment).
  CHTriangulation& operator=(const CHTriangulation& other);

  // ---- life cycle --------------------------------------------------------
  // Re-initialises the object: ScanConvDiagonal = sqrt(sx^2 + sy^2) (squares
  // summed in double, rounded to float, root in double, stored as float);
  // arrays, Triangles, NumTriangles, StretchListHead := null/0 WITHOUT
  // releasing what they pointed at (call it on a fresh object, or after
  // FreeTriangulation); TriangleListHead untouched; scale and scan
  // resolution := (sx, sy, sz); the three-point block is allocated when
  // missing, its contents undefined until CalcBoundingBox / CalcCenterPoint.
  void BaseInitialization(float sx, float sy, float sz);
  // Scan-conversion resolution per axis; ScanConvDiagonal from rx, ry with the
  // rounding of BaseInitialization.
  void SetScanConvResolution(float rx, float ry, float rz);
  // Releases the old triangles and allocates n: every record wired to element
  // i of the arrays, corners, vertex normals, main normal, T, S, V zeroed,
  // neighbours and list links null, Index i, Type -1. Per-triangle minima
  // and maxima are NOT cleared. n < 0, or a size that cannot be represented,
  // throws CMemoryException (the mesh is then empty). A mesh re-created with
  // the count it already has keeps its blocks (same addresses, contents
  // reset as above); the builders do the same.
  void CreateTriangulation(int n);
  // Releases the per-triangle arrays and Triangles; NumTriangles := 0. Keeps
  // the three-point block, the scale and both list heads.
  void FreeTriangulation();

  // ---- derived-data passes ----------------------------------------------
  // Box over all corners, all four lanes (w included). Starts from min =
  // (1e6, 1e6, 1e6, 1e6), max = -1e6, so an empty mesh keeps those sentinels.
  void CalcBoundingBox();
  // S = P1 - P0, T = P2 - P0, V = P2 - P1, per-triangle minima and maxima,
  // all four lanes.
  void CalcSTV();
  // Flat normals from the stored S and T (CalcSTV first): n = S x T / |S x T|
  // into all three vertex normals, w = 0. A degenerate triangle gives
  // non-finite lanes. The main normal is left alone.
  void CalcNormalsFromVertices();
  // The mean of all 3n corners (all lanes) into PointArray[2]; 0/0 when empty.
  void CalcCenterPoint();

  // ---- working list and neighbours --------------------------------------
  // Links the triangles in index order; TriangleListHead := triangle 0.
  void IndexTriangleList();
  // Unlinks t from the working list (head updated); t keeps its own links.
  // Null does nothing.
  void DeleteTriangleFromList(t_htriangle* t);
  // Links triangles that share two corners, then tags the border (Type 13,
  // FindBorderTriangles). Corner A_k "lies on" B when each of its four lanes
  // equals that lane of at least one corner of B (exact equality, lanes may
  // come from different corners of B). Pairs are examined as a forward scan
  // of the working list: A from the head, B after A; a match writes A's slot
  // (0 if A0,A1 lie on B, else 1 if A1,A2, else 2 if A0,A2) and B's slot by
  // the same rule; a later match overwrites an earlier one; a triangle whose
  // three slots are filled leaves the list. Results equal that quadratic
  // scan exactly, but candidate pairs are found through an index, so large
  // meshes link in near-linear time. The working list is left as the scan
  // leaves it.
  void CalcNeighbours();
  // The same as CalcNeighbours.
  void CalcNeighboursConstrained();
  // Type := 13 for every triangle with at least one null neighbour.
  void FindBorderTriangles();

  // ---- border stretches -------------------------------------------------
  // Pushes s at the front of the stretch list.
  void AppendStretchToList(t_stretch* s);
  // Unlinks s and deletes it; null does nothing.
  void DeleteStretchFromList(t_stretch* s);
  // Collects one border edge per triangle (its first null neighbour slot:
  // 0 -> P0P1, 1 -> P1P2, 2 -> P2P0) into the stretch list, re-creates out
  // with that many points and chains them from the head: a successor whose
  // start equals the current end contributes its end, otherwise its start.
  // The walk assumes consecutive stretches touch; it does not search.
  // The stretches are deleted; a mesh without border leaves out untouched.
  void FindBorderLine(CSSE3dPolygon* out);

  // ---- whole-mesh transforms --------------------------------------------
  // Corners x (ScaleX, ScaleY, ScaleZ, 0); nothing recomputed.
  void ScaleTriangulation();
  // Corners x (ScaleX, ScaleY, 1, 0); nothing recomputed.
  void ScaleTriangulationXY();
  // Stores the scale, multiplies the current corners by it (not relative to
  // the old scale), then CalcBoundingBox, CalcSTV.
  void ReScaleTriangulation(float sx, float sy, float sz);
  // Corners x (fx, fy, fz, 0), then CalcBoundingBox, CalcSTV; normals untouched.
  void BlowTriangulation(float fx, float fy, float fz);
  // Adds (dx, dy, dz, 0) to corners and per-triangle minima/maxima; box and
  // centre are not updated.
  void ShiftTriangulation(float dx, float dy, float dz);
  // Rotates every corner by the matrix with rows (cos a cos b, sin a,
  // cos a sin b), (-sin a cos b, cos a, -sin a sin b), (-sin b, 0, cos b)
  // (radians), then CalcBoundingBox, CalcSTV. Normals are not rotated.
  void TransformVertices(float a, float b);
  // The same about centre: subtract, rotate, add back.
  void TransformVerticesAboutPoint(float a, float b, SSEPoint& centre);
  // Rotation by three angles (radians): Rz(c) * R(a, b), i.e. the two-angle
  // rotation followed by a turn of c about the z axis. Then CalcBoundingBox, CalcSTV.
  void TransformVertices(float a, float b, float c);
  void TransformVerticesAboutPoint(float a, float b, float c, SSEPoint& centre);

  // ---- copies and combination -------------------------------------------
  // Deep copy of src's triangles: corners, normals, main normals, T, S, V and
  // minima copied; the maxima are filled from src's MINIMA (valid again after
  // CalcSTV); neighbour pointers copied as they are (they still point into
  // src), Index and Type copied, list links null; the three-point block, scan
  // resolution and diagonal copied; the scale is not.
  void CopyFromHTriangulation(CHTriangulation* src);
  // This mesh's triangles followed by other's (corner order reversed when
  // flip), then CalcBoundingBox, CalcSTV, CalcNormalsFromVertices,
  // CalcCenterPoint; neighbours, Type and main normals as in a fresh mesh.
  void Combine(CHTriangulation& other, bool flip);
  // Appends other's triangles behind this mesh's: arrays copied (maxima from
  // the minima of both parts), neighbour pointers, Index and Type copied as
  // they are (neighbours then point at released storage or into other: run
  // CalcNeighbours before using them); then CalcBoundingBox.
  void AppendTriangulation(CHTriangulation* other);

  // ---- operations with no effect (kept for interface compatibility) ------
  void CutWithTriangulation(CHTriangulation* other);
  void MinimumZTriangulation(CHTriangulation* other);
  void CreateTriangulationFromNyTriangulation(NyTriangulationStatic* mesh);
  void CreateTriangulationFromNyTriangulation(NyTriangulationStatic* mesh, CSSE3dPolygon* polygon);
  void CreateTriangulationFromNyTriangulation(NyTriangulationDynamic* mesh);
  void CreateTriangulationFromNyTriangulation(NyTriangulationDynamic* mesh, CSSE3dPolygon* polygon);

  // ---- height field to mesh ---------------------------------------------
  // Pixel (x, y) with value v becomes (x ScaleX, y ScaleY, v). A pixel is
  // valid when v > threshold (above) or v < threshold (!above); every 2x2
  // cell of valid pixels gives two triangles split on (x, y)-(x+1, y+1),
  // three valid corners one triangle. Normals face down when !above.
  //
  // Full resolution. Allocates 2n triangles for n valid lanes (padding lanes
  // count) and keeps NumTriangles = 2n even when fewer are written: unwritten
  // records stay zero (Type -1). Cells of the last column and of rows from
  // 4 (SSE rows - 1) on are not visited. No valid pixel: empty mesh.
  void CreateTriangulationFromSSEField(CSSEMatrix* field, float threshold, bool above);
  // Cells of stepX x stepY pixels: x = 0, stepX, .. while x < sizeX - stepX
  // (outer loop), likewise y, corners at (x ScaleX, y ScaleY) and ((x +
  // stepX) ScaleX, (y + stepY) ScaleY), pixels read through the clamping
  // accessor. NumTriangles is the number written (the mesh is sized by
  // counting the cells first: a bound from the valid pixels could be too
  // small for a sparse field). Normals face down when !above. A step below
  // 1 leaves the mesh as it was.
  void CreateTriangulationFromSSEFieldSubSampled(CSSEMatrix* field, float threshold, bool above, int stepX,
                                                 int stepY);
  // Only the cells whose centre (x + stepX / 2, y + stepY / 2), in pixels,
  // lies inside polygon by PointInLineInnerArea(.., 1) (the polygon's x, y
  // in raster pixels); otherwise as above, same cells, same triangles. A
  // null polygon or one with fewer than three points gives an empty mesh.
  void CreateTriangulationFromSSEFieldSubSampled(CSSEMatrix* field, float threshold, bool above, int stepX,
                                                 int stepY, CSSE3dPolygon* polygon);
  // Over the sub-rectangle xFrom..xTo, yFrom..yTo (pixels, inclusive,
  // clipped to the raster): cells with lower corner x = xFrom, xFrom +
  // stepX, .. while x + stepX <= xTo, likewise y; the whole raster gives the
  // plain subsampled builder's mesh. fillCells is AppendTriangle's fillCell
  // (a cell with a valid corner in each column becomes full, taking the
  // invalid corners' values as heights). No cell in the rectangle (xFrom
  // above xTo among them): empty mesh; a step below 1 leaves the mesh alone.
  void CreateTriangulationFromSSEFieldSubSampled(CSSEMatrix* field, float threshold, bool above, int xFrom, int xTo,
                                                 int yFrom, int yTo, int stepX, int stepY, bool fillCells);
  // A closed solid between two rasters of the same size: the top surface
  // from top, the bottom surface from bottom, over the cells of the
  // subsampled builder where a pixel is valid when both rasters hold data
  // (non-zero) there; same case table, top triangles wound counter-clockwise
  // seen from +z (normals up), bottom ones reversed (down). With closeSides
  // every border edge of the region gets a wall of two triangles facing
  // out, so each edge is shared by exactly two triangles (except at a pixel
  // where two parts touch only at a corner: four). Writes corners only; the
  // constructors derive the rest. Rasters of different sizes: empty mesh;
  // a step below 1 leaves the mesh alone.
  void CreateTriangulationFromSSEFieldSubSampledTwoFields(CSSEMatrix* top, CSSEMatrix* bottom, bool closeSides,
                                                          int stepX, int stepY);
  // The same over the sub-rectangle xFrom..xTo, yFrom..yTo (as the six-int
  // subsampled builder).
  void CreateTriangulationFromSSEFieldSubSampledTwoFields(CSSEMatrix* top, CSSEMatrix* bottom, bool closeSides,
                                                          int xFrom, int xTo, int yFrom, int yTo, int stepX,
                                                          int stepY);
  // Writes the triangles of one cell into records count, count+1 (which must
  // exist) and advances count. mask0: bit 0 validity of (x0, y0), bit 1 of
  // (x0, y1); mask1 likewise for x1. Cases (mask0, mask1): (3,3) P00 P11 P01
  // then P00 P10 P11, the first linked to the second in slot 0; (3,1) P00 P10
  // P01; (3,2) P00 P11 P01; (1,3) P00 P10 P11; (2,3) P10 P11 P01; anything
  // else nothing. fillCell first turns a mask of 1 or 2 into 3. Vertex
  // normals come from the cell's height differences (z = 1, normalised over
  // four lanes, negated when flipNormals); the main normal is their
  // normalised sum. Corner w, S/T/V and minima/maxima are not written.
  void AppendTriangle(int mask0, int mask1, float x0, float x1, float y0, float y1, float z00, float z01,
                      float z10, float z11, int& count, bool flipNormals, bool fillCell);

  // ---- mesh to height field ---------------------------------------------
  // Re-creates out over the bounding box (width = trunc((max.x - min.x) /
  // ScanConvResX + 0.5), height likewise; cell (c, r) at min + (c ResX, r
  // ResY)), fills it with -999999.875, samples every triangle at P0 + u S +
  // v T with a step of ScanConvDiagonal / max(|S|, |T|), stamps z + zOffset
  // as a cross keeping the maximum, drops samples in the outermost ring, and
  // finally turns the fill value into 0. Needs current CalcBoundingBox and
  // CalcSTV. An empty mesh or a width or height below 1 leaves out untouched.
  void ScanConvertTriangulationMax(CSSEMatrix* out, float zOffset);
  // The mirror image: fill +999999.875, cross keeping the minimum.
  void ScanConvertTriangulationMin(CSSEMatrix* out, float zOffset);
  // The same over the given box (min, max) instead of the mesh's own. A box
  // less than one cell wide or high (min above max among them) leaves out
  // untouched.
  void ScanConvertTriangulationMax_MinMaxPoint(CSSEMatrix* out, float zOffset, SSEPoint& min, SSEPoint& max);
  void ScanConvertTriangulationMin_MinMaxPoint(CSSEMatrix* out, float zOffset, SSEPoint& min, SSEPoint& max);
  // Stamps into out as it stands, to gather several meshes in one raster:
  // out is neither re-created nor filled and keeps its size (a raster
  // without storage is first created over the mesh's box and cleared to 0).
  // Cell (c, r) lies at origin + (c ResX, r ResY), the origin being the box
  // minimum when boxFrame, else (0, 0) (the frame of a mesh built from that
  // raster). With zeroIsNoData a cell holding 0 (within 0.002) takes the
  // first sample as it is, as the plain conversion's fill does (and a cell
  // within 1 of that fill, -999999.875 / +999999.875, ends as 0);
  // otherwise 0 competes like any height. No height offset; samples in the
  // raster's outermost ring are dropped as in the plain conversion.
  void ScanConvertTriangulationMaxNoDelete(CSSEMatrix* out, bool boxFrame, bool zeroIsNoData);
  void ScanConvertTriangulationMinNoDelete(CSSEMatrix* out, bool boxFrame, bool zeroIsNoData);
  // NoDelete(out, false, true) limited to the band of rows r with yFrom <=
  // r ResY <= yTo (in double): no sample reaches the cells of other rows,
  // the crosses are clipped at the band's edges. yFrom above yTo, or a band
  // outside the raster, changes nothing.
  void ScanConvertTriangulationMaxNoDeleteInYArea(CSSEMatrix* out, float yFrom, float yTo);
  void ScanConvertTriangulationMinNoDeleteInYArea(CSSEMatrix* out, float yFrom, float yTo);
  // The plain conversion (same frame, fill and clean-up), then every cell
  // (c, r) outside polygon (PointInLineInnerArea(c, r, 1), the polygon in
  // the output raster's pixels) becomes 0; triangles far from the polygon's
  // box are not sampled. A null polygon leaves out untouched; one with fewer
  // than three points leaves the raster all 0.
  void ScanConvertThroughLineMax(CSSEMatrix* out, CSSE3dPolygon* polygon, float zOffset);
  void ScanConvertThroughLineMin(CSSEMatrix* out, CSSE3dPolygon* polygon, float zOffset);
  // Second pass over an image made by ScanConvertTriangulationMin (Refine)
  // or ...Max (Top) of this mesh: every triangle is sampled again on the
  // lattice shifted by half a step in u and v, which closes the pinholes
  // the first lattice leaves on steep triangles, and stamped into out as it
  // stands; a cell holding 0 takes the sample (as with zeroIsNoData above),
  // others keep the lower (Top: higher) value. out must have the frame's
  // size, otherwise nothing happens.
  void RefineScanConvImage(CSSEMatrix* out, float zOffset);
  void RefineScanConvImageTop(CSSEMatrix* out, float zOffset);
  // Pulls the corners onto a height field given in the corners' own units
  // (pixel (x, y) at corner (x, y), nearest pixel, clamped): with top, a
  // corner lower than field + offset is raised to it; otherwise a corner
  // higher than field - offset is lowered to it. Pixels holding 0 (no data)
  // constrain nothing. Derived data are not recomputed.
  void ConstrainWithHeightField(bool top, CSSEMatrix* field, float offset);
  // Both bounds of range at once: corners are lowered to upper - Offset,
  // then raised to lower + Offset, so where the bounds cross the lower one
  // wins. A null field is no bound.
  void ConstrainWithHeightField(TaCFieldRange& range);

  // ---- meshes from polygons, hulls and Delaunay results; clean-up --------
  // Ear-clipping triangulation of polygon (step picks every step-th point);
  // refined with parameter when refine. Writes corners only.
  void CreateTriangulationFromPolygon(CSSE3dPolygon* polygon, int step, float parameter, bool refine);
  // One triangle per polygon point around the geometric centre C: triangle
  // 0 = (last, first, C), triangle i+1 = (point i, point i+1, C).
  void CreateSimpleFanTriangulationFromPolygon(CSSE3dPolygon* polygon);
  // One triangle per hull face, integer coordinates divided by divisor.
  void CreateTriangulationFromHull3D(CHConvexHull3D* hull, float divisor);
  // One triangle per face of the lifted triangulation, coordinates / 10; z
  // := 0 when flat; every Type := 14.
  void CreateTriangulationFrom2DDelaunay(CH2DDelaunay* delaunay, bool flat);
  // The four removals rebuild the mesh from the kept triangles in index
  // order (Index is not renumbered), then run CalcNeighbours; box and centre
  // are not recomputed. The rebuild goes through CopyFromHTriangulation, so
  // every kept triangle's maximum point equals its minimum afterwards: run
  // CalcSTV to get real per-triangle maxima back (e.g. before octree filing).
  //
  // Removes the triangles whose three corners all have z <= limit.
  void RemoveTrianglesBelowZ(float limit);
  // Removes the triangles whose three corners all have z >= limit.
  void RemoveTrianglesAboveZ(float limit);
  // Removes the triangles with ANY corner in [low, high].
  void RemoveTrianglesBetweenZ(float low, float high);
  // Tags Type 0 every triangle j whose N0 lies within 0.05 (each lane,
  // inclusive) of the N0 of an earlier triangle i, then removes every
  // triangle of Type 0. Quadratic.
  // All removals keep Index of the kept triangles (no renumbering), re-link
  // with CalcNeighbours and leave box and centre as they were.
  void RemoveTrianglesWithSameOrientation();
  // Recomputes the flat vertex normals (CalcNormalsFromVertices) and nothing else.
  void OrientTrianglesTowardsBBoxCenter();

  // ---- persistence ------------------------------------------------------
  // Record (80 + 268 n bytes, little-endian): ScaleX/Y/Z, ScanConvResX/Y/Z,
  // ScanConvDiagonal (float), n (int32), n triangle records of 76 bytes
  // (the seventeen pointer fields of t_htriangle as 32-bit zeros, then
  // Index, Type), EdgeArray, NormalArray, MainNormalArray, TArray,
  // SArray, VArray, the box minimum, maximum and centre, MinPointArray,
  // MaxPointArray. Nothing is recomputed before writing.
  //
  // Loading releases the triangles held before, re-initialises with the
  // stored scale (the stored resolution and diagonal are discarded:
  // resolution := scale; call SetScanConvResolution after loading when
  // another is wanted), wires the records to the
  // new arrays and takes only Index and Type from the stored records
  // (neighbours and list links null). Before anything changes the count is
  // checked: a negative count throws CMemoryException, a count whose record
  // is longer than the stream can still deliver throws
  // CArchiveException(endOfFile); the mesh is then left as it was. A stream
  // that ends inside the arrays throws CArchiveException(endOfFile) and
  // leaves the mesh empty (initialised with the stored scale).
  void Serialize(CArchive& ar);
  // Serialize to / from a file. False when the file cannot be opened (nothing
  // changes); archive errors after opening propagate.
  bool Store(const std::filesystem::path& path);
  bool Load(const std::filesystem::path& path);

  // ---- accessors --------------------------------------------------------
  int GetNumTriangles() const { return NumTriangles; }
  t_htriangle* GetTriangles() const { return Triangles; }
  // &Triangles[i], or null for i < 0 or i >= NumTriangles.
  t_htriangle* GetTriangle(int i) const { return i < 0 || i >= NumTriangles ? nullptr : Triangles + i; }
  SSEPoint* GetEdgeArray() const { return EdgeArray; }
  SSEPoint* GetNormalArray() const { return NormalArray; }
  SSEPoint* GetMainNormalArray() const { return MainNormalArray; }
  SSEPoint* GetTArray() const { return TArray; }
  SSEPoint* GetSArray() const { return SArray; }
  SSEPoint* GetVArray() const { return VArray; }
  // The three-point block (box minimum, maximum, centre), not the corners.
  SSEPoint* GetPointArray() const { return PointArray; }
  SSEPoint* GetMinPointArray() const { return MinPointArray; }
  // Returns the MINIMA array too: callers depend on this pairing.
  SSEPoint* GetMaxPointArray() const { return MinPointArray; }
  float GetScaleX() const { return ScaleX; }
  float GetScaleY() const { return ScaleY; }
  float GetScaleZ() const { return ScaleZ; }
  void GetMinPoint(SSEPoint& p) const { p = PointArray[0]; }
  void GetMaxPoint(SSEPoint& p) const { p = PointArray[1]; }
  void GetCenterPoint(SSEPoint& p) const { p = PointArray[2]; }

  // ---- data (declared order is part of the model) ------------------------
  SSEPoint* EdgeArray = nullptr;        // 3n corners
  SSEPoint* NormalArray = nullptr;      // 3n vertex normals
  SSEPoint* MainNormalArray = nullptr;  // n
  SSEPoint* TArray = nullptr;           // n: P2 - P0
  SSEPoint* SArray = nullptr;           // n: P1 - P0
  SSEPoint* VArray = nullptr;           // n: P2 - P1
  t_htriangle* Triangles = nullptr;     // n records, plain heap block
  std::int32_t NumTriangles = 0;
  t_htriangle* TriangleListHead = nullptr;
  float ScaleX = 1.0f, ScaleY = 1.0f, ScaleZ = 1.0f;
  float ScanConvResX = 1.0f, ScanConvResY = 1.0f, ScanConvResZ = 1.0f;
  SSEPoint* PointArray = nullptr;  // [0] box minimum, [1] box maximum, [2] centre
  SSEPoint* pMaxPoint = nullptr;     // PointArray + 1
  SSEPoint* pCenterPoint = nullptr;  // PointArray + 2
  SSEPoint* MinPointArray = nullptr;  // n per-triangle minima
  SSEPoint* MaxPointArray = nullptr;  // n per-triangle maxima
  float ScanConvDiagonal = 0.0f;      // sqrt(ScanConvResX^2 + ScanConvResY^2)
  t_stretch* StretchListHead = nullptr;
};
