#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "kel/StringBase.h"
#include "kel/time/AbsTime.h"
#include "qmstatic/vardata/VarData.h"
#include "support/ScopedEnv.h"
#include "support/VarDataTest.h"

namespace {

using zo::kel::AbsTime;
using zo::kel::RelTime;
using zo_kel_test::ArrayOf;
using zo_kel_test::DictOf;
using zo_kel_test::Id;
using zo_kel_test::Pointer;

std::string Narrow(VarData v) {
  v.Convert_(VarData::kAnsi);
  EXPECT_EQ(VarData::kAnsi, v.getTypeWord());
  return std::string(v.getAnsiString().c_str(), v.getAnsiString().size());
}

std::wstring Wide(VarData v) {
  v.Convert_(VarData::kUnicode);
  EXPECT_EQ(VarData::kUnicode, v.getTypeWord());
  return std::wstring(v.getUnicodeString().c_str(), v.getUnicodeString().size());
}

int Sign(std::int32_t n) { return (n > 0) - (n < 0); }

// Sorting, searching and dictionary keys rely on Compare being an order: antisymmetric for every
// pair and transitive for every triple, across kinds, empty handles and nested values.
TEST(Compare, IsAnOrderOverMixedValues) {
  const double nan = std::nan("");
  const unsigned char ab[] = {'a', 'b'};
  std::vector<VarData> values({VarData(), VarData(true), VarData(1.0), VarData(0LL),
                               Pointer(0x1000), VarData(""), VarData("a"), VarData("A"),
                               VarData("ab"), VarData(L""), VarData(ab, 2), VarData(ab, 0),
                               VarData(0, 0, VarData()), VarData(1, 2, VarData(3))});
  values.insert(values.end(),
                {VarData::dict(), DictOf({{1, 1}}), DictOf({{nan, 1}}), DictOf({{1, 1}, {nan, 2}}),
                 DictOf({{nan, 1}, {"a", 1}}), DictOf({{"A", 2}}), VarData(AbsTime(1.0, 0.0)),
                 VarData(RelTime(-1.0, 0.0)), ArrayOf({}), ArrayOf({1}), ArrayOf({1, VarData()}),
                 ArrayOf({VarData(), VarData()}), ArrayOf({"a"}), ArrayOf({"A", 1})});
  // A bare NaN equals every number, deliberately, so it is checked for antisymmetry only.
  const std::size_t ordered = values.size();
  values.push_back(VarData(nan));
  values.push_back(ArrayOf({nan}));
  for (std::size_t i = 0; i < values.size(); ++i) {
    for (std::size_t j = 0; j < values.size(); ++j) {
      const std::int32_t ij = values[i].Compare(values[j]);
      ASSERT_EQ(Sign(ij), -Sign(values[j].Compare(values[i]))) << i << " against " << j;
      if (i >= ordered || j >= ordered || ij > 0) continue;
      for (std::size_t k = 0; k < ordered; ++k) {
        if (values[j].Compare(values[k]) > 0) continue;
        ASSERT_LE(values[i].Compare(values[k]), 0) << i << " <= " << j << " <= " << k;
      }
    }
  }
}

TEST(Compare, KindsFirstThenTheKindsOwnRule) {
  const struct {
    const char* name;
    VarData a, b;
    std::int32_t result;
  } cases[] = {
      {"kind code difference", VarData(1), VarData("x"), 3 - 0x1005},
      {"NaN equals numbers", VarData(std::nan("")), VarData(-5.0), 0},
      {"qualifier ignored", VarData::num(3, VarData::kInt8), VarData::num(3, VarData::kFloat), 0},
      {"text ignores case", VarData("abc"), VarData("ABC"), 0},
      {"time counts unsigned", VarData(-1LL), VarData(1LL), 1},
      {"identifiers unsigned", Id(0x8000000000000000ULL), Id(1), 1},
  };
  for (const auto& c : cases) EXPECT_EQ(c.result, c.a.Compare(c.b)) << c.name;
  // Pointers compare by the sign of their difference, also when more than 2 GiB apart.
  EXPECT_EQ(1, Pointer(0x2000).Compare(Pointer(0x1000)));
  EXPECT_EQ(-1, Pointer(0x10).Compare(Pointer(0xF0000000u)));
  EXPECT_NE(0, VarData("").Compare(VarData("a")));  // ordered by address, never equal
}

TEST(Conversion, TruthAndNumberOfEveryKind) {
  const struct {
    const char* name;
    VarData value;
    bool truth;
    double number;
  } cases[] = {
      {"empty", VarData(), false, 0},
      {"NaN", VarData(std::nan("")), true, std::nan("")},
      {"true", VarData(true), true, 1},
      {"pointer", Pointer(0x1234), true, 0},
      {"id 2^63", Id(0x8000000000000000ULL), true, -9223372036854775808.0},
      {"empty text", VarData(""), false, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.truth, static_cast<bool>(c.value)) << c.name;
    const double d = static_cast<double>(c.value);
    EXPECT_TRUE(d == c.number || (std::isnan(d) && std::isnan(c.number))) << c.name;
  }
  // Out of range: the most negative integer of the width, or its low bits.
  EXPECT_EQ(-2, static_cast<int>(VarData(-2.9)));
  EXPECT_EQ(std::numeric_limits<int>::min(), static_cast<int>(VarData(3e9)));
  EXPECT_EQ(std::numeric_limits<int>::min(), static_cast<int>(VarData(std::nan(""))));
  EXPECT_EQ(static_cast<char>(0x2C), static_cast<char>(VarData(300.9)));  // 300, low byte
  EXPECT_EQ(0, static_cast<char>(VarData(1e9)));                          // low byte of -32768
  EXPECT_EQ(7u, static_cast<unsigned int>(VarData(7.9)));
  EXPECT_EQ(0u, static_cast<unsigned int>(VarData(-7.9)));
  EXPECT_EQ(4294967295u, static_cast<unsigned long>(VarData(1e12)));
}

TEST(Conversion, TextRules) {
  const unsigned char bytes[] = {'h', 'i', 0, '!'};
  const struct {
    VarData value;
    std::string text;
  } cases[] = {
      {VarData(true), "on"},
      {VarData(false), "off"},
      {VarData::bitArray(255), "0x000000FF"},
      {VarData::num(std::nan(""), VarData::kBitArray), "0xFFFFFFFF"},
      {Id(0x0123456789ABCDEFULL), "0x0123456789ABCDEF"},
      {VarData(), ""},
      {VarData(bytes, 4), std::string("hi\0!", 4)},
      {VarData(L"wide"), "wide"},
      {VarData(RelTime(2.0, 0.5)), "2.5"},
      {DictOf({{"k", 1}}), "{\"k\":1}"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.text, Narrow(c.value));
    EXPECT_EQ(std::wstring(c.text.begin(), c.text.end()), Wide(c.value)) << c.text;
  }
  const zo_kel_test::ScopedEnv utc("TZ", "UTC");
  const zo_kel_test::ScopedEnv locale("LC_ALL", "C");
  // 1970-01-01 00:00:00.25 UTC in the C locale's "%x %X": no "%S" for the fraction to follow.
  EXPECT_EQ("01/01/70 00:00:00", Narrow(VarData(AbsTime(2082844800.0, 0.25))));
  EXPECT_EQ(L"01/01/70 00:00:00", Wide(VarData(AbsTime(2082844800.0, 0.25))));
  EXPECT_EQ("Unable to display time value", Narrow(VarData(AbsTime(0.0, 0.0))));
}

TEST(Conversion, TargetKinds) {
  VarData v("12.5");
  v.Convert_(VarData::kNumeric);
  EXPECT_EQ(VarData(12.5), v);
  v = VarData::num(4, VarData::kUInt8);
  v.Convert_(VarData::kNumeric);
  EXPECT_EQ(0x3u, v.getTypeWord());  // the qualifier is not kept
  v.Convert_(VarData::kLogical);
  EXPECT_EQ(VarData(true), v);

  const unsigned char* data = nullptr;
  std::uint32_t count = 0;
  for (const VarData& text : {VarData("xy"), VarData(L"xy")}) {
    VarData raw = text;
    raw.Convert_(VarData::kRaw);
    ASSERT_EQ(VarData::kRaw, raw.getTypeWord());
    static_cast<IVarDataRaw*>(raw.getGuts())->GetData(data, count);
    EXPECT_EQ("xy", std::string(reinterpret_cast<const char*>(data), count));  // no terminator
  }
  VarData noVariant;  // a TG variant without guts stands for an empty value
  noVariant.adoptGuts(VarData::kTGVariant, nullptr);
  noVariant.Convert_(VarData::kLogical);
  EXPECT_EQ(VarData(false), noVariant);
  VarData full = DictOf({{1, 2}});
  full.Convert_(VarData::kDictionary);  // a new, empty dictionary whatever the source held
  EXPECT_EQ(0u, full.size());
  // The other targets make an empty value of their kind.
  for (std::uint16_t kind :
       {VarData::kEmpty, VarData::kTime, VarData::kBreak, VarData::kPulse, VarData::kVoidPointer,
        VarData::kID64, VarData::kCell, VarData::kArray, VarData::kRaw}) {
    VarData x(kind == VarData::kRaw ? VarData(5) : VarData("something"));
    x.Convert_(kind);
    EXPECT_EQ(kind, x.getTypeWord());
    EXPECT_EQ(nullptr, x.getGuts());
    EXPECT_EQ(0u, x.getPayloadBits());
  }
}

TEST(Conversion, InlineTimesToAbsoluteAndRelativeTimes) {
  AbsTime abs;
  RelTime rel;
  // An inline time becomes the exact instant it names, not that of the day count it reads as
  // (1462.5 days as a double): one nanosecond after 1904-01-01 12:00 stays so. A relative time
  // takes the day count as its seconds.
  const long long noonAndOneNanosecond = (1462LL * 86400 + 43200) * 1000000000LL + 1;
  VarData inlineTime(noonAndOneNanosecond);
  EXPECT_EQ(1462.5, static_cast<double>(inlineTime));
  inlineTime.Convert_(VarData::kAbsTime);
  ASSERT_TRUE(inlineTime.getAbsTime(abs));
  EXPECT_EQ(43200, abs.getSeconds());
  EXPECT_EQ(1e-9, std::round(abs.getFraction() * 1e15) / 1e15);
  VarData inlineSpan(noonAndOneNanosecond);
  inlineSpan.Convert_(VarData::kRelTime);
  ASSERT_TRUE(inlineSpan.getRelTime(rel));
  EXPECT_EQ(1462, rel.getSeconds());
  EXPECT_EQ(0.5, rel.getFraction());
}

}  // namespace
