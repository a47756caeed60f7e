// Filing triangles into bricks and the per-brick entry lists.

#include <cstdint>

#include "relief/CHOctree.h"
#include "relief/CHTriangulation.h"
#include "relief/SafeMemory.h"

namespace {

constexpr int kLists = 4;
// A block has room for ten entries but is treated as full at nine; the
// lookup reads only the first block, so only nine entries per list are
// ever retrievable. Existing data depend on both rules.
constexpr int kEntriesPerBlock = 9;

bool ValidList(int list) { return list >= 0 && list < kLists; }

// Type tag per brick level; levels 1 and 2 swapped on purpose.
std::int32_t TypeForLevel(int level) {
  static const std::int32_t kTags[] = {1, 4, 2, 3, 5, 6, 7, 8, 9, 10, 11, -1};
  return level >= 0 && level < 12 ? kTags[level] : 1;
}

t_hoctreeentryblock* NewBlock(int entry) {
  auto* b = static_cast<t_hoctreeentryblock*>(SafeCalloc(1, sizeof(t_hoctreeentryblock)));
  b->Entry[0] = entry;
  b->Count = 1;
  return b;
}

}  // namespace

void CHOctree::CalculateOctreeEntries(CHTriangulation* mesh, int list) {
  if (!mesh) return;
  for (int i = 0; i < mesh->GetNumTriangles(); ++i) InsertTriangleIntoOctree(mesh->GetTriangle(i), pRoot, list);
}

bool CHOctree::InsertTriangleIntoOctree(t_htriangle* t, t_hoctreeelement* element, int list) {
  if (!t || !element || !ValidList(list)) return false;
  const SSEPoint& lo = *t->pMinPoint;
  const SSEPoint& hi = *t->pMaxPoint;
  const SSEPoint& bmin = element->MinCorner;
  const SSEPoint& bmax = element->MaxCorner;
  if (!(bmin.x <= lo.x && bmin.y <= lo.y && bmin.z <= lo.z && hi.x <= bmax.x && hi.y <= bmax.y &&
        hi.z <= bmax.z))
    return false;
  for (t_hoctreeelement* child : element->pChild) {
    if (child && InsertTriangleIntoOctree(t, child, list)) return true;
  }
  InsertTriangleIntoOctreeElement(t, element, list);
  return true;
}

void CHOctree::InsertTriangleIntoOctreeElement(t_htriangle* t, t_hoctreeelement* element, int list) {
  if (!t || !element || !ValidList(list)) return;
  AppendEntryToOctreeElement(element, list, t->Index);
  t->Type = TypeForLevel(element->Level);
}

t_hoctreeentryblock** CHOctree::TailSlot(const t_hoctreeelement* element, int list) {
  if (!m_pTails || !element || !ValidList(list)) return nullptr;
  const int k = element->Level;
  if (k < 0 || k >= NumLevels || !Level[k]) return nullptr;
  // Callers may hand in a brick of their own: compare addresses as integers,
  // since subtracting pointers into different arrays is undefined.
  const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(element);
  const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(Level[k]);
  const std::uintptr_t size = sizeof(t_hoctreeelement);
  if (at < first || (at - first) % size != 0 || (at - first) / size >= static_cast<std::uintptr_t>(LevelCount[k]))
    return nullptr;
  std::ptrdiff_t offset = static_cast<std::ptrdiff_t>((at - first) / size);
  for (int l = 0; l < k; ++l) offset += LevelCount[l];
  return &m_pTails[4 * offset + list];
}

// GCC 12+ reports the list head below as out of bounds in a partially
// inlined clone although list is checked to lie in 0..3 (a known false
// positive of -Warray-bounds); nothing else in this function is exempted.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Warray-bounds"
#endif
void CHOctree::AppendEntryToOctreeElement(t_hoctreeelement* element, int list, int entry) {
  if (!element || !ValidList(list)) return;
  t_hoctreeentryblock*& head = element->pEntries[list];
  t_hoctreeentryblock** tail = TailSlot(element, list);
  t_hoctreeentryblock* b = head;
  if (!b) {
    t_hoctreeentryblock* first = NewBlock(entry);
    head = first;
    if (tail) *tail = first;
    return;
  }
  // The cached last block when there is one, else a walk to it.
  if (tail && *tail) {
    b = *tail;
  }
  while (b->pNext) b = b->pNext;
  if (b->Count < kEntriesPerBlock) {
    b->Entry[b->Count++] = entry;
  } else {
    b->pNext = NewBlock(entry);
    b = b->pNext;
  }
  if (tail) *tail = b;
}
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

std::int32_t CHOctree::GetEntryFromOctreeElement(t_hoctreeelement* element, int list, int i) {
  if (!element || !ValidList(list) || i < 0) return -1;
  const t_hoctreeentryblock* b = element->pEntries[list];
  if (!b || i / 10 > 0) return -1;
  return i < b->Count ? b->Entry[i] : -1;
}

void CHOctree::RemoveAllEntriesFromOctreeElement(t_hoctreeelement* element) {
  if (!element) return;
  for (t_hoctreeentryblock*& head : element->pEntries) {
    t_hoctreeentryblock* b = head;
    while (b) {
      t_hoctreeentryblock* following = b->pNext;
      SafeFree(b);
      b = following;
    }
    head = nullptr;
  }
  for (int list = 0; list < kLists; ++list) {
    if (t_hoctreeentryblock** tail = TailSlot(element, list)) *tail = nullptr;
  }
}

void CHOctree::FindMinMaxPointTriangulation(CHTriangulation* mesh, SSEPoint& min, SSEPoint& max,
                                            t_hoctreeelement* element, int list) {
  if (!mesh || !element || !ValidList(list)) return;
  for (const t_hoctreeentryblock* b = element->pEntries[list]; b; b = b->pNext) {
    for (int k = 0; k < b->Count; ++k) {
      const t_htriangle* t = mesh->GetTriangle(b->Entry[k]);
      if (!t) continue;
      for (const SSEPoint* p : t->pPoint) {
        min.m = _mm_min_ps(min.m, p->m);
        max.m = _mm_max_ps(max.m, p->m);
      }
    }
  }
}
