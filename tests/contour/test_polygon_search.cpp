// Nearest-point searches, minimum distances, interpolation and the patch query.

#include "polygon_fixtures.h"

using namespace contour_test;

namespace {

TEST(PolygonSearch, PlanarSearchesUseStrideTwoAndSkipLast) {
  // The query sits on point 1 (odd) and near point 4 (the last one); neither may win.
  CSSE3dPolygon poly, one, two, none;
  Fill(poly, {{0, 0, 0}, {5, 5, 5}, {10, 10, 10}, {20, 20, 20}, {5.1f, 5.1f, 5.1f}});
  EXPECT_EQ(poly.ClosestPointXY(5, 5), 0);
  EXPECT_EQ(poly.ClosestPointYZ(5, 5), 0);
  EXPECT_EQ(poly.ClosestPointX(5), 0);  // |5 - 0| = |5 - 10|: the first stays
  EXPECT_EQ(poly.ClosestPointY(9), 2);
  EXPECT_EQ(poly.ClosestPoint(Lv(V(5, 5, 5))), 1);  // the full search sees every point
  Fill(one, {{1, 1, 1}});
  Fill(two, {{1, 1, 1}, {2, 2, 2}});
  EXPECT_EQ(one.ClosestPointXY(1, 1), -1);
  EXPECT_EQ(two.ClosestPointXY(2, 2), 0);  // only point 0 is examined
  EXPECT_EQ(two.ClosestPointX(2), 0);
  EXPECT_EQ(none.ClosestPoint(Lv(V(0, 0))), -1);
  EXPECT_EQ(one.ClosestPoint(Lv(V(0, 0))), 0);
  // The query's w counts: far beyond 1e7 every distance exceeds the start value.
  Fill(two, {{0, 0, 0}, {3, 0, 0}});
  EXPECT_EQ(two.ClosestPoint(Lv(V(1, 0))), 0);
  EXPECT_EQ(two.ClosestPoint(Lv(V(1, 0, 0, 2e7f))), -1);
}

// Plain reference: scalar loop over whole groups of four, skipping groups.
float NaiveMinXY(const Pts& pts, float rx, float ry, float x, float y, int skip) {
  float best = 1e6f;
  for (int g = 0; g < static_cast<int>(pts.size()) / 4; g += skip + 1)
    for (int k = 0; k < 4; ++k) {
      const P3& p = pts[4 * g + k];
      const float dx = x - p.x * rx, dy = y - p.y * ry;
      best = std::fmin(best, std::sqrt(dx * dx + dy * dy));
    }
  return best;
}

TEST(PolygonSearch, MinDistancesOverWholeGroupsRandom) {
  const unsigned seed = 20261121;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(-50, 50);
  auto check = [&](const Pts& pts, float x, float y, int skip) {
    CSSE3dPolygon poly;
    Fill(poly, pts);
    t_resolutiondata r{0.5f, 0.25f, 2.0f};
    poly.NormalizeXYZ(r);
    EXPECT_EQ(poly.GetMinEuclDistanceXY(x, y, skip), NaiveMinXY(pts, r.x, r.y, x, y, skip))
        << "seed " << seed << " n " << pts.size() << " skip " << skip;
  };
  for (int n : {1, 3, 4, 5, 7, 8, 15, 16, 17, 31}) {
    Pts pts;
    for (int i = 0; i < n; ++i) pts.push_back({u(rng), u(rng), u(rng)});
    for (int skip : {0, 1, 2}) check(pts, u(rng), u(rng), skip);
  }
  // Eight groups, only group 3 close: skip 2 visits 0, 3, 6; skip 1 visits 0, 2, 4, 6.
  Pts groups(32, P3{100, 100, 0});
  for (int k = 0; k < 4; ++k) groups[12 + k] = {1, 0, 0};
  for (int skip : {1, 2}) check(groups, 0, 0, skip);
}

TEST(PolygonSearch, MinDistanceIgnoresTrailingPointsAndSwitchesOnZ) {
  CSSE3dPolygon poly, three, flat;
  t_resolutiondata r{1, 1, 1};
  Fill(poly, {{10, 0, 0}, {11, 0, 0}, {12, 0, 0}, {13, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}});
  poly.NormalizeXYZ(r);
  EXPECT_EQ(poly.GetMinEuclDistanceXY(0, 0, 0), 10.0f);  // points 4..6 never looked at
  EXPECT_EQ(poly.GetMinEuclDistance(0, 0, 0, 0), 10.0f);
  Fill(three, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}});
  three.NormalizeXYZ(r);
  EXPECT_EQ(three.GetMinEuclDistanceXY(0, 0, 0), 1e6f);
  Fill(flat, {{0, 0, 4}, {0, 0, 4}, {0, 0, 4}, {0, 0, 4}});
  flat.NormalizeXYZ(r);
  EXPECT_EQ(flat.GetMinEuclDistanceSpecial(3, 0, 0.0009f, 0), 3.0f);  // planar
  // 0.001f is slightly above 0.001 in double: already spatial.
  for (float z : {0.001f, 0.0011f, 8.0f})
    EXPECT_EQ(flat.GetMinEuclDistanceSpecial(3, 0, z, 0), std::sqrt(9.0f + (z - 4) * (z - 4))) << z;
}

TEST(PolygonSearch, InterpolateZ) {
  CSSE3dPolygon poly;
  Fill(poly, {{0, 0, 10}, {2, 0, 20}, {0, 2, 30}, {5, 5, 40}});
  EXPECT_EQ(poly.InterpolateZ(2, 0, 1, 0), 20.0f);      // on a point: its z at once
  EXPECT_EQ(poly.InterpolateZ(0.5f, 0, 1, 0.3f), 10.0f);  // within sqrt(limit) of point 0, visited first
  // Weighted: at (1, 0) distances^2 are 1, 1, 5, 41; the low variant weighs by 1 / distance.
  const double w[4] = {1, 1, 1.0 / 5, 1.0 / 41}, z[4] = {10, 20, 30, 40};
  double sw = 0, swz = 0, lw = 0, lwz = 0;
  for (int i = 0; i < 4; ++i) {
    const double v = 1.0 / std::sqrt(1.0 / w[i]);
    sw += w[i], swz += w[i] * z[i], lw += v, lwz += v * z[i];
  }
  EXPECT_EQ(poly.InterpolateZ(1, 0, 1, 0), static_cast<float>(swz / sw));
  EXPECT_EQ(poly.InterpolateZLow(1, 0, 1, 0), static_cast<float>(lwz / lw));
  EXPECT_EQ(poly.InterpolateZ(0, 1.0f, 2, 0), 20.0f);  // step 2 visits 0 and 2 (index below 4 - 2 + 1)
  EXPECT_TRUE(std::isnan(poly.InterpolateZ(0, 0, 5, 0)));  // nothing visited
}

TEST(PolygonSearch, PatchIsStrict) {
  CSSE3dPolygon poly;
  Fill(poly, {{0, 0, 0}, {1, 1, 9}, {2, 1, 0}, {1, 2, 0}, {1.5f, 1.5f, -9}});
  int idx[5] = {-1, -1, -1, -1, -1};
  int count = 99;
  poly.GetPointsInPatch(Lv(V(2, 2, -100)), Lv(V(0, 0, 100)), idx, count);
  ASSERT_EQ(count, 2);
  EXPECT_EQ(idx[0], 1);
  EXPECT_EQ(idx[1], 4);
}

}  // namespace
