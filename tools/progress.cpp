#include "progress.h"

#include <cstdarg>
#include <cstdio>
#include <unistd.h>

namespace relief::tool {

OutputOptions& Output() {
  static OutputOptions options;
  return options;
}

void Say(const char* format, ...) {
  if (Output().quiet) return;
  va_list args;
  va_start(args, format);
  std::vprintf(format, args);
  va_end(args);
}

Progress::Progress(std::string label, std::int64_t total)
    : m_label(std::move(label)), m_total(total > 0 ? total : 1),
      m_enabled(!Output().quiet && ::isatty(STDERR_FILENO) == 1), m_last(std::chrono::steady_clock::now()) {}

Progress::~Progress() { Finish(); }

void Progress::Update(std::int64_t done) {
  if (!m_enabled) return;
  // Redraw at most ten times a second: a terminal that scrolls progress
  // text would otherwise cost more than the work it reports.
  const auto now = std::chrono::steady_clock::now();
  if (m_shown && now - m_last < std::chrono::milliseconds(100)) return;
  m_last = now;
  m_shown = true;
  const int percent = static_cast<int>(done * 100 / m_total);
  std::fprintf(stderr, "\r%s: %3d%%", m_label.c_str(), percent > 100 ? 100 : percent);
  std::fflush(stderr);
}

void Progress::Finish() {
  if (!m_enabled || !m_shown) return;
  std::fprintf(stderr, "\r%*s\r", static_cast<int>(m_label.size()) + 6, "");
  std::fflush(stderr);
  m_shown = false;
}

}  // namespace relief::tool
