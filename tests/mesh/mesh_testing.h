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

#include "predicates.h"
#include "relief/CHTriangulation.h"
#include "relief/CMemoryException.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEFns.h"
#include "relief/CSSEMatrix.h"
#include "relief/MessageBox.h"

namespace mesh_test {

using namespace relief_test;

struct Corner {
  float x, y, z, w;
};
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

// The mesh holds `triangles` triangles and satisfies its invariants.
inline testing::AssertionResult ValidMesh(const CHTriangulation& m, int triangles, Checks checks = {}) {
  if (m.NumTriangles != triangles)
    return testing::AssertionFailure() << m.NumTriangles << " triangles, expected " << triangles;
  return NoViolation(CheckMesh(m, checks));
}

// Corners of triangle ta of a bitwise equal to those of triangle tb of b, naming corner and lane.
inline testing::AssertionResult SameTriangle(const CHTriangulation& a, int ta, const CHTriangulation& b, int tb) {
  for (int k = 0; k < 3; ++k)
    if (auto r = SamePoint(a.EdgeArray[3 * ta + k], b.EdgeArray[3 * tb + k]); !r)
      return testing::AssertionFailure() << "triangle " << ta << " corner " << k << ": " << r.message();
  return testing::AssertionSuccess();
}

// The working-list links of t are prev and next.
inline testing::AssertionResult Linked(const t_htriangle& t, const t_htriangle* prev, const t_htriangle* next) {
  if (t.pPrev != prev)
    return testing::AssertionFailure() << "triangle " << t.Index << ": pPrev " << t.pPrev << ", expected " << prev;
  if (t.pNext != next)
    return testing::AssertionFailure() << "triangle " << t.Index << ": pNext " << t.pNext << ", expected " << next;
  return testing::AssertionSuccess();
}

// No list links and no neighbours.
inline testing::AssertionResult Detached(const t_htriangle& t) {
  if (auto r = Linked(t, nullptr, nullptr); !r) return r;
  for (int k = 0; k < 3; ++k)
    if (t.pNeighbour[k])
      return testing::AssertionFailure() << "triangle " << t.Index << ": pNeighbour[" << k << "] set";
  return testing::AssertionSuccess();
}

// A polygon through the given points.
inline CSSE3dPolygon Polygon(const std::vector<std::array<float, 3>>& pts) {
  CSSE3dPolygon poly;
  poly.Create(static_cast<int>(pts.size()));
  for (int i = 0; i < static_cast<int>(pts.size()); ++i) poly.SetPoint(i, pts[i][0], pts[i][1], pts[i][2]);
  return poly;
}

inline SSEPoint PointOf(const CSSE3dPolygon& p, int i) {
  SSEPoint s;
  p.GetPointSSE(i, s);
  return s;
}

// (b - a) x (c - a), in double: twice the area, along the normal.
inline std::array<double, 3> Cross(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c) {
  const double ux = double(b.x) - a.x, uy = double(b.y) - a.y, uz = double(b.z) - a.z;
  const double vx = double(c.x) - a.x, vy = double(c.y) - a.y, vz = double(c.z) - a.z;
  return {uy * vz - uz * vy, uz * vx - ux * vz, ux * vy - uy * vx};
}

// Signed x-y area of a triangle, positive when counter-clockwise.
inline double AreaXY(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c) { return 0.5 * Cross(a, b, c)[2]; }

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

// The scan converters' sample loop written plainly: f(column, row, z) for
// every sample of every triangle, on the lattice of ScanConvDiagonal steps
// starting `start` steps in, with the cell it rounds to in the box frame.
template <class F>
void ForEachSample(const CHTriangulation& m, float start, F f) {
  const SSEPoint lo = m.PointArray[0];
  for (int i = 0; i < m.NumTriangles; ++i) {
    const SSEPoint p = m.EdgeArray[3 * i], s = m.SArray[i], t = m.TArray[i];
    const float lenS = CSSEFns::vectorlen(s.m), lenT = CSSEFns::vectorlen(t.m);
    const double step = double(m.ScanConvDiagonal) / (lenS > lenT ? lenS : lenT);
    for (float u = float(start * step); u < 1.0f; u += step)
      for (float v = float(start * step); v < 1.0 - u; v += step) {
        const float qx = p.x + u * s.x + v * t.x, qy = p.y + u * s.y + v * t.y, qz = p.z + u * s.z + v * t.z;
        f(int((qx - lo.x) / m.ScanConvResX + 0.5), int((qy - lo.y) / m.ScanConvResY + 0.5), qz);
      }
  }
}

// A soup of 1 to 30 triangles over [0, 30)^2 with heights in [zLow, zHigh).
inline std::vector<Tri> RandomSoup(std::mt19937& rng, float zLow, float zHigh) {
  std::uniform_real_distribution<float> coord(0.0f, 30.0f), height(zLow, zHigh);
  std::vector<Tri> soup(1 + rng() % 30);
  for (Tri& t : soup)
    for (Corner& c : t) c = {coord(rng), coord(rng), height(rng), 0};
  return soup;
}

// Records message boxes instead of showing them, while alive.
struct Messages {
  Messages() {
    SetMessageBoxHandler([this](const std::string& t) { texts.push_back(t); });
  }
  ~Messages() { SetMessageBoxHandler({}); }
  std::vector<std::string> texts;
};

}  // namespace mesh_test
