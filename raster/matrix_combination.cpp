// CSSEMatrix combined with a second raster, register by register at the same
// storage position (top-left aligned, no scaling). Every member is one lambda
// over the pair walk; comparisons are strict and padding lanes take part.

#include <algorithm>

#include "raster/register_walk.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

using relief::detail::ForEachRegisterPair;
using relief::detail::MagnitudeBySquare;
using relief::detail::Select;
using relief::detail::SmallerExtent;

namespace {

// The members documented as walking "this raster's extent" require the other
// raster to be at least as large. For such rasters the overlap is exactly
// this raster's extent, and a smaller other raster is then not read past its
// end.
template <class Op>
void Combine(CSSEMatrix& a, const CSSEMatrix& b, Op op) {
  ForEachRegisterPair(a, b, SmallerExtent(a, b), op);
}

// max(0, b - offset) with the difference as first operand of maxps, so that
// a NaN in the other raster contributes 0 rather than spreading.
inline __m128 PositivePart(__m128 b, __m128 offset) {
  return _mm_max_ps(_mm_sub_ps(b, offset), _mm_setzero_ps());
}

// Clears the lanes of a whose mask lane b is below cut.
inline __m128 ClearWhereBelow(__m128 a, __m128 b, __m128 cut) { return _mm_andnot_ps(_mm_cmplt_ps(b, cut), a); }

// Truncates a scaled pixel position and clamps it into 0 .. size - 1 like the
// pixel accessors; negative and NaN positions land on 0, positions beyond
// the int range on the last pixel.
inline int ScaledIndex(float position, int size) {
  if (!(position >= 0.0f)) return 0;
  if (position >= 2147483520.0f) return size - 1;
  return std::min(static_cast<int>(position), size - 1);
}

}  // namespace

void CSSEMatrix::AddMatrix(CSSEMatrix& other) {
  Combine(*this, other, [](__m128& a, __m128 b) { a = _mm_add_ps(a, b); });
}

void CSSEMatrix::SubMatrix(CSSEMatrix& other) {
  Combine(*this, other, [](__m128& a, __m128 b) { a = _mm_sub_ps(a, b); });
}

void CSSEMatrix::SubMatrixValidate(CSSEMatrix& other) {
  const __m128 zero = _mm_setzero_ps();
  Combine(*this, other, [=](__m128& a, __m128 b) { a = Select(_mm_cmpgt_ps(a, zero), _mm_sub_ps(a, b), a); });
}

void CSSEMatrix::AddMatrixOffseted(CSSEMatrix& other, float offset) {
  const __m128 off = _mm_set1_ps(offset);
  Combine(*this, other, [=](__m128& a, __m128 b) { a = _mm_add_ps(a, PositivePart(b, off)); });
}

void CSSEMatrix::AddMatrixOffsetedNormed(CSSEMatrix& other, float offset, float scale) {
  const __m128 off = _mm_set1_ps(offset), s = _mm_set1_ps(scale);
  Combine(*this, other, [=](__m128& a, __m128 b) { a = _mm_add_ps(a, _mm_mul_ps(PositivePart(b, off), s)); });
}

void CSSEMatrix::AddMatrixOffsetedConstrained(CSSEMatrix& other, float offset, float keep, float scale) {
  const __m128 off = _mm_set1_ps(offset), k = _mm_set1_ps(keep), s = _mm_set1_ps(scale);
  const __m128 empty = _mm_set1_ps(0.001f);
  Combine(*this, other, [=](__m128& a, __m128 b) {
    // An empty pixel of this raster (below 0.001) lets nothing of b in.
    const __m128 admitted = _mm_andnot_ps(_mm_cmplt_ps(a, empty), b);
    a = _mm_add_ps(_mm_mul_ps(PositivePart(admitted, off), s), _mm_mul_ps(a, k));
  });
}

void CSSEMatrix::MaximumOf(CSSEMatrix& other) {
  // maxps(b, a) is b > a ? b : a: a NaN on either side keeps a.
  Combine(*this, other, [](__m128& a, __m128 b) { a = _mm_max_ps(b, a); });
}

void CSSEMatrix::MinimumOf(CSSEMatrix& other) {
  // minps(b, a) is b < a ? b : a: a NaN on either side keeps a.
  Combine(*this, other, [](__m128& a, __m128 b) { a = _mm_min_ps(b, a); });
}

void CSSEMatrix::CombineAbsolute(CSSEMatrix& other) {
  Combine(*this, other, [](__m128& a, __m128 b) { a = _mm_sqrt_ps(_mm_add_ps(_mm_mul_ps(b, b), _mm_mul_ps(a, a))); });
}

void CSSEMatrix::CombineMultiplicative(CSSEMatrix& other) {
  Combine(*this, other, [](__m128& a, __m128 b) { a = MagnitudeBySquare(_mm_mul_ps(a, b)); });
}

void CSSEMatrix::MaskOut(CSSEMatrix& mask) {
  const __m128 cut = _mm_set1_ps(0.1f);
  Combine(*this, mask, [=](__m128& a, __m128 b) { a = ClearWhereBelow(a, b, cut); });
}

void CSSEMatrix::MaskOutAndValidate(CSSEMatrix& mask) {
  const __m128 cut = _mm_set1_ps(0.1f), zero = _mm_setzero_ps();
  Combine(*this, mask, [=](__m128& a, __m128 b) {
    a = _mm_andnot_ps(_mm_and_ps(_mm_cmplt_ps(b, cut), _mm_cmpgt_ps(a, zero)), a);
  });
}

void CSSEMatrix::StencilThreshAbove(CSSEMatrix& mask, float threshold) {
  const __m128 cut = _mm_set1_ps(threshold);
  Combine(*this, mask, [=](__m128& a, __m128 b) { a = ClearWhereBelow(a, b, cut); });
}

void CSSEMatrix::StencilThreshBelow(CSSEMatrix& mask, float threshold) {
  // The same test as StencilThreshAbove; callers rely on both names.
  StencilThreshAbove(mask, threshold);
}

void CSSEMatrix::Stencil(CSSEMatrix& mask, float scaleX, float scaleY) {
  if (!mask.GetMatrixDataDirectly()) return;
  if (scaleX == 1.0f && scaleY == 1.0f) {
    StencilThreshAbove(mask, 5.0f);
    return;
  }
  relief::detail::ForEachPixel(*this, [&](int x, int y, float& v) {
    const int mx = ScaledIndex(static_cast<float>(x) * scaleX + 0.5f, mask.GetSizeX());
    const int my = ScaledIndex(static_cast<float>(y) * scaleY + 0.5f, mask.GetSizeY());
    if (mask.GetPoint(mx, my) < 5.0f) v = 0.0f;
  });
}

void CSSEMatrix::Stencil(CSSEcharMatrix& mask, float scaleX, float scaleY) {
  if (!mask.GetMatrixDataDirectly()) return;
  const bool unscaled = scaleX == 1.0f && scaleY == 1.0f;
  relief::detail::ForEachPixel(*this, [&](int x, int y, float& v) {
    int mx = x, my = y;
    if (!unscaled) {
      mx = ScaledIndex(static_cast<float>(x) * scaleX + 0.5f, mask.GetSizeX());
      my = ScaledIndex(static_cast<float>(y) * scaleY + 0.5f, mask.GetSizeY());
    }
    // Read as signed: bytes 128..255 are negative and clear the pixel.
    if (static_cast<signed char>(mask.GetPoint(mx, my)) < 5) v = 0.0f;
  });
}

void CSSEMatrix::CalcDifferenceMatrixConstrained(CSSEMatrix& first, CSSEMatrix& second, bool eraseNegative,
                                                 bool erasePositive) {
  if (&first == this || &second == this) {
    // Re-creating this raster would destroy an operand: work from a copy.
    CSSEMatrix copy(*this);
    CalcDifferenceMatrixConstrained(&first == this ? copy : first, &second == this ? copy : second, eraseNegative,
                                    erasePositive);
    return;
  }
  Create(std::min(first.GetSizeX(), second.GetSizeX()), std::min(first.GetSizeY(), second.GetSizeY()));
  const relief::detail::Extent e = relief::detail::WholeExtent(*this);
  ForEachRegisterPair(*this, first, e, [](__m128& a, __m128 b) { a = b; });
  ForEachRegisterPair(*this, second, e, [](__m128& a, __m128 b) { a = _mm_sub_ps(a, b); });
  if (eraseNegative) ErasePixelsLower(0.0f);
  if (erasePositive) ErasePixelsGreater(0.0f);
}
