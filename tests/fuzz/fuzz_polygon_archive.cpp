// Feeds arbitrary bytes to the polygon reader. A record is either refused
// with an archive or memory exception (leaving the polygon as it was) or
// loaded; a loaded polygon must store back to exactly as many bytes as it
// consumed and survive the containment test and a fill.

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "relief/CArchive.h"
#include "relief/CMemoryException.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CSSE3dPolygon poly;
  poly.Create(3);
  poly.SetPoint(0, 1, 2, 3);
  std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
  try {
    CArchive ar(in);
    poly.Serialize(ar);
  } catch (const CArchiveException&) {
    float x = 0;
    poly.GetPointX(0, x);
    if (poly.GetNumPoints() != 3 || x != 1) std::abort();  // a refused record changed the polygon
    return 0;
  } catch (const CMemoryException&) {
    if (poly.GetNumPoints() != 3) std::abort();
    return 0;
  }
  const int n = poly.GetNumPoints();
  std::ostringstream out;
  {
    CArchive ar(out);
    poly.Serialize(ar);
  }
  if (out.str().size() != 4 + 48 * ((static_cast<std::size_t>(n) + 3) / 4)) std::abort();
  poly.PointInLineInnerArea(5.0f, 5.0f, 1);
  CSSEMatrix m;
  m.Create(16, 16);
  poly.DrawInMatrixAndFillFine(1.0f, &m, false, 0.0f, 16.0f);
  return 0;
}
