// Every file in tests/fixtures/tool_readers is one the readers must refuse
// with the bad-input error (exit 2) naming the file: lying sizes, counts and
// indices that are no whole numbers in range, heights beyond float, foreign
// headers, truncations. Several once crashed a reader or made it allocate
// gigabytes; the file name says what each one caught.

#include <gtest/gtest.h>

#include <filesystem>
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

TEST(RefusedFixtures, EveryKeptFileIsRefusedAsBadInput) {
  const std::filesystem::path folder = relief_test::FixtureFolder("tool_readers");
  ASSERT_TRUE(std::filesystem::is_directory(folder)) << folder << " (set RELIEF_SOURCE_DIR)";
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    SCOPED_TRACE(entry.path().filename().string());
    relief_test::ExpectBadInput([&] { Read(entry.path()); }, entry.path().filename().string());
    ++files;
  }
  EXPECT_GE(files, 60);
}

}  // namespace
