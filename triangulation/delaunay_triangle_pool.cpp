#include "triangulation/delaunay_triangle_pool.h"

#include <new>

#include "relief/SafeMemory.h"

namespace relief::detail {

CTrianglePool::~CTrianglePool() {
  for (t_hdelaunaytriangle* block : m_Blocks) SafeAlignedFree(block);
}

t_hdelaunaytriangle* CTrianglePool::New() {
  t_hdelaunaytriangle* t;
  int32_t index;
  if (m_pFree) {
    t = m_pFree;
    m_pFree = t->pNext;
    index = t->nPoolIndex;
  } else {
    if (m_nUsedInLastBlock == kRecordsPerBlock) {
      m_Blocks.reserve(m_Blocks.size() + 1);  // a failure here leaves nothing half-added
      // Cache-line aligned, so that a 128-byte record spans exactly two lines
      // and its first line holds everything the geometric tests read.
      m_Blocks.push_back(
          static_cast<t_hdelaunaytriangle*>(SafeAlignedAlloc(kRecordsPerBlock * sizeof(t_hdelaunaytriangle), 64)));
      m_nUsedInLastBlock = 0;
    }
    index = static_cast<int32_t>(((m_Blocks.size() - 1) << kBlockBits) + m_nUsedInLastBlock);
    t = m_Blocks.back() + m_nUsedInLastBlock++;
  }
  new (t) t_hdelaunaytriangle();
  t->nPoolIndex = index;
  t->nGridLevel = -1;
  t->nHullSlot = -1;
  return t;
}

void CTrianglePool::DeleteAll(CDelaunayTriangleList& list) {
  for (t_hdelaunaytriangle* t = list.GetHead(); t;) {
    t_hdelaunaytriangle* next = t->pNext;
    list.RemoveAt(t);
    Delete(t);
    t = next;
  }
}

}  // namespace relief::detail
