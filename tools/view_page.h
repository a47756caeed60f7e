#pragma once

// Files into the viewer: one layer per file, chosen by the extension.

#include <filesystem>
#include <vector>
#include <string>

class CHTriangulationDlg;
class CHTriangulation;

namespace relief::tool {

// Meshes (.ply .stl .obj .rmesh), height fields (.png .tif .tiff .npy .rsm)
// and polygon records (.rpoly); throws BadInput for anything unreadable or of
// another kind. Colours cycle with the layer count.
void AddFileToView(CHTriangulationDlg& view, const std::filesystem::path& path);

// The triangles of a PLY, STL or OBJ file, nine floats each.
std::vector<float> ReadTrianglesForView(const std::filesystem::path& path);

// The colour of the next layer.
unsigned LayerColour(int layer);

// Writes the page atomically; BadInput for a folder, or a folder that does not
// exist or cannot be written, WorkFailed when writing fails.
void WriteViewPage(const CHTriangulationDlg& view, const std::filesystem::path& path);

}  // namespace relief::tool
