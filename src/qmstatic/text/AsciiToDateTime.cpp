// AsciiToDateTime, the reference year it completes dates with, and TextToNumber0.
#include <atomic>
#include <cstdint>
#include <ctime>

#include "qmstatic/text/TextScanner.h"
#include "qmstatic/text/TextScanner_impl.h"

namespace {

// Two-digit years are placed in a century around this year, never an earlier one: stored
// operator input from the system's first years must keep reading the same.
constexpr int kEarliestReferenceYear = 1988;
// Four-digit years must fit the 16-bit day count (day 65535 is 2079-06-04).
constexpr unsigned kFirstYear = 1900;
constexpr unsigned kLastYear = 2078;

std::atomic<int> g_pinnedYear{0};

int LocalYear() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local) == nullptr) return kEarliestReferenceYear;
  const int year = local.tm_year + 1900;
  return year < kEarliestReferenceYear ? kEarliestReferenceYear : year;
}

enum Order { kMonthDayYear, kDayMonthYear, kYearMonthDay };

Order DateOrder(int format) {
  if ((format >= 51 && format <= 55) || (format >= 67 && format <= 69)) return kDayMonthYear;
  if (format >= 70 && format <= 72) return kYearMonthDay;
  return kMonthDayYear;
}

// States 1, 2 and 3 collect the month, the day and the year; state 0 is before the first digit.
// Next state after a digit and after a separator, by date order and current state (a separator
// in state 0 fails before the table is consulted).
constexpr std::uint8_t kAfterDigit[3][4] = {{1, 1, 2, 3}, {2, 1, 2, 3}, {3, 1, 2, 3}};
constexpr std::uint8_t kAfterSeparator[3][4] = {{2, 2, 3, 3}, {1, 3, 1, 3}, {1, 2, 2, 1}};
enum Slot { kMonth = 1, kDay = 2, kYear = 3 };

unsigned MonthLength(unsigned month, unsigned year) {
  static constexpr unsigned char kLengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  // Every fourth year is a leap year, 1900 and 2100 included: "2/29/1900" is a date.
  return month == 2 && year % 4 == 0 ? 29 : kLengths[month - 1];
}

}  // namespace

namespace zo {
namespace kel {
namespace detail {

int ReferenceYear() noexcept {
  const int pinned = g_pinnedYear.load(std::memory_order_relaxed);
  if (pinned != 0) return pinned;
  // Read once, on first use, and kept for the life of the process.
  static const int year = LocalYear();
  return year;
}

int PinReferenceYear(int year) noexcept { return g_pinnedYear.exchange(year); }

}  // namespace detail
}  // namespace kel
}  // namespace zo

bool AsciiToDateTime(const char* text, double* days, int format) {
  if (text == nullptr || days == nullptr) return false;
  const Order order = DateOrder(format);
  std::uint16_t slots[4] = {0, 0, 0, 0};  // indexed by state: month, day, year
  std::uint16_t number = 0;               // 16-bit, wraps like the slots
  unsigned separators = 0;
  char separator = '\0';
  double timeOfDay = 0.0;
  unsigned state = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    const char c = *p;
    if (c == ' ') {
      if (state == 0) continue;
      // A blank ends the date; the rest must be a time of day, so a trailing blank alone fails.
      if (!AsciiToTime(p + 1, &timeOfDay)) return false;
      break;
    }
    if (c >= '0' && c <= '9') {
      number = static_cast<std::uint16_t>(number * 10u + unsigned(c - '0'));
      state = kAfterDigit[order][state];
    } else if (c == '/' || c == '-') {
      if (state == 0 || (separator != '\0' && c != separator) || ++separators == 3) return false;
      separator = c;
      slots[state] = number;
      number = 0;
      state = kAfterSeparator[order][state];
    } else {
      return false;
    }
  }
  if (state != 0) slots[state] = number;
  if (separators == 0) return false;

  unsigned year = slots[kYear];
  unsigned month = slots[kMonth];
  unsigned day = slots[kDay];
  if (separator == '-' && order != kYearMonthDay) {
    // A "-" date is year-month-day: the month/day/year slots rotate (month to year, day to
    // month, year to day). Deliberately the same rotation in day/month/year order, where it
    // puts the month in the year, so that "2024-05-20" fails there rather than read otherwise.
    const unsigned first = month;
    month = day;
    day = year;
    year = first;
    if (year < kFirstYear) return false;
  }
  const int reference = zo::kel::detail::ReferenceYear();
  if (separators == 1) {
    year = static_cast<unsigned>(reference);
  } else if ((year >= 100 && year < kFirstYear) || year > kLastYear) {
    return false;
  } else if (year < 100) {
    // Two-digit years fall in the window reference - 50 to reference + 49.
    int offset = (static_cast<int>(year) - reference + 2150) % 100;
    if (offset < 0) offset += 100;
    year = static_cast<unsigned>(offset + reference - 50);
  }
  if (month < 1 || month > 12 || day < 1 || day > MonthLength(month, year)) return false;
  *days = DateDay0(day, month, year) + timeOfDay;
  return true;
}

bool TextToNumber0(const char* text, double* value, int format) {
  if (text == nullptr || *text == '\0') return false;
  return AsciiToNumber(text, value) || AsciiToDays(text, value) ||
         AsciiToDateTime(text, value, format);
}
