#include "mesh/error_bounded_halfedges.h"

namespace relief::detail {

void CHalfEdgeTriangulation::StartWithBox(int width, int height, const float cornerHeights[4]) {
  m_x.clear();
  m_y.clear();
  m_z.clear();
  m_start.clear();
  m_twin.clear();
  const int a = AddPoint(0, 0, cornerHeights[0]);
  const int b = AddPoint(width - 1, 0, cornerHeights[1]);
  const int c = AddPoint(width - 1, height - 1, cornerHeights[2]);
  const int d = AddPoint(0, height - 1, cornerHeights[3]);
  const int lower = AddTriangle(), upper = AddTriangle();
  SetTriangle(lower, a, b, c);
  SetTriangle(upper, a, c, d);
  Link(3 * lower + 2, 3 * upper);  // c->a against a->c
}

int CHalfEdgeTriangulation::AddPoint(int x, int y, float z) {
  m_x.push_back(x);
  m_y.push_back(y);
  m_z.push_back(z);
  return static_cast<int>(m_x.size()) - 1;
}

int CHalfEdgeTriangulation::AddTriangle() {
  const int t = NumTriangles();
  m_start.resize(m_start.size() + 3, -1);
  m_twin.resize(m_twin.size() + 3, -1);
  return t;
}

void CHalfEdgeTriangulation::SetTriangle(int t, int a, int b, int c) {
  m_start[3 * t] = a;
  m_start[3 * t + 1] = b;
  m_start[3 * t + 2] = c;
}

void CHalfEdgeTriangulation::Link(int e, int f) {
  m_twin[e] = f;
  if (f >= 0) m_twin[f] = e;
}

std::int64_t CHalfEdgeTriangulation::Orient(int a, int b, int c) const {
  return std::int64_t(m_x[b] - m_x[a]) * (m_y[c] - m_y[a]) - std::int64_t(m_y[b] - m_y[a]) * (m_x[c] - m_x[a]);
}

bool CHalfEdgeTriangulation::InCircle(int a, int b, int c, int d) const {
  // Coordinates differ by less than 2^31, so the lifts and crosses fit in
  // 64 bits and their products in 128: the sign is exact.
  const std::int64_t adx = std::int64_t(m_x[a]) - m_x[d], ady = std::int64_t(m_y[a]) - m_y[d];
  const std::int64_t bdx = std::int64_t(m_x[b]) - m_x[d], bdy = std::int64_t(m_y[b]) - m_y[d];
  const std::int64_t cdx = std::int64_t(m_x[c]) - m_x[d], cdy = std::int64_t(m_y[c]) - m_y[d];
  const __int128 det = __int128(adx * adx + ady * ady) * (bdx * cdy - bdy * cdx) +
                       __int128(bdx * bdx + bdy * bdy) * (cdx * ady - cdy * adx) +
                       __int128(cdx * cdx + cdy * cdy) * (adx * bdy - ady * bdx);
  return det > 0;
}

int CHalfEdgeTriangulation::Locate(int t, int x, int y) const {
  for (int k = 0; k < 3; ++k) {
    const int a = m_start[3 * t + k], b = m_start[3 * t + (k + 1) % 3];
    const std::int64_t side =
        std::int64_t(m_x[b] - m_x[a]) * (y - m_y[a]) - std::int64_t(m_y[b] - m_y[a]) * (x - m_x[a]);
    if (side == 0) return k;
  }
  return -1;
}

int CHalfEdgeTriangulation::TrianglesAddedBy(int t, int where) const {
  return where >= 0 && m_twin[3 * t + where] < 0 ? 1 : 2;
}

void CHalfEdgeTriangulation::Insert(int t, int where, int x, int y, float z, std::vector<std::int32_t>& changed) {
  const int p = AddPoint(x, y, z);
  if (where < 0) SplitTriangle(t, p, changed);
  else SplitEdge(3 * t + where, p, changed);
}

//        c                  c          t  = (a, b, p)
//       / \                /|\         t1 = (b, c, p)
//      /   \              / | \        t2 = (c, a, p)
//     /  t  \     ->     /t2p t1\      the new point p inside t
//    /       \          / /   \ \      joined to a, b and c
//   a---------b        a---------b
void CHalfEdgeTriangulation::SplitTriangle(int t, int p, std::vector<std::int32_t>& changed) {
  const int a = m_start[3 * t], b = m_start[3 * t + 1], c = m_start[3 * t + 2];
  const int ab = m_twin[3 * t], bc = m_twin[3 * t + 1], ca = m_twin[3 * t + 2];
  const int t1 = AddTriangle(), t2 = AddTriangle();
  SetTriangle(t, a, b, p);
  SetTriangle(t1, b, c, p);
  SetTriangle(t2, c, a, p);
  Link(3 * t, ab);
  Link(3 * t1, bc);
  Link(3 * t2, ca);
  Link(3 * t + 1, 3 * t1 + 2);   // b->p / p->b
  Link(3 * t1 + 1, 3 * t2 + 2);  // c->p / p->c
  Link(3 * t2 + 1, 3 * t + 2);   // a->p / p->a
  changed.push_back(t);
  changed.push_back(t1);
  changed.push_back(t2);
  Legalize(3 * t, changed);
  Legalize(3 * t1, changed);
  Legalize(3 * t2, changed);
}

// p on the edge u->v of t = (u, v, w); the neighbour across it is (v, u, x).
//        w                    w
//       / \                  /|\          t  = (u, p, w)   tA = (p, v, w)
//      u---v      ->        u-p-v         tN = (v, p, x)   tB = (p, u, x)
//       \ /                  \|/
//        x                    x
void CHalfEdgeTriangulation::SplitEdge(int e, int p, std::vector<std::int32_t>& changed) {
  const int t = e / 3;
  const int f = m_twin[e];
  const int tA = SplitHalf(e, p, changed);
  if (f < 0) {
    m_twin[3 * t] = -1;
    m_twin[3 * tA] = -1;
    Legalize(3 * t + 2, changed);
    Legalize(3 * tA + 1, changed);
    return;
  }
  const int tN = f / 3;
  const int tB = SplitHalf(f, p, changed);
  Link(3 * t, 3 * tB);   // u->p / p->u
  Link(3 * tA, 3 * tN);  // p->v / v->p
  Legalize(3 * t + 2, changed);
  Legalize(3 * tA + 1, changed);
  Legalize(3 * tN + 2, changed);
  Legalize(3 * tB + 1, changed);
}

// One side of an edge split: e = a->b of k = (a, b, c) and p on it. k
// becomes (a, p, c) and a new triangle n = (p, b, c); their outer sides keep
// k's neighbours, p->c / c->p joins them, and the halves along a-b are left
// for the caller. Returns n.
int CHalfEdgeTriangulation::SplitHalf(int e, int p, std::vector<std::int32_t>& changed) {
  const int k = e / 3;
  const int a = m_start[e], b = m_start[Next(e)], c = m_start[Prev(e)];
  const int bc = m_twin[Next(e)], ca = m_twin[Prev(e)];
  const int n = AddTriangle();
  SetTriangle(k, a, p, c);
  SetTriangle(n, p, b, c);
  Link(3 * k + 2, ca);
  Link(3 * n + 1, bc);
  Link(3 * k + 1, 3 * n + 2);  // p->c / c->p
  changed.push_back(k);
  changed.push_back(n);
  return n;
}

// Edge a->b of T = (a, b, p) against the neighbour F = (b, a, q): when q lies
// inside the circle through a, b, p the diagonal becomes p-q.
//        p                    p
//       / \                  /|\          T = (p, a, q)
//      a---b      ->        a | b         F = (q, b, p)
//       \ /                  \|/
//        q                    q
void CHalfEdgeTriangulation::Legalize(int e, std::vector<std::int32_t>& changed) {
  m_stack.clear();
  m_stack.push_back(e);
  while (!m_stack.empty()) {
    const int ab = m_stack.back();
    m_stack.pop_back();
    const int ba = m_twin[ab];
    if (ba < 0) continue;
    const int a = m_start[ab], b = m_start[Next(ab)], p = m_start[Prev(ab)];
    const int q = m_start[Prev(ba)];
    if (!InCircle(a, b, p, q)) continue;
    const int T = ab / 3, F = ba / 3;
    const int bp = m_twin[Next(ab)], pa = m_twin[Prev(ab)];
    const int aq = m_twin[Next(ba)], qb = m_twin[Prev(ba)];
    SetTriangle(T, p, a, q);
    SetTriangle(F, q, b, p);
    Link(3 * T, pa);
    Link(3 * T + 1, aq);
    Link(3 * F, qb);
    Link(3 * F + 1, bp);
    Link(3 * T + 2, 3 * F + 2);  // q->p / p->q
    changed.push_back(T);
    changed.push_back(F);
    m_stack.push_back(3 * T + 1);  // a->q, opposite p
    m_stack.push_back(3 * F);      // q->b, opposite p
  }
}

}  // namespace relief::detail
