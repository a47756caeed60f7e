#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include "mesh_testing.h"
#include "relief/CArchive.h"
#include "relief/CMemoryException.h"

using mesh_test::CheckMesh;
using mesh_test::Fill;
using mesh_test::Point;
using mesh_test::SameBits;
using mesh_test::Tri;

namespace {

std::string Store(CHTriangulation& m) {
  std::ostringstream out;
  CArchive ar(out);
  m.Serialize(ar);
  ar.Close();
  return out.str();
}

void Load(CHTriangulation& m, const std::string& bytes) {
  std::istringstream in(bytes);
  CArchive ar(in);
  m.Serialize(ar);
}

std::int32_t IntAt(const std::string& s, std::size_t at) {
  std::int32_t v;
  std::memcpy(&v, s.data() + at, 4);
  return v;
}

float FloatAt(const std::string& s, std::size_t at) {
  float v;
  std::memcpy(&v, s.data() + at, 4);
  return v;
}

bool PointAt(const std::string& s, std::size_t at, const SSEPoint& p) {
  return std::memcmp(s.data() + at, &p, 16) == 0;
}

// A mesh with linked neighbours, distinct Types and every array populated.
void Sample(CHTriangulation& m) {
  m.BaseInitialization(0.5f, 0.25f, 2.0f);
  Fill(m, {Tri{{{0, 0, 1, 0}, {1, 0, 2, 0}, {0, 1, 3, 0}}}, Tri{{{1, 0, 2, 0}, {1, 1, 4, 0}, {0, 1, 3, 0}}},
           Tri{{{5, 5, -1, 0}, {7, 5, 0, 0}, {5, 8, 2, 0}}}});
  m.CalcNormalsFromVertices();
  m.CalcNeighbours();
  m.CalcCenterPoint();
  m.Triangles[1].Type = 42;
  m.Triangles[2].Index = 77;
  for (int i = 0; i < 3; ++i) m.MainNormalArray[i] = Point(float(i), 0.5f, -1, 0);
  m.SetScanConvResolution(0.125f, 0.0625f, 3);
}

}  // namespace

TEST(MeshPersistence, EmptyMeshIsEightyBytes) {
  CHTriangulation m(0, 2, 3, 4);
  m.SetScanConvResolution(5, 6, 7);
  m.CalcBoundingBox();
  m.PointArray[2] = Point(1, 2, 3);
  const std::string bytes = Store(m);
  ASSERT_EQ(bytes.size(), 80u);
  const float header[7] = {2, 3, 4, 5, 6, 7, m.ScanConvDiagonal};
  for (int i = 0; i < 7; ++i) EXPECT_EQ(FloatAt(bytes, 4 * i), header[i]) << i;
  EXPECT_EQ(IntAt(bytes, 28), 0);
  EXPECT_TRUE(PointAt(bytes, 32, m.PointArray[0]));
  EXPECT_TRUE(PointAt(bytes, 48, m.PointArray[1]));
  EXPECT_TRUE(PointAt(bytes, 64, m.PointArray[2]));
}

TEST(MeshPersistence, RecordLayout) {
  CHTriangulation m;
  Sample(m);
  const std::string bytes = Store(m);
  const std::size_t n = 3;
  ASSERT_EQ(bytes.size(), 80 + 268 * n);
  EXPECT_EQ(IntAt(bytes, 28), 3);
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t r = 32 + 76 * i;
    for (std::size_t b = 0; b < 68; ++b) ASSERT_EQ(bytes[r + b], 0) << "pointer field byte " << b << " of record " << i;
    EXPECT_EQ(IntAt(bytes, r + 68), m.Triangles[i].Index);
    EXPECT_EQ(IntAt(bytes, r + 72), m.Triangles[i].Type);
  }
  // The arrays follow in a fixed order: corners, vertex normals, main
  // normals, T, S, V, the three-point block, minima, maxima.
  std::size_t at = 32 + 76 * n;
  struct Block {
    const SSEPoint* data;
    std::size_t count;
  } blocks[] = {{m.EdgeArray, 3 * n}, {m.NormalArray, 3 * n}, {m.MainNormalArray, n},
                {m.TArray, n},        {m.SArray, n},          {m.VArray, n},
                {m.PointArray, 3},    {m.MinPointArray, n},   {m.MaxPointArray, n}};
  for (const Block& b : blocks)
    for (std::size_t k = 0; k < b.count; ++k, at += 16) ASSERT_TRUE(PointAt(bytes, at, b.data[k])) << "offset " << at;
  EXPECT_EQ(at, bytes.size());
}

TEST(MeshPersistence, StoreLoadStoreIsByteIdentical) {
  CHTriangulation m;
  Sample(m);
  const std::string first = Store(m);
  CHTriangulation loaded;
  Load(loaded, first);
  ASSERT_EQ(CheckMesh(loaded), "");
  ASSERT_EQ(loaded.NumTriangles, 3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(loaded.Triangles[i].Index, m.Triangles[i].Index);
    EXPECT_EQ(loaded.Triangles[i].Type, m.Triangles[i].Type);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(loaded.Triangles[i].pNeighbour[k], nullptr);
    EXPECT_EQ(loaded.Triangles[i].pNext, nullptr);
  }
  // The resolution comes back as the scale, whatever it was when stored.
  EXPECT_EQ(loaded.ScanConvResX, 0.5f);
  EXPECT_EQ(loaded.ScanConvResY, 0.25f);
  EXPECT_EQ(loaded.ScanConvResZ, 2.0f);
  CHTriangulation reference(0, 0.5f, 0.25f, 2.0f);
  EXPECT_TRUE(SameBits(loaded.ScanConvDiagonal, reference.ScanConvDiagonal));
  // Stored again with the resolution it had, the bytes are the same.
  loaded.SetScanConvResolution(0.125f, 0.0625f, 3);
  EXPECT_EQ(Store(loaded), first);
}

TEST(MeshPersistence, EveryTruncatedPrefixThrows) {
  CHTriangulation m;
  Sample(m);
  const std::string bytes = Store(m);
  for (std::size_t len = 0; len < bytes.size(); ++len) {
    CHTriangulation target(1, 9, 9, 9);
    target.EdgeArray[0] = Point(1, 2, 3);
    bool threw = false;
    try {
      Load(target, bytes.substr(0, len));
    } catch (const CArchiveException& e) {
      threw = e.m_cause == CArchiveException::endOfFile;
    }
    ASSERT_TRUE(threw) << "prefix of " << len << " bytes";
    ASSERT_EQ(CheckMesh(target), "") << len;
    // Up to the count the record is checked before anything changes.
    if (len < 32 + 268 * 3 + 48) {
      ASSERT_EQ(target.NumTriangles, 1) << len;
      ASSERT_EQ(target.ScaleX, 9.0f) << len;
      ASSERT_TRUE(SameBits(target.EdgeArray[0], Point(1, 2, 3))) << len;
    }
  }
}

TEST(MeshPersistence, ImpossibleCountsAreRefusedBeforeAllocating) {
  struct Case {
    std::int32_t n;
    bool memory;  // CMemoryException rather than end of file
  } cases[] = {{-1, true}, {-2147483647 - 1, true}, {1, false}, {2147483647, false}, {8000000, false}};
  for (const Case& c : cases) {
    std::string bytes(32, '\0');
    std::memcpy(&bytes[28], &c.n, 4);
    bytes += std::string(200, '\x11');
    CHTriangulation target(2, 3, 3, 3);
    if (c.memory)
      EXPECT_THROW(Load(target, bytes), CMemoryException) << c.n;
    else
      EXPECT_THROW(Load(target, bytes), CArchiveException) << c.n;
    EXPECT_EQ(target.NumTriangles, 2) << c.n;
    EXPECT_EQ(target.ScaleX, 3.0f) << c.n;
  }
}

TEST(MeshPersistence, FilesRoundTripAndMissingFilesFail) {
  CHTriangulation m;
  Sample(m);
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("relief_mesh_" + std::to_string(getpid()) + ".bin");
  ASSERT_TRUE(m.Store(path));
  EXPECT_EQ(std::filesystem::file_size(path), 80u + 268u * 3);
  CHTriangulation loaded;
  ASSERT_TRUE(loaded.Load(path));
  EXPECT_EQ(loaded.NumTriangles, 3);
  EXPECT_TRUE(SameBits(loaded.EdgeArray[7], m.EdgeArray[7]));
  std::filesystem::remove(path);
  EXPECT_FALSE(loaded.Load(path));
  EXPECT_EQ(loaded.NumTriangles, 3);
  EXPECT_FALSE(m.Store(std::filesystem::path("/nonexistent-dir/x/mesh.bin")));
}

namespace {

// An input stream that cannot seek, so the loader cannot learn its length.
struct OneWayBuffer : std::streambuf {
  explicit OneWayBuffer(std::string bytes) : data(std::move(bytes)) {
    setg(data.data(), data.data(), data.data() + data.size());
  }
  std::string data;
};

}  // namespace

TEST(MeshPersistence, RecordCutShortOnAStreamOfUnknownLengthLeavesAnEmptyMesh) {
  CHTriangulation m(0, 0.5f, 0.5f, 1);
  std::vector<Tri> soup(24, Tri{{{0, 0, 1, 0}, {1, 0, 2, 0}, {0, 1, 3, 0}}});
  Fill(m, soup);
  const std::string bytes = Store(m);
  ASSERT_GT(bytes.size(), 4096u + 300) << "longer than one archive buffer, so the length stays unknown";
  for (std::size_t len : {bytes.size() - 1, bytes.size() - 700, std::size_t(4500)}) {
    OneWayBuffer buffer(bytes.substr(0, len));
    std::istream in(&buffer);
    CHTriangulation target(3, 2, 2, 2);
    CArchive ar(in);
    EXPECT_THROW(target.Serialize(ar), CArchiveException) << len;
    EXPECT_EQ(target.NumTriangles, 0) << len;
    EXPECT_EQ(target.ScaleX, 0.5f) << "re-initialised with the stored scale";
    EXPECT_EQ(CheckMesh(target), "");
  }
  // The whole record loads from such a stream too.
  OneWayBuffer buffer(bytes);
  std::istream in(&buffer);
  CHTriangulation target;
  CArchive ar(in);
  target.Serialize(ar);
  EXPECT_EQ(target.NumTriangles, 24);
}
