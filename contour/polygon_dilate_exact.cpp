// CSSE3dPolygon::DilateExact: the outline of the polygon's area grown by a
// disc.
//
// 1. Raw offset curves, on the outer side of a simple contour and on both
//    sides of any other (folded or self-crossing) one: every edge
//    shifted by the distance, the corners that turn away from that side
//    joined by arcs, the others by a straight chord (such joins lie inside
//    the grown area, so they never show). Simplicity is
//    checked with the same grid of segment pairs as the crossings.
// 2. Every point of the grown area's border lies on a raw curve, and every
//    point of the raw curves lies in the grown area, so the grown area's
//    outer border is the border of the unbounded face of the curves'
//    arrangement. With both sides offset, which side of the contour is
//    inside does not matter for that face. The curves
//    are split at all their crossings (found through a uniform grid) into a
//    planar graph, and that face is walked from the leftmost node, always
//    taking the next edge counter-clockwise from the one arrived by (the face
//    stays on the right, so the walk runs counter-clockwise around the area).

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <utility>
#include <vector>

#include "planar_points.h"
#include "segment_pairs.h"
#include "relief/CSSE3dPolygon.h"

using relief::detail::Pt;

namespace {

constexpr double kPi = 3.14159265358979323846;


// Angle step of the arcs: chords stay within tolerance of the circle.
double ArcStep(double radius) {
  const double tolerance = std::min(0.01, radius / 100.0);
  return 2.0 * std::acos(1.0 - tolerance / radius);
}

void AppendArc(std::vector<Pt>& raw, const Pt& c, double radius, double from, double sweep, double step) {
  const int pieces = std::max(1, static_cast<int>(std::ceil(std::fabs(sweep) / step)));
  for (int k = 1; k < pieces; ++k) {
    const double a = from + sweep * k / pieces;
    raw.push_back({c.x + radius * std::cos(a), c.y + radius * std::sin(a), c.z});
  }
}

// The raw offset curve of a closed ring on one side (+1 right, -1 left of
// the walking direction).
std::vector<Pt> RawOffsetCurve(const std::vector<Pt>& ring, double d, double side) {
  const std::size_t n = ring.size();
  const double step = ArcStep(d);
  std::vector<Pt> raw;
  if (n == 1) {
    raw.push_back({ring[0].x + d, ring[0].y, ring[0].z});
    AppendArc(raw, ring[0], d, 0.0, 2.0 * kPi, step);
    return raw;
  }
  std::vector<double> ux(n), uy(n);
  for (std::size_t i = 0; i < n; ++i) {
    const Pt &a = ring[i], &b = ring[(i + 1) % n];
    const double len = std::hypot(b.x - a.x, b.y - a.y);
    ux[i] = (b.x - a.x) / len, uy[i] = (b.y - a.y) / len;
  }
  // Offset edge i runs from parameter from[i] to to[i] of the shifted edge
  // (0 and 1 unless trimmed). Where the offsets of a reflex corner cross
  // inside both pieces, both are cut back to the crossing: the parts beyond
  // it lie inside the grown area, and the arrangement gets two segments and
  // one crossing less per such corner.
  std::vector<double> from(n, 0.0), to(n, 1.0);
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t j = (i + 1) % n, k = (i + 2) % n;
    const double cross = side * (ux[i] * uy[j] - uy[i] * ux[j]);
    if (!(cross < 0)) continue;
    // b + d n_i + (t - 1) e_i = b + d n_j + u e_j, with e the edge vectors.
    const double eix = ring[j].x - ring[i].x, eiy = ring[j].y - ring[i].y;
    const double ejx = ring[k].x - ring[j].x, ejy = ring[k].y - ring[j].y;
    const double rx = d * side * (uy[j] - uy[i]), ry = -d * side * (ux[j] - ux[i]);
    const double den = eix * (-ejy) - eiy * (-ejx);
    if (den == 0) continue;
    const double t = 1 + (rx * (-ejy) - ry * (-ejx)) / den, u = (eix * ry - eiy * rx) / den;
    if (t >= from[i] && t <= 1 && u >= 0 && u <= to[j]) to[i] = t, from[j] = u;
  }
  raw.reserve(3 * n);
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t j = (i + 1) % n;
    const Pt &a = ring[i], &b = ring[j];
    const double nx = side * uy[i], ny = -side * ux[i];
    auto at = [&](double t) {
      return Pt{a.x + d * nx + t * (b.x - a.x), a.y + d * ny + t * (b.y - a.y), a.z + t * (b.z - a.z)};
    };
    raw.push_back(at(from[i]));
    raw.push_back(at(to[i]));
    // Turn toward the offset side's opposite (left for the right side): the
    // offsets open a gap there, closed by an arc; a full reversal counts so.
    const double cross = side * (ux[i] * uy[j] - uy[i] * ux[j]), dot = ux[i] * ux[j] + uy[i] * uy[j];
    if (cross > 0 || (cross == 0 && dot < 0)) {
      const double turn = cross == 0 ? kPi : std::atan2(cross, dot);
      AppendArc(raw, b, d, std::atan2(ny, nx), side * turn, step);
    }
    // Otherwise the offsets overlap or meet: the next edge's offset follows
    // directly (from the common crossing when trimmed). An untrimmed chord
    // lies in the circle around the corner, inside the grown area, and is
    // short, so fans of corners do not add crossings.
  }
  return raw;
}

// A crossing this close to a segment's end (as a fraction of its length) is
// taken at the end: a curve vertex lying on another piece must split that
// piece even when rounding puts the crossing just past the end of both
// segments at the vertex.
constexpr double kEnd = 1e-9;

// A crossing on a segment: the segment, the parameter along it, the node.
struct Split {
  int segment;
  double t;
  int node;
};

// A direction's position on the square around the origin, 0 .. 4, growing
// counter-clockwise from +x like the angle (cheaper than atan2, same order).
double PseudoAngle(double dx, double dy) {
  if (dy >= 0) return dx >= 0 ? dy / (dx + dy) : 1 - dx / (dy - dx);
  return dx < 0 ? 2 - dy / (-dx - dy) : 3 + dx / (dx - dy);
}

class OuterFaceTracer {
 public:
  // The closed curves of the arrangement.
  explicit OuterFaceTracer(const std::vector<std::vector<Pt>>& curves) {
    double extent = 0.0;
    for (const std::vector<Pt>& raw : curves)
      for (const Pt& p : raw) extent = std::max({extent, std::fabs(p.x), std::fabs(p.y)});
    // Points closer than this are one node: crossings of three or more
    // curve pieces at one point (common on pixel contours, where offsets of
    // parallel edges coincide) must meet in a single node.
    m_Snap = std::max(extent, 1.0) * 1e-10;
    for (const std::vector<Pt>& raw : curves) AddCurve(raw);
  }

  std::vector<Pt> Trace() {
    if (m_Segments.empty()) return {};
    FindCrossings();
    BuildGraph();
    return WalkOuterFace();
  }

 private:
  struct Segment {
    int a, b;
  };

  void AddCurve(const std::vector<Pt>& raw) {
    // Equal consecutive points (a trimmed corner's crossing ends one piece
    // and starts the next) become one node.
    std::vector<int> vertexNode(raw.size());
    for (std::size_t i = 0; i < raw.size(); ++i)
      vertexNode[i] = i > 0 && raw[i].x == raw[i - 1].x && raw[i].y == raw[i - 1].y ? vertexNode[i - 1] : AddNode(raw[i]);
    if (raw.size() > 1 && raw.back().x == raw[0].x && raw.back().y == raw[0].y) vertexNode.back() = vertexNode[0];
    for (std::size_t i = 0; i < raw.size(); ++i) {
      const int a = vertexNode[i], b = vertexNode[(i + 1) % raw.size()];
      if (a != b) m_Segments.push_back({a, b});
    }
  }

  int AddNode(const Pt& p) {
    m_Nodes.push_back(p);
    m_Parent.push_back(static_cast<int>(m_Parent.size()));
    return static_cast<int>(m_Nodes.size()) - 1;
  }

  // Nodes closer than the snap distance on both axes become one (a sweep
  // over the nodes sorted by x).
  void SnapNodes() {
    std::vector<std::pair<double, int>> order(m_Nodes.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = {m_Nodes[i].x, static_cast<int>(i)};
    std::sort(order.begin(), order.end());
    for (std::size_t i = 0; i < order.size(); ++i)
      for (std::size_t j = i + 1; j < order.size() && order[j].first - order[i].first <= m_Snap; ++j)
        if (std::fabs(m_Nodes[order[j].second].y - m_Nodes[order[i].second].y) <= m_Snap)
          Merge(order[i].second, order[j].second);
  }

  int Find(int a) {
    while (m_Parent[a] != a) a = m_Parent[a] = m_Parent[m_Parent[a]];
    return a;
  }
  void Merge(int a, int b) {
    a = Find(a), b = Find(b);
    if (a != b) m_Parent[std::max(a, b)] = std::min(a, b);
  }

  // Node for parameter t of segment s: its end node when t is at an end.
  int NodeAt(int s, double t, const Pt& p) {
    if (t <= kEnd) return m_Segments[s].a;
    if (t >= 1.0 - kEnd) return m_Segments[s].b;
    const int node = AddNode(p);
    m_Splits.push_back({s, t, node});
    return node;
  }

  // Splits segments s and r where they meet. Segments with a common node
  // meet elsewhere only when they overlap on one line.
  void Intersect(int s, int r, bool commonNode) {
    const Pt &p0 = m_Nodes[m_Segments[s].a], &p1 = m_Nodes[m_Segments[s].b];
    const Pt &q0 = m_Nodes[m_Segments[r].a], &q1 = m_Nodes[m_Segments[r].b];
    const double rx = p1.x - p0.x, ry = p1.y - p0.y, sx = q1.x - q0.x, sy = q1.y - q0.y;
    const double wx = q0.x - p0.x, wy = q0.y - p0.y;
    const double den = rx * sy - ry * sx;
    const double lr2 = rx * rx + ry * ry, ls2 = sx * sx + sy * sy;
    if (den * den > 1e-24 * lr2 * ls2) {
      if (commonNode) return;
      const double t = (wx * sy - wy * sx) / den, u = (wx * ry - wy * rx) / den;
      if (t < -kEnd || t > 1 + kEnd || u < -kEnd || u > 1 + kEnd) return;
      const Pt c{p0.x + t * rx, p0.y + t * ry, p0.z + t * (p1.z - p0.z)};
      Merge(NodeAt(s, t, c), NodeAt(r, u, c));
      return;
    }
    // Parallel: only collinear overlaps matter; each end lying inside the
    // other segment splits it there.
    const double cross = wx * ry - wy * rx;
    if (cross * cross > lr2 * m_Snap * m_Snap) return;
    auto project = [](const Pt& p, const Pt& o, double dx, double dy) {
      return ((p.x - o.x) * dx + (p.y - o.y) * dy) / (dx * dx + dy * dy);
    };
    for (int end = 0; end < 2; ++end) {
      const int qn = end ? m_Segments[r].b : m_Segments[r].a;
      const double t = project(m_Nodes[qn], p0, rx, ry);
      if (t >= -kEnd && t <= 1 + kEnd) Merge(NodeAt(s, t, m_Nodes[qn]), qn);
      const int pn = end ? m_Segments[s].b : m_Segments[s].a;
      const double u = project(m_Nodes[pn], q0, sx, sy);
      if (u >= -kEnd && u <= 1 + kEnd) Merge(NodeAt(r, u, m_Nodes[pn]), pn);
    }
  }

  void FindCrossings() {
    std::vector<relief::detail::SegmentBox> boxes(m_Segments.size());
    for (std::size_t i = 0; i < m_Segments.size(); ++i) {
      const Pt &a = m_Nodes[m_Segments[i].a], &b = m_Nodes[m_Segments[i].b];
      boxes[i] = {std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y)};
    }
    relief::detail::ForEachNearbyPair(boxes, [&](std::uint32_t s, std::uint32_t r) {
      const Segment &a = m_Segments[s], &b = m_Segments[r];
      Intersect(static_cast<int>(s), static_cast<int>(r), a.a == b.a || a.a == b.b || a.b == b.a || a.b == b.b);
    });
    SnapNodes();
  }

  // Edges between consecutive nodes along every segment, then for every node
  // its half-edges sorted counter-clockwise.
  void BuildGraph() {
    std::sort(m_Splits.begin(), m_Splits.end(), [](const Split& p, const Split& q) {
      return p.segment < q.segment || (p.segment == q.segment && p.t < q.t);
    });
    std::vector<std::uint64_t> edges;
    edges.reserve(m_Segments.size() + m_Splits.size());
    auto add = [&](int u, int v) {
      u = Find(u), v = Find(v);
      if (u == v) return;
      if (u > v) std::swap(u, v);
      edges.push_back(static_cast<std::uint64_t>(u) << 32 | static_cast<std::uint32_t>(v));
    };
    std::size_t k = 0;
    for (int s = 0; s < static_cast<int>(m_Segments.size()); ++s) {
      int last = m_Segments[s].a;
      for (; k < m_Splits.size() && m_Splits[k].segment == s; ++k) add(last, m_Splits[k].node), last = m_Splits[k].node;
      add(last, m_Segments[s].b);
    }
    m_First.assign(m_Nodes.size() + 1, 0);
    for (std::uint64_t e : edges) ++m_First[(e >> 32) + 1], ++m_First[(e & 0xFFFFFFFFu) + 1];
    for (std::size_t v = 0; v < m_Nodes.size(); ++v) m_First[v + 1] += m_First[v];
    std::vector<Half> all(2 * edges.size());
    std::vector<int> fill(m_First.begin(), m_First.end() - 1);
    for (std::uint64_t e : edges) {
      const int u = static_cast<int>(e >> 32), v = static_cast<int>(e & 0xFFFFFFFFu);
      all[fill[u]++] = {v, Angle(u, v)};
      all[fill[v]++] = {u, Angle(v, u)};
    }
    // Sort each node's half-edges counter-clockwise and drop repeats (pieces
    // of two curves running along one line give the same edge twice).
    m_Half.clear();
    m_Half.reserve(all.size());
    int begin = 0;
    for (std::size_t v = 0; v < m_Nodes.size(); ++v) {
      const int end = m_First[v + 1];
      std::sort(all.begin() + begin, all.begin() + end, [](const Half& p, const Half& q) {
        return p.angle < q.angle || (p.angle == q.angle && p.to < q.to);
      });
      m_First[v] = static_cast<int>(m_Half.size());
      for (int k = begin; k < end; ++k) {
        bool repeat = false;
        for (int j = m_First[v]; j < static_cast<int>(m_Half.size()) && !repeat; ++j) repeat = m_Half[j].to == all[k].to;
        if (!repeat) m_Half.push_back(all[k]);
      }
      begin = end;
    }
    m_First[m_Nodes.size()] = static_cast<int>(m_Half.size());
  }

  double Angle(int from, int to) const {
    return PseudoAngle(m_Nodes[to].x - m_Nodes[from].x, m_Nodes[to].y - m_Nodes[from].y);
  }

  int Degree(int v) const { return m_First[v + 1] - m_First[v]; }

  // The outgoing half-edge of node v next counter-clockwise after the
  // direction of the given pseudo-angle (0 .. degree - 1, wrapping round).
  int NextAfter(int v, double angle) const {
    for (int k = 0; k < Degree(v); ++k)
      if (m_Half[m_First[v] + k].angle > angle) return k;
    return 0;
  }

  std::vector<Pt> WalkOuterFace() {
    int start = -1;
    for (int v = 0; v < static_cast<int>(m_Nodes.size()); ++v) {
      if (Degree(v) == 0) continue;
      if (start < 0 || m_Nodes[v].x < m_Nodes[start].x ||
          (m_Nodes[v].x == m_Nodes[start].x && m_Nodes[v].y < m_Nodes[start].y))
        start = v;
    }
    std::vector<Pt> out;
    if (start < 0) return out;
    // Arriving "from the west" (pseudo-angle 2) at the leftmost node: the
    // outer face is there.
    const int firstEdge = NextAfter(start, 2.0);
    int v = start, edge = firstEdge;
    for (std::size_t step = 0; step <= m_Half.size(); ++step) {
      out.push_back(m_Nodes[v]);
      const int w = m_Half[m_First[v] + edge].to;
      // Find the reverse half-edge among w's and take the next one
      // counter-clockwise after it, wrapping round.
      int k = 0;
      while (k < Degree(w) && m_Half[m_First[w] + k].to != v) ++k;
      edge = (k + 1) % Degree(w);
      v = w;
      if (v == start && edge == firstEdge) break;
    }
    return out;
  }

  struct Half {
    int to;
    double angle;
  };

  double m_Snap = 1e-10;
  std::vector<Pt> m_Nodes;
  std::vector<int> m_Parent;
  std::vector<Segment> m_Segments;
  std::vector<Split> m_Splits;
  std::vector<int> m_First;  // half-edges of node v: m_Half[m_First[v] .. m_First[v + 1])
  std::vector<Half> m_Half;
};

// Drops corners lying within tolerance of the segment between their kept
// neighbours (collinear runs and their float noise), never a fold-back tip.
std::vector<Pt> WithoutStraightCorners(const std::vector<Pt>& ring, double tolerance) {
  if (ring.size() < 3) return ring;
  std::vector<Pt> out;
  out.reserve(ring.size());
  const std::size_t n = ring.size();
  for (std::size_t i = 0; i < n; ++i) {
    const Pt& b = ring[i];
    const Pt& a = out.empty() ? ring[n - 1] : out.back();
    const Pt& c = ring[(i + 1) % n];
    const double ux = c.x - a.x, uy = c.y - a.y, len2 = ux * ux + uy * uy;
    const double t = len2 > 0 ? ((b.x - a.x) * ux + (b.y - a.y) * uy) / len2 : -1.0;
    const double off = std::fabs((b.x - a.x) * uy - (b.y - a.y) * ux);
    if (t > 0 && t < 1 && off <= tolerance * std::sqrt(len2)) continue;
    out.push_back(b);
  }
  return out.size() >= 2 ? out : ring;
}

// True when no two edges of the closed ring meet except consecutive ones at
// their common corner (touching and folding back count as meeting).
bool IsSimpleRing(const std::vector<Pt>& ring) {
  const std::size_t n = ring.size();
  if (n < 3) return false;
  std::vector<relief::detail::SegmentBox> boxes(n);
  for (std::size_t i = 0; i < n; ++i) {
    const Pt &a = ring[i], &b = ring[(i + 1) % n];
    boxes[i] = {std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y)};
  }
  auto orient = [](const Pt& a, const Pt& b, const Pt& c) {
    const double v = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
    return (v > 0) - (v < 0);
  };
  auto onSegment = [](const Pt& a, const Pt& b, const Pt& c) {  // c collinear with ab
    return std::min(a.x, b.x) <= c.x && c.x <= std::max(a.x, b.x) && std::min(a.y, b.y) <= c.y &&
           c.y <= std::max(a.y, b.y);
  };
  bool simple = true;
  relief::detail::ForEachNearbyPair(boxes, [&](std::uint32_t s, std::uint32_t r) {
    if (!simple) return;
    const Pt &p0 = ring[s], &p1 = ring[(s + 1) % n], &q0 = ring[r], &q1 = ring[(r + 1) % n];
    if (r == s + 1 || (s == 0 && r == n - 1)) {
      // Consecutive: only a fold back onto the previous edge meets again.
      const Pt &a = r == s + 1 ? p0 : q0, &corner = r == s + 1 ? p1 : q1, &c = r == s + 1 ? q1 : p1;
      if (orient(a, corner, c) == 0 && (c.x - corner.x) * (a.x - corner.x) + (c.y - corner.y) * (a.y - corner.y) > 0)
        simple = false;
      return;
    }
    const int o1 = orient(p0, p1, q0), o2 = orient(p0, p1, q1), o3 = orient(q0, q1, p0), o4 = orient(q0, q1, p1);
    if ((o1 != o2 && o3 != o4) || (o1 == 0 && onSegment(p0, p1, q0)) || (o2 == 0 && onSegment(p0, p1, q1)) ||
        (o3 == 0 && onSegment(q0, q1, p0)) || (o4 == 0 && onSegment(q0, q1, p1)))
      simple = false;
  });
  return simple;
}

}  // namespace

void CSSE3dPolygon::DilateExact(float distance) {
  if (!(distance > 0.0f) || !std::isfinite(distance) || m_nNumPoints == 0) return;
  std::vector<Pt> ring = relief::detail::WithoutRepeats(relief::detail::ReadPoints(*this));
  if (!relief::detail::AllFinite(ring)) return;
  double extent = 1.0;
  for (const Pt& p : ring) extent = std::max({extent, std::fabs(p.x), std::fabs(p.y)});
  ring = WithoutStraightCorners(ring, 1e-7 * extent);
  // A simple ring needs only its outer side (right of a counter-clockwise
  // walk). Otherwise offsets on both sides: the outer border does not depend
  // on which side is inside, so folded and self-crossing contours work too.
  std::vector<std::vector<Pt>> curves;
  const double area = relief::detail::TwiceSignedArea(ring);
  if (area != 0 && IsSimpleRing(ring)) {
    curves.push_back(RawOffsetCurve(ring, distance, area > 0 ? 1.0 : -1.0));
  } else {
    curves.push_back(RawOffsetCurve(ring, distance, 1.0));
    if (ring.size() > 1) curves.push_back(RawOffsetCurve(ring, distance, -1.0));
  }
  relief::detail::WritePoints(*this, OuterFaceTracer(curves).Trace());
}
