#pragma once

// Shared helpers of the Delaunay tests: point sets and a snapshot of a list
// that two objects can be compared by (corners, circles, marks and neighbours
// as list positions). The invariants are delaunay_validator.h's.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"
#include "relief/TaCIncrementalDelaunay2D.h"
#include "test_hull_reference.h"

namespace delaunay_test {

struct Pt {
  float x, y, z;
  bool operator<(const Pt& o) const { return x != o.x ? x < o.x : y < o.y; }
  bool operator==(const Pt& o) const { return x == o.x && y == o.y; }
};

// Any point type with x, y and z.
template <class Point>
void Load(TaCIncrementalDelaunay2D& d, const std::vector<Point>& pts, int extra = 8) {
  d.CreateVertexArray(static_cast<int>(pts.size()) + extra);
  d.SetPlainScansBelow(0);  // the search structures even for a few points: they are under test
  for (const Point& p : pts) {
    SSEPoint s;
    s.m = _mm_setr_ps(p.x, p.y, p.z, 0.0f);
    d.AppendVertex(s);
  }
}

// Load, then triangulate the first n points (all when n < 0).
inline void Build(TaCIncrementalDelaunay2D& d, const std::vector<Pt>& pts, bool final, bool box, int n = -1,
                  int extra = 8) {
  Load(d, pts, extra);
  d.Triangulate(n < 0 ? static_cast<int>(pts.size()) : n, final, box);
}

inline CSSE3dPolygon Polygon(const std::vector<Pt>& p) {
  CSSE3dPolygon poly;
  poly.Create(static_cast<int>(p.size()));
  for (std::size_t i = 0; i < p.size(); ++i) poly.SetPoint(static_cast<int>(i), p[i].x, p[i].y, p[i].z);
  return poly;
}

template <class F>
void Fill(CSSEMatrix& m, int w, int h, F f) {
  m.Create(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) m.SetPoint(x, y, static_cast<float>(f(x, y)));
}

// Uniform points in [0, 100)^2 with z a smooth function of x and y.
inline std::vector<Pt> Uniform(int n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(0.0f, 100.0f);
  std::vector<Pt> pts;
  for (int i = 0; i < n; ++i) {
    const float x = u(rng), y = u(rng);
    pts.push_back({x, y, 10.0f * std::sin(x * 0.07f) * std::cos(y * 0.05f)});
  }
  return pts;
}

// Each triangle's position in its list.
inline std::map<const t_hdelaunaytriangle*, int> Positions(const CDelaunayTriangleList& list) {
  std::map<const t_hdelaunaytriangle*, int> index;
  for (t_hdelaunaytriangle* t : list) index.emplace(t, static_cast<int>(index.size()));
  return index;
}

// Everything a list holds, with neighbours as positions in the same list.
struct Record {
  int v[3];
  uint32_t circle[3];
  int n[3];
  bool marks[4];
  bool operator==(const Record& o) const { return std::memcmp(this, &o, sizeof(Record)) == 0; }
};

inline std::vector<Record> Snapshot(const CDelaunayTriangleList& list) {
  const auto index = Positions(list);
  std::vector<Record> out;
  for (t_hdelaunaytriangle* t : list) {
    Record r{};
    for (int k = 0; k < 3; ++k) {
      r.v[k] = t->nVertex[k];
      const auto it = index.find(t->pNeighbour[k]);
      r.n[k] = t->pNeighbour[k] ? (it == index.end() ? -2 : it->second) : -1;
    }
    const float circle[3] = {t->fCenterX, t->fCenterY, t->fRadiusSqr};
    std::memcpy(r.circle, circle, sizeof circle);
    r.marks[0] = t->bKill, r.marks[1] = t->bOutside, r.marks[2] = t->bBorder, r.marks[3] = t->bLocked;
    out.push_back(r);
  }
  return out;
}

// The index of the first differing record, or -1 when both are equal.
inline long FirstDifference(const std::vector<Record>& a, const std::vector<Record>& b) {
  const std::size_t n = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < n; ++i)
    if (!(a[i] == b[i])) return static_cast<long>(i);
  return a.size() == b.size() ? -1 : static_cast<long>(n);
}

// True when the first three points make a start triangle that the
// orientation test calls clockwise in both orders: nearly collinear corners
// are reordered, not rejected, and the triangulation grown from such a start
// has no valid triangle to stand on.
template <class Point>
bool DegenerateStart(const std::vector<Point>& pts) {
  if (pts.size() < 3) return false;
  TaCIncrementalDelaunay2D d;
  Load(d, pts);
  t_hdelaunaytriangle t{};
  for (int k = 0; k < 3; ++k) t.nVertex[k] = k;
  if (d.GetOrientation(&t) == 1) return false;
  TaCIncrementalDelaunay2D::FlipTriangleOrientation(&t);
  return d.GetOrientation(&t) == -1;
}

// Vertices on the convex hull (strictly convex corners only).
inline int HullSize(const std::vector<Pt>& p) {
  return static_cast<int>(MonotoneChainHull(p, Cross<Pt, Pt, Pt>).size());
}

}  // namespace delaunay_test
