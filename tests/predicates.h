#pragma once

// Predicates shared by every test program. Each returns a
// testing::AssertionResult that names what differs, so a failing check
// never prints a bare "false".

#include <emmintrin.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <initializer_list>

#include "relief/CSSEFns.h"
#include "relief/CSSEMatrix.h"

namespace relief_test {

// One named comparison: the text of the actual expression, its value and the expected value.
struct Field {
  const char* name;
  double actual, expected;
};

// Every field equal (NaN equals NaN); otherwise names the first that is not.
inline testing::AssertionResult AllEqual(std::initializer_list<Field> fields) {
  for (const Field& f : fields)
    if (!(f.actual == f.expected) && !(std::isnan(f.actual) && std::isnan(f.expected)))
      return testing::AssertionFailure() << f.name << " is " << f.actual << ", expected " << f.expected;
  return testing::AssertionSuccess();
}
// FIELD(v.x, 3) names the field by its expression.
#define FIELD(actual, expected) \
  relief_test::Field { #actual, static_cast < double>(actual), static_cast < double>(expected) }

// Bitwise equality of two floats (tells -0 from 0 and NaN payloads apart).
inline testing::AssertionResult SameFloat(float actual, float expected) {
  if (std::memcmp(&actual, &expected, sizeof actual) == 0) return testing::AssertionSuccess();
  return testing::AssertionFailure() << actual << " differs bitwise from " << expected;
}

// Bitwise equality of the four lanes, naming the first differing lane.
inline testing::AssertionResult SamePoint(const SSEPoint& actual, const SSEPoint& expected) {
  const float* a = &actual.x;
  const float* e = &expected.x;
  for (int k = 0; k < 4; ++k)
    if (std::memcmp(a + k, e + k, sizeof(float)) != 0)
      return testing::AssertionFailure() << "lane "
                                         << "xyzw"[k] << " is " << a[k] << ", expected " << e[k] << " (point " << a[0]
                                         << ", " << a[1] << ", " << a[2] << ", " << a[3] << ")";
  return testing::AssertionSuccess();
}

// x and y equal (z and w not compared).
inline testing::AssertionResult SameXY(const SSEPoint& actual, float x, float y) {
  if (actual.x == x && actual.y == y) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "(" << actual.x << ", " << actual.y << "), expected (" << x << ", " << y << ")";
}

// Same sizes and bitwise the same visible points (padding lanes ignored), naming the first differing point.
inline testing::AssertionResult SamePoints(const CSSEMatrix& actual, const CSSEMatrix& expected) {
  if (actual.GetSizeX() != expected.GetSizeX() || actual.GetSizeY() != expected.GetSizeY())
    return testing::AssertionFailure() << "size " << actual.GetSizeX() << "x" << actual.GetSizeY() << ", expected "
                                       << expected.GetSizeX() << "x" << expected.GetSizeY();
  for (int y = 0; y < actual.GetSizeY(); ++y)
    for (int x = 0; x < actual.GetSizeX(); ++x)
      if (!SameFloat(actual.GetPoint(x, y), expected.GetPoint(x, y)))
        return testing::AssertionFailure() << "point (" << x << ", " << y << ") is " << actual.GetPoint(x, y)
                                           << ", expected " << expected.GetPoint(x, y);
  return testing::AssertionSuccess();
}

// A description that is a failure when not empty (the checkers return "" when all is well).
inline testing::AssertionResult NoViolation(const std::string& violation) {
  if (violation.empty()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << violation;
}

}  // namespace relief_test
