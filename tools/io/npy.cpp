// NumPy .npy files: a magic string, a version, a header length and a Python
// dict literal giving dtype, order and shape, then the raw array. Only what
// a height field needs is read: 2-D arrays of floats or integers, in either
// byte order, C (row by row) or Fortran (column by column) order.

#include <cstdint>
#include <cstring>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "errors.h"
#include "io/raster_io.h"
#include "io/samples.h"

namespace relief::tool::detail {

namespace {

constexpr char kMagic[] = "\x93NUMPY";  // 6 bytes

// The value text after 'key': in the header dict, or "" when absent.
std::string DictValue(const std::string& header, const std::string& key) {
  const std::regex pattern("['\"]" + key + "['\"]\\s*:\\s*('[^']*'|\"[^\"]*\"|\\([^)]*\\)|True|False)");
  std::smatch match;
  return std::regex_search(header, match, pattern) ? match[1].str() : std::string();
}

// '<f4', '>i2', '|u1', '=u2' ...: the sample type, or false.
bool ParseDescr(const std::string& descr, SampleType& type) {
  static const std::regex form("^['\"]([<>|=])([fiu])([1248])['\"]$");
  std::smatch m;
  if (!std::regex_match(descr, m, form)) return false;
  const char kind = m[2].str()[0];
  type.kind = kind == 'f' ? SampleKind::kFloat : kind == 'i' ? SampleKind::kSigned : SampleKind::kUnsigned;
  type.bytes = m[3].str()[0] - '0';
  type.bigEndian = m[1].str() == ">";
  return type.IsSupported();
}

}  // namespace

std::unique_ptr<CSSEMatrix> ReadNpy(const std::filesystem::path& path, RasterMetadata& metadata) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw CannotOpen(path);
  in.seekg(0, std::ios::end);
  const std::uint64_t fileSize = static_cast<std::uint64_t>(in.tellg());
  in.seekg(0);

  unsigned char preamble[10] = {};
  if (!in.read(reinterpret_cast<char*>(preamble), 8) || std::memcmp(preamble, kMagic, 6) != 0)
    throw BadInput(path, "not a .npy file (bad magic)");
  const int major = preamble[6];
  std::uint64_t headerLength = 0, headerStart = 0;
  if (major == 1) {
    if (!in.read(reinterpret_cast<char*>(preamble + 8), 2)) throw BadInput(path, "truncated .npy header");
    headerLength = preamble[8] | (preamble[9] << 8);
    headerStart = 10;
  } else if (major == 2 || major == 3) {
    unsigned char length[4];
    if (!in.read(reinterpret_cast<char*>(length), 4)) throw BadInput(path, "truncated .npy header");
    headerLength = length[0] | (length[1] << 8) | (length[2] << 16) | (std::uint64_t(length[3]) << 24);
    headerStart = 12;
  } else {
    throw BadInput(path, "unsupported .npy version " + std::to_string(major));
  }
  if (headerStart + headerLength > fileSize) throw BadInput(path, "truncated .npy header");
  // A 2-D array of numbers needs a header of a hundred bytes or so; a long
  // one is not ours to read (and the pattern matching below recurses per
  // character).
  if (headerLength > 4096) throw BadInput(path, "unsupported .npy header of " + std::to_string(headerLength) + " bytes");
  std::string header(headerLength, '\0');
  in.read(header.data(), static_cast<std::streamsize>(headerLength));

  const std::string descr = DictValue(header, "descr");
  SampleType type;
  if (!ParseDescr(descr, type))
    throw BadInput(path, "unsupported .npy dtype " + (descr.empty() ? std::string("(none)") : descr) +
                             " (need float32/64 or an integer type)");
  metadata.sampleType = type.Name();
  const std::string order = DictValue(header, "fortran_order");
  if (order != "False" && order != "True") throw BadInput(path, ".npy header without fortran_order");
  const bool fortran = order == "True";

  const std::string shape = DictValue(header, "shape");
  const std::regex twoDims("^\\(\\s*(\\d{1,12})\\s*,\\s*(\\d{1,12})\\s*,?\\s*\\)$");
  std::smatch dims;
  if (!std::regex_match(shape, dims, twoDims))
    throw BadInput(path, "need a 2-D .npy array, shape is " + (shape.empty() ? std::string("missing") : shape));
  const long long height = std::stoll(dims[1].str()), width = std::stoll(dims[2].str());
  CheckRasterLimits(path, width, height);
  // Refuse a file whose data does not have exactly the size the header
  // promises before allocating anything for it.
  const std::uint64_t dataBytes = static_cast<std::uint64_t>(width) * height * type.bytes;
  if (fileSize - headerStart - headerLength != dataBytes)
    throw BadInput(path, "file size does not match its header (" + std::to_string(fileSize - headerStart - headerLength) +
                             " data bytes for " + std::to_string(height) + " x " + std::to_string(width) +
                             " values of " + std::to_string(type.bytes) + " bytes)");
  auto raster = NewRaster(path, width, height);
  SampleDecoder decoder(path, type, std::nullopt);
  // C order stores rows one after the other, Fortran order columns.
  const long long lines = fortran ? width : height, along = fortran ? height : width;
  std::vector<unsigned char> line(static_cast<size_t>(along) * type.bytes);
  for (long long i = 0; i < lines; ++i) {
    if (!in.read(reinterpret_cast<char*>(line.data()), static_cast<std::streamsize>(line.size())))
      throw BadInput(path, "truncated .npy data");
    for (long long j = 0; j < along; ++j) {
      const long long x = fortran ? i : j, y = fortran ? j : i;
      raster->SetPoint(static_cast<int>(x), static_cast<int>(y), decoder.Decode(&line[j * type.bytes], x, y));
    }
  }
  return raster;
}

void WriteNpyFloat(const std::filesystem::path& file, const std::filesystem::path& shownAs,
                   const CSSEMatrix& raster) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  if (!out) throw BadInput(shownAs, "cannot open for writing");
  const int width = raster.GetSizeX(), height = raster.GetSizeY();
  std::string header = "{'descr': '<f4', 'fortran_order': False, 'shape': (" + std::to_string(height) + ", " +
                       std::to_string(width) + "), }";
  // Version 1.0: the data starts on a 64-byte boundary, the header ends in '\n'.
  const size_t total = 10 + header.size() + 1;
  header.append((64 - total % 64) % 64, ' ');
  header.push_back('\n');
  out.write(kMagic, 6);
  const unsigned char version[4] = {1, 0, static_cast<unsigned char>(header.size() & 0xff),
                                    static_cast<unsigned char>(header.size() >> 8)};
  out.write(reinterpret_cast<const char*>(version), 4);
  out.write(header.data(), static_cast<std::streamsize>(header.size()));
  std::vector<float> row(width);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) row[x] = raster.GetPoint(x, y);
    out.write(reinterpret_cast<const char*>(row.data()), static_cast<std::streamsize>(width * sizeof(float)));
  }
  out.flush();
  if (!out) throw WorkFailed(shownAs, "write failed");
}

}  // namespace relief::tool::detail
