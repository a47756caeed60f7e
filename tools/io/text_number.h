#pragma once

// Numbers in the text formats (ASCII PLY and STL, OBJ). Writers of scans
// spell missing samples "nan" or "inf", and older Windows runtimes print
// them as "1.#QNAN", "-1.#IND" or "1.#INF"; binary files carry the same values
// as bit patterns. Reading all of them as the values they stand for lets the
// readers treat text and binary alike: a non-finite vertex that no triangle
// uses is harmless, one that is used is refused by the triangle checks with
// a message that says so, instead of "corrupt data".

#include <istream>
#include <string>

namespace relief::tool {

// The whole token as a decimal number (or nan, inf, infinity in
// any case with an optional sign, or a Windows spelling of those); false if
// any of it is left over. Values beyond double become infinite.
bool ParseTextNumber(const std::string& token, double& value);

// The next whitespace-separated token of in, parsed as above. False at the
// end of the stream or when the token is not a number (the token is consumed).
bool ReadTextNumber(std::istream& in, double& value);

}  // namespace relief::tool
