#pragma once

#include <emmintrin.h>

#include "relief/Export.h"

class CArchive;
class CSSEMatrix;

// A column profile: nCount int32 values in pValues. pValues comes from
// SafeMalloc and belongs to the caller, who releases it with SafeFree.
struct t_intvector {
  int nCount;
  int* pValues;
};

// The byte raster: a mask or label image of signed bytes, addressed by column
// x and row y exactly like CSSEMatrix (clamped coordinates), with sixteen rows
// per 16-byte register instead of four.
//
// Storage layout: byte (y & 15) of register x of SSE row (y >> 4) holds pixel
// (x, y). There are (SizeY >> 4) + 1 SSE rows, so the bytes of rows SizeY and
// beyond (a whole spare SSE row when SizeY is a multiple of 16) are real
// storage: Clear writes them, the copies copy them, pixel access never reads
// them. SSE rows live in fields of 32 rows each, at most 250 fields.
//
// Limits: Create refuses a negative size or more than 127,999 rows (the field
// table's capacity) by throwing CMemoryException before anything changes;
// every failed allocation throws CMemoryException too. A raster may have 0
// columns or rows; it then has no pixels.
//
// Without storage (after the default constructor or Free) pixel reads return
// 0, writes are ignored and bulk operations do nothing.
//
// Copies: the copy constructors copy deeply; assignment is deliberately
// shallow (both objects then share storage; only one may be destroyed).
class RELIEF_API CSSEcharMatrix {
 public:
  static constexpr int kLinesPerField = 32;
  static constexpr int kMaxFields = 250;
  static constexpr int kMaxRows = kMaxFields * kLinesPerField * 16 - 1;  // 127,999

  CSSEcharMatrix();
  CSSEcharMatrix(int sizeX, int sizeY);  // Create(sizeX, sizeY)
  // CopyFromOtherMatrix(source).
  CSSEcharMatrix(CSSEcharMatrix& source);
  // CopyFromOtherMatrixLimitedX(source, from, to).
  CSSEcharMatrix(CSSEcharMatrix& source, int from, int to);
  ~CSSEcharMatrix();
  CSSEcharMatrix& operator=(const CSSEcharMatrix& other);  // shallow, see above

  // ---- storage ----------------------------------------------------------
  // Releases old storage, allocates sizeX x sizeY and clears every byte
  // (spare rows included) to 0. Throws CMemoryException for a negative size
  // or sizeY > 127,999 without changing the raster.
  void Create(int sizeX, int sizeY);
  // Releases the storage; the sizes keep their values.
  void Free();
  // Every byte of every register, spare rows included, becomes value.
  void Clear(char value);
  void CreateSimilar(CSSEcharMatrix& other);
  void CreateSimilar(CSSEMatrix& other);
  // Create with the source's sizes, then a copy of every register. A source
  // without storage leaves this raster created and cleared.
  void CopyFromOtherMatrix(CSSEcharMatrix& source);
  // from and to are clamped into 0 .. source width - 1; then Create(to - from
  // + 1, source height) and columns from .. to are copied into 0 .. to - from.
  // Nothing happens for a source with fewer than 1 row. Callers pass from <=
  // to: after clamping from > to gives a negative width and CMemoryException.
  void CopyFromOtherMatrixLimitedX(CSSEcharMatrix& source, int from, int to);

  // ---- pixel access (clamped into the raster) ---------------------------
  void SetPoint(int x, int y, char value) {
    if (m_ppLines) *PixelAddress(x, y) = value;
  }
  char GetPoint(int x, int y) const { return m_ppLines ? *PixelAddress(x, y) : char(0); }

  // ---- from float rasters -----------------------------------------------
  // Create with the source's size (cleared to 0), then value on every pixel
  // whose source value is strictly above / strictly below threshold. A NaN
  // pixel passes neither test; spare rows stay 0.
  void CopyAndTresholdAbove(CSSEMatrix& source, float threshold, char value);
  void CopyAndTresholdBelow(CSSEMatrix& source, float threshold, char value);

  // Column profile over the first min(SSESizeY, rowLimit >> 4) SSE rows
  // (whole registers, spare rows included): for each column the sum of the
  // bytes, each read as the signed byte (b - offset) mod 256, divided
  // (truncating) by 16 x SSESizeY, the capacity of the whole raster, so that
  // profiles taken with different row limits share one scale. nCount is
  // SSESizeX; the caller frees pValues with SafeFree. Without storage:
  // nCount 0 and a freeable empty block.
  t_intvector GetIntegralVectorFromMatrix(int offset, int rowLimit);

  // ---- persistence ------------------------------------------------------
  // Record: int32 SizeX, int32 SizeY, then SizeY x SizeX signed bytes, row by
  // row (y outer, x inner), no spare rows (8 + SizeX x SizeY bytes). Loading
  // validates the header before allocating: a negative size or more than
  // 127,999 rows throws CMemoryException, and so does a record without rows
  // or columns whose storage would exceed 1 MiB (e.g. 0 rows x 2^31 columns:
  // eight bytes of record cannot justify 32 GiB). More bytes than the stream
  // can still deliver throws CArchiveException(endOfFile). In these cases and
  // for any record that ends early the raster keeps its previous size and
  // content. A raster without storage is stored as its sizes and zero pixels.
  void Serialize(CArchive& ar);

  // ---- accessors --------------------------------------------------------
  int GetSizeX() const { return SizeX; }
  int GetSizeY() const { return SizeY; }
  int GetSSESizeX() const { return SSESizeX; }
  int GetSSESizeY() const { return SSESizeY; }
  // The line table: entry k points at SSE row k. Null without storage.
  __m128i** GetMatrixDataDirectly() const { return m_ppLines; }
  int GetLastCorrelationError() const { return m_nLastCorrelationError; }

 private:
  // Address of pixel (x, y) after clamping; requires storage. The upper clamp
  // runs first so that a raster without columns addresses its dummy register.
  char* PixelAddress(int x, int y) const {
    x = x > SizeX - 1 ? SizeX - 1 : x;
    x = x < 0 ? 0 : x;
    y = y > SizeY - 1 ? SizeY - 1 : y;
    y = y < 0 ? 0 : y;
    return reinterpret_cast<char*>(m_ppLines[y >> 4] + x) + (y & 15);
  }
  __m128i** m_ppLines = nullptr;
  __m128i* m_pFields[kMaxFields] = {};
  int SizeX = 0;
  int SizeY = 0;
  int SSESizeX = 0;
  int SSESizeY = 0;
  int m_nFields = 0;
  int m_nLastCorrelationError = 0;
};
