#pragma once

#include <emmintrin.h>

// One point or direction in one SIMD register. Lane 0 is x, 1 y, 2 z, 3 w.
// Geometric points keep w = 0 so that four-lane sums equal 3D ones; every
// lane-wise function of CSSEFns carries w along.
union SSEPoint {
  __m128 m;
  struct {
    float x, y, z, w;
  };
};
static_assert(sizeof(SSEPoint) == 16 && alignof(SSEPoint) == 16, "SSEPoint is one aligned register");

// A 3x4 matrix for CSSEFns::transform: row i gives output component i, and its
// fourth coefficient multiplies the input's w.
struct t_ssematrix3 {
  __m128 row[3];
};
