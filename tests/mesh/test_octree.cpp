// The complete octree: levels and brick counts, brick geometry, insertion
// into the deepest containing brick with its Type tag, and the entry lists.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>

#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "mesh_testing.h"
#include "relief/CHOctree.h"
#include "relief/CRestorationOctree.h"
#include "relief/CHTriangulation.h"
#include "relief/CMemoryException.h"
#include "relief/MessageBox.h"

namespace {

SSEPoint Pt(float x, float y, float z) {
  SSEPoint p;
  p.m = _mm_set_ps(0.0f, z, y, x);
  return p;
}

class Messages {
 public:
  Messages() { SetMessageBoxHandler([this](const std::string& t) { texts.push_back(t); }); }
  ~Messages() { SetMessageBoxHandler({}); }
  std::vector<std::string> texts;
};

// A triangle record whose box runs from lo to hi; only the fields the
// octree reads are set.
struct BoxTriangle {
  SSEPoint lo, hi;
  t_htriangle t{};
  BoxTriangle(SSEPoint l, SSEPoint h, int index) : lo(l), hi(h) {
    t.pMinPoint = &lo;
    t.pMaxPoint = &hi;
    t.Index = index;
    t.Type = -1;
  }
};

// Names the first brick whose wiring or geometry is wrong, or "".
std::string OctreeViolation(const CHOctree& o) {
  int total = 0;
  for (int k = 0; k < o.NumLevels; ++k) {
    total += o.LevelCount[k];
    for (int j = 0; j < o.LevelCount[k]; ++j) {
      const t_hoctreeelement& b = o.Level[k][j];
      if (b.Level != k) return "level field";
      if (b.HalfSize != o.Extent * std::ldexp(1.0f, -(k + 1))) return "half size";
      if (b.MaxCorner.x - b.Center.x != b.HalfSize || b.Center.z - b.MinCorner.z != b.HalfSize)
        return "corners";
      std::set<std::tuple<bool, bool, bool>> octants;
      for (int i = 0; i < 8; ++i) {
        const t_hoctreeelement* c = b.pChild[i];
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

struct LevelCase {
  float extent, minBrick;
  int levels, bricks;
};

class OctreeLevels : public testing::TestWithParam<LevelCase> {};

TEST_P(OctreeLevels, CountAndGeometry) {
  const LevelCase c = GetParam();
  SSEPoint lo = Pt(-2, 1, 0), hi = Pt(-2 + c.extent, 1 + c.extent / 2, 0.5f);
  Messages m;
  CHOctree o(hi, lo, c.minBrick);
  EXPECT_EQ(o.NumLevels, c.levels);
  EXPECT_EQ(o.GetNumBricks(), c.bricks);
  EXPECT_EQ(OctreeViolation(o), "");
  EXPECT_EQ(m.texts, std::vector<std::string>{"OctreeCreated"});
  if (c.levels == 0) {
    EXPECT_EQ(o.GetStem(), nullptr);
  } else {
    EXPECT_EQ(o.GetStem()->Center.x, -2 + c.extent / 2);
    EXPECT_EQ(o.GetStem()->HalfSize, c.extent / 2);
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, OctreeLevels,
                         testing::Values(LevelCase{8, 1, 3, 73},          // ln 8 / ln 2 + 0.5 = 3.5
                                         LevelCase{1, 1, 0, 0},           // 0.5: no level, no root
                                         LevelCase{1.42f, 1, 1, 1},       // just above 1.414
                                         LevelCase{2.8f, 1, 1, 1},        // 1.99
                                         LevelCase{2.9f, 1, 2, 9},        // 2.04
                                         LevelCase{16, 1, 4, 585},        // 4.5
                                         LevelCase{23, 1, 5, 4681}));     // 5.02

TEST(Octree, MoreThanEightLevelsThrowBeforeAllocating) {
  SSEPoint lo = Pt(0, 0, 0), hi = Pt(1000, 10, 10);
  Messages m;
  EXPECT_THROW(CHOctree(hi, lo, 1.0f), CMemoryException);  // ln 1000 / ln 2 + 0.5 = 10.46
  EXPECT_TRUE(m.texts.empty());
}

TEST(Octree, WLaneTakesPartInTheExtent) {
  SSEPoint lo = Pt(0, 0, 0), hi = Pt(1, 1, 1);
  hi.w = 8.0f;
  Messages m;
  CHOctree o(hi, lo, 1.0f);
  EXPECT_EQ(o.Extent, 8.0f);
  EXPECT_EQ(o.NumLevels, 3);
}

class OctreeInsert : public testing::Test {
 protected:
  void SetUp() override {
    SSEPoint lo = Pt(0, 0, 0), hi = Pt(8, 8, 8);
    tree = std::make_unique<CHOctree>(hi, lo, 1.0f);  // 3 levels: edges 8, 4, 2
  }
  Messages quiet;
  std::unique_ptr<CHOctree> tree;
};

TEST_F(OctreeInsert, LandsInTheDeepestContainingBrickWithItsType) {
  struct Case {
    SSEPoint lo, hi;
    int level, type;
  };
  const Case cases[] = {
      {Pt(1, 1, 1), Pt(1.5f, 1.5f, 1.5f), 2, 2},   // inside one level-2 brick
      {Pt(1, 1, 1), Pt(3, 3, 3), 1, 4},             // crosses a level-2 border
      {Pt(3, 3, 3), Pt(5, 5, 5), 0, 1},             // crosses the centre
      {Pt(6, 6, 6), Pt(8, 8, 8), 2, 2},             // touches the root's MaxCorner
      {Pt(0, 0, 0), Pt(0, 0, 0), 2, 2},             // touches the MinCorner
  };
  int index = 0;
  for (const Case& c : cases) {
    BoxTriangle t(c.lo, c.hi, 100 + index);
    ASSERT_TRUE(tree->InsertTriangleIntoOctree(&t.t, tree->GetStem(), 2)) << index;
    EXPECT_EQ(t.t.Type, c.type) << index;
    // Find where it went.
    int found = -1;
    for (int k = 0; k < tree->NumLevels; ++k)
      for (int j = 0; j < tree->LevelCount[k]; ++j)
        if (tree->GetEntryFromOctreeElement(&tree->Level[k][j], 2, 0) == 100 + index) found = k;
    EXPECT_EQ(found, c.level) << index;
    for (int k = 0; k < tree->NumLevels; ++k)
      for (int j = 0; j < tree->LevelCount[k]; ++j) tree->RemoveAllEntriesFromOctreeElement(&tree->Level[k][j]);
    ++index;
  }
}

TEST_F(OctreeInsert, FaceBetweenChildrenGoesToTheLowerNumber) {
  // A flat box on the plane x = 4 fits both child 0 (-x) and child 1 (+x).
  BoxTriangle t(Pt(4, 1, 1), Pt(4, 1.5f, 1.5f), 7);
  ASSERT_TRUE(tree->InsertTriangleIntoOctree(&t.t, tree->GetStem(), 0));
  const t_hoctreeelement* child0 = tree->GetStem()->pChild[0];
  EXPECT_LT(child0->Center.x, tree->GetStem()->Center.x);
  bool inChild0Subtree = false;
  for (const t_hoctreeelement* c : child0->pChild)
    inChild0Subtree |= tree->GetEntryFromOctreeElement(const_cast<t_hoctreeelement*>(c), 0, 0) == 7;
  EXPECT_TRUE(inChild0Subtree);
}

TEST_F(OctreeInsert, RefusesWhatDoesNotFitAndBadArguments) {
  BoxTriangle outside(Pt(7, 7, 7), Pt(8.001f, 8, 8), 1);
  EXPECT_FALSE(tree->InsertTriangleIntoOctree(&outside.t, tree->GetStem(), 0));
  EXPECT_EQ(outside.t.Type, -1);
  BoxTriangle inside(Pt(1, 1, 1), Pt(2, 2, 2), 2);
  EXPECT_FALSE(tree->InsertTriangleIntoOctree(&inside.t, tree->GetStem(), 4));
  EXPECT_FALSE(tree->InsertTriangleIntoOctree(&inside.t, tree->GetStem(), -1));
  EXPECT_FALSE(tree->InsertTriangleIntoOctree(nullptr, tree->GetStem(), 0));
  EXPECT_FALSE(tree->InsertTriangleIntoOctree(&inside.t, nullptr, 0));
  EXPECT_EQ(tree->GetEntryFromOctreeElement(nullptr, 0, 0), -1);
  EXPECT_EQ(tree->GetEntryFromOctreeElement(tree->GetStem(), 4, 0), -1);
  EXPECT_EQ(tree->GetEntryFromOctreeElement(tree->GetStem(), 0, 0), -1);
}

TEST_F(OctreeInsert, TreeBricksChainBlocksOfNineAndRefillAfterRemoval) {
  // Bricks of the tree remember their last block; the lists must look
  // exactly like the walked ones.
  for (t_hoctreeelement* brick : {tree->GetStem(), &tree->Level[2][37]}) {
    for (int round = 0; round < 2; ++round) {
      for (int e = 0; e < 25; ++e) tree->AppendEntryToOctreeElement(brick, 3, e);
      std::vector<int> counts;
      for (const t_hoctreeentryblock* b = brick->pEntries[3]; b; b = b->pNext) counts.push_back(b->Count);
      EXPECT_EQ(counts, (std::vector<int>{9, 9, 7}));
      EXPECT_EQ(tree->GetEntryFromOctreeElement(brick, 3, 8), 8);
      tree->RemoveAllEntriesFromOctreeElement(brick);
      EXPECT_EQ(brick->pEntries[3], nullptr);
    }
  }
  // ClearEntry forgets the list too (its blocks are the caller's to free).
  t_hoctreeelement* brick = &tree->Level[1][3];
  tree->AppendEntryToOctreeElement(brick, 0, 1);
  t_hoctreeentryblock* orphan = brick->pEntries[0];
  const int level = brick->Level;
  tree->ClearEntry(*brick);
  brick->Level = level;
  tree->AppendEntryToOctreeElement(brick, 0, 2);
  EXPECT_NE(brick->pEntries[0], orphan);
  EXPECT_EQ(tree->GetEntryFromOctreeElement(brick, 0, 0), 2);
  std::free(orphan);
}

TEST(OctreeTypeTable, TagsByLevel) {
  const int expected[] = {1, 4, 2, 3, 5, 6, 7, 8, 9, 10, 11, -1, 1, 1, 1};
  CHOctree tree(nullptr, false);  // the do-nothing constructor: no levels, no message
  for (int level = 0; level < 15; ++level) {
    t_hoctreeelement brick{};
    brick.Level = level;
    SSEPoint p = Pt(0, 0, 0);
    BoxTriangle t(p, p, level);
    tree.InsertTriangleIntoOctreeElement(&t.t, &brick, 3);
    EXPECT_EQ(t.t.Type, expected[level]) << "level " << level;
    EXPECT_EQ(tree.GetEntryFromOctreeElement(&brick, 3, 0), level);
    tree.RemoveAllEntriesFromOctreeElement(&brick);
  }
}

TEST(OctreeEntries, NinePerBlockAndOnlyTheFirstBlockIsRead) {
  t_hoctreeelement brick{};
  CHOctree tree(nullptr, false);
  for (int e = 0; e < 25; ++e) tree.AppendEntryToOctreeElement(&brick, 1, 100 + e);
  int blocks = 0;
  for (const t_hoctreeentryblock* b = brick.pEntries[1]; b; b = b->pNext) {
    EXPECT_EQ(b->Count, blocks < 2 ? 9 : 7);
    ++blocks;
  }
  EXPECT_EQ(blocks, 3);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(tree.GetEntryFromOctreeElement(&brick, 1, i), 100 + i);
  for (int i : {9, 10, 18, 24, -1}) EXPECT_EQ(tree.GetEntryFromOctreeElement(&brick, 1, i), -1) << i;
  EXPECT_EQ(tree.GetEntryFromOctreeElement(&brick, 0, 0), -1);  // the other lists stay empty
  tree.AppendEntryToOctreeElement(&brick, 4, 1);                 // ignored
  tree.AppendEntryToOctreeElement(nullptr, 0, 1);                // ignored
  tree.RemoveAllEntriesFromOctreeElement(&brick);
  for (const t_hoctreeentryblock* head : brick.pEntries) EXPECT_EQ(head, nullptr);
  tree.AppendEntryToOctreeElement(&brick, 1, 5);  // the list can be filled again
  EXPECT_EQ(tree.GetEntryFromOctreeElement(&brick, 1, 0), 5);
  tree.RemoveAllEntriesFromOctreeElement(&brick);
}

}  // namespace

namespace {

// A ring of small triangles around the z axis at radius r and height z.
std::vector<mesh_test::Tri> Ring(float r, float z, int n) {
  std::vector<mesh_test::Tri> tris;
  for (int i = 0; i < n; ++i) {
    const float a = 6.2831853f * i / n;
    const float x = r * std::cos(a), y = r * std::sin(a);
    tris.push_back({mesh_test::Corner{x, y, z, 0}, mesh_test::Corner{x + 0.1f, y, z, 0},
                    mesh_test::Corner{x, y + 0.1f, z + 0.1f, 0}});
  }
  return tris;
}

TEST(OctreeMesh, EveryTriangleIsFiledOnce) {
  Messages quiet;
  CHTriangulation m;
  auto tris = Ring(3.0f, 1.0f, 40);
  const auto top = Ring(1.0f, 6.0f, 10);
  tris.insert(tris.end(), top.begin(), top.end());
  mesh_test::Fill(m, tris);
  SSEPoint lo = Pt(-4, -4, 0), hi = Pt(4, 4, 8);
  CRestorationOctree o(hi, lo, 1.0f);  // 3 levels
  o.CalculateOctreeEntries(&m, 1);
  std::vector<int> seen(m.GetNumTriangles(), 0);
  for (int k = 0; k < o.NumLevels; ++k)
    for (int j = 0; j < o.LevelCount[k]; ++j)
      for (const t_hoctreeentryblock* b = o.Level[k][j].pEntries[1]; b; b = b->pNext)
        for (int e = 0; e < b->Count; ++e) {
          ++seen[b->Entry[e]];
          // Filed where the box fits.
          const t_hoctreeelement& brick = o.Level[k][j];
          EXPECT_LE(brick.MinCorner.x, m.MinPointArray[b->Entry[e]].x);
          EXPECT_GE(brick.MaxCorner.z, m.MaxPointArray[b->Entry[e]].z);
        }
  for (int i = 0; i < m.GetNumTriangles(); ++i) {
    EXPECT_EQ(seen[i], 1) << i;
    EXPECT_NE(m.Triangles[i].Type, -1) << i;
  }
}

TEST(OctreeMesh, RestorationQueriesMeasureRadiiFromTheCentreAxis) {
  Messages quiet;
  // Bottom ring radius 3 at z 1, top ring radius 1 at z 6: the cone from
  // the bottom's outer corner to the top's inner corner leans inwards.
  CHTriangulation m;
  auto tris = Ring(3.0f, 1.0f, 24);
  const auto top = Ring(1.0f, 6.0f, 24);
  tris.insert(tris.end(), top.begin(), top.end());
  mesh_test::Fill(m, tris);
  SSEPoint lo = Pt(-4, -4, 0), hi = Pt(4, 4, 8);
  CRestorationOctree o(hi, lo, 1.0f);
  o.CalculateOctreeEntries(&m, 0);
  // Naive reference over every corner; ties may be met in another order
  // in the tree, so the heights are checked against every tied corner.
  auto radius = [](const SSEPoint& p) { return static_cast<float>(std::sqrt(double(p.x) * p.x + double(p.y) * p.y)); };
  float minR = 1e9f, maxR = -1;
  for (int i = 0; i < 3 * m.GetNumTriangles(); ++i) {
    minR = std::min(minR, radius(m.EdgeArray[i]));
    maxR = std::max(maxR, radius(m.EdgeArray[i]));
  }
  auto heightOfSomeCornerAt = [&](float r, float z) {
    for (int i = 0; i < 3 * m.GetNumTriangles(); ++i)
      if (radius(m.EdgeArray[i]) == r && m.EdgeArray[i].z == z) return true;
    return false;
  };
  o.FindMinRadiusTopTriangulation(&m, 0);
  EXPECT_EQ(o.ResultC, minR);
  EXPECT_TRUE(heightOfSomeCornerAt(minR, o.ResultA));
  o.FindMaxRadiusBottomTriangulation(&m, 0);
  EXPECT_EQ(o.ResultD, maxR);
  EXPECT_TRUE(heightOfSomeCornerAt(maxR, o.ResultB));
  const float angle = o.CalcApproximateMaxRestorationAngle(&m, 0);
  const float q = (o.ResultC - o.ResultD) / (o.ResultA - o.ResultB);
  EXPECT_EQ(angle, std::atan(q + 0.0001f) + 0.0875f);
  EXPECT_LT(angle, 0.0f);

  o.FindLowestZEntry(&m, 0);
  // Only triangles filed in the root's children count; the rings sit in
  // deeper bricks or in the root itself, so the box may stay at its start.
  EXPECT_LE(o.ResultB, 1000000.0f);
}

TEST(OctreeMesh, LowestZEntryReadsTheRootsChildren) {
  Messages quiet;
  CHTriangulation m;
  // Each triangle crosses a level-1 border inside one octant of the root.
  mesh_test::Fill(m, {mesh_test::Tri{mesh_test::Corner{-3.5f, -3.5f, 0.5f, 0}, mesh_test::Corner{-0.5f, -3.5f, 0.5f, 0},
                                     mesh_test::Corner{-3.5f, -0.5f, 3.0f, 0}},
                      mesh_test::Tri{mesh_test::Corner{1.0f, 1.0f, 5.0f, 0}, mesh_test::Corner{3.5f, 1.0f, 5.0f, 0},
                                     mesh_test::Corner{1.0f, 3.5f, 7.5f, 0}}});
  SSEPoint lo = Pt(-4, -4, 0), hi = Pt(4, 4, 8);
  CRestorationOctree o(hi, lo, 1.0f);
  o.CalculateOctreeEntries(&m, 2);
  EXPECT_EQ(m.Triangles[0].Type, 4);  // level 1
  o.FindLowestZEntry(&m, 2);
  EXPECT_EQ(o.ResultB, 0.5f);
  EXPECT_FLOAT_EQ(o.ResultD, 0.5f * std::hypot(7.0f, 7.0f));
  CHOctree none(nullptr, false);
  (void)none;
}

}  // namespace
