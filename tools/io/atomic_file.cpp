#include "io/atomic_file.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <system_error>
#include <sys/stat.h>
#include <unistd.h>

#include "errors.h"

namespace relief::tool {

namespace {

// The temporaries alive now, for the signal handler, which may only unlink:
// pointers to the paths the AtomicFiles own (fixed while they live). When
// every slot is taken a temporary goes unregistered and a signal leaves it.
std::atomic<const char*> g_liveTemporaries[16];

void Register(const char* path) {
  for (auto& slot : g_liveTemporaries) {
    const char* empty = nullptr;
    if (slot.compare_exchange_strong(empty, path)) return;
  }
}

void Unregister(const char* path) {
  for (auto& slot : g_liveTemporaries) {
    const char* mine = path;
    if (slot.compare_exchange_strong(mine, nullptr)) return;
  }
}

extern "C" void RemoveTemporariesAndDie(int signal) {
  for (auto& slot : g_liveTemporaries)
    if (const char* path = slot.load()) ::unlink(path);
  std::signal(signal, SIG_DFL);
  std::raise(signal);  // delivered when the handler returns
}

}  // namespace

void RemoveTemporariesOnSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGXFSZ}) {
    struct sigaction action = {};
    if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = RemoveTemporariesAndDie;
    sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
  }
}

AtomicFile::AtomicFile(const std::filesystem::path& target) : m_target(target) {
  std::error_code ec;
  if (std::filesystem::is_directory(target, ec)) throw BadInput(target, "is a folder; give a file name to write");
  std::filesystem::path folder = target.parent_path();
  if (folder.empty()) folder = ".";
  // A hidden name with a random suffix: two tools writing the same target
  // never share a temporary, and a crash leaves an obvious leftover.
  std::string pattern = (folder / ("." + target.filename().string() + ".tmp-XXXXXX")).string();
  const int fd = ::mkstemp(pattern.data());
  if (fd < 0) throw BadInput(target, std::string("cannot create output: ") + std::strerror(errno), errno);
  // mkstemp makes the file private (0600); the result should carry the
  // permissions any new file of the user gets.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::fchmod(fd, 0666 & ~mask);
  ::close(fd);
  m_temp = pattern;
  Register(m_temp.c_str());
}

AtomicFile::~AtomicFile() {
  Unregister(m_temp.c_str());
  if (!m_committed) {
    std::error_code ignored;
    std::filesystem::remove(m_temp, ignored);
  }
}

void AtomicFile::Commit() {
  if (std::rename(m_temp.c_str(), m_target.c_str()) != 0)
    throw WorkFailed(m_target, std::string("cannot replace the file: ") + std::strerror(errno));
  m_committed = true;
  Unregister(m_temp.c_str());
}

}  // namespace relief::tool
