#include "triangulation/earclip_edge_grid.h"

#include <algorithm>
#include <cmath>

namespace relief::detail {

namespace {

// Coordinates within this bound keep the double area's rounding error below
// a fifth of the tolerance: 8 M^2 2^-50 < 0.0001.
constexpr double kCoordinateBound = 1.0e5;
// Twice the tolerance: covers the tolerance itself plus the rounding error.
constexpr double kWidening = 2.0 * CHSimpleBasisFcns::kTolerance;

}  // namespace

// Monotone in the coordinate and clamped to the grid, so a point inside a
// segment's trace maps into one of the trace's cells.
int CEarClipEdgeGrid::CellX(double x) const {
  const double c = std::floor((x - m_x0) * m_invCell);
  return c < 0 ? 0 : c >= m_nx ? m_nx - 1 : int(c);
}

int CEarClipEdgeGrid::CellY(double y) const {
  const double c = std::floor((y - m_y0) * m_invCell);
  return c < 0 ? 0 : c >= m_ny ? m_ny - 1 : int(c);
}

bool CEarClipEdgeGrid::Trace(const t_hvertex* a, const t_hvertex* b) {
  m_trace.clear();
  const double ax = a->x, ay = a->y, bx = b->x, by = b->y;
  const double x0 = std::min(ax, bx), x1 = std::max(ax, bx), y0 = std::min(ay, by), y1 = std::max(ay, by);
  auto add = [&](int cx, int cy0, int cy1) {
    if ((long long)m_trace.size() + (cy1 - cy0 + 1) > m_wideLimit) return false;
    for (int cy = cy0; cy <= cy1; ++cy) m_trace.push_back(cy * m_nx + cx);
    return true;
  };
  if (x1 > x0) {
    // Column by column: the segment's y over the column's stretch of x,
    // widened by the tolerance's reach and a rounding slack.
    const double wide = kWidening / (x1 - x0) + m_slack, slope = (by - ay) / (bx - ax);
    for (int cx = CellX(x0), last = CellX(x1); cx <= last; ++cx) {
      const double from = std::max(x0, m_x0 + cx * m_cell - m_slack);
      const double to = std::min(x1, m_x0 + (cx + 1) * m_cell + m_slack);
      const double yFrom = ay + (from - ax) * slope, yTo = ay + (to - ax) * slope;
      if (!add(cx, CellY(std::min(yFrom, yTo) - wide), CellY(std::max(yFrom, yTo) + wide))) return false;
    }
    return true;
  }
  if (y1 > y0) {
    const double wide = kWidening / (y1 - y0) + m_slack;
    for (int cx = CellX(x0 - wide), last = CellX(x0 + wide); cx <= last; ++cx)
      if (!add(cx, CellY(y0 - m_slack), CellY(y1 + m_slack))) return false;
    return true;
  }
  // A repeated point: "between" it reads as collinear with anything on its
  // row or column, so it can reach everywhere.
  return false;
}

bool CEarClipEdgeGrid::Build(const t_hvertex* vertices, int count, const t_hvertex* head, int remaining) {
  m_vertices = vertices;
  double x0 = HUGE_VAL, y0 = HUGE_VAL, x1 = -HUGE_VAL, y1 = -HUGE_VAL;
  const t_hvertex* v = head;
  do {
    const double x = v->x, y = v->y;
    if (!(std::fabs(x) <= kCoordinateBound && std::fabs(y) <= kCoordinateBound)) return false;
    x0 = std::min(x0, x), y0 = std::min(y0, y), x1 = std::max(x1, x), y1 = std::max(y1, y);
    v = v->next;
  } while (v != head);
  // About two edges per cell, square cells over the box.
  const double w = std::max(x1 - x0, 1e-9), h = std::max(y1 - y0, 1e-9);
  const double cell = std::sqrt(w * h / std::max(remaining / 2, 1));
  m_cell = cell;
  m_invCell = 1.0 / cell;
  m_slack = 1e-9 * std::max({w, h, std::fabs(x0), std::fabs(y0), std::fabs(x1), std::fabs(y1)});
  m_nx = std::clamp(int(w * m_invCell) + 1, 1, 4096);
  m_ny = std::clamp(int(h * m_invCell) + 1, 1, 4096);
  m_x0 = x0;
  m_y0 = y0;
  m_wideLimit = std::max<long long>(64, (long long)m_nx * m_ny / 8);
  m_cells.assign(std::size_t(m_nx) * m_ny, {});
  m_everywhere.clear();
  // Versions only grow, across rebuilds too: an entry is current when its
  // version is the vertex's.
  m_version.resize(std::size_t(count), 0);
  m_seen.assign(std::size_t(count), 0);
  m_query = 0;
  do {
    File(v);
    v = v->next;
  } while (v != head);
  return true;
}

void CEarClipEdgeGrid::File(const t_hvertex* v) {
  const Entry entry{v->index, m_version[v->index]};
  if (!Trace(v, v->next)) {
    m_everywhere.push_back(entry);
    return;
  }
  for (std::int32_t cell : m_trace) m_cells[std::size_t(cell)].push_back(entry);
}

void CEarClipEdgeGrid::Remove(const t_hvertex* v) { ++m_version[v->index]; }

void CEarClipEdgeGrid::Refile(const t_hvertex* v) {
  ++m_version[v->index];
  File(v);
}

}  // namespace relief::detail
