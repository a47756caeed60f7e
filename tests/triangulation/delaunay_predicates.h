#pragma once

// Test-framework predicates over the Delaunay test support and validator
// (which stay free of the framework for the fuzz target): a list that passes
// the validator and two snapshots that agree, each naming the first triangle
// and field that does not.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "delaunay_test_support.h"
#include "delaunay_validator.h"
#include "predicates.h"

namespace delaunay_test {

using namespace relief_test;

// The list passes the validator, with or without its circle and tiling
// rules (off for a list with triangles cut out), knowing how it started or
// not; otherwise names the first violation.
inline testing::AssertionResult ValidList(const TaCIncrementalDelaunay2D& d, const CDelaunayTriangleList& list,
                                          bool circles = true, bool tiling = true,
                                          delaunay_validator::Options::Start start = {}) {
  delaunay_validator::Options opt;
  opt.checkCircles = circles;
  opt.checkTiling = tiling;
  opt.start = start;
  return NoViolation(delaunay_validator::Validate(d, list, opt));
}

// Two snapshots record for record, naming the first differing triangle and field.
inline testing::AssertionResult SameRecords(const std::vector<Record>& actual, const std::vector<Record>& expected) {
  if (actual.size() != expected.size())
    return testing::AssertionFailure() << actual.size() << " triangles, expected " << expected.size();
  static const char* const kMarks[] = {"kill", "outside", "border", "locked"};
  for (std::size_t i = 0; i < actual.size(); ++i) {
    const Record &a = actual[i], &e = expected[i];
    auto fail = [&](const char* field, int k, double va, double ve) {
      return testing::AssertionFailure() << "triangle " << i << " " << field << "[" << k << "] is " << va
                                         << ", expected " << ve;
    };
    for (int k = 0; k < 3; ++k) {
      if (a.v[k] != e.v[k]) return fail("vertex", k, a.v[k], e.v[k]);
      if (a.n[k] != e.n[k]) return fail("neighbour", k, a.n[k], e.n[k]);
      if (a.circle[k] != e.circle[k]) return fail("circle bits", k, a.circle[k], e.circle[k]);
    }
    for (int k = 0; k < 4; ++k)
      if (a.marks[k] != e.marks[k]) return fail(kMarks[k], k, a.marks[k], e.marks[k]);
  }
  return testing::AssertionSuccess();
}

}  // namespace delaunay_test
