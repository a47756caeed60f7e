// Mesh files written by the streaming writers and read back, readers fed
// hand-made files in the variants other programs write, and bad files.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <set>
#include <sstream>
#include <tuple>

#include "errors.h"
#include "io/mesh_io.h"
#include "mesh_build.h"
#include "tool_test_support.h"

using namespace relief::tool;
using relief_test::ScratchDir;

namespace {

std::vector<float> RandomTriangles(int n, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<float> c(static_cast<size_t>(n) * 9);
  for (float& v : c) v = static_cast<float>(static_cast<int>(random() % 200001) - 100000) / 64.0f;
  return c;
}

std::vector<float> ReadAll(const std::filesystem::path& path) {
  auto reader = OpenTriangleReader(path);
  std::vector<float> all;
  // Small chunks, so that chunk boundaries are exercised too.
  while (reader->Next(all, 3)) {
  }
  EXPECT_EQ(static_cast<std::int64_t>(all.size() / 9), reader->Count());
  return all;
}

class MeshRoundTrip : public ::testing::TestWithParam<std::tuple<const char*, int>> {};

// The .obj writer's output read with a plain parser (the tool reads no .obj):
// "v x y z" lines, each vertex before the first face using it, and faces
// "f a b c" of absolute 1-based numbers. Returns the faces' corners.
std::vector<float> ParseObj(const std::filesystem::path& path) {
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
  return corners;
}

TEST_P(MeshRoundTrip, CornersComeBackBitForBit) {
  const auto [extension, n] = GetParam();
  const std::uint32_t seed = 77u + n;
  SCOPED_TRACE("seed " + std::to_string(seed));
  ScratchDir dir("mesh-roundtrip");
  const auto path = dir / (std::string("m") + extension);
  const std::vector<float> c = RandomTriangles(n, seed);
  auto writer = OpenTriangleWriter(path);
  for (int i = 0; i < n; ++i) writer->Add(&c[9 * i]);
  writer->Commit();
  EXPECT_EQ(writer->Count(), n);
  EXPECT_EQ(dir.Files().size(), 1u);
  EXPECT_EQ(std::string(extension) == ".obj" ? ParseObj(path) : ReadAll(path), c);
  if (std::string(extension) == ".obj") return;
  auto reader = OpenTriangleReader(path);
  std::vector<float> again;
  reader->Next(again, n);
  reader->Rewind();
  again.clear();
  while (reader->Next(again, 5)) {
  }
  EXPECT_EQ(again, c) << "Rewind must start over";
}

INSTANTIATE_TEST_SUITE_P(AllFormats, MeshRoundTrip,
                         ::testing::Combine(::testing::Values(".ply", ".stl", ".obj"),
                                            ::testing::Values(1, 2, 7, 1000)));

// Collects what a mesh builder hands a writer.
class CollectingWriter : public TriangleWriter {
 public:
  void Add(const float c[9]) override {
    corners.insert(corners.end(), c, c + 9);
    ++m_count;
  }
  void Commit() override {}
  std::vector<float> corners;
};

// The header's count of one element ("element vertex 123").
long PlyCount(const std::filesystem::path& path, const std::string& element) {
  const std::string bytes = relief_test::ReadBytes(path);
  const size_t at = bytes.find("element " + element + " ");
  return at == std::string::npos ? -1 : std::stol(bytes.substr(at + 9 + element.size()));
}

// A mesh from a field with holes: PLY and OBJ hold each distinct corner once
// (k vertices for k distinct corners) and give back the same triangles.
TEST(MeshFormats, PlyAndObjWriteEachDistinctCornerOnce) {
  for (auto [width, height, seed] : {std::tuple{17, 13, 5u}, {31, 7, 6u}, {5, 6, 7u}}) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const relief_test::Grid g = relief_test::RandomField(width, height, seed, 1.0f, 50.0f, 0.15);
    CollectingWriter built;
    FieldMeshOptions options;
    options.scale[0] = 0.25f;
    StreamFieldMesh(relief_test::ToMatrix(g), options, built);
    ASSERT_GT(built.Count(), 0);
    std::set<std::array<float, 3>> distinct;
    for (size_t i = 0; i < built.corners.size(); i += 3)
      distinct.insert({built.corners[i], built.corners[i + 1], built.corners[i + 2]});
    ScratchDir dir("shared");
    for (const char* name : {"m.ply", "m.obj"}) {
      auto writer = OpenTriangleWriter(dir / name);
      for (size_t i = 0; i < built.corners.size(); i += 9) writer->Add(&built.corners[i]);
      writer->Commit();
    }
    EXPECT_EQ(PlyCount(dir / "m.ply", "vertex"), static_cast<long>(distinct.size()));
    EXPECT_EQ(PlyCount(dir / "m.ply", "face"), built.Count());
    EXPECT_EQ(ReadAll(dir / "m.ply"), built.corners);
    EXPECT_EQ(ParseObj(dir / "m.obj"), built.corners);
    const std::string obj = relief_test::ReadBytes(dir / "m.obj");
    size_t vertexLines = obj.rfind("v ", 0) == 0 ? 1 : 0;
    for (size_t at = obj.find("\nv "); at != std::string::npos; at = obj.find("\nv ", at + 1)) ++vertexLines;
    EXPECT_EQ(vertexLines, distinct.size());
    EXPECT_EQ(dir.Files(), (std::vector<std::string>{"m.obj", "m.ply"})) << "no scratch file may be left";
  }
}

// Corners are equal as floats compare: -0 and 0 are one vertex.
TEST(MeshFormats, NegativeZeroIsTheSameCorner) {
  ScratchDir dir("negzero");
  const float c[18] = {0, 0, 0, 1, 0, 0, 0, 1, 0, -0.0f, 0, -0.0f, 0, 1, 0, 1, 1, 0};
  auto writer = OpenTriangleWriter(dir / "z.ply");
  writer->Add(c);
  writer->Add(c + 9);
  writer->Commit();
  EXPECT_EQ(PlyCount(dir / "z.ply", "vertex"), 4);
  EXPECT_EQ(ReadAll(dir / "z.ply"), std::vector<float>(c, c + 18));
}

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
