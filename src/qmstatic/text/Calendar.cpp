// The calendar of the display formats: day counts from dates (DateDay0) and dates from day
// counts (GetDate0), with 1900 counted as a leap year.
#include <cstdint>

#include "qmstatic/text/DisplayFormat_impl.h"
#include "qmstatic/text/TextScanner.h"

namespace {

constexpr std::uint32_t kDaysPerBlock = 1461;  // four years, the first of them a leap year

}  // namespace

unsigned short DateDay0(unsigned day, unsigned month, unsigned year) {
  // Unsigned 32-bit arithmetic: out-of-range arguments wrap instead of overflowing.
  std::uint32_t m = month;
  std::uint32_t y = year;
  if (m == 1 || m == 2) {
    m += 12;
    y -= 1;
  }
  // 30.6001 * (m + 1) stays below 2^37 for any 32-bit m, so the truncation is exact.
  const std::uint32_t monthDays =
      static_cast<std::uint32_t>(static_cast<std::uint64_t>(30.6001 * (m + 1u)));
  const std::uint32_t count = day + monthDays + y / 4u + 365u * y - 694037u;
  return static_cast<unsigned short>(count & 0xFFFFu);
}

void GetDate0(double* days, unsigned short* fields) {
  const double value = *days;
  // The whole days as the processor converts them (out of range gives 0x80000000), kept as an
  // unsigned 16-bit count: the calendar wraps after day 65535.
  const std::uint32_t d =
      static_cast<std::uint32_t>(zo::kel::detail::TruncateToInt32(value)) & 0xFFFFu;
  // The time of day comes from the fraction (within the calendar that is value - d; beyond it
  // the wrapped day keeps its time of day).
  const std::uint32_t ms = zo::kel::detail::MillisecondsOfDay(value);

  // The month table lives per call, so concurrent calls never see each other's February.
  std::uint16_t monthLength[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const std::uint32_t block = d == 0 ? 0 : (d - 1) / kDaysPerBlock;
  std::uint32_t r = d - kDaysPerBlock * block;
  std::uint32_t year = 1900 + 4 * block;
  std::uint32_t yearLength;
  if (r > 366) {
    if (r < 732) {
      year += 1;
      r -= 366;
    } else if (r > 1096) {
      year += 3;
      r -= 1096;
    } else {
      year += 2;
      r -= 731;
    }
    yearLength = 365;
  } else {
    // The first year of every block is a leap year, 1900 included (deliberately, so that from
    // 1900-03-01 on the count matches the days since 1899-12-30).
    monthLength[1] = 29;
    yearLength = 366;
  }
  const std::uint32_t dayOfYear = r;
  unsigned month = 0;
  // Day 0 stays day 0 of January 1900, deliberately.
  while (month < 11 && r > monthLength[month]) r -= monthLength[month++];

  fields[kDateYear] = static_cast<unsigned short>(year);
  fields[kDateDayOfYear] = static_cast<unsigned short>(dayOfYear);
  fields[kDateMonth] = static_cast<unsigned short>(month + 1);
  fields[kDateDayOfMonth] = static_cast<unsigned short>(r);
  fields[kDateDayOfWeek] = static_cast<unsigned short>((d + 6) % 7 + 1);
  fields[kDateHour] = static_cast<unsigned short>(ms / 3600000u);
  fields[kDateMinute] = static_cast<unsigned short>((ms % 3600000u) / 60000u);
  fields[kDateSecond] = static_cast<unsigned short>((ms % 60000u) / 1000u);
  fields[kDateMillisecond] = static_cast<unsigned short>(ms % 1000u);
  fields[kDateDaysInMonth] = monthLength[month];
  fields[kDateDaysInYear] = static_cast<unsigned short>(yearLength);
}
