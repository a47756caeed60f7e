#pragma once

#include <cstdlib>
#include <random>

// Seed of a property test: RELIEF_TEST_SEED when set (to replay a printed
// failure), otherwise a fresh one.
inline unsigned TestSeed() {
  if (const char* s = std::getenv("RELIEF_TEST_SEED")) return static_cast<unsigned>(std::strtoul(s, nullptr, 10));
  return std::random_device{}();
}
