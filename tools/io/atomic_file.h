#pragma once

// Output files appear whole or not at all: writers fill a temporary file in
// the target's folder (so the final rename stays on one file system and is
// atomic) and Commit renames it over the target. An AtomicFile that is
// destroyed without Commit removes its temporary, so a failure half-way
// leaves nothing behind.

#include <filesystem>

namespace relief::tool {

// Makes an interrupted tool (SIGINT, SIGTERM, SIGHUP, or SIGXFSZ past a file
// size limit) remove the temporaries of its unfinished outputs before it dies
// of the signal as it would have. Only the tool installs it: a host such as
// Python keeps its own handlers. Signals that are ignored (nohup) stay so.
void RemoveTemporariesOnSignals();

class AtomicFile {
 public:
  // Creates the (empty) temporary beside target. Throws BadInput when the
  // folder does not exist or is not writable, or the target is a folder.
  explicit AtomicFile(const std::filesystem::path& target);
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  // Where the writer puts the bytes.
  const std::filesystem::path& TempPath() const { return m_temp; }
  const std::filesystem::path& Target() const { return m_target; }
  // Renames the temporary over the target; throws WorkFailed if that fails.
  void Commit();

 private:
  std::filesystem::path m_target;
  std::filesystem::path m_temp;
  bool m_committed = false;
};

}  // namespace relief::tool
