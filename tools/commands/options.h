#pragma once

// Checks shared by the subcommands' options, beyond what the parser does:
// CLI11 accepts "nan" and "inf" as numbers, the tool does not.

#include <chrono>
#include <cmath>
#include <limits>
#include <string>

#include "errors.h"

namespace relief::tool {

// The library computes in float: a value beyond its range would become infinite there.
inline bool IsFiniteFloat(double value) { return std::fabs(value) <= std::numeric_limits<float>::max(); }
inline void RequireFinite(const std::string& option, double value) {
  if (!IsFiniteFloat(value)) throw BadUsage(option + " must be a finite number");
}
inline void RequirePositive(const std::string& option, double value) {
  if (!IsFiniteFloat(value) || !(value > 0.0)) throw BadUsage(option + " must be a positive number");
}

// Seconds since construction, for the per-step times of the summaries.
class StepTimer {
 public:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
  }
  void Restart() { m_start = std::chrono::steady_clock::now(); }

 private:
  std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace relief::tool
