// Feeds arbitrary bytes to the tool's file readers. The first byte picks the
// format (PNG, TIFF, .npy, .rsm, PLY, STL, .rmesh), the rest is the file.
// Every reader must either give a result that keeps its promises (a raster
// within the limits holding only finite heights; finite triangles, as many
// as the reader counted) or refuse the file with the tool's bad-input error.
// Anything else is a finding: another exception, a crash, or an allocation
// beyond what the run's memory limit allows (the test command runs this
// target with 512 MiB).

#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "errors.h"
#include "io/mesh_io.h"
#include "io/raster_io.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

namespace {

const char* const kExtensions[] = {".png", ".tif", ".npy", ".rsm", ".ply", ".stl", ".rmesh"};

// One file per process, in a folder removed when the process exits.
class ScratchFolder {
 public:
  ScratchFolder()
      : m_path(std::filesystem::temp_directory_path() / ("relief-fuzz-readers-" + std::to_string(::getpid()))) {
    std::filesystem::create_directories(m_path);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  std::filesystem::path File(const char* extension) const { return m_path / (std::string("input") + extension); }

 private:
  std::filesystem::path m_path;
};

std::filesystem::path Scratch(const char* extension) {
  static const ScratchFolder folder;
  return folder.File(extension);
}

void Check(bool promise) {
  if (!promise) std::abort();
}

void ReadRasterFile(const std::filesystem::path& path) {
  relief::tool::RasterMetadata metadata;
  auto raster = relief::tool::ReadRaster(path, &metadata);
  Check(raster->GetSizeX() >= 1 && raster->GetSizeY() >= 1 && raster->GetSizeY() <= CSSEMatrix::kMaxRows);
  for (int y = 0; y < raster->GetSizeY(); ++y)
    for (int x = 0; x < raster->GetSizeX(); ++x) Check(std::isfinite(raster->GetPoint(x, y)));
}

void ReadMeshFile(const std::filesystem::path& path) {
  if (path.extension() == ".rmesh") {
    auto mesh = relief::tool::ReadRmesh(path);
    Check(mesh->GetNumTriangles() >= 1);
    return;
  }
  auto reader = relief::tool::OpenTriangleReader(path);
  std::vector<float> corners;
  std::int64_t seen = 0;
  for (int pass = 0; pass < 2; ++pass) {  // twice: Rewind must start over
    seen = 0;
    while (reader->Next(corners, 97)) {
      Check(corners.size() % 9 == 0 && corners.size() <= 97 * 9);
      for (float v : corners) Check(std::isfinite(v));
      seen += static_cast<std::int64_t>(corners.size() / 9);
      corners.clear();
    }
    Check(seen == reader->Count());
    reader->Rewind();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const int format = data[0] % 7;
  const auto path = Scratch(kExtensions[format]);
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data + 1), static_cast<std::streamsize>(size - 1));
  }
  try {
    if (format < 4)
      ReadRasterFile(path);
    else
      ReadMeshFile(path);
  } catch (const relief::tool::ToolError& e) {
    // Readers refuse with bad input (exit 2), never as failed work.
    Check(e.ExitCode() == relief::tool::kExitBadInput);
  }
  return 0;
}
