#include "viewer/layer_geometry.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <unordered_map>

namespace relief::detail {

namespace {

std::uint32_t BitsOf(float v) {
  if (v == 0.0f) v = 0.0f;  // -0 and +0 are one corner, as an exact comparison says
  std::uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  return bits;
}

}  // namespace

std::size_t GeometryBuilder::KeyHash::operator()(const Key& k) const {
  std::uint64_t h = k.bits[0] * 0x9E3779B97F4A7C15ull;
  h ^= (h >> 29) + k.bits[1] * 0xBF58476D1CE4E5B9ull;
  h ^= (h >> 31) + k.bits[2] * 0x94D049BB133111EBull;
  return std::size_t(h ^ (h >> 32));
}

void GeometryBuilder::Grow() {
  const std::size_t size = m_table.empty() ? 1024 : m_table.size() * 2;
  std::vector<std::pair<Key, std::uint32_t>> old(size, {Key{{0, 0, 0}}, UINT32_MAX});
  old.swap(m_table);
  for (const auto& entry : old) {
    if (entry.second == UINT32_MAX) continue;
    std::size_t slot = KeyHash()(entry.first) & (size - 1);
    while (m_table[slot].second != UINT32_MAX) slot = (slot + 1) & (size - 1);
    m_table[slot] = entry;
  }
}

std::uint32_t GeometryBuilder::Point(float x, float y, float z) {
  if ((m_used + 1) * 2 > m_table.size()) Grow();
  const Key key{{BitsOf(x), BitsOf(y), BitsOf(z)}};
  const std::size_t mask = m_table.size() - 1;
  std::size_t slot = KeyHash()(key) & mask;
  while (m_table[slot].second != UINT32_MAX) {
    if (m_table[slot].first == key) return m_table[slot].second;
    slot = (slot + 1) & mask;
  }
  const std::uint32_t index = std::uint32_t(m_points.size() / 3);
  m_table[slot] = {key, index};
  ++m_used;
  m_points.insert(m_points.end(), {x, y, z});
  return index;
}

IndexedGeometry GeometryBuilder::Finish() {
  IndexedGeometry g;
  const std::size_t n = m_points.size() / 3;
  if (n > 0) {
    for (int a = 0; a < 3; ++a) {
      g.minimum[a] = std::numeric_limits<double>::infinity();
      g.maximum[a] = -std::numeric_limits<double>::infinity();
    }
    for (std::size_t i = 0; i < n; ++i)
      for (int a = 0; a < 3; ++a) {
        g.minimum[a] = std::min(g.minimum[a], double(m_points[3 * i + a]));
        g.maximum[a] = std::max(g.maximum[a], double(m_points[3 * i + a]));
      }
    for (int a = 0; a < 3; ++a) g.origin[a] = g.minimum[a];
  }
  g.positions.resize(m_points.size());
  for (std::size_t i = 0; i < m_points.size(); ++i)
    g.positions[i] = float(double(m_points[i]) - g.origin[i % 3]);
  g.indices = std::move(m_indices);
  m_points.clear();
  m_table.clear();
  m_used = 0;
  return g;
}

bool DecimateTriangles(IndexedGeometry& g, std::int64_t maxTriangles) {
  const std::size_t triangles = g.indices.size() / 3;
  if (std::int64_t(triangles) <= maxTriangles) return false;
  const std::size_t n = g.positions.size() / 3;
  double extent = 0;
  for (int a = 0; a < 3; ++a) extent = std::max(extent, g.maximum[a] - g.minimum[a]);
  if (!(extent > 0)) extent = 1;
  // A surface of t triangles over a box of side e has about t / 2 vertices,
  // spaced e / sqrt(t / 2): start from the spacing the limit allows.
  double cell = extent / std::sqrt(double(maxTriangles) / 2.0);
  std::vector<std::uint32_t> remap(n), indices;
  std::vector<float> positions;
  for (int attempt = 0; attempt < 40; ++attempt, cell *= 1.3) {
    std::unordered_map<std::uint64_t, std::uint32_t> cells;
    cells.reserve(std::size_t(maxTriangles));
    positions.clear();
    for (std::size_t i = 0; i < n; ++i) {
      std::uint64_t key = 0;
      for (int a = 0; a < 3; ++a)
        key = key * 2097152u + std::uint64_t(std::max(0.0, std::floor(g.positions[3 * i + a] / cell))) % 2097152u;
      auto [it, added] = cells.emplace(key, std::uint32_t(positions.size() / 3));
      if (added) positions.insert(positions.end(), g.positions.begin() + 3 * i, g.positions.begin() + 3 * i + 3);
      remap[i] = it->second;
    }
    indices.clear();
    for (std::size_t t = 0; t < triangles; ++t) {
      const std::uint32_t a = remap[g.indices[3 * t]], b = remap[g.indices[3 * t + 1]], c = remap[g.indices[3 * t + 2]];
      if (a != b && b != c && c != a) indices.insert(indices.end(), {a, b, c});
    }
    if (std::int64_t(indices.size() / 3) <= maxTriangles) break;
  }
  g.positions.swap(positions);
  g.indices.swap(indices);
  return true;
}

}  // namespace relief::detail
