#pragma once

// Polygon builders, seeded random shapes and the plain crossing rule shared by
// the contour tests.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ostream>
#include <random>
#include <vector>

#include "predicates.h"
#include "relief/CSSE3dPolygon.h"

namespace contour_test {

struct P3 {
  float x, y, z;
  bool operator==(const P3& o) const { return x == o.x && y == o.y && z == o.z; }
};

inline std::ostream& operator<<(std::ostream& os, const P3& p) {
  return os << "(" << p.x << ", " << p.y << ", " << p.z << ")";
}
using Pts = std::vector<P3>;

inline void Fill(CSSE3dPolygon& poly, const Pts& pts) {
  poly.Create(static_cast<int>(pts.size()));
  for (int i = 0; i < static_cast<int>(pts.size()); ++i) poly.SetPoint(i, pts[i].x, pts[i].y, pts[i].z);
}

inline CSSE3dPolygon Make(const Pts& pts) {
  CSSE3dPolygon poly;
  Fill(poly, pts);
  return poly;
}

inline Pts Points(const CSSE3dPolygon& poly) {
  Pts out(poly.GetNumPoints());
  for (int i = 0; i < poly.GetNumPoints(); ++i) poly.GetPoint(i, out[i].x, out[i].y, out[i].z);
  return out;
}

inline Pts Square(float x0, float y0, float side) {
  return {{x0, y0, 0}, {x0 + side, y0, 0}, {x0 + side, y0 + side, 0}, {x0, y0 + side, 0}};
}

inline SSEPoint V(float x, float y, float z = 0, float w = 0) {
  SSEPoint p;
  p.m = _mm_setr_ps(x, y, z, w);
  return p;
}
// Bitwise the same four lanes, naming the first that is not.
constexpr auto Same = relief_test::SamePoint;
// The polygon's SSE queries take non-const references: this lends them a temporary.
inline SSEPoint& Lv(SSEPoint&& p) { return p; }

// Signed area by the shoelace formula (positive counter-clockwise, y up).
inline double Area(const Pts& p) {
  double s = 0;
  for (std::size_t i = 0; i < p.size(); ++i) {
    const P3 &a = p[i], &b = p[(i + 1) % p.size()];
    s += double(a.x) * b.y - double(b.x) * a.y;
  }
  return s / 2;
}

// The shapes the differential comparisons run on.
enum class Shape { Convex, Star, Collinear, PixelCentres, Wild, Slivers };
constexpr Shape kAllShapes[] = {Shape::Convex,       Shape::Star, Shape::Collinear,
                                Shape::PixelCentres, Shape::Wild, Shape::Slivers};
inline std::ostream& operator<<(std::ostream& os, Shape s) { return os << "shape " << static_cast<int>(s); }

// A shape centred at (cx, cy) with radius up to r, n vertices, drawn from rng.
inline Pts RandomShape(Shape shape, std::mt19937& rng, int n, float cx, float cy, float r) {
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  auto polar = [&](int i, float rr) {
    const double a = 6.283185307179586 * i / n;
    return P3{cx + rr * float(std::cos(a)), cy + rr * float(std::sin(a)), 0};
  };
  Pts pts;
  const float x0 = std::floor(cx - r), x1 = std::floor(cx + r), y0 = std::floor(cy - r), y1 = std::floor(cy + r);
  const int k = std::max(n / 4, 2);
  for (int i = 0; i < (shape == Shape::Collinear ? 4 * k : n); ++i) {
    const float t = float(i % k) / k, hair = (i % 3 - 1) * 1e-4f;
    P3 p = polar(i, r * (0.3f + 0.7f * unit(rng)));
    switch (shape) {
      case Shape::Convex:
        p = polar(i, r), p.y = cy + (p.y - cy) * 0.7f, p.z = unit(rng);
        break;  // ellipse
      case Shape::Star:
        p = polar(i, r * (i % 2 ? 0.35f + 0.3f * unit(rng) : 0.8f + 0.2f * unit(rng)));
        break;
      // A rectangle with a slanted side, in runs of collinear points.
      case Shape::Collinear:
        p = i < k       ? P3{x0 + (x1 - x0) * t, y0, 0}
            : i < 2 * k ? P3{x1, y0 + (y1 - y0) * t, 0}
            : i < 3 * k ? P3{x1 - (x1 - x0) * t, y1 - (y1 - y0) * 0.5f * t, 0}
                        : P3{x0, y1 - (y1 - y0) * (0.5f + 0.5f * t), 0};
        break;
      case Shape::PixelCentres:
        p = {std::round(p.x), std::round(p.y), 0};
        break;
      case Shape::Wild:
        p = {cx + r * (2 * unit(rng) - 1), cy + r * (2 * unit(rng) - 1), 0};
        break;  // crossing
      // Edges a hair beside integer columns and rows: crossing thresholds
      // fall right next to pixel positions.
      case Shape::Slivers:
        p = {std::round(p.x), std::round(p.y), 0};
        pts.push_back({i % 2 ? p.x + hair : p.x, i % 2 ? p.y : p.y + hair, 0});
        p = {i % 2 ? p.x - hair : p.x + 3, i % 2 ? p.y + 5 : p.y - hair, 0};
        break;
    }
    pts.push_back(p);
  }
  return pts;
}

// The crossing rule written out plainly: cast a ray from (x, y) toward +y
// and count the edges it crosses, with the half-open straddle convention.
inline bool NaiveInside(const Pts& p, float x, float y) {
  const int n = static_cast<int>(p.size());
  if (n < 3) return false;
  bool left = true, right = true, below = true, above = true;  // the box pre-test: all vertices on one side
  for (const P3& q : p) left &= (x < q.x), right &= (x > q.x), below &= (y < q.y), above &= (y > q.y);
  if (left || right || below || above) return false;
  bool inside = false;
  for (int i = 0; i < n; ++i) {
    const P3& cur = p[i];
    const P3& prev = p[(i + n - 1) % n];
    if (!((cur.x < x && x <= prev.x) || (prev.x < x && x <= cur.x))) continue;
    const P3& a = prev.x < cur.x ? prev : cur;
    const P3& b = prev.x < cur.x ? cur : prev;
    if ((double(b.y) - a.y) * (double(x) - a.x) > (double(b.x) - a.x) * (double(y) - a.y)) inside = !inside;
  }
  return inside;
}

}  // namespace contour_test
