#pragma once

// The distinct corners of a mesh being written, so that PLY and OBJ files
// share vertices between triangles: corners are the same vertex when their
// x, y and z compare equal as floats (the bit patterns, with -0 taken as 0).
// Vertices are numbered in order of first appearance, so the output does not
// depend on anything but the order of the triangles. An open-addressing
// table of 16 bytes per slot, at most half full: 16 to 32 bytes per vertex.

#include <cstdint>
#include <vector>

namespace relief::tool::detail {

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

  std::vector<Slot> m_slots;
  std::uint32_t m_size = 0;
};

}  // namespace relief::tool::detail
