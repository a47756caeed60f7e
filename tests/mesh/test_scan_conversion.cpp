// Scan conversion against the plain sample loop and the raster frame rules;
// the further conversions against the plain conversion followed by the
// equivalent masking or combination.

#include "mesh_testing.h"
#include "relief/TaCFieldRange.h"

namespace {

using namespace mesh_test;

constexpr float kLow = -999999.875f, kHigh = 999999.875f;

// The conversion written plainly: the raster's own clamping cross stamps,
// one sample at a time.
void ReferenceScan(const CHTriangulation& m, CSSEMatrix& out, float zOffset, bool maximum) {
  const SSEPoint lo = m.PointArray[0], hi = m.PointArray[1];
  const int width = int((double(hi.x) - lo.x) / m.ScanConvResX + 0.5);
  const int height = int((double(hi.y) - lo.y) / m.ScanConvResY + 0.5);
  if (width < 1 || height < 1 || m.NumTriangles < 1) return;
  out.Create(width, height);
  out.Fill(maximum ? kLow : kHigh);
  ForEachSample(m, 0.0f, [&](int col, int row, float z) {
    if (col < 1 || col >= width - 1 || row < 1 || row >= height - 1) return;
    maximum ? out.SetCrossMax(col, row, z + zOffset) : out.SetCrossMin(col, row, z + zOffset);
  });
  out.ReplaceValueWithValue(maximum ? kLow : kHigh, 0.0f, 1.0f);
}

void Scan(CHTriangulation& m, CSSEMatrix* out, float zOffset, bool maximum) {
  maximum ? m.ScanConvertTriangulationMax(out, zOffset) : m.ScanConvertTriangulationMin(out, zOffset);
}

TEST(MeshScanConversion, MatchesThePlainSampleLoopOnRandomMeshes) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 rng(seed);
    CHTriangulation m;
    Fill(m, RandomSoup(rng, -5.0f, 5.0f));
    // Every third seed takes powers of two, which the converter multiplies
    // by their reciprocal instead of dividing; the reference always divides.
    auto res = [&] { return seed % 3 == 0 ? std::ldexp(1.0f, int(rng() % 4) - 2) : 0.3f + float(rng() % 20) / 10; };
    const float rx = res(), ry = res();
    m.SetScanConvResolution(rx, ry, 1);
    for (bool maximum : {true, false}) {
      CSSEMatrix fast, slow;
      Scan(m, &fast, 0.25f, maximum);
      ReferenceScan(m, slow, 0.25f, maximum);
      ASSERT_TRUE(SamePoints(fast, slow)) << "seed " << seed << " maximum " << maximum;
    }
  }
}

TEST(MeshScanConversion, FrameRules) {
  // Nothing to convert (no triangles, a box narrower than half a cell), a
  // bad frame or a foreign raster leaves the raster alone.
  CSSEMatrix out;
  out.Create(3, 2);
  out.SetPoint(1, 1, 7.0f);
  for (const std::vector<Tri>& soup : {std::vector<Tri>{}, {Tri{{{0, 0, 1, 0}, {0.4f, 0, 1, 0}, {0, 9, 1, 0}}}}}) {
    CHTriangulation m;
    Fill(m, soup);
    Scan(m, &out, 0.0f, true), Scan(m, &out, 0.0f, false);
  }
  CHTriangulation m;
  Fill(m, {Tri{{{2, 2, 4, 0}, {8, 2, 4, 0}, {2, 8, 4, 0}}}});
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
  // An explicit box sets the frame.
  lo = Point(0, 0, 0), hi = Point(16, 12, 0);
  m.ScanConvertTriangulationMax_MinMaxPoint(&out, 0.0f, lo, hi);
  EXPECT_TRUE(AllEqual({FIELD(out.GetSizeX(), 16), FIELD(out.GetSizeY(), 12), FIELD(out.GetPoint(3, 3), 4.0f),
                        FIELD(out.GetPoint(12, 10), 0.0f)}));
  m.ScanConvertTriangulationMin_MinMaxPoint(&out, 1.0f, lo, hi);
  EXPECT_EQ(out.GetPoint(3, 3), 5.0f);
}

// A random soup over [0, 30)^2 with heights in [1, 5] (never 0, which the
// no-delete conversions read as no data), at a random resolution.
void RandomMesh(CHTriangulation& m, std::mt19937& rng) {
  Fill(m, RandomSoup(rng, 1.0f, 5.0f));
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
  void (CHTriangulation::*inFrame)(CSSEMatrix*, float, SSEPoint&, SSEPoint&);
  float Combine(float a, float b) const { return a == 0 ? b : b == 0 ? a : maximum ? std::max(a, b) : std::min(a, b); }
};
const Family kFamilies[] = {
    {true, &CHTriangulation::ScanConvertTriangulationMax, &CHTriangulation::ScanConvertThroughLineMax,
     &CHTriangulation::ScanConvertTriangulationMaxNoDelete,
     &CHTriangulation::ScanConvertTriangulationMaxNoDeleteInYArea, &CHTriangulation::RefineScanConvImageTop,
     &CHTriangulation::ScanConvertTriangulationMax_MinMaxPoint},
    {false, &CHTriangulation::ScanConvertTriangulationMin, &CHTriangulation::ScanConvertThroughLineMin,
     &CHTriangulation::ScanConvertTriangulationMinNoDelete,
     &CHTriangulation::ScanConvertTriangulationMinNoDeleteInYArea, &CHTriangulation::RefineScanConvImage,
     &CHTriangulation::ScanConvertTriangulationMin_MinMaxPoint}};

// Each variant against the plain conversion followed by the equivalent
// cut, combination or stamping, on random meshes.
TEST(MeshScanVariants, MatchThePlainConversionAndWhatFollowsIt) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 rng(seed);
    CHTriangulation a, b;
    RandomMesh(a, rng);
    RandomMesh(b, rng);
    b.SetScanConvResolution(a.ScanConvResX, a.ScanConvResY, 1);
    const int n = 3 + rng() % 9;
    std::vector<std::array<float, 3>> corners;
    for (int i = 0; i < n; ++i) {
      const double t = 6.283185307179586 * i / n, r = 2 + rng() % 20;
      corners.push_back(
          {float(std::round(2 * (10 + r * std::cos(t))) / 2), float(std::round(2 * (10 + r * std::sin(t))) / 2), 0});
    }
    CSSE3dPolygon polygon = Polygon(corners);
    for (const Family& f : kFamilies) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " maximum " << f.maximum);
      CSSEMatrix expected, cut;
      (a.*f.plain)(&expected, 0.5f);
      ForEachCell(expected, [&](int x, int y, float v) {
        return polygon.PointInLineInnerArea(float(x), float(y), 1) ? v : 0.0f;
      });
      (a.*f.throughLine)(&cut, &polygon, 0.5f);
      EXPECT_TRUE(SamePoints(cut, expected)) << "through the line";
      // Into a raster without storage, in the box frame: the plain result.
      CSSEMatrix plain, gathered;
      (a.*f.plain)(&plain, 0.0f);
      (a.*f.noDelete)(&gathered, true, true);
      EXPECT_TRUE(SamePoints(gathered, plain)) << "gathered alone";
      // Two meshes into one raster in the frame at (0, 0): the plain
      // conversions over that frame, combined cell by cell.
      SSEPoint lo = Point(0, 0, 0), hi = Point(32, 31, 0);
      CSSEMatrix ca, cb, both;
      (a.*f.inFrame)(&ca, 0.0f, lo, hi);
      (b.*f.inFrame)(&cb, 0.0f, lo, hi);
      both.Create(ca.GetSizeX(), ca.GetSizeY());
      (a.*f.noDelete)(&both, false, true);
      (b.*f.noDelete)(&both, false, true);
      ForEachCell(ca, [&](int x, int y, float v) { return f.Combine(v, cb.GetPoint(x, y)); });
      EXPECT_TRUE(SamePoints(both, ca)) << "gathered in pairs";
      // The band keeps to its rows and leaves the rest as it was.
      const float yFrom = float(rng() % 20) - 3, yTo = yFrom + float(rng() % 15);
      CSSEMatrix banded, whole;
      MakeField(banded, ca.GetSizeX(), ca.GetSizeY(), [](int, int) { return 7.5f; });
      MakeField(whole, ca.GetSizeX(), ca.GetSizeY(), [](int, int) { return 7.5f; });
      (a.*f.band)(&banded, yFrom, yTo);
      (a.*f.noDelete)(&whole, false, false);
      ForEachCell(whole, [&](int, int y, float v) {
        const double at = double(y) * a.ScanConvResY;
        return at >= yFrom && at <= yTo ? v : 7.5f;
      });
      EXPECT_TRUE(SamePoints(banded, whole)) << "band " << yFrom << ".." << yTo;
      // Refinement: the plain sample loop on the shifted lattice, stamped cell by cell.
      CSSEMatrix refined;
      (a.*f.plain)(&refined, 0.25f);
      (a.*f.plain)(&expected, 0.25f);
      (a.*f.refine)(&refined, 0.25f);
      const int w = expected.GetSizeX(), h = expected.GetSizeY();
      ForEachSample(a, 0.5f, [&](int col, int row, float z) {
        if (col < 1 || col >= w - 1 || row < 1 || row >= h - 1) return;
        for (const auto& d : {std::pair{0, 0}, {-1, 0}, {1, 0}, {0, -1}, {0, 1}})
          expected.SetPoint(col + d.first, row + d.second,
                            f.Combine(expected.GetPoint(col + d.first, row + d.second), z + 0.25f));
      });
      EXPECT_TRUE(SamePoints(refined, expected)) << "refined";
    }
  }
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
