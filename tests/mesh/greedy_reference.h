#pragma once

// A deliberately plain greedy max-error mesher, the yardstick of the fast
// one: every round rescans every triangle pixel by pixel with barycentric
// weights, inserts the worst pixel of the mesh, and restores the Delaunay
// property by sweeping all edges until no flip is left. Quadratic and more;
// only for small fields in which every pixel has data.

#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace greedy_reference {

struct Mesh {
  std::vector<std::array<std::int64_t, 2>> points;
  std::vector<double> heights;
  std::vector<std::array<int, 3>> triangles;  // counter-clockwise (positive orientation)
};

inline std::int64_t Orient(const Mesh& m, int a, int b, std::int64_t x, std::int64_t y) {
  return (m.points[b][0] - m.points[a][0]) * (y - m.points[a][1]) -
         (m.points[b][1] - m.points[a][1]) * (x - m.points[a][0]);
}

inline bool InCircle(const Mesh& m, int a, int b, int c, int d) {
  auto row = [&](int p) {
    const double dx = double(m.points[p][0] - m.points[d][0]), dy = double(m.points[p][1] - m.points[d][1]);
    return std::array<double, 3>{dx, dy, dx * dx + dy * dy};
  };
  const auto A = row(a), B = row(b), C = row(c);
  // Small integer coordinates: exact in double.
  const double det = A[0] * (B[1] * C[2] - B[2] * C[1]) - A[1] * (B[0] * C[2] - B[2] * C[0]) +
                     A[2] * (B[0] * C[1] - B[1] * C[0]);
  return det > 0.0;
}

// The worst pixel of triangle t: error, x, y (error 0 and -1 when none counts).
inline std::array<double, 3> WorstPixel(const Mesh& m, const std::vector<float>& field, int width, int t) {
  const auto& tri = m.triangles[t];
  double x[3], y[3], z[3];
  for (int k = 0; k < 3; ++k) {
    x[k] = double(m.points[tri[k]][0]);
    y[k] = double(m.points[tri[k]][1]);
    z[k] = m.heights[tri[k]];
  }
  const double area = (x[1] - x[0]) * (y[2] - y[0]) - (x[2] - x[0]) * (y[1] - y[0]);
  std::array<double, 3> worst{0.0, -1.0, -1.0};
  for (int py = int(std::min({y[0], y[1], y[2]})); py <= int(std::max({y[0], y[1], y[2]})); ++py)
    for (int px = int(std::min({x[0], x[1], x[2]})); px <= int(std::max({x[0], x[1], x[2]})); ++px) {
      bool corner = false;
      for (int k = 0; k < 3; ++k) corner = corner || (px == x[k] && py == y[k]);
      const double l1 = ((px - x[0]) * (y[2] - y[0]) - (x[2] - x[0]) * (py - y[0])) / area;
      const double l2 = ((x[1] - x[0]) * (py - y[0]) - (px - x[0]) * (y[1] - y[0])) / area;
      const double l0 = 1.0 - l1 - l2;
      if (corner || l0 < -1e-12 || l1 < -1e-12 || l2 < -1e-12) continue;
      const double e = std::fabs(double(field[size_t(py) * width + px]) - (l0 * z[0] + l1 * z[1] + l2 * z[2]));
      if (e > worst[0]) worst = {e, double(px), double(py)};
    }
  return worst;
}

// Flips every edge whose opposite corner lies in the other triangle's
// circumcircle, sweep after sweep, until none is left.
inline void MakeDelaunay(Mesh& m) {
  for (bool flipped = true; flipped;) {
    flipped = false;
    std::map<std::pair<int, int>, std::pair<int, int>> edges;  // directed edge -> triangle, corner opposite
    for (int t = 0; t < int(m.triangles.size()); ++t)
      for (int k = 0; k < 3; ++k) edges[{m.triangles[t][k], m.triangles[t][(k + 1) % 3]}] = {t, (k + 2) % 3};
    for (const auto& [edge, at] : edges) {
      const auto other = edges.find({edge.second, edge.first});
      if (other == edges.end()) continue;
      const int a = edge.first, b = edge.second;
      const int p = m.triangles[at.first][at.second], q = m.triangles[other->second.first][other->second.second];
      if (!InCircle(m, a, b, p, q)) continue;
      m.triangles[at.first] = {p, a, q};
      m.triangles[other->second.first] = {q, b, p};
      flipped = true;
      break;  // the edge map is stale now
    }
  }
}

// Greedy insertion over the whole width x height field until no pixel is
// farther than maxError from the mesh.
inline Mesh GreedyMesh(const std::vector<float>& field, int width, int height, double maxError) {
  Mesh m;
  auto add = [&](std::int64_t x, std::int64_t y) {
    m.points.push_back({x, y});
    m.heights.push_back(field[size_t(y) * width + x]);
    return int(m.points.size()) - 1;
  };
  const int a = add(0, 0), b = add(width - 1, 0), c = add(width - 1, height - 1), d = add(0, height - 1);
  m.triangles = {{a, b, c}, {a, c, d}};
  for (;;) {
    int worstT = -1;
    std::array<double, 3> worst{maxError, -1, -1};
    for (int t = 0; t < int(m.triangles.size()); ++t) {
      const auto w = WorstPixel(m, field, width, t);
      if (w[0] > worst[0]) worst = w, worstT = t;
    }
    if (worstT < 0) return m;
    const std::int64_t x = std::int64_t(worst[1]), y = std::int64_t(worst[2]);
    const int p = add(x, y);
    const auto tri = m.triangles[worstT];
    int onEdge = -1;
    for (int k = 0; k < 3; ++k)
      if (Orient(m, tri[k], tri[(k + 1) % 3], x, y) == 0) onEdge = k;
    if (onEdge < 0) {
      m.triangles[worstT] = {tri[0], tri[1], p};
      m.triangles.push_back({tri[1], tri[2], p});
      m.triangles.push_back({tri[2], tri[0], p});
    } else {
      const int u = tri[onEdge], v = tri[(onEdge + 1) % 3], w = tri[(onEdge + 2) % 3];
      m.triangles[worstT] = {u, p, w};
      m.triangles.push_back({p, v, w});
      for (int t = 0; t < int(m.triangles.size()); ++t)
        for (int k = 0; k < 3; ++k)
          if (m.triangles[t][k] == v && m.triangles[t][(k + 1) % 3] == u) {
            const int opposite = m.triangles[t][(k + 2) % 3];
            m.triangles[t] = {v, p, opposite};
            m.triangles.push_back({p, u, opposite});
            t = int(m.triangles.size());
            break;
          }
    }
    MakeDelaunay(m);
  }
}

}  // namespace greedy_reference
