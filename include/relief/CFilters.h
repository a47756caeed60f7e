#pragma once

#include "relief/Export.h"

class CSSEMatrix;
class CSSEcharMatrix;

// Smoothing and rank filters over square windows of (2 radius + 1)^2 pixels
// centred on each pixel of a float raster.
//
// No data: by default (zeroIsNoData true) a pixel holding 0 or NaN holds no
// data. Such a pixel keeps its value, and every other pixel is filtered over
// the pixels of its window that hold data (it always counts itself), so the
// rim of a scan does not sag towards 0. With zeroIsNoData false, 0 is an
// ordinary value; NaN still takes no part in means, minima and maxima (a NaN
// pixel then receives its window's result; in a mean NaN counts as 0).
//
// Borders: windows are clipped to the raster, never padded: a border pixel
// is filtered over the window pixels that lie inside.
//
// Arguments: source and target may be the same raster (the filter then runs
// in place). The target is re-created with the source's size unless it
// already has that size; its padding lanes end 0. A source without storage
// changes nothing; a radius < 1 makes the target a copy of the source. Any
// failed allocation throws CMemoryException.
class RELIEF_API CFilters {
 public:
  // Mean of the window. Sums are exact up to float rounding of a sum of at
  // most 2r+1 values at a time (no running-sum drift); +-infinity in a window
  // gives +-infinity or NaN there.
  static void BoxMean(const CSSEMatrix& source, CSSEMatrix& target, int radius, bool zeroIsNoData = true);
  // Smallest / largest value of the window.
  static void Minimum(const CSSEMatrix& source, CSSEMatrix& target, int radius, bool zeroIsNoData = true);
  static void Maximum(const CSSEMatrix& source, CSSEMatrix& target, int radius, bool zeroIsNoData = true);
  // Median of the window; of an even number of values (clipped or no-data
  // windows) the lower of the two middle ones. With zeroIsNoData false a
  // NaN in a 3 x 3 or 5 x 5 window gives an unspecified value there (NaN
  // included); larger windows and the border leave NaN out.
  static void Median(const CSSEMatrix& source, CSSEMatrix& target, int radius, bool zeroIsNoData = true);

  // Byte masks: smallest / largest signed byte of the clipped window (an
  // erosion / dilation of the mask by a square). 0 is an ordinary value
  // here. Source and target may be the same raster; the target is
  // re-created with the source's size unless it has it; spare rows end 0. A
  // source without storage changes nothing, a radius < 1 copies. The cost
  // grows linearly with the radius (sixteen rows per instruction).
  static void Minimum(const CSSEcharMatrix& source, CSSEcharMatrix& target, int radius);
  static void Maximum(const CSSEcharMatrix& source, CSSEcharMatrix& target, int radius);

  // In place: the same with source and target one raster.
  static void BoxMean(CSSEMatrix& matrix, int radius, bool zeroIsNoData = true);
  static void Minimum(CSSEMatrix& matrix, int radius, bool zeroIsNoData = true);
  static void Maximum(CSSEMatrix& matrix, int radius, bool zeroIsNoData = true);
  static void Median(CSSEMatrix& matrix, int radius, bool zeroIsNoData = true);
};
