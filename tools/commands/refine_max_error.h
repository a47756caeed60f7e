#pragma once

// relief refine --max-error: the error-bounded adaptive mesh, the refine
// subcommand's second mode beside the Delaunay refinement to a tolerance.

#include <CLI/CLI.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CSSEMatrix;

namespace relief::tool {

struct MaxErrorArgs {
  double maxError = -1.0;
  int maxTriangles = INT32_MAX;
  int maxPoints = INT32_MAX;
  std::vector<double> scale{1.0, 1.0, 1.0};
  double base = 0.0;
  bool flipY = false;      // rows reversed first (refine's --flip-y)
  float threshold = 0.0f;  // refine's --threshold
  CLI::Option* maxErrorOption = nullptr;
  CLI::Option* baseOption = nullptr;
  bool Requested() const { return maxErrorOption && maxErrorOption->count() > 0; }
};

// Reads a field for either refine mode: rows reversed when flipY, and the
// pixels at or below threshold cleared to no data, the rule `info` and
// `mesh` count valid pixels by (it says how many it cleared).
std::unique_ptr<CSSEMatrix> ReadFieldToRefine(const std::string& input, bool flipY, float threshold);

// Adds --max-error, --max-triangles, --max-points, --scale and --base to the
// refine subcommand.
void AddMaxErrorOptions(CLI::App* refine, MaxErrorArgs& args);

// Meshes input to the error bound and writes output; prints triangles,
// points, max and RMS error and seconds. BadUsage / BadInput (exit 2) for
// bad values and fields that cannot be meshed.
int RunRefineMaxError(const std::string& input, const std::string& output, const MaxErrorArgs& args);

}  // namespace relief::tool
