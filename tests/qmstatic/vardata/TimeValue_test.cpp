#include <gtest/gtest.h>

#include "kel/time/AbsTime.h"
#include "qmstatic/vardata/VarData.h"

namespace {

using nZOSS100::tSignedFixedPoint128;
using zo::kel::AbsTime;
using zo::kel::RelTime;

std::int32_t CountOf(IVarDataGuts* guts) {
  guts->AddRef();
  return guts->Release();
}

TEST(TimeValue, KindsAndExactValuesRoundTrip) {
  const AbsTime when(123456789.0, 0.125);
  const VarData abs(when);
  EXPECT_EQ(0x100Fu, abs.getTypeWord());
  AbsTime back;
  ASSERT_TRUE(abs.getAbsTime(back));
  EXPECT_TRUE(back == when);
  RelTime rel;
  EXPECT_FALSE(abs.getRelTime(rel));  // no conversion between the two

  const VarData duration(RelTime(-2.0, 0.5));
  EXPECT_EQ(0x1010u, duration.getTypeWord());
  ASSERT_TRUE(duration.getRelTime(rel));
  EXPECT_EQ(-1.5, static_cast<double>(rel.value()));
  AbsTime untouched(7.0, 0.0);
  EXPECT_FALSE(duration.getAbsTime(untouched));
  EXPECT_TRUE(untouched == AbsTime(7.0, 0.0));
  EXPECT_EQ(-1.5, static_cast<double>(duration));

  VarData v(1.0);
  v.setAbsTime(when);
  EXPECT_EQ(0x100Fu, v.getTypeWord());
  v.setRelTime(RelTime(3.0, 0.0));
  EXPECT_EQ(0x1010u, v.getTypeWord());
  EXPECT_EQ(1, CountOf(v.getGuts()));
}

TEST(TimeValue, TruthOrderAndInterfaces) {
  EXPECT_FALSE(static_cast<bool>(VarData(RelTime())));
  // -2^-64 s, the smallest step below zero, is true.
  const VarData tiny(
      RelTime(tSignedFixedPoint128::FromWords(0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu)));
  EXPECT_TRUE(static_cast<bool>(tiny));
  EXPECT_EQ(-1, VarData(AbsTime(1.0, 0.0)).Compare(VarData(AbsTime(2.0, 0.0))));
  EXPECT_EQ(1, VarData(AbsTime(2.0, 0.0)).Compare(VarData(AbsTime(1.0, 0.0))));
  EXPECT_EQ(0, VarData(AbsTime(2.0, 0.0)).Compare(VarData(AbsTime(2.0, 0.0))));
  // A relative time sorts after every absolute one.
  EXPECT_GT(VarData(RelTime()).Compare(VarData(AbsTime::max)), 0);

  const VarData t(AbsTime(5.0, 0.0));
  void* itf = reinterpret_cast<void*>(1);
  EXPECT_EQ(kGutsNoInterface, t.getGuts()->QueryInterface(IID_IVarDataRaw, &itf));
  EXPECT_EQ(nullptr, itf);
  ASSERT_EQ(kGutsOk, t.getGuts()->QueryInterface(IID_IVarDataSSTimeValue, &itf));
  auto* value = static_cast<IVarDataSSTimeValue*>(itf);
  EXPECT_TRUE(value->getTimeValue() == AbsTime(5.0, 0.0));
  EXPECT_TRUE(value->getRelTime().value() == value->getAbsTime().value());
  value->Release();
}

TEST(TimeValue, InlineTimesAreHandedOutUnchanged) {
  long long ns = 0;
  unsigned long long bits = 0;
  const VarData t(static_cast<long long>(-5));
  ASSERT_TRUE(t.GetTime(ns));
  ASSERT_TRUE(t.GetFILETIME(bits));
  EXPECT_EQ(-5, ns);
  EXPECT_EQ(0xFFFFFFFFFFFFFFFBull, bits);
  EXPECT_FALSE(VarData(AbsTime()).GetTime(ns));
}

}  // namespace
