#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <vector>

// The deliberately plain reference hull of the tests (and the timing
// reference of the hull benchmark): Andrew's monotone chain. P needs < and
// ==; cross(o, a, b) > 0 when o, a, b turn left. Returns the corners
// counter-clockwise from the lowest-leftmost point, without points on
// edges and without repeats; fewer than three distinct points come back
// sorted.
template <class P, class Cross>
std::vector<P> MonotoneChainHull(std::vector<P> p, Cross cross) {
  std::sort(p.begin(), p.end());
  p.erase(std::unique(p.begin(), p.end()), p.end());
  if (p.size() < 3) return p;
  std::vector<P> h(2 * p.size());
  std::size_t k = 0;
  for (std::size_t i = 0; i < p.size(); ++i) {
    while (k >= 2 && cross(h[k - 2], h[k - 1], p[i]) <= 0) --k;
    h[k++] = p[i];
  }
  for (std::size_t i = p.size() - 1, t = k + 1; i > 0; --i) {
    while (k >= t && cross(h[k - 2], h[k - 1], p[i - 1]) <= 0) --k;
    h[k++] = p[i - 1];
  }
  h.resize(k - 1);
  return h;
}

// Twice the signed area of o, a, b in double (> 0 when they turn left), for
// any point type with x and y.
template <class A, class B, class C>
double Cross(const A& o, const B& a, const C& b) {
  return (static_cast<double>(a.x) - o.x) * (static_cast<double>(b.y) - o.y) -
         (static_cast<double>(b.x) - o.x) * (static_cast<double>(a.y) - o.y);
}

// Seed of a property test: RELIEF_TEST_SEED when set (to replay a printed
// failure), otherwise a fresh one.
inline unsigned TestSeed() {
  if (const char* s = std::getenv("RELIEF_TEST_SEED")) return static_cast<unsigned>(std::strtoul(s, nullptr, 10));
  return std::random_device{}();
}

// Literal test points written compactly: "x y z, x y z, ..." (commas
// optional) as N-float tuples.
template <std::size_t N = 3>
std::vector<std::array<float, N>> Tuples(std::string text) {
  std::replace(text.begin(), text.end(), ',', ' ');
  std::istringstream in(text);
  std::vector<std::array<float, N>> out;
  for (std::array<float, N> p; in >> p[0];) {
    for (std::size_t k = 1; k < N; ++k) in >> p[k];
    out.push_back(p);
  }
  return out;
}
