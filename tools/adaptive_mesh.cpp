#include "adaptive_mesh.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

#include "degenerate_repair.h"
#include "errors.h"
#include "progress.h"
#include "relief/CSSEMatrix.h"
#include "relief/TaCIncrementalDelaunay2D.h"

namespace relief::tool {

namespace {

// Inclusive pixel bounds of one tile; x1 > x0 and y1 > y0.
struct Tile {
  int x0, y0, x1, y1;
};

// Positions origin + k * step lying strictly between from and to (from >= origin).
std::vector<int> StrictlyBetween(int origin, int step, int from, int to) {
  std::vector<int> at;
  for (int v = origin + ((from - origin) / step + 1) * step; v < to; v += step) at.push_back(v);
  return at;
}

// Tile edges along one axis: count + 1 positions from lo to hi, as even as
// integers allow.
std::vector<int> Cuts(int lo, int hi, int tileSize) {
  const int span = hi - lo;
  const int count = std::max(1, (span + tileSize - 1) / tileSize);
  std::vector<int> at;
  for (int k = 0; k <= count; ++k) at.push_back(lo + static_cast<int>(static_cast<std::int64_t>(span) * k / count));
  return at;
}

// Triangles with a corner on no data are left out, so near an outline the
// mesh must reach down to single pixels: every valid pixel next to no data
// (4-neighbours, looked up in the whole field so that two tiles agree on
// their shared edge) is seeded, and so is every no-data pixel next to a
// valid one, which keeps triangles from bridging a hole. Pixels seeded
// already are not repeated.
void AddOutlineSeeds(const CSSEMatrix& field, const Tile& tile, std::vector<std::pair<int, int>>& seeds) {
  const int width = field.GetSizeX(), height = field.GetSizeY();
  const int tileWidth = tile.x1 - tile.x0 + 1;
  std::vector<char> seeded(static_cast<size_t>(tileWidth) * static_cast<size_t>(tile.y1 - tile.y0 + 1), 0);
  auto at = [&](int x, int y) -> char& { return seeded[static_cast<size_t>(y - tile.y0) * tileWidth + (x - tile.x0)]; };
  for (const auto& [x, y] : seeds) at(x, y) = 1;
  for (int y = tile.y0; y <= tile.y1; ++y)
    for (int x = tile.x0; x <= tile.x1; ++x) {
      const bool valid = field.GetPoint(x, y) != 0.0f;
      bool outline = false;
      const int nx[4] = {x - 1, x + 1, x, x}, ny[4] = {y, y, y - 1, y + 1};
      for (int k = 0; k < 4 && !outline; ++k)
        if (nx[k] >= 0 && nx[k] < width && ny[k] >= 0 && ny[k] < height)
          outline = (field.GetPoint(nx[k], ny[k]) != 0.0f) != valid;
      if (outline && !at(x, y)) {
        at(x, y) = 1;
        seeds.emplace_back(x, y);
      }
    }
}

struct TileResult {
  std::vector<float> corners;
  std::int64_t vertices = 0, inserted = 0, unusedSeeds = 0;
  int passes = 0;
};

// Seeds, triangulates and refines one tile in its own coordinates. The seed
// grids are anchored at the box's corner (originX, originY), never at the
// tile's, so two tiles put the same points on the edge they share.
TileResult RefineTile(const CSSEMatrix& field, const Tile& tile, int originX, int originY,
                      const AdaptiveOptions& options, bool countLeft, bool countTop) {
  const int width = tile.x1 - tile.x0 + 1, height = tile.y1 - tile.y0 + 1;
  CSSEMatrix local;
  local.CreateNoClear(width, height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) local.SetPoint(x, y, field.GetPoint(tile.x0 + x, tile.y0 + y));

  // Centroid insertion never puts a point on a tile's edge, so the edges get
  // a denser row of seeds: the edge triangles would otherwise stay as coarse
  // as the grid.
  const int spacing = std::max(1, options.seedSpacing);
  const int edgeSpacing = std::max(1, spacing / 8);
  // Grid points keep at least the edge spacing from the tile's edges: a grid
  // row a pixel inside an edge makes slivers against the edge's seeds, over
  // which the triangulator can leave some of those seeds unconnected.
  const std::vector<int> gridXs =
      StrictlyBetween(originX, spacing, tile.x0 + edgeSpacing - 1, tile.x1 - edgeSpacing + 1);
  const std::vector<int> gridYs =
      StrictlyBetween(originY, spacing, tile.y0 + edgeSpacing - 1, tile.y1 - edgeSpacing + 1);
  const std::vector<int> edgeXs = StrictlyBetween(originX, edgeSpacing, tile.x0, tile.x1);
  const std::vector<int> edgeYs = StrictlyBetween(originY, edgeSpacing, tile.y0, tile.y1);
  // Corners first (the box start uses them), then the grid, then the edges:
  // an edge point inserted early splits the start triangles into fans of
  // long slivers whose circles span the tile, which makes every later
  // insertion slow.
  std::vector<std::pair<int, int>> seeds = {
      {tile.x0, tile.y0}, {tile.x1, tile.y0}, {tile.x1, tile.y1}, {tile.x0, tile.y1}};
  for (int y : gridYs)
    for (int x : gridXs) seeds.emplace_back(x, y);
  for (int x : edgeXs) seeds.insert(seeds.end(), {{x, tile.y0}, {x, tile.y1}});
  for (int y : edgeYs) seeds.insert(seeds.end(), {{tile.x0, y}, {tile.x1, y}});
  AddOutlineSeeds(field, tile, seeds);

  TaCIncrementalDelaunay2D delaunay(static_cast<int>(seeds.size()) + 8);
  for (const auto& [x, y] : seeds) {
    SSEPoint p;
    p.x = static_cast<float>(x - tile.x0);
    p.y = static_cast<float>(y - tile.y0);
    p.z = field.GetPoint(x, y);
    p.w = 0.0f;
    delaunay.AppendVertex(p);
  }
  // The box start: two triangles over the tile, whose corners are the first
  // four seeds. A start from three seeds could be degenerate (a grid row).
  delaunay.Triangulate(delaunay.GetNumVertices(), false, true);

  // One pass at a time: a pass may append centroids that the triangulation
  // refuses (too close to a vertex), so the vertex count says nothing. Every
  // inserted point adds triangles, so an unchanged triangle count means the
  // pass inserted nothing, and the next would repeat it.
  TileResult result;
  for (int pass = 0; pass < options.passes; ++pass) {
    const int before = delaunay.GetTriangleList().GetCount();
    delaunay.RefineTriangulation(&local, options.minHeight, 1, options.tolerance);
    result.passes = pass + 1;
    if (delaunay.GetTriangleList().GetCount() == before) break;
  }
  delaunay.FinalizeTriangleList();

  std::vector<std::array<std::int32_t, 3>> triangles;
  for (t_hdelaunaytriangle* t : delaunay.GetFinalTriangleList())
    triangles.push_back({t->nVertex[0], t->nVertex[1], t->nVertex[2]});
  std::vector<SSEPoint> vertices(static_cast<size_t>(delaunay.GetNumVertices()));
  std::vector<PlanarPoint> planar(vertices.size());
  for (size_t v = 0; v < vertices.size(); ++v) {
    vertices[v] = delaunay.GetVertex(static_cast<int>(v));
    planar[v] = {vertices[v].x, vertices[v].y};
  }
  // The triangulator can leave zero-area triangles along collinear seeds, as
  // on a tile's edge; they are replaced so that the edge stays closed.
  RepairZeroAreaTriangles(triangles, planar);

  // Every seed must be a corner of the triangulation (those on the tile's
  // edges above all: a missing one is a crack against the neighbour). The
  // triangulator is trusted no further than this count shows.
  {
    std::vector<char> connected(vertices.size(), 0);
    for (const auto& t : triangles)
      for (int k = 0; k < 3; ++k) connected[static_cast<size_t>(t[k])] = 1;
    for (size_t v = 0; v < seeds.size(); ++v) result.unusedSeeds += connected[v] ? 0 : 1;
  }

  // Points are counted where they are used; a point on the tile's left or
  // top edge belongs to the neighbour there, unless the edge is the box's.
  std::vector<char> used(vertices.size(), 0);
  for (const auto& t : triangles) {
    float c[9];
    bool onData = true;
    for (int k = 0; k < 3; ++k) {
      const SSEPoint& v = vertices[static_cast<size_t>(t[k])];
      c[3 * k] = v.x + static_cast<float>(tile.x0);
      c[3 * k + 1] = v.y + static_cast<float>(tile.y0);
      c[3 * k + 2] = v.z;
      onData = onData && v.z != 0.0f;
    }
    if (!onData) continue;
    for (int k = 0; k < 3; ++k) used[static_cast<size_t>(t[k])] = 1;
    result.corners.insert(result.corners.end(), c, c + 9);
  }
  const int seedCount = static_cast<int>(seeds.size());
  for (int v = 0; v < static_cast<int>(used.size()); ++v) {
    if (!used[static_cast<size_t>(v)]) continue;
    const SSEPoint& p = vertices[static_cast<size_t>(v)];
    if ((p.x == 0.0f && !countLeft) || (p.y == 0.0f && !countTop)) continue;
    ++result.vertices;
    if (v >= seedCount) ++result.inserted;
  }
  return result;
}

}  // namespace

AdaptiveMesh RefineField(const CSSEMatrix& field, const AdaptiveOptions& options, const char* name) {
  const int width = field.GetSizeX(), height = field.GetSizeY();
  int minX = width, minY = height, maxX = -1, maxY = -1;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      if (field.GetPoint(x, y) != 0.0f) {
        minX = std::min(minX, x);
        maxX = std::max(maxX, x);
        minY = std::min(minY, y);
        maxY = std::max(maxY, y);
      }
  if (maxX < 0 || minX == maxX || minY == maxY)
    throw BadInput(name, "nothing to triangulate: the valid pixels do not span an area");

  const int tileSize = std::max(2, options.tileSize);
  const std::vector<int> xs = Cuts(minX, maxX, tileSize), ys = Cuts(minY, maxY, tileSize);
  const int tiles = static_cast<int>((xs.size() - 1) * (ys.size() - 1));
  AdaptiveMesh mesh;
  mesh.tiles = tiles;
  // The tiles are independent: they are refined on up to options.threads
  // threads and collected in tile order, so the result does not depend on
  // how many ran at once.
  std::vector<TileResult> results(static_cast<size_t>(tiles));
  std::atomic<int> next{0};
  std::mutex lock;
  std::exception_ptr failure;
  int done = 0;
  Progress progress("refining", tiles);
  auto work = [&] {
    for (int t = next++; t < tiles; t = next++) {
      const size_t i = static_cast<size_t>(t) % (xs.size() - 1), j = static_cast<size_t>(t) / (xs.size() - 1);
      const Tile tile{xs[i], ys[j], xs[i + 1], ys[j + 1]};
      try {
        results[static_cast<size_t>(t)] = RefineTile(field, tile, minX, minY, options, i == 0, j == 0);
      } catch (...) {
        const std::lock_guard<std::mutex> hold(lock);
        if (!failure) failure = std::current_exception();
        next = tiles;  // the others stop after their current tile
        return;
      }
      const std::lock_guard<std::mutex> hold(lock);
      progress.Update(++done);
    }
  };
  std::vector<std::thread> helpers;
  for (int k = 1; k < std::min(options.threads, tiles); ++k) {
    try {
      helpers.emplace_back(work);
    } catch (const std::system_error&) {
      break;  // fewer threads, same result
    }
  }
  work();
  for (std::thread& h : helpers) h.join();
  if (failure) std::rethrow_exception(failure);
  for (TileResult& r : results) {
    mesh.corners.insert(mesh.corners.end(), r.corners.begin(), r.corners.end());
    std::vector<float>().swap(r.corners);
    mesh.vertices += r.vertices;
    mesh.inserted += r.inserted;
    mesh.unusedSeeds += r.unusedSeeds;
    mesh.passes = std::max(mesh.passes, r.passes);
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
