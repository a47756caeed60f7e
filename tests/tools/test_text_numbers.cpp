// Numbers in the text formats: every spelling a writer may use for a value
// a binary file can hold reads as that value, and a non-finite vertex only
// matters when a triangle uses it.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>

#include "errors.h"
#include "io/mesh_io.h"
#include "io/obj_reader.h"
#include "io/text_number.h"
#include "tool_test_support.h"

namespace {

using relief::tool::ParseTextNumber;

TEST(TextNumbers, SpellingsReadAsTheirValues) {
  const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    const char* token;
    bool number;
    double value;
  } rows[] = {{"1.5", true, 1.5},      {"+2e3", true, 2000.0},    {"-0.25", true, -0.25},      {"1e400", true, inf},
              {"-1e400", true, -inf},  {"1e-400", true, 0.0},     {"nan", true, nan},          {"-NaN", true, nan},
              {"inf", true, inf},      {"-Infinity", true, -inf}, {"1.#QNAN0", true, nan},     {"-1.#IND00", true, nan},
              {"1.#INF00", true, inf}, {"-1.#INF", true, -inf},   {"1,5", false, 0.0},         {"0x10", false, 0.0},
              {"1.5.2", false, 0.0},   {"", false, 0.0},          {"vertex", false, 0.0},      {"1.#XYZ", false, 0.0},
              {"x1.#INF", false, 0.0}, {".#INF", false, 0.0},     {"1e99999999999", true, inf}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.token);
    double value = 0.0;
    ASSERT_EQ(ParseTextNumber(row.token, value), row.number);
    if (!row.number) continue;
    if (std::isnan(row.value))
      EXPECT_TRUE(std::isnan(value)) << value;
    else
      EXPECT_EQ(value, row.value);
  }
}

// A scan's unused vertex slots written as "nan" (or a Windows spelling) do
// not make the file unreadable; the fixtures pin the refusal of used ones.
TEST(TextNumbers, UnusedNonFiniteVerticesAreHarmlessInEveryTextFormat) {
  const relief_test::ScratchDir dir("relief_text_numbers");
  std::ofstream(dir / "a.ply") << "ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\nproperty float y\n"
                                  "property float z\nelement face 1\nproperty list uchar int vertex_indices\n"
                                  "end_header\n0 0 0\n1 0 2\nnan -1.#IND00 inf\n0 1 0\n3 0 1 3\n";
  std::ofstream(dir / "a.obj") << "v 0 0 0\nv 1 0 2\nv nan 1.#QNAN inf\nv 0 1 0\nf 1 2 4\n";
  std::ofstream(dir / "b.obj") << "v 0 0 0\nv 1 0 2\nv nan 1.#QNAN inf\nf 1 2 3\n";
  std::vector<float> triangles;
  relief::tool::OpenTriangleReader(dir / "a.ply")->Next(triangles, 10);
  EXPECT_EQ(triangles, (std::vector<float>{0, 0, 0, 1, 0, 2, 0, 1, 0}));
  EXPECT_EQ(relief::tool::ReadObjTriangles(dir / "a.obj"), triangles);
  try {
    relief::tool::ReadObjTriangles(dir / "b.obj");
    ADD_FAILURE() << "a face on a non-finite vertex was accepted";
  } catch (const relief::tool::ToolError& e) {
    EXPECT_NE(std::string(e.what()).find("line 4: face corner 3 is a vertex with a non-finite coordinate"),
              std::string::npos)
        << e.what();
  }
}

}  // namespace
