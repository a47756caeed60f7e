// TIFF through libtiff: one sample per pixel, integer or float, in strips or
// tiles, with the two tags elevation models carry: the GDAL no-data value
// (42113, ASCII) and the GeoTIFF pixel scale (33550, three doubles).

#include <tiffio.h>

#include <cstdarg>
#include <cmath>
#include <cstdio>
#include <algorithm>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "errors.h"
#include "io/raster_io.h"
#include "io/samples.h"

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

constexpr ttag_t kModelPixelScaleTag = 33550;

TIFFExtendProc g_previousExtender = nullptr;

void AddGeoTiffTags(TIFF* tif) {
  // libtiff names the no-data tag but does not know its type.
  static const TIFFFieldInfo kFields[] = {
      {kModelPixelScaleTag, TIFF_VARIABLE, TIFF_VARIABLE, TIFF_DOUBLE, FIELD_CUSTOM, 1, 1,
       const_cast<char*>("ModelPixelScaleTag")},
      {TIFFTAG_GDAL_NODATA, -1, -1, TIFF_ASCII, FIELD_CUSTOM, 1, 0, const_cast<char*>("GDALNoDataValue")}};
  TIFFMergeFieldInfo(tif, kFields, 2);
  if (g_previousExtender) g_previousExtender(tif);
}

// Where the pixels are: strips or tiles, and how many decoded bytes each holds.
struct Layout {
  bool tiled = false;
  std::uint32_t count = 0;         // strips or tiles
  std::uint32_t tileWidth = 0;     // tiles only
  std::uint32_t rows = 0;          // rows per strip or tile
  std::uint64_t blockBytes = 0;    // decoded bytes of one strip or tile
};

// Refuses a file whose declared size cannot come from its bytes, before
// anything is allocated for it: every strip or tile must lie in the file,
// stored blocks must not add up to more than the file, uncompressed data
// must be all there, and compressed data may not expand beyond
// kMaxCompressionRatio.
void CheckDeclaredSize(const std::filesystem::path& path, TIFF* tif, const Layout& layout, std::uint32_t width,
                       std::uint32_t height, int sampleBytes) {
  std::error_code ec;
  const std::uint64_t fileSize = std::filesystem::file_size(path, ec);
  std::uint64_t stored = 0;
  for (std::uint32_t i = 0; i < layout.count; ++i) {
    int error = 0;
    const std::uint64_t offset = TIFFGetStrileOffsetWithErr(tif, i, &error);
    const std::uint64_t bytes = TIFFGetStrileByteCountWithErr(tif, i, &error);
    if (error || offset > fileSize || bytes > fileSize - offset)
      throw BadInput(path, "corrupt TIFF: block " + std::to_string(i) + " lies outside the file");
    stored += bytes;
  }
  if (stored > fileSize) throw BadInput(path, "corrupt TIFF: its blocks add up to more than the file");
  std::uint16_t compression = COMPRESSION_NONE;
  TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
  // Strips hold exactly the image's rows; tiles are padded to whole tiles.
  const std::uint64_t decoded = layout.tiled ? static_cast<std::uint64_t>(layout.count) * layout.blockBytes
                                             : static_cast<std::uint64_t>(width) * height * sampleBytes;
  const std::uint64_t holdable = compression == COMPRESSION_NONE ? stored : stored * kMaxCompressionRatio;
  if (decoded > holdable)
    throw BadInput(path, "file too small for its declared size (" + std::to_string(width) + " x " +
                             std::to_string(height) + " pixels of " + std::to_string(sampleBytes) + " bytes in " +
                             std::to_string(stored) + (compression == COMPRESSION_NONE ? "" : " compressed") +
                             " bytes)");
}

}  // namespace

void RegisterGeoTiffTags() {
  static std::once_flag once;
  std::call_once(once, [] { g_previousExtender = TIFFSetTagExtender(AddGeoTiffTags); });
}

std::unique_ptr<CSSEMatrix> ReadTiff(const std::filesystem::path& path, RasterMetadata& metadata) {
  RegisterGeoTiffTags();
  QuietLibtiff();
  TiffHandle in(TIFFOpen(path.c_str(), "r"));
  if (!in.tif) throw BadInput(path, "not a readable TIFF (" + g_tiffMessage + ")");
  std::uint32_t width = 0, height = 0;
  std::uint16_t bits = 0, samples = 1, format = SAMPLEFORMAT_UINT;
  TIFFGetField(in.tif, TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(in.tif, TIFFTAG_IMAGELENGTH, &height);
  TIFFGetFieldDefaulted(in.tif, TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(in.tif, TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetFieldDefaulted(in.tif, TIFFTAG_SAMPLEFORMAT, &format);
  SampleType type;
  type.bytes = bits / 8;
  type.kind = format == SAMPLEFORMAT_IEEEFP ? SampleKind::kFloat
              : format == SAMPLEFORMAT_INT  ? SampleKind::kSigned
                                            : SampleKind::kUnsigned;
  const bool knownFormat = format == SAMPLEFORMAT_IEEEFP || format == SAMPLEFORMAT_INT || format == SAMPLEFORMAT_UINT;
  if (samples != 1 || bits % 8 != 0 || !knownFormat || !type.IsSupported())
    throw BadInput(path, "unsupported TIFF: " + std::to_string(samples) + " sample(s) of " + std::to_string(bits) +
                             " bits, sample format " + std::to_string(format) +
                             " (need one integer or float sample of 8 to 64 bits)");
  metadata.sampleType = type.Name();
  CheckRasterLimits(path, width, height);

  Layout layout;
  layout.tiled = TIFFIsTiled(in.tif);
  if (layout.tiled) {
    std::uint32_t tileHeight = 0;
    TIFFGetField(in.tif, TIFFTAG_TILEWIDTH, &layout.tileWidth);
    TIFFGetField(in.tif, TIFFTAG_TILELENGTH, &tileHeight);
    layout.rows = tileHeight;
    layout.count = TIFFNumberOfTiles(in.tif);
    layout.blockBytes = static_cast<std::uint64_t>(TIFFTileSize64(in.tif));
    if (layout.tileWidth == 0 || tileHeight == 0 ||
        layout.blockBytes != static_cast<std::uint64_t>(layout.tileWidth) * tileHeight * type.bytes)
      throw BadInput(path, "corrupt TIFF: bad tile size");
  } else {
    std::uint32_t rowsPerStrip = height;
    TIFFGetFieldDefaulted(in.tif, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
    layout.rows = std::min(rowsPerStrip, height);
    layout.count = TIFFNumberOfStrips(in.tif);
    layout.blockBytes = static_cast<std::uint64_t>(TIFFStripSize64(in.tif));
    if (layout.rows == 0 ||
        layout.blockBytes != static_cast<std::uint64_t>(width) * layout.rows * type.bytes)
      throw BadInput(path, "corrupt TIFF: bad strip size");
  }
  if (layout.count == 0) throw BadInput(path, "corrupt TIFF: no strips or tiles");
  CheckDeclaredSize(path, in.tif, layout, width, height, type.bytes);

  char* noDataText = nullptr;
  if (TIFFGetField(in.tif, TIFFTAG_GDAL_NODATA, &noDataText) && noDataText) {
    metadata.noData = ParseNoData(noDataText);
    if (!metadata.noData) throw BadInput(path, "no-data tag '" + std::string(noDataText) + "' is not a number");
  }
  std::uint16_t scaleCount = 0;
  double* scale = nullptr;
  if (TIFFGetField(in.tif, kModelPixelScaleTag, &scaleCount, &scale) && scale && scaleCount >= 2 &&
      std::isfinite(scale[0]) && std::isfinite(scale[1]) && scale[0] > 0.0 && scale[1] > 0.0) {
    metadata.pixelScale[0] = scale[0];
    metadata.pixelScale[1] = scale[1];
  }

  auto raster = NewRaster(path, width, height);
  SampleDecoder decoder(path, type, metadata.noData);
  std::vector<unsigned char> block(static_cast<size_t>(layout.blockBytes));
  const std::uint32_t blockWidth = layout.tiled ? layout.tileWidth : width;
  const std::uint32_t across = layout.tiled ? (width + blockWidth - 1) / blockWidth : 1;
  for (std::uint32_t i = 0; i < layout.count; ++i) {
    const tmsize_t got = layout.tiled
                             ? TIFFReadEncodedTile(in.tif, i, block.data(), static_cast<tmsize_t>(block.size()))
                             : TIFFReadEncodedStrip(in.tif, i, block.data(), static_cast<tmsize_t>(block.size()));
    if (got < 0) throw BadInput(path, "corrupt or truncated TIFF in block " + std::to_string(i) + " (" + g_tiffMessage + ")");
    // A short strip (the last one) holds fewer rows; anything it lacks is refused.
    const std::uint64_t x0 = static_cast<std::uint64_t>(i % across) * blockWidth;
    const std::uint64_t y0 = static_cast<std::uint64_t>(i / across) * layout.rows;
    if (y0 >= height) break;  // planar leftovers past the image
    const std::uint32_t rows = static_cast<std::uint32_t>(std::min<std::uint64_t>(layout.rows, height - y0));
    const std::uint32_t cols = static_cast<std::uint32_t>(std::min<std::uint64_t>(blockWidth, width - x0));
    if (static_cast<std::uint64_t>(got) < (static_cast<std::uint64_t>(rows - 1) * blockWidth + cols) * type.bytes)
      throw BadInput(path, "corrupt TIFF: block " + std::to_string(i) + " is short");
    for (std::uint32_t r = 0; r < rows; ++r)
      for (std::uint32_t c = 0; c < cols; ++c) {
        const long long x = static_cast<long long>(x0 + c), y = static_cast<long long>(y0 + r);
        const unsigned char* p = &block[(static_cast<size_t>(r) * blockWidth + c) * type.bytes];
        raster->SetPoint(static_cast<int>(x), static_cast<int>(y), decoder.Decode(p, x, y));
      }
  }
  metadata.noDataPixels = decoder.NoDataCount();
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
