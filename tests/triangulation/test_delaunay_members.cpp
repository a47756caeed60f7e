// The triangulator's border, merge, removal, nearest-triangle and flip
// routines: the triangulation stays valid after each, and each is compared
// with a naive reference where one exists.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <vector>

#include "delaunay_predicates.h"
#include "delaunay_test_support.h"
#include "relief/CSSE3dPolygon.h"

using namespace delaunay_test;

namespace {

const CDelaunayTriangleList& Current(const TaCIncrementalDelaunay2D& d) {
  return d.IsFinalized() ? d.GetFinalTriangleList() : d.GetTriangleList();
}

testing::AssertionResult Valid(const TaCIncrementalDelaunay2D& d, bool delaunay) {
  return ValidList(d, Current(d), delaunay ? kDelaunay : CheckOptions{});
}

// Uniform points in [0, 100)^2: in general position for the sizes used here.
std::vector<Pt> Uniform(int n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(0.0f, 100.0f);
  std::vector<Pt> p;
  for (int i = 0; i < n; ++i) {
    const float x = u(rng);
    p.push_back({x, u(rng), 0.5f * x});
  }
  return p;
}

// The triangles as sorted corner-coordinate triples: comparable between
// triangulations that number their vertices differently.
std::multiset<std::vector<float>> Shape(const TaCIncrementalDelaunay2D& d) {
  std::multiset<std::vector<float>> out;
  for (t_hdelaunaytriangle* t : Current(d)) {
    std::vector<std::pair<float, float>> c;
    for (int v : t->nVertex) c.emplace_back(d.GetVertex(v).x, d.GetVertex(v).y);
    std::sort(c.begin(), c.end());
    out.insert({c[0].first, c[0].second, c[1].first, c[1].second, c[2].first, c[2].second});
  }
  return out;
}

// The same triangles by corner coordinates; otherwise names one triangle only one of them holds.
testing::AssertionResult SameShape(const TaCIncrementalDelaunay2D& actual, const TaCIncrementalDelaunay2D& expected) {
  const auto a = Shape(actual), e = Shape(expected);
  for (const auto* pair : {&a, &e}) {
    const auto& other = pair == &a ? e : a;
    for (const std::vector<float>& t : *pair)
      if (other.count(t) != pair->count(t))
        return testing::AssertionFailure()
               << "triangle (" << t[0] << ", " << t[1] << ") (" << t[2] << ", " << t[3] << ") (" << t[4] << ", " << t[5]
               << ") " << (pair == &a ? "not expected" : "missing");
  }
  return testing::AssertionSuccess();
}

std::vector<t_hdelaunaytriangle*> Triangles(const TaCIncrementalDelaunay2D& d) {
  std::vector<t_hdelaunaytriangle*> out;
  for (t_hdelaunaytriangle* t : Current(d)) out.push_back(t);
  return out;
}

double Distance(const TaCIncrementalDelaunay2D& d, const t_hdelaunaytriangle* t, double x, double y) {
  SSEPoint c[3];
  for (int k = 0; k < 3; ++k) c[k] = d.GetVertex(t->nVertex[k]);
  const auto side = [&](int k) {
    const SSEPoint& a = c[k];
    const SSEPoint& b = c[(k + 1) % 3];
    return (static_cast<double>(b.x) - a.x) * (y - a.y) - (static_cast<double>(b.y) - a.y) * (x - a.x);
  };
  if (side(0) >= 0 && side(1) >= 0 && side(2) >= 0) return 0.0;
  double best = std::numeric_limits<double>::infinity();
  for (int k = 0; k < 3; ++k) {
    const double ax = c[k].x, ay = c[k].y, ex = c[(k + 1) % 3].x - ax, ey = c[(k + 1) % 3].y - ay;
    const double u = std::clamp(((x - ax) * ex + (y - ay) * ey) / (ex * ex + ey * ey), 0.0, 1.0);
    best = std::min(best, std::hypot(x - ax - u * ex, y - ay - u * ey));
  }
  return best;
}

double NearestByScan(const TaCIncrementalDelaunay2D& d, double x, double y) {
  double best = std::numeric_limits<double>::infinity();
  for (t_hdelaunaytriangle* t : Current(d)) best = std::min(best, Distance(d, t, x, y));
  return best;
}

void Polygon(CSSE3dPolygon& poly, const std::vector<Pt>& p) {
  poly.Create(static_cast<int>(p.size()));
  for (std::size_t i = 0; i < p.size(); ++i) poly.SetPoint(static_cast<int>(i), p[i].x, p[i].y, p[i].z);
}

// The loop is `expected` up to where it starts; otherwise prints both.
testing::AssertionResult SameCycle(const std::vector<int>& loop, const std::vector<int>& expected) {
  const auto at = std::find(loop.begin(), loop.end(), expected.front());
  std::vector<int> turned(at, loop.end());
  turned.insert(turned.end(), loop.begin(), at);
  if (loop.size() == expected.size() && turned == expected) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "loop " << testing::PrintToString(loop) << ", expected "
                                     << testing::PrintToString(expected);
}

// ---- merging ------------------------------------------------------------

// Two triangulations of disjoint point sets, merged: valid, Delaunay, and the
// same triangles as inserting every point into one object.
TEST(DelaunayMembers, MergingGivesTheTriangulationOfAllPoints) {
  // Box starts are left out: their corner points lie on the box's sides.
  const struct {
    int first, second;
    bool finalFirst, finalSecond;
  } cases[] = {{3, 3, false, false},  {5, 2, true, true},     {17, 31, true, false},
               {129, 7, false, true}, {300, 700, true, true}, {700, 300, false, false}};
  for (const auto& c : cases)
    for (uint32_t seed : {1u, 2u, 3u}) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << c.first << " + " << c.second);
      std::vector<Pt> all = Uniform(c.first + c.second, seed);
      const std::vector<Pt> a(all.begin(), all.begin() + c.first), b(all.begin() + c.first, all.end());
      TaCIncrementalDelaunay2D first, second, whole;
      Build(first, a, c.finalFirst, false, -1, 0);
      Build(second, b, c.finalSecond, false, -1, 0);
      Build(whole, all, true, false);
      const int before = first.GetNumVertices();
      const int added = first.InsertOtherTriangulation(second, true);
      EXPECT_EQ(added, second.GetTriangleList().IsEmpty() && second.GetFinalTriangleList().IsEmpty() ? 0 : c.second);
      EXPECT_EQ(first.GetNumVertices(), before + added);
      ASSERT_TRUE(Valid(first, true));
      if (c.second < 3) continue;  // two points are no triangulation: nothing to merge
      std::vector<Pt> used;
      for (int v = 0; v < first.GetNumVertices(); ++v) used.push_back({first.GetVertex(v).x, first.GetVertex(v).y, 0});
      EXPECT_TRUE(SameShape(first, whole));
      // z rides along with the merged points.
      for (int v = before; v < first.GetNumVertices(); ++v)
        ASSERT_EQ(first.GetVertex(v).z, 0.5f * first.GetVertex(v).x);
      // The open sides before and after: the hulls of the first points and of all.
      const CDelaunayEdgeList& after = first.GetEdgeList(TaCIncrementalDelaunay2D::eBorderAfterCombination);
      EXPECT_EQ(first.GetEdgeList(TaCIncrementalDelaunay2D::eBorderBeforeCombination).GetCount(), HullSize(a));
      EXPECT_EQ(after.GetCount(), HullSize(used));
      for (const t_hdelaunayedge* e : after) ASSERT_EQ(e->nLoop, 0);
    }
}

TEST(DelaunayMembers, CombiningIntoAThirdObjectMatchesMerging) {
  const std::vector<Pt> all = Uniform(400, 7);
  const std::vector<Pt> a(all.begin(), all.begin() + 150), b(all.begin() + 150, all.end());
  TaCIncrementalDelaunay2D first, second, merged, combined;
  Build(first, a, true, false);
  Build(second, b, false, false);
  Build(merged, a, true, false);
  merged.InsertOtherTriangulation(second, true);
  combined.CombineTriangulations(first, second, true);
  ASSERT_TRUE(Valid(combined, true));
  EXPECT_TRUE(combined.IsFinalized());
  EXPECT_TRUE(SameShape(combined, merged));
  // first is copied, marks and all; the inputs are not touched.
  EXPECT_EQ(first.GetFinalTriangleList().GetCount(), 2 * 150 - 2 - HullSize(a));
}

// Merging an object with itself, or with an object without triangles,
// changes nothing; merging into an object without triangles copies.
TEST(DelaunayMembers, MergingDegenerateInputs) {
  const std::vector<Pt> pts = Uniform(60, 11);
  TaCIncrementalDelaunay2D d, empty, copy, twoPoints;
  Build(d, pts, true, false);
  const auto before = Snapshot(d.GetFinalTriangleList());
  EXPECT_EQ(d.InsertOtherTriangulation(d, true), 0);
  d.CombineTriangulations(d, d, true);
  EXPECT_EQ(d.InsertOtherTriangulation(empty, true), 0);
  Build(twoPoints, {{1, 1, 0}, {2, 3, 0}}, true, false);
  EXPECT_EQ(d.InsertOtherTriangulation(twoPoints, true), 0);
  EXPECT_TRUE(SameRecords(Snapshot(d.GetFinalTriangleList()), before));
  EXPECT_EQ(d.GetNumVertices(), 60);

  // The same points again: every one is here already.
  TaCIncrementalDelaunay2D same;
  Build(same, pts, false, false);
  EXPECT_EQ(d.InsertOtherTriangulation(same, true), 0);
  EXPECT_TRUE(SameRecords(Snapshot(d.GetFinalTriangleList()), before));

  EXPECT_EQ(copy.InsertOtherTriangulation(d, true), 60);
  ASSERT_TRUE(Valid(copy, true));
  EXPECT_TRUE(SameRecords(Snapshot(copy.GetFinalTriangleList()), before));
  // One object as both inputs of a third: the points once.
  TaCIncrementalDelaunay2D both;
  both.CombineTriangulations(d, d, false);
  EXPECT_TRUE(SameShape(both, d));
}

// ---- border -------------------------------------------------------------

// A polygon-bounded start over the polygon's points and points well inside:
// the border is the polygon, counter-clockwise, as one loop.
TEST(DelaunayMembers, BorderOfAPolygonBoundedStartIsThePolygon) {
  for (int corners : {4, 5, 7, 17, 31}) {
    for (uint32_t seed : {1u, 2u}) {
      SCOPED_TRACE(testing::Message() << corners << " corners, seed " << seed);
      std::mt19937 rng(seed);
      std::uniform_real_distribution<float> jitter(-0.3f, 0.3f), unit(0.0f, 1.0f);
      std::vector<Pt> pts;
      for (int i = 0; i < corners; ++i) {  // an ellipse: convex, corners not co-circular
        const double a = 2 * M_PI * (i + 0.5 + jitter(rng)) / corners;
        pts.push_back({static_cast<float>(50 + 40 * std::cos(a)), static_cast<float>(50 + 25 * std::sin(a)), 1});
      }
      // Inside points: a point of a random side, drawn 40 % of the way to the
      // corners' mean, which keeps them well inside the convex polygon.
      float mx = 0, my = 0;
      for (int i = 0; i < corners; ++i) mx += pts[i].x / corners, my += pts[i].y / corners;
      for (int i = 0; i < 40; ++i) {
        const Pt& a = pts[rng() % corners];
        const Pt& b = pts[(&a - &pts[0] + 1) % corners];
        const float u = unit(rng), v = 0.2f + 0.6f * unit(rng);
        pts.push_back({mx + v * (a.x + u * (b.x - a.x) - mx), my + v * (a.y + u * (b.y - a.y) - my), 2});
      }
      CSSE3dPolygon poly;
      Polygon(poly, std::vector<Pt>(pts.begin(), pts.begin() + corners));
      TaCIncrementalDelaunay2D d;
      Load(d, pts);
      d.Triangulate(&poly, d.GetNumVertices(), true);
      ASSERT_TRUE(Valid(d, true));
      std::vector<std::vector<int>> loops;
      ASSERT_EQ(d.GetTriangulationBorder(loops), 1);
      std::vector<int> expected(corners);
      for (int i = 0; i < corners; ++i) expected[i] = i;
      EXPECT_TRUE(SameCycle(loops[0], expected));
      EXPECT_EQ(d.GetEdgeList(TaCIncrementalDelaunay2D::eOuterBorderEdges).GetCount(), corners);
      EXPECT_TRUE(d.GetEdgeList(TaCIncrementalDelaunay2D::eHoleBorderEdges).IsEmpty());
      // Every edge names the triangle side it lies on.
      const auto index = Positions(d.GetFinalTriangleList());
      std::vector<t_hdelaunaytriangle*> byPosition(index.size());
      for (const auto& [t, i] : index) byPosition[i] = const_cast<t_hdelaunaytriangle*>(t);
      for (const t_hdelaunayedge* e : d.GetEdgeList(TaCIncrementalDelaunay2D::eBorderEdges)) {
        const t_hdelaunaytriangle* t = byPosition.at(e->nTriangle);
        ASSERT_TRUE(AllEqual(
            {FIELD(t->nVertex[e->nSide], e->nVertex[0]), FIELD(t->nVertex[(e->nSide + 1) % 3], e->nVertex[1])}));
        ASSERT_EQ(t->pNeighbour[e->nSide], nullptr);
      }
      CSSE3dPolygon out;
      EXPECT_EQ(d.GetTriangulationBorder(out, 0), 1);
      ASSERT_EQ(out.GetNumPoints(), corners);
      d.GetTriangulationBorder(out, 1);
      EXPECT_EQ(out.GetNumPoints(), 0);
    }
  }
}

// A hole cut into the middle gives a second, clockwise loop around it; the
// border then agrees with the third marks.
TEST(DelaunayMembers, RemovalInsideMakesAHoleLoop) {
  const std::vector<Pt> pts = Uniform(500, 5);
  TaCIncrementalDelaunay2D d;
  Build(d, pts, true, false);
  CSSE3dPolygon square;
  Polygon(square, {{30, 30, 0}, {70, 30, 0}, {70, 70, 0}, {30, 70, 0}});
  // The naive count: every triangle whose centroid the polygon holds.
  int inside = 0;
  for (t_hdelaunaytriangle* t : d.GetFinalTriangleList()) {
    SSEPoint c[3];
    for (int k = 0; k < 3; ++k) c[k] = d.GetVertex(t->nVertex[k]);
    inside += square.PointInLineInnerArea((c[0].x + c[1].x + c[2].x) / 3.0f, (c[0].y + c[1].y + c[2].y) / 3.0f, 1);
  }
  const int before = d.GetFinalTriangleList().GetCount();
  d.IsolateTrianglesWithoutNeighbour();
  EXPECT_EQ(d.RemoveTrianglesInPolygon(&square), inside);
  EXPECT_EQ(d.GetFinalTriangleList().GetCount(), before - inside);
  EXPECT_EQ(d.GetOtherTriangleList().GetCount(), inside);
  ASSERT_TRUE(Valid(d, true));
  std::vector<std::vector<int>> loops;
  ASSERT_EQ(d.GetTriangulationBorder(loops), 2);
  const auto& outer = d.GetEdgeList(TaCIncrementalDelaunay2D::eOuterBorderEdges);
  const auto& hole = d.GetEdgeList(TaCIncrementalDelaunay2D::eHoleBorderEdges);
  EXPECT_EQ(hole.GetCount(), d.GetEdgeList(TaCIncrementalDelaunay2D::eRemovalRimEdges).GetCount());
  EXPECT_EQ(outer.GetCount() + hole.GetCount(), d.GetEdgeList(TaCIncrementalDelaunay2D::eBorderEdges).GetCount());
  // The third marks, kept up by the removal, equal a fresh computation.
  std::vector<bool> kept;
  for (t_hdelaunaytriangle* t : d.GetFinalTriangleList()) kept.push_back(t->bBorder);
  d.IsolateTrianglesWithoutNeighbour();
  std::size_t i = 0;
  for (t_hdelaunaytriangle* t : d.GetFinalTriangleList()) EXPECT_EQ(kept[i++], t->bBorder);
}

TEST(DelaunayMembers, RemovalThatMissesChangesNothing) {
  TaCIncrementalDelaunay2D d, empty;
  Build(d, Uniform(80, 3), false, false);
  const auto before = Snapshot(d.GetTriangleList());
  CSSE3dPolygon far, line;
  Polygon(far, {{200, 200, 0}, {300, 200, 0}, {300, 300, 0}});
  Polygon(line, {{0, 0, 0}, {100, 100, 0}});
  EXPECT_EQ(d.RemoveTrianglesInPolygon(&far), 0);
  EXPECT_EQ(d.RemoveTrianglesInPolygon(&line), 0);
  EXPECT_EQ(d.RemoveTrianglesInPolygon(nullptr), 0);
  EXPECT_EQ(empty.RemoveTrianglesInPolygon(&far), 0);
  EXPECT_TRUE(SameRecords(Snapshot(d.GetTriangleList()), before));
  EXPECT_EQ(empty.GetTriangulationBorder(), 0);
  EXPECT_EQ(empty.NearestTriangle(1, 1, nullptr), nullptr);
}

// Cut from the working list, then insert outside the hole's reach: the
// search structures forgot the removed triangles.
TEST(DelaunayMembers, RemovalFromTheWorkingListKeepsInsertionWorking) {
  const std::vector<Pt> pts = Uniform(300, 9);
  TaCIncrementalDelaunay2D d;
  Build(d, pts, false, false, -1, 20);
  CSSE3dPolygon corner;
  Polygon(corner, {{-10, -10, 0}, {20, -10, 0}, {-10, 20, 0}});
  ASSERT_GT(d.RemoveTrianglesInPolygon(&corner), 0);
  ASSERT_TRUE(Valid(d, true));
  std::mt19937 rng(9);
  std::uniform_real_distribution<float> u(60.0f, 95.0f);
  for (int i = 0; i < 10; ++i) {
    const float x = u(rng);
    d.InsertVertexIntoTriangulation(x, u(rng), false);
  }
  ASSERT_TRUE(Valid(d, true));
  // The cut-out triangles are linked among themselves only.
  const auto cut = Positions(d.GetOtherTriangleList());
  for (t_hdelaunaytriangle* t : d.GetOtherTriangleList())
    for (t_hdelaunaytriangle* n : t->pNeighbour) ASSERT_TRUE(!n || cut.count(n)) << "a neighbour outside the cut";
}

// ---- nearest triangle ---------------------------------------------------

// Against a scan of all triangles, for points inside and outside the hull,
// from the list's head, from a random triangle and from the last answer.
TEST(DelaunayMembers, NearestTriangleMatchesAScan) {
  for (uint32_t seed : {1u, 2u, 3u, 4u}) {
    for (int n : {3, 5, 17, 129, 1000}) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << n << " points");
      TaCIncrementalDelaunay2D d;
      Build(d, Uniform(n, seed), seed % 2 == 0, false);
      std::vector<t_hdelaunaytriangle*> all = Triangles(d);
      std::mt19937 rng(seed);
      std::uniform_real_distribution<float> q(-30.0f, 130.0f);
      std::uniform_int_distribution<std::size_t> pick(0, all.size() - 1);
      t_hdelaunaytriangle* last = nullptr;
      for (int i = 0; i < 300; ++i) {
        const float x = q(rng), y = q(rng);
        t_hdelaunaytriangle* starts[3] = {nullptr, all[pick(rng)], last};
        for (t_hdelaunaytriangle* start : starts) {
          t_hdelaunaytriangle* t = d.NearestTriangle(x, y, start);
          ASSERT_NE(t, nullptr);
          const double want = NearestByScan(d, x, y), got = Distance(d, t, x, y);
          ASSERT_LE(got, want + 1e-9 * (1 + want)) << "query (" << x << ", " << y << ")";
          last = t;
        }
      }
    }
  }
}

// ---- flips --------------------------------------------------------------

t_hdelaunaytriangle* Across(t_hdelaunaytriangle* t) {
  for (t_hdelaunaytriangle* n : t->pNeighbour)
    if (n) return n;
  return nullptr;
}

TEST(DelaunayMembers, FlipOfAConvexQuadrilateralAndItsRefusals) {
  // Four points: a convex quadrilateral, split on one diagonal.
  TaCIncrementalDelaunay2D d;
  Build(d, {{0, 0, 0}, {10, 0, 0}, {11, 9, 0}, {1, 10, 0}}, true, false);
  ASSERT_EQ(d.GetFinalTriangleList().GetCount(), 2);
  t_hdelaunaytriangle* t = d.GetFinalTriangleList().GetHead();
  t_hdelaunaytriangle* n = Across(t);
  const auto start = Snapshot(d.GetFinalTriangleList());
  ASSERT_TRUE(d.FlipEdge(t, n));
  ASSERT_TRUE(Valid(d, false));
  EXPECT_NE(FirstDifference(Snapshot(d.GetFinalTriangleList()), start), -1);
  ASSERT_EQ(d.GetEdgeList(TaCIncrementalDelaunay2D::eFlippedEdges).GetCount(), 1);
  ASSERT_TRUE(d.FlipEdge(n, t));  // and back: the other diagonal again
  ASSERT_TRUE(Valid(d, true));
  const auto flipped = Snapshot(d.GetFinalTriangleList());

  // Refusals leave everything as it is.
  const auto refused = [&](t_hdelaunaytriangle* a, t_hdelaunaytriangle* b, const char* why) {
    EXPECT_FALSE(d.FlipEdge(a, b)) << why;
    EXPECT_TRUE(SameRecords(Snapshot(d.GetFinalTriangleList()), flipped)) << why;
  };
  refused(t, nullptr, "hull side");
  refused(t, t, "itself");
  t->bLocked = true;
  EXPECT_FALSE(d.FlipEdge(t, n)) << "locked";
  t->bLocked = false;
  t->bOutside = true;
  EXPECT_FALSE(d.FlipEdge(n, t)) << "polygon border between them";
  t->bOutside = false;
  EXPECT_TRUE(SameRecords(Snapshot(d.GetFinalTriangleList()), flipped));

  // A reflex corner: (5, 2) lies inside the triangle of the other three.
  TaCIncrementalDelaunay2D reflex;
  Build(reflex, {{0, 0, 0}, {10, 0, 0}, {5, 10, 0}, {5, 2, 0}}, true, false);
  for (t_hdelaunaytriangle* a : reflex.GetFinalTriangleList())
    for (t_hdelaunaytriangle* b : a->pNeighbour)
      if (b)
        EXPECT_FALSE(reflex.FlipEdge(a, b))
            << "flipped at triangle (" << a->nVertex[0] << ", " << a->nVertex[1] << ", " << a->nVertex[2] << ")";
  ASSERT_TRUE(Valid(reflex, true));
}

// Random flips over a larger triangulation: neighbours, orientation, third
// marks and the search structures stay right; flipping every pair back
// restores Delaunay, and insertion then goes on as usual. The nearest walk
// on the non-Delaunay state stays bounded and right.
TEST(DelaunayMembers, RandomFlipsKeepTheTriangulationValid) {
  for (bool final : {true, false}) {
    SCOPED_TRACE(final ? "final list" : "working list");
    const std::vector<Pt> pts = Uniform(400, 21);
    TaCIncrementalDelaunay2D d;
    Build(d, pts, final, false, -1, 50);
    d.IsolateTrianglesWithoutNeighbour();
    std::vector<t_hdelaunaytriangle*> all = Triangles(d);
    std::mt19937 rng(21);
    std::uniform_int_distribution<std::size_t> pick(0, all.size() - 1);
    std::vector<std::pair<t_hdelaunaytriangle*, t_hdelaunaytriangle*>> done;
    for (int i = 0; i < 300; ++i) {
      t_hdelaunaytriangle* t = all[pick(rng)];
      t_hdelaunaytriangle* n = t->pNeighbour[rng() % 3];
      // Only pairs that could be flipped back: no thin triangle among them.
      if (!n || d.GetOrientation(t) != 1 || d.GetOrientation(n) != 1) continue;
      if (d.FlipEdge(t, n)) done.emplace_back(t, n);
    }
    ASSERT_GT(done.size(), 100u);
    ASSERT_TRUE(Valid(d, false));
    std::vector<bool> marks;
    for (t_hdelaunaytriangle* t : Current(d)) marks.push_back(t->bBorder);
    d.IsolateTrianglesWithoutNeighbour();
    std::size_t k = 0;
    for (t_hdelaunaytriangle* t : Current(d)) ASSERT_EQ(marks[k++], t->bBorder);
    std::uniform_real_distribution<float> q(-10.0f, 110.0f);
    for (int i = 0; i < 200; ++i) {
      const float x = q(rng), y = q(rng);
      t_hdelaunaytriangle* t = d.NearestTriangle(x, y, all[pick(rng)]);
      ASSERT_LE(Distance(d, t, x, y), NearestByScan(d, x, y) + 1e-9);
    }
    // Undo in reverse order, finding each pair by the diagonal the flip made
    // (a flip back restores the triangles, not which record holds which).
    const CDelaunayEdgeList& diagonals = d.GetEdgeList(TaCIncrementalDelaunay2D::eFlippedEdges);
    ASSERT_EQ(diagonals.GetCount(), static_cast<int>(done.size()));
    for (int i = diagonals.GetCount() - 1; i >= 0; --i) {
      const t_hdelaunayedge* e = diagonals.GetAt(i);
      t_hdelaunaytriangle *a = nullptr, *b = nullptr;
      for (t_hdelaunaytriangle* t : Current(d))
        for (int s = 0; s < 3 && !a; ++s)
          if (TaCIncrementalDelaunay2D::EdgesEqual(t->nVertex[s], t->nVertex[(s + 1) % 3], e->nVertex[0],
                                                   e->nVertex[1]))
            a = t, b = t->pNeighbour[s];
      ASSERT_NE(a, nullptr) << "undoing flip " << i;
      ASSERT_TRUE(d.FlipEdge(a, b)) << "undoing flip " << i;
    }
    ASSERT_TRUE(Valid(d, true));
    for (int i = 0; i < 30; ++i) d.InsertVertexIntoTriangulation(q(rng) * 0.8f + 10, q(rng) * 0.8f + 10, false);
    ASSERT_TRUE(Valid(d, true));
  }
}

}  // namespace
