// The built `relief` executable, end to end: every subcommand on small files
// made here, the exit codes and the demo's printed figures recomputed from
// the files it wrote (refusals are test_tool_errors').

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <regex>

#include "tool_test_support.h"

using relief_test::Grid;
using relief_test::RunTool;
using relief_test::ScratchDir;
using relief_test::ToolRun;

namespace {

Grid Field(int width, int height, float (*z)(int x, int y)) {
  Grid g{width, height, {}};
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) g.values.push_back(z(x, y));
  return g;
}

// A tilted plane z = 10 + 0.5 x + 0.25 y over width x height pixels.
Grid Plane(int width, int height) {
  return Field(width, height, [](int x, int y) { return 10.0f + 0.5f * x + 0.25f * y; });
}

void WriteField(const std::filesystem::path& path, const Grid& g) {
  relief_test::WriteNpy(path, "<f4", g.width, g.height, g.values.data(), 4);
}

std::string Quote(const std::filesystem::path& p) { return "'" + p.string() + "'"; }

// Runs that succeed, in order ($D is the scratch folder): exit 0, nothing on
// stderr, and stdout holds every listed piece; "" marks a silent run.
TEST(ToolEndToEnd, SuccessfulRunsPrintTheirFigures) {
  ScratchDir dir("e2e-runs");
  Grid g = Plane(5, 4);
  g.values[0] = 0.0f;
  WriteField(dir / "f.npy", g);
  WriteField(dir / "w.npy", Plane(40, 30));
  WriteField(dir / "s.npy", Plane(41, 41));
  const std::pair<std::string, std::vector<std::string>> runs[] = {
      {"--help", {"Usage: relief "}},
      {"--version", {"relief "}},
      {"demo --help", {"Usage: relief demo"}},
      {"mesh --help", {"Usage: relief mesh"}},
      {"rasterize --help", {"Usage: relief rasterize"}},
      {"refine --help", {"Usage: relief refine"}},
      {"info --help", {"Usage: relief info"}},
      {"info $D/f.npy", {"5 x 4 pixels", "valid pixels  19", "value range   10.25 .. 12.75"}},
      {"--quiet mesh $D/f.npy -o $D/m.ply", {""}},
      {"mesh $D/f.npy -o $D/m.ply -q", {""}},
      {"-q info $D/m.ply", {""}},
      // Every 2 x 2 cell of a full 40 x 30 field gives two triangles, down to
      // the last row although 30 is not a multiple of 4: 2 x 39 x 29.
      {"mesh $D/w.npy -o $D/w.ply", {"2262 triangles"}},
      {"mesh $D/w.npy -o $D/w.obj", {"2262 triangles"}},
      {"mesh $D/w.npy -o $D/w.stl", {"2262 triangles"}},
      {"mesh $D/w.npy -o $D/w.rmesh", {"2262 triangles"}},
      {"info $D/w.ply", {"triangles     2262", "x 0 .. 39, y 0 .. 29"}},
      {"info $D/w.stl", {"triangles     2262", "x 0 .. 39, y 0 .. 29"}},
      {"info $D/w.rmesh", {"triangles     2262", "x 0 .. 39, y 0 .. 29"}},
      {"mesh $D/w.npy -o $D/wf.stl --flip-y", {"2262 triangles"}},
      {"info $D/wf.stl", {"triangles     2262", "x 0 .. 39, y 0 .. 29"}},
      // Cells start every 4 pixels while a whole step fits (x, y = 0, 4 .. 36:
      // 10 x 10 cells), corners scaled; z = (10 + 0.5 x + 0.25 y) * 3.
      {"mesh $D/s.npy -o $D/s.stl --scale 0.5 2 3 --step 4", {"200 triangles"}},
      {"info $D/s.stl", {"triangles     200", "x 0 .. 20, y 0 .. 80, z 30 .. 120"}},
  };
  for (const auto& [pattern, pieces] : runs) {
    const std::string args = std::regex_replace(pattern, std::regex("\\$D"), Quote(dir.Path()));
    const ToolRun run = RunTool(args);
    EXPECT_EQ(run.exitCode, 0) << args << "\n" << run.err;
    EXPECT_EQ(run.err, "") << args << ": no progress lines when stderr is not a terminal";
    for (const std::string& piece : pieces) {
      if (piece.empty())
        EXPECT_EQ(run.out + run.err, "") << args;
      else
        EXPECT_NE(run.out.find(piece), std::string::npos) << args << "\n" << run.out;
    }
  }
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

TEST(ToolEndToEnd, RefineReportsTrianglesAndErrors) {
  ScratchDir dir("e2e-refine");
  WriteField(dir / "f.npy",
             Field(64, 64, [](int x, int y) { return 50.0f + 0.02f * ((x - 32) * (x - 32) + (y - 32) * (y - 32)); }));
  long long triangles[2] = {0, 0};
  double rms[2] = {0, 0};
  for (int i = 0; i < 2; ++i) {
    const ToolRun run = RunTool("refine " + Quote(dir / "f.npy") + " -o " + Quote(dir / "a.ply") + " --tolerance " +
                                (i ? "0.25" : "4"));
    std::smatch m;
    ASSERT_TRUE(std::regex_search(run.out, m, std::regex("(\\d+) triangles over [^]*max error [0-9.]+, rms ([0-9.]+)")))
        << run.out << run.err;
    triangles[i] = std::stoll(m[1]);
    rms[i] = std::stod(m[2]);
    EXPECT_NE(RunTool("info " + Quote(dir / "a.ply")).out.find("triangles     " + std::to_string(triangles[i])),
              std::string::npos);
  }
  // A tighter tolerance refines further and follows the bowl more closely.
  EXPECT_GT(triangles[1], triangles[0]);
  EXPECT_LT(rms[1], rms[0]);
  EXPECT_LT(rms[1], 0.5);
}

// Facets of a binary STL: nine floats each (the normal is skipped).
std::vector<std::array<float, 9>> ReadStlFacets(const std::filesystem::path& path) {
  const std::string bytes = relief_test::ReadBytes(path);
  std::uint32_t count = 0;
  std::memcpy(&count, bytes.data() + 80, 4);
  std::vector<std::array<float, 9>> facets(count);
  for (std::uint32_t i = 0; i < count; ++i) std::memcpy(facets[i].data(), bytes.data() + 84 + 50 * i + 12, 36);
  return facets;
}

// Image rows run down; --flip-y puts the last row at y = 0 for mesh and
// refine alike, and the triangles stay counter-clockwise seen from above.
TEST(ToolEndToEnd, FlipYMirrorsRowsAndKeepsTrianglesCounterClockwise) {
  ScratchDir dir("e2e-flip");
  const int height = 7;
  WriteField(dir / "f.npy", Field(5, height, [](int x, int y) { return 1.0f + x + 10.0f * y; }));
  for (const std::string command : {"mesh", "refine --tolerance 0.5 --seed-spacing 1"})
    for (bool flip : {false, true}) {
      const ToolRun run =
          RunTool(command + " " + Quote(dir / "f.npy") + " -o " + Quote(dir / "m.stl") + (flip ? " --flip-y" : ""));
      ASSERT_EQ(run.exitCode, 0) << run.err;
      const auto facets = ReadStlFacets(dir / "m.stl");
      ASSERT_EQ(facets.size(), 2u * 4 * (height - 1)) << command;
      for (const auto& f : facets) {
        for (int k = 0; k < 3; ++k) {
          const float x = f[3 * k], y = f[3 * k + 1], row = flip ? float(height - 1) - y : y;
          ASSERT_EQ(f[3 * k + 2], 1.0f + x + 10.0f * row)
              << command << (flip ? " --flip-y" : "") << " at " << x << ", " << y;
        }
        const double area =
            (double(f[3]) - f[0]) * (double(f[7]) - f[1]) - (double(f[6]) - f[0]) * (double(f[4]) - f[1]);
        ASSERT_GT(area, 0.0) << command << (flip ? " --flip-y" : "") << ": a clockwise or degenerate facet";
      }
    }
}

// A minimum height far below a pixel would triple the points with every
// pass for nothing: it is raised to half a pixel, said so, and the run
// reports what the mesh really holds.
TEST(ToolEndToEnd, RefineWithATinyMinimumHeightStaysBounded) {
  ScratchDir dir("e2e-tiny");
  WriteField(dir / "f.npy", relief_test::RandomField(40, 40, 3u, 1.0f, 100.0f, 0.0));
  const ToolRun run = RunTool("refine " + Quote(dir / "f.npy") + " -o " + Quote(dir / "a.ply") +
                              " --tolerance 0.01 --min-height 0.001");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_NE(run.out.find("below half a pixel: 0.5 is used"), std::string::npos) << run.out;
  std::smatch m;
  ASSERT_TRUE(std::regex_search(run.out, m, std::regex("(\\d+) triangles over (\\d+) points, (\\d+) of them inserted")))
      << run.out;
  EXPECT_LE(std::stoll(m[3]), std::stoll(m[2]));
  EXPECT_LT(std::stoll(m[2]), 40 * 40 * 8);
  EXPECT_NE(RunTool("info " + Quote(dir / "a.ply")).out.find("triangles     " + std::string(m[1])), std::string::npos);
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
