#include "io/vertex_table.h"

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace relief::tool::detail {

namespace {

std::uint64_t Hash(const std::uint32_t key[3]) {
  std::uint64_t h = (static_cast<std::uint64_t>(key[0]) << 32 | key[1]) ^
                    (static_cast<std::uint64_t>(key[2]) * 0x9e3779b97f4a7c15ull);
  // A 64-bit finaliser: neighbouring grid coordinates land far apart.
  h ^= h >> 33;
  h *= 0xff51afd7ed558ccdull;
  h ^= h >> 33;
  h *= 0xc4ceb9fe1a85ec53ull;
  h ^= h >> 33;
  return h;
}

constexpr std::size_t kHugePage = std::size_t{2} << 20;
std::size_t RoundToHugePages(std::size_t bytes) { return (bytes + kHugePage - 1) & ~(kHugePage - 1); }

}  // namespace

// Mapped directly rather than taken from the heap, so that a table given up
// by Grow goes back to the system at once whatever the heap's policy.
void* AllocateHugePages(std::size_t bytes) {
  if (bytes < kHugePage) {
    if (void* p = std::malloc(bytes)) return p;
    throw std::bad_alloc();
  }
  void* p = mmap(nullptr, RoundToHugePages(bytes), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) throw std::bad_alloc();
  // Only a hint: without transparent huge pages the block works as it is.
  madvise(p, RoundToHugePages(bytes), MADV_HUGEPAGE);
  return p;
}

void FreeHugePages(void* p, std::size_t bytes) {
  if (bytes < kHugePage)
    std::free(p);
  else
    munmap(p, RoundToHugePages(bytes));
}

VertexTable::VertexTable()
    : m_recent(kRecentSlots, Slot{{0, 0, 0}, kEmpty}), m_slots(1 << 12, Slot{{0, 0, 0}, kEmpty}) {}

std::uint32_t VertexTable::Find(const float xyz[3], bool& isNew) {
  std::uint32_t key[3];
  std::memcpy(key, xyz, sizeof key);
  for (auto& k : key)
    if (k == 0x80000000u) k = 0;  // -0 and 0 are the same coordinate
  const std::uint64_t hash = Hash(key);
  auto same = [&key](const Slot& s) { return s.key[0] == key[0] && s.key[1] == key[1] && s.key[2] == key[2]; };
  Slot& recent = m_recent[(hash >> 40) & (kRecentSlots - 1)];
  if (recent.index != kEmpty && same(recent)) {
    isNew = false;
    return recent.index;
  }
  const size_t mask = m_slots.size() - 1;
  for (size_t i = hash & mask;; i = (i + 1) & mask) {
    Slot& slot = m_slots[i];
    if (slot.index == kEmpty) {
      if (m_size == kEmpty - 1) throw std::bad_alloc();  // beyond 32-bit vertex numbers
      std::memcpy(slot.key, key, sizeof key);
      slot.index = m_size++;
      isNew = true;
      recent = slot;
      if (2 * static_cast<size_t>(m_size) > m_slots.size()) Grow();
      return recent.index;
    }
    if (same(slot)) {
      isNew = false;
      recent = slot;
      return slot.index;
    }
  }
}

void VertexTable::Grow() {
  decltype(m_slots) old(m_slots.size() * 2, Slot{{0, 0, 0}, kEmpty});
  old.swap(m_slots);
  const size_t mask = m_slots.size() - 1;
  for (const Slot& s : old) {
    if (s.index == kEmpty) continue;
    size_t i = Hash(s.key) & mask;
    while (m_slots[i].index != kEmpty) i = (i + 1) & mask;
    m_slots[i] = s;
  }
}

}  // namespace relief::tool::detail
