#include <gtest/gtest.h>

#include "kel/time/AbsTime.h"
#include "qmstatic/vardata/VarData.h"
#include "support/VarDataTest.h"

namespace {

using zo::kel::AbsTime;
using zo::kel::RelTime;

TEST(TimeValue, ExactValuesRoundTripAndNeverConvertBetweenTheTwoKinds) {
  const AbsTime when(123456789.0, 0.125);
  AbsTime abs(7.0, 0.0);
  RelTime rel;
  const VarData duration(RelTime(-2.0, 0.5));
  EXPECT_FALSE(duration.getAbsTime(abs));
  EXPECT_TRUE(abs == AbsTime(7.0, 0.0));
  ASSERT_TRUE(duration.getRelTime(rel));
  EXPECT_EQ(-1.5, static_cast<double>(rel.value()));
  EXPECT_EQ(-1.5, static_cast<double>(duration));

  VarData v(1.0);
  v.setAbsTime(when);
  EXPECT_FALSE(v.getRelTime(rel));
  ASSERT_TRUE(v.getAbsTime(abs));
  EXPECT_TRUE(abs == when);
  v.setRelTime(RelTime(3.0, 0.0));
  EXPECT_EQ(0x1010u, v.getTypeWord());
  EXPECT_EQ(1, zo_kel_test::CountOf(v.getGuts()));
  long long ns = 0;
  EXPECT_FALSE(v.GetTime(ns));  // not an inline time
}

TEST(TimeValue, TruthOrderAndInterfaces) {
  EXPECT_FALSE(static_cast<bool>(VarData(RelTime())));
  // -2^-64 s, the smallest step below zero, is true.
  EXPECT_TRUE(static_cast<bool>(VarData(RelTime(nZOSS100::tSignedFixedPoint128::FromWords(
      0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu)))));
  EXPECT_EQ(-1, VarData(AbsTime(1.0, 0.0)).Compare(VarData(AbsTime(2.0, 0.0))));
  EXPECT_EQ(1, VarData(AbsTime(2.0, 0.0)).Compare(VarData(AbsTime(1.0, 0.0))));
  EXPECT_EQ(0, VarData(AbsTime(2.0, 0.0)).Compare(VarData(AbsTime(2.0, 0.0))));

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

}  // namespace
