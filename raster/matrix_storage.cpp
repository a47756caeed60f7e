// CSSEMatrix: life cycle, allocation in fields, fills and copies.

#include <sys/mman.h>

#include <cstdint>
#include <cstring>

#include "raster/register_walk.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEMatrix.h"
#include "relief/SafeMemory.h"

namespace {

constexpr std::size_t kRegisterBytes = sizeof(__m128);

// Above this many bytes a fill cannot stay in cache, so it bypasses it with
// streaming stores (no read-for-ownership of lines that are overwritten whole).
constexpr std::size_t kStreamingFillBytes = std::size_t(4) << 20;

// Large rasters ask for huge pages: the window filters and other column-wise
// walks touch every SSE row of a strip, a few hundred bytes on each 4 KiB
// page, and would otherwise spend their time on page-table walks.
constexpr std::size_t kHugePageBytes = std::size_t(2) << 20;
void AdviseHugePages(void* block, std::size_t bytes) {
  if (bytes < 2 * kHugePageBytes) return;
  const std::uintptr_t begin = (reinterpret_cast<std::uintptr_t>(block) + kHugePageBytes - 1) & ~(kHugePageBytes - 1);
  const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(block) + bytes) & ~(kHugePageBytes - 1);
  if (end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);  // advice only
}

void CheckSize(int sizeX, int sizeY) {
  if (sizeX < 0 || sizeY < 0 || sizeY > CSSEMatrix::kMaxRows) AfxThrowMemoryException();
}

}  // namespace

CSSEMatrix::CSSEMatrix() = default;

CSSEMatrix::CSSEMatrix(const CSSEMatrix& other) {
  CopyFromSSEMatrix(const_cast<CSSEMatrix&>(other));
  m_nRowProcessed = other.m_nRowProcessed;
}

CSSEMatrix::~CSSEMatrix() { Free(); }

CSSEMatrix& CSSEMatrix::operator=(const CSSEMatrix& other) {
  // Deliberately shallow: both objects share storage and span table.
  if (this == &other) return *this;
  m_nSizeX = other.m_nSizeX;
  m_nSizeY = other.m_nSizeY;
  m_nSSESizeX = other.m_nSSESizeX;
  m_nSSESizeY = other.m_nSSESizeY;
  m_nRowProcessed = other.m_nRowProcessed;
  m_nFields = other.m_nFields;
  std::memcpy(m_pFields, other.m_pFields, sizeof m_pFields);
  m_ppLines = other.m_ppLines;
  m_FromToArray = other.m_FromToArray;
  return *this;
}

void CSSEMatrix::Allocate(int sizeX, int sizeY) {
  CheckSize(sizeX, sizeY);
  if (m_ppLines) Free();

  const int sseY = (sizeY >> 2) + 1;
  const int fields = sseY < kLinesPerField ? 1 : (sseY + kLinesPerField - 1) / kLinesPerField;
  // A raster without columns still gets one register per SSE row, so that a
  // clamped pixel access has somewhere to land.
  const std::size_t rowBytes = kRegisterBytes * static_cast<std::size_t>(sizeX > 0 ? sizeX : 1);

  // The fields of 32 SSE rows are carved out of one block: in a 64-bit
  // address space a large block costs nothing in fragmentation, and whole-
  // raster fills and copies then run as one string operation, which is what
  // lets them keep up with memset and memcpy.
  __m128** lines = static_cast<__m128**>(SafeAlignedAlloc(sizeof(__m128*) * sseY, 16));
  char* block = nullptr;
  try {
    block = static_cast<char*>(SafeAlignedAlloc(rowBytes * sseY, 64));
    AdviseHugePages(block, rowBytes * sseY);
  } catch (...) {
    SafeAlignedFree(lines);
    throw;
  }
  for (int k = 0; k < sseY; ++k) lines[k] = reinterpret_cast<__m128*>(block + rowBytes * k);

  m_nSizeX = m_nSSESizeX = sizeX;
  m_nSizeY = sizeY;
  m_nSSESizeY = sseY;
  m_nFields = fields;
  for (int f = 0; f < kMaxFields; ++f) m_pFields[f] = f < fields ? lines[f * kLinesPerField] : nullptr;
  m_ppLines = lines;
  // The walks never visit the dummy register of a raster without columns,
  // so zero it here: it must read as "no data".
  if (sizeX == 0)
    for (int k = 0; k < sseY; ++k) lines[k][0] = _mm_setzero_ps();
}

std::size_t CSSEMatrix::StorageBytes() const {
  return kRegisterBytes * static_cast<std::size_t>(m_nSSESizeX) * m_nSSESizeY;
}

void CSSEMatrix::Create(int sizeX, int sizeY) {
  Allocate(sizeX, sizeY);
  Clear();
}

void CSSEMatrix::CreateNoClear(int sizeX, int sizeY) { Allocate(sizeX, sizeY); }

void CSSEMatrix::Free() {
  if (!m_ppLines) return;
  SafeAlignedFree(m_pFields[0]);  // the one block all fields live in
  for (__m128*& field : m_pFields) field = nullptr;
  m_nFields = 0;
  SafeAlignedFree(m_ppLines);
  m_ppLines = nullptr;
}

void CSSEMatrix::Clear() { Fill(0.0f); }

void CSSEMatrix::Fill(float value) {
  if (!m_ppLines) return;
  unsigned char pattern[4];
  std::memcpy(pattern, &value, sizeof pattern);
  const bool bytesAlike = pattern[0] == pattern[1] && pattern[1] == pattern[2] && pattern[2] == pattern[3];
  if (bytesAlike) {  // 0 above all: the C library's memset is the fastest fill there is
    std::memset(m_pFields[0], pattern[0], StorageBytes());
    return;
  }
  const __m128 v = _mm_set1_ps(value);
  if (StorageBytes() < kStreamingFillBytes) {
    relief::detail::ForEachRegister(*this, [v](__m128& r) { r = v; });
    return;
  }
  // A large raster cannot stay in cache anyway: stream past it, so that no
  // line is read before it is overwritten whole.
  float* p = reinterpret_cast<float*>(m_pFields[0]);
  const std::size_t registers = StorageBytes() / kRegisterBytes;
  for (std::size_t i = 0; i < registers; ++i) _mm_stream_ps(p + 4 * i, v);
  _mm_sfence();
}

void CSSEMatrix::CreateSimilar(CSSEMatrix& other) { Create(other.m_nSizeX, other.m_nSizeY); }

void CSSEMatrix::CopyFromSSEMatrix(CSSEMatrix& other) {
  if (!other.m_ppLines || &other == this) return;
  if (!m_ppLines || m_nSizeX != other.m_nSizeX || m_nSizeY != other.m_nSizeY)
    CreateNoClear(other.m_nSizeX, other.m_nSizeY);
  std::memcpy(m_pFields[0], other.m_pFields[0], StorageBytes());  // same size, same layout
}

void CSSEMatrix::CopyFromMatrix(double** m, int a, int b) {
  if (!m) return;
  if (m_ppLines) {
    for (int y = 0; y < a; ++y)
      for (int x = 0; x < b; ++x) SetPoint(x, y, static_cast<float>(m[y][x]));
    return;
  }
  // First use: the loop bounds are the other way round, so only a square
  // array reads the same as above.
  Create(b, a);
  for (int y = 0; y < b; ++y)
    for (int x = 0; x < a; ++x) SetPoint(x, y, static_cast<float>(m[y][x]));
}

namespace {

// Walks this raster's pixels with the centred source pixel; combine(old, src)
// returns the value to store.
template <class Combine>
void CopyCentered(CSSEMatrix& dst, CSSEMatrix& src, Combine combine) {
  if (!dst.GetMatrixDataDirectly() || !src.GetMatrixDataDirectly()) return;
  if (src.GetSizeX() < dst.GetSizeX() || src.GetSizeY() < dst.GetSizeY() || dst.GetSizeY() < 1) return;
  const int dx = (src.GetSizeX() >> 1) - (dst.GetSizeX() >> 1);
  const int dy = (src.GetSizeY() >> 1) - (dst.GetSizeY() >> 1);
  for (int y = 0; y < dst.GetSizeY(); ++y)
    for (int x = 0; x < dst.GetSizeX(); ++x) {
      float* p = dst.GetPointAddress(x, y);
      *p = combine(*p, src.GetPoint(x + dx, y + dy));
    }
}

}  // namespace

void CSSEMatrix::CopyFromSSEMatrixCentered(CSSEMatrix& other) {
  Clear();
  CopyCentered(*this, other, [](float, float s) { return s; });
}

void CSSEMatrix::CopyFromSSEMatrixCenteredMaximum(CSSEMatrix& other) {
  CopyCentered(*this, other, [](float old, float s) { return s > old ? s : old; });
}

void CSSEMatrix::CopyFromSSEMatrixCenteredMinimum(CSSEMatrix& other) {
  CopyCentered(*this, other, [](float old, float s) { return s < old ? s : old; });
}
