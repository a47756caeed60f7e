#pragma once

#include "relief/Export.h"

class CSSEMatrix;

// For each band of four raster rows (one SSE row of CSSEMatrix), the first and
// last column at which the band's content changes. Lets callers skip the flat
// background of a height field. A pair holds (0, 999999) until computed;
// 999999 means "no right end found".
//
// Assignment copies the pointer (shallow), like CSSEMatrix itself: only one of
// two assigned objects may be destroyed.
class RELIEF_API CImgFromToArray {
 public:
  struct t_fromto {
    int from;
    int to;
  };

  CImgFromToArray() = default;
  ~CImgFromToArray();
  CImgFromToArray& operator=(const CImgFromToArray& other) = default;

  // Recomputes one pair per band of m ((sizeY + 3) >> 2 bands) within columns
  // xFrom .. xTo (each clamped: below 1 -> 0, else at most sizeX - 1). A column
  // counts as a change when any of the band's four rows differs from the column
  // before by 0.005 or more. Rasters without columns or rows leave the table
  // as it was. Throws CMemoryException when the table cannot be allocated.
  void CalcArray(CSSEMatrix& m, int xFrom, int xTo);

  // range == 1: is from <= x <= to in band y >> 2 (y must lie in the raster)?
  // Otherwise: is x inside every band k with (y - range) >> 2 <= k < (y + range) >> 2
  // (both clamped to the table; the upper band itself is deliberately not
  // tested; an empty band range answers true)? Without a table: false.
  bool IsPositionInArray(int x, int y, int range) const;

  // range == 1: overwrites from/to with entry y (the row number is the index
  // here, not y >> 2), clamped into the table. Otherwise narrows from/to to the
  // union of the bands used by IsPositionInArray. Without a table: no change.
  void GetFromToCoords(int& from, int& to, int y, int range) const;

  // Stamps 3x3 boxes of 20.0 at each band's from column and 30.0 at its to
  // column (row 4k), shifted inward to lie in m. Without a table: no change.
  void DrawInMatrix(CSSEMatrix& m) const;

  int GetCount() const { return m_nCount; }
  const t_fromto* GetArray() const { return m_pArray; }

 private:
  void Release();

  t_fromto* m_pArray = nullptr;
  int m_nCount = 0;
};
