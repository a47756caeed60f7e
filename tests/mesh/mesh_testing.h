#pragma once

// Helpers shared by the mesh tests: an invariant checker that names the
// first violation, mesh construction from plain corner lists, and seeded
// random sources that report their seed.

#include <emmintrin.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

namespace mesh_test {

struct Corner {
  float x, y, z, w;
};
using Tri = std::array<Corner, 3>;

// What CheckMesh verifies beyond the storage wiring.
struct Checks {
  bool neighbours = true;  // neighbour pointers null or records of this mesh
  bool derived = false;    // S, T, V and the per-triangle extremes match the corners
  bool box = false;        // the bounding box holds every corner
};

// Empty when the mesh satisfies its invariants, otherwise a description of
// the first violation found.
std::string CheckMesh(const CHTriangulation& m, Checks checks = {});

// A mesh of the given triangles (scale 1) with CalcBoundingBox and CalcSTV run.
void Fill(CHTriangulation& m, const std::vector<Tri>& tris);

inline bool SameBits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }
inline bool SameBits(const SSEPoint& a, const SSEPoint& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

inline SSEPoint Point(float x, float y, float z, float w = 0.0f) {
  SSEPoint p;
  p.m = _mm_set_ps(w, z, y, x);
  return p;
}

// A field of the given size filled by f(x, y).
template <class F>
void MakeField(CSSEMatrix& m, int sx, int sy, F f) {
  m.Create(sx, sy);
  for (int y = 0; y < sy; ++y)
    for (int x = 0; x < sx; ++x) m.SetPoint(x, y, f(x, y));
}

}  // namespace mesh_test
