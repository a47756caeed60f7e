// The polygon archive record: exact bytes, the reader's duplicated last point,
// and refusal of damaged records without touching the polygon.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <sstream>
#include <streambuf>
#include <string>

#include "polygon_fixtures.h"
#include "relief/CArchive.h"
#include "relief/CMemoryException.h"

using namespace contour_test;

namespace {

std::string Store(CSSE3dPolygon& poly) {
  std::ostringstream out;
  {
    CArchive ar(out);
    poly.Serialize(ar);
  }
  return out.str();
}

void Load(CSSE3dPolygon& poly, const std::string& bytes) {
  std::istringstream in(bytes);
  CArchive ar(in);
  poly.Serialize(ar);
}

std::int32_t Int(const std::string& s, size_t at) {
  std::int32_t v;
  std::memcpy(&v, s.data() + at, 4);
  return v;
}
float Flt(const std::string& s, size_t at) {
  float v;
  std::memcpy(&v, s.data() + at, 4);
  return v;
}

const std::vector<P3> kFive = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}, {13, 14, 15}};

TEST(PolygonPersistence, FivePointRecordLayout) {
  CSSE3dPolygon poly;
  Fill(poly, kFive);
  const std::string bytes = Store(poly);
  ASSERT_EQ(bytes.size(), 100u);
  EXPECT_EQ(Int(bytes, 0), 5);
  // Group 0: x of 0..3, y of 0..3, z of 0..3.
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(Flt(bytes, 4 + 4 * k), kFive[k].x);
    EXPECT_EQ(Flt(bytes, 20 + 4 * k), kFive[k].y);
    EXPECT_EQ(Flt(bytes, 36 + 4 * k), kFive[k].z);
  }
  // Group 1: point 4 then three zero padding lanes per coordinate.
  EXPECT_EQ(Flt(bytes, 52), 13.0f);
  EXPECT_EQ(Flt(bytes, 68), 14.0f);
  EXPECT_EQ(Flt(bytes, 84), 15.0f);
  for (size_t at : {56, 60, 64, 72, 76, 80, 88, 92, 96}) EXPECT_EQ(Flt(bytes, at), 0.0f) << at;
}

TEST(PolygonPersistence, RecordSizes) {
  for (int n : {0, 1, 2, 3, 4, 5, 8, 9, 17}) {
    CSSE3dPolygon poly;
    poly.Create(n);
    EXPECT_EQ(Store(poly).size(), size_t(4 + 48 * ((n + 3) / 4))) << n;
  }
  CSSE3dPolygon empty;
  EXPECT_EQ(Store(empty), std::string(4, '\0'));
}

TEST(PolygonPersistence, LoadDuplicatesSecondToLast) {
  CSSE3dPolygon poly;
  Fill(poly, kFive);
  const std::string bytes = Store(poly);
  CSSE3dPolygon back;
  back.CalcBoundingBox();
  Load(back, bytes);
  ASSERT_EQ(back.GetNumPoints(), 5);
  EXPECT_FALSE(back.IsBoundingBoxCalculated());
  const auto pts = Points(back);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(pts[i].y, kFive[i].y);
  EXPECT_EQ(pts[4].x, 10.0f);
  EXPECT_EQ(pts[4].y, 11.0f);
  EXPECT_EQ(pts[4].z, 12.0f);
}

TEST(PolygonPersistence, SmallCountsLoad) {
  CSSE3dPolygon zero, one, back;
  Load(back, Store(zero));
  EXPECT_EQ(back.GetNumPoints(), 0);
  Fill(one, {{5, 6, 7}});
  Load(back, Store(one));
  ASSERT_EQ(back.GetNumPoints(), 1);
  const auto p = Points(back);
  EXPECT_EQ(p[0].x, 0.0f);  // no predecessor to copy: zeros
}

TEST(PolygonPersistence, KeepsBoxRecordsThroughLoad) {
  CSSE3dPolygon poly, target;
  Fill(poly, kFive);
  Fill(target, Square(-100, -100, 1));
  target.CalcBoundingBox();
  Load(target, Store(poly));
  EXPECT_EQ(target.GetBottomLeft().x, -100.0f);
}

void ExpectUnchanged(const CSSE3dPolygon& poly, const std::vector<P3>& want, const std::string& what) {
  const auto got = Points(poly);
  ASSERT_EQ(got.size(), want.size()) << what;
  for (size_t i = 0; i < got.size(); ++i) EXPECT_EQ(got[i].x, want[i].x) << what;
}

TEST(PolygonPersistence, EveryTruncatedPrefixThrowsAndLeavesPolygon) {
  CSSE3dPolygon poly;
  Fill(poly, kFive);
  const std::string bytes = Store(poly);
  const std::vector<P3> before = Square(3, 3, 3);
  for (size_t len = 0; len < bytes.size(); ++len) {
    CSSE3dPolygon target;
    Fill(target, before);
    EXPECT_THROW(Load(target, bytes.substr(0, len)), CArchiveException) << "prefix " << len;
    ExpectUnchanged(target, before, "prefix " + std::to_string(len));
  }
}

TEST(PolygonPersistence, ImpossibleCountsThrowBeforeAllocating) {
  struct Case {
    std::int32_t count;
    bool memory;  // CMemoryException rather than CArchiveException
  };
  for (const Case& c : {Case{-1, true}, Case{INT32_MIN, true}, Case{INT32_MAX, false}, Case{5, false}}) {
    std::string bytes(4, '\0');
    std::memcpy(&bytes[0], &c.count, 4);
    bytes += std::string(48, '\x01');  // one group only
    CSSE3dPolygon target;
    Fill(target, kFive);
    if (c.memory)
      EXPECT_THROW(Load(target, bytes), CMemoryException) << c.count;
    else
      EXPECT_THROW(Load(target, bytes), CArchiveException) << c.count;
    ExpectUnchanged(target, kFive, "count " + std::to_string(c.count));
  }
}

// A stream that cannot seek, so the archive cannot tell how much is left.
class OneWayBuf : public std::streambuf {
 public:
  explicit OneWayBuf(std::string s) : m_s(std::move(s)) { setg(&m_s[0], &m_s[0], &m_s[0] + m_s.size()); }

 private:
  std::string m_s;
};

TEST(PolygonPersistence, UnseekableStreamWithForgedCount) {
  std::string bytes(4, '\0');
  const std::int32_t huge = 100000000;  // would ask for 1.2 GB of floats
  std::memcpy(&bytes[0], &huge, 4);
  bytes += std::string(96, '\0');
  OneWayBuf buf(bytes);
  std::istream in(&buf);
  CArchive ar(in);
  ASSERT_EQ(ar.GetRemainingBytes(), -1);
  CSSE3dPolygon target;
  Fill(target, kFive);
  EXPECT_THROW(target.Serialize(ar), CArchiveException);
  ExpectUnchanged(target, kFive, "unseekable");
}

TEST(PolygonPersistence, UnseekableStreamLoadsValidRecord) {
  CSSE3dPolygon poly;
  Fill(poly, kFive);
  OneWayBuf buf(Store(poly));
  std::istream in(&buf);
  CArchive ar(in);
  CSSE3dPolygon back;
  back.Serialize(ar);
  EXPECT_EQ(back.GetNumPoints(), 5);
}

}  // namespace
