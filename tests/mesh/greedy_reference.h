#pragma once

// A deliberately plain greedy max-error mesher, the yardstick of the fast
// one: every round looks at every triangle (scanning anew, pixel by pixel
// with barycentric weights, those whose corners changed), inserts the worst
// pixel of the mesh, and restores the Delaunay property by flips around it,
// finding neighbours by searching every triangle. Quadratic; only for small
// fields in which every pixel has data.

#include <array>
#include <cmath>
#include <cstdint>
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
  const double det =
      A[0] * (B[1] * C[2] - B[2] * C[1]) - A[1] * (B[0] * C[2] - B[2] * C[0]) + A[2] * (B[0] * C[1] - B[1] * C[0]);
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

// The first triangle holding the directed edge a->b, and its third corner
// (-1 and -1 when none does), by searching the whole list.
inline std::pair<int, int> FindEdge(const Mesh& m, int a, int b) {
  for (int t = 0; t < int(m.triangles.size()); ++t)
    for (int k = 0; k < 3; ++k)
      if (m.triangles[t][k] == a && m.triangles[t][(k + 1) % 3] == b)
        return std::make_pair(t, m.triangles[t][(k + 2) % 3]);
  return std::make_pair(-1, -1);
}

// Restores the Delaunay property after point p was inserted: every edge
// opposite p is flipped when the corner across it lies in the circle through
// it and p, and the two edges opposite p after a flip are checked in turn.
inline void FlipAround(Mesh& m, int p) {
  std::vector<std::pair<int, int>> todo;
  for (const auto& tri : m.triangles)
    for (int k = 0; k < 3; ++k)
      if (tri[(k + 2) % 3] == p) todo.emplace_back(tri[k], tri[(k + 1) % 3]);
  while (!todo.empty()) {
    const auto [a, b] = todo.back();
    todo.pop_back();
    const auto [t, apex] = FindEdge(m, a, b);
    const auto [f, q] = FindEdge(m, b, a);
    if (t < 0 || apex != p || f < 0 || !InCircle(m, a, b, p, q)) continue;
    m.triangles[t] = {p, a, q};
    m.triangles[f] = {q, b, p};
    todo.emplace_back(a, q);
    todo.emplace_back(q, b);
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
  // Worst pixels of the triangles as they were last scanned; a triangle is
  // scanned again whenever its corners differ.
  std::vector<std::array<int, 3>> scanned;
  std::vector<std::array<double, 3>> worstOf;
  for (;;) {
    int worstT = -1;
    std::array<double, 3> worst{maxError, -1, -1};
    scanned.resize(m.triangles.size(), {-1, -1, -1});
    worstOf.resize(m.triangles.size());
    for (int t = 0; t < int(m.triangles.size()); ++t) {
      if (scanned[t] != m.triangles[t]) {
        scanned[t] = m.triangles[t];
        worstOf[t] = WorstPixel(m, field, width, t);
      }
      if (worstOf[t][0] > worst[0]) worst = worstOf[t], worstT = t;
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
      if (const auto [t, opposite] = FindEdge(m, v, u); t >= 0) {
        m.triangles[t] = {v, p, opposite};
        m.triangles.push_back({p, u, opposite});
      }
    }
    FlipAround(m, p);
  }
}

}  // namespace greedy_reference
