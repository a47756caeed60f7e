// relief refine --max-error end to end, and the closing of a surface into a
// solid (--base) checked as a mesh: every edge used by exactly two triangles
// in opposite directions, and the volume it encloses equal to the integral of
// the surface over its base.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <regex>
#include <string>
#include <utility>

#include "relief/CHErrorBoundedMesher.h"
#include "solid_base.h"
#include "tool_test_support.h"

using relief_test::Grid;
using relief_test::RunTool;
using relief_test::ScratchDir;
using relief_test::ToolRun;

namespace {

std::string Quote(const std::filesystem::path& p) { return "'" + p.string() + "'"; }

// Every directed edge once, and its reverse once: closed and consistently oriented.
testing::AssertionResult Closed(const relief::tool::IndexedMesh& m) {
  std::map<std::pair<int, int>, int> directed;
  for (size_t t = 0; t < m.indices.size(); t += 3)
    for (int k = 0; k < 3; ++k) ++directed[{m.indices[t + k], m.indices[t + (k + 1) % 3]}];
  for (const auto& [edge, count] : directed) {
    if (count != 1)
      return testing::AssertionFailure() << "edge " << edge.first << "-" << edge.second << " used " << count
                                         << " times the same way";
    if (!directed.count({edge.second, edge.first}))
      return testing::AssertionFailure() << "edge " << edge.first << "-" << edge.second << " has one triangle only";
  }
  return testing::AssertionSuccess();
}

// The volume between the surface and z = base: prism by prism.
double PrismVolume(const relief::tool::IndexedMesh& surface, double base) {
  double volume = 0.0;
  const auto& v = surface.vertices;
  for (size_t t = 0; t < surface.indices.size(); t += 3) {
    const float* a = &v[3 * size_t(surface.indices[t])];
    const float* b = &v[3 * size_t(surface.indices[t + 1])];
    const float* c = &v[3 * size_t(surface.indices[t + 2])];
    const double area =
        0.5 * ((double(b[0]) - a[0]) * (double(c[1]) - a[1]) - (double(c[0]) - a[0]) * (double(b[1]) - a[1]));
    volume += area * ((double(a[2]) + b[2] + c[2]) / 3.0 - base);
  }
  return volume;
}

TEST(SolidBase, ClosedSolidsEncloseTheSurfaceIntegral) {
  struct Case {
    const char* name;
    std::function<float(int, int)> height;
  } cases[] = {
      {"full box", [](int x, int y) { return 30.0f + 5.0f * std::sin(0.2f * float(x)) * std::cos(0.15f * float(y)); }},
      {"disc with a hole",
       [](int x, int y) {
         const int r2 = (x - 30) * (x - 30) + (y - 26) * (y - 26);
         const int h2 = (x - 38) * (x - 38) + (y - 22) * (y - 22);
         return r2 <= 24 * 24 && h2 > 36 ? 40.0f + 0.3f * float(x) - 0.1f * float(y) + 2.0f * std::sin(0.5f * float(x))
                                         : 0.0f;
       }},
      {"two islands",
       [](int x, int y) {
         return (x < 20 && y < 20) || (x > 35 && y > 30) ? 12.0f + 0.05f * float(x * y % 17) : 0.0f;
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    CSSEMatrix field;
    field.Create(61, 53);
    for (int y = 0; y < 53; ++y)
      for (int x = 0; x < 61; ++x) field.SetPoint(x, y, c.height(x, y));
    CHErrorBoundedMesher mesher;
    ASSERT_TRUE(mesher.CreateMeshFromSSEField(&field, 0.5f, INT32_MAX, INT32_MAX)) << mesher.GetProblem();
    relief::tool::IndexedMesh surface;
    surface.vertices.assign(mesher.GetVertexArray(), mesher.GetVertexArray() + 3 * mesher.GetNumPoints());
    surface.indices.assign(mesher.GetTriangleIndexArray(),
                           mesher.GetTriangleIndexArray() + 3 * mesher.GetNumTriangles());
    for (const float base : {0.0f, 5.5f}) {
      const relief::tool::IndexedMesh solid = relief::tool::CloseIntoSolid(surface, base);
      EXPECT_TRUE(Closed(solid)) << "base " << base;
      const double expected = PrismVolume(surface, base);
      EXPECT_GT(expected, 0.0);
      EXPECT_NEAR(relief::tool::EnclosedVolume(solid), expected, 1e-6 * expected) << "base " << base;
    }
  }
}

TEST(RefineMaxError, WritesTheMeshAndReportsItsFigures) {
  ScratchDir dir("e2e-max-error");
  Grid g{80, 70, {}};
  for (int y = 0; y < 70; ++y)
    for (int x = 0; x < 80; ++x) {
      const int r2 = (x - 40) * (x - 40) + (y - 35) * (y - 35);
      g.values.push_back(r2 <= 33 * 33 ? 60.0f + 0.01f * float(r2) + 3.0f * std::sin(0.3f * float(x)) : 0.0f);
    }
  relief_test::WriteNpy(dir / "f.npy", "<f4", g.width, g.height, g.values.data(), 4);
  long long triangles[2] = {0, 0};
  for (int i = 0; i < 2; ++i) {
    const std::string e = i ? "0.1" : "1";
    const ToolRun run = RunTool("refine " + Quote(dir / "f.npy") + " -o " + Quote(dir / "a.ply") + " --max-error " + e);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    std::smatch m;
    ASSERT_TRUE(std::regex_search(
        run.out, m,
        std::regex("(\\d+) triangles over (\\d+) points [^]* s\nagainst [^]*max error ([0-9.]+), rms ([0-9.]+)")))
        << run.out;
    triangles[i] = std::stoll(m[1]);
    EXPECT_LE(std::stod(m[3]), std::stod(e));
    EXPECT_NE(RunTool("info " + Quote(dir / "a.ply")).out.find("triangles     " + std::to_string(triangles[i])),
              std::string::npos);
  }
  EXPECT_GT(triangles[1], triangles[0]);
  // A solid down to 10: surface, bottom and walls, and its volume.
  const ToolRun solid = RunTool("refine " + Quote(dir / "f.npy") + " -o " + Quote(dir / "s.stl") +
                                " --max-error 1 --base 10 --scale 0.5 0.5 2");
  ASSERT_EQ(solid.exitCode, 0) << solid.err;
  EXPECT_NE(solid.out.find("closed solid down to height 10"), std::string::npos) << solid.out;
}

// A DEM-like field whose holes hold -9999 (an .npy has no no-data tag): both
// refine modes must take the same pixels as `info` and `mesh` do, so no
// corner may sink to the hole value.
TEST(RefineMaxError, CountsValidPixelsLikeInfo) {
  ScratchDir dir("refine-valid-rule");
  Grid g{60, 45, {}};
  for (int y = 0; y < g.height; ++y)
    for (int x = 0; x < g.width; ++x) {
      const bool hole = (x - 20) * (x - 20) + (y - 20) * (y - 20) < 64 || x > 52;
      g.values.push_back(hole ? -9999.0f : 100.0f + 0.5f * float(x) + 2.0f * std::cos(0.2f * float(y)));
    }
  relief_test::WriteNpy(dir / "dem.npy", "<f4", g.width, g.height, g.values.data(), 4);
  std::smatch m;
  const ToolRun info = RunTool("info " + Quote(dir / "dem.npy"));
  ASSERT_TRUE(std::regex_search(info.out, m, std::regex("valid pixels  (\\d+)"))) << info.out;
  const std::string valid = m[1];
  for (const std::string mode : {"--max-error 0.5", "--tolerance 1"}) {
    const ToolRun run = RunTool("refine " + Quote(dir / "dem.npy") + " -o " + Quote(dir / "a.ply") + " " + mode);
    ASSERT_EQ(run.exitCode, 0) << mode << ": " << run.err;
    if (mode.rfind("--max-error", 0) == 0)
      EXPECT_NE(run.out.find("over " + valid + " pixels"), std::string::npos) << run.out;
    const ToolRun mesh = RunTool("info " + Quote(dir / "a.ply"));
    ASSERT_TRUE(std::regex_search(mesh.out, m, std::regex("z ([-0-9.e+]+) \\.\\.")));
    EXPECT_GT(std::stod(m[1]), 0.0) << mode << ": a corner took the hole value\n" << mesh.out;
  }
}

}  // namespace
