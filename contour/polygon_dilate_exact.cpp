// CSSE3dPolygon::DilateExact: the outline of the polygon's area grown by a
// disc.
//
// 1. Two raw offset curves, one on each side of the contour: every edge
//    shifted by the distance, the corners that turn away from that side
//    joined by arcs, the others joined through the corner itself (those
//    joins lie inside the grown area, so they never show).
// 2. Every point of the grown area's border lies on a raw curve, and every
//    point of the raw curves lies in the grown area, so the grown area's
//    outer border is the border of the unbounded face of the curves'
//    arrangement. Which side of the contour is inside does not matter for
//    that face, so orientation and self-crossings need no care. The curves
//    are split at all their crossings (found through a uniform grid) into a
//    planar graph, and that face is walked from the leftmost node, always
//    taking the next edge counter-clockwise from the one arrived by (the face
//    stays on the right, so the walk runs counter-clockwise around the area).

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <unordered_map>
#include <vector>

#include "planar_points.h"
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
  raw.reserve(3 * n);
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t j = (i + 1) % n;
    const Pt &a = ring[i], &b = ring[j];
    const double nx = side * uy[i], ny = -side * ux[i];
    raw.push_back({a.x + d * nx, a.y + d * ny, a.z});
    raw.push_back({b.x + d * nx, b.y + d * ny, b.z});
    // Turn toward the offset side's opposite (left for the right side): the
    // offsets open a gap there, closed by an arc; a full reversal counts so.
    const double cross = side * (ux[i] * uy[j] - uy[i] * ux[j]), dot = ux[i] * ux[j] + uy[i] * uy[j];
    if (cross > 0 || (cross == 0 && dot < 0)) {
      const double turn = cross == 0 ? kPi : std::atan2(cross, dot);
      AppendArc(raw, b, d, std::atan2(ny, nx), side * turn, step);
    } else if (cross < 0) {
      raw.push_back(b);  // the offsets overlap: join through the corner
    }
  }
  return raw;
}

// A crossing this close to a segment's end (as a fraction of its length) is
// taken at the end: a curve vertex lying on another piece must split that
// piece even when rounding puts the crossing just past the end of both
// segments at the vertex.
constexpr double kEnd = 1e-9;

struct Split {
  double t;
  int node;
};

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
    m_Splits.resize(m_Segments.size());
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
    std::vector<int> vertexNode(raw.size());
    for (std::size_t i = 0; i < raw.size(); ++i) vertexNode[i] = AddNode(raw[i]);
    for (std::size_t i = 0; i < raw.size(); ++i) {
      const int a = vertexNode[i], b = vertexNode[(i + 1) % raw.size()];
      if (a != b) m_Segments.push_back({a, b});
    }
  }

  static std::uint64_t CellKey(std::int64_t cx, std::int64_t cy) {
    return static_cast<std::uint64_t>(cx) * 0x9E3779B97F4A7C15ULL ^ static_cast<std::uint64_t>(cy);
  }

  // The node at p: an existing one within the snap distance (both axes), or
  // a new one.
  int AddNode(const Pt& p) {
    const std::int64_t cx = static_cast<std::int64_t>(std::floor(p.x / m_Snap));
    const std::int64_t cy = static_cast<std::int64_t>(std::floor(p.y / m_Snap));
    for (std::int64_t gx = cx - 1; gx <= cx + 1; ++gx)
      for (std::int64_t gy = cy - 1; gy <= cy + 1; ++gy) {
        auto range = m_Cells.equal_range(CellKey(gx, gy));
        for (auto it = range.first; it != range.second; ++it) {
          const Pt& q = m_Nodes[it->second];
          if (std::fabs(q.x - p.x) <= m_Snap && std::fabs(q.y - p.y) <= m_Snap) return it->second;
        }
      }
    m_Nodes.push_back(p);
    m_Parent.push_back(static_cast<int>(m_Parent.size()));
    const int node = static_cast<int>(m_Nodes.size()) - 1;
    m_Cells.emplace(CellKey(cx, cy), node);
    return node;
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
    if (node != m_Segments[s].a && node != m_Segments[s].b) m_Splits[s].push_back({t, node});
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
    const double lr = std::hypot(rx, ry), ls = std::hypot(sx, sy);
    if (std::fabs(den) > 1e-12 * lr * ls) {
      if (commonNode) return;
      const double t = (wx * sy - wy * sx) / den, u = (wx * ry - wy * rx) / den;
      if (t < -kEnd || t > 1 + kEnd || u < -kEnd || u > 1 + kEnd) return;
      const Pt c{p0.x + t * rx, p0.y + t * ry, p0.z + t * (p1.z - p0.z)};
      Merge(NodeAt(s, t, c), NodeAt(r, u, c));
      return;
    }
    // Parallel: only collinear overlaps matter; each end lying inside the
    // other segment splits it there.
    if (std::fabs(wx * ry - wy * rx) > 1e-9 * lr * std::max(1.0, m_Scale)) return;
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
    const int count = static_cast<int>(m_Segments.size());
    double minX = m_Nodes[0].x, maxX = minX, minY = m_Nodes[0].y, maxY = minY, total = 0.0;
    for (const Segment& s : m_Segments) {
      const Pt &a = m_Nodes[s.a], &b = m_Nodes[s.b];
      minX = std::min({minX, a.x, b.x}), maxX = std::max({maxX, a.x, b.x});
      minY = std::min({minY, a.y, b.y}), maxY = std::max({maxY, a.y, b.y});
      total += std::hypot(b.x - a.x, b.y - a.y);
    }
    m_Scale = std::max(maxX - minX, maxY - minY);
    // Cells about one mean segment long, at most 2048 along an axis.
    double cell = std::max(total / count, m_Scale / 2048.0);
    if (!(cell > 0)) cell = 1.0;
    const int nx = static_cast<int>((maxX - minX) / cell) + 1, ny = static_cast<int>((maxY - minY) / cell) + 1;
    auto cellX = [&](double x) { return std::min(nx - 1, static_cast<int>((x - minX) / cell)); };
    auto cellY = [&](double y) { return std::min(ny - 1, static_cast<int>((y - minY) / cell)); };
    std::vector<int> box(4 * static_cast<std::size_t>(count));
    std::vector<int> start(static_cast<std::size_t>(nx) * ny + 1, 0);
    for (int s = 0; s < count; ++s) {
      const Pt &a = m_Nodes[m_Segments[s].a], &b = m_Nodes[m_Segments[s].b];
      int* bx = &box[4 * static_cast<std::size_t>(s)];
      bx[0] = cellX(std::min(a.x, b.x)), bx[1] = cellY(std::min(a.y, b.y));
      bx[2] = cellX(std::max(a.x, b.x)), bx[3] = cellY(std::max(a.y, b.y));
      for (int y = bx[1]; y <= bx[3]; ++y)
        for (int x = bx[0]; x <= bx[2]; ++x) ++start[static_cast<std::size_t>(y) * nx + x + 1];
    }
    std::partial_sum(start.begin(), start.end(), start.begin());
    std::vector<int> members(start.back()), fill(start.begin(), start.end() - 1);
    for (int s = 0; s < count; ++s) {
      const int* bx = &box[4 * static_cast<std::size_t>(s)];
      for (int y = bx[1]; y <= bx[3]; ++y)
        for (int x = bx[0]; x <= bx[2]; ++x) members[fill[static_cast<std::size_t>(y) * nx + x]++] = s;
    }
    for (int cy = 0; cy < ny; ++cy)
      for (int cx = 0; cx < nx; ++cx) {
        const std::size_t c = static_cast<std::size_t>(cy) * nx + cx;
        for (int i = start[c]; i < start[c + 1]; ++i)
          for (int j = i + 1; j < start[c + 1]; ++j) {
            const int s = members[i], r = members[j];
            const int* bs = &box[4 * static_cast<std::size_t>(s)];
            const int* br = &box[4 * static_cast<std::size_t>(r)];
            // Test each pair once: in the first cell the two boxes share.
            if (std::max(bs[0], br[0]) != cx || std::max(bs[1], br[1]) != cy) continue;
            const Segment &a = m_Segments[s], &b = m_Segments[r];
            Intersect(s, r, a.a == b.a || a.a == b.b || a.b == b.a || a.b == b.b);
          }
      }
  }

  void BuildGraph() {
    m_Adjacent.assign(m_Nodes.size(), {});
    std::vector<std::uint64_t> edges;
    for (std::size_t s = 0; s < m_Segments.size(); ++s) {
      std::vector<Split>& splits = m_Splits[s];
      splits.push_back({0.0, m_Segments[s].a});
      splits.push_back({1.0, m_Segments[s].b});
      std::sort(splits.begin(), splits.end(), [](const Split& p, const Split& q) { return p.t < q.t; });
      for (std::size_t k = 0; k + 1 < splits.size(); ++k) {
        int u = Find(splits[k].node), v = Find(splits[k + 1].node);
        if (u == v) continue;
        if (u > v) std::swap(u, v);
        edges.push_back(static_cast<std::uint64_t>(u) << 32 | static_cast<std::uint32_t>(v));
      }
    }
    std::sort(edges.begin(), edges.end());
    edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
    for (std::uint64_t e : edges) {
      const int u = static_cast<int>(e >> 32), v = static_cast<int>(e & 0xFFFFFFFFu);
      m_Adjacent[u].push_back({v, Angle(u, v)});
      m_Adjacent[v].push_back({u, Angle(v, u)});
    }
    for (auto& list : m_Adjacent)
      std::sort(list.begin(), list.end(), [](const Half& p, const Half& q) { return p.angle < q.angle; });
  }

  double Angle(int from, int to) const {
    return std::atan2(m_Nodes[to].y - m_Nodes[from].y, m_Nodes[to].x - m_Nodes[from].x);
  }

  // The outgoing edge of node v next counter-clockwise after direction angle.
  int NextAfter(int v, double angle) const {
    const auto& list = m_Adjacent[v];
    for (std::size_t k = 0; k < list.size(); ++k)
      if (list[k].angle > angle) return static_cast<int>(k);
    return 0;
  }

  std::vector<Pt> WalkOuterFace() {
    int start = -1;
    for (int v = 0; v < static_cast<int>(m_Nodes.size()); ++v) {
      if (m_Adjacent[v].empty()) continue;
      if (start < 0 || m_Nodes[v].x < m_Nodes[start].x ||
          (m_Nodes[v].x == m_Nodes[start].x && m_Nodes[v].y < m_Nodes[start].y))
        start = v;
    }
    std::vector<Pt> out;
    if (start < 0) return out;
    // Arriving "from the west" at the leftmost node: the outer face is there.
    const int firstEdge = NextAfter(start, kPi);
    int v = start, edge = firstEdge;
    std::size_t halfEdges = 0;
    for (const auto& list : m_Adjacent) halfEdges += list.size();
    for (std::size_t step = 0; step <= halfEdges; ++step) {
      out.push_back(m_Nodes[v]);
      const int w = m_Adjacent[v][edge].to;
      // Find the reverse half-edge in w's list and take the next one
      // counter-clockwise after it, wrapping round.
      const auto& list = m_Adjacent[w];
      int k = 0;
      while (k < static_cast<int>(list.size()) && list[k].to != v) ++k;
      edge = (k + 1) % static_cast<int>(list.size());
      v = w;
      if (v == start && edge == firstEdge) break;
    }
    return out;
  }

  struct Half {
    int to;
    double angle;
  };

  std::unordered_multimap<std::uint64_t, int> m_Cells;
  double m_Snap = 1e-10;
  std::vector<Pt> m_Nodes;
  std::vector<int> m_Parent;
  std::vector<Segment> m_Segments;
  std::vector<std::vector<Split>> m_Splits;
  std::vector<std::vector<Half>> m_Adjacent;
  double m_Scale = 1.0;
};

}  // namespace

void CSSE3dPolygon::DilateExact(float distance) {
  if (!(distance > 0.0f) || !std::isfinite(distance) || m_nNumPoints == 0) return;
  const std::vector<Pt> ring = relief::detail::WithoutRepeats(relief::detail::ReadPoints(*this));
  if (!relief::detail::AllFinite(ring)) return;
  // Offsets on both sides: the outer border does not depend on which side
  // is inside, so any orientation and self-crossing contours work.
  std::vector<std::vector<Pt>> curves{RawOffsetCurve(ring, distance, 1.0)};
  if (ring.size() > 1) curves.push_back(RawOffsetCurve(ring, distance, -1.0));
  relief::detail::WritePoints(*this, OuterFaceTracer(curves).Trace());
}
