#include "adaptive_mesh.h"

#include <algorithm>
#include <cmath>

#include "errors.h"
#include "progress.h"
#include "relief/CSSEMatrix.h"
#include "relief/TaCIncrementalDelaunay2D.h"

namespace relief::tool {

AdaptiveMesh RefineField(CSSEMatrix& field, const AdaptiveOptions& options, const char* name) {
  const int width = field.GetSizeX(), height = field.GetSizeY();
  int minX = width, minY = height, maxX = -1, maxY = -1;
  std::int64_t valid = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      if (field.GetPoint(x, y) != 0.0f) {
        ++valid;
        minX = std::min(minX, x);
        maxX = std::max(maxX, x);
        minY = std::min(minY, y);
        maxY = std::max(maxY, y);
      }
  // Three valid pixels on one row or column would give a degenerate start.
  if (valid < 3 || minX == maxX || minY == maxY)
    throw BadInput(name, "nothing to triangulate: the valid pixels do not span an area");

  // Seeds: a grid over the valid pixels' box, its far edges included, with
  // the field's heights. Centroid insertion never puts a point on the hull,
  // so the box's edges get a denser row of seeds: the hull's triangles would
  // otherwise stay as coarse as the grid.
  const int spacing = std::max(1, options.seedSpacing);
  const int edgeSpacing = std::max(1, spacing / 8);
  auto positions = [](int from, int to, int step) {
    std::vector<int> at;
    for (int v = from; v < to; v += step) at.push_back(v);
    at.push_back(to);
    return at;
  };
  const std::vector<int> xs = positions(minX, maxX, spacing), ys = positions(minY, maxY, spacing);
  const std::vector<int> edgeXs = positions(minX, maxX, edgeSpacing), edgeYs = positions(minY, maxY, edgeSpacing);
  std::vector<std::pair<int, int>> seeds;
  for (int y : ys)
    for (int x : xs) seeds.emplace_back(x, y);
  for (int x : edgeXs) {
    if (std::find(xs.begin(), xs.end(), x) != xs.end()) continue;
    seeds.emplace_back(x, minY);
    seeds.emplace_back(x, maxY);
  }
  for (int y : edgeYs) {
    if (std::find(ys.begin(), ys.end(), y) != ys.end()) continue;
    seeds.emplace_back(minX, y);
    seeds.emplace_back(maxX, y);
  }
  TaCIncrementalDelaunay2D delaunay(static_cast<int>(seeds.size()) + 8);
  for (const auto& [x, y] : seeds) {
    SSEPoint p;
    p.x = static_cast<float>(x);
    p.y = static_cast<float>(y);
    p.z = field.GetPoint(x, y);
    p.w = 0.0f;
    delaunay.AppendVertex(p);
  }
  delaunay.Triangulate(delaunay.GetNumVertices(), false, false);
  // One pass at a time so that progress can be shown; the refinement stops
  // by itself after a pass that adds nothing.
  Progress progress("refining", options.passes);
  for (int pass = 0; pass < options.passes; ++pass) {
    const int before = delaunay.GetNumVertices();
    delaunay.RefineTriangulation(&field, options.minHeight, 1, options.tolerance);
    progress.Update(pass + 1);
    if (delaunay.GetNumVertices() == before) break;
  }
  delaunay.FinalizeTriangleList();

  AdaptiveMesh mesh;
  mesh.vertices = delaunay.GetNumVertices();
  for (t_hdelaunaytriangle* t : delaunay.GetFinalTriangleList()) {
    float c[9];
    bool onData = true;
    for (int k = 0; k < 3; ++k) {
      const SSEPoint v = delaunay.GetVertex(t->nVertex[k]);
      c[3 * k] = v.x;
      c[3 * k + 1] = v.y;
      c[3 * k + 2] = v.z;
      onData = onData && v.z != 0.0f;
    }
    if (onData) mesh.corners.insert(mesh.corners.end(), c, c + 9);
  }
  return mesh;
}

ErrorFigures MeasureAgainstField(const std::vector<float>& corners, const CSSEMatrix& field) {
  const int width = field.GetSizeX(), height = field.GetSizeY();
  CSSEMatrix surface;
  surface.Create(width, height);
  for (size_t t = 0; t + 9 <= corners.size(); t += 9) {
    const double x0 = corners[t], y0 = corners[t + 1], z0 = corners[t + 2];
    const double x1 = corners[t + 3], y1 = corners[t + 4], z1 = corners[t + 5];
    const double x2 = corners[t + 6], y2 = corners[t + 7], z2 = corners[t + 8];
    const double area = (x1 - x0) * (y2 - y0) - (x2 - x0) * (y1 - y0);
    if (area == 0.0) continue;
    const int left = std::max(0, static_cast<int>(std::ceil(std::min({x0, x1, x2}))));
    const int right = std::min(width - 1, static_cast<int>(std::floor(std::max({x0, x1, x2}))));
    const int top = std::max(0, static_cast<int>(std::ceil(std::min({y0, y1, y2}))));
    const int bottom = std::min(height - 1, static_cast<int>(std::floor(std::max({y0, y1, y2}))));
    for (int y = top; y <= bottom; ++y)
      for (int x = left; x <= right; ++x) {
        // Barycentric weights; a small negative slack keeps pixels on edges.
        const double b1 = ((x - x0) * (y2 - y0) - (x2 - x0) * (y - y0)) / area;
        const double b2 = ((x1 - x0) * (y - y0) - (x - x0) * (y1 - y0)) / area;
        const double b0 = 1.0 - b1 - b2;
        if (b0 < -1e-9 || b1 < -1e-9 || b2 < -1e-9) continue;
        surface.SetPoint(x, y, static_cast<float>(b0 * z0 + b1 * z1 + b2 * z2));
      }
  }
  return CompareRasters(field, surface, 0, 0);
}

}  // namespace relief::tool
