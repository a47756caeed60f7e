#include "triangulation/delaunay_circle_grid.h"

#include <xmmintrin.h>

#include <algorithm>
#include <cmath>

namespace relief::detail {

namespace {
// A circle whose box covers more cells than this goes one level up: thin
// hull triangles have huge circles, and filing them cell by cell would cost
// more than visiting them on every query.
constexpr long long kMaxCellsPerCircle = 64;
// The coarse grid's cells are this many fine cells on a side.
constexpr int kCoarseFactor = 8;
// A fine cell settles at a few dozen entries (twelve to twenty-four
// triangles, each filed in two to three cells); growing every cell from
// nothing after each re-layout would cost a string of reallocations per cell.
constexpr std::size_t kReservedPerCell = 32;
// Where a triangle is filed (its nGridLevel).
constexpr int16_t kFine = 0;
constexpr int16_t kCoarse = 1;
constexpr int16_t kUnbounded = 2;
// A circle that holds no point at all is not filed anywhere.
constexpr int16_t kHoldsNothing = 3;

// r2 > dx*dx + dy*dy fails for every x and y when r2 is NaN or not positive
// (the sum is never below zero) and when the centre is not finite (the sum
// is then infinite or NaN). Collinear corners give such circles; a growing
// hull leaves many of them, and every query would visit them in vain.
bool HoldsNothing(float cx, float cy, float r2) { return !(r2 > 0.0f) || !std::isfinite(cx) || !std::isfinite(cy); }
}  // namespace

void CCircleGrid::Level::Layout(double x0, double y0, double cellSide, int nx, int ny, std::size_t reserve) {
  fX0 = x0;
  fY0 = y0;
  fInv = 1.0 / cellSide;
  nX = nx;
  nY = ny;
  cells.clear();
  cells.resize(static_cast<std::size_t>(nX) * nY);
  for (std::vector<Entry>& cell : cells) cell.reserve(reserve);
}

bool CCircleGrid::CircleBox(const Entry& e, double lo[2], double hi[2]) {
  const double r2 = e.fRadiusSqr, cx = e.fCenterX, cy = e.fCenterY;
  if (!(std::isfinite(r2) && std::isfinite(cx) && std::isfinite(cy) && r2 >= 0.0)) return false;
  // Half side of the box: see the exactness note in the header. The absolute
  // terms cover the double rounding of c +- r and circles of zero radius.
  const double r = std::sqrt(r2) * (1.0 + 1e-5) + (std::fabs(cx) + std::fabs(cy)) * 1e-12 + 1e-15;
  lo[0] = cx - r, lo[1] = cy - r;
  hi[0] = cx + r, hi[1] = cy + r;
  return true;
}

void CCircleGrid::RemoveEntry(std::vector<Entry>& entries, uint32_t record) {
  auto it = std::find_if(entries.begin(), entries.end(), [record](const Entry& e) { return e.Record() == record; });
  *it = entries.back();
  entries.pop_back();
}

bool CCircleGrid::Level::TryInsert(t_hdelaunaytriangle* t, const Entry& e, const double lo[2], const double hi[2]) {
  if (cells.empty()) return false;
  const int ix0 = CellX(lo[0]), ix1 = CellX(hi[0]), iy0 = CellY(lo[1]), iy1 = CellY(hi[1]);
  if (static_cast<long long>(ix1 - ix0 + 1) * (iy1 - iy0 + 1) > kMaxCellsPerCircle) return false;
  t->nGridBox[0] = static_cast<int16_t>(ix0);
  t->nGridBox[1] = static_cast<int16_t>(iy0);
  t->nGridBox[2] = static_cast<int16_t>(ix1);
  t->nGridBox[3] = static_cast<int16_t>(iy1);
  Entry copy = e;
  copy.nRecord |= kHome;
  ForEachCellOf(*this, t->nGridBox, [&](std::vector<Entry>& cell) {
    cell.push_back(copy);
    copy.nRecord = e.nRecord;
  });
  return true;
}

void CCircleGrid::Level::Erase(const t_hdelaunaytriangle* t) {
  const uint32_t record = static_cast<uint32_t>(t->nPoolIndex);
  ForEachCellOf(*this, t->nGridBox, [record](std::vector<Entry>& cell) { RemoveEntry(cell, record); });
}

void CCircleGrid::Level::CollectOnce(std::vector<Entry>& out) const {
  for (const std::vector<Entry>& cell : cells)
    for (const Entry& e : cell)
      if (e.nRecord & kHome) out.push_back(Entry{e.fCenterX, e.fCenterY, e.fRadiusSqr, e.Record()});
}

void CCircleGrid::Layout(double x0, double y0, double x1, double y1, std::size_t cells) {
  if (!(x1 >= x0) || !(y1 >= y0) || !std::isfinite(x1 - x0) || !std::isfinite(y1 - y0)) {
    x0 = y0 = 0.0;
    x1 = y1 = 1.0;
  }
  const double w = std::max(x1 - x0, 1e-6), h = std::max(y1 - y0, 1e-6);
  const double side = std::sqrt(w * h / static_cast<double>(std::max<std::size_t>(cells, 1)));
  const int nx = static_cast<int>(std::min(4096.0, std::max(1.0, std::ceil(w / side))));
  const int ny = static_cast<int>(std::min(4096.0, std::max(1.0, std::ceil(h / side))));
  const double cell = std::max(w / nx, h / ny);
  m_Fine.Layout(x0, y0, cell, nx, ny, kReservedPerCell);
  m_Coarse.Layout(x0, y0, cell * kCoarseFactor, (nx + kCoarseFactor - 1) / kCoarseFactor,
                  (ny + kCoarseFactor - 1) / kCoarseFactor, 0);
  m_Unbounded.clear();
}

void CCircleGrid::Reset(double x0, double y0, double x1, double y1, std::size_t cells) {
  Layout(x0, y0, x1, y1, cells);
  m_nCount = 0;
}

void CCircleGrid::Relayout(double x0, double y0, double x1, double y1, std::size_t cells) {
  std::vector<Entry> filed;
  filed.reserve(m_nCount);
  m_Fine.CollectOnce(filed);
  m_Coarse.CollectOnce(filed);
  filed.insert(filed.end(), m_Unbounded.begin(), m_Unbounded.end());
  Layout(x0, y0, x1, y1, cells);
  for (const Entry& e : filed) File(m_Pool.At(e.Record()), e);
}

void CCircleGrid::Clear() {
  for (Level* level : {&m_Fine, &m_Coarse})
    for (std::vector<Entry>& cell : level->cells) cell.clear();
  m_Unbounded.clear();
  m_nCount = 0;
}

void CCircleGrid::File(t_hdelaunaytriangle* t, const Entry& e) {
  if (HoldsNothing(e.fCenterX, e.fCenterY, e.fRadiusSqr)) {
    t->nGridLevel = kHoldsNothing;
    return;
  }
  double lo[2], hi[2];
  if (CircleBox(e, lo, hi)) {
    if (m_Fine.TryInsert(t, e, lo, hi)) {
      t->nGridLevel = kFine;
      return;
    }
    if (m_Coarse.TryInsert(t, e, lo, hi)) {
      t->nGridLevel = kCoarse;
      return;
    }
  }
  t->nGridLevel = kUnbounded;
  m_Unbounded.push_back(e);
}

void CCircleGrid::Insert(t_hdelaunaytriangle* t) {
  ++m_nCount;
  File(t, Entry{t->fCenterX, t->fCenterY, t->fRadiusSqr, static_cast<uint32_t>(t->nPoolIndex)});
}

void CCircleGrid::PrefetchQuery(float x, float y) const {
  if (m_Fine.cells.empty()) return;
  const std::vector<Entry>& cell = m_Fine.cells[m_Fine.CellOf(x, y)];
  const char* from = reinterpret_cast<const char*>(cell.data());
  const char* to = reinterpret_cast<const char*>(cell.data() + cell.size());
  for (const char* line = from; line < to; line += 64) _mm_prefetch(line, _MM_HINT_T0);
}

void CCircleGrid::Prefetch(const t_hdelaunaytriangle* t) const {
  if (t->nGridLevel != kFine && t->nGridLevel != kCoarse) return;
  // The first line of each cell: the search for t's entry starts there, and
  // asking for whole cells measured no faster.
  ForEachCellOf(t->nGridLevel == kFine ? m_Fine : m_Coarse, t->nGridBox, [](const std::vector<Entry>& cell) {
    _mm_prefetch(reinterpret_cast<const char*>(cell.data()), _MM_HINT_T0);
  });
}

void CCircleGrid::Erase(t_hdelaunaytriangle* t) {
  --m_nCount;
  if (t->nGridLevel == kFine)
    m_Fine.Erase(t);
  else if (t->nGridLevel == kCoarse)
    m_Coarse.Erase(t);
  else if (t->nGridLevel == kUnbounded)
    RemoveEntry(m_Unbounded, static_cast<uint32_t>(t->nPoolIndex));
  t->nGridLevel = -1;
}

}  // namespace relief::detail
