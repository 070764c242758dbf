#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "kel/StringBase.h"
#include "qmstatic/vardata/VarData.h"

namespace {

std::int32_t CountOf(IVarDataGuts* guts) {
  guts->AddRef();
  return guts->Release();
}

std::wstring TextOf(const VarData& dict) {
  const zo::kel::WString text = dict.getIDict()->getString();
  return std::wstring(text.c_str(), text.size());
}

TEST(Dictionary, KeysOrderByKindThenWithinKind) {
  VarData d = VarData::dict();
  d.setValue("2", VarData("string key"));
  d.setValue(2, VarData("number key"));
  d.setValue(true, VarData(1));
  d.setValue("b", VarData(2));
  d.setValue("A", VarData(3));
  EXPECT_EQ(5u, d.size());
  std::vector<VarData> keys;
  for (auto it = d.begin(); it != d.end(); ++it) keys.push_back(it.key());
  ASSERT_EQ(5u, keys.size());
  EXPECT_EQ(VarData(true), keys[0]);
  EXPECT_EQ(VarData(2), keys[1]);
  EXPECT_EQ(VarData("2"), keys[2]);
  EXPECT_EQ(VarData("A"), keys[3]);
  EXPECT_EQ(VarData("b"), keys[4]);
  EXPECT_EQ(VarData("number key"), d.getValue(2));
  EXPECT_EQ(VarData("string key"), d.getValue("2"));
}

TEST(Dictionary, NaNIsOneKeyAfterEveryNumber) {
  // Inserted around and among numbers in every order, NaN keys stay one key of their own
  // after the numbers, and no number is lost or merged with it.
  const double nan = std::nan("");
  const std::vector<std::vector<double>> orders = {
      {nan, 1, 2, 3}, {1, nan, 2, 3}, {3, 2, nan, 1}, {1, 2, 3, nan}, {2, nan, -nan, 1, 3, nan}};
  for (const std::vector<double>& order : orders) {
    VarData d = VarData::dict();
    for (double k : order) d.setValue(k, VarData(k != k ? "nan" : "number"));
    ASSERT_EQ(4u, d.size()) << order.size() << " insertions";
    std::vector<VarData> keys;
    for (auto it = d.begin(); it != d.end(); ++it) keys.push_back(it.key());
    EXPECT_EQ(1.0, static_cast<double>(keys[0]));
    EXPECT_EQ(2.0, static_cast<double>(keys[1]));
    EXPECT_EQ(3.0, static_cast<double>(keys[2]));
    EXPECT_TRUE(std::isnan(static_cast<double>(keys[3])));
    EXPECT_TRUE(d.hasKey(nan) && d.hasKey(2) && !d.hasKey(4));
    EXPECT_EQ(VarData("nan"), d.getValue(nan));
    EXPECT_EQ(VarData("number"), d.getValue(2));
    d.erase(nan);
    EXPECT_EQ(3u, d.size());
    EXPECT_FALSE(d.hasKey(nan));
  }
}

TEST(Dictionary, TextKeysIgnoreCase) {
  VarData d = VarData::dict();
  d.setValue("abc", VarData(1));
  d.setValue("ABC", VarData(2));
  EXPECT_EQ(1u, d.size());
  EXPECT_EQ(VarData(2), d.getValue("aBc"));
  EXPECT_TRUE(d.hasKey("ABC"));
  EXPECT_EQ(VarData("abc"), d.begin().key());  // the first spelling stays
}

TEST(Dictionary, MissingKeysThrowOnReadAndGrowOnIndex) {
  VarData d = VarData::dict();
  EXPECT_THROW(d.getValue("missing"), KeyErrorException);
  const VarData& constant = d;
  EXPECT_THROW(constant["missing"], KeyErrorException);
  EXPECT_EQ(0u, d.size());
  d["missing"];
  EXPECT_EQ(1u, d.size());
  EXPECT_EQ(VarData::kEmpty, d.getValue("missing").getTypeWord());
  d["n"] = 4.5;
  EXPECT_EQ(VarData(4.5), constant["n"]);
  d.erase("absent");  // not an error
  EXPECT_EQ(2u, d.size());
  d.erase("N");
  EXPECT_FALSE(d.hasKey("n"));
}

TEST(Dictionary, OperationsOnOtherKindsThrowTypeErrors) {
  VarData v(1.0);
  EXPECT_THROW(v.setValue("k", VarData(1)), TypeErrorException);
  EXPECT_THROW(v.getValue("k"), TypeErrorException);
  EXPECT_THROW(v["k"], TypeErrorException);
  EXPECT_THROW(v.find("k"), TypeErrorException);
  EXPECT_THROW(v.begin(), TypeErrorException);
  EXPECT_THROW(v.erase("k"), TypeErrorException);
  EXPECT_THROW(v.eraseWithoutCopyOnWrite("k"), TypeErrorException);
  EXPECT_THROW(v.hasKey("k"), TypeErrorException);
  EXPECT_EQ(VarData(1.0), v);
}

TEST(Dictionary, WritesCopyASharedDictionaryExceptTheDeliberateErase) {
  VarData a = VarData::dict();
  a.setValue("k", VarData(1));
  a.setValue("j", VarData(2));
  VarData b = a;
  b.setValue("k", VarData(9));
  EXPECT_EQ(VarData(1), a.getValue("k"));
  EXPECT_EQ(VarData(9), b.getValue("k"));

  VarData c = a;
  c["k"] = 7;
  EXPECT_EQ(VarData(1), a.getValue("k"));

  VarData d = a;
  d.erase("j");
  EXPECT_TRUE(a.hasKey("j"));

  VarData e = a;
  e.eraseWithoutCopyOnWrite("j");  // seen by every sharer, deliberately
  EXPECT_FALSE(a.hasKey("j"));
  EXPECT_EQ(a.getGuts(), e.getGuts());
}

TEST(Dictionary, IteratorsWalkBothWaysAndKeepTheDictionaryAlive) {
  VarData::const_iterator it;
  IVarDataGuts* guts;
  {
    VarData d = VarData::dict();
    d.setValue(1, VarData("one"));
    d.setValue(2, VarData("two"));
    d.setValue(3, VarData("three"));
    guts = d.getGuts();
    it = d.find(2);
    EXPECT_EQ(VarData("two"), it.value());
    EXPECT_EQ(d.end(), d.find(4));
  }
  // The handle is gone; the iterator's own reference keeps the pairs.
  EXPECT_EQ(1, CountOf(guts));
  EXPECT_EQ(VarData(2), it->first);
  VarData::const_iterator copy = it;
  ++copy;
  EXPECT_EQ(VarData("three"), (*copy).second);
  copy--;
  EXPECT_TRUE(copy == it);
  VarData::const_iterator old = copy--;
  EXPECT_EQ(VarData(2), old.key());
  EXPECT_EQ(VarData(1), copy.key());
  EXPECT_TRUE(old != copy);
}

TEST(Dictionary, OrderComparesPairsLexicographically) {
  VarData a = VarData::dict();
  a.setValue(1, VarData(10));
  VarData b = VarData::dict();
  b.setValue(1, VarData(10));
  EXPECT_EQ(0, a.Compare(b));
  b.setValue(2, VarData(0));
  EXPECT_EQ(-1, a.Compare(b));  // a prefix is less
  EXPECT_EQ(1, b.Compare(a));
  VarData c = VarData::dict();
  c.setValue(1, VarData(11));
  EXPECT_EQ(-1, a.Compare(c));  // equal keys: values decide
  EXPECT_EQ(1, c.Compare(b));
  EXPECT_EQ(-1, VarData::dict().Compare(a));
  EXPECT_EQ(0, VarData::dict().Compare(VarData::dict()));
}

// Dictionaries nested `depth` deep, each level also holding a number, around `leaf`.
VarData NestedDictionaries(int depth, const VarData& leaf) {
  VarData v = leaf;
  for (int i = 0; i < depth; ++i) {
    VarData d = VarData::dict();
    d.setValue("n", v);
    d.setValue("x", VarData(i));
    v = d;
  }
  return v;
}

TEST(Dictionary, DeeplyNestedDictionariesCompareInOnePass) {
  // Built twice, so that no level shares guts with the other side. A comparison that visited a
  // nested dictionary more than once per level would not end at this depth.
  const int depth = 200;
  const VarData a = NestedDictionaries(depth, VarData(1));
  const VarData same = NestedDictionaries(depth, VarData(1));
  const VarData greater = NestedDictionaries(depth, VarData(2));
  EXPECT_EQ(0, a.Compare(same));
  EXPECT_EQ(-1, a.Compare(greater));
  EXPECT_EQ(1, greater.Compare(a));
}

TEST(Dictionary, TextFormListsPairsInKeyOrderWithoutBlanks) {
  VarData d = VarData::dict();
  EXPECT_EQ(L"{}", TextOf(d));
  d.setValue("b", VarData(2));
  d.setValue("a", VarData(L"x\"y"));
  d.setValue(1.5, VarData(true));
  VarData inner = VarData::dict();
  inner.setValue("z", VarData());
  d.setValue("c", inner);
  EXPECT_EQ(L"{1.5:on,\"a\":\"x\"y\",\"b\":2,\"c\":{\"z\":}}", TextOf(d));
  EXPECT_TRUE(static_cast<bool>(d));
  EXPECT_EQ(4.0, static_cast<double>(d));
  EXPECT_FALSE(static_cast<bool>(VarData::dict()));
}

}  // namespace

// A loop that writes the dictionary it walks sees the pairs it started on and ends after them,
// in the hand-written form (end() taken on every turn, after the write) and the range form.
TEST(Dictionary, LoopsThatWriteTheirDictionaryWalkTheStartingPairs) {
  struct Case {
    const char* name;
    void (*write)(VarData& d, const VarData& key);
  } cases[] = {
      {"assign", [](VarData& d, const VarData& key) { d.setValue(key, VarData(7.0)); }},
      {"insert",
       [](VarData& d, const VarData& key) {
         d.setValue(VarData((std::string(key.getAnsiString().c_str()) + "x").c_str()),
                    VarData(1.0));
       }},
      {"erase", [](VarData& d, const VarData& key) { d.erase(key); }},
      {"replace", [](VarData& d, const VarData&) { d = VarData::dict(); }},
  };
  for (const Case& c : cases) {
    for (bool rangeFor : {false, true}) {
      SCOPED_TRACE(std::string(c.name) + (rangeFor ? " range-for" : " hand-written"));
      VarData d = VarData::dict();
      for (const char* key : {"a", "b", "c"}) d.setValue(VarData(key), VarData(0.0));
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
