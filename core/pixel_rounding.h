#pragma once

// Float coordinates to raster pixels, one rule for every subsystem: add 0.5
// in double, truncate toward zero as the processor's conversion does, and
// clamp into the raster where the operation clamps.

namespace relief::detail {

// Truncation toward zero by the processor's conversion itself (cvttsd2si):
// values outside the int range (and NaN) give INT_MIN, never undefined
// behaviour, and the hot loops pay one instruction, no range test. Written as
// the instruction so that it always runs: a compiler folding the conversion
// of a constant may answer differently for NaN.
inline int TruncToInt(double v) {
  int r;
  asm("cvttsd2si %1, %0" : "=r"(r) : "x"(v));
  return r;
}

// A coordinate's pixel: add 0.5 in double, truncate toward zero. Floats
// widen to double exactly, so float and double callers round alike.
inline int PixelOf(double v) { return TruncToInt(v + 0.5); }

// v limited to 0 .. size - 1 (upper bound first, so size 0 gives 0).
inline int ClampIndex(int v, int size) {
  v = v > size - 1 ? size - 1 : v;
  return v < 0 ? 0 : v;
}

// A coordinate's pixel clamped into a raster side of the given size. NaN and
// coordinates beyond the int range give INT_MIN before the clamp, so pixel 0.
inline int ClampedPixelOf(double v, int size) { return ClampIndex(PixelOf(v), size); }

}  // namespace relief::detail
