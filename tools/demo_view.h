#pragma once

#include <filesystem>

class CHTriangulation;
class CSSEMatrix;

namespace relief::tool {

// The demo's page: the full-resolution mesh and the round-trip error map
// shown, the adaptive mesh (read back from adaptivePath when it exists) and
// the height field as further layers to tick on. Returns the page's path.
std::filesystem::path WriteDemoView(const std::filesystem::path& dir, const CSSEMatrix& field,
                                    const CHTriangulation& mesh, const std::filesystem::path& adaptivePath,
                                    const CSSEMatrix& difference, float errorPlaneZ);

}  // namespace relief::tool
