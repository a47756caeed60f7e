#include "io/ply_format.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>

#include "errors.h"
#include "io/text_number.h"

namespace relief::tool::detail {

namespace {

bool ParsePlyType(const std::string& name, PlyType& type) {
  static const struct {
    const char* name;
    PlyType type;
  } kTypes[] = {{"char", {1, false, true}},    {"int8", {1, false, true}},     {"uchar", {1, false, false}},
                {"uint8", {1, false, false}},  {"short", {2, false, true}},    {"int16", {2, false, true}},
                {"ushort", {2, false, false}}, {"uint16", {2, false, false}},  {"int", {4, false, true}},
                {"int32", {4, false, true}},   {"uint", {4, false, false}},    {"uint32", {4, false, false}},
                {"float", {4, true, true}},    {"float32", {4, true, true}},   {"double", {8, true, true}},
                {"float64", {8, true, true}}};
  for (const auto& t : kTypes)
    if (name == t.name) {
      type = t.type;
      return true;
    }
  return false;
}

}  // namespace

std::int64_t PlyElement::FixedBytes() const {
  std::int64_t bytes = 0;
  for (const auto& p : properties) {
    if (p.isList) return 0;
    bytes += p.type.bytes;
  }
  return bytes;
}

namespace {

// "format ...": the encoding of the data section.
PlyEncoding ParseFormatLine(std::istringstream& words, const std::filesystem::path& path) {
  std::string name;
  words >> name;
  if (name == "ascii") return PlyEncoding::kAscii;
  if (name == "binary_little_endian") return PlyEncoding::kLittle;
  if (name == "binary_big_endian") return PlyEncoding::kBig;
  throw BadInput(path, "unknown PLY format '" + name.substr(0, 40) + "'");
}

// "element NAME COUNT", appended to header.elements.
void ParseElementLine(std::istringstream& words, const std::string& shown, const std::filesystem::path& path,
                      PlyHeader& header) {
  PlyElement element;
  if (!(words >> element.name >> element.count) || element.count < 0)
    throw BadInput(path, "bad PLY element line '" + shown + "'");
  for (const auto& other : header.elements)
    if (other.name == element.name && (element.name == "vertex" || element.name == "face"))
      throw BadInput(path, "PLY file with two '" + element.name + "' elements");
  header.elements.push_back(element);
}

// "property TYPE NAME" or "property list COUNTTYPE ITEMTYPE NAME", added to
// the last element.
void ParsePropertyLine(std::istringstream& words, const std::string& shown, const std::filesystem::path& path,
                       PlyHeader& header) {
  if (header.elements.empty()) throw BadInput(path, "PLY property before any element");
  PlyProperty property;
  std::string type;
  words >> type;
  if (type == "list") {
    std::string countType, itemType;
    words >> countType >> itemType;
    property.isList = true;
    if (!ParsePlyType(countType, property.countType) || !ParsePlyType(itemType, property.type) ||
        property.countType.isFloat)
      throw BadInput(path, "bad PLY list property '" + shown + "'");
  } else if (!ParsePlyType(type, property.type)) {
    throw BadInput(path, "unknown PLY property type '" + type.substr(0, 40) + "'");
  }
  words >> property.name;
  header.elements.back().properties.push_back(property);
}

// The header's lines up to "end_header", in is left at the first data byte.
PlyHeader ParseHeaderLines(std::istream& in, const std::filesystem::path& path) {
  std::string line;
  if (!std::getline(in, line) || line.substr(0, 3) != "ply") throw BadInput(path, "not a PLY file");
  PlyHeader header;
  bool haveFormat = false;
  for (;;) {
    if (!std::getline(in, line)) throw BadInput(path, "truncated PLY header");
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::istringstream words(line);
    std::string keyword;
    words >> keyword;
    if (keyword == "end_header") break;
    if (keyword == "comment" || keyword == "obj_info" || keyword.empty()) continue;
    const std::string shown = line.substr(0, 60);
    if (keyword == "format") {
      header.encoding = ParseFormatLine(words, path);
      haveFormat = true;
    } else if (keyword == "element") {
      ParseElementLine(words, shown, path, header);
    } else if (keyword == "property") {
      ParsePropertyLine(words, shown, path, header);
    } else {
      throw BadInput(path, "unknown PLY header line '" + shown + "'");
    }
  }
  if (!haveFormat) throw BadInput(path, "PLY header without a format line");
  return header;
}

// Refuses counts the file cannot hold before anything is allocated for
// them: every binary element takes at least the bytes of its scalars and
// list counts, every ASCII value at least a digit and a separator.
void CheckElementCounts(const PlyHeader& header, std::uint64_t dataBytes, const std::filesystem::path& path) {
  for (const auto& element : header.elements) {
    std::uint64_t least = 0;
    for (const auto& p : element.properties)
      least += header.encoding == PlyEncoding::kAscii ? 2 : p.isList ? p.countType.bytes : p.type.bytes;
    if (least == 0) least = 1;
    if (static_cast<std::uint64_t>(element.count) > dataBytes / least)
      throw BadInput(path, "file size does not match its header (" + std::to_string(element.count) + " " +
                               element.name.substr(0, 40) + " elements in " + std::to_string(dataBytes) +
                               " data bytes)");
  }
}

}  // namespace

PlyHeader ReadPlyHeader(std::istream& in, const std::filesystem::path& path, std::uint64_t fileSize) {
  PlyHeader header = ParseHeaderLines(in, path);
  const std::streamoff at = in.tellg();
  CheckElementCounts(header, at < 0 ? 0 : fileSize - static_cast<std::uint64_t>(at), path);
  return header;
}

double DecodePlyScalar(const unsigned char* p, const PlyType& type, PlyEncoding encoding) {
  unsigned char b[8];
  std::memcpy(b, p, static_cast<size_t>(type.bytes));
  if (encoding == PlyEncoding::kBig) std::reverse(b, b + type.bytes);
  switch (type.bytes) {
    case 1: return type.isSigned ? static_cast<double>(static_cast<std::int8_t>(b[0])) : b[0];
    case 2: {
      std::uint16_t u;
      std::memcpy(&u, b, 2);
      return type.isSigned ? static_cast<double>(static_cast<std::int16_t>(u)) : u;
    }
    case 4: {
      if (type.isFloat) {
        float f;
        std::memcpy(&f, b, 4);
        return f;
      }
      std::uint32_t u;
      std::memcpy(&u, b, 4);
      return type.isSigned ? static_cast<double>(static_cast<std::int32_t>(u)) : u;
    }
    default: {
      double d;
      std::memcpy(&d, b, 8);
      return d;
    }
  }
}

PlyScalars::PlyScalars(std::istream& in, PlyEncoding encoding, const std::filesystem::path& path)
    : m_in(in), m_encoding(encoding), m_path(path) {
  if (encoding != PlyEncoding::kAscii) m_buffer.resize(1 << 16);
}

void PlyScalars::Refill(size_t n) {
  std::memmove(m_buffer.data(), m_buffer.data() + m_pos, m_end - m_pos);
  m_end -= m_pos;
  m_pos = 0;
  m_in.read(reinterpret_cast<char*>(m_buffer.data() + m_end), static_cast<std::streamsize>(m_buffer.size() - m_end));
  m_end += static_cast<size_t>(m_in.gcount());
  m_in.clear();  // a short read at the end of the file is not an error yet
  if (m_end < n) throw BadInput(m_path, "truncated PLY data");
}

const unsigned char* PlyScalars::Take(int n) {
  if (m_end - m_pos < static_cast<size_t>(n)) Refill(static_cast<size_t>(n));
  const unsigned char* p = m_buffer.data() + m_pos;
  m_pos += static_cast<size_t>(n);
  return p;
}

std::uint64_t PlyScalars::Tell() {
  const std::streamoff at = m_in.tellg();
  return static_cast<std::uint64_t>(at) - (m_end - m_pos);
}

void PlyScalars::Seek(std::uint64_t offset) {
  m_pos = m_end = 0;
  m_in.clear();
  m_in.seekg(static_cast<std::streamoff>(offset));
  if (!m_in) throw BadInput(m_path, "truncated PLY data");
}

double PlyScalars::Read(const PlyType& type) {
  if (m_encoding == PlyEncoding::kAscii) {
    double v;
    if (!ReadTextNumber(m_in, v)) throw BadInput(m_path, "corrupt or truncated PLY data");
    return v;
  }
  return DecodePlyScalar(Take(type.bytes), type, m_encoding);
}

std::int64_t PlyScalars::ReadCount(const PlyType& type, std::int64_t most, const char* what) {
  const double n = Read(type);
  // Compared as doubles before any cast: NaN and huge values fail here.
  if (!(n >= 0.0 && n <= static_cast<double>(most)) || n != std::floor(n))
    throw BadInput(m_path, std::string("PLY ") + what + " has a bad list count");
  return static_cast<std::int64_t>(n);
}

void PlyScalars::Skip(const PlyProperty& property) {
  if (!property.isList) {
    Read(property.type);
    return;
  }
  // A count beyond the file fails on reading; the bound keeps the loop from
  // running long on ASCII text that ends early.
  const std::int64_t n = ReadCount(property.countType, std::int64_t(1) << 32, "element");
  if (m_encoding != PlyEncoding::kAscii) {
    Seek(Tell() + static_cast<std::uint64_t>(n) * property.type.bytes);
    return;
  }
  for (std::int64_t k = 0; k < n; ++k) Read(property.type);
}

}  // namespace relief::tool::detail
