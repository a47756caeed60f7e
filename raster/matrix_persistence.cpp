// CSSEMatrix persistence: the archive record and the file wrappers.
//
// The record is column-major (all SSE rows of column 0, then column 1, ...),
// the transpose of how the storage lies in memory. Writing register by
// register through the archive would cost a call per 16 bytes and a cache miss
// per register, so columns are gathered in blocks into a buffer that stays in
// cache and the block goes to the archive in one Write (and the reverse for
// loading). Every SSE row of a block is read as one run of consecutive
// registers.

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <utility>
#include <vector>

#include "relief/CArchive.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEMatrix.h"
#include "relief/SafeMemory.h"

namespace {

constexpr std::size_t kRegisterBytes = sizeof(__m128);

// About 1 MiB of registers per block: large enough that each Write/Read is
// one system call's worth, small enough to stay in the second-level cache.
constexpr std::size_t kBlockBytes = std::size_t(1) << 20;

int ColumnsPerBlock(int sseY) {
  const std::size_t columnBytes = kRegisterBytes * static_cast<std::size_t>(sseY);
  return static_cast<int>(std::max<std::size_t>(1, kBlockBytes / columnBytes));
}

// An aligned scratch block released on every exit path.
struct AlignedBuffer {
  explicit AlignedBuffer(std::size_t bytes) : data(static_cast<__m128*>(SafeAlignedAlloc(bytes, 16))) {}
  ~AlignedBuffer() { SafeAlignedFree(data); }
  AlignedBuffer(const AlignedBuffer&) = delete;
  AlignedBuffer& operator=(const AlignedBuffer&) = delete;
  __m128* data;
};

// Moves registers between the storage (SSE row k, column x0 + i) and the
// column-major block (column i's SSE rows one after the other):
// move(block entry, storage register). Four SSE rows at a time: each step
// fills (empties) one whole cache line of the block while the storage is
// read (written) as four runs along its rows. Walking the block with its
// column stride for every single SSE row would hit the same cache sets for
// every register of a row and touch each block line four times.
template <class Move>
void Transpose(__m128* block, __m128** lines, int x0, int sseY, int columns, Move move) {
  int k = 0;
  for (; k + 4 <= sseY; k += 4) {
    __m128* r0 = lines[k] + x0;
    __m128* r1 = lines[k + 1] + x0;
    __m128* r2 = lines[k + 2] + x0;
    __m128* r3 = lines[k + 3] + x0;
    for (int i = 0; i < columns; ++i) {
      __m128* out = block + static_cast<std::size_t>(i) * sseY + k;
      move(out[0], r0[i]);
      move(out[1], r1[i]);
      move(out[2], r2[i]);
      move(out[3], r3[i]);
    }
  }
  for (; k < sseY; ++k)
    for (int i = 0; i < columns; ++i) move(block[static_cast<std::size_t>(i) * sseY + k], lines[k][x0 + i]);
}

}  // namespace

void CSSEMatrix::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar << static_cast<std::int32_t>(m_nSizeX) << static_cast<std::int32_t>(m_nSizeY);
    // A raster without storage has no registers to write; its record would
    // announce registers it cannot deliver, so it is written as its header
    // followed by zeros, which loads back as a cleared raster of its size.
    const int sseY = (m_nSizeY >> 2) + 1;
    if (m_nSizeX <= 0) return;
    const int block = std::min(ColumnsPerBlock(sseY), m_nSizeX);
    AlignedBuffer buffer(kRegisterBytes * static_cast<std::size_t>(block) * sseY);
    for (int x0 = 0; x0 < m_nSizeX; x0 += block) {
      const int n = std::min(block, m_nSizeX - x0);
      if (m_ppLines)
        Transpose(buffer.data, m_ppLines, x0, sseY, n, [](__m128& entry, const __m128& reg) { entry = reg; });
      else
        std::fill(buffer.data, buffer.data + static_cast<std::size_t>(n) * sseY, _mm_setzero_ps());
      ar.Write(buffer.data, kRegisterBytes * static_cast<std::size_t>(n) * sseY);
    }
    return;
  }

  std::int32_t sizeX = 0, sizeY = 0;
  ar >> sizeX >> sizeY;
  // Validate the header before anything is allocated: an impossible size is
  // a memory exception (as Create would raise it), a record longer than the
  // stream is the end of file the reading would hit anyway.
  if (sizeX < 0 || sizeY < 0 || sizeY > kMaxRows) AfxThrowMemoryException();
  const int sseY = (sizeY >> 2) + 1;
  const std::int64_t payload = static_cast<std::int64_t>(kRegisterBytes) * sizeX * sseY;
  const std::int64_t remaining = ar.GetRemainingBytes();
  if (remaining >= 0 && remaining < payload) throw CArchiveException(CArchiveException::endOfFile);

  // Load into a raster of its own and take its storage only when the whole
  // record has arrived, so that a record that ends early changes nothing.
  // Every register is read, so the new storage needs no clearing.
  CSSEMatrix loaded;
  loaded.CreateNoClear(sizeX, sizeY);
  if (sizeX > 0) {
    const int block = std::min(ColumnsPerBlock(sseY), static_cast<int>(sizeX));
    AlignedBuffer buffer(kRegisterBytes * static_cast<std::size_t>(block) * sseY);
    for (int x0 = 0; x0 < sizeX; x0 += block) {
      const int n = std::min(block, static_cast<int>(sizeX) - x0);
      ar.Read(buffer.data, kRegisterBytes * static_cast<std::size_t>(n) * sseY);
      Transpose(buffer.data, loaded.m_ppLines, x0, sseY, n, [](const __m128& entry, __m128& reg) { reg = entry; });
    }
  } else {
    loaded.Clear();  // the dummy register of a raster without columns
  }

  // The span table and the processed row belong to this object and stay.
  std::swap(m_nSizeX, loaded.m_nSizeX);
  std::swap(m_nSizeY, loaded.m_nSizeY);
  std::swap(m_nSSESizeX, loaded.m_nSSESizeX);
  std::swap(m_nSSESizeY, loaded.m_nSSESizeY);
  std::swap(m_nFields, loaded.m_nFields);
  std::swap(m_pFields, loaded.m_pFields);
  std::swap(m_ppLines, loaded.m_ppLines);
}

bool CSSEMatrix::Store(const std::filesystem::path& path) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!file) return false;
  CArchive ar(file);
  Serialize(ar);
  ar.Close();
  file.close();
  if (!file) throw CArchiveException(CArchiveException::genericException);
  return true;
}

bool CSSEMatrix::Load(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  CArchive ar(file);
  Serialize(ar);
  return true;
}
