// The built tool on inputs and options that must be refused: exit 2, one
// line on stderr starting "relief: ", and no output left behind. Parser
// errors, output paths that are folders, scales that overflow, meshes that
// reach no cell and PNG steps that would clip.

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "io/mesh_io.h"
#include "tool_test_support.h"

using relief_test::RunTool;
using relief_test::ScratchDir;

namespace {

void WriteTriangles(const std::filesystem::path& path, const std::vector<float>& corners) {
  auto writer = relief::tool::OpenTriangleWriter(path);
  for (size_t i = 0; i < corners.size(); i += 9) writer->Add(&corners[i]);
  writer->Commit();
}

struct Refusal {
  const char* args;     // $D is the scratch folder
  const char* mention;  // a piece of the one-line message
};

TEST(ToolErrors, RefusalsAreOneLineWithExitTwoAndLeaveNothing) {
  ScratchDir dir("errors");
  relief_test::Grid g{5, 8, {}};
  for (int i = 0; i < 40; ++i) g.values.push_back(1.0f + 0.25f * static_cast<float>(i % 7));
  relief_test::WriteNpy(dir / "f.npy", "<f4", g.width, g.height, g.values.data(), 4);
  // Two specks in opposite corners of a 10 x 10 box: their samples fall on
  // the raster's outermost ring, which the stamps skip.
  WriteTriangles(dir / "specks.stl", {0, 0, 1, 0.1f, 0, 1, 0, 0.1f, 1, 10, 10, 2, 9.9f, 10, 2, 10, 9.9f, 2});
  WriteTriangles(dir / "m.stl", {0, 0, 5, 20, 0, 6, 0, 20, 7, 20, 0, 6, 20, 20, 8, 0, 20, 7});
  std::filesystem::create_directory(dir / "folder.ply");
  const std::vector<std::string> inputs = dir.Files();
  const Refusal refusals[] = {
      {"mesh $D/f.npy", "--output is required"},
      {"mesh", "INPUT is required"},
      {"frobnicate", "subcommand"},
      {"mesh $D/f.npy -o $D/m.ply --step 0", "--step"},
      {"mesh $D/f.npy -o $D/folder.ply", "folder.ply: is a folder"},
      {"mesh $D/f.npy -o $D", "extension"},
      {"mesh $D/folder.ply -o $D/x.ply", "folder.ply"},
      {"mesh $D/f.npy -o $D/m.ply --scale 1e38 1 1", "overflow"},
      {"mesh $D/f.npy -o $D/m.stl --scale 1 1 3e38", "overflow"},
      {"rasterize $D/specks.stl -o $D/r.npy", "no cell"},
      {"rasterize $D/m.stl -o $D/r.png --png-scale 1e-30", "clipped"},
      {"info $D/none.npy", "none.npy: no such file"},
  };
  for (const Refusal& r : refusals) {
    const std::string args = std::regex_replace(r.args, std::regex("\\$D"), "'" + dir.Path().string() + "'");
    const auto run = RunTool(args);
    EXPECT_EQ(run.exitCode, 2) << args << "\n" << run.err;
    EXPECT_EQ(run.err.rfind("relief: ", 0), 0u) << args << "\n" << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << args << "\n" << run.err;
    EXPECT_NE(run.err.find(r.mention), std::string::npos) << args << "\n" << run.err;
    EXPECT_EQ(dir.Files(), inputs) << args << ": nothing may be left behind";
  }
}

// Heights below half a PNG step become no data: written, and said so.
TEST(ToolErrors, PngStepThatZeroesHeightsIsReported) {
  ScratchDir dir("png-step");
  WriteTriangles(dir / "m.stl", {0, 0, 5, 20, 0, 6, 0, 20, 7, 20, 0, 6, 20, 20, 8, 0, 20, 7});
  const auto run = RunTool("rasterize '" + (dir / "m.stl").string() + "' -o '" + (dir / "r.png").string() +
                           "' --png-scale 1000");
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_NE(run.out.find("heights below half a step written as 0"), std::string::npos) << run.out;
}

}  // namespace
