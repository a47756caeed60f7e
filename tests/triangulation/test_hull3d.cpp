// The incremental 3D hull on quantised integers: input quantisation and
// duplicates, the degeneracy check, and random hulls against a brute-force
// face enumeration.

#include <gtest/gtest.h>

#include "test_hull_seed.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <set>
#include <vector>

#include "relief/CHConvexHull3D.h"

namespace {

using Int = std::int64_t;
using Wide = __int128;
struct P3 {
  Int x, y, z;
};

// The hull's own quantisation: trunc(v * 10 + 0.5) in double (toward zero,
// so negative values move up by a tenth).
Int Q(float v) { return static_cast<Int>(static_cast<double>(v) * 10.0 + 0.5); }

int Orient(const P3& a, const P3& b, const P3& c, const P3& p) {
  const Wide ax = a.x - p.x, ay = a.y - p.y, az = a.z - p.z;
  const Wide bx = b.x - p.x, by = b.y - p.y, bz = b.z - p.z;
  const Wide cx = c.x - p.x, cy = c.y - p.y, cz = c.z - p.z;
  const Wide v = ax * (by * cz - bz * cy) + ay * (bz * cx - bx * cz) + az * (bx * cy - by * cx);
  return v > 0 ? 1 : (v < 0 ? -1 : 0);
}

std::vector<P3> StoredVertices(const CHConvexHull3D& h) {
  std::vector<P3> out;
  if (const tVertexStructure* v = h.GetVertices()) {
    do {
      out.push_back({v->x, v->y, v->z});
      v = v->next;
    } while (v != h.GetVertices());
  }
  return out;
}

std::vector<std::array<const tVertexStructure*, 3>> Faces(const CHConvexHull3D& h) {
  std::vector<std::array<const tVertexStructure*, 3>> out;
  if (const tFaceStructure* f = h.GetFaces()) {
    do {
      out.push_back({f->vertex[0], f->vertex[1], f->vertex[2]});
      f = f->next;
    } while (f != h.GetFaces());
  }
  return out;
}

// Names the first broken rule of a finished hull over the given input, or "".
std::string HullViolation(CHConvexHull3D& h, const std::vector<P3>& input) {
  const auto faces = Faces(h);
  if (static_cast<int>(faces.size()) != h.GetNumFaces()) return "face count not current";
  if (!h.Consistency()) return "faces of an edge not opposite";
  if (!h.CheckEndpts()) return "edge ends outside its face";
  if (h.GetNumVertices() - h.GetNumEdges() + h.GetNumFaces() != 2) return "Euler";
  for (const auto& f : faces) {
    const P3 a{f[0]->x, f[0]->y, f[0]->z}, b{f[1]->x, f[1]->y, f[1]->z}, c{f[2]->x, f[2]->y, f[2]->z};
    for (const P3& p : input) {
      if (Orient(a, b, c, p) < 0) return "an input point lies outside a face";
    }
  }
  return "";
}

TEST(Hull3DInput, QuantisesToTenthsAndIgnoresRepeats) {
  CHConvexHull3D h;
  h.AppendVertex3D(1.04f, 2.0f, 3.0f, 0.0f);
  h.AppendVertex3D(1.0f, 2.04f, 2.96f, 0.0f);  // same tenths: ignored
  h.AppendVertex3D(1.06f, 2.0f, 3.0f, 0.0f);   // 10.6 + 0.5 truncates to 11
  const auto v = StoredVertices(h);
  ASSERT_EQ(v.size(), 2u);
  EXPECT_EQ(v[0].x, 10);
  EXPECT_EQ(v[0].y, 20);
  EXPECT_EQ(v[0].z, 30);
  EXPECT_EQ(v[1].x, 11);
}

TEST(Hull3DInput, LiftedVertexCarriesIndexFlagAndSquareSum) {
  CHConvexHull3D h;
  h.AppendVertex2D(0.3f, -0.2f, 7, true);
  h.AppendVertex2D(1.0f, 1.0f, -1, false);   // counter: one vertex stored before
  h.AppendVertex2D(1.01f, 1.0f, -1, false);  // duplicate after quantisation
  h.AppendVertex2D(2.0f, 0.0f, -1, false);   // counter did not grow for the duplicate
  const tVertexStructure* v = h.GetVertices();
  EXPECT_EQ(v->x, 3);
  EXPECT_EQ(v->y, -1);  // -2 + 0.5 = -1.5 truncates toward zero
  EXPECT_EQ(v->z, 10);
  EXPECT_EQ(v->index, 7);
  EXPECT_TRUE(v->flag);
  EXPECT_EQ(v->next->index, 1);
  EXPECT_EQ(v->next->z, 200);
  EXPECT_EQ(v->next->next->index, 2);
  EXPECT_EQ(h.CalcNumVertices(), 3);
}

struct DegenerateCase {
  const char* name;
  std::vector<std::array<float, 3>> points;
  bool degenerate;
};

class Hull3DDegenerate : public testing::TestWithParam<DegenerateCase> {};

TEST_P(Hull3DDegenerate, IsDecidedExactly) {
  CHConvexHull3D h;
  for (const auto& p : GetParam().points) h.AppendVertex3D(p[0], p[1], p[2], 0.0f);
  EXPECT_EQ(h.IsDegenerate(), GetParam().degenerate);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Hull3DDegenerate,
    testing::Values(
        DegenerateCase{"empty", {}, true},
        DegenerateCase{"three", {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, true},
        DegenerateCase{"four_with_a_repeat", {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0.01f, 0, 0}, {0, 0, 0}}, true},
        DegenerateCase{"collinear", {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}, {3, 3, 3}, {-5, -5, -5}}, true},
        DegenerateCase{"coplanar", {{0, 0, 1}, {1, 0, 1}, {0, 1, 1}, {1, 1, 1}, {0.5f, 3, 1}}, true},
        DegenerateCase{"collinear_start_then_solid", {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {0, 0, 1}}, false},
        DegenerateCase{"tetrahedron", {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, false},
        DegenerateCase{"off_plane_by_a_tenth", {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0.1f}}, false}),
    [](const testing::TestParamInfo<DegenerateCase>& i) { return std::string(i.param.name); });

TEST(Hull3DDeathTest, CoplanarInputEndsTheProcessWithStatusZero) {
  EXPECT_EXIT(
      {
        CHConvexHull3D h;
        for (int i = 0; i < 6; ++i) h.AppendVertex3D(float(i % 3), float(i / 3), 2.0f, 0.0f);
        h.CalcConvexHull();
      },
      testing::ExitedWithCode(0), "");
}

TEST(Hull3D, CubeWithInnerPointsHasTwelveFaces) {
  CHConvexHull3D h;
  std::vector<P3> input;
  // Corners first; points on edges, faces and inside come later and, lying
  // in or behind existing faces, are never added.
  const float pts[][3] = {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}, {0, 0, 2}, {2, 0, 2},
                          {2, 2, 2}, {0, 2, 2}, {1, 0, 0}, {1, 1, 1}, {0.5f, 1.5f, 1}, {1, 1, 0}};
  for (const auto& p : pts) {
    h.AppendVertex3D(p[0], p[1], p[2], 0.0f);
    input.push_back({Q(p[0]), Q(p[1]), Q(p[2])});
  }
  ASSERT_FALSE(h.IsDegenerate());
  h.CalcConvexHull();
  EXPECT_EQ(HullViolation(h, input), "");
  // Points on the cube's faces are not hull vertices, the corners are.
  EXPECT_EQ(h.GetNumVertices(), 8);
  EXPECT_EQ(h.GetNumFaces(), 12);
  EXPECT_EQ(h.GetNumEdges(), 18);
  EXPECT_TRUE(h.Checks());
  for (const tVertexStructure* v : {h.GetVertices(), h.GetVertices()->next}) EXPECT_TRUE(v->onhull);
}

TEST(Hull3D, CollinearStartRunIsSkippedAndKeptOnTheHull) {
  // The first three vertices are collinear: the start triangle is found
  // further on, and a vertex on the hull's boundary added early stays.
  CHConvexHull3D h;
  std::vector<P3> input;
  const float pts[][3] = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 2, 0}, {0, 0, 2}};
  for (const auto& p : pts) {
    h.AppendVertex3D(p[0], p[1], p[2], 0.0f);
    input.push_back({Q(p[0]), Q(p[1]), Q(p[2])});
  }
  h.CalcConvexHull();
  EXPECT_EQ(HullViolation(h, input), "");
  EXPECT_EQ(h.GetNumVertices(), 5);
}

TEST(Hull3D, CornersComeBackDividedByTheDivisor) {
  CHConvexHull3D h;
  for (const auto& p : std::vector<std::array<float, 3>>{{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}})
    h.AppendVertex3D(p[0], p[1], p[2], 0.0f);
  h.CalcConvexHull();
  ASSERT_EQ(h.GetNumFaces(), 4);
  std::set<std::array<float, 3>> corners;
  const tFaceStructure* f = h.GetFaces();
  do {
    for (int k = 0; k < 3; ++k) {
      const SSEPoint p = h.GetVertexFromFace3D(f, k, 10.0f);
      EXPECT_EQ(p.w, 0.0f);
      corners.insert({p.x, p.y, p.z});
      EXPECT_EQ(h.GetVertexFromFace(f, k, 1.0f).z, 0.0f);
    }
    f = f->next;
  } while (f != h.GetFaces());
  EXPECT_EQ(corners, (std::set<std::array<float, 3>>{{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}}));
  const SSEPoint none = h.GetVertexFromFace3D(h.GetFaces(), 3);
  EXPECT_EQ(none.x + none.y + none.z, 0.0f);
}

// Brute force: a triple is a hull face when every other point lies strictly
// on one side (random points are in general position with overwhelming odds,
// and the test checks that they are).
std::set<std::array<int, 3>> BruteForceFaces(const std::vector<P3>& p) {
  std::set<std::array<int, 3>> faces;
  const int n = static_cast<int>(p.size());
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j)
      for (int k = j + 1; k < n; ++k) {
        int pos = 0, neg = 0;
        for (int m = 0; m < n; ++m) {
          if (m == i || m == j || m == k) continue;
          const int s = Orient(p[i], p[j], p[k], p[m]);
          if (s == 0) return {};  // not in general position: signal with an empty set
          (s > 0 ? pos : neg)++;
        }
        if (pos == 0 || neg == 0) faces.insert({i, j, k});
      }
  return faces;
}

TEST(Hull3DProperty, RandomPointsMatchBruteForce) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> coord(-500, 500);
  for (int round = 0; round < 40; ++round) {
    const int n = 4 + round % 30;
    CHConvexHull3D h;
    std::vector<P3> input;
    std::set<std::array<Int, 3>> seen;
    while (static_cast<int>(input.size()) < n) {
      const int x = coord(rng), y = coord(rng), z = coord(rng);
      if (!seen.insert({x, y, z}).second) continue;
      h.AppendVertex3D(x / 10.0f, y / 10.0f, z / 10.0f, 0.0f);
      input.push_back({Q(x / 10.0f), Q(y / 10.0f), Q(z / 10.0f)});
    }
    const auto expected = BruteForceFaces(input);
    if (expected.empty() || h.IsDegenerate()) continue;
    h.CalcConvexHull();
    ASSERT_EQ(HullViolation(h, input), "") << "round " << round;
    std::set<std::array<int, 3>> got;
    for (const auto& f : Faces(h)) {
      std::array<int, 3> idx{f[0]->index, f[1]->index, f[2]->index};
      std::sort(idx.begin(), idx.end());
      got.insert(idx);
    }
    ASSERT_EQ(got, expected) << "round " << round << " n " << n;
  }
}

}  // namespace

namespace {

TEST(Hull3D, SecondBuildAndEmptyBuildChangeNothing) {
  CHConvexHull3D empty;
  empty.CalcConvexHull();
  EXPECT_EQ(empty.GetNumFaces(), 0);
  CHConvexHull3D h;
  for (const auto& p : std::vector<std::array<float, 3>>{{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}, {1, 1, 1}})
    h.AppendVertex3D(p[0], p[1], p[2], 0.0f);
  h.CalcConvexHull();
  const tFaceStructure* faces = h.GetFaces();
  h.CalcConvexHull();
  EXPECT_EQ(h.GetFaces(), faces);
  EXPECT_EQ(h.GetNumFaces(), 4);
  EXPECT_TRUE(h.Checks());
}

}  // namespace
