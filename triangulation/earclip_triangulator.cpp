// Ear clipping over a circular list of vertex records.

#include <cstring>

#include "relief/CHPolygonTriangulator.h"
#include "relief/CSSE2dPolygon.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/SafeMemory.h"
#include "triangulation/earclip_area.h"
#include "triangulation/earclip_ear_index.h"
#include "triangulation/earclip_edge_tree.h"

namespace {

using F = CHSimpleBasisFcns;

template <typename T>
T* ZeroArray(int count) {
  return static_cast<T*>(SafeCalloc(static_cast<std::size_t>(count), sizeof(T)));
}

}  // namespace

CHPolygonTriangulator::CHPolygonTriangulator(CSSE2dPolygon* polygon, int step, float scaleX, float scaleY,
                                             bool mode) {
  if (!polygon || polygon->GetNumPoints() < 3) return;
  m_pPolygon2D = polygon;
  Build(polygon->GetNumPoints(), step, scaleX, scaleY, 1.0f, mode);
}

CHPolygonTriangulator::CHPolygonTriangulator(CSSE3dPolygon* polygon, int step, float scaleX, float scaleY,
                                             float scaleZ, bool mode) {
  if (!polygon || polygon->GetNumPoints() < 3) return;
  m_pPolygon3D = polygon;
  polygon->CalcBoundingBox();
  Build(polygon->GetNumPoints(), step, scaleX, scaleY, scaleZ, mode);
}

void CHPolygonTriangulator::Build(int numPoints, int step, float scaleX, float scaleY, float scaleZ, bool mode) {
  // A step below 1 would divide by zero or walk backwards: no vertices.
  if (step < 1 || numPoints / step < 1) {
    m_pPolygon2D = nullptr;
    m_pPolygon3D = nullptr;
    return;
  }
  m_nStep = step;
  m_fScaleX = scaleX;
  m_fScaleY = scaleY;
  m_fScaleZ = scaleZ;
  m_bMode = mode;
  m_nNumVertices = numPoints / step;
  m_pVertices = ZeroArray<t_hvertex>(m_nNumVertices);
  m_pConnectivity = ZeroArray<t_htriangleconnectivity>(m_nNumVertices);

  for (int i = 0; i < m_nNumVertices; ++i) {
    float x = 0.0f, y = 0.0f, z = 0.0f;
    if (m_pPolygon3D) {
      m_pPolygon3D->GetPoint(i * step, x, y, z);
    } else {
      m_pPolygon2D->GetPoint(i * step, x, y);
    }
    t_hvertex& v = m_pVertices[i];
    v.x = static_cast<float>(static_cast<double>(scaleX) * x);
    v.y = static_cast<float>(static_cast<double>(scaleY) * y);
    v.index = i;
    v.next = &m_pVertices[(i + 1) % m_nNumVertices];
    v.previous = &m_pVertices[(i + m_nNumVertices - 1) % m_nNumVertices];
  }
  m_pHead = m_pVertices;
  m_pDiagonals = ZeroArray<t_hdiagonal>(m_nNumVertices);
  Triangulate();
}

CHPolygonTriangulator::CHPolygonTriangulator(const CHPolygonTriangulator& other) { CopyFrom(other); }

CHPolygonTriangulator& CHPolygonTriangulator::operator=(const CHPolygonTriangulator& other) {
  if (this != &other) {
    Release();
    CopyFrom(other);
  }
  return *this;
}

CHPolygonTriangulator::~CHPolygonTriangulator() { Release(); }

void CHPolygonTriangulator::Release() {
  SafeFree(m_pVertices);
  SafeFree(m_pDiagonals);
  SafeFree(m_pConnectivity);
  m_pVertices = nullptr;
  m_pDiagonals = nullptr;
  m_pConnectivity = nullptr;
  m_pHead = nullptr;
}

void CHPolygonTriangulator::CopyFrom(const CHPolygonTriangulator& other) {
  m_pPolygon3D = other.m_pPolygon3D;
  m_pPolygon2D = other.m_pPolygon2D;
  m_nNumVertices = other.m_nNumVertices;
  m_nStep = other.m_nStep;
  m_nNumDiagonals = other.m_nNumDiagonals;
  m_fScaleX = other.m_fScaleX;
  m_fScaleY = other.m_fScaleY;
  m_fScaleZ = other.m_fScaleZ;
  m_nNumTriangles = other.m_nNumTriangles;
  m_bMode = other.m_bMode;
  m_bReferenceScans = other.m_bReferenceScans;
  if (!other.m_pVertices) return;
  const int n = m_nNumVertices;
  m_pVertices = ZeroArray<t_hvertex>(n);
  m_pDiagonals = ZeroArray<t_hdiagonal>(n);
  m_pConnectivity = ZeroArray<t_htriangleconnectivity>(n);
  std::memcpy(static_cast<void*>(m_pVertices), other.m_pVertices, sizeof(t_hvertex) * n);
  std::memcpy(static_cast<void*>(m_pDiagonals), other.m_pDiagonals, sizeof(t_hdiagonal) * n);
  std::memcpy(static_cast<void*>(m_pConnectivity), other.m_pConnectivity, sizeof(t_htriangleconnectivity) * n);
  // The list links point into the source's array: move them onto ours.
  auto rebase = [&](const t_hvertex* p) { return p ? m_pVertices + (p - other.m_pVertices) : nullptr; };
  for (int i = 0; i < n; ++i) {
    m_pVertices[i].next = rebase(other.m_pVertices[i].next);
    m_pVertices[i].previous = rebase(other.m_pVertices[i].previous);
  }
  m_pHead = rebase(other.m_pHead);
}

bool CHPolygonTriangulator::Diagonalie(t_hvertex* a, t_hvertex* b) const {
  auto meets = [a, b](const t_hvertex* c) {
    const t_hvertex* c1 = c->next;
    return c != a && c1 != a && c != b && c1 != b && relief::detail::SegmentsMeet(a, b, c, c1);
  };
  if (m_pEdgeTree) {
    switch (m_pEdgeTree->Any(a, b, meets)) {
      case relief::detail::CEarClipEdgeTree::Result::kFound: return false;
      case relief::detail::CEarClipEdgeTree::Result::kNone: return true;
      case relief::detail::CEarClipEdgeTree::Result::kTooWide: break;  // walk
    }
  }
  const t_hvertex* c = m_pHead;
  do {
    const t_hvertex* c1 = c->next;
    if (c != a && c1 != a && c != b && c1 != b && F::Intersect(a, b, c, c1)) return false;
    c = c1;
  } while (c != m_pHead);
  return true;
}

bool CHPolygonTriangulator::Diagonal(t_hvertex* a, t_hvertex* b) const {
  return F::InCone(a, b) && F::InCone(b, a) && Diagonalie(a, b);
}

void CHPolygonTriangulator::EarInit() {
  // The last vertex is left out on purpose: its flag stays 0 until a clip
  // next to it recomputes it.
  for (int i = 0; i + 1 < m_nNumVertices; ++i) {
    t_hvertex* v = &m_pVertices[i];
    v->ear = Diagonal(v->previous, v->next);
  }
}

void CHPolygonTriangulator::Retriangulate(bool referenceScans) {
  if (!m_pVertices) return;
  const int n = m_nNumVertices;
  for (int i = 0; i < n; ++i) {
    m_pVertices[i].ear = false;
    m_pVertices[i].next = &m_pVertices[(i + 1) % n];
    m_pVertices[i].previous = &m_pVertices[(i + n - 1) % n];
  }
  m_pHead = m_pVertices;
  std::memset(static_cast<void*>(m_pDiagonals), 0, sizeof(t_hdiagonal) * n);
  std::memset(static_cast<void*>(m_pConnectivity), 0, sizeof(t_htriangleconnectivity) * n);
  m_nNumDiagonals = 0;
  m_nNumTriangles = 0;
  m_bReferenceScans = referenceScans;
  Triangulate();
}

void CHPolygonTriangulator::Triangulate() {
  for (int i = 0; i < m_nNumVertices; ++i) m_pDiagonals[i].Exists = false;
  // The tree answers the diagonal tests exactly as the walk would; it lives
  // for this run only.
  relief::detail::CEarClipEdgeTree tree;
  m_pEdgeTree = !m_bReferenceScans && tree.Build(m_pVertices, m_nNumVertices, m_pHead) ? &tree : nullptr;
  int treeBuiltFor = m_nNumVertices;
  EarInit();
  // The ear search walks the circle from its start to the first flagged
  // vertex; the index finds the same vertex without the walk.
  relief::detail::CEarIndex ears;
  const bool indexed = !m_bReferenceScans;
  if (indexed) {
    ears.Reset(m_nNumVertices);
    for (int i = 0; i < m_nNumVertices; ++i) ears.Set(i, m_pVertices[i].ear);
  }

  for (int n = m_nNumVertices; n >= 3; --n) {
    t_hvertex* const start = m_bMode ? m_pHead->next : m_pHead;
    t_hvertex* v = start;
    bool found = false;
    if (indexed) {
      const int ear = ears.FindFrom(start->index);
      found = ear >= 0;
      if (found) v = &m_pVertices[ear];
    } else {
      for (int k = 0; k < m_nNumVertices; ++k, v = v->next) {
        if (v->ear) {
          found = true;
          break;
        }
      }
    }
    if (!found) {
      // Three vertices left can never be flagged (the diagonal between two
      // neighbours of a triangle is one of its edges): they are the last
      // triangle. With more left the polygon has no ear: stop.
      if (n != 3) break;
      v = start;
    }

    t_hvertex* p = v->previous;
    t_hvertex* q = v->next;
    t_hvertex* pp = p->previous;
    t_hvertex* qq = q->next;

    t_hdiagonal& d = m_pDiagonals[m_nNumDiagonals++];
    d.Exists = true;
    d.First = p->index;
    d.FirstConvex = !(F::AreaSign(p, v, pp) < -F::kTolerance);
    d.Second = q->index;
    d.SecondConvex = !(F::AreaSign(q, qq, v) < -F::kTolerance);

    p->ear = Diagonal(pp, q);
    q->ear = Diagonal(p, qq);
    if (indexed) {
      ears.Set(p->index, p->ear);
      ears.Set(q->index, q->ear);
      ears.Set(v->index, false);  // leaves the circle
    }

    t_htriangleconnectivity& t = m_pConnectivity[m_nNumTriangles++];
    t.Vertex[0] = p->index;
    t.Vertex[1] = v->index;
    t.Vertex[2] = q->index;

    p->next = q;
    q->previous = p;
    m_pHead = q;
    if (m_pEdgeTree) {
      m_pEdgeTree->Clip(v, p);
      // The boxes still cover the clipped-off parts: tighten them.
      if (4 * (n - 1) < treeBuiltFor && n - 1 >= 64) {
        treeBuiltFor = n - 1;
        m_pEdgeTree->Build(m_pVertices, m_nNumVertices, m_pHead);
      }
    }
  }
  m_pEdgeTree = nullptr;
}

void CHPolygonTriangulator::GetPoint(int i, float& x, float& y) const {
  if (i < 0 || i >= m_nNumVertices || !m_pVertices) return;
  x = m_pVertices[i].x;
  y = m_pVertices[i].y;
}

void CHPolygonTriangulator::GetTriangle3D(int i, SSEPoint& p0, SSEPoint& p1, SSEPoint& p2) const {
  if (i < 0 || i >= m_nNumTriangles || !m_pPolygon3D) return;
  const t_htriangleconnectivity& t = m_pConnectivity[i];
  m_pPolygon3D->GetPointSSE(t.Vertex[0] * m_nStep, p0);
  m_pPolygon3D->GetPointSSE(t.Vertex[1] * m_nStep, p1);
  m_pPolygon3D->GetPointSSE(t.Vertex[2] * m_nStep, p2);
}

void CHPolygonTriangulator::GetDiagonalPoints(int i, float& x1, float& y1, float& x2, float& y2) const {
  const t_hdiagonal* d = GetDiagonal(i);
  if (!d) return;
  GetPoint(d->First, x1, y1);
  GetPoint(d->Second, x2, y2);
}

const t_hdiagonal* CHPolygonTriangulator::GetDiagonal(int i) const {
  return i < 0 || i >= m_nNumVertices || !m_pDiagonals ? nullptr : &m_pDiagonals[i];
}

bool CHPolygonTriangulator::DiagonalExists(int i) const {
  const t_hdiagonal* d = GetDiagonal(i);
  return d && d->Exists;
}
