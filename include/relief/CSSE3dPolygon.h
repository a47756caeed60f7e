#pragma once

#include <cstdint>

#include "relief/Export.h"
#include "relief/SSEPoint.h"

class CArchive;
class CPixelChain;
class CSSEMatrix;
class CSSEcharMatrix;

// Factors that turn raster-pixel coordinates into physical units: a
// normalized coordinate is the raw one times the factor of its axis.
struct t_resolutiondata {
  float x;  // x factor
  float y;  // y factor
  float z;  // z factor
};

// The contour type: an ordered sequence of points used as a closed polygon
// (the last point joins the first; no corner is stored twice) or, by the
// operations that say so, as an open polyline.
//
// Storage: six float arrays (raw x, y, z and normalized x, y, z), each 16-byte
// aligned and padded to a multiple of four points so that SIMD loops can load
// four coordinates at once. Padding lanes are zero after Create and are never
// read as points.
//
// Derived data and staleness:
// - The bounding box (four SSEPoint records) is valid from CalcBoundingBox
//   until the next coordinate write; every setter clears the flag, and the
//   operations that need the box recompute it when the flag is false.
// - The geometric centre keeps the value of the last CalcGeometricCenter.
// - The normalized arrays are filled only by NormalizeXYZ (and copied by the
//   copy constructor). Nothing else updates them: after a raw write they are
//   stale until NormalizeXYZ runs again, and nothing tracks that.
//
// Copies: the copy constructor copies deeply; assignment is deliberately
// shallow (both objects then share the arrays and the record block, and only
// one of them may be destroyed). Use the copy constructor or CreateSimilar
// for an independent copy.
//
// Indices out of range are ignored silently: setters do nothing, getters into
// floats leave them untouched, getters into an SSEPoint return the zero point
// (except GetPointNormalizedSSE, see there). Every SSEPoint result has w = 0.
// Allocation failure throws CMemoryException.
//
// No locking: operations that compute the box or the centre on demand write
// into the object, so concurrent readers must not call them.
class RELIEF_API CSSE3dPolygon {
 public:
  // ---- life cycle -------------------------------------------------------
  // Empty: null arrays, count 0, all five box/centre records zero, flag false.
  CSSE3dPolygon();
  // Deep copy: own record block with the source's records and flag, then
  // Create(source count) and every raw and normalized coordinate copied. The
  // point writes clear the flag, so it ends false unless the source is empty.
  CSSE3dPolygon(const CSSE3dPolygon& source);
  // From a pixel chain: one point (float(px), float(py), 0) per taken pixel;
  // the pixel value is not used. step > 1 takes pixels 0, step, 2 step, ...
  // (count div step of them; none when that is 0); step <= 1 takes them all.
  // An empty chain gives an empty polygon.
  CSSE3dPolygon(CPixelChain& chain, int step);
  ~CSSE3dPolygon();
  // Shallow: copies the thirteen members as they stand. Afterwards both
  // objects share storage; destroy only one of them.
  CSSE3dPolygon& operator=(const CSSE3dPolygon& other);

  // Free(), then room for n points (n rounded up to a multiple of four in each
  // of the six arrays, every lane zero); count n, flag false. The five
  // records keep their values. n < 0 throws CMemoryException and leaves the
  // polygon freed. Create(0) leaves null arrays.
  void Create(int n);
  // With count > 0: releases the arrays, nulls the pointers, count 0, flag
  // false. With count 0 it does nothing.
  void Free();
  int GetNumPoints() const { return m_nNumPoints; }
  bool IsBoundingBoxCalculated() const { return m_bBoundingBoxCalculated; }
  // Create(src count), copies raw x, y, z of every point (the normalized
  // arrays are left zero), then takes over the source's five records and
  // flag. A null src does nothing.
  void CreateSimilar(CSSE3dPolygon* src);
  // Appends other's points after this polygon's. Empty other: nothing; empty
  // this: CreateSimilar(&other). Otherwise the records are reset to zero and
  // the flag ends false.
  void AppendPoints(CSSE3dPolygon& other);

  // ---- point access (index must satisfy 0 <= i < count) ------------------
  void SetPoint(int i, float x, float y, float z);
  void SetPointXY(int i, float x, float y);
  void SetPointXZ(int i, float x, float z);
  void SetPointZY(int i, float z, float y);  // note the argument order: z first
  void SetPointX(int i, float x);
  void SetPointY(int i, float y);
  void SetPointZ(int i, float z);
  void SetPointSSE(int i, SSEPoint& p);  // x, y, z from lanes 0 to 2
  void GetPoint(int i, float& x, float& y, float& z) const;
  void GetPointXY(int i, float& x, float& y) const;
  void GetPointXZ(int i, float& x, float& z) const;
  void GetPointZY(int i, float& z, float& y) const;
  void GetPointX(int i, float& x) const;
  void GetPointY(int i, float& y) const;
  void GetPointZ(int i, float& z) const;
  void GetPointSSE(int i, SSEPoint& p) const;    // (x, y, z, 0)
  void GetPointXYSSE(int i, SSEPoint& p) const;  // (x, y, 0, 0)
  // Point (i mod count) with the sign of i (truncating remainder): i = count
  // gives point 0, and a negative remainder (e.g. i = -1) the zero point, while
  // i = -count gives point 0. An empty polygon gives the zero point.
  void GetPointSSEClosed(int i, SSEPoint& p) const;
  // Normalized coordinates, one point at a time. The setters clear the flag.
  void SetPointNormalized(int i, float x, float y, float z);
  void SetPointNormalizedSSE(int i, SSEPoint& p);
  void GetPointNormalized(int i, float& x, float& y, float& z) const;
  // Writes lanes 0 to 2 only: w, and for a bad index all four lanes, keep
  // what the caller had there.
  void GetPointNormalizedSSE(int i, SSEPoint& p) const;
  void GetPointNormalizedXY(int i, float& x, float& y) const;
  void GetPointNormalizedXYSSE(int i, SSEPoint& p) const;  // (nx, ny, 0, 0)

  // ---- whole-polygon setters (each clears the flag) ---------------------
  void SetAllZValues(float v);
  void SetAllYValues(float v);
  void AddValueToAllXValues(float d);  // x + d formed in double, stored as float
  void AddValueToAllYValues(float d);
  void SwapYandZCoord();
  void SwapXandZCoord();
  void FlipOrientationAndMoveCoordsZ(float v);  // z = v - z

  // ---- derived quantities -----------------------------------------------
  // Lane-wise maximum / minimum of all points (x, y, z, 0) starting from
  // -1e6 / 1e6 (so an empty polygon gets the inverted box); w = 0 in both,
  // the 2D corners are copies with z = 0. Sets the flag. A point with a NaN
  // coordinate does not move the box in that lane.
  void CalcBoundingBox();
  // The box (computed first if the flag is false) truncated toward zero;
  // values beyond the int range saturate.
  void GetBoundingBox2D(int& minX, int& minY, int& maxX, int& maxY);
  void GetBoundingBox3D(float& minX, float& minY, float& minZ, float& maxX, float& maxY, float& maxZ);
  // The stored corners as they stand (no recomputation).
  SSEPoint GetBottomLeft() const { return *m_pBottomLeft; }
  SSEPoint GetTopRight() const { return *m_pTopRight; }
  // Sum over the points of (x, y, z, 0) / float(count), in float, in index
  // order; (0, 0, 0, 0) for an empty polygon. Does not touch the flag.
  void CalcGeometricCenter();
  void GetGeometricCenter(SSEPoint& c) const { c = *m_pGeometricCenter; }
  // normalized = raw * factor (float products) over the padded arrays.
  void NormalizeXYZ(t_resolutiondata& r);

  // ---- point-wise transforms --------------------------------------------
  // Angles are radians; sine and cosine are taken in double and rounded to
  // float before the matrix is formed; matrices apply as CSSEFns::transform.
  // p + (dx, dy, dz), then CalcBoundingBox (also when empty).
  void ShiftLine(float dx, float dy, float dz);
  // p * (sx, sy, sz) about the origin; then ReParametrize(0.6) on request.
  void BlowLine(float sx, float sy, float sz, bool reparametrize);
  // (p - c) * (sx, sy, sz) + c with c the geometric centre (recomputed).
  void BlowLineAroundCenter(float sx, float sy, float sz, bool reparametrize);
  // x' = x cos a + y sin a, y' = -x sin a + y cos a: clockwise for positive a
  // when y points up.
  void RotateZ(float a);
  // Rows (cb cc, ca sc - sa sb cc, ca sb cc + sa sc),
  //      (-cb sc, ca cc + sa sb sc, sa cc - ca sb sc),
  //      (-sb, -sa cb, ca cb).  RotateXYZ(0, 0, c) equals RotateZ(c).
  void RotateXYZ(float a, float b, float c);
  // Rows (ca cb, -sa, -sa cb), (sa cb, ca, -sa sb), (sb, 0, cb). Not a
  // rotation for b != 0 (it shortens and shears); callers rely on exactly
  // this matrix. Ends with CalcBoundingBox.
  void TransformVertices(float a, float b);
  // M (p - c) + c with the same M, c the geometric centre. Ends with CalcBoundingBox.
  void TransformVerticesAboutCenter(float a, float b);
  // c = geometric centre. mirror: z' = 2 cz - z; otherwise z' = cz - z
  // (not a mirror). Point order is unchanged.
  void FlipOrientationZ(bool mirror);

  // ---- nearest-point searches (first strict minimum; -1 when none) -------
  // All points; four-lane length of (x, y, z, 0) - q in float (q's w counts).
  int ClosestPoint(SSEPoint& q) const;
  // The planar and single-axis searches examine only indices 0, 2, 4, ...
  // below count - 1 (every second point, never the last one); -1 for count <= 1.
  // Squared distance with differences and squares in double, sum rounded to float.
  int ClosestPointXY(float x, float y) const;
  int ClosestPointYZ(float y, float z) const;
  int ClosestPointX(float x) const;  // |x - px|
  int ClosestPointY(float y) const;  // |y - py|

  // ---- minimum distances to the normalized points -----------------------
  // Four points per step over whole groups of four only: the last count mod 4
  // points are never examined. Each step advances skip + 1 groups. The
  // result starts at 1e6 (also the answer for fewer than four points).
  float GetMinEuclDistanceXY(float x, float y, int skip) const;
  float GetMinEuclDistance(float x, float y, float z, int skip) const;
  // Planar when |z| <= 0.001, spatial otherwise.
  float GetMinEuclDistanceSpecial(float x, float y, float z, int skip) const;

  // ---- interpolation and patch query ------------------------------------
  // Inverse squared distance weighting of z over points 0, step, 2 step, ...
  // (index below count - step + 1). A point whose squared distance d is at
  // most limit returns its z at once. No point visited: NaN. step < 1 is
  // taken as 1.
  float InterpolateZ(float x, float y, int step, float limit) const;
  // The same with weights 1 / sqrt(d) (limit still compares d).
  float InterpolateZLow(float x, float y, int step, float limit) const;
  // Indices of the points strictly inside the x-y rectangle (lower, upper),
  // in index order; indices must hold room for every point.
  void GetPointsInPatch(SSEPoint& upper, SSEPoint& lower, int* indices, int& count) const;

  // ---- resampling -------------------------------------------------------
  // Closed resampling: every point is kept and an edge whose |dx| or |dy|
  // exceeds spacing (per axis) gets N = trunc(max(|dx|, |dy|) / spacing)
  // extra points at parameters k / (N + 0.5), k = 1 .. N, along it (z
  // interpolated). At most 99,999 points result; further points are dropped.
  // spacing <= 0 or NaN does nothing. Clears the flag.
  void ReParametrize(float spacing);
  // The same without the closing edge from the last point to the first.
  void ReParametrizeOpen(float spacing);
  // Keeps points 0, step, 2 step, ...; step <= 1 does nothing.
  void Subsample(int step);
  // In index order, drops each point whose x and y both lie strictly within
  // 1.0 of a point already kept (|dx| < 1 and |dy| < 1).
  void RemoveEqualPointsXY();
  // Adds to every x and y an independent offset uniform in [-amplitude,
  // amplitude] (rand() / RAND_MAX scaled). Calls srand(43211) first on every
  // call, so the same polygon always gets the same noise.
  void AddNoiseXY(float amplitude);

  // As ReParametrize (closed), with "long" and N decided by the largest of
  // |dx|, |dy| and |dz|, so steep edges are split as well.
  void ReParametrizeXYZ(float spacing);
  // Puts points collected in no particular order into contour order, then
  // Subsample(step): from point 0, each next point is the nearest one not yet
  // taken (planar distance, the first on ties). Quadratic in the count.
  void ResortAndSubsample(int step);

  // ---- shape operations ---------------------------------------------------
  // These treat the polygon as closed and work in the x-y plane; z is carried
  // along (interpolated on new points). Repeated points are skipped, so they
  // never produce a direction. A distance that is not positive (0, negative,
  // NaN, infinite), and for the offsets a point with a non-finite x or y,
  // leave the polygon unchanged.
  //
  // The outline of the polygon's area grown by a disc of radius distance:
  // offset edges joined by circular arcs at convex corners, every crossing
  // of the offset curve resolved, and only the outer boundary kept (gaps the
  // growth closes are filled). Arc corners lie on the circle, the chords at
  // most 0.01 (or distance / 100 when smaller) inside it. Corners within
  // 1e-7 of the coordinates' magnitude of the line through their
  // neighbours (collinear runs, float noise) are dropped first. A single point
  // becomes a circle, a line a capsule. The result runs counter-clockwise in
  // the x-y frame (positive area) from its leftmost point; z of a new point
  // comes from the source edge or corner it was offset from. Contours that
  // fold back or cross themselves are grown as the union of discs along
  // their outline (which side is inside does not matter for the outline).
  void DilateExact(float distance);
  // Fast approximate offset that keeps the count and the order: every corner
  // moves outward (Dilation) or inward (Erosion) so that both adjacent edges
  // shift by distance (mitre), the shift limited to 2 distance at sharp
  // corners (a spur tip moves 2 distance along the spur). Crossings are not
  // resolved. Polygons without area (all points on a line, fewer than three
  // distinct points) stay unchanged. An erosion that turns the polygon inside
  // out (its signed area changes sign or vanishes, or every edge turns round)
  // leaves it empty.
  void DoQuasiMinkowskiDilation(float distance);
  void DoQuasiMinkowskiErosion(float distance);
  // Half-plane cuts: keep the part of the closed polygon on one side of an
  // axis-parallel line, the line included (below x: x >= limit is kept;
  // above x: x <= limit; likewise y). Crossing edges get a new point on the
  // line (y or x, and z, interpolated). A part split in two stays one ring
  // joined along the line by edges of no area, so the areas of the two sides'
  // cuts add up to the polygon's. Fewer than three points left: empty. A NaN
  // limit leaves the polygon unchanged.
  void CutAwayBelowX(float limit);
  void CutAwayAboveX(float limit);
  void CutAwayBelowY(float limit);
  void CutAwayAboveY(float limit);
  // New point j is old point (j + k) mod count (any k, negative included): the
  // closed polygon starts at old point k. Empty: nothing.
  void RotateIndices(int k);
  // Prepares two closed contours for joining point by point (a loft between
  // border lines): other is reversed when its x-y orientation differs from
  // this one's and rotated to start at its corner nearest (x-y) this
  // polygon's point 0 (the first on ties); then both are resampled to the
  // larger count at equal 3D arc length from their point 0. Nothing when
  // either has fewer than two points.
  void AdaptPolygons(CSSE3dPolygon& other);
  // Moves every point the fraction (clamped to 0 .. 1) of the way to the
  // nearest point (3D) on other's closed outline; 1 puts it on other. Other
  // empty or a NaN fraction: unchanged.
  void MoveTowardsPolygon(CSSE3dPolygon& other, float fraction);
  // The convex hull of the points' x-y positions, counter-clockwise (positive
  // area) from the point of smallest x (then y), without collinear or
  // repeated points; each hull corner keeps the z of the point it came from
  // (the first one among repeats). All points on one line: the two end
  // points; all equal: one point. Empty: nothing.
  void ReplaceByConvexHullXY();
  // Every z becomes the smallest (largest) z of the polygon. NaN z values are
  // ignored; when all are NaN, or the polygon is empty, nothing changes.
  void AdaptToLowestZValue();
  void AdaptToHighestZValue();
  // Smooths z along the closed polygon: each z becomes the mean of the
  // 2 halfWidth + 1 values centred on it (all values when the window is at
  // least the count); x and y are not changed. halfWidth <= 0: nothing.
  void FilterZValues(int halfWidth);

  // ---- persistence ------------------------------------------------------
  // Record: int32 count, then per group of four points four x, four y, four
  // z (4 + 48 ((count + 3) div 4) bytes; padding lanes written as 0). Only
  // raw coordinates travel. Loading replaces the last point by a copy of the
  // one before it (a one-point polygon loads as (0, 0, 0)) and clears the
  // flag; box and centre records keep their values.
  // Loading a negative count throws CMemoryException, a count the stream
  // cannot hold throws CArchiveException(endOfFile), both before anything is
  // allocated; any failure leaves the polygon as it was.
  void Serialize(CArchive& ar);

  // ---- containment (crossing number, ray toward +y) ----------------------
  // False for fewer than three points and for points outside the box (the
  // box is computed when the flag is false; a point on its edge passes). An
  // edge (prev, cur) counts when it straddles x half-open (cur.x < x <=
  // prev.x or prev.x < x <= cur.x) and passes above the point, tested in
  // double as (b.y - a.y)(x - a.x) > (b.x - a.x)(y - a.y) with a the end of
  // smaller x (cur on a tie). step > 1 tests the coarser polygon of every
  // step-th vertex plus the last. step must be at least 1.
  bool PointInLineInnerArea(float x, float y, int step);
  // p.z is ignored; the box pre-test compares all four lanes with the 2D
  // corners (z = w = 0), so a point with w != 0 answers false.
  bool PointInLineInnerArea(SSEPoint& p, int step);
  // The same against the normalized outline; the box pre-test still uses
  // the raw box.
  bool PointInLineInnerAreaNormalized(float x, float y, int step);
  bool PointInLineInnerAreaNormalized(SSEPoint& p, int step);
  // Every point of other inside this polygon; false when either is empty.
  bool PolygonInThisPolygon(CSSE3dPolygon& other);
  // Keeps, in order, this polygon's points inside other (may end empty).
  void KeepPointsInInner(CSSE3dPolygon& other);
  // Keeps this polygon's points p for which other's closest point (by
  // ClosestPoint) has a y greater than p.y. When other is empty no point is kept.
  void KeepPointsBelow(CSSE3dPolygon& other);

  // ---- rasterisation (x is the column, y the row, in pixels) ---------------
  // Pixel positions are trunc(coordinate + 0.5) formed in double.
  // Outline: each vertex's z into the single (clamped) pixel under it.
  void DrawInMatrix(CSSEMatrix* m);
  // Outline stamped at the vertices only:
  //  xz:        Set3x3BoxPoint at (x + offsetX, z + offsetY);
  //  else zy:   the single clamped pixel at column z, row y (offsets unused);
  //  otherwise: Set3x3BoxPoint at (x + offsetX, y + offsetY).
  void DrawInMatrix(float value, CSSEMatrix* m, bool zy, float offsetX, float offsetY, bool xz);
  // x-z projection filled from every vertex (column x + offsetX, row r =
  // z + offsetZ) toward the last rows (front false: 3x3 boxes at r, r + 1, ...
  // while below rows - 1) or the first rows (front true and r >= 2: r, r - 1,
  // ... while above 1).
  void DrawInMatrixAndFillToOneSideFront(float value, CSSEMatrix* m, float offsetX, float offsetZ, bool front);
  // Sets every pixel inside the polygon to value. The polygon's box (whose
  // flag this sets) bounds the work; rows are limited to the band
  // trunc(yFrom) .. trunc(yTo) (a band outside the box collapses onto its
  // nearest box row), and a margin of 5 pixels is examined around box and
  // band. Positions outside the raster write its border pixel. The test runs
  // on a private copy thinned by Subsample(5) (when subsample is true) and
  // RemoveEqualPointsXY. The result is exactly that of PointInLineInnerArea(x,
  // y, 1) on that copy at every integer position of the examined window.
  void DrawInMatrixAndFillFine(float value, CSSEMatrix* m, bool subsample, float yFrom, float yTo);
  // The same into a byte raster.
  void DrawInCharMatrixAndFillFine(char value, CSSEcharMatrix* m, bool subsample, float yFrom, float yTo);
  // As the fine fill, but every third column of every third row (margin 9,
  // no clamping of the window), each inside position stamping a 3x3 box.
  void DrawInMatrixAndFillCoarse(float value, CSSEMatrix* m, bool subsample, float yFrom, float yTo);
  // Plots the first 4 (count div 4) vertices as single pixels, then from each
  // of them paints a straight run of pixels, perpendicular to the dominant
  // component of the direction to the next such vertex (the last wraps to
  // vertex 0), until just before a pixel whose magnitude is at least 1.0 or
  // the raster border. The run points to the left of the direction of travel
  // in the x-y frame: moving mainly toward +x it runs toward +y, toward -x
  // it runs toward -y, toward +y it runs toward -x, and otherwise toward +x.
  // So the runs enter the interior of a counter-clockwise contour, i.e. one
  // with positive signed area sum(x_i y_(i+1) - x_(i+1) y_i) (which appears
  // clockwise on screen, where rows grow downward). The last count mod 4
  // vertices take no part.
  void DrawInMatrixAndFill(float value, CSSEMatrix* m);
  // Distance of raster pixels to the contour, in the units of r. Over the box
  // plus a margin of 4 pixels (clipped to target), every target pixel within
  // 20.0 of value becomes the planar distance d to the normalized contour
  // (GetMinEuclDistanceXY with skip = trunc(0.1 / r.x + 0.5)) when d <= 0.35,
  // and otherwise w d3 + (1 - w) d with w = min(1, steep ? 2 d : 0.5 d) and
  // d3 the distance taking the heights pixel as z (GetMinEuclDistanceSpecial,
  // skip doubled). Calls NormalizeXYZ(r) and CalcBoundingBox first.
  void InternalAreaDistanceTransform(float value, CSSEMatrix* heights, CSSEMatrix* target, t_resolutiondata& r,
                                     bool steep);

  // ---- direct array access (for SIMD consumers; count rounded up to four) --
  float* GetXArray() const { return m_pX; }
  float* GetYArray() const { return m_pY; }
  float* GetZArray() const { return m_pZ; }

 private:
  void AllocateRecords();
  // Shared tail of the resampling members.
  void ReParametrizeImpl(float spacing, bool closed, bool withZ);
  // Replaces the points by pts (x, y, z triples).
  void AssignPoints(const float* xyz, int count);
  template <class Raster, class Value>
  void FillFine(Value value, Raster* m, bool subsample, float yFrom, float yTo);

  float* m_pX;
  float* m_pY;
  float* m_pZ;
  float* m_pXNormalized;
  float* m_pYNormalized;
  float* m_pZNormalized;
  std::int32_t m_nNumPoints;
  SSEPoint* m_pTopRight;
  SSEPoint* m_pBottomLeft;
  SSEPoint* m_pTopRight2D;
  SSEPoint* m_pBottomLeft2D;
  SSEPoint* m_pGeometricCenter;
  bool m_bBoundingBoxCalculated;
};
