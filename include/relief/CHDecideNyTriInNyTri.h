#pragma once

#include <cstdint>
#include <vector>

#include "relief/Export.h"

class CHTriangulation;
class NyTriangulationStatic;
class NyTriangulationDynamic;

// Decides, for every triangle of an inner mesh, whether it lies within the
// x/y footprint of an outer mesh (the union of the outer triangles projected
// onto the x/y plane, border included).
//
// A triangle counts as inside when its three corners and its centroid lie in
// the footprint, no border side of the footprint crosses one of its sides,
// and no border corner of the footprint lies strictly inside it; so a hole or
// notch of the outer mesh that reaches into the triangle makes it outside,
// while touching the border does not. A border side of the footprint is an
// outer triangle side whose x/y end points no other outer triangle has as a
// side. Tests are exact in double; degenerate outer triangles cover their
// segment. The footprint's triangles and border are filed in a uniform grid,
// so the work grows with the sizes of both meshes, not with their product.
//
// The external mesh types are empty stand-ins here: their overloads compile
// and decide nothing (no flags, count 0). Allocation failure throws
// CMemoryException.
class RELIEF_API CHDecideNyTriInNyTri {
 public:
  CHDecideNyTriInNyTri() = default;
  CHDecideNyTriInNyTri(CHTriangulation* inner, CHTriangulation* outer) { Decide(inner, outer); }
  CHDecideNyTriInNyTri(NyTriangulationStatic* inner, NyTriangulationStatic* outer) { Decide(inner, outer); }
  CHDecideNyTriInNyTri(NyTriangulationDynamic* inner, NyTriangulationDynamic* outer) { Decide(inner, outer); }

  // Fills one flag per inner triangle (in index order) and returns how many
  // are inside. A null or empty inner mesh gives no flags; a null or empty
  // outer mesh gives all flags false.
  int Decide(CHTriangulation* inner, CHTriangulation* outer);
  int Decide(NyTriangulationStatic* inner, NyTriangulationStatic* outer);
  int Decide(NyTriangulationDynamic* inner, NyTriangulationDynamic* outer);

  int GetNumTriangles() const { return static_cast<int>(m_Inside.size()); }
  int GetNumInside() const { return m_nInside; }
  // Flag of inner triangle i; false for an index out of range.
  bool IsTriangleInside(int i) const {
    return i >= 0 && i < GetNumTriangles() && m_Inside[static_cast<std::size_t>(i)] != 0;
  }

 private:
  std::vector<uint8_t> m_Inside;
  int m_nInside = 0;
};
