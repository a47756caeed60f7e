// relief refine INPUT -o MESH: adaptive mesh by Delaunay refinement.

#include <memory>
#include <string>

#include "commands/commands.h"
#include "commands/options.h"
#include "io/mesh_io.h"
#include "io/raster_io.h"

namespace relief::tool {

namespace {

struct RefineArgs {
  std::string input, output;
  float tolerance = 0.0f;
  float minHeight = 2.0f;
  int passes = 12;
};

int RunRefine(const RefineArgs& args) {
  RequirePositive("--tolerance", args.tolerance);
  RequirePositive("--min-height", args.minHeight);
  MeshFormatOf(args.output);
  ReadRaster(args.input);
  // The Delaunay refinement is not part of this build of the library yet.
  throw WorkFailed("refine: Delaunay refinement is not available in this build");
}

}  // namespace

CommandRun AddRefineCommand(CLI::App& app) {
  auto args = std::make_shared<RefineArgs>();
  CLI::App* sub = app.add_subcommand("refine", "adaptive mesh: Delaunay refinement against the field to a tolerance");
  sub->add_option("INPUT", args->input, "height field: .png .tif .tiff .npy .rsm")->required();
  sub->add_option("-o,--output", args->output, "mesh: .ply .stl .obj")->required();
  sub->add_option("--tolerance", args->tolerance, "largest height difference a triangle may leave")->required();
  sub->add_option("--min-height", args->minHeight, "triangles lower than this (in pixels) are not split")
      ->capture_default_str();
  sub->add_option("--passes", args->passes, "most refinement passes")
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
  return [args] { return RunRefine(*args); };
}

}  // namespace relief::tool
