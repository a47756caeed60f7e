// relief rasterize MESH -o OUTPUT: mesh to height field by maximum or minimum.

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/options.h"
#include "io/mesh_io.h"
#include "io/raster_io.h"
#include "progress.h"
#include "raster_stats.h"
#include "scan_chunks.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

namespace relief::tool {

namespace {

struct RasterizeArgs {
  std::string input, output;
  float resolution = 0.0f;  // 0: the mesh's own scale (.rmesh) or 1
  bool minimum = false;
  float pngScale = 0.0f;
};

void ScanConvert(CHTriangulation& mesh, CSSEMatrix& out, bool minimum) {
  if (minimum) mesh.ScanConvertTriangulationMin(&out, 0.0f);
  else mesh.ScanConvertTriangulationMax(&out, 0.0f);
}

int RunRasterize(const RasterizeArgs& args) {
  if (args.resolution != 0.0f) RequirePositive("--resolution", args.resolution);
  if (args.pngScale != 0.0f) RequirePositive("--png-scale", args.pngScale);
  RasterFormatOf(args.output);  // refuse a bad target before reading
  StepTimer timer;
  CSSEMatrix raster;
  float origin[2] = {0.0f, 0.0f};
  std::int64_t triangles = 0;
  float resolution = args.resolution;
  if (MeshFormatOf(args.input) == MeshFormat::kRmesh) {
    std::unique_ptr<CHTriangulation> mesh = ReadRmesh(args.input);
    if (resolution == 0.0f) resolution = mesh->GetScaleX();
    if (!(resolution > 0.0f)) throw BadInput(args.input, "mesh scale is not positive; give --resolution");
    mesh->SetScanConvResolution(resolution, resolution, mesh->GetScaleZ());
    mesh->CalcBoundingBox();
    mesh->CalcSTV();
    MeshBox box = {{INFINITY, INFINITY, INFINITY}, {-INFINITY, -INFINITY, -INFINITY}};
    for (int i = 0; i < 3 * mesh->GetNumTriangles(); ++i) {
      const SSEPoint& p = mesh->GetEdgeArray()[i];
      const float xyz[3] = {p.x, p.y, p.z};
      for (int a = 0; a < 3; ++a) {
        box.min[a] = std::min(box.min[a], xyz[a]);
        box.max[a] = std::max(box.max[a], xyz[a]);
      }
    }
    int width = 0, height = 0;
    CheckScanRaster(args.input, box, resolution, width, height);
    ScanConvert(*mesh, raster, args.minimum);
    SSEPoint min;
    mesh->GetMinPoint(min);
    origin[0] = min.x;
    origin[1] = min.y;
    triangles = mesh->GetNumTriangles();
  } else {
    if (resolution == 0.0f) resolution = 1.0f;
    auto reader = OpenTriangleReader(args.input);
    triangles = reader->Count();
    const MeshBox box = MeasureBox(*reader);
    int width = 0, height = 0;
    CheckScanRaster(args.input, box, resolution, width, height);
    ScanConvertInChunks(*reader, box, resolution, args.minimum, ChunkTrianglesFor(width, height), raster);
    origin[0] = box.min[0];
    origin[1] = box.min[1];
  }
  const double convertSeconds = timer.Seconds();
  if (raster.GetMatrixDataDirectly() == nullptr) throw BadInput(args.input, "empty mesh");
  // A mesh thinner than a cell (or only along the raster's outermost ring,
  // which the stamps skip) reaches no cell: refused rather than written as
  // a raster of nothing but "no data".
  const RasterSummary summary = Summarize(raster);
  if (summary.nonZero == 0)
    throw BadInput(args.input, "no cell of the " + std::to_string(summary.width) + " x " +
                                   std::to_string(summary.height) + " raster is reached at resolution " +
                                   std::to_string(resolution) + " (mesh too thin or small; try a finer --resolution)");
  timer.Restart();
  RasterWriteOptions writeOptions;
  writeOptions.pngScale = args.pngScale;
  const std::string what = WriteRaster(args.output, raster, writeOptions);
  Say("%s: %lld triangles scan-converted by %s at resolution %g in %.2f s\n", args.input.c_str(),
      static_cast<long long>(triangles), args.minimum ? "minimum" : "maximum", resolution, convertSeconds);
  Say("%s: %d x %d cells (%s), origin (%g, %g), %lld with data, heights %g .. %g, written in %.2f s\n",
      args.output.c_str(), summary.width, summary.height, what.c_str(), origin[0], origin[1],
      static_cast<long long>(summary.nonZero), summary.minimum, summary.maximum, timer.Seconds());
  return kExitDone;
}

}  // namespace

CommandRun AddRasterizeCommand(CLI::App& app) {
  auto args = std::make_shared<RasterizeArgs>();
  CLI::App* sub = app.add_subcommand("rasterize", "mesh to height field, keeping the highest (or lowest) surface");
  sub->add_option("MESH", args->input, std::string("mesh: ") + kReadMeshExtensions)->required();
  sub->add_option("-o,--output", args->output, std::string("height field: ") + kRasterExtensions)->required();
  sub->add_option("--resolution", args->resolution,
                  "cell size in mesh units (default: the .rmesh scale, else 1)");
  sub->add_flag("--min", args->minimum, "keep the lowest surface instead of the highest");
  sub->add_option("--png-scale", args->pngScale, "16-bit PNG output: height of one step (default max/65535)");
  return [args] { return RunRasterize(*args); };
}

}  // namespace relief::tool
