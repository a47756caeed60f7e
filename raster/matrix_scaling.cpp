// CSSEMatrix scaling: nearest and bilinear resampling with aligned pixel
// centres.
//
// Each target SSE row is made in two steps. Along y, the source rows its
// four lanes need are picked (or interpolated) four columns at a time on
// 4 x 4 transposed blocks, where a source row is one register, and
// transposed back into a row of registers whose lanes are the four target
// rows at every source column. Along x, every target register is then one
// (or two interpolated) registers of that row: the layout's four rows per
// register make the x step free of gathers.

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "raster/aligned_buffer.h"
#include "raster/register_walk.h"
#include "raster/separable_filter.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEMatrix.h"

using namespace relief::detail;

namespace {

// Source positions of the target positions along one axis.
struct Taps {
  std::vector<int> i0, i1;
  std::vector<float> f;  // weight of i1
};

Taps NearestTaps(int from, int to) {
  Taps t{std::vector<int>(to), std::vector<int>(to), std::vector<float>(to, 0.0f)};
  for (int i = 0; i < to; ++i) {
    // floor((i + 0.5) * from / to) in integers: the source pixel whose
    // centre is nearest, the larger one on a tie.
    const long long s = ((2LL * i + 1) * from) / (2LL * to);
    t.i0[i] = t.i1[i] = static_cast<int>(std::min<long long>(s, from - 1));
  }
  return t;
}

Taps BilinearTaps(int from, int to) {
  Taps t{std::vector<int>(to), std::vector<int>(to), std::vector<float>(to)};
  for (int i = 0; i < to; ++i) {
    const double s = std::clamp((i + 0.5) * from / to - 0.5, 0.0, static_cast<double>(from - 1));
    const int i0 = static_cast<int>(s);
    t.i0[i] = i0;
    t.i1[i] = std::min(i0 + 1, from - 1);
    t.f[i] = static_cast<float>(s - i0);
  }
  return t;
}

// a + (b - a) f: exact for a == b (a constant field stays constant).
inline __m128 Lerp(__m128 a, __m128 b, __m128 f) { return _mm_add_ps(a, _mm_mul_ps(_mm_sub_ps(b, a), f)); }

// Source rows as registers of four columns, from the last two transposed
// 4 x 4 blocks of one column group (consecutive lanes mostly share them).
class RowVectors {
 public:
  RowVectors(const CSSEMatrix& s, int group) : m_lines(s.GetMatrixDataDirectly()), m_sizeX(s.GetSizeX()) {
    for (int c = 0; c < 4; ++c) m_cols[c] = std::min(4 * group + c, m_sizeX - 1);
  }
  __m128 Row(int y) {
    const int q = y >> 2;
    int slot = q == m_q[0] ? 0 : q == m_q[1] ? 1 : -1;
    if (slot < 0) {
      slot = m_next;
      m_next ^= 1;
      m_q[slot] = q;
      const __m128* line = m_lines[q];
      __m128* b = m_block[slot];
      b[0] = line[m_cols[0]];
      b[1] = line[m_cols[1]];
      b[2] = line[m_cols[2]];
      b[3] = line[m_cols[3]];
      _MM_TRANSPOSE4_PS(b[0], b[1], b[2], b[3]);
    }
    return m_block[slot][y & 3];
  }

 private:
  const __m128* const* m_lines;
  int m_sizeX;
  int m_cols[4];
  int m_q[2] = {-1, -1};
  int m_next = 0;
  __m128 m_block[2][4];
};

// Both resamplers write the target whole and never read it, so their stores
// stream past the cache. Calls fill(k, out) for every SSE row k of the target
// that holds pixels and zeroes the rest (the spare SSE row), then fences the
// streamed stores.
template <class Fill>
void WriteTargetRows(CSSEMatrix& target, Fill fill) {
  const int w = target.GetSizeX(), h = target.GetSizeY();
  __m128* const* dst = target.GetMatrixDataDirectly();
  for (int k = 0; k < target.GetSSESizeY(); ++k) {
    __m128* out = dst[k];
    if (4 * k >= h) {
      std::fill(out, out + w, _mm_setzero_ps());
      continue;
    }
    fill(k, out);
  }
  _mm_sfence();
}

void ResampleBilinear(const CSSEMatrix& source, CSSEMatrix& target, const Taps& tx, const Taps& ty) {
  const int W = source.GetSizeX(), w = target.GetSizeX(), h = target.GetSizeY();
  const int groups = (W + 3) >> 2;
  AlignedBuffer row(4 * static_cast<std::size_t>(groups));
  WriteTargetRows(target, [&](int k, __m128* out) {
    int y0[4], y1[4];
    __m128 fy[4];
    for (int j = 0; j < 4; ++j) {
      const int y = std::min(4 * k + j, h - 1);  // padding lanes: any row, masked below
      y0[j] = ty.i0[y];
      y1[j] = ty.i1[y];
      fy[j] = _mm_set1_ps(ty.f[y]);
    }
    for (int g = 0; g < groups; ++g) {
      RowVectors rows(source, g);
      __m128 r[4];
      for (int j = 0; j < 4; ++j) r[j] = Lerp(rows.Row(y0[j]), rows.Row(y1[j]), fy[j]);
      _MM_TRANSPOSE4_PS(r[0], r[1], r[2], r[3]);
      __m128* v = row.data() + 4 * g;
      v[0] = r[0];
      v[1] = r[1];
      v[2] = r[2];
      v[3] = r[3];
    }
    const __m128 lanes = PixelLaneMask(k, h);
    const __m128* v = row.data();
    for (int x = 0; x < w; ++x) {
      const __m128 a = v[tx.i0[x]];
      _mm_stream_ps(reinterpret_cast<float*>(out + x), _mm_and_ps(lanes, Lerp(a, v[tx.i1[x]], _mm_set1_ps(tx.f[x]))));
    }
  });
}

// Nearest needs one source pixel per target pixel: the four lanes of a target
// register are gathered straight from their four source rows.
void ResampleNearest(const CSSEMatrix& source, CSSEMatrix& target, const Taps& tx, const Taps& ty) {
  const int w = target.GetSizeX(), h = target.GetSizeY();
  const __m128* const* src = source.GetMatrixDataDirectly();
  WriteTargetRows(target, [&](int k, __m128* out) {
    const float* lane[4];
    for (int j = 0; j < 4; ++j) lane[j] = ImageRow(src, ty.i0[std::min(4 * k + j, h - 1)]);
    const __m128 pixels = PixelLaneMask(k, h);
    for (int x = 0; x < w; ++x) {
      const int i = 4 * tx.i0[x];
      const __m128 v01 = _mm_unpacklo_ps(_mm_load_ss(lane[0] + i), _mm_load_ss(lane[1] + i));
      const __m128 v23 = _mm_unpacklo_ps(_mm_load_ss(lane[2] + i), _mm_load_ss(lane[3] + i));
      _mm_stream_ps(reinterpret_cast<float*>(out + x), _mm_and_ps(pixels, _mm_movelh_ps(v01, v23)));
    }
  });
}

template <bool Linear>
void Scale(CSSEMatrix& target, CSSEMatrix& source, int sizeX, int sizeY) {
  if (!source.GetMatrixDataDirectly() || source.GetSizeX() < 1 || source.GetSizeY() < 1 || sizeX < 1 || sizeY < 1)
    return;
  if (&source == &target) {
    const CSSEMatrix copy(source);
    Scale<Linear>(target, const_cast<CSSEMatrix&>(copy), sizeX, sizeY);
    return;
  }
  const int W = source.GetSizeX(), H = source.GetSizeY();
  const Taps tx = Linear ? BilinearTaps(W, sizeX) : NearestTaps(W, sizeX);
  const Taps ty = Linear ? BilinearTaps(H, sizeY) : NearestTaps(H, sizeY);
  if (!target.GetMatrixDataDirectly() || target.GetSizeX() != sizeX || target.GetSizeY() != sizeY)
    target.CreateNoClear(sizeX, sizeY);
  if (Linear)
    ResampleBilinear(source, target, tx, ty);
  else
    ResampleNearest(source, target, tx, ty);
}

// int(size * factor + 0.5), or 0 when the factor is not positive.
int ScaledSize(int size, float factor) {
  if (!(factor > 0.0f)) return 0;
  const double s = size * static_cast<double>(factor) + 0.5;
  if (s > INT_MAX) AfxThrowMemoryException();
  return static_cast<int>(s);
}

}  // namespace

void CSSEMatrix::ScaleNearest(CSSEMatrix& source, int sizeX, int sizeY) { Scale<false>(*this, source, sizeX, sizeY); }

void CSSEMatrix::ScaleBilinear(CSSEMatrix& source, int sizeX, int sizeY) { Scale<true>(*this, source, sizeX, sizeY); }

void CSSEMatrix::ScaleNearestByFactors(CSSEMatrix& source, float factorX, float factorY) {
  if (!(factorX > 0.0f) || !(factorY > 0.0f)) return;
  ScaleNearest(source, ScaledSize(source.GetSizeX(), factorX), ScaledSize(source.GetSizeY(), factorY));
}

void CSSEMatrix::ScaleBilinearByFactors(CSSEMatrix& source, float factorX, float factorY) {
  if (!(factorX > 0.0f) || !(factorY > 0.0f)) return;
  ScaleBilinear(source, ScaledSize(source.GetSizeX(), factorX), ScaledSize(source.GetSizeY(), factorY));
}
