#include <gtest/gtest.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "kel/DLLMalloc.h"
#include "kel/SmallBlockAllocator_impl.h"
#include "qmstatic/vardata/VarData.h"

namespace {

using zo::kel::detail::GetSmallBlockStatistics;
using zo::kel::detail::SmallBlockAllocate;
using zo::kel::detail::SmallBlockFree;
using zo::kel::detail::SmallBlockStatistics;

// A short text value: its guts and characters take one small block.
VarData Text(std::uint32_t i) { return VarData(("k" + std::to_string(i)).c_str()); }

// A dictionary of text keys and number values: guts, nodes and key texts are all small blocks.
VarData Dictionary(std::uint32_t first, std::uint32_t n) {
  VarData dict = VarData::dict();
  for (std::uint32_t i = first; i < first + n; ++i) dict.setValue(Text(i), VarData(double(i)));
  return dict;
}

TEST(SmallBlockAllocator, BlocksAreDistinctAlignedAndReused) {
  for (const std::size_t bytes : {0u, 1u, 16u, 17u, 24u, 33u, 64u, 100u, 127u, 128u, 129u, 1000u}) {
    SCOPED_TRACE(bytes);
    std::vector<unsigned char*> blocks;
    for (int i = 0; i < 300; ++i) {
      auto* block = static_cast<unsigned char*>(SmallBlockAllocate(bytes));
      ASSERT_EQ(0u, reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t));
      std::memset(block, i & 0xFF, bytes);
      blocks.push_back(block);
    }
    // No block overlaps another: every one still holds its own pattern.
    for (int i = 0; i < 300; ++i) {
      for (std::size_t k = 0; k < bytes; ++k) ASSERT_EQ(i & 0xFF, blocks[i][k]) << i;
    }
    for (unsigned char* block : blocks) SmallBlockFree(block, bytes);
  }
  SmallBlockFree(nullptr, 16);
}

// Values made in one thread and dropped in another, and shared copies dropped by both at once.
TEST(SmallBlockAllocator, ValuesCrossThreads) {
  constexpr std::uint32_t kBatches = 200;
  constexpr std::uint32_t kPerBatch = 100;
  const SmallBlockStatistics before = GetSmallBlockStatistics();
  {
    std::mutex mutex;
    std::condition_variable ready;
    std::deque<std::vector<VarData>> queue;
    std::thread consumer([&] {
      for (std::uint32_t b = 0; b < kBatches; ++b) {
        std::unique_lock<std::mutex> lock(mutex);
        ready.wait(lock, [&] { return !queue.empty(); });
        std::vector<VarData> batch = std::move(queue.front());
        queue.pop_front();
        lock.unlock();
        // Read before dropping, so that a block reused too early shows as a wrong value.
        for (std::uint32_t i = 0; i + 1 < batch.size(); ++i) {
          ASSERT_EQ(0, batch[i].Compare(Text(b * kPerBatch + i)));
        }
        ASSERT_EQ(b * kPerBatch + 5.0,
                  static_cast<double>(batch.back().getValue(Text(b * kPerBatch + 5))));
      }
    });
    std::thread producer([&] {
      VarData kept;  // shares every text with the consumer's copies, released at the end
      for (std::uint32_t b = 0; b < kBatches; ++b) {
        std::vector<VarData> batch;
        for (std::uint32_t i = 0; i + 1 < kPerBatch; ++i) batch.push_back(Text(b * kPerBatch + i));
        batch.push_back(Dictionary(b * kPerBatch, 10));
        kept.SetElement(b, batch.front());
        std::lock_guard<std::mutex> lock(mutex);
        queue.push_back(std::move(batch));
        ready.notify_one();
      }
    });
    producer.join();
    consumer.join();
  }
  // Both threads have ended and every value is gone: their blocks are all back.
  EXPECT_EQ(before.blocksOut, GetSmallBlockStatistics().blocksOut);
}

TEST(SmallBlockAllocator, MemoryReturnsWhenValuesDie) {
  const SmallBlockStatistics before = GetSmallBlockStatistics();
  SmallBlockStatistics full{};
  {
    std::vector<VarData> values;
    for (std::uint32_t i = 0; i < 200000; ++i) values.push_back(Text(i));
    values.push_back(Dictionary(0, 20000));
    full = GetSmallBlockStatistics();
  }
  const SmallBlockStatistics after = GetSmallBlockStatistics();
  // Over 6 MiB were taken; what stays is a spare chunk per class and this thread's bounded cache.
  EXPECT_GT(full.bytesHeld, before.bytesHeld + (6u << 20));
  EXPECT_LE(after.bytesHeld, before.bytesHeld + (2u << 20));
  EXPECT_LE(after.blocksOut, before.blocksOut + 1024);
}

// Holds values in a thread-local object made before the thread's first allocation, so that it is
// destroyed after the allocator has released that thread's cache.
struct LateHolder {
  VarData values;
  ~LateHolder() {
    const VarData late("allocated after the thread's cache is gone");
    values.SetElement(3, late);
    EXPECT_EQ(0, values.GetElement(3).Compare(late));
  }
};
thread_local LateHolder t_late;

TEST(SmallBlockAllocator, FreesAfterThreadExit) {
  const SmallBlockStatistics before = GetSmallBlockStatistics();
  VarData survivor;
  std::thread([&survivor] {
    LateHolder& holder = t_late;
    holder.values.SetElement(0, Dictionary(0, 50));
    survivor = Text(7);
  }).join();
  // The thread's cached blocks went back when it ended, and its late values after that: the
  // survivor is the only block out.
  EXPECT_EQ(before.blocksOut + 1, GetSmallBlockStatistics().blocksOut);
  EXPECT_EQ(0, survivor.Compare(VarData("K7")));
}

TEST(DLLMalloc, ReallocToZeroIsNotAnError) {
  void* p = zo::kel::DLLMalloc(16);
  ASSERT_NE(nullptr, p);
  // glibc frees the block and returns null for size 0: accepted, not thrown.
  EXPECT_NO_THROW(p = zo::kel::DLLRealloc(p, 0));
  zo::kel::DLLFree(p);
  EXPECT_FALSE(zo::kel::MakeDLLMallocThrow(true));
}

}  // namespace
