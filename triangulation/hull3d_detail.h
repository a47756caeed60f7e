#pragma once

// Internal pieces of the 3D hull shared by its source files: the exact
// predicates and the two side tables the hull keeps while it works.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "relief/CHConvexHull3D.h"

namespace relief::detail {

// Visits every record of a circular list once, as the circle stood at the
// start; visit may delete the record it is given.
template <typename T, typename F>
void ForEachOnceRound(T* head, F&& visit) {
  if (!head) return;
  T* const last = head->prev;
  for (T* r = head;;) {
    T* const following = r->next;
    const bool done = r == last;
    visit(r);
    if (done) return;
    r = following;
  }
}

// Products of three coordinate differences exceed 64 bits long before the
// quantised coordinates do, so the predicates multiply in 128 bits and only
// the sign leaves them.
using HullWide = __int128;

// Exact (a - p) . ((b - p) x (c - p)) sign in 128-bit integers.
inline int HullVolumeSignExact(const tVertexStructure* a, const tVertexStructure* b,
                               const tVertexStructure* c, const tVertexStructure* p) {
  const HullWide ax = HullWide(a->x) - p->x, ay = HullWide(a->y) - p->y, az = HullWide(a->z) - p->z;
  const HullWide bx = HullWide(b->x) - p->x, by = HullWide(b->y) - p->y, bz = HullWide(b->z) - p->z;
  const HullWide cx = HullWide(c->x) - p->x, cy = HullWide(c->y) - p->y, cz = HullWide(c->z) - p->z;
  const HullWide vol = ax * (by * cz - bz * cy) + ay * (bz * cx - bx * cz) + az * (bx * cy - by * cx);
  return vol > 0 ? 1 : (vol < 0 ? -1 : 0);
}

// Integers up to 2^53 convert to double without rounding. Stored x and y
// never come near it (2^40 at most); a lifted z can (up to 2e18).
constexpr std::int64_t kHullExactInDouble = std::int64_t(1) << 53;

inline bool HullZExactInDouble(std::int64_t z) { return z <= kHullExactInDouble && z >= -kHullExactInDouble; }

// (a - p) . ((b - p) x (c - p)): negative when p sees the counter-clockwise
// triangle a, b, c from outside.
//
// Most signs are clear long before the last bit: the volume is first
// formed in double, and only when it lies within a safe bound of zero
// (far wider than the rounding of nine products and of the differences can
// reach) is it recomputed exactly. The bound only holds while the
// coordinates themselves convert exactly; lifted points beyond that (z over
// 2^53) always take the exact route. The result is the exact sign either way.
inline int HullVolumeSign(const tVertexStructure* a, const tVertexStructure* b,
                          const tVertexStructure* c, const tVertexStructure* p) {
  if (HullZExactInDouble(a->z) && HullZExactInDouble(b->z) && HullZExactInDouble(c->z) &&
      HullZExactInDouble(p->z)) {
    const double ax = static_cast<double>(a->x) - static_cast<double>(p->x), ay = static_cast<double>(a->y) - static_cast<double>(p->y),
                 az = static_cast<double>(a->z) - static_cast<double>(p->z);
    const double bx = static_cast<double>(b->x) - static_cast<double>(p->x), by = static_cast<double>(b->y) - static_cast<double>(p->y),
                 bz = static_cast<double>(b->z) - static_cast<double>(p->z);
    const double cx = static_cast<double>(c->x) - static_cast<double>(p->x), cy = static_cast<double>(c->y) - static_cast<double>(p->y),
                 cz = static_cast<double>(c->z) - static_cast<double>(p->z);
    const double m1 = by * cz, m2 = bz * cy, m3 = bz * cx, m4 = bx * cz, m5 = bx * cy, m6 = by * cx;
    const double vol = ax * (m1 - m2) + ay * (m3 - m4) + az * (m5 - m6);
    const double scale = std::fabs(ax) * (std::fabs(m1) + std::fabs(m2)) +
                         std::fabs(ay) * (std::fabs(m3) + std::fabs(m4)) +
                         std::fabs(az) * (std::fabs(m5) + std::fabs(m6));
    const double bound = 1e-14 * scale;
    if (vol > bound) return 1;
    if (vol < -bound) return -1;
  }
  return HullVolumeSignExact(a, b, c, p);
}

// (b - a) x (c - a) == 0 in every component.
inline bool HullCrossIsZero(const tVertexStructure* a, const tVertexStructure* b,
                            const tVertexStructure* c) {
  const HullWide ux = HullWide(b->x) - a->x, uy = HullWide(b->y) - a->y, uz = HullWide(b->z) - a->z;
  const HullWide vx = HullWide(c->x) - a->x, vy = HullWide(c->y) - a->y, vz = HullWide(c->z) - a->z;
  return uy * vz - uz * vy == 0 && uz * vx - ux * vz == 0 && ux * vy - uy * vx == 0;
}

struct HullKey {
  std::int64_t x, y, z;
  bool operator==(const HullKey& o) const { return x == o.x && y == o.y && z == o.z; }
};
struct HullKeyHash {
  std::size_t operator()(const HullKey& k) const {
    std::uint64_t h = static_cast<std::uint64_t>(k.x) * 0x9E3779B97F4A7C15ull;
    h ^= static_cast<std::uint64_t>(k.y) + 0x7F4A7C159E3779B9ull + (h << 6) + (h >> 2);
    h ^= static_cast<std::uint64_t>(k.z) + 0x94D049BB133111EBull + (h << 6) + (h >> 2);
    return static_cast<std::size_t>(h ^ (h >> 31));
  }
};

// The vertex records, taken in storing order from blocks of growing size:
// a million single allocations (and their release) cost more than the
// hull, and neighbours in the list stay neighbours in memory.
struct HullVertexBlocks {
  std::vector<void*> blocks;  // from SafeCalloc, released by the hull's destructor
  std::size_t left = 0;
  tVertexStructure* next = nullptr;
};

// Edge or face records taken in creation order from blocks (no allocation
// and release per record); the blocks are owned by `owner`.
struct HullRecordBlocks {
  std::vector<void*>& owner;
  char* next = nullptr;
  std::size_t left = 0;
  std::size_t made = 0;
};

// Every stored vertex by its coordinates, so that a repeated point is
// refused in constant time instead of by a walk over the vertex list: open
// addressing with linear probing in one flat table of record pointers (the
// records stay in their blocks until the hull is destroyed, deleted or
// not), grown to keep it at most half full. The unused top 16 bits of each
// pointer (user addresses on x86-64 have 47) hold 16 more bits of the hash,
// so a probe only reads a record when those agree.
struct HullVertexIndex {
  std::vector<void*> edgeRecordBlocks;  // edge record blocks, the compacted one too (SafeCalloc)
  std::vector<void*> faceRecordBlocks;  // face record blocks, likewise

  // True when a stored vertex has the triple; otherwise `at` is the free
  // slot for it (until the next call).
  bool Find(const HullKey& k, std::size_t& at) {
    if (2 * (count_ + 1) > slots_.size()) Grow();
    const std::size_t mask = slots_.size() - 1;
    const std::uint64_t h = HullKeyHash{}(k);
    tag_ = h >> 48 << 48;
    for (std::size_t i = h & mask;; i = (i + 1) & mask) {
      const std::uint64_t slot = slots_[i];
      if (!slot) {
        at = i;
        return false;
      }
      if ((slot & kTagMask) != tag_) continue;
      const auto* v = reinterpret_cast<const tVertexStructure*>(slot & ~kTagMask);
      if (v->x == k.x && v->y == k.y && v->z == k.z) return true;
    }
  }
  // Stores v in the slot Find named (with the hash bits Find computed).
  void Place(std::size_t at, const tVertexStructure* v) {
    slots_[at] = reinterpret_cast<std::uint64_t>(v) | tag_;
    ++count_;
  }

  HullVertexBlocks vertexBlocks;  // where the vertex records live
  // Where the edge and face records are taken from while the hull grows.
  HullRecordBlocks edgeBlocks{edgeRecordBlocks};
  HullRecordBlocks faceBlocks{faceRecordBlocks};

 private:
  static constexpr std::uint64_t kTagMask = 0xFFFF000000000000ull;

  void Grow() {
    std::vector<std::uint64_t> old(slots_.empty() ? 64 : 2 * slots_.size(), 0);
    old.swap(slots_);
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t k = 0; k < old.size(); ++k) {
      // The records lie scattered in table order: ask for them ahead.
      if (k + 8 < old.size() && old[k + 8]) __builtin_prefetch(reinterpret_cast<const void*>(old[k + 8] & ~kTagMask));
      const std::uint64_t slot = old[k];
      if (!slot) continue;
      const auto* v = reinterpret_cast<const tVertexStructure*>(slot & ~kTagMask);
      std::size_t i = HullKeyHash{}(HullKey{v->x, v->y, v->z}) & mask;
      while (slots_[i]) i = (i + 1) & mask;
      slots_[i] = slot;
    }
  }

  std::vector<std::uint64_t> slots_;
  std::size_t count_ = 0;
  std::uint64_t tag_ = 0;
};

// While the hull grows, every vertex still waiting is filed under one face
// it sees (a conflict). Adding a vertex then starts from that face and only
// touches the faces it sees, which keeps the construction near n log n
// for points in random order instead of testing every face for every vertex.
struct HullConflicts {
  // One waiting vertex: the face it sees or null, and (plain route) the
  // next vertex filed under the same face.
  struct Waiting {
    tFaceStructure* face;
    std::int32_t next;
  };
  std::vector<tVertexStructure*> order;  // waiting vertices, in the order they are added
  std::vector<Waiting> waiting;          // by the same slot
  std::int32_t current = 0;              // slot of the vertex being added
  // Scratch lists of one addition, kept to avoid reallocating them.
  std::vector<tFaceStructure*> visible;
  std::vector<tFaceStructure*> cone;
  std::vector<tEdgeStructure*> horizon;
  std::vector<tEdgeStructure*> inner;
};

}  // namespace relief::detail
