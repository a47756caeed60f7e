#pragma once

#include <cstddef>
#include <vector>

#include "relief/TaCIncrementalDelaunay2D.h"

namespace relief::detail {

// A uniform grid over the bounding boxes of circumcircles, so that the
// triangles whose circle may hold a point are found without walking the whole
// working list. Each triangle is filed in every cell its circle's box touches;
// circles that are not finite or that cover many cells sit in one unbounded
// list that every query visits. Queries return candidates only: the caller
// applies the exact float comparison, so the grid may be generous but must
// never miss a triangle the comparison would accept.
//
// Exactness: the float test r2 > dx*dx + dy*dy can only succeed when the true
// distance |p - c| is below sqrt(r2) * (1 + 2^-22) (each of the three roundings
// costs at most one unit in the last place, and adding a non-negative float
// never decreases a sum), so a box of half side sqrt(r2) * (1 + 1e-5) holds every
// accepted point. The cell of a coordinate is a monotone function (clamped at
// the grid's edges), so a point inside a box always maps into the box's cells,
// even when it lies outside the grid's extent.
class CCircleGrid {
 public:
  // Lays out about `cells` square cells over the box (x0, y0)-(x1, y1) and
  // forgets every filed triangle (their bookkeeping is not touched).
  void Reset(double x0, double y0, double x1, double y1, std::size_t cells);
  void Insert(t_hdelaunaytriangle* t);
  void Erase(t_hdelaunaytriangle* t);
  // Re-files a triangle whose circle changed.
  void Update(t_hdelaunaytriangle* t) {
    Erase(t);
    Insert(t);
  }
  std::size_t Count() const { return m_nCount; }
  std::size_t CellCount() const { return m_Cells.size(); }

  // Calls f(triangle) for every filed triangle whose circle box may hold (x, y).
  template <class F>
  void ForEachCandidate(float x, float y, F&& f) const {
    for (t_hdelaunaytriangle* t : m_Unbounded) f(t);
    if (m_Cells.empty()) return;
    for (t_hdelaunaytriangle* t : m_Cells[static_cast<std::size_t>(CellY(y)) * m_nX + CellX(x)]) f(t);
  }

 private:
  int CellX(double x) const { return Cell((x - m_fX0) * m_fInv, m_nX); }
  int CellY(double y) const { return Cell((y - m_fY0) * m_fInv, m_nY); }
  static int Cell(double g, int n) {
    if (!(g >= 0.0)) return 0;  // also NaN
    if (g >= n - 1) return n - 1;
    return static_cast<int>(g);
  }

  double m_fX0 = 0.0, m_fY0 = 0.0, m_fInv = 1.0;
  int m_nX = 0, m_nY = 0;
  std::vector<std::vector<t_hdelaunaytriangle*>> m_Cells;
  std::vector<t_hdelaunaytriangle*> m_Unbounded;
  std::size_t m_nCount = 0;
};

}  // namespace relief::detail
