// The banded mesher must mesh every cell: at full resolution exactly the
// triangles of a naive cell-by-cell reference, subsampled exactly those the
// library builds from the whole raster; sizes around the four-row registers
// and the band height (every height from 1 to 9 among them, so each meshes
// down to its last row), steps, both directions, with holes.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "mesh_build.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"
#include "tool_test_support.h"

using namespace relief::tool;

namespace {

using Triangle = std::array<float, 9>;

// The whole-raster build, used records only, scaled like the tool scales.
// The subsampled builder reaches every cell of its grid, so it is the
// reference for steps above 1.
std::vector<Triangle> WholeRasterTriangles(CSSEMatrix& field, const FieldMeshOptions& o) {
  auto mesh = std::make_unique<CHTriangulation>(&field, o.threshold, !o.below, 1.0f, 1.0f, 1.0f, o.step, o.step);
  std::vector<Triangle> out;
  for (int i = 0; i < mesh->GetNumTriangles(); ++i) {
    if (!IsUsedRecord(*mesh, i)) continue;
    Triangle& t = out.emplace_back();
    for (int k = 0; k < 9; ++k) t[k] = mesh->GetEdgeArray()[3 * i + k / 3].m[k % 3] * o.scale[k % 3];
  }
  return out;
}

// At full resolution, a deliberately naive reference: every 2 x 2 cell of
// the raster, its corners' validity looked up one by one, the triangles of
// the cell table in their corner order.
std::vector<Triangle> EveryCellTriangles(const CSSEMatrix& field, const FieldMeshOptions& o) {
  auto valid = [&](int x, int y) {
    const float v = field.GetPoint(x, y);
    return o.below ? v < o.threshold : v > o.threshold;
  };
  std::vector<Triangle> out;
  auto add = [&](std::array<int, 2> a, std::array<int, 2> b, std::array<int, 2> c) {
    Triangle& t = out.emplace_back();
    const std::array<int, 2> p[3] = {a, b, c};
    for (int k = 0; k < 3; ++k) {
      t[3 * k] = float(p[k][0]) * o.scale[0];
      t[3 * k + 1] = float(p[k][1]) * o.scale[1];
      t[3 * k + 2] = field.GetPoint(p[k][0], p[k][1]) * o.scale[2];
    }
  };
  for (int x = 0; x + 1 < field.GetSizeX(); ++x)
    for (int y = 0; y + 1 < field.GetSizeY(); ++y) {
      const std::array<int, 2> p00{x, y}, p01{x, y + 1}, p10{x + 1, y}, p11{x + 1, y + 1};
      const int left = valid(x, y) | valid(x, y + 1) << 1, right = valid(x + 1, y) | valid(x + 1, y + 1) << 1;
      if (left == 3 && right == 3)
        add(p00, p11, p01), add(p00, p10, p11);
      else if (left == 3 && right == 1)
        add(p00, p10, p01);
      else if (left == 3 && right == 2)
        add(p00, p11, p01);
      else if (left == 1 && right == 3)
        add(p00, p10, p11);
      else if (left == 2 && right == 3)
        add(p10, p11, p01);
    }
  return out;
}

struct BandCase {
  int width, height, step;
  bool below;
};

class BandedMesh : public ::testing::TestWithParam<BandCase> {};

TEST_P(BandedMesh, MeshesEveryCellOfTheRaster) {
  const BandCase c = GetParam();
  const std::uint32_t seed = 31u * c.width + 7u * c.height + c.step + (c.below ? 1000u : 0u);
  SCOPED_TRACE("seed " + std::to_string(seed));
  const relief_test::Grid g = relief_test::RandomField(c.width, c.height, seed, 1.0f, 100.0f, 0.15);
  CSSEMatrix field = relief_test::ToMatrix(g);
  FieldMeshOptions options;
  options.below = c.below;
  options.threshold = c.below ? 60.0f : 0.0f;
  options.step = c.step;
  options.scale[0] = 0.5f;
  options.scale[1] = 2.0f;
  options.scale[2] = 3.0f;

  relief_test::CollectingWriter writer;
  const std::int64_t written = StreamFieldMesh(field, options, writer);
  std::vector<Triangle> banded(writer.corners.size() / 9);
  std::copy(writer.corners.begin(), writer.corners.end(), banded.empty() ? nullptr : banded[0].data());
  std::vector<Triangle> whole = c.step == 1 ? EveryCellTriangles(field, options) : WholeRasterTriangles(field, options);
  EXPECT_EQ(written, static_cast<std::int64_t>(banded.size()));
  std::sort(banded.begin(), banded.end());
  std::sort(whole.begin(), whole.end());
  ASSERT_EQ(banded.size(), whole.size());
  const auto differ = std::mismatch(banded.begin(), banded.end(), whole.begin());
  EXPECT_TRUE(differ.first == banded.end())
      << "sorted triangle " << differ.first - banded.begin() << " differs: " << testing::PrintToString(*differ.first)
      << " vs " << testing::PrintToString(*differ.second);
}

std::vector<BandCase> BandCases() {
  std::vector<BandCase> cases;
  // Width and height: 6 wide at every height up to 9, and wider ones.
  std::vector<std::pair<int, int>> sizes = {{2, 2}, {3, 5}, {9, 33}, {17, 64}, {5, 65}, {40, 70}, {11, 129}, {6, 131}};
  for (int height : {1, 3, 4, 6, 7, 8, 9, 17, 91}) sizes.push_back({6, height});
  for (auto size : sizes)
    for (int step : {1, 2, 3})
      for (bool below : {false, true}) cases.push_back({size.first, size.second, step, below});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Sizes, BandedMesh, ::testing::ValuesIn(BandCases()), [](const auto& info) {
  return std::to_string(info.param.width) + "x" + std::to_string(info.param.height) + "_step" +
         std::to_string(info.param.step) + (info.param.below ? "_below" : "_above");
});

TEST(BandedMesh, BandsStartOnRegisterRowsAndSteps) {
  for (int step : {1, 2, 3, 5, 8, 40}) {
    EXPECT_GT(BandRows(step), 0) << step;
    EXPECT_EQ(BandRows(step) % 4, 0) << step;
    EXPECT_EQ(BandRows(step) % step, 0) << step;
  }
}

}  // namespace
