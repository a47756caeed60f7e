// Feeds arbitrary bytes to the loaders of both rasters. The first byte picks
// the raster (even: float, odd: byte) and whether the stream hides its length
// (bit 1), the rest is the record. Loading must either succeed or throw one of
// the two documented exceptions, leaving the raster as it was; it must never
// allocate more than the record can justify.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <istream>
#include <sstream>
#include <streambuf>
#include <string>

#include "relief/CArchive.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

namespace {

// A stream without seeking, as a pipe: the loader cannot know its length.
class UnseekableBuffer : public std::streambuf {
 public:
  UnseekableBuffer(const char* data, std::size_t size) {
    char* p = const_cast<char*>(data);
    setg(p, p, p + size);
  }
};

template <class Raster, class Check>
void Load(std::istream& in, Raster& raster, Check unchanged) {
  CArchive ar(in);
  try {
    raster.Serialize(ar);
  } catch (const CArchiveException& e) {
    if (e.m_cause != CArchiveException::endOfFile) std::abort();
    if (!unchanged()) std::abort();
  } catch (const CMemoryException&) {
    if (!unchanged()) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const std::uint8_t selector = data[0];
  const char* record = reinterpret_cast<const char*>(data + 1);
  const std::size_t length = size - 1;
  UnseekableBuffer unseekable(record, length);
  std::istringstream seekable(std::string(record, length), std::ios::binary);
  std::istream unseekableStream(&unseekable);
  const bool hidden = selector & 2;
  std::istream& in = hidden ? unseekableStream : static_cast<std::istream&>(seekable);

  if (selector & 1) {
    CSSEcharMatrix raster(3, 17);
    raster.SetPoint(2, 16, 5);
    Load(in, raster, [&] { return raster.GetSizeX() == 3 && raster.GetSizeY() == 17 && raster.GetPoint(2, 16) == 5; });
    return 0;
  }
  if (hidden && length >= 8) {
    std::int32_t sizes[2];
    std::memcpy(sizes, record, sizeof sizes);
    // Without a known length the loader has to trust the header; limit the
    // fuzzer to headers of at most 16 MiB of storage there.
    if (sizes[0] > 0 && sizes[1] > 0 && std::int64_t(sizes[0]) * ((sizes[1] >> 2) + 1) > (1 << 20)) return 0;
  }
  CSSEMatrix raster;
  raster.Create(2, 5);
  raster.SetPoint(1, 4, 7.0f);
  Load(in, raster, [&] { return raster.GetSizeX() == 2 && raster.GetSizeY() == 5 && raster.GetPoint(1, 4) == 7.0f; });
  return 0;
}
