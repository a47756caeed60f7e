#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "mesh_testing.h"
#include "relief/CSSEFns.h"

using mesh_test::CheckMesh;
using mesh_test::Checks;
using mesh_test::Point;
using mesh_test::SameBits;

namespace {

// ---- the case table, written out -------------------------------------------
// Corners: 0 = P00, 1 = P01, 2 = P10, 3 = P11. Normals: A = (dX0, dY0),
// B = (dX1, dY1), C = (dX1, dY0), D = (dX0, dY1).
enum { P00, P01, P10, P11 };
enum { A, B, C, D };
struct Expected {
  int mask0, mask1, triangles;
  int corners[2][3];
  int normals[2][3];
};
const Expected kTable[] = {
    {3, 3, 2, {{P00, P11, P01}, {P00, P10, P11}}, {{A, B, C}, {A, D, B}}},
    {3, 1, 1, {{P00, P10, P01}}, {{A, D, C}}},
    {3, 2, 1, {{P00, P11, P01}}, {{A, B, C}}},
    {1, 3, 1, {{P00, P10, P11}}, {{A, D, B}}},
    {2, 3, 1, {{P10, P11, P01}}, {{D, B, C}}},
};

const Expected* Lookup(int mask0, int mask1) {
  for (const Expected& e : kTable)
    if (e.mask0 == mask0 && e.mask1 == mask1) return &e;
  return nullptr;
}

struct Cell {
  float x0, x1, y0, y1, z00, z01, z10, z11;
};

SSEPoint CornerOf(const Cell& c, int which) {
  switch (which) {
    case P00: return Point(c.x0, c.y0, c.z00);
    case P01: return Point(c.x0, c.y1, c.z01);
    case P10: return Point(c.x1, c.y0, c.z10);
    default: return Point(c.x1, c.y1, c.z11);
  }
}

SSEPoint NormalOf(const Cell& c, int which, bool flip) {
  const float dX0 = c.z00 - c.z10, dX1 = c.z01 - c.z11, dY0 = c.z00 - c.z01, dY1 = c.z10 - c.z11;
  const float dx = which == A || which == D ? dX0 : dX1;
  const float dy = which == A || which == C ? dY0 : dY1;
  SSEPoint n;
  n.m = CSSEFns::normalizevector(_mm_set_ps(0.0f, 1.0f, dy, dx));
  if (flip) n.m = _mm_xor_ps(n.m, _mm_set1_ps(-0.0f));
  return n;
}

// Compares triangle i of m with entry t of the table for the given cell.
void ExpectTriangle(const CHTriangulation& m, int i, const Expected& e, int t, const Cell& c, bool flip) {
  SCOPED_TRACE(testing::Message() << "masks " << e.mask0 << "," << e.mask1 << " triangle " << t);
  SSEPoint n[3];
  for (int k = 0; k < 3; ++k) {
    EXPECT_TRUE(SameBits(m.EdgeArray[3 * i + k], CornerOf(c, e.corners[t][k]))) << "corner " << k;
    n[k] = NormalOf(c, e.normals[t][k], flip);
    EXPECT_TRUE(SameBits(m.NormalArray[3 * i + k], n[k])) << "normal " << k;
  }
  SSEPoint main;
  main.m = CSSEFns::normalizevector(_mm_add_ps(_mm_add_ps(n[0].m, n[1].m), n[2].m));
  EXPECT_TRUE(SameBits(m.MainNormalArray[i], main));
}

// ---- the builder, written pixel by pixel --------------------------------
float Lane(const CSSEMatrix& f, int x, int y) {
  return reinterpret_cast<const float*>(f.GetMatrixDataDirectly()[y >> 2] + x)[y & 3];
}

int ReferenceBuild(CHTriangulation& m, CSSEMatrix& f, float threshold, bool above) {
  const int n = above ? f.NumValuesAbove(threshold) : f.NumValuesBelow(threshold);
  if (n < 1) return 0;
  m.CreateTriangulation(2 * n);
  auto valid = [&](int x, int y) { return above ? Lane(f, x, y) > threshold : Lane(f, x, y) < threshold; };
  int count = 0;
  for (int x = 0; x + 1 < f.GetSSESizeX(); ++x)
    for (int y = 0; y < 4 * (f.GetSSESizeY() - 1); ++y) {
      const float x0 = float(x) * m.ScaleX, y0 = float(y) * m.ScaleY;
      m.AppendTriangle(valid(x, y) | valid(x, y + 1) << 1, valid(x + 1, y) | valid(x + 1, y + 1) << 1, x0,
                       x0 + m.ScaleX, y0, y0 + m.ScaleY, Lane(f, x, y), Lane(f, x, y + 1), Lane(f, x + 1, y),
                       Lane(f, x + 1, y + 1), count, !above, false);
    }
  return count;
}

void ExpectSameMesh(const CHTriangulation& a, const CHTriangulation& b, const std::string& where) {
  ASSERT_EQ(a.NumTriangles, b.NumTriangles) << where;
  for (int i = 0; i < a.NumTriangles; ++i) {
    for (int k = 0; k < 3; ++k) {
      ASSERT_TRUE(SameBits(a.EdgeArray[3 * i + k], b.EdgeArray[3 * i + k])) << where << " triangle " << i;
      ASSERT_TRUE(SameBits(a.NormalArray[3 * i + k], b.NormalArray[3 * i + k])) << where << " triangle " << i;
      const t_htriangle* na = a.Triangles[i].pNeighbour[k];
      const t_htriangle* nb = b.Triangles[i].pNeighbour[k];
      ASSERT_EQ(na ? na - a.Triangles : -1, nb ? nb - b.Triangles : -1) << where << " triangle " << i;
    }
    ASSERT_TRUE(SameBits(a.MainNormalArray[i], b.MainNormalArray[i])) << where << " triangle " << i;
    ASSERT_TRUE(SameBits(a.SArray[i], b.SArray[i]) && SameBits(a.TArray[i], b.TArray[i]) &&
                SameBits(a.VArray[i], b.VArray[i]))
        << where << " triangle " << i;
    ASSERT_EQ(a.Triangles[i].Index, b.Triangles[i].Index) << where;
    ASSERT_EQ(a.Triangles[i].Type, b.Triangles[i].Type) << where;
  }
}

}  // namespace

TEST(MeshFromField, AppendTriangleCaseTable) {
  const Cell cell{2.0f, 3.0f, 5.0f, 6.0f, 1.0f, 1.5f, 0.25f, 2.0f};
  for (int mask0 = 0; mask0 < 4; ++mask0)
    for (int mask1 = 0; mask1 < 4; ++mask1)
      for (bool flip : {false, true})
        for (bool fill : {false, true}) {
          SCOPED_TRACE(testing::Message() << mask0 << "," << mask1 << " flip " << flip << " fill " << fill);
          int m0 = mask0, m1 = mask1;
          if (fill) {
            m0 = m0 == 1 || m0 == 2 ? 3 : m0;
            m1 = m1 == 1 || m1 == 2 ? 3 : m1;
          }
          const Expected* e = Lookup(m0, m1);
          CHTriangulation m(3, 1, 1, 1);
          m.EdgeArray[0].w = 7.0f;  // corner w is left as it was
          int count = 1;
          m.AppendTriangle(mask0, mask1, cell.x0, cell.x1, cell.y0, cell.y1, cell.z00, cell.z01, cell.z10, cell.z11,
                           count, flip, fill);
          ASSERT_EQ(count, 1 + (e ? e->triangles : 0));
          EXPECT_EQ(m.EdgeArray[0].w, 7.0f);
          if (!e) {
            for (int k = 3; k < 9; ++k) EXPECT_TRUE(SameBits(m.EdgeArray[k], Point(0, 0, 0)));
            continue;
          }
          for (int t = 0; t < e->triangles; ++t) ExpectTriangle(m, 1 + t, *e, t, cell, flip);
          EXPECT_EQ(m.Triangles[1].pNeighbour[0], e->triangles == 2 ? m.Triangles + 2 : nullptr);
          EXPECT_EQ(CheckMesh(m), "");
        }
}

TEST(MeshFromField, BuilderMatchesThePixelByPixelReference) {
  const int sizes[] = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31};
  for (unsigned seed = 1; seed <= 60; ++seed) {
    std::mt19937 rng(seed);
    const int sx = sizes[rng() % 12], sy = sizes[rng() % 12];
    const bool above = rng() % 2;
    const int density = 1 + int(rng() % 10);  // share of valid pixels in tenths
    CSSEMatrix field;
    std::uniform_real_distribution<float> height(0.5f, 4.0f);
    // Every fifth seed has infinite heights among the valid pixels: their
    // differences give infinite and NaN normals, whose bits both paths must
    // agree on too.
    const bool infinities = seed % 5 == 0;
    mesh_test::MakeField(field, sx, sy, [&](int, int) {
      const bool valid = int(rng() % 10) < density;
      const float h = infinities && rng() % 7 == 0 ? std::numeric_limits<float>::infinity() : height(rng);
      return above ? (valid ? h : 0.0f) : (valid ? -h : 0.0f);
    });
    if (seed % 3 == 0) {  // padding lanes are data for this builder
      __m128** lines = field.GetMatrixDataDirectly();
      for (int x = 0; x < sx; ++x)
        for (int y = sy; y < 4 * field.GetSSESizeY(); ++y)
          reinterpret_cast<float*>(lines[y >> 2] + x)[y & 3] = above ? 1.0f : -1.0f;
    }
    const float sX = seed % 2 ? 1.0f : 0.1f, sY = seed % 4 < 2 ? 1.0f : 0.3f;
    CHTriangulation fast(0, sX, sY, 1), slow(0, sX, sY, 1);
    fast.CreateTriangulationFromSSEField(&field, 0.0f, above);
    ReferenceBuild(slow, field, 0.0f, above);
    const std::string where = testing::PrintToString(seed) + " (" + std::to_string(sx) + "x" + std::to_string(sy) + ")";
    ASSERT_EQ(CheckMesh(fast), "") << where;
    ExpectSameMesh(fast, slow, "seed " + where);
  }
}

TEST(MeshFromField, CountStaysAtTwiceTheValidPixels) {
  CSSEMatrix field;
  mesh_test::MakeField(field, 6, 5, [](int x, int y) { return 1.0f + x + 10.0f * y; });
  const int n = 30;  // padding lanes hold 0 and are not valid
  CHTriangulation m(&field, 0.0f, true, 1, 1, 1);
  ASSERT_EQ(m.NumTriangles, 2 * n);
  // Cells: 5 columns x 4 rows of full cells (rows from 4 on are not visited).
  const int written = 2 * 5 * 4;
  for (int i = written; i < m.NumTriangles; ++i) {
    EXPECT_EQ(m.Triangles[i].Type, -1);
    for (int k = 0; k < 3; ++k) EXPECT_TRUE(SameBits(m.EdgeArray[3 * i + k], Point(0, 0, 0))) << i;
  }
  EXPECT_TRUE(SameBits(m.PointArray[0], Point(0, 0, 0))) << "the unwritten tail pulls the box to the origin";
  EXPECT_EQ(CheckMesh(m, {true, true, true}), "");
}

TEST(MeshFromField, SmallBlocksAndMissingCorners) {
  struct Case {
    const char* name;
    float values[4];  // (0,0), (1,0), (0,1), (1,1)
    int triangles;
    float firstCornerX, firstCornerY;
  } cases[] = {
      {"full block", {1, 2, 3, 4}, 2, 0, 0},
      {"(1,1) missing", {1, 2, 3, 0}, 1, 0, 0},
      {"(0,0) missing", {0, 2, 3, 4}, 1, 1, 0},
      {"two missing", {0, 2, 0, 4}, 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    // Five rows, so that one SSE row of cells is visited (the last SSE row
    // never is); rows 2 to 4 hold no data.
    CSSEMatrix field;
    mesh_test::MakeField(field, 2, 5, [&](int x, int y) { return y < 2 ? c.values[x + 2 * y] : 0.0f; });
    CHTriangulation m(0, 1, 1, 1);
    m.CreateTriangulationFromSSEField(&field, 0.5f, true);
    int written = 0;
    for (int i = 0; i < m.NumTriangles; ++i) written += m.Triangles[i].pPoint[0]->z != 0.0f;
    EXPECT_EQ(written, c.triangles);
    if (c.triangles > 0) {
      EXPECT_EQ(m.EdgeArray[0].x, c.firstCornerX);
      EXPECT_EQ(m.EdgeArray[0].y, c.firstCornerY);
    }
    if (c.triangles == 2) {  // split along (0, 0)-(1, 1)
      EXPECT_TRUE(SameBits(m.EdgeArray[1], Point(1, 1, 4)));
      EXPECT_TRUE(SameBits(m.EdgeArray[5], Point(1, 1, 4)));
    }
  }
}

TEST(MeshFromField, SurfacesValidBelowTheThresholdFaceDown) {
  CSSEMatrix field;
  mesh_test::MakeField(field, 9, 9, [](int, int) { return -2.0f; });
  CHTriangulation down(&field, -1.0f, false, 1, 1, 1);
  ASSERT_GT(down.NumTriangles, 0);
  for (int i = 0; i < 2 * 8 * 8; ++i) {
    for (int k = 0; k < 3; ++k) ASSERT_TRUE(SameBits(down.NormalArray[3 * i + k], Point(-0.0f, -0.0f, -1, -0.0f)));
    ASSERT_EQ(down.MainNormalArray[i].z, -1.0f);
  }
  mesh_test::MakeField(field, 9, 9, [](int, int) { return 2.0f; });
  CHTriangulation up(&field, 1.0f, true, 1, 1, 1);
  EXPECT_TRUE(SameBits(up.NormalArray[0], Point(0, 0, 1)));
}

TEST(MeshFromField, EmptyInputsGiveEmptyMeshes) {
  CSSEMatrix zero;
  zero.Create(5, 5);
  CSSEMatrix none;
  for (CSSEMatrix* f : {&zero, &none, static_cast<CSSEMatrix*>(nullptr)}) {
    CHTriangulation m(f, 0.0f, true, 1, 1, 1);
    EXPECT_EQ(m.NumTriangles, 0);
    EXPECT_EQ(CheckMesh(m), "");
    CHTriangulation s(f, 0.0f, true, 1, 1, 1, 2, 2);
    EXPECT_EQ(s.NumTriangles, 0);
  }
}

TEST(MeshFromField, SubsampledBuilderVisitsTheCoarseGridAndTrims) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 rng(seed);
    const int sx = 1 + int(rng() % 23), sy = 1 + int(rng() % 23);
    const int stepX = 1 + int(rng() % 4), stepY = 1 + int(rng() % 4);
    const bool above = seed % 2;
    CSSEMatrix field;
    mesh_test::MakeField(field, sx, sy, [&](int, int) {
      const float v = rng() % 5 ? 1.0f + float(rng() % 100) / 8 : 0.0f;
      return above ? v : -v;
    });
    CHTriangulation m(0, 0.5f, 2.0f, 1);
    m.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, above, stepX, stepY);
    // The reference: the coarse cells one by one through AppendTriangle.
    CHTriangulation r(2 * sx * sy + 2, 0.5f, 2.0f, 1);
    int count = 0;
    auto valid = [&](int x, int y) { return above ? field.GetPoint(x, y) > 0 : field.GetPoint(x, y) < 0; };
    for (int x = 0; x < sx - stepX; x += stepX)
      for (int y = 0; y < sy - stepY; y += stepY)
        r.AppendTriangle(valid(x, y) | valid(x, y + stepY) << 1, valid(x + stepX, y) | valid(x + stepX, y + stepY) << 1,
                         float(x) * 0.5f, float(x + stepX) * 0.5f, float(y) * 2.0f, float(y + stepY) * 2.0f,
                         field.GetPoint(x, y), field.GetPoint(x, y + stepY), field.GetPoint(x + stepX, y),
                         field.GetPoint(x + stepX, y + stepY), count, !above, false);
    r.NumTriangles = count;
    const std::string where = "seed " + std::to_string(seed);
    ASSERT_EQ(CheckMesh(m), "") << where;
    ExpectSameMesh(m, r, where);
  }
}

TEST(MeshFromField, SubsampledZeroStepLeavesTheMeshAlone) {
  CSSEMatrix field;
  mesh_test::MakeField(field, 4, 4, [](int, int) { return 1.0f; });
  CHTriangulation m(5, 1, 1, 1);
  m.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, true, 0, 3);
  EXPECT_EQ(m.NumTriangles, 5);
  m.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, true, 2, 0);
  EXPECT_EQ(m.NumTriangles, 5);
}

TEST(MeshFromField, ConstructorsRunTheirPasses) {
  CSSEMatrix field;
  mesh_test::MakeField(field, 12, 10, [](int x, int y) { return 1.0f + 0.25f * x - 0.125f * y; });
  CHTriangulation full(&field, 0.0f, true, 0.5f, 0.25f, 1.0f);
  EXPECT_EQ(CheckMesh(full, {true, true, true}), "");
  CHTriangulation sub(&field, 0.0f, true, 0.5f, 0.25f, 1.0f, 3, 2);
  EXPECT_EQ(CheckMesh(sub, {true, true, true}), "");
  EXPECT_GT(sub.NumTriangles, 0);
  // Heights are not scaled; x and y are.
  EXPECT_EQ(full.PointArray[1].x, 5.5f);
  EXPECT_EQ(full.PointArray[1].z, 1.0f + 0.25f * 11);
}
