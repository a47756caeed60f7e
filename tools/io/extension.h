#pragma once

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>

namespace relief::tool {

// The file's extension in lower case ("SCAN.TIF" -> ".tif"): formats are
// chosen by it.
inline std::string LowerExtension(const std::filesystem::path& path) {
  std::string ext = path.extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext;
}

}  // namespace relief::tool
