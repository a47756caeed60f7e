// Meshes from height fields: the cell case table of AppendTriangle, both
// builders against a cell-by-cell loop through it on seeded random fields,
// the polygon and sub-rectangle variants of the subsampled builder against
// the plain one with its cells filtered afterwards, and the solid between
// two height fields: closed, wound consistently, and enclosing the volume
// between the plain builder's two surfaces.

#include <functional>

#include "edge_use.h"
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

// Power-of-two scales, so a triangle's cell comes back exactly from its corners.
constexpr float kScaleX = 0.5f, kScaleY = 2.0f;

// The triangles of `plain` whose cell passes keep, in order, bit for bit
// (corners, vertex normals, main normal) in `variant`. Without keep, every
// triangle, and with it Type and the neighbour links.
testing::AssertionResult SameAsFiltered(const CHTriangulation& plain, const CHTriangulation& variant,
                                        const std::function<bool(int, int)>& keep = {}) {
  int k = 0;
  for (int i = 0; i < plain.NumTriangles; ++i) {
    // The lower corner (pixels) of the cell the triangle came from.
    const SSEPoint* corner = plain.EdgeArray + 3 * i;
    const int x = int(std::min({corner[0].x, corner[1].x, corner[2].x}) / kScaleX),
              y = int(std::min({corner[0].y, corner[1].y, corner[2].y}) / kScaleY);
    if (keep && !keep(x, y)) continue;
    if (k >= variant.NumTriangles)
      return testing::AssertionFailure() << "variant lacks the triangle of cell " << x << "," << y;
    for (int c = 0; c < 3; ++c)
      if (!SamePoint(plain.EdgeArray[3 * i + c], variant.EdgeArray[3 * k + c]) ||
          !SamePoint(plain.NormalArray[3 * i + c], variant.NormalArray[3 * k + c]))
        return testing::AssertionFailure()
               << "triangle " << k << " (cell " << x << "," << y << ") differs at corner " << c;
    if (!SamePoint(plain.MainNormalArray[i], variant.MainNormalArray[k]))
      return testing::AssertionFailure() << "main normal of triangle " << k << " differs";
    const t_htriangle &p = plain.Triangles[i], &v = variant.Triangles[k];
    for (int n = 0; !keep && n < 3; ++n)
      if (p.Type != v.Type || (p.pNeighbour[n] ? p.pNeighbour[n] - plain.Triangles : -1) !=
                                  (v.pNeighbour[n] ? v.pNeighbour[n] - variant.Triangles : -1))
        return testing::AssertionFailure() << "Type or neighbour " << n << " of triangle " << k << " differs";
    ++k;
  }
  if (k != variant.NumTriangles)
    return testing::AssertionFailure() << "variant has " << variant.NumTriangles - k << " extra triangles";
  return testing::AssertionSuccess();
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
    EXPECT_TRUE(NoViolation(CheckMesh(fast)));
    EXPECT_TRUE(SameAsFiltered(slow, fast));
    // The subsampled builder: the coarse grid inside the field, trimmed to the cells written.
    const int stepX = 1 + int(rng() % 4), stepY = 1 + int(rng() % 4);
    CHTriangulation sub(0, 0.5f, 2.0f, 1), ref(2 * sx * sy + 2, 0.5f, 2.0f, 1);
    sub.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, above, stepX, stepY);
    ref.NumTriangles = ReferenceCells(ref, sx - stepX, sy - stepY, stepX, stepY, above,
                                      [&](int x, int y) { return field.GetPoint(x, y); });
    EXPECT_TRUE(SameAsFiltered(ref, sub));
  }
}

TEST(MeshFromField, ConstructorsRunTheirPassesOverTheUnwrittenTail) {
  CSSEMatrix field;
  MakeField(field, 6, 5, [](int x, int y) { return 1.0f + 0.25f * x + 10.0f * y; });
  CHTriangulation m(&field, 0.0f, true, 0.5f, 0.25f, 1.0f), sub(&field, 0.0f, true, 0.5f, 0.25f, 1.0f, 3, 2);
  EXPECT_TRUE(NoViolation(CheckMesh(m, kAll)));
  EXPECT_TRUE(NoViolation(CheckMesh(sub, kAll)));
  EXPECT_GT(sub.NumTriangles, 0);
  ASSERT_EQ(m.NumTriangles, 2 * 30);  // padding lanes hold 0 and are not valid
  // 5 columns x 4 rows of cells are written (rows from 4 on are not visited);
  // the zero tail (its records compared with the reference above) pulls the
  // box to the origin. Heights are not scaled; x and y are.
  EXPECT_TRUE(SamePoint(m.PointArray[0], Point(0, 0, 0)));
  EXPECT_TRUE(SamePoint(m.PointArray[1], Point(2.5f, 1.0f, 1.0f + 0.25f * 5 + 40.0f, 0)));
}

// A field with holes (0) and heights in [1, 9]; odd sizes on purpose.
void RandomField(CSSEMatrix& f, int sx, int sy, std::mt19937& rng) {
  std::uniform_real_distribution<float> h(1.0f, 9.0f);
  MakeField(f, sx, sy, [&](int, int) { return rng() % 7 == 0 ? 0.0f : h(rng); });
}

// A star-shaped polygon around the field's middle whose corners sit on
// half-pixel positions, so cell centres fall on its edges and corners.
void RandomStar(CSSE3dPolygon& p, int sx, int sy, std::mt19937& rng) {
  const int n = 3 + int(rng() % 12);
  p.Create(n);
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307179586 * i / n, r = 0.2 + 0.5 * (rng() % 100) / 100.0;
    p.SetPoint(i, std::round(float(sx * (0.5 + r * std::cos(a))) * 2) / 2,
               std::round(float(sy * (0.5 + r * std::sin(a))) * 2) / 2, 0);
  }
}

// The polygon variant keeps exactly the cells whose centre is inside; the
// rectangle variant is the plain builder cut to the rectangle (clipped to
// the raster), and fills a cell with one valid corner per column on request.
TEST(MeshSubsampledVariants, PolygonAndRectangleVariantsAreThePlainBuilderFiltered) {
  const int sizes[] = {1, 2, 3, 5, 7, 17, 31, 40};
  int kept = 0, dropped = 0;
  for (unsigned seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 rng(seed);
    const int sx = sizes[rng() % 8], sy = sizes[rng() % 8], stepX = 1 + rng() % 3, stepY = 1 + rng() % 3;
    const bool above = rng() % 2;
    CSSEMatrix field;
    RandomField(field, sx, sy, rng);
    CSSE3dPolygon polygon;
    RandomStar(polygon, sx, sy, rng);
    const float threshold = above ? 0.0f : 7.0f;
    CHTriangulation plain(&field, threshold, above, kScaleX, kScaleY, 1, stepX, stepY);
    CHTriangulation variant(&field, threshold, above, kScaleX, kScaleY, 1, stepX, stepY, &polygon);
    EXPECT_TRUE(SameAsFiltered(plain, variant, [&](int x, int y) {
      return polygon.PointInLineInnerArea(x + stepX * 0.5f, y + stepY * 0.5f, 1);
    }));
    EXPECT_EQ(CheckMesh(variant, kAll), "");
    kept += variant.NumTriangles;
    dropped += plain.NumTriangles - variant.NumTriangles;
    CHTriangulation whole(&field, threshold, above, kScaleX, kScaleY, 1, -5, sx + 9, -1, sy - 1, stepX, stepY, false);
    EXPECT_TRUE(SameAsFiltered(plain, whole));
    const int x0 = stepX * int(rng() % 5), y0 = stepY * int(rng() % 5);  // on the lattice
    const int x1 = x0 + int(rng() % 30), y1 = y0 + int(rng() % 30);
    CHTriangulation part(&field, threshold, above, kScaleX, kScaleY, 1, x0, x1, y0, y1, stepX, stepY, false);
    EXPECT_TRUE(SameAsFiltered(plain, part,
                               [&](int x, int y) { return x >= x0 && y >= y0 && x + stepX <= x1 && y + stepY <= y1; }))
        << "rectangle " << x0 << ".." << x1 << " x " << y0 << ".." << y1;
  }
  EXPECT_GT(kept, 1000) << "the cases should mix";
  EXPECT_GT(dropped, 1000) << "the cases should mix";
  CSSEMatrix field;
  MakeField(field, 2, 2, [](int x, int y) { return x == 1 && y == 1 ? 0.0f : 3.0f; });
  CHTriangulation plain(&field, 0.0f, true, 1, 1, 1, 0, 1, 0, 1, 1, 1, false);
  CHTriangulation filled(&field, 0.0f, true, 1, 1, 1, 0, 1, 0, 1, 1, 1, true);
  ASSERT_TRUE(AllEqual({FIELD(plain.NumTriangles, 1), FIELD(filled.NumTriangles, 2)}));
  EXPECT_EQ(filled.EdgeArray[1].z, 0.0f);  // P11 takes the invalid pixel's value
}

// Empty or missing fields, fields of different sizes, polygons that hold no
// cell and rectangles without cells give an empty mesh; a zero step or no
// field leaves the mesh as it was.
TEST(MeshFromField, BadInputGivesAnEmptyMeshOrLeavesItAlone) {
  CSSEMatrix field, zero, none;
  MakeField(field, 9, 9, [](int, int) { return 2.0f; });
  zero.Create(5, 5);
  for (CSSEMatrix* f : {&zero, &none, static_cast<CSSEMatrix*>(nullptr)}) {
    CHTriangulation plain(f, 0.0f, true, 1, 1, 1), sub(f, 0.0f, true, 1, 1, 1, 2, 2),
        two(f, &field, true, 1, 1, 1, 1, 1);
    EXPECT_TRUE(ValidMesh(plain, 0));
    EXPECT_TRUE(AllEqual({FIELD(sub.NumTriangles, 0), FIELD(two.NumTriangles, 0)}));
  }
  CSSE3dPolygon two = Polygon({{0, 0, 0}, {8, 8, 0}}), flat = Polygon({{0, 0, 0}, {4, 4, 0}, {8, 8, 0}}),
                far = Polygon({{100, 100, 0}, {110, 100, 0}, {100, 110, 0}});
  for (CSSE3dPolygon* p : {&two, &flat, &far, static_cast<CSSE3dPolygon*>(nullptr)})
    EXPECT_EQ(CHTriangulation(&field, 0.0f, true, 1, 1, 1, 1, 1, p).NumTriangles, 0) << (p ? p->GetNumPoints() : -1);
  const int rectangles[][4] = {{5, 2, 0, 8}, {0, 8, 6, 6}, {20, 30, 0, 8}, {0, 8, -9, -2}};
  for (const auto& r : rectangles) {
    CHTriangulation one(&field, 0.0f, true, 1, 1, 1, r[0], r[1], r[2], r[3], 1, 1, false),
        solid(&field, &field, true, 1, 1, 1, r[0], r[1], r[2], r[3], 1, 1);
    EXPECT_TRUE(AllEqual({FIELD(one.NumTriangles, 0), FIELD(solid.NumTriangles, 0)}))
        << r[0] << " " << r[1] << " " << r[2] << " " << r[3];
  }
  CHTriangulation m(&field, 0.0f, true, 1, 1, 1, 1, 1);
  const int before = m.NumTriangles;
  m.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, true, 0, 3);
  m.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, true, 2, 0);
  m.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, true, 0, 8, 0, 8, 0, 1, false);
  m.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, true, 0, 1, &far);
  m.CreateTriangulationFromSSEFieldSubSampled(nullptr, 0.0f, true, 0, 8, 0, 8, 1, 1, false);
  m.CreateTriangulationFromSSEFieldSubSampledTwoFields(&field, &field, true, 0, 1);
  EXPECT_EQ(m.NumTriangles, before);
}

// Sum over the triangles of their signed x-y area times their mean z: the
// volume between a surface and z = 0.
double VolumeUnder(const CHTriangulation& m) {
  double v = 0.0;
  for (int i = 0; i < m.NumTriangles; ++i) {
    const SSEPoint &a = m.EdgeArray[3 * i], &b = m.EdgeArray[3 * i + 1], &c = m.EdgeArray[3 * i + 2];
    v += AreaXY(a, b, c) * (double(a.z) + b.z + c.z) / 3.0;
  }
  return v;
}

struct Fields {
  CSSEMatrix top, bottom;
};

// Bottom heights in [1, 4], top 0.5 to 5 above; no data outside `inside`.
template <class Inside>
void MakeFields(Fields& f, int sx, int sy, std::mt19937& rng, Inside inside) {
  std::uniform_real_distribution<float> base(1.0f, 4.0f), gap(0.5f, 5.0f);
  f.bottom.Create(sx, sy), f.top.Create(sx, sy);
  for (int y = 0; y < sy; ++y)
    for (int x = 0; x < sx; ++x) {
      if (!inside(x, y)) continue;
      const float b = base(rng);
      f.bottom.SetPoint(x, y, b);
      f.top.SetPoint(x, y, b + gap(rng));
    }
}

// Seeds 1 to 30 take elliptic regions (closed solids, steps alike in x and
// y), the rest random masks with holes in one field only.
TEST(MeshTwoFields, SolidsHoldTheVolumeBetweenThePlainBuildersSurfaces) {
  const int sizes[] = {1, 2, 3, 5, 7, 17, 31};
  int solids = 0;
  for (unsigned seed = 1; seed <= 70; ++seed) {
    const bool disk = seed <= 30;
    std::mt19937 rng(disk ? seed : seed - 30);
    int sx, sy, stepX, stepY;
    Fields f;
    if (disk) {
      sx = 3 + rng() % 40;
      sy = 3 + rng() % 40;
      stepX = stepY = 1 + rng() % 2;
      const double cx = sx * 0.5, cy = sy * 0.5, rx = sx * (0.2 + 0.3 * (rng() % 100) / 100.0), ry = sy * 0.45;
      MakeFields(f, sx, sy, rng, [&](int x, int y) {
        return (x - cx) * (x - cx) / (rx * rx) + (y - cy) * (y - cy) / (ry * ry) <= 1.0;
      });
    } else {
      sx = sizes[rng() % 7];
      sy = sizes[rng() % 7];
      stepX = 1 + rng() % 2;
      stepY = 1 + rng() % 3;
      MakeFields(f, sx, sy, rng, [&](int, int) { return rng() % 5 != 0; });
      for (int k = 0; k < sx * sy / 8; ++k) (k % 2 ? f.top : f.bottom).SetPoint(rng() % sx, rng() % sy, 0.0f);
    }
    const float scaleX = disk ? 0.5f : 1.0f, scaleY = disk ? 2.0f : 1.0f;
    CHTriangulation solid(&f.top, &f.bottom, true, scaleX, scaleY, 1.0f, stepX, stepY);
    if (disk && solid.NumTriangles > 0) ++solids;
    // A disk gives a closed solid; masks may touch themselves at a corner.
    EXPECT_TRUE(EdgesUsed(solid, disk && solid.NumTriangles > 0 ? kClosed : kPaired))
        << "seed " << seed << " size " << sx << "x" << sy << " step " << stepX << "x" << stepY;
    // The plain builder on each field cut to the common pixels gives the
    // same cells: the solid holds the volume between those two surfaces.
    CSSEMatrix top, bottom;
    MakeField(top, sx, sy, [&](int x, int y) { return f.bottom.GetPoint(x, y) == 0 ? 0.0f : f.top.GetPoint(x, y); });
    MakeField(bottom, sx, sy, [&](int x, int y) { return f.top.GetPoint(x, y) == 0 ? 0.0f : f.bottom.GetPoint(x, y); });
    CHTriangulation upper(&top, 0.0f, true, scaleX, scaleY, 1, stepX, stepY),
        lower(&bottom, 0.0f, true, scaleX, scaleY, 1, stepX, stepY);
    const double expected = VolumeUnder(upper) - VolumeUnder(lower);
    EXPECT_NEAR(EnclosedVolume(solid), expected, 1e-9 * (1 + std::fabs(expected)) + 1e-6) << "seed " << seed;
    // Without walls: the two surfaces alone.
    CHTriangulation sheets(&f.top, &f.bottom, false, scaleX, scaleY, 1.0f, stepX, stepY);
    EXPECT_EQ(sheets.NumTriangles, upper.NumTriangles + lower.NumTriangles) << "seed " << seed;
  }
  EXPECT_GT(solids, 20);
}

TEST(MeshTwoFields, RectangleCutsTheSolid) {
  std::mt19937 rng(3);
  Fields f;
  MakeFields(f, 11, 8, rng, [](int, int) { return true; });
  CHTriangulation whole(&f.top, &f.bottom, true, 1, 1, 1, 1, 1);
  CHTriangulation clipped(&f.top, &f.bottom, true, 1, 1, 1, -4, 99, -1, 7, 1, 1);
  ASSERT_EQ(whole.NumTriangles, clipped.NumTriangles);
  EXPECT_EQ(std::memcmp(whole.EdgeArray, clipped.EdgeArray, sizeof(SSEPoint) * 3 * whole.NumTriangles), 0);
  CHTriangulation part(&f.top, &f.bottom, true, 1, 1, 1, 2, 7, 1, 5, 2, 2);
  EXPECT_TRUE(EdgesUsed(part, kClosed));
  SSEPoint lo, hi;
  part.GetMinPoint(lo), part.GetMaxPoint(hi);
  EXPECT_TRUE(SameXY(lo, 2, 1));
  EXPECT_TRUE(SameXY(hi, 6, 5));
}

}  // namespace
