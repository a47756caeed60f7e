#pragma once

// Closing a height-field surface into a solid for printing and volume work:
// walls straight down along the surface's outline and a flat bottom.

#include <cstdint>
#include <vector>

namespace relief::tool {

// Shared vertices (x, y, z floats) and triangles (three vertex indices each).
struct IndexedMesh {
  std::vector<float> vertices;
  std::vector<std::int32_t> indices;
  std::int64_t Triangles() const { return static_cast<std::int64_t>(indices.size() / 3); }
  std::int64_t Points() const { return static_cast<std::int64_t>(vertices.size() / 3); }
};

// surface: triangles counter-clockwise seen from above, every edge used at
// most twice and then in opposite directions, every height above baseZ.
// Returns the closed solid: the surface, a copy of it at z = baseZ turned to
// face down (the bottom, flat), and for every outline edge (an edge of one
// triangle only) a wall of two triangles between the two. Every edge of the
// result belongs to exactly two triangles, in opposite directions, and the
// normals point out.
IndexedMesh CloseIntoSolid(const IndexedMesh& surface, float baseZ);

// The volume a closed, outward-facing mesh encloses (divergence theorem, in double).
double EnclosedVolume(const IndexedMesh& solid);

}  // namespace relief::tool
