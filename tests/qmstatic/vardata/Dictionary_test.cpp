#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "kel/StringBase.h"
#include "qmstatic/vardata/VarData.h"
#include "support/VarDataTest.h"

namespace {

using zo_kel_test::CountOf;
using zo_kel_test::DictOf;

std::vector<VarData> KeysOf(const VarData& d) {
  std::vector<VarData> keys;
  for (auto it = d.begin(); it != d.end(); ++it) keys.push_back(it.key());
  return keys;
}

TEST(Dictionary, NaNIsOneKeyAfterEveryNumber) {
  // Inserted around and among numbers in every order, NaN keys stay one key of their own
  // after the numbers, and no number is lost or merged with it.
  const double nan = std::nan("");
  const std::vector<std::vector<double>> orders = {
      {nan, 1, 2, 3}, {3, 2, nan, 1}, {2, nan, -nan, 1, 3, nan}};
  for (const std::vector<double>& order : orders) {
    SCOPED_TRACE(order.size());
    VarData d = VarData::dict();
    for (double k : order) d.setValue(k, VarData(k != k ? "nan" : "number"));
    const std::vector<VarData> keys = KeysOf(d);
    ASSERT_EQ(4u, keys.size());
    // As doubles: a NaN would compare equal to any number.
    EXPECT_EQ((std::vector<double>{1, 2, 3}), std::vector<double>(keys.begin(), keys.end() - 1));
    EXPECT_TRUE(std::isnan(static_cast<double>(keys[3])));
    EXPECT_TRUE(d.hasKey(nan) && d.hasKey(2) && !d.hasKey(4));
    EXPECT_EQ(VarData("nan"), d.getValue(nan));
    EXPECT_EQ(VarData("number"), d.getValue(2));
    d.erase(nan);
    EXPECT_FALSE(d.hasKey(nan));
  }
}

TEST(Dictionary, MissingKeysThrowOnReadAndGrowOnIndex) {
  VarData d = VarData::dict();
  const VarData& constant = d;
  EXPECT_THROW(d.getValue("missing"), KeyErrorException);
  EXPECT_THROW(constant["missing"], KeyErrorException);
  EXPECT_EQ(0u, d.size());
  d["missing"];
  EXPECT_EQ(VarData::kEmpty, d.getValue("missing").getTypeWord());
  d["n"] = 4.5;
  EXPECT_EQ(VarData(4.5), constant["n"]);
  d.erase("absent");  // not an error
  d.erase("N");
  EXPECT_EQ(1u, d.size());
  EXPECT_FALSE(d.hasKey("n"));

  // Other kinds refuse dictionary operations, reading and writing, and stay as they were.
  VarData v(1.0);
  EXPECT_THROW(v.setValue("k", VarData(1)), TypeErrorException);
  EXPECT_THROW(v.getValue("k"), TypeErrorException);
  EXPECT_THROW(v["k"], TypeErrorException);
  EXPECT_THROW(v.eraseWithoutCopyOnWrite("k"), TypeErrorException);
  EXPECT_EQ(VarData(1.0), v);
}

// A value changed through a copy changes the copy only (the loops below cover inserting and
// erasing while another handle shares the dictionary).
TEST(Dictionary, WritesCopyASharedDictionaryExceptTheDeliberateErase) {
  const VarData a = DictOf({{"k", 1}, {"j", 2}});
  VarData b = a;
  b["k"] = 7;
  EXPECT_EQ(VarData(1), a.getValue("k"));
  EXPECT_EQ(VarData(7), b.getValue("k"));
  VarData e = a;
  e.eraseWithoutCopyOnWrite("j");  // seen by every sharer, deliberately
  EXPECT_FALSE(a.hasKey("j"));
  EXPECT_EQ(a.getGuts(), e.getGuts());
}

TEST(Dictionary, IteratorsWalkBothWaysAndKeepTheDictionaryAlive) {
  VarData::const_iterator it;
  IVarDataGuts* guts;
  {
    const VarData d = DictOf({{1, "one"}, {2, "two"}, {3, "three"}});
    guts = d.getGuts();
    it = d.find(2);
    EXPECT_EQ(VarData("two"), it.value());
    EXPECT_EQ(d.end(), d.find(4));
  }
  EXPECT_EQ(1, CountOf(guts));  // the iterator's own reference keeps the pairs
  EXPECT_EQ(VarData(2), it->first);
  VarData::const_iterator copy = it;
  ++copy;
  EXPECT_EQ(VarData("three"), (*copy).second);
  copy--;
  const VarData::const_iterator old = copy--;
  EXPECT_EQ(VarData(2), old.key());
  EXPECT_EQ(VarData(1), copy.key());
}

// Dictionaries nested `depth` deep, each level also holding a number, around `leaf`.
VarData NestedDictionaries(int depth, const VarData& leaf) {
  VarData v = leaf;
  for (int i = 0; i < depth; ++i) v = DictOf({{"n", v}, {"x", i}});
  return v;
}

TEST(Dictionary, OrderComparesPairsLexicographicallyInOnePass) {
  const struct {
    VarData a, b;
    std::int32_t result;
  } cases[] = {
      {DictOf({{1, 10}}), DictOf({{1, 10}, {2, 0}}), -1},  // a prefix is less
      // Built twice, so that no level shares guts: a comparison that visited a nested
      // dictionary more than once per level would not end at this depth.
      {NestedDictionaries(200, 1), NestedDictionaries(200, 1), 0},
      {NestedDictionaries(200, 1), NestedDictionaries(200, 2), -1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.result, c.a.Compare(c.b)) << c.a.size() << " " << c.b.size();
    EXPECT_EQ(-c.result, c.b.Compare(c.a)) << c.a.size() << " " << c.b.size();
  }
}

// Keys are ordered by kind, then within the kind (texts ignoring case); a key equal but for case
// keeps its first spelling and takes the new value.
TEST(Dictionary, TextFormListsPairsInKeyOrderWithoutBlanks) {
  auto text = [](const VarData& d) { return std::wstring(d.getIDict()->getString().c_str()); };
  EXPECT_EQ(L"{}", text(VarData::dict()));
  VarData d = DictOf({{"B", 2}, {"a", L"x\"y"}, {1.5, true}, {"c", DictOf({{"z", VarData()}})}});
  d.setValue("b", VarData(3));
  EXPECT_EQ(L"{1.5:on,\"a\":\"x\"y\",\"B\":3,\"c\":{\"z\":}}", text(d));
  EXPECT_TRUE(static_cast<bool>(d));
  EXPECT_EQ(4.0, static_cast<double>(d));
  EXPECT_FALSE(static_cast<bool>(VarData::dict()));
}

// A loop that writes the dictionary it walks sees the pairs it started on and ends after them,
// in the hand-written form (end() taken on every turn, after the write) and the range form.
TEST(Dictionary, LoopsThatWriteTheirDictionaryWalkTheStartingPairs) {
  const struct {
    const char* name;
    void (*write)(VarData& d, const VarData& key);
  } cases[] = {
      {"assign", [](VarData& d, const VarData& key) { d.setValue(key, VarData(7.0)); }},
      {"index", [](VarData& d, const VarData& key) { d[key] = 8.0; }},
      {"insert",
       [](VarData& d, const VarData& key) {
         d.setValue(VarData((std::string(key.getAnsiString().c_str()) + "x").c_str()), 1.0);
       }},
      {"erase", [](VarData& d, const VarData& key) { d.erase(key); }},
      {"replace", [](VarData& d, const VarData&) { d = VarData::dict(); }},
  };
  for (const auto& c : cases) {
    for (bool rangeFor : {false, true}) {
      SCOPED_TRACE(std::string(c.name) + (rangeFor ? " range-for" : " hand-written"));
      VarData d = DictOf({{"a", 0.0}, {"b", 0.0}, {"c", 0.0}});
      std::string seen;
      if (rangeFor) {
        for (const auto& pair : d) {
          seen += pair.first.getAnsiString().c_str();
          c.write(d, pair.first);
        }
      } else {
        int turns = 0;
        for (auto it = d.begin(); it != d.end() && turns < 10; ++it, ++turns) {
          seen += it.key().getAnsiString().c_str();
          c.write(d, it.key());
        }
      }
      EXPECT_EQ("abc", seen);
    }
  }
}

}  // namespace
