// Variants of the subsampled height-field builder: cells admitted by a
// polygon, and a sub-rectangle of the raster.

#include <vector>

#include "contour/crossing_rule.h"
#include "mesh/subsampled_cells.h"
#include "relief/CSSE3dPolygon.h"

using namespace relief::detail;

namespace {

// Answers polygon.PointInLineInnerArea(x, y, 1) for the cell centres of one
// column after another. The crossing rule toggles only on edges that
// straddle the vertical through x, so each column collects those once and
// every centre of the column is tested against them alone; the toggle test
// itself is the polygon's own, so the answers are the same bit for bit.
class CentreTest {
 public:
  explicit CentreTest(CSSE3dPolygon& polygon) : polygon_(polygon) {
    if (polygon.GetNumPoints() < 3) return;
    if (!polygon.IsBoundingBoxCalculated()) polygon.CalcBoundingBox();
    lo_ = polygon.GetBottomLeft();
    hi_ = polygon.GetTopRight();
  }

  bool Inside(float x, float y) {
    const int n = polygon_.GetNumPoints();
    if (n < 3) return false;
    if (x < lo_.x || y < lo_.y || x > hi_.x || y > hi_.y) return false;
    if (!(x == column_)) Collect(x);
    bool inside = false;
    for (const Edge& e : edges_)
      if (EdgeTogglesCrossing(e.prevX, e.prevY, e.curX, e.curY, x, y)) inside = !inside;
    return inside;
  }

 private:
  struct Edge {
    float prevX, prevY, curX, curY;
  };

  void Collect(float x) {
    column_ = x;
    edges_.clear();
    const float* px = polygon_.GetXArray();
    const float* py = polygon_.GetYArray();
    const int n = polygon_.GetNumPoints();
    for (int i = 0, p = n - 1; i < n; p = i++)
      if ((x > px[i]) == (px[p] >= x)) edges_.push_back({px[p], py[p], px[i], py[i]});
  }

  CSSE3dPolygon& polygon_;
  SSEPoint lo_{}, hi_{};
  float column_ = __builtin_nanf("");
  std::vector<Edge> edges_;
};

}  // namespace

void CHTriangulation::CreateTriangulationFromSSEFieldSubSampled(CSSEMatrix* field, float threshold, bool above,
                                                                int stepX, int stepY, CSSE3dPolygon* polygon) {
  if (!field || stepX < 1 || stepY < 1) return;
  CellWindow w{0, field->GetSizeX() - 1, 0, field->GetSizeY() - 1, stepX, stepY};
  if (!polygon || polygon->GetNumPoints() < 3 || !ClipWindow(*field, w)) {
    FreeTriangulation();
    return;
  }
  CentreTest centre(*polygon);
  const float halfX = static_cast<float>(stepX) * 0.5f, halfY = static_cast<float>(stepY) * 0.5f;
  BuildCells(*this, *field, threshold, above, w, false,
             [&](int x, int y) { return centre.Inside(static_cast<float>(x) + halfX, static_cast<float>(y) + halfY); });
}

void CHTriangulation::CreateTriangulationFromSSEFieldSubSampled(CSSEMatrix* field, float threshold, bool above,
                                                                int xFrom, int xTo, int yFrom, int yTo, int stepX,
                                                                int stepY, bool fillCells) {
  if (!field || stepX < 1 || stepY < 1) return;
  CellWindow w{xFrom, xTo, yFrom, yTo, stepX, stepY};
  if (!field->GetMatrixDataDirectly() || !ClipWindow(*field, w)) {
    FreeTriangulation();
    return;
  }
  BuildCells(*this, *field, threshold, above, w, fillCells, [](int, int) { return true; });
}
