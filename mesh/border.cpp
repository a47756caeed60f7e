// CHTriangulation border: the stretch list of border edges and the border
// line chained from it.

#include <emmintrin.h>

#include "relief/CHTriangulation.h"
#include "relief/CSSE3dPolygon.h"

namespace {

// Lane-wise float equality over all four lanes.
bool SamePoint(const SSEPoint& a, const SSEPoint& b) { return _mm_movemask_ps(_mm_cmpeq_ps(a.m, b.m)) == 0xF; }

void SetPolygonPoint(CSSE3dPolygon& out, int i, const SSEPoint& p) { out.SetPoint(i, p.x, p.y, p.z); }

}  // namespace

void CHTriangulation::AppendStretchToList(t_stretch* s) {
  if (!s) return;
  s->pNext = StretchListHead;
  s->pPrev = nullptr;
  if (StretchListHead) StretchListHead->pPrev = s;
  StretchListHead = s;
}

void CHTriangulation::DeleteStretchFromList(t_stretch* s) {
  if (!s) return;
  if (s->pPrev) s->pPrev->pNext = s->pNext;
  if (s->pNext) s->pNext->pPrev = s->pPrev;
  if (StretchListHead == s) StretchListHead = s->pNext;
  delete s;
}

void CHTriangulation::FindBorderLine(CSSE3dPolygon* out) {
  if (!out) return;
  // One stretch per triangle with a border edge: its first open slot. The
  // list is built by pushing at the front, so it runs in reverse index order.
  static const int kEdge[3][2] = {{0, 1}, {1, 2}, {2, 0}};
  int count = 0;
  for (int i = 0; i < NumTriangles; ++i) {
    const t_htriangle& t = Triangles[i];
    for (int slot = 0; slot < 3; ++slot) {
      if (t.pNeighbour[slot]) continue;
      AppendStretchToList(new t_stretch{t.pPoint[kEdge[slot][0]], t.pPoint[kEdge[slot][1]], nullptr, nullptr});
      ++count;
      break;
    }
  }
  if (count == 0) return;  // no border: the polygon keeps what it had

  out->Create(count);
  t_stretch* current = StretchListHead;
  SetPolygonPoint(*out, 0, *current->pStart);
  SetPolygonPoint(*out, 1, *current->pEnd);  // ignored by the polygon when count is 1
  // The chain assumes each stretch touches the one before it; it takes the
  // successor's far end when the two meet end to start, else the
  // successor's start. Indices past the count are ignored by the polygon.
  int next = 2;
  while (current->pNext) {
    t_stretch* successor = current->pNext;
    SetPolygonPoint(*out, next++,
                    SamePoint(*successor->pStart, *current->pEnd) ? *successor->pEnd : *successor->pStart);
    DeleteStretchFromList(current);
    current = successor;
  }
  // The last stretch is released too, so the list is empty afterwards.
  DeleteStretchFromList(current);
}
