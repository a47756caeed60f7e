// CHTriangulation border: the stretch list of border edges.

#include "relief/CHTriangulation.h"

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
