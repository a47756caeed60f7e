#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "mesh_testing.h"
#include "relief/CMemoryException.h"
#include "relief/NyTriangulationDynamic.h"
#include "relief/NyTriangulationStatic.h"

using mesh_test::CheckMesh;
using mesh_test::Checks;
using mesh_test::Fill;
using mesh_test::Point;
using mesh_test::SameBits;
using mesh_test::Tri;

namespace {

// Two triangles of a unit square and one tilted triangle apart from them.
std::vector<Tri> SmallSoup() {
  return {Tri{{{0, 0, 1, 0}, {1, 0, 2, 0}, {0, 1, 3, 0}}}, Tri{{{1, 0, 2, 0}, {1, 1, 4, 0}, {0, 1, 3, 0}}},
          Tri{{{5, 5, -1, 0}, {7, 5, 0, 0}, {5, 8, 2, 0}}}};
}

}  // namespace

TEST(MeshModel, CreateTriangulationWiresAndClears) {
  for (int n : {0, 1, 2, 7, 64}) {
    CHTriangulation m(n, 2.0f, 3.0f, 4.0f);
    SCOPED_TRACE(n);
    ASSERT_EQ(CheckMesh(m), "");
    ASSERT_EQ(m.GetNumTriangles(), n);
    for (int i = 0; i < n; ++i) {
      const t_htriangle& t = m.Triangles[i];
      EXPECT_EQ(t.Index, i);
      EXPECT_EQ(t.Type, -1);
      EXPECT_EQ(t.pNext, nullptr);
      EXPECT_EQ(t.pPrev, nullptr);
      for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(t.pNeighbour[k], nullptr);
        EXPECT_TRUE(SameBits(*t.pPoint[k], Point(0, 0, 0)));
        EXPECT_TRUE(SameBits(*t.pNormal[k], Point(0, 0, 0)));
      }
      for (const SSEPoint* p : {t.pT, t.pS, t.pV, t.pMainNormal}) EXPECT_TRUE(SameBits(*p, Point(0, 0, 0)));
    }
  }
}

TEST(MeshModel, NegativeCountThrowsAndLeavesAnEmptyMesh) {
  CHTriangulation m(3, 1, 1, 1);
  EXPECT_THROW(m.CreateTriangulation(-1), CMemoryException);
  EXPECT_EQ(m.GetNumTriangles(), 0);
  EXPECT_EQ(m.GetTriangles(), nullptr);
  EXPECT_EQ(CheckMesh(m), "");
}

TEST(MeshModel, AccessorsAndTriangleLookup) {
  CHTriangulation m(4, 1.5f, 2.5f, 3.5f);
  EXPECT_EQ(m.GetTriangle(-1), nullptr);
  EXPECT_EQ(m.GetTriangle(4), nullptr);
  EXPECT_EQ(m.GetTriangle(0), m.GetTriangles());
  EXPECT_EQ(m.GetTriangle(3), m.GetTriangles() + 3);
  // Both extreme accessors hand out the minima.
  EXPECT_EQ(m.GetMaxPointArray(), m.GetMinPointArray());
  EXPECT_NE(m.GetMaxPointArray(), m.MaxPointArray);
  EXPECT_EQ(m.GetScaleX(), 1.5f);
  EXPECT_EQ(m.GetScaleY(), 2.5f);
  EXPECT_EQ(m.GetScaleZ(), 3.5f);
  EXPECT_EQ(m.GetPointArray(), m.PointArray);
  m.PointArray[0] = Point(1, 2, 3);
  m.PointArray[1] = Point(4, 5, 6);
  m.PointArray[2] = Point(7, 8, 9);
  SSEPoint lo, hi, c;
  m.GetMinPoint(lo);
  m.GetMaxPoint(hi);
  m.GetCenterPoint(c);
  EXPECT_TRUE(SameBits(lo, m.PointArray[0]) && SameBits(hi, m.PointArray[1]) && SameBits(c, m.PointArray[2]));
}

TEST(MeshModel, DiagonalIsRoundedThroughFloat) {
  // The sum of squares is rounded to float before the root; these scales
  // show the difference from a root taken of the double sum.
  struct Case {
    float x, y;
  } cases[] = {{1, 1}, {0.1f, 0.3f}, {3, 4}, {1e-3f, 7.77f}, {0, 0}, {123.456f, 0.001f}};
  for (const Case& c : cases) {
    const float sum = float(double(c.x) * c.x + double(c.y) * c.y);
    const float expected = float(std::sqrt(double(sum)));
    CHTriangulation m(0, c.x, c.y, 1);
    EXPECT_TRUE(SameBits(m.ScanConvDiagonal, expected)) << c.x << ", " << c.y;
    EXPECT_EQ(m.ScanConvResX, c.x);
    EXPECT_EQ(m.ScanConvResY, c.y);
    CHTriangulation r;
    r.SetScanConvResolution(c.x, c.y, 9);
    EXPECT_TRUE(SameBits(r.ScanConvDiagonal, expected));
    EXPECT_EQ(r.ScanConvResZ, 9.0f);
  }
}

TEST(MeshModel, BoundingBoxOfAnEmptyMeshKeepsItsSentinels) {
  CHTriangulation m(0, 1, 1, 1);
  m.CalcBoundingBox();
  EXPECT_TRUE(SameBits(m.PointArray[0], Point(1e6f, 1e6f, 1e6f, 1e6f)));
  EXPECT_TRUE(SameBits(m.PointArray[1], Point(-1e6f, -1e6f, -1e6f, -1e6f)));
}

TEST(MeshModel, DerivedPassesAgreeWithTheCorners) {
  CHTriangulation m;
  std::vector<Tri> soup = SmallSoup();
  soup[2][1].w = 0.5f;  // w takes part in the box and the extremes
  Fill(m, soup);
  EXPECT_EQ(CheckMesh(m, {true, true, true}), "");
  EXPECT_TRUE(SameBits(m.PointArray[0], Point(0, 0, -1, 0)));
  EXPECT_TRUE(SameBits(m.PointArray[1], Point(7, 8, 4, 0.5f)));
  m.CalcCenterPoint();
  float sx = 0, sy = 0, sz = 0, sw = 0;
  for (int i = 0; i < 9; ++i) {
    sx += m.EdgeArray[i].x, sy += m.EdgeArray[i].y, sz += m.EdgeArray[i].z, sw += m.EdgeArray[i].w;
  }
  EXPECT_TRUE(SameBits(m.PointArray[2], Point(sx / 9, sy / 9, sz / 9, sw / 9)));
}

TEST(MeshModel, FlatNormalsFollowTheWinding) {
  CHTriangulation m;
  Fill(m, {Tri{{{0, 0, 0, 0}, {2, 0, 0, 0}, {0, 3, 0, 0}}}, Tri{{{0, 0, 0, 0}, {0, 3, 0, 0}, {2, 0, 0, 0}}},
           Tri{{{0, 0, 0, 0}, {0, 0, 1, 0}, {1, 0, 0, 0}}}, Tri{{{1, 1, 1, 0}, {1, 1, 1, 0}, {1, 1, 1, 0}}}});
  m.MainNormalArray[0] = Point(9, 9, 9);
  m.CalcNormalsFromVertices();
  for (int k = 0; k < 3; ++k) {
    EXPECT_TRUE(SameBits(m.NormalArray[k], Point(0, 0, 1))) << k;
    EXPECT_TRUE(SameBits(m.NormalArray[3 + k], Point(0, 0, -1))) << k;
    EXPECT_TRUE(SameBits(m.NormalArray[6 + k], Point(0, 1, 0))) << k;
    EXPECT_TRUE(std::isnan(m.NormalArray[9 + k].x)) << "a degenerate triangle has no normal";
  }
  EXPECT_TRUE(SameBits(m.MainNormalArray[0], Point(9, 9, 9))) << "the main normal is left alone";
}

TEST(MeshModel, WorkingListLinksAndUnlinks) {
  CHTriangulation m(4, 1, 1, 1);
  m.IndexTriangleList();
  t_htriangle* t = m.Triangles;
  ASSERT_EQ(m.TriangleListHead, t);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(t[i].pPrev, i ? t + i - 1 : nullptr);
    EXPECT_EQ(t[i].pNext, i < 3 ? t + i + 1 : nullptr);
  }
  m.DeleteTriangleFromList(t + 2);
  EXPECT_EQ(t[1].pNext, t + 3);
  EXPECT_EQ(t[3].pPrev, t + 1);
  EXPECT_EQ(t[2].pNext, t + 3) << "the unlinked record keeps its own links";
  m.DeleteTriangleFromList(t);
  EXPECT_EQ(m.TriangleListHead, t + 1);
  EXPECT_EQ(t[1].pPrev, nullptr);
  m.DeleteTriangleFromList(nullptr);
  EXPECT_EQ(m.TriangleListHead, t + 1);
}

TEST(MeshModel, StretchListPushesAtTheFront) {
  CHTriangulation m;
  t_stretch* a = new t_stretch{};
  t_stretch* b = new t_stretch{};
  t_stretch* c = new t_stretch{};
  m.AppendStretchToList(a);
  m.AppendStretchToList(b);
  m.AppendStretchToList(c);
  ASSERT_EQ(m.StretchListHead, c);
  EXPECT_EQ(c->pNext, b);
  EXPECT_EQ(b->pNext, a);
  EXPECT_EQ(a->pPrev, b);
  m.DeleteStretchFromList(b);
  EXPECT_EQ(c->pNext, a);
  EXPECT_EQ(a->pPrev, c);
  m.DeleteStretchFromList(c);
  EXPECT_EQ(m.StretchListHead, a);
  m.DeleteStretchFromList(nullptr);
  m.DeleteStretchFromList(a);
  EXPECT_EQ(m.StretchListHead, nullptr);
}

TEST(MeshTransforms, ScaleBlowShift) {
  struct Case {
    const char* name;
    void (*apply)(CHTriangulation&);
    float fx, fy, fz, dx, dy, dz;
    bool derivedUpdated;
  } cases[] = {
      {"ScaleTriangulation", [](CHTriangulation& m) { m.ScaleTriangulation(); }, 2, 3, 4, 0, 0, 0, false},
      {"ScaleTriangulationXY", [](CHTriangulation& m) { m.ScaleTriangulationXY(); }, 2, 3, 1, 0, 0, 0, false},
      {"ReScaleTriangulation", [](CHTriangulation& m) { m.ReScaleTriangulation(5, 6, 7); }, 5, 6, 7, 0, 0, 0, true},
      {"BlowTriangulation", [](CHTriangulation& m) { m.BlowTriangulation(0.5f, -1, 3); }, 0.5f, -1, 3, 0, 0, 0, true},
      {"ShiftTriangulation", [](CHTriangulation& m) { m.ShiftTriangulation(1, -2, 0.25f); }, 1, 1, 1, 1, -2, 0.25f,
       true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CHTriangulation m(0, 2, 3, 4);
    std::vector<Tri> soup = SmallSoup();
    soup[0][0].w = 9;  // every transform but the shift clears w
    Fill(m, soup);
    const SSEPoint box0 = m.PointArray[0];
    m.NormalArray[0] = Point(0.6f, 0.8f, 0);
    c.apply(m);
    for (int i = 0; i < 9; ++i) {
      const mesh_test::Corner& p = soup[i / 3][i % 3];
      const bool shift = c.dx != 0;
      const SSEPoint expected = shift ? Point(p.x + c.dx, p.y + c.dy, p.z + c.dz, p.w)
                                      : Point(p.x * c.fx, p.y * c.fy, p.z * c.fz, 0.0f);
      ASSERT_TRUE(SameBits(m.EdgeArray[i], expected)) << i;
    }
    if (c.derivedUpdated) EXPECT_EQ(CheckMesh(m, {true, true, c.dx == 0}), "") << "a shift leaves the box";
    if (!c.derivedUpdated) EXPECT_TRUE(SameBits(m.PointArray[0], box0)) << "nothing recomputed";
    EXPECT_TRUE(SameBits(m.NormalArray[0], Point(0.6f, 0.8f, 0))) << "normals untouched";
  }
}

TEST(MeshTransforms, ShiftMovesExtremesButNotTheBox) {
  CHTriangulation m;
  Fill(m, SmallSoup());
  const SSEPoint box0 = m.PointArray[0];
  m.ShiftTriangulation(10, 20, 30);
  EXPECT_TRUE(SameBits(m.PointArray[0], box0));
  EXPECT_TRUE(SameBits(m.MinPointArray[2], Point(15, 25, 29)));
  EXPECT_TRUE(SameBits(m.MaxPointArray[2], Point(17, 28, 32)));
}

TEST(MeshTransforms, RotationsMatchTheirMatrices) {
  const float a = 0.3f, b = -1.1f, c = 0.7f;
  const double ca = std::cos(double(a)), sa = std::sin(double(a)), cb = std::cos(double(b)), sb = std::sin(double(b));
  const double r[3][3] = {{ca * cb, sa, ca * sb}, {-sa * cb, ca, -sa * sb}, {-sb, 0, cb}};
  const double cc = std::cos(double(c)), sc = std::sin(double(c));
  auto rotate = [&](const double p[3], double out[3], bool third) {
    for (int i = 0; i < 3; ++i) out[i] = r[i][0] * p[0] + r[i][1] * p[1] + r[i][2] * p[2];
    if (third) {
      const double x = cc * out[0] - sc * out[1], y = sc * out[0] + cc * out[1];
      out[0] = x, out[1] = y;
    }
  };
  const SSEPoint centre = Point(1, 2, 3);
  for (int variant = 0; variant < 4; ++variant) {
    SCOPED_TRACE(variant);
    CHTriangulation m;
    Fill(m, SmallSoup());
    SSEPoint about = centre;
    const bool third = variant & 1, aboutCentre = variant & 2;
    if (!third && !aboutCentre) m.TransformVertices(a, b);
    if (third && !aboutCentre) m.TransformVertices(a, b, c);
    if (!third && aboutCentre) m.TransformVerticesAboutPoint(a, b, about);
    if (third && aboutCentre) m.TransformVerticesAboutPoint(a, b, c, about);
    const std::vector<Tri> soup = SmallSoup();
    for (int i = 0; i < 9; ++i) {
      const mesh_test::Corner& q = soup[i / 3][i % 3];
      const double o[3] = {aboutCentre ? 1.0 : 0.0, aboutCentre ? 2.0 : 0.0, aboutCentre ? 3.0 : 0.0};
      const double p[3] = {q.x - o[0], q.y - o[1], q.z - o[2]};
      double out[3];
      rotate(p, out, third);
      EXPECT_NEAR(m.EdgeArray[i].x, out[0] + o[0], 1e-5) << i;
      EXPECT_NEAR(m.EdgeArray[i].y, out[1] + o[1], 1e-5) << i;
      EXPECT_NEAR(m.EdgeArray[i].z, out[2] + o[2], 1e-5) << i;
    }
    EXPECT_EQ(CheckMesh(m, {true, true, true}), "");
  }
}

TEST(MeshCopies, DeepCopyFillsMaximaFromMinima) {
  CHTriangulation src(0, 2, 3, 4);
  Fill(src, SmallSoup());
  src.CalcNeighbours();
  src.SetScanConvResolution(0.5f, 0.25f, 2);
  src.CalcCenterPoint();
  CHTriangulation copy(&src);
  ASSERT_EQ(CheckMesh(copy, {false}), "");
  ASSERT_EQ(copy.NumTriangles, 3);
  EXPECT_NE(copy.EdgeArray, src.EdgeArray) << "deep";
  EXPECT_EQ(copy.ScaleX, 2.0f);
  EXPECT_EQ(copy.ScanConvResY, 0.25f);
  EXPECT_TRUE(SameBits(copy.ScanConvDiagonal, src.ScanConvDiagonal));
  for (int p = 0; p < 3; ++p) EXPECT_TRUE(SameBits(copy.PointArray[p], src.PointArray[p]));
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(SameBits(copy.MaxPointArray[i], src.MinPointArray[i])) << i;
    EXPECT_TRUE(SameBits(copy.MinPointArray[i], src.MinPointArray[i])) << i;
    EXPECT_EQ(copy.Triangles[i].Type, src.Triangles[i].Type);
    EXPECT_EQ(copy.Triangles[i].pNext, nullptr);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(copy.Triangles[i].pNeighbour[k], src.Triangles[i].pNeighbour[k]);
  }
  copy.CalcSTV();
  EXPECT_EQ(CheckMesh(copy, {false, true}), "");
  // The C++ copy constructor is deep as well.
  CHTriangulation second(src);
  EXPECT_NE(second.EdgeArray, src.EdgeArray);
  EXPECT_TRUE(SameBits(second.EdgeArray[4], src.EdgeArray[4]));
}

TEST(MeshCopies, AssignmentIsShallow) {
  CHTriangulation src;
  Fill(src, SmallSoup());
  CHTriangulation* alias = new CHTriangulation;
  SSEPoint* ownBlock = alias->PointArray;
  *alias = src;
  EXPECT_EQ(alias->EdgeArray, src.EdgeArray);
  EXPECT_EQ(alias->Triangles, src.Triangles);
  EXPECT_EQ(alias->PointArray, src.PointArray);
  // Only one of the two may release the shared storage: forget the alias's
  // pointers (its own first block is released here) instead of destroying it.
  ::operator delete(static_cast<void*>(alias));
  std::free(ownBlock);
}

TEST(MeshCopies, CombineAppendsAndFlipsTheWinding) {
  CHTriangulation a(0, 1, 1, 1), b;
  Fill(a, {SmallSoup()[0]});
  Fill(b, {SmallSoup()[0], SmallSoup()[2]});
  a.SetScanConvResolution(0.5f, 0.5f, 0.5f);
  for (bool flip : {false, true}) {
    SCOPED_TRACE(flip);
    CHTriangulation c(&a);
    c.Combine(b, flip);
    ASSERT_EQ(c.NumTriangles, 3);
    ASSERT_EQ(CheckMesh(c, {true, false, true}), "");
    for (int k = 0; k < 3; ++k) EXPECT_TRUE(SameBits(c.EdgeArray[k], a.EdgeArray[k]));
    for (int k = 0; k < 6; ++k) {
      const int from = flip ? 3 * (k / 3) + 2 - k % 3 : k;
      EXPECT_TRUE(SameBits(c.EdgeArray[3 + k], b.EdgeArray[from])) << k;
    }
    // Triangle 1 repeats triangle 0's corners: the flipped copy faces away.
    EXPECT_EQ(c.NormalArray[3].z, flip ? -c.NormalArray[0].z : c.NormalArray[0].z);
    EXPECT_EQ(c.Triangles[2].Type, -1);
    EXPECT_EQ(c.ScanConvResX, 1.0f) << "the combination takes the resolution of a fresh mesh";
  }
}

TEST(MeshCopies, AppendKeepsIndicesAndTypes) {
  CHTriangulation a, b;
  Fill(a, {SmallSoup()[0], SmallSoup()[1]});
  Fill(b, {SmallSoup()[2]});
  a.Triangles[1].Type = 13;
  b.Triangles[0].Type = 5;
  a.AppendTriangulation(&b);
  ASSERT_EQ(a.NumTriangles, 3);
  ASSERT_EQ(CheckMesh(a, {false, false, true}), "");
  EXPECT_EQ(a.Triangles[1].Type, 13);
  EXPECT_EQ(a.Triangles[2].Type, 5);
  EXPECT_EQ(a.Triangles[2].Index, 0) << "appended triangles keep their old index";
  EXPECT_TRUE(SameBits(a.EdgeArray[6], b.EdgeArray[0]));
  EXPECT_TRUE(SameBits(a.MaxPointArray[2], b.MinPointArray[0]));
  a.AppendTriangulation(&a);
  ASSERT_EQ(a.NumTriangles, 6);
  EXPECT_TRUE(SameBits(a.EdgeArray[15], b.EdgeArray[0]));
}

TEST(MeshConstructors, ExternalMeshTypesGiveEmptyMeshes) {
  NyTriangulationStatic s;
  NyTriangulationDynamic d;
  CHTriangulation meshes[] = {CHTriangulation(&s, 2, 2, 2), CHTriangulation(&s), CHTriangulation(&s, nullptr, 1, 1, 1),
                              CHTriangulation(&d, nullptr, 1, 1, 1), CHTriangulation(&d), CHTriangulation(&d, 3, 3, 3)};
  for (CHTriangulation& m : meshes) {
    EXPECT_EQ(m.NumTriangles, 0);
    EXPECT_EQ(CheckMesh(m), "");
    m.CreateTriangulationFromNyTriangulation(&s);
    m.CutWithTriangulation(&m);
    EXPECT_EQ(m.NumTriangles, 0);
  }
  EXPECT_EQ(meshes[0].ScaleX, 2.0f);
  EXPECT_EQ(meshes[1].ScaleX, 1.0f);
}
