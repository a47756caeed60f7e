// The built `relief` executable, end to end. First a table of runs in one
// scratch folder ($D; $F is the folder of foreign fixture files). A run that succeeds
// exits 0, writes nothing on stderr (no progress lines when it is not a
// terminal) and prints each listed piece (none listed: nothing). Bad usage
// and bad input (parser errors, output paths that are folders, scales that
// overflow, meshes that reach no cell, PNG steps that would clip) exit 2
// with one line on stderr starting "relief: " and naming the cause, and
// leave the folder as it was (no output, no temporary): they run first, so
// no earlier output hides one. Then the printed figures recomputed from the
// files written.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <regex>
#include <string>
#include <vector>

#include "fixture_folder.h"
#include "tool_test_support.h"
#include "triangle_soup_checks.h"

using relief_test::Grid;
using relief_test::Plane;
using relief_test::Quote;
using relief_test::RunTool;
using relief_test::ScratchDir;
using relief_test::ToolRun;
using relief_test::WriteField;
using relief_test::WriteTriangles;

namespace {

struct RunCase {
  const char* args;
  int exitCode;
  // Of stdout (exit 0) or of the one line on stderr (exit 2); none: a silent run.
  std::vector<std::string> pieces;
};

TEST(ToolRuns, ExitCodesMessagesAndFigures) {
  ScratchDir dir("runs");
  relief_test::Grid g = Plane(5, 4), zero{9, 7, std::vector<float>(63, 0.0f)};
  g.values[0] = 0.0f;
  WriteField(dir / "f.npy", g);
  WriteField(dir / "p.npy", Plane(12, 12));
  WriteField(dir / "w.npy", Plane(40, 30));
  WriteField(dir / "s.npy", Plane(41, 41));
  WriteField(dir / "zero.npy", zero);
  WriteField(dir / "zero3.npy", {3, 3, std::vector<float>(9, 0.0f)});     // no cell of step 3
  WriteField(dir / "below.npy", {4, 4, std::vector<float>(16, -30.0f)});  // all under the default threshold 0
  relief_test::WriteBytes(dir / "empty.stl", std::string(84, '\0'));      // a header and no triangles
  relief_test::Grid coast = Plane(6, 6);
  for (int x = 0; x < 6; ++x) coast.values[x] = -2.0f - float(x);  // the first row below sea level
  WriteField(dir / "coast.npy", coast);
  zero.values[20] = 5.0f;
  WriteField(dir / "one.npy", zero);
  // Two specks in opposite corners of a 10 x 10 box: their samples fall on
  // the raster's outermost ring, which the stamps skip.
  WriteTriangles(dir / "specks.stl", {0, 0, 1, 0.1f, 0, 1, 0, 0.1f, 1, 10, 10, 2, 9.9f, 10, 2, 10, 9.9f, 2});
  WriteTriangles(dir / "m.stl", {0, 0, 5, 20, 0, 6, 0, 20, 7, 20, 0, 6, 20, 20, 8, 0, 20, 7});
  std::filesystem::create_directory(dir / "folder.ply");
  const RunCase runs[] = {
      // Usage.
      {"mesh $D/p.npy", 2, {"--output is required"}},
      {"", 2, {"subcommand"}},
      {"mesh $D/p.npy -o $D/m.ply --threshold nan", 2, {"threshold"}},
      {"mesh $D/p.npy -o $D/m.ply --step 0", 2, {"--step"}},
      {"mesh $D/p.npy -o $D/m.ply --scale 1 -2 1", 2, {"scale"}},
      {"rasterize $D/m.stl -o $D/r.npy --resolution -1", 2, {"resolution"}},
      {"refine $D/p.npy -o $D/a.ply --tolerance -1", 2, {"tolerance"}},
      {"refine $D/p.npy -o $D/a.ply", 2, {"tolerance"}},
      {"refine $D/p.npy -o $D/a.ply --max-error -0.5", 2, {"max-error"}},
      {"refine $D/p.npy -o $D/a.ply --max-error nan", 2, {"max-error"}},
      {"refine $D/p.npy -o $D/a.ply --max-error 1e40", 2, {"--max-error must be a finite number"}},
      {"refine $D/p.npy -o $D/a.ply --max-error 1 --tolerance 1", 2, {"excludes"}},
      {"refine $D/p.npy -o $D/a.ply --max-error 1 --max-triangles 1", 2, {"max-triangles"}},
      {"refine $D/p.npy -o $D/a.ply --max-error 1 --max-points 3", 2, {"max-points"}},
      {"refine $D/p.npy -o $D/a.ply --max-triangles 9", 2, {"max-error"}},
      {"refine $D/p.npy -o $D/a.ply --max-error 1 --scale 1 0 1", 2, {"scale"}},
      {"refine $D/p.npy -o $D/a.ply --max-error 1 --base 21", 2, {"base"}},
      // Inputs.
      {"info $D/none.npy", 2, {"none.npy: no such file"}},
      {"mesh $D/folder.ply -o $D/x.ply", 2, {"folder.ply"}},
      {"info $D/f.txt", 2, {"f.txt"}},
      {"info $D/folder.ply", 2, {"folder.ply: is a folder, not a file"}},
      // Outputs.
      {"mesh $D/p.npy -o $D/m.off", 2, {"m.off"}},
      {"mesh $D/p.npy -o $D", 2, {"extension"}},
      {"mesh $D/p.npy -o $D/folder.ply", 2, {"folder.ply: is a folder"}},
      {"mesh $D/p.npy -o $D/no/such/m.ply", 2, {"m.ply"}},
      {"rasterize $D/m.stl -o $D/r.ply", 2, {"r.ply"}},
      {"view $D/p.npy $D/m.stl -o $D/m.stl", 2, {"m.stl: is one of the inputs"}},
      {"view $D/m.stl -o $D/no/such/v.html", 2, {"v.html: cannot create output"}},
      {"refine $D/p.npy -o $D/a.rmesh --max-error 1", 2, {"refine writes"}},
      // Results that cannot be written.
      {"mesh $D/p.npy -o $D/m.stl --scale 1 1 3e38", 2, {"overflow"}},
      {"mesh $D/zero.npy -o $D/m.ply", 2, {"empty mesh"}},
      {"mesh $D/zero3.npy -o $D/m.rmesh --below --threshold 0.5 --step 3", 2, {"empty mesh"}},
      {"rasterize $D/m.stl -o $D/r.npy --resolution 0.0001", 2, {"m.stl"}},
      {"rasterize $D/specks.stl -o $D/r.npy", 2, {"no cell"}},
      {"rasterize $D/m.stl -o $D/r.png --png-scale 1e-30", 2, {"clipped"}},
      {"refine $D/zero.npy -o $D/a.ply --tolerance 1", 2, {"zero.npy"}},
      {"refine $D/zero.npy -o $D/a.ply --max-error 1", 2, {"zero.npy"}},
      {"refine $D/one.npy -o $D/a.ply --max-error 0", 2, {"one.npy"}},
      // Heights the threshold leaves out are named, with the way out.
      {"mesh $D/below.npy -o $D/m.ply", 2, {"empty mesh", "16 pixel(s) hold heights from -30 to -30 that the"}},
      {"refine $D/below.npy -o $D/a.ply --tolerance 1", 2, {"threshold 0 leaves out (lower --threshold to"}},
      {"refine $D/below.npy -o $D/a.ply --max-error 1", 2, {"threshold 0 leaves out (lower --threshold"}},
      {"view $D/empty.stl -o $D/v.html", 2, {"empty.stl"}},
      // Successes.
      {"--help", 0, {"Usage: relief "}},
      {"--version", 0, {"relief "}},
      {"mesh --help", 0, {"Usage: relief mesh"}},
      {"info $D/f.npy", 0, {"5 x 4 pixels", "valid pixels  19", "value range   10.25 .. 12.75"}},
      {"--quiet mesh $D/f.npy -o $D/m.ply", 0, {}},
      {"mesh $D/f.npy -o $D/m.ply -q", 0, {}},
      {"-q info $D/m.ply", 0, {}},
      {"info $D/empty.stl", 0, {"triangles     0"}},
      {"mesh $D/coast.npy -o $D/c.ply", 0, {"6 pixel(s) hold heights from -7 to -2 that the threshold 0 leaves out"}},
      {"refine $D/coast.npy -o $D/c.ply --max-error 1", 0, {"6 pixel(s) hold heights from -7 to -2 that the"}},
      {"refine $D/coast.npy -o $D/c.ply --tolerance 1", 0, {"6 pixel(s) hold heights from -7 to -2 that the"}},
      {"mesh $D/below.npy -o $D/b.ply --threshold -100", 0, {"18 triangles"}},
      // Every 2 x 2 cell of a full 40 x 30 field gives two triangles, down to
      // the last row although 30 is not a multiple of 4: 2 x 39 x 29.
      {"mesh $D/w.npy -o $D/w.ply", 0, {"2262 triangles"}},
      {"mesh $D/w.npy -o $D/w.rmesh", 0, {"2262 triangles"}},
      {"info $D/w.ply", 0, {"triangles     2262", "x 0 .. 39, y 0 .. 29"}},
      {"info $D/w.rmesh", 0, {"triangles     2262", "x 0 .. 39, y 0 .. 29"}},
      // Cells start every 4 pixels while a whole step fits (x, y = 0, 4 .. 36:
      // 10 x 10 cells), corners scaled; z = (10 + 0.5 x + 0.25 y) * 3.
      {"mesh $D/s.npy -o $D/s.stl --scale 0.5 2 3 --step 4", 0, {"200 triangles"}},
      {"info $D/s.stl", 0, {"triangles     200", "x 0 .. 20, y 0 .. 80, z 30 .. 120"}},
      // A GeoTIFF whose no-data pixels (6 of 20) are no corner; its pixel
      // scale (30) is mesh's default x and y scale.
      {"info $F/tiff_int16_nodata_pixel_scale.tif", 0, {"valid pixels  14 ", "pixel scale   30 x 30"}},
      {"mesh $F/tiff_int16_nodata_pixel_scale.tif -o $D/g.stl", 0, {"14 above threshold 0"}},
      {"info $D/g.stl", 0, {"x 0 .. 90, y 0 .. 90,"}},
      {"mesh $F/tiff_int16_nodata_pixel_scale.tif -o $D/u.stl --scale 1 1 1", 0, {"12 triangles"}},
      {"info $D/u.stl", 0, {"x 0 .. 3, y 0 .. 3,"}},
      // Heights below half a PNG step become no data: written, and said so.
      {"rasterize $D/w.ply -o $D/r.png --png-scale 1000", 0, {"heights within half a step of 0 written as 0"}},
      {"refine $D/p.npy -o $D/b.stl --max-error 1 --base 5 --scale 0.5 0.5 2", 0, {"closed solid down to height 5"}},
  };
  for (const RunCase& r : runs) {
    const std::string args =
        std::regex_replace(std::regex_replace(r.args, std::regex("\\$D"), relief_test::Quote(dir.Path())),
                           std::regex("\\$F"), relief_test::Quote(relief_test::FixtureFolder("tool_foreign")));
    SCOPED_TRACE("relief " + args);
    const std::vector<std::string> before = dir.Files();
    const relief_test::ToolRun run = relief_test::RunTool(args);
    EXPECT_EQ(run.exitCode, r.exitCode) << run.out << run.err;
    const std::string& text = r.exitCode == 0 ? run.out : run.err;
    if (r.pieces.empty()) EXPECT_EQ(text, "");
    for (const std::string& piece : r.pieces) EXPECT_NE(text.find(piece), std::string::npos) << text;
    if (r.exitCode == 0) {
      EXPECT_EQ(run.err, "");
      continue;
    }
    EXPECT_EQ(run.err.rfind("relief: ", 0), 0u) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(dir.Files(), before) << "nothing may be left behind";
  }
}

// Killed while writing (here by SIGXFSZ past a file size limit; Ctrl-C and
// kill take the same path), the tool removes its temporary before it dies.
TEST(ToolRuns, AKilledRunLeavesNoTemporary) {
  ScratchDir dir("killed");
  WriteField(dir / "p.npy", Plane(300, 300));
  rlimit saved{}, noCore{0, 0};
  ::getrlimit(RLIMIT_FSIZE, &saved);
  const rlimit small{1 << 16, saved.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &small);
  ::setrlimit(RLIMIT_CORE, &noCore);
  const ToolRun run = RunTool("mesh " + Quote(dir / "p.npy") + " -o " + Quote(dir / "m.ply"));
  ::setrlimit(RLIMIT_FSIZE, &saved);
  EXPECT_NE(run.exitCode, 0);
  EXPECT_EQ(dir.Files(), std::vector<std::string>{"p.npy"});
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
      const Grid back = relief_test::ReadGrid(dir / "back.npy");
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

// A DEM-like field whose holes hold -9999 (an .npy has no no-data tag). In
// both modes a tighter bound refines further and follows the field more
// closely, --max-error holds its bound and takes the pixels `info` counts as
// valid, and no corner sinks to the hole value.
TEST(ToolEndToEnd, RefineTightensWithItsBoundAndKeepsOffTheHoles) {
  ScratchDir dir("e2e-refine");
  WriteField(dir / "dem.npy", relief_test::FieldOf(60, 45, [](int x, int y) {
               const bool hole = (x - 20) * (x - 20) + (y - 20) * (y - 20) < 64 || x > 52;
               return hole ? -9999.0f : 100.0f + 0.5f * float(x) + 2.0f * std::cos(0.2f * float(y));
             }));
  std::smatch m;
  const ToolRun info = RunTool("info " + Quote(dir / "dem.npy"));
  ASSERT_TRUE(std::regex_search(info.out, m, std::regex("valid pixels  (\\d+)"))) << info.out;
  const long long valid = std::stoll(m[1]);
  const struct {
    const char* option;
    double loose, tight;
  } cases[] = {{"--tolerance", 4, 0.25}, {"--max-error", 1, 0.1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.option);
    const Refined loose = Refine(dir, "dem.npy", c.option + (" " + std::to_string(c.loose)));
    const Refined tight = Refine(dir, "dem.npy", c.option + (" " + std::to_string(c.tight)));
    EXPECT_GT(tight.triangles, loose.triangles);
    EXPECT_LT(tight.rms, loose.rms);
    EXPECT_LT(tight.rms, 0.5);
    for (const Refined* r : {&loose, &tight}) {
      ASSERT_TRUE(std::regex_search(r->info, m, std::regex("z ([-0-9.e+]+) \\.\\."))) << r->info;
      EXPECT_GT(std::stod(m[1]), 0.0) << "a corner took the hole value\n" << r->info;
    }
    if (std::string(c.option) == "--max-error") {
      EXPECT_LE(loose.maxError, c.loose);
      EXPECT_LE(tight.maxError, c.tight);
      EXPECT_EQ(tight.pixels, valid) << tight.out;
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
      const std::vector<float> c = relief_test::ReadTriangles(dir / "m.stl");
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
  const Grid field = relief_test::ReadGrid(dir / "field.npy");
  const Grid back = relief_test::ReadGrid(dir / "roundtrip.npy");
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
