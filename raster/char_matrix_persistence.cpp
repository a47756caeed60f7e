// CSSEcharMatrix persistence: the archive record, row by row without spare
// rows. Sixteen image rows share one SSE row, so each SSE row is spread into
// sixteen row buffers in one pass over its registers and the rows go to the
// archive as whole blocks.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "relief/CArchive.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEcharMatrix.h"

namespace {

// A record without pixels (no rows or no columns) still costs storage: one
// register per column and SSE row. Storage beyond this many bytes plus
// seventeen times the record's pixel bytes (what a raster with at least one
// row needs at most) cannot come from a raster any caller meant to keep.
constexpr std::int64_t kStorageWithoutPixels = std::int64_t(1) << 20;

}  // namespace

void CSSEcharMatrix::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar << static_cast<std::int32_t>(SizeX) << static_cast<std::int32_t>(SizeY);
    if (SizeX <= 0 || SizeY <= 0) return;
    std::vector<char> rows(static_cast<std::size_t>(SizeX) * 16);
    for (int k = 0; k <= (SizeY - 1) >> 4; ++k) {
      const int count = std::min(16, SizeY - 16 * k);
      if (m_ppLines) {
        const __m128i* line = m_ppLines[k];
        for (int x = 0; x < SizeX; ++x) {
          alignas(16) char bytes[16];
          _mm_store_si128(reinterpret_cast<__m128i*>(bytes), line[x]);
          for (int j = 0; j < count; ++j) rows[static_cast<std::size_t>(j) * SizeX + x] = bytes[j];
        }
      }
      ar.Write(rows.data(), static_cast<std::size_t>(count) * SizeX);
    }
    return;
  }

  std::int32_t sizeX = 0, sizeY = 0;
  ar >> sizeX >> sizeY;
  // Check the header before allocating; see the class comment.
  if (sizeX < 0 || sizeY < 0 || sizeY > kMaxRows) AfxThrowMemoryException();
  const std::int64_t pixels = static_cast<std::int64_t>(sizeX) * sizeY;
  const std::int64_t storage = std::int64_t(16) * std::max<std::int64_t>(sizeX, 1) * ((sizeY >> 4) + 1);
  if (storage > 17 * pixels + kStorageWithoutPixels) AfxThrowMemoryException();
  const std::int64_t remaining = ar.GetRemainingBytes();
  if (remaining >= 0 && remaining < pixels) throw CArchiveException(CArchiveException::endOfFile);

  // Fill a raster of its own and take it over only when the record is
  // complete: a record that ends early leaves this raster as it was.
  CSSEcharMatrix loaded(sizeX, sizeY);
  if (pixels > 0) {
    std::vector<char> rows(static_cast<std::size_t>(sizeX) * 16);
    for (int k = 0; k <= (sizeY - 1) >> 4; ++k) {
      const int count = std::min(16, static_cast<int>(sizeY) - 16 * k);
      ar.Read(rows.data(), static_cast<std::size_t>(count) * sizeX);
      __m128i* line = loaded.m_ppLines[k];
      for (int x = 0; x < sizeX; ++x) {
        alignas(16) char bytes[16] = {};
        for (int j = 0; j < count; ++j) bytes[j] = rows[static_cast<std::size_t>(j) * sizeX + x];
        line[x] = _mm_load_si128(reinterpret_cast<const __m128i*>(bytes));
      }
    }
  }

  std::swap(m_ppLines, loaded.m_ppLines);
  std::swap(m_pFields, loaded.m_pFields);
  std::swap(SizeX, loaded.SizeX);
  std::swap(SizeY, loaded.SizeY);
  std::swap(SSESizeX, loaded.SSESizeX);
  std::swap(SSESizeY, loaded.SSESizeY);
  std::swap(m_nFields, loaded.m_nFields);
}
