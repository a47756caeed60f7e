#include "demo_field.h"

#include <cmath>

#include "relief/CSSEMatrix.h"

namespace relief::tool {

namespace {

// A small generator whose output is the same on every platform: the standard
// distributions are not, so random numbers are made from the raw 32 bits.
class SeededRandom {
 public:
  explicit SeededRandom(std::uint32_t seed) : m_state(seed * 2654435761u + 1u) {}
  // Uniform in [0, 1).
  double Next() {
    // xorshift32: period 2^32 - 1, plenty for a few thousand draws.
    m_state ^= m_state << 13;
    m_state ^= m_state >> 17;
    m_state ^= m_state << 5;
    return (m_state >> 8) * (1.0 / 16777216.0);
  }
  double Between(double lo, double hi) { return lo + (hi - lo) * Next(); }

 private:
  std::uint32_t m_state;
};

constexpr double kPi = 3.14159265358979323846;

struct Cusp {
  double x, y, height, sigma;
};

}  // namespace

DemoOutline SynthesizeToothField(CSSEMatrix& field, std::uint32_t seed) {
  SeededRandom random(seed);
  const double cx = kDemoSize / 2.0, cy = kDemoSize / 2.0;
  const double baseRadius = 0.37 * kDemoSize;
  // Outline: a rounded square-ish crown (the 4th harmonic) stretched a little
  // (2nd) and made irregular (3rd).
  const double a2 = random.Between(0.04, 0.08), p2 = random.Between(0.0, 2 * kPi);
  const double a3 = random.Between(0.01, 0.03), p3 = random.Between(0.0, 2 * kPi);
  const double a4 = random.Between(0.03, 0.05), p4 = random.Between(-0.2, 0.2);
  auto radius = [&](double angle) {
    return baseRadius * (1.0 + a2 * std::cos(2 * angle + p2) + a3 * std::cos(3 * angle + p3) +
                         a4 * std::cos(4 * angle + p4));
  };
  Cusp cusps[4];
  for (int k = 0; k < 4; ++k) {
    const double angle = kPi / 4 + k * kPi / 2 + random.Between(-0.15, 0.15);
    const double at = random.Between(0.42, 0.55) * radius(angle);
    cusps[k] = {cx + at * std::cos(angle), cy + at * std::sin(angle), random.Between(38.0, 55.0),
                random.Between(0.16, 0.21) * baseRadius};
  }
  const double fissureDepth = random.Between(22.0, 30.0), fissureWidth = random.Between(5.0, 7.0);
  const double fissureAngle = random.Between(-0.1, 0.1);
  const double fc = std::cos(fissureAngle), fs = std::sin(fissureAngle);

  field.Create(kDemoSize, kDemoSize);
  for (int y = 0; y < kDemoSize; ++y)
    for (int x = 0; x < kDemoSize; ++x) {
      const double dx = x - cx, dy = y - cy;
      const double rho = std::sqrt(dx * dx + dy * dy) / radius(std::atan2(dy, dx));
      if (rho >= 1.0) continue;
      // Crown: a dome whose rim stays at a margin height.
      double h = 110.0 + 70.0 * std::sqrt(1.0 - rho * rho);
      for (const Cusp& c : cusps) {
        const double ex = x - c.x, ey = y - c.y;
        h += c.height * std::exp(-(ex * ex + ey * ey) / (2 * c.sigma * c.sigma));
      }
      // Fissure: a groove along the long axis and a shorter one across it,
      // both fading towards the rim.
      const double along = dx * fc + dy * fs, across = -dx * fs + dy * fc;
      const double fade = 1.0 - rho * rho;
      h -= fissureDepth * fade * std::exp(-(across * across) / (2 * fissureWidth * fissureWidth));
      h -= 0.6 * fissureDepth * fade * std::exp(-(along * along) / (2 * fissureWidth * fissureWidth)) *
           std::exp(-(across * across) / (2 * (0.35 * baseRadius) * (0.35 * baseRadius)));
      h += random.Between(-0.05, 0.05);  // measurement noise
      field.SetPoint(x, y, static_cast<float>(h));
    }

  DemoOutline outline;
  for (int degree = 0; degree < 360; ++degree) {
    const double angle = degree * kPi / 180.0;
    const double r = radius(angle);
    outline.x.push_back(static_cast<float>(cx + r * std::cos(angle)));
    outline.y.push_back(static_cast<float>(cy + r * std::sin(angle)));
  }
  return outline;
}

}  // namespace relief::tool
