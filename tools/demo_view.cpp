#include "demo_view.h"

#include "relief/CHTriangulation.h"
#include "relief/CHTriangulationDlg.h"
#include "relief/CSSEMatrix.h"
#include "view_page.h"

namespace relief::tool {

std::filesystem::path WriteDemoView(const std::filesystem::path& dir, const CSSEMatrix& field,
                                    const CHTriangulation& mesh, const std::filesystem::path& adaptivePath,
                                    const CSSEMatrix& difference, float errorPlaneZ) {
  CHTriangulationDlg view;
  view.SetTitle("relief demo: a synthetic tooth");
  view.AddTriangulation(mesh, "mesh (full resolution)", LayerColour(0));
  if (std::filesystem::exists(adaptivePath)) {
    const std::vector<float> adaptive = ReadTrianglesForView(adaptivePath);
    view.SetLayerVisible(view.AddTriangles(adaptive.data(), std::int64_t(adaptive.size() / 9), "adaptive mesh",
                                           LayerColour(1)),
                         false);
  }
  view.SetLayerVisible(view.AddHeightField(field, "height field", LayerColour(2)), false);
  // The error map lies flat below the crown, every pixel shown: 0 is an
  // exact round trip there, not missing data. It saturates at 2, like the
  // demo's difference picture: larger values are the spill ring.
  view.AddColourMap(difference, "round-trip error |scan - field|", false, 1.0f, 1.0f, errorPlaneZ, 0.0f, 2.0f);
  const std::filesystem::path page = dir / "view.html";
  WriteViewPage(view, page);
  return page;
}

}  // namespace relief::tool
