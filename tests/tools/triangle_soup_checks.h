#pragma once

// Checks of a triangle soup (nine floats per triangle, as the tool collects
// and writes them): each names the first triangle or edge that breaks its
// rule.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <sstream>
#include <vector>

namespace relief_test {

using Corner = std::array<float, 2>;  // x, y: corners match by exact coordinates

inline Corner CornerOf(const std::vector<float>& c, size_t t, int k) {
  return {c[9 * t + 3 * k], c[9 * t + 3 * k + 1]};
}

inline std::string Describe(const Corner& a) {
  std::ostringstream s;
  s << "(" << a[0] << ", " << a[1] << ")";
  return s.str();
}

// Twice the signed area in the plane, in double (exact for the tools'
// integer-and-thirds coordinates up to far beyond their range).
inline double DoubledArea(const std::vector<float>& c, size_t t) {
  const Corner a = CornerOf(c, t, 0), b = CornerOf(c, t, 1), d = CornerOf(c, t, 2);
  return (double(b[0]) - a[0]) * (double(d[1]) - a[1]) - (double(d[0]) - a[0]) * (double(b[1]) - a[1]);
}

// Every triangle counter-clockwise seen from above (positive area) and not
// degenerate.
inline testing::AssertionResult CounterClockwiseAndNonZero(const std::vector<float>& c) {
  for (size_t t = 0; t < c.size() / 9; ++t) {
    const double a = DoubledArea(c, t);
    if (a == 0.0)
      return testing::AssertionFailure() << "triangle " << t << " has zero area at " << Describe(CornerOf(c, t, 0));
    if (a < 0.0)
      return testing::AssertionFailure() << "triangle " << t << " is clockwise at " << Describe(CornerOf(c, t, 0));
  }
  return testing::AssertionSuccess();
}

// Edge-manifold and consistently oriented: no edge is used by more than
// two triangles, and two triangles sharing an edge run it in opposite
// directions. With boxMin/boxMax given (non-empty box), an edge used once
// must lie on the box's border: anything else is a crack or a hole.
inline testing::AssertionResult EdgeManifold(const std::vector<float>& c, Corner boxMin = {1, 1},
                                             Corner boxMax = {0, 0}) {
  std::map<std::pair<Corner, Corner>, int> directed;  // each directed edge, counted
  for (size_t t = 0; t < c.size() / 9; ++t)
    for (int k = 0; k < 3; ++k) {
      const auto edge = std::make_pair(CornerOf(c, t, k), CornerOf(c, t, (k + 1) % 3));
      if (++directed[edge] > 1)
        return testing::AssertionFailure() << "edge " << Describe(edge.first) << " - " << Describe(edge.second)
                                           << " runs the same way in two triangles (the second: " << t << ")";
    }
  const bool checkBorder = boxMin[0] <= boxMax[0];
  for (const auto& [edge, count] : directed) {
    if (directed.count({edge.second, edge.first})) continue;
    if (!checkBorder) continue;
    const Corner &a = edge.first, &b = edge.second;
    const bool onBorder = (a[0] == b[0] && (a[0] == boxMin[0] || a[0] == boxMax[0])) ||
                          (a[1] == b[1] && (a[1] == boxMin[1] || a[1] == boxMax[1]));
    if (!onBorder)
      return testing::AssertionFailure() << "edge " << Describe(a) << " - " << Describe(b)
                                         << " has one triangle but lies inside the box: a crack";
  }
  return testing::AssertionSuccess();
}

}  // namespace relief_test
