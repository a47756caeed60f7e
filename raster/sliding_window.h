#pragma once

// One-dimensional window reductions over arrays of registers whose four lanes
// are four independent sequences, in O(1) per element whatever the radius.
// Used along x on SSE rows (lanes = four image rows) and along y on
// transposed column strips (lanes = four image columns).

#include <emmintrin.h>

#include <algorithm>
#include <limits>

namespace relief::detail {

// Associative reductions with their identity element.
struct AddOp {
  static __m128 Identity() { return _mm_setzero_ps(); }
  static __m128 Apply(__m128 a, __m128 b) { return _mm_add_ps(a, b); }
};
struct MinOp {
  static __m128 Identity() { return _mm_set1_ps(std::numeric_limits<float>::infinity()); }
  static __m128 Apply(__m128 a, __m128 b) { return _mm_min_ps(a, b); }
};
struct MaxOp {
  static __m128 Identity() { return _mm_set1_ps(-std::numeric_limits<float>::infinity()); }
  static __m128 Apply(__m128 a, __m128 b) { return _mm_max_ps(a, b); }
};

// Length of the input a window pass reads for n outputs of radius r: whole
// blocks of 2r+1 elements, one block beyond the last output's block.
inline int WindowInputLength(int n, int r) {
  const int w = 2 * r + 1;
  return ((n - 1) / w + 2) * w;
}

// out[i] = op(in[i - r] .. in[i + r]) for i in [0, n), the van Herk /
// Gil-Werman scheme: the input is cut into blocks of w = 2r+1 elements
// starting at in[-r]; the window of output i is a suffix of block i / w plus
// a prefix of the next block, so each output costs one suffix step, one
// prefix step and one combination. in[-r .. WindowInputLength(n, r) - r)
// must be readable (pad with Op::Identity()). out may be in - r (in place,
// shifted): block b is read into `suffix` before its outputs overwrite it,
// and the next block is still untouched. suffix holds w registers.
// Radii 1 and 2 directly: two (three) reductions per output beat the three
// of the block scheme plus its stores. Same reading and in-place contract.
template <class Op>
inline void WindowReduceRadius1(const __m128* in, int n, __m128* out) {
  __m128 a = in[-1], b = in[0];
  for (int i = 0; i < n; ++i) {
    const __m128 c = in[i + 1];
    out[i] = Op::Apply(Op::Apply(a, b), c);
    a = b;
    b = c;
  }
}
template <class Op>
inline void WindowReduceRadius2(const __m128* in, int n, __m128* out) {
  // pairs p_i = op(in[i], in[i + 1]); out[i] = op(p_{i-2}, p_i, in[i + 2]).
  __m128 pm2 = Op::Apply(in[-2], in[-1]), pm1 = Op::Apply(in[-1], in[0]), last = in[1];
  for (int i = 0; i < n; ++i) {
    const __m128 next = in[i + 2];
    const __m128 p = Op::Apply(last, in[i]);  // in[i] + in[i + 1]
    out[i] = Op::Apply(Op::Apply(pm2, p), next);
    pm2 = pm1;
    pm1 = p;
    last = next;
  }
}

template <class Op>
inline void WindowReduce(const __m128* in, int n, int r, __m128* out, __m128* suffix) {
  if (r == 1) return WindowReduceRadius1<Op>(in, n, out);
  if (r == 2) return WindowReduceRadius2<Op>(in, n, out);
  const int w = 2 * r + 1;
  for (int start = 0; start < n; start += w) {
    const __m128* block = in - r + start;
    const __m128* next = block + w;
    __m128 acc = block[w - 1];
    suffix[w - 1] = acc;
    for (int t = w - 2; t >= 0; --t) suffix[t] = acc = Op::Apply(block[t], acc);
    __m128* o = out + start;
    const int count = std::min(w, n - start);
    o[0] = suffix[0];  // the window is exactly this block
    __m128 prefix = Op::Identity();
    for (int t = 1; t < count; ++t) {
      prefix = Op::Apply(prefix, next[t - 1]);
      o[t] = Op::Apply(suffix[t], prefix);
    }
  }
}

// The reduction of C channels side by side, each in place in its buffer
// (input from buffer + r, output from the buffer's start). Radii 1 and 2 run
// the channels in one loop, which keeps more independent work in flight.
template <class Op, int C>
inline void WindowReduceChannels(__m128* const* buffers, int n, int r, __m128* suffix) {
  if (C == 1 || r > 2) {
    for (int c = 0; c < C; ++c) WindowReduce<Op>(buffers[c] + r, n, r, buffers[c], suffix);
    return;
  }
  const __m128* in[C];
  for (int c = 0; c < C; ++c) in[c] = buffers[c] + r;
  if (r == 1) {
    __m128 a[C], b[C];
    for (int c = 0; c < C; ++c) a[c] = in[c][-1], b[c] = in[c][0];
    for (int i = 0; i < n; ++i)
      for (int c = 0; c < C; ++c) {
        const __m128 next = in[c][i + 1];
        buffers[c][i] = Op::Apply(Op::Apply(a[c], b[c]), next);
        a[c] = b[c];
        b[c] = next;
      }
    return;
  }
  __m128 pm2[C], pm1[C], last[C];
  for (int c = 0; c < C; ++c) {
    pm2[c] = Op::Apply(in[c][-2], in[c][-1]);
    pm1[c] = Op::Apply(in[c][-1], in[c][0]);
    last[c] = in[c][1];
  }
  for (int i = 0; i < n; ++i)
    for (int c = 0; c < C; ++c) {
      const __m128 next = in[c][i + 2];
      const __m128 p = Op::Apply(last[c], in[c][i]);
      buffers[c][i] = Op::Apply(Op::Apply(pm2[c], p), next);
      pm2[c] = pm1[c];
      pm1[c] = p;
      last[c] = next;
    }
}

}  // namespace relief::detail
