// TaCSSEVertexContainer: the fixed-capacity vertex array.

#include <emmintrin.h>

#include <cstring>

#include "contour/float_arrays.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"
#include "relief/SafeMemory.h"
#include "relief/TaCSSEVertexContainer.h"

using relief::detail::ClampedPixelOf;

namespace {

SSEPoint* AllocVertices(int n) {
  auto* v = static_cast<SSEPoint*>(SafeAlignedAlloc(static_cast<std::size_t>(n) * sizeof(SSEPoint), 16));
  std::memset(v, 0, static_cast<std::size_t>(n) * sizeof(SSEPoint));
  return v;
}

// The first index whose x and y equal (x, y) exactly; z and w are not compared.
int FindXY(const SSEPoint* v, int used, float x, float y) {
  for (int i = 0; i < used; ++i)
    if (v[i].x == x && v[i].y == y) return i;
  return -1;
}

}  // namespace

TaCSSEVertexContainer::TaCSSEVertexContainer() { InitializeObject(); }

TaCSSEVertexContainer::TaCSSEVertexContainer(int n) : TaCSSEVertexContainer() { CreateVertexArray(n); }

TaCSSEVertexContainer::TaCSSEVertexContainer(const TaCSSEVertexContainer& other) : TaCSSEVertexContainer() {
  *this = other;
}

TaCSSEVertexContainer::~TaCSSEVertexContainer() { FreeVertices(); }

TaCSSEVertexContainer& TaCSSEVertexContainer::operator=(const TaCSSEVertexContainer& other) {
  if (this == &other) return *this;
  CreateVertexArray(other.m_nMaxNumVertices);
  if (other.m_nNumVertices > 0)
    std::memcpy(m_pVertices, other.m_pVertices, static_cast<std::size_t>(other.m_nNumVertices) * sizeof(SSEPoint));
  m_nNumVertices = other.m_nNumVertices;
  return *this;
}

void TaCSSEVertexContainer::InitializeObject() {
  m_pVertices = nullptr;
  m_nNumVertices = 0;
  m_nMaxNumVertices = 0;
}

void TaCSSEVertexContainer::CreateVertexArray(int n) {
  m_nNumVertices = 0;
  m_nMaxNumVertices = 0;
  SafeAlignedFree(m_pVertices);
  m_pVertices = nullptr;
  if (n > 0) m_pVertices = AllocVertices(n);
  m_nMaxNumVertices = n;  // also for n <= 0: a negative capacity admits nothing
}

void TaCSSEVertexContainer::FreeVertices() {
  m_nNumVertices = 0;
  m_nMaxNumVertices = 0;
  SafeAlignedFree(m_pVertices);
  m_pVertices = nullptr;
}

void TaCSSEVertexContainer::AppendVertex(SSEPoint& p) {
  if (m_nNumVertices >= m_nMaxNumVertices) return;  // full: dropped without a report
  m_pVertices[m_nNumVertices++] = p;
}

void TaCSSEVertexContainer::AddPolygon(CSSE3dPolygon& poly) {
  for (int i = 0; i < poly.GetNumPoints(); ++i) {
    SSEPoint p;
    poly.GetPointSSE(i, p);
    AppendVertex(p);
  }
}

SSEPoint TaCSSEVertexContainer::GetVertex(int i) const {
  if (i >= 0 && i < m_nNumVertices) return m_pVertices[i];
  SSEPoint zero;
  zero.m = _mm_setzero_ps();
  return zero;
}

SSEPoint* TaCSSEVertexContainer::GetVertexPtr(int i) const {
  return i >= 0 && i < m_nNumVertices ? m_pVertices + i : nullptr;
}

void TaCSSEVertexContainer::SetZValueInVertex(float z, int i) {
  if (i >= 0 && i < m_nMaxNumVertices) m_pVertices[i].z = z;
}

void TaCSSEVertexContainer::ReallocSize(int n) {
  if (n <= 0) {
    FreeVertices();
    return;
  }
  // Shrinking below the used count keeps the first n vertices instead of
  // copying past the new array.
  const int keep = m_nNumVertices < n ? m_nNumVertices : n;
  SSEPoint* old = m_pVertices;
  m_pVertices = nullptr;  // CreateVertexArray must not release the source yet
  try {
    CreateVertexArray(n);
  } catch (...) {
    m_pVertices = old;
    throw;
  }
  if (keep > 0) std::memcpy(m_pVertices, old, static_cast<std::size_t>(keep) * sizeof(SSEPoint));
  m_nNumVertices = keep;
  SafeAlignedFree(old);
}

SSEPoint TaCSSEVertexContainer::MinPoint() const {
  __m128 m = _mm_set1_ps(999999.875f);
  for (int i = 0; i < m_nNumVertices; ++i) m = _mm_min_ps(m_pVertices[i].m, m);  // NaN lanes skipped
  SSEPoint r;
  r.m = m;
  return r;
}

SSEPoint TaCSSEVertexContainer::MaxPoint() const {
  __m128 m = _mm_set1_ps(-999999.875f);
  for (int i = 0; i < m_nNumVertices; ++i) m = _mm_max_ps(m_pVertices[i].m, m);
  SSEPoint r;
  r.m = m;
  return r;
}

int TaCSSEVertexContainer::MinPointIndex(SSEPoint& out) const {
  out = MinPoint();
  // -1 when the smallest x and the smallest y come from different vertices;
  // callers take that as "no single extreme vertex".
  return FindXY(m_pVertices, m_nNumVertices, out.x, out.y);
}

int TaCSSEVertexContainer::MaxPointIndex(SSEPoint& out) const {
  out = MaxPoint();
  return FindXY(m_pVertices, m_nNumVertices, out.x, out.y);
}

int TaCSSEVertexContainer::PointIndex(SSEPoint& p) const { return FindXY(m_pVertices, m_nNumVertices, p.x, p.y); }

void TaCSSEVertexContainer::SetVertexZFromMatrix(CSSEMatrix* m) {
  if (!m || !m->GetMatrixDataDirectly()) return;
  for (int i = 0; i < m_nNumVertices; ++i) {
    SSEPoint& v = m_pVertices[i];
    v.z = m->GetPoint(ClampedPixelOf(v.x, m->GetSizeX()), ClampedPixelOf(v.y, m->GetSizeY()));
  }
}

void TaCSSEVertexContainer::AddOffset(float dx, float dy, float dz) {
  for (int i = 0; i < m_nNumVertices; ++i) {
    SSEPoint& v = m_pVertices[i];
    v.x = static_cast<float>(static_cast<double>(v.x) + dx);
    v.y = static_cast<float>(static_cast<double>(v.y) + dy);
    v.z = static_cast<float>(static_cast<double>(v.z) + dz);
  }
}

void TaCSSEVertexContainer::AddError(SSEPoint* e) {
  if (!e) return;
  // One vector for every vertex: the pointer is not advanced.
  for (int i = 0; i < m_nNumVertices; ++i) {
    SSEPoint& v = m_pVertices[i];
    v.x += e->x;
    v.y += e->y;
    v.z += e->z;
  }
}
