// TIFF through libtiff: float32 or 16-bit unsigned greyscale in strips.

#include <tiffio.h>

#include <cstdarg>
#include <cstdio>
#include <cstdint>
#include <string>
#include <vector>

#include "errors.h"
#include "io/raster_io.h"

namespace relief::tool::detail {

namespace {

// libtiff prints to stderr by default; the tool keeps the last message for
// its own one-line error instead.
thread_local std::string g_tiffMessage;

void OnTiffMessage(const char* module, const char* format, va_list args) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, args);
  g_tiffMessage = std::string(module ? module : "tiff") + ": " + text;
}
void OnTiffWarning(const char*, const char*, va_list) {}

struct TiffHandle {
  TIFF* tif;
  explicit TiffHandle(TIFF* t) : tif(t) {}
  ~TiffHandle() {
    if (tif) TIFFClose(tif);
  }
};

void QuietLibtiff() {
  TIFFSetErrorHandler(OnTiffMessage);
  TIFFSetWarningHandler(OnTiffWarning);
  g_tiffMessage.clear();
}

}  // namespace

std::unique_ptr<CSSEMatrix> ReadTiff(const std::filesystem::path& path) {
  QuietLibtiff();
  TiffHandle in(TIFFOpen(path.c_str(), "r"));
  if (!in.tif) throw BadInput(path, "not a readable TIFF (" + g_tiffMessage + ")");
  std::uint32_t width = 0, height = 0;
  std::uint16_t bits = 0, samples = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG;
  TIFFGetField(in.tif, TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(in.tif, TIFFTAG_IMAGELENGTH, &height);
  TIFFGetFieldDefaulted(in.tif, TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(in.tif, TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetFieldDefaulted(in.tif, TIFFTAG_SAMPLEFORMAT, &format);
  TIFFGetFieldDefaulted(in.tif, TIFFTAG_PLANARCONFIG, &planar);
  const bool isFloat = format == SAMPLEFORMAT_IEEEFP && bits == 32;
  const bool isUint16 = format == SAMPLEFORMAT_UINT && bits == 16;
  if (samples != 1 || !(isFloat || isUint16))
    throw BadInput(path, "unsupported TIFF: " + std::to_string(samples) + " sample(s) of " + std::to_string(bits) +
                             " bits (need one float32 or uint16 sample)");
  if (TIFFIsTiled(in.tif)) throw BadInput(path, "tiled TIFF is not supported (write it in strips)");
  auto raster = NewRaster(path, width, height);
  const tmsize_t lineBytes = TIFFScanlineSize(in.tif);
  if (lineBytes < static_cast<tmsize_t>(width) * (bits / 8)) throw BadInput(path, "corrupt TIFF (short rows)");
  std::vector<unsigned char> line(static_cast<size_t>(lineBytes));
  for (std::uint32_t y = 0; y < height; ++y) {
    if (TIFFReadScanline(in.tif, line.data(), y, 0) < 0)
      throw BadInput(path, "corrupt or truncated TIFF at row " + std::to_string(y) + " (" + g_tiffMessage + ")");
    if (isFloat) {
      const auto* v = reinterpret_cast<const float*>(line.data());
      for (std::uint32_t x = 0; x < width; ++x) raster->SetPoint(x, y, Sanitize(v[x]));
    } else {
      const auto* v = reinterpret_cast<const std::uint16_t*>(line.data());
      for (std::uint32_t x = 0; x < width; ++x) raster->SetPoint(x, y, static_cast<float>(v[x]));
    }
  }
  return raster;
}

void WriteTiffFloat(const std::filesystem::path& file, const std::filesystem::path& shownAs,
                    const CSSEMatrix& raster) {
  QuietLibtiff();
  const std::uint32_t width = raster.GetSizeX(), height = raster.GetSizeY();
  // Classic TIFF addresses 4 GiB; the largest rasters we accept (2^30 floats)
  // need BigTIFF ("w8"), which older readers may not know, so only then.
  const bool big = static_cast<std::uint64_t>(width) * height * 4 > (3ull << 30);
  TiffHandle out(TIFFOpen(file.c_str(), big ? "w8" : "w"));
  if (!out.tif) throw BadInput(shownAs, "cannot open for writing");
  TIFFSetField(out.tif, TIFFTAG_IMAGEWIDTH, width);
  TIFFSetField(out.tif, TIFFTAG_IMAGELENGTH, height);
  TIFFSetField(out.tif, TIFFTAG_BITSPERSAMPLE, 32);
  TIFFSetField(out.tif, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(out.tif, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
  TIFFSetField(out.tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(out.tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(out.tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  TIFFSetField(out.tif, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(out.tif, 0));
  std::vector<float> line(width);
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) line[x] = raster.GetPoint(x, y);
    if (TIFFWriteScanline(out.tif, line.data(), y, 0) < 0)
      throw WorkFailed(shownAs, "write failed (" + g_tiffMessage + ")");
  }
  if (!TIFFFlush(out.tif)) throw WorkFailed(shownAs, "write failed (" + g_tiffMessage + ")");
}

}  // namespace relief::tool::detail
