// The banded mesher must mesh every cell: at full resolution exactly the
// triangles of a naive cell-by-cell reference, subsampled exactly those the
// library builds from the whole raster; sizes around the four-row registers
// and the band height (every height from 1 to 9 among them, so each meshes
// down to its last row), steps, both directions, with holes.
//
// The tool's adaptive mesh (tiles of Delaunay refinement) on fields of odd
// sizes, smooth and rough, whole and with holes, in one tile and in many:
// the result is edge-manifold without cracks, counter-clockwise, covers
// every pixel of a whole field, and does not depend on where the data lies.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <string>

#include "adaptive_mesh.h"
#include "degenerate_repair.h"
#include "io/mesh_io.h"
#include "mesh_build.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"
#include "tool_test_support.h"
#include "triangle_soup_checks.h"

using namespace relief::tool;
using relief_test::CounterClockwiseAndNonZero;
using relief_test::EdgeManifold;
using relief_test::Grid;

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

void PrintTo(const BandCase& c, std::ostream* os) {
  *os << c.width << " x " << c.height << ", step " << c.step << (c.below ? ", below" : ", above");
}

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

  relief::tool::TriangleCollector writer;
  const std::int64_t written = StreamFieldMesh(field, options, writer);
  std::vector<Triangle> banded(writer.Corners().size() / 9);
  std::copy(writer.Corners().begin(), writer.Corners().end(), banded.empty() ? nullptr : banded[0].data());
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

INSTANTIATE_TEST_SUITE_P(Sizes, BandedMesh, ::testing::ValuesIn(BandCases()));

// Smooth and rough whole fields; scattered no-data pixels; an outline: a
// smooth ellipse over the field with a round hole, no data around.
enum class Surface { kSmooth, kRough, kHoles, kOutline };

Grid MakeField(Surface s, int width, int height, std::uint32_t seed) {
  if (s == Surface::kRough || s == Surface::kHoles)
    return relief_test::RandomField(width, height, seed, 1.0f, 200.0f, s == Surface::kHoles ? 0.1 : 0.0);
  Grid g{width, height, {}};
  const double cx = width / 2.0, cy = height / 2.0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const double ex = (x - cx) / (0.48 * width), ey = (y - cy) / (0.48 * height);
      const double hx = (x - 0.35 * width) / (0.12 * width), hy = (y - 0.4 * height) / (0.12 * height);
      const bool inside = s == Surface::kSmooth || (ex * ex + ey * ey < 1.0 && hx * hx + hy * hy > 1.0);
      g.values.push_back(inside ? 100.0f + 20.0f * std::sin(0.05f * x) * std::cos(0.04f * y) : 0.0f);
    }
  return g;
}

// The same field placed at (offsetX, offsetY) in a larger raster of no data.
CSSEMatrix Placed(const Grid& g, int offsetX, int offsetY) {
  CSSEMatrix m;
  m.Create(g.width + offsetX, g.height + offsetY);
  for (int y = 0; y < g.height; ++y)
    for (int x = 0; x < g.width; ++x) m.SetPoint(x + offsetX, y + offsetY, g.at(x, y));
  return m;
}

// The field without the valid pixels that are no corner of a 2 x 2 cell with
// three or more valid corners: those no triangle of valid corners can hold.
CSSEMatrix Meshable(const CSSEMatrix& field) {
  const int w = field.GetSizeX(), h = field.GetSizeY();
  CSSEMatrix out;
  out.Create(w, h);
  for (int y = 0; y + 1 < h; ++y)
    for (int x = 0; x + 1 < w; ++x) {
      int valid = 0;
      for (int k = 0; k < 4; ++k) valid += field.GetPoint(x + k % 2, y + k / 2) != 0.0f;
      if (valid < 3) continue;
      for (int k = 0; k < 4; ++k) out.SetPoint(x + k % 2, y + k / 2, field.GetPoint(x + k % 2, y + k / 2));
    }
  return out;
}

std::int64_t DistinctCorners(const std::vector<float>& c) {
  std::set<std::array<float, 2>> seen;
  for (size_t i = 0; i < c.size(); i += 3) seen.insert({c[i], c[i + 1]});
  return static_cast<std::int64_t>(seen.size());
}

struct AdaptiveCase {
  Surface surface;
  int width, height, spacing, tileSize;
};

void PrintTo(const AdaptiveCase& c, std::ostream* os) {
  *os << "surface " << int(c.surface) << ", " << c.width << " x " << c.height << ", spacing " << c.spacing << ", tile "
      << c.tileSize;
}

class AdaptiveMeshCase : public ::testing::TestWithParam<AdaptiveCase> {};

TEST_P(AdaptiveMeshCase, ManifoldCounterClockwiseCoveringAndTrueCounts) {
  const AdaptiveCase c = GetParam();
  const std::uint32_t seed = 977u * c.width + 13u * c.height + c.spacing + 7u * c.tileSize + unsigned(c.surface);
  SCOPED_TRACE("seed " + std::to_string(seed));
  const Grid g = MakeField(c.surface, c.width, c.height, seed);
  CSSEMatrix field = relief_test::ToMatrix(g);
  AdaptiveOptions options;
  options.tolerance = 0.5f;
  options.seedSpacing = c.spacing;
  options.tileSize = c.tileSize;
  const AdaptiveMesh mesh = RefineField(field, options, "field");
  ASSERT_GT(mesh.Triangles(), 0);
  EXPECT_EQ(mesh.unusedSeeds, 0);
  if (c.tileSize < std::max(c.width, c.height)) {
    options.threads = 3;  // more than the tiles of some cases, and than the cores
    const AdaptiveMesh threaded = RefineField(field, options, "field");
    EXPECT_EQ(threaded.vertices, mesh.vertices);
    EXPECT_TRUE(threaded.corners == mesh.corners) << "the tiles refined at once give other triangles";
  }
  EXPECT_TRUE(CounterClockwiseAndNonZero(mesh.corners));
  if (c.surface == Surface::kHoles || c.surface == Surface::kOutline) {
    EXPECT_TRUE(EdgeManifold(mesh.corners));
    // Along an outline the mesh reaches single pixels: every valid pixel
    // that a full-resolution mesh covers is covered (scattered holes leave
    // far more lone pixels than any triangle can hold). Exception: a cell of
    // three valid pixels at a one-pixel tip (the 5-row ellipse has them) may
    // be split along the diagonal that touches its invalid corner, as the
    // four pixels are cocircular; the tip pixel is then not covered.
    if (c.surface == Surface::kOutline)
      EXPECT_LE(MeasureAgainstField(mesh.corners, Meshable(field)).lost, c.height < 8 ? 2 : 0);
    return;
  }
  // A whole field: no crack anywhere, the triangles tile the box exactly,
  // every pixel is covered and the counts are what the mesh holds.
  const float right = float(c.width - 1), bottom = float(c.height - 1);
  EXPECT_TRUE(EdgeManifold(mesh.corners, {0, 0}, {right, bottom}));
  double area = 0;
  for (size_t t = 0; t < mesh.corners.size() / 9; ++t) area += relief_test::DoubledArea(mesh.corners, t) / 2;
  EXPECT_NEAR(area, double(right) * bottom, 1e-6 * right * bottom);
  const ErrorFigures error = MeasureAgainstField(mesh.corners, field);
  EXPECT_EQ(error.lost, 0) << "pixels not covered";
  EXPECT_EQ(error.compared, std::int64_t(c.width) * c.height);
  EXPECT_EQ(mesh.vertices, DistinctCorners(mesh.corners));
  EXPECT_LE(mesh.inserted, mesh.vertices);
  if (c.spacing == 1) EXPECT_EQ(error.maxAbs, 0.0) << "a seed at every pixel is the field itself";
}

std::vector<AdaptiveCase> AdaptiveCases() {
  std::vector<AdaptiveCase> cases;
  for (Surface s : {Surface::kSmooth, Surface::kRough, Surface::kHoles, Surface::kOutline})
    for (auto size : {std::pair{2, 2}, {3, 7}, {17, 5}, {31, 129}, {150, 128}})
      for (int spacing : {1, 8, 32})
        for (int tile : {2048, 16})
          if (s == Surface::kSmooth || s == Surface::kRough || size.first > 16)
            cases.push_back({s, size.first, size.second, spacing, tile});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Fields, AdaptiveMeshCase, ::testing::ValuesIn(AdaptiveCases()));

// The triangulator works in single precision: the tool triangulates each
// tile in its own coordinates, so the same patch far from the origin gives
// the same triangles, shifted.
TEST(AdaptiveMesh, SamePatchAtColumnZeroAndColumn8000GivesTheSameTriangles) {
  const Grid g = MakeField(Surface::kRough, 150, 128, 5u);
  AdaptiveOptions options;
  options.tolerance = 0.5f;
  options.seedSpacing = 1;
  CSSEMatrix near = Placed(g, 0, 0), far = Placed(g, 8000, 40);
  const AdaptiveMesh a = RefineField(near, options, "near"), b = RefineField(far, options, "far");
  ASSERT_EQ(a.Triangles(), b.Triangles());
  EXPECT_TRUE(EdgeManifold(b.corners, {8000, 40}, {8149, 167}));
  EXPECT_TRUE(CounterClockwiseAndNonZero(b.corners));
  for (size_t i = 0; i < a.corners.size(); ++i) {
    const float shift = i % 3 == 0 ? 8000.0f : i % 3 == 1 ? 40.0f : 0.0f;
    ASSERT_EQ(a.corners[i] + shift, b.corners[i]) << "value " << i;
  }
}

// Zero-area triangles along a collinear run are replaced by splitting the
// triangle beyond their long edge: the result is edge-manifold and tiles the
// same area. Points: a row 0, 1, 2 on y = 0 and an apex above it.
TEST(AdaptiveMesh, ZeroAreaTrianglesAreSplitIntoTheirNeighbourNotDropped) {
  const std::vector<PlanarPoint> points = {{0, 0}, {1, 0}, {2, 0}, {1, 3}};
  using Tris = std::vector<std::array<std::int32_t, 3>>;
  auto soup = [&](const Tris& tris) {
    std::vector<float> c;
    for (const auto& t : tris)
      for (int k = 0; k < 3; ++k)
        c.insert(c.end(), {float(points[size_t(t[k])].x), float(points[size_t(t[k])].y), 0.0f});
    return c;
  };
  const struct {
    const char* name;
    Tris in;
    size_t out;
    std::int64_t met;
  } cases[] = {// Its long edge 0-2 on the hull, its short edges against two triangles: dropped.
               {"hull sliver", {{0, 1, 3}, {1, 2, 3}, {0, 2, 1}}, 2, 1},
               // Its short edges on the hull (a tile's edge), its long edge against
               // the apex triangle, which is split at the middle point.
               {"edge sliver", {{2, 0, 1}, {0, 2, 3}}, 2, 1},
               {"repeated vertex", {{0, 0, 3}, {0, 2, 3}}, 1, 1},
               {"nothing to do", {{0, 1, 3}, {1, 2, 3}}, 2, 0}};
  for (const auto& c : cases) {
    Tris tris = c.in;
    EXPECT_EQ(RepairZeroAreaTriangles(tris, points), c.met) << c.name;
    ASSERT_EQ(tris.size(), c.out) << c.name;
    const std::vector<float> corners = soup(tris);
    EXPECT_TRUE(CounterClockwiseAndNonZero(corners)) << c.name;
    EXPECT_TRUE(EdgeManifold(corners)) << c.name;
  }
}

// Fields over several tiles of 2048. 2048 x 2112 cuts the rows at 1055, a
// pixel above the seed grid's row 1056: such a row makes slivers against the
// cut's seeds over which the triangulator left some of them unconnected (a
// crack at the seam), so grid points keep the edge spacing from every tile
// edge. A strip much wider than a tile: the tiles join without cracks and the
// error stays that of a narrow strip.
TEST(AdaptiveMesh, FieldsOverSeveralTilesJoinWithoutCracks) {
  const struct {
    int width, height, passes, tiles;
    float (*z)(int x, int y);
  } cases[] = {
      {2048, 2112, 0, 2, [](int x, int y) { return 50.0f + 0.01f * x + 0.02f * y; }},
      {8192, 16, 12, 4,
       [](int x, int y) { return 100.0f + 0.004f * x + 3.0f * std::sin(0.011f * x) * std::cos(0.007f * y); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.width) + " x " + std::to_string(c.height));
    CSSEMatrix field = relief_test::ToMatrix(relief_test::FieldOf(c.width, c.height, c.z));
    AdaptiveOptions options;
    options.tolerance = 0.5f;
    options.passes = c.passes;
    const AdaptiveMesh mesh = RefineField(field, options, "field");
    EXPECT_EQ(mesh.tiles, c.tiles);
    EXPECT_EQ(mesh.unusedSeeds, 0);
    EXPECT_TRUE(EdgeManifold(mesh.corners, {0, 0}, {float(c.width - 1), float(c.height - 1)}));
    EXPECT_TRUE(CounterClockwiseAndNonZero(mesh.corners));
    const ErrorFigures error = MeasureAgainstField(mesh.corners, field);
    EXPECT_EQ(error.lost, 0);
    if (c.passes > 0) EXPECT_LT(error.maxAbs, 0.5);
  }
}

}  // namespace
