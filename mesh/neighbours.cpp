// CHTriangulation connectivity: the working list, the neighbour search and
// the border tag.
//
// The neighbour search is defined as a forward scan over all pairs of the
// working list (A from the head, B after A), where a pair that does not
// match has no effect at all. Only matching pairs change state, so the scan
// can be replayed exactly by visiting, for each A, just the B that could
// match, in list order, skipping those already pruned from the list. The
// list never reorders (it only loses members), so list order is index
// order.
//
// Candidates come from an index of lane values. The shared-corner test
// compares lane by lane: corner A_k lies on B when A_k.x is the x of some
// corner of B, A_k.y the y of some (possibly other) corner, and so on. So
// (A_k.x, A_k.y) is one of the up to nine combinations (Bi.x, Bj.y) of B's
// corners; B is filed under each of those combinations. Every match needs
// A0 or A1 to lie on B (the slot rules pair 0-1, 1-2, 0-2), so looking up
// the keys of A0 and A1 finds every B that can match. An index of whole
// corner points would miss the matches whose lanes come from different
// corners, which height fields with flat regions produce.

#include <emmintrin.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "relief/CHTriangulation.h"

namespace {

// Corner p lies on the triangle (b0, b1, b2): each lane equals that lane of
// at least one corner. NaN lanes never equal anything.
inline bool LiesOn(__m128 p, __m128 b0, __m128 b1, __m128 b2) {
  const __m128 eq = _mm_or_ps(_mm_or_ps(_mm_cmpeq_ps(p, b0), _mm_cmpeq_ps(p, b1)), _mm_cmpeq_ps(p, b2));
  return _mm_movemask_ps(eq) == 0xF;
}

// The slot of `self` that the other triangle fills: 0 when corners 0 and 1
// lie on it, else 1 for corners 1 and 2, else 2 for corners 0 and 2; -1 for
// no match.
inline int SharedSlot(const t_htriangle& self, const t_htriangle& other) {
  const __m128 b0 = other.pPoint[0]->m, b1 = other.pPoint[1]->m, b2 = other.pPoint[2]->m;
  const bool on0 = LiesOn(self.pPoint[0]->m, b0, b1, b2);
  const bool on1 = LiesOn(self.pPoint[1]->m, b0, b1, b2);
  if (on0 && on1) return 0;
  const bool on2 = LiesOn(self.pPoint[2]->m, b0, b1, b2);
  if (on1 && on2) return 1;
  if (on0 && on2) return 2;
  return -1;
}

inline bool Complete(const t_htriangle& t) { return t.pNeighbour[0] && t.pNeighbour[1] && t.pNeighbour[2]; }

// A float's bits with -0 folded onto +0, so that values comparing equal get
// equal keys. (NaNs may share a key; the exact test rejects them.)
inline std::uint32_t KeyBits(float v) {
  if (v == 0.0f) return 0;
  std::uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  return bits;
}

inline std::uint64_t Key(float x, float y) { return (std::uint64_t{KeyBits(x)} << 32) | KeyBits(y); }

struct Entry {
  std::uint64_t key;
  std::int32_t triangle;
  bool operator<(const Entry& o) const { return key < o.key || (key == o.key && triangle < o.triangle); }
};

// Every triangle under each distinct (x of one corner, y of one corner)
// combination, sorted by key and, within a key, by index (list order).
std::vector<Entry> BuildLaneIndex(const CHTriangulation& m) {
  std::vector<Entry> entries;
  entries.reserve(static_cast<std::size_t>(m.NumTriangles) * 4);
  for (int i = 0; i < m.NumTriangles; ++i) {
    const SSEPoint* p = m.EdgeArray + 3 * i;
    std::uint64_t keys[9];
    int count = 0;
    for (int a = 0; a < 3; ++a)
      for (int b = 0; b < 3; ++b) {
        const std::uint64_t k = Key(p[a].x, p[b].y);
        if (std::find(keys, keys + count, k) == keys + count) keys[count++] = k;
      }
    for (int c = 0; c < count; ++c) entries.push_back({keys[c], i});
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

struct Range {
  const Entry* first;
  const Entry* last;
};

// The triangles filed under key with an index above `after`.
inline Range Find(const std::vector<Entry>& index, std::uint64_t key, int after) {
  const Entry* begin = index.data();
  const Entry* end = begin + index.size();
  const Entry* first = std::lower_bound(begin, end, Entry{key, after + 1});
  const Entry* last = first;
  while (last != end && last->key == key) ++last;
  return {first, last};
}

// The union of two index-sorted ranges as ascending, distinct indices.
void MergeIndices(Range r0, Range r1, std::vector<int>& out) {
  const Entry* p = r0.first;
  const Entry* q = r1.first;
  while (p != r0.last || q != r1.last) {
    int next;
    if (q == r1.last || (p != r0.last && p->triangle < q->triangle)) {
      next = (p++)->triangle;
    } else if (p == r0.last || q->triangle < p->triangle) {
      next = (q++)->triangle;
    } else {
      next = p->triangle;
      ++p;
      ++q;
    }
    out.push_back(next);
  }
}

}  // namespace

void CHTriangulation::IndexTriangleList() {
  if (NumTriangles < 1) {
    TriangleListHead = nullptr;
    return;
  }
  for (int i = 0; i < NumTriangles; ++i) {
    Triangles[i].pPrev = i > 0 ? Triangles + i - 1 : nullptr;
    Triangles[i].pNext = i + 1 < NumTriangles ? Triangles + i + 1 : nullptr;
  }
  TriangleListHead = Triangles;
}

void CHTriangulation::DeleteTriangleFromList(t_htriangle* t) {
  if (!t) return;
  if (t->pPrev) t->pPrev->pNext = t->pNext;
  if (t->pNext) t->pNext->pPrev = t->pPrev;
  if (TriangleListHead == t) TriangleListHead = t->pNext;
}

void CHTriangulation::CalcNeighbours() {
  IndexTriangleList();
  const std::vector<Entry> index = BuildLaneIndex(*this);
  std::vector<char> pruned(static_cast<std::size_t>(NumTriangles), 0);
  std::vector<int> candidates;

  for (int a = 0; a < NumTriangles; ++a) {
    if (pruned[a]) continue;  // A walks the working list only
    t_htriangle& A = Triangles[a];

    // The candidates under A0's and A1's keys, merged in index order; a
    // triangle filed under both keys is visited once.
    const Range r0 = Find(index, Key(A.pPoint[0]->x, A.pPoint[0]->y), a);
    const Range r1 = Find(index, Key(A.pPoint[1]->x, A.pPoint[1]->y), a);
    candidates.clear();
    MergeIndices(r0, r1, candidates);
    for (int b : candidates) {
      if (pruned[b]) continue;
      t_htriangle& B = Triangles[b];
      const int slotA = SharedSlot(A, B);
      if (slotA < 0) continue;
      A.pNeighbour[slotA] = &B;
      const int slotB = SharedSlot(B, A);
      if (slotB >= 0) B.pNeighbour[slotB] = &A;
      if (Complete(B)) {
        DeleteTriangleFromList(&B);
        pruned[b] = 1;
      }
      if (Complete(A)) {
        DeleteTriangleFromList(&A);
        pruned[a] = 1;
        break;
      }
    }
  }
  FindBorderTriangles();
}

void CHTriangulation::CalcNeighboursConstrained() { CalcNeighbours(); }

void CHTriangulation::FindBorderTriangles() {
  for (int i = 0; i < NumTriangles; ++i) {
    const t_htriangle& t = Triangles[i];
    if (!t.pNeighbour[0] || !t.pNeighbour[1] || !t.pNeighbour[2]) Triangles[i].Type = 13;
  }
}
