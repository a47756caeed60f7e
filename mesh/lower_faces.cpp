// The lower faces of the lifted Delaunay triangulation as a mesh between two
// border lines, and the join of a mesh to a border line by a loft.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "mesh/loft.h"
#include "relief/CH2DDelaunay.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSE3dPolygon.h"
#include "triangulation/hull3d_detail.h"

using namespace relief::detail;

namespace {

constexpr double kTenths = 10.0;  // the hull stores coordinates in tenths

void BorderPoints(const CH2DDelaunay& d, bool top, CSSE3dPolygon* out) {
  if (!out) return;
  std::vector<const tVertexStructure*> points;
  ForEachOnceRound(d.GetEdges(), [&](tEdgeStructure* e) {
    if (!e->adjface[0] || e->adjface[1]) return;  // inside, or no face left
    for (const tVertexStructure* v : e->endpts)
      if (v->flag == top) points.push_back(v);
  });
  std::sort(points.begin(), points.end(), [](const tVertexStructure* a, const tVertexStructure* b) {
    return a->index != b->index ? a->index < b->index : a < b;
  });
  points.erase(std::unique(points.begin(), points.end()), points.end());
  out->Create(static_cast<int>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i)
    out->SetPoint(static_cast<int>(i), static_cast<float>(points[i]->x / kTenths),
                  static_cast<float>(points[i]->y / kTenths), 0.0f);
}

void MeshPasses(CHTriangulation& m) {
  if (m.NumTriangles < 1) return;
  m.CalcSTV();
  m.CalcNormalsFromVertices();
  m.CalcBoundingBox();
}

// Exact identity of a corner: the bits of x, y and z.
struct PointKey {
  std::array<std::uint32_t, 3> bits;
  bool operator==(const PointKey& o) const { return bits == o.bits; }
};

PointKey KeyOf(const SSEPoint& p) {
  PointKey k;
  std::memcpy(k.bits.data(), &p.x, sizeof k.bits);
  return k;
}

struct KeyHash {
  std::size_t operator()(const PointKey& k) const {
    std::uint64_t h = 1469598103934665603ull;
    for (std::uint32_t b : k.bits) h = (h ^ b) * 1099511628211ull;
    return static_cast<std::size_t>(h ^ (h >> 29));
  }
  std::size_t operator()(const std::pair<PointKey, PointKey>& e) const {
    return (*this)(e.first) * 31 + (*this)(e.second);
  }
};

struct PairEqual {
  bool operator()(const std::pair<PointKey, PointKey>& a, const std::pair<PointKey, PointKey>& b) const {
    return a.first == b.first && a.second == b.second;
  }
};

// The longest closed chain of the mesh's border edges (edges of one
// triangle only), in the direction the triangles run them.
std::vector<SSEPoint> LongestBorderRing(const CHTriangulation& m) {
  using Edge = std::pair<PointKey, PointKey>;
  auto undirected = [](PointKey a, PointKey b) {
    return a.bits < b.bits ? Edge{a, b} : Edge{b, a};
  };
  std::unordered_map<Edge, int, KeyHash, PairEqual> uses;
  for (int i = 0; i < m.NumTriangles; ++i)
    for (int k = 0; k < 3; ++k)
      ++uses[undirected(KeyOf(m.EdgeArray[3 * i + k]), KeyOf(m.EdgeArray[3 * i + (k + 1) % 3]))];
  // Outgoing border edges per start corner.
  struct Out {
    SSEPoint to;
    bool used;
  };
  std::unordered_map<PointKey, std::vector<Out>, KeyHash> outgoing;
  std::vector<SSEPoint> starts;
  for (int i = 0; i < m.NumTriangles; ++i)
    for (int k = 0; k < 3; ++k) {
      const SSEPoint &p = m.EdgeArray[3 * i + k], &q = m.EdgeArray[3 * i + (k + 1) % 3];
      if (uses[undirected(KeyOf(p), KeyOf(q))] != 1) continue;
      outgoing[KeyOf(p)].push_back({q, false});
      starts.push_back(p);
    }
  std::vector<SSEPoint> best;
  for (const SSEPoint& start : starts) {
    std::vector<SSEPoint> ring;
    SSEPoint at = start;
    const PointKey home = KeyOf(start);
    for (;;) {
      auto it = outgoing.find(KeyOf(at));
      Out* next = nullptr;
      if (it != outgoing.end())
        for (Out& o : it->second)
          if (!o.used) {
            next = &o;
            break;
          }
      if (!next) {
        ring.clear();  // an open chain is no ring
        break;
      }
      next->used = true;
      ring.push_back(at);
      at = next->to;
      if (KeyOf(at) == home) break;
    }
    if (ring.size() > best.size()) best = ring;
  }
  for (SSEPoint& p : best) p.w = 0.0f;
  return best;
}

}  // namespace

void CH2DDelaunay::GetBorderPointsTop(CSSE3dPolygon* out) const { BorderPoints(*this, true, out); }

void CH2DDelaunay::GetBorderPointsBottom(CSSE3dPolygon* out) const { BorderPoints(*this, false, out); }

void CH2DDelaunay::RemoveFacesOutOfBorderLines(CSSE3dPolygon* top, CSSE3dPolygon* bottom) {
  if (!m_pFaces) return;
  ForEachOnceRound(m_pFaces, [&](tFaceStructure* f) {
    double cx = 0.0, cy = 0.0;
    for (const tVertexStructure* v : f->vertex) cx += double(v->x), cy += double(v->y);
    const float x = static_cast<float>(cx / (3.0 * kTenths)), y = static_cast<float>(cy / (3.0 * kTenths));
    const bool inTop = top && top->PointInLineInnerArea(x, y, 1);
    const bool inBottom = bottom && bottom->PointInLineInnerArea(x, y, 1);
    if (inTop == inBottom) DropFace(f);
  });
  SettleEdgesAfterDrops();
  CalcNumFaces();
  CalcNumEdges();
  CalcNumVertices();
}

void CH2DDelaunay::CreateTriangulationFromTwoBorderPolygons(CSSE3dPolygon* top, CSSE3dPolygon* bottom,
                                                            CHTriangulation* out) {
  if (!out) return;
  out->FreeTriangulation();
  if (!top || !bottom) return;
  for (int i = 0; i < top->GetNumPoints(); ++i) {
    float x, y;
    top->GetPointXY(i, x, y);
    AppendVertex(x, y, i, true);
  }
  for (int i = 0; i < bottom->GetNumPoints(); ++i) {
    float x, y;
    bottom->GetPointXY(i, x, y);
    AppendVertex(x, y, i, false);
  }
  if (IsDegenerate()) return;
  CalcDelaunayTriangulation();
  RemoveFacesOutOfBorderLines(top, bottom);
  std::vector<SSEPoint> corners;
  ForEachOnceRound(m_pFaces, [&](tFaceStructure* f) {
    SSEPoint p[3];
    for (int c = 0; c < 3; ++c) {
      // Vertices appended before this call (an object that was not fresh)
      // may name points the polygons do not have: such faces are left out.
      const CSSE3dPolygon* line = f->vertex[c]->flag ? top : bottom;
      if (f->vertex[c]->index < 0 || f->vertex[c]->index >= line->GetNumPoints()) return;
      line->GetPointSSE(f->vertex[c]->index, p[c]);
    }
    // Lower faces run clockwise seen from +z (NormZ < 0): turn them round.
    const bool clockwise = NormZ(f) < 0;
    corners.push_back(p[0]);
    corners.push_back(clockwise ? p[2] : p[1]);
    corners.push_back(clockwise ? p[1] : p[2]);
  });
  FillCorners(*out, corners);
  MeshPasses(*out);
}

void CH2DDelaunay::LoftWith3DTriangulation(CHTriangulation* surface, CSSE3dPolygon* border, CHTriangulation* out) {
  if (!surface || !out) return;
  std::vector<SSEPoint> corners(surface->EdgeArray, surface->EdgeArray + 3 * std::size_t(surface->NumTriangles));
  std::vector<SSEPoint> ring = LongestBorderRing(*surface);
  if (ring.size() >= 3 && border && border->GetNumPoints() >= 3) {
    // The band must run the shared edges against the surface.
    std::reverse(ring.begin(), ring.end());
    std::vector<SSEPoint> line = RingOfPolygon(*border, 1);
    OrientLike(ring, line);
    LoftBand(ring, line, corners);
  }
  FillCorners(*out, corners);
  MeshPasses(*out);
}
