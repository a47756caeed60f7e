// Every file in tests/fixtures/tool_readers is one the readers must refuse
// with the bad-input error (exit 2) naming the file and the reason listed in
// tests/fixtures/tool_readers.txt: lying sizes, counts and
// indices that are no whole numbers in range, heights beyond float, foreign
// headers, truncations. Several once crashed a reader or made it allocate
// gigabytes; the file name says what each one caught.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "fixture_folder.h"
#include "io/mesh_io.h"
#include "io/raster_io.h"
#include "tool_test_support.h"

namespace {

void Read(const std::filesystem::path& path) {
  static const std::set<std::string> kRaster = {".png", ".tif", ".npy", ".rsm", ".bmp"};
  const std::string extension = path.extension().string();
  if (kRaster.count(extension)) {
    relief::tool::ReadRaster(path);
  } else if (extension == ".rmesh") {
    relief::tool::ReadRmesh(path);
  } else {
    auto reader = relief::tool::OpenTriangleReader(path);
    std::vector<float> corners;
    while (reader->Next(corners, 3)) {
    }
  }
}

// "file: phrase" lines of tests/fixtures/tool_readers.txt.
std::map<std::string, std::string> ExpectedMessages() {
  std::ifstream in(relief_test::FixtureFolder("tool_readers.txt"));
  std::map<std::string, std::string> out;
  std::string line;
  while (std::getline(in, line))
    if (const auto colon = line.find(": "); line[0] != '#' && colon != std::string::npos)
      out[line.substr(0, colon)] = line.substr(colon + 2);
  return out;
}

TEST(RefusedFixtures, EveryKeptFileIsRefusedAsBadInputForItsReason) {
  const std::filesystem::path folder = relief_test::FixtureFolder("tool_readers");
  ASSERT_TRUE(std::filesystem::is_directory(folder)) << folder << " (set RELIEF_SOURCE_DIR)";
  const auto expected = ExpectedMessages();
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    const auto reason = expected.find(name);
    if (reason == expected.end()) {
      ADD_FAILURE() << name << " has no line in tool_readers.txt saying what it is refused for";
      continue;
    }
    SCOPED_TRACE(name);
    relief_test::ExpectBadInput([&] { Read(entry.path()); }, {name, reason->second});
    ++files;
  }
  EXPECT_EQ(files, static_cast<int>(expected.size())) << "tool_readers.txt lists files the folder does not hold";
}

}  // namespace
