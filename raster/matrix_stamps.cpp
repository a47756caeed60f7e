// CSSEMatrix point stamps: small footprints written by overwrite, minimum or maximum.

#include "relief/CSSEMatrix.h"

namespace {

// The combine rules, kept exactly for their NaN behaviour: a comparison with
// NaN is false, so the new value is stored.
struct Overwrite {
  float operator()(float, float value) const { return value; }
};
struct KeepMinimum {
  float operator()(float old, float value) const { return value > old ? old : value; }
};
struct KeepMaximum {
  float operator()(float old, float value) const { return old > value ? old : value; }
};

// Moves a stamp's centre inward so its footprint lies in the raster. The upper
// bound is tested first, so on a raster narrower than the footprint the centre
// lands on the (too small) upper bound.
int ClampCentre(int c, int lower, int upper) {
  if ((c > lower ? c : lower) >= upper) return upper;
  return c < lower ? lower : c;
}

// A rectangular footprint: `left` columns left of the centre, `right` right of
// it, `up` rows above, `down` below; written row by row, left to right.
// Every pixel goes through the clamped address, so a raster smaller than the
// footprint is written on its border instead of outside its storage.
template <class Combine>
void StampBox(CSSEMatrix& m, int x, int y, float value, int left, int right, int up, int down, Combine combine) {
  if (!m.GetMatrixDataDirectly()) return;
  x = ClampCentre(x, left, m.GetSizeX() - 1 - right);
  y = ClampCentre(y, up, m.GetSizeY() - 1 - down);
  for (int py = y - up; py <= y + down; ++py)
    for (int px = x - left; px <= x + right; ++px) {
      float* p = m.GetPointAddress(px, py);
      *p = combine(*p, value);
    }
}

// The plus-shaped cross: the row x-1 .. x+1, then (x, y-1) and (x, y+1).
template <class Combine>
void StampCross(CSSEMatrix& m, int x, int y, float value, Combine combine) {
  if (!m.GetMatrixDataDirectly()) return;
  x = ClampCentre(x, 1, m.GetSizeX() - 2);
  y = ClampCentre(y, 1, m.GetSizeY() - 2);
  const int pixels[5][2] = {{x - 1, y}, {x, y}, {x + 1, y}, {x, y - 1}, {x, y + 1}};
  for (const auto& p : pixels) {
    float* a = m.GetPointAddress(p[0], p[1]);
    *a = combine(*a, value);
  }
}

}  // namespace

void CSSEMatrix::SetPointMin(int x, int y, float v) { StampBox(*this, x, y, v, 0, 0, 0, 0, KeepMinimum()); }
void CSSEMatrix::SetPointMax(int x, int y, float v) { StampBox(*this, x, y, v, 0, 0, 0, 0, KeepMaximum()); }
void CSSEMatrix::SetPointAndRightOfPoint(int x, int y, float v) { StampBox(*this, x, y, v, 0, 1, 0, 0, Overwrite()); }
void CSSEMatrix::SetPointAndLeftOfPoint(int x, int y, float v) { StampBox(*this, x, y, v, 1, 0, 0, 0, Overwrite()); }
void CSSEMatrix::SetTriplePointMin(int x, int y, float v) { StampBox(*this, x, y, v, 1, 1, 0, 0, KeepMinimum()); }
void CSSEMatrix::SetTriplePointMax(int x, int y, float v) { StampBox(*this, x, y, v, 1, 1, 0, 0, KeepMaximum()); }
void CSSEMatrix::SetCross(int x, int y, float v) { StampCross(*this, x, y, v, Overwrite()); }
void CSSEMatrix::SetCrossMin(int x, int y, float v) { StampCross(*this, x, y, v, KeepMinimum()); }
void CSSEMatrix::SetCrossMax(int x, int y, float v) { StampCross(*this, x, y, v, KeepMaximum()); }
void CSSEMatrix::Set3x3BoxPoint(int x, int y, float v) { StampBox(*this, x, y, v, 1, 1, 1, 1, Overwrite()); }
void CSSEMatrix::Set3x3BoxPointMin(int x, int y, float v) { StampBox(*this, x, y, v, 1, 1, 1, 1, KeepMinimum()); }
void CSSEMatrix::Set3x3BoxPointMax(int x, int y, float v) { StampBox(*this, x, y, v, 1, 1, 1, 1, KeepMaximum()); }
void CSSEMatrix::Set5x5BoxPointMin(int x, int y, float v) { StampBox(*this, x, y, v, 2, 2, 2, 2, KeepMinimum()); }
void CSSEMatrix::Set5x5BoxPointMax(int x, int y, float v) { StampBox(*this, x, y, v, 2, 2, 2, 2, KeepMaximum()); }
