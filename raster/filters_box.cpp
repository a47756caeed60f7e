// CFilters::BoxMean: window sums by the separable driver, divided by the
// number of window pixels inside the raster (plain) or holding data (aware).

#include <algorithm>
#include <vector>

#include "raster/no_data.h"
#include "raster/register_walk.h"
#include "raster/separable_filter.h"
#include "relief/CFilters.h"
#include "relief/CSSEMatrix.h"

using namespace relief::detail;

namespace {

// 1 / (number of positions of [i - r, i + r] inside [0, n)).
std::vector<float> ClippedReciprocals(int n, int r) {
  std::vector<float> inv(static_cast<std::size_t>(std::max(n, 1)) + 4, 1.0f);
  for (int i = 0; i < n; ++i) inv[i] = 1.0f / static_cast<float>(std::min(i + r, n - 1) - std::max(i - r, 0) + 1);
  return inv;
}

// Every pixel counts; NaN counts as 0. The two clipped counts are applied
// one after the other (the window is a rectangle, its count a product).
struct PlainMean {
  static constexpr int kChannels = 1;
  static constexpr bool kKeepsNoData = false;
  using Op = AddOp;
  std::vector<float> invX, invY;
  void Prepare(__m128 v, __m128* ch) const { ch[0] = _mm_and_ps(_mm_cmpord_ps(v, v), v); }
  __m128 Finish(const __m128* ch, int x, int k) const {
    return _mm_mul_ps(_mm_mul_ps(ch[0], _mm_set1_ps(invX[x])), _mm_loadu_ps(&invY[4 * k]));
  }
};

// Sum and count of the pixels holding data; pixels without data keep theirs.
struct NoDataMean {
  static constexpr int kChannels = 2;
  static constexpr bool kKeepsNoData = true;
  using Op = AddOp;
  void Prepare(__m128 v, __m128* ch) const {
    const __m128 valid = HoldsData(v);
    ch[0] = _mm_and_ps(valid, v);
    ch[1] = _mm_and_ps(valid, _mm_set1_ps(1.0f));
  }
  __m128 Finish(const __m128* ch, int, int) const { return _mm_div_ps(ch[0], ch[1]); }
};

}  // namespace

void CFilters::BoxMean(const CSSEMatrix& source, CSSEMatrix& target, int radius, bool zeroIsNoData) {
  if (!source.GetMatrixDataDirectly()) return;
  if (radius < 1) {
    if (&source != &target) target.CopyFromSSEMatrix(const_cast<CSSEMatrix&>(source));
    return;
  }
  if (zeroIsNoData) {
    RunSeparableFilter(source, target, radius, NoDataMean{});
  } else {
    // invY has room for the spare lanes of the last SSE row (masked later).
    const PlainMean mean{ClippedReciprocals(source.GetSizeX(), radius), ClippedReciprocals(source.GetSizeY(), radius)};
    RunSeparableFilter(source, target, radius, mean);
  }
}

void CFilters::BoxMean(CSSEMatrix& matrix, int radius, bool zeroIsNoData) {
  BoxMean(matrix, matrix, radius, zeroIsNoData);
}
