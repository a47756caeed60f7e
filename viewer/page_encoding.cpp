#include "viewer/page_encoding.h"

#include <cmath>
#include <cstdio>

namespace relief::detail {

std::string Base64(const void* data, std::size_t bytes) {
  static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const auto* in = static_cast<const std::uint8_t*>(data);
  std::string out;
  out.resize((bytes + 2) / 3 * 4);
  char* o = out.data();
  std::size_t i = 0;
  for (; i + 3 <= bytes; i += 3) {
    const std::uint32_t v = (std::uint32_t(in[i]) << 16) | (std::uint32_t(in[i + 1]) << 8) | in[i + 2];
    *o++ = kAlphabet[v >> 18];
    *o++ = kAlphabet[(v >> 12) & 63];
    *o++ = kAlphabet[(v >> 6) & 63];
    *o++ = kAlphabet[v & 63];
  }
  if (i < bytes) {
    const bool two = i + 1 < bytes;
    const std::uint32_t v = (std::uint32_t(in[i]) << 16) | (two ? std::uint32_t(in[i + 1]) << 8 : 0u);
    *o++ = kAlphabet[v >> 18];
    *o++ = kAlphabet[(v >> 12) & 63];
    *o++ = two ? kAlphabet[(v >> 6) & 63] : '=';
    *o++ = '=';
  }
  return out;
}

std::vector<std::uint8_t> DeltaVarints(const std::vector<std::uint32_t>& indices) {
  std::vector<std::uint8_t> out;
  out.reserve(indices.size() * 2);
  std::int64_t previous = 0;
  for (std::uint32_t index : indices) {
    const std::int64_t delta = std::int64_t(index) - previous;
    previous = index;
    std::uint64_t zigzag = delta < 0 ? (std::uint64_t(-delta) << 1) - 1 : std::uint64_t(delta) << 1;
    while (zigzag >= 0x80) {
      out.push_back(std::uint8_t(zigzag | 0x80));
      zigzag >>= 7;
    }
    out.push_back(std::uint8_t(zigzag));
  }
  return out;
}

std::string JsonString(const std::string& text) {
  std::string out = "\"";
  for (std::size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += char(c);
    } else if (c == '/' && i > 0 && text[i - 1] == '<') {
      out += "\\/";
    } else if (c < 0x20) {
      char code[8];
      std::snprintf(code, sizeof code, "\\u%04x", c);
      out += code;
    } else {
      out += char(c);
    }
  }
  return out + "\"";
}

std::string JsonNumber(double value) {
  if (!std::isfinite(value)) return "0";
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", value);
  return text;
}

}  // namespace relief::detail
