#pragma once

// Edge-use checks for meshes meant to be closed or to be bands: corners are
// matched by their exact x, y, z, as the mesh's own neighbour search does.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <map>
#include <sstream>
#include <tuple>

#include "relief/CHTriangulation.h"

namespace mesh_test {

using CornerKey = std::tuple<float, float, float>;

inline CornerKey KeyOf(const SSEPoint& p) { return {p.x, p.y, p.z}; }

struct EdgeUse {
  int count = 0;
  int forward = 0;  // runs from the smaller key to the larger
};

inline std::map<std::pair<CornerKey, CornerKey>, EdgeUse> EdgeUses(const CHTriangulation& m) {
  std::map<std::pair<CornerKey, CornerKey>, EdgeUse> uses;
  for (int i = 0; i < m.NumTriangles; ++i)
    for (int k = 0; k < 3; ++k) {
      const CornerKey a = KeyOf(m.EdgeArray[3 * i + k]), b = KeyOf(m.EdgeArray[3 * i + (k + 1) % 3]);
      EdgeUse& u = uses[a < b ? std::make_pair(a, b) : std::make_pair(b, a)];
      ++u.count;
      u.forward += a < b;
    }
  return uses;
}

inline std::string Describe(const std::pair<CornerKey, CornerKey>& e) {
  std::ostringstream s;
  s << "edge (" << std::get<0>(e.first) << ", " << std::get<1>(e.first) << ", " << std::get<2>(e.first) << ")-("
    << std::get<0>(e.second) << ", " << std::get<1>(e.second) << ", " << std::get<2>(e.second) << ")";
  return s.str();
}

enum EdgeRule {
  kClosed,  // every edge used by exactly two triangles, once in each direction
  kBand,    // no edge used by more than two triangles, a shared edge run in both directions
  kPaired,  // every edge used an even number of times, as often in each direction (a closed
            // surface that may touch itself at a corner)
};

// The edges follow the rule (a closed surface is not empty); names the first edge that does not.
inline testing::AssertionResult EdgesUsed(const CHTriangulation& m, EdgeRule rule) {
  if (rule == kClosed && m.NumTriangles < 1) return testing::AssertionFailure() << "the mesh is empty";
  for (const auto& [edge, use] : EdgeUses(m)) {
    const bool broken =
        rule == kPaired ? use.count % 2 || 2 * use.forward != use.count
                        : use.count > 2 || (rule == kClosed && use.count < 2) || (use.count == 2 && use.forward != 1);
    if (broken)
      return testing::AssertionFailure() << Describe(edge) << " is used " << use.count << " times, " << use.forward
                                         << " of them forward";
  }
  return testing::AssertionSuccess();
}

// Signed volume enclosed by the triangles (divergence theorem, in double).
inline double EnclosedVolume(const CHTriangulation& m) {
  double v = 0.0;
  for (int i = 0; i < m.NumTriangles; ++i) {
    const SSEPoint &a = m.EdgeArray[3 * i], &b = m.EdgeArray[3 * i + 1], &c = m.EdgeArray[3 * i + 2];
    v += double(a.x) * (double(b.y) * c.z - double(b.z) * c.y) + double(a.y) * (double(b.z) * c.x - double(b.x) * c.z) +
         double(a.z) * (double(b.x) * c.y - double(b.y) * c.x);
  }
  return v / 6.0;
}

}  // namespace mesh_test
