// PNG through libpng's classic interface: the simplified interface would
// apply gamma to 8-bit data, and heights must come through untouched.

#include <png.h>

#include <cfloat>
#include <cmath>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "errors.h"
#include "io/atomic_file.h"
#include "io/raster_io.h"

namespace relief::tool::detail {

namespace {

constexpr const char* kScaleKey = "relief-scale";

struct FileCloser {
  void operator()(std::FILE* f) const {
    if (f) std::fclose(f);
  }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// libpng reports errors through a callback that must not return; the message
// is kept for the one-line error before jumping back.
struct PngErrorState {
  std::string message;
};

void OnPngError(png_structp png, png_const_charp message) {
  auto* state = static_cast<PngErrorState*>(png_get_error_ptr(png));
  if (state) state->message = message;
  png_longjmp(png, 1);
}
void OnPngWarning(png_structp, png_const_charp) {}

// libpng reads an ancillary chunk whole at the length its header declares,
// before it could notice the file ends first: walk the chunk headers and
// refuse a chunk that claims more bytes than the file holds. The file is
// left positioned after the signature.
void CheckChunkLengths(const std::filesystem::path& path, std::FILE* file) {
  const std::uint64_t size = std::filesystem::file_size(path);
  std::uint64_t at = 8;
  unsigned char header[8];
  while (at + 8 <= size) {
    if (std::fseek(file, static_cast<long>(at), SEEK_SET) != 0 || std::fread(header, 1, 8, file) != 8) break;
    const std::uint64_t length = (std::uint64_t(header[0]) << 24) | (header[1] << 16) | (header[2] << 8) | header[3];
    if (length > size - at - 8)
      throw BadInput(path, "truncated PNG: a '" + std::string(reinterpret_cast<char*>(header + 4), 4) +
                               "' chunk declares " + std::to_string(length) + " bytes the file does not hold");
    if (std::memcmp(header + 4, "IEND", 4) == 0) break;
    at += 12 + length;  // length, type, data, CRC
  }
  std::fseek(file, 8, SEEK_SET);
}

}  // namespace

std::unique_ptr<CSSEMatrix> ReadPng(const std::filesystem::path& path, RasterMetadata& metadata) {
  FilePtr file(std::fopen(path.c_str(), "rb"));
  if (!file) throw CannotOpen(path);
  unsigned char signature[8] = {};
  if (std::fread(signature, 1, 8, file.get()) != 8 || png_sig_cmp(signature, 0, 8) != 0)
    throw BadInput(path, "not a PNG file");
  CheckChunkLengths(path, file.get());

  PngErrorState state;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &state, OnPngError, OnPngWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!info) {
    png_destroy_read_struct(&png, nullptr, nullptr);
    throw WorkFailed(path, "out of memory");
  }
  // Everything that can fail after setjmp lives in these, declared before it
  // so a longjmp leaves nothing half-built.
  std::unique_ptr<CSSEMatrix> raster;
  std::vector<unsigned char> row;
  std::string problem;
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_read_struct(&png, &info, nullptr);
    throw BadInput(path, "corrupt or truncated PNG (" + state.message + ")");
  }
  png_init_io(png, file.get());
  png_set_sig_bytes(png, 8);
  // libpng refuses larger headers itself; the raster's own limits are smaller.
  png_set_user_limits(png, 1u << 20, static_cast<png_uint_32>(CSSEMatrix::kMaxRows));
  png_read_info(png, info);
  const png_uint_32 width = png_get_image_width(png, info);
  const png_uint_32 height = png_get_image_height(png, info);
  const int colorType = png_get_color_type(png, info);
  int bitDepth = png_get_bit_depth(png, info);
  if (colorType != PNG_COLOR_TYPE_GRAY) {
    problem = "not a greyscale PNG (colour type " + std::to_string(colorType) + ")";
  } else if (png_get_interlace_type(png, info) != PNG_INTERLACE_NONE) {
    problem = "interlaced PNG is not supported";
  }
  if (!problem.empty()) {
    png_destroy_read_struct(&png, &info, nullptr);
    throw BadInput(path, problem);
  }
  if (bitDepth < 8) {
    png_set_expand_gray_1_2_4_to_8(png);
    bitDepth = 8;
  }
  if (bitDepth == 16) png_set_swap(png);  // PNG is big-endian; we read native uint16
  png_read_update_info(png, info);

  // Image data are deflated: a file can only hold so many decoded bytes
  // (each row carries a filter byte). Checked before the raster exists.
  std::error_code ec;
  const std::uint64_t fileSize = std::filesystem::file_size(path, ec);
  const std::uint64_t decoded = static_cast<std::uint64_t>(height) * (png_get_rowbytes(png, info) + 1);
  if (decoded > fileSize * kMaxCompressionRatio)
    problem = "file too small for its declared size (" + std::to_string(width) + " x " + std::to_string(height) +
              " pixels in " + std::to_string(fileSize) + " bytes)";
  float scale = 1.0f;
  png_textp texts = nullptr;
  int textCount = 0;
  if (problem.empty() && png_get_text(png, info, &texts, &textCount) > 0) {
    for (int i = 0; i < textCount; ++i)
      if (std::string(texts[i].key) == kScaleKey) {
        char* end = nullptr;
        const float s = std::strtof(texts[i].text, &end);
        if (end == texts[i].text || !std::isfinite(s) || !(s > 0.0f))
          problem = std::string(kScaleKey) + " '" + std::string(texts[i].text).substr(0, 40) +
                    "' is not a positive number";
        scale = s;
      }
  }
  if (!problem.empty()) {
    png_destroy_read_struct(&png, &info, nullptr);
    throw BadInput(path, problem);
  }
  metadata.sampleType = bitDepth == 16 ? "uint16" : "uint8";
  try {
    raster = NewRaster(path, width, height);
  } catch (...) {
    png_destroy_read_struct(&png, &info, nullptr);
    throw;
  }
  row.resize(png_get_rowbytes(png, info));
  // A stored step times a huge stated scale overflows: refused, not infinity.
  unsigned overflowing = 0;
  for (png_uint_32 y = 0; y < height; ++y) {
    png_read_row(png, row.data(), nullptr);
    for (png_uint_32 x = 0; x < width; ++x) {
      unsigned stored = row[x];
      if (bitDepth == 16) {
        std::uint16_t wide;
        std::memcpy(&wide, &row[2 * x], 2);
        stored = wide;
      }
      const float v = static_cast<float>(stored) * scale;
      if (!std::isfinite(v)) overflowing = stored;
      raster->SetPoint(x, y, v);
    }
  }
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
  if (overflowing != 0) {
    char text[160];
    std::snprintf(text, sizeof text, "heights overflow: stored value %u times %s %g is beyond the float range",
                  overflowing, kScaleKey, static_cast<double>(scale));
    throw BadInput(path, text);
  }
  return raster;
}

namespace {

// Writes width x height greyscale samples of the given depth; sample(x, y)
// gives the stored integer. text/textValue: an optional text chunk.
template <typename Sample>
void WriteGreyPng(const std::filesystem::path& file, const std::filesystem::path& shownAs, int width, int height,
                  int bitDepth, const char* textKey, const std::string& textValue, Sample sample) {
  FilePtr out(std::fopen(file.c_str(), "wb"));
  if (!out) throw BadInput(shownAs, "cannot open for writing");
  PngErrorState state;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &state, OnPngError, OnPngWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!info) {
    png_destroy_write_struct(&png, nullptr);
    throw WorkFailed(shownAs, "out of memory");
  }
  std::vector<unsigned char> row(static_cast<size_t>(width) * (bitDepth / 8));
  png_text text{};
  std::string key = textKey ? textKey : "";
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    throw WorkFailed(shownAs, "cannot write PNG (" + state.message + ")");
  }
  png_init_io(png, out.get());
  // Heights compress poorly beyond the fast levels; speed matters more here.
  png_set_compression_level(png, 3);
  png_set_IHDR(png, info, width, height, bitDepth, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (textKey) {
    text.compression = PNG_TEXT_COMPRESSION_NONE;
    text.key = key.data();
    text.text = const_cast<char*>(textValue.c_str());
    text.text_length = textValue.size();
    png_set_text(png, info, &text, 1);
  }
  png_write_info(png, info);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const unsigned v = sample(x, y);
      if (bitDepth == 16) {
        row[2 * x] = static_cast<unsigned char>(v >> 8);
        row[2 * x + 1] = static_cast<unsigned char>(v & 0xff);
      } else {
        row[x] = static_cast<unsigned char>(v);
      }
    }
    png_write_row(png, row.data());
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  if (std::fflush(out.get()) != 0 || std::ferror(out.get())) throw WorkFailed(shownAs, "write failed");
}

}  // namespace

float WritePng16(const std::filesystem::path& file, const std::filesystem::path& shownAs, const CSSEMatrix& raster,
                 float scale, std::int64_t& lostToZero) {
  const int width = raster.GetSizeX(), height = raster.GetSizeY();
  if (!(scale > 0.0f) || !std::isfinite(scale)) {
    float maximum = 0.0f;
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) maximum = std::max(maximum, raster.GetPoint(x, y));
    scale = maximum > 0.0f ? maximum / 65535.0f : 1.0f;
  }
  if (!(scale >= FLT_MIN)) scale = 1.0f;  // a field of only tiny heights: keep the step normal
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", scale);
  // Parse the stated scale back so the file's text and the quantisation agree.
  const float stated = std::strtof(text, nullptr);
  auto quantise = [stated](float v) { return std::nearbyint(static_cast<double>(v) / stated); };
  // A step too small for the heights would clip them at 65535 steps, and
  // negative heights (an elevation model below sea level) would all become
  // 0, no data: both refused, as nothing in the file could tell. Heights
  // within half a step of 0 become 0 (no data): counted for the caller to
  // report.
  std::int64_t clipped = 0, negative = 0;
  float highest = 0.0f, lowest = 0.0f;
  lostToZero = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const float v = raster.GetPoint(x, y);
      if (v == 0.0f || v != v) continue;
      const double q = quantise(v);
      clipped += q > 65535.0 ? 1 : 0;
      negative += q < 0.0 ? 1 : 0;
      lostToZero += q == 0.0 ? 1 : 0;
      highest = std::max(highest, v);
      lowest = std::min(lowest, v);
    }
  char message[240];
  if (negative > 0) {
    std::snprintf(message, sizeof message,
                  "%lld heights are negative (down to %g), which a 16-bit PNG cannot hold (0 is no data); write "
                  ".tif or .npy",
                  static_cast<long long>(negative), static_cast<double>(lowest));
    throw BadInput(shownAs, message);
  }
  if (clipped > 0) {
    std::snprintf(message, sizeof message,
                  "%lld heights (up to %g) exceed 65535 steps of %s and would be clipped; give a larger --png-scale",
                  static_cast<long long>(clipped), static_cast<double>(highest), text);
    throw BadInput(shownAs, message);
  }
  WriteGreyPng(file, shownAs, width, height, 16, kScaleKey, text, [&](int x, int y) -> unsigned {
    // Refused above: negative steps and steps past 65535 (NaN is no data).
    const double q = quantise(raster.GetPoint(x, y));
    return q <= 0.0 || q != q ? 0u : q >= 65535.0 ? 65535u : static_cast<unsigned>(q);
  });
  return stated;
}

}  // namespace relief::tool::detail

namespace relief::tool {

void WritePreviewPng(const std::filesystem::path& path, const CSSEMatrix& raster, float lo, float hi) {
  AtomicFile out(path);
  const float span = hi > lo ? hi - lo : 1.0f;
  detail::WriteGreyPng(out.TempPath(), path, raster.GetSizeX(), raster.GetSizeY(), 8, nullptr, std::string(),
               [&](int x, int y) -> unsigned {
                 const float v = raster.GetPoint(x, y);
                 if (v == 0.0f) return 0u;
                 const float t = (v - lo) / span;
                 const float c = 1.0f + 254.0f * (t < 0.0f ? 0.0f : t > 1.0f ? 1.0f : t);
                 return static_cast<unsigned>(c + 0.5f);
               });
  out.Commit();
}

}  // namespace relief::tool
