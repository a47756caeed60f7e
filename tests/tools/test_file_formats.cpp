// The tool's file formats: every raster and mesh format written and read
// back through the tool's format code (odd sizes that cross the raster's
// four-row registers; meshes that share corners); elevation models as other
// programs write them: a seeded int16 field (heights 200 .. 1100, holes
// holding the no-data value -9999, an odd 403 x 344 size) written by small
// independent writers in the .npy and TIFF layouts the tool reads; and the
// kept files of
// tests/fixtures: tool_foreign/ holds files other programs write, each read
// to the values its line in tool_foreign.txt lists; tool_readers/ holds files
// the readers must refuse with the bad-input error (exit 2) naming the file
// and the reason its line in tool_readers.txt gives: lying sizes, counts and
// indices that are no whole numbers in range, heights beyond float, foreign
// headers, truncations. Several once crashed a reader or made it allocate
// gigabytes; the file name says what each one caught.

#include <gtest/gtest.h>
#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <tuple>

#include "fixture_folder.h"
#include "io/mesh_io.h"
#include "io/obj_reader.h"
#include "io/raster_io.h"
#include "raster_stats.h"
#include "tool_test_support.h"

using namespace relief::tool;
using relief_test::Grid;
using relief_test::ScratchDir;

namespace {

// n triangles whose corners are new (wide-range values in steps of 1/64,
// -0 among them) or repeat an earlier corner, as a mesh shares them.
std::vector<float> RandomTriangles(int n, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<float> c;
  while (c.size() < 9 * static_cast<size_t>(n)) {
    const bool repeat = !c.empty() && random() % 2;
    const size_t earlier = repeat ? 3 * (random() % (c.size() / 3)) : 0;
    for (int k = 0; k < 3; ++k)
      c.push_back(repeat               ? c[earlier + k]
                  : random() % 16 == 0 ? -0.0f
                                       : static_cast<float>(static_cast<int>(random() % 200001) - 100000) / 64.0f);
  }
  return c;
}

// The header's count of one element ("element vertex 123").
long PlyCount(const std::filesystem::path& path, const std::string& element) {
  const std::string bytes = relief_test::ReadBytes(path);
  const size_t at = bytes.find("element " + element + " ");
  return at == std::string::npos ? -1 : std::stol(bytes.substr(at + 9 + element.size()));
}

class MeshRoundTrip : public ::testing::TestWithParam<std::tuple<const char*, int>> {};

// Corners equal as floats compare (-0 and 0 among them) are one vertex of
// PLY and OBJ.
TEST_P(MeshRoundTrip, CornersComeBackAndSharedOnesAreWrittenOnce) {
  const auto [extension, n] = GetParam();
  const std::uint32_t seed = 77u + n;
  SCOPED_TRACE("seed " + std::to_string(seed));
  ScratchDir dir("mesh-roundtrip");
  const auto path = dir / (std::string("m") + extension);
  const std::vector<float> c = RandomTriangles(n, seed);
  std::set<std::array<float, 3>> distinct;
  for (size_t i = 0; i < c.size(); i += 3) distinct.insert({c[i], c[i + 1], c[i + 2]});
  EXPECT_EQ(relief_test::WriteTriangles(path, c), n);
  EXPECT_EQ(dir.Files().size(), 1u) << "no scratch file may be left";
  if (std::string(extension) == ".obj") {
    // The tool reads .obj only for its viewer page (1-based, vertices first).
    EXPECT_EQ(ReadObjTriangles(path), c);
    const std::string text = relief_test::ReadBytes(path);
    size_t vertexLines = 0;
    for (size_t at = text.find("\nv "); at != std::string::npos; at = text.find("\nv ", at + 1)) ++vertexLines;
    EXPECT_EQ(vertexLines, distinct.size()) << "one line per distinct corner";
    return;
  }
  if (std::string(extension) == ".ply") {
    EXPECT_EQ(PlyCount(path, "vertex"), static_cast<long>(distinct.size()));
    EXPECT_EQ(PlyCount(path, "face"), n);
  }
  auto reader = OpenTriangleReader(path);
  EXPECT_EQ(relief_test::ReadTriangles(*reader), c);
  reader->Rewind();
  EXPECT_EQ(relief_test::ReadTriangles(*reader, 5), c) << "Rewind must start over";
}

INSTANTIATE_TEST_SUITE_P(AllFormats, MeshRoundTrip,
                         ::testing::Combine(::testing::Values(".ply", ".stl", ".obj"),
                                            ::testing::Values(1, 2, 7, 1000)));

struct RoundTripCase {
  const char* extension;
  int width, height;
};

void PrintTo(const RoundTripCase& c, std::ostream* os) { *os << c.extension << " " << c.width << " x " << c.height; }

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

INSTANTIATE_TEST_SUITE_P(AllFormats, RasterRoundTrip, ::testing::ValuesIn(RoundTripCases()));

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

void Write(const std::filesystem::path& path, const Layout& l, const std::vector<std::int16_t>& v) {
  const std::string extension = path.extension();
  if (extension == ".npy")
    relief_test::WriteBytes(path,
                            relief_test::NpyBytes(l.descr, "(344, 403)", Samples(v, l.descr, l.fortran), l.fortran));
  else if (extension == ".tif")
    WriteTiff(path, l, v);
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
  const bool tagged = layout.noData != nullptr;
  std::int64_t holes = 0;
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) {
      const std::int16_t v = field[static_cast<size_t>(y) * kWidth + x];
      holes += v == kNoData;
      // Untagged files keep -9999 as a height; it is still not valid.
      const float expected = v != kNoData ? v : tagged ? 0.0f : static_cast<float>(kNoData);
      ASSERT_EQ(raster->GetPoint(x, y), expected) << "pixel " << x << ", " << y;
    }
  ASSERT_GT(holes, 1000);
  EXPECT_EQ(metadata.noDataPixels, tagged ? holes : 0);
  EXPECT_EQ(metadata.noData.has_value(), tagged);
  // Valid by the one rule info and mesh share: the holes never are.
  EXPECT_EQ(Summarize(*raster).valid, static_cast<std::int64_t>(field.size()) - holes);
}

INSTANTIATE_TEST_SUITE_P(Layouts, DemRoundTrip, ::testing::ValuesIn(kLayouts));

// "file: text" lines of tests/fixtures/<table>.
std::map<std::string, std::string> TableOf(const char* table) {
  std::ifstream in(relief_test::FixtureFolder(table));
  std::map<std::string, std::string> out;
  std::string line;
  while (std::getline(in, line))
    if (const auto colon = line.find(": "); line[0] != '#' && colon != std::string::npos)
      out[line.substr(0, colon)] = line.substr(colon + 2);
  return out;
}

// Runs check on every file of the folder with its line of the table; every
// file needs a line, every line a file.
void ForEachKeptFile(const char* folder, const char* table,
                     const std::function<void(const std::filesystem::path&, const std::string&)>& check) {
  ASSERT_TRUE(std::filesystem::is_directory(relief_test::FixtureFolder(folder)))
      << folder << " (set RELIEF_SOURCE_DIR)";
  const auto lines = TableOf(table);
  size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(relief_test::FixtureFolder(folder))) {
    const std::string name = entry.path().filename().string();
    SCOPED_TRACE(name);
    const auto line = lines.find(name);
    if (line == lines.end()) {
      ADD_FAILURE() << "no line in " << table << " says what to expect";
      continue;
    }
    check(entry.path(), line->second);
    ++files;
  }
  EXPECT_EQ(files, lines.size()) << table << " lists files the folder does not hold";
}

bool IsRaster(const std::filesystem::path& path) {
  return std::set<std::string>{".png", ".tif", ".npy", ".rsm", ".bmp"}.count(path.extension().string()) > 0;
}

TEST(KeptFiles, ForeignFilesReadToTheirListedValues) {
  ForEachKeptFile("tool_foreign", "tool_foreign.txt", [](const std::filesystem::path& path, const std::string& line) {
    std::istringstream text(line);
    std::vector<float> expected, got;
    for (float v; text >> v;) expected.push_back(v);
    if (IsRaster(path)) {
      const Grid g = relief_test::ReadGrid(path);
      got.push_back(float(g.width));
      got.insert(got.end(), g.values.begin(), g.values.end());
    } else {
      got = relief_test::ReadTriangles(path);
    }
    EXPECT_EQ(got, expected);
  });
}

TEST(KeptFiles, HostileFilesAreRefusedAsBadInputForTheirReason) {
  ForEachKeptFile("tool_readers", "tool_readers.txt", [](const std::filesystem::path& path, const std::string& line) {
    relief_test::ExpectBadInput(
        [&] {
          if (path.extension() == ".rmesh")
            ReadRmesh(path);
          else if (IsRaster(path))
            ReadRaster(path);
          else
            relief_test::ReadTriangles(path);
        },
        {path.filename().string(), line});
  });
}

}  // namespace
