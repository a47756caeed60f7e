#pragma once

// A binary max-heap of triangles keyed by their worst error, with each
// triangle's position kept so that a rescanned triangle is moved or removed
// in O(log n) instead of being left behind as a stale entry.

#include <cstdint>
#include <vector>

namespace relief::detail {

class CTriangleHeap {
 public:
  bool Empty() const { return m_ids.empty(); }
  std::int32_t Top() const { return m_ids[0]; }

  // Inserts t with key, or moves it when it is already in.
  void Set(std::int32_t t, double key) {
    if (static_cast<size_t>(t) >= m_slot.size()) m_slot.resize(static_cast<size_t>(t) + 1 + m_slot.size() / 2, -1);
    int i = m_slot[t];
    if (i < 0) {
      i = static_cast<int>(m_ids.size());
      m_ids.push_back(t);
      m_keys.push_back(key);
      m_slot[t] = i;
      Up(i);
      return;
    }
    const double old = m_keys[i];
    m_keys[i] = key;
    if (key > old) Up(i);
    else Down(i);
  }

  void Remove(std::int32_t t) {
    if (static_cast<size_t>(t) >= m_slot.size() || m_slot[t] < 0) return;
    const int i = m_slot[t];
    const int last = static_cast<int>(m_ids.size()) - 1;
    m_slot[t] = -1;
    if (i != last) {
      Place(i, m_ids[last], m_keys[last]);
      m_ids.pop_back();
      m_keys.pop_back();
      Up(i);
      Down(i);
    } else {
      m_ids.pop_back();
      m_keys.pop_back();
    }
  }

  void Clear() {
    m_ids.clear();
    m_keys.clear();
    m_slot.clear();
  }

 private:
  void Place(int i, std::int32_t t, double key) {
    m_ids[i] = t;
    m_keys[i] = key;
    m_slot[t] = i;
  }
  void Up(int i) {
    const std::int32_t t = m_ids[i];
    const double key = m_keys[i];
    while (i > 0) {
      const int parent = (i - 1) / 2;
      if (!(m_keys[parent] < key)) break;
      Place(i, m_ids[parent], m_keys[parent]);
      i = parent;
    }
    Place(i, t, key);
  }
  void Down(int i) {
    const int n = static_cast<int>(m_ids.size());
    const std::int32_t t = m_ids[i];
    const double key = m_keys[i];
    for (;;) {
      int child = 2 * i + 1;
      if (child >= n) break;
      if (child + 1 < n && m_keys[child] < m_keys[child + 1]) ++child;
      if (!(key < m_keys[child])) break;
      Place(i, m_ids[child], m_keys[child]);
      i = child;
    }
    Place(i, t, key);
  }

  std::vector<std::int32_t> m_ids;
  std::vector<double> m_keys;
  std::vector<int> m_slot;  // per triangle: position in the heap or -1
};

}  // namespace relief::detail
