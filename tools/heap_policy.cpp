#include "heap_policy.h"

#include <malloc.h>

namespace relief::tool {

namespace {
constexpr int kMappedFrom = 1 << 20;
// glibc's default: free memory above this at the heap's top goes back.
constexpr int kDefaultTrim = 128 * 1024;
}  // namespace

void MapLargeBlocks() { mallopt(M_MMAP_THRESHOLD, kMappedFrom); }

ReuseLargeBlocks::ReuseLargeBlocks() {
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

ReuseLargeBlocks::~ReuseLargeBlocks() {
  MapLargeBlocks();
  mallopt(M_TRIM_THRESHOLD, kDefaultTrim);
  malloc_trim(0);
}

}  // namespace relief::tool
