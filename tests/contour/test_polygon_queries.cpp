// Queries: containment (the crossing rule and its box pre-test against the
// plain rule, the SSE and normalized variants, the point filters built on it),
// nearest-point searches, minimum distances, interpolation and the patch query.

#include "polygon_fixtures.h"

using namespace contour_test;

namespace {

// (Which points of the outline count as inside is the random test's: half
// its queries sit on integer positions, where vertices and edges lie.)
TEST(PolygonContainment, SseAndNormalizedVariants) {
  CSSE3dPolygon sq = Make(Square(0, 0, 10)), empty;
  EXPECT_FALSE(empty.PointInLineInnerArea(0, 0, 1));
  // The SSE variant tests all four lanes (z ignored, w must be 0) and leaves the point alone.
  SSEPoint p = V(5, 5, 1000, 0);
  EXPECT_EQ(std::vector<bool>({sq.PointInLineInnerArea(p, 1), sq.PointInLineInnerArea(Lv(V(5, 5, 0, 1)), 1),
                               sq.PointInLineInnerArea(Lv(V(5, 5, 0, -1)), 1)}),
            std::vector<bool>({true, false, false}));
  EXPECT_TRUE(Same(p, V(5, 5, 1000, 0)));
  // A stale box is recomputed on demand.
  sq.CalcBoundingBox();
  sq.SetPointX(1, 20);
  sq.SetPointX(2, 20);
  EXPECT_TRUE(sq.PointInLineInnerArea(15, 5, 1));
  EXPECT_TRUE(sq.IsBoundingBoxCalculated());
  // The normalized variant tests the normalized arrays, but within the raw box.
  Fill(sq, Square(0, 0, 10));
  t_resolutiondata r{2, 2, 2};
  sq.NormalizeXYZ(r);
  // (9, 9) is inside 0..20 and the raw box, (15, 5) outside the raw box; (1, 1)
  // after the raw point moved: the normalized arrays are not refreshed.
  const bool in9 = sq.PointInLineInnerAreaNormalized(9, 9, 1), in15 = sq.PointInLineInnerAreaNormalized(15, 5, 1);
  sq.SetPoint(0, 5, 5, 0);
  EXPECT_EQ(std::vector<bool>({in9, in15, sq.PointInLineInnerAreaNormalized(1, 1, 1)}),
            std::vector<bool>({true, false, true}));
}

// With step k the polygon of every k-th point and the last one is tested
// (within the full polygon's box, which holds the coarser one's).
TEST(PolygonContainment, MatchesNaiveRuleOnRandomPolygons) {
  const unsigned seed = 4242;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(-2, 42);
  for (Shape shape : kAllShapes)
    for (int n : {3, 4, 5, 6, 7, 8, 12, 31, 257})
      for (int step : {1, 2, 3, 5}) {
        if (step > 1 && n < 12) continue;
        const Pts pts = RandomShape(shape, rng, n, 20, 20, 15);
        CSSE3dPolygon poly = Make(pts);
        Pts coarse;
        for (size_t i = 0; i + step <= pts.size(); i += step) coarse.push_back(pts[i]);
        if (step > 1) coarse.push_back(pts.back());
        for (int q = 0; q < 300; ++q) {
          // Half the queries on integer positions, where vertices and edges sit.
          float x = u(rng), y = u(rng);
          if (q % 2 && step == 1) x = std::round(x), y = std::round(y);
          ASSERT_EQ(poly.PointInLineInnerArea(x, y, step), NaiveInside(coarse, x, y))
              << "seed " << seed << " " << shape << " n " << n << " step " << step << " at " << x << "," << y;
        }
      }
}

TEST(PolygonContainment, PolygonAndPointFilters) {
  CSSE3dPolygon outer = Make(Square(0, 0, 10)), inner = Make(Square(2, 2, 3)), crossing = Make(Square(8, 8, 5)), empty;
  EXPECT_EQ(std::vector<bool>({outer.PolygonInThisPolygon(inner), outer.PolygonInThisPolygon(crossing),
                               inner.PolygonInThisPolygon(outer), outer.PolygonInThisPolygon(empty)}),
            std::vector<bool>({true, false, false, false}));
  CSSE3dPolygon pts = Make({{1, 1, 1}, {20, 1, 2}, {5, 5, 3}, {-1, 5, 4}});
  pts.KeepPointsInInner(outer);
  EXPECT_EQ(Points(pts), (Pts{{1, 1, 1}, {5, 5, 3}}));
  // Below: against the closest reference point, strictly.
  CSSE3dPolygon below = Make({{1, 5, 1}, {1, 12, 2}, {19, 1, 3}, {19, -1, 4}});
  CSSE3dPolygon ref = Make({{0, 10, 0}, {10, 10, 0}, {20, 0, 0}});
  below.KeepPointsBelow(ref);
  EXPECT_EQ(Points(below), (Pts{{1, 5, 1}, {19, -1, 4}}));
}

TEST(PolygonSearch, PlanarSearchesUseStrideTwoAndSkipLast) {
  // The query sits on point 1 (odd) and near point 4 (the last one); neither may win.
  CSSE3dPolygon poly = Make({{0, 0, 0}, {5, 5, 5}, {10, 10, 10}, {20, 20, 20}, {5.1f, 5.1f, 5.1f}});
  CSSE3dPolygon one = Make({{1, 1, 1}}), two = Make({{1, 1, 1}, {2, 2, 2}}), none;
  // |5 - 0| = |5 - 10| in x: the first stays. With two points only point 0 is examined.
  const int got[] = {poly.ClosestPointXY(5, 5), poly.ClosestPointYZ(5, 5), poly.ClosestPointX(5), poly.ClosestPointY(9),
                     one.ClosestPointXY(1, 1),  two.ClosestPointXY(2, 2),  two.ClosestPointX(2)};
  EXPECT_EQ(std::vector<int>(std::begin(got), std::end(got)), std::vector<int>({0, 0, 0, 2, -1, 0, 0}));
  EXPECT_EQ(poly.ClosestPoint(Lv(V(5, 5, 5))), 1);  // the full search sees every point
  EXPECT_EQ(none.ClosestPoint(Lv(V(0, 0))), -1);
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
    CSSE3dPolygon poly = Make(pts);
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

// The planar search's trailing-point rule is in the comparison above; the
// spatial ones ignore the points after the last whole group too (points 4..6).
TEST(PolygonSearch, MinDistanceInterpolationAndPatch) {
  CSSE3dPolygon poly = Make({{10, 0, 0}, {11, 0, 0}, {12, 0, 0}, {13, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}});
  CSSE3dPolygon flat = Make(Pts(4, P3{0, 0, 4}));
  t_resolutiondata r{1, 1, 1};
  poly.NormalizeXYZ(r);
  flat.NormalizeXYZ(r);
  EXPECT_EQ(poly.GetMinEuclDistance(0, 0, 0, 0), 10.0f);
  // Planar up to |z| 0.001; 0.001f is slightly above 0.001 in double: already spatial.
  for (float z : {0.0009f, 0.001f, 0.0011f, 8.0f})
    EXPECT_EQ(flat.GetMinEuclDistanceSpecial(3, 0, z, 0), z < 0.001f ? 3.0f : std::sqrt(9.0f + (z - 4) * (z - 4))) << z;
  Fill(poly, {{0, 0, 10}, {2, 0, 20}, {0, 2, 30}, {5, 5, 40}});
  // Weighted: at (1, 0) distances^2 are 1, 1, 5, 41; the low variant weighs by 1 / distance.
  double sw = 0, swz = 0, lw = 0, lwz = 0;
  for (int i = 0; i < 4; ++i) {
    const double d2 = i < 2 ? 1 : i == 2 ? 5 : 41;
    sw += 1 / d2, swz += 10 * (i + 1) / d2, lw += 1 / std::sqrt(d2), lwz += 10 * (i + 1) / std::sqrt(d2);
  }
  // On a point: its z at once; within sqrt(limit) of point 0, visited first;
  // step 2 visits 0 and 2 (index below 4 - 2 + 1).
  EXPECT_EQ(std::vector<float>({poly.InterpolateZ(2, 0, 1, 0), poly.InterpolateZ(0.5f, 0, 1, 0.3f),
                                poly.InterpolateZ(1, 0, 1, 0), poly.InterpolateZLow(1, 0, 1, 0),
                                poly.InterpolateZ(0, 1.0f, 2, 0)}),
            std::vector<float>({20, 10, float(swz / sw), float(lwz / lw), 20}));
  EXPECT_TRUE(std::isnan(poly.InterpolateZ(0, 0, 5, 0)));  // nothing visited
  // The patch is strict.
  Fill(poly, {{0, 0, 0}, {1, 1, 9}, {2, 1, 0}, {1, 2, 0}, {1.5f, 1.5f, -9}});
  int idx[5] = {-1, -1, -1, -1, -1}, count = 99;
  poly.GetPointsInPatch(Lv(V(2, 2, -100)), Lv(V(0, 0, 100)), idx, count);
  EXPECT_EQ(std::vector<int>({idx[0], idx[1], idx[2], count}), std::vector<int>({1, 4, -1, 2}));
}

}  // namespace
