#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "relief/TaCIncrementalDelaunay2D.h"

namespace relief::detail {

// The triangle records of one triangulation. Every insertion frees a few
// records and takes a few more; recycling them last-freed-first from blocks
// owned by the triangulation keeps the general allocator out of that churn
// and hands out records that are still in the cache. The blocks are freed
// with the pool.
class CTrianglePool {
 public:
  CTrianglePool() = default;
  CTrianglePool(const CTrianglePool&) = delete;
  CTrianglePool& operator=(const CTrianglePool&) = delete;
  ~CTrianglePool();

  // A zero-filled record, not in any list or search structure. Throws
  // CMemoryException when no block can be had.
  t_hdelaunaytriangle* New();
  // Takes back a record that no list holds any more.
  void Delete(t_hdelaunaytriangle* t) {
    t->pNext = m_pFree;
    m_pFree = t;
  }
  // Takes back every record of the list and empties it.
  void DeleteAll(CDelaunayTriangleList& list);
  // The record with this nPoolIndex.
  t_hdelaunaytriangle* At(uint32_t index) const { return m_Blocks[index >> kBlockBits] + (index & (kRecordsPerBlock - 1)); }

 private:
  static constexpr unsigned kBlockBits = 10;
  static constexpr std::size_t kRecordsPerBlock = std::size_t{1} << kBlockBits;
  std::vector<t_hdelaunaytriangle*> m_Blocks;
  std::size_t m_nUsedInLastBlock = kRecordsPerBlock;
  t_hdelaunaytriangle* m_pFree = nullptr;  // chained through pNext
};

}  // namespace relief::detail
