// Delaunay triangles as the downward faces of the hull of the lifted points.

#include <chrono>
#include <cstdio>
#include <limits>

#include "relief/CH2DDelaunay.h"
#include "relief/MessageBox.h"
#include "triangulation/hull3d_detail.h"

std::int64_t CH2DDelaunay::NormZ(const tFaceStructure* f) const {
  using relief::detail::HullWide;
  const tVertexStructure* a = f->vertex[0];
  const tVertexStructure* b = f->vertex[1];
  const tVertexStructure* c = f->vertex[2];
  const HullWide n = (HullWide(b->x) - a->x) * (HullWide(c->y) - a->y) -
                     (HullWide(b->y) - a->y) * (HullWide(c->x) - a->x);
  // Only the sign is ever used; keep it even where the value leaves 64 bits.
  constexpr HullWide hi = std::numeric_limits<std::int64_t>::max();
  constexpr HullWide lo = std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(n > hi ? hi : (n < lo ? lo : n));
}

void CH2DDelaunay::DropFace(tFaceStructure* f) {
  for (tEdgeStructure* e : f->edge) {
    if (e->adjface[0] == f) e->adjface[0] = nullptr;
    if (e->adjface[1] == f) e->adjface[1] = nullptr;
  }
  DeleteFace(f);
}

void CH2DDelaunay::SettleEdgesAfterDrops() {
  relief::detail::ForEachOnceRound(m_pEdges, [this](tEdgeStructure* e) {
    if (!e->adjface[0] && !e->adjface[1]) {
      DeleteEdge(e);
    } else if (!e->adjface[0]) {
      e->adjface[0] = e->adjface[1];
      e->adjface[1] = nullptr;
    }
  });
}

void CH2DDelaunay::LowerFaces() {
  if (!m_pFaces) return;
  relief::detail::ForEachOnceRound(m_pFaces, [this](tFaceStructure* f) {
    if (NormZ(f) < 0) {
      f->lower = true;
      return;
    }
    DropFace(f);
  });
  // Edges with no face left belonged only to the upper hull.
  SettleEdgesAfterDrops();
}

void CH2DDelaunay::CalcDelaunayTriangulation() {
  const auto start = std::chrono::steady_clock::now();
  CalcConvexHull();
  LowerFaces();
  CalcNumFaces();
  CalcNumEdges();
  CalcNumVertices();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  char text[96];
  std::snprintf(text, sizeof text, "Time for 2D-Delaunay ms: %d\n Vertices: %d", static_cast<int>(ms.count()),
                m_nNumVertices);
  ShowMessageBox(text);
}
