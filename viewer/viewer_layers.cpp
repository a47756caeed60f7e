// The Add... members of CHTriangulationDlg: each turns a library object into
// one encoded layer.

#include "viewer/viewer_layers.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "relief/CHOctree.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"
#include "relief/TaCIncrementalDelaunay2D.h"
#include "viewer/page_encoding.h"

namespace relief::detail {

std::string ColourText(std::uint32_t colour) {
  char text[8];
  std::snprintf(text, sizeof text, "#%06x", colour & 0xFFFFFFu);
  return text;
}

namespace {

std::string Triple(const double v[3]) {
  return "[" + JsonNumber(v[0]) + "," + JsonNumber(v[1]) + "," + JsonNumber(v[2]) + "]";
}

std::string LayerHead(const std::string& kind, const std::string& name, std::uint32_t colour) {
  return "{\"kind\":" + JsonString(kind) + ",\"name\":" + JsonString(name) + ",\"colour\":\"" + ColourText(colour) +
         "\"";
}

bool Finite(float x, float y, float z) { return std::isfinite(x) && std::isfinite(y) && std::isfinite(z); }

// Rows and columns sampled every stride pixels so that the cells shown stay
// within the limit (two triangles a cell).
int GridStride(int cols, int rows, std::int64_t maxTriangles) {
  int stride = 1;
  while (2.0 * std::ceil(double(cols) / stride) * std::ceil(double(rows) / stride) > double(maxTriangles)) ++stride;
  return stride;
}

std::vector<float> SampleGrid(const CSSEMatrix& field, int stride, int& cols, int& rows) {
  cols = (field.GetSizeX() + stride - 1) / stride;
  rows = (field.GetSizeY() + stride - 1) / stride;
  std::vector<float> values(std::size_t(cols) * rows);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < cols; ++c) {
      const float v = field.GetPoint(c * stride, r * stride);
      values[std::size_t(r) * cols + c] = std::isfinite(v) ? v : 0.0f;
    }
  return values;
}

}  // namespace

std::string MeshLayerJson(const std::string& kind, const std::string& name, std::uint32_t colour,
                          const IndexedGeometry& g, std::int64_t sourcePrimitives, const std::string& note) {
  const int corners = kind == "mesh" ? 3 : 2;
  const std::vector<std::uint8_t> packed = DeltaVarints(g.indices);
  std::string json = LayerHead(kind, name, colour);
  json += ",\"primitives\":" + std::to_string(sourcePrimitives);
  json += ",\"shown\":" + std::to_string(g.indices.size() / corners);
  json += ",\"vertices\":" + std::to_string(g.positions.size() / 3);
  json += ",\"origin\":" + Triple(g.origin) + ",\"min\":" + Triple(g.minimum) + ",\"max\":" + Triple(g.maximum);
  json += ",\"note\":" + JsonString(note);
  json += ",\"indexCount\":" + std::to_string(g.indices.size());
  json += ",\"positions\":\"" + Base64(g.positions.data(), g.positions.size() * sizeof(float)) + "\"";
  json += ",\"indices\":\"" + Base64(packed.data(), packed.size()) + "\"}";
  return json;
}

}  // namespace relief::detail

using namespace relief::detail;

namespace {

std::string DecimationNote(std::int64_t source, std::int64_t shown, const char* what) {
  if (source == shown) return "";
  char text[120];
  std::snprintf(text, sizeof text, "decimated for display: %lld of %lld %s shown", static_cast<long long>(shown),
                static_cast<long long>(source), what);
  return text;
}

}  // namespace

namespace {

// Merges a triangle soup's corners into one mesh layer. corner(t, k) gives
// corner k of triangle t as three floats.
template <class Corner>
std::string SoupLayerJson(std::int64_t count, Corner corner, const std::string& name, std::uint32_t colour,
                          std::int64_t limit) {
  GeometryBuilder builder(3);
  for (std::int64_t t = 0; t < count; ++t) {
    const float* p[3] = {corner(t, 0), corner(t, 1), corner(t, 2)};
    bool usable = true;
    for (int k = 0; k < 3; ++k) usable = usable && Finite(p[k][0], p[k][1], p[k][2]);
    // Three equal corners: an unused record of the full-resolution builder.
    const bool unused = std::equal(p[0], p[0] + 3, p[1]) && std::equal(p[0], p[0] + 3, p[2]);
    if (!usable || unused) continue;
    for (int k = 0; k < 3; ++k) builder.Index(builder.Point(p[k][0], p[k][1], p[k][2]));
  }
  const std::int64_t source = std::int64_t(builder.NumPrimitives());
  IndexedGeometry g = builder.Finish();
  DecimateTriangles(g, limit);
  return MeshLayerJson("mesh", name, colour, g, source,
                       DecimationNote(source, std::int64_t(g.indices.size() / 3), "triangles"));
}

}  // namespace

int CHTriangulationDlg::AddTriangulation(const CHTriangulation& mesh, const std::string& name, std::uint32_t colour) {
  const SSEPoint* corners = mesh.GetEdgeArray();
  auto layer = std::make_unique<Layer>();
  layer->json = SoupLayerJson(
      corners ? mesh.GetNumTriangles() : 0, [corners](std::int64_t t, int k) { return &corners[3 * t + k].x; }, name,
      colour, m_triangleLimit);
  m_layers.push_back(std::move(layer));
  return int(m_layers.size()) - 1;
}

int CHTriangulationDlg::AddTriangles(const float* corners, std::int64_t count, const std::string& name,
                                     std::uint32_t colour) {
  auto layer = std::make_unique<Layer>();
  layer->json = SoupLayerJson(
      corners ? std::max<std::int64_t>(count, 0) : 0, [corners](std::int64_t t, int k) { return corners + 9 * t + 3 * k; },
      name, colour, m_triangleLimit);
  m_layers.push_back(std::move(layer));
  return int(m_layers.size()) - 1;
}

int CHTriangulationDlg::AddHeightField(const CSSEMatrix& field, const std::string& name, std::uint32_t colour,
                                       float sx, float sy, float sz) {
  const int stride = GridStride(field.GetSizeX(), field.GetSizeY(), m_triangleLimit);
  int cols = 0, rows = 0;
  const std::vector<float> heights = SampleGrid(field, stride, cols, rows);
  float lo = std::numeric_limits<float>::infinity(), hi = -lo;
  for (float v : heights)
    if (v != 0.0f) lo = std::min(lo, v), hi = std::max(hi, v);
  std::int64_t cells = 0;  // full-resolution cells with four valid corners
  for (int y = 0; y + 1 < field.GetSizeY(); ++y)
    for (int x = 0; x + 1 < field.GetSizeX(); ++x)
      cells += field.GetPoint(x, y) != 0.0f && field.GetPoint(x + 1, y) != 0.0f && field.GetPoint(x, y + 1) != 0.0f &&
               field.GetPoint(x + 1, y + 1) != 0.0f;
  std::string note;
  if (stride > 1) note = "decimated for display: every " + std::to_string(stride) + "th pixel shown";
  auto layer = std::make_unique<Layer>();
  layer->json = LayerHead("surface", name, colour) + ",\"cols\":" + std::to_string(cols) +
                ",\"rows\":" + std::to_string(rows) + ",\"stride\":" + std::to_string(stride) +
                ",\"scale\":[" + JsonNumber(sx) + "," + JsonNumber(sy) + "," + JsonNumber(sz) + "]" +
                ",\"range\":[" + JsonNumber(lo <= hi ? lo : 0) + "," + JsonNumber(lo <= hi ? hi : 0) + "]" +
                ",\"primitives\":" + std::to_string(2 * cells) + ",\"note\":" + JsonString(note) +
                ",\"values\":\"" + Base64(heights.data(), heights.size() * sizeof(float)) + "\"}";
  m_layers.push_back(std::move(layer));
  return int(m_layers.size()) - 1;
}

int CHTriangulationDlg::AddColourMap(const CSSEMatrix& values, const std::string& name, bool zeroIsNoData, float sx,
                                     float sy, float z, float rampLow, float rampHigh) {
  // A colour map costs a texel per pixel, not triangles: thin it only past
  // 4096 pixels a side, the texture size every WebGL implementation takes.
  int stride = 1;
  while ((values.GetSizeX() + stride - 1) / stride > 4096 || (values.GetSizeY() + stride - 1) / stride > 4096)
    ++stride;
  int cols = 0, rows = 0;
  const std::vector<float> grid = SampleGrid(values, stride, cols, rows);
  float lo = std::numeric_limits<float>::infinity(), hi = -lo;
  for (float v : grid)
    if (!zeroIsNoData || v != 0.0f) lo = std::min(lo, v), hi = std::max(hi, v);
  if (std::isfinite(rampLow) && std::isfinite(rampHigh) && rampLow < rampHigh) lo = rampLow, hi = rampHigh;
  std::string note;
  if (stride > 1) note = "decimated for display: every " + std::to_string(stride) + "th pixel shown";
  auto layer = std::make_unique<Layer>();
  layer->json = LayerHead("colourmap", name, 0xffffff) + ",\"cols\":" + std::to_string(cols) +
                ",\"rows\":" + std::to_string(rows) + ",\"stride\":" + std::to_string(stride) +
                ",\"scale\":[" + JsonNumber(sx) + "," + JsonNumber(sy) + "," + JsonNumber(z) + "]" +
                ",\"range\":[" + JsonNumber(lo <= hi ? lo : 0) + "," + JsonNumber(lo <= hi ? hi : 0) + "]" +
                ",\"zeroIsNoData\":" + (zeroIsNoData ? "true" : "false") + ",\"primitives\":0" +
                ",\"note\":" + JsonString(note) + ",\"values\":\"" +
                Base64(grid.data(), grid.size() * sizeof(float)) + "\"}";
  m_layers.push_back(std::move(layer));
  return int(m_layers.size()) - 1;
}

int CHTriangulationDlg::AddPolygon(const CSSE3dPolygon& polygon, const std::string& name, std::uint32_t colour,
                                   bool closed) {
  GeometryBuilder builder(2);
  std::vector<std::uint32_t> points;
  for (int i = 0; i < polygon.GetNumPoints(); ++i) {
    float x, y, z;
    polygon.GetPoint(i, x, y, z);
    if (Finite(x, y, z)) points.push_back(builder.Point(x, y, z));
  }
  const std::size_t n = points.size();
  for (std::size_t i = 0; i + 1 < n || (closed && n > 2 && i < n); ++i) {
    builder.Index(points[i]);
    builder.Index(points[(i + 1) % n]);
  }
  const std::int64_t segments = std::int64_t(builder.NumPrimitives());
  auto layer = std::make_unique<Layer>();
  layer->json = MeshLayerJson("lines", name, colour, builder.Finish(), segments, "");
  m_layers.push_back(std::move(layer));
  return int(m_layers.size()) - 1;
}

int CHTriangulationDlg::AddOctree(const CHOctree& octree, const std::string& name, std::uint32_t colour) {
  // Walk the bricks depth first; keep those that hold an entry.
  std::vector<const t_hoctreeelement*> stack, shown;
  if (octree.GetStem()) stack.push_back(octree.GetStem());
  while (!stack.empty()) {
    const t_hoctreeelement* brick = stack.back();
    stack.pop_back();
    bool holds = false;
    for (const t_hoctreeentryblock* list : brick->pEntries)
      for (const t_hoctreeentryblock* b = list; b && !holds; b = b->pNext) holds = b->Count > 0;
    if (holds) shown.push_back(brick);
    for (const t_hoctreeelement* child : brick->pChild)
      if (child) stack.push_back(child);
  }
  if (shown.empty() && octree.GetStem()) shown.push_back(octree.GetStem());
  GeometryBuilder builder(2);
  static const int kEdges[12][2] = {{0, 1}, {2, 3}, {4, 5}, {6, 7}, {0, 2}, {1, 3},
                                    {4, 6}, {5, 7}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
  std::int64_t limit = m_triangleLimit / 12;  // boxes kept: the first ones walked
  for (const t_hoctreeelement* brick : shown) {
    if (limit-- <= 0) break;
    std::uint32_t corner[8];
    for (int k = 0; k < 8; ++k)
      corner[k] = builder.Point(k & 1 ? brick->MaxCorner.x : brick->MinCorner.x,
                                k & 2 ? brick->MaxCorner.y : brick->MinCorner.y,
                                k & 4 ? brick->MaxCorner.z : brick->MinCorner.z);
    for (const auto& e : kEdges) builder.Index(corner[e[0]]), builder.Index(corner[e[1]]);
  }
  const std::int64_t kept = std::int64_t(builder.NumPrimitives() / 12);
  auto layer = std::make_unique<Layer>();
  layer->json = MeshLayerJson("lines", name, colour, builder.Finish(), std::int64_t(shown.size()) * 12,
                              DecimationNote(std::int64_t(shown.size()), kept, "bricks"));
  m_layers.push_back(std::move(layer));
  return int(m_layers.size()) - 1;
}

int CHTriangulationDlg::AddDelaunay(const TaCIncrementalDelaunay2D& delaunay, const std::string& name,
                                    std::uint32_t colour) {
  const CDelaunayTriangleList& list =
      delaunay.IsFinalized() ? delaunay.GetFinalTriangleList() : delaunay.GetTriangleList();
  const int n = delaunay.GetNumVertices();
  GeometryBuilder builder(2);
  std::vector<std::uint32_t> pointOf(std::size_t(std::max(n, 0)), UINT32_MAX);
  std::vector<std::uint64_t> edges;  // each undirected edge once
  for (const t_hdelaunaytriangle* t : list) {
    bool valid = true;
    for (int k = 0; k < 3; ++k) valid = valid && t->nVertex[k] >= 0 && t->nVertex[k] < n;
    if (!valid) continue;
    for (int k = 0; k < 3; ++k) {
      const std::uint32_t a = std::uint32_t(t->nVertex[k]), b = std::uint32_t(t->nVertex[(k + 1) % 3]);
      edges.push_back(std::uint64_t(std::min(a, b)) << 32 | std::max(a, b));
    }
  }
  std::sort(edges.begin(), edges.end());
  edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
  for (std::uint64_t e : edges)
    for (std::uint32_t v : {std::uint32_t(e >> 32), std::uint32_t(e)}) {
      if (pointOf[v] == UINT32_MAX) {
        const SSEPoint p = delaunay.GetVertex(int(v));
        pointOf[v] = builder.Point(p.x, p.y, std::isfinite(p.z) ? p.z : 0.0f);
      }
      builder.Index(pointOf[v]);
    }
  auto layer = std::make_unique<Layer>();
  layer->json = MeshLayerJson("lines", name, colour, builder.Finish(), std::int64_t(edges.size()), "");
  m_layers.push_back(std::move(layer));
  return int(m_layers.size()) - 1;
}
