#pragma once

// Height fields in and out of files, the format chosen by the extension:
//   .png   8- or 16-bit greyscale; written as 16-bit with the scale stated in
//          a text chunk ("relief-scale"): value = stored integer x scale.
//   .tif, .tiff  float32 or 16-bit unsigned greyscale; written as float32.
//   .npy   float32, float64 or uint16, C order, 2-D; written as float32.
//   .rsm   the library's own raster record.
// Readers refuse anything they cannot read exactly with BadInput (exit 2),
// naming the file and the problem. Non-finite samples (NaN, infinities) are
// read as 0, the library's "no data".

#include <filesystem>
#include <memory>
#include <string>

#include "relief/CSSEMatrix.h"

namespace relief::tool {

enum class RasterFormat { kPng, kTiff, kNpy, kRsm };

// True when the extension names a raster format (case-insensitive).
bool IsRasterPath(const std::filesystem::path& path);
// Throws BadInput for an unknown extension.
RasterFormat RasterFormatOf(const std::filesystem::path& path);

std::unique_ptr<CSSEMatrix> ReadRaster(const std::filesystem::path& path);

struct RasterWriteOptions {
  // 16-bit PNG only: height of one integer step. 0 picks max / 65535 so the
  // whole range is used (1 for a raster without positive values).
  float pngScale = 0.0f;
};

// Writes atomically (temporary beside the target, then rename). Returns a
// short description of what was written, e.g. "16-bit PNG, scale 0.00390625".
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

std::unique_ptr<CSSEMatrix> ReadPng(const std::filesystem::path& path);
std::unique_ptr<CSSEMatrix> ReadTiff(const std::filesystem::path& path);
std::unique_ptr<CSSEMatrix> ReadNpy(const std::filesystem::path& path);
std::unique_ptr<CSSEMatrix> ReadRsm(const std::filesystem::path& path);
// The writers fill `file` (a temporary); `shownAs` names the target in errors.
float WritePng16(const std::filesystem::path& file, const std::filesystem::path& shownAs, const CSSEMatrix& raster,
                 float scale);
void WriteTiffFloat(const std::filesystem::path& file, const std::filesystem::path& shownAs,
                    const CSSEMatrix& raster);
void WriteNpyFloat(const std::filesystem::path& file, const std::filesystem::path& shownAs,
                   const CSSEMatrix& raster);
void WriteRsm(const std::filesystem::path& file, const std::filesystem::path& shownAs, const CSSEMatrix& raster);
}  // namespace detail

}  // namespace relief::tool
