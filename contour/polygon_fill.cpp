// CSSE3dPolygon: area fills (fine, coarse) decided by the containment test.
//
// Both fills examine a window of integer positions around the box and set
// the positions that PointInLineInnerArea(x, y, 1) accepts on a thinned
// private copy. The answers for the whole window come from
// InsideColumnSpans, which reproduces the per-point test exactly; the plain
// per-point loop remains as the fallback for input it cannot vouch for.

#include <algorithm>
#include <vector>

#include "contour/float_arrays.h"
#include "contour/inside_spans.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

using relief::detail::ClampIndex;
using relief::detail::ColumnSpan;
using relief::detail::FillWindow;
using relief::detail::InsideColumnSpans;
using relief::detail::TruncToInt;

namespace {

// The fills' windows stay where float positions are exact integers; a box
// beyond that cannot be filled pixel by pixel anyway.
constexpr int kWindowLimit = 1 << 24;

int LimitWindow(long long v) {
  return static_cast<int>(std::min<long long>(kWindowLimit, std::max<long long>(-kWindowLimit, v)));
}

// Box and row band of a fill: low = min(maxY, max(minY, trunc(yFrom))), high
// = max(low, min(maxY, trunc(yTo))), so a band outside the polygon collapses
// onto its nearest box row.
struct Band {
  int minX, maxX, low, high;
};

Band FillBand(CSSE3dPolygon& poly, float yFrom, float yTo) {
  poly.CalcBoundingBox();
  int minX, minY, maxX, maxY;
  poly.GetBoundingBox2D(minX, minY, maxX, maxY);
  const int low = std::min(maxY, std::max(minY, TruncToInt(yFrom)));
  const int high = std::max(low, std::min(maxY, TruncToInt(yTo)));
  return {minX, maxX, low, high};
}

// The private copy the containment test runs on.
void PrepareCopy(CSSE3dPolygon& copy, CSSE3dPolygon* source, bool subsample) {
  copy.CreateSimilar(source);
  if (subsample) copy.Subsample(5);
  copy.RemoveEqualPointsXY();
  copy.CalcBoundingBox();
}

// Calls visit(x, y) for every window position inside the copy, either from
// the column runs or, when those cannot be trusted, by testing each position.
template <class Visit>
void ForEachInsidePosition(CSSE3dPolygon& copy, const FillWindow& w, int rowStep, Visit visit) {
  std::vector<ColumnSpan> spans;
  const SSEPoint low = copy.GetBottomLeft(), high = copy.GetTopRight();
  if (InsideColumnSpans(copy.GetXArray(), copy.GetYArray(), copy.GetNumPoints(), low.x, low.y, high.x, high.y, w,
                        spans)) {
    for (const ColumnSpan& s : spans) {
      // First row of the span on the row grid y0, y0 + rowStep, ...
      int y = s.ya;
      if (rowStep > 1) y += ((w.y0 - s.ya) % rowStep + rowStep) % rowStep;
      for (; y <= s.yb; y += rowStep) visit(s.x, y);
    }
    return;
  }
  for (int y = w.y0; y < w.y1; y += rowStep)
    for (int x = w.x0; x < w.x1; x += w.columnStep)
      if (copy.PointInLineInnerArea(static_cast<float>(x), static_cast<float>(y), 1)) visit(x, y);
}

}  // namespace

template <class Raster, class Value>
void CSSE3dPolygon::FillFine(Value value, Raster* m, bool subsample, float yFrom, float yTo) {
  if (!m) return;
  Band b = FillBand(*this, yFrom, yTo);
  b.low = ClampIndex(b.low, m->GetSizeY());
  b.high = ClampIndex(b.high, m->GetSizeY());
  b.minX = ClampIndex(b.minX, m->GetSizeX());
  b.maxX = ClampIndex(b.maxX, m->GetSizeX());

  CSSE3dPolygon copy;
  PrepareCopy(copy, this, subsample);
  // A margin of 5 positions around box and band; positions outside the
  // raster land on its border pixel.
  const FillWindow w{b.minX - 5, b.maxX + 5, b.low - 5, b.high + 5, 1};
  const int sizeX = m->GetSizeX(), sizeY = m->GetSizeY();
  ForEachInsidePosition(copy, w, 1, [&](int x, int y) {
    m->SetPoint(ClampIndex(x, sizeX), ClampIndex(y, sizeY), value);
  });
}

void CSSE3dPolygon::DrawInMatrixAndFillFine(float value, CSSEMatrix* m, bool subsample, float yFrom, float yTo) {
  FillFine(value, m, subsample, yFrom, yTo);
}

void CSSE3dPolygon::DrawInCharMatrixAndFillFine(char value, CSSEcharMatrix* m, bool subsample, float yFrom,
                                                float yTo) {
  FillFine(value, m, subsample, yFrom, yTo);
}

void CSSE3dPolygon::DrawInMatrixAndFillCoarse(float value, CSSEMatrix* m, bool subsample, float yFrom, float yTo) {
  if (!m) return;
  const Band b = FillBand(*this, yFrom, yTo);
  CSSE3dPolygon copy;
  PrepareCopy(copy, this, subsample);
  // Every third position of every third row, margin 9, not clamped to the
  // raster: the 3x3 stamps shift themselves inward.
  const FillWindow w{LimitWindow(b.minX - 9LL), LimitWindow(b.maxX + 9LL), LimitWindow(b.low - 9LL),
                     LimitWindow(b.high + 9LL), 3};
  ForEachInsidePosition(copy, w, 3, [&](int x, int y) { m->Set3x3BoxPoint(x, y, value); });
}
