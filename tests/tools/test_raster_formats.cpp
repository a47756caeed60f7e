// Every raster format written and read back through the tool's format code,
// on odd sizes that cross the raster's four-row registers.

#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "io/raster_io.h"
#include "tool_test_support.h"

using namespace relief::tool;
using relief_test::Grid;
using relief_test::ScratchDir;

namespace {

struct RoundTripCase {
  const char* extension;
  int width, height;
};

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

INSTANTIATE_TEST_SUITE_P(AllFormats, RasterRoundTrip, ::testing::ValuesIn(RoundTripCases()), [](const auto& info) {
  return std::string(info.param.extension + 1) + "_" + std::to_string(info.param.width) + "x" +
         std::to_string(info.param.height);
});

// Files other programs write: uint16 and non-finite .npy (non-finite samples
// read as no data, 0), 8-bit grey PNG and 16-bit TIFF, in C order (float64 and
// the other sample types are the elevation-model round trips').
TEST(RasterFormats, ForeignFilesAreRead) {
  ScratchDir dir("foreign");
  const std::uint16_t u2[6] = {0, 1, 65535, 300, 7, 42};
  const float f4[6] = {NAN, INFINITY, -INFINITY, 2.0f, -0.0f, 5};
  const unsigned char grey[6] = {0, 1, 2, 128, 254, 255};
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
  for (auto [tag, value] : {std::pair{TIFFTAG_IMAGEWIDTH, 3},
                            {TIFFTAG_IMAGELENGTH, 2},
                            {TIFFTAG_BITSPERSAMPLE, 16},
                            {TIFFTAG_SAMPLESPERPIXEL, 1},
                            {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK},
                            {TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG}})
    TIFFSetField(tif, tag, value);
  for (int y = 0; y < 2; ++y) TIFFWriteScanline(tif, const_cast<std::uint16_t*>(u2 + 3 * y), y, 0);
  TIFFClose(tif);
  auto b = ReadRaster(dir / "b.npy"), c = ReadRaster(dir / "c.npy");
  auto g = ReadRaster(dir / "g.png"), w = ReadRaster(dir / "w.tif");
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(b->GetPoint(i % 3, i / 3), static_cast<float>(u2[i])) << i;
    EXPECT_EQ(c->GetPoint(i % 3, i / 3), std::isfinite(f4[i]) ? f4[i] : 0.0f) << i;
    EXPECT_EQ(g->GetPoint(i % 3, i / 3), grey[i]) << i;
    EXPECT_EQ(w->GetPoint(i % 3, i / 3), u2[i]) << i;
  }
}

}  // namespace
