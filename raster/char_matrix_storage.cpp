// CSSEcharMatrix: life cycle, allocation in fields, clearing and copies.

#include <algorithm>
#include <cstring>

#include "raster/register_walk.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"
#include "relief/SafeMemory.h"

CSSEcharMatrix::CSSEcharMatrix() = default;

CSSEcharMatrix::CSSEcharMatrix(int sizeX, int sizeY) { Create(sizeX, sizeY); }

CSSEcharMatrix::CSSEcharMatrix(CSSEcharMatrix& source) { CopyFromOtherMatrix(source); }

CSSEcharMatrix::CSSEcharMatrix(CSSEcharMatrix& source, int from, int to) {
  CopyFromOtherMatrixLimitedX(source, from, to);
}

CSSEcharMatrix::~CSSEcharMatrix() { Free(); }

CSSEcharMatrix& CSSEcharMatrix::operator=(const CSSEcharMatrix& other) {
  // Deliberately shallow: both objects share one storage.
  if (this == &other) return *this;
  m_ppLines = other.m_ppLines;
  std::memcpy(m_pFields, other.m_pFields, sizeof m_pFields);
  SizeX = other.SizeX;
  SizeY = other.SizeY;
  SSESizeX = other.SSESizeX;
  SSESizeY = other.SSESizeY;
  m_nFields = other.m_nFields;
  m_nLastCorrelationError = other.m_nLastCorrelationError;
  return *this;
}

void CSSEcharMatrix::Create(int sizeX, int sizeY) {
  // Refuse before touching anything: a negative width would wrap into a huge
  // allocation, and more rows than the field table holds would overrun it.
  if (sizeX < 0 || sizeY < 0 || sizeY > kMaxRows) AfxThrowMemoryException();

  const int sseY = (sizeY >> 4) + 1;
  const int fields = sseY < kLinesPerField ? 1 : (sseY + kLinesPerField - 1) / kLinesPerField;
  // A raster without columns keeps one register per SSE row, so that a
  // clamped pixel access has somewhere to land.
  const std::size_t rowBytes = sizeof(__m128i) * static_cast<std::size_t>(sizeX > 0 ? sizeX : 1);

  // Allocate everything first, so that a failure leaves the old raster as it was.
  __m128i** lines = static_cast<__m128i**>(SafeAlignedAlloc(sizeof(__m128i*) * sseY, 16));
  __m128i* blocks[kMaxFields] = {};
  try {
    for (int f = 0; f < fields; ++f) {
      const int rows = f < fields - 1 ? kLinesPerField : sseY - kLinesPerField * (fields - 1);
      blocks[f] = static_cast<__m128i*>(SafeAlignedAlloc(rowBytes * rows, 16));
      for (int j = 0; j < rows; ++j)
        lines[f * kLinesPerField + j] =
            reinterpret_cast<__m128i*>(reinterpret_cast<char*>(blocks[f]) + rowBytes * j);
    }
  } catch (...) {
    for (__m128i* block : blocks) SafeAlignedFree(block);
    SafeAlignedFree(lines);
    throw;
  }

  Free();
  m_ppLines = lines;
  std::memcpy(m_pFields, blocks, sizeof m_pFields);
  SizeX = SSESizeX = sizeX;
  SizeY = sizeY;
  SSESizeY = sseY;
  m_nFields = fields;
  Clear(0);
}

void CSSEcharMatrix::Free() {
  if (!m_ppLines) return;
  for (__m128i*& field : m_pFields) {
    SafeAlignedFree(field);
    field = nullptr;
  }
  m_nFields = 0;
  SafeAlignedFree(m_ppLines);
  m_ppLines = nullptr;
}

void CSSEcharMatrix::Clear(char value) {
  const __m128i v = _mm_set1_epi8(value);
  relief::detail::ForEachRegister(*this, [v](__m128i& r, int, int) { r = v; });
}

void CSSEcharMatrix::CreateSimilar(CSSEcharMatrix& other) { Create(other.SizeX, other.SizeY); }

void CSSEcharMatrix::CreateSimilar(CSSEMatrix& other) { Create(other.GetSizeX(), other.GetSizeY()); }

void CSSEcharMatrix::CopyFromOtherMatrix(CSSEcharMatrix& source) {
  if (&source == this) return;
  Create(source.SizeX, source.SizeY);
  if (!source.m_ppLines) return;
  // Same sizes give the same SSE rows; copy each row in one move.
  const std::size_t rowBytes = sizeof(__m128i) * static_cast<std::size_t>(SSESizeX);
  for (int k = 0; k < SSESizeY; ++k) std::memcpy(m_ppLines[k], source.m_ppLines[k], rowBytes);
}

void CSSEcharMatrix::CopyFromOtherMatrixLimitedX(CSSEcharMatrix& source, int from, int to) {
  if (source.SizeY < 1 || &source == this) return;
  // Upper clamp first, as the pixel accessors do.
  from = std::max(std::min(from, source.SizeX - 1), 0);
  to = std::max(std::min(to, source.SizeX - 1), 0);
  Create(to - from + 1, source.SizeY);
  if (!source.m_ppLines) return;
  const std::size_t bytes = sizeof(__m128i) * static_cast<std::size_t>(to - from + 1);
  for (int k = 0; k < SSESizeY; ++k) std::memcpy(m_ppLines[k], source.m_ppLines[k] + from, bytes);
}
