#pragma once

// How the viewer packs geometry into its page: binary arrays in base64, and
// triangle or segment indices as zig-zag varints of their differences (an
// indexed mesh's neighbouring indices are close, so most take one or two
// bytes instead of four: the page stays smaller than the raw arrays it shows).

#include <cstdint>
#include <string>
#include <vector>

namespace relief::detail {

std::string Base64(const void* data, std::size_t bytes);

// Each index minus the previous one (the first minus 0), zig-zag coded, seven
// bits a byte, low bits first, the high bit set on every byte but the last.
std::vector<std::uint8_t> DeltaVarints(const std::vector<std::uint32_t>& indices);

// JSON string literal with the characters JSON and an HTML script block
// cannot hold escaped ("</" becomes "<\/").
std::string JsonString(const std::string& text);

// A number for JSON: finite values with enough digits to round-trip a float,
// non-finite ones as 0.
std::string JsonNumber(double value);

}  // namespace relief::detail
