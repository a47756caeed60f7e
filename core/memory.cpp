#include <cstdlib>

#include "relief/CMemoryException.h"
#include "relief/SafeMemory.h"

const char* CMemoryException::what() const noexcept { return "relief: out of memory"; }

void AfxThrowMemoryException() { throw CMemoryException(); }

void* SafeMalloc(std::size_t size) {
  void* p = std::malloc(size == 0 ? 1 : size);
  if (!p) AfxThrowMemoryException();
  return p;
}

void* SafeCalloc(std::size_t count, std::size_t size) {
  if (count == 0 || size == 0) count = size = 1;
  void* p = std::calloc(count, size);
  if (!p) AfxThrowMemoryException();
  return p;
}

void* SafeAlignedAlloc(std::size_t size, std::size_t alignment) {
  if (alignment < sizeof(void*)) alignment = sizeof(void*);
  void* p = nullptr;
  if (posix_memalign(&p, alignment, size == 0 ? alignment : size) != 0) AfxThrowMemoryException();
  return p;
}

void SafeFree(void* p) { std::free(p); }

void SafeAlignedFree(void* p) { std::free(p); }
