// NumPy .npy files: a magic string, a version, a header length and a Python
// dict literal giving dtype, order and shape, then the raw array. Only what
// a height field needs is read: 2-D, C order, little-endian float32, float64
// or uint16.

#include <cstdint>
#include <cstring>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "errors.h"
#include "io/raster_io.h"

namespace relief::tool::detail {

namespace {

constexpr char kMagic[] = "\x93NUMPY";  // 6 bytes

// The value text after 'key': in the header dict, or "" when absent.
std::string DictValue(const std::string& header, const std::string& key) {
  const std::regex pattern("['\"]" + key + "['\"]\\s*:\\s*('[^']*'|\"[^\"]*\"|\\([^)]*\\)|True|False)");
  std::smatch match;
  return std::regex_search(header, match, pattern) ? match[1].str() : std::string();
}

}  // namespace

std::unique_ptr<CSSEMatrix> ReadNpy(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw BadInput(path, "cannot open for reading");
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
  std::string header(headerLength, '\0');
  in.read(header.data(), static_cast<std::streamsize>(headerLength));

  const std::string descr = DictValue(header, "descr");
  int itemSize = 0;
  if (descr == "'<f4'" || descr == "\"<f4\"") itemSize = 4;
  else if (descr == "'<f8'" || descr == "\"<f8\"") itemSize = 8;
  else if (descr == "'<u2'" || descr == "\"<u2\"") itemSize = 2;
  else throw BadInput(path, "unsupported .npy dtype " + (descr.empty() ? std::string("(none)") : descr) +
                                " (need <f4, <f8 or <u2)");
  const bool isFloat = descr.find('f') != std::string::npos;
  if (DictValue(header, "fortran_order") != "False") throw BadInput(path, "only C-order .npy arrays are supported");

  const std::string shape = DictValue(header, "shape");
  const std::regex twoDims("^\\(\\s*(\\d{1,12})\\s*,\\s*(\\d{1,12})\\s*,?\\s*\\)$");
  std::smatch dims;
  if (!std::regex_match(shape, dims, twoDims))
    throw BadInput(path, "need a 2-D .npy array, shape is " + (shape.empty() ? std::string("missing") : shape));
  const long long height = std::stoll(dims[1].str()), width = std::stoll(dims[2].str());
  // Refuse a file whose data does not have exactly the size the header
  // promises before allocating anything for it.
  const std::uint64_t dataBytes = static_cast<std::uint64_t>(width) * height * itemSize;
  if (fileSize - headerStart - headerLength != dataBytes)
    throw BadInput(path, "file size does not match its header (" + std::to_string(fileSize - headerStart - headerLength) +
                             " data bytes for " + std::to_string(height) + " x " + std::to_string(width) +
                             " values of " + std::to_string(itemSize) + " bytes)");
  auto raster = NewRaster(path, width, height);
  std::vector<unsigned char> row(static_cast<size_t>(width) * itemSize);
  for (long long y = 0; y < height; ++y) {
    if (!in.read(reinterpret_cast<char*>(row.data()), static_cast<std::streamsize>(row.size())))
      throw BadInput(path, "truncated .npy data");
    for (long long x = 0; x < width; ++x) {
      const unsigned char* p = row.data() + x * itemSize;
      float v;
      if (itemSize == 4) {
        std::memcpy(&v, p, 4);
      } else if (itemSize == 8) {
        double d;
        std::memcpy(&d, p, 8);
        v = static_cast<float>(d);
      } else {
        v = static_cast<float>(p[0] | (p[1] << 8));
      }
      raster->SetPoint(static_cast<int>(x), static_cast<int>(y), isFloat ? Sanitize(v) : v);
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
