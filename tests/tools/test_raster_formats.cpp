// Every raster format written and read back through the tool's format code,
// on odd sizes that cross the raster's four-row registers.

#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>
#include <zlib.h>

#include <algorithm>
#include <tuple>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "errors.h"
#include "io/raster_io.h"
#include "relief/CSSEMatrix.h"
#include "tool_test_support.h"

using namespace relief::tool;
using relief_test::Grid;
using relief_test::ScratchDir;

namespace {

struct RoundTripCase { const char* extension; int width, height; };

class RasterRoundTrip : public ::testing::TestWithParam<RoundTripCase> {};

TEST_P(RasterRoundTrip, ValuesComeBackExactlyOrWithinTheStatedQuantisation) {
  const RoundTripCase c = GetParam();
  const std::uint32_t seed = 1000u + c.width * 37u + c.height;
  SCOPED_TRACE("seed " + std::to_string(seed));
  ScratchDir dir("raster-roundtrip");
  const Grid g = relief_test::RandomField(c.width, c.height, seed, 0.5f, 900.0f, 0.2);
  const auto path = dir / (std::string("field") + c.extension);
  const std::string what = WriteRaster(path, relief_test::ToMatrix(g));
  auto back = ReadRaster(path);
  ASSERT_EQ(back->GetSizeX(), c.width);
  ASSERT_EQ(back->GetSizeY(), c.height);
  // 16-bit PNG states its scale; every value is within half a step of it.
  float tolerance = 0.0f;
  if (std::string(c.extension) == ".png") {
    const float scale = std::strtof(what.substr(what.find("scale ") + 6).c_str(), nullptr);
    ASSERT_GT(scale, 0.0f);
    tolerance = scale * 0.5f;
  }
  for (int y = 0; y < c.height; ++y)
    for (int x = 0; x < c.width; ++x)  // half a step, plus the rounding of step x scale to float
      ASSERT_NEAR(back->GetPoint(x, y), g.at(x, y), tolerance == 0 ? 0 : tolerance + std::fabs(g.at(x, y)) * 1.2e-7f)
          << "pixel " << x << ", " << y;
  EXPECT_EQ(dir.Files().size(), 1u) << "no temporary may be left beside the output";
}

std::vector<RoundTripCase> RoundTripCases() {
  std::vector<RoundTripCase> cases;
  for (const char* ext : {".npy", ".tif", ".png", ".rsm"})
    for (auto size : {std::pair{1, 1}, {3, 5}, {4, 4}, {17, 9}, {64, 33}, {5, 128}})
      cases.push_back({ext, size.first, size.second});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(AllFormats, RasterRoundTrip, ::testing::ValuesIn(RoundTripCases()),
                         [](const auto& info) {
                           return std::string(info.param.extension + 1) + "_" + std::to_string(info.param.width) +
                                  "x" + std::to_string(info.param.height);
                         });

// Files other programs write: float64, uint16 and non-finite .npy (non-finite
// samples read as no data, 0), 8-bit grey PNG and 16-bit TIFF, in C order.
TEST(RasterFormats, ForeignFilesAreRead) {
  ScratchDir dir("foreign");
  const double f8[6] = {1.5, 2.25, 0.0, -4.0, 1e-3, 123456.789};
  const std::uint16_t u2[6] = {0, 1, 65535, 300, 7, 42};
  const float f4[6] = {NAN, INFINITY, -INFINITY, 2.0f, -0.0f, 5};
  const unsigned char grey[6] = {0, 1, 2, 128, 254, 255};
  relief_test::WriteNpy(dir / "a.npy", "<f8", 3, 2, f8, 8);
  relief_test::WriteNpy(dir / "b.npy", "<u2", 3, 2, u2, 2);
  relief_test::WriteNpy(dir / "c.npy", "<f4", 3, 2, f4, 4);
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = 3;
  image.height = 2;
  image.format = PNG_FORMAT_GRAY;
  ASSERT_TRUE(png_image_write_to_file(&image, (dir / "g.png").c_str(), 0, grey, 3, nullptr));
  TIFF* tif = TIFFOpen((dir / "w.tif").c_str(), "w");
  ASSERT_NE(tif, nullptr);
  for (auto [tag, value] : {std::pair{TIFFTAG_IMAGEWIDTH, 3}, {TIFFTAG_IMAGELENGTH, 2}, {TIFFTAG_BITSPERSAMPLE, 16},
                            {TIFFTAG_SAMPLESPERPIXEL, 1}, {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK},
                            {TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG}})
    TIFFSetField(tif, tag, value);
  for (int y = 0; y < 2; ++y) TIFFWriteScanline(tif, const_cast<std::uint16_t*>(u2 + 3 * y), y, 0);
  TIFFClose(tif);
  auto a = ReadRaster(dir / "a.npy"), b = ReadRaster(dir / "b.npy"), c = ReadRaster(dir / "c.npy");
  auto g = ReadRaster(dir / "g.png"), w = ReadRaster(dir / "w.tif");
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(a->GetPoint(i % 3, i / 3), static_cast<float>(f8[i])) << i;
    EXPECT_EQ(b->GetPoint(i % 3, i / 3), static_cast<float>(u2[i])) << i;
    EXPECT_EQ(c->GetPoint(i % 3, i / 3), std::isfinite(f4[i]) ? f4[i] : 0.0f) << i;
    EXPECT_EQ(g->GetPoint(i % 3, i / 3), grey[i]) << i;
    EXPECT_EQ(w->GetPoint(i % 3, i / 3), u2[i]) << i;
  }
}

// Each bad file gives BadInput (exit 2) naming the file.
class BadRasterFile : public ::testing::TestWithParam<relief_test::BadFile> {};

TEST_P(BadRasterFile, IsRefusedAsBadInput) {
  const relief_test::BadFile c = GetParam();
  ScratchDir dir("bad-raster");
  relief_test::WriteBytes(dir / c.file, c.bytes);
  relief_test::ExpectBadInput([&] { ReadRaster(dir / c.file); }, c.file);
}

std::string NpyBytes(const std::string& descr, const std::string& shape, size_t dataBytes) {
  return relief_test::NpyBytes(descr, shape, std::string(dataBytes, '\0'));
}

std::string RsmBytes(std::int32_t w, std::int32_t h, size_t dataBytes) {
  std::string bytes(8, '\0');
  std::memcpy(bytes.data(), &w, 4);
  std::memcpy(bytes.data() + 4, &h, 4);
  return bytes + std::string(dataBytes, '\0');
}

// A classic little-endian TIFF written byte by byte, so that its header can
// lie: one directory of (tag, type, value) entries (SHORT 3 or LONG 4, one
// value each) followed by `data`, whose offset is what the tag 0 stands for.
std::string HandTiff(std::vector<std::tuple<int, int, std::uint32_t>> entries, const std::string& data) {
  std::sort(entries.begin(), entries.end());
  const std::uint32_t dataAt = 8 + 2 + 12 * static_cast<std::uint32_t>(entries.size()) + 4;
  std::string b("II*\0\x08\0\0\0", 8);
  auto put = [&b](std::uint32_t v, int bytes) { b.append(reinterpret_cast<const char*>(&v), bytes); };
  put(static_cast<std::uint32_t>(entries.size()), 2);
  for (auto [tag, type, value] : entries) {
    put(tag, 2), put(type, 2), put(1, 4);
    put(value == 0 && (tag == 273 || tag == 324) ? dataAt : value, 4);
  }
  put(0, 4);
  return b + data;
}

// A one-strip TIFF of width x height 16-bit samples with the given
// compression and stored bytes.
std::string StripTiff(std::uint32_t width, std::uint32_t height, int compression, std::uint32_t stored,
                      std::uint32_t offset = 0, int samples = 1) {
  return HandTiff({{256, 4, width}, {257, 4, height}, {258, 3, 16}, {259, 3, compression}, {262, 3, 1},
                   {273, 4, offset}, {277, 3, samples}, {278, 4, height}, {279, 4, stored}},
                  std::string(stored, '\x55'));
}

std::string TiledTiff(std::uint32_t tile) {
  return HandTiff({{256, 4, 1}, {257, 4, 1}, {258, 3, 16}, {259, 3, 8}, {262, 3, 1}, {277, 3, 1}, {322, 4, tile},
                   {323, 4, tile}, {324, 4, 0}, {325, 4, 64}},
                  std::string(64, '\x55'));
}

// A PNG chunk with its CRC.
std::string PngChunk(const std::string& type, const std::string& body) {
  std::string b;
  auto be32 = [&b](std::uint32_t v) {
    for (int s = 24; s >= 0; s -= 8) b.push_back(static_cast<char>(v >> s));
  };
  be32(static_cast<std::uint32_t>(body.size()));
  const std::string typed = type + body;
  b += typed;
  be32(static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(typed.data()), static_cast<uInt>(typed.size()))));
  return b;
}

// A greyscale PNG declaring width x height at the bit depth, with a
// relief-scale text and the given (deflated) rows: nothing more is needed
// to lie about the size.
std::string HandPng(std::uint32_t width, std::uint32_t height, int depth, const std::string& scale,
                    const std::string& rows) {
  std::string ihdr;
  for (std::uint32_t v : {width, height})
    for (int s = 24; s >= 0; s -= 8) ihdr.push_back(static_cast<char>(v >> s));
  ihdr += std::string{static_cast<char>(depth), 0, 0, 0, 0};
  uLongf packedSize = compressBound(static_cast<uLong>(rows.size()));
  std::string packed(packedSize, '\0');
  compress(reinterpret_cast<Bytef*>(packed.data()), &packedSize, reinterpret_cast<const Bytef*>(rows.data()),
           static_cast<uLong>(rows.size()));
  packed.resize(packedSize);
  std::string png("\x89PNG\r\n\x1a\n", 8);
  png += PngChunk("IHDR", ihdr);
  if (!scale.empty()) png += PngChunk("tEXt", std::string("relief-scale") + '\0' + scale);
  return png + PngChunk("IDAT", packed) + PngChunk("IEND", "");
}

// Two 16-bit samples of 65535 in one row (filter byte 0 first).
const std::string kTopRow16("\0\xff\xff\xff\xff", 5);

std::string NpyWithHeaderOf(size_t bytes) {
  std::string header = "{'descr': '<f4', 'fortran_order': False, 'shape': (1, 1), }";
  header.resize(bytes - 1, ' ');
  header.push_back('\n');
  const std::uint32_t length = static_cast<std::uint32_t>(header.size());
  return std::string("\x93NUMPY\x02\x00", 8) + std::string(reinterpret_cast<const char*>(&length), 4) + header +
         std::string(4, '\0');
}

std::string NpyHeaderOnly(const std::string& header) {
  return std::string("\x93NUMPY\x01\x00", 8) + static_cast<char>(header.size()) + '\0' + header;
}

std::string NpyFloat64(double v) {
  return relief_test::NpyBytes("<f8", "(1, 1)", std::string(reinterpret_cast<const char*>(&v), 8));
}

INSTANTIATE_TEST_SUITE_P(
    Hostile, BadRasterFile,
    ::testing::ValuesIn(std::vector<relief_test::BadFile>{
        // Declared sizes the file cannot hold, refused before allocating.
        {"TiffHugeUncompressed", "u.tif", StripTiff(30000, 30000, 1, 64)},
        {"TiffHugeDeflated", "d.tif", StripTiff(30000, 30000, 8, 64)},
        {"TiffStripOutsideTheFile", "o.tif", StripTiff(4, 4, 1, 32, 1 << 20)},
        {"TiffHugeTile", "h.tif", TiledTiff(1 << 16)},
        {"TiffTooManyRows", "r.tif", StripTiff(1, 40000, 1, 80000)},
        {"TiffTwoSamples", "s.tif", StripTiff(2, 2, 1, 16, 0, 2)},
        {"PngHugeDeclared", "h.png", HandPng(1000000, 30000, 8, "", std::string(64, '\0'))},
        {"PngTooManyRows", "r.png", HandPng(1, 40000, 8, "", std::string(64, '\0'))},
        // Heights that would not be finite.
        {"PngScaleOverflows", "o.png", HandPng(2, 1, 16, "1e38", kTopRow16)},
        {"PngScaleNotANumber", "n.png", HandPng(2, 1, 16, "tall", kTopRow16)},
        {"PngScaleNegative", "m.png", HandPng(2, 1, 16, "-2", kTopRow16)},
        {"NpyFloat64BeyondFloat", "f.npy", NpyFloat64(1e300)},
        // Headers that are not ours to read.
        {"NpyLongHeader", "l.npy", NpyWithHeaderOf(5000)},
        {"NpyComplex", "c.npy", NpyBytes("<c8", "(1, 1)", 8)},
        {"NpyHalfFloat", "h.npy", NpyBytes("<f2", "(1, 1)", 2)},
        {"NpyNoOrder", "o.npy", NpyHeaderOnly("{'descr': '<f4', 'shape': (1, 1), }\n") + std::string(4, '\0')},
    }),
    relief_test::BadFileName);

INSTANTIATE_TEST_SUITE_P(
    Cases, BadRasterFile,
    ::testing::ValuesIn(std::vector<relief_test::BadFile>{
        {"EmptyNpy", "e.npy", ""}, {"NpyBadMagic", "m.npy", "NUMPY not really"},
        {"NpyShortData", "s.npy", NpyBytes("<f4", "(3, 4)", 47)},
        {"NpyLongData", "l.npy", NpyBytes("<f4", "(3, 4)", 49)},
        {"NpyThreeDims", "t.npy", NpyBytes("<f4", "(2, 3, 4)", 96)},
        {"NpyTooManyRows", "r.npy", NpyBytes("<u2", "(40000, 1)", 80000)},
        {"NpyHugeShape", "h.npy", NpyBytes("<f4", "(99999999, 99999999)", 16)}, {"PngNotPng", "n.png", "this is text"},
        {"PngTruncated", "t.png", std::string("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\0\x10", 20)},
        {"TiffGarbage", "g.tif", std::string("II*\0garbage", 11)}, {"RsmShort", "s.rsm", RsmBytes(2, 3, 31)},
        {"RsmLong", "l.rsm", RsmBytes(2, 3, 33)}, {"RsmNegative", "n.rsm", RsmBytes(-2, 3, 0)},
        {"RsmTooManyRows", "r.rsm", RsmBytes(1, 32000, 16 * 8001)}, {"RsmHeaderOnly", "h.rsm", std::string(5, '\0')},
        {"UnknownExtension", "field.bmp", "BM"},
    }),
    relief_test::BadFileName);

TEST(RasterFormats, MissingAndTruncatedFilesAreRefused) {
  relief_test::ExpectBadInput([] { ReadRaster("/nonexistent/field.npy"); }, "field.npy");
  ScratchDir dir("tiff-trunc");
  CSSEMatrix m;
  m.Create(64, 64);
  m.Fill(3.0f);
  WriteRaster(dir / "full.tif", m);
  // Cut into the pixel data (libtiff puts the directory at the end, so the
  // header's offset to it no longer fits).
  const std::string bytes = relief_test::ReadBytes(dir / "full.tif");
  relief_test::WriteBytes(dir / "cut.tif", bytes.substr(0, bytes.size() / 2));
  EXPECT_THROW(ReadRaster(dir / "cut.tif"), ToolError);
}

}  // namespace
