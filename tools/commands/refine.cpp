// relief refine INPUT -o MESH: adaptive mesh by Delaunay refinement.

#include <memory>
#include <string>

#include "adaptive_mesh.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "commands/refine_max_error.h"
#include "io/mesh_io.h"
#include "io/raster_io.h"
#include "progress.h"
#include "relief/CSSEMatrix.h"

namespace relief::tool {

namespace {

struct RefineArgs {
  std::string input, output;
  float tolerance = 0.0f;
  float minHeight = 2.0f;
  int passes = 12;
  int seedSpacing = 32;
};

int RunRefine(const RefineArgs& args) {
  RequirePositive("--tolerance", args.tolerance);
  RequirePositive("--min-height", args.minHeight);
  if (MeshFormatOf(args.output) == MeshFormat::kRmesh)
    throw BadUsage("refine writes .ply, .stl or .obj (the adaptive mesh is not a library mesh object)");
  StepTimer timer;
  std::unique_ptr<CSSEMatrix> field = ReadRaster(args.input);
  AdaptiveOptions options;
  options.tolerance = args.tolerance;
  options.minHeight = args.minHeight;
  options.passes = args.passes;
  options.seedSpacing = args.seedSpacing;
  const AdaptiveMesh mesh = RefineField(*field, options, args.input.c_str());
  if (mesh.Triangles() == 0)
    throw BadInput(args.input, "empty mesh: no triangle has all its corners on valid pixels");
  const double refineSeconds = timer.Seconds();
  auto writer = OpenTriangleWriter(args.output);
  for (size_t i = 0; i < mesh.corners.size(); i += 9) writer->Add(&mesh.corners[i]);
  writer->Commit();
  const ErrorFigures error = MeasureAgainstField(mesh.corners, *field);
  Say("%s: %lld triangles over %lld points (tolerance %g, min height %g, at most %d passes) in %.2f s\n",
      args.output.c_str(), static_cast<long long>(mesh.Triangles()), static_cast<long long>(mesh.vertices),
      args.tolerance, args.minHeight, args.passes, refineSeconds);
  Say("against %s: max error %.4f, rms %.4f over %lld pixels; %lld field pixels not covered\n",
      args.input.c_str(), error.maxAbs, error.rms, static_cast<long long>(error.compared),
      static_cast<long long>(error.lost));
  return kExitDone;
}

}  // namespace

CommandRun AddRefineCommand(CLI::App& app) {
  auto args = std::make_shared<RefineArgs>();
  CLI::App* sub = app.add_subcommand(
      "refine", "adaptive mesh: to a guaranteed max error (--max-error) or by Delaunay refinement (--tolerance)");
  sub->add_option("INPUT", args->input, "height field: .png .tif .tiff .npy .rsm")->required();
  sub->add_option("-o,--output", args->output, "mesh: .ply .stl .obj")->required();
  CLI::Option* tolerance =
      sub->add_option("--tolerance", args->tolerance, "largest height difference a triangle's corners may keep");
  sub->add_option("--min-height", args->minHeight, "triangles lower than this (in pixels) are not split")
      ->capture_default_str();
  sub->add_option("--passes", args->passes, "most refinement passes")
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
  sub->add_option("--seed-spacing", args->seedSpacing, "pixels between the starting grid's points")
      ->check(CLI::Range(1, 1 << 20))
      ->capture_default_str();
  auto maxError = std::make_shared<MaxErrorArgs>();
  AddMaxErrorOptions(sub, *maxError);
  tolerance->excludes(maxError->maxErrorOption);
  return [args, maxError, tolerance] {
    if (maxError->Requested()) return RunRefineMaxError(args->input, args->output, *maxError);
    if (tolerance->count() == 0) throw BadUsage("refine needs --tolerance Z or --max-error E");
    return RunRefine(*args);
  };
}

}  // namespace relief::tool
