// Elevation models as other programs write them: a seeded, real-DEM-like
// int16 field (heights 200 .. 1100, holes holding the no-data value -9999,
// an odd 403 x 344 size) written by small independent writers in every
// layout the tool reads, and read back through the tool's readers.

#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "errors.h"
#include "io/raster_io.h"
#include "raster_stats.h"
#include "tool_test_support.h"

using namespace relief::tool;
using relief_test::ScratchDir;

namespace {

constexpr int kWidth = 403, kHeight = 344;
constexpr std::int16_t kNoData = -9999;

// Rolling terrain from a few seeded waves plus noise, with round holes of
// no data (lakes, voids of the survey) and a strip of no data at the edge.
std::vector<std::int16_t> DemLikeField(std::uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  double wave[4][3];
  for (auto& w : wave)
    w[0] = 0.005 + 0.03 * unit(random), w[1] = 0.005 + 0.03 * unit(random), w[2] = 6.3 * unit(random);
  struct Hole {
    double x, y, r;
  } holes[6];
  for (auto& h : holes) h = {unit(random) * kWidth, unit(random) * kHeight, 3 + 12 * unit(random)};
  std::vector<std::int16_t> v(static_cast<size_t>(kWidth) * kHeight);
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) {
      double z = 650;
      for (const auto& w : wave) z += 110 * std::sin(w[0] * x + w[2]) * std::cos(w[1] * y);
      z += 20 * unit(random);
      bool hole = x >= kWidth - 3;
      for (const auto& h : holes) hole |= (x - h.x) * (x - h.x) + (y - h.y) * (y - h.y) < h.r * h.r;
      v[static_cast<size_t>(y) * kWidth + x] =
          hole ? kNoData : static_cast<std::int16_t>(std::lround(std::clamp(z, 200.0, 1100.0)));
    }
  return v;
}

// How one layout stores the field, and what the reader must give back.
struct Layout {
  const char* name;
  const char* file;
  std::function<void(const std::filesystem::path&, const std::vector<std::int16_t>&)> write;
  const char* sampleType;
  bool noDataTagged;  // the file states -9999 as no data: holes read as 0
  double pixelScale;  // stated GeoTIFF pixel scale, 0 for none
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

void WriteNpyLayout(const std::filesystem::path& path, const std::string& descr, bool fortran,
                    const std::string& data) {
  std::string header = "{'descr': '" + descr + "', 'fortran_order': " + (fortran ? "True" : "False") + ", 'shape': (" +
                       std::to_string(kHeight) + ", " + std::to_string(kWidth) + "), }";
  while ((10 + header.size() + 1) % 64 != 0) header.push_back(' ');
  header.push_back('\n');
  relief_test::WriteBytes(path, std::string("\x93NUMPY\x01\x00", 8) + static_cast<char>(header.size() & 0xff) +
                                    static_cast<char>(header.size() >> 8) + header + data);
}

// A one-sample TIFF of the given type; tiles when tile > 0, strips of 7
// rows otherwise; the GDAL no-data text and GeoTIFF pixel scale when given.
template <typename T>
void WriteTiffLayout(const std::filesystem::path& path, const std::vector<std::int16_t>& v, int format, int tile,
                     int compression, const char* noData, double pixelScale, const char* mode = "w") {
  detail::RegisterGeoTiffTags();
  TIFF* tif = TIFFOpen(path.c_str(), mode);
  ASSERT_NE(tif, nullptr);
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, kWidth);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, kHeight);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8 * sizeof(T));
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, format);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, compression);
  if (noData) TIFFSetField(tif, TIFFTAG_GDAL_NODATA, noData);
  if (pixelScale > 0) {
    double scale[3] = {pixelScale, pixelScale, 0.0};
    TIFFSetField(tif, 33550, 3, scale);
  }
  auto at = [&](int x, int y) {
    return x < kWidth && y < kHeight ? static_cast<T>(v[static_cast<size_t>(y) * kWidth + x]) : T(0);
  };
  if (tile > 0) {
    TIFFSetField(tif, TIFFTAG_TILEWIDTH, tile);
    TIFFSetField(tif, TIFFTAG_TILELENGTH, tile);
    std::vector<T> block(static_cast<size_t>(tile) * tile);
    for (int ty = 0; ty < kHeight; ty += tile)
      for (int tx = 0; tx < kWidth; tx += tile) {
        for (int y = 0; y < tile; ++y)
          for (int x = 0; x < tile; ++x) block[static_cast<size_t>(y) * tile + x] = at(tx + x, ty + y);
        ASSERT_GE(TIFFWriteTile(tif, block.data(), tx, ty, 0, 0), 0);
      }
  } else {
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 7);
    std::vector<T> row(kWidth);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) row[x] = at(x, y);
      ASSERT_GE(TIFFWriteScanline(tif, row.data(), y, 0), 0);
    }
  }
  TIFFClose(tif);
}

// 16-bit PNG with the tool's relief-scale text: unsigned, so holes are 0.
void WritePngLayout(const std::filesystem::path& path, const std::vector<std::int16_t>& v) {
  std::vector<std::uint16_t> big(v.size());
  for (size_t i = 0; i < v.size(); ++i) {
    const std::uint16_t u = v[i] == kNoData ? 0 : static_cast<std::uint16_t>(v[i]);
    big[i] = static_cast<std::uint16_t>(u << 8 | u >> 8);  // PNG is big-endian
  }
  // The simplified writer treats 16-bit data as linear light: the classic
  // interface writes the samples as they are.
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
    png_write_row(png, reinterpret_cast<png_const_bytep>(&big[static_cast<size_t>(y) * kWidth]));
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  std::fclose(f);
}

std::vector<Layout> Layouts() {
  using V = std::vector<std::int16_t>;
  return {
      {"NpyInt16", "c.npy",
       [](auto p, const V& v) { WriteNpyLayout(p, "<i2", false, Bytes<std::int16_t>(v, false, false)); }, "int16",
       false, 0},
      {"NpyInt16BigEndianFortran", "bf.npy",
       [](auto p, const V& v) { WriteNpyLayout(p, ">i2", true, Bytes<std::int16_t>(v, true, true)); }, "int16", false,
       0},
      {"NpyInt32BigEndian", "b4.npy",
       [](auto p, const V& v) { WriteNpyLayout(p, ">i4", false, Bytes<std::int32_t>(v, true, false)); }, "int32", false,
       0},
      {"NpyFloat64Fortran", "f8.npy",
       [](auto p, const V& v) { WriteNpyLayout(p, "<f8", true, Bytes<double>(v, false, true)); }, "float64", false, 0},
      {"TiffInt16Strips", "s.tif",
       [](auto p, const V& v) {
         WriteTiffLayout<std::int16_t>(p, v, SAMPLEFORMAT_INT, 0, COMPRESSION_NONE, "-9999", 0);
       },
       "int16", true, 0},
      {"TiffInt16BigEndianStrips", "sb.tif",
       [](auto p, const V& v) {
         WriteTiffLayout<std::int16_t>(p, v, SAMPLEFORMAT_INT, 0, COMPRESSION_LZW, "-9999", 0, "wb");
       },
       "int16", true, 0},
      {"TiffInt16TilesDeflateGeo", "t.tif",
       [](auto p, const V& v) {
         WriteTiffLayout<std::int16_t>(p, v, SAMPLEFORMAT_INT, 64, COMPRESSION_ADOBE_DEFLATE, " -9999 ", 30.0);
       },
       "int16", true, 30},
      {"TiffInt32Tiles", "t4.tif",
       [](auto p, const V& v) {
         WriteTiffLayout<std::int32_t>(p, v, SAMPLEFORMAT_INT, 32, COMPRESSION_NONE, "-9999", 0.5);
       },
       "int32", true, 0.5},
      {"TiffFloat32NoTag", "f.tif",
       [](auto p, const V& v) {
         WriteTiffLayout<float>(p, v, SAMPLEFORMAT_IEEEFP, 0, COMPRESSION_ADOBE_DEFLATE, nullptr, 0);
       },
       "float32", false, 0},
      {"TiffFloat64Tagged", "f8.tif",
       [](auto p, const V& v) {
         WriteTiffLayout<double>(p, v, SAMPLEFORMAT_IEEEFP, 16, COMPRESSION_NONE, "-9999.0", 0);
       },
       "float64", true, 0},
      {"Png16", "p.png", [](auto p, const V& v) { WritePngLayout(p, v); }, "uint16", false, 0},
      {"RsmLibraryRecord", "r.rsm",
       [](auto p, const V& v) {
         CSSEMatrix m;
         m.Create(kWidth, kHeight);
         for (int i = 0; i < kWidth * kHeight; ++i) m.SetPoint(i % kWidth, i / kWidth, v[i]);
         ASSERT_TRUE(m.Store(p));
       },
       "float32", false, 0},
  };
}

class DemRoundTrip : public ::testing::TestWithParam<Layout> {};

TEST_P(DemRoundTrip, EveryPixelComesBackAndHolesAreNoData) {
  const Layout layout = GetParam();
  const std::uint32_t seed = 4033;
  SCOPED_TRACE("seed " + std::to_string(seed));
  const std::vector<std::int16_t> field = DemLikeField(seed);
  ScratchDir dir("dem");
  layout.write(dir / layout.file, field);
  RasterMetadata metadata;
  auto raster = ReadRaster(dir / layout.file, &metadata);
  ASSERT_EQ(raster->GetSizeX(), kWidth);
  ASSERT_EQ(raster->GetSizeY(), kHeight);
  EXPECT_EQ(metadata.sampleType, layout.sampleType);
  EXPECT_EQ(metadata.pixelScale[0], layout.pixelScale);
  EXPECT_EQ(metadata.pixelScale[1], layout.pixelScale);
  const bool png = std::string(layout.file).find(".png") != std::string::npos;
  std::int64_t holes = 0;
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) {
      const std::int16_t v = field[static_cast<size_t>(y) * kWidth + x];
      holes += v == kNoData;
      // Untagged files keep -9999 as a height; it is still not valid.
      const float expected = v != kNoData ? v : layout.noDataTagged || png ? 0.0f : static_cast<float>(kNoData);
      ASSERT_EQ(raster->GetPoint(x, y), expected) << "pixel " << x << ", " << y;
    }
  ASSERT_GT(holes, 1000);
  EXPECT_EQ(metadata.noDataPixels, layout.noDataTagged ? holes : 0);
  EXPECT_EQ(metadata.noData.has_value(), layout.noDataTagged);
  // Valid by the one rule info and mesh share: the holes never are.
  EXPECT_EQ(Summarize(*raster).valid, static_cast<std::int64_t>(field.size()) - holes);
}

INSTANTIATE_TEST_SUITE_P(Layouts, DemRoundTrip, ::testing::ValuesIn(Layouts()),
                         [](const auto& info) { return std::string(info.param.name); });

// info and mesh agree on the valid pixels, and mesh takes the GeoTIFF pixel
// scale for x and y when --scale is not given.
TEST(DemTool, InfoAndMeshAgreeAndThePixelScaleIsTheDefault) {
  ScratchDir dir("dem-tool");
  const std::vector<std::int16_t> field = DemLikeField(77);
  WriteTiffLayout<std::int16_t>(dir / "t.tif", field, SAMPLEFORMAT_INT, 64, COMPRESSION_ADOBE_DEFLATE, "-9999", 30.0);
  std::int64_t valid = 0;
  for (auto v : field) valid += v != kNoData;
  const std::string d = "'" + dir.Path().string() + "'";
  const auto info = relief_test::RunTool("info " + d + "/t.tif");
  ASSERT_EQ(info.exitCode, 0) << info.err;
  EXPECT_NE(info.out.find("valid pixels  " + std::to_string(valid) + " "), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("pixel scale   30 x 30"), std::string::npos) << info.out;
  const auto mesh = relief_test::RunTool("mesh " + d + "/t.tif -o " + d + "/t.stl");
  ASSERT_EQ(mesh.exitCode, 0) << mesh.err;
  EXPECT_NE(mesh.out.find(std::to_string(valid) + " above threshold 0"), std::string::npos) << mesh.out;
  const auto box = relief_test::RunTool("info " + d + "/t.stl");
  // Column 402 minus the three no-data edge columns: x up to 399 x 30.
  EXPECT_NE(box.out.find("x 0 .. 11970,"), std::string::npos) << box.out;
  const auto given = relief_test::RunTool("mesh " + d + "/t.tif -o " + d + "/u.stl --scale 1 1 1 -q");
  ASSERT_EQ(given.exitCode, 0) << given.err;
  EXPECT_NE(relief_test::RunTool("info " + d + "/u.stl").out.find("x 0 .. 399,"), std::string::npos);
}

}  // namespace
