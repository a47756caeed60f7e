// relief info FILE: what a raster or mesh file holds.

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "io/mesh_io.h"
#include "io/raster_io.h"
#include "mesh_build.h"
#include "progress.h"
#include "raster_stats.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

namespace relief::tool {

namespace {

void PrintBox(const float* min, const float* max) {
  Say("  bounding box  x %g .. %g, y %g .. %g, z %g .. %g\n", min[0], max[0], min[1], max[1], min[2], max[2]);
}

int RunInfo(const std::string& file) {
  if (IsRasterPath(file)) {
    RasterMetadata metadata;
    std::unique_ptr<CSSEMatrix> raster = ReadRaster(file, &metadata);
    // Valid as `mesh` counts with its defaults: one rule for both.
    const RasterSummary s = Summarize(*raster, ValidRule());
    Say("%s: height field (%s samples)\n", file.c_str(), metadata.sampleType.c_str());
    Say("  size          %d x %d pixels\n", s.width, s.height);
    Say("  valid pixels  %lld (%.1f%%)\n", static_cast<long long>(s.valid),
        100.0 * static_cast<double>(s.valid) / (static_cast<double>(s.width) * s.height));
    if (s.nonZero > s.valid)
      Say("  negative      %lld pixels below 0: not valid unless --threshold (mesh, refine) is lower\n",
          static_cast<long long>(s.nonZero - s.valid));
    if (s.nonZero > 0) Say("  value range   %g .. %g\n", s.minimum, s.maximum);
    if (metadata.noData)
      Say("  no data       %g in %lld pixels (read as 0)\n", *metadata.noData,
          static_cast<long long>(metadata.noDataPixels));
    if (metadata.HasPixelScale())
      Say("  pixel scale   %.9g x %.9g (mesh uses it when --scale is not given)\n", metadata.pixelScale[0],
          metadata.pixelScale[1]);
    return 0;
  }
  const MeshFormat format = MeshFormatOf(file);  // BadInput for anything else
  float min[3] = {INFINITY, INFINITY, INFINITY}, max[3] = {-INFINITY, -INFINITY, -INFINITY};
  auto add = [&](const float* p) {
    for (int a = 0; a < 3; ++a) {
      min[a] = std::min(min[a], p[a]);
      max[a] = std::max(max[a], p[a]);
    }
  };
  std::int64_t triangles = 0;
  if (format == MeshFormat::kRmesh) {
    std::unique_ptr<CHTriangulation> mesh = ReadRmesh(file, EmptyMesh::kAccept);
    for (int i = 0; i < mesh->GetNumTriangles(); ++i) {
      if (!IsUsedRecord(*mesh, i)) continue;
      ++triangles;
      for (int k = 0; k < 3; ++k) add(&mesh->GetEdgeArray()[3 * i + k].x);
    }
    Say("%s: mesh archive\n", file.c_str());
    Say("  triangles     %lld (%d records)\n", static_cast<long long>(triangles), mesh->GetNumTriangles());
    Say("  scale         %g %g %g\n", mesh->GetScaleX(), mesh->GetScaleY(), mesh->GetScaleZ());
  } else {
    auto reader = OpenTriangleReader(file, EmptyMesh::kAccept);
    std::vector<float> corners;
    while (reader->Next(corners, 1 << 16)) {
      for (size_t i = 0; i < corners.size(); i += 3) add(&corners[i]);
      corners.clear();
    }
    triangles = reader->Count();
    Say("%s: mesh\n", file.c_str());
    Say("  triangles     %lld\n", static_cast<long long>(triangles));
  }
  if (triangles > 0) PrintBox(min, max);
  return 0;
}

}  // namespace

CommandRun AddInfoCommand(CLI::App& app) {
  auto file = std::make_shared<std::string>();
  CLI::App* sub = app.add_subcommand("info", "what a file holds: size, value range and valid pixels, or triangles "
                                             "and bounding box");
  sub->add_option("FILE", *file, "a height field or mesh file")->required();
  return [file] { return RunInfo(*file); };
}

}  // namespace relief::tool
