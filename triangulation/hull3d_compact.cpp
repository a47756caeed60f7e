// Once the hull is built its face and edge records lie wherever the
// additions left them (deleted records are reused in any order), so every
// later walk over the lists (counting, edge order, lower faces, release)
// waits on memory at each step. Moving them into two blocks in list order
// keeps every record's contents and every list's order; only the
// addresses change.

#include <cstddef>
#include <new>
#include <vector>

#include "relief/CHConvexHull3D.h"
#include "relief/CMemoryException.h"
#include "relief/SafeMemory.h"
#include "triangulation/hull3d_detail.h"
#include "triangulation/hull3d_plane.h"

namespace {

// The records of a circle in list order, each numbered in its stamp.
template <typename T>
std::vector<T*> Numbered(T* head) {
  std::vector<T*> out;
  T* r = head;
  do {
    r->stamp = static_cast<std::uint32_t>(out.size());
    out.push_back(r);
    r = r->next;
  } while (r != head);
  return out;
}

}  // namespace

void CHConvexHull3D::CompactRecords() {
  if (!m_pFaces || !m_pEdges) return;
  std::vector<tFaceStructure*> faces;
  std::vector<tEdgeStructure*> edges;
  // Every edge and face record lives in these blocks; once the live ones
  // are copied they all go (the deleted ones kept for reuse with them).
  std::vector<void*> old;
  try {
    faces = Numbered(m_pFaces);
    edges = Numbered(m_pEdges);
    old.swap(m_pIndex->recordBlocks);
    m_pIndex->recordBlocks.reserve(2);
  } catch (const std::bad_alloc&) {
    m_pIndex->recordBlocks.swap(old);
    AfxThrowMemoryException();
  }
  const std::size_t nf = faces.size(), ne = edges.size();
  // Face records keep the room for a plane, as every face record has.
  relief::detail::HullFaceRecord* fb = nullptr;
  tEdgeStructure* eb = nullptr;
  try {
    fb = static_cast<relief::detail::HullFaceRecord*>(SafeCalloc(nf, sizeof(relief::detail::HullFaceRecord)));
    eb = static_cast<tEdgeStructure*>(SafeCalloc(ne, sizeof(tEdgeStructure)));
  } catch (...) {
    SafeFree(fb);
    m_pIndex->recordBlocks.swap(old);
    throw;
  }
  m_pIndex->recordBlocks.push_back(fb);
  m_pIndex->recordBlocks.push_back(eb);

  auto face = [&](const tFaceStructure* old) { return old ? &fb[old->stamp].face : nullptr; };
  for (std::size_t i = 0; i < nf; ++i) {
    tFaceStructure& f = fb[i].face;
    f = *faces[i];
    for (tEdgeStructure*& e : f.edge) e = &eb[e->stamp];
    f.next = &fb[i + 1 == nf ? 0 : i + 1].face;
    f.prev = &fb[i == 0 ? nf - 1 : i - 1].face;
    f.pooled = true;
  }
  for (std::size_t i = 0; i < ne; ++i) {
    tEdgeStructure& e = eb[i];
    e = *edges[i];
    e.adjface[0] = face(e.adjface[0]);
    e.adjface[1] = face(e.adjface[1]);
    e.newface = face(e.newface);
    e.next = &eb[i + 1 == ne ? 0 : i + 1];
    e.prev = &eb[i == 0 ? ne - 1 : i - 1];
    e.pooled = true;
  }
  // Stamps mark visits during an addition: the numbering must not look
  // like one.
  for (std::size_t i = 0; i < nf; ++i) fb[i].face.stamp = 0;
  for (std::size_t i = 0; i < ne; ++i) eb[i].stamp = 0;

  for (void* block : old) SafeFree(block);
  m_pSpareFaces = nullptr;
  m_pSpareEdges = nullptr;
  m_pIndex->edgeBlocks.left = m_pIndex->faceBlocks.left = 0;
  m_pFaces = &fb[0].face;
  m_pEdges = eb;
}
