#pragma once

#include <cstddef>

#include "relief/Export.h"

// Allocation wrappers that never return null: exhaustion raises
// CMemoryException instead. Blocks from SafeMalloc/SafeCalloc are released
// with SafeFree, blocks from SafeAlignedAlloc with SafeAlignedFree; the two
// families must not be mixed.

// malloc(size); a zero size still yields a unique, freeable block.
RELIEF_API void* SafeMalloc(std::size_t size);
// calloc(count, size): zero-filled; count * size overflowing throws.
RELIEF_API void* SafeCalloc(std::size_t count, std::size_t size);
// A block of `size` bytes whose address is a multiple of `alignment` (a power
// of two, at least sizeof(void*)). Arguments are (size, alignment) in this order.
RELIEF_API void* SafeAlignedAlloc(std::size_t size, std::size_t alignment);
// free(p); null is ignored.
RELIEF_API void SafeFree(void* p);
// Releases a SafeAlignedAlloc block; null is ignored.
RELIEF_API void SafeAlignedFree(void* p);
