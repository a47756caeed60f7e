// The further scan conversions against the plain conversion followed by the
// equivalent masking or combination.

#include "mesh_testing.h"
#include "relief/TaCFieldRange.h"

namespace {

using namespace mesh_test;

// A random soup over [0, 30)^2 with heights in [1, 5] (never 0, which the
// no-delete conversions read as no data), at a random resolution.
void RandomMesh(CHTriangulation& m, std::mt19937& rng) {
  std::uniform_real_distribution<float> coord(0.0f, 30.0f), height(1.0f, 5.0f);
  std::vector<Tri> soup(1 + rng() % 30);
  for (Tri& t : soup)
    for (Corner& c : t) c = {coord(rng), coord(rng), height(rng), 0};
  Fill(m, soup);
  m.SetScanConvResolution(rng() % 3 ? 0.3f + float(rng() % 20) / 10 : 0.5f,
                          rng() % 3 ? 0.3f + float(rng() % 20) / 10 : 1.0f, 1);
}

template <class F>
void ForEachCell(CSSEMatrix& m, F f) {
  for (int y = 0; y < m.GetSizeY(); ++y)
    for (int x = 0; x < m.GetSizeX(); ++x) m.SetPoint(x, y, f(x, y, m.GetPoint(x, y)));
}

using Plain = void (CHTriangulation::*)(CSSEMatrix*, float);
struct Family {
  bool maximum;
  Plain plain;
  void (CHTriangulation::*throughLine)(CSSEMatrix*, CSSE3dPolygon*, float);
  void (CHTriangulation::*noDelete)(CSSEMatrix*, bool, bool);
  void (CHTriangulation::*band)(CSSEMatrix*, float, float);
  void (CHTriangulation::*refine)(CSSEMatrix*, float);
  float Combine(float a, float b) const { return a == 0 ? b : b == 0 ? a : maximum ? std::max(a, b) : std::min(a, b); }
};
const Family kFamilies[] = {
    {true, &CHTriangulation::ScanConvertTriangulationMax, &CHTriangulation::ScanConvertThroughLineMax,
     &CHTriangulation::ScanConvertTriangulationMaxNoDelete,
     &CHTriangulation::ScanConvertTriangulationMaxNoDeleteInYArea, &CHTriangulation::RefineScanConvImageTop},
    {false, &CHTriangulation::ScanConvertTriangulationMin, &CHTriangulation::ScanConvertThroughLineMin,
     &CHTriangulation::ScanConvertTriangulationMinNoDelete,
     &CHTriangulation::ScanConvertTriangulationMinNoDeleteInYArea, &CHTriangulation::RefineScanConvImage}};

TEST(MeshScanVariants, ThroughLineIsThePlainConversionCutByThePolygon) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 rng(seed);
    CHTriangulation m;
    RandomMesh(m, rng);
    CSSE3dPolygon polygon;
    const int n = 3 + rng() % 9;
    polygon.Create(n);
    for (int i = 0; i < n; ++i) {
      const double a = 6.283185307179586 * i / n, r = 2 + rng() % 20;
      polygon.SetPoint(i, float(std::round(2 * (10 + r * std::cos(a))) / 2),
                       float(std::round(2 * (10 + r * std::sin(a))) / 2), 0);
    }
    for (const Family& f : kFamilies) {
      CSSEMatrix expected, cut;
      (m.*f.plain)(&expected, 0.5f);
      ForEachCell(expected, [&](int x, int y, float v) {
        return polygon.PointInLineInnerArea(float(x), float(y), 1) ? v : 0.0f;
      });
      (m.*f.throughLine)(&cut, &polygon, 0.5f);
      EXPECT_TRUE(SamePoints(cut, expected)) << "seed " << seed << " maximum " << f.maximum;
    }
  }
}

TEST(MeshScanVariants, NoDeleteGathersMeshesAsTheCombinedPlainConversions) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 rng(seed);
    CHTriangulation a, b;
    RandomMesh(a, rng);
    RandomMesh(b, rng);
    b.SetScanConvResolution(a.ScanConvResX, a.ScanConvResY, 1);
    for (const Family& f : kFamilies) {
      // Into a raster without storage, in the box frame: the plain result.
      CSSEMatrix plain, gathered;
      (a.*f.plain)(&plain, 0.0f);
      (a.*f.noDelete)(&gathered, true, true);
      EXPECT_TRUE(SamePoints(gathered, plain)) << "seed " << seed << " maximum " << f.maximum;
      // Two meshes into one raster in the frame at (0, 0): the plain
      // conversions over that frame, combined cell by cell.
      SSEPoint lo = Point(0, 0, 0), hi = Point(32, 31, 0);
      CSSEMatrix ca, cb, both;
      if (f.maximum)
        a.ScanConvertTriangulationMax_MinMaxPoint(&ca, 0.0f, lo, hi),
            b.ScanConvertTriangulationMax_MinMaxPoint(&cb, 0.0f, lo, hi);
      else
        a.ScanConvertTriangulationMin_MinMaxPoint(&ca, 0.0f, lo, hi),
            b.ScanConvertTriangulationMin_MinMaxPoint(&cb, 0.0f, lo, hi);
      both.Create(ca.GetSizeX(), ca.GetSizeY());
      (a.*f.noDelete)(&both, false, true);
      (b.*f.noDelete)(&both, false, true);
      ForEachCell(ca, [&](int x, int y, float v) { return f.Combine(v, cb.GetPoint(x, y)); });
      EXPECT_TRUE(SamePoints(both, ca)) << "seed " << seed << " maximum " << f.maximum;
      // The band keeps to its rows and leaves the rest as it was.
      const float yFrom = float(rng() % 20) - 3, yTo = yFrom + float(rng() % 15);
      CSSEMatrix banded, whole;
      banded.Create(ca.GetSizeX(), ca.GetSizeY());
      banded.Fill(7.5f);
      whole.Create(ca.GetSizeX(), ca.GetSizeY());
      whole.Fill(7.5f);
      (a.*f.band)(&banded, yFrom, yTo);
      (a.*f.noDelete)(&whole, false, false);
      ForEachCell(whole, [&](int, int y, float v) {
        const double at = double(y) * a.ScanConvResY;
        return at >= yFrom && at <= yTo ? v : 7.5f;
      });
      EXPECT_TRUE(SamePoints(banded, whole)) << "seed " << seed << " band " << yFrom << ".." << yTo;
    }
  }
}

TEST(MeshScanVariants, RefinementSamplesTheLatticeInBetween) {
  for (unsigned seed = 1; seed <= 30; ++seed) {
    std::mt19937 rng(seed);
    CHTriangulation m;
    RandomMesh(m, rng);
    for (const Family& f : kFamilies) {
      CSSEMatrix refined, expected;
      (m.*f.plain)(&refined, 0.25f);
      (m.*f.plain)(&expected, 0.25f);
      (m.*f.refine)(&refined, 0.25f);
      // The plain sample loop on the shifted lattice, stamped cell by cell.
      const SSEPoint lo = m.PointArray[0];
      const int w = expected.GetSizeX(), h = expected.GetSizeY();
      for (int i = 0; i < m.NumTriangles; ++i) {
        const SSEPoint p = m.EdgeArray[3 * i], s = m.SArray[i], t = m.TArray[i];
        const float lenS = CSSEFns::vectorlen(s.m), lenT = CSSEFns::vectorlen(t.m);
        const double step = double(m.ScanConvDiagonal) / (lenS > lenT ? lenS : lenT);
        for (float u = float(0.5 * step); u < 1.0f; u += step)
          for (float v = float(0.5 * step); v < 1.0 - u; v += step) {
            const float qx = p.x + u * s.x + v * t.x, qy = p.y + u * s.y + v * t.y, qz = p.z + u * s.z + v * t.z;
            const int col = int((qx - lo.x) / m.ScanConvResX + 0.5), row = int((qy - lo.y) / m.ScanConvResY + 0.5);
            if (col < 1 || col >= w - 1 || row < 1 || row >= h - 1) continue;
            const int cross[5][2] = {{0, 0}, {-1, 0}, {1, 0}, {0, -1}, {0, 1}};
            for (const auto& d : cross)
              expected.SetPoint(col + d[0], row + d[1],
                                f.Combine(expected.GetPoint(col + d[0], row + d[1]), qz + 0.25f));
          }
      }
      EXPECT_TRUE(SamePoints(refined, expected)) << "seed " << seed << " maximum " << f.maximum;
    }
  }
}

TEST(MeshScanVariants, BadFramesLeaveTheRasterAlone) {
  CHTriangulation m;
  Fill(m, {Tri{{{2, 2, 4, 0}, {8, 2, 4, 0}, {2, 8, 4, 0}}}});
  CSSEMatrix out;
  out.Create(3, 2);
  out.SetPoint(1, 1, 7.0f);
  SSEPoint lo = Point(10, 10, 0), hi = Point(0, 0, 0);  // min above max
  m.ScanConvertTriangulationMax_MinMaxPoint(&out, 0.0f, lo, hi);
  m.ScanConvertTriangulationMin_MinMaxPoint(&out, 0.0f, lo, hi);
  m.RefineScanConvImage(&out, 0.0f);  // not the mesh's frame
  m.ScanConvertTriangulationMaxNoDeleteInYArea(&out, 5.0f, 1.0f);
  m.ScanConvertThroughLineMax(&out, nullptr, 0.0f);
  EXPECT_TRUE(AllEqual({FIELD(out.GetSizeX(), 3), FIELD(out.GetSizeY(), 2), FIELD(out.GetPoint(1, 1), 7.0f),
                        FIELD(out.GetPoint(0, 0), 0.0f)}));
  // A polygon of two points holds nothing.
  CSSE3dPolygon two;
  two.Create(2);
  m.ScanConvertThroughLineMin(&out, &two, 0.0f);
  for (int y = 0; y < out.GetSizeY(); ++y)
    for (int x = 0; x < out.GetSizeX(); ++x) ASSERT_EQ(out.GetPoint(x, y), 0.0f);
  // An empty mesh touches nothing.
  CHTriangulation empty;
  CSSEMatrix none;
  empty.ScanConvertTriangulationMaxNoDelete(&none, true, true);
  EXPECT_EQ(none.GetMatrixDataDirectly(), nullptr);
}

TEST(MeshScanVariants, FieldRangeKeepsCornersBetweenItsBounds) {
  CHTriangulation m;
  Fill(m, {Tri{{{1, 1, 0, 0}, {2, 1, 5, 0}, {1, 2, 9, 0}}}, Tri{{{3, 3, 5, 0}, {3, 2, 2, 0}, {2, 3, 8, 0}}}});
  CSSEMatrix lower, upper;
  MakeField(lower, 4, 4, [](int x, int) { return x == 3 ? 0.0f : 2.0f; });  // column 3: no data
  MakeField(upper, 4, 4, [](int, int y) { return y == 2 ? 2.5f : 7.0f; });
  TaCFieldRange range(&lower, &upper, 0.5f);
  m.ConstrainWithHeightField(range);
  const float expected[6] = {2.5f, 5.0f, 2.5f /* upper 2.5 - 0.5 below lower 2 + 0.5: lower wins */, 5.0f, 2.0f, 6.5f};
  for (int k = 0; k < 6; ++k) EXPECT_EQ(m.EdgeArray[k].z, expected[k]) << "corner " << k;
  TaCFieldRange nothing;
  m.ConstrainWithHeightField(nothing);
  EXPECT_EQ(m.EdgeArray[0].z, 2.5f);
}

}  // namespace
