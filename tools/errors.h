#pragma once

// The tool's two kinds of failure and the exit codes they map to. Anything the
// user handed us that is wrong (a file, an option) is BadInput and ends with
// 2; work that failed on good input (a disk that fills, memory that runs out)
// ends with 1. Messages name the file first, so one line says it all.

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace relief::tool {

enum ExitCode { kExitDone = 0, kExitFailed = 1, kExitBadInput = 2 };

class ToolError : public std::runtime_error {
 public:
  ToolError(int exitCode, const std::string& message, int systemError = 0)
      : std::runtime_error(message), m_exitCode(exitCode), m_systemError(systemError) {}
  int ExitCode() const { return m_exitCode; }
  // The errno behind a file that could not be created or opened, else 0:
  // Python turns it into the matching OSError (FileNotFoundError,
  // PermissionError).
  int SystemError() const { return m_systemError; }

 private:
  int m_exitCode;
  int m_systemError;
};

// "FILE: problem", exit 2.
inline ToolError BadInput(const std::filesystem::path& file, const std::string& problem, int systemError = 0) {
  return ToolError(kExitBadInput, file.string() + ": " + problem, systemError);
}
// "FILE: cannot open for reading: why", exit 2, with the errno; call it right
// after the failed open, while errno still says why.
inline ToolError CannotOpen(const std::filesystem::path& file) {
  const int error = errno;
  std::string problem = "cannot open for reading";
  if (error) problem += std::string(": ") + std::strerror(error);
  return BadInput(file, problem, error);
}

// A bad option value or combination, exit 2.
inline ToolError BadUsage(const std::string& problem) { return ToolError(kExitBadInput, problem); }
// "FILE: problem", exit 1.
inline ToolError WorkFailed(const std::filesystem::path& file, const std::string& problem) {
  return ToolError(kExitFailed, file.string() + ": " + problem);
}
inline ToolError WorkFailed(const std::string& problem) { return ToolError(kExitFailed, problem); }

// BadInput unless path names a regular file, saying what it is instead.
inline void RequireInputFile(const std::filesystem::path& path) {
  std::error_code ec;
  if (std::filesystem::is_regular_file(path, ec)) return;
  throw BadInput(path, std::filesystem::is_directory(path, ec) ? "is a folder, not a file"
                       : std::filesystem::exists(path, ec)     ? "is not a regular file"
                                                               : "no such file");
}

}  // namespace relief::tool
