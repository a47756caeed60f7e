// The search structures against the plain scans: the same operations on the
// same points must leave identical lists (corners, circles, marks, neighbour
// positions) and vertex arrays whichever way the searches run, and whether a
// small triangulation starts with plain scans (SetPlainScansBelow) or not.
#include <gtest/gtest.h>

#include <cmath>

#include "delaunay_adversarial.h"
#include "delaunay_predicates.h"
#include "delaunay_test_support.h"
#include "relief/CSSE3dPolygon.h"

using namespace delaunay_test;
using delaunay_adversarial::Kind;

namespace {

std::string Compare(const TaCIncrementalDelaunay2D& plain, const TaCIncrementalDelaunay2D& fast, const char* step) {
  if (plain.GetNumVertices() != fast.GetNumVertices()) return std::string(step) + ": vertex counts differ";
  for (int i = 0; i < plain.GetNumVertices(); ++i)
    if (std::memcmp(plain.GetVertexPtr(i), fast.GetVertexPtr(i), sizeof(SSEPoint)) != 0)
      return std::string(step) + ": vertex " + std::to_string(i) + " differs";
  const CDelaunayTriangleList* lists[2][2] = {{&plain.GetTriangleList(), &plain.GetFinalTriangleList()},
                                              {&fast.GetTriangleList(), &fast.GetFinalTriangleList()}};
  for (int k = 0; k < 2; ++k) {
    const long diff = FirstDifference(Snapshot(*lists[0][k]), Snapshot(*lists[1][k]));
    if (diff >= 0)
      return std::string(step) + (k ? ": final" : ": working") + " list differs at triangle " + std::to_string(diff);
  }
  return "";
}

// A step on both objects, then the comparison.
#define BOTH(call) (plain.call, fast.call)
// The same on a third object whose start scans plainly below 200 points.
#define ALL(call) (plain.call, fast.call, small.call)
#define AGREE(step)                          \
  ASSERT_EQ(Compare(plain, fast, step), ""); \
  ASSERT_EQ(Compare(plain, small, step), "") << "plain start below 200 points"

// The grids hold many near co-circular quadruples whose flips cycle until
// the legalisation's pass limit: the fast path skips whole periods of such a
// cycle and must still leave the plain run's result.
class DelaunayScans : public ::testing::TestWithParam<std::tuple<Kind, bool>> {};

TEST_P(DelaunayScans, FastSearchesMatchThePlainScans) {
  const auto [kind, boxStart] = GetParam();
  // Repeated and collinear corners leave links the validator rejects, on both
  // paths alike: there only the comparison applies.
  CSSEMatrix field, derivative;
  const auto terrain = [](int x, int y) {
    return 20.0f * std::sin(x * 0.05f) * std::cos(y * 0.04f) + 0.01f * ((x * 7 + y * 13) % 17);
  };
  Fill(field, 110, 110, terrain);
  Fill(derivative, 110, 110, terrain);
  CSSE3dPolygon area = Polygon({{5, 5, 0}, {95, 8, 0}, {90, 97, 0}, {8, 92, 0}});
  for (uint32_t seed : {1u, 2u, 3u}) {
    for (int n : {3, 4, 5, 7, 17, 129, 300}) {
      SCOPED_TRACE(std::string(delaunay_adversarial::Name(kind)) + (boxStart ? " box" : " first-three") + ", seed " +
                   std::to_string(seed) + ", n " + std::to_string(n));
      const std::vector<Pt> pts = delaunay_adversarial::Make(kind, n, seed);
      const auto start = boxStart ? delaunay_validator::Options::kBox : delaunay_validator::Options::kFirstThree;
      const bool consistent = kind != Kind::kDegenerate && (boxStart || !DegenerateStart(pts));
      TaCIncrementalDelaunay2D plain, fast, small;
      plain.SetReferenceScans(true);
      Load(plain, pts, 64);
      Load(fast, pts, 64);
      Load(small, pts, 64);
      small.SetPlainScansBelow(200);
      ALL(Triangulate(static_cast<int>(pts.size()), false, boxStart));  // a grid may round n up
      EXPECT_FALSE(small.GetReferenceScans());                          // switched back
      AGREE("triangulate");
      if (consistent) ASSERT_TRUE(ValidList(fast, fast.GetTriangleList(), false, true, start));
      // Single points, inside, outside and on the hull's lines.
      const float extra[][2] = {{50.5f, 50.25f}, {-20, 40}, {140, 140}, {0, 50}, {60, -30}, {33, 33}};
      for (const auto& p : extra) ALL(InsertVertexIntoTriangulation(p[0], p[1], false));
      AGREE("single points");
      ALL(RefineTriangulation(&field, 1.0f, 2, 2.0f));
      AGREE("refine");
      ALL(HighDerivationInsertPoints(&derivative, &field, area, 15, 7, true));
      AGREE("grid points");
      ALL(HighDerivationInsertPoints(&field, 1.0f, false));
      AGREE("centroids");
      if (consistent) ASSERT_TRUE(ValidList(fast, fast.GetTriangleList(), false, true, start));
      // Locks: border triangles never become affected.
      ALL(IsolateTrianglesWithoutNeighbour());
      ALL(IgnoreBorderTriangles());
      for (const auto& p : extra) ALL(InsertVertexIntoTriangulation(p[0] + 0.37f, p[1] - 0.21f, false));
      AGREE("locked");
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, DelaunayScans,
                         ::testing::Combine(::testing::Values(Kind::kUniform, Kind::kClustered, Kind::kCocircularGrid,
                                                              Kind::kNearCollinearRuns, Kind::kDegenerate),
                                            ::testing::Bool()),
                         [](const auto& i) {
                           return std::string(delaunay_adversarial::Name(std::get<0>(i.param))) +
                                  (std::get<1>(i.param) ? "_box" : "_three");
                         });
// Points inside a polygon, started from the polygon's extreme points: the
// outside marks and the lists agree, and marked triangles are really outside.
TEST(DelaunayScansPolygon, PolygonStartMatchesThePlainScans) {
  for (uint32_t seed : {5u, 6u, 7u}) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    // A star-shaped outline with a notch, then random points inside its box.
    std::vector<Pt> pts;
    for (int i = 0; i < 12; ++i) {
      const double a = 2.0 * M_PI * i / 12;
      const float r = (i % 3 == 0) ? 25.0f : 45.0f;
      pts.push_back({50.0f + r * static_cast<float>(std::cos(a)), 50.0f + r * static_cast<float>(std::sin(a)), 0});
    }
    CSSE3dPolygon poly = Polygon(pts);
    const std::vector<Pt> inner = Uniform(400, seed);
    pts.insert(pts.end(), inner.begin(), inner.end());
    TaCIncrementalDelaunay2D plain, fast;
    plain.SetReferenceScans(true);
    Load(plain, pts);
    Load(fast, pts);
    BOTH(Triangulate(&poly, static_cast<int>(pts.size()), true));
    ASSERT_EQ(Compare(plain, fast, "polygon start"), "");
    ASSERT_TRUE(ValidList(fast, fast.GetFinalTriangleList()));
    int outside = 0;
    for (t_hdelaunaytriangle* t : fast.GetFinalTriangleList()) {
      const SSEPoint a = fast.GetVertex(t->nVertex[0]), b = fast.GetVertex(t->nVertex[1]),
                     c = fast.GetVertex(t->nVertex[2]);
      const float cx = (a.x + b.x + c.x) / 3.0f, cy = (a.y + b.y + c.y) / 3.0f;
      EXPECT_EQ(t->bOutside, !poly.PointInLineInnerArea(cx, cy, 1));
      outside += t->bOutside;
    }
    EXPECT_GT(outside, 0);
  }
}

}  // namespace

// A nearly flat start triangle whose circumcentre lies about 2e19 below it:
// its squared radius overflows to infinity, and points far below still pass
// the float test, so the search must keep such circles.
TEST(DelaunayScansDegenerate, OverflowingCircleStillHoldsFarPoints) {
  const std::vector<Pt> pts = {{-1, 0, 0}, {1, 0, 0}, {0, 2.5e-20f, 0}, {0, -1e19f, 0}, {5e18f, -4e18f, 0}};
  TaCIncrementalDelaunay2D plain, fast;
  plain.SetReferenceScans(true);
  Load(plain, pts);
  Load(fast, pts);
  BOTH(Triangulate(3, false, false));
  const t_hdelaunaytriangle* start = fast.GetTriangleList().GetHead();
  ASSERT_TRUE(AllEqual({FIELD(std::isinf(start->fRadiusSqr), true), FIELD(std::isfinite(start->fCenterY), true)}));
  EXPECT_EQ(plain.CalcAffectedTriangles(3), 1);
  EXPECT_EQ(fast.CalcAffectedTriangles(3), 1);
  BOTH(ProcessAffectedTriangles(3));
  BOTH(LegalizeEdges());
  BOTH(AddNewTrianglesToList());
  ASSERT_EQ(Compare(plain, fast, "far point"), "");
  BOTH(InsertVertexIntoTriangulation(4));
  ASSERT_EQ(Compare(plain, fast, "second far point"), "");
}
