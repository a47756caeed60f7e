#include "io/raster_io.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "errors.h"
#include "io/extension.h"
#include "io/atomic_file.h"

namespace relief::tool {

bool IsRasterPath(const std::filesystem::path& path) {
  const std::string ext = LowerExtension(path);
  return ext == ".png" || ext == ".tif" || ext == ".tiff" || ext == ".npy" || ext == ".rsm";
}

RasterFormat RasterFormatOf(const std::filesystem::path& path) {
  const std::string ext = LowerExtension(path);
  if (ext == ".png") return RasterFormat::kPng;
  if (ext == ".tif" || ext == ".tiff") return RasterFormat::kTiff;
  if (ext == ".npy") return RasterFormat::kNpy;
  if (ext == ".rsm") return RasterFormat::kRsm;
  throw BadInput(path, "unknown raster extension '" + ext + "' (use .png, .tif, .tiff, .npy or .rsm)");
}

std::unique_ptr<CSSEMatrix> ReadRaster(const std::filesystem::path& path, RasterMetadata* metadata) {
  const RasterFormat format = RasterFormatOf(path);
  RequireInputFile(path);
  RasterMetadata ignored;
  RasterMetadata& m = metadata ? *metadata : ignored;
  m = RasterMetadata();
  switch (format) {
    case RasterFormat::kPng: return detail::ReadPng(path, m);
    case RasterFormat::kTiff: return detail::ReadTiff(path, m);
    case RasterFormat::kNpy: return detail::ReadNpy(path, m);
    case RasterFormat::kRsm: return detail::ReadRsm(path, m);
  }
  throw BadInput(path, "unknown raster format");
}

std::string WriteRaster(const std::filesystem::path& path, const CSSEMatrix& raster,
                        const RasterWriteOptions& options) {
  const RasterFormat format = RasterFormatOf(path);
  AtomicFile out(path);
  std::string what;
  switch (format) {
    case RasterFormat::kPng: {
      std::int64_t lost = 0;
      const float scale = detail::WritePng16(out.TempPath(), path, raster, options.pngScale, lost);
      char text[128];
      std::snprintf(text, sizeof text, "16-bit PNG, scale %.9g", scale);
      what = text;
      if (lost > 0) what += "; " + std::to_string(lost) + " heights within half a step of 0 written as 0 (no data)";
      break;
    }
    case RasterFormat::kTiff:
      detail::WriteTiffFloat(out.TempPath(), path, raster);
      what = "float32 TIFF";
      break;
    case RasterFormat::kNpy:
      detail::WriteNpyFloat(out.TempPath(), path, raster);
      what = "float32 .npy";
      break;
    case RasterFormat::kRsm:
      detail::WriteRsm(out.TempPath(), path, raster);
      what = "relief raster";
      break;
  }
  out.Commit();
  return what;
}

namespace detail {

void CheckRasterLimits(const std::filesystem::path& path, long long width, long long height) {
  if (width < 1 || height < 1)
    throw BadInput(path, "empty raster (" + std::to_string(width) + " x " + std::to_string(height) + ")");
  // The raster keeps at most 250 fields of 128 rows; columns are limited only
  // by memory, so a generous cap keeps a corrupt header from asking for
  // terabytes before anything is read.
  if (height > CSSEMatrix::kMaxRows)
    throw BadInput(path, "raster of " + std::to_string(height) + " rows exceeds the limit of " +
                             std::to_string(CSSEMatrix::kMaxRows) + " rows");
  if (width > (1 << 20) || width * height > (1LL << 30))
    throw BadInput(path, "raster of " + std::to_string(width) + " x " + std::to_string(height) +
                             " exceeds the limit of 2^30 pixels");
}

std::unique_ptr<CSSEMatrix> NewRaster(const std::filesystem::path& path, long long width, long long height) {
  CheckRasterLimits(path, width, height);
  auto raster = std::make_unique<CSSEMatrix>();
  raster->Create(static_cast<int>(width), static_cast<int>(height));
  return raster;
}

}  // namespace detail
}  // namespace relief::tool
