#pragma once

// Seeded adversarial point sets for the Delaunay tests: the inputs on which
// real data broke the triangulation (outlines with dense collinear runs,
// grids, clusters, coordinates far from the origin) in small doses, plain
// uniform points, and outright degenerate ones.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "delaunay_test_support.h"

namespace delaunay_adversarial {

using P = delaunay_test::Pt;

enum class Kind {
  kUniform,            // delaunay_test::Uniform
  kNearCollinearRuns,  // points along a few lines, a hair off them
  kCocircularGrid,     // an integer grid and a regular polygon: many co-circular quadruples
  kUlpPairs,           // every point with a twin one unit in the last place away
  kClustered,          // tight clusters, some points repeated
  kConvexArc,          // a dense convex arc around a few inner points
  kFarFromOrigin,      // uniform points offset to the edge of the documented range
  kCollinearStart,     // the first points on one line
  kOutline,            // a closed outline sampled densely along straight pieces
  // Repeated points, points exactly on one line, points a hair off it
  // (infinite, overflowing and NaN circles) and two far outliers.
  kDegenerate,
};

inline const char* Name(Kind k) {
  static const char* names[] = {"uniform",    "near_collinear_runs", "cocircular_grid", "ulp_pairs", "clustered",
                                "convex_arc", "far_from_origin",     "collinear_start", "outline",   "degenerate"};
  return names[static_cast<int>(k)];
}

inline std::vector<P> Make(Kind kind, int n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(0.0f, 1.0f);
  std::vector<P> p;
  const auto shuffleTail = [&](std::size_t from) { std::shuffle(p.begin() + static_cast<long>(from), p.end(), rng); };
  switch (kind) {
    case Kind::kUniform:
      return delaunay_test::Uniform(n, seed);
    case Kind::kNearCollinearRuns: {
      while (static_cast<int>(p.size()) < n) {
        const float x0 = 100 * u(rng), y0 = 100 * u(rng), a = 6.2831853f * u(rng), step = 0.05f + 2 * u(rng);
        const float off = std::pow(10.0f, -1 - 4 * u(rng));  // 1e-5 .. 1e-1 off the line
        const int run = 5 + static_cast<int>(40 * u(rng));
        for (int i = 0; i < run && static_cast<int>(p.size()) < n; ++i) {
          const float t = step * i, side = (u(rng) - 0.5f) * 2 * off;
          p.push_back({x0 + t * std::cos(a) - side * std::sin(a), y0 + t * std::sin(a) + side * std::cos(a)});
        }
      }
      if (seed & 1) shuffleTail(0);
      break;
    }
    case Kind::kCocircularGrid: {
      const int side = static_cast<int>(std::sqrt(n * 0.7)) + 1;
      for (int i = 0; i < side; ++i)
        for (int j = 0; j < side; ++j) p.push_back({static_cast<float>(i) * (seed % 3 + 1), static_cast<float>(j)});
      const int ring = n - static_cast<int>(p.size());
      const float cx = side * 0.5f, cy = side * 0.5f, r = side * 0.3f;
      for (int i = 0; i < ring; ++i)
        p.push_back({cx + r * static_cast<float>(std::cos(2 * M_PI * i / ring)),
                     cy + r * static_cast<float>(std::sin(2 * M_PI * i / ring))});
      if (seed & 1) shuffleTail(0);  // even seeds keep the grid sorted
      break;
    }
    case Kind::kUlpPairs: {
      while (static_cast<int>(p.size()) < n) {
        const P a{200 * u(rng), 200 * u(rng)};
        p.push_back(a);
        const int k = static_cast<int>(4 * u(rng));
        P b = a;
        if (k & 1)
          b.x = std::nextafter(b.x, (k & 2) ? 1e9f : -1e9f);
        else
          b.y = std::nextafter(b.y, (k & 2) ? 1e9f : -1e9f);
        p.push_back(b);
      }
      p.resize(static_cast<std::size_t>(n));
      break;
    }
    case Kind::kClustered: {
      std::normal_distribution<float> g(0.0f, 0.05f);
      std::vector<P> centre;
      for (int i = 0; i < 6; ++i) centre.push_back({100 * u(rng), 100 * u(rng)});
      for (int i = 0; i < n; ++i) {
        if (i > 0 && u(rng) < 0.05f) {
          p.push_back(p[static_cast<std::size_t>(u(rng) * (p.size() - 1))]);
          continue;
        }
        const P& c = centre[static_cast<std::size_t>(i) % centre.size()];
        p.push_back({c.x + g(rng), c.y + g(rng)});
      }
      break;
    }
    case Kind::kConvexArc: {
      const float r = 500 + 1500 * u(rng), span = 0.05f + 0.5f * u(rng);
      const int inner = n / 10;
      for (int i = 0; i < n - inner; ++i) {
        const double a = span * i / (n - inner);
        p.push_back({static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a))});
      }
      for (int i = 0; i < inner; ++i) {
        const double a = span * u(rng), s = r * (1 - 0.01f * u(rng));
        p.push_back({static_cast<float>(s * std::cos(a)), static_cast<float>(s * std::sin(a))});
      }
      if (seed & 1) shuffleTail(0);
      break;
    }
    case Kind::kFarFromOrigin: {
      const float side = 4 * std::sqrt(static_cast<float>(n));
      const float ox = 2000 - side, oy = 1000;
      for (int i = 0; i < n; ++i) p.push_back({ox + side * u(rng), oy + side * u(rng)});
      break;
    }
    case Kind::kCollinearStart: {
      const int line = std::max(3, n / 8);
      const float slope = (seed % 3) * 0.5f;
      for (int i = 0; i < line; ++i) p.push_back({static_cast<float>(i), 5 + slope * i});
      const float side = 4 * std::sqrt(static_cast<float>(n));
      while (static_cast<int>(p.size()) < n) p.push_back({side * u(rng) - 5, side * u(rng) - 5});
      break;
    }
    case Kind::kOutline: {
      // A star-shaped outline: a few dozen corners joined by straight pieces
      // sampled every unit or so, the samples rounded to float (so nearly,
      // not exactly, collinear), then points inside.
      const int corners = 20 + static_cast<int>(40 * u(rng));
      std::vector<P> c;
      for (int i = 0; i < corners; ++i) {
        const double a = 2 * M_PI * (i + 0.8 * u(rng)) / corners, rad = 300 + 200 * u(rng);
        c.push_back({static_cast<float>(500 + rad * std::cos(a)), static_cast<float>(500 + rad * std::sin(a))});
      }
      const int outline = n * 9 / 10;
      double perimeter = 0;
      for (int i = 0; i < corners; ++i)
        perimeter += std::hypot(c[(i + 1) % corners].x - c[i].x, c[(i + 1) % corners].y - c[i].y);
      for (int i = 0; i < corners; ++i) {
        const P a = c[i], b = c[(i + 1) % corners];
        const int k = std::max(1, static_cast<int>(outline * std::hypot(b.x - a.x, b.y - a.y) / perimeter));
        for (int j = 0; j < k; ++j) {
          const float t = static_cast<float>(j) / k;
          p.push_back({a.x + t * (b.x - a.x), a.y + t * (b.y - a.y)});
        }
      }
      while (static_cast<int>(p.size()) < n) p.push_back({350 + 300 * u(rng), 350 + 300 * u(rng)});
      break;
    }
    case Kind::kDegenerate: {
      std::uniform_int_distribution<int> pick(0, 3), step(0, 400);
      for (int i = 0; i < n; ++i) {
        const int what = pick(rng);
        const float x = 0.25f * static_cast<float>(step(rng)), onLine = 0.25f * x + 10.0f;
        if (what == 0 && !p.empty())
          p.push_back(p[static_cast<std::size_t>(step(rng)) % p.size()]);
        else if (what <= 1)
          p.push_back({x, onLine});
        else if (what == 2)
          p.push_back({x, onLine + 2e-4f * (u(rng) - 0.5f)});
        else
          p.push_back({100 * u(rng), 50 * u(rng)});
      }
      if (n > 8) p.push_back({-1.0e5f, 3.0f}), p.push_back({2.0e5f, 1.0e5f});
      shuffleTail(0);
      break;
    }
  }
  return p;
}

}  // namespace delaunay_adversarial
