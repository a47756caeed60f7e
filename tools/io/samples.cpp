#include "io/samples.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <cstring>

#include "errors.h"

namespace relief::tool::detail {

std::string SampleType::Name() const {
  const char* kind_ = kind == SampleKind::kFloat ? "float" : kind == SampleKind::kSigned ? "int" : "uint";
  return kind_ + std::to_string(8 * bytes);
}

bool SampleType::IsSupported() const {
  if (kind == SampleKind::kFloat) return bytes == 4 || bytes == 8;
  return bytes == 1 || bytes == 2 || bytes == 4 || bytes == 8;
}

SampleDecoder::SampleDecoder(const std::filesystem::path& path, SampleType type, std::optional<double> noData)
    : m_path(path), m_type(type), m_noData(noData) {
  if (m_noData) m_noDataAsFloat = static_cast<float>(*m_noData);
}

double SampleDecoder::Raw(const unsigned char* p) const {
  unsigned char b[8];
  std::memcpy(b, p, static_cast<size_t>(m_type.bytes));
  if (m_type.bigEndian) std::reverse(b, b + m_type.bytes);
  std::uint64_t u = 0;  // little-endian host: the low bytes hold the value
  std::memcpy(&u, b, static_cast<size_t>(m_type.bytes));
  switch (m_type.kind) {
    case SampleKind::kUnsigned: return static_cast<double>(u);
    case SampleKind::kSigned: {
      const int shift = 64 - 8 * m_type.bytes;  // sign-extend
      return static_cast<double>(static_cast<std::int64_t>(u << shift) >> shift);
    }
    case SampleKind::kFloat:
      if (m_type.bytes == 4) {
        float f;
        std::memcpy(&f, b, 4);
        return f;
      } else {
        double d;
        std::memcpy(&d, b, 8);
        return d;
      }
  }
  return 0.0;
}

float SampleDecoder::Decode(const unsigned char* p, long long x, long long y) {
  const double raw = Raw(p);
  if (m_noData) {
    // A float32 file states its no-data value in decimal; it matches the
    // sample the decimal rounds to as well as the exact value.
    const bool isFloat32 = m_type.kind == SampleKind::kFloat && m_type.bytes == 4;
    if (raw == *m_noData || (isFloat32 && static_cast<float>(raw) == m_noDataAsFloat)) {
      ++m_noDataCount;
      return 0.0f;
    }
  }
  if (!std::isfinite(raw)) return 0.0f;
  if (std::fabs(raw) > FLT_MAX) {
    char text[160];
    std::snprintf(text, sizeof text, "sample %g at pixel %lld, %lld is beyond the float range", raw, x, y);
    throw BadInput(m_path, text);
  }
  return static_cast<float>(raw);
}

std::optional<double> ParseNoData(const std::string& text) {
  const char* begin = text.c_str();
  char* end = nullptr;
  const double value = std::strtod(begin, &end);
  if (end == begin) return std::nullopt;
  while (*end == ' ' || *end == '\t' || *end == '\n' || *end == '\r') ++end;
  if (*end != '\0') return std::nullopt;
  return value;
}

}  // namespace relief::tool::detail
