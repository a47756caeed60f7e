// The stored mesh record: layout, round trip, every truncated prefix, and
// counts the stream cannot hold.

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <sstream>
#include <streambuf>

#include "mesh_testing.h"
#include "relief/CArchive.h"

namespace {

using namespace mesh_test;

std::string Store(CHTriangulation& m) {
  std::ostringstream out;
  CArchive ar(out);
  m.Serialize(ar), ar.Close();
  return out.str();
}

// Loads from a stream that can seek or, with oneWay, from one that cannot, so the loader cannot learn its length.
void Load(CHTriangulation& m, const std::string& bytes, bool oneWay = false) {
  struct OneWayBuffer : std::streambuf {
    explicit OneWayBuffer(std::string bytes) : data(std::move(bytes)) {
      setg(&data[0], &data[0], &data[0] + data.size());
    }
    std::string data;
  } buffer(bytes);
  std::istringstream seekable(bytes);
  std::istream oneWayStream(&buffer);
  CArchive ar(oneWay ? oneWayStream : static_cast<std::istream&>(seekable));
  m.Serialize(ar);
}

// A mesh with linked neighbours, distinct Types and every array populated.
void Sample(CHTriangulation& m) {
  m.BaseInitialization(0.5f, 0.25f, 2.0f);
  Fill(m, SmallSoup());
  m.CalcNormalsFromVertices(), m.CalcNeighbours(), m.CalcCenterPoint();
  m.Triangles[1].Type = 42, m.Triangles[2].Index = 77;
  for (int i = 0; i < 3; ++i) m.MainNormalArray[i] = Point(float(i), 0.5f, -1, 0);
  m.SetScanConvResolution(0.125f, 0.0625f, 3);
}

// The record written out field by field: header, one 76-byte record per
// triangle (pointer fields as zeros, then Index and Type), then the arrays in
// a fixed order: corners, vertex normals, main normals, T, S, V, the
// three-point block, minima, maxima.
TEST(MeshPersistence, RecordLayout) {
  CHTriangulation empty(0, 2, 3, 4), sample;
  empty.SetScanConvResolution(5, 6, 7), empty.CalcBoundingBox();
  empty.PointArray[2] = Point(1, 2, 3);
  Sample(sample);
  for (CHTriangulation* m : {&empty, &sample}) {
    const std::size_t n = m->NumTriangles;
    std::string want;
    const auto put = [&](const void* p, std::size_t size) { want.append(static_cast<const char*>(p), size); };
    for (float f :
         {m->ScaleX, m->ScaleY, m->ScaleZ, m->ScanConvResX, m->ScanConvResY, m->ScanConvResZ, m->ScanConvDiagonal})
      put(&f, 4);
    put(&m->NumTriangles, 4);
    for (std::size_t i = 0; i < n; ++i) {
      want.append(68, '\0');
      put(&m->Triangles[i].Index, 4);
      put(&m->Triangles[i].Type, 4);
    }
    const std::pair<const SSEPoint*, std::size_t> blocks[] = {
        {m->EdgeArray, 3 * n}, {m->NormalArray, 3 * n}, {m->MainNormalArray, n}, {m->TArray, n},       {m->SArray, n},
        {m->VArray, n},        {m->PointArray, 3},      {m->MinPointArray, n},   {m->MaxPointArray, n}};
    for (const auto& b : blocks) put(b.first, 16 * b.second);
    const std::string bytes = Store(*m);
    ASSERT_EQ(bytes.size(), 80 + 268 * n);
    EXPECT_EQ(std::mismatch(bytes.begin(), bytes.end(), want.begin()).first - bytes.begin(), long(bytes.size()))
        << "the first differing byte, of " << n << " triangles";
  }
}

TEST(MeshPersistence, StoreLoadStoreIsByteIdenticalThroughFiles) {
  CHTriangulation m, loaded;
  Sample(m);
  const std::string first = Store(m);
  const auto path = std::filesystem::temp_directory_path() / ("relief_mesh_" + std::to_string(getpid()) + ".bin");
  ASSERT_TRUE(m.Store(path));
  ASSERT_TRUE(loaded.Load(path));
  std::filesystem::remove(path);
  ASSERT_TRUE(ValidMesh(loaded, 3));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(Detached(loaded.Triangles[i]));
  // The resolution comes back as the scale, whatever it was when stored.
  CHTriangulation reference(0, 0.5f, 0.25f, 2.0f);
  EXPECT_TRUE(AllEqual(
      {FIELD(loaded.ScanConvResX, 0.5f), FIELD(loaded.ScanConvResY, 0.25f), FIELD(loaded.ScanConvResZ, 2.0f)}));
  EXPECT_TRUE(SameFloat(loaded.ScanConvDiagonal, reference.ScanConvDiagonal));
  loaded.SetScanConvResolution(0.125f, 0.0625f, 3);
  EXPECT_EQ(Store(loaded), first);
  // Files that cannot be opened fail and change nothing.
  EXPECT_FALSE(loaded.Load(path));
  EXPECT_EQ(loaded.NumTriangles, 3);
  EXPECT_FALSE(m.Store(std::filesystem::path("/nonexistent-dir/x/mesh.bin")));
}

TEST(MeshPersistence, EveryTruncatedPrefixThrows) {
  CHTriangulation m;
  Sample(m);
  const std::string bytes = Store(m);
  for (std::size_t len = 0; len < bytes.size(); ++len) {
    CHTriangulation target(1, 9, 9, 9);
    target.EdgeArray[0] = Point(1, 2, 3);
    int cause = -1;
    try {
      Load(target, bytes.substr(0, len));
    } catch (const CArchiveException& e) {
      cause = e.m_cause;
    }
    ASSERT_EQ(cause, CArchiveException::endOfFile) << "prefix of " << len << " bytes";
    ASSERT_TRUE(NoViolation(CheckMesh(target))) << "prefix of " << len << " bytes";
    // Up to the count the record is checked before anything changes.
    if (len < 32 + 268 * 3 + 48)
      ASSERT_TRUE(
          AllEqual({FIELD(target.NumTriangles, 1), FIELD(target.ScaleX, 9.0f), FIELD(target.EdgeArray[0].x, 1)}))
          << len;
  }
}

// Negative counts are out of memory, others more than the stream holds;
// both are refused before anything changes. A record cut short on a stream
// of unknown length is only found while reading: the mesh is left empty.
TEST(MeshPersistence, ImpossibleCountsAndRecordsCutShortOnAStreamOfUnknownLength) {
  for (std::int32_t n : {-1, -2147483647 - 1, 1, 2147483647, 8000000}) {
    std::string bytes(32, '\0');
    std::memcpy(&bytes[28], &n, 4);
    bytes += std::string(200, '\x11');
    CHTriangulation target(2, 3, 3, 3);
    if (n < 0) EXPECT_THROW(Load(target, bytes), CMemoryException) << n;
    if (n >= 0) EXPECT_THROW(Load(target, bytes), CArchiveException) << n;
    EXPECT_TRUE(AllEqual({FIELD(target.NumTriangles, 2), FIELD(target.ScaleX, 3.0f)})) << n;
  }
  CHTriangulation m(0, 0.5f, 0.5f, 1);
  Fill(m, std::vector<Tri>(24, SmallSoup()[0]));
  const std::string bytes = Store(m);
  ASSERT_GT(bytes.size(), 4096u + 300) << "longer than one archive buffer, so the length stays unknown";
  for (std::size_t len : {bytes.size() - 1, bytes.size() - 700, std::size_t(4500)}) {
    CHTriangulation target(3, 2, 2, 2);
    EXPECT_THROW(Load(target, bytes.substr(0, len), true), CArchiveException) << len;
    EXPECT_TRUE(ValidMesh(target, 0)) << "re-initialised";
    EXPECT_EQ(target.ScaleX, 0.5f) << "the stored scale";
  }
}

}  // namespace
