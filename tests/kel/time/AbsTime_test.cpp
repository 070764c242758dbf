// Tests of the time values: construction, the seconds/fraction split and its carry, unit scaling
// and rounding with their statuses, epoch moves, ranges, the conversions between the kinds, and
// those between Time64, days, QMTIME and FILETIME.
#include "kel/time/AbsTime.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "kel/time/TimeConversions.h"
#include "support/TimeTest.h"

namespace {

using nZOSS100::tSSTimeAbsolute;
using nZOSS100::tSSTimeValue;
using namespace zo::kel;
using zo_kel_test::F;
using zo_kel_test::W;

// The words of AbsTime::min and AbsTime::max are checked through the epoch moves.
TEST(AbsTime, ConstructionAndTheSplitAtTheFloor) {
  // Whole seconds and a fraction far below a double's resolution at that size stay apart.
  EXPECT_EQ("00000000 7C25B080 00000000 00000400", W(AbsTime(2082844800.0, 0x1p-54).value()));
  EXPECT_EQ("FFFFFFFF FFFFFFFD 80000000 00000000", W(RelTime(-2.0, -0.5).value()));
  const RelTime minus(-0.75, 0.0);
  EXPECT_EQ(-1, minus.getSeconds());
  EXPECT_EQ(0.25, minus.getFraction());
  EXPECT_EQ(-9223372036854775807 - 1, AbsTime::min.getSeconds());
}

TEST(AbsTime, FractionsThatRoundToOneCarryIntoTheSeconds) {
  // 5 + (1 - 2^-64): the fraction becomes 1.0 as a double.
  const AbsTime nearly_six(F(0, 5, 0xFFFFFFFF, 0xFFFFFFFF));
  EXPECT_EQ(6, nearly_six.getSeconds());
  EXPECT_EQ(0.0, nearly_six.getFraction());
  // 1 - 2^-52 lies one epsilon below 1: a carry. 1 - 2^-51 does not.
  const AbsTime one_epsilon(F(0, 5, 0xFFFFFFFF, 0xFFFFF000));
  EXPECT_EQ(6, one_epsilon.getSeconds());
  EXPECT_EQ(0.0, one_epsilon.getFraction());
  const AbsTime two_epsilons(F(0, 5, 0xFFFFFFFF, 0xFFFFE000));
  EXPECT_EQ(5, two_epsilons.getSeconds());
  EXPECT_EQ(1.0 - 0x1p-51, two_epsilons.getFraction());
  // A negative count carries away from zero, deliberately.
  const AbsTime minus_lsb(F(0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF));
  EXPECT_EQ(-1, minus_lsb.getSecondsImpl());
  EXPECT_EQ(-2, minus_lsb.getSeconds());
  EXPECT_EQ(0.0, minus_lsb.getFraction());
}

TEST(tSSTimeValue, RoundingMethods) {
  const std::int32_t even = nZOSS100::kRoundNearestEven, floor = nZOSS100::kRoundFloor,
                     up = nZOSS100::kRoundUp, down = nZOSS100::kRoundDown;
  const struct {
    double seconds;
    std::int32_t method, expected;
  } cases[] = {{2.5, even, 2},  {3.5, even, 4},  {-2.5, even, -2},  {2.75, even, 3},
               {2.25, even, 2}, {2.7, floor, 2}, {-2.3, floor, -3}, {2.3, up, 3},
               {-2.3, up, -2},  {2.0, up, 2},    {-2.3, down, -3}};
  for (const auto& c : cases) {
    std::int32_t status = 0;
    EXPECT_EQ(c.expected,
              RelTime(c.seconds, 0.0).getI32ByUnits(nZOSS100::kSeconds, c.method, &status))
        << c.seconds << " by method " << c.method;
    EXPECT_EQ(0, status);
  }
  // 2.5 + 2^-64 is above the tie.
  EXPECT_EQ(3, RelTime(F(0, 2, 0x80000000, 1)).getI32ByUnits(nZOSS100::kSeconds, 1));
  // An unknown method keeps the integer part and reports.
  std::int32_t status = 0;
  EXPECT_EQ(2, RelTime(2.7, 0.0).getI32ByUnits(nZOSS100::kSeconds, 7, &status));
  EXPECT_EQ(-50003, status);
  // The rounding step itself can wrap the sign.
  nZOSS100::tSignedFixedPoint128 result;
  status = 0;
  tSSTimeValue::_RoundAndCheckFit(nZOSS100::kRoundUp, INT64_MIN, INT64_MAX,
                                  F(0x7FFFFFFF, 0xFFFFFFFF, 0, 1), result, &status);
  EXPECT_EQ(-50175, status);
  EXPECT_EQ("80000000 00000000 00000000 00000000", W(result));
}

TEST(tSSTimeValue, UnitScalingAndFit) {
  struct Case {
    RelTime value;
    nZOSS100::tTimeUnit unit;
    std::int32_t method, expected, status;
  };
  const Case cases[] = {
      {RelTime(1.0, 0.25), nZOSS100::kMilliseconds, 1, 1250, 0},
      {RelTime(0.5, 0.0), nZOSS100::kMicroseconds, 1, 500000, 0},
      {RelTime(1.0, 0.0), nZOSS100::k100Nanoseconds, 1, 10000000, 0},
      {RelTime(2.0, 0.0), nZOSS100::kNanoseconds, 1, 2000000000, 0},
      // 2^-20 s = 953674.31640625 ps.
      {RelTime(0x1p-20, 0.0), nZOSS100::kPicoseconds, 1, 953674, 0},
      {RelTime(0x1p-30, 0.0), nZOSS100::kFemtoseconds, 2, 931322, 0},
      {RelTime(0x1p-40, 0.0), nZOSS100::kAttoseconds, 1, 909495, 0},
      {RelTime(150.0, 0.0), nZOSS100::kMinutes, 1, 2, 0},
      {RelTime(5400.0, 0.0), nZOSS100::kHours, 1, 2, 0},
      {RelTime(259200.0, 0.0), nZOSS100::kDays, 1, 3, 0},
      {RelTime(-2147483648.0, 0.0), nZOSS100::kSeconds, 1, INT32_MIN, 0},
      {RelTime(2147483647.0, 0.0), nZOSS100::kSeconds, 1, INT32_MAX, 0},
      // Out of the 32-bit range: the low 32 bits come back with the status.
      {RelTime(3000000.0, 0.0), nZOSS100::kMilliseconds, 1, -1294967296, -50175},
      {RelTime(2147483648.0, 0.0), nZOSS100::kSeconds, 1, INT32_MIN, -50175},
      {RelTime(-2147483649.0, 0.0), nZOSS100::kSeconds, 1, INT32_MAX, -50175},
      // Unknown units keep the seconds.
      {RelTime(7.0, 0.0), static_cast<nZOSS100::tTimeUnit>(919263160), 1, 7, -50003},
  };
  for (const Case& c : cases) {
    std::int32_t status = 0;
    EXPECT_EQ(c.expected, c.value.getI32ByUnits(c.unit, c.method, &status))
        << W(c.value.value()) << " in unit " << c.unit;
    EXPECT_EQ(c.status, status) << W(c.value.value()) << " in unit " << c.unit;
  }
}

TEST(tSSTimeValue, CorrectUnitsScalesToSecondsToo) {
  // The scaling to units is checked through getI32ByUnits; the way back divides.
  nZOSS100::tSignedFixedPoint128 v(1500000000);
  std::int32_t status = 0;
  tSSTimeValue::_CorrectUnits(tSSTimeValue::kUnitsToSeconds, nZOSS100::kNanoseconds, v, &status);
  EXPECT_EQ("00000000 00000001 80000000 00000000", W(v));
  EXPECT_EQ(0, status);
  // A multiplication that turns the sign reports; the value wraps.
  v = F(0x10000000, 0, 0, 0);  // 2^60 s
  tSSTimeValue::_CorrectUnits(tSSTimeValue::kSecondsToUnits, nZOSS100::kMilliseconds, v, &status);
  EXPECT_EQ(-50175, status);
  EXPECT_EQ("80000000 00000000 00000000 00000000", W(v));
  v = F(0x10000000, 0, 0, 0);  // an unknown unit leaves the value; a null status is allowed
  tSSTimeValue::_CorrectUnits(2, static_cast<nZOSS100::tTimeUnit>(12345), v, nullptr);
  EXPECT_EQ("10000000 00000000 00000000 00000000", W(v));
}

TEST(tSSTimeAbsolute, EpochMoves) {
  const std::int32_t from = tSSTimeAbsolute::kFromEpoch, to = tSSTimeAbsolute::kToEpoch;
  const nZOSS100::tSignedFixedPoint128 zero(0), min = AbsTime::min.value(),
                                                max = AbsTime::max.value();
  struct Case {
    std::int32_t conversion;
    nZOSS100::tEpoch epoch;
    nZOSS100::tSignedFixedPoint128 value;
    const char* expected;
    std::int32_t status;
  };
  const Case cases[] = {
      {from, nZOSS100::kEpoch1970, zero, "00000000 7C25B080 00000000 00000000", 0},  // 2082844800
      {from, nZOSS100::kEpoch1601, zero, "FFFFFFFD C6151F80 00000000 00000000", 0},  // -9561628800
      {from, nZOSS100::kEpoch0001, zero, "FFFFFFF2 0493B980 00000000 00000000", 0},  // -60052752000
      {to, nZOSS100::kEpoch1970, F(0, 0x7C25B080, 0x80000000, 0),
       "00000000 00000000 80000000 00000000", 0},
      {to, static_cast<nZOSS100::tEpoch>(2000), F(0, 5, 0, 0),
       "00000000 00000005 00000000 00000000", -50003},
      // Signed overflow at both ends of the range.
      {from, nZOSS100::kEpoch1970, max, "80000000 7C25B07F FFFFFFFF FFFFFFFF", -50175},
      {to, nZOSS100::kEpoch1970, min, "7FFFFFFF 83DA4F80 00000000 00000000", -50175},
      // Opposite signs cannot overflow.
      {from, nZOSS100::kEpoch1601, max, "7FFFFFFD C6151F7F FFFFFFFF FFFFFFFF", 0},
  };
  for (const Case& c : cases) {
    nZOSS100::tSignedFixedPoint128 v(c.value);
    std::int32_t status = 0;
    tSSTimeAbsolute::_CorrectEpoch(c.conversion, c.epoch, v, &status);
    EXPECT_EQ(c.expected, W(v)) << c.conversion << " " << c.epoch << " " << W(c.value);
    EXPECT_EQ(c.status, status) << c.conversion << " " << c.epoch << " " << W(c.value);
  }
}

TEST(AbsTime, Ranges) {
  // {first range, second range, intersect, first within second}, in seconds; ends included.
  const double rows[][6] = {{0, 10, 10, 20, 1, 0}, {10, 20, 0, 10, 1, 0}, {0, 10, 11, 20, 0, 0},
                            {11, 20, 0, 10, 0, 0}, {2, 3, 2, 3, 1, 1},    {2, 3, 0, 10, 1, 1},
                            {2, 11, 0, 10, 1, 0},  {0, 3, 2, 10, 1, 0},   {0, 20, 2, 3, 1, 0}};
  for (const auto& r : rows) {
    const AbsTime a0(r[0], 0.0), a1(r[1], 0.0), b0(r[2], 0.0), b1(r[3], 0.0);
    EXPECT_EQ(r[4] != 0, AbsTime::doRangesIntersect(a0, a1, b0, b1)) << r[0] << "-" << r[1];
    EXPECT_EQ(r[5] != 0, AbsTime::isSubRange(a0, a1, b0, b1)) << r[0] << "-" << r[1];
  }
  EXPECT_TRUE(AbsTime::isSubRange(AbsTime::min, AbsTime::max, AbsTime::min, AbsTime::max));
}

TEST(AbsTime, ConversionsBetweenKindsKeepTheCount) {
  const AbsTime t(2082844800.0, 0.125);
  const tSSTimeValue stored = t;
  EXPECT_EQ("00000000 7C25B080 20000000 00000000", W(stored.value()));
  EXPECT_TRUE(AbsTime(stored) == t);
  EXPECT_EQ(W(t.value()), W(RelTime(stored).value()));
  const AbsTime later = t + RelTime(1.0, 0.5);
  EXPECT_EQ("00000000 7C25B081 A0000000 00000000", W(later.value()));
  EXPECT_EQ("00000000 00000001 80000000 00000000", W((later - t).value()));
  EXPECT_TRUE(later - RelTime(1.0, 0.5) == t);
  EXPECT_EQ("00000000 00000000 C0000000 00000000",
            W((RelTime(0.5, 0.0) + RelTime(0.25, 0.0)).value()));
}

// FILETIME holds the tick count, low half first: its conversions are the tick conversions.
TEST(TimeConversions, TicksAndFiletimeShareTheEpochRelation) {
  // 2000-01-01 00:00:00 is day 36526; the rest of the division is dropped.
  EXPECT_EQ(125911584000000000, Time64ToQMTIME(3155846400000000099u));
  EXPECT_EQ(184467440737095516u + 94353120000000000, Time64ToQMTIME(UINT64_MAX));
  // Before 1899-12-30 the nanosecond count wraps around 2^64.
  EXPECT_EQ(9011432073709551616u, QMTIMEToTime64(0));
  const FILETIME origin = Time64ToFILETIME(0);
  EXPECT_EQ(0xA90CC000u, origin.lowDateTime);
  EXPECT_EQ(0x014F35A9u, origin.highDateTime);
  EXPECT_EQ(0u, FILETIMEToTime64(origin));
  EXPECT_EQ(3155846400000000000u, FILETIMEToTime64(Time64ToFILETIME(3155846400000000099u)));
  EXPECT_EQ(18446744073709551516u, FILETIMEToTime64(FILETIME{0xA90CBFFFu, 0x014F35A9u}));
}

TEST(TimeConversions, DaysAndNanosecondsAndTicks) {
  // {days, nanoseconds}: both directions.
  const struct {
    double days;
    std::uint64_t nanoseconds;
  } exact[] = {
      {0.0, 0}, {0.5, 43200000000000u}, {1.5, 129600000000000u}, {36526.0, 3155846400000000000u}};
  for (const auto& row : exact) {
    EXPECT_EQ(row.nanoseconds, DaysToNanosecs(row.days)) << row.days;
    EXPECT_EQ(row.days, NanosecsToDays(row.nanoseconds)) << row.days;
    EXPECT_EQ(94353120000000000 + static_cast<std::int64_t>(row.nanoseconds / 100),
              DaysToQMTIME(row.days));
    EXPECT_EQ(row.days, QMTIMEToDays(DaysToQMTIME(row.days)));
  }
  // Below 2^52 ns the count converts exactly.
  EXPECT_EQ(0x1.a0fffdbd23e51p+5, NanosecsToDays(4503599627370495u));
  // From 2^53 ns on, the count is truncated to 53 bits before dividing: rounding it instead
  // would give the next double up in both cases.
  EXPECT_EQ(0x1.a0fffdbd23e54p+6, NanosecsToDays(9007199254740995u));
  EXPECT_EQ(0x1.a0fffdbd23e51p+17, NanosecsToDays(UINT64_MAX));
  EXPECT_EQ(0x1.a0fffdbd23e51p+17, inline_NanosecsToDays(UINT64_MAX));
  // Outside the domain the count is clamped.
  for (double days : {-1.0, -0.0, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(0u, DaysToNanosecs(days)) << days;
  }
  EXPECT_EQ(UINT64_MAX, DaysToNanosecs(std::numeric_limits<double>::infinity()));
  EXPECT_EQ(94353120000000000, DaysToQMTIME(-3.0));
}

}  // namespace
