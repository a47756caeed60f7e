#pragma once

// Adaptive meshing of a height field by the library's Delaunay refinement:
// a coarse grid of seed points over the field is triangulated, then refined
// pass by pass where a triangle's corners differ in height by more than the
// tolerance (until its heights fall below the minimum height). Triangles with
// a corner on "no data" (0) are left out of the result, so the mesh covers the
// field's valid area.
//
// The triangulator's circumcircles are single precision, which holds for
// coordinates up to a few thousand units. So the valid pixels' box is cut into
// tiles of at most tileSize pixels, each triangulated in its own coordinates
// (its corner at the origin) and shifted back when the triangles are
// collected. Neighbouring tiles seed their shared edge with the same points,
// and refinement never puts a point on a tile's edge, so the tiles meet
// without cracks.

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
  int tileSize = 2048;     // largest tile side, in pixel steps
  int threads = 1;         // tiles refined at once; the result is the same for any count
};

struct AdaptiveMesh {
  std::vector<float> corners;  // nine floats per triangle, in field pixels and heights
  std::int64_t vertices = 0;   // distinct points the triangles use, seeds and inserted ones
  std::int64_t inserted = 0;   // points that refinement added to the triangulations
  std::int64_t unusedSeeds = 0;  // seed points the triangulator left unconnected (0 unless it fails)
  int passes = 0;              // most passes any tile ran before it stopped
  int tiles = 0;
  std::int64_t Triangles() const { return static_cast<std::int64_t>(corners.size() / 9); }
};

// Throws BadInput (naming `name`) when the field's valid pixels do not span
// an area: nothing to triangulate.
AdaptiveMesh RefineField(const CSSEMatrix& field, const AdaptiveOptions& options, const char* name);

// Evaluates the triangles at every pixel centre they cover (linear
// interpolation of the corner heights; a pixel on a shared edge takes the later
// triangle) and compares with the field: the mesh's own error, without the
// widening a stamped scan conversion adds.
ErrorFigures MeasureAgainstField(const std::vector<float>& corners, const CSSEMatrix& field);

}  // namespace relief::tool
