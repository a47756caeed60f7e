#pragma once

#include <cstdint>

#include "relief/Export.h"

class CSSE2dPolygon;
class CSSE3dPolygon;

// One point of the 2D hull's working array.
struct tPointStruc {
  std::int32_t vnum;  // index of the point in the source polygon
  float x, y, z;      // copied from the polygon (z = 0 for a 2D polygon)
  bool del;           // collinear with point 0 and nearer than another: dropped by Squash
};

// One cell of the hull stack (the finished hull, top = last hull point).
struct tStackCell {
  tPointStruc* p;
  tStackCell* next;
};

// Convex hull of a polygon's points in the x/y plane by Graham's scan.
//
// Steps (all run by the constructors):
//  1. FindLowest: the point of smallest y becomes point 0; among points of
//     exactly equal y the one with the SMALLER x. Prints
//     "Swapping %d with 0\n" (the index it came from) to stdout.
//  2. QuickSort orders points 1 .. n-1 by angle about point 0 with Compare.
//     Points collinear with point 0 (doubled area within 0.0005) are
//     ordered by distance and the nearer one is flagged for deletion;
//     FlagHiddenRayPoints then makes sure every ray keeps only its farthest
//     point, whichever pairs the sort happened to compare.
//  3. If anything was flagged, Squash removes it and prints
//     "After Squash: n=%d\n" with the new count.
//  4. Graham pushes point 0 and point 1 and then keeps every point that
//     turns strictly left (area > 0.0005). Should the stack run empty it
//     prints "Error\n" and leaves no hull.
// The hull comes out counter-clockwise, starting at point 0; points on its
// edges are not part of it. Fewer than three points give those points.
// An empty polygon prints nothing and gives no hull.
//
// The constructors sort with the same partitions, comparisons and swaps as
// QuickSort, computed a block at a time (see SortAboutPointZero); passing
// referenceScans = true runs QuickSort itself. Everything observable is the
// same either way, GetNumDeleted() included.
//
// Allocation failure throws CMemoryException. Copying is not supported.
class RELIEF_API CHConvexHull2D {
 public:
  explicit CHConvexHull2D(CSSE3dPolygon* polygon, bool referenceScans = false);
  explicit CHConvexHull2D(CSSE2dPolygon* polygon, bool referenceScans = false);
  ~CHConvexHull2D();
  CHConvexHull2D(const CHConvexHull2D&) = delete;
  CHConvexHull2D& operator=(const CHConvexHull2D&) = delete;

  // Re-creates out with the hull points in counter-clockwise order (x, y, z
  // as they were in the source); an empty hull gives an empty polygon.
  void ObtainConvexHull3D(CSSE3dPolygon* out) const;
  void ObtainConvexHull2D(CSSE2dPolygon* out) const;

  int GetNumPoints() const { return m_nNumPoints; }
  int GetNumDeleted() const { return m_nNumDeleted; }
  const tPointStruc* GetPoints() const { return m_pPoints; }
  const tStackCell* GetStackTop() const { return m_pTop; }
  // Number of points on the hull.
  int GetHullSize() const;

  // The steps, in the order the constructors run them.
  void FindLowest();
  // -1 when p comes before q about point 0, 1 when after. Collinear with
  // point 0 (|area| <= 0.0005): counts a deletion and flags the nearer one
  // (per-axis distances |dx|, |dy| in float): -1 flagging p when p is
  // nearer on either axis, else 1 flagging q when q is; coincident points:
  // 0, flagging the one with the smaller or equal vnum.
  int Compare(tPointStruc* p, tPointStruc* q);
  // Sorts points first .. last (inclusive) with Compare.
  void QuickSort(int first, int last);
  // After the sort: flags every point of a ray from point 0 but its
  // farthest one, so the result does not depend on which pairs the sort
  // compared.
  void FlagHiddenRayPoints();
  void Squash();
  void Graham();
  void Push(tPointStruc* p);
  void Pop();
  // Copies point `from` over point `to`.
  void Copy(int from, int to);
  void Swap(int i, int j);

 private:
  // Takes n points (read(i, point) fills x, y and z; z stays 0 for planar
  // input), numbered in input order, and runs the scan. n < 1 leaves the
  // hull empty.
  template <class Read>
  void LoadPoints(int n, Read read, bool referenceScans);
  void Run(bool referenceScans);
  // QuickSort(1, n - 1) without its branch per comparison: each partition
  // classifies its points against the pivot in one pass, then pairs the
  // points the two scans would stop at and swaps them, exactly as QuickSort
  // would, calling Compare only where it would count a collinear pair.
  void SortAboutPointZero();
  // One partition of that sort; returns the pivot's final place.
  int PartitionByClasses(int first, int last, int* leftStops, int* rightStops);
  void FreeStack();

  int m_nNumPoints = 0;
  int m_nNumDeleted = 0;
  tPointStruc* m_pPoints = nullptr;
  tStackCell* m_pTop = nullptr;
};
