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

// Bad usage and bad input: exit 2, one line on stderr starting "relief: "
// and naming the cause, and the folder holds exactly what it held before (no
// output, no temporary).
struct Refusal {
  const char* name;
  const char* args;     // $D is the scratch folder
  const char* mention;  // a piece of the one-line message
};

void PrintTo(const Refusal& r, std::ostream* os) { *os << "relief " << r.args; }

class Refused : public testing::TestWithParam<Refusal> {};

TEST_P(Refused, OneLineExitTwoAndNothingLeftBehind) {
  ScratchDir dir("errors");
  relief_test::Grid plane{12, 12, {}}, zero{9, 7, std::vector<float>(63, 0.0f)};
  for (int i = 0; i < 144; ++i) plane.values.push_back(10.0f + 0.5f * float(i % 12) + 0.25f * float(i / 12));
  relief_test::WriteNpy(dir / "f.npy", "<f4", plane.width, plane.height, plane.values.data(), 4);
  relief_test::WriteNpy(dir / "zero.npy", "<f4", zero.width, zero.height, zero.values.data(), 4);
  relief_test::WriteNpy(dir / "zero3.npy", "<f4", 3, 3, zero.values.data(), 4);  // no cell of step 3
  zero.values[20] = 5.0f;
  relief_test::WriteNpy(dir / "one.npy", "<f4", zero.width, zero.height, zero.values.data(), 4);
  relief_test::WriteBytes(dir / "short.npy", relief_test::ReadBytes(dir / "f.npy").substr(0, 200));
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
  const std::vector<std::string> inputs = dir.Files();
  const std::string args = std::regex_replace(GetParam().args, std::regex("\\$D"), "'" + dir.Path().string() + "'");
  const auto run = RunTool(args);
  EXPECT_EQ(run.exitCode, 2) << args << "\n" << run.out << run.err;
  EXPECT_EQ(run.err.rfind("relief: ", 0), 0u) << args << "\n" << run.err;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << args << "\n" << run.err;
  EXPECT_NE(run.err.find(GetParam().mention), std::string::npos) << args << "\n" << run.err;
  EXPECT_EQ(dir.Files(), inputs) << args << ": nothing may be left behind";
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Refused,
    testing::ValuesIn(std::vector<Refusal>{
        // Usage.
        {"NoOutput", "mesh $D/f.npy", "--output is required"},
        {"NoInput", "mesh", "INPUT is required"},
        {"NoSubcommand", "", "subcommand"},
        {"UnknownSubcommand", "frobnicate $D/f.npy", "subcommand"},
        {"NonNumericThreshold", "mesh $D/f.npy -o $D/m.ply --threshold abc", "threshold"},
        {"NanThreshold", "mesh $D/f.npy -o $D/m.ply --threshold nan", "threshold"},
        {"ZeroStep", "mesh $D/f.npy -o $D/m.ply --step 0", "--step"},
        {"ShortScale", "mesh $D/f.npy -o $D/m.ply --scale 1 2", "scale"},
        {"NegativeScale", "mesh $D/f.npy -o $D/m.ply --scale 1 -2 1", "scale"},
        {"NegativeResolution", "rasterize $D/m.stl -o $D/r.npy --resolution -1", "resolution"},
        {"NegativeTolerance", "refine $D/f.npy -o $D/a.ply --tolerance -1", "tolerance"},
        {"MissingTolerance", "refine $D/f.npy -o $D/a.ply", "tolerance"},
        {"NegativeError", "refine $D/f.npy -o $D/a.ply --max-error -0.5", "max-error"},
        {"NanError", "refine $D/f.npy -o $D/a.ply --max-error nan", "max-error"},
        {"BothModes", "refine $D/f.npy -o $D/a.ply --max-error 1 --tolerance 1", "excludes"},
        {"OneTriangle", "refine $D/f.npy -o $D/a.ply --max-error 1 --max-triangles 1", "max-triangles"},
        {"NoTriangles", "refine $D/f.npy -o $D/a.ply --max-error 1 --max-triangles 0", "max-triangles"},
        {"ThreePoints", "refine $D/f.npy -o $D/a.ply --max-error 1 --max-points 3", "max-points"},
        {"LimitWithoutMode", "refine $D/f.npy -o $D/a.ply --max-triangles 9", "max-error"},
        {"ZeroScale", "refine $D/f.npy -o $D/a.ply --max-error 1 --scale 1 0 1", "scale"},
        {"BaseAboveTheMesh", "refine $D/f.npy -o $D/a.ply --max-error 1 --base 21", "base"},
        // Inputs.
        {"MissingInput", "mesh $D/none.npy -o $D/m.ply", "none.npy"},
        {"InfoMissingInput", "info $D/none.npy", "none.npy: no such file"},
        {"InputIsAFolder", "mesh $D/folder.ply -o $D/x.ply", "folder.ply"},
        {"UnknownInputExtension", "mesh $D/f.bmp -o $D/m.ply", "f.bmp"},
        {"InfoUnknownFile", "info $D/f.txt", "f.txt"},
        {"TruncatedRaster", "mesh $D/short.npy -o $D/m.ply", "short.npy"},
        {"TruncatedStl", "rasterize $D/cut.stl -o $D/r.npy", "cut.stl"},
        {"PlyBadIndex", "rasterize $D/bad.ply -o $D/r.npy", "bad.ply"},
        // Outputs.
        {"UnknownOutputExtension", "mesh $D/f.npy -o $D/m.off", "m.off"},
        {"OutputWithoutExtension", "mesh $D/f.npy -o $D", "extension"},
        {"OutputIsAFolder", "mesh $D/f.npy -o $D/folder.ply", "folder.ply: is a folder"},
        {"OutputFolderMissing", "mesh $D/f.npy -o $D/no/such/m.ply", "m.ply"},
        {"RasterizeToMeshExtension", "rasterize $D/m.stl -o $D/r.ply", "r.ply"},
        {"RefineToLibraryMesh", "refine $D/f.npy -o $D/a.rmesh --max-error 1", "refine writes"},
        // Results that cannot be written.
        {"ScaleOverflowsXY", "mesh $D/f.npy -o $D/m.ply --scale 1e38 1 1", "overflow"},
        {"ScaleOverflowsZ", "mesh $D/f.npy -o $D/m.stl --scale 1 1 3e38", "overflow"},
        {"EmptyMesh", "mesh $D/zero.npy -o $D/m.ply", "empty mesh"},
        {"EmptyMeshAboveThreshold", "mesh $D/f.npy -o $D/m.stl --threshold 1000", "empty mesh"},
        {"EmptyLibraryMesh", "mesh $D/zero3.npy -o $D/m.rmesh --below --threshold 0.5 --step 3", "empty mesh"},
        {"RasterTooLarge", "rasterize $D/m.stl -o $D/r.npy --resolution 0.0001", "m.stl"},
        {"NoCellReached", "rasterize $D/specks.stl -o $D/r.npy", "no cell"},
        {"PngStepClips", "rasterize $D/m.stl -o $D/r.png --png-scale 1e-30", "clipped"},
        {"RefineNothingToTriangulate", "refine $D/zero.npy -o $D/a.ply --tolerance 1", "zero.npy"},
        {"RefineAllNoData", "refine $D/zero.npy -o $D/a.ply --max-error 1", "zero.npy"},
        {"RefineOneValidPixel", "refine $D/one.npy -o $D/a.ply --max-error 0", "one.npy"},
    }),
    [](const auto& info) { return std::string(info.param.name); });

// Heights below half a PNG step become no data: written, and said so.
TEST(ToolErrors, PngStepThatZeroesHeightsIsReported) {
  ScratchDir dir("png-step");
  WriteTriangles(dir / "m.stl", {0, 0, 5, 20, 0, 6, 0, 20, 7, 20, 0, 6, 20, 20, 8, 0, 20, 7});
  const auto run =
      RunTool("rasterize '" + (dir / "m.stl").string() + "' -o '" + (dir / "r.png").string() + "' --png-scale 1000");
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_NE(run.out.find("heights below half a step written as 0"), std::string::npos) << run.out;
}

}  // namespace
