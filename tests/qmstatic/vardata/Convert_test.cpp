#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

#include "kel/StringBase.h"
#include "kel/time/AbsTime.h"
#include "qmstatic/vardata/VarData.h"
#include "support/ScopedEnv.h"

namespace {

using zo_kel_test::ScopedEnv;

std::string Narrow(VarData v) {
  v.Convert_(VarData::kAnsi);
  EXPECT_EQ(VarData::kAnsi, v.getTypeWord());
  const zo::kel::AString text = v.getAnsiString();
  return std::string(text.c_str(), text.size());
}

std::wstring Wide(VarData v) {
  v.Convert_(VarData::kUnicode);
  EXPECT_EQ(VarData::kUnicode, v.getTypeWord());
  const zo::kel::WString text = v.getUnicodeString();
  return std::wstring(text.c_str(), text.size());
}

VarData Id(unsigned long long id) {
  VarData v;
  v.setID64(id);
  return v;
}

VarData Pointer(std::uintptr_t p) {
  VarData v;
  v.setVoidPointer(reinterpret_cast<void*>(p));
  return v;
}

TEST(Compare, KindsOrderByKindCode) {
  const VarData ordered[] = {VarData(),
                             VarData(false),
                             VarData(-1e300),
                             VarData(0LL),
                             VarData::brake(),
                             VarData::pulse(),
                             Pointer(0),
                             Id(0),
                             VarData("a"),
                             VarData(L"a"),
                             VarData::dict(),
                             VarData(zo::kel::AbsTime()),
                             VarData(zo::kel::RelTime())};
  for (std::size_t i = 0; i + 1 < sizeof ordered / sizeof ordered[0]; ++i) {
    EXPECT_LT(ordered[i].Compare(ordered[i + 1]), 0) << i;
    EXPECT_GT(ordered[i + 1].Compare(ordered[i]), 0) << i;
  }
  // The result is the difference of the kind codes, not just its sign.
  EXPECT_EQ(3 - 0x1005, VarData(1).Compare(VarData("x")));
  EXPECT_LT(VarData(true).Compare(VarData(-5)), 0);
  EXPECT_GT(VarData(true).Compare(VarData(false)), 0);
}

TEST(Compare, WithinKinds) {
  EXPECT_EQ(0, VarData(std::nan("")).Compare(VarData(5.0)));
  EXPECT_EQ(0, VarData(-5.0).Compare(VarData(std::nan(""))));
  EXPECT_EQ(0, VarData::num(3, VarData::kInt8).Compare(VarData::num(3, VarData::kFloat)));
  EXPECT_EQ(-1, VarData(1.0).Compare(VarData(1.5)));
  EXPECT_EQ(1, VarData(2.0).Compare(VarData(-1e300)));
  EXPECT_EQ(0, VarData("abc").Compare(VarData("ABC")));
  // Time counts and identifiers compare unsigned, deliberately.
  EXPECT_EQ(1, VarData(-1LL).Compare(VarData(1LL)));
  EXPECT_EQ(1, Id(0x8000000000000000ULL).Compare(Id(1)));
  EXPECT_EQ(0, Id(7).Compare(Id(7)));
  EXPECT_EQ(0, VarData::pulse().Compare(VarData::pulse()));
  EXPECT_EQ(0, VarData("").Compare(VarData(static_cast<const char*>(nullptr))));
  // An empty string orders against a non-empty one by address: never equal.
  EXPECT_NE(0, VarData("").Compare(VarData("a")));
  EXPECT_LT(Pointer(0x1000).Compare(Pointer(0x2000)), 0);
}

TEST(Conversion, TruthOfEveryKind) {
  EXPECT_FALSE(static_cast<bool>(VarData()));
  EXPECT_FALSE(static_cast<bool>(VarData::pulse()));
  EXPECT_FALSE(static_cast<bool>(VarData::brake()));
  EXPECT_TRUE(static_cast<bool>(VarData(std::nan(""))));
  EXPECT_FALSE(static_cast<bool>(VarData(0.0)));
  EXPECT_FALSE(static_cast<bool>(VarData(-0.0)));
  EXPECT_FALSE(static_cast<bool>(VarData(0LL)));
  EXPECT_TRUE(static_cast<bool>(VarData(1LL)));
  EXPECT_FALSE(static_cast<bool>(Pointer(0)));
  EXPECT_FALSE(static_cast<bool>(Id(0)));
  EXPECT_TRUE(static_cast<bool>(Id(1ULL << 40)));
  EXPECT_FALSE(static_cast<bool>(VarData("")));
}

TEST(Conversion, NumbersOfEveryKind) {
  EXPECT_EQ(0.0, static_cast<double>(VarData::pulse()));
  EXPECT_EQ(0.0, static_cast<double>(Pointer(0x1234)));
  EXPECT_EQ(1.0, static_cast<double>(VarData(true)));
  EXPECT_EQ(2.5, static_cast<double>(VarData::num(2.5, VarData::kFloat)));
  EXPECT_EQ(0.5, static_cast<double>(VarData(43200000000000LL)));  // half a day of nanoseconds
  EXPECT_EQ(-9223372036854775808.0, static_cast<double>(Id(0x8000000000000000ULL)));
  EXPECT_EQ(5.25, static_cast<double>(VarData(zo::kel::RelTime(5.0, 0.25))));

  EXPECT_EQ(-2, static_cast<int>(VarData(-2.9)));
  EXPECT_EQ(std::numeric_limits<int>::min(), static_cast<int>(VarData(3e9)));
  EXPECT_EQ(std::numeric_limits<int>::min(), static_cast<int>(VarData(std::nan(""))));
  EXPECT_EQ('A', static_cast<char>(VarData(65.9)));
  EXPECT_EQ(static_cast<char>(0x2C), static_cast<char>(VarData(300.0)));  // low byte of 300
  EXPECT_EQ(0, static_cast<char>(VarData(1e9)));                          // low byte of -32768
  EXPECT_EQ(7u, static_cast<unsigned int>(VarData(7.9)));
  EXPECT_EQ(0u, static_cast<unsigned int>(VarData(-7.9)));
  EXPECT_EQ(4294967295u, static_cast<unsigned long>(VarData(1e12)));
}

TEST(Conversion, TextRules) {
  EXPECT_EQ("on", Narrow(VarData(true)));
  EXPECT_EQ("off", Narrow(VarData(false)));
  EXPECT_EQ("1.5", Narrow(VarData(1.5)));
  EXPECT_EQ("1E+15", Narrow(VarData(1e15)));
  EXPECT_EQ("0x000000FF", Narrow(VarData::bitArray(255)));
  EXPECT_EQ("0x00000000", Narrow(VarData::num(-3, VarData::kBitArray)));
  EXPECT_EQ("0xFFFFFFFF", Narrow(VarData::num(1e20, VarData::kBitArray)));
  // NaN shows the bits it reads as.
  const VarData nanBits = VarData::num(std::nan(""), VarData::kBitArray);
  EXPECT_EQ(0xFFFFFFFFu, nanBits.getBitArray32Fast());
  EXPECT_EQ("0xFFFFFFFF", Narrow(nanBits));
  EXPECT_EQ("0x0123456789ABCDEF", Narrow(Id(0x0123456789ABCDEFULL)));
  EXPECT_EQ("", Narrow(VarData()));
  EXPECT_EQ("", Narrow(VarData::pulse()));
  EXPECT_EQ("", Narrow(VarData(5LL)));
  EXPECT_EQ("", Narrow(VarData(1, 2, VarData(3))));
  const unsigned char bytes[] = {'h', 'i', 0, '!'};
  EXPECT_EQ(std::string("hi\0!", 4), Narrow(VarData(bytes, 4)));
  EXPECT_EQ("wide", Narrow(VarData(L"wide")));
  EXPECT_EQ(L"narrow", Wide(VarData("narrow")));
  EXPECT_EQ(L"on", Wide(VarData(true)));
  EXPECT_EQ(L"2.5", Wide(VarData(zo::kel::RelTime(2.0, 0.5))));
  VarData d = VarData::dict();
  d.setValue("k", VarData(1));
  EXPECT_EQ("{\"k\":1}", Narrow(d));
  EXPECT_EQ(L"{\"k\":1}", Wide(d));
}

TEST(Conversion, AbsoluteTimeText) {
  const ScopedEnv utc("TZ", "UTC");
  const ScopedEnv locale("LC_ALL", "C");
  // 1970-01-01 00:00:00.25 UTC in the C locale's date and time conversions ("%x %X"): the three
  // fraction digits asked for have no "%S" to follow, so none are shown.
  EXPECT_EQ("01/01/70 00:00:00", Narrow(VarData(zo::kel::AbsTime(2082844800.0, 0.25))));
  EXPECT_EQ(L"01/01/70 00:00:00", Wide(VarData(zo::kel::AbsTime(2082844800.0, 0.25))));
  // Outside the range the C library can convert, the text says so.
  EXPECT_EQ("Unable to display time value", Narrow(VarData(zo::kel::AbsTime(0.0, 0.0))));
}

TEST(Conversion, TargetKinds) {
  VarData v("12.5");
  v.Convert_(VarData::kNumeric);
  EXPECT_EQ(0x3u, v.getTypeWord());
  EXPECT_EQ(12.5, static_cast<double>(v));
  v = VarData::num(4, VarData::kUInt8);
  v.Convert_(VarData::kNumeric);
  EXPECT_EQ(0x3u, v.getTypeWord());  // the qualifier is not kept
  v.Convert_(VarData::kLogical);
  EXPECT_EQ(VarData(true), v);

  VarData raw("abc");
  raw.Convert_(VarData::kRaw);
  ASSERT_EQ(VarData::kRaw, raw.getTypeWord());
  const unsigned char* data = nullptr;
  std::uint32_t count = 0;
  static_cast<IVarDataRaw*>(raw.getGuts())->GetData(data, count);
  EXPECT_EQ(3u, count);  // no terminator
  VarData wideRaw(L"xy");
  wideRaw.Convert_(VarData::kRaw);
  static_cast<IVarDataRaw*>(wideRaw.getGuts())->GetData(data, count);
  EXPECT_EQ(std::string("xy"), std::string(reinterpret_cast<const char*>(data), count));
  VarData numberRaw(5);
  numberRaw.Convert_(VarData::kRaw);
  EXPECT_EQ(VarData::kRaw, numberRaw.getTypeWord());
  EXPECT_EQ(nullptr, numberRaw.getGuts());

  VarData full = VarData::dict();
  full.setValue(1, VarData(2));
  full.Convert_(VarData::kDictionary);  // a new, empty dictionary whatever the source held
  EXPECT_EQ(0u, full.size());

  for (std::uint16_t kind :
       {VarData::kEmpty, VarData::kTime, VarData::kBreak, VarData::kPulse, VarData::kVoidPointer,
        VarData::kID64, VarData::kCell, VarData::kArray}) {
    VarData x("something");
    x.Convert_(kind);
    EXPECT_EQ(kind, x.getTypeWord());
    EXPECT_EQ(nullptr, x.getGuts());
    EXPECT_EQ(0u, x.getPayloadBits());
  }
}

TEST(Conversion, TimesFromNumbersAndInlineTimes) {
  VarData n(90.5);
  n.Convert_(VarData::kRelTime);
  zo::kel::RelTime rel;
  ASSERT_TRUE(n.getRelTime(rel));
  EXPECT_EQ(90, rel.getSeconds());
  EXPECT_EQ(0.5, rel.getFraction());

  VarData a(3600.25);
  a.Convert_(VarData::kAbsTime);
  zo::kel::AbsTime abs;
  ASSERT_TRUE(a.getAbsTime(abs));
  EXPECT_EQ(3600, abs.getSeconds());
  EXPECT_EQ(0.25, abs.getFraction());
  EXPECT_EQ(3600.25, static_cast<double>(a));  // an absolute time reads as those seconds

  // An inline time becomes the exact instant it names, not the instant of the day count it
  // reads as (1462.5 days as a double): one nanosecond after 1904-01-01 12:00 stays so. A
  // relative time takes the day count as its seconds.
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
