// Chunked scan conversion must give the raster the whole mesh gives: random
// overlapping triangles, chunk sizes that do and do not divide the count.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "errors.h"
#include "io/mesh_io.h"
#include "relief/CSSEMatrix.h"
#include "scan_chunks.h"
#include "tool_test_support.h"

using namespace relief::tool;

namespace {

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
