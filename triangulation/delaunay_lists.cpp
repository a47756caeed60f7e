// The triangle lists, their life cycle, and the bookkeeping that keeps the
// search structures (circle grid, hull-side register) in step with the
// working list.
#include <algorithm>
#include <cmath>

#include "relief/SafeMemory.h"
#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_circle_grid.h"

void CDelaunayTriangleList::AddTail(t_hdelaunaytriangle* t) {
  t->pList = this;
  t->pNext = nullptr;
  t->pPrev = m_pTail;
  if (m_pTail)
    m_pTail->pNext = t;
  else
    m_pHead = t;
  m_pTail = t;
  ++m_nCount;
}

void CDelaunayTriangleList::RemoveAt(t_hdelaunaytriangle* t) {
  if (t->pPrev)
    t->pPrev->pNext = t->pNext;
  else
    m_pHead = t->pNext;
  if (t->pNext)
    t->pNext->pPrev = t->pPrev;
  else
    m_pTail = t->pPrev;
  t->pPrev = t->pNext = nullptr;
  t->pList = nullptr;
  --m_nCount;
}

void CDelaunayTriangleList::RemoveAll() {
  for (t_hdelaunaytriangle* t = m_pHead; t;) {
    t_hdelaunaytriangle* next = t->pNext;
    t->pPrev = t->pNext = nullptr;
    t->pList = nullptr;
    t = next;
  }
  m_pHead = m_pTail = nullptr;
  m_nCount = 0;
}

void CDelaunayTriangleList::DeleteAll() {
  for (t_hdelaunaytriangle* t = m_pHead; t;) {
    t_hdelaunaytriangle* next = t->pNext;
    delete t;
    t = next;
  }
  m_pHead = m_pTail = nullptr;
  m_nCount = 0;
}

TaCIncrementalDelaunay2D::TaCIncrementalDelaunay2D() : TaCSSEVertexContainer() { Construct(); }

TaCIncrementalDelaunay2D::TaCIncrementalDelaunay2D(int maxVertices) : TaCSSEVertexContainer(maxVertices) {
  Construct();
}

void TaCIncrementalDelaunay2D::Construct() {
  m_bFinalized = false;
  m_nNumAffected = 0;
  // A usable default keeps scan conversion from dividing by zero or looping
  // on a zero step before SetScanConvResolution is called.
  m_fResolutionX = m_fResolutionY = m_fResolutionZ = 1.0f;
  m_fResolutionXY = static_cast<float>(std::sqrt(2.0));
  m_pTriangleCenters = nullptr;
  m_pNormalVectors = nullptr;
  m_bReferenceScans = false;
  m_nNextSequence = 0;
  m_pGrid = nullptr;
  m_pBoundingBox = static_cast<SSEPoint*>(SafeAlignedAlloc(2 * sizeof(SSEPoint), 16));
  m_pBoundingBox[0].m = _mm_setzero_ps();
  m_pBoundingBox[1].m = _mm_setzero_ps();
  m_pGrid = new relief::detail::CCircleGrid();
}

TaCIncrementalDelaunay2D::~TaCIncrementalDelaunay2D() {
  m_AffectedTriangleList.DeleteAll();
  m_TriangleList.DeleteAll();
  m_FinalTriangleList.DeleteAll();
  m_OtherTriangleList.DeleteAll();
  delete m_pGrid;
  SafeAlignedFree(m_pBoundingBox);
  SafeAlignedFree(m_pTriangleCenters);
  SafeAlignedFree(m_pNormalVectors);
}

void TaCIncrementalDelaunay2D::InitializeObject() {
  m_nNumAffected = 0;
  m_bFinalized = false;
  m_pTriangleCenters = nullptr;
  m_pNormalVectors = nullptr;
}

void TaCIncrementalDelaunay2D::SetReferenceScans(bool plain) {
  if (plain == m_bReferenceScans) return;
  m_bReferenceScans = plain;
  m_HullRegister.clear();
  m_pGrid->Reset(0, 0, 1, 1, 1);
  for (t_hdelaunaytriangle* t : m_TriangleList) t->nHullSlot = -1;
  if (!plain) {
    for (t_hdelaunaytriangle* t : m_TriangleList) RegisterHullSides(t);
    RebuildGrid();
  }
}

// ---- working-list membership ------------------------------------------------

void TaCIncrementalDelaunay2D::AppendToWorking(t_hdelaunaytriangle* t) {
  if (!m_bReferenceScans) EnsureGrid();  // before the append: a rebuild files the whole list
  m_TriangleList.AddTail(t);
  t->nSequence = m_nNextSequence++;
  if (m_bReferenceScans) return;
  RegisterHullSides(t);
  m_pGrid->Insert(t);
}

void TaCIncrementalDelaunay2D::RemoveFromWorking(t_hdelaunaytriangle* t) {
  m_TriangleList.RemoveAt(t);
  if (m_bReferenceScans) return;
  ForgetHullSides(t);
  m_pGrid->Erase(t);
}

void TaCIncrementalDelaunay2D::RegisterHullSides(t_hdelaunaytriangle* t) {
  if (t->nHullSlot >= 0) return;
  if (t->pNeighbour[0] && t->pNeighbour[1] && t->pNeighbour[2]) return;
  t->nHullSlot = static_cast<int32_t>(m_HullRegister.size());
  m_HullRegister.push_back(t);
}

void TaCIncrementalDelaunay2D::ForgetHullSides(t_hdelaunaytriangle* t) {
  if (t->nHullSlot < 0) return;
  const std::size_t slot = static_cast<std::size_t>(t->nHullSlot);
  m_HullRegister[slot] = m_HullRegister.back();
  m_HullRegister[slot]->nHullSlot = static_cast<int32_t>(slot);
  m_HullRegister.pop_back();
  t->nHullSlot = -1;
}

// The grid follows the working list's size: laid out again over the vertices'
// box whenever the list has outgrown it fourfold, which keeps the cost of the
// re-filing linear over a whole triangulation.
void TaCIncrementalDelaunay2D::EnsureGrid() {
  const std::size_t cells = m_pGrid->CellCount();
  if (cells == 0 || m_pGrid->Count() + 1 > 4 * cells) RebuildGrid();
}

void TaCIncrementalDelaunay2D::RebuildGrid() {
  double x0 = 0, y0 = 0, x1 = 1, y1 = 1;
  const int n = GetNumVertices();
  if (n > 0) {
    x0 = x1 = m_pVertices[0].x;
    y0 = y1 = m_pVertices[0].y;
    for (int i = 1; i < n; ++i) {
      const double x = m_pVertices[i].x, y = m_pVertices[i].y;
      if (!std::isfinite(x) || !std::isfinite(y)) continue;
      x0 = std::min(x0, x);
      x1 = std::max(x1, x);
      y0 = std::min(y0, y);
      y1 = std::max(y1, y);
    }
  }
  const std::size_t cells = std::max<std::size_t>(16, static_cast<std::size_t>(m_TriangleList.GetCount()) / 2 + 1);
  m_pGrid->Reset(x0, y0, x1, y1, cells);
  for (t_hdelaunaytriangle* t : m_TriangleList) m_pGrid->Insert(t);
}

// ---- list operations --------------------------------------------------------

void TaCIncrementalDelaunay2D::ClearAffectedTriangleList() { m_AffectedTriangleList.DeleteAll(); }

void TaCIncrementalDelaunay2D::ClearTriangleList() {
  m_TriangleList.DeleteAll();
  m_HullRegister.clear();
  m_pGrid->Reset(0, 0, 1, 1, 1);
}

void TaCIncrementalDelaunay2D::ClearFinalTriangleList() { m_FinalTriangleList.DeleteAll(); }

void TaCIncrementalDelaunay2D::FinalizeTriangleList() {
  m_FinalTriangleList.DeleteAll();
  for (t_hdelaunaytriangle* t = m_TriangleList.GetHead(); t;) {
    t_hdelaunaytriangle* next = t->pNext;
    m_TriangleList.RemoveAt(t);
    t->nHullSlot = -1;
    m_FinalTriangleList.AddTail(t);
    t = next;
  }
  m_HullRegister.clear();
  m_pGrid->Reset(0, 0, 1, 1, 1);
  m_bFinalized = true;
}

void TaCIncrementalDelaunay2D::CopyFinalTriangleListToTriangleList() {
  for (t_hdelaunaytriangle* t = m_FinalTriangleList.GetHead(); t;) {
    t_hdelaunaytriangle* next = t->pNext;
    m_FinalTriangleList.RemoveAt(t);
    AppendToWorking(t);
    t = next;
  }
  m_bFinalized = false;
}
