#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "relief/CSSEFns.h"

namespace {

__m128 V(float x, float y, float z, float w) { return _mm_setr_ps(x, y, z, w); }

SSEPoint P(__m128 m) {
  SSEPoint p;
  p.m = m;
  return p;
}

void ExpectLanes(__m128 m, float x, float y, float z, float w) {
  const SSEPoint p = P(m);
  EXPECT_EQ(p.x, x);
  EXPECT_EQ(p.y, y);
  EXPECT_EQ(p.z, z);
  EXPECT_EQ(p.w, w);
}

const float kNaN = std::numeric_limits<float>::quiet_NaN();

}  // namespace

TEST(SSEPoint, LanesAreXYZW) {
  const SSEPoint p = P(V(1, 2, 3, 4));
  EXPECT_EQ(p.x, 1);
  EXPECT_EQ(p.y, 2);
  EXPECT_EQ(p.z, 3);
  EXPECT_EQ(p.w, 4);
}

TEST(SSEFns, ScalarQuantitiesUseAllFourLanes) {
  struct Case {
    const char* what;
    float got;
    float expected;
  } cases[] = {
      {"scalarproduct counts w", CSSEFns::scalarproduct(V(1, 2, 3, 4), V(5, 6, 7, 8)), 70},
      {"vectorlen 3-4-5", CSSEFns::vectorlen(V(3, 4, 0, 0)), 5},
      {"vectorlen of w alone", CSSEFns::vectorlen(V(0, 0, 0, 2)), 2},
      {"distance", CSSEFns::euclideandistance(V(1, 1, 1, 0), V(4, 5, 1, 0)), 5},
      {"squared distance sees w", CSSEFns::euclideansqr(V(1, 2, 3, 0), V(1, 2, 3, 3)), 9},
      {"volume of the unit axes", CSSEFns::volume(V(1, 0, 0, 0), V(0, 1, 0, 0), V(0, 0, 1, 0)), 1},
      {"volume left-handed", CSSEFns::volume(V(0, 1, 0, 0), V(1, 0, 0, 0), V(0, 0, 1, 0)), -1},
      {"volume coplanar", CSSEFns::volume(V(1, 0, 0, 0), V(0, 1, 0, 0), V(1, 1, 0, 0)), 0},
  };
  for (const Case& c : cases) EXPECT_EQ(c.got, c.expected) << c.what;
}

TEST(SSEFns, HorizontalSumPairsLaneZeroWithThree) {
  // (1e8 + 1) + (1 - 1e8) rounds to 0; summing in lane order would give 1.
  EXPECT_EQ(CSSEFns::internal_addition_of_m128(V(1e8f, 1, -1e8f, 1)), 0.0f);
  // The same numbers placed so that the pairs cancel exactly.
  EXPECT_EQ(CSSEFns::internal_addition_of_m128(V(1e8f, 1, 1, -1e8f)), 2.0f);
  EXPECT_EQ(CSSEFns::scalarproduct(V(1e8f, 1, -1e8f, 1), V(1, 1, 1, 1)), 0.0f);
}

TEST(SSEFns, MinMaxPickLanesAndFollowTheNaNPairing) {
  float out = 0;
  CSSEFns::min_of_m128(V(3, -2, 7, 1), &out);
  EXPECT_EQ(out, -2);
  CSSEFns::max_of_m128(V(3, -2, 7, 1), &out);
  EXPECT_EQ(out, 7);
  // max(max(y, w), max(x, z)): a NaN in x loses against z, a NaN in z wins.
  CSSEFns::max_of_m128(V(kNaN, 1, 2, 3), &out);
  EXPECT_EQ(out, 3);
  CSSEFns::max_of_m128(V(1, 5, kNaN, 3), &out);
  EXPECT_TRUE(std::isnan(out));
  CSSEFns::min_of_m128(V(kNaN, 1, 2, 3), &out);
  EXPECT_EQ(out, 1);
  CSSEFns::min_of_m128(V(1, 5, kNaN, 3), &out);
  EXPECT_TRUE(std::isnan(out));
}

TEST(SSEFns, CrossProductKeepsOrientationAndClearsW) {
  ExpectLanes(CSSEFns::vectorproduct(V(1, 0, 0, 0), V(0, 1, 0, 0)), 0, 0, 1, 0);
  ExpectLanes(CSSEFns::vectorproduct(V(0, 1, 0, 0), V(1, 0, 0, 0)), 0, 0, -1, 0);
  ExpectLanes(CSSEFns::vectorproduct(V(2, 3, 4, 5), V(5, 6, 7, 9)), 3 * 7 - 4 * 6, 4 * 5 - 2 * 7, 2 * 6 - 3 * 5, 0);
}

TEST(SSEFns, NormalizeDividesEveryLaneAndZeroGivesNaN) {
  ExpectLanes(CSSEFns::normalizevector(V(3, 0, 4, 0)), 0.6f, 0, 0.8f, 0);
  const SSEPoint zero = P(CSSEFns::normalizevector(V(0, 0, 0, 0)));
  EXPECT_TRUE(std::isnan(zero.x) && std::isnan(zero.y) && std::isnan(zero.z) && std::isnan(zero.w));
}

TEST(SSEFns, TransformUsesFourCoefficientsAndReturnsZeroW) {
  t_ssematrix3 m;
  m.row[0] = V(1, 0, 0, 10);  // the fourth coefficient multiplies w
  m.row[1] = V(0, 2, 0, 0);
  m.row[2] = V(1, 1, 1, 0);
  ExpectLanes(CSSEFns::transform(V(1, 2, 3, 1), m), 11, 4, 6, 0);
  ExpectLanes(CSSEFns::transform(V(1, 2, 3, 0), m), 1, 4, 6, 0);
}
