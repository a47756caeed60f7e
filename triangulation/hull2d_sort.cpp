// The 2D hull's angular sort without a branch per comparison. QuickSort's
// partition (pivot swapped to the front, one scan up while points come
// before the pivot, one down while they come after, the stopped pair
// swapped) is decided by each point's class against the pivot alone: the
// k-th point the upward scan stops at is swapped with the k-th the downward
// scan stops at, for as long as the first lies below the second. So a
// partition classifies its points in one pass, lists both scans' stops in
// two more and swaps the pairs, with the same comparisons, the same swaps
// and the same pivot place as QuickSort.

#include <emmintrin.h>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "relief/CHConvexHull2D.h"
#include "relief/CHSimpleBasisFcns.h"
#include "triangulation/hull2d_area.h"

namespace {

constexpr float kTolerance = CHSimpleBasisFcns::kTolerance;
// Shorter ranges go to QuickSort itself: there its branches are cheaper
// than three passes.
constexpr int kShortRange = 8;
// Below this many points the scratch lists cost more than the branches.
constexpr int kFewPoints = 256;

// For a mask of four lanes, its set lanes' numbers in order (then zeros),
// and how many there are.
struct LaneTable {
  __m128i lanes[16];
  int count[16];
  LaneTable() {
    for (int m = 0; m < 16; ++m) {
      alignas(16) int32_t at[4] = {0, 0, 0, 0};
      count[m] = 0;
      for (int lane = 0; lane < 4; ++lane)
        if (m >> lane & 1) at[count[m]++] = lane;
      lanes[m] = _mm_load_si128(reinterpret_cast<const __m128i*>(at));
    }
  }
};
const LaneTable kLaneTable;
const __m128i* const kLanesOf = kLaneTable.lanes;
const int* const kLaneCount = kLaneTable.count;

}  // namespace

void CHConvexHull2D::SortAboutPointZero() {
  const int n = m_nNumPoints;
  if (n < kFewPoints) {
    QuickSort(1, n - 1);
    return;
  }
  std::vector<int> leftStops(static_cast<std::size_t>(n)), rightStops(static_cast<std::size_t>(n));
  // Ranges are independent: the order they are sorted in changes nothing
  // (Compare's flags are set once however often, its count only adds).
  std::vector<std::pair<int, int>> ranges{{1, n - 1}};
  while (!ranges.empty()) {
    const auto [first, last] = ranges.back();
    ranges.pop_back();
    if (last - first < kShortRange) {
      QuickSort(first, last);
      continue;
    }
    const int split = PartitionByClasses(first, last, leftStops.data(), rightStops.data());
    if (first < split - 1) ranges.emplace_back(first, split - 1);
    if (split + 1 < last) ranges.emplace_back(split + 1, last);
  }
}

int CHConvexHull2D::PartitionByClasses(int first, int last, int* leftStops, int* rightStops) {
  std::swap(m_pPoints[first], m_pPoints[first + (last - first) / 2]);
  tPointStruc* const pivot = &m_pPoints[first];
  const tPointStruc& p0 = m_pPoints[0];
  const int lo = first + 1, hi = last;

  // Each point's Compare result against the pivot (-1 before, 1 after) and,
  // in position order, the points the upward scan stops at (not before the
  // pivot) and those the downward one stops at (not after it). Written with
  // flag arithmetic, not branches: neighbouring points' classes are as
  // unpredictable as the comparisons they replace. A pair within the
  // tolerance goes through Compare itself, which counts it and flags the
  // nearer point; such pairs are rare, so they are settled afterwards and
  // the stops listed again.
  int ups = 0, downs = 0, collinear = 0;
  const auto file = [&](int k, int before, int after) {
    collinear |= 1 - before - after;
    leftStops[ups] = k;
    ups += 1 - before;
    rightStops[downs] = k;
    downs += 1 - after;
  };
  // Four areas at a time: the same double products and float rounding as
  // HullArea (x - x0 and y - y0 of a point in one register, times the
  // pivot's dy and dx).
  const __m128d origin = _mm_cvtps_pd(_mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(&p0.x)));
  const __m128d toPivot =
      _mm_sub_pd(_mm_cvtps_pd(_mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(&pivot->x))), origin);
  const __m128d swapped = _mm_shuffle_pd(toPivot, toPivot, 1);  // (pivot dy, pivot dx)
  const auto products = [&](int k) {
    const __m128 xy = _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(&m_pPoints[k].x));
    return _mm_mul_pd(_mm_sub_pd(_mm_cvtps_pd(xy), origin), swapped);  // (dx * pivot dy, dy * pivot dx)
  };
  const __m128 above = _mm_set1_ps(kTolerance), below = _mm_set1_ps(-kTolerance);
  int k = lo;
  for (; k + 3 <= hi; k += 4) {
    const __m128d a = products(k), b = products(k + 1), c = products(k + 2), d = products(k + 3);
    const __m128d ab = _mm_sub_pd(_mm_unpacklo_pd(a, b), _mm_unpackhi_pd(a, b));
    const __m128d cd = _mm_sub_pd(_mm_unpacklo_pd(c, d), _mm_unpackhi_pd(c, d));
    const __m128 areas = _mm_movelh_ps(_mm_cvtpd_ps(ab), _mm_cvtpd_ps(cd));
    const int before = _mm_movemask_ps(_mm_cmpgt_ps(areas, above));
    const int after = _mm_movemask_ps(_mm_cmplt_ps(areas, below));
    collinear |= (before | after) ^ 15;
    // The stops among the four, in lane order, in one store each.
    const __m128i at = _mm_set1_epi32(k);
    const int ups4 = 15 ^ before, downs4 = 15 ^ after;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(leftStops + ups), _mm_add_epi32(at, kLanesOf[ups4]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(rightStops + downs), _mm_add_epi32(at, kLanesOf[downs4]));
    ups += kLaneCount[ups4];
    downs += kLaneCount[downs4];
  }
  for (; k <= hi; ++k) {
    const float area = relief::detail::HullArea(p0, m_pPoints[k], *pivot);
    file(k, area > kTolerance, area < -kTolerance);
  }
  if (collinear) {
    ups = downs = 0;
    for (int k = lo; k <= hi; ++k) {
      const float area = relief::detail::HullArea(p0, m_pPoints[k], *pivot);
      const int c = area > kTolerance ? -1 : area < -kTolerance ? 1 : Compare(&m_pPoints[k], pivot);
      leftStops[ups] = k;
      ups += c != -1;
      rightStops[downs] = k;
      downs += c != 1;
    }
  }
  // The k-th downward stop is the k-th from the end of rightStops.
  const auto down = [&](int k) { return rightStops[downs - 1 - k]; };
  int pairs = 0;
  const int most = std::min(ups, downs);
  while (pairs < most && leftStops[pairs] < down(pairs)) {
    std::swap(m_pPoints[leftStops[pairs]], m_pPoints[down(pairs)]);
    ++pairs;
  }

  // The last round: the scans start next to the last pair and meet. If the
  // upward scan stops at s before passing the downward one's start, the
  // downward scan compares the point at s as well, and ends on s only when
  // that point is equal to the pivot.
  const int downFrom = pairs > 0 ? down(pairs - 1) - 1 : hi;
  int j = downFrom;
  if (pairs < ups && leftStops[pairs] <= downFrom) {
    const int s = leftStops[pairs];
    const float area = relief::detail::HullArea(p0, m_pPoints[s], *pivot);
    if (!(area > kTolerance) && !(area < -kTolerance)) Compare(&m_pPoints[s], pivot);
    j = pairs < downs && down(pairs) == s ? s : s - 1;
  }
  std::swap(m_pPoints[first], m_pPoints[j]);
  return j;
}
