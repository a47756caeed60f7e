#pragma once

// Reading Wavefront OBJ meshes for the viewer: `v x y z` and `f` lines (with
// 1-based or negative indices, the v/vt/vn forms, polygons fanned from their
// first corner); everything else is skipped.

#include <filesystem>
#include <vector>

namespace relief::tool {

// Nine floats per triangle. BadInput when the file is missing, a face names a
// vertex that does not exist or one whose coordinates are not all finite, or
// nothing is left. Vertices no face uses may be anything.
std::vector<float> ReadObjTriangles(const std::filesystem::path& path);

}  // namespace relief::tool
