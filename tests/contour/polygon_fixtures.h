#pragma once

// Polygon builders, seeded random shapes and the plain crossing rule shared by
// the contour tests.

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>
#include <random>
#include <vector>

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
// The polygon's SSE queries take non-const references: this lends them a temporary.
inline SSEPoint& Lv(SSEPoint&& p) { return p; }

// The shapes the differential comparisons run on.
enum class Shape { Convex, Star, Collinear, PixelCentres, Wild, Slivers };
constexpr Shape kAllShapes[] = {Shape::Convex, Shape::Star, Shape::Collinear,
                                Shape::PixelCentres, Shape::Wild, Shape::Slivers};
inline const char* ShapeName(Shape s) {
  static const char* names[] = {"convex", "star", "collinear", "pixel-centres", "self-intersecting", "slivers"};
  return names[static_cast<int>(s)];
}

// A shape centred at (cx, cy) with radius up to r, n vertices, drawn from rng.
inline Pts RandomShape(Shape shape, std::mt19937& rng, int n, float cx, float cy, float r) {
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  Pts pts;
  const double twoPi = 6.283185307179586;
  auto polar = [&](int i, float rx, float ry) {
    const double a = twoPi * i / n;
    return P3{cx + rx * float(std::cos(a)), cy + ry * float(std::sin(a)), 0};
  };
  auto push = [&](P3 p, bool snap) { pts.push_back(snap ? P3{std::round(p.x), std::round(p.y), 0} : p); };
  switch (shape) {
    case Shape::Convex:  // an ellipse, z drawn too
      for (int i = 0; i < n; ++i) push(polar(i, r, r * 0.7f), false), pts.back().z = unit(rng);
      break;
    case Shape::Star:
      for (int i = 0; i < n; ++i) {
        const float rr = r * (i % 2 ? 0.35f + 0.3f * unit(rng) : 0.8f + 0.2f * unit(rng));
        push(polar(i, rr, rr), false);
      }
      break;
    case Shape::Collinear: {
      // A rectangle and a slanted side, each split into runs of collinear
      // points, some of them on integer positions.
      const float x0 = std::floor(cx - r), x1 = std::floor(cx + r), y0 = std::floor(cy - r), y1 = std::floor(cy + r);
      const int k = n / 4 > 2 ? n / 4 : 2;
      for (int i = 0; i < k; ++i) pts.push_back({x0 + (x1 - x0) * i / k, y0, 0});
      for (int i = 0; i < k; ++i) pts.push_back({x1, y0 + (y1 - y0) * i / k, 0});
      for (int i = 0; i < k; ++i) pts.push_back({x1 - (x1 - x0) * i / k, y1 - (y1 - y0) * 0.5f * i / k, 0});
      for (int i = 0; i < k; ++i) pts.push_back({x0, y1 - (y1 - y0) * 0.5f - (y1 - y0) * 0.5f * i / k, 0});
      break;
    }
    case Shape::PixelCentres:  // star-like, every vertex on a pixel centre
      for (int i = 0; i < n; ++i) {
        const float rr = r * (0.3f + 0.7f * unit(rng));
        push(polar(i, rr, rr), true);
      }
      break;
    case Shape::Slivers:
      // Nearly vertical edges a hair beside integer columns and nearly
      // horizontal ones a hair beside integer rows: crossing thresholds fall
      // right next to pixel positions.
      for (int i = 0; i < n; ++i) {
        const float hair = (i % 3 - 1) * 1e-4f;
        const float rr = r * (0.4f + 0.6f * unit(rng));
        const P3 p = polar(i, rr, rr);
        const float x = std::round(p.x), y = std::round(p.y);
        pts.push_back({i % 2 ? x + hair : x, i % 2 ? y : y + hair, 0});
        pts.push_back({i % 2 ? x - hair : x + 3, i % 2 ? y + 5 : y - hair, 0});
      }
      break;
    case Shape::Wild:  // self-intersecting: random vertices in the square
      for (int i = 0; i < n; ++i) pts.push_back({cx + r * (2 * unit(rng) - 1), cy + r * (2 * unit(rng) - 1), 0});
      break;
  }
  return pts;
}

// The crossing rule written out plainly: cast a ray from (x, y) toward +y
// and count the edges it crosses, with the half-open straddle convention.
inline bool NaiveInside(const Pts& p, float x, float y) {
  const int n = static_cast<int>(p.size());
  if (n < 3) return false;
  float minX = p[0].x, maxX = p[0].x, minY = p[0].y, maxY = p[0].y;
  for (const P3& q : p) {
    minX = std::fmin(minX, q.x), maxX = std::fmax(maxX, q.x);
    minY = std::fmin(minY, q.y), maxY = std::fmax(maxY, q.y);
  }
  if (x < minX || x > maxX || y < minY || y > maxY) return false;
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
