#include "io/text_number.h"

#include <charconv>
#include <cstdlib>
#include <limits>

namespace relief::tool {

namespace {

// "1.#QNAN0", "-1.#IND00", "1.#SNAN", "1.#INF00": a digit, ".#", a tag, and
// padding digits.
bool ParseWindowsSpecial(const std::string& token, double& value) {
  const std::size_t hash = token.find(".#");
  if (hash == std::string::npos) return false;
  const std::size_t digits = token[0] == '-' || token[0] == '+' ? 1 : 0;
  if (hash == digits || token.find_first_not_of("0123456789", digits) != hash) return false;
  const std::string tag = token.substr(hash + 2, 3);
  const bool negative = token[0] == '-';
  if (tag == "QNA" || tag == "SNA" || tag == "IND") {
    value = std::numeric_limits<double>::quiet_NaN();
  } else if (tag == "INF") {
    value = std::numeric_limits<double>::infinity();
  } else {
    return false;
  }
  if (negative) value = -value;
  return true;
}

// A decimal number that from_chars found beyond double, read wider and
// rounded as a cast rounds (to infinity or to zero); past even that range the
// exponent's sign decides.
double BeyondDouble(const char* begin, const char* end, bool negative) {
  long double wide = 0.0L;
  if (std::from_chars(begin, end, wide).ec == std::errc()) return static_cast<double>(wide);  // sign included
  const char* e = begin;
  while (e != end && *e != 'e' && *e != 'E') ++e;
  const bool large = e == end || std::strtol(e + 1, nullptr, 10) > 0;
  const double magnitude = large ? std::numeric_limits<double>::infinity() : 0.0;
  return negative ? -magnitude : magnitude;
}

}  // namespace

// from_chars reads the C locale's spelling whatever the process's locale
// (a host that set a decimal comma must not change what a file means).
bool ParseTextNumber(const std::string& token, double& value) {
  const char* begin = token.data();
  const char* const end = token.data() + token.size();
  const bool negative = begin != end && *begin == '-';
  if (begin != end && *begin == '+') ++begin;  // from_chars takes no plus sign
  const std::from_chars_result r = std::from_chars(begin, end, value);
  // A whole token is a number even when it lies beyond double.
  if (r.ptr == end && r.ptr != begin) {
    if (r.ec == std::errc::result_out_of_range) value = BeyondDouble(begin, end, negative);
    return true;
  }
  return ParseWindowsSpecial(token, value);
}

bool ReadTextNumber(std::istream& in, double& value) {
  std::string token;
  if (!(in >> token)) return false;
  return ParseTextNumber(token, value);
}

}  // namespace relief::tool
