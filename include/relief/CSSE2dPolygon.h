#pragma once

#include <cstdint>

#include "relief/Export.h"

// A planar point: x then y. The ear-clipping vertex records begin with the
// same two fields, so they can be passed wherever a t_h2dpoint is expected.
struct t_h2dpoint {
  float x;
  float y;
};

// A planar polygon of float pairs in two 16-byte aligned arrays, each padded
// to whole groups of four (the padding is zero after Create).
//
// Quirks callers rely on:
// - Free and the destructor release the arrays but keep the count, so a
//   freed polygon still reports its old count; only Create sets it. Accessors
//   and queries treat a polygon without arrays as holding no points.
// - Assignment is shallow (the two objects then share the arrays; destroy
//   only one). The copy constructor copies deeply.
// - GetMinEuclDistance and CalcArea compute what they document, not a
//   distance to the points or the polygon's area.
// Allocation failure throws CMemoryException.
class RELIEF_API CSSE2dPolygon {
 public:
  // Null arrays, count 0.
  CSSE2dPolygon();
  CSSE2dPolygon(const CSSE2dPolygon& other);
  ~CSSE2dPolygon();
  CSSE2dPolygon& operator=(const CSSE2dPolygon& other);  // shallow

  // Releases the arrays, allocates ((n + 1) div 2) * 16 bytes for each, zero
  // filled, count n. n < 0 throws CMemoryException (the polygon is then freed).
  void Create(int n);
  // Releases both arrays; the count stays as it was.
  void Free();
  int GetNumPoints() const { return m_nNumPoints; }

  // Index outside 0 .. count - 1: the setter does nothing, the getters leave
  // their outputs untouched.
  void SetPoint(int i, float x, float y);
  void GetPoint(int i, float& x, float& y) const;
  void GetPoint(int i, t_h2dpoint& p) const;

  // Over the first 4 (count div 4) points, four at a time: the smallest
  // sqrt((x - px)^2 + (x - px)^2), i.e. sqrt(2) |x - px|. The y argument and
  // the y coordinates take no part; the last count mod 4 points are not
  // examined; 1e6 for fewer than four points.
  float GetMinEuclDistance(float x, float y) const;
  // 0 for fewer than three points. Otherwise, with T(P, Q, r) = ((Q.x - P.x)
  // - (Q.y - P.y)) (r - P.y) in double: t1 = float(T(p[n-1], p[0], p[1].x)),
  // t2 = T(p[n-2], p[n-1], p[1].x), result float(t2 + t1). Two terms only,
  // whatever the count: not the area, and its sign is not an orientation.
  float CalcArea() const;
  // Index of the first smallest |x - px| (|y - py|) over indices 0, 2, 4, ...
  // below count - 1; -1 for count <= 1.
  int ClosestPointX(float x) const;
  int ClosestPointY(float y) const;

  float* GetXArray() const { return m_pX; }
  float* GetYArray() const { return m_pY; }

 private:
  float* m_pX;
  float* m_pY;
  std::int32_t m_nNumPoints;
};
