#pragma once

// The demo's steps that depend on the contour and Delaunay parts of the
// library, kept apart from the demo's flow.

#include <cstdint>
#include <filesystem>
#include <string>

#include "demo_field.h"
#include "raster_stats.h"

class CSSEMatrix;

namespace relief::tool {

// Makes the outline a contour polygon, stamps it into contour and fills it
// into mask (1 inside, 0 outside; both created width x height); returns the
// pixels inside.
std::int64_t BuildOutlineMask(const DemoOutline& outline, int width, int height, CSSEMatrix& mask,
                              CSSEMatrix& contour);

// field := 0 where mask is below 0.1.
void MaskField(CSSEMatrix& field, CSSEMatrix& mask);

struct AdaptiveResult {
  bool available = false;
  std::string why;  // when not available
  std::int64_t triangles = 0;
  ErrorFigures error;  // the adaptive mesh scan-converted against the field
};

// Meshes the field's valid area with the error-bounded mesher (no valid pixel
// farther than maxError from the mesh), writes it to meshPath and measures it
// against the field.
AdaptiveResult MeshToMaxError(CSSEMatrix& field, float maxError, const std::filesystem::path& meshPath);

}  // namespace relief::tool
