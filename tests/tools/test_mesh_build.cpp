// The banded mesher must give exactly the triangles the library builds from
// the whole raster: sizes around the four-row registers and the band height,
// steps, both directions, with holes.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "io/mesh_io.h"
#include "mesh_build.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"
#include "tool_test_support.h"

using namespace relief::tool;

namespace {

using Triangle = std::array<float, 9>;

class CollectingWriter : public TriangleWriter {
 public:
  void Add(const float c[9]) override {
    triangles.emplace_back();
    std::copy(c, c + 9, triangles.back().begin());
    ++m_count;
  }
  void Commit() override {}
  std::vector<Triangle> triangles;
};

// The whole-raster build, used records only, scaled like the tool scales.
std::vector<Triangle> WholeRasterTriangles(CSSEMatrix& field, const FieldMeshOptions& o) {
  auto mesh = o.step == 1
                  ? std::make_unique<CHTriangulation>(&field, o.threshold, !o.below, 1.0f, 1.0f, 1.0f)
                  : std::make_unique<CHTriangulation>(&field, o.threshold, !o.below, 1.0f, 1.0f, 1.0f, o.step, o.step);
  std::vector<Triangle> out;
  for (int i = 0; i < mesh->GetNumTriangles(); ++i) {
    if (!IsUsedRecord(*mesh, i)) continue;
    Triangle& t = out.emplace_back();
    for (int k = 0; k < 9; ++k) t[k] = mesh->GetEdgeArray()[3 * i + k / 3].m[k % 3] * o.scale[k % 3];
  }
  return out;
}

struct BandCase { int width, height, step; bool below; };

class BandedMesh : public ::testing::TestWithParam<BandCase> {};

TEST_P(BandedMesh, EqualsTheWholeRasterBuild) {
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

  CollectingWriter writer;
  const std::int64_t written = StreamFieldMesh(field, options, writer);
  std::vector<Triangle> banded = writer.triangles, whole = WholeRasterTriangles(field, options);
  EXPECT_EQ(written, static_cast<std::int64_t>(banded.size()));
  std::sort(banded.begin(), banded.end());
  std::sort(whole.begin(), whole.end());
  ASSERT_EQ(banded.size(), whole.size());
  EXPECT_TRUE(banded == whole);
}

std::vector<BandCase> BandCases() {
  std::vector<BandCase> cases;
  for (auto size : {std::pair{2, 2}, {3, 5}, {9, 33}, {17, 64}, {5, 65}, {40, 70}, {11, 129}, {6, 131}})
    for (int step : {1, 2, 3})
      for (bool below : {false, true}) cases.push_back({size.first, size.second, step, below});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Sizes, BandedMesh, ::testing::ValuesIn(BandCases()), [](const auto& info) {
  return std::to_string(info.param.width) + "x" + std::to_string(info.param.height) + "_step" +
         std::to_string(info.param.step) + (info.param.below ? "_below" : "_above");
});

TEST(BandedMesh, BandsStartOnRegisterRowsAndSteps) {
  for (int step : {1, 2, 3, 5, 8, 40})
    EXPECT_TRUE(BandRows(step) > 0 && BandRows(step) % 4 == 0 && BandRows(step) % step == 0) << step;
}

}  // namespace
