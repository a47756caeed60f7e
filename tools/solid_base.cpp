#include "solid_base.h"

#include <cstddef>
#include <unordered_map>

namespace relief::tool {

IndexedMesh CloseIntoSolid(const IndexedMesh& surface, float baseZ) {
  const std::int32_t n = static_cast<std::int32_t>(surface.Points());
  IndexedMesh solid;
  solid.vertices = surface.vertices;
  solid.vertices.reserve(surface.vertices.size() * 2);
  // Point p + n lies below point p, on the bottom.
  for (std::int32_t p = 0; p < n; ++p) {
    solid.vertices.push_back(surface.vertices[3 * p]);
    solid.vertices.push_back(surface.vertices[3 * p + 1]);
    solid.vertices.push_back(baseZ);
  }
  const std::vector<std::int32_t>& tri = surface.indices;
  solid.indices = tri;
  // The bottom: the surface again, below and reversed, so that it faces down
  // and uses every outline edge in the direction the walls leave free.
  for (std::size_t t = 0; t < tri.size(); t += 3) {
    solid.indices.push_back(tri[t] + n);
    solid.indices.push_back(tri[t + 2] + n);
    solid.indices.push_back(tri[t + 1] + n);
  }
  // Outline edges: directed edges whose reverse no triangle uses.
  auto key = [](std::int32_t a, std::int32_t b) { return (std::uint64_t(std::uint32_t(a)) << 32) | std::uint32_t(b); };
  std::unordered_map<std::uint64_t, int> used;
  used.reserve(tri.size());
  for (std::size_t t = 0; t < tri.size(); t += 3)
    for (int k = 0; k < 3; ++k) ++used[key(tri[t + k], tri[t + (k + 1) % 3])];
  // The surface's a->b has the surface to its left: the wall below it takes
  // b->a from above and a'->b' from the bottom.
  for (std::size_t t = 0; t < tri.size(); t += 3)
    for (int k = 0; k < 3; ++k) {
      const std::int32_t a = tri[t + k], b = tri[t + (k + 1) % 3];
      if (used.count(key(b, a))) continue;
      const std::int32_t a2 = a + n, b2 = b + n;
      solid.indices.insert(solid.indices.end(), {b, a, a2, b, a2, b2});
    }
  return solid;
}

double EnclosedVolume(const IndexedMesh& solid) {
  double six = 0.0;
  const std::vector<float>& v = solid.vertices;
  for (std::size_t t = 0; t + 2 < solid.indices.size(); t += 3) {
    const float* a = &v[3 * std::size_t(solid.indices[t])];
    const float* b = &v[3 * std::size_t(solid.indices[t + 1])];
    const float* c = &v[3 * std::size_t(solid.indices[t + 2])];
    // a . (b x c), the signed volume of the tetrahedron with the origin, times six.
    six += double(a[0]) * (double(b[1]) * c[2] - double(b[2]) * c[1]) +
           double(a[1]) * (double(b[2]) * c[0] - double(b[0]) * c[2]) +
           double(a[2]) * (double(b[0]) * c[1] - double(b[1]) * c[0]);
  }
  return six / 6.0;
}

}  // namespace relief::tool
