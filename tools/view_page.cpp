#include "view_page.h"

#include <fstream>
#include <memory>
#include <vector>

#include "errors.h"
#include "io/atomic_file.h"
#include "io/extension.h"
#include "io/mesh_io.h"
#include "io/obj_reader.h"
#include "io/raster_io.h"
#include "relief/CArchive.h"
#include "relief/CHTriangulation.h"
#include "relief/CHTriangulationDlg.h"
#include "relief/CSSE3dPolygon.h"

namespace relief::tool {

unsigned LayerColour(int layer) {
  static const unsigned kColours[] = {0xc8b89a, 0x4fa3e0, 0xe07a4f, 0x7cc47c, 0xc57ce0, 0xe0d24f};
  return kColours[layer % 6];
}

std::vector<float> ReadTrianglesForView(const std::filesystem::path& path) {
  if (LowerExtension(path) == ".obj") return ReadObjTriangles(path);
  std::vector<float> corners;
  auto reader = OpenTriangleReader(path);
  while (reader->Next(corners, 1 << 20)) {
  }
  return corners;
}

namespace {

std::unique_ptr<CSSE3dPolygon> ReadPolygonRecord(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw CannotOpen(path);
  auto polygon = std::make_unique<CSSE3dPolygon>();
  try {
    CArchive archive(in);
    polygon->Serialize(archive);
  } catch (const CArchiveException&) {
    throw BadInput(path, "corrupt or truncated polygon record");
  } catch (const std::bad_alloc&) {
    throw BadInput(path, "corrupt polygon record (impossible point count)");
  }
  if (polygon->GetNumPoints() == 0) throw BadInput(path, "empty polygon record");
  return polygon;
}

}  // namespace

void AddFileToView(CHTriangulationDlg& view, const std::filesystem::path& path) {
  const std::string ext = LowerExtension(path);
  const std::string name = path.filename().string();
  const unsigned colour = LayerColour(view.GetNumLayers());
  RequireInputFile(path);
  if (ext == ".rpoly") {
    view.AddPolygon(*ReadPolygonRecord(path), name, colour, true);
  } else if (IsRasterPath(path)) {
    view.AddHeightField(*ReadRaster(path), name, colour);
  } else if (ext == ".rmesh") {
    view.AddTriangulation(*ReadRmesh(path), name, colour);
  } else if (IsMeshPath(path)) {
    const std::vector<float> corners = ReadTrianglesForView(path);
    view.AddTriangles(corners.data(), std::int64_t(corners.size() / 9), name, colour);
  } else {
    throw BadInput(path, std::string("unknown kind of file (meshes ") + kMeshExtensions + ", height fields " +
                             kRasterExtensions + ", polygons .rpoly)");
  }
}

void WriteViewPage(const CHTriangulationDlg& view, const std::filesystem::path& path) {
  // Through the tool's own temporary, so a missing or read-only folder is
  // refused as for every other output and an interrupted run leaves nothing.
  AtomicFile out(path);
  const std::string html = view.ToHtml();
  std::ofstream file(out.TempPath(), std::ios::binary | std::ios::trunc);
  file.write(html.data(), static_cast<std::streamsize>(html.size()));
  file.close();
  if (!file) throw WorkFailed(path, "write failed (disk full?)");
  out.Commit();
}

}  // namespace relief::tool
