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

// The sum of the pixels holding data over their count; pixels without data
// keep theirs. The sum is the plain one (0 adds nothing, NaN enters as 0);
// the driver counts the pixels whose prepared value is not 0, P to a lane,
// and divides (sum / count in float, as the naive mean does).
template <int P>
struct NoDataMean {
  static constexpr int kChannels = 1;
  static constexpr bool kKeepsNoData = true;
  static constexpr int kCountDigits = P;
  using Op = AddOp;
  void Prepare(__m128 v, __m128* ch) const { ch[0] = _mm_and_ps(_mm_cmpord_ps(v, v), v); }
  __m128 Finish(const __m128* ch, int, int) const { return ch[0]; }
};

}  // namespace

void CFilters::BoxMean(const CSSEMatrix& source, CSSEMatrix& target, int radius, bool zeroIsNoData) {
  if (!source.GetMatrixDataDirectly()) return;
  if (radius < 1) {
    if (&source != &target) target.CopyFromSSEMatrix(const_cast<CSSEMatrix&>(source));
    return;
  }
  if (zeroIsNoData) {
    switch (DigitsForWindow(source.GetSizeX(), source.GetSizeY(), radius)) {
      case 4: return RunSeparableFilter(source, target, radius, NoDataMean<4>{});
      case 2: return RunSeparableFilter(source, target, radius, NoDataMean<2>{});
      default: return RunSeparableFilter(source, target, radius, NoDataMean<1>{});
    }
  } else {
    // invY has room for the spare lanes of the last SSE row (masked later).
    const PlainMean mean{ClippedReciprocals(source.GetSizeX(), radius), ClippedReciprocals(source.GetSizeY(), radius)};
    RunSeparableFilter(source, target, radius, mean);
  }
}

void CFilters::BoxMean(CSSEMatrix& matrix, int radius, bool zeroIsNoData) {
  BoxMean(matrix, matrix, radius, zeroIsNoData);
}
