#pragma once

// A scratch array of registers from the aligned allocator, released on scope
// exit (the filters and scalers need a few per call).

#include <emmintrin.h>

#include <cstddef>

#include "relief/SafeMemory.h"

namespace relief::detail {

class AlignedBuffer {
 public:
  explicit AlignedBuffer(std::size_t registers)
      : m_p(static_cast<__m128*>(SafeAlignedAlloc(sizeof(__m128) * (registers ? registers : 1), 64))) {}
  ~AlignedBuffer() { SafeAlignedFree(m_p); }
  AlignedBuffer(const AlignedBuffer&) = delete;
  AlignedBuffer& operator=(const AlignedBuffer&) = delete;

  __m128* data() const { return m_p; }
  __m128& operator[](std::size_t i) const { return m_p[i]; }
  float* floats() const { return reinterpret_cast<float*>(m_p); }

 private:
  __m128* m_p;
};

}  // namespace relief::detail
