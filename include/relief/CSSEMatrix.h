#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <filesystem>

#include "relief/CImgFromToArray.h"
#include "relief/Export.h"

class CArchive;
class CSSEcharMatrix;

// The extremes of a rectangle of a raster (CSSEMatrix::CalcPatchExtremes).
// nCount is the number of pixels that took part; with none, fMin is 1e6,
// fMax is -1e6 and the four positions are -1.
struct t_patchextremes {
  float fMin;
  int nMinX, nMinY;
  float fMax;
  int nMaxX, nMaxY;
  int nCount;
};

// The float raster: a height field, mask or grey image addressed by column x
// (0 at the left) and row y (0 at the top). Value 0 means "no data".
//
// Storage layout (binding; callers that work on registers rely on it): one
// 16-byte register holds rows 4k .. 4k+3 of one column in lanes 0..3. The
// registers of those four rows form SSE row k; there are (sizeY >> 2) + 1 SSE
// rows, so lanes of rows sizeY and beyond ("padding", a whole spare SSE row
// when sizeY is a multiple of 4) are real storage. Bulk operations compute on
// padding lanes like on any other; pixel accessors never read them. SSE rows
// are grouped in fields of 32 rows each (at most 250 fields); the fields lie
// one after the other in a single 64-byte aligned block.
//
// Limits: Create refuses a negative size or more than 31,999 rows by throwing
// CMemoryException before anything changes; every failed allocation throws
// CMemoryException too. A raster may have 0 columns or rows; it then has no
// pixels, bulk operations do nothing and pixel reads return 0.
//
// Coordinates are clamped, never reported: a point outside the raster reads or
// writes the nearest border pixel.
//
// Copies: the copy constructor and CopyFromSSEMatrix copy deeply; assignment is
// deliberately shallow (both objects then share storage; only one may be
// destroyed or freed).
class RELIEF_API CSSEMatrix {
 public:
  static constexpr int kLinesPerField = 32;
  static constexpr int kMaxFields = 250;
  static constexpr int kMaxRows = kMaxFields * kLinesPerField * 4 - 1;  // 31,999

  CSSEMatrix();
  CSSEMatrix(const CSSEMatrix& other);  // deep copy
  ~CSSEMatrix();
  CSSEMatrix& operator=(const CSSEMatrix& other);  // shallow, see above

  // ---- storage ----------------------------------------------------------
  // Releases old storage and allocates sizeX x sizeY, every lane (padding
  // included) 0. Throws CMemoryException for sizeX < 0, sizeY < 0 or
  // sizeY > 31,999 without changing the raster.
  void Create(int sizeX, int sizeY);
  // As Create, but the new storage is uninitialised.
  void CreateNoClear(int sizeX, int sizeY);
  // Releases the storage; the sizes keep their values (test for storage with
  // GetMatrixDataDirectly() != nullptr).
  void Free();
  // Every lane, padding included, becomes 0 / value.
  void Clear();
  void Fill(float value);
  // Create with other's size: same size, zero content.
  void CreateSimilar(CSSEMatrix& other);
  // Deep copy, padding lanes included. A source without storage changes nothing.
  void CopyFromSSEMatrix(CSSEMatrix& other);
  // Fills from rows of doubles: m[y][x] for y < a, x < b into an existing
  // raster (clamped like SetPoint). A raster without storage is first created
  // as b columns x a rows and then filled for y < b, x < a: only a square array
  // gives the same result both ways. A null m does nothing.
  void CopyFromMatrix(double** m, int a, int b);
  // Clears, then copies the centred crop of a source at least as large
  // (source pixel (x + dx, y + dy), dx/dy the difference of the half sizes).
  // A smaller source leaves the raster cleared.
  void CopyFromSSEMatrixCentered(CSSEMatrix& other);
  // As above without clearing; a pixel takes the source value only where it is
  // strictly greater / strictly smaller.
  void CopyFromSSEMatrixCenteredMaximum(CSSEMatrix& other);
  void CopyFromSSEMatrixCenteredMinimum(CSSEMatrix& other);

  // ---- pixel access (clamped) ------------------------------------------
  float GetPoint(int x, int y) const { return m_ppLines ? *PixelAddress(x, y) : 0.0f; }
  float GetPointValue(int x, int y) const { return GetPoint(x, y); }
  // Null without storage.
  float* GetPointAddress(int x, int y) { return m_ppLines ? PixelAddress(x, y) : nullptr; }
  void SetPoint(int x, int y, float value) {
    if (m_ppLines) *PixelAddress(x, y) = value;
  }

  // ---- point stamps ------------------------------------------------------
  // A stamp is shifted inward, never clipped, so that its whole footprint lies
  // in the raster: a stamp asked for at (-10, -10) lands with its top-left
  // corner on (0, 0). Min keeps (value > old) ? old : value, Max keeps
  // (old > value) ? old : value; a NaN on either side stores the new value.
  // On rasters smaller than the footprint, pixels falling outside are clamped
  // onto the border (the stamp then covers fewer distinct pixels).
  void SetPointMin(int x, int y, float value);
  void SetPointMax(int x, int y, float value);
  void SetPointAndRightOfPoint(int x, int y, float value);  // (x, y), (x+1, y)
  void SetPointAndLeftOfPoint(int x, int y, float value);   // (x-1, y), (x, y)
  void SetTriplePointMin(int x, int y, float value);        // x-1 .. x+1 on row y
  void SetTriplePointMax(int x, int y, float value);
  void SetCross(int x, int y, float value);  // centre and its four edge neighbours
  void SetCrossMin(int x, int y, float value);
  void SetCrossMax(int x, int y, float value);
  void Set3x3BoxPoint(int x, int y, float value);
  void Set3x3BoxPointMin(int x, int y, float value);
  void Set3x3BoxPointMax(int x, int y, float value);
  void Set5x5BoxPointMin(int x, int y, float value);
  void Set5x5BoxPointMax(int x, int y, float value);

  // ---- pointwise operations (every lane, padding included; strict tests) ----
  void OffsetMatrix(float d);
  // v + d where v > threshold (< threshold). Registers whose four lanes all
  // pass add in float; in a partly passing register each passing lane is
  // added in double and rounded back to float.
  void OffsetMatrixAbove(float threshold, float d);
  void OffsetMatrixBelow(float threshold, float d);
  // OffsetMatrixAbove(0.005, d).
  void LiftWhereNonZero(float d);
  void ScalarMultiply(float f);
  void InvertSign();  // 0 - v: 0 stays +0
  // sqrt(v * v): squares that overflow give infinity, that underflow give 0.
  void Absolute();
  // value where v > threshold, else 0.
  void TresholdAbove(float threshold, float value);
  // value where v < threshold, else 0.
  void TresholdBelow(float threshold, float value);
  // value where v > threshold, else unchanged.
  void TresholdAboveKeep(float threshold, float value);
  // Columns 0 .. columns-1 become 0, the rest as the two-argument form.
  void TresholdAbove(float threshold, float value, int columns);
  void TresholdBelow(float threshold, float value, int columns);
  void ErasePixelsGreater(float threshold);  // 0 where v > threshold
  void ErasePixelsLower(float threshold);    // 0 where v < threshold
  // 0 outside the closed band value +- tolerance.
  void EraseOtherValuePixels(float value, float tolerance);
  // newValue where old - 0.002 < v < old + 0.002, both band ends rounded to
  // float first (so 1.002 is not replaced for old 1.0).
  void ReplaceValueWithValue(float oldValue, float newValue);
  // The same with the given tolerance.
  void ReplaceValueWithValue(float oldValue, float newValue, float tolerance);
  // Every pixel of row y (clamped) becomes value; other rows untouched.
  void ClearRow(int y, float value);
  // In row y (clamped), every pixel > threshold becomes value.
  void ReplaceLineAbove(float threshold, float value, int y);
  // Every row, padding lanes included, becomes a copy of row
  // GetRowProcessed() (clamped into the raster): extrudes one computed
  // profile over the whole raster.
  void FillMatrixWithProcessedRow();

  // ---- bounding box, searches, fills, patch extremes ---------------------
  // Here a pixel "holds data" when it is neither 0 (either sign) nor NaN;
  // negative values are data. Only pixels take part, never padding lanes.
  //
  // The smallest rectangle (inclusive corners) that holds every data pixel.
  // false, and the four outputs untouched, when no pixel holds data.
  bool GetValidBoundingBox(int& minX, int& minY, int& maxX, int& maxY) const;
  // The first data pixel in row-major order (y outer, x inner); false (outputs
  // untouched) when there is none.
  bool FindFirstValidPixel(int& foundX, int& foundY) const;
  // The data pixel nearest to (x, y) (clamped into the raster) by Euclidean
  // distance; among equally near ones the smallest y, then the smallest x.
  // false (outputs untouched) when no pixel holds data.
  bool FindNearestValidPixel(int x, int y, int& foundX, int& foundY) const;
  // The first data pixel of row y (clamped) met when walking from column
  // xFrom (clamped) towards growing x (step >= 0) or falling x (step < 0),
  // xFrom itself included; its column, or -1 when the walk leaves the raster.
  int FindValidPixelInRow(int y, int xFrom, int step) const;
  // The same down (step >= 0) or up (step < 0) column x; the row or -1.
  int FindValidPixelInColumn(int x, int yFrom, int step) const;
  // Flood fill: every pixel connected to the seed (4-connected, or
  // 8-connected when eightConnected) through pixels whose value equals the
  // seed's value (==, so -0 and +0 match) becomes value. Returns the number
  // of pixels of the region. A seed outside the raster or holding NaN fills
  // nothing and returns 0.
  int FillArea(int x, int y, float value, bool eightConnected = false);
  // A fill bounded by an upright cylinder around the seed: the 4-connected
  // region of pixels p reachable from the seed through pixels that lie in
  // the cylinder, i.e. (px - x)^2 + (py - y)^2 <= radius^2 (radius in pixel
  // steps) and |v(p) - v(seed)| <= height (the cylinder spans height below
  // and above the seed's value), becomes value. Returns the number of pixels
  // filled. A seed outside the raster, a NaN seed value, radius < 0, height
  // < 0 or a NaN radius or height fill nothing and return 0.
  int FillAreaZylindrical(int x, int y, float radius, float height, float value);
  // Minimum and maximum, with their first positions in row-major order
  // (strict comparisons), over the rectangle with corners (xFrom, yFrom) and
  // (xTo, yTo), inclusive, in any order, clamped into the raster. With
  // excludeNoData only pixels holding data take part; NaN never does.
  t_patchextremes CalcPatchExtremes(int xFrom, int yFrom, int xTo, int yTo,
                                    bool excludeNoData = true) const;

  // ---- scaling ----------------------------------------------------------
  // This raster becomes source resampled to sizeX x sizeY (padding lanes 0).
  // Pixel centres are aligned: target pixel (x, y) samples the source at
  // ((x + 0.5) * source.sizeX / sizeX - 0.5, likewise for y). Nearest takes
  // the pixel whose centre is nearest (on a tie the larger index);
  // bilinear interpolates the four around, reads clamped at the border, and
  // treats 0 like any value (a no-data rim blends in; use nearest to keep it
  // crisp). A NaN reaches the outputs that read it. Source may be this
  // raster. Nothing changes when sizeX < 1 or sizeY < 1 or the source has no
  // storage or no pixels; a size Create refuses throws CMemoryException.
  void ScaleNearest(CSSEMatrix& source, int sizeX, int sizeY);
  void ScaleBilinear(CSSEMatrix& source, int sizeX, int sizeY);
  // The same to the size (int(source.sizeX * factorX + 0.5), likewise y);
  // factors that are not > 0 (NaN included) or give a size < 1 change
  // nothing.
  void ScaleNearestByFactors(CSSEMatrix& source, float factorX, float factorY);
  void ScaleBilinearByFactors(CSSEMatrix& source, float factorX, float factorY);

  // ---- thinning, distance transform, derivatives ------------------------
  // Zhang-Suen thinning of the pixels strictly above threshold into a
  // skeleton of 1.0 on 0. A pixel is removed only with 3 to 6 set neighbours
  // (not the textbook 2), so end points of lines with two neighbours stay.
  // The outermost rows and columns always end 0, padding lanes too; rasters
  // with fewer than 3 rows or columns end all 0. At most 1000 iterations.
  // Throws CMemoryException (raster unchanged) when the working image cannot
  // be allocated.
  void ZhangSuen(float threshold);
  // 3-4 chamfer distance (3 per straight step, 4 per diagonal; divide by 3
  // for pixels) to the pixels that held 1.0 (within 0.002). Pixels that held
  // 0 (within 0.002) are unknown and start at 99999.9f; other values act as
  // given initial distances. Forward pass over the interior, mask: left,
  // above, above-left and below-left; backward pass the mirror. Candidate
  // sums round to float; a candidate replaces the value only when strictly
  // smaller, so a NaN pixel stays NaN and NaN neighbours are ignored. Then
  // RemoveFrameArtefacts(4, 4, 0): pixels closer than 4 columns to the left
  // and 5 to the right border, the top SSE row and the last two SSE rows end
  // 0. Rasters under 3 x 3 get only the replacements and the frame. Throws
  // CMemoryException (raster unchanged) when its working row cannot be
  // allocated.
  void Chamfer();
  // Forward differences in place, every lane (padding included):
  // v(x, y) = v(x+1, y) - v(x, y), resp. v(x, y+1) - v(x, y) (lane 3 of an SSE
  // row reads lane 0 of the next). The last column / last SSE row keep their
  // values.
  void CalcDerivativeX();
  void CalcDerivativeY();
  // Overwrites whole registers of a border frame with value: columns
  // 0 .. frameX-1 on the left, the last frameX + 1 columns on the right, SSE
  // rows 0 .. (frameY >> 2)-1 at the top and the last (frameY >> 2) + 1 SSE
  // rows at the bottom (spare row included). Frames wider than the raster
  // cover it; negative frames cover nothing on that side.
  void RemoveFrameArtefacts(int frameX, int frameY, float value);

  // ---- combination with a second raster (paired by storage position) ------
  // Register x of SSE row k pairs with register x of SSE row k of the other
  // raster; every lane, padding included, takes part, comparisons are strict.
  // The walk covers the smaller SSE extent of the two rasters (the rest of
  // this raster is untouched), so rasters of different size combine top-left
  // aligned. Members marked "this extent" require the other raster to be at
  // least as large; a smaller one is not read past its end.
  void AddMatrix(CSSEMatrix& other);  // a + b, this extent
  void SubMatrix(CSSEMatrix& other);  // a - b
  void SubMatrixValidate(CSSEMatrix& other);  // a - b where a > 0, else a
  // a + max(0, b - offset), this extent. A NaN in b adds 0 (here and below).
  void AddMatrixOffseted(CSSEMatrix& other, float offset);
  // a + max(0, b - offset) * scale, this extent.
  void AddMatrixOffsetedNormed(CSSEMatrix& other, float offset, float scale);
  // max(0, b' - offset) * scale + a * keep with b' = 0 where a < 0.001 (an
  // empty pixel lets nothing in), else b; this extent.
  void AddMatrixOffsetedConstrained(CSSEMatrix& other, float offset, float keep, float scale);
  // b > a ? b : a, resp. b < a ? b : a: a NaN on either side keeps a.
  void MaximumOf(CSSEMatrix& other);
  void MinimumOf(CSSEMatrix& other);
  void CombineAbsolute(CSSEMatrix& other);        // sqrt(b*b + a*a)
  void CombineMultiplicative(CSSEMatrix& other);  // |a * b| as sqrt((a*b)^2)
  void MaskOut(CSSEMatrix& mask);                 // 0 where mask < 0.1
  void MaskOutAndValidate(CSSEMatrix& mask);      // 0 where mask < 0.1 and a > 0
  void StencilThreshAbove(CSSEMatrix& mask, float threshold);  // 0 where mask < threshold
  void StencilThreshBelow(CSSEMatrix& mask, float threshold);  // same behaviour as Above
  // 0 where the mask value is below 5. With both scales exactly 1 the mask
  // pairs by storage position like MaskOut (smaller extent, padding lanes
  // included); otherwise every pixel (x, y) reads the mask pixel
  // (int(x * scaleX + 0.5f), int(y * scaleY + 0.5f)), clamped into the mask.
  // A mask without storage changes nothing.
  void Stencil(CSSEMatrix& mask, float scaleX, float scaleY);
  // The same with a byte mask, always pixel by pixel (clamped reads), the
  // byte read as signed: bytes 128..255 are negative and clear the pixel.
  void Stencil(CSSEcharMatrix& mask, float scaleX, float scaleY);
  // Re-creates this raster with the smaller width and the smaller height of
  // the two and stores first - second (padding lanes included), then erases
  // negative (ErasePixelsLower(0)) and/or positive (ErasePixelsGreater(0))
  // results. This raster may be one of the operands. Throws CMemoryException
  // from Create.
  void CalcDifferenceMatrixConstrained(CSSEMatrix& first, CSSEMatrix& second, bool eraseNegative,
                                       bool erasePositive);

  // ---- counting, extremes, integration ----------------------------------
  // Lanes (padding included) strictly above / below the threshold.
  int NumValuesAbove(float threshold) const;
  int NumValuesBelow(float threshold) const;
  // Lanes where this raster is strictly above / below other at the same
  // storage position, over this raster's extent (other must be as large).
  int NumValuesAbove(CSSEMatrix* other) const;
  int NumValuesBelow(CSSEMatrix* other) const;
  // Writes the MAXIMUM to *first and the MINIMUM to *second (callers pass
  // (max, min) in this order) over the inner region: SSE rows 1 .. SSEsizeY-2
  // and columns 3 .. sizeX-4. With nothing visited: -1e6 and 1e6.
  void CalcMinMaxValues(float* first, float* second) const;
  // As CalcMinMaxValues, ignoring lanes strictly between -0.002 and 0.002.
  void CalcMinMaxValuesExcludeZero(float* first, float* second) const;
  // Sum of all lanes (padding included) in four float lane accumulators,
  // reduced as (lane0 + lane3) + (lane1 + lane2).
  float IntegrateMatrix() const;
  // The same over sqrt(v * v).
  float IntegrateMatrixAbsolute() const;
  // The same with each magnitude multiplied by float(a * b).
  float IntegrateMatrixAbsolute(float a, float b) const;

  // ---- persistence ------------------------------------------------------
  // Record (little-endian, no header or version): int32 sizeX, int32 sizeY,
  // then for each column x, for each SSE row k, the four lanes of register x
  // of SSE row k: 8 + 16 * sizeX * ((sizeY >> 2) + 1) bytes, padding lanes
  // included. A raster without storage is stored as its sizes and zeros.
  // Loading validates the header before allocating: a negative size or more
  // than 31,999 rows throws CMemoryException, a record longer than the stream
  // can still deliver throws CArchiveException(endOfFile). A record that ends
  // early throws CArchiveException(endOfFile) too. In every failing case the
  // raster keeps its previous size and content.
  void Serialize(CArchive& ar);
  // Store truncates or creates the file. Both return false when the file
  // cannot be opened (nothing changes) and true otherwise; errors after
  // opening propagate as CArchiveException (from Store: genericException
  // when the stream fails to write).
  bool Store(const std::filesystem::path& path);
  bool Load(const std::filesystem::path& path);

  // ---- accessors --------------------------------------------------------
  int GetSizeX() const { return m_nSizeX; }
  int GetSizeY() const { return m_nSizeY; }
  int GetSSESizeX() const { return m_nSSESizeX; }
  int GetSSESizeY() const { return m_nSSESizeY; }
  int GetFields() const { return m_nFields; }
  __m128* GetField(int i) const { return m_pFields[i]; }  // unchecked
  int GetLinesPerField() const { return kLinesPerField; }
  // The line table: entry k points at SSE row k. Null without storage. A
  // const matrix hands out its rows read-only.
  __m128** GetMatrixDataDirectly() { return m_ppLines; }
  const __m128* const* GetMatrixDataDirectly() const { return m_ppLines; }
  CImgFromToArray& GetFromToArray() { return m_FromToArray; }
  void SetRowProcessed(int row) { m_nRowProcessed = row; }
  int GetRowProcessed() const { return m_nRowProcessed; }

 private:
  void Allocate(int sizeX, int sizeY);
  // Bytes of all SSE rows, padding included (one contiguous block).
  std::size_t StorageBytes() const;
  // Address of pixel (x, y) after clamping; requires storage. The upper clamp
  // runs first so that a raster without columns addresses its dummy register.
  float* PixelAddress(int x, int y) const {
    x = x > m_nSizeX - 1 ? m_nSizeX - 1 : x;
    x = x < 0 ? 0 : x;
    y = y > m_nSizeY - 1 ? m_nSizeY - 1 : y;
    y = y < 0 ? 0 : y;
    return reinterpret_cast<float*>(m_ppLines[y >> 2] + x) + (y & 3);
  }

  int m_nSizeX = 0;
  int m_nSizeY = 0;
  int m_nSSESizeX = 0;
  int m_nSSESizeY = 0;
  int m_nRowProcessed = 0;
  int m_nFields = 0;
  __m128* m_pFields[kMaxFields] = {};
  __m128** m_ppLines = nullptr;
  CImgFromToArray m_FromToArray;
};
