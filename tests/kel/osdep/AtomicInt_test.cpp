#include "kel/osdep/AtomicInt.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "kel/osdep/CriticalSection.h"

namespace {

using zo::kel::osdep::AtomicInt;
using zo::kel::osdep::CriticalSection;
using zo::kel::osdep::CriticalSectionGuard;

TEST(AtomicInt, OperationsReturnNewValuesAndCompareExchangeTheValueFound) {
  AtomicInt count(1);
  EXPECT_EQ(2, count.increment());
  EXPECT_EQ(1, count.decrement());
  EXPECT_EQ(0, count.decrement());
  EXPECT_EQ(-1, count.decrement());
  EXPECT_EQ(-1, count.compareExchange(-1, 7));
  EXPECT_EQ(7, count.compareExchange(5, 9));  // no match: unchanged
  EXPECT_TRUE(count == 7 && count != 6 && count > 6 && count >= 7 && !(count > 7));
}

// Four threads at once: the counter's updates are atomic, and guarded updates are serialised
// even when the guard is taken twice.
TEST(AtomicInt, ConcurrentUpdatesBalanceAndGuardsSerialise) {
  AtomicInt count(0);
  CriticalSection lock(nullptr);
  long total = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        count.increment();
        count.decrement();
        count.increment();
        CriticalSectionGuard guard(lock);
        CriticalSectionGuard again(lock);
        ++total;
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(80000, count.getCount());
  EXPECT_EQ(80000, total);
}

TEST(CriticalSection, OwnerMayEnterAgainOthersMayNot) {
  CriticalSection lock;
  lock.enter();
  EXPECT_TRUE(lock.tryEnter());  // recursive: the owner enters again without blocking
  bool otherGotIn = true;
  std::thread([&] { otherGotIn = lock.tryEnter(); }).join();
  EXPECT_FALSE(otherGotIn);
  lock.leave();
  lock.leave();
  std::thread([&] {
    otherGotIn = lock.tryEnter();
    if (otherGotIn) lock.leave();
  }).join();
  EXPECT_TRUE(otherGotIn);
  EXPECT_TRUE(lock.inOwningThread());
}

}  // namespace
