// relief mesh INPUT -o MESH: height field to mesh.

#include <memory>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/options.h"
#include "heap_policy.h"
#include "io/mesh_io.h"
#include "io/raster_io.h"
#include "mesh_build.h"
#include "progress.h"
#include "raster_stats.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

namespace relief::tool {

namespace {

struct MeshArgs {
  std::string input, output;
  float threshold = 0.0f;
  bool below = false;
  std::vector<float> scale{1.0f, 1.0f, 1.0f};
  bool scaleGiven = false;  // else a pixel scale the file states is used for x and y
  int step = 1;
  bool flipY = false;
};

int RunMesh(MeshArgs args) {
  RequireFinite("--threshold", args.threshold);
  for (float s : args.scale) RequirePositive("--scale", s);
  const MeshFormat format = MeshFormatOf(args.output);  // refuse a bad target before reading
  StepTimer timer;
  RasterMetadata metadata;
  std::unique_ptr<CSSEMatrix> field = ReadRaster(args.input, &metadata);
  if (args.flipY) FlipRows(*field);
  const double readSeconds = timer.Seconds();
  const int width = field->GetSizeX(), height = field->GetSizeY();
  if (!args.scaleGiven && metadata.HasPixelScale())
    args.scale = {static_cast<float>(metadata.pixelScale[0]), static_cast<float>(metadata.pixelScale[1]),
                  args.scale[2]};
  // Counted over real pixels (the library's counts include the padding
  // lanes), by the rule `info` uses too.
  const RasterSummary summary = Summarize(*field, ValidRule{args.threshold, args.below});
  CheckScaleFits(summary, args.scale.data());
  const long long valid = summary.valid;
  if (valid < 3)
    throw BadInput(args.input, "empty mesh: only " + std::to_string(valid) + " pixel(s) " +
                                   (args.below ? "below" : "above") + " the threshold" +
                                   ThresholdHint(summary, ValidRule{args.threshold, args.below}));

  timer.Restart();
  FieldMeshOptions options;
  options.threshold = args.threshold;
  options.below = args.below;
  options.step = args.step;
  for (int i = 0; i < 3; ++i) options.scale[i] = args.scale[i];
  std::int64_t triangles = 0;
  if (format == MeshFormat::kRmesh) {
    // The archive is a raw image of one mesh object, so it is built whole.
    const std::unique_ptr<CHTriangulation> mesh = BuildFieldMesh(*field, options);
    field.reset();
    // Nothing is written for an empty mesh.
    if (CountUsedRecords(*mesh) > 0) triangles = WriteMesh(args.output, *mesh);
  } else {
    auto writer = OpenTriangleWriter(args.output);
    // Every band's mesh is freed and one of about the same size made again.
    const ReuseLargeBlocks reuse;
    triangles = StreamFieldMesh(*field, options, *writer);
    if (triangles > 0) writer->Commit();
  }
  const std::string hint = ThresholdHint(summary, ValidRule{args.threshold, args.below});
  if (triangles == 0)
    throw BadInput(args.input, "empty mesh: no cell has enough valid corners for a triangle" + hint);
  Say("%s: %d x %d pixels, %lld %s threshold %g, read in %.2f s\n", args.input.c_str(), width, height, valid,
      args.below ? "below" : "above", args.threshold, readSeconds);
  // A coastal elevation model meshes its land only: say what stayed out.
  if (!hint.empty()) Say("%s: %s\n", args.input.c_str(), hint.substr(2).c_str());  // without its "; "
  Say("%s: %lld triangles (step %d) in %.2f s\n", args.output.c_str(), static_cast<long long>(triangles), args.step,
      timer.Seconds());
  return kExitDone;
}

}  // namespace

CommandRun AddMeshCommand(CLI::App& app) {
  auto args = std::make_shared<MeshArgs>();
  CLI::App* sub = app.add_subcommand("mesh", "height field to mesh (full resolution, or every --step pixels)");
  sub->add_option("INPUT", args->input, std::string("height field: ") + kRasterExtensions)->required();
  sub->add_option("-o,--output", args->output, std::string("mesh: ") + kMeshExtensions)->required();
  sub->add_option("--threshold", args->threshold, "pixels above it (below with --below) carry a height")
      ->capture_default_str();
  sub->add_flag("--below", args->below, "valid pixels are below the threshold; the surface faces down");
  CLI::Option* scale = sub->add_option("--scale", args->scale,
                                       "cell size: x = column*SX, y = row*SY, z = value*SZ (default: the "
                                       "file's pixel scale, else 1 1 1)")
                           ->expected(3)
                           ->capture_default_str();
  sub->add_option("--step", args->step, "use every N-th pixel in x and y")
      ->check(CLI::Range(1, kMaxMeshStep))
      ->capture_default_str();
  sub->add_flag("--flip-y", args->flipY,
                "y grows up the image (last row at y = 0) instead of down it; triangles stay counter-clockwise");
  return [args, scale] {
    args->scaleGiven = scale->count() > 0;
    return RunMesh(*args);
  };
}

}  // namespace relief::tool
