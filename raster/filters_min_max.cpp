// CFilters::Minimum and Maximum: van Herk / Gil-Werman window extremes by the
// separable driver. Pixels that take no part enter as the reduction's
// identity (+infinity for the minimum, -infinity for the maximum).

#include "raster/no_data.h"
#include "raster/register_walk.h"
#include "raster/separable_filter.h"
#include "relief/CFilters.h"
#include "relief/CSSEMatrix.h"

using namespace relief::detail;

namespace {

template <class ExtremeOp>
struct PlainExtreme {
  static constexpr int kChannels = 1;
  static constexpr bool kKeepsNoData = false;
  using Op = ExtremeOp;
  void Prepare(__m128 v, __m128* ch) const { ch[0] = Select(_mm_cmpord_ps(v, v), v, Op::Identity()); }
  __m128 Finish(const __m128* ch, int, int) const { return ch[0]; }
};

template <class ExtremeOp>
struct NoDataExtreme {
  static constexpr int kChannels = 1;
  static constexpr bool kKeepsNoData = true;
  using Op = ExtremeOp;
  void Prepare(__m128 v, __m128* ch) const { ch[0] = Select(HoldsData(v), v, Op::Identity()); }
  __m128 Finish(const __m128* ch, int, int) const { return ch[0]; }
};

template <class ExtremeOp>
void RunExtreme(const CSSEMatrix& source, CSSEMatrix& target, int radius, bool zeroIsNoData) {
  if (!source.GetMatrixDataDirectly()) return;
  if (radius < 1) {
    if (&source != &target) target.CopyFromSSEMatrix(const_cast<CSSEMatrix&>(source));
    return;
  }
  if (zeroIsNoData)
    RunSeparableFilter(source, target, radius, NoDataExtreme<ExtremeOp>{});
  else
    RunSeparableFilter(source, target, radius, PlainExtreme<ExtremeOp>{});
}

}  // namespace

void CFilters::Minimum(const CSSEMatrix& source, CSSEMatrix& target, int radius, bool zeroIsNoData) {
  RunExtreme<MinOp>(source, target, radius, zeroIsNoData);
}

void CFilters::Maximum(const CSSEMatrix& source, CSSEMatrix& target, int radius, bool zeroIsNoData) {
  RunExtreme<MaxOp>(source, target, radius, zeroIsNoData);
}

void CFilters::Minimum(CSSEMatrix& matrix, int radius, bool zeroIsNoData) { Minimum(matrix, matrix, radius, zeroIsNoData); }

void CFilters::Maximum(CSSEMatrix& matrix, int radius, bool zeroIsNoData) { Maximum(matrix, matrix, radius, zeroIsNoData); }
