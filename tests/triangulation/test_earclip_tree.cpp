// The ear clipper's edge tree against the plain walk: on every kind of
// polygon the two must clip the same ears in the same order, with the same
// diagonal records, tolerances and degeneracies included.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "relief/CHPolygonTriangulator.h"
#include "relief/CSSE2dPolygon.h"
#include "test_hull_reference.h"

namespace {

using Points = std::vector<std::pair<double, double>>;

Points Star(std::mt19937& rng, int n, double noise) {
  std::uniform_real_distribution<double> u(1.0 - noise, 1.0);
  Points p;
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307179586 * i / n, r = 100 * u(rng);
    p.emplace_back(r * std::cos(a), r * std::sin(a));
  }
  for (int i = 4; i + 1 < n; i += 5)  // collinear runs
    p[i] = {0.5 * (p[i - 1].first + p[i + 1].first), 0.5 * (p[i - 1].second + p[i + 1].second)};
  return p;
}

Points WavyCircle(std::mt19937& rng, int n, double) {
  const int waves = 5 + int(rng() % 40);
  Points p;
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307179586 * i / n, r = 100 * (1 + 0.1 * std::sin(waves * a));
    p.emplace_back(r * std::cos(a), r * std::sin(a));
  }
  return p;
}

// Deep teeth along the bottom of a box: many reflex vertices, long thin ears.
Points Comb(std::mt19937& rng, int n, double) {
  Points p;
  const int teeth = std::max(2, (n - 2) / 2);
  std::uniform_real_distribution<double> depth(5, 95);
  for (int i = 0; i < teeth; ++i) {
    p.emplace_back(i * 2.0, 0.0);
    p.emplace_back(i * 2.0 + 1.0, depth(rng));
  }
  p.emplace_back(teeth * 2.0, 100.0);
  p.emplace_back(-1.0, 100.0);
  return p;
}

// Square whose sides are runs of nearly collinear points a few ulps off the
// line, with repeated and nearly repeated points.
Points RaggedSquare(std::mt19937& rng, int n, double) {
  Points p;
  const int side = std::max(2, n / 4);
  std::uniform_int_distribution<int> ulps(-3, 3);
  auto jitter = [&](double v) {
    float f = float(v);
    for (int k = ulps(rng); k != 0; k += k > 0 ? -1 : 1) f = std::nextafter(f, k > 0 ? 1e9f : -1e9f);
    return double(f);
  };
  const double c[5][2] = {{0, 0}, {50, 0}, {50, 50}, {0, 50}, {0, 0}};
  for (int s = 0; s < 4; ++s)
    for (int i = 0; i < side; ++i) {
      const double t = double(i) / side;
      const double x = c[s][0] + t * (c[s + 1][0] - c[s][0]), y = c[s][1] + t * (c[s + 1][1] - c[s][1]);
      p.emplace_back(jitter(x), jitter(y));
      if (rng() % 17 == 0) p.emplace_back(p.back());  // a repeated point
    }
  return p;
}

std::string Compare(const Points& pts, double dx, double dy, bool mode, bool reverse) {
  CSSE2dPolygon poly;
  const int n = int(pts.size());
  poly.Create(n);
  for (int i = 0; i < n; ++i) {
    const auto& q = pts[reverse ? n - 1 - i : i];
    poly.SetPoint(i, float(q.first + dx), float(q.second + dy));
  }
  CHPolygonTriangulator fast(&poly, 1, 1.0f, 1.0f, mode);
  CHPolygonTriangulator plain(fast);
  plain.Retriangulate(true);
  if (fast.GetNumTriangles() != plain.GetNumTriangles())
    return "triangles " + std::to_string(fast.GetNumTriangles()) + " vs " + std::to_string(plain.GetNumTriangles());
  for (int i = 0; i < fast.GetNumTriangles(); ++i) {
    const int* a = fast.GetConnectivityArray()[i].Vertex;
    const int* b = plain.GetConnectivityArray()[i].Vertex;
    if (a[0] != b[0] || a[1] != b[1] || a[2] != b[2])
      return "triangle " + std::to_string(i) + ": (" + std::to_string(a[0]) + " " + std::to_string(a[1]) + " " +
             std::to_string(a[2]) + ") vs (" + std::to_string(b[0]) + " " + std::to_string(b[1]) + " " +
             std::to_string(b[2]) + ")";
  }
  if (fast.GetNumDiagonals() != plain.GetNumDiagonals()) return "diagonal count";
  for (int i = 0; i < fast.GetNumDiagonals(); ++i) {
    const t_hdiagonal &a = *fast.GetDiagonal(i), &b = *plain.GetDiagonal(i);
    if (a.Exists != b.Exists || a.First != b.First || a.Second != b.Second || a.FirstConvex != b.FirstConvex ||
        a.SecondConvex != b.SecondConvex)
      return "diagonal record " + std::to_string(i);
  }
  return "";
}

TEST(EarClipTree, SameClipsAsTheWalkOnEveryKindOfPolygon) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  struct Shape {
    const char* name;
    std::function<Points(std::mt19937&, int, double)> make;
  };
  const Shape shapes[] = {
      {"noisy star", Star}, {"wavy circle", WavyCircle}, {"comb", Comb}, {"ragged square", RaggedSquare}};
  // Offsets: at the origin, far from it while the tree still answers, and
  // beyond its coordinate bound (the walk answers).
  const double offsets[] = {0.0, 4.0e4, 3.0e5};
  for (const Shape& shape : shapes)
    for (int n : {3, 4, 5, 7, 17, 64, 300, 1500})
      for (double offset : offsets)
        for (int variant = 0; variant < 4; ++variant) {
          const Points pts = shape.make(rng, n, 0.4 + 0.15 * variant);
          const bool reverse = variant == 3;  // clockwise: no ear, an early stop
          ASSERT_EQ(Compare(pts, offset, -offset / 2, variant % 2 == 0, reverse), "")
              << shape.name << ", " << pts.size() << " vertices, offset " << offset << ", variant " << variant;
        }
}

TEST(EarClipTree, TinyAndDegenerateSegmentsReachFarInTheTolerantSense) {
  // A segment of length 1e-4 that is "between"-collinear with points up to
  // 5 units off its line, and vertical and horizontal runs with repeats.
  const Points cases[] = {
      {{0, 0}, {10, 0}, {10, 10}, {5, 10}, {5.0001, 10.00001}, {0, 10}},
      {{0, 0}, {10, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 10}, {0, 5}},
      {{0, 0}, {4, 0.00001}, {8, 0}, {8, 8}, {4, 8.00001}, {0, 8}},
      {{0, 0}, {1, 0}, {1, 1e-4}, {2, 1e-4}, {2, 3}, {0, 3}},
  };
  for (const Points& pts : cases)
    for (bool mode : {false, true}) EXPECT_EQ(Compare(pts, 0, 0, mode, false), "") << pts.size() << " points";
}

TEST(EarClipTree, RetriangulateOnAnEmptyObjectDoesNothing) {
  CSSE2dPolygon two;
  two.Create(2);
  CHPolygonTriangulator t(&two, 1, 1.0f, 1.0f, false);
  t.Retriangulate(true);
  EXPECT_EQ(t.GetNumTriangles(), 0);
  EXPECT_EQ(t.GetVertexArray(), nullptr);
}

}  // namespace
