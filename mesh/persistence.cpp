// CHTriangulation archive record and file storage.
//
// The record is a raw image of the mesh as the format's 32-bit writers laid
// it out: a header of scalars, the triangle records with their pointer
// fields, then the arrays. Pointers are 64-bit here, so each record is
// re-packed to its 76-byte form with zeros in the pointer fields; only Index
// and Type carry data.

#include <cstdint>
#include <cstring>
#include <fstream>
#include <vector>

#include "relief/CArchive.h"
#include "relief/CHTriangulation.h"
#include "relief/CMemoryException.h"

namespace {

constexpr std::size_t kRecordBytes = 76;
constexpr std::size_t kPointerFieldBytes = 68;  // seventeen 32-bit pointer fields
constexpr std::int64_t kBytesPerTriangle = 268;
constexpr std::int64_t kTrailerBytes = 48;      // box minimum, maximum, centre
constexpr int kRecordsPerBlock = 1024;

void WritePoints(CArchive& ar, const SSEPoint* p, std::int64_t count) {
  if (count > 0) ar.Write(p, sizeof(SSEPoint) * static_cast<std::size_t>(count));
}

void ReadPoints(CArchive& ar, SSEPoint* p, std::int64_t count) {
  if (count > 0) ar.Read(p, sizeof(SSEPoint) * static_cast<std::size_t>(count));
}

void PutInt(unsigned char* dst, std::int32_t v) {
  for (int b = 0; b < 4; ++b) dst[b] = static_cast<unsigned char>(static_cast<std::uint32_t>(v) >> (8 * b));
}

std::int32_t GetInt(const unsigned char* src) {
  std::uint32_t v = 0;
  for (int b = 0; b < 4; ++b) v |= std::uint32_t{src[b]} << (8 * b);
  return static_cast<std::int32_t>(v);
}

// Reads the records and arrays of a mesh just re-created with n triangles.
void ReadTriangles(CArchive& ar, CHTriangulation& m, std::vector<unsigned char>& block) {
  const int n = m.NumTriangles;
  // Only Index and Type come from the stored records; the pointer wiring is
  // this mesh's own and the neighbour and list fields stay null.
  for (int first = 0; first < n; first += kRecordsPerBlock) {
    const int count = n - first < kRecordsPerBlock ? n - first : kRecordsPerBlock;
    ar.Read(block.data(), kRecordBytes * count);
    for (int i = 0; i < count; ++i) {
      const unsigned char* r = block.data() + kRecordBytes * i;
      m.Triangles[first + i].Index = GetInt(r + kPointerFieldBytes);
      m.Triangles[first + i].Type = GetInt(r + kPointerFieldBytes + 4);
    }
  }
  const std::int64_t count = n;
  ReadPoints(ar, m.EdgeArray, 3 * count);
  ReadPoints(ar, m.NormalArray, 3 * count);
  ReadPoints(ar, m.MainNormalArray, count);
  ReadPoints(ar, m.TArray, count);
  ReadPoints(ar, m.SArray, count);
  ReadPoints(ar, m.VArray, count);
  ReadPoints(ar, m.PointArray, 3);
  ReadPoints(ar, m.MinPointArray, count);
  ReadPoints(ar, m.MaxPointArray, count);
}

}  // namespace

void CHTriangulation::Serialize(CArchive& ar) {
  std::vector<unsigned char> block(kRecordBytes * kRecordsPerBlock);
  if (ar.IsStoring()) {
    ar << ScaleX << ScaleY << ScaleZ << ScanConvResX << ScanConvResY << ScanConvResZ << ScanConvDiagonal;
    ar << NumTriangles;
    for (int first = 0; first < NumTriangles; first += kRecordsPerBlock) {
      const int count = NumTriangles - first < kRecordsPerBlock ? NumTriangles - first : kRecordsPerBlock;
      std::memset(block.data(), 0, kRecordBytes * count);
      for (int i = 0; i < count; ++i) {
        unsigned char* r = block.data() + kRecordBytes * i;
        PutInt(r + kPointerFieldBytes, Triangles[first + i].Index);
        PutInt(r + kPointerFieldBytes + 4, Triangles[first + i].Type);
      }
      ar.Write(block.data(), kRecordBytes * count);
    }
    const std::int64_t n = NumTriangles;
    WritePoints(ar, EdgeArray, 3 * n);
    WritePoints(ar, NormalArray, 3 * n);
    WritePoints(ar, MainNormalArray, n);
    WritePoints(ar, TArray, n);
    WritePoints(ar, SArray, n);
    WritePoints(ar, VArray, n);
    WritePoints(ar, PointArray, 3);
    WritePoints(ar, MinPointArray, n);
    WritePoints(ar, MaxPointArray, n);
    return;
  }

  float scale[3], resolution[3], diagonal;
  std::int32_t n;
  ar >> scale[0] >> scale[1] >> scale[2] >> resolution[0] >> resolution[1] >> resolution[2] >> diagonal;
  ar >> n;
  // Refuse a count the stream cannot hold before anything is allocated or
  // changed, so a damaged record neither exhausts memory nor costs the mesh
  // it was loaded into.
  if (n < 0) AfxThrowMemoryException();
  const std::int64_t remaining = ar.GetRemainingBytes();
  if (remaining >= 0 && kBytesPerTriangle * n + kTrailerBytes > remaining)
    throw CArchiveException(CArchiveException::endOfFile);

  // The stored resolution and diagonal are not restored: a loaded mesh scans
  // at its scale until SetScanConvResolution says otherwise.
  FreeTriangulation();
  BaseInitialization(scale[0], scale[1], scale[2]);
  CreateTriangulation(n);
  try {
    ReadTriangles(ar, *this, block);
  } catch (...) {
    // A record cut short leaves an empty mesh rather than one with arrays
    // partly read and partly uninitialised.
    FreeTriangulation();
    throw;
  }
}

bool CHTriangulation::Store(const std::filesystem::path& path) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!file.is_open()) return false;
  CArchive ar(file);
  Serialize(ar);
  ar.Close();
  return true;
}

bool CHTriangulation::Load(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) return false;
  CArchive ar(file);
  Serialize(ar);
  ar.Close();
  return true;
}
