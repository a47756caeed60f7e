#pragma once

// The demo's height field: a tooth-like crown on a 512 x 512 grid. A smooth
// dome inside a rounded, slightly irregular outline, four cusps, a fissure
// running between them, and a trace of measurement noise; 0 (no data)
// outside the outline. Everything follows from the seed, so every run and
// every machine gives the same field up to the last bits of the maths
// library's sin/cos/exp.

#include <cstdint>
#include <vector>

class CSSEMatrix;

namespace relief::tool {

struct DemoOutline {
  // Closed outline, one corner per degree, in pixel coordinates (x, y).
  std::vector<float> x, y;
};

constexpr int kDemoSize = 512;
constexpr std::uint32_t kDemoSeed = 20260521u;

// Creates field as kDemoSize x kDemoSize and fills it; returns the outline
// that bounds the non-zero pixels.
DemoOutline SynthesizeToothField(CSSEMatrix& field, std::uint32_t seed = kDemoSeed);

}  // namespace relief::tool
