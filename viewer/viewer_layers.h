#pragma once

// One layer of the viewer's page: its legend entry and its data, already
// encoded as the JSON object the page script reads.

#include <cstdint>
#include <string>

#include "relief/CHTriangulationDlg.h"
#include "viewer/layer_geometry.h"

struct CHTriangulationDlg::Layer {
  std::string json;  // {"kind": ..., "name": ..., ...}
  bool visible = true;
};

namespace relief::detail {

// The JSON of a mesh, line or surface layer; note is shown in the legend
// ("" for none).
std::string MeshLayerJson(const std::string& kind, const std::string& name, std::uint32_t colour,
                          const IndexedGeometry& geometry, std::int64_t sourcePrimitives, const std::string& note);

// "#rrggbb".
std::string ColourText(std::uint32_t colour);

}  // namespace relief::detail
