// The triangle lists, their life cycle, and the bookkeeping that keeps the
// search structures (circle grid, hull-side register) in step with the
// working list.
#include <algorithm>
#include <cmath>

#include "relief/SafeMemory.h"
#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_circle_grid.h"
#include "triangulation/delaunay_triangle_pool.h"

void CDelaunayTriangleList::TakeAll(CDelaunayTriangleList& other) {
  if (other.m_pHead == nullptr) return;
  other.m_pHead->pPrev = m_pTail;
  if (m_pTail)
    m_pTail->pNext = other.m_pHead;
  else
    m_pHead = other.m_pHead;
  m_pTail = other.m_pTail;
  m_nCount += other.m_nCount;
  other.m_pHead = other.m_pTail = nullptr;
  other.m_nCount = 0;
}

void CDelaunayTriangleList::RemoveAll() {
  for (t_hdelaunaytriangle* t = m_pHead; t;) {
    t_hdelaunaytriangle* next = t->pNext;
    t->pPrev = t->pNext = nullptr;
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
  m_nPlainScansBelow = 200;
  m_nNextSequence = 0;
  m_nFlipClock = 0;
  m_nWorkingEpoch = 1;
  m_pGrid = nullptr;
  m_pPool = nullptr;
  m_pBoundingBox = static_cast<SSEPoint*>(SafeAlignedAlloc(2 * sizeof(SSEPoint), 16));
  m_pBoundingBox[0].m = _mm_setzero_ps();
  m_pBoundingBox[1].m = _mm_setzero_ps();
  m_pPool = new relief::detail::CTrianglePool();
  m_pGrid = new relief::detail::CCircleGrid(*m_pPool);
}

t_hdelaunaytriangle* TaCIncrementalDelaunay2D::NewTriangle() { return m_pPool->New(); }

void TaCIncrementalDelaunay2D::ReleaseTriangle(t_hdelaunaytriangle* t) { m_pPool->Delete(t); }

void TaCIncrementalDelaunay2D::ReleaseAll(CDelaunayTriangleList& list) { m_pPool->DeleteAll(list); }

TaCIncrementalDelaunay2D::~TaCIncrementalDelaunay2D() {
  // The pool frees every record at once; the lists only need to forget theirs.
  m_AffectedTriangleList.Abandon();
  m_TriangleList.Abandon();
  m_FinalTriangleList.Abandon();
  m_OtherTriangleList.Abandon();
  delete m_pGrid;
  delete m_pPool;
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
    NextWorkingEpoch();
    for (t_hdelaunaytriangle* t : m_TriangleList) {
      t->nWorkingEpoch = m_nWorkingEpoch;
      RegisterHullSides(t);
    }
    RebuildGrid(false);
  }
}

// ---- working-list membership ------------------------------------------------

void TaCIncrementalDelaunay2D::AppendToWorking(t_hdelaunaytriangle* t) {
  if (!m_bReferenceScans) EnsureGrid();  // before the append: a rebuild files the whole list
  m_TriangleList.AddTail(t);
  t->nSequence = m_nNextSequence++;
  t->nWorkingEpoch = m_nWorkingEpoch;
  if (m_bReferenceScans) return;
  RegisterHullSides(t);
  m_pGrid->Insert(t);
}

void TaCIncrementalDelaunay2D::RemoveFromWorking(t_hdelaunaytriangle* t) {
  m_TriangleList.RemoveAt(t);
  t->nWorkingEpoch = 0;
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

// The grid follows the working list's size: laid out over the vertices' box
// with about twelve triangles per cell, and laid out again when there are
// twice as many, which keeps the re-filing linear over a whole triangulation.
// Twelve per cell keeps a circle in few cells while a query still reads only
// a few dozen contiguous entries (measured at 100k points against six, eight
// and sixteen). Growing re-files from the grid's own entries: walking the
// working list instead would visit every triangle record, scattered over
// memory.
void TaCIncrementalDelaunay2D::EnsureGrid() {
  const std::size_t cells = m_pGrid->CellCount();
  if (cells == 0 || m_pGrid->Count() + 1 > 24 * cells) RebuildGrid(true);
}

void TaCIncrementalDelaunay2D::RebuildGrid(bool gridHoldsWorkingList) {
  double x0 = HUGE_VAL, y0 = HUGE_VAL, x1 = -HUGE_VAL, y1 = -HUGE_VAL;
  for (int i = 0; i < GetNumVertices(); ++i) {
    const double x = m_pVertices[i].x, y = m_pVertices[i].y;
    if (!std::isfinite(x) || !std::isfinite(y)) continue;
    x0 = std::min(x0, x);
    x1 = std::max(x1, x);
    y0 = std::min(y0, y);
    y1 = std::max(y1, y);
  }
  if (!(x1 >= x0)) x0 = y0 = 0.0, x1 = y1 = 1.0;  // no finite vertex
  const std::size_t cells = std::max<std::size_t>(16, static_cast<std::size_t>(m_TriangleList.GetCount()) / 12 + 1);
  if (gridHoldsWorkingList) {
    m_pGrid->Relayout(x0, y0, x1, y1, cells);
    return;
  }
  m_pGrid->Reset(x0, y0, x1, y1, cells);
  for (t_hdelaunaytriangle* t : m_TriangleList) m_pGrid->Insert(t);
}

// ---- list operations --------------------------------------------------------

void TaCIncrementalDelaunay2D::ClearAffectedTriangleList() { ReleaseAll(m_AffectedTriangleList); }

void TaCIncrementalDelaunay2D::ClearTriangleList() {
  ReleaseAll(m_TriangleList);
  m_HullRegister.clear();
  m_pGrid->Reset(0, 0, 1, 1, 1);
  NextWorkingEpoch();
}

void TaCIncrementalDelaunay2D::ClearFinalTriangleList() { ReleaseAll(m_FinalTriangleList); }

void TaCIncrementalDelaunay2D::FinalizeTriangleList() {
  ReleaseAll(m_FinalTriangleList);
  for (t_hdelaunaytriangle* t : m_HullRegister) t->nHullSlot = -1;
  m_HullRegister.clear();
  m_FinalTriangleList.TakeAll(m_TriangleList);
  // The moved triangles leave the search structures without being touched:
  // a new generation makes their working-list stamps stale.
  m_pGrid->Clear();
  NextWorkingEpoch();
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
