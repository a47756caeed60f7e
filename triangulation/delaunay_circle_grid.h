#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_triangle_pool.h"

namespace relief::detail {

// Uniform grids over the bounding boxes of circumcircles, so that the
// triangles whose circle holds a point are found without walking the whole
// working list. A triangle is filed in every cell its circle's box touches,
// in the fine grid when that is a few cells, else in a grid eight times
// coarser; circles too big even for that, or with an infinite radius, sit in
// one unbounded list that every query visits.
//
// An entry is 16 bytes: a copy of the circle and the record's index in the
// triangulation's pool. A query reads contiguous entries and touches a
// triangle only when its circle holds the point; a new layout is filed from
// the entries alone.
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
  // Filed triangles must come from this pool.
  explicit CCircleGrid(const CTrianglePool& pool) : m_Pool(pool) {}

  // Lays out about `cells` square fine cells over the box (x0, y0)-(x1, y1)
  // and forgets every filed triangle (their bookkeeping is not touched).
  void Reset(double x0, double y0, double x1, double y1, std::size_t cells);
  // Lays out anew as Reset does, but every filed triangle stays filed.
  void Relayout(double x0, double y0, double x1, double y1, std::size_t cells);
  // Forgets every filed triangle but keeps the layout and the cells' storage.
  void Clear();
  void Insert(t_hdelaunaytriangle* t);
  void Erase(t_hdelaunaytriangle* t);
  // Re-files a triangle whose circle changed.
  void Update(t_hdelaunaytriangle* t) {
    Erase(t);
    Insert(t);
  }
  // Asks for the fine cell a query at (x, y) will read.
  void PrefetchQuery(float x, float y) const;
  // Asks for the cells a filed triangle's removal will search.
  void Prefetch(const t_hdelaunaytriangle* t) const;
  std::size_t Count() const { return m_nCount; }
  std::size_t CellCount() const { return m_Fine.cells.size(); }

  // Calls f(triangle) for every filed triangle whose circle strictly holds
  // (x, y) by the float comparison of the point search, in no useful order.
  template <class F>
  void ForEachContaining(float x, float y, F&& f) const {
    Visit(m_Unbounded, x, y, f);
    for (const Level* level : {&m_Fine, &m_Coarse})
      if (!level->cells.empty()) Visit(level->cells[level->CellOf(x, y)], x, y, f);
  }

 private:
  struct Entry {
    float fCenterX, fCenterY, fRadiusSqr;
    uint32_t nRecord;  // pool index, with kHome set in the first cell of the filing
    uint32_t Record() const { return nRecord & ~kHome; }
  };
  static constexpr uint32_t kHome = 0x80000000u;
  // The same expression, in the same float steps, as the point search's test.
  static bool Holds(const Entry& e, float x, float y) {
    const float dx = x - e.fCenterX, dy = y - e.fCenterY;
    return e.fRadiusSqr > dx * dx + dy * dy;
  }
  template <class F>
  void Visit(const std::vector<Entry>& entries, float x, float y, F& f) const {
    for (const Entry& e : entries)
      if (Holds(e, x, y)) f(m_Pool.At(e.Record()));
  }
  // The box that holds every point the circle accepts; false for a circle
  // that is not finite.
  static bool CircleBox(const Entry& e, double lo[2], double hi[2]);
  // Removes the entry of a record; the order of the rest does not matter.
  static void RemoveEntry(std::vector<Entry>& entries, uint32_t record);
  // Files t's entry in a level or the unbounded list and notes where in t.
  void File(t_hdelaunaytriangle* t, const Entry& e);

  struct Level {
    double fX0 = 0.0, fY0 = 0.0, fInv = 1.0;
    int nX = 0, nY = 0;
    std::vector<std::vector<Entry>> cells;

    int CellX(double x) const { return Cell((x - fX0) * fInv, nX); }
    int CellY(double y) const { return Cell((y - fY0) * fInv, nY); }
    std::size_t CellOf(double x, double y) const { return static_cast<std::size_t>(CellY(y)) * nX + CellX(x); }
    static int Cell(double g, int n) {
      if (!(g >= 0.0)) return 0;  // also NaN
      if (g >= n - 1) return n - 1;
      return static_cast<int>(g);
    }
    void Layout(double x0, double y0, double cellSide, int nx, int ny, std::size_t reserve);
    // Files the entry in every cell its box touches when they are few
    // enough, noting them in t; false otherwise.
    bool TryInsert(t_hdelaunaytriangle* t, const Entry& e, const double lo[2], const double hi[2]);
    void Erase(const t_hdelaunaytriangle* t);
    // Every entry once, from the first cell of its filing.
    void CollectOnce(std::vector<Entry>& out) const;
  };
  void Layout(double x0, double y0, double x1, double y1, std::size_t cells);
  // Calls f(cell) for every cell of a filing's box (x0, y0, x1, y1), the
  // box's first cell first.
  template <class L, class F>
  static void ForEachCellOf(L& level, const int16_t box[4], F&& f) {
    for (int iy = box[1]; iy <= box[3]; ++iy)
      for (int ix = box[0]; ix <= box[2]; ++ix) f(level.cells[static_cast<std::size_t>(iy) * level.nX + ix]);
  }

  const CTrianglePool& m_Pool;
  Level m_Fine, m_Coarse;
  std::vector<Entry> m_Unbounded;
  std::size_t m_nCount = 0;
};

}  // namespace relief::detail
