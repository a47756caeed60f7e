// The polygon archive record: exact bytes, the reader's duplicated last point,
// and refusal of damaged records without touching the polygon.

#include <cstdint>
#include <cstring>
#include <sstream>
#include <streambuf>
#include <string>
#include <tuple>

#include "polygon_fixtures.h"
#include "relief/CArchive.h"
#include "relief/CMemoryException.h"

using namespace contour_test;

namespace {

std::string Store(CSSE3dPolygon& poly) {
  std::ostringstream out;
  CArchive ar(out);
  poly.Serialize(ar);
  ar.Flush();
  return out.str();
}

// A stream that cannot seek, so the archive cannot tell how much is left.
struct OneWayBuf : std::streambuf {
  std::string s;
  explicit OneWayBuf(std::string b) : s(std::move(b)) { setg(&s[0], &s[0], &s[0] + s.size()); }
};

void Load(CSSE3dPolygon& poly, const std::string& bytes, bool seekable = true) {
  OneWayBuf buf(bytes);
  std::istringstream seekableIn(bytes);
  std::istream oneWayIn(&buf);
  CArchive ar(seekable ? static_cast<std::istream&>(seekableIn) : oneWayIn);
  ASSERT_EQ(ar.GetRemainingBytes() == -1, !seekable);
  poly.Serialize(ar);
}

std::string Bytes(std::int32_t count, const std::string& rest) {
  std::string b(4, '\0');
  std::memcpy(&b[0], &count, 4);
  return b + rest;
}

const Pts kFive = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}, {13, 14, 15}};

TEST(PolygonPersistence, RecordLayoutAndSizes) {
  CSSE3dPolygon poly = Make(kFive);
  const std::string bytes = Store(poly);
  // Count, then per group of four: x of four points, y of four, z of four;
  // the last group zero-padded.
  std::vector<float> want = {1, 4, 7, 10, 2, 5, 8, 11, 3, 6, 9, 12, 13, 0, 0, 0, 14, 0, 0, 0, 15, 0, 0, 0};
  ASSERT_EQ(bytes, Bytes(5, std::string(reinterpret_cast<const char*>(want.data()), want.size() * 4)));
  for (int n : {0, 1, 2, 3, 4, 8, 9, 17}) {
    poly.Create(n);
    EXPECT_EQ(Store(poly), Bytes(n, std::string(48 * ((n + 3) / 4), '\0'))) << n;
  }
}

TEST(PolygonPersistence, LoadDuplicatesSecondToLastAndKeepsRecords) {
  CSSE3dPolygon poly = Make(kFive), back = Make(Square(-100, -100, 1)), zero, one = Make({{5, 6, 7}});
  back.CalcBoundingBox();
  for (bool seekable : {true, false}) {
    Load(back, Store(poly), seekable);
    Pts want = kFive;
    want[4] = kFive[3];
    EXPECT_EQ(Points(back), want) << seekable;
    EXPECT_FALSE(back.IsBoundingBoxCalculated());
    EXPECT_EQ(back.GetBottomLeft().x, -100.0f);  // the box records are not touched
  }
  Load(back, Store(zero));
  EXPECT_EQ(back.GetNumPoints(), 0);
  Load(back, Store(one));
  EXPECT_EQ(Points(back), (Pts{{0, 0, 0}}));  // no predecessor to copy: zeros
}

// Every prefix; impossible counts, refused before allocating (CMemoryException);
// counts the bytes cannot back; through an unseekable stream, a forged count
// that would ask for 1.2 GB must not be allocated first.
TEST(PolygonPersistence, DamagedRecordsThrowAndLeavePolygon) {
  CSSE3dPolygon poly = Make(kFive);
  const std::string good = Store(poly);
  std::vector<std::tuple<std::string, bool, bool>> cases;  // bytes, CMemoryException, seekable
  for (size_t len = 0; len < good.size(); ++len) cases.emplace_back(good.substr(0, len), false, true);
  for (std::int32_t count : {-1, INT32_MIN, INT32_MAX, 5})
    cases.emplace_back(Bytes(count, std::string(48, '\x01')), count < 0, true);
  cases.emplace_back(Bytes(100000000, std::string(96, '\0')), false, false);
  for (size_t i = 0; i < cases.size(); ++i) {
    const auto& [bytes, memory, seekable] = cases[i];
    CSSE3dPolygon target = Make(Square(3, 3, 3));
    if (memory)
      EXPECT_THROW(Load(target, bytes, seekable), CMemoryException) << "case " << i;
    else
      EXPECT_THROW(Load(target, bytes, seekable), CArchiveException) << "case " << i;
    EXPECT_EQ(Points(target), Square(3, 3, 3)) << "case " << i;
  }
}

}  // namespace
