// The built tool, run by run in one scratch folder ($D). A run that succeeds
// exits 0, writes nothing on stderr (no progress lines when it is not a
// terminal) and prints each listed piece ("" marks a silent run). Bad usage
// and bad input (parser errors, output paths that are folders, scales that
// overflow, meshes that reach no cell, PNG steps that would clip) exit 2
// with one line on stderr starting "relief: " and naming the cause, and
// leave the folder as it was (no output, no temporary): they run first, so
// no earlier output hides one.

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "tool_test_support.h"

using relief_test::Plane;
using relief_test::ScratchDir;
using relief_test::WriteField;
using relief_test::WriteTriangles;

namespace {

struct RunCase {
  const char* args;
  int exitCode;
  std::vector<std::string> pieces;  // of stdout (exit 0) or of the one line on stderr (exit 2)
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
  relief_test::WriteNpy(dir / "zero3.npy", "<f4", 3, 3, zero.values.data(), 4);  // no cell of step 3
  zero.values[20] = 5.0f;
  WriteField(dir / "one.npy", zero);
  relief_test::WriteBytes(dir / "short.npy", relief_test::ReadBytes(dir / "p.npy").substr(0, 200));
  relief_test::WriteBytes(dir / "cut.stl", std::string(84, '\0') + std::string(10, 'x'));
  relief_test::WriteBytes(dir / "bad.ply",
                          "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\n"
                          "property float y\nproperty float z\nelement face 1\n"
                          "property list uchar int vertex_indices\nend_header\n0 0 0\n3 0 0 5\n");
  // Two specks in opposite corners of a 10 x 10 box: their samples fall on
  // the raster's outermost ring, which the stamps skip.
  WriteTriangles(dir / "specks.stl", {0, 0, 1, 0.1f, 0, 1, 0, 0.1f, 1, 10, 10, 2, 9.9f, 10, 2, 10, 9.9f, 2});
  WriteTriangles(dir / "m.stl", {0, 0, 5, 20, 0, 6, 0, 20, 7, 20, 0, 6, 20, 20, 8, 0, 20, 7});
  std::filesystem::create_directory(dir / "folder.ply");
  const RunCase runs[] = {
      // Usage.
      {"mesh $D/p.npy", 2, {"--output is required"}},
      {"mesh", 2, {"INPUT is required"}},
      {"", 2, {"subcommand"}},
      {"frobnicate $D/p.npy", 2, {"subcommand"}},
      {"mesh $D/p.npy -o $D/m.ply --threshold abc", 2, {"threshold"}},
      {"mesh $D/p.npy -o $D/m.ply --threshold nan", 2, {"threshold"}},
      {"mesh $D/p.npy -o $D/m.ply --step 0", 2, {"--step"}},
      {"mesh $D/p.npy -o $D/m.ply --scale 1 2", 2, {"scale"}},
      {"mesh $D/p.npy -o $D/m.ply --scale 1 -2 1", 2, {"scale"}},
      {"rasterize $D/m.stl -o $D/r.npy --resolution -1", 2, {"resolution"}},
      {"refine $D/p.npy -o $D/a.ply --tolerance -1", 2, {"tolerance"}},
      {"refine $D/p.npy -o $D/a.ply", 2, {"tolerance"}},
      {"refine $D/p.npy -o $D/a.ply --max-error -0.5", 2, {"max-error"}},
      {"refine $D/p.npy -o $D/a.ply --max-error nan", 2, {"max-error"}},
      {"refine $D/p.npy -o $D/a.ply --max-error 1 --tolerance 1", 2, {"excludes"}},
      {"refine $D/p.npy -o $D/a.ply --max-error 1 --max-triangles 1", 2, {"max-triangles"}},
      {"refine $D/p.npy -o $D/a.ply --max-error 1 --max-triangles 0", 2, {"max-triangles"}},
      {"refine $D/p.npy -o $D/a.ply --max-error 1 --max-points 3", 2, {"max-points"}},
      {"refine $D/p.npy -o $D/a.ply --max-triangles 9", 2, {"max-error"}},
      {"refine $D/p.npy -o $D/a.ply --max-error 1 --scale 1 0 1", 2, {"scale"}},
      {"refine $D/p.npy -o $D/a.ply --max-error 1 --base 21", 2, {"base"}},
      // Inputs.
      {"mesh $D/none.npy -o $D/m.ply", 2, {"none.npy"}},
      {"info $D/none.npy", 2, {"none.npy: no such file"}},
      {"mesh $D/folder.ply -o $D/x.ply", 2, {"folder.ply"}},
      {"mesh $D/f.bmp -o $D/m.ply", 2, {"f.bmp"}},
      {"info $D/f.txt", 2, {"f.txt"}},
      {"mesh $D/short.npy -o $D/m.ply", 2, {"short.npy"}},
      {"rasterize $D/cut.stl -o $D/r.npy", 2, {"cut.stl"}},
      {"rasterize $D/bad.ply -o $D/r.npy", 2, {"bad.ply"}},
      // Outputs.
      {"mesh $D/p.npy -o $D/m.off", 2, {"m.off"}},
      {"mesh $D/p.npy -o $D", 2, {"extension"}},
      {"mesh $D/p.npy -o $D/folder.ply", 2, {"folder.ply: is a folder"}},
      {"mesh $D/p.npy -o $D/no/such/m.ply", 2, {"m.ply"}},
      {"rasterize $D/m.stl -o $D/r.ply", 2, {"r.ply"}},
      {"refine $D/p.npy -o $D/a.rmesh --max-error 1", 2, {"refine writes"}},
      // Results that cannot be written.
      {"mesh $D/p.npy -o $D/m.ply --scale 1e38 1 1", 2, {"overflow"}},
      {"mesh $D/p.npy -o $D/m.stl --scale 1 1 3e38", 2, {"overflow"}},
      {"mesh $D/zero.npy -o $D/m.ply", 2, {"empty mesh"}},
      {"mesh $D/p.npy -o $D/m.stl --threshold 1000", 2, {"empty mesh"}},
      {"mesh $D/zero3.npy -o $D/m.rmesh --below --threshold 0.5 --step 3", 2, {"empty mesh"}},
      {"rasterize $D/m.stl -o $D/r.npy --resolution 0.0001", 2, {"m.stl"}},
      {"rasterize $D/specks.stl -o $D/r.npy", 2, {"no cell"}},
      {"rasterize $D/m.stl -o $D/r.png --png-scale 1e-30", 2, {"clipped"}},
      {"refine $D/zero.npy -o $D/a.ply --tolerance 1", 2, {"zero.npy"}},
      {"refine $D/zero.npy -o $D/a.ply --max-error 1", 2, {"zero.npy"}},
      {"refine $D/one.npy -o $D/a.ply --max-error 0", 2, {"one.npy"}},
      // Successes.
      {"--help", 0, {"Usage: relief "}},
      {"--version", 0, {"relief "}},
      {"demo --help", 0, {"Usage: relief demo"}},
      {"mesh --help", 0, {"Usage: relief mesh"}},
      {"rasterize --help", 0, {"Usage: relief rasterize"}},
      {"refine --help", 0, {"Usage: relief refine"}},
      {"info --help", 0, {"Usage: relief info"}},
      {"info $D/f.npy", 0, {"5 x 4 pixels", "valid pixels  19", "value range   10.25 .. 12.75"}},
      {"--quiet mesh $D/f.npy -o $D/m.ply", 0, {""}},
      {"mesh $D/f.npy -o $D/m.ply -q", 0, {""}},
      {"-q info $D/m.ply", 0, {""}},
      // Every 2 x 2 cell of a full 40 x 30 field gives two triangles, down to
      // the last row although 30 is not a multiple of 4: 2 x 39 x 29.
      {"mesh $D/w.npy -o $D/w.ply", 0, {"2262 triangles"}},
      {"mesh $D/w.npy -o $D/w.obj", 0, {"2262 triangles"}},
      {"mesh $D/w.npy -o $D/w.stl", 0, {"2262 triangles"}},
      {"mesh $D/w.npy -o $D/w.rmesh", 0, {"2262 triangles"}},
      {"info $D/w.ply", 0, {"triangles     2262", "x 0 .. 39, y 0 .. 29"}},
      {"info $D/w.stl", 0, {"triangles     2262", "x 0 .. 39, y 0 .. 29"}},
      {"info $D/w.rmesh", 0, {"triangles     2262", "x 0 .. 39, y 0 .. 29"}},
      {"mesh $D/w.npy -o $D/wf.stl --flip-y", 0, {"2262 triangles"}},
      {"info $D/wf.stl", 0, {"triangles     2262", "x 0 .. 39, y 0 .. 29"}},
      // Cells start every 4 pixels while a whole step fits (x, y = 0, 4 .. 36:
      // 10 x 10 cells), corners scaled; z = (10 + 0.5 x + 0.25 y) * 3.
      {"mesh $D/s.npy -o $D/s.stl --scale 0.5 2 3 --step 4", 0, {"200 triangles"}},
      {"info $D/s.stl", 0, {"triangles     200", "x 0 .. 20, y 0 .. 80, z 30 .. 120"}},
      // Heights below half a PNG step become no data: written, and said so.
      {"rasterize $D/w.stl -o $D/r.png --png-scale 1000", 0, {"heights below half a step written as 0"}},
      {"refine $D/p.npy -o $D/b.stl --max-error 1 --base 5 --scale 0.5 0.5 2", 0, {"closed solid down to height 5"}},
  };
  for (const RunCase& r : runs) {
    const std::string args = std::regex_replace(r.args, std::regex("\\$D"), relief_test::Quote(dir.Path()));
    SCOPED_TRACE("relief " + args);
    const std::vector<std::string> before = dir.Files();
    const relief_test::ToolRun run = relief_test::RunTool(args);
    EXPECT_EQ(run.exitCode, r.exitCode) << run.out << run.err;
    if (r.exitCode == 0) {
      EXPECT_EQ(run.err, "");
      for (const std::string& piece : r.pieces) {
        if (piece.empty())
          EXPECT_EQ(run.out, "");
        else
          EXPECT_NE(run.out.find(piece), std::string::npos) << run.out;
      }
      continue;
    }
    EXPECT_EQ(run.err.rfind("relief: ", 0), 0u) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_NE(run.err.find(r.pieces[0]), std::string::npos) << run.err;
    EXPECT_EQ(dir.Files(), before) << "nothing may be left behind";
  }
}

}  // namespace
