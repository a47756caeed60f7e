// The complete octree: levels and brick geometry, insertion into the deepest
// containing brick with its Type tag, the entry lists, and the restoration
// queries against a scan of every corner.

#include <memory>
#include <set>
#include <tuple>

#include "mesh_testing.h"
#include "relief/CHOctree.h"
#include "relief/CRestorationOctree.h"

namespace {

using namespace mesh_test;

// A triangle record whose box runs from lo to hi; only the fields the octree reads are set.
struct BoxTriangle {
  SSEPoint lo, hi;
  t_htriangle t{};
  BoxTriangle(SSEPoint l, SSEPoint h, int index) : lo(l), hi(h) {
    t.pMinPoint = &lo, t.pMaxPoint = &hi, t.Index = index, t.Type = -1;
  }
};

// Names the first brick whose wiring or geometry is wrong, or "".
std::string OctreeViolation(const CHOctree& o) {
  int total = 0;
  for (int k = 0; k < o.NumLevels; ++k) {
    total += o.LevelCount[k];
    for (int j = 0; j < o.LevelCount[k]; ++j) {
      const t_hoctreeelement& b = o.Level[k][j];
      if (b.Level != k || b.HalfSize != o.Extent * std::ldexp(1.0f, -(k + 1))) return "level field or half size";
      if (b.MaxCorner.x - b.Center.x != b.HalfSize || b.Center.z - b.MinCorner.z != b.HalfSize) return "corners";
      std::set<std::tuple<bool, bool, bool>> octants;
      for (const t_hoctreeelement* c : b.pChild) {
        if ((c == nullptr) != (k + 1 == o.NumLevels)) return "children only above the deepest level";
        if (!c) continue;
        if (c->pParent != &b) return "parent link";
        if (c->MinCorner.x < b.MinCorner.x || c->MaxCorner.y > b.MaxCorner.y) return "child outside parent";
        octants.insert({c->Center.x > b.Center.x, c->Center.y > b.Center.y, c->Center.z > b.Center.z});
      }
      if (k + 1 < o.NumLevels && octants.size() != 8) return "children not distinct octants";
    }
  }
  return total == o.GetNumBricks() ? "" : "brick count";
}

// Calls f(brick) for every brick of the tree.
template <class F>
void ForEachBrick(CHOctree& o, F f) {
  for (int k = 0; k < o.NumLevels; ++k)
    for (int j = 0; j < o.LevelCount[k]; ++j) f(o.Level[k][j]);
}

TEST(Octree, LevelCountsAndGeometry) {
  // ln extent / ln 2 + 0.5 levels: 3.5, 0.5 (no level, no root), just above 1.414, 2.04, 5.02; w counts too.
  const struct {
    float extent, w;
    int levels, bricks;
  } cases[] = {{8, 0, 3, 73}, {1, 0, 0, 0}, {1.42f, 0, 1, 1}, {2.9f, 0, 2, 9}, {23, 0, 5, 4681}, {1, 8, 3, 73}};
  for (const auto& c : cases) {
    SSEPoint lo = Point(-2, 1, 0), hi = Point(-2 + c.extent, 1 + c.extent / 2, 0.5f, c.w);
    Messages m;
    CHOctree o(hi, lo, 1.0f);
    EXPECT_TRUE(AllEqual({FIELD(o.NumLevels, c.levels), FIELD(o.GetNumBricks(), c.bricks)})) << c.extent;
    EXPECT_TRUE(NoViolation(OctreeViolation(o))) << c.extent;
    EXPECT_EQ(m.texts, std::vector<std::string>{"OctreeCreated"});
    if (c.levels && !c.w)
      EXPECT_TRUE(
          AllEqual({FIELD(o.GetStem()->Center.x, -2 + c.extent / 2), FIELD(o.GetStem()->HalfSize, c.extent / 2)}));
  }
  SSEPoint lo = Point(0, 0, 0), hi = Point(1000, 10, 10);
  EXPECT_THROW(CHOctree(hi, lo, 1.0f), CMemoryException);  // 10.46 levels: refused before allocating
}

class OctreeInsert : public testing::Test {
 protected:
  Messages quiet;
  SSEPoint lo = Point(0, 0, 0), hi = Point(8, 8, 8);
  std::unique_ptr<CHOctree> tree = std::make_unique<CHOctree>(hi, lo, 1.0f);  // 3 levels: edges 8, 4, 2
};

TEST_F(OctreeInsert, LandsInTheDeepestContainingBrickWithItsType) {
  const struct {
    SSEPoint lo, hi;
    int level, type;
    bool minusX; /* filed on the -x side of the root */
  } cases[] = {
      {Point(1, 1, 1), Point(1.5f, 1.5f, 1.5f), 2, 2, true},  // inside one level-2 brick
      {Point(1, 1, 1), Point(3, 3, 3), 1, 4, true},           // crosses a level-2 border
      {Point(3, 3, 3), Point(5, 5, 5), 0, 1, false},          // crosses the centre
      {Point(6, 6, 6), Point(8, 8, 8), 2, 2, false},          // touches the root's MaxCorner
      {Point(0, 0, 0), Point(0, 0, 0), 2, 2, true},           // touches the MinCorner
      {Point(4, 1, 1), Point(4, 1.5f, 1.5f), 2, 2, true},     // on the face x = 4 of child 0 (-x) and
  };                                                          // child 1 (+x): the lower number wins
  for (int i = 0; i < 6; ++i) {
    BoxTriangle t(cases[i].lo, cases[i].hi, 100 + i);
    ASSERT_TRUE(tree->InsertTriangleIntoOctree(&t.t, tree->GetStem(), 2)) << i;
    EXPECT_EQ(t.t.Type, cases[i].type) << i;
    const t_hoctreeelement* found = nullptr;
    ForEachBrick(*tree, [&](t_hoctreeelement& b) {
      if (tree->GetEntryFromOctreeElement(&b, 2, 0) == 100 + i) found = &b;
    });
    ASSERT_NE(found, nullptr) << i;
    EXPECT_TRUE(AllEqual(
        {FIELD(found->Level, cases[i].level), FIELD(!found->Level || (found->Center.x < 4) == cases[i].minusX, true)}))
        << i;
    ForEachBrick(*tree, [&](t_hoctreeelement& b) { tree->RemoveAllEntriesFromOctreeElement(&b); });
  }
}

TEST_F(OctreeInsert, RefusesWhatDoesNotFitAndBadArguments) {
  BoxTriangle outside(Point(7, 7, 7), Point(8.001f, 8, 8), 1), inside(Point(1, 1, 1), Point(2, 2, 2), 2);
  EXPECT_FALSE(tree->InsertTriangleIntoOctree(&outside.t, tree->GetStem(), 0));
  EXPECT_EQ(outside.t.Type, -1);
  EXPECT_TRUE(AllEqual({FIELD(tree->InsertTriangleIntoOctree(&inside.t, tree->GetStem(), 4), false),
                        FIELD(tree->InsertTriangleIntoOctree(&inside.t, tree->GetStem(), -1), false),
                        FIELD(tree->InsertTriangleIntoOctree(nullptr, tree->GetStem(), 0), false),
                        FIELD(tree->InsertTriangleIntoOctree(&inside.t, nullptr, 0), false),
                        FIELD(tree->GetEntryFromOctreeElement(tree->GetStem(), 0, 0), -1),
                        FIELD(tree->GetEntryFromOctreeElement(nullptr, 0, 0), -1)}));
}

TEST_F(OctreeInsert, EntryListsChainBlocksOfNineAndOnlyTheFirstIsRead) {
  // A loose brick's list is walked (also by a tree with levels, which must
  // not take it for one of its own); bricks of a tree remember their last
  // block. All must give the same lists, again after removal.
  t_hoctreeelement loose{};
  CHOctree bare(nullptr, false);
  for (auto [owner, brick] : {std::pair{&bare, &loose},
                              {tree.get(), &loose},
                              {tree.get(), tree->GetStem()},
                              {tree.get(), &tree->Level[2][37]}}) {
    for (int round = 0; round < 2; ++round) {
      for (int e = 0; e < 25; ++e) owner->AppendEntryToOctreeElement(brick, 3, 100 + e);
      std::vector<int> counts;
      for (const t_hoctreeentryblock* b = brick->pEntries[3]; b; b = b->pNext) counts.push_back(b->Count);
      EXPECT_EQ(counts, (std::vector<int>{9, 9, 7}));
      for (int i = -1; i < 25; ++i)
        EXPECT_EQ(owner->GetEntryFromOctreeElement(brick, 3, i), i >= 0 && i < 9 ? 100 + i : -1) << i;
      EXPECT_EQ(owner->GetEntryFromOctreeElement(brick, 0, 0), -1);  // the other lists stay empty
      owner->AppendEntryToOctreeElement(brick, 4, 1), owner->AppendEntryToOctreeElement(nullptr, 0, 1);  // ignored
      owner->RemoveAllEntriesFromOctreeElement(brick);
      for (const t_hoctreeentryblock* head : brick->pEntries) EXPECT_EQ(head, nullptr);
    }
  }
}

TEST(OctreeMesh, EveryTriangleIsFiledOnceAndQueriesMatchAScanOfEveryCorner) {
  Messages quiet;
  // Rings of small triangles around the z axis: radius 3 at z 1, radius 1 at
  // z 6. The cone from the bottom's outer corner to the top's inner corner leans inwards.
  std::vector<Tri> tris;
  for (auto [r, z] : {std::pair{3.0f, 1.0f}, {1.0f, 6.0f}})
    for (int i = 0; i < 24; ++i) {
      const float a = 6.2831853f * i / 24, x = r * std::cos(a), y = r * std::sin(a);
      tris.push_back({Corner{x, y, z, 0}, Corner{x + 0.1f, y, z, 0}, Corner{x, y + 0.1f, z + 0.1f, 0}});
    }
  CHTriangulation m;
  Fill(m, tris);
  SSEPoint lo = Point(-4, -4, 0), hi = Point(4, 4, 8);
  CRestorationOctree o(hi, lo, 1.0f);
  o.CalculateOctreeEntries(&m, 1);
  std::vector<int> seen(m.GetNumTriangles(), 0);
  ForEachBrick(o, [&](t_hoctreeelement& brick) {
    for (const t_hoctreeentryblock* b = brick.pEntries[1]; b; b = b->pNext)
      for (int e = 0; e < b->Count; ++e) {
        const int t = b->Entry[e];
        ++seen[t];
        EXPECT_LE(brick.MinCorner.x, m.MinPointArray[t].x) << "triangle " << t << " sticks out of its brick";
        EXPECT_GE(brick.MaxCorner.z, m.MaxPointArray[t].z) << "triangle " << t << " sticks out of its brick";
      }
  });
  for (int i = 0; i < m.GetNumTriangles(); ++i)
    EXPECT_TRUE(AllEqual({FIELD(seen[i], 1), FIELD(m.Triangles[i].Type == -1, false)})) << "triangle " << i;
  // Ties may be met in another order in the tree, so the heights are checked against every tied corner.
  auto radius = [](const SSEPoint& p) { return float(std::sqrt(double(p.x) * p.x + double(p.y) * p.y)); };
  const SSEPoint *begin = m.EdgeArray, *end = begin + 3 * m.GetNumTriangles();
  float minR = 1e9f, maxR = -1;
  for (const SSEPoint* p = begin; p != end; ++p) minR = std::min(minR, radius(*p)), maxR = std::max(maxR, radius(*p));
  auto someCornerAt = [&](float r, float z) {
    return std::any_of(begin, end, [&](const SSEPoint& p) { return radius(p) == r && p.z == z; });
  };
  o.FindMinRadiusTopTriangulation(&m, 1);
  EXPECT_TRUE(AllEqual({FIELD(o.ResultC, minR), FIELD(someCornerAt(minR, o.ResultA), true)}));
  o.FindMaxRadiusBottomTriangulation(&m, 1);
  EXPECT_TRUE(AllEqual({FIELD(o.ResultD, maxR), FIELD(someCornerAt(maxR, o.ResultB), true)}));
  const float angle = o.CalcApproximateMaxRestorationAngle(&m, 1);
  EXPECT_EQ(angle, std::atan((o.ResultC - o.ResultD) / (o.ResultA - o.ResultB) + 0.0001f) + 0.0875f);
  EXPECT_LT(angle, 0.0f);
}

TEST(OctreeMesh, LowestZEntryReadsOnlyTheRootsChildren) {
  Messages quiet;
  CHTriangulation m;
  // Each triangle crosses a level-1 border inside one octant of the root.
  Fill(m, {Tri{Corner{-3.5f, -3.5f, 0.5f, 0}, Corner{-0.5f, -3.5f, 0.5f, 0}, Corner{-3.5f, -0.5f, 3.0f, 0}},
           Tri{Corner{1.0f, 1.0f, 5.0f, 0}, Corner{3.5f, 1.0f, 5.0f, 0}, Corner{1.0f, 3.5f, 7.5f, 0}}});
  SSEPoint lo = Point(-4, -4, 0), hi = Point(4, 4, 8);
  CRestorationOctree o(hi, lo, 1.0f);
  o.CalculateOctreeEntries(&m, 2), o.FindLowestZEntry(&m, 2);
  EXPECT_TRUE(AllEqual({FIELD(m.Triangles[0].Type, 4 /* level 1 */), FIELD(o.ResultB, 0.5f)}));
  EXPECT_FLOAT_EQ(o.ResultD, 0.5f * std::hypot(7.0f, 7.0f));
}

}  // namespace
