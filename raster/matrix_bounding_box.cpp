// CSSEMatrix::GetValidBoundingBox: one pass over the registers.

#include "raster/data_box.h"
#include "raster/no_data.h"
#include "relief/CSSEMatrix.h"

bool CSSEMatrix::GetValidBoundingBox(int& minX, int& minY, int& maxX, int& maxY) const {
  if (!m_ppLines) return false;
  const relief::detail::DataBox box =
      relief::detail::ScanDataBox<false>(*this, [](__m128 v) { return relief::detail::HoldsData(v); });
  if (box.maxX < 0) return false;
  minX = box.minX;
  minY = box.minY;
  maxX = box.maxX;
  maxY = box.maxY;
  return true;
}
