#pragma once

// Candidate pairs of segments for crossing tests: segments are filed in the
// cells of a uniform grid their bounding boxes cover (cells about twice the
// mean segment size, sorted by cell rather than stored as a dense grid), and
// each pair sharing a cell is visited once, in the first cell the two boxes
// share.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace relief::detail {

struct SegmentBox {
  double minX, minY, maxX, maxY;
};

template <class Visit>
void ForEachNearbyPair(const std::vector<SegmentBox>& boxes, Visit&& visit) {
  const std::size_t count = boxes.size();
  if (count < 2) return;
  double minX = boxes[0].minX, minY = boxes[0].minY, maxX = boxes[0].maxX, maxY = boxes[0].maxY, size = 0.0;
  for (const SegmentBox& b : boxes) {
    minX = std::min(minX, b.minX), minY = std::min(minY, b.minY);
    maxX = std::max(maxX, b.maxX), maxY = std::max(maxY, b.maxY);
    size += std::max(b.maxX - b.minX, b.maxY - b.minY);
  }
  // At most about 2^20 cells per axis keeps the keys in 64 bits.
  double cell = std::max(2.0 * size / count, std::max(maxX - minX, maxY - minY) / 1048576.0);
  if (!(cell > 0)) cell = 1.0;
  auto column = [&](double x) { return static_cast<std::int64_t>((x - minX) / cell); };
  auto row = [&](double y) { return static_cast<std::int64_t>((y - minY) / cell); };
  struct Entry {
    std::uint64_t key;
    std::uint32_t segment;
  };
  std::vector<Entry> entries;
  entries.reserve(2 * count);
  std::vector<std::int64_t> range(4 * count);
  for (std::size_t s = 0; s < count; ++s) {
    std::int64_t* r = &range[4 * s];
    r[0] = column(boxes[s].minX), r[1] = row(boxes[s].minY), r[2] = column(boxes[s].maxX), r[3] = row(boxes[s].maxY);
    for (std::int64_t y = r[1]; y <= r[3]; ++y)
      for (std::int64_t x = r[0]; x <= r[2]; ++x)
        entries.push_back({static_cast<std::uint64_t>(y) << 32 | static_cast<std::uint64_t>(x),
                           static_cast<std::uint32_t>(s)});
  }
  std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
    return a.key < b.key || (a.key == b.key && a.segment < b.segment);
  });
  for (std::size_t first = 0; first < entries.size();) {
    std::size_t last = first + 1;
    while (last < entries.size() && entries[last].key == entries[first].key) ++last;
    const std::int64_t cx = static_cast<std::int64_t>(entries[first].key & 0xFFFFFFFFu);
    const std::int64_t cy = static_cast<std::int64_t>(entries[first].key >> 32);
    for (std::size_t i = first; i < last; ++i)
      for (std::size_t j = i + 1; j < last; ++j) {
        const std::uint32_t s = entries[i].segment, t = entries[j].segment;
        const std::int64_t *a = &range[4 * s], *b = &range[4 * t];
        if (std::max(a[0], b[0]) != cx || std::max(a[1], b[1]) != cy) continue;
        visit(s, t);
      }
    first = last;
  }
}

}  // namespace relief::detail
