// Meshes from height fields: the cell case table of AppendTriangle, and both
// builders against a cell-by-cell loop through it on seeded random fields.

#include "mesh_testing.h"

namespace {

using namespace mesh_test;

// Corners: P00, P01, P10, P11 (bit 1 = x1, bit 0 = y1). Normals: A = (dX0, dY0),
// B = (dX1, dY1), C = (dX1, dY0), D = (dX0, dY1).
enum { P00, P01, P10, P11 };
enum { A, B, C, D };
struct Expected {
  int mask0, mask1, triangles, corners[2][3], normals[2][3];
};
const Expected kTable[] = {
    {3, 3, 2, {{P00, P11, P01}, {P00, P10, P11}}, {{A, B, C}, {A, D, B}}},
    {3, 1, 1, {{P00, P10, P01}}, {{A, D, C}}},
    {3, 2, 1, {{P00, P11, P01}}, {{A, B, C}}},
    {1, 3, 1, {{P00, P10, P11}}, {{A, D, B}}},
    {2, 3, 1, {{P10, P11, P01}}, {{D, B, C}}},
};

TEST(MeshFromField, AppendTriangleCaseTable) {
  const float xs[2] = {2, 3}, ys[2] = {5, 6}, z[4] = {1.0f, 1.5f, 0.25f, 2.0f};  // z by corner
  const float dX0 = z[P00] - z[P10], dX1 = z[P01] - z[P11], dY0 = z[P00] - z[P01], dY1 = z[P10] - z[P11];
  for (int mask0 = 0; mask0 < 4; ++mask0)
    for (int mask1 = 0; mask1 < 4; ++mask1)
      for (bool flip : {false, true})
        for (bool fill : {false, true}) {
          SCOPED_TRACE(testing::Message() << mask0 << "," << mask1 << " flip " << flip << " fill " << fill);
          // Filling turns a single valid corner on a side into two.
          const int m0 = fill && (mask0 == 1 || mask0 == 2) ? 3 : mask0,
                    m1 = fill && (mask1 == 1 || mask1 == 2) ? 3 : mask1;
          const Expected* e = nullptr;
          for (const Expected& row : kTable)
            if (row.mask0 == m0 && row.mask1 == m1) e = &row;
          CHTriangulation m(3, 1, 1, 1);
          m.EdgeArray[0].w = 7.0f;  // corner w is left as it was
          int count = 1;
          m.AppendTriangle(mask0, mask1, xs[0], xs[1], ys[0], ys[1], z[P00], z[P01], z[P10], z[P11], count, flip, fill);
          ASSERT_TRUE(AllEqual({FIELD(count, 1 + (e ? e->triangles : 0)), FIELD(m.EdgeArray[0].w, 7.0f)}));
          for (int k = 3; !e && k < 9; ++k) EXPECT_TRUE(SamePoint(m.EdgeArray[k], Point(0, 0, 0))) << k;
          for (int t = 0; e && t < e->triangles; ++t) {
            __m128 sum;
            for (int k = 0; k < 3; ++k) {
              const int c = e->corners[t][k], w = e->normals[t][k];
              SSEPoint n;
              n.m = CSSEFns::normalizevector(
                  _mm_set_ps(0.0f, 1.0f, w == A || w == C ? dY0 : dY1, w == A || w == D ? dX0 : dX1));
              if (flip) n.m = _mm_xor_ps(n.m, _mm_set1_ps(-0.0f));
              EXPECT_TRUE(SamePoint(m.EdgeArray[3 + 3 * t + k], Point(xs[c >> 1], ys[c & 1], z[c])))
                  << t << " corner " << k;
              EXPECT_TRUE(SamePoint(m.NormalArray[3 + 3 * t + k], n)) << t << " normal " << k;
              sum = k ? _mm_add_ps(sum, n.m) : n.m;  // (n0 + n1) + n2: a -0 lane stays -0
            }
            SSEPoint main;
            main.m = CSSEFns::normalizevector(sum);
            EXPECT_TRUE(SamePoint(m.MainNormalArray[1 + t], main)) << t;
          }
          EXPECT_TRUE(NoViolation(CheckMesh(m)));
          if (e) EXPECT_EQ(m.Triangles[1].pNeighbour[0], e->triangles == 2 ? m.Triangles + 2 : nullptr);
        }
}

// The builders written plainly: every cell of step pixels whose lower corner
// lies below (xEnd, yEnd), one AppendTriangle each, heights read by h(x, y).
template <class H>
int ReferenceCells(CHTriangulation& m, int xEnd, int yEnd, int stepX, int stepY, bool above, H h) {
  auto valid = [&](int x, int y) { return above ? h(x, y) > 0.0f : h(x, y) < 0.0f; };
  int count = 0;
  for (int x = 0; x < xEnd; x += stepX)
    for (int y = 0; y < yEnd; y += stepY) {
      const int x1 = x + stepX, y1 = y + stepY;
      const float x0 = float(x) * m.ScaleX, y0 = float(y) * m.ScaleY;
      m.AppendTriangle(valid(x, y) | valid(x, y1) << 1, valid(x1, y) | valid(x1, y1) << 1, x0,
                       x0 + float(stepX) * m.ScaleX, y0, y0 + float(stepY) * m.ScaleY, h(x, y), h(x, y1), h(x1, y),
                       h(x1, y1), count, !above, false);
    }
  return count;
}

void ExpectSameMesh(const CHTriangulation& a, const CHTriangulation& b) {
  ASSERT_EQ(CheckMesh(a), "");
  ASSERT_EQ(a.NumTriangles, b.NumTriangles);
  ASSERT_EQ(std::memcmp(a.EdgeArray, b.EdgeArray, 48 * a.NumTriangles), 0);
  ASSERT_EQ(std::memcmp(a.NormalArray, b.NormalArray, 48 * a.NumTriangles), 0);
  for (int i = 0; i < a.NumTriangles; ++i) {
    const t_htriangle &ta = a.Triangles[i], &tb = b.Triangles[i];
    for (auto [name, pa, pb] : {std::tuple{"main normal", a.MainNormalArray, b.MainNormalArray},
                                {"S", a.SArray, b.SArray},
                                {"T", a.TArray, b.TArray},
                                {"V", a.VArray, b.VArray}})
      ASSERT_TRUE(SamePoint(pa[i], pb[i])) << name << " of triangle " << i;
    ASSERT_TRUE(AllEqual({FIELD(ta.Index, tb.Index), FIELD(ta.Type, tb.Type)})) << i;
    for (int k = 0; k < 3; ++k)
      ASSERT_EQ(ta.pNeighbour[k] ? ta.pNeighbour[k] - a.Triangles : -1,
                tb.pNeighbour[k] ? tb.pNeighbour[k] - b.Triangles : -1)
          << i;
  }
}

TEST(MeshFromField, BuildersMatchTheCellByCellReference) {
  const int sizes[] = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31};
  for (unsigned seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 rng(seed);
    const int sx = sizes[rng() % 12], sy = sizes[rng() % 12], density = 1 + int(rng() % 10);  // tenths valid
    const bool above = rng() % 2;
    std::uniform_real_distribution<float> height(0.5f, 4.0f);
    // Every fifth seed has infinite heights among the valid pixels: their
    // differences give infinite and NaN normals, whose bits must agree too.
    CSSEMatrix field;
    MakeField(field, sx, sy, [&](int, int) {
      const float h = seed % 5 == 0 && rng() % 7 == 0 ? std::numeric_limits<float>::infinity() : height(rng);
      return int(rng() % 10) < density ? (above ? h : -h) : 0.0f;
    });
    __m128** lines = field.GetMatrixDataDirectly();
    auto lane = [&](int x, int y) { return reinterpret_cast<const float*>(lines[y >> 2] + x)[y & 3]; };
    if (seed % 3 == 0)  // padding lanes are data for the full builder
      for (int x = 0; x < sx; ++x)
        for (int y = sy; y < 4 * field.GetSSESizeY(); ++y)
          reinterpret_cast<float*>(lines[y >> 2] + x)[y & 3] = above ? 1.0f : -1.0f;
    // The full builder: every cell but those of the last SSE row, the count
    // twice the valid pixels with an unwritten tail.
    const float sX = seed % 2 ? 1.0f : 0.1f, sY = seed % 4 < 2 ? 1.0f : 0.3f;
    CHTriangulation fast(0, sX, sY, 1), slow(0, sX, sY, 1);
    fast.CreateTriangulationFromSSEField(&field, 0.0f, above);
    const int valid = above ? field.NumValuesAbove(0.0f) : field.NumValuesBelow(0.0f);
    if (valid > 0)
      slow.CreateTriangulation(2 * valid),
          ReferenceCells(slow, field.GetSSESizeX() - 1, 4 * (field.GetSSESizeY() - 1), 1, 1, above, lane);
    ExpectSameMesh(fast, slow);
    // The subsampled builder: the coarse grid inside the field, trimmed to the cells written.
    const int stepX = 1 + int(rng() % 4), stepY = 1 + int(rng() % 4);
    CHTriangulation sub(0, 0.5f, 2.0f, 1), ref(2 * sx * sy + 2, 0.5f, 2.0f, 1);
    sub.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, above, stepX, stepY);
    ref.NumTriangles = ReferenceCells(ref, sx - stepX, sy - stepY, stepX, stepY, above,
                                      [&](int x, int y) { return field.GetPoint(x, y); });
    ExpectSameMesh(sub, ref);
    if (HasFatalFailure()) return;
  }
}

TEST(MeshFromField, ConstructorsRunTheirPassesOverTheUnwrittenTail) {
  CSSEMatrix field, zero, none;
  MakeField(field, 6, 5, [](int x, int y) { return 1.0f + 0.25f * x + 10.0f * y; });
  CHTriangulation m(&field, 0.0f, true, 0.5f, 0.25f, 1.0f), sub(&field, 0.0f, true, 0.5f, 0.25f, 1.0f, 3, 2);
  EXPECT_TRUE(NoViolation(CheckMesh(m, kAll)));
  EXPECT_TRUE(NoViolation(CheckMesh(sub, kAll)));
  EXPECT_GT(sub.NumTriangles, 0);
  ASSERT_EQ(m.NumTriangles, 2 * 30);  // padding lanes hold 0 and are not valid
  // 5 columns x 4 rows of cells are written (rows from 4 on are not visited);
  // the zero tail pulls the box to the origin. Heights are not scaled; x and y are.
  for (int i = 2 * 5 * 4; i < m.NumTriangles; ++i) {
    EXPECT_EQ(m.Triangles[i].Type, -1) << i;
    EXPECT_TRUE(SamePoint(m.EdgeArray[3 * i], Point(0, 0, 0))) << i;
    EXPECT_TRUE(SamePoint(m.EdgeArray[3 * i + 2], Point(0, 0, 0))) << i;
  }
  EXPECT_TRUE(SamePoint(m.PointArray[0], Point(0, 0, 0)));
  EXPECT_TRUE(SamePoint(m.PointArray[1], Point(2.5f, 1.0f, 1.0f + 0.25f * 5 + 40.0f, 0)));
  // Empty fields and zero steps change nothing.
  zero.Create(5, 5);
  for (CSSEMatrix* f : {&zero, &none, static_cast<CSSEMatrix*>(nullptr)}) {
    CHTriangulation e(f, 0.0f, true, 1, 1, 1), s(f, 0.0f, true, 1, 1, 1, 2, 2);
    EXPECT_TRUE(ValidMesh(e, 0));
    EXPECT_EQ(s.NumTriangles, 0);
  }
  m.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, true, 0, 3),
      m.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, true, 2, 0);
  EXPECT_EQ(m.NumTriangles, 60);
}

}  // namespace
