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

// Triangles per scan-conversion chunk: about 700 MB of mesh records. A mesh
// that fits is converted in one go; a larger one chunk by chunk into rasters
// over the same box that are then merged, which gives the same cells because
// every stamp keeps the maximum (minimum) and stamps commute.
constexpr std::int64_t kChunkTriangles = 1 << 21;

struct Box {
  float min[3] = {INFINITY, INFINITY, INFINITY};
  float max[3] = {-INFINITY, -INFINITY, -INFINITY};
  void Add(const float* p) {
    for (int a = 0; a < 3; ++a) {
      min[a] = std::min(min[a], p[a]);
      max[a] = std::max(max[a], p[a]);
    }
  }
};

// The raster size the library's scan converter will create, refused here when
// it is empty or beyond the raster's limits, before any work is done.
void CheckRasterSize(const std::string& input, const Box& box, float resolution, int& width, int& height) {
  const double w = std::trunc((static_cast<double>(box.max[0]) - box.min[0]) / resolution + 0.5);
  const double h = std::trunc((static_cast<double>(box.max[1]) - box.min[1]) / resolution + 0.5);
  if (w < 1.0 || h < 1.0)
    throw BadInput(input, "mesh is smaller than one cell at resolution " + std::to_string(resolution));
  if (h > CSSEMatrix::kMaxRows || w > (1 << 20) || w * h > static_cast<double>(1LL << 30))
    throw BadInput(input, "a raster of " + std::to_string(static_cast<long long>(w)) + " x " +
                              std::to_string(static_cast<long long>(h)) +
                              " cells exceeds the raster limits; use a coarser --resolution");
  width = static_cast<int>(w);
  height = static_cast<int>(h);
}

void ScanConvert(CHTriangulation& mesh, CSSEMatrix& out, bool minimum) {
  if (minimum) mesh.ScanConvertTriangulationMin(&out, 0.0f);
  else mesh.ScanConvertTriangulationMax(&out, 0.0f);
}

// Merges a chunk's raster into the result: 0 is "nothing there" in both.
void MergeInto(CSSEMatrix& result, const CSSEMatrix& chunk, bool minimum) {
  for (int y = 0; y < result.GetSizeY(); ++y)
    for (int x = 0; x < result.GetSizeX(); ++x) {
      const float c = chunk.GetPoint(x, y);
      if (c == 0.0f) continue;
      const float r = result.GetPoint(x, y);
      result.SetPoint(x, y, r == 0.0f ? c : minimum ? std::min(r, c) : std::max(r, c));
    }
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
    Box box;
    for (int i = 0; i < mesh->GetNumTriangles(); ++i)
      for (int k = 0; k < 3; ++k) box.Add(&mesh->GetEdgeArray()[3 * i + k].x);
    int width = 0, height = 0;
    CheckRasterSize(args.input, box, resolution, width, height);
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
    Box box;
    std::vector<float> corners;
    while (reader->Next(corners, kChunkTriangles)) {
      for (size_t i = 0; i < corners.size(); i += 3) box.Add(&corners[i]);
      corners.clear();
    }
    int width = 0, height = 0;
    CheckRasterSize(args.input, box, resolution, width, height);
    reader->Rewind();
    const bool chunked = triangles > kChunkTriangles;
    CSSEMatrix part;
    Progress progress("rasterizing", triangles);
    std::int64_t done = 0;
    while (reader->Next(corners, kChunkTriangles)) {
      const int n = static_cast<int>(corners.size() / 9);
      CHTriangulation mesh(n, resolution, resolution, 1.0f);
      SSEPoint* points = mesh.GetEdgeArray();
      for (int i = 0; i < 3 * n; ++i) {
        points[i].x = corners[3 * i];
        points[i].y = corners[3 * i + 1];
        points[i].z = corners[3 * i + 2];
        points[i].w = 0.0f;
      }
      corners.clear();
      mesh.CalcBoundingBox();
      mesh.CalcSTV();
      // Every chunk is converted over the whole mesh's box, so all chunk
      // rasters share one grid.
      SSEPoint* block = mesh.GetPointArray();
      for (int a = 0; a < 3; ++a) {
        (&block[0].x)[a] = box.min[a];
        (&block[1].x)[a] = box.max[a];
      }
      block[0].w = block[1].w = 0.0f;
      ScanConvert(mesh, chunked ? part : raster, args.minimum);
      if (chunked) {
        if (raster.GetMatrixDataDirectly() == nullptr) raster.Create(part.GetSizeX(), part.GetSizeY());
        MergeInto(raster, part, args.minimum);
      }
      done += n;
      progress.Update(done);
    }
    origin[0] = box.min[0];
    origin[1] = box.min[1];
  }
  const double convertSeconds = timer.Seconds();
  if (raster.GetMatrixDataDirectly() == nullptr) throw BadInput(args.input, "empty mesh");
  timer.Restart();
  RasterWriteOptions writeOptions;
  writeOptions.pngScale = args.pngScale;
  const std::string what = WriteRaster(args.output, raster, writeOptions);
  const RasterSummary summary = Summarize(raster);
  Say("%s: %lld triangles scan-converted by %s at resolution %g in %.2f s\n", args.input.c_str(),
      static_cast<long long>(triangles), args.minimum ? "minimum" : "maximum", resolution, convertSeconds);
  Say("%s: %d x %d cells (%s), origin (%g, %g), %lld with data, heights %g .. %g, written in %.2f s\n",
      args.output.c_str(), summary.width, summary.height, what.c_str(), origin[0], origin[1],
      static_cast<long long>(summary.valid), summary.minimum, summary.maximum, timer.Seconds());
  return kExitDone;
}

}  // namespace

CommandRun AddRasterizeCommand(CLI::App& app) {
  auto args = std::make_shared<RasterizeArgs>();
  CLI::App* sub = app.add_subcommand("rasterize", "mesh to height field, keeping the highest (or lowest) surface");
  sub->add_option("MESH", args->input, "mesh: .ply .stl .rmesh")->required();
  sub->add_option("-o,--output", args->output, "height field: .npy .tif .tiff .png .rsm")->required();
  sub->add_option("--resolution", args->resolution,
                  "cell size in mesh units (default: the .rmesh scale, else 1)");
  sub->add_flag("--min", args->minimum, "keep the lowest surface instead of the highest");
  sub->add_option("--png-scale", args->pngScale, "16-bit PNG output: height of one step (default max/65535)");
  return [args] { return RunRasterize(*args); };
}

}  // namespace relief::tool
