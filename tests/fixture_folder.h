#pragma once

// Where the kept inputs live: tests/fixtures/<kind> under RELIEF_SOURCE_DIR
// (ctest sets it; run from the source folder otherwise).

#include <cstdlib>
#include <filesystem>

namespace relief_test {

inline std::filesystem::path FixtureFolder(const char* kind) {
  const char* root = std::getenv("RELIEF_SOURCE_DIR");
  return std::filesystem::path(root ? root : ".") / "tests" / "fixtures" / kind;
}

}  // namespace relief_test
