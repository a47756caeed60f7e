#pragma once

// The two routes of the 3D hull's construction (see
// CHConvexHull3D::SetReferenceScans). A route supplies the visibility test
// and keeps the waiting vertices' filing (which face each one sees). Only
// the filing decides the hull: the order of the vertices within one face's
// list never matters.

#include <cstdint>
#include <memory>
#include <vector>

#include "relief/CHConvexHull3D.h"
#include "triangulation/hull3d_detail.h"
#include "triangulation/hull3d_plane.h"

namespace relief::detail {

// The plain route: the virtual VolumeSign on the records, each face's list
// linked through the slots.
struct PlainRoute {
  const CHConvexHull3D& hull;
  HullConflicts& c;
  using Entry = std::int32_t;  // the slot

  Entry EntryOf(std::int32_t slot) const { return slot; }
  static std::int32_t SlotOf(Entry q) { return q; }
  bool Sees(const tFaceStructure* f, Entry q) const { return hull.VolumeSign(f, c.order[q]) < 0; }
  void Made(tFaceStructure*) const {}
  void File(tFaceStructure* f, Entry q) {
    c.waiting[q].face = f;
    c.waiting[q].next = f->conflictHead;
    f->conflictHead = q;
  }
  // Hands every vertex filed under f to refile (which returns whether it
  // filed it elsewhere) and empties f's list.
  template <class Refile>
  void Drain(tFaceStructure* f, Refile&& refile) {
    std::int32_t q = f->conflictHead;
    f->conflictHead = -1;
    while (q != -1) {
      const std::int32_t following = c.waiting[q].next;
      if (!refile(q)) c.waiting[q].face = nullptr;
      q = following;
    }
  }
};

// The fast route: planes kept with the faces, and each face's list a chain
// of small blocks holding the vertices' coordinates, so that refiling reads
// its vertices in sequence instead of chasing slots across memory.
struct FastRoute {
  struct Entry {
    double x, y, z;
    std::int32_t slot;
  };
  static constexpr int kBlock = 4;
  struct Block {
    Entry e[kBlock];
    std::int32_t count;
    std::int32_t next;   // next block of the same face, or of the free list
    std::int32_t after;  // the block after next (of the same face): read ahead
  };

  // Blocks by number, in chunks that never move (no copy as they grow,
  // no room reserved beyond the last chunk).
  struct BlockStore {
    static constexpr int kShift = 12;
    std::vector<std::unique_ptr<Block[]>> chunks;
    std::int32_t size = 0;
    Block& operator[](std::int32_t i) { return chunks[i >> kShift][i & ((1 << kShift) - 1)]; }
    std::int32_t Add() {
      if ((size & ((1 << kShift) - 1)) == 0) chunks.emplace_back(new Block[1 << kShift]);
      return size++;
    }
    void Release() {
      chunks.clear();
      chunks.shrink_to_fit();
      size = 0;
    }
  };

  HullConflicts& c;
  HullFrame frame;
  BlockStore blocks;
  std::int32_t spare = -1;  // first block of the free list

  Entry EntryOf(std::int32_t slot) const {
    Entry e;
    frame.Translate(c.order[slot], e.x, e.y, e.z);
    e.slot = slot;
    return e;
  }
  static std::int32_t SlotOf(const Entry& q) { return q.slot; }
  bool Sees(tFaceStructure* f, const Entry& q) const {
    const int sees = HullPlaneSees(f, q.x, q.y, q.z);
    return sees >= 0 ? sees == 1 : SeesExactly(f, q.slot);
  }
  // Out of line: rare, and it reads the scattered vertex records.
  __attribute__((noinline, cold)) bool SeesExactly(const tFaceStructure* f, std::int32_t slot) const {
    return HullVolumeSignExact(f->vertex[0], f->vertex[1], f->vertex[2], c.order[slot]) < 0;
  }
  void Made(tFaceStructure* f) const { MakeHullPlane(frame, f, PlaneOf(f)); }
  void File(tFaceStructure* f, const Entry& q) {
    c.waiting[q.slot].face = f;
    std::int32_t h = f->conflictHead;
    if (h == -1 || blocks[h].count == kBlock) {
      std::int32_t b = spare;
      if (b != -1) {
        spare = blocks[b].next;
      } else {
        b = blocks.Add();
      }
      blocks[b].count = 0;
      blocks[b].next = h;
      blocks[b].after = h == -1 ? -1 : blocks[h].next;
      f->conflictHead = h = b;
    }
    Block& block = blocks[h];
    block.e[block.count++] = q;
  }
  template <class Refile>
  void Drain(tFaceStructure* f, Refile&& refile) {
    std::int32_t h = f->conflictHead;
    f->conflictHead = -1;
    if (h != -1 && blocks[h].next != -1) __builtin_prefetch(&blocks[blocks[h].next]);
    while (h != -1) {
      const int count = blocks[h].count;
      // Walking a face's chain waits on memory once per block; fetch two
      // ahead (the next one was asked for one block earlier).
      if (blocks[h].after != -1) __builtin_prefetch(&blocks[blocks[h].after]);
      for (int k = 0; k < count; ++k) {
        const Entry q = blocks[h].e[k];
        if (!refile(q)) c.waiting[q.slot].face = nullptr;
      }
      const std::int32_t following = blocks[h].next;
      blocks[h].next = spare;
      spare = h;
      h = following;
    }
  }
};

}  // namespace relief::detail
