// The triangulator's border, merge, removal, nearest-triangle and flip
// routines: the triangulation stays valid after each, and each is compared
// with a naive reference where one exists.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "delaunay_predicates.h"
#include "delaunay_test_support.h"
#include "relief/CSSE3dPolygon.h"

using namespace delaunay_test;

namespace {

const CDelaunayTriangleList& Current(const TaCIncrementalDelaunay2D& d) {
  return d.IsFinalized() ? d.GetFinalTriangleList() : d.GetTriangleList();
}

testing::AssertionResult Valid(const TaCIncrementalDelaunay2D& d, bool delaunay, bool whole = true) {
  return ValidList(d, Current(d), delaunay, whole);
}

// The same triangles by corner coordinates (whatever the vertex numbering);
// otherwise names the first triangle, in sorted order, that differs.
testing::AssertionResult SameShape(const TaCIncrementalDelaunay2D& actual, const TaCIncrementalDelaunay2D& expected) {
  std::vector<std::array<float, 6>> shapes[2];
  for (int i = 0; i < 2; ++i) {
    const TaCIncrementalDelaunay2D& d = i ? expected : actual;
    for (t_hdelaunaytriangle* t : Current(d)) {
      std::array<std::pair<float, float>, 3> c;
      for (int k = 0; k < 3; ++k) c[k] = {d.GetVertex(t->nVertex[k]).x, d.GetVertex(t->nVertex[k]).y};
      std::sort(c.begin(), c.end());
      shapes[i].push_back({c[0].first, c[0].second, c[1].first, c[1].second, c[2].first, c[2].second});
    }
    std::sort(shapes[i].begin(), shapes[i].end());
  }
  if (shapes[0] == shapes[1]) return testing::AssertionSuccess();
  const auto at = std::mismatch(shapes[0].begin(), shapes[0].end(), shapes[1].begin(), shapes[1].end());
  return testing::AssertionFailure() << shapes[0].size() << " triangles, expected " << shapes[1].size()
                                     << "; first differing triangle "
                                     << testing::PrintToString(at.first == shapes[0].end() ? *at.second : *at.first);
}

double Distance(const TaCIncrementalDelaunay2D& d, const t_hdelaunaytriangle* t, double x, double y) {
  SSEPoint c[3];
  for (int k = 0; k < 3; ++k) c[k] = d.GetVertex(t->nVertex[k]);
  double best = std::numeric_limits<double>::infinity();
  bool inside = true;
  for (int k = 0; k < 3; ++k) {
    const double ax = c[k].x, ay = c[k].y, ex = c[(k + 1) % 3].x - ax, ey = c[(k + 1) % 3].y - ay;
    inside = inside && ex * (y - ay) - ey * (x - ax) >= 0;
    const double u = std::clamp(((x - ax) * ex + (y - ay) * ey) / (ex * ex + ey * ey), 0.0, 1.0);
    best = std::min(best, std::hypot(x - ax - u * ex, y - ay - u * ey));
  }
  return inside ? 0.0 : best;
}

// The walk's answer is as near to (x, y) as the nearest triangle a scan of the list finds.
testing::AssertionResult Nearest(const TaCIncrementalDelaunay2D& d, const t_hdelaunaytriangle* t, float x, float y) {
  if (!t) return testing::AssertionFailure() << "no triangle for (" << x << ", " << y << ")";
  double want = std::numeric_limits<double>::infinity();
  for (t_hdelaunaytriangle* s : Current(d)) want = std::min(want, Distance(d, s, x, y));
  const double got = Distance(d, t, x, y);
  if (got <= want + 1e-9 * (1 + want)) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "query (" << x << ", " << y << "): " << got << " away, a scan finds " << want;
}

// ---- merging ------------------------------------------------------------

// Two triangulations of disjoint point sets, merged into the first or
// combined into a third: valid, Delaunay, and the same triangles as inserting
// every point into one object.
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
      for (Pt& p : all) p.z = 0.5f * p.x;
      const std::vector<Pt> a(all.begin(), all.begin() + c.first), b(all.begin() + c.first, all.end());
      TaCIncrementalDelaunay2D first, second, whole, combined;
      Build(first, a, c.finalFirst, false, -1, 0);
      Build(second, b, c.finalSecond, false, -1, 0);
      Build(whole, all, true, false);
      combined.CombineTriangulations(first, second, true);
      // first is copied, marks and all; the inputs are not touched.
      const int triangles = Current(first).GetCount(), added = first.InsertOtherTriangulation(second, true);
      EXPECT_TRUE(AllEqual({FIELD(triangles, 2 * c.first - 2 - HullSize(a)), FIELD(added, c.second < 3 ? 0 : c.second),
                            FIELD(first.GetNumVertices(), c.first + added), FIELD(combined.IsFinalized(), true)}));
      ASSERT_TRUE(Valid(first, true));
      ASSERT_TRUE(Valid(combined, true));
      EXPECT_TRUE(SameShape(combined, first));
      if (c.second < 3) continue;  // two points are no triangulation: nothing to merge
      EXPECT_TRUE(SameShape(first, whole));
      std::vector<Pt> used;
      for (int v = 0; v < first.GetNumVertices(); ++v) {
        const SSEPoint p = first.GetVertex(v);
        used.push_back({p.x, p.y, 0});
        ASSERT_EQ(p.z, 0.5f * p.x) << "z rides along with vertex " << v;
      }
      // The open sides before and after: the hulls of the first points and of all.
      const CDelaunayEdgeList& after = first.GetEdgeList(TaCIncrementalDelaunay2D::eBorderAfterCombination);
      EXPECT_TRUE(AllEqual(
          {FIELD(first.GetEdgeList(TaCIncrementalDelaunay2D::eBorderBeforeCombination).GetCount(), HullSize(a)),
           FIELD(after.GetCount(), HullSize(used))}));
      for (const t_hdelaunayedge* e : after) ASSERT_EQ(e->nLoop, 0);
    }
}

// Merging an object with itself, with an object without triangles or with
// the same points changes nothing, as does a removal by a polygon that
// misses every triangle (or none); merging into an object without triangles
// copies; one object as both inputs of a third gives its points once.
TEST(DelaunayMembers, MergingAndRemovalOfNothingChangeNothing) {
  const std::vector<Pt> pts = Uniform(60, 11);
  TaCIncrementalDelaunay2D d, empty, copy, twoPoints, same, both;
  Build(d, pts, true, false);
  Build(twoPoints, {{1, 1, 0}, {2, 3, 0}}, true, false);
  Build(same, pts, false, false);
  const auto before = Snapshot(d.GetFinalTriangleList());
  d.CombineTriangulations(d, d, true);
  for (const TaCIncrementalDelaunay2D* other : {&d, &empty, &twoPoints, &same})
    EXPECT_EQ(d.InsertOtherTriangulation(*other, true), 0);
  CSSE3dPolygon far = Polygon({{200, 200, 0}, {300, 200, 0}, {300, 300, 0}}),
                line = Polygon({{0, 0, 0}, {100, 100, 0}});
  for (CSSE3dPolygon* p : {&far, &line, static_cast<CSSE3dPolygon*>(nullptr)})
    EXPECT_EQ(d.RemoveTrianglesInPolygon(p), 0);
  EXPECT_TRUE(AllEqual({FIELD(empty.RemoveTrianglesInPolygon(&far), 0), FIELD(empty.GetTriangulationBorder(), 0),
                        FIELD(empty.NearestTriangle(1, 1, nullptr) == nullptr, true)}));
  EXPECT_TRUE(SameRecords(Snapshot(d.GetFinalTriangleList()), before));
  EXPECT_TRUE(AllEqual({FIELD(d.GetNumVertices(), 60), FIELD(copy.InsertOtherTriangulation(d, true), 60)}));
  ASSERT_TRUE(Valid(copy, true));
  EXPECT_TRUE(SameRecords(Snapshot(copy.GetFinalTriangleList()), before));
  both.CombineTriangulations(d, d, false);
  EXPECT_TRUE(SameShape(both, d));
}

// ---- border -------------------------------------------------------------

// A polygon-bounded start over the polygon's points and points well inside:
// the border is the polygon, counter-clockwise, as one loop, and every
// border edge names the triangle side it lies on.
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
      CSSE3dPolygon poly = Polygon(std::vector<Pt>(pts.begin(), pts.begin() + corners));
      TaCIncrementalDelaunay2D d;
      Load(d, pts);
      d.Triangulate(&poly, d.GetNumVertices(), true);
      ASSERT_TRUE(Valid(d, true));
      std::vector<std::vector<int>> loops;
      ASSERT_EQ(d.GetTriangulationBorder(loops), 1);
      std::vector<int> expected(corners);
      std::iota(expected.begin(), expected.end(), 0);
      std::rotate(loops[0].begin(), std::find(loops[0].begin(), loops[0].end(), 0), loops[0].end());
      EXPECT_EQ(loops[0], expected);
      EXPECT_TRUE(AllEqual({FIELD(d.GetEdgeList(TaCIncrementalDelaunay2D::eOuterBorderEdges).GetCount(), corners),
                            FIELD(d.GetEdgeList(TaCIncrementalDelaunay2D::eHoleBorderEdges).GetCount(), 0)}));
      std::vector<t_hdelaunaytriangle*> byPosition;
      for (t_hdelaunaytriangle* t : d.GetFinalTriangleList()) byPosition.push_back(t);
      for (const t_hdelaunayedge* e : d.GetEdgeList(TaCIncrementalDelaunay2D::eBorderEdges)) {
        const t_hdelaunaytriangle* t = byPosition.at(e->nTriangle);
        ASSERT_TRUE(
            AllEqual({FIELD(t->nVertex[e->nSide], e->nVertex[0]), FIELD(t->nVertex[(e->nSide + 1) % 3], e->nVertex[1]),
                      FIELD(t->pNeighbour[e->nSide] == nullptr, true)}));
      }
      CSSE3dPolygon out, none;
      EXPECT_EQ(d.GetTriangulationBorder(out, 0), 1);
      d.GetTriangulationBorder(none, 1);
      EXPECT_TRUE(AllEqual({FIELD(out.GetNumPoints(), corners), FIELD(none.GetNumPoints(), 0)}));
    }
  }
}

// A hole cut into the middle of the final list gives a second, clockwise
// loop around it; the border then agrees with the third marks. Cut from the
// working list instead, insertion outside the hole's reach goes on: the
// search structures forgot the removed triangles. Either way the cut-out
// triangles are linked among themselves only.
TEST(DelaunayMembers, RemovalInsideMakesAHoleLoop) {
  for (bool final : {true, false}) {
    SCOPED_TRACE(final ? "final list" : "working list");
    TaCIncrementalDelaunay2D d;
    Build(d, Uniform(500, 5), final, false, -1, 20);
    CSSE3dPolygon square = Polygon({{30, 30, 0}, {70, 30, 0}, {70, 70, 0}, {30, 70, 0}});
    // The naive count: every triangle whose centroid the polygon holds.
    int inside = 0;
    for (t_hdelaunaytriangle* t : Current(d)) {
      const SSEPoint a = d.GetVertex(t->nVertex[0]), b = d.GetVertex(t->nVertex[1]), c = d.GetVertex(t->nVertex[2]);
      inside += square.PointInLineInnerArea((a.x + b.x + c.x) / 3.0f, (a.y + b.y + c.y) / 3.0f, 1);
    }
    const int before = Current(d).GetCount();
    d.IsolateTrianglesWithoutNeighbour();
    EXPECT_EQ(d.RemoveTrianglesInPolygon(&square), inside);
    EXPECT_TRUE(
        AllEqual({FIELD(Current(d).GetCount(), before - inside), FIELD(d.GetOtherTriangleList().GetCount(), inside)}));
    ASSERT_TRUE(Valid(d, true, false));
    const auto cut = Positions(d.GetOtherTriangleList());
    for (t_hdelaunaytriangle* t : d.GetOtherTriangleList())
      for (t_hdelaunaytriangle* n : t->pNeighbour) ASSERT_TRUE(!n || cut.count(n)) << "a neighbour outside the cut";
    if (!final) {
      std::mt19937 rng(9);
      std::uniform_real_distribution<float> u(75.0f, 95.0f);
      for (int i = 0; i < 10; ++i) {
        const float x = u(rng);
        d.InsertVertexIntoTriangulation(x, u(rng), false);
      }
      ASSERT_TRUE(Valid(d, true, false));
      continue;
    }
    std::vector<std::vector<int>> loops;
    ASSERT_EQ(d.GetTriangulationBorder(loops), 2);
    const int outer = d.GetEdgeList(TaCIncrementalDelaunay2D::eOuterBorderEdges).GetCount();
    const int hole = d.GetEdgeList(TaCIncrementalDelaunay2D::eHoleBorderEdges).GetCount();
    EXPECT_TRUE(AllEqual({FIELD(hole, d.GetEdgeList(TaCIncrementalDelaunay2D::eRemovalRimEdges).GetCount()),
                          FIELD(outer + hole, d.GetEdgeList(TaCIncrementalDelaunay2D::eBorderEdges).GetCount())}));
    // The third marks, kept up by the removal, equal a fresh computation.
    std::vector<bool> kept;
    for (t_hdelaunaytriangle* t : d.GetFinalTriangleList()) kept.push_back(t->bBorder);
    d.IsolateTrianglesWithoutNeighbour();
    std::size_t i = 0;
    for (t_hdelaunaytriangle* t : d.GetFinalTriangleList()) EXPECT_EQ(kept[i++], t->bBorder);
  }
}

// ---- flips --------------------------------------------------------------

// Refused flips leave everything as it is (the flips themselves are the
// random test's).
TEST(DelaunayMembers, FlipRefusals) {
  // Four points: a convex quadrilateral, split on one diagonal.
  TaCIncrementalDelaunay2D d, reflex;
  Build(d, {{0, 0, 0}, {10, 0, 0}, {11, 9, 0}, {1, 10, 0}}, true, false);
  ASSERT_EQ(d.GetFinalTriangleList().GetCount(), 2);
  t_hdelaunaytriangle* t = d.GetFinalTriangleList().GetHead();
  t_hdelaunaytriangle* n = t->pNeighbour[0] ? t->pNeighbour[0] : t->pNeighbour[1] ? t->pNeighbour[1] : t->pNeighbour[2];
  const auto start = Snapshot(d.GetFinalTriangleList());
  // Refusals leave everything as it is: a hull side, itself, a locked
  // triangle, a polygon border between them.
  t->bLocked = true;
  const bool locked = d.FlipEdge(t, n);
  t->bLocked = false, t->bOutside = true;
  const bool border = d.FlipEdge(n, t);
  t->bOutside = false;
  EXPECT_TRUE(AllEqual({FIELD(d.FlipEdge(t, nullptr), false), FIELD(d.FlipEdge(t, t), false), FIELD(locked, false),
                        FIELD(border, false)}));
  EXPECT_TRUE(SameRecords(Snapshot(d.GetFinalTriangleList()), start));
  EXPECT_EQ(d.GetEdgeList(TaCIncrementalDelaunay2D::eFlippedEdges).GetCount(), 0);
  // A reflex corner: (5, 2) lies inside the triangle of the other three.
  Build(reflex, {{0, 0, 0}, {10, 0, 0}, {5, 10, 0}, {5, 2, 0}}, true, false);
  for (t_hdelaunaytriangle* a : reflex.GetFinalTriangleList())
    for (t_hdelaunaytriangle* b : a->pNeighbour)
      if (b)
        EXPECT_FALSE(reflex.FlipEdge(a, b)) << "flipped at triangle " << Positions(reflex.GetFinalTriangleList())[a];
  ASSERT_TRUE(Valid(reflex, true));
}

// Random flips over a larger triangulation: neighbours, orientation, third
// marks and the search structures stay right; flipping every pair back
// restores Delaunay, and insertion then goes on as usual. The nearest walk
// on the non-Delaunay state stays bounded and finds a triangle as near as a
// scan does, for points inside and outside the hull, from the list's head,
// from a random triangle and from the last answer.
TEST(DelaunayMembers, RandomFlipsKeepTheTriangulationValid) {
  for (bool final : {true, false}) {
    SCOPED_TRACE(final ? "final list" : "working list");
    TaCIncrementalDelaunay2D d;
    Build(d, Uniform(400, 21), final, false, -1, 50);
    d.IsolateTrianglesWithoutNeighbour();
    std::vector<t_hdelaunaytriangle*> all;
    for (t_hdelaunaytriangle* t : Current(d)) all.push_back(t);
    std::mt19937 rng(21);
    std::uniform_int_distribution<std::size_t> pick(0, all.size() - 1);
    int done = 0;
    for (int i = 0; i < 300; ++i) {
      t_hdelaunaytriangle* t = all[pick(rng)];
      t_hdelaunaytriangle* n = t->pNeighbour[rng() % 3];
      // Only pairs that could be flipped back: no thin triangle among them.
      if (n && d.GetOrientation(t) == 1 && d.GetOrientation(n) == 1) done += d.FlipEdge(t, n);
    }
    ASSERT_GT(done, 100);
    ASSERT_TRUE(Valid(d, false));
    std::vector<bool> marks;
    for (t_hdelaunaytriangle* t : Current(d)) marks.push_back(t->bBorder);
    d.IsolateTrianglesWithoutNeighbour();
    std::size_t k = 0;
    for (t_hdelaunaytriangle* t : Current(d)) ASSERT_EQ(marks[k++], t->bBorder);
    std::uniform_real_distribution<float> q(-30.0f, 130.0f);
    t_hdelaunaytriangle* last = nullptr;
    for (int i = 0; i < 200; ++i) {
      const float x = q(rng), y = q(rng);
      for (t_hdelaunaytriangle* start : {static_cast<t_hdelaunaytriangle*>(nullptr), all[rng() % all.size()], last})
        ASSERT_TRUE(Nearest(d, last = d.NearestTriangle(x, y, start), x, y));
    }
    // Undo in reverse order, finding each pair by the diagonal the flip made
    // (a flip back restores the triangles, not which record holds which).
    const CDelaunayEdgeList& diagonals = d.GetEdgeList(TaCIncrementalDelaunay2D::eFlippedEdges);
    ASSERT_EQ(diagonals.GetCount(), done);
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
    for (int i = 0; i < 30; ++i) d.InsertVertexIntoTriangulation(q(rng) * 0.5f + 25, q(rng) * 0.5f + 25, false);
    ASSERT_TRUE(Valid(d, true));
  }
}

}  // namespace
