// libFuzzer target for the mesh loader: arbitrary bytes are loaded as a mesh
// record. Loading must either succeed or throw CArchiveException /
// CMemoryException; a loaded mesh must be wired to its own arrays, and
// storing it again must give a record of the documented length.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "relief/CArchive.h"
#include "relief/CHTriangulation.h"
#include "relief/CMemoryException.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
  CHTriangulation mesh;
  try {
    CArchive ar(in);
    mesh.Serialize(ar);
  } catch (const CArchiveException&) {
    return 0;
  } catch (const CMemoryException&) {
    return 0;
  }
  const int n = mesh.GetNumTriangles();
  Require(n >= 0 && 80 + 268 * static_cast<std::int64_t>(n) <= static_cast<std::int64_t>(size));
  for (int i = 0; i < n; ++i) {
    const t_htriangle& t = mesh.GetTriangles()[i];
    Require(t.pPoint[0] == mesh.GetEdgeArray() + 3 * i && t.pMaxPoint == mesh.MaxPointArray + i);
    Require(!t.pNeighbour[0] && !t.pNeighbour[1] && !t.pNeighbour[2] && !t.pNext && !t.pPrev);
  }
  // The derived passes and the neighbour search must cope with whatever
  // floats came in (NaN, infinities, negative zeros).
  mesh.CalcBoundingBox();
  mesh.CalcSTV();
  if (n <= 4096) mesh.CalcNeighbours();
  std::ostringstream out;
  {
    CArchive ar(out);
    mesh.Serialize(ar);
  }
  Require(out.str().size() == 80 + 268 * static_cast<std::size_t>(n));
  return 0;
}
