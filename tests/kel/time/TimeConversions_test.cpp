// Tests of the conversions between Time64, days, QMTIME and FILETIME.
#include "kel/time/TimeConversions.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

using namespace zo::kel;

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
