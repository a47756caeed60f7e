#pragma once

// Checks shared by the subcommands' options, beyond what the parser does:
// CLI11 accepts "nan" and "inf" as numbers, the tool does not.

#include <chrono>
#include <cmath>
#include <string>

#include "errors.h"

namespace relief::tool {

inline void RequireFinite(const std::string& option, double value) {
  if (!std::isfinite(value)) throw BadUsage(option + " must be a finite number");
}
inline void RequirePositive(const std::string& option, double value) {
  if (!std::isfinite(value) || !(value > 0.0)) throw BadUsage(option + " must be a positive number");
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
