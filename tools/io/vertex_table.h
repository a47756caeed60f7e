#pragma once

// The distinct corners of a mesh being written, so that PLY and OBJ files
// share vertices between triangles: corners are the same vertex when their
// x, y and z compare equal as floats (the bit patterns, with -0 taken as 0).
// Vertices are numbered in order of first appearance, so the output does not
// depend on anything but the order of the triangles. An open-addressing
// table of 16 bytes per slot, at most half full: 16 to 32 bytes per vertex.
// In front of it a small direct-mapped table of recently found corners:
// meshes come in spatial order (a field mesh column by column of a band),
// so most corners were met a few hundred corners before and are found there
// without a miss in the large table, which lies beyond the caches for a few
// million vertices.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace relief::tool::detail {

// Blocks of 2 MB and more on huge pages where the system allows it: the
// table of a mesh of millions of vertices is probed at random, and with
// small pages nearly every probe also misses the address translation cache.
void* AllocateHugePages(std::size_t bytes);
void FreeHugePages(void* p, std::size_t bytes);
template <class T>
struct HugePageAllocator {
  using value_type = T;
  HugePageAllocator() = default;
  template <class U>
  HugePageAllocator(const HugePageAllocator<U>&) {}
  T* allocate(std::size_t n) { return static_cast<T*>(AllocateHugePages(n * sizeof(T))); }
  void deallocate(T* p, std::size_t n) { FreeHugePages(p, n * sizeof(T)); }
  bool operator==(const HugePageAllocator&) const { return true; }
  bool operator!=(const HugePageAllocator&) const { return false; }
};

class VertexTable {
 public:
  VertexTable();
  // The corner's vertex number; isNew tells whether it was first seen now.
  std::uint32_t Find(const float xyz[3], bool& isNew);
  std::uint32_t Size() const { return m_size; }

 private:
  struct Slot {
    std::uint32_t key[3];
    std::uint32_t index;  // kEmpty when the slot is free
  };
  static constexpr std::uint32_t kEmpty = 0xffffffffu;
  void Grow();

  static constexpr std::size_t kRecentSlots = std::size_t{1} << 15;  // 512 KB
  std::vector<Slot> m_recent;
  std::vector<Slot, HugePageAllocator<Slot>> m_slots;
  std::uint32_t m_size = 0;
};

}  // namespace relief::tool::detail
