// The polygon's half-plane cuts, index rotation, hull, z levelling and
// smoothing, fitting to another contour and the remaining resampling members.

#include "polygon_fixtures.h"

using namespace contour_test;

namespace {

TEST(PolygonCuts, TwoSidesOfALineAddUpToTheWhole) {
  for (Shape shape : kAllShapes)
    for (int n : {3, 5, 17, 129})
      for (unsigned seed = 0; seed < 5; ++seed) {
        std::mt19937 rng(seed * 13 + n);
        const Pts src = RandomShape(shape, rng, n, 20, -7, 15);
        std::uniform_real_distribution<float> at(-30, 40);
        const float limit = seed == 0 ? src[0].x : at(rng);  // also a line through a corner
        for (bool alongX : {true, false}) {
          CSSE3dPolygon low = Make(src), high = Make(src);
          if (alongX)
            low.CutAwayAboveX(limit), high.CutAwayBelowX(limit);
          else
            low.CutAwayAboveY(limit), high.CutAwayBelowY(limit);
          const Pts a = Points(low), b = Points(high);
          SCOPED_TRACE(testing::Message() << shape << " n " << n << " seed " << seed << " limit " << limit);
          EXPECT_NEAR(Area(a) + Area(b), Area(src), 1e-4 * (1 + std::fabs(Area(src))));
          for (const P3& p : a) ASSERT_LE(alongX ? p.x : p.y, limit);
          for (const P3& p : b) ASSERT_GE(alongX ? p.x : p.y, limit);
        }
      }
  // A cut beside the polygon keeps all or nothing (in the original order); a
  // NaN limit changes nothing.
  const Pts sq = Square(0, 0, 4);
  CSSE3dPolygon p = Make(sq);
  p.CutAwayBelowY(-1);
  EXPECT_EQ(Points(p), sq);
  p.CutAwayBelowY(std::nanf(""));
  EXPECT_EQ(Points(p), sq);
  p.CutAwayBelowX(5);
  EXPECT_EQ(p.GetNumPoints(), 0);
}

TEST(PolygonShapeOps, RotateHullAndZ) {
  const Pts src = {{0, 0, 1}, {4, 0, 2}, {4, 4, 3}, {2, 1, 4}, {0, 4, std::nanf("")}};
  for (int k : {-1, 0, 3, 5, 11}) {
    CSSE3dPolygon p = Make(src);
    p.RotateIndices(k);
    const Pts out = Points(p);
    for (int j = 0; j < 5; ++j) {
      const P3 &a = out[j], &b = src[((j + k) % 5 + 5) % 5];
      EXPECT_TRUE(relief_test::AllEqual({FIELD(a.x, b.x), FIELD(a.y, b.y)})) << "k " << k << " j " << j;
    }
  }
  // Hull: counter-clockwise from the smallest x, the dent (2, 1) and the
  // collinear and repeated points gone; z from the first of a repeat.
  CSSE3dPolygon h = Make({{4, 0, 2}, {2, 0, 9}, {0, 0, 1}, {4, 4, 3}, {2, 1, 4}, {0, 4, 5}, {0, 0, 8}});
  h.ReplaceByConvexHullXY();
  EXPECT_EQ(Points(h), (Pts{{0, 0, 1}, {4, 0, 2}, {4, 4, 3}, {0, 4, 5}}));
  CSSE3dPolygon line = Make({{3, 3, 0}, {1, 1, 0}, {2, 2, 0}});
  line.ReplaceByConvexHullXY();
  EXPECT_EQ(Points(line), (Pts{{1, 1, 0}, {3, 3, 0}}));
  // z levelling ignores NaN; smoothing is a cyclic moving mean.
  CSSE3dPolygon lo = Make(src), hi = Make(src);
  lo.AdaptToLowestZValue();
  hi.AdaptToHighestZValue();
  for (int i = 0; i < 5; ++i) EXPECT_EQ(std::pair(Points(lo)[i].z, Points(hi)[i].z), std::pair(1.0f, 4.0f)) << i;
  CSSE3dPolygon f = Make({{0, 0, 0}, {1, 0, 3}, {2, 0, 6}, {3, 0, 0}, {4, 0, 3}});
  f.FilterZValues(1);
  const Pts fz = Points(f);
  EXPECT_FLOAT_EQ(fz[0].z, (3 + 0 + 3) / 3.0f);
  EXPECT_FLOAT_EQ(fz[2].z, (3 + 6 + 0) / 3.0f);
  for (int window : {7, 0}) {  // wider than the polygon: the mean everywhere; 0: no change
    f.FilterZValues(window);
    for (const P3& q : Points(f)) EXPECT_NEAR(q.z, 2.4f, 1e-5f);
  }
}

TEST(PolygonShapeOps, FittingToAnotherContour) {
  const Pts circle = [] {
    Pts p;
    for (int i = 0; i < 40; ++i) p.push_back({10 * std::cos(i * 0.15708f), 10 * std::sin(i * 0.15708f), 1});
    return p;
  }();
  Pts square = Square(-20, -20, 40);
  std::reverse(square.begin(), square.end());  // clockwise
  // Moving all the way puts every point on the other outline.
  CSSE3dPolygon m = Make(circle), target = Make(square);
  m.MoveTowardsPolygon(target, 1.0f);
  for (const P3& q : Points(m)) EXPECT_NEAR(std::max(std::fabs(q.x), std::fabs(q.y)), 20, 1e-4) << q;
  CSSE3dPolygon half = Make(circle);
  half.MoveTowardsPolygon(target, 0.5f);
  half.MoveTowardsPolygon(target, std::nanf(""));  // no move
  EXPECT_NEAR(Points(half)[0].x, 15, 1e-5);
  // Adapted: equal counts, equal orientation, other's start nearest ours.
  CSSE3dPolygon a = Make(circle), b = Make(square);
  a.AdaptPolygons(b);
  ASSERT_EQ(a.GetNumPoints(), 40);
  ASSERT_EQ(b.GetNumPoints(), 40);
  EXPECT_GT(Area(Points(a)) * Area(Points(b)), 0);
  // (20, -20) and (20, 20) tie; the first after the reversal wins.
  EXPECT_EQ(Points(b)[0], (P3{20, -20, 0}));
}

TEST(PolygonShapeOps, ResamplingByZAndResorting) {
  CSSE3dPolygon steep = Make({{0, 0, 0}, {0.5f, 0, 10}, {1, 0, 0}}), flat(steep);
  steep.ReParametrizeXYZ(1.0f);  // |dz| 10: N = 10 points on each steep edge; in the plane no edge is long
  flat.ReParametrize(1.0f);
  EXPECT_EQ(std::pair(steep.GetNumPoints(), flat.GetNumPoints()), std::pair(3 + 10 + 10, 3));
  // Shuffled points of a circle come back in contour order (either way round).
  Pts ring;
  for (int i = 0; i < 30; ++i) ring.push_back({std::cos(i * 0.20944f), std::sin(i * 0.20944f), float(i)});
  Pts shuffled = ring;
  std::shuffle(shuffled.begin() + 1, shuffled.end(), std::mt19937(5));
  CSSE3dPolygon r = Make(shuffled);
  r.ResortAndSubsample(1);
  const Pts out = Points(r);
  ASSERT_EQ(out.size(), ring.size());
  for (std::size_t i = 0; i + 1 < out.size(); ++i)
    EXPECT_EQ(std::min((int(out[i + 1].z) - int(out[i].z) + 30) % 30, (int(out[i].z) - int(out[i + 1].z) + 30) % 30),
              1);
  r.ResortAndSubsample(3);
  EXPECT_EQ(r.GetNumPoints(), 10);
}

}  // namespace
