// Elevation models as other programs write them: a seeded int16 field
// (heights 200 .. 1100, holes holding the no-data value -9999, an odd
// 403 x 344 size) written by small independent writers in every
// layout the tool reads, and read back through the tool's readers.

#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "io/raster_io.h"
#include "raster_stats.h"
#include "tool_test_support.h"

using namespace relief::tool;
using relief_test::ScratchDir;

namespace {

constexpr int kWidth = 403, kHeight = 344;
constexpr std::int16_t kNoData = -9999;

// Seeded heights 200 .. 1100 with about 5 % no data, and a strip of no data
// along the right edge.
std::vector<std::int16_t> DemLikeField(std::uint32_t seed) {
  const relief_test::Grid g = relief_test::RandomField(kWidth, kHeight, seed, 200.0f, 1100.0f, 0.05);
  std::vector<std::int16_t> v;
  for (int i = 0; i < kWidth * kHeight; ++i)
    v.push_back(g.values[i] == 0 || i % kWidth >= kWidth - 3 ? kNoData : std::int16_t(std::lround(g.values[i])));
  return v;
}

// How one layout stores the field (the extension picks the container), and
// what the reader must give back.
struct Layout {
  const char* name;
  const char* file;
  const char* descr;       // samples as .npy spells them: byte order, kind, bytes
  bool fortran;            // .npy: columns first
  int tile, compression;   // TIFF: tile size (strips of 7 rows when 0), compression
  const char* noData;      // TIFF: the GDAL no-data text (holes then read as 0), none when null
  double pixelScale;       // TIFF: the stated GeoTIFF pixel scale, 0 for none
  const char* sampleType;  // what the reader reports
};

void PrintTo(const Layout& l, std::ostream* os) { *os << l.name; }

const Layout kLayouts[] = {
    {"NpyInt16", "c.npy", "<i2", false, 0, 0, nullptr, 0, "int16"},
    {"NpyInt16BigEndianFortran", "bf.npy", ">i2", true, 0, 0, nullptr, 0, "int16"},
    {"NpyInt32BigEndian", "b4.npy", ">i4", false, 0, 0, nullptr, 0, "int32"},
    {"NpyFloat64Fortran", "f8.npy", "<f8", true, 0, 0, nullptr, 0, "float64"},
    {"TiffInt16Strips", "s.tif", "<i2", false, 0, COMPRESSION_NONE, "-9999", 0, "int16"},
    {"TiffInt16BigEndianStrips", "sb.tif", ">i2", false, 0, COMPRESSION_LZW, "-9999", 0, "int16"},
    {"TiffInt16TilesDeflateGeo", "t.tif", "<i2", false, 64, COMPRESSION_ADOBE_DEFLATE, " -9999 ", 30, "int16"},
    {"TiffInt32Tiles", "t4.tif", "<i4", false, 32, COMPRESSION_NONE, "-9999", 0.5, "int32"},
    {"TiffFloat32NoTag", "f.tif", "<f4", false, 0, COMPRESSION_ADOBE_DEFLATE, nullptr, 0, "float32"},
    {"TiffFloat64Tagged", "f8.tif", "<f8", false, 16, COMPRESSION_NONE, "-9999.0", 0, "float64"},
    // 16-bit PNG with the tool's relief-scale text: unsigned, so holes are 0.
    {"Png16", "p.png", ">u2", false, 0, 0, nullptr, 0, "uint16"},
    {"RsmLibraryRecord", "r.rsm", "<f4", false, 0, 0, nullptr, 0, "float32"},
};

template <typename T>
std::string Bytes(const std::vector<std::int16_t>& v, bool bigEndian, bool fortran) {
  std::string out;
  for (int i = 0; i < kWidth * kHeight; ++i) {
    const int x = fortran ? i / kHeight : i % kWidth, y = fortran ? i % kHeight : i / kWidth;
    const T value = static_cast<T>(v[static_cast<size_t>(y) * kWidth + x]);
    char b[sizeof(T)];
    std::memcpy(b, &value, sizeof(T));
    if (bigEndian) std::reverse(b, b + sizeof(T));
    out.append(b, sizeof(T));
  }
  return out;
}

std::string Samples(const std::vector<std::int16_t>& v, const std::string& descr, bool fortran) {
  const bool big = descr[0] == '>';
  const std::string kind = descr.substr(1);
  return kind == "i2"   ? Bytes<std::int16_t>(v, big, fortran)
         : kind == "u2" ? Bytes<std::uint16_t>(v, big, fortran)
         : kind == "i4" ? Bytes<std::int32_t>(v, big, fortran)
         : kind == "f4" ? Bytes<float>(v, big, fortran)
                        : Bytes<double>(v, big, fortran);
}

// A one-sample TIFF: libtiff takes the samples in the machine's order and
// writes them in the file's.
void WriteTiff(const std::filesystem::path& path, const Layout& l, const std::vector<std::int16_t>& v) {
  const int size = l.descr[2] - '0';
  const std::string samples = Samples(v, std::string("<") + (l.descr + 1), false);
  detail::RegisterGeoTiffTags();
  TIFF* tif = TIFFOpen(path.c_str(), l.descr[0] == '>' ? "wb" : "w");
  ASSERT_NE(tif, nullptr);
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, kWidth);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, kHeight);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8 * size);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, l.descr[1] == 'f' ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_INT);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, l.compression);
  if (l.noData) TIFFSetField(tif, TIFFTAG_GDAL_NODATA, l.noData);
  const double scale[3] = {l.pixelScale, l.pixelScale, 0.0};
  if (l.pixelScale > 0) TIFFSetField(tif, 33550, 3, scale);
  const int blockWidth = l.tile ? l.tile : kWidth, blockHeight = l.tile ? l.tile : 7;
  TIFFSetField(tif, l.tile ? TIFFTAG_TILEWIDTH : TIFFTAG_ROWSPERSTRIP, l.tile ? l.tile : 7);
  if (l.tile) TIFFSetField(tif, TIFFTAG_TILELENGTH, l.tile);
  for (int by = 0; by < kHeight; by += blockHeight)
    for (int bx = 0; bx < kWidth; bx += blockWidth) {
      const int rows = std::min(blockHeight, kHeight - by), columns = std::min(blockWidth, kWidth - bx);
      std::string block(size_t(blockWidth) * blockHeight * size, '\0');  // zero beyond the image
      for (int y = 0; y < rows; ++y)
        std::memcpy(&block[size_t(y) * blockWidth * size], &samples[(size_t(by + y) * kWidth + bx) * size],
                    size_t(columns) * size);
      ASSERT_GE(l.tile ? TIFFWriteTile(tif, block.data(), bx, by, 0, 0)
                       : TIFFWriteEncodedStrip(tif, TIFFComputeStrip(tif, by, 0), block.data(), rows * kWidth * size),
                0);
    }
  TIFFClose(tif);
}

// The simplified writer treats 16-bit data as linear light: the classic
// interface writes the samples as they are.
void WritePng(const std::filesystem::path& path, const Layout& l, std::vector<std::int16_t> v) {
  std::replace(v.begin(), v.end(), kNoData, std::int16_t(0));
  const std::string samples = Samples(v, l.descr, false);
  FILE* f = std::fopen(path.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, f);
  png_set_IHDR(png, info, kWidth, kHeight, 16, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_text text{};
  text.compression = PNG_TEXT_COMPRESSION_NONE;
  text.key = const_cast<char*>("relief-scale");
  text.text = const_cast<char*>("1");
  png_set_text(png, info, &text, 1);
  png_write_info(png, info);
  for (int y = 0; y < kHeight; ++y)
    png_write_row(png, reinterpret_cast<png_const_bytep>(&samples[size_t(y) * kWidth * 2]));
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  std::fclose(f);
}

void Write(const std::filesystem::path& path, const Layout& l, const std::vector<std::int16_t>& v) {
  const std::string extension = path.extension();
  if (extension == ".npy")
    relief_test::WriteBytes(path,
                            relief_test::NpyBytes(l.descr, "(344, 403)", Samples(v, l.descr, l.fortran), l.fortran));
  else if (extension == ".tif")
    WriteTiff(path, l, v);
  else if (extension == ".png")
    WritePng(path, l, v);
  else
    ASSERT_TRUE(relief_test::ToMatrix({kWidth, kHeight, std::vector<float>(v.begin(), v.end())}).Store(path));
}

class DemRoundTrip : public ::testing::TestWithParam<Layout> {};

TEST_P(DemRoundTrip, EveryPixelComesBackAndHolesAreNoData) {
  const Layout layout = GetParam();
  const std::uint32_t seed = 4033;
  SCOPED_TRACE("seed " + std::to_string(seed));
  const std::vector<std::int16_t> field = DemLikeField(seed);
  ScratchDir dir("dem");
  Write(dir / layout.file, layout, field);
  RasterMetadata metadata;
  auto raster = ReadRaster(dir / layout.file, &metadata);
  ASSERT_EQ(raster->GetSizeX(), kWidth);
  ASSERT_EQ(raster->GetSizeY(), kHeight);
  EXPECT_EQ(metadata.sampleType, layout.sampleType);
  EXPECT_EQ(metadata.pixelScale[0], layout.pixelScale);
  EXPECT_EQ(metadata.pixelScale[1], layout.pixelScale);
  const bool tagged = layout.noData != nullptr, png = std::string(layout.file).find(".png") != std::string::npos;
  std::int64_t holes = 0;
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) {
      const std::int16_t v = field[static_cast<size_t>(y) * kWidth + x];
      holes += v == kNoData;
      // Untagged files keep -9999 as a height; it is still not valid.
      const float expected = v != kNoData ? v : tagged || png ? 0.0f : static_cast<float>(kNoData);
      ASSERT_EQ(raster->GetPoint(x, y), expected) << "pixel " << x << ", " << y;
    }
  ASSERT_GT(holes, 1000);
  EXPECT_EQ(metadata.noDataPixels, tagged ? holes : 0);
  EXPECT_EQ(metadata.noData.has_value(), tagged);
  // Valid by the one rule info and mesh share: the holes never are.
  EXPECT_EQ(Summarize(*raster).valid, static_cast<std::int64_t>(field.size()) - holes);
}

INSTANTIATE_TEST_SUITE_P(Layouts, DemRoundTrip, ::testing::ValuesIn(kLayouts),
                         [](const auto& info) { return std::string(info.param.name); });

// info and mesh agree on the valid pixels, and mesh takes the GeoTIFF pixel
// scale for x and y when --scale is not given.
TEST(DemTool, InfoAndMeshAgreeAndThePixelScaleIsTheDefault) {
  ScratchDir dir("dem-tool");
  const std::vector<std::int16_t> field = DemLikeField(77);
  Write(dir / "t.tif", kLayouts[6], field);
  const std::string valid = std::to_string(field.size() - std::count(field.begin(), field.end(), kNoData));
  const std::string d = relief_test::Quote(dir.Path());
  const auto info = relief_test::RunTool("info " + d + "/t.tif");
  ASSERT_EQ(info.exitCode, 0) << info.err;
  EXPECT_NE(info.out.find("valid pixels  " + valid + " "), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("pixel scale   30 x 30"), std::string::npos) << info.out;
  const auto mesh = relief_test::RunTool("mesh " + d + "/t.tif -o " + d + "/t.stl");
  ASSERT_EQ(mesh.exitCode, 0) << mesh.err;
  EXPECT_NE(mesh.out.find(valid + " above threshold 0"), std::string::npos) << mesh.out;
  // Column 402 minus the three no-data edge columns: x up to 399 x 30.
  EXPECT_NE(relief_test::RunTool("info " + d + "/t.stl").out.find("x 0 .. 11970,"), std::string::npos);
  ASSERT_EQ(relief_test::RunTool("mesh " + d + "/t.tif -o " + d + "/u.stl --scale 1 1 1 -q").exitCode, 0);
  EXPECT_NE(relief_test::RunTool("info " + d + "/u.stl").out.find("x 0 .. 399,"), std::string::npos);
}

}  // namespace
