#include "kel/DLLMalloc.h"

#include <gtest/gtest.h>

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

}  // namespace
