// The built `relief` executable, end to end: the printed figures recomputed
// from the files written (exit codes and messages are test_tool_runs').

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <regex>

#include "tool_test_support.h"
#include "triangle_soup_checks.h"

using relief_test::Grid;
using relief_test::Plane;
using relief_test::Quote;
using relief_test::RunTool;
using relief_test::ScratchDir;
using relief_test::ToolRun;
using relief_test::WriteField;

namespace {

// A disc of a slightly wavy bowl, no data (0) around it.
Grid Disc() {
  return relief_test::FieldOf(80, 70, [](int x, int y) {
    const int r2 = (x - 40) * (x - 40) + (y - 35) * (y - 35);
    return r2 <= 33 * 33 ? 60.0f + 0.01f * float(r2) + 3.0f * std::sin(0.3f * float(x)) : 0.0f;
  });
}

TEST(ToolEndToEnd, MeshAndRasterizeRoundTripAPlane) {
  ScratchDir dir("e2e-roundtrip");
  const Grid plane = Plane(40, 32);
  WriteField(dir / "f.npy", plane);
  for (const char* mesh : {"m.ply", "m.stl", "m.rmesh"}) {
    ASSERT_EQ(RunTool("mesh " + Quote(dir / "f.npy") + " -o " + Quote(dir / mesh)).exitCode, 0);
    for (const char* mode : {"", " --min"}) {
      const ToolRun run = RunTool("rasterize " + Quote(dir / mesh) + " -o " + Quote(dir / "back.npy") + mode);
      ASSERT_EQ(run.exitCode, 0) << run.err;
      const Grid back = relief_test::ReadNpyFloat32(dir / "back.npy");
      // The mesh spans x 0 .. 39 and y 0 .. 31, so the raster is 39 x 31 cells
      // from the origin; the outer ring of cells is never stamped.
      ASSERT_EQ(back.width, 39);
      ASSERT_EQ(back.height, 31);
      for (int y = 1; y < back.height - 1; ++y)
        for (int x = 1; x < back.width - 1; ++x) {
          // Samples land within half a cell of the centre (0.375 on this
          // slope) and the cross moves a value one cell on (0.5 at most).
          EXPECT_NEAR(back.at(x, y), plane.at(x, y), 0.875f) << mesh << mode << " at " << x << ", " << y;
        }
      EXPECT_EQ(back.at(0, 0), 0.0f) << "unreached cells are 0";
    }
  }
}

// What a refine run reports, after checking that it succeeded and that
// `info` finds the triangles it reports in the file (info's text is kept).
struct Refined {
  long long triangles = 0, points = 0, pixels = 0;
  double maxError = 0, rms = 0;
  std::string out, info;
};

Refined Refine(const ScratchDir& dir, const std::string& input, const std::string& options) {
  const ToolRun run = RunTool("refine " + Quote(dir / input) + " -o " + Quote(dir / "a.ply") + " " + options);
  Refined r;
  r.out = run.out;
  EXPECT_EQ(run.exitCode, 0) << options << "\n" << run.err;
  std::smatch m;
  const std::regex figures("(\\d+) triangles over (\\d+) points[^]*max error ([0-9.]+), rms ([0-9.]+) over (\\d+) pix");
  if (!std::regex_search(run.out, m, figures)) {
    ADD_FAILURE() << options << ": no figures in\n" << run.out << run.err;
    return r;
  }
  r.triangles = std::stoll(m[1]);
  r.points = std::stoll(m[2]);
  r.maxError = std::stod(m[3]);
  r.rms = std::stod(m[4]);
  r.pixels = std::stoll(m[5]);
  r.info = RunTool("info " + Quote(dir / "a.ply")).out;
  EXPECT_NE(r.info.find("triangles     " + std::string(m[1])), std::string::npos) << options << "\n" << r.info;
  return r;
}

// In both modes a tighter bound refines further and follows the field more
// closely; --max-error holds its bound.
TEST(ToolEndToEnd, RefineTightensWithItsBound) {
  ScratchDir dir("e2e-refine");
  WriteField(dir / "bowl.npy", relief_test::FieldOf(64, 64, [](int x, int y) {
               return 50.0f + 0.02f * ((x - 32) * (x - 32) + (y - 32) * (y - 32));
             }));
  WriteField(dir / "disc.npy", Disc());
  const struct {
    const char *input, *option;
    double loose, tight;
  } cases[] = {{"bowl.npy", "--tolerance", 4, 0.25}, {"disc.npy", "--max-error", 1, 0.1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.option);
    const Refined loose = Refine(dir, c.input, c.option + (" " + std::to_string(c.loose)));
    const Refined tight = Refine(dir, c.input, c.option + (" " + std::to_string(c.tight)));
    EXPECT_GT(tight.triangles, loose.triangles);
    EXPECT_LT(tight.rms, loose.rms);
    EXPECT_LT(tight.rms, 0.5);
    if (std::string(c.option) == "--max-error") {
      EXPECT_LE(loose.maxError, c.loose);
      EXPECT_LE(tight.maxError, c.tight);
    }
  }
}

// A minimum height far below a pixel would triple the points with every
// pass for nothing: it is raised to half a pixel, said so, and the run
// reports what the mesh really holds.
TEST(ToolEndToEnd, RefineWithATinyMinimumHeightStaysBounded) {
  ScratchDir dir("e2e-tiny");
  WriteField(dir / "f.npy", relief_test::RandomField(40, 40, 3u, 1.0f, 100.0f, 0.0));
  const Refined r = Refine(dir, "f.npy", "--tolerance 0.01 --min-height 0.001");
  EXPECT_NE(r.out.find("below half a pixel: 0.5 is used"), std::string::npos) << r.out;
  std::smatch m;
  ASSERT_TRUE(std::regex_search(r.out, m, std::regex("(\\d+) of them inserted"))) << r.out;
  EXPECT_LE(std::stoll(m[1]), r.points);
  EXPECT_LT(r.points, 40 * 40 * 8);
}

// A DEM-like field whose holes hold -9999 (an .npy has no no-data tag): both
// refine modes must take the same pixels as `info` and `mesh` do, so no
// corner may sink to the hole value.
TEST(ToolEndToEnd, RefineCountsValidPixelsLikeInfo) {
  ScratchDir dir("refine-valid-rule");
  WriteField(dir / "dem.npy", relief_test::FieldOf(60, 45, [](int x, int y) {
               const bool hole = (x - 20) * (x - 20) + (y - 20) * (y - 20) < 64 || x > 52;
               return hole ? -9999.0f : 100.0f + 0.5f * float(x) + 2.0f * std::cos(0.2f * float(y));
             }));
  std::smatch m;
  const ToolRun info = RunTool("info " + Quote(dir / "dem.npy"));
  ASSERT_TRUE(std::regex_search(info.out, m, std::regex("valid pixels  (\\d+)"))) << info.out;
  const long long valid = std::stoll(m[1]);
  for (const std::string mode : {"--max-error 0.5", "--tolerance 1"}) {
    const Refined r = Refine(dir, "dem.npy", mode);
    if (mode.rfind("--max-error", 0) == 0) EXPECT_EQ(r.pixels, valid) << r.out;
    ASSERT_TRUE(std::regex_search(r.info, m, std::regex("z ([-0-9.e+]+) \\.\\."))) << r.info;
    EXPECT_GT(std::stod(m[1]), 0.0) << mode << ": a corner took the hole value\n" << r.info;
  }
}

// Corners of a binary STL's facets: nine floats each (the normal is skipped).
std::vector<float> ReadStlCorners(const std::filesystem::path& path) {
  const std::string bytes = relief_test::ReadBytes(path);
  std::uint32_t count = 0;
  std::memcpy(&count, bytes.data() + 80, 4);
  std::vector<float> corners(9 * size_t(count));
  for (std::uint32_t i = 0; i < count; ++i) std::memcpy(&corners[9 * i], bytes.data() + 84 + 50 * i + 12, 36);
  return corners;
}

// Image rows run down; --flip-y puts the last row at y = 0 for mesh and
// refine alike, and the triangles stay counter-clockwise seen from above.
TEST(ToolEndToEnd, FlipYMirrorsRowsAndKeepsTrianglesCounterClockwise) {
  ScratchDir dir("e2e-flip");
  const int height = 7;
  WriteField(dir / "f.npy", relief_test::FieldOf(5, height, [](int x, int y) { return 1.0f + x + 10.0f * y; }));
  for (const std::string command : {"mesh", "refine --tolerance 0.5 --seed-spacing 1"})
    for (const std::string flip : {"", " --flip-y"}) {
      const ToolRun run = RunTool(command + " " + Quote(dir / "f.npy") + " -o " + Quote(dir / "m.stl") + flip);
      ASSERT_EQ(run.exitCode, 0) << run.err;
      const std::vector<float> c = ReadStlCorners(dir / "m.stl");
      ASSERT_EQ(c.size(), 9u * 2 * 4 * (height - 1)) << command;
      for (size_t i = 0; i < c.size(); i += 3) {
        const float row = flip.empty() ? c[i + 1] : float(height - 1) - c[i + 1];
        ASSERT_EQ(c[i + 2], 1.0f + c[i] + 10.0f * row) << command << flip << " at " << c[i] << ", " << c[i + 1];
      }
      EXPECT_TRUE(relief_test::CounterClockwiseAndNonZero(c)) << command << flip;
    }
}

// The demo's summary, recomputed from the files it wrote with this test's own
// reader: max and RMS of (round trip - field) where both hold a value.
TEST(ToolEndToEnd, DemoFiguresMatchTheFilesItWrote) {
  ScratchDir dir("e2e-demo");
  const ToolRun run = RunTool("demo --out " + Quote(dir.Path()));
  ASSERT_EQ(run.exitCode, 0) << run.err;
  for (const char* f : {"tooth.ply", "tooth-adaptive.ply", "field.npy", "roundtrip.npy", "field.png", "mask.png",
                        "difference.png", "view.html"})
    EXPECT_TRUE(std::filesystem::exists(dir / f)) << f;

  std::smatch m;
  ASSERT_TRUE(std::regex_search(run.out, m,
                                std::regex("round trip: max error ([0-9.]+), rms ([0-9.]+) over the (\\d+) pixels "
                                           "both hold \\(scan raster at pixel (-?\\d+), (-?\\d+)\\)")))
      << run.out;
  const int ox = std::stoi(m[4]), oy = std::stoi(m[5]);
  const Grid field = relief_test::ReadNpyFloat32(dir / "field.npy");
  const Grid back = relief_test::ReadNpyFloat32(dir / "roundtrip.npy");
  double maxError = 0.0, sumSquares = 0.0;
  long long count = 0;
  for (int y = 0; y < field.height; ++y)
    for (int x = 0; x < field.width; ++x) {
      const int bx = x - ox, by = y - oy;
      if (bx < 0 || by < 0 || bx >= back.width || by >= back.height) continue;
      const double f = field.at(x, y), b = back.at(bx, by);
      if (f == 0.0 || b == 0.0) continue;
      maxError = std::max(maxError, std::fabs(b - f));
      sumSquares += (b - f) * (b - f);
      ++count;
    }
  EXPECT_EQ(count, std::stoll(m[3]));
  EXPECT_NEAR(maxError, std::stod(m[1]), 5e-5);
  EXPECT_NEAR(std::sqrt(sumSquares / count), std::stod(m[2]), 5e-5);
  // The bound the documentation states: the cross stamps raise a pixel to at
  // most its steepest neighbour, which on this crown stays under 10 height
  // units; on average the round trip stays within 1.5.
  EXPECT_LT(maxError, 10.0);
  EXPECT_LT(std::sqrt(sumSquares / count), 1.5);
  EXPECT_GT(count, 100000);
}

}  // namespace
