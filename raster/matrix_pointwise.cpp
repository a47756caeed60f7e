// CSSEMatrix pointwise operations: thresholds, offsets, sign and scale, value
// replacement and the row writes. Every bulk member is one lambda over the
// register walk; all comparisons are strict and padding lanes take part.

#include <algorithm>

#include "raster/register_walk.h"
#include "relief/CSSEMatrix.h"

using relief::detail::ForEachRegister;
using relief::detail::MagnitudeBySquare;
using relief::detail::Select;

namespace {

// Lanes of v strictly inside (lo, hi).
inline __m128 InsideOpen(__m128 v, __m128 lo, __m128 hi) {
  return _mm_and_ps(_mm_cmpgt_ps(v, lo), _mm_cmplt_ps(v, hi));
}

// Adds d to the lanes selected by mask. The library defines partly passing
// registers as adding in double and rounding back to float; for one addition
// of two floats that double rounding always gives the correctly rounded float
// sum (53 >= 2 * 24 + 2 bits), so the float add below is bit-identical.
inline __m128 AddWhere(__m128 mask, __m128 v, __m128 d) { return Select(mask, _mm_add_ps(v, d), v); }

void ReplaceWithinBand(CSSEMatrix& m, float oldValue, float newValue, float tolerance) {
  // Both band ends are rounded to float before comparing: for old 1.0 and
  // tolerance 0.002, the value 1.002f lies on the upper end and is kept.
  const __m128 lo = _mm_set1_ps(oldValue - tolerance);
  const __m128 hi = _mm_set1_ps(oldValue + tolerance);
  const __m128 w = _mm_set1_ps(newValue);
  ForEachRegister(m, [=](__m128& r) { r = Select(InsideOpen(r, lo, hi), w, r); });
}

// The three-argument thresholds: columns 0 .. columns-1 become 0, the rest
// get op.
template <class Op>
void ThresholdFromColumn(CSSEMatrix& m, int columns, Op op) {
  const int first = std::clamp(columns, 0, m.GetSSESizeX());
  relief::detail::ForEachRegisterInColumns(m, 0, first, [](__m128& r) { r = _mm_setzero_ps(); });
  relief::detail::ForEachRegisterInColumns(m, first, m.GetSSESizeX(), op);
}

// Calls op(float&) for every pixel of image row y (clamped).
template <class Op>
void ForEachPixelOfRow(CSSEMatrix& m, int y, Op op) {
  __m128** lines = m.GetMatrixDataDirectly();
  if (!lines || m.GetSizeY() < 1) return;
  y = std::clamp(y, 0, m.GetSizeY() - 1);
  float* lane = relief::detail::ImageRow(lines, y);
  for (int x = 0; x < m.GetSSESizeX(); ++x) op(lane[4 * x]);
}

}  // namespace

void CSSEMatrix::OffsetMatrix(float d) {
  const __m128 vd = _mm_set1_ps(d);
  ForEachRegister(*this, [=](__m128& r) { r = _mm_add_ps(r, vd); });
}

void CSSEMatrix::OffsetMatrixAbove(float threshold, float d) {
  const __m128 t = _mm_set1_ps(threshold), vd = _mm_set1_ps(d);
  ForEachRegister(*this, [=](__m128& r) { r = AddWhere(_mm_cmpgt_ps(r, t), r, vd); });
}

void CSSEMatrix::OffsetMatrixBelow(float threshold, float d) {
  const __m128 t = _mm_set1_ps(threshold), vd = _mm_set1_ps(d);
  ForEachRegister(*this, [=](__m128& r) { r = AddWhere(_mm_cmplt_ps(r, t), r, vd); });
}

void CSSEMatrix::LiftWhereNonZero(float d) { OffsetMatrixAbove(0.005f, d); }

void CSSEMatrix::ScalarMultiply(float f) {
  const __m128 vf = _mm_set1_ps(f);
  ForEachRegister(*this, [=](__m128& r) { r = _mm_mul_ps(r, vf); });
}

void CSSEMatrix::InvertSign() {
  ForEachRegister(*this, [](__m128& r) { r = _mm_sub_ps(_mm_setzero_ps(), r); });
}

void CSSEMatrix::Absolute() {
  ForEachRegister(*this, [](__m128& r) { r = MagnitudeBySquare(r); });
}

void CSSEMatrix::TresholdAbove(float threshold, float value) {
  const __m128 t = _mm_set1_ps(threshold), w = _mm_set1_ps(value);
  ForEachRegister(*this, [=](__m128& r) { r = _mm_and_ps(_mm_cmpgt_ps(r, t), w); });
}

void CSSEMatrix::TresholdBelow(float threshold, float value) {
  const __m128 t = _mm_set1_ps(threshold), w = _mm_set1_ps(value);
  ForEachRegister(*this, [=](__m128& r) { r = _mm_and_ps(_mm_cmplt_ps(r, t), w); });
}

void CSSEMatrix::TresholdAboveKeep(float threshold, float value) {
  const __m128 t = _mm_set1_ps(threshold), w = _mm_set1_ps(value);
  ForEachRegister(*this, [=](__m128& r) { r = Select(_mm_cmpgt_ps(r, t), w, r); });
}

void CSSEMatrix::TresholdAbove(float threshold, float value, int columns) {
  const __m128 t = _mm_set1_ps(threshold), w = _mm_set1_ps(value);
  ThresholdFromColumn(*this, columns, [=](__m128& r) { r = _mm_and_ps(_mm_cmpgt_ps(r, t), w); });
}

void CSSEMatrix::TresholdBelow(float threshold, float value, int columns) {
  const __m128 t = _mm_set1_ps(threshold), w = _mm_set1_ps(value);
  ThresholdFromColumn(*this, columns, [=](__m128& r) { r = _mm_and_ps(_mm_cmplt_ps(r, t), w); });
}

void CSSEMatrix::ErasePixelsGreater(float threshold) {
  const __m128 t = _mm_set1_ps(threshold);
  ForEachRegister(*this, [=](__m128& r) { r = _mm_andnot_ps(_mm_cmpgt_ps(r, t), r); });
}

void CSSEMatrix::ErasePixelsLower(float threshold) {
  const __m128 t = _mm_set1_ps(threshold);
  ForEachRegister(*this, [=](__m128& r) { r = _mm_andnot_ps(_mm_cmplt_ps(r, t), r); });
}

void CSSEMatrix::EraseOtherValuePixels(float value, float tolerance) {
  const __m128 hi = _mm_set1_ps(value + tolerance), lo = _mm_set1_ps(value - tolerance);
  ForEachRegister(*this, [=](__m128& r) {
    const __m128 outside = _mm_or_ps(_mm_cmpgt_ps(r, hi), _mm_cmplt_ps(r, lo));
    r = _mm_andnot_ps(outside, r);
  });
}

void CSSEMatrix::ReplaceValueWithValue(float oldValue, float newValue) {
  ReplaceWithinBand(*this, oldValue, newValue, 0.002f);
}

void CSSEMatrix::ReplaceValueWithValue(float oldValue, float newValue, float tolerance) {
  ReplaceWithinBand(*this, oldValue, newValue, tolerance);
}

void CSSEMatrix::ClearRow(int y, float value) {
  ForEachPixelOfRow(*this, y, [=](float& v) { v = value; });
}

void CSSEMatrix::ReplaceLineAbove(float threshold, float value, int y) {
  ForEachPixelOfRow(*this, y, [=](float& v) {
    if (v > threshold) v = value;
  });
}
