#pragma once

// Geometry as the viewer's page takes it: vertices merged and stored
// relative to an origin (so that coordinates far from 0 keep their detail in
// float32), and a way to thin a layer that is too large to show whole.

#include <cstdint>
#include <vector>

namespace relief::detail {

struct IndexedGeometry {
  double origin[3] = {0, 0, 0};   // the box minimum; positions are relative to it
  double minimum[3] = {0, 0, 0};  // box of the vertices, absolute
  double maximum[3] = {0, 0, 0};
  std::vector<float> positions;   // x, y, z per vertex, relative to origin
  std::vector<std::uint32_t> indices;  // per triangle three, or per segment two
};

// Collects points (absolute, in double) and primitives over them, merging
// points that are equal bit for bit as floats.
class GeometryBuilder {
 public:
  explicit GeometryBuilder(int cornersPerPrimitive) : m_corners(cornersPerPrimitive) {}
  // Adds one point; returns its index (an earlier one when it repeats).
  std::uint32_t Point(float x, float y, float z);
  void Index(std::uint32_t i) { m_indices.push_back(i); }
  std::size_t NumPrimitives() const { return m_indices.size() / m_corners; }
  // Moves the result out, relative to the box minimum.
  IndexedGeometry Finish();

 private:
  struct Key {
    std::uint32_t bits[3];
    bool operator==(const Key& o) const {
      return bits[0] == o.bits[0] && bits[1] == o.bits[1] && bits[2] == o.bits[2];
    }
  };
  struct KeyHash {
    std::size_t operator()(const Key& k) const;
  };
  int m_corners;
  std::vector<float> m_points;
  std::vector<std::uint32_t> m_indices;
  std::vector<std::pair<Key, std::uint32_t>> m_table;  // open addressing, power-of-two size
  std::size_t m_used = 0;
  void Grow();
};

// Thins a triangle geometry to at most maxTriangles by merging the vertices
// that share a cell of a 3D grid, coarsening the grid until the count fits.
// Returns false (and leaves the geometry alone) when it already fits.
bool DecimateTriangles(IndexedGeometry& geometry, std::int64_t maxTriangles);

}  // namespace relief::detail
