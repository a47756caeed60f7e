// Storage, derived passes, lists, transforms and copies of the mesh; removal
// of triangles by height band and by repeated orientation, and the normal
// refresh.

#include <cstdlib>

#include "mesh_testing.h"

namespace {

using namespace mesh_test;

TEST(MeshModel, CreateTriangulationWiresClearsAndRefusesNegativeCounts) {
  const int n = 37;
  CHTriangulation m(n, 2.0f, 3.0f, 4.0f);
  ASSERT_EQ(CheckMesh(m), "");
  for (const t_htriangle* t = m.Triangles; t != m.Triangles + n; ++t) {
    EXPECT_TRUE(AllEqual({FIELD(t->Index, t - m.Triangles), FIELD(t->Type, -1)}));
    EXPECT_TRUE(Detached(*t));
  }
  const std::vector<char> zeros(48 * n);
  for (const SSEPoint* a : {m.EdgeArray, m.NormalArray, m.TArray, m.SArray, m.VArray, m.MainNormalArray})
    EXPECT_EQ(std::memcmp(a, zeros.data(), a == m.EdgeArray || a == m.NormalArray ? 48 * n : 16 * n), 0);
  EXPECT_THROW(m.CreateTriangulation(-1), CMemoryException);
  EXPECT_TRUE(ValidMesh(m, 0));
  EXPECT_EQ(m.GetTriangles(), nullptr);
  // An empty mesh's box keeps its sentinels; both extreme accessors hand out the minima.
  m.CalcBoundingBox();
  EXPECT_TRUE(SamePoint(m.PointArray[0], Point(1e6f, 1e6f, 1e6f, 1e6f)));
  EXPECT_TRUE(SamePoint(m.PointArray[1], Point(-1e6f, -1e6f, -1e6f, -1e6f)));
  EXPECT_EQ(m.GetMaxPointArray(), m.GetMinPointArray());
}

TEST(MeshModel, DerivedPassesAndFlatNormals) {
  CHTriangulation m;
  std::vector<Tri> soup = SmallSoup();
  soup[2][1].w = 0.5f;  // w takes part in the box and the extremes
  Fill(m, soup);
  EXPECT_EQ(CheckMesh(m, kAll), "");
  EXPECT_TRUE(SamePoint(m.PointArray[0], Point(0, 0, -1, 0)));
  EXPECT_TRUE(SamePoint(m.PointArray[1], Point(7, 8, 4, 0.5f)));
  m.CalcCenterPoint();  // the mean of the nine corners
  EXPECT_TRUE(SamePoint(m.PointArray[2], Point(20.0f / 9, 21.0f / 9, 16.0f / 9, 0.5f / 9)));
  // Up, down (clockwise) and degenerate; the main normal is left alone.
  Fill(m, {Tri{{{0, 0, 0, 0}, {2, 0, 0, 0}, {0, 3, 0, 0}}}, Tri{{{0, 0, 0, 0}, {0, 3, 0, 0}, {2, 0, 0, 0}}},
           Tri{{{1, 1, 1, 0}, {1, 1, 1, 0}, {1, 1, 1, 0}}}});
  m.MainNormalArray[0] = Point(9, 9, 9);
  m.CalcNormalsFromVertices();
  for (int k = 0; k < 3; ++k) {
    EXPECT_TRUE(SamePoint(m.NormalArray[k], Point(0, 0, 1))) << k;
    EXPECT_TRUE(SamePoint(m.NormalArray[3 + k], Point(0, 0, -1))) << k;
    EXPECT_TRUE(std::isnan(m.NormalArray[6 + k].x)) << "a degenerate triangle has a normal, corner " << k;
  }
  EXPECT_TRUE(SamePoint(m.MainNormalArray[0], Point(9, 9, 9)));
  // The historical "orient towards the box centre" only refreshes the normals: still down, corners kept.
  Fill(m, {Tri{{{0, 0, 0, 0}, {0, 1, 0, 0}, {1, 0, 0, 0}}}});
  m.OrientTrianglesTowardsBBoxCenter();
  EXPECT_TRUE(
      AllEqual({FIELD(m.NormalArray[0].z, -1.0f), FIELD(m.NormalArray[2].z, -1.0f), FIELD(m.EdgeArray[1].y, 1)}));
}

TEST(MeshModel, ListsUnlinkInPlaceAndPushStretchesAtTheFront) {
  CHTriangulation m(4, 1, 1, 1);
  m.IndexTriangleList();
  t_htriangle* t = m.Triangles;
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(Linked(t[i], i ? t + i - 1 : nullptr, i < 3 ? t + i + 1 : nullptr));
  for (t_htriangle* x : {t + 2, t, static_cast<t_htriangle*>(nullptr)}) m.DeleteTriangleFromList(x);
  EXPECT_EQ(m.TriangleListHead, t + 1);
  EXPECT_TRUE(Linked(t[1], nullptr, t + 3));
  EXPECT_TRUE(Linked(t[3], t + 1, nullptr));
  EXPECT_EQ(t[2].pNext, t + 3) << "the unlinked record keeps its own links";
  t_stretch* s[3] = {new t_stretch{}, new t_stretch{}, new t_stretch{}};
  for (t_stretch* x : s) m.AppendStretchToList(x);
  const auto chain = [&](std::vector<t_stretch*> want) {
    std::vector<t_stretch*> got;
    for (t_stretch* x = m.StretchListHead; x && got.size() < 5; x = x->pNext) got.push_back(x);
    for (std::size_t i = 1; i < got.size(); ++i)
      if (got[i]->pPrev != got[i - 1]) return testing::AssertionFailure() << "stretch " << i << ": pPrev broken";
    if (got == want) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "list of " << got.size() << " stretches, expected " << want.size();
  };
  EXPECT_TRUE(chain({s[2], s[1], s[0]}));
  m.DeleteStretchFromList(s[1]);
  EXPECT_TRUE(chain({s[2], s[0]}));
  for (t_stretch* x : {s[2], static_cast<t_stretch*>(nullptr), s[0]}) m.DeleteStretchFromList(x);
  EXPECT_EQ(m.StretchListHead, nullptr);
}

TEST(MeshTransforms, ScaleBlowShift) {
  const struct {
    void (*apply)(CHTriangulation&);
    float fx, fy, fz, dx, dy, dz;
    bool derivedUpdated;
  } cases[] = {{[](CHTriangulation& m) { m.ScaleTriangulation(); }, 2, 3, 4, 0, 0, 0, false},
               {[](CHTriangulation& m) { m.ScaleTriangulationXY(); }, 2, 3, 1, 0, 0, 0, false},
               {[](CHTriangulation& m) { m.ReScaleTriangulation(5, 6, 7); }, 5, 6, 7, 0, 0, 0, true},
               {[](CHTriangulation& m) { m.BlowTriangulation(0.5f, -1, 3); }, 0.5f, -1, 3, 0, 0, 0, true},
               {[](CHTriangulation& m) { m.ShiftTriangulation(1, -2, 0.25f); }, 1, 1, 1, 1, -2, 0.25f, true}};
  for (const auto& c : cases) {
    CHTriangulation m(0, 2, 3, 4);
    std::vector<Tri> soup = SmallSoup();
    soup[0][0].w = 9;  // every transform but the shift clears w
    Fill(m, soup);
    const SSEPoint box0 = m.PointArray[0];
    c.apply(m);
    const bool shift = c.dx != 0;
    for (int i = 0; i < 9; ++i) {
      const Corner& p = soup[i / 3][i % 3];
      ASSERT_TRUE(SamePoint(m.EdgeArray[i], shift ? Point(p.x + c.dx, p.y + c.dy, p.z + c.dz, p.w)
                                                  : Point(p.x * c.fx, p.y * c.fy, p.z * c.fz, 0.0f)))
          << &c - cases << " " << i;
    }
    // A shift moves the extremes but not the box; the scales recompute nothing.
    if (c.derivedUpdated) EXPECT_EQ(CheckMesh(m, {true, true, !shift}), "") << &c - cases;
    if (!c.derivedUpdated || shift) EXPECT_TRUE(SamePoint(m.PointArray[0], box0)) << &c - cases;
  }
}

TEST(MeshTransforms, RotationsMatchTheirMatrices) {
  const float a = 0.3f, b = -1.1f, c = 0.7f;
  const double ca = std::cos(double(a)), sa = std::sin(double(a)), cb = std::cos(double(b)), sb = std::sin(double(b));
  const double r[3][3] = {{ca * cb, sa, ca * sb}, {-sa * cb, ca, -sa * sb}, {-sb, 0, cb}};
  const double cc = std::cos(double(c)), sc = std::sin(double(c));
  const std::vector<Tri> soup = SmallSoup();
  for (int variant = 0; variant < 4; ++variant) {
    const bool third = variant & 1, aboutCentre = variant & 2;
    CHTriangulation m;
    Fill(m, soup);
    SSEPoint about = Point(1, 2, 3);
    if (!aboutCentre) third ? m.TransformVertices(a, b, c) : m.TransformVertices(a, b);
    if (aboutCentre) third ? m.TransformVerticesAboutPoint(a, b, c, about) : m.TransformVerticesAboutPoint(a, b, about);
    const double o = aboutCentre ? 1.0 : 0.0;  // the centre is (1, 2, 3) o
    for (int i = 0; i < 9; ++i) {
      const Corner& q = soup[i / 3][i % 3];
      const double p[3] = {q.x - o, q.y - 2 * o, q.z - 3 * o};
      double out[3];
      for (int j = 0; j < 3; ++j) out[j] = r[j][0] * p[0] + r[j][1] * p[1] + r[j][2] * p[2];
      if (third) std::tie(out[0], out[1]) = std::pair{cc * out[0] - sc * out[1], sc * out[0] + cc * out[1]};
      for (int j = 0; j < 3; ++j)
        EXPECT_NEAR((&m.EdgeArray[i].x)[j], out[j] + (j + 1) * o, 1e-5) << variant << " " << i;
    }
    EXPECT_EQ(CheckMesh(m, kAll), "");
  }
}

TEST(MeshCopies, DeepCopyFillsMaximaFromMinimaAndAssignmentIsShallow) {
  CHTriangulation src(0, 2, 3, 4);
  Fill(src, SmallSoup());
  src.CalcNeighbours(), src.SetScanConvResolution(0.5f, 0.25f, 2), src.CalcCenterPoint();
  CHTriangulation copy(&src), second(src);  // both deep
  ASSERT_TRUE(ValidMesh(copy, 3, {false}));
  EXPECT_TRUE(AllEqual({FIELD(copy.EdgeArray != src.EdgeArray, true), FIELD(second.EdgeArray != src.EdgeArray, true),
                        FIELD(copy.ScaleX, 2.0f), FIELD(copy.ScanConvResY, 0.25f)}));
  EXPECT_TRUE(SameTriangle(second, 1, src, 1));
  EXPECT_TRUE(SameFloat(copy.ScanConvDiagonal, src.ScanConvDiagonal));
  for (int p = 0; p < 3; ++p) EXPECT_TRUE(SamePoint(copy.PointArray[p], src.PointArray[p])) << p;
  for (int i = 0; i < 3; ++i) {
    const t_htriangle &c = copy.Triangles[i], &s = src.Triangles[i];
    EXPECT_TRUE(SamePoint(copy.MaxPointArray[i], src.MinPointArray[i])) << "maximum of " << i << " from the minimum";
    EXPECT_TRUE(SamePoint(copy.MinPointArray[i], src.MinPointArray[i])) << i;
    EXPECT_TRUE(AllEqual({FIELD(c.Type, s.Type), FIELD(c.pNext != nullptr, false),
                          FIELD(std::equal(c.pNeighbour, c.pNeighbour + 3, s.pNeighbour), true)}))
        << i;
  }
  // Assignment shares every array. Only one of the two may release them:
  // forget the alias's pointers (its own first block is released here).
  CHTriangulation* alias = new CHTriangulation;
  SSEPoint* ownBlock = alias->PointArray;
  *alias = src;
  EXPECT_TRUE(AllEqual({FIELD(alias->EdgeArray == src.EdgeArray, true), FIELD(alias->Triangles == src.Triangles, true),
                        FIELD(alias->PointArray == src.PointArray, true)}));
  ::operator delete(static_cast<void*>(alias));
  std::free(ownBlock);
}

TEST(MeshCopies, CombineFlipsTheWindingAndAppendKeepsIndicesAndTypes) {
  const std::vector<Tri> soup = SmallSoup();
  CHTriangulation a(0, 1, 1, 1), b;
  Fill(a, {soup[0]});
  Fill(b, {soup[0], soup[2]});
  a.SetScanConvResolution(0.5f, 0.5f, 0.5f);
  for (bool flip : {false, true}) {
    CHTriangulation c(&a);
    c.Combine(b, flip);
    ASSERT_TRUE(ValidMesh(c, 3, {true, false, true}));
    for (int k = 0; k < 9; ++k)
      EXPECT_TRUE(
          SamePoint(c.EdgeArray[k], k < 3 ? a.EdgeArray[k] : b.EdgeArray[flip ? 3 * (k / 3) - k % 3 - 1 : k - 3]))
          << "flip " << flip << ", corner " << k;
    // Triangle 1 repeats triangle 0's corners: the flipped copy faces away. A fresh mesh's resolution is 1.
    EXPECT_TRUE(AllEqual({FIELD(c.NormalArray[3].z, flip ? -c.NormalArray[0].z : c.NormalArray[0].z),
                          FIELD(c.Triangles[2].Type, -1), FIELD(c.ScanConvResX, 1.0f)}));
  }
  CHTriangulation d;
  Fill(d, {soup[0], soup[1]});
  d.Triangles[1].Type = 13;
  b.Triangles[1].Type = 5;
  d.AppendTriangulation(&b);
  ASSERT_TRUE(ValidMesh(d, 4, {false, false, true}));
  EXPECT_TRUE(
      AllEqual({FIELD(d.Triangles[1].Type, 13), FIELD(d.Triangles[3].Type, 5), FIELD(d.Triangles[3].Index, 1)}));
  EXPECT_TRUE(SameTriangle(d, 3, b, 1));
  EXPECT_TRUE(SamePoint(d.MaxPointArray[3], b.MinPointArray[1]));
}

// A triangle at x offset `at` whose corners have the given z.
Tri WithZ(float at, float z0, float z1, float z2) {
  return Tri{Corner{at, 0, z0, 0}, Corner{at + 1, 0, z1, 0}, Corner{at, 1, z2, 0}};
}

// One-sided removals need all three corners beyond the limit (inclusive);
// the band removes a triangle with any one corner in the closed band.
TEST(MeshRemoval, HeightBandsAndRepeatedOrientations) {
  enum Removal { Below, Above, Between };
  const struct {
    Removal removal;
    float a, b, z[3];
    bool kept;
  } cases[] = {{Below, 0, 0, {0, 0, 0.1f}, true},   {Below, 0, 0, {0, 0, 0}, false},
               {Above, 5, 0, {5, 5, 4.9f}, true},   {Above, 5, 0, {5, 5, 5}, false},
               {Between, 1, 2, {0, 1, 5}, false},   {Between, 1, 2, {2, -1, 5}, false},
               {Between, 1, 2, {0, 0.5f, 5}, true}, {Between, 1, 2, {0.9f, 2.1f, 0}, true}};
  for (const auto& c : cases) {
    CHTriangulation m;
    Fill(m, {WithZ(0, c.z[0], c.z[1], c.z[2])});
    c.removal == Below   ? m.RemoveTrianglesBelowZ(c.a)
    : c.removal == Above ? m.RemoveTrianglesAboveZ(c.a)
                         : m.RemoveTrianglesBetweenZ(c.a, c.b);
    EXPECT_TRUE(ValidMesh(m, c.kept ? 1 : 0)) << "case " << &c - cases;
  }
  // Normals within 0.05 (inclusive) in every lane repeat one another; all
  // pairs are compared, and Type 0 marks a triangle for removal too.
  const struct {
    std::vector<float> dx;
    int zeroType, kept;
  } orientations[] = {{{0, 0.05f}, -1, 1},
                      {{0, -0.05f}, -1, 1},
                      {{0, 0.0501f}, -1, 2},
                      {{0, -0.0501f}, -1, 2},
                      {{0, 0.04f, 0.08f, 0.7f}, 3, 1}};  // 2 repeats 1 (already marked) but not 0
  for (const auto& c : orientations) {
    CHTriangulation m;
    std::vector<Tri> tris;
    for (std::size_t i = 0; i < c.dx.size(); ++i) tris.push_back(WithZ(5.0f * i, 0, 0, 0));
    Fill(m, tris);
    for (std::size_t i = 0; i < c.dx.size(); ++i) {
      m.Triangles[i].Type = int(i) == c.zeroType ? 0 : 1;
      m.NormalArray[3 * i] = int(i) == c.zeroType ? Point(0.7f, 0.7f, 0) : Point(c.dx[i], 0, 1);
    }
    m.RemoveTrianglesWithSameOrientation();
    EXPECT_TRUE(AllEqual({FIELD(m.GetNumTriangles(), c.kept), FIELD(m.Triangles[0].Index, 0)})) << c.dx[1];
  }
}

TEST(MeshRemoval, KeptTrianglesKeepIndexTypeAndDerivedData) {
  // A strip of three triangles sharing edges; the middle one is removed.
  CHTriangulation m;
  Fill(m, {WithZ(0, 1, 1, 1), Tri{Corner{1, 0, -1, 0}, Corner{1, 1, -1, 0}, Corner{0, 1, -1, 0}}, WithZ(1, 1, 1, 1)});
  for (int i = 0; i < 3; ++i) m.Triangles[i].Type = 20 + i;
  const SSEPoint box = m.PointArray[0], lastMin = m.MinPointArray[2];
  m.RemoveTrianglesBelowZ(0.0f);
  ASSERT_TRUE(ValidMesh(m, 2));
  // Index is not renumbered, a border triangle's Type is 13, the box stays.
  EXPECT_TRUE(AllEqual({FIELD(m.Triangles[0].Index, 0), FIELD(m.Triangles[1].Index, 2), FIELD(m.Triangles[0].Type, 13),
                        FIELD(m.Triangles[1].pNeighbour[0] == nullptr, true), FIELD(m.PointArray[0].z, box.z)}));
  // The rebuild copies through CopyFromHTriangulation, whose maxima are the
  // minima; CalcSTV brings the real ones back.
  EXPECT_TRUE(SamePoint(m.MaxPointArray[1], lastMin));
  m.CalcSTV();
  EXPECT_EQ(CheckMesh(m, {true, true, false}), "");
}

}  // namespace
