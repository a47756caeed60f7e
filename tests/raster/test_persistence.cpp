// Float and byte raster records: exact bytes, round trips, every truncation,
// impossible headers and the file wrappers.

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <streambuf>
#include <string>

#include "raster_compare.h"
#include "relief/CArchive.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

using relief::test::Lane;
using relief::test::StorageDifference;

namespace {

template <class Raster>
std::string Record(Raster& m) {
  std::ostringstream out(std::ios::binary);
  {
    CArchive ar(out);
    m.Serialize(ar);
  }
  return out.str();
}

template <class Raster>
void LoadRecord(Raster& m, const std::string& bytes) {
  std::istringstream in(bytes, std::ios::binary);
  CArchive ar(in);
  m.Serialize(ar);
}

std::string Int32(std::int32_t v) { return std::string(reinterpret_cast<const char*>(&v), 4); }
std::string Float32(float v) { return std::string(reinterpret_cast<const char*>(&v), 4); }

// A stream that hides its length, as a pipe would.
class UnseekableBuffer : public std::streambuf {
 public:
  explicit UnseekableBuffer(std::string data) : m_data(std::move(data)) {
    setg(m_data.data(), m_data.data(), m_data.data() + m_data.size());
  }

 private:
  std::string m_data;
};

// Every byte of a float raster other than the pixels shows up in its record.
CSSEMatrix Patterned(int sx, int sy, unsigned seed) {
  CSSEMatrix m;
  m.Create(sx, sy);
  std::mt19937 rng(seed);
  relief::test::FillLanes(m, rng, [](std::mt19937& r) { return std::uniform_real_distribution<float>(-1e6f, 1e6f)(r); });
  return m;
}

TEST(MatrixRecord, TwoByThreeIsFortyBytesColumnMajor) {
  CSSEMatrix m;
  m.Create(2, 3);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 2; ++x) m.SetPoint(x, y, static_cast<float>(10 * x + y + 1));
  Lane(m, 0, 3) = -1.0f;  // padding lanes travel with the record
  Lane(m, 1, 3) = -2.0f;
  const std::string expected = Int32(2) + Int32(3) + Float32(1) + Float32(2) + Float32(3) + Float32(-1) +
                               Float32(11) + Float32(12) + Float32(13) + Float32(-2);
  EXPECT_EQ(Record(m), expected);
}

TEST(MatrixRecord, LengthCountsWholeSseRowsPerColumn) {
  for (int sy : {0, 1, 3, 4, 5, 8, 127, 128})
    for (int sx : {0, 1, 3}) {
      CSSEMatrix m;
      m.Create(sx, sy);
      EXPECT_EQ(Record(m).size(), 8u + 16u * sx * ((sy >> 2) + 1)) << sx << " x " << sy;
    }
}

TEST(MatrixRecord, RoundTripIsBitwiseWithPaddingLanes) {
  const int sizes[][2] = {{1, 1}, {2, 3}, {5, 4}, {7, 16}, {3, 127}, {3, 128}, {129, 130}, {300, 9}, {0, 5}, {4, 0}};
  for (const auto& s : sizes) {
    CSSEMatrix m = Patterned(s[0], s[1], s[0] * 1000 + s[1]);
    CSSEMatrix loaded = Patterned(9, 9, 1);  // other size and content before loading
    LoadRecord(loaded, Record(m));
    EXPECT_EQ(StorageDifference(loaded, m), "") << s[0] << " x " << s[1];
  }
}

TEST(MatrixRecord, EveryTruncatedPrefixThrowsAndChangesNothing) {
  CSSEMatrix m = Patterned(3, 6, 7);
  const std::string record = Record(m);
  for (std::size_t length = 0; length < record.size(); ++length) {
    CSSEMatrix target = Patterned(2, 2, 3), before(target);
    EXPECT_THROW(LoadRecord(target, record.substr(0, length)), CArchiveException) << "prefix " << length;
    EXPECT_EQ(StorageDifference(target, before), "") << "prefix " << length;
  }
}

TEST(MatrixRecord, TruncatedUnseekableStreamThrowsAndChangesNothing) {
  CSSEMatrix m = Patterned(70000, 1, 9);  // larger than one block of the loader
  const std::string record = Record(m);
  for (std::size_t length : {std::size_t(4), std::size_t(8), std::size_t(9), record.size() / 2, record.size() - 1}) {
    UnseekableBuffer buffer(record.substr(0, length));
    std::istream in(&buffer);
    CArchive ar(in);
    ASSERT_EQ(ar.GetRemainingBytes(), -1);
    CSSEMatrix target = Patterned(2, 2, 3), before(target);
    EXPECT_THROW(target.Serialize(ar), CArchiveException) << "prefix " << length;
    EXPECT_EQ(StorageDifference(target, before), "");
  }
  UnseekableBuffer whole(record);
  std::istream in(&whole);
  CArchive ar(in);
  CSSEMatrix target;
  target.Serialize(ar);
  EXPECT_EQ(StorageDifference(target, m), "");
}

struct BadHeader {
  std::int32_t sizeX, sizeY;
  bool memory;  // CMemoryException rather than end of file
};

void PrintTo(const BadHeader& h, std::ostream* os) { *os << h.sizeX << " x " << h.sizeY; }

class MatrixBadHeader : public testing::TestWithParam<BadHeader> {};

TEST_P(MatrixBadHeader, ThrowsBeforeAllocatingAndChangesNothing) {
  const BadHeader h = GetParam();
  CSSEMatrix target = Patterned(4, 5, 11), before(target);
  const std::string record = Int32(h.sizeX) + Int32(h.sizeY) + std::string(64, '\0');
  if (h.memory)
    EXPECT_THROW(LoadRecord(target, record), CMemoryException);
  else
    EXPECT_THROW(LoadRecord(target, record), CArchiveException);
  EXPECT_EQ(StorageDifference(target, before), "");
}

INSTANTIATE_TEST_SUITE_P(Headers, MatrixBadHeader,
                         testing::Values(BadHeader{-1, 4, true}, BadHeader{4, -1, true}, BadHeader{1, 32000, true},
                                         BadHeader{1, 31999, false}, BadHeader{2147483647, 31999, false},
                                         BadHeader{2, 8, false}));

TEST(MatrixFile, StoreAndLoadRoundTrip) {
  const std::filesystem::path path = std::filesystem::temp_directory_path() / "relief_matrix_roundtrip.bin";
  CSSEMatrix m = Patterned(37, 41, 5), loaded;
  ASSERT_TRUE(m.Store(path));
  EXPECT_EQ(std::filesystem::file_size(path), 8u + 16u * 37 * 11);
  ASSERT_TRUE(loaded.Load(path));
  EXPECT_EQ(StorageDifference(loaded, m), "");
  // Storing again truncates the longer file.
  CSSEMatrix small = Patterned(1, 1, 6);
  ASSERT_TRUE(small.Store(path));
  EXPECT_EQ(std::filesystem::file_size(path), 8u + 16u * 1 * 1);
  std::filesystem::remove(path);
}

TEST(MatrixFile, UnopenablePathsReturnFalseAndChangeNothing) {
  const std::filesystem::path missing = std::filesystem::temp_directory_path() / "relief_no_such_dir" / "m.bin";
  CSSEMatrix m = Patterned(3, 3, 8), before(m);
  EXPECT_FALSE(m.Store(missing));
  EXPECT_FALSE(m.Load(missing));
  EXPECT_EQ(StorageDifference(m, before), "");
}

TEST(MatrixFile, FileWithOnlyTheHeaderThrowsEndOfFile) {
  const std::filesystem::path path = std::filesystem::temp_directory_path() / "relief_matrix_header_only.bin";
  {
    std::ofstream out(path, std::ios::binary);
    out << Int32(3) << Int32(3);
  }
  CSSEMatrix m;
  try {
    m.Load(path);
    ADD_FAILURE() << "no exception";
  } catch (const CArchiveException& e) {
    EXPECT_EQ(e.m_cause, CArchiveException::endOfFile);
  }
  std::filesystem::remove(path);
}

// ---- byte raster --------------------------------------------------------

CSSEcharMatrix PatternedChar(int sx, int sy, unsigned seed) {
  CSSEcharMatrix m(sx, sy);
  std::mt19937 rng(seed);
  for (int y = 0; y < sy; ++y)
    for (int x = 0; x < sx; ++x) m.SetPoint(x, y, static_cast<char>(rng()));
  return m;
}

// Empty when sizes and all pixels agree.
std::string CharDifference(CSSEcharMatrix& a, CSSEcharMatrix& b) {
  if (a.GetSizeX() != b.GetSizeX() || a.GetSizeY() != b.GetSizeY()) return "sizes differ";
  for (int y = 0; y < a.GetSizeY(); ++y)
    for (int x = 0; x < a.GetSizeX(); ++x)
      if (a.GetPoint(x, y) != b.GetPoint(x, y)) return "pixel " + std::to_string(x) + "," + std::to_string(y);
  return {};
}

TEST(CharMatrixRecord, ThreeByTwoIsFourteenBytesRowByRow) {
  CSSEcharMatrix m(3, 2);
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 3; ++x) m.SetPoint(x, y, static_cast<char>(10 * y + x - 3));
  EXPECT_EQ(Record(m), Int32(3) + Int32(2) + std::string("\xfd\xfe\xff\x07\x08\x09", 6));
}

TEST(CharMatrixRecord, RoundTripRestoresPixelsAndClearsSpareRows) {
  const int sizes[][2] = {{1, 1}, {3, 2}, {5, 16}, {17, 15}, {33, 47}, {1, 600}, {0, 3}, {3, 0}};
  for (const auto& s : sizes) {
    CSSEcharMatrix m = PatternedChar(s[0], s[1], s[0] * 7 + s[1]);
    CSSEcharMatrix loaded = PatternedChar(4, 4, 1);
    loaded.Clear(9);
    LoadRecord(loaded, Record(m));
    EXPECT_EQ(CharDifference(loaded, m), "") << s[0] << " x " << s[1];
    if (s[0] > 0 && s[1] % 16 != 0)
      EXPECT_EQ(reinterpret_cast<char*>(loaded.GetMatrixDataDirectly()[s[1] >> 4])[15], 0);
  }
}

TEST(CharMatrixRecord, EveryTruncatedPrefixThrowsAndChangesNothing) {
  CSSEcharMatrix m = PatternedChar(5, 19, 4);
  const std::string record = Record(m);
  ASSERT_EQ(record.size(), 8u + 5 * 19);
  for (std::size_t length = 0; length < record.size(); ++length) {
    CSSEcharMatrix target = PatternedChar(2, 3, 5), before(target);
    EXPECT_THROW(LoadRecord(target, record.substr(0, length)), CArchiveException) << "prefix " << length;
    EXPECT_EQ(CharDifference(target, before), "");
  }
}

class CharMatrixBadHeader : public testing::TestWithParam<BadHeader> {};

TEST_P(CharMatrixBadHeader, ThrowsBeforeAllocatingAndChangesNothing) {
  const BadHeader h = GetParam();
  CSSEcharMatrix target = PatternedChar(4, 5, 11), before(target);
  const std::string record = Int32(h.sizeX) + Int32(h.sizeY) + std::string(64, '\0');
  if (h.memory)
    EXPECT_THROW(LoadRecord(target, record), CMemoryException);
  else
    EXPECT_THROW(LoadRecord(target, record), CArchiveException);
  EXPECT_EQ(CharDifference(target, before), "");
}

// A record without rows cannot justify storage for two billion columns.
INSTANTIATE_TEST_SUITE_P(Headers, CharMatrixBadHeader,
                         testing::Values(BadHeader{-1, 4, true}, BadHeader{4, -1, true}, BadHeader{1, 128000, true},
                                         BadHeader{2147483647, 0, true}, BadHeader{1, 127999, false},
                                         BadHeader{9, 8, false}, BadHeader{65536, 65536, false}));

TEST(CharMatrixRecord, StoresRasterWithoutRowsAsHeaderOnly) {
  CSSEcharMatrix m(1000, 0), loaded;
  EXPECT_EQ(Record(m).size(), 8u);
  LoadRecord(loaded, Record(m));
  EXPECT_EQ(loaded.GetSizeX(), 1000);
  EXPECT_EQ(loaded.GetSizeY(), 0);
}

}  // namespace
