#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <tuple>

#include "relief/CArchive.h"

static const std::string kSample = [] {  // 2, -3, 1.5f, 'x' and a block of five bytes
  std::ostringstream out;
  CArchive ar(out);
  ar << std::int32_t(2) << std::int32_t(-3) << 1.5f << 'x';
  ar.Write("\1\2\3\4\5", 5);
  ar.Close();
  return out.str();
}();

static CArchiveException::Cause CauseOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const CArchiveException& e) {
    return e.m_cause;
  }
  return CArchiveException::none;
}

// The sample's exact little-endian bytes read back; every shorter prefix
// throws end of file, and the remaining byte count follows the reads.
TEST(Archive, BytesReadBackAndEveryTruncatedPrefixThrowsEndOfFile) {
  EXPECT_EQ(kSample, std::string("\2\0\0\0\xFD\xFF\xFF\xFF\0\0\xC0\x3F"
                                 "x\1\2\3\4\5",
                                 18));
  for (std::size_t n = 0; n <= kSample.size(); ++n) {
    std::istringstream in(kSample.substr(0, n));
    CArchive ar(in);
    std::int32_t a = 0, b = 0;
    float f = 0;
    char c = 0, block[5] = {};
    const auto cause = CauseOf([&] {
      EXPECT_EQ(ar.GetRemainingBytes(), std::int64_t(n));
      ar >> a >> b >> f >> c;
      EXPECT_EQ(ar.GetRemainingBytes(), std::int64_t(n) - 13);
      ar.Read(block, 5);
      EXPECT_EQ(ar.GetRemainingBytes(), 0);
    });
    EXPECT_EQ(cause, n < kSample.size() ? CArchiveException::endOfFile : CArchiveException::none) << n << " bytes";
    if (n == kSample.size()) {
      EXPECT_EQ(std::tuple(a, b, f, c, block[4]), std::tuple(2, -3, 1.5f, 'x', '\5'));
    }
  }
  std::istringstream in(std::string(10000, 'a'));  // a read larger than the buffer
  CArchive ar(in);
  std::string big(20000, '\0');
  EXPECT_EQ(CauseOf([&] { ar.Read(big.data(), big.size()); }), CArchiveException::endOfFile);
}

// Each archive goes one way only. A loading archive hands its read-ahead
// back on close; a stream that cannot seek (a pipe) still reads, its length
// unknown.
TEST(Archive, DirectionStreamPositionAfterCloseAndUnseekableStreams) {
  std::ostringstream out;
  CArchive storing(out);
  std::int32_t v = 0;
  EXPECT_EQ(CauseOf([&] { storing >> v; }), CArchiveException::writeOnly);
  std::istringstream zeros(std::string(8, '\0')), in(kSample);
  EXPECT_EQ(CauseOf([&] { CArchive(zeros) << std::int32_t(1); }), CArchiveException::readOnly);
  CArchive(in) >> v;
  EXPECT_EQ(in.tellg(), std::streampos(4));
  struct PipeBuf : std::streambuf {
    char data[4] = {1, 0, 0, 0};
    PipeBuf() { setg(data, data, data + 4); }
  } pipe;
  std::istream piped(&pipe);
  CArchive ar(piped);
  EXPECT_EQ(ar.GetRemainingBytes(), -1);
  ar >> v;
  EXPECT_EQ(v, 1);
}
