#include "commands/refine_max_error.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "commands/options.h"
#include "errors.h"
#include "io/mesh_io.h"
#include "io/raster_io.h"
#include "mesh_build.h"
#include "progress.h"
#include "raster_stats.h"
#include "relief/CHErrorBoundedMesher.h"
#include "relief/CSSEMatrix.h"
#include "solid_base.h"

namespace relief::tool {

void AddMaxErrorOptions(CLI::App* refine, MaxErrorArgs& args) {
  args.maxErrorOption =
      refine->add_option("--max-error", args.maxError,
                         "error-bounded mode: no valid pixel farther than E (in heights) from the mesh; 0 = exact");
  refine->add_option("--max-triangles", args.maxTriangles, "with --max-error: stop before more triangles than N")
      ->needs(args.maxErrorOption);
  refine->add_option("--max-points", args.maxPoints, "with --max-error: stop before more points than N")
      ->needs(args.maxErrorOption);
  refine->add_option("--scale", args.scale, "with --max-error: pixel size in x and y and height factor")
      ->expected(3)
      ->needs(args.maxErrorOption);
  args.baseOption =
      refine->add_option("--base", args.base, "with --max-error: close into a solid down to height H (in heights)")
          ->needs(args.maxErrorOption);
}

std::unique_ptr<CSSEMatrix> ReadFieldToRefine(const std::string& input, bool flipY, float threshold) {
  RequireFinite("--threshold", threshold);
  std::unique_ptr<CSSEMatrix> field = ReadRaster(input);
  if (flipY) FlipRows(*field);
  const ValidRule rule{threshold, false};
  const RasterSummary summary = Summarize(*field, rule);
  if (summary.valid == 0 && summary.nonZero > 0)
    throw BadInput(input, "no pixel above the threshold" + ThresholdHint(summary, rule));
  ClearInvalid(*field, rule);
  // As `mesh` says it: the heights that stay out and how to take them in.
  const std::string hint = ThresholdHint(summary, rule);
  if (!hint.empty()) Say("%s: %s\n", input.c_str(), hint.substr(2).c_str());  // without its "; "
  return field;
}

int RunRefineMaxError(const std::string& input, const std::string& output, const MaxErrorArgs& args) {
  RequireFinite("--max-error", args.maxError);
  if (args.maxError < 0.0) throw BadUsage("--max-error must not be negative");
  if (args.maxTriangles < 2) throw BadUsage("--max-triangles must be at least 2 (the starting two triangles)");
  if (args.maxPoints < 4) throw BadUsage("--max-points must be at least 4 (the corners of the starting box)");
  for (double s : args.scale) RequirePositive("--scale", s);
  const bool solid = args.baseOption && args.baseOption->count() > 0;
  if (solid) RequireFinite("--base", args.base);
  if (MeshFormatOf(output) == MeshFormat::kRmesh)
    throw BadUsage("refine writes .ply, .stl or .obj (the adaptive mesh is not a library mesh object)");

  std::unique_ptr<CSSEMatrix> field = ReadFieldToRefine(input, args.flipY, args.threshold);
  StepTimer timer;
  CHErrorBoundedMesher mesher;
  if (!mesher.CreateMeshFromSSEField(field.get(), static_cast<float>(args.maxError), args.maxTriangles, args.maxPoints))
    throw BadInput(input, std::string("cannot mesh: ") + mesher.GetProblem());
  const double seconds = timer.Seconds();

  const float sx = static_cast<float>(args.scale[0]), sy = static_cast<float>(args.scale[1]),
              sz = static_cast<float>(args.scale[2]);
  IndexedMesh mesh;
  mesh.vertices.assign(mesher.GetVertexArray(), mesher.GetVertexArray() + 3 * mesher.GetNumPoints());
  mesh.indices.assign(mesher.GetTriangleIndexArray(), mesher.GetTriangleIndexArray() + 3 * mesher.GetNumTriangles());
  float lowest = std::numeric_limits<float>::infinity();
  for (size_t i = 0; i < mesh.vertices.size(); i += 3) {
    lowest = std::min(lowest, mesh.vertices[i + 2]);
    mesh.vertices[i] *= sx;
    mesh.vertices[i + 1] *= sy;
    mesh.vertices[i + 2] *= sz;
  }
  if (solid) {
    if (!(args.base < lowest))
      throw BadUsage("--base " + std::to_string(args.base) + " must lie below the mesh's lowest height " +
                     std::to_string(lowest));
    mesh = CloseIntoSolid(mesh, static_cast<float>(args.base) * sz);
  }

  auto writer = OpenTriangleWriter(output);
  for (size_t t = 0; t < mesh.indices.size(); t += 3) {
    float c[9];
    for (int k = 0; k < 3; ++k)
      for (int a = 0; a < 3; ++a) c[3 * k + a] = mesh.vertices[3 * size_t(mesh.indices[t + k]) + a];
    writer->Add(c);
  }
  writer->Commit();

  Say("%s: %lld triangles over %lld points (max error %g%s) in %.3f s\n", output.c_str(),
      static_cast<long long>(mesh.Triangles()), static_cast<long long>(mesh.Points()), args.maxError,
      mesher.StoppedByLimit() ? ", stopped by a limit" : "", seconds);
  Say("against %s: max error %.4f, rms %.4f over %lld pixels; origin at pixel (%d, %d)\n", input.c_str(),
      mesher.GetMaxError(), mesher.GetRMSError(), static_cast<long long>(mesher.GetNumValidPixels()),
      mesher.GetOriginX(), mesher.GetOriginY());
  if (solid)
    Say("closed solid down to height %g: %lld surface triangles, volume %.6g\n", args.base,
        static_cast<long long>(mesher.GetNumTriangles()), EnclosedVolume(mesh));
  return kExitDone;
}

}  // namespace relief::tool
