#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <string>
#include <vector>

#include "kel/StringBase.h"
#include "kel/osdep/StringCaseCompare.h"
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

// Dictionaries keyed by narrow text from another module compare the library's own texts
// themselves and leave every other text's order to that text's own Compare: this one is ordered
// case-insensitively, forwards or backwards.
class OtherText final : public IVarDataAnsi {
 public:
  OtherText(const char* text, bool backwards) : text_(text), backwards_(backwards) {}

  std::int32_t QueryInterface(const GUID&, void** out) override {
    *out = nullptr;
    return kGutsNoInterface;
  }
  std::int32_t AddRef() override { return ++count_; }
  std::int32_t Release() override {
    const std::int32_t n = --count_;
    if (n == 0) delete this;
    return n;
  }
  operator bool() const override { return !text_.empty(); }
  operator double() const override { return 0.0; }
  std::int32_t Compare(const IVarDataGuts* other) const override {
    const auto* that = static_cast<const IVarDataAnsi*>(other);
    const char* theirs = that->GetData();
    const int order = zo::kel::osdep::StringCaseCompare(text_.data(), text_.data() + text_.size(),
                                                        theirs, theirs + that->GetLength());
    return backwards_ ? -order : order;
  }
  const char* GetData() const override { return text_.c_str(); }
  std::uint32_t GetLength() const override { return static_cast<std::uint32_t>(text_.size()); }

 private:
  ~OtherText() = default;

  std::string text_;
  bool backwards_;
  std::int32_t count_ = 1;
};

VarData Other(const char* text, bool backwards = false) {
  VarData v;
  v.adoptGuts(VarData::kAnsi, new OtherText(text, backwards));
  return v;
}

std::string Keys(const VarData& dict) {
  std::string keys;
  for (const auto& pair : dict) keys += pair.first.getAnsiString().c_str() + std::string(" ");
  return keys;
}

// Texts ordered backwards by their own Compare: a dictionary that ordered them itself would put
// them forwards.
TEST(DictionaryTextKeys, OtherModulesTextsKeepTheirOwnOrder) {
  // Keys longer than a machine word, equal but for case up to their last word.
  const char* const texts[] = {"channel.alpha.b", "CHANNEL.ALPHA.c", "Channel.Alpha.a"};
  VarData dict = VarData::dict();
  for (const char* text : texts) dict.setValue(Other(text, true), VarData(1));
  EXPECT_EQ("CHANNEL.ALPHA.c channel.alpha.b Channel.Alpha.a ", Keys(dict));
  for (const char* text : texts) EXPECT_TRUE(dict.hasKey(Other(text, true))) << text;
}

TEST(DictionaryTextKeys, OwnAndOtherTextsFindEachOther) {
  VarData own = VarData::dict();
  VarData other = VarData::dict();
  const char* const texts[] = {"tag.0000002.value", "tag.0000010.value", "tag.0000001.value", "T",
                               "tag.0000001.valuE."};
  double n = 0;
  for (const char* text : texts) {
    own.setValue(VarData(text), VarData(++n));
    other.setValue(Other(text), VarData(n));
  }
  n = 0;
  for (const char* text : texts) {
    ++n;
    std::string upper(text);
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    EXPECT_EQ(n, static_cast<double>(own.getValue(Other(upper.c_str())))) << text;
    EXPECT_EQ(n, static_cast<double>(other.getValue(VarData(upper.c_str())))) << text;
  }
  EXPECT_FALSE(own.hasKey(Other("tag.0000003.value")));
  EXPECT_FALSE(other.hasKey(VarData("tag.0000003.value")));
  EXPECT_EQ(Keys(own), Keys(other));
}

}  // namespace
