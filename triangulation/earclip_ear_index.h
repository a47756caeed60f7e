#pragma once

// The ear flags of the vertices still on the ear clipper's circle, as a
// bitset over the vertex indices with a summary of its non-empty words.
// The circle only ever loses vertices, so its order is the index order:
// the first ear met walking the circle from a vertex is the first set bit
// from that vertex's index on, wrapping round.

#include <cstdint>
#include <vector>

namespace relief::detail {

class CEarIndex {
 public:
  void Reset(int count) {
    m_count = count;
    m_words.assign(std::size_t(count + 63) / 64, 0);
    m_summary.assign((m_words.size() + 63) / 64, 0);
  }
  void Set(int i, bool ear) {
    std::uint64_t& word = m_words[std::size_t(i) >> 6];
    const std::uint64_t bit = std::uint64_t(1) << (i & 63);
    word = ear ? word | bit : word & ~bit;
    const std::size_t w = std::size_t(i) >> 6;
    const std::uint64_t summaryBit = std::uint64_t(1) << (w & 63);
    m_summary[w >> 6] = word ? m_summary[w >> 6] | summaryBit : m_summary[w >> 6] & ~summaryBit;
  }
  // The first set index from i on, wrapping round; -1 when none is set.
  int FindFrom(int i) const {
    const int found = FindInRange(i, m_count);
    return found >= 0 ? found : FindInRange(0, i);
  }

 private:
  // The first set index in [from, to), or -1.
  int FindInRange(int from, int to) const {
    if (from >= to) return -1;
    std::size_t w = std::size_t(from) >> 6;
    std::uint64_t bits = m_words[w] & (~std::uint64_t(0) << (from & 63));
    while (!bits) {
      // Skip to the next non-empty word through the summary.
      std::size_t s = (w + 1) >> 6;
      std::uint64_t mask = (w + 1) & 63 ? ~std::uint64_t(0) << ((w + 1) & 63) : ~std::uint64_t(0);
      if (s >= m_summary.size()) return -1;
      std::uint64_t summary = m_summary[s] & mask;
      while (!summary) {
        if (++s >= m_summary.size()) return -1;
        summary = m_summary[s];
      }
      w = (s << 6) + std::size_t(__builtin_ctzll(summary));
      bits = m_words[w];
    }
    const int found = int((w << 6) + std::size_t(__builtin_ctzll(bits)));
    return found < to ? found : -1;
  }

  int m_count = 0;
  std::vector<std::uint64_t> m_words, m_summary;
};

}  // namespace relief::detail
