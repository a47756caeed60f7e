// The library's own raster record, through CSSEMatrix::Store / Load. The
// record has no magic number, so the only check possible is that the file's
// length is exactly what its header promises; it is made before Load so that a
// corrupt header never reaches the allocator.

#include <cstdint>
#include <fstream>

#include "errors.h"
#include "io/raster_io.h"
#include "relief/CArchive.h"
#include "relief/CMemoryException.h"

namespace relief::tool::detail {

std::unique_ptr<CSSEMatrix> ReadRsm(const std::filesystem::path& path, RasterMetadata& metadata) {
  metadata.sampleType = "float32";
  std::error_code ec;
  const std::uint64_t size = std::filesystem::file_size(path, ec);
  if (ec) throw BadInput(path, "cannot read: " + ec.message());
  std::int32_t header[2] = {0, 0};
  {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw CannotOpen(path);
    if (!in.read(reinterpret_cast<char*>(header), 8)) throw BadInput(path, "truncated raster header");
  }
  const std::int64_t width = header[0], height = header[1];
  if (width < 0 || height < 0) throw BadInput(path, "corrupt raster header (negative size)");
  const std::uint64_t expected = 8 + 16ull * static_cast<std::uint64_t>(width) * ((height >> 2) + 1);
  if (size != expected)
    throw BadInput(path, "file size does not match its header (" + std::to_string(width) + " x " +
                             std::to_string(height) + " needs " + std::to_string(expected) + " bytes, file has " +
                             std::to_string(size) + ")");
  CheckRasterLimits(path, width, height);
  auto raster = std::make_unique<CSSEMatrix>();
  try {
    if (!raster->Load(path)) throw BadInput(path, "cannot open for reading");
  } catch (const CArchiveException&) {
    throw BadInput(path, "corrupt or truncated raster file");
  } catch (const CMemoryException&) {
    throw BadInput(path, "raster size beyond the library's limits");
  }
  // NaN and infinities become "no data", as for the other formats.
  for (int y = 0; y < raster->GetSizeY(); ++y)
    for (int x = 0; x < raster->GetSizeX(); ++x) {
      const float v = raster->GetPoint(x, y);
      if (Sanitize(v) != v) raster->SetPoint(x, y, 0.0f);
    }
  return raster;
}

void WriteRsm(const std::filesystem::path& file, const std::filesystem::path& shownAs, const CSSEMatrix& raster) {
  // Store is not const; it only reads the raster.
  CSSEMatrix& source = const_cast<CSSEMatrix&>(raster);
  try {
    if (!source.Store(file)) throw BadInput(shownAs, "cannot open for writing");
  } catch (const CArchiveException&) {
    throw WorkFailed(shownAs, "write failed");
  }
}

}  // namespace relief::tool::detail
