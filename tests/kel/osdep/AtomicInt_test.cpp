#include "kel/osdep/AtomicInt.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "kel/osdep/CriticalSection.h"

namespace {

using zo::kel::osdep::AtomicInt;
using zo::kel::osdep::CriticalSection;
using zo::kel::osdep::CriticalSectionGuard;

TEST(AtomicInt, OperationsReturnNewValues) {
  AtomicInt count(1);
  EXPECT_EQ(2, count.increment());
  EXPECT_EQ(1, count.decrement());
  EXPECT_EQ(0, count.decrement());
  EXPECT_EQ(-1, count.decrement());
  count.replace(41);
  EXPECT_EQ(41, count.getCount());
  EXPECT_TRUE(count == 41);
  EXPECT_TRUE(count != 40);
  EXPECT_TRUE(count > 40);
  EXPECT_TRUE(count >= 41);
  EXPECT_FALSE(count > 41);
}

TEST(AtomicInt, CompareExchangeReportsTheValueFound) {
  AtomicInt count(5);
  EXPECT_EQ(5, count.compareExchange(5, 7));
  EXPECT_EQ(7, count.getCount());
  AtomicInt other(6);
  EXPECT_EQ(6, other.compareExchange(5, 7));
  EXPECT_EQ(6, other.getCount());
}

TEST(AtomicInt, ConcurrentIncrementsAndDecrementsBalance) {
  AtomicInt count(0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&count] {
      for (int i = 0; i < 20000; ++i) {
        count.increment();
        count.decrement();
        count.increment();
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(80000, count.getCount());
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

TEST(CriticalSection, GuardSerialisesUpdates) {
  CriticalSection lock(nullptr);
  long total = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 10000; ++i) {
        CriticalSectionGuard guard(lock);
        CriticalSectionGuard again(lock);
        ++total;
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(40000, total);
}

}  // namespace
