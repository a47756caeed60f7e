#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "relief/CSSEFns.h"

static __m128 V(float x, float y, float z, float w) { return _mm_setr_ps(x, y, z, w); }

// The lanes of m read x, y, z, w through SSEPoint's members (NaN matches NaN).
static void ExpectLanes(__m128 m, float x, float y, float z, float w) {
  SSEPoint p;
  p.m = m;
  const float got[] = {p.x, p.y, p.z, p.w}, expected[] = {x, y, z, w};
  for (int i = 0; i < 4; ++i)
    if (!(std::isnan(got[i]) && std::isnan(expected[i]))) EXPECT_EQ(got[i], expected[i]) << "lane " << i;
}

static const float kNaN = std::numeric_limits<float>::quiet_NaN();

// The result of max_of_m128 or min_of_m128.
static float Extreme(void (*f)(__m128, float*), __m128 v) {
  float out;
  f(v, &out);
  return out;
}

TEST(SSEFns, ScalarQuantitiesUseAllFourLanesAndPairTheirSums) {
  const struct {
    const char* what;
    float got, expected;
  } cases[] = {
      {"scalarproduct counts w", CSSEFns::scalarproduct(V(1, 2, 3, 4), V(5, 6, 7, 8)), 70},
      {"vectorlen of w alone", CSSEFns::vectorlen(V(0, 0, 0, 2)), 2},
      {"distance", CSSEFns::euclideandistance(V(1, 1, 1, 0), V(4, 5, 1, 0)), 5},
      {"squared distance sees w", CSSEFns::euclideansqr(V(1, 2, 3, 0), V(1, 2, 3, 3)), 9},
      {"volume of the unit axes", CSSEFns::volume(V(1, 0, 0, 0), V(0, 1, 0, 0), V(0, 0, 1, 0)), 1},
      // (x + w) + (y + z): (1e8 + 1) + (1 - 1e8) rounds to 0, lane order would give 1.
      {"sum pairs lane 0 with 3", CSSEFns::internal_addition_of_m128(V(1e8f, 1, -1e8f, 1)), 0},
      {"scalarproduct pairs alike", CSSEFns::scalarproduct(V(1e8f, 1, -1e8f, 1), V(1, 1, 1, 1)), 0},
      // max(max(y, w), max(x, z)): a NaN in x loses against z, a NaN in z wins.
      {"max with NaN in x", Extreme(CSSEFns::max_of_m128, V(kNaN, 1, 2, 3)), 3},
      {"min with NaN in x", Extreme(CSSEFns::min_of_m128, V(kNaN, 1, 2, 3)), 1},
      {"max with NaN in z", Extreme(CSSEFns::max_of_m128, V(1, 5, kNaN, 3)), kNaN},
      {"min with NaN in z", Extreme(CSSEFns::min_of_m128, V(1, 5, kNaN, 3)), kNaN},
  };
  for (const auto& c : cases)
    if (std::isnan(c.expected))
      EXPECT_TRUE(std::isnan(c.got)) << c.what;
    else
      EXPECT_EQ(c.got, c.expected) << c.what;
}

TEST(SSEFns, VectorResults) {
  ExpectLanes(CSSEFns::vectorproduct(V(2, 3, 4, 5), V(5, 6, 7, 9)), 3 * 7 - 4 * 6, 4 * 5 - 2 * 7, 2 * 6 - 3 * 5, 0);
  ExpectLanes(CSSEFns::normalizevector(V(3, 0, 4, 0)), 0.6f, 0, 0.8f, 0);
  ExpectLanes(CSSEFns::normalizevector(V(0, 0, 0, 0)), kNaN, kNaN, kNaN, kNaN);
  t_ssematrix3 m;  // the fourth coefficient of each row multiplies w; w of the result is 0
  m.row[0] = V(1, 0, 0, 10);
  m.row[1] = V(0, 2, 0, 0);
  m.row[2] = V(1, 1, 1, 0);
  ExpectLanes(CSSEFns::transform(V(1, 2, 3, 1), m), 11, 4, 6, 0);
  ExpectLanes(CSSEFns::transform(V(1, 2, 3, 0), m), 1, 4, 6, 0);
}
