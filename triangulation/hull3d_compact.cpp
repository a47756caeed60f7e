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
  relief::detail::HullVertexIndex& owner = *m_pIndex;
  std::vector<tFaceStructure*> faces;
  std::vector<tEdgeStructure*> edges;
  // The new numbers of each face's edges and each edge's faces (+1, 0 for
  // none), so that each old series can go before the next is copied.
  std::vector<std::uint32_t> faceEdges, edgeFaces;
  std::vector<void*> oldEdgeBlocks, oldFaceBlocks;
  try {
    faces = Numbered(m_pFaces);
    edges = Numbered(m_pEdges);
    faceEdges.resize(3 * faces.size());
    edgeFaces.resize(3 * edges.size());
    oldEdgeBlocks.reserve(owner.edgeRecordBlocks.size());
    oldFaceBlocks.reserve(owner.faceRecordBlocks.size());
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
  const std::size_t nf = faces.size(), ne = edges.size();
  for (std::size_t i = 0; i < nf; ++i)
    for (int k = 0; k < 3; ++k) faceEdges[3 * i + k] = faces[i]->edge[k]->stamp;
  for (std::size_t i = 0; i < ne; ++i) {
    const tEdgeStructure* e = edges[i];
    edgeFaces[3 * i] = e->adjface[0] ? e->adjface[0]->stamp + 1 : 0;
    edgeFaces[3 * i + 1] = e->adjface[1] ? e->adjface[1]->stamp + 1 : 0;
    edgeFaces[3 * i + 2] = e->newface ? e->newface->stamp + 1 : 0;
  }

  // Edges first: every old edge record (live or kept for reuse) lives in
  // the old edge blocks, which go as soon as the live ones are copied; then
  // the faces likewise. The peak stays one series of records above the hull.
  auto* eb = static_cast<tEdgeStructure*>(SafeCalloc(ne, sizeof(tEdgeStructure)));
  for (std::size_t i = 0; i < ne; ++i) {
    tEdgeStructure& e = eb[i];
    e = *edges[i];
    e.next = &eb[i + 1 == ne ? 0 : i + 1];
    e.prev = &eb[i == 0 ? ne - 1 : i - 1];
    e.pooled = true;
    // Stamps mark visits during an addition: the numbering must not look
    // like one.
    e.stamp = 0;
  }
  oldEdgeBlocks.swap(owner.edgeRecordBlocks);
  owner.edgeRecordBlocks.push_back(eb);  // cannot throw: reserved above for the old (non-zero) count
  for (void* block : oldEdgeBlocks) SafeFree(block);

  // The built hull's face records need no plane any more (no face is made
  // after the construction), so they take the plain record size.
  m_pEdges = eb;
  m_pSpareEdges = nullptr;
  owner.edgeBlocks.left = 0;
  tFaceStructure* fb = nullptr;
  try {
    fb = static_cast<tFaceStructure*>(SafeCalloc(nf, sizeof(tFaceStructure)));
  } catch (...) {
    // Leave a whole hull behind: the old faces on the new edges.
    for (std::size_t i = 0; i < nf; ++i)
      for (int k = 0; k < 3; ++k) faces[i]->edge[k] = &eb[faceEdges[3 * i + k]];
    throw;
  }
  for (std::size_t i = 0; i < nf; ++i) {
    tFaceStructure& f = fb[i];
    f = *faces[i];
    for (int k = 0; k < 3; ++k) f.edge[k] = &eb[faceEdges[3 * i + k]];
    f.next = &fb[i + 1 == nf ? 0 : i + 1];
    f.prev = &fb[i == 0 ? nf - 1 : i - 1];
    f.pooled = true;
    f.stamp = 0;
  }
  oldFaceBlocks.swap(owner.faceRecordBlocks);
  owner.faceRecordBlocks.push_back(fb);
  for (void* block : oldFaceBlocks) SafeFree(block);
  for (std::size_t i = 0; i < ne; ++i) {
    tEdgeStructure& e = eb[i];
    e.adjface[0] = edgeFaces[3 * i] ? &fb[edgeFaces[3 * i] - 1] : nullptr;
    e.adjface[1] = edgeFaces[3 * i + 1] ? &fb[edgeFaces[3 * i + 1] - 1] : nullptr;
    e.newface = edgeFaces[3 * i + 2] ? &fb[edgeFaces[3 * i + 2] - 1] : nullptr;
  }

  m_pSpareFaces = nullptr;
  owner.faceBlocks.left = 0;
  m_pFaces = fb;
}
