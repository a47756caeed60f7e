// The tool's own pieces below the subcommands: atomic output, chunked scan
// conversion (which must give the raster the whole mesh gives: random
// overlapping triangles, chunk sizes that do and do not divide the count),
// the error figures, the demo field, the 16-bit PNG's stated scale, and the closing of
// a surface into a solid (--base) checked as a mesh: every edge used by
// exactly two triangles in opposite directions, and the volume it encloses
// equal to the integral of the surface over its base.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

#include <sys/stat.h>

#include "demo_field.h"
#include "errors.h"
#include "io/atomic_file.h"
#include "io/mesh_io.h"
#include "io/raster_io.h"
#include "predicates.h"
#include "raster_stats.h"
#include "relief/CHErrorBoundedMesher.h"
#include "relief/CSSEMatrix.h"
#include "scan_chunks.h"
#include "solid_base.h"
#include "tool_test_support.h"

using namespace relief::tool;
using relief_test::ScratchDir;

namespace {

TEST(AtomicFile, NothingAppearsUntilCommitAbandonedWorkLeavesNothingMissingFolderRefused) {
  ScratchDir dir("atomic");
  relief_test::WriteBytes(dir / "keep.txt", "old");
  for (bool commit : {false, true}) {
    {
      AtomicFile out(dir / "keep.txt");
      relief_test::WriteBytes(out.TempPath(), "new");
      EXPECT_EQ(relief_test::ReadBytes(dir / "keep.txt"), "old") << "the target changes only at Commit";
      EXPECT_EQ(out.TempPath().parent_path(), dir.Path()) << "the temporary lies beside the target";
      if (commit) out.Commit();
    }
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"keep.txt"}) << "abandoned or committed, no temporary remains";
    EXPECT_EQ(relief_test::ReadBytes(dir / "keep.txt"), commit ? "new" : "old");
  }
  // Like any new file of the user, not private to the owner.
  const auto perms = std::filesystem::status(dir / "keep.txt").permissions();
  EXPECT_NE(perms & std::filesystem::perms::owner_read, std::filesystem::perms::none);
  const mode_t mask = ::umask(0);
  ::umask(mask);
  EXPECT_EQ(static_cast<unsigned>(perms) & 0777u, 0666u & ~static_cast<unsigned>(mask));
  relief_test::ExpectBadInput([] { AtomicFile out("/nonexistent-folder/x.npy"); }, {"x.npy"});
}

CSSEMatrix FromValues(int width, int height, std::vector<float> v) { return relief_test::ToMatrix({width, height, v}); }

// Against a naive pass over a window holding both rasters: result pixel
// (x, y) lies over reference pixel (x + dx, y + dy), outside a raster is no
// data; pixels both hold are compared, the others are lost or spill.
TEST(CompareRasters, MatchesANaivePassOverBothExtents) {
  auto at = [](const relief_test::Grid& g, int x, int y) {
    return x < 0 || y < 0 || x >= g.width || y >= g.height ? 0.0 : double(g.at(x, y));
  };
  for (int seed : {1, 2, 3}) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const auto a = relief_test::RandomField(23, 17, seed, 1.0f, 50.0f, 0.1);
    const auto b = relief_test::RandomField(20, 19, seed + 100, 1.0f, 50.0f, 0.1);
    const int dx = seed - 2, dy = 1 - seed;
    double above = 0, below = 0, sum = 0, n = 0, lost = 0, spill = 0;
    for (int y = -5; y < 25; ++y)
      for (int x = -5; x < 30; ++x) {
        const double r = at(a, x, y), got = at(b, x - dx, y - dy);
        lost += r != 0 && got == 0;
        spill += r == 0 && got != 0;
        if (r == 0 || got == 0) continue;
        above = std::max(above, got - r), below = std::max(below, r - got), sum += (got - r) * (got - r), ++n;
      }
    const ErrorFigures e = CompareRasters(relief_test::ToMatrix(a), relief_test::ToMatrix(b), dx, dy);
    EXPECT_EQ(
        std::vector<double>({double(e.compared), double(e.lost), double(e.spill), e.maxAbove, e.maxBelow, e.maxAbs}),
        std::vector<double>({n, lost, spill, above, below, std::max(above, below)}));
    EXPECT_DOUBLE_EQ(e.rms, std::sqrt(sum / n));
  }
}

// The hint names the range of the heights left out only, not of all heights.
TEST(Summarize, RangeCountAndHintIgnoreNoData) {
  const RasterSummary s = Summarize(FromValues(3, 2, {0, -2, 5, 0, 7, -4}));
  EXPECT_EQ(std::vector<double>({double(s.nonZero), double(s.valid), s.minimum, s.maximum}),
            std::vector<double>({4, 2, -4, 7}));
  EXPECT_EQ(ThresholdHint(s, ValidRule()),
            "; 2 pixel(s) hold heights from -4 to -2 that the threshold 0 leaves out "
            "(lower --threshold to take them in)");
  EXPECT_EQ(Summarize(FromValues(3, 2, {0, -2, 5, 0, 7, -4}), ValidRule{-3.0f, false}).valid, 5);
  EXPECT_EQ(Summarize(FromValues(2, 1, {0, 0})).valid, 0);
}

TEST(DemoField, IsSeededAndZeroExactlyOutsideItsOutline) {
  CSSEMatrix a, b, c;
  const DemoOutline outline = SynthesizeToothField(a);
  SynthesizeToothField(b);
  SynthesizeToothField(c, kDemoSeed + 1);
  ASSERT_TRUE(relief_test::AllEqual(
      {FIELD(a.GetSizeX(), kDemoSize), FIELD(a.GetSizeY(), kDemoSize), FIELD(outline.x.size(), 360)}));
  bool differs = false;
  for (int y = 0; y < kDemoSize; ++y)
    for (int x = 0; x < kDemoSize; ++x) {
      ASSERT_EQ(a.GetPoint(x, y), b.GetPoint(x, y)) << "same seed, same field at " << x << ", " << y;
      differs = differs || a.GetPoint(x, y) != c.GetPoint(x, y);
    }
  EXPECT_TRUE(differs) << "another seed gives another tooth";
  // Border rows and columns lie outside every outline; the centre inside.
  for (int i = 0; i < kDemoSize; ++i)
    EXPECT_TRUE(relief_test::AllEqual({FIELD(a.GetPoint(i, 0), 0), FIELD(a.GetPoint(0, i), 0)})) << i;
  EXPECT_GT(a.GetPoint(kDemoSize / 2, kDemoSize / 2), 50.0f);
  // Valid pixels hold crown heights, well above the no-data value.
  const RasterSummary s = Summarize(a);
  EXPECT_GT(s.minimum, 50.0f);
  EXPECT_GT(s.valid, kDemoSize * kDemoSize / 3);
}

TEST(Png16, StatedScaleIsUsedLossIsReportedClippingAndNegativeHeightsRefused) {
  ScratchDir dir("png-scale");
  const CSSEMatrix m = FromValues(5, 1, {-0.2f, 0.26f, 1.0f, 0.2f, 65535 * 0.5f});
  RasterWriteOptions options;
  options.pngScale = 0.5f;
  EXPECT_EQ(WriteRaster(dir / "s.png", m, options),
            "16-bit PNG, scale 0.5; 2 heights within half a step of 0 written as 0 (no data)");
  auto back = ReadRaster(dir / "s.png");
  // -0.4 and 0.4 steps -> 0, reported above; 0.26 / 0.5 = 0.52 -> 1 step;
  // the top step itself fits.
  EXPECT_TRUE(relief_test::SamePoints(*back, FromValues(5, 1, {0, 0.5f, 1, 0, 65535 * 0.5f})));
  // One step more than the range would be clipped, a height a step below 0
  // would vanish as no data: refused, nothing written.
  relief_test::ExpectBadInput([&] { WriteRaster(dir / "c.png", FromValues(1, 1, {65536 * 0.5f}), options); },
                              {"c.png", "clipped"});
  relief_test::ExpectBadInput(
      [&] {
        WriteRaster(dir / "n.png", FromValues(2, 1, {5.0f, -0.3f}), options);
      },
      {"n.png", "1 heights are negative (down to -0.3)", "write .tif or .npy"});
  EXPECT_EQ(dir.Files(), std::vector<std::string>{"s.png"});
}

// Every directed edge once, and its reverse once: closed and consistently oriented.
testing::AssertionResult Closed(const relief::tool::IndexedMesh& m) {
  std::map<std::pair<int, int>, int> directed;
  for (size_t t = 0; t < m.indices.size(); t += 3)
    for (int k = 0; k < 3; ++k) ++directed[{m.indices[t + k], m.indices[t + (k + 1) % 3]}];
  for (const auto& [edge, count] : directed) {
    if (count != 1)
      return testing::AssertionFailure() << "edge " << edge.first << "-" << edge.second << " used " << count
                                         << " times the same way";
    if (!directed.count({edge.second, edge.first}))
      return testing::AssertionFailure() << "edge " << edge.first << "-" << edge.second << " has one triangle only";
  }
  return testing::AssertionSuccess();
}

// The volume between the surface and z = base: prism by prism.
double PrismVolume(const relief::tool::IndexedMesh& surface, double base) {
  double volume = 0.0;
  const auto& v = surface.vertices;
  for (size_t t = 0; t < surface.indices.size(); t += 3) {
    const float* a = &v[3 * size_t(surface.indices[t])];
    const float* b = &v[3 * size_t(surface.indices[t + 1])];
    const float* c = &v[3 * size_t(surface.indices[t + 2])];
    const double area =
        0.5 * ((double(b[0]) - a[0]) * (double(c[1]) - a[1]) - (double(c[0]) - a[0]) * (double(b[1]) - a[1]));
    volume += area * ((double(a[2]) + b[2] + c[2]) / 3.0 - base);
  }
  return volume;
}

TEST(SolidBase, ClosedSolidsEncloseTheSurfaceIntegral) {
  struct Case {
    const char* name;
    float (*height)(int x, int y);
  } cases[] = {
      {"full box", [](int x, int y) { return 30.0f + 5.0f * std::sin(0.2f * float(x)) * std::cos(0.15f * float(y)); }},
      {"disc with a hole",
       [](int x, int y) {
         const int r2 = (x - 30) * (x - 30) + (y - 26) * (y - 26);
         const int h2 = (x - 38) * (x - 38) + (y - 22) * (y - 22);
         return r2 <= 24 * 24 && h2 > 36 ? 40.0f + 0.3f * float(x) - 0.1f * float(y) + 2.0f * std::sin(0.5f * float(x))
                                         : 0.0f;
       }},
      {"two islands",
       [](int x, int y) {
         return (x < 20 && y < 20) || (x > 35 && y > 30) ? 12.0f + 0.05f * float(x * y % 17) : 0.0f;
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    CSSEMatrix field = relief_test::ToMatrix(relief_test::FieldOf(61, 53, c.height));
    CHErrorBoundedMesher mesher;
    ASSERT_TRUE(mesher.CreateMeshFromSSEField(&field, 0.5f, INT32_MAX, INT32_MAX)) << mesher.GetProblem();
    relief::tool::IndexedMesh surface;
    surface.vertices.assign(mesher.GetVertexArray(), mesher.GetVertexArray() + 3 * mesher.GetNumPoints());
    surface.indices.assign(mesher.GetTriangleIndexArray(),
                           mesher.GetTriangleIndexArray() + 3 * mesher.GetNumTriangles());
    for (const float base : {0.0f, 5.5f}) {
      const relief::tool::IndexedMesh solid = relief::tool::CloseIntoSolid(surface, base);
      EXPECT_TRUE(Closed(solid)) << "base " << base;
      const double expected = PrismVolume(surface, base);
      EXPECT_GT(expected, 0.0);
      EXPECT_NEAR(relief::tool::EnclosedVolume(solid), expected, 1e-6 * expected) << "base " << base;
    }
  }
}

class ChunkedScan : public ::testing::TestWithParam<std::tuple<int, bool>> {};

TEST_P(ChunkedScan, EqualsTheWholeMeshConversion) {
  const auto [chunk, minimum] = GetParam();
  const std::uint32_t seed = 900u + chunk;
  SCOPED_TRACE("seed " + std::to_string(seed));
  relief_test::ScratchDir dir("chunks");
  std::mt19937 random(seed);
  std::vector<float> c;
  for (int t = 0; t < 150; ++t) {
    // Triangles up to 12 cells across, overlapping, heights 1 .. 60.
    const float cx = float(random() % 4000) / 100.0f, cy = float(random() % 3000) / 100.0f;
    for (int k = 0; k < 9; ++k)
      c.push_back((k % 3 == 0 ? cx : k % 3 == 1 ? cy : 1.0f) + float(random() % (k % 3 == 2 ? 5900 : 1200)) / 100.0f);
  }
  relief_test::WriteTriangles(dir / "m.stl", c);

  auto reader = OpenTriangleReader(dir / "m.stl");
  const MeshBox box = MeasureBox(*reader);
  CSSEMatrix whole, chunked;
  ScanConvertInChunks(*reader, box, 0.5f, minimum, 1 << 20, whole);
  reader->Rewind();
  ScanConvertInChunks(*reader, box, 0.5f, minimum, chunk, chunked);
  ASSERT_GT(whole.GetSizeX(), 60);
  ASSERT_EQ(chunked.GetSizeX(), whole.GetSizeX());
  ASSERT_EQ(chunked.GetSizeY(), whole.GetSizeY());
  int reached = 0;
  for (int y = 0; y < whole.GetSizeY(); ++y)
    for (int x = 0; x < whole.GetSizeX(); ++x) {
      ASSERT_EQ(chunked.GetPoint(x, y), whole.GetPoint(x, y)) << "cell " << x << ", " << y;
      reached += whole.GetPoint(x, y) != 0.0f;
    }
  EXPECT_GT(reached, 1000);
}

INSTANTIATE_TEST_SUITE_P(Chunks, ChunkedScan, ::testing::Combine(::testing::Values(1, 7, 50, 149), ::testing::Bool()));

TEST(ChunkedScan, RasterBeyondTheLimitsIsRefusedBeforeWork) {
  const MeshBox box = {{0, 0, 0}, {100, 40000, 1}};
  int width = 0, height = 0;
  EXPECT_THROW(CheckScanRaster("m.stl", box, 1.0f, width, height), ToolError);
  EXPECT_THROW(CheckScanRaster("m.stl", {{0, 0, 0}, {0.2f, 5, 1}}, 1.0f, width, height), ToolError);
  // Sizes no integer holds (a tiny resolution over a huge box) are refused
  // without a cast; so is a box of NaN.
  EXPECT_THROW(CheckScanRaster("m.stl", {{-3e38f, 0, 0}, {3e38f, 5, 1}}, 1e-30f, width, height), ToolError);
  EXPECT_THROW(CheckScanRaster("m.stl", {{0, 0, 0}, {NAN, 5, 1}}, 1.0f, width, height), ToolError);
  CheckScanRaster("m.stl", {{0, 0, 0}, {9.6f, 5, 1}}, 1.0f, width, height);
  EXPECT_EQ(width, 10);  // trunc(9.6 + 0.5)
  EXPECT_EQ(height, 5);
}

}  // namespace
