#pragma once

// Helpers shared by the mesh tests: an invariant checker that names the
// first violation, meshes from plain corner lists, fields from functions,
// and a message-box sink.

#include <emmintrin.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "relief/CHTriangulation.h"
#include "relief/CMemoryException.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEFns.h"
#include "relief/CSSEMatrix.h"
#include "relief/MessageBox.h"

namespace mesh_test {

struct Corner { float x, y, z, w; };
using Tri = std::array<Corner, 3>;

// What CheckMesh verifies beyond the storage wiring.
struct Checks {
  bool neighbours = true;  // neighbour pointers null or other records of this mesh
  bool derived = false;    // S, T, V and the per-triangle extremes match the corners
  bool box = false;        // the bounding box holds every corner
};
constexpr Checks kAll{true, true, true};

// Empty when the mesh satisfies its invariants, otherwise the first violation.
std::string CheckMesh(const CHTriangulation& m, Checks checks = {});

// A mesh of the given triangles (scale as constructed) with CalcBoundingBox and CalcSTV run.
void Fill(CHTriangulation& m, const std::vector<Tri>& tris);

// Two triangles of a unit square sharing an edge, and a tilted one apart.
inline std::vector<Tri> SmallSoup() {
  return {Tri{{{0, 0, 1, 0}, {1, 0, 2, 0}, {0, 1, 3, 0}}}, Tri{{{1, 0, 2, 0}, {1, 1, 4, 0}, {0, 1, 3, 0}}},
          Tri{{{5, 5, -1, 0}, {7, 5, 0, 0}, {5, 8, 2, 0}}}};
}

inline bool SameBits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }
inline bool SameBits(const SSEPoint& a, const SSEPoint& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

inline SSEPoint Point(float x, float y, float z, float w = 0.0f) {
  SSEPoint p;
  return p.m = _mm_set_ps(w, z, y, x), p;
}

// A field of the given size filled by f(x, y).
template <class F>
void MakeField(CSSEMatrix& m, int sx, int sy, F f) {
  m.Create(sx, sy);
  for (int y = 0; y < sy; ++y)
    for (int x = 0; x < sx; ++x) m.SetPoint(x, y, f(x, y));
}

// Records message boxes instead of showing them, while alive.
struct Messages {
  Messages() { SetMessageBoxHandler([this](const std::string& t) { texts.push_back(t); }); }
  ~Messages() { SetMessageBoxHandler({}); }
  std::vector<std::string> texts;
};

}  // namespace mesh_test
