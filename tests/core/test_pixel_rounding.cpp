#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <random>

#include "core/pixel_rounding.h"

using relief::detail::ClampedPixelOf;
using relief::detail::PixelOf;

namespace {

// The rule spelled out the slow way: round half up by adding 0.5 in double,
// drop the fraction toward zero, then clamp; what no int can hold (NaN,
// infinities, |v| beyond the int range) is the processor's INT_MIN.
long long NaivePixel(double v) {
  const double r = v + 0.5;
  if (std::isnan(r) || r <= -2147483649.0 || r >= 2147483648.0) return INT_MIN;
  return static_cast<long long>(std::trunc(r));
}

testing::AssertionResult SameAsNaive(double v, int size) {
  const long long got = ClampedPixelOf(v, size), want = std::max(0LL, std::min(NaivePixel(v), size - 1LL));
  if (got == want) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "ClampedPixelOf(" << v << ", " << size << ") = " << got << ", want " << want;
}

}  // namespace

// Contours, refinement lookups and the triangulation's scan conversion all
// round through these. The seeded floats cover both sides of every half-way
// point; the rows pin what no int holds, far values and tiny sizes.
TEST(PixelRounding, EdgeRowsAndSeededFloatsFollowTheRule) {
  const float kInf = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();
  const struct {
    double v;
    int size, expected;
  } rows[] = {{-7.3, 7, 0}, {1e9, 7, 6},   {3.0, 0, 0},  {3.0, 1, 0}, {2147483647.0, 5, 4}, {2147483648.0, 5, 0},
              {kInf, 5, 0}, {-kInf, 5, 0}, {kNaN, 5, 0}, {0.5, 7, 1}, {6.5, 7, 6}};
  for (const auto& r : rows) {
    EXPECT_EQ(ClampedPixelOf(r.v, r.size), r.expected) << "v = " << r.v << ", size " << r.size;
    EXPECT_TRUE(SameAsNaive(r.v, r.size));
  }
  EXPECT_EQ(PixelOf(-1.5), -1);
  EXPECT_EQ(PixelOf(kNaN), INT_MIN);
  const unsigned seed = 20261125;
  std::mt19937 rng(seed);
  for (int size : {1, 2, 3, 5, 7, 17, 31, 129}) {
    std::uniform_real_distribution<float> coordinate(-3.0f, size + 3.0f);
    for (int i = 0; i < 2000; ++i) ASSERT_TRUE(SameAsNaive(coordinate(rng), size)) << "seed " << seed;
    for (int k = -2; k <= size + 2; ++k) {  // both sides of every half-way point
      const float half = static_cast<float>(k) - 0.5f;
      for (float v : {std::nextafter(half, -1e9f), half, std::nextafter(half, 1e9f)}) ASSERT_TRUE(SameAsNaive(v, size));
    }
  }
}
