#include "io/atomic_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <system_error>
#include <sys/stat.h>
#include <unistd.h>

#include "errors.h"

namespace relief::tool {

AtomicFile::AtomicFile(const std::filesystem::path& target) : m_target(target) {
  std::error_code ec;
  if (std::filesystem::is_directory(target, ec)) throw BadInput(target, "is a folder; give a file name to write");
  std::filesystem::path folder = target.parent_path();
  if (folder.empty()) folder = ".";
  // A hidden name with a random suffix: two tools writing the same target
  // never share a temporary, and a crash leaves an obvious leftover.
  std::string pattern = (folder / ("." + target.filename().string() + ".tmp-XXXXXX")).string();
  const int fd = ::mkstemp(pattern.data());
  if (fd < 0) throw BadInput(target, std::string("cannot create output: ") + std::strerror(errno));
  // mkstemp makes the file private (0600); the result should carry the
  // permissions any new file of the user gets.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::fchmod(fd, 0666 & ~mask);
  ::close(fd);
  m_temp = pattern;
}

AtomicFile::~AtomicFile() {
  if (!m_committed) {
    std::error_code ignored;
    std::filesystem::remove(m_temp, ignored);
  }
}

void AtomicFile::Commit() {
  if (std::rename(m_temp.c_str(), m_target.c_str()) != 0)
    throw WorkFailed(m_target, std::string("cannot replace the file: ") + std::strerror(errno));
  m_committed = true;
}

}  // namespace relief::tool
