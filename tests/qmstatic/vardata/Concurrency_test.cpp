#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "qmstatic/vardata/VarData.h"

namespace {

std::int32_t CountOf(IVarDataGuts* guts) {
  guts->AddRef();
  return guts->Release();
}

// Several threads copy and drop handles that share one guts object, and write through their own
// copies of a shared array and dictionary. Every count returns to where it started and no write
// shows through another thread's copy.
TEST(Concurrency, SharedGutsSurviveCopiesAndWritesFromManyThreads) {
  const VarData text("shared between threads");
  VarData array;
  for (std::uint32_t i = 0; i < 8; ++i) array.SetElement(i, VarData(static_cast<int>(i)));
  VarData dict = VarData::dict();
  dict.setValue("k", VarData(1));

  constexpr int kThreads = 4;
  std::vector<std::thread> threads;
  std::vector<int> failures(kThreads, 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 2000; ++round) {
        VarData a = text;
        VarData b(a);
        b = a;
        VarData mine = array;
        mine.SetElement(0, VarData(100 + t));
        if (static_cast<double>(mine.GetElement(0)) != 100 + t) ++failures[t];
        VarData myDict = dict;
        myDict.setValue("k", VarData(t));
        if (static_cast<double>(myDict.getValue("k")) != t) ++failures[t];
        if (static_cast<double>(array.GetElement(0)) != 0) ++failures[t];
      }
    });
  }
  for (auto& th : threads) th.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(0, failures[t]) << t;
  EXPECT_EQ(1, CountOf(text.getGuts()));
  EXPECT_EQ(1, CountOf(array.getGuts()));
  EXPECT_EQ(1, CountOf(dict.getGuts()));
  EXPECT_EQ(VarData(1), dict.getValue("k"));
}

}  // namespace
