#pragma once

// Progress lines for long steps. They go to stderr, and only when stderr is a
// terminal: piped or redirected runs (scripts, tests, CI logs) stay clean.
// --quiet switches them off together with every other non-error line.

#include <chrono>
#include <cstdint>
#include <string>

namespace relief::tool {

struct OutputOptions {
  bool quiet = false;
};

// Process-wide output settings, set once by main from --quiet.
OutputOptions& Output();

// printf to stdout unless --quiet.
void Say(const char* format, ...) __attribute__((format(printf, 1, 2)));

class Progress {
 public:
  // total: the amount of work; Update reports done out of it.
  Progress(std::string label, std::int64_t total);
  ~Progress();
  void Update(std::int64_t done);
  // Clears the line; called by the destructor too.
  void Finish();

 private:
  std::string m_label;
  std::int64_t m_total;
  bool m_enabled;
  bool m_shown = false;
  std::chrono::steady_clock::time_point m_last;
};

}  // namespace relief::tool
