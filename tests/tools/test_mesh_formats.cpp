// Mesh files written by the streaming writers and read back, readers fed
// hand-made files in the variants other programs write.

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <set>
#include <sstream>
#include <tuple>

#include "io/mesh_io.h"
#include "tool_test_support.h"

using namespace relief::tool;
using relief_test::ScratchDir;

namespace {

// n triangles whose corners are new (wide-range values in steps of 1/64,
// -0 among them) or repeat an earlier corner, as a mesh shares them.
std::vector<float> RandomTriangles(int n, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<float> c;
  while (c.size() < 9 * static_cast<size_t>(n)) {
    const bool repeat = !c.empty() && random() % 2;
    const size_t earlier = repeat ? 3 * (random() % (c.size() / 3)) : 0;
    for (int k = 0; k < 3; ++k)
      c.push_back(repeat               ? c[earlier + k]
                  : random() % 16 == 0 ? -0.0f
                                       : static_cast<float>(static_cast<int>(random() % 200001) - 100000) / 64.0f);
  }
  return c;
}

// Everything the reader gives, in chunks of `chunk` triangles.
std::vector<float> ReadAll(TriangleReader& reader, int chunk = 3) {
  std::vector<float> all;
  while (reader.Next(all, chunk)) {
  }
  EXPECT_EQ(static_cast<std::int64_t>(all.size() / 9), reader.Count());
  return all;
}

std::vector<float> ReadAll(const std::filesystem::path& path) { return ReadAll(*OpenTriangleReader(path)); }

// The .obj writer's output read with a plain parser (the tool reads no .obj):
// "v x y z" lines, each vertex before the first face using it, and faces
// "f a b c" of absolute 1-based numbers. Returns the faces' corners and
// counts the vertex lines.
std::vector<float> ParseObj(const std::filesystem::path& path, size_t* vertexLines = nullptr) {
  std::istringstream text(relief_test::ReadBytes(path));
  std::vector<float> vertices, corners;
  std::string line;
  float x, y, z;
  long a[3];
  while (std::getline(text, line))
    if (std::sscanf(line.c_str(), "v %f %f %f", &x, &y, &z) == 3) {
      vertices.insert(vertices.end(), {x, y, z});
    } else if (std::sscanf(line.c_str(), "f %ld %ld %ld", &a[0], &a[1], &a[2]) == 3) {
      for (long i : a) {
        if (i < 1 || 3 * static_cast<size_t>(i) > vertices.size()) {
          ADD_FAILURE() << "vertex " << i << " of \"" << line << "\" is not among the " << vertices.size() / 3
                        << " before it";
          return {};
        }
        corners.insert(corners.end(), &vertices[3 * (i - 1)], &vertices[3 * (i - 1)] + 3);
      }
    }
  if (vertexLines) *vertexLines = vertices.size() / 3;
  return corners;
}

// The header's count of one element ("element vertex 123").
long PlyCount(const std::filesystem::path& path, const std::string& element) {
  const std::string bytes = relief_test::ReadBytes(path);
  const size_t at = bytes.find("element " + element + " ");
  return at == std::string::npos ? -1 : std::stol(bytes.substr(at + 9 + element.size()));
}

class MeshRoundTrip : public ::testing::TestWithParam<std::tuple<const char*, int>> {};

// Corners equal as floats compare (-0 and 0 among them) are one vertex of
// PLY and OBJ.
TEST_P(MeshRoundTrip, CornersComeBackAndSharedOnesAreWrittenOnce) {
  const auto [extension, n] = GetParam();
  const std::uint32_t seed = 77u + n;
  SCOPED_TRACE("seed " + std::to_string(seed));
  ScratchDir dir("mesh-roundtrip");
  const auto path = dir / (std::string("m") + extension);
  const std::vector<float> c = RandomTriangles(n, seed);
  std::set<std::array<float, 3>> distinct;
  for (size_t i = 0; i < c.size(); i += 3) distinct.insert({c[i], c[i + 1], c[i + 2]});
  EXPECT_EQ(relief_test::WriteTriangles(path, c), n);
  EXPECT_EQ(dir.Files().size(), 1u) << "no scratch file may be left";
  if (std::string(extension) == ".obj") {
    size_t vertexLines = 0;
    EXPECT_EQ(ParseObj(path, &vertexLines), c);
    EXPECT_EQ(vertexLines, distinct.size());
    return;
  }
  if (std::string(extension) == ".ply") {
    EXPECT_EQ(PlyCount(path, "vertex"), static_cast<long>(distinct.size()));
    EXPECT_EQ(PlyCount(path, "face"), n);
  }
  auto reader = OpenTriangleReader(path);
  EXPECT_EQ(ReadAll(*reader), c);
  reader->Rewind();
  EXPECT_EQ(ReadAll(*reader, 5), c) << "Rewind must start over";
}

INSTANTIATE_TEST_SUITE_P(AllFormats, MeshRoundTrip,
                         ::testing::Combine(::testing::Values(".ply", ".stl", ".obj"),
                                            ::testing::Values(1, 2, 7, 1000)));

// Files other programs write: ASCII PLY with a quad (fanned into two
// triangles), an extra vertex property and an extra element; big-endian PLY
// with ushort counts and uint indices; ASCII STL.
TEST(MeshFormats, FilesOfOtherWritersAreRead) {
  ScratchDir dir("foreign-mesh");
  relief_test::WriteBytes(dir / "a.ply",
                          "ply\nformat ascii 1.0\ncomment hand made\nelement vertex 4\nproperty float x\n"
                          "property float y\nproperty uchar red\nproperty double z\nelement face 1\n"
                          "property list uchar int vertex_indices\nelement note 1\nproperty int id\nend_header\n"
                          "0 0 9 1\n1 0 9 2\n1 1 9 3\n0 1 9 4\n4 0 1 2 3\n7\n");
  EXPECT_EQ(ReadAll(dir / "a.ply"), (std::vector<float>{0, 0, 1, 1, 0, 2, 1, 1, 3, 0, 0, 1, 1, 1, 3, 0, 1, 4}));
  std::string be =
      "ply\nformat binary_big_endian 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
      "property float z\nelement face 1\nproperty list ushort uint vertex_indices\nend_header\n";
  auto pushBE = [&be](const void* p, int bytes) {
    for (int i = bytes - 1; i >= 0; --i) be.push_back(static_cast<const char*>(p)[i]);
  };
  for (float f : {1.5f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f, -9.25f}) pushBE(&f, 4);
  const std::uint16_t three = 3;
  pushBE(&three, 2);
  for (std::uint32_t i : {2u, 0u, 1u}) pushBE(&i, 4);
  relief_test::WriteBytes(dir / "b.ply", be);
  EXPECT_EQ(ReadAll(dir / "b.ply"), (std::vector<float>{7, 8, -9.25f, 1.5f, 2, 3, 4, 5, 6}));
  relief_test::WriteBytes(dir / "a.stl",
                          "solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 1\nvertex 1 0 2\nvertex 0 1 3\n"
                          "endloop\nendfacet\nendsolid x\n");
  EXPECT_EQ(ReadAll(dir / "a.stl"), (std::vector<float>{0, 0, 1, 1, 0, 2, 0, 1, 3}));
}

}  // namespace
