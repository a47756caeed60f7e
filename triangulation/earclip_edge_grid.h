#pragma once

// A uniform grid over the edges of the ear clipper's shrinking polygon, so
// that the diagonal test (does any edge meet the candidate diagonal?) looks
// only at the edges near the diagonal instead of walking the whole circle.
//
// The answer must be exactly that of the walk, tolerances included. The
// intersection predicates accept an edge that (a) properly crosses the
// diagonal, or (b) has an end "between" the diagonal's ends, or (c) carries
// one of the diagonal's ends "between" its own: collinear within 0.0005 of
// doubled area and inside the segment's x range (its y range when vertical).
// A point collinear with a segment in that tolerant sense can lie off the
// segment by up to 2e / |dx| across it (on y; on x for a vertical segment),
// so every segment (edge or diagonal) covers the cells its thickened trace
// passes through: column by column, the rows between the segment's lowest
// and highest y over that column, widened by that amount. An edge can meet
// the diagonal only when their traces share a cell, which the grid finds.
// Segments that cover too much of the grid (very short, nearly
// axis-parallel ones with a huge widening, or a repeated point) go on a
// list that every query checks, and a query that covers too much reports
// so, and the caller walks the circle instead.
//
// (a) relies on the signs of the rounded areas being the true ones, which
// holds while the rounding error of the double evaluation stays well below
// the tolerance: coordinates within +-1e5. Beyond that the grid refuses to
// build and the caller walks.

#include <cstdint>
#include <vector>

#include "relief/CHSimpleBasisFcns.h"

namespace relief::detail {

class CEarClipEdgeGrid {
 public:
  enum class Result { kNone, kFound, kTooWide };

  // Files the edges (v, v->next) of the `remaining` vertices on the circle
  // through head, over a grid sized for that many edges (count is the size
  // of the vertex array). False when the coordinates are out of the range
  // above (the grid is then unusable). Building again starts afresh: the
  // clipper rebuilds as the polygon thins out, so that its long late
  // diagonals cross few, larger cells.
  bool Build(const t_hvertex* vertices, int count, const t_hvertex* head, int remaining);
  // The edge starting at v has changed (v->next moved) or gone (removed).
  void Refile(const t_hvertex* v);
  void Remove(const t_hvertex* v);

  // Calls meets(c) for the start c of every filed edge whose influence box
  // overlaps that of segment ab, until one returns true.
  template <class Meets>
  Result Any(const t_hvertex* a, const t_hvertex* b, Meets meets);

 private:
  struct Entry {
    std::int32_t vertex;
    std::uint32_t version;
  };

  // The cells of segment ab's thickened trace into m_trace; false (and a
  // partial list) when they are more than m_wideLimit.
  bool Trace(const t_hvertex* a, const t_hvertex* b);
  int CellX(double x) const;
  int CellY(double y) const;
  void File(const t_hvertex* v);
  bool Current(const Entry& e) const { return m_version[e.vertex] == e.version; }

  const t_hvertex* m_vertices = nullptr;
  double m_x0 = 0, m_y0 = 0, m_cell = 0, m_invCell = 0, m_slack = 0;
  int m_nx = 0, m_ny = 0;
  long long m_wideLimit = 0;  // boxes over this many cells go to / come from the walk
  std::vector<std::vector<Entry>> m_cells;
  std::vector<Entry> m_everywhere;     // edges checked by every query
  std::vector<std::uint32_t> m_version;  // per vertex; entries of older versions are stale
  std::vector<std::uint32_t> m_seen;     // per vertex: the query that last looked at it
  std::uint32_t m_query = 0;
  std::vector<std::int32_t> m_trace;  // cells of the last Trace
};

template <class Meets>
CEarClipEdgeGrid::Result CEarClipEdgeGrid::Any(const t_hvertex* a, const t_hvertex* b, Meets meets) {
  if (!Trace(a, b)) return Result::kTooWide;
  ++m_query;
  // Visits a cell's current edges and drops its stale entries on the way,
  // so that an edge refiled again and again (a growing fan) costs each cell
  // it left one visit, not one per later query.
  auto visitAll = [&](std::vector<Entry>& entries) {
    for (std::size_t i = 0; i < entries.size();) {
      const Entry e = entries[i];
      if (!Current(e)) {
        entries[i] = entries.back();
        entries.pop_back();
        continue;
      }
      ++i;
      if (m_seen[e.vertex] == m_query) continue;
      m_seen[e.vertex] = m_query;
      if (meets(m_vertices + e.vertex)) return true;
    }
    return false;
  };
  if (visitAll(m_everywhere)) return Result::kFound;
  for (std::int32_t cell : m_trace)
    if (visitAll(m_cells[std::size_t(cell)])) return Result::kFound;
  return Result::kNone;
}

}  // namespace relief::detail
