// Small triangulations scan plainly by default; the triangles, and what later
// insertions make of them, must be those of the search structures.
#include <gtest/gtest.h>

#include <string>

#include "tests/triangulation/delaunay_predicates.h"
#include "tests/triangulation/delaunay_test_support.h"

namespace {

using namespace delaunay_test;

TEST(DelaunaySmall, DefaultSwitchGivesTheTrianglesOfTheSearchStructures) {
  for (const bool box : {false, true})
    for (const int n : {3, 4, 17, 150, 199, 200, 260})
      for (const unsigned seed : {1u, 2u}) {
        SCOPED_TRACE(std::string(box ? "box" : "first-three") + " start, n " + std::to_string(n) + ", seed " +
                     std::to_string(seed));
        const std::vector<Pt> pts = MakeCloud(Cloud::kUniform, n, seed);
        TaCIncrementalDelaunay2D byDefault, indexed;
        Load(byDefault, pts);
        byDefault.SetPlainScansBelow(200);
        Load(indexed, pts);
        byDefault.Triangulate(n, false, box);
        indexed.Triangulate(n, false, box);
        EXPECT_FALSE(byDefault.GetReferenceScans());  // switched back
        ASSERT_TRUE(SameRecords(Snapshot(byDefault.GetTriangleList()), Snapshot(indexed.GetTriangleList())));
        // The structures rebuilt after a plain start serve later insertions.
        for (const float xy : {13.5f, 51.25f, 97.0f, -5.0f}) {
          byDefault.InsertVertexIntoTriangulation(xy, 100.0f - xy, false);
          indexed.InsertVertexIntoTriangulation(xy, 100.0f - xy, false);
        }
        ASSERT_TRUE(SameRecords(Snapshot(byDefault.GetTriangleList()), Snapshot(indexed.GetTriangleList())));
      }
}

}  // namespace
