#pragma once

// Window counts of the pixels holding data, for the no-data-aware box mean,
// packed several to a 32-bit lane.
//
// A count needs far fewer bits than a float: a (2r+1)^2 window holds at most
// 225 pixels up to r = 7 (a byte) and 65535 up to r = 127 (16 bits). A strip
// of columns is therefore cut into P parts of q columns (P = 4, 2 or 1), and
// lane digit t of "super-column" j counts column t q + j of the strip. Window
// sums over super-columns are then window sums of P columns at once, with
// ordinary 32-bit arithmetic: no digit ever carries into the next. The
// counts ride through the same x pass, transposes and y pass as the float
// sums, on 1/P of the registers, and are unpacked where the sums are
// finished: each group of four columns is one digit of one count group.

#include <emmintrin.h>

#include "raster/no_data.h"

namespace relief::detail {

// buf[i] = buf[i] + ... + buf[i + 2r] for i in [0, n), in place: the window
// sums of the input buf + r, as WindowReduce with out = in - r (reads
// buf[0 .. n + 2r)). Counts are integers, so a running sum is exact, and
// it costs one addition and one subtraction whatever the radius. Taking
// the leaving element off before adding the entering one keeps every
// digit between 0 and a window's count: no digit borrows or carries.
inline void WindowCountSums(__m128* buf, int n, int r) {
  __m128i* b = reinterpret_cast<__m128i*>(buf);
  __m128i sum = _mm_setzero_si128(), leaving = _mm_setzero_si128();
  for (int j = 0; j < 2 * r; ++j) sum = _mm_add_epi32(sum, b[j]);
  for (int i = 0; i < n; ++i) {
    sum = _mm_add_epi32(_mm_sub_epi32(sum, leaving), b[i + 2 * r]);
    leaving = b[i];
    b[i] = sum;
  }
}

// Bits of one digit when P digits share a 32-bit lane.
template <int P>
constexpr int kDigitBits = 32 / P;

// The digits per lane that hold any count of a (2r+1)^2 window clipped to a
// sizeX x sizeY raster: 4, 2 or 1.
inline int DigitsForWindow(int sizeX, int sizeY, int r) {
  const long w = 2L * r + 1;
  const long most = (w < sizeX ? w : sizeX) * (w < sizeY ? w : sizeY);
  return most <= 0xFF ? 4 : most <= 0xFFFF ? 2 : 1;
}

// The count segment of the super-columns from a strip segment of prepared
// values (a value holds data when it is not 0), in the same index frame:
// cseg[j] for j in [0, q + 2r) has digit t = 1 where seg[t q + j] holds
// data. On the way, noData[g] = NoDataBits of strip columns [4g, 4g + 4)
// (seg from r), for the q / 4 groups of each of the P parts.
// The r super-columns on either side of the q core ones are the core's
// digits moved one place (part t's halo is part t +- 1's edge): one new
// digit each.
template <int P>
inline void PackValidity(const __m128* seg, int q, int r, __m128* cseg, unsigned short* noData) {
  constexpr int bits = kDigitBits<P>;
  __m128 digit[P];
  for (int t = 0; t < P; ++t) digit[t] = _mm_castsi128_ps(_mm_set1_epi32(1 << (t * bits)));
  const __m128 zero = _mm_setzero_ps();
  auto holds = [&](int j) { return _mm_cmpneq_ps(seg[j], zero); };
  for (int j = r; j < q + r; j += 4) {
    __m128 packed[4] = {zero, zero, zero, zero};
    for (int t = 0; t < P; ++t) {
      __m128 h[4];
      for (int i = 0; i < 4; ++i) {
        h[i] = holds(t * q + j + i);
        packed[i] = _mm_or_ps(packed[i], _mm_and_ps(h[i], digit[t]));
      }
      noData[t * (q / 4) + (j - r) / 4] = static_cast<unsigned short>(NoDataBits(h));
    }
    for (int i = 0; i < 4; ++i) cseg[j + i] = packed[i];
  }
  auto direct = [&](int j) {
    __m128 packed = zero;
    for (int t = 0; t < P; ++t) packed = _mm_or_ps(packed, _mm_and_ps(holds(t * q + j), digit[t]));
    return packed;
  };
  if (q < r) {  // halos wider than a part
    for (int j = 0; j < r; ++j) cseg[j] = direct(j);
    for (int j = q + r; j < q + 2 * r; ++j) cseg[j] = direct(j);
    return;
  }
  for (int j = 0; j < r; ++j) {
    const __m128i up = _mm_slli_epi32(_mm_castps_si128(cseg[j + q]), bits);
    cseg[j] = _mm_or_ps(_mm_castsi128_ps(up), _mm_and_ps(holds(j), digit[0]));
  }
  for (int j = q + r; j < q + 2 * r; ++j) {
    const __m128i down = _mm_srli_epi32(_mm_castps_si128(cseg[j - q]), bits);
    cseg[j] = _mm_or_ps(_mm_castsi128_ps(down), _mm_and_ps(holds((P - 1) * q + j), digit[P - 1]));
  }
}

// sums[i] /= digit t of counts[i] for the four rows of a group of four
// columns: the same float division as sum / count in float.
template <int P>
inline void DivideByCountDigit(__m128* sums, const __m128* counts, int t) {
  const __m128i shift = _mm_cvtsi32_si128(t * kDigitBits<P>);
  const __m128i low = _mm_set1_epi32(static_cast<int>(0xFFFFFFFFu >> (32 - kDigitBits<P>)));
  for (int i = 0; i < 4; ++i) {
    const __m128i count = _mm_and_si128(_mm_srl_epi32(_mm_castps_si128(counts[i]), shift), low);
    sums[i] = _mm_div_ps(sums[i], _mm_cvtepi32_ps(count));
  }
}

}  // namespace relief::detail
