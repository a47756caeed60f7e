#pragma once

// The PLY header (elements and their properties) and the scalars of its data
// section, in ASCII or binary of either byte order. Counts and indices are
// checked before they are used: a list count or a vertex index must be a
// whole number within its bounds, never cast from a float that may be huge
// or NaN.

#include <cstdint>
#include <filesystem>
#include <istream>
#include <string>
#include <vector>

namespace relief::tool::detail {

enum class PlyEncoding { kAscii, kLittle, kBig };

struct PlyType {
  int bytes = 0;
  bool isFloat = false;
  bool isSigned = false;
};

struct PlyProperty {
  std::string name;
  PlyType type;
  bool isList = false;
  PlyType countType;
};

struct PlyElement {
  std::string name;
  std::int64_t count = 0;
  std::vector<PlyProperty> properties;
  // Bytes of one binary record when no property is a list, else 0.
  std::int64_t FixedBytes() const;
};

struct PlyHeader {
  PlyEncoding encoding = PlyEncoding::kAscii;
  std::vector<PlyElement> elements;
};

// Reads the header from in (left at the first data byte). BadInput for
// anything malformed, and for element counts the rest of the file cannot
// hold (fileSize: the whole file's bytes).
PlyHeader ReadPlyHeader(std::istream& in, const std::filesystem::path& path, std::uint64_t fileSize);

// Decodes one binary value of type at p.
double DecodePlyScalar(const unsigned char* p, const PlyType& type, PlyEncoding encoding);

// Reads scalars of the data section one after the other. Binary data go
// through a buffer of its own (a scalar at a time through the stream costs
// more than decoding it); Tell and Seek give the logical position.
class PlyScalars {
 public:
  PlyScalars(std::istream& in, PlyEncoding encoding, const std::filesystem::path& path);
  double Read(const PlyType& type);
  // A list count: a whole number from 0 to most, else BadInput naming what.
  std::int64_t ReadCount(const PlyType& type, std::int64_t most, const char* what);
  // Skips one property value (a list with its items).
  void Skip(const PlyProperty& property);
  std::uint64_t Tell();
  void Seek(std::uint64_t offset);

 private:
  // The next n (at most 8) binary bytes.
  const unsigned char* Take(int n);
  void Refill(size_t n);

  std::istream& m_in;
  PlyEncoding m_encoding;
  const std::filesystem::path& m_path;
  std::vector<unsigned char> m_buffer;
  size_t m_pos = 0, m_end = 0;
};

}  // namespace relief::tool::detail
