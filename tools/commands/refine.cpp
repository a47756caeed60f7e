// relief refine INPUT -o MESH: adaptive mesh by Delaunay refinement.

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "adaptive_mesh.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "commands/refine_max_error.h"
#include "io/mesh_io.h"
#include "io/raster_io.h"
#include "mesh_build.h"
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
  int threads = 0;  // 0: one per core
  bool flipY = false;
  float threshold = 0.0f;
};

// The --tolerance mode: Delaunay refinement until every triangle's corners
// agree within the tolerance or the triangle is too small to split.
void CheckToleranceArgs(const RefineArgs& args) {
  RequirePositive("--tolerance", args.tolerance);
  RequirePositive("--min-height", args.minHeight);
}

// The field holds one height per pixel: triangles lower than half a pixel
// only add points that repeat their neighbours' heights, three times as many
// with every pass, so the minimum height is not taken below that.
constexpr float kLowestMinHeight = 0.5f;

AdaptiveMesh MeshToTolerance(const CSSEMatrix& field, const RefineArgs& args) {
  AdaptiveOptions options;
  options.tolerance = args.tolerance;
  options.minHeight = std::max(args.minHeight, kLowestMinHeight);
  if (options.minHeight != args.minHeight)
    Say("--min-height %g is below half a pixel: %g is used\n", args.minHeight, options.minHeight);
  options.passes = args.passes;
  options.seedSpacing = args.seedSpacing;
  options.threads =
      args.threads > 0 ? args.threads : static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  return RefineField(field, options, args.input.c_str());
}

int RunRefine(const RefineArgs& args) {
  if (MeshFormatOf(args.output) == MeshFormat::kRmesh)
    throw BadUsage("refine writes .ply, .stl or .obj (the adaptive mesh is not a library mesh object)");
  CheckToleranceArgs(args);
  StepTimer timer;
  std::unique_ptr<CSSEMatrix> field = ReadFieldToRefine(args.input, args.flipY, args.threshold);
  const AdaptiveMesh mesh = MeshToTolerance(*field, args);
  if (mesh.Triangles() == 0) throw BadInput(args.input, "empty mesh: no triangle has all its corners on valid pixels");
  if (mesh.unusedSeeds > 0)
    std::fprintf(
        stderr,
        "relief: %s: warning: the triangulator left %lld seed point(s) unconnected, the mesh may have cracks there\n",
        args.input.c_str(), static_cast<long long>(mesh.unusedSeeds));
  const double refineSeconds = timer.Seconds();
  auto writer = OpenTriangleWriter(args.output);
  for (size_t i = 0; i < mesh.corners.size(); i += 9) writer->Add(&mesh.corners[i]);
  writer->Commit();
  const ErrorFigures error = MeasureAgainstField(mesh.corners, *field);
  Say("%s: %lld triangles over %lld points, %lld of them inserted in %d pass(es), %d tile(s) "
      "(tolerance %g, min height %g, at most %d passes) in %.2f s\n",
      args.output.c_str(), static_cast<long long>(mesh.Triangles()), static_cast<long long>(mesh.vertices),
      static_cast<long long>(mesh.inserted), mesh.passes, mesh.tiles, args.tolerance,
      std::max(args.minHeight, kLowestMinHeight), args.passes, refineSeconds);
  Say("against %s: max error %.4f, rms %.4f over %lld pixels; %lld field pixels not covered\n", args.input.c_str(),
      error.maxAbs, error.rms, static_cast<long long>(error.compared), static_cast<long long>(error.lost));
  return kExitDone;
}

}  // namespace

CommandRun AddRefineCommand(CLI::App& app) {
  auto args = std::make_shared<RefineArgs>();
  CLI::App* sub = app.add_subcommand(
      "refine", "adaptive mesh: to a guaranteed max error (--max-error) or by Delaunay refinement (--tolerance)");
  sub->add_option("INPUT", args->input, std::string("height field: ") + kRasterExtensions)->required();
  sub->add_option("-o,--output", args->output, std::string("mesh: ") + kStreamedMeshExtensions)->required();
  CLI::Option* tolerance =
      sub->add_option("--tolerance", args->tolerance, "largest height difference a triangle's corners may keep");
  sub->add_option("--min-height", args->minHeight, "triangles lower than this (in pixels, at least 0.5) are not split")
      ->capture_default_str();
  sub->add_option("--passes", args->passes, "most refinement passes")
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
  sub->add_option("--seed-spacing", args->seedSpacing, "pixels between the starting grid's points")
      ->check(CLI::Range(1, 1 << 20))
      ->capture_default_str();
  sub->add_option("--threads", args->threads,
                  "tiles refined at once (0: one per core); the mesh is the same for any count")
      ->check(CLI::Range(0, 1024))
      ->capture_default_str();
  sub->add_flag("--flip-y", args->flipY,
                "y grows up the image (last row at y = 0) instead of down it; triangles stay counter-clockwise");
  sub->add_option("--threshold", args->threshold,
                  "pixels at or below it carry no data, as for mesh (0 is always no data)")
      ->capture_default_str();
  auto maxError = std::make_shared<MaxErrorArgs>();
  AddMaxErrorOptions(sub, *maxError);
  tolerance->excludes(maxError->maxErrorOption);
  return [args, maxError, tolerance] {
    if (maxError->Requested()) {
      maxError->flipY = args->flipY;
      maxError->threshold = args->threshold;
      return RunRefineMaxError(args->input, args->output, *maxError);
    }
    if (tolerance->count() == 0) throw BadUsage("refine needs --tolerance Z or --max-error E");
    return RunRefine(*args);
  };
}

}  // namespace relief::tool
