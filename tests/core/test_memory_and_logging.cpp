#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "relief/CMemoryException.h"
#include "relief/MessageBox.h"
#include "relief/SafeMemory.h"

TEST(SafeMemory, BlocksAreAlignedZeroedAndExhaustionThrows) {
  void* aligned = SafeAlignedAlloc(1000, 16);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned) % 16, 0u);
  SafeAlignedFree(aligned);
  auto* p = static_cast<unsigned char*>(SafeCalloc(100, 3));
  for (int i = 0; i < 300; ++i) ASSERT_EQ(p[i], 0);
  SafeFree(p);
  SafeFree(nullptr);  // null is ignored by both frees
  SafeAlignedFree(nullptr);
  const std::size_t impossible = std::numeric_limits<std::size_t>::max() / 2;
  EXPECT_THROW(SafeMalloc(impossible), CMemoryException);
  EXPECT_THROW(SafeCalloc(impossible, 4), CMemoryException);
  EXPECT_THROW(SafeAlignedAlloc(impossible, 16), CMemoryException);
  EXPECT_THROW(SafeMalloc(impossible), std::bad_alloc);  // callers that only know the standard exception
}

TEST(MessageBox, HandlerReceivesTextAndDefaultWritesStderr) {
  std::vector<std::string> seen;
  SetMessageBoxHandler([&](const std::string& text) { seen.push_back(text); });
  ShowMessageBox("OctreeCreated");
  EXPECT_EQ(seen, std::vector<std::string>{"OctreeCreated"});
  SetMessageBoxHandler(nullptr);
  testing::internal::CaptureStderr();
  ShowMessageBox("hello");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "hello\n");
}
