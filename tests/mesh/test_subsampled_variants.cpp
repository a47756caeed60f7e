// The polygon and sub-rectangle variants of the subsampled builder against
// the plain subsampled builder with the cells filtered afterwards.

#include <functional>

#include "mesh_testing.h"

namespace {

using namespace mesh_test;

// Power-of-two scales, so a triangle's cell comes back exactly from its corners.
constexpr float kScaleX = 0.5f, kScaleY = 2.0f;

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

// The triangles of `plain` whose cell passes keep, in order, bit for bit
// (corners, vertex normals, main normal) in `variant`.
testing::AssertionResult SameAsFiltered(const CHTriangulation& plain, const CHTriangulation& variant,
                                        const std::function<bool(int, int)>& keep) {
  int k = 0;
  for (int i = 0; i < plain.NumTriangles; ++i) {
    // The lower corner (pixels) of the cell the triangle came from.
    const SSEPoint* corner = plain.EdgeArray + 3 * i;
    const int x = int(std::min({corner[0].x, corner[1].x, corner[2].x}) / kScaleX),
              y = int(std::min({corner[0].y, corner[1].y, corner[2].y}) / kScaleY);
    if (!keep(x, y)) continue;
    if (k >= variant.NumTriangles)
      return testing::AssertionFailure() << "variant lacks the triangle of cell " << x << "," << y;
    for (int c = 0; c < 3; ++c)
      if (!SameBits(plain.EdgeArray[3 * i + c], variant.EdgeArray[3 * k + c]) ||
          !SameBits(plain.NormalArray[3 * i + c], variant.NormalArray[3 * k + c]))
        return testing::AssertionFailure()
               << "triangle " << k << " (cell " << x << "," << y << ") differs at corner " << c;
    if (!SameBits(plain.MainNormalArray[i], variant.MainNormalArray[k]))
      return testing::AssertionFailure() << "main normal of triangle " << k << " differs";
    ++k;
  }
  if (k != variant.NumTriangles)
    return testing::AssertionFailure() << "variant has " << variant.NumTriangles - k << " extra triangles";
  return testing::AssertionSuccess();
}

TEST(MeshSubsampledVariants, PolygonVariantKeepsExactlyTheCellsWhoseCentreIsInside) {
  const int sizes[] = {1, 2, 3, 5, 7, 17, 31, 40};
  int kept = 0, dropped = 0;
  for (unsigned seed = 1; seed <= 60; ++seed) {
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
    EXPECT_TRUE(SameAsFiltered(
        plain, variant,
        [&](int x, int y) { return polygon.PointInLineInnerArea(x + stepX * 0.5f, y + stepY * 0.5f, 1); }))
        << "seed " << seed;
    EXPECT_EQ(CheckMesh(variant, kAll), "") << "seed " << seed;
    kept += variant.NumTriangles;
    dropped += plain.NumTriangles - variant.NumTriangles;
  }
  EXPECT_GT(kept, 1000) << "the cases should mix";
  EXPECT_GT(dropped, 1000) << "the cases should mix";
}

TEST(MeshSubsampledVariants, SubRectangleIsThePlainBuilderCutToTheRectangle) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    std::mt19937 rng(seed);
    const int sx = 1 + rng() % 40, sy = 1 + rng() % 40, stepX = 1 + rng() % 3, stepY = 1 + rng() % 3;
    CSSEMatrix field;
    RandomField(field, sx, sy, rng);
    CHTriangulation plain(&field, 0.0f, true, kScaleX, kScaleY, 1, stepX, stepY);
    // The whole raster (and beyond: the rectangle is clipped) is the plain mesh.
    CHTriangulation whole(&field, 0.0f, true, kScaleX, kScaleY, 1, -5, sx + 9, -1, sy - 1, stepX, stepY, false);
    EXPECT_TRUE(SameAsFiltered(plain, whole, [](int, int) { return true; })) << "seed " << seed;
    // A rectangle starting on the lattice.
    const int x0 = stepX * int(rng() % 5), y0 = stepY * int(rng() % 5);
    const int x1 = x0 + int(rng() % 30), y1 = y0 + int(rng() % 30);
    CHTriangulation part(&field, 0.0f, true, kScaleX, kScaleY, 1, x0, x1, y0, y1, stepX, stepY, false);
    EXPECT_TRUE(SameAsFiltered(plain, part,
                               [&](int x, int y) { return x >= x0 && y >= y0 && x + stepX <= x1 && y + stepY <= y1; }))
        << "seed " << seed << " rectangle " << x0 << ".." << x1 << " x " << y0 << ".." << y1;
  }
}

TEST(MeshSubsampledVariants, FillCellsMakesEveryCellWithAValidCornerPerColumnFull) {
  CSSEMatrix field;
  MakeField(field, 2, 2, [](int x, int y) { return x == 1 && y == 1 ? 0.0f : 3.0f; });
  CHTriangulation plain(&field, 0.0f, true, 1, 1, 1, 0, 1, 0, 1, 1, 1, false);
  CHTriangulation filled(&field, 0.0f, true, 1, 1, 1, 0, 1, 0, 1, 1, 1, true);
  EXPECT_EQ(plain.NumTriangles, 1);
  ASSERT_EQ(filled.NumTriangles, 2);
  EXPECT_EQ(filled.EdgeArray[1].z, 0.0f);  // P11 takes the invalid pixel's value
}

TEST(MeshSubsampledVariants, BadInputGivesAnEmptyMeshOrLeavesItAlone) {
  CSSEMatrix field;
  MakeField(field, 9, 9, [](int, int) { return 2.0f; });
  CSSE3dPolygon two = Polygon({{0, 0, 0}, {8, 8, 0}}), flat = Polygon({{0, 0, 0}, {4, 4, 0}, {8, 8, 0}}),
                far = Polygon({{100, 100, 0}, {110, 100, 0}, {100, 110, 0}});
  for (CSSE3dPolygon* p : {&two, &flat, &far, static_cast<CSSE3dPolygon*>(nullptr)}) {
    CHTriangulation m(&field, 0.0f, true, 1, 1, 1, 1, 1, p);
    EXPECT_EQ(m.NumTriangles, 0) << (p ? p->GetNumPoints() : -1);
  }
  const int rectangles[][4] = {{5, 2, 0, 8}, {0, 8, 6, 6}, {20, 30, 0, 8}, {0, 8, -9, -2}};
  for (const auto& r : rectangles) {
    CHTriangulation m(&field, 0.0f, true, 1, 1, 1, r[0], r[1], r[2], r[3], 1, 1, false);
    EXPECT_EQ(m.NumTriangles, 0) << r[0] << " " << r[1] << " " << r[2] << " " << r[3];
  }
  // A zero step leaves the mesh as it was.
  CHTriangulation m(&field, 0.0f, true, 1, 1, 1, 1, 1);
  const int before = m.NumTriangles;
  m.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, true, 0, 8, 0, 8, 0, 1, false);
  m.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, true, 0, 1, &far);
  EXPECT_EQ(m.NumTriangles, before);
  m.CreateTriangulationFromSSEFieldSubSampled(nullptr, 0.0f, true, 0, 8, 0, 8, 1, 1, false);
  EXPECT_EQ(m.NumTriangles, before);
}

}  // namespace
