// Resampling: densification, subsampling, removal of repeated points, noise.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "polygon_fixtures.h"

using namespace contour_test;

namespace {

TEST(PolygonResample, LongEdgeRuleIsPerAxis) {
  struct Case {
    const char* name;
    std::vector<P3> pts;
    float spacing;
    int expect;
  };
  const Case cases[] = {
      // Square of side 3 at spacing 1: every edge long, N = 3 each.
      {"square", Square(0, 0, 3), 1.0f, 4 + 4 * 3},
      // Diagonal step of (0.9, 0.9): Euclidean 1.27 but per axis not long.
      {"diagonal", {{0, 0, 0}, {0.9f, 0.9f, 0}, {0, 0.9f, 0}}, 1.0f, 3},
      // Exactly the spacing is not long (strictly exceeds).
      {"exact", {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}}, 1.0f, 3},
      // 2.5 / 1 gives N = 2 on the long edges (0->1 and 2->0).
      {"triangle", {{0, 0, 0}, {2.5f, 0, 0}, {0, 0.5f, 0}}, 1.0f, 3 + 2 + 2},
  };
  for (const Case& c : cases) {
    CSSE3dPolygon poly;
    Fill(poly, c.pts);
    poly.ReParametrize(c.spacing);
    EXPECT_EQ(poly.GetNumPoints(), c.expect) << c.name;
  }
}

TEST(PolygonResample, PointsAtStepsOfNPlusHalf) {
  CSSE3dPolygon poly;
  Fill(poly, {{0, 0, 0}, {3, 0, 6}, {3, 0.5f, 6}});
  poly.ReParametrizeOpen(1.0f);  // only 0->1 is long: N = 3, steps of 3 / 3.5
  ASSERT_EQ(poly.GetNumPoints(), 6);
  const auto p = Points(poly);
  for (int k = 1; k <= 3; ++k) {
    EXPECT_EQ(p[k].x, static_cast<float>(0 + k * (1.0 / 3.5) * 3.0f)) << k;
    EXPECT_EQ(p[k].z, static_cast<float>(0 + k * (1.0 / 3.5) * 6.0f)) << k;
  }
  EXPECT_EQ(p[4].x, 3.0f);
  EXPECT_EQ(p[5].y, 0.5f);
}

TEST(PolygonResample, OpenOmitsClosingEdge) {
  CSSE3dPolygon closed, open;
  Fill(closed, {{0, 0, 0}, {0.5f, 0, 0}, {10, 0, 0}});
  Fill(open, {{0, 0, 0}, {0.5f, 0, 0}, {10, 0, 0}});
  closed.ReParametrize(1.0f);
  open.ReParametrizeOpen(1.0f);
  EXPECT_EQ(open.GetNumPoints(), 3 + 9);
  EXPECT_EQ(closed.GetNumPoints(), 3 + 9 + 10);
}

TEST(PolygonResample, CappedAt99999Points) {
  CSSE3dPolygon poly;
  Fill(poly, Square(0, 0, 100000));
  poly.ReParametrize(1.0f);
  EXPECT_EQ(poly.GetNumPoints(), 99999);
}

TEST(PolygonResample, BadSpacingDoesNothing) {
  for (float s : {0.0f, -1.0f, NAN}) {
    CSSE3dPolygon poly;
    Fill(poly, Square(0, 0, 10));
    poly.ReParametrize(s);
    EXPECT_EQ(poly.GetNumPoints(), 4);
  }
}

TEST(PolygonResample, Subsample) {
  struct Case {
    int n, step, expect;
  };
  for (const Case& c : {Case{10, 3, 4}, Case{10, 5, 2}, Case{9, 3, 3}, Case{10, 1, 10}, Case{10, 0, 10},
                        Case{3, 5, 1}}) {
    std::vector<P3> pts;
    for (int i = 0; i < c.n; ++i) pts.push_back({float(i), 0, 0});
    CSSE3dPolygon poly;
    Fill(poly, pts);
    poly.Subsample(c.step);
    ASSERT_EQ(poly.GetNumPoints(), c.expect) << c.n << "/" << c.step;
    const auto p = Points(poly);
    const int stride = c.step > 1 ? c.step : 1;
    for (int k = 0; k < c.expect; ++k) EXPECT_EQ(p[k].x, float(k * stride));
  }
}

// Quadratic reference: compare with every point kept so far.
std::vector<P3> NaiveRemoveEqual(const std::vector<P3>& in) {
  std::vector<P3> kept;
  for (const P3& p : in) {
    bool repeated = false;
    for (const P3& k : kept)
      if (std::fabs(p.x - k.x) < 1.0f && std::fabs(p.y - k.y) < 1.0f) repeated = true;
    if (!repeated) kept.push_back(p);
  }
  return kept;
}

TEST(PolygonResample, RemoveEqualPointsMatchesQuadraticReference) {
  const unsigned seed = 777;
  std::mt19937 rng(seed);
  for (int round = 0; round < 40; ++round) {
    std::uniform_real_distribution<float> u(-6, 6);
    std::vector<P3> pts;
    const int n = 5 + round * 3;
    for (int i = 0; i < n; ++i) {
      // Mix of integer and fractional positions, some exactly 1.0 apart.
      float x = u(rng), y = u(rng);
      if (i % 3 == 0) x = std::round(x), y = std::round(y);
      pts.push_back({x, y, float(i)});
    }
    CSSE3dPolygon poly;
    Fill(poly, pts);
    poly.RemoveEqualPointsXY();
    const auto want = NaiveRemoveEqual(pts);
    const auto got = Points(poly);
    ASSERT_EQ(got.size(), want.size()) << "seed " << seed << " round " << round;
    for (size_t i = 0; i < got.size(); ++i) EXPECT_EQ(got[i].z, want[i].z) << "seed " << seed << " round " << round;
  }
}

TEST(PolygonResample, RemoveEqualEdgeCases) {
  CSSE3dPolygon poly;
  // Exactly 1.0 apart is not "within"; a non-adjacent repeat is removed too.
  Fill(poly, {{0, 0, 0}, {1, 0, 1}, {0.5f, 0.99f, 2}, {0.2f, 0.2f, 3}, {NAN, 0, 4}, {NAN, 0, 5}});
  poly.RemoveEqualPointsXY();
  const auto p = Points(poly);
  ASSERT_EQ(p.size(), 4u);
  EXPECT_EQ(p[1].z, 1.0f);
  EXPECT_EQ(p[2].z, 4.0f);  // NaN points are never within 1.0 of anything
}

TEST(PolygonResample, NoiseIsReproducibleAndBounded) {
  CSSE3dPolygon a, b;
  std::vector<P3> pts;
  for (int i = 0; i < 50; ++i) pts.push_back({float(i), float(2 * i), 7});
  Fill(a, pts);
  Fill(b, pts);
  std::srand(1);
  a.AddNoiseXY(0.5f);
  std::srand(99);
  b.AddNoiseXY(0.5f);
  const auto pa = Points(a), pb = Points(b);
  bool moved = false;
  for (size_t i = 0; i < pts.size(); ++i) {
    EXPECT_EQ(pa[i].x, pb[i].x);
    EXPECT_EQ(pa[i].y, pb[i].y);
    EXPECT_EQ(pa[i].z, 7.0f);
    EXPECT_LE(std::fabs(pa[i].x - pts[i].x), 0.5f);
    EXPECT_LE(std::fabs(pa[i].y - pts[i].y), 0.5f);
    moved |= pa[i].x != pts[i].x;
  }
  EXPECT_TRUE(moved);
}

}  // namespace
