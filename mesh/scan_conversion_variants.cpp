// The further scan conversions of a CHTriangulation: into a raster that is
// not cleared first (whole or within a band of rows), through a polygon, and
// the refinement of an existing image. They share the sampler and the cross
// stamp of the plain conversion (mesh/scan_sampling.h) and differ in frame,
// combine rule and clean-up.

#include <algorithm>
#include <cmath>
#include <vector>

#include "contour/inside_spans.h"
#include "mesh/scan_sampling.h"
#include "relief/CSSE3dPolygon.h"

using namespace relief::detail;

namespace {

inline float* Cell(__m128** lines, int col, int row) {
  return reinterpret_cast<float*>(lines[row >> 2] + col) + (row & 3);
}

// The lane-wise extremes of triangle i's corners, taken from the corners
// themselves (the per-triangle arrays may be stale after a removal).
inline void CornerBox(const CHTriangulation& mesh, int i, SSEPoint& lo, SSEPoint& hi) {
  const SSEPoint* c = mesh.EdgeArray + 3 * i;
  lo.m = _mm_min_ps(_mm_min_ps(c[0].m, c[1].m), c[2].m);
  hi.m = _mm_max_ps(_mm_max_ps(c[0].m, c[1].m), c[2].m);
}

// The frame of the no-delete conversions: origin at the box minimum
// (boxFrame) or at (0, 0), over out's own size. A raster without storage
// is first created over the box and cleared to 0. False when there is
// nothing to do.
bool NoDeleteFrame(const CHTriangulation& mesh, CSSEMatrix* out, bool boxFrame, ScanFrame& frame) {
  if (!out || mesh.NumTriangles < 1 || !mesh.PointArray) return false;
  SSEPoint origin = mesh.PointArray[0];
  if (!boxFrame) origin.x = origin.y = 0.0f;
  if (!out->GetMatrixDataDirectly()) {
    if (!FrameOfBox(origin, mesh.PointArray[1], mesh.ScanConvResX, mesh.ScanConvResY, frame)) return false;
    out->Create(frame.width, frame.height);
  }
  frame = {origin.x, origin.y, mesh.ScanConvResX, mesh.ScanConvResY, out->GetSizeX(), out->GetSizeY()};
  return true;
}

template <class Rule>
void NoDelete(const CHTriangulation& mesh, CSSEMatrix* out, bool boxFrame, bool zeroIsNoData, float fill, Rule rule) {
  ScanFrame frame;
  if (!NoDeleteFrame(mesh, out, boxFrame, frame)) return;
  auto sample = [&](auto stamp) {
    SampleTriangles(mesh, frame, mesh.ScanConvDiagonal, 0.0f, EveryTriangle(), stamp);
  };
  if (zeroIsNoData)
    StampOverNoData(*out, fill, rule, sample);
  else
    sample(CrossStamp<Rule>{out->GetMatrixDataDirectly(), rule});
}

// Rows r of the band yFrom <= r resY <= yTo (products in double), clipped
// to the raster's rows. False when the band holds no row.
bool BandRows(float yFrom, float yTo, float resY, int height, int& first, int& last) {
  if (!(resY > 0.0f) || !(yFrom <= yTo) || height < 1) return false;
  const double lo = std::ceil(double(yFrom) / resY), hi = std::floor(double(yTo) / resY);
  if (!(lo <= hi) || hi < 0.0 || lo > double(height - 1)) return false;
  first = lo < 0.0 ? 0 : int(lo);
  last = hi > double(height - 1) ? height - 1 : int(hi);
  // The quotient's rounding may put the bound one row off; settle it on the
  // products themselves.
  while (first > 0 && double(first - 1) * resY >= yFrom) --first;
  while (first <= last && double(first) * resY < yFrom) ++first;
  while (last < height - 1 && double(last + 1) * resY <= yTo) ++last;
  while (last >= first && double(last) * resY > yTo) --last;
  return first <= last;
}

// The cross, with the cells of rows outside [first, last] left alone.
template <class Combine>
struct BandCrossStamp {
  CrossStamp<Combine> cross;
  int first, last;
  void operator()(int col, int row, float value) const {
    if (row > first && row < last) return cross(col, row, value);
    if (row < first - 1 || row > last + 1) return;
    auto put = [&](int c, int r) {
      if (r < first || r > last) return;
      float* p = Cell(cross.lines, c, r);
      *p = cross.combine(*p, value);
    };
    put(col - 1, row), put(col, row), put(col + 1, row), put(col, row - 1), put(col, row + 1);
  }
};

template <class Rule>
void NoDeleteInBand(const CHTriangulation& mesh, CSSEMatrix* out, float yFrom, float yTo, float fill, Rule rule) {
  ScanFrame frame;
  if (!NoDeleteFrame(mesh, out, false, frame)) return;
  int first, last;
  if (!BandRows(yFrom, yTo, frame.resY, frame.height, first, last)) return;
  // Triangles whose rows stay well clear of the band cannot reach it.
  const double margin = 3.0 * frame.resY;
  auto nearBand = [&](int i) {
    SSEPoint a, b;
    CornerBox(mesh, i, a, b);
    return !(double(b.y) < double(yFrom) - margin || double(a.y) > double(yTo) + margin);
  };
  StampOverNoData(*out, fill, rule, [&](CrossStamp<Rule> cross) {
    SampleTriangles(mesh, frame, mesh.ScanConvDiagonal, 0.0f, nearBand, BandCrossStamp<Rule>{cross, first, last});
  });
}

// Every cell (c, r) of out for which polygon.PointInLineInnerArea(c, r, 1)
// is false becomes 0.
void ClearOutside(CSSEMatrix& out, CSSE3dPolygon& polygon) {
  const int w = out.GetSizeX(), h = out.GetSizeY();
  std::vector<unsigned char> inside(static_cast<std::size_t>(w) * h, 0);
  std::vector<ColumnSpan> spans;
  if (!polygon.IsBoundingBoxCalculated()) polygon.CalcBoundingBox();
  const SSEPoint lo = polygon.GetBottomLeft(), hi = polygon.GetTopRight();
  if (polygon.GetNumPoints() >= 3 &&
      InsideColumnSpans(polygon.GetXArray(), polygon.GetYArray(), polygon.GetNumPoints(), lo.x, lo.y, hi.x, hi.y,
                        FillWindow{0, w, 0, h, 1}, spans)) {
    for (const ColumnSpan& s : spans)
      for (int y = s.ya; y <= s.yb; ++y) inside[std::size_t(y) * w + s.x] = 1;
  } else {
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) inside[std::size_t(y) * w + x] = polygon.PointInLineInnerArea(float(x), float(y), 1);
  }
  __m128** lines = out.GetMatrixDataDirectly();
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      if (!inside[std::size_t(y) * w + x]) *Cell(lines, x, y) = 0.0f;
}

template <class Combine>
void ThroughLine(const CHTriangulation& mesh, CSSEMatrix* out, CSSE3dPolygon* polygon, float zOffset, float fill,
                 Combine combine) {
  if (!out || !polygon || mesh.NumTriangles < 1 || !mesh.PointArray) return;
  ScanFrame frame;
  if (!FrameOfBox(mesh.PointArray[0], mesh.PointArray[1], mesh.ScanConvResX, mesh.ScanConvResY, frame)) return;
  // A triangle whose cells stay three cells clear of the polygon's box
  // stamps nothing that survives the clean-up.
  polygon->CalcBoundingBox();
  const SSEPoint lo = polygon->GetBottomLeft(), hi = polygon->GetTopRight();
  auto cellX = [&](float x) { return (double(x) - frame.originX) / frame.resX; };
  auto cellY = [&](float y) { return (double(y) - frame.originY) / frame.resY; };
  const bool boxUsable = polygon->GetNumPoints() >= 3 && std::isfinite(lo.x) && std::isfinite(lo.y) &&
                         std::isfinite(hi.x) && std::isfinite(hi.y);
  auto nearPolygon = [&](int i) {
    if (!boxUsable) return polygon->GetNumPoints() >= 3;
    SSEPoint a, b;
    CornerBox(mesh, i, a, b);
    return !(cellX(b.x) < lo.x - 3.0 || cellX(a.x) > hi.x + 3.0 || cellY(b.y) < lo.y - 3.0 || cellY(a.y) > hi.y + 3.0);
  };
  ScanConvertFrame(mesh, *out, frame, zOffset, fill, combine, nearPolygon);
  ClearOutside(*out, *polygon);
}

template <class Rule>
void Refine(const CHTriangulation& mesh, CSSEMatrix* out, float zOffset, float fill, Rule rule) {
  if (!out || !out->GetMatrixDataDirectly() || mesh.NumTriangles < 1 || !mesh.PointArray) return;
  ScanFrame frame;
  if (!FrameOfBox(mesh.PointArray[0], mesh.PointArray[1], mesh.ScanConvResX, mesh.ScanConvResY, frame)) return;
  if (out->GetSizeX() != frame.width || out->GetSizeY() != frame.height) return;
  StampOverNoData(*out, fill, rule, [&](CrossStamp<Rule> cross) {
    SampleTriangles(mesh, frame, mesh.ScanConvDiagonal, zOffset, EveryTriangle(), cross, 0.5);
  });
}

}  // namespace

void CHTriangulation::ScanConvertTriangulationMaxNoDelete(CSSEMatrix* out, bool boxFrame, bool zeroIsNoData) {
  NoDelete(*this, out, boxFrame, zeroIsNoData, kScanMaxFill, KeepMaximum());
}

void CHTriangulation::ScanConvertTriangulationMinNoDelete(CSSEMatrix* out, bool boxFrame, bool zeroIsNoData) {
  NoDelete(*this, out, boxFrame, zeroIsNoData, kScanMinFill, KeepMinimum());
}

void CHTriangulation::ScanConvertTriangulationMaxNoDeleteInYArea(CSSEMatrix* out, float yFrom, float yTo) {
  NoDeleteInBand(*this, out, yFrom, yTo, kScanMaxFill, KeepMaximum());
}

void CHTriangulation::ScanConvertTriangulationMinNoDeleteInYArea(CSSEMatrix* out, float yFrom, float yTo) {
  NoDeleteInBand(*this, out, yFrom, yTo, kScanMinFill, KeepMinimum());
}

void CHTriangulation::ScanConvertThroughLineMax(CSSEMatrix* out, CSSE3dPolygon* polygon, float zOffset) {
  ThroughLine(*this, out, polygon, zOffset, kScanMaxFill, KeepMaximum());
}

void CHTriangulation::ScanConvertThroughLineMin(CSSEMatrix* out, CSSE3dPolygon* polygon, float zOffset) {
  ThroughLine(*this, out, polygon, zOffset, kScanMinFill, KeepMinimum());
}

void CHTriangulation::RefineScanConvImage(CSSEMatrix* out, float zOffset) {
  Refine(*this, out, zOffset, kScanMinFill, KeepMinimum());
}

void CHTriangulation::RefineScanConvImageTop(CSSEMatrix* out, float zOffset) {
  Refine(*this, out, zOffset, kScanMaxFill, KeepMaximum());
}
