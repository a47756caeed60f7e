#pragma once

// Compare-exchange networks on registers (four independent lanes), for the
// 3 x 3 and 5 x 5 medians.

#include <emmintrin.h>

namespace relief::detail {

// a becomes the smaller, b the larger of the two.
inline void CompareExchange(__m128& a, __m128& b) {
  const __m128 lo = _mm_min_ps(a, b);
  b = _mm_max_ps(a, b);
  a = lo;
}

inline __m128 Median3(__m128 a, __m128 b, __m128 c) {
  return _mm_max_ps(_mm_min_ps(a, b), _mm_min_ps(_mm_max_ps(a, b), c));
}

// Sorts five registers lane-wise (nine exchanges).
inline void Sort5(__m128& a, __m128& b, __m128& c, __m128& d, __m128& e) {
  CompareExchange(a, b);
  CompareExchange(d, e);
  CompareExchange(c, e);
  CompareExchange(c, d);
  CompareExchange(a, d);
  CompareExchange(a, c);
  CompareExchange(b, e);
  CompareExchange(b, d);
  CompareExchange(b, c);
}

// Moves the minimum of a[0 .. M) to a[0] and the maximum to a[1]; the
// others stay in a[2 .. M) (the multiset is kept).
template <int M>
inline void MinMaxToFront(__m128* a) {
  for (int i = 0; i + 1 < M; i += 2) CompareExchange(a[i], a[i + 1]);
  for (int i = 2; i + 1 < M; i += 2) {
    CompareExchange(a[0], a[i]);
    CompareExchange(a[i + 1], a[1]);
  }
  if (M & 1) {
    CompareExchange(a[0], a[M - 1]);
    CompareExchange(a[M - 1], a[1]);
  }
}

// Forgetful selection: the median of a[0 .. M) and rest[0 .. R) with M =
// (M + R) / 2 + 2 held at a time. Dropping the extremes of the held values
// can never drop the median, and each dropped pair makes room for one more.
template <int M, int R>
struct ForgetfulMedian {
  static __m128 Run(__m128* a, const __m128* rest) {
    MinMaxToFront<M>(a);
    a[1] = rest[0];
    return ForgetfulMedian<M - 1, R - 1>::Run(a + 1, rest + 1);
  }
};
template <>
struct ForgetfulMedian<3, 0> {
  static __m128 Run(__m128* a, const __m128*) { return Median3(a[0], a[1], a[2]); }
};

// The two largest / smallest of five (as a set), the three largest /
// smallest / middle ones; the inputs are scrambled.
inline void Largest2Of5(__m128* v, __m128* out) {
  CompareExchange(v[0], v[1]);
  CompareExchange(v[2], v[3]);
  CompareExchange(v[1], v[3]);  // v[3] largest of four
  const __m128 second = _mm_max_ps(v[1], _mm_max_ps(v[0], v[2]));
  out[0] = _mm_max_ps(v[3], v[4]);
  out[1] = _mm_max_ps(_mm_min_ps(v[3], v[4]), second);
}
inline void Smallest2Of5(__m128* v, __m128* out) {
  CompareExchange(v[0], v[1]);
  CompareExchange(v[2], v[3]);
  CompareExchange(v[0], v[2]);  // v[0] smallest of four
  const __m128 second = _mm_min_ps(v[2], _mm_min_ps(v[1], v[3]));
  out[0] = _mm_min_ps(v[0], v[4]);
  out[1] = _mm_min_ps(_mm_max_ps(v[0], v[4]), second);
}
inline void Largest3Of5(__m128* v, __m128* out) {
  MinMaxToFront<5>(v);  // v[0] smallest, v[1] largest
  CompareExchange(v[2], v[3]);
  CompareExchange(v[2], v[4]);  // v[2] second smallest
  out[0] = v[1];
  out[1] = v[3];
  out[2] = v[4];
}
inline void Smallest3Of5(__m128* v, __m128* out) {
  MinMaxToFront<5>(v);
  CompareExchange(v[2], v[3]);
  CompareExchange(v[4], v[3]);  // v[3] second largest
  out[0] = v[0];
  out[1] = v[2];
  out[2] = v[4];
}
inline void Middle3Of5(__m128* v, __m128* out) {
  MinMaxToFront<5>(v);
  out[0] = v[2];
  out[1] = v[3];
  out[2] = v[4];
}

// The median of 25 values given as five lane-wise sorted columns,
// at(i, rank) being rank `rank` of column i.
// With the columns sorted, the element of rank j among the rank-i elements
// of the five columns has at least (i+1)(j+1) - 1 values below it and
// (5-i)(5-j) - 1 above; the thirteen with both counts <= 12 hold the median
// at their own middle (six of the rest lie surely below, six surely above).
template <class At>
inline __m128 Median25OfSortedColumns(At at) {
  __m128 held[13];
  // Each rank's five values go through the selection that keeps its candidates.
  void (*const select[5])(__m128*, __m128*) = {Largest2Of5, Largest3Of5, Middle3Of5, Smallest3Of5, Smallest2Of5};
  const int firstHeld[5] = {0, 2, 5, 8, 11};
  for (int rank = 0; rank < 5; ++rank) {
    __m128 values[5];
    for (int i = 0; i < 5; ++i) values[i] = at(i, rank);
    select[rank](values, held + firstHeld[rank]);
  }
  return ForgetfulMedian<8, 5>::Run(held, held + 8);
}

// The medians of two neighbouring 5 x 5 windows, columns 0 .. 4 and 1 .. 5
// of at(i, rank). The four shared columns S are reduced once per rank; each
// window then adds its own column's value v, and the candidate sets follow
// from S's known extremes: two largest of S u {v} = {max S, max(second of S,
// v)}; three largest = S without its minimum, whose smallest member t gives
// way to max(t, v); the middle three = S's middle two and median(min S, v,
// max S); the smallest ones mirror the largest.
template <class At>
inline void Median25OfSortedColumnsPair(At at, __m128& left, __m128& right) {
  __m128 l[13], r[13];
  __m128 a, b, c, d;
  auto load = [&](int rank) {
    a = at(1, rank);
    b = at(2, rank);
    c = at(3, rank);
    d = at(4, rank);
  };
  // Candidate k: shared by both windows, or made by each from its own column.
  auto shared = [&](int k, __m128 v) { l[k] = r[k] = v; };
  auto own = [&](int k, int rank, auto withOwn) {
    l[k] = withOwn(at(0, rank));
    r[k] = withOwn(at(5, rank));
  };
  load(0);
  CompareExchange(a, b);
  CompareExchange(c, d);
  CompareExchange(b, d);  // d = max S
  const __m128 second = _mm_max_ps(b, _mm_max_ps(a, c));
  shared(0, d);
  own(1, 0, [&](__m128 v) { return _mm_max_ps(second, v); });
  load(1);
  CompareExchange(a, b);
  CompareExchange(c, d);
  CompareExchange(a, c);  // a = min S; b, c, d remain
  CompareExchange(b, c);
  CompareExchange(b, d);  // b = their smallest
  shared(2, c);
  shared(3, d);
  own(4, 1, [&](__m128 v) { return _mm_max_ps(b, v); });
  load(2);
  CompareExchange(a, b);
  CompareExchange(c, d);
  CompareExchange(a, c);  // a = min S
  CompareExchange(b, d);  // d = max S; b, c between
  shared(5, b);
  shared(6, c);
  own(7, 2, [&](__m128 v) { return Median3(a, v, d); });
  load(3);
  CompareExchange(a, b);
  CompareExchange(c, d);
  CompareExchange(b, d);  // d = max S; a, b, c remain
  CompareExchange(b, c);
  CompareExchange(a, c);  // c = their largest
  shared(8, a);
  shared(9, b);
  own(10, 3, [&](__m128 v) { return _mm_min_ps(c, v); });
  load(4);
  CompareExchange(a, b);
  CompareExchange(c, d);
  CompareExchange(a, c);  // a = min S
  const __m128 secondSmallest = _mm_min_ps(c, _mm_min_ps(b, d));
  shared(11, a);
  own(12, 4, [&](__m128 v) { return _mm_min_ps(secondSmallest, v); });
  left = ForgetfulMedian<8, 5>::Run(l, l + 8);
  right = ForgetfulMedian<8, 5>::Run(r, r + 8);
}

}  // namespace relief::detail
