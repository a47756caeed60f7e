#pragma once

// Raw samples of the integer and floating-point types raster files hold,
// turned into the library's float heights. One rule for every format: the
// stated no-data value and non-finite samples become 0 ("no data"); a finite
// sample beyond the float range is refused rather than turned into infinity.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace relief::tool::detail {

enum class SampleKind { kUnsigned, kSigned, kFloat };

struct SampleType {
  SampleKind kind = SampleKind::kFloat;
  int bytes = 4;           // 1, 2, 4 or 8 (floats: 4 or 8)
  bool bigEndian = false;  // byte order in the buffer handed to Decode
  // "int16", "float32", ...
  std::string Name() const;
  // The integer and float types of 1, 2, 4 and 8 bytes (floats of 4 and 8).
  bool IsSupported() const;
};

class SampleDecoder {
 public:
  // noData: the file's stated no-data value, if any.
  SampleDecoder(const std::filesystem::path& path, SampleType type, std::optional<double> noData);
  // The height for the sample at p (pixel x, y only names it in errors).
  float Decode(const unsigned char* p, long long x, long long y);
  // Samples that held the no-data value so far.
  std::int64_t NoDataCount() const { return m_noDataCount; }

 private:
  double Raw(const unsigned char* p) const;

  const std::filesystem::path& m_path;
  SampleType m_type;
  std::optional<double> m_noData;
  float m_noDataAsFloat = 0.0f;
  std::int64_t m_noDataCount = 0;
};

// The no-data text of a file ("-9999", " nan ", "-3.4028234663852886e+38"):
// its value, or nothing when the text is not a number.
std::optional<double> ParseNoData(const std::string& text);

}  // namespace relief::tool::detail
