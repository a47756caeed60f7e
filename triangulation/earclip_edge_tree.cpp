#include "triangulation/earclip_edge_tree.h"

#include <algorithm>

namespace relief::detail {

namespace {

// Coordinates within this bound keep the double area's rounding error below
// a fifth of the tolerance: 8 M^2 2^-50 < 0.0001.
constexpr double kCoordinateBound = 1.0e5;
// Twice the tolerance: covers the tolerance itself plus the rounding error.
constexpr double kWidening = 2.0 * CHSimpleBasisFcns::kTolerance;

}  // namespace

// The segment widened as the predicates' tolerance reaches: by `wide` on y
// over its x range (on x over its y range when vertical), boxed along the
// segment: the offset (0, wide) or (wide, 0) projected on the axis and the
// normal.
bool CEarClipEdgeTree::Influence(const t_hvertex* a, const t_hvertex* b, Box& box) const {
  const double dx = double(b->x) - a->x, dy = double(b->y) - a->y;
  const double length = std::sqrt(dx * dx + dy * dy);
  box = Box{0.5 * (double(a->x) + b->x), 0.5 * (double(a->y) + b->y), 1, 0, 0, 0, 0, 0, false, false};
  if (dx == 0 && dy == 0) {
    box.everywhere = true;
    return false;
  }
  box.ux = dx / length, box.uy = dy / length;
  const double wide = kWidening / (dx != 0 ? std::fabs(dx) : std::fabs(dy)) + m_slack;
  const double ox = dx != 0 ? 0 : wide, oy = dx != 0 ? wide : 0;
  box.hu = 0.5 * length + std::fabs(ox * box.ux + oy * box.uy) + m_slack;
  box.hv = std::fabs(oy * box.ux - ox * box.uy) + m_slack;
  Frame(box);
  return true;
}

void CEarClipEdgeTree::Merge(int n) {
  const Box &l = m_nodes[std::size_t(2 * n)], &r = m_nodes[std::size_t(2 * n + 1)];
  Box& box = m_nodes[std::size_t(n)];
  box.empty = l.empty && r.empty;
  box.everywhere = l.everywhere || r.everywhere;
  if (box.empty || box.everywhere) return;
  double u0 = HUGE_VAL, u1 = -HUGE_VAL, v0 = HUGE_VAL, v1 = -HUGE_VAL;
  for (const Box* child : {&l, &r}) {
    if (child->empty) continue;
    const double cu = child->cx * box.ux + child->cy * box.uy, cv = child->cy * box.ux - child->cx * box.uy;
    const double ru = Reach(*child, box.ux, box.uy), rv = Reach(*child, -box.uy, box.ux);
    u0 = std::min(u0, cu - ru), u1 = std::max(u1, cu + ru);
    v0 = std::min(v0, cv - rv), v1 = std::max(v1, cv + rv);
  }
  const double mu = 0.5 * (u0 + u1), mv = 0.5 * (v0 + v1);
  box.cx = mu * box.ux - mv * box.uy;
  box.cy = mu * box.uy + mv * box.ux;
  box.hu = 0.5 * (u1 - u0) + m_slack;
  box.hv = 0.5 * (v1 - v0) + m_slack;
  Frame(box);
}

bool CEarClipEdgeTree::Build(const t_hvertex* vertices, int count, const t_hvertex* head) {
  m_vertices = vertices;
  double extent = 0;
  const t_hvertex* v = head;
  do {
    const double x = v->x, y = v->y;
    if (!(std::fabs(x) <= kCoordinateBound && std::fabs(y) <= kCoordinateBound)) return false;
    extent = std::max({extent, std::fabs(x), std::fabs(y)});
    v = v->next;
  } while (v != head);
  // Far above the rounding of any projection here (a few ulps of the
  // largest magnitude, per level), far below the boxes' sizes.
  m_slack = 1e-9 * std::max(extent, 1e-30);
  m_leaves = 1;
  while (m_leaves < count) m_leaves *= 2;
  m_nodes.assign(std::size_t(2 * m_leaves), Box{0, 0, 1, 0, 0, 0, 0, 0, true, false});
  // Direction moments (dx^2 - dy^2, 2 dx dy) summed per node: half their
  // angle is the main direction of a stretch's edges, whichever way each
  // edge runs.
  std::vector<double> mx(std::size_t(2 * m_leaves), 0.0), my(std::size_t(2 * m_leaves), 0.0);
  do {
    const std::size_t leaf = std::size_t(m_leaves + v->index);
    Influence(v, v->next, m_nodes[leaf]);
    const double dx = double(v->next->x) - v->x, dy = double(v->next->y) - v->y;
    mx[leaf] = dx * dx - dy * dy, my[leaf] = 2 * dx * dy;
    v = v->next;
  } while (v != head);
  for (int n = m_leaves - 1; n >= 1; --n) {
    const std::size_t i = std::size_t(n);
    mx[i] = mx[2 * i] + mx[2 * i + 1], my[i] = my[2 * i] + my[2 * i + 1];
    const double m = std::sqrt(mx[i] * mx[i] + my[i] * my[i]), c2 = m > 0 ? mx[i] / m : 1;
    m_nodes[i].ux = std::sqrt(std::max(0.0, 0.5 * (1 + c2)));
    m_nodes[i].uy = std::copysign(std::sqrt(std::max(0.0, 0.5 * (1 - c2))), my[i]);
    Merge(n);
  }
  return true;
}

// Whether inner lies inside outer: its reach on outer's axes, around its
// centre, stays within outer's (with the slack, so rounding errs on the
// side of "no" and the caller merges).
bool CEarClipEdgeTree::Contains(const Box& outer, const Box& inner) const {
  if (outer.everywhere || inner.empty) return true;
  if (outer.empty || inner.everywhere) return false;
  const double dx = inner.cx - outer.cx, dy = inner.cy - outer.cy;
  return std::fabs(dx * outer.ux + dy * outer.uy) + Reach(inner, outer.ux, outer.uy) + m_slack <= outer.hu &&
         std::fabs(dy * outer.ux - dx * outer.uy) + Reach(inner, -outer.uy, outer.ux) + m_slack <= outer.hv;
}

// Boxes are never shrunk here, only grown where the new edge reaches out of
// them: the clipped polygon lies within the old one's boxes but for the
// tolerance's widening of a new, steeper edge. A node whose children have
// both gone is empty. The caller rebuilds now and then, to tighten them.
void CEarClipEdgeTree::Clip(const t_hvertex* v, const t_hvertex* p) {
  int n = m_leaves + v->index;
  m_nodes[std::size_t(n)].empty = true;
  for (n /= 2; n >= 1 && m_nodes[std::size_t(2 * n)].empty && m_nodes[std::size_t(2 * n + 1)].empty; n /= 2)
    m_nodes[std::size_t(n)].empty = true;
  n = m_leaves + p->index;
  Influence(p, p->next, m_nodes[std::size_t(n)]);
  for (; n > 1 && !Contains(m_nodes[std::size_t(n / 2)], m_nodes[std::size_t(n)]); n /= 2) Merge(n / 2);
}

}  // namespace relief::detail
