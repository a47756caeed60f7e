// The 3D hull's records: the three circular lists, vertex input, counts,
// corner access and the self-checks. The construction itself is in
// hull3d_build.cpp.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

#include "relief/CHConvexHull3D.h"
#include "relief/CMemoryException.h"
#include "relief/SafeMemory.h"
#include "triangulation/hull3d_detail.h"
#include "triangulation/hull3d_plane.h"

using relief::detail::HullCrossIsZero;
using relief::detail::HullVolumeSign;

namespace {

// Records from the vertex blocks are released with their block.
inline void FreeRecord(tVertexStructure* r) {
  if (!r->pooled) SafeFree(r);
}
inline void FreeRecord(tEdgeStructure* r) {
  if (!r->pooled) SafeFree(r);
}
inline void FreeRecord(tFaceStructure* r) {
  if (!r->pooled) SafeFree(r);
}

// Inserts r before the head (at the tail of the circle); the first record
// becomes the head.
template <typename T>
void LinkAtTail(T*& head, T* r) {
  if (head) {
    r->next = head;
    r->prev = head->prev;
    head->prev = r;
    r->prev->next = r;
  } else {
    head = r;
    r->next = r->prev = r;
  }
}

// Takes r out of its circle. Edge and face records go to a spare list
// (linked through next) for the next NewEdge / NewFace: an addition frees
// about as many as it makes, and reusing them keeps the working set small.
template <typename T>
void Unlink(T*& head, T* r, T** spare) {
  if (head) {
    if (head == head->next) {
      head = nullptr;
    } else if (r == head) {
      head = head->next;
    }
    r->next->prev = r->prev;
    r->prev->next = r->next;
  }
  if (spare) {
    r->next = *spare;
    *spare = r;
  } else {
    FreeRecord(r);
  }
}

// A deleted record if there is one, else a fresh one of `bytes` (at least
// sizeof(T): face records carry the fast route's plane behind them) from
// the current block; blocks grow from 64 records to 4096.
template <typename T>
T* Recycle(T*& spare, relief::detail::HullRecordBlocks& blocks, std::size_t bytes) {
  T* r = spare;
  if (!r) {
    if (blocks.left == 0) {
      const std::size_t count = std::min<std::size_t>(4096, std::size_t(64) << std::min<std::size_t>(blocks.made, 6));
      try {
        blocks.owner.reserve(blocks.owner.size() + 1);
      } catch (const std::bad_alloc&) {
        AfxThrowMemoryException();
      }
      blocks.next = static_cast<char*>(SafeCalloc(count, bytes));
      blocks.owner.push_back(blocks.next);
      blocks.left = count;
      ++blocks.made;
    }
    r = reinterpret_cast<T*>(blocks.next);
    blocks.next += bytes;
    --blocks.left;
    r->pooled = true;
    return r;
  }
  spare = r->next;
  const bool pooled = r->pooled;
  std::memset(static_cast<void*>(r), 0, sizeof(T));
  r->pooled = pooled;
  return r;
}

template <typename T>
void FreeSpares(T*& spare) {
  while (spare) {
    T* following = spare->next;
    FreeRecord(spare);
    spare = following;
  }
}

template <typename T>
int CountCircle(const T* head) {
  int n = 0;
  if (const T* r = head) {
    do {
      ++n;
      r = r->next;
    } while (r != head);
  }
  return n;
}

template <typename T>
void FreeCircle(T*& head) {
  if (!head) return;
  T* r = head->next;
  while (r != head) {
    T* following = r->next;
    FreeRecord(r);
    r = following;
  }
  FreeRecord(head);
  head = nullptr;
}

// +1 when u is followed by v going round the face, -1 when v is followed by
// u, 0 when the face does not hold both.
int Direction(const tFaceStructure* f, const tVertexStructure* u, const tVertexStructure* v) {
  for (int i = 0; i < 3; ++i) {
    if (f->vertex[i] != u) continue;
    if (f->vertex[(i + 1) % 3] == v) return 1;
    if (f->vertex[(i + 2) % 3] == v) return -1;
  }
  return 0;
}

// Float conversion of a quantised coordinate, as the mesh builders read it.
float Unquantise(std::int64_t v, float divisor) { return static_cast<float>(v) / divisor; }

// Largest magnitudes accepted as input. A lifted vertex becomes X = 10 x,
// Y = 10 y and Z = X^2 + Y^2, so |x|, |y| <= 1e8 keeps Z below 2e18 (inside
// int64) and every product of the volume test below 2^127. A 3D vertex is
// stored as given: |v| <= 2^40 keeps those products below 2^127 as well.
constexpr double kMaxLiftedInput = 1e8;
constexpr double kMax3DInput = 1099511627776.0;  // 2^40

// trunc(v * 10 + 0.5) with the product in double; false for NaN, infinities
// and values beyond the lifted range (nothing is converted then).
bool Quantise(float v, std::int64_t& out) {
  if (!(std::fabs(static_cast<double>(v)) <= kMaxLiftedInput)) return false;
  out = static_cast<std::int64_t>(static_cast<double>(v) * 10.0 + 0.5);
  return true;
}

// floor(v + 0.5) in double: integers, negative ones too, are kept exactly;
// false for NaN, infinities and values beyond the 3D range.
bool StoreAsGiven(float v, std::int64_t& out) {
  if (!(std::fabs(static_cast<double>(v)) <= kMax3DInput)) return false;
  out = static_cast<std::int64_t>(std::floor(static_cast<double>(v) + 0.5));
  return true;
}

}  // namespace

CHConvexHull3D::CHConvexHull3D() {
  try {
    m_pIndex = new relief::detail::HullVertexIndex;
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
}

CHConvexHull3D::~CHConvexHull3D() {
  FreeAll();
  for (void* block : m_pIndex->vertexBlocks.blocks) SafeFree(block);
  for (void* block : m_pIndex->edgeRecordBlocks) SafeFree(block);
  for (void* block : m_pIndex->faceRecordBlocks) SafeFree(block);
  delete m_pIndex;
}

void CHConvexHull3D::FreeAll() {
  FreeCircle(m_pVertices);
  FreeCircle(m_pEdges);
  FreeCircle(m_pFaces);
  FreeSpares(m_pSpareEdges);
  FreeSpares(m_pSpareFaces);
  delete m_pConflicts;
  m_pConflicts = nullptr;
}

tVertexStructure* CHConvexHull3D::NewVertex() {
  relief::detail::HullVertexBlocks& pool = m_pIndex->vertexBlocks;
  if (pool.left == 0) {
    // Blocks double from 64 records up to 65536.
    const std::size_t count = pool.blocks.empty() ? 64 : std::min<std::size_t>(65536, 64u << std::min<std::size_t>(pool.blocks.size(), 10));
    try {
      pool.blocks.reserve(pool.blocks.size() + 1);
    } catch (const std::bad_alloc&) {
      AfxThrowMemoryException();
    }
    pool.next = static_cast<tVertexStructure*>(SafeCalloc(count, sizeof(tVertexStructure)));
    pool.blocks.push_back(pool.next);
    pool.left = count;
  }
  tVertexStructure* v = pool.next++;
  --pool.left;
  v->pooled = true;
  AddVertex(v);
  return v;
}

tEdgeStructure* CHConvexHull3D::NewEdge() {
  tEdgeStructure* e = Recycle(m_pSpareEdges, m_pIndex->edgeBlocks, sizeof(tEdgeStructure));
  AddEdge(e);
  return e;
}

tFaceStructure* CHConvexHull3D::NewFace() {
  tFaceStructure* f = Recycle(m_pSpareFaces, m_pIndex->faceBlocks, sizeof(relief::detail::HullFaceRecord));
  f->conflictHead = -1;
  AddFace(f);
  return f;
}

void CHConvexHull3D::AddVertex(tVertexStructure* v) { LinkAtTail(m_pVertices, v); }
void CHConvexHull3D::AddEdge(tEdgeStructure* e) { LinkAtTail(m_pEdges, e); }
void CHConvexHull3D::AddFace(tFaceStructure* f) { LinkAtTail(m_pFaces, f); }
void CHConvexHull3D::DeleteVertex(tVertexStructure* v) { Unlink(m_pVertices, v, static_cast<tVertexStructure**>(nullptr)); }
void CHConvexHull3D::DeleteEdge(tEdgeStructure* e) { Unlink(m_pEdges, e, &m_pSpareEdges); }
void CHConvexHull3D::DeleteFace(tFaceStructure* f) { Unlink(m_pFaces, f, &m_pSpareFaces); }

void CHConvexHull3D::StoreVertex(std::int64_t x, std::int64_t y, std::int64_t z, int index, bool flag) {
  std::size_t at = 0;
  try {
    if (m_pIndex->Find({x, y, z}, at)) return;
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
  tVertexStructure* v = NewVertex();
  v->x = x;
  v->y = y;
  v->z = z;
  v->index = index == -1 ? m_nVertexCounter : index;
  v->flag = flag;
  ++m_nVertexCounter;
  m_pIndex->Place(at, v);
}

void CHConvexHull3D::AppendVertex2D(float x, float y, int index, bool flag) {
  std::int64_t qx = 0, qy = 0;
  if (!Quantise(x, qx) || !Quantise(y, qy)) return;
  StoreVertex(qx, qy, qx * qx + qy * qy, index, flag);
}

void CHConvexHull3D::AppendVertex3D(float x, float y, float z, float /*w*/) {
  std::int64_t sx = 0, sy = 0, sz = 0;
  if (!StoreAsGiven(x, sx) || !StoreAsGiven(y, sy) || !StoreAsGiven(z, sz)) return;
  StoreVertex(sx, sy, sz, -1, false);
}

bool CHConvexHull3D::IsDegenerate() const {
  if (CountCircle(m_pVertices) < 4) return true;
  // Stored vertices are pairwise distinct, so the head and its successor span a line.
  const tVertexStructure* a = m_pVertices;
  const tVertexStructure* b = a->next;
  const tVertexStructure* c = b->next;
  while (c != a && HullCrossIsZero(a, b, c)) c = c->next;
  if (c == a) return true;
  for (const tVertexStructure* d = a->next; d != a; d = d->next) {
    if (d != b && d != c && HullVolumeSign(a, b, c, d) != 0) return false;
  }
  return true;
}

SSEPoint CHConvexHull3D::GetVertexFromFace(const tFaceStructure* face, int corner, float divisor) const {
  SSEPoint p = GetVertexFromFace3D(face, corner, divisor);
  p.z = 0.0f;
  return p;
}

SSEPoint CHConvexHull3D::GetVertexFromFace3D(const tFaceStructure* face, int corner, float divisor) const {
  SSEPoint p;
  p.m = _mm_setzero_ps();
  if (!face || corner < 0 || corner > 2 || !face->vertex[corner]) return p;
  const tVertexStructure* v = face->vertex[corner];
  p.x = Unquantise(v->x, divisor);
  p.y = Unquantise(v->y, divisor);
  p.z = Unquantise(v->z, divisor);
  return p;
}

int CHConvexHull3D::VolumeSign(const tFaceStructure* f, const tVertexStructure* p) const {
  return HullVolumeSign(f->vertex[0], f->vertex[1], f->vertex[2], p);
}

bool CHConvexHull3D::Collinear(const tVertexStructure* a, const tVertexStructure* b,
                               const tVertexStructure* c) const {
  return HullCrossIsZero(a, b, c);
}

int CHConvexHull3D::CalcNumFaces() { return m_nNumFaces = CountCircle(m_pFaces); }
int CHConvexHull3D::CalcNumEdges() { return m_nNumEdges = CountCircle(m_pEdges); }
int CHConvexHull3D::CalcNumVertices() { return m_nNumVertices = CountCircle(m_pVertices); }

void CHConvexHull3D::EdgeOrderOnFaces() {
  tFaceStructure* f = m_pFaces;
  if (!f) return;
  do {
    for (int i = 0; i < 3; ++i) {
      const tVertexStructure* u = f->vertex[i];
      const tVertexStructure* v = f->vertex[(i + 1) % 3];
      for (int j = i; j < 3; ++j) {
        const tEdgeStructure* e = f->edge[j];
        if ((e->endpts[0] == u && e->endpts[1] == v) || (e->endpts[0] == v && e->endpts[1] == u)) {
          std::swap(f->edge[i], f->edge[j]);
          break;
        }
      }
    }
    f = f->next;
  } while (f != m_pFaces);
}

bool CHConvexHull3D::Consistency() const {
  const tEdgeStructure* e = m_pEdges;
  if (!e) return true;
  do {
    const tFaceStructure* f0 = e->adjface[0];
    const tFaceStructure* f1 = e->adjface[1];
    if (!f0 || !f1) {
      std::printf("Consistency: edge with a missing face\n");
      return false;
    }
    const int d0 = Direction(f0, e->endpts[0], e->endpts[1]);
    const int d1 = Direction(f1, e->endpts[0], e->endpts[1]);
    if (d0 == 0 || d1 == 0 || d0 == d1) {
      std::printf("Consistency: faces of an edge not oriented oppositely\n");
      return false;
    }
    e = e->next;
  } while (e != m_pEdges);
  return true;
}

bool CHConvexHull3D::Convexity() const {
  const tFaceStructure* f = m_pFaces;
  if (!f || !m_pVertices) return true;
  do {
    const tVertexStructure* v = m_pVertices;
    do {
      if (v->processed && v != f->vertex[0] && v != f->vertex[1] && v != f->vertex[2] &&
          VolumeSign(f, v) < 0) {
        std::printf("Convexity: vertex %d lies outside a face\n", v->index);
        return false;
      }
      v = v->next;
    } while (v != m_pVertices);
    f = f->next;
  } while (f != m_pFaces);
  return true;
}

bool CHConvexHull3D::CheckEndpts() const {
  const tFaceStructure* f = m_pFaces;
  if (!f) return true;
  do {
    for (const tEdgeStructure* e : f->edge) {
      for (const tVertexStructure* end : e->endpts) {
        if (end != f->vertex[0] && end != f->vertex[1] && end != f->vertex[2]) {
          std::printf("CheckEndpts: an edge ends outside its face\n");
          return false;
        }
      }
    }
    f = f->next;
  } while (f != m_pFaces);
  return true;
}

bool CHConvexHull3D::Checks() {
  const int v = CalcNumVertices();
  const int e = CalcNumEdges();
  const int f = CalcNumFaces();
  bool ok = Consistency() && Convexity() && CheckEndpts();
  if (v - e + f != 2 || 2 * e != 3 * f) {
    std::printf("Checks: V - E + F = %d, 2E = %d, 3F = %d\n", v - e + f, 2 * e, 3 * f);
    ok = false;
  }
  return ok;
}
