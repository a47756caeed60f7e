// Float and byte raster records: exact bytes, round trips, every truncation,
// impossible headers and the file wrappers.

#include <filesystem>
#include <fstream>
#include <streambuf>

#include "raster_compare.h"
#include "relief/CArchive.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEcharMatrix.h"

using namespace relief::test;

namespace {

template <class Raster>
std::string Record(Raster& m) {
  std::ostringstream out(std::ios::binary);
  CArchive ar(out);
  m.Serialize(ar);
  ar.Close();
  return out.str();
}

// A stream that hides its length, as a pipe would.
struct UnseekableBuffer : std::streambuf {
  explicit UnseekableBuffer(std::string bytes) : data(std::move(bytes)) {
    setg(&data[0], &data[0], &data[0] + data.size());
  }
  std::string data;
};

// Loads through a seekable stream, or through one that cannot tell its length.
template <class Raster>
void LoadRecord(Raster& m, const std::string& bytes, bool pipe = false) {
  std::istringstream seekable(bytes, std::ios::binary);
  UnseekableBuffer buffer(bytes);
  std::istream piped(&buffer);
  CArchive ar(pipe ? piped : seekable);
  m.Serialize(ar);
}

std::string Int32(std::int32_t v) { return std::string(reinterpret_cast<const char*>(&v), 4); }
std::string Float32(float v) { return std::string(reinterpret_cast<const char*>(&v), 4); }

// Random content in every lane, padding included (it travels with the record).
CSSEMatrix Patterned(int sx, int sy, unsigned seed) {
  std::mt19937 rng(seed);
  return RandomRaster(sx, sy, rng, Uniform(-1e6f, 1e6f));
}

CSSEcharMatrix PatternedChar(int sx, int sy, unsigned seed) {
  CSSEcharMatrix m(sx, sy);
  for (int i = 0; i < sx * sy; ++i) m.SetPoint(i % sx, i / sx, static_cast<char>(seed * 2654435761u + i * 40503u >> 7));
  return m;
}

TEST(RasterRecord, ExactBytes) {
  CSSEMatrix m = Filled(2, 3, 0.0f);  // column by column, whole SSE rows: padding lanes included
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 2; ++x) Lane(m, x, y) = y < 3 ? float(10 * x + y + 1) : -1.0f - x;
  EXPECT_EQ(Record(m), Int32(2) + Int32(3) + Float32(1) + Float32(2) + Float32(3) + Float32(-1) + Float32(11) +
                           Float32(12) + Float32(13) + Float32(-2));
  CSSEcharMatrix c(3, 2), noRows(1000, 0), loaded;  // row by row, no spare rows
  for (int i = 0; i < 6; ++i) c.SetPoint(i % 3, i / 3, static_cast<char>(i < 3 ? i - 3 : i + 4));
  EXPECT_EQ(Record(c), Int32(3) + Int32(2) + std::string("\xfd\xfe\xff\x07\x08\x09", 6));
  EXPECT_EQ(Record(noRows), Int32(1000) + Int32(0));
  LoadRecord(loaded, Record(noRows));
  EXPECT_EQ(std::pair(loaded.GetSizeX(), loaded.GetSizeY()), std::pair(1000, 0));
}

// A record loads over other content: bitwise the same lanes (padding
// included), the byte raster's spare rows cleared. Every proper prefix of
// the smaller records, from either kind of stream, throws CArchiveException
// and leaves the target as it was.
template <class Raster>
void ExpectRoundTrip(Raster& m, Raster target, bool everyPrefix) {
  const std::string record = Record(m), before = Record(target);
  for (bool pipe : {false, true})
    for (std::size_t length = 0; everyPrefix && length < record.size(); ++length) {
      EXPECT_THROW(LoadRecord(target, record.substr(0, length), pipe), CArchiveException) << length << " " << pipe;
      ASSERT_EQ(Record(target), before) << "prefix " << length << (pipe ? " through a pipe" : "");
    }
  LoadRecord(target, record);
  EXPECT_EQ(Record(target), record);
}

TEST(RasterRecord, RoundTripsAndEveryTruncationThrows) {
  const int sizes[][2] = {{1, 1}, {2, 3}, {7, 16}, {3, 127}, {3, 128}, {129, 130}, {0, 5}, {4, 0}, {17, 15}, {0, 0}};
  for (const auto& s : sizes) {
    SCOPED_TRACE(testing::Message() << s[0] << " x " << s[1]);
    CSSEMatrix m = Patterned(s[0], s[1], s[0] * 1000 + s[1]), loaded = Patterned(9, 9, 1);
    EXPECT_EQ(Record(m).size(), 8u + 16u * s[0] * ((s[1] >> 2) + 1));  // whole SSE rows per column
    ExpectRoundTrip(m, Patterned(3, 2, 7), s[0] * s[1] < 100);
    LoadRecord(loaded, Record(m));
    EXPECT_TRUE(SameStorage(loaded, m));
    CSSEcharMatrix c = PatternedChar(s[0], s[1], s[0] * 7 + s[1]), loadedChar(4, 4);
    loadedChar.Clear(9);
    ExpectRoundTrip(c, PatternedChar(2, 3, 5), s[0] * s[1] < 100);
    LoadRecord(loadedChar, Record(c));
    if (s[0] > 0 && s[1] % 16 != 0)  // the spare rows are cleared, not left from before
      EXPECT_EQ(reinterpret_cast<char*>(loadedChar.GetMatrixDataDirectly()[s[1] >> 4])[15], 0);
  }
}

// Headers no stream could back throw before allocating: CMemoryException for
// impossible sizes (two billion columns and no rows included), end of file
// for sizes the remaining bytes cannot hold; the target stays as it was.
TEST(RasterRecord, ImpossibleHeadersThrowBeforeAllocating) {
  const std::int32_t cases[][4] = {
      // byte raster, size x, size y, CMemoryException
      {0, -1, 4, 1}, {0, 4, -1, 1},     {0, 1, 32000, 1},      {0, 1, 31999, 0},  {0, 2147483647, 31999, 0},
      {1, -1, 4, 1}, {1, 1, 128000, 1}, {1, 2147483647, 0, 1}, {1, 1, 127999, 0}, {1, 65536, 65536, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c[0] << ": " << c[1] << " x " << c[2]);
    const std::string record = Int32(c[1]) + Int32(c[2]) + std::string(64, '\0');
    CSSEMatrix m = Patterned(4, 5, 11);
    CSSEcharMatrix b = PatternedChar(4, 5, 11);
    const std::string before = c[0] ? Record(b) : Record(m);
    auto load = [&] { c[0] ? LoadRecord(b, record) : LoadRecord(m, record); };
    if (c[3])
      EXPECT_THROW(load(), CMemoryException);
    else
      EXPECT_THROW(load(), CArchiveException);
    EXPECT_EQ(c[0] ? Record(b) : Record(m), before);
  }
}

TEST(MatrixFile, StoreLoadAndUnopenablePaths) {
  const std::filesystem::path dir = std::filesystem::temp_directory_path(), path = dir / "relief_matrix_file.bin";
  CSSEMatrix m = Patterned(37, 41, 5), loaded, small = Patterned(1, 1, 6), before(m);
  ASSERT_TRUE(m.Store(path));
  EXPECT_EQ(std::filesystem::file_size(path), 8u + 16u * 37 * 11);
  ASSERT_TRUE(loaded.Load(path));
  EXPECT_TRUE(SameStorage(loaded, m));
  ASSERT_TRUE(small.Store(path));  // storing again truncates the longer file
  EXPECT_EQ(std::filesystem::file_size(path), 8u + 16u);
  std::ofstream(path, std::ios::binary) << Int32(3) << Int32(3);  // only the header
  EXPECT_THROW(loaded.Load(path), CArchiveException);
  std::filesystem::remove(path);
  EXPECT_FALSE(m.Store(dir / "relief_no_such_dir" / "m.bin"));
  EXPECT_FALSE(m.Load(dir / "relief_no_such_dir" / "m.bin"));
  EXPECT_TRUE(SameStorage(m, before));
}

}  // namespace
