#include "degenerate_repair.h"

#include <cstddef>
#include <unordered_map>

namespace relief::tool {

namespace {

using Triangle = std::array<std::int32_t, 3>;

double DoubledArea(const Triangle& t, const std::vector<PlanarPoint>& p) {
  const PlanarPoint &a = p[static_cast<size_t>(t[0])], &b = p[static_cast<size_t>(t[1])], &c = p[static_cast<size_t>(t[2])];
  return (b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y);
}

double SquaredLength(std::int32_t i, std::int32_t j, const std::vector<PlanarPoint>& p) {
  const double dx = p[static_cast<size_t>(i)].x - p[static_cast<size_t>(j)].x;
  const double dy = p[static_cast<size_t>(i)].y - p[static_cast<size_t>(j)].y;
  return dx * dx + dy * dy;
}

std::uint64_t EdgeKey(std::int32_t from, std::int32_t to) {
  return static_cast<std::uint64_t>(static_cast<std::uint32_t>(from)) << 32 | static_cast<std::uint32_t>(to);
}

}  // namespace

std::int64_t RepairZeroAreaTriangles(std::vector<Triangle>& triangles, const std::vector<PlanarPoint>& points) {
  std::int64_t met = 0;
  // A round may leave a zero-area triangle for the next (its neighbour was
  // split in this one, or the split made a new one along a longer run).
  constexpr int kRounds = 8;
  for (int round = 0; round < kRounds; ++round) {
    std::vector<size_t> degenerate;
    for (size_t i = 0; i < triangles.size(); ++i)
      if (DoubledArea(triangles[i], points) == 0.0) degenerate.push_back(i);
    if (degenerate.empty()) return met;
    if (round == 0) met = static_cast<std::int64_t>(degenerate.size());

    std::unordered_map<std::uint64_t, size_t> owner;  // directed edge -> triangle
    owner.reserve(3 * triangles.size());
    for (size_t i = 0; i < triangles.size(); ++i)
      for (int k = 0; k < 3; ++k) owner[EdgeKey(triangles[i][k], triangles[i][(k + 1) % 3])] = i;

    std::vector<char> gone(triangles.size(), 0);
    std::vector<Triangle> added;
    for (size_t i : degenerate) {
      if (gone[i]) continue;
      const Triangle t = triangles[i];
      if (t[0] == t[1] || t[1] == t[2] || t[2] == t[0]) {  // a repeated vertex: nothing to split
        gone[i] = 1;
        continue;
      }
      // The long edge x -> y of t; m, the corner opposite, lies between them.
      int k = 0;
      for (int e = 1; e < 3; ++e)
        if (SquaredLength(t[e], t[(e + 1) % 3], points) > SquaredLength(t[k], t[(k + 1) % 3], points)) k = e;
      const std::int32_t x = t[k], y = t[(k + 1) % 3], m = t[(k + 2) % 3];
      const auto across = owner.find(EdgeKey(y, x));
      if (across == owner.end()) {  // on the hull: dropping it is enough
        gone[i] = 1;
        continue;
      }
      if (gone[across->second]) continue;  // split already this round: next round
      gone[i] = 1;
      const Triangle& u = triangles[across->second];
      int j = 0;
      while (u[j] != y) ++j;
      const std::int32_t d = u[(j + 2) % 3];  // u = (y, x, d)
      gone[across->second] = 1;
      added.push_back({y, m, d});
      added.push_back({m, x, d});
    }
    std::vector<Triangle> kept;
    kept.reserve(triangles.size() + added.size());
    for (size_t i = 0; i < triangles.size(); ++i)
      if (!gone[i]) kept.push_back(triangles[i]);
    kept.insert(kept.end(), added.begin(), added.end());
    triangles.swap(kept);
  }
  // Whatever is still degenerate after all rounds is dropped.
  std::vector<Triangle> kept;
  for (const Triangle& t : triangles)
    if (DoubledArea(t, points) != 0.0) kept.push_back(t);
  triangles.swap(kept);
  return met;
}

}  // namespace relief::tool
