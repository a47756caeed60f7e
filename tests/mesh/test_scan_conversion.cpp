// Scan conversion against the plain sample loop, and the raster frame rules.

#include "mesh_testing.h"

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
  // Nothing to convert (no triangles, a box narrower than half a cell) leaves the raster alone.
  for (const std::vector<Tri>& soup : {std::vector<Tri>{}, {Tri{{{0, 0, 1, 0}, {0.4f, 0, 1, 0}, {0, 9, 1, 0}}}}}) {
    CHTriangulation m;
    Fill(m, soup);
    CSSEMatrix out;
    out.Create(3, 2);
    out.SetPoint(1, 1, 7.0f);
    Scan(m, &out, 0.0f, true), Scan(m, &out, 0.0f, false);
    EXPECT_TRUE(AllEqual({FIELD(out.GetSizeX(), 3), FIELD(out.GetPoint(1, 1), 7.0f)})) << soup.size();
  }
  // An explicit box sets the frame.
  CHTriangulation m;
  Fill(m, {Tri{{{2, 2, 4, 0}, {8, 2, 4, 0}, {2, 8, 4, 0}}}});
  SSEPoint lo = Point(0, 0, 0), hi = Point(16, 12, 0);
  CSSEMatrix out;
  m.ScanConvertTriangulationMax_MinMaxPoint(&out, 0.0f, lo, hi);
  EXPECT_TRUE(AllEqual({FIELD(out.GetSizeX(), 16), FIELD(out.GetSizeY(), 12), FIELD(out.GetPoint(3, 3), 4.0f),
                        FIELD(out.GetPoint(12, 10), 0.0f)}));
  m.ScanConvertTriangulationMin_MinMaxPoint(&out, 1.0f, lo, hi);
  EXPECT_EQ(out.GetPoint(3, 3), 5.0f);
}

}  // namespace
