#include "kel/DLLMalloc.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace zo::kel;

TEST(DLLMalloc, ReallocToZeroIsNotAnError) {
  void* p = DLLMalloc(16);
  ASSERT_NE(nullptr, p);
  // glibc frees the block and returns null for size 0: accepted, not thrown.
  EXPECT_NO_THROW(p = DLLRealloc(p, 0));
  DLLFree(p);
  EXPECT_FALSE(MakeDLLMallocThrow(true));
}

// Refuses every allocation of 1000 bytes or more, as an exhausted heap would.
bool RefuseLarge(unsigned long long bytes) { return bytes >= 1000; }

TEST(DLLMalloc, ExhaustionThrowsBadAllocAndKeepsTheOldBlock) {
  const auto previous = detail::SetAllocationHook(&RefuseLarge);
  EXPECT_THROW(DLLMalloc(1000), std::bad_alloc);
  EXPECT_EQ(nullptr, DLLMallocNoThrow(5000));
  char* p = static_cast<char*>(DLLMalloc(4));
  std::memcpy(p, "abc", 4);
  EXPECT_THROW(DLLRealloc(p, 2000), std::bad_alloc);
  EXPECT_STREQ("abc", p);  // still owned and intact after the failed reallocation
  char* begin = p;
  char* end = p + 3;
  EXPECT_THROW(ReallocBuffer(begin, end, 999), std::bad_alloc);
  EXPECT_EQ(p, begin);
  EXPECT_EQ(p + 3, end);
  DLLFree(p);
  EXPECT_EQ(&RefuseLarge, detail::SetAllocationHook(previous));
}

TEST(ReallocBuffer, AllocatesRoomForATerminatorAndKeepsTheContents) {
  char* begin = nullptr;
  char* end = nullptr;
  ReallocBuffer(begin, end, 10);
  ASSERT_NE(nullptr, begin);
  EXPECT_EQ(10, end - begin);
  std::memcpy(begin, "0123456789", 11);  // n + 1 elements: room for the terminator

  // Where it reallocates is checked through the strings' allocation sizes.
  ReallocBuffer(begin, end, 4);  // below half: reallocated, contents kept
  EXPECT_EQ(4, end - begin);
  EXPECT_EQ(0, std::memcmp(begin, "0123", 4));
  DLLFree(begin);
}

}  // namespace
