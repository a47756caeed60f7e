// CHTriangulation to height field: every triangle is sampled in its own
// parameter space and each sample is stamped into the raster as a cross that
// keeps the maximum (upper surface) or the minimum (lower surface).

#include "mesh/scan_sampling.h"

using namespace relief::detail;

namespace {

template <class Combine>
void ScanConvert(const CHTriangulation& mesh, CSSEMatrix* out, float zOffset, const SSEPoint& min, const SSEPoint& max,
                 float fill, Combine combine) {
  if (!out || mesh.NumTriangles < 1) return;
  ScanFrame frame;
  if (!FrameOfBox(min, max, mesh.ScanConvResX, mesh.ScanConvResY, frame)) return;
  ScanConvertFrame(mesh, *out, frame, zOffset, fill, combine);
}

}  // namespace

void CHTriangulation::ScanConvertTriangulationMax(CSSEMatrix* out, float zOffset) {
  if (!PointArray) return;
  ScanConvert(*this, out, zOffset, PointArray[0], PointArray[1], kScanMaxFill, KeepMaximum());
}

void CHTriangulation::ScanConvertTriangulationMin(CSSEMatrix* out, float zOffset) {
  if (!PointArray) return;
  ScanConvert(*this, out, zOffset, PointArray[0], PointArray[1], kScanMinFill, KeepMinimum());
}

void CHTriangulation::ScanConvertTriangulationMax_MinMaxPoint(CSSEMatrix* out, float zOffset, SSEPoint& min,
                                                              SSEPoint& max) {
  ScanConvert(*this, out, zOffset, min, max, kScanMaxFill, KeepMaximum());
}

void CHTriangulation::ScanConvertTriangulationMin_MinMaxPoint(CSSEMatrix* out, float zOffset, SSEPoint& min,
                                                              SSEPoint& max) {
  ScanConvert(*this, out, zOffset, min, max, kScanMinFill, KeepMinimum());
}
