// The solid between two height fields: closed, wound consistently, and
// enclosing the volume between the plain builder's two surfaces.

#include "edge_use.h"
#include "mesh_testing.h"

namespace {

using namespace mesh_test;

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

TEST(MeshTwoFields, RectangleAndBadInput) {
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

  CSSEMatrix other;
  other.Create(11, 9);
  other.Fill(1.0f);
  const int rectangles[][4] = {{7, 2, 0, 7}, {0, 10, 5, 5}, {20, 30, 0, 7}};
  for (const auto& r : rectangles) {
    CHTriangulation m(&f.top, &f.bottom, true, 1, 1, 1, r[0], r[1], r[2], r[3], 1, 1);
    EXPECT_EQ(m.NumTriangles, 0) << r[0] << " " << r[1] << " " << r[2] << " " << r[3];
  }
  CHTriangulation differentSizes(&f.top, &other, true, 1, 1, 1, 1, 1);
  CHTriangulation none(nullptr, &other, true, 1, 1, 1, 1, 1);
  EXPECT_TRUE(AllEqual({FIELD(differentSizes.NumTriangles, 0), FIELD(none.NumTriangles, 0)}));
  whole.CreateTriangulationFromSSEFieldSubSampledTwoFields(&f.top, &f.bottom, true, 0, 1);
  EXPECT_EQ(whole.NumTriangles, clipped.NumTriangles);  // a zero step leaves the mesh alone
}

}  // namespace
