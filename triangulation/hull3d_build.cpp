// Incremental 3D hull: start from a double-sided triangle, then add the
// vertices one by one, replacing the faces each new vertex sees by a cone of
// faces from the vertex to the horizon.
//
// The textbook version tests every face for every vertex and sweeps all
// three lists after every addition, which is quadratic. Here every waiting
// vertex is filed under one face it sees, the faces a vertex sees are found
// by walking outwards from that face (they form one connected patch), and
// only the records an addition touched are cleaned. The vertices are still
// added in list order and a vertex is visible-from exactly as before, so the
// hull is the one the textbook loop builds.

#include <algorithm>
#include <cstdlib>
#include <new>
#include <typeinfo>
#include <vector>

#include "relief/CH2DDelaunay.h"
#include "relief/CHConvexHull3D.h"
#include "relief/CMemoryException.h"
#include "triangulation/hull3d_detail.h"
#include "triangulation/hull3d_plane.h"
#include "triangulation/hull3d_routes.h"

namespace {

// The all-collinear case must spin rather than be optimised into
// undefined behaviour, so the walk goes through a volatile pointer.
const tVertexStructure* NextVolatile(const tVertexStructure* v) {
  const tVertexStructure* volatile n = v->next;
  return n;
}

}  // namespace

tFaceStructure* CHConvexHull3D::MakeFace(tVertexStructure* v0, tVertexStructure* v1, tVertexStructure* v2,
                                         tFaceStructure* fold) {
  tEdgeStructure *e0, *e1, *e2;
  if (!fold) {
    e0 = NewEdge();
    e1 = NewEdge();
    e2 = NewEdge();
  } else {
    // The back face reuses the front face's edges, walked the other way.
    e0 = fold->edge[2];
    e1 = fold->edge[1];
    e2 = fold->edge[0];
  }
  e0->endpts[0] = v0;
  e0->endpts[1] = v1;
  e1->endpts[0] = v1;
  e1->endpts[1] = v2;
  e2->endpts[0] = v2;
  e2->endpts[1] = v0;

  tFaceStructure* f = NewFace();
  f->edge[0] = e0;
  f->edge[1] = e1;
  f->edge[2] = e2;
  f->vertex[0] = v0;
  f->vertex[1] = v1;
  f->vertex[2] = v2;
  e0->adjface[0] = e1->adjface[0] = e2->adjface[0] = f;
  return f;
}

void CHConvexHull3D::DoubleTriangle() {
  // Three consecutive vertices that span a plane. Not guarded: on collinear
  // input this never ends (IsDegenerate tells callers beforehand).
  tVertexStructure* v0 = m_pVertices;
  while (Collinear(v0, v0->next, v0->next->next)) v0 = const_cast<tVertexStructure*>(NextVolatile(v0));
  tVertexStructure* v1 = v0->next;
  tVertexStructure* v2 = v1->next;
  v0->processed = v1->processed = v2->processed = true;

  tFaceStructure* f0 = MakeFace(v0, v1, v2, nullptr);
  tFaceStructure* f1 = MakeFace(v2, v1, v0, f0);
  // Building f1 made it side 0 of the shared edges; f0 is side 1.
  for (tEdgeStructure* e : f1->edge) e->adjface[1] = f0;

  // A fourth vertex off that plane; with none the input is flat and the
  // process ends, as callers who skipped IsDegenerate have been told.
  tVertexStructure* v3 = v2->next;
  while (VolumeSign(f0, v3) == 0) {
    v3 = v3->next;
    if (v3 == v0) std::exit(0);
  }
  // The off-plane vertex is added first.
  m_pVertices = v3;
}

void CHConvexHull3D::MakeCcw(tFaceStructure* f, tEdgeStructure* e, tVertexStructure* p) {
  // The new face takes the edge in the direction opposite to the visible
  // face that it replaces, so both hull sides of e stay consistent.
  tFaceStructure* fv = e->adjface[0]->visible ? e->adjface[0] : e->adjface[1];
  int i = 0;
  while (fv->vertex[i] != e->endpts[0]) ++i;
  if (fv->vertex[(i + 1) % 3] != e->endpts[1]) {
    f->vertex[0] = e->endpts[1];
    f->vertex[1] = e->endpts[0];
  } else {
    f->vertex[0] = e->endpts[0];
    f->vertex[1] = e->endpts[1];
    std::swap(f->edge[1], f->edge[2]);
  }
  f->vertex[2] = p;
}

tFaceStructure* CHConvexHull3D::MakeConeFace(tEdgeStructure* e, tVertexStructure* p) {
  tEdgeStructure* side[2];
  for (int i = 0; i < 2; ++i) {
    // Neighbouring cone faces share the edge from a horizon vertex to p.
    side[i] = e->endpts[i]->duplicate;
    if (!side[i]) {
      side[i] = NewEdge();
      side[i]->endpts[0] = e->endpts[i];
      side[i]->endpts[1] = p;
      e->endpts[i]->duplicate = side[i];
    }
  }
  tFaceStructure* f = NewFace();
  f->edge[0] = e;
  f->edge[1] = side[0];
  f->edge[2] = side[1];
  MakeCcw(f, e, p);
  for (tEdgeStructure* s : side) {
    if (!s->adjface[0]) {
      s->adjface[0] = f;
    } else if (!s->adjface[1]) {
      s->adjface[1] = f;
    }
  }
  return f;
}

bool CHConvexHull3D::AddOne(tVertexStructure* p) {
  relief::detail::PlainRoute route{*this, *m_pConflicts};
  return AddOneWith(p, route);
}

template <class Route>
bool CHConvexHull3D::AddOneWith(tVertexStructure* p, Route& route) {
  relief::detail::HullConflicts& c = *m_pConflicts;
  const std::int32_t slot = c.current;
  tFaceStructure* seed = c.waiting[slot].face;
  if (!seed) return false;  // inside the hull or on its surface: nothing changes
  const typename Route::Entry pe = route.EntryOf(slot);

  // The faces p sees strictly (negative volume) form one patch around the
  // filed face; walk it across the edges.
  const std::uint32_t stamp = ++m_nStamp;
  std::vector<tFaceStructure*>& visible = c.visible;
  visible.clear();
  seed->visible = true;
  seed->stamp = stamp;
  visible.push_back(seed);
  for (std::size_t k = 0; k < visible.size(); ++k) {
    tFaceStructure* f = visible[k];
    for (tEdgeStructure* e : f->edge) {
      tFaceStructure* g = e->adjface[0] == f ? e->adjface[1] : e->adjface[0];
      if (g->stamp == stamp) continue;
      g->stamp = stamp;
      if (route.Sees(g, pe)) {
        g->visible = true;
        visible.push_back(g);
      }
    }
  }

  // Edges between two visible faces go; edges on the horizon get a cone face.
  std::vector<tEdgeStructure*>& horizon = c.horizon;
  std::vector<tEdgeStructure*>& inner = c.inner;
  horizon.clear();
  inner.clear();
  for (tFaceStructure* f : visible) {
    for (tEdgeStructure* e : f->edge) {
      if (e->stamp == stamp) continue;
      e->stamp = stamp;
      if (e->adjface[0]->visible && e->adjface[1]->visible) {
        e->del = true;
        inner.push_back(e);
      } else {
        horizon.push_back(e);
      }
    }
  }
  std::vector<tFaceStructure*>& cone = c.cone;
  cone.clear();
  for (tEdgeStructure* e : horizon) {
    e->newface = MakeConeFace(e, p);
    route.Made(e->newface);
    cone.push_back(e->newface);
  }

  // A waiting vertex that saw a removed face and is still outside the new
  // hull sees one of the cone faces; if it sees none it is inside for good.
  for (tFaceStructure* f : visible) {
    route.Drain(f, [&](const typename Route::Entry& q) {
      if (Route::SlotOf(q) == slot) return false;
      for (tFaceStructure* nf : cone) {
        if (route.Sees(nf, q)) {
          route.File(nf, q);
          return true;
        }
      }
      return false;
    });
  }

  // Clean the edges and faces this addition touched.
  for (tEdgeStructure* e : horizon) {
    if (e->adjface[0]->visible) {
      e->adjface[0] = e->newface;
    } else {
      e->adjface[1] = e->newface;
    }
    e->newface = nullptr;
    e->endpts[0]->duplicate = e->endpts[1]->duplicate = nullptr;
  }
  for (tEdgeStructure* e : inner) DeleteEdge(e);
  for (tFaceStructure* f : visible) DeleteFace(f);
  return true;
}

bool CHConvexHull3D::UseFastRoute() const {
  // A class of the caller's may have its own VolumeSign; only these two
  // are known to use the exact volume.
  return !m_bReferenceScans && (typeid(*this) == typeid(CHConvexHull3D) || typeid(*this) == typeid(CH2DDelaunay));
}

void CHConvexHull3D::ConstructHull() {
  relief::detail::HullConflicts& c = *m_pConflicts;
  // The waiting vertices in list order from the head (the off-plane vertex).
  tVertexStructure* v = m_pVertices;
  do {
    if (!v->processed) c.order.push_back(v);
    v = v->next;
  } while (v != m_pVertices);
  const std::int32_t n = static_cast<std::int32_t>(c.order.size());
  c.waiting.assign(n, relief::detail::HullConflicts::Waiting{nullptr, -1});

  if (UseFastRoute()) {
    // Origin in the middle of the bounding box; the fast route needs every
    // translated coordinate within the frame limit.
    std::int64_t lo[3], hi[3];
    v = m_pVertices;
    lo[0] = hi[0] = v->x;
    lo[1] = hi[1] = v->y;
    lo[2] = hi[2] = v->z;
    do {
      const std::int64_t xyz[3] = {v->x, v->y, v->z};
      for (int k = 0; k < 3; ++k) {
        lo[k] = std::min(lo[k], xyz[k]);
        hi[k] = std::max(hi[k], xyz[k]);
      }
      v = v->next;
    } while (v != m_pVertices);
    bool fits = true;
    std::int64_t mid[3];
    for (int k = 0; k < 3; ++k) {
      mid[k] = lo[k] + (hi[k] - lo[k]) / 2;
      fits = fits && hi[k] - mid[k] <= relief::detail::kHullFrameLimit && mid[k] - lo[k] <= relief::detail::kHullFrameLimit;
    }
    if (fits) {
      relief::detail::FastRoute route{c, {}, {}};
      route.frame.ox = mid[0];
      route.frame.oy = mid[1];
      route.frame.oz = mid[2];
      tFaceStructure* f = m_pFaces;
      do {
        route.Made(f);
        f = f->next;
      } while (f != m_pFaces);
      ConstructHullWith(route);
      // The waiting lists are done with: make room for the copies.
      route.blocks.Release();
      std::vector<relief::detail::HullConflicts::Waiting>().swap(c.waiting);
      // Before the clean-up, whose walk over the edges profits already.
      CompactRecords();
      CleanUp();
      return;
    }
  }
  relief::detail::PlainRoute route{*this, c};
  ConstructHullWith(route);
  CleanUp();
}

template <class Route>
void CHConvexHull3D::ConstructHullWith(Route& route) {
  relief::detail::HullConflicts& c = *m_pConflicts;
  const std::int32_t n = static_cast<std::int32_t>(c.order.size());

  auto file = [&](std::int32_t q) {
    // Files q under the first face of the whole list that it sees.
    const typename Route::Entry e = route.EntryOf(q);
    tFaceStructure* f = m_pFaces;
    do {
      if (route.Sees(f, e)) {
        route.File(f, e);
        return;
      }
      f = f->next;
    } while (f != m_pFaces);
  };

  for (std::int32_t s = 0; s < n; ++s) {
    tVertexStructure* p = c.order[s];
    // The first addition turns the flat double triangle into a solid; only
    // against a solid does "sees no face" mean "inside", so the other
    // vertices are filed after it.
    if (s == 0) file(0);
    p->processed = true;
    c.current = s;
    AddOneWith(p, route);
    if (s == 0) {
      for (std::int32_t q = 1; q < n; ++q) file(q);
    }
    if (m_bDebug) Convexity();
  }
}

void CHConvexHull3D::CalcConvexHull() {
  // Nothing to build from, or built already: a second start triangle
  // would be laid over the finished hull.
  if (!m_pVertices || m_pFaces) return;
  try {
    m_pConflicts = new relief::detail::HullConflicts;
    DoubleTriangle();
    ConstructHull();
  } catch (const std::bad_alloc&) {
    delete m_pConflicts;
    m_pConflicts = nullptr;
    AfxThrowMemoryException();
  }
  delete m_pConflicts;
  m_pConflicts = nullptr;
  EdgeOrderOnFaces();
  CalcNumFaces();
  CalcNumEdges();
  CalcNumVertices();
}

void CHConvexHull3D::CleanUp() {
  // Vertices that are no longer on the hull are dropped once at the end of
  // ConstructHull: the waiting list still holds them until then.
  tEdgeStructure* e = m_pEdges;
  if (e) {
    do {
      e->endpts[0]->onhull = e->endpts[1]->onhull = true;
      e = e->next;
    } while (e != m_pEdges);
  }
  tVertexStructure* v = m_pVertices;
  while (v && v->processed && !v->onhull) {
    DeleteVertex(v);
    v = m_pVertices;
  }
  if (!v) return;
  v = v->next;
  while (v != m_pVertices) {
    tVertexStructure* following = v->next;
    if (v->processed && !v->onhull) DeleteVertex(v);
    v = following;
  }
  v = m_pVertices;
  do {
    v->duplicate = nullptr;
    v = v->next;
  } while (v != m_pVertices);
}
