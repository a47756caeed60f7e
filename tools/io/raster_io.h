#pragma once

// Height fields in and out of files, the format chosen by the extension:
//   .png   8- or 16-bit greyscale; written as 16-bit with the scale stated in
//          a text chunk ("relief-scale"): value = stored integer x scale.
//   .tif, .tiff  one sample per pixel: signed or unsigned integers of 8 to 64
//          bits, float32 or float64, in strips or tiles, any compression
//          libtiff decodes; written as float32. The GDAL no-data tag (42113)
//          and the GeoTIFF pixel scale (33550) are read.
//   .npy   2-D, C or Fortran order, either byte order: float32, float64 and
//          signed or unsigned integers of 1 to 8 bytes; written as float32.
//   .rsm   the library's own raster record.
// Readers refuse anything they cannot read exactly with BadInput (exit 2),
// naming the file and the problem, and check a file's declared size against
// what the file can hold before allocating for it. Non-finite samples (NaN,
// infinities) and samples equal to the stated no-data value are read as 0,
// the library's "no data" (so a genuine height of 0 is no data too).

#include <filesystem>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "relief/CSSEMatrix.h"

namespace relief::tool {

enum class RasterFormat { kPng, kTiff, kNpy, kRsm };

// The extensions above, as help texts list them.
inline constexpr const char* kRasterExtensions = ".png .tif .tiff .npy .rsm";

// True when the extension names a raster format (case-insensitive).
bool IsRasterPath(const std::filesystem::path& path);
// Throws BadInput for an unknown extension.
RasterFormat RasterFormatOf(const std::filesystem::path& path);

// What a reader learnt besides the samples.
struct RasterMetadata {
  std::string sampleType;  // "int16", "float32", ... as stored in the file
  // The size of one pixel in x and y as the file states it (GeoTIFF
  // ModelPixelScaleTag); 0, 0 when it states none. Commands that take a
  // scale use it when none is given.
  double pixelScale[2] = {0.0, 0.0};
  bool HasPixelScale() const { return pixelScale[0] > 0.0 && pixelScale[1] > 0.0; }
  std::optional<double> noData;  // the stated no-data value (GDAL tag)
  std::int64_t noDataPixels = 0;  // samples read as 0 because they held it
};

std::unique_ptr<CSSEMatrix> ReadRaster(const std::filesystem::path& path, RasterMetadata* metadata = nullptr);

struct RasterWriteOptions {
  // 16-bit PNG only: height of one integer step. 0 picks max / 65535 so the
  // whole range is used (1 for a raster without positive values).
  float pngScale = 0.0f;
};

// Writes atomically (temporary beside the target, then rename). Returns a
// short description of what was written, e.g. "16-bit PNG, scale 0.00390625"
// (with the count of positive heights a PNG step turned into 0, if any).
std::string WriteRaster(const std::filesystem::path& path, const CSSEMatrix& raster,
                        const RasterWriteOptions& options = {});

// An 8-bit greyscale picture for people, not for reading back: lo maps to 1,
// hi to 255, and pixels that are exactly 0 (no data) stay black.
void WritePreviewPng(const std::filesystem::path& path, const CSSEMatrix& raster, float lo, float hi);

// ---- internals shared by the format files ----------------------------------
namespace detail {
// BadInput naming path unless width x height is within the raster limits.
void CheckRasterLimits(const std::filesystem::path& path, long long width, long long height);
// CheckRasterLimits, then a zeroed raster of that size.
std::unique_ptr<CSSEMatrix> NewRaster(const std::filesystem::path& path, long long width, long long height);
// NaN and infinities become 0.
inline float Sanitize(float v) { return (v - v == 0.0f) ? v : 0.0f; }

// Declared decoded bytes a compressed file may hold per byte it has: far
// beyond what real data reach (deflate tops out near 1032), and a bound on
// what a small hostile file can make the reader allocate.
constexpr std::uint64_t kMaxCompressionRatio = 4096;

std::unique_ptr<CSSEMatrix> ReadPng(const std::filesystem::path& path, RasterMetadata& metadata);
std::unique_ptr<CSSEMatrix> ReadTiff(const std::filesystem::path& path, RasterMetadata& metadata);
std::unique_ptr<CSSEMatrix> ReadNpy(const std::filesystem::path& path, RasterMetadata& metadata);
std::unique_ptr<CSSEMatrix> ReadRsm(const std::filesystem::path& path, RasterMetadata& metadata);
// Makes libtiff know the GeoTIFF pixel-scale tag (33550, doubles) and the
// GDAL no-data tag (42113, ASCII), so that they can be read and written;
// idempotent.
void RegisterGeoTiffTags();
// The writers fill `file` (a temporary); `shownAs` names the target in errors.
// Returns the stated scale; lostToZero: heights within half a step of 0,
// written as 0. BadInput when a height would clip at 65535 steps or is
// negative by a step or more.
float WritePng16(const std::filesystem::path& file, const std::filesystem::path& shownAs, const CSSEMatrix& raster,
                 float scale, std::int64_t& lostToZero);
void WriteTiffFloat(const std::filesystem::path& file, const std::filesystem::path& shownAs,
                    const CSSEMatrix& raster);
void WriteNpyFloat(const std::filesystem::path& file, const std::filesystem::path& shownAs,
                   const CSSEMatrix& raster);
void WriteRsm(const std::filesystem::path& file, const std::filesystem::path& shownAs, const CSSEMatrix& raster);
}  // namespace detail

}  // namespace relief::tool
