#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

#include "relief/CArchive.h"

namespace {

std::string StoreSample() {
  std::ostringstream out;
  {
    CArchive ar(out);
    ar << std::int32_t(2) << std::int32_t(-3) << 1.5f << 'x';
    const char block[5] = {1, 2, 3, 4, 5};
    ar.Write(block, sizeof block);
  }
  return out.str();
}

CArchiveException::Cause CauseOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const CArchiveException& e) {
    return e.m_cause;
  }
  return CArchiveException::none;
}

}  // namespace

TEST(Archive, WritesLittleEndianValuesByteForByte) {
  const std::string bytes = StoreSample();
  ASSERT_EQ(bytes.size(), 4u + 4u + 4u + 1u + 5u);
  const unsigned char expected[] = {2, 0, 0, 0, 0xFD, 0xFF, 0xFF, 0xFF, 0, 0, 0xC0, 0x3F, 'x', 1, 2, 3, 4, 5};
  EXPECT_EQ(std::memcmp(bytes.data(), expected, sizeof expected), 0);
}

TEST(Archive, RoundTripsAndReportsRemainingBytes) {
  std::istringstream in(StoreSample());
  CArchive ar(in);
  EXPECT_TRUE(ar.IsLoading());
  EXPECT_FALSE(ar.IsStoring());
  EXPECT_EQ(ar.GetRemainingBytes(), 18);
  std::int32_t a = 0, b = 0;
  float f = 0;
  char c = 0;
  ar >> a >> b >> f >> c;
  EXPECT_EQ(a, 2);
  EXPECT_EQ(b, -3);
  EXPECT_EQ(f, 1.5f);
  EXPECT_EQ(c, 'x');
  EXPECT_EQ(ar.GetRemainingBytes(), 5);
  char block[5];
  ar.Read(block, 5);
  EXPECT_EQ(block[4], 5);
  EXPECT_EQ(ar.GetRemainingBytes(), 0);
}

TEST(Archive, EveryTruncatedPrefixThrowsEndOfFile) {
  const std::string full = StoreSample();
  for (std::size_t n = 0; n < full.size(); ++n) {
    std::istringstream in(full.substr(0, n));
    CArchive ar(in);
    const auto cause = CauseOf([&] {
      std::int32_t a, b;
      float f;
      char c, block[5];
      ar >> a >> b >> f >> c;
      ar.Read(block, 5);
    });
    EXPECT_EQ(cause, CArchiveException::endOfFile) << "prefix of " << n << " bytes";
  }
}

TEST(Archive, LargeReadsPastTheEndThrow) {
  std::istringstream in(std::string(10000, 'a'));
  CArchive ar(in);
  std::string big(20000, '\0');
  EXPECT_EQ(CauseOf([&] { ar.Read(big.data(), big.size()); }), CArchiveException::endOfFile);
}

TEST(Archive, WrongDirectionThrows) {
  std::ostringstream out;
  CArchive storing(out);
  std::int32_t v;
  EXPECT_EQ(CauseOf([&] { storing >> v; }), CArchiveException::writeOnly);

  std::istringstream in(std::string(8, '\0'));
  CArchive loading(in);
  EXPECT_EQ(CauseOf([&] { loading << std::int32_t(1); }), CArchiveException::readOnly);
}

TEST(Archive, CloseHandsReadAheadBackToTheStream) {
  std::string bytes = StoreSample();
  std::istringstream in(bytes);
  {
    CArchive ar(in);
    std::int32_t a;
    ar >> a;
  }
  EXPECT_EQ(in.tellg(), std::streampos(4));
}

TEST(Archive, UnseekableStreamReportsUnknownLength) {
  // A stream buffer without seek support, like a pipe.
  struct PipeBuf : std::streambuf {
    char data[4] = {1, 0, 0, 0};
    PipeBuf() { setg(data, data, data + 4); }
  } pipe;
  std::istream in(&pipe);
  CArchive ar(in);
  EXPECT_EQ(ar.GetRemainingBytes(), -1);
  std::int32_t v = 0;
  ar >> v;
  EXPECT_EQ(v, 1);
}
