#pragma once

// A tree of oriented bounding boxes over the edges of the ear clipper's
// shrinking polygon, so that the diagonal test (does any edge meet the
// candidate diagonal?) looks only at the edges near the diagonal instead of
// walking the whole circle.
//
// The answer must be exactly that of the walk, tolerances included. The
// intersection predicates accept an edge that (a) properly crosses the
// diagonal, or (b) has an end "between" the diagonal's ends, or (c) carries
// one of the diagonal's ends "between" its own: collinear within 0.0005 of
// doubled area and inside the segment's x range (its y range when vertical).
// A point collinear with a segment in that tolerant sense can lie off the
// segment by up to 2e / |dx| across it (on y; on x for a vertical segment),
// so every segment (edge or diagonal) has an influence region: the segment
// widened by that amount (and a rounding slack), bounded by a box along the
// segment. An edge can meet the diagonal only when their regions overlap. A
// repeated point reads as collinear with anything on its row or column: its
// region is the whole plane, and a diagonal with one makes the caller walk.
//
// The tree's leaves are the vertex indices, holding the edge that starts at
// each vertex still on the circle; the circle only loses vertices, so the
// leaves keep the polygon's order and a subtree holds a stretch of the
// outline. Each node's box is oriented along the main direction of its
// stretch's edges when the tree is built, so the long thin stretches of
// spiky outlines get thin boxes (axis boxes, or a uniform grid, would hold
// many spikes at once); clipping only grows the boxes where a new edge
// reaches out of them.
//
// (a) relies on the signs of the rounded areas being the true ones, which
// holds while the rounding error of the double evaluation stays well below
// the tolerance: coordinates within +-1e5. Beyond that the tree refuses to
// build and the caller walks.

#include <cmath>
#include <vector>

#include "relief/CHSimpleBasisFcns.h"

namespace relief::detail {

class CEarClipEdgeTree {
 public:
  enum class Result { kNone, kFound, kTooWide };

  // Files the edges (v, v->next) of the vertices on the circle through head
  // (count is the size of the vertex array). False when the coordinates are
  // out of the range above (the tree is then unusable).
  bool Build(const t_hvertex* vertices, int count, const t_hvertex* head);
  // Vertex v has left the circle: its edge is gone, and p's edge (p, p->next)
  // replaces (p, v). Boxes only grow (see Clip): rebuild as the circle
  // thins out.
  void Clip(const t_hvertex* v, const t_hvertex* p);

  // Calls meets(c) for the start c of every filed edge whose box overlaps
  // the influence region of segment ab, until one returns true.
  template <class Meets>
  Result Any(const t_hvertex* a, const t_hvertex* b, Meets meets) const;

 private:
  // A box centred at (cx, cy) reaching hu along the unit axis (ux, uy) and
  // hv along its normal (-uy, ux), and ex, ey along x and y (see Frame).
  struct Box {
    double cx, cy, ux, uy, hu, hv, ex, ey;
    bool empty, everywhere;
  };
  // Sets ex, ey from the rest: the reach on x and y.
  static void Frame(Box& b) {
    b.ex = b.hu * std::fabs(b.ux) + b.hv * std::fabs(b.uy);
    b.ey = b.hu * std::fabs(b.uy) + b.hv * std::fabs(b.ux);
  }
  // Half the extent of b's projection on the unit direction (wx, wy).
  static double Reach(const Box& b, double wx, double wy) {
    return b.hu * std::fabs(b.ux * wx + b.uy * wy) + b.hv * std::fabs(b.ux * wy - b.uy * wx);
  }
  bool Overlap(const Box& node, const Box& query) const;
  // False for a repeated point (its region is the whole plane).
  bool Influence(const t_hvertex* a, const t_hvertex* b, Box& box) const;
  // Node n's extents over its children's boxes, along its own axis.
  void Merge(int n);
  bool Contains(const Box& outer, const Box& inner) const;

  const t_hvertex* m_vertices = nullptr;
  double m_slack = 0;
  int m_leaves = 0;          // a power of two: leaf i is node m_leaves + i
  std::vector<Box> m_nodes;  // node 1 the root, node n's children 2n and 2n + 1
};

// Separating axes: x and y, the query's normal (the query is thin), then
// its axis and the node's two. With both frames orthonormal, the projections of
// one box on the other's axes need only the cosine and sine between them.
// Each test keeps a slack, so rounding can only let more edges through.
inline bool CEarClipEdgeTree::Overlap(const Box& node, const Box& query) const {
  if (node.empty) return false;
  if (node.everywhere) return true;
  const double dx = query.cx - node.cx, dy = query.cy - node.cy;
  // x and y first: cheap, and far boxes fail there.
  if (std::fabs(dx) > node.ex + query.ex + m_slack || std::fabs(dy) > node.ey + query.ey + m_slack) return false;
  const double c = std::fabs(query.ux * node.ux + query.uy * node.uy);
  const double s = std::fabs(query.uy * node.ux - query.ux * node.uy);
  const double qu = node.hu * c + node.hv * s, qv = node.hu * s + node.hv * c;  // node on the query's axes
  if (std::fabs(dy * query.ux - dx * query.uy) > query.hv + qv + m_slack) return false;
  if (std::fabs(dx * query.ux + dy * query.uy) > query.hu + qu + m_slack) return false;
  const double nu = query.hu * c + query.hv * s, nv = query.hu * s + query.hv * c;  // query on the node's axes
  if (std::fabs(dx * node.ux + dy * node.uy) > node.hu + nu + m_slack) return false;
  return std::fabs(dy * node.ux - dx * node.uy) <= node.hv + nv + m_slack;
}

template <class Meets>
CEarClipEdgeTree::Result CEarClipEdgeTree::Any(const t_hvertex* a, const t_hvertex* b, Meets meets) const {
  Box query;
  if (!Influence(a, b, query)) return Result::kTooWide;
  int stack[128];  // two entries per level at most
  int top = 0;
  stack[top++] = 1;
  while (top > 0) {
    const int n = stack[--top];
    if (!Overlap(m_nodes[std::size_t(n)], query)) continue;
    if (n >= m_leaves) {
      if (meets(m_vertices + (n - m_leaves))) return Result::kFound;
      continue;
    }
    stack[top++] = 2 * n + 1;
    stack[top++] = 2 * n;
  }
  return Result::kNone;
}

}  // namespace relief::detail
