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

  // ---- correlation along x ----------------------------------------------
  // The error of a shift s compares this raster's pixel (x, y) with other's
  // pixel (x + s, y), bytes read unsigned (0 .. 255), over the rows both
  // rasters hold and the columns where both exist: it is the mean absolute
  // difference in 1/256 grey steps (sum * 256 / pixels, truncated). Shifts
  // run from -maxShift to maxShift (maxShift < 0 counts as 0), limited to
  // those that leave at least one column of overlap; the smallest error
  // wins, the first (most negative shift) on ties. The best error is stored
  // as the last correlation error. With no pixel to compare (a raster
  // without storage, rows or columns, or an empty row range) the shifts
  // become 0, the last correlation error -1, and the result is -1.
  //
  // Returns the best error and writes the best shift.
  int Correlate(CSSEcharMatrix& other, int& shift, int maxShift);
  // Writes the best shift and the runner-up: the best shift at least two
  // steps away from it (a distinct match, not the best one's shoulder).
  // Returns the ambiguity margin, runner-up error minus best error (0: the
  // two matches are equally good); without a runner-up (fewer than three
  // shifts) secondShift = shift and the result is INT_MAX.
  int CorrelateAmbiguity(CSSEcharMatrix& other, int& shift, int& secondShift, int maxShift);
  // As CorrelateAmbiguity over the rows rowStart .. rowEnd only (inclusive,
  // clamped into the rows both rasters hold; rowStart > rowEnd compares
  // nothing).
  int CorrelateAmbiguityStartEnd(CSSEcharMatrix& other, int& shift, int& secondShift, int maxShift,
                                 int rowStart, int rowEnd);

  // ---- combination and shape ------------------------------------------------
  // Stacks other below this raster: the result is max(width) x (SizeY +
  // other SizeY), columns missing in either part are 0. other may be this.
  void CombineYDir(CSSEcharMatrix& other);
  // As CombineYDir, but other starts at the next multiple of 16 rows (the
  // rows in between are 0), so that whole registers are appended unshifted:
  // the height becomes 16 * SSE rows in use + other SizeY.
  void CombineYDirFast(CSSEcharMatrix& other);
  // a - b per byte, signed and saturating (-128 .. 127), over the smaller
  // SSE extent of the two rasters, spare rows included.
  void SubMatrix(CSSEcharMatrix& other);
  // Forward difference along x in place: v(x, y) = v(x + 1, y) - v(x, y),
  // signed and saturating, every byte of the storage; the last column keeps
  // its values.
  void CalcDerivative();
  // Pixel density: the share of pixels holding a non-zero byte, in per cent
  // (0 .. 100, truncated); 0 without pixels.
  int CalcPDResult();
  // Variation along x ("time"): the variance over the columns of each
  // column's mean signed byte, truncated to int; 0 with fewer than 2 columns
  // or no rows.
  int CalcTimeVariance();
  // The number of separate runs along x of columns that hold at least one
  // non-zero byte (bursts of activity separated by empty columns).
  int CalcNumSyllables();
  // Every pixel of row y (clamped) becomes value; other rows untouched.
  void ClearRow(int y, unsigned char value);
  // Enlarges by integer factors: the result has SizeX * factorX columns and
  // SizeY * factorY rows; pixel (x, y) interpolates the source linearly at
  // ((x + 0.5) / factorX - 0.5, likewise y), clamped at the border, signed
  // bytes, rounded to nearest. A factor < 1 or a raster without pixels
  // changes nothing; a result Create refuses throws CMemoryException.
  void InterpolateUp(int factorX, int factorY);
  // Grows the raster by a frame of frameX columns on the left and right and
  // frameY rows at top and bottom filled with value; the old content sits
  // in the middle. A negative frame changes nothing.
  void EmbedinValueFrame(int frameX, int frameY, char value);
  // Widens the raster by n columns on the right (left), each a copy of the
  // old last (first) column; a raster without columns gets zero columns.
  // n < 1 changes nothing.
  void ElongateRight(int n);
  void ElongateLeft(int n);

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
