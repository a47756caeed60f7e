#pragma once

namespace relief::tool {

// The tool maps blocks of 1 MB and more on their own: glibc would otherwise
// raise its threshold after the first such free and serve later blocks of
// other sizes from the heap, where the chunked scan conversion's rasters of
// growing height fragment it. Called once at start.
void MapLargeBlocks();

// For a loop that frees and allocates blocks of about the same large sizes
// again and again (the band meshes): while it lives, such blocks stay in the
// heap, so each round reuses the pages of the one before instead of mapping
// fresh ones, whose first touch costs more than the work done in them.
class ReuseLargeBlocks {
 public:
  ReuseLargeBlocks();
  ~ReuseLargeBlocks();
  ReuseLargeBlocks(const ReuseLargeBlocks&) = delete;
  ReuseLargeBlocks& operator=(const ReuseLargeBlocks&) = delete;
};

}  // namespace relief::tool
