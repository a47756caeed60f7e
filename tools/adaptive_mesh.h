#pragma once

// Adaptive meshing of a height field by the library's Delaunay refinement:
// a coarse grid of seed points over the field is triangulated, then refined
// pass by pass where a triangle's corners differ in height by more than the
// tolerance (until its heights fall below the minimum height). Triangles with
// a corner on "no data" (0) are left out of the result, so the mesh covers the
// field's valid area.

#include <cstdint>
#include <vector>

#include "raster_stats.h"

class CSSEMatrix;

namespace relief::tool {

struct AdaptiveOptions {
  float tolerance = 1.0f;
  float minHeight = 2.0f;  // pixels
  int passes = 12;
  int seedSpacing = 32;    // pixels between seed points
};

struct AdaptiveMesh {
  std::vector<float> corners;  // nine floats per triangle, in field pixels and heights
  std::int64_t vertices = 0;   // points of the triangulation (seeds + inserted)
  std::int64_t Triangles() const { return static_cast<std::int64_t>(corners.size() / 9); }
};

// Throws BadInput (naming `name`) when the field has fewer than three valid
// pixels: nothing to triangulate.
AdaptiveMesh RefineField(CSSEMatrix& field, const AdaptiveOptions& options, const char* name);

// Evaluates the triangles at every pixel centre they cover (linear
// interpolation of the corner heights; a pixel on a shared edge takes the later
// triangle) and compares with the field: the mesh's own error, without the
// widening a stamped scan conversion adds.
ErrorFigures MeasureAgainstField(const std::vector<float>& corners, const CSSEMatrix& field);

}  // namespace relief::tool
