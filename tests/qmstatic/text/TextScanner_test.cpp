// Typed-in numbers, durations, times of day and dates, and the calendar behind them; the
// recognisers of logical, numeric and time text, narrow and wide, and nanosecond times shown as
// text.
#include "qmstatic/text/TextScanner.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cwctype>
#include <string>
#include <thread>
#include <vector>

#include "qmstatic/text/LogicalText.h"
#include "qmstatic/text/TextScanner_impl.h"

namespace {

// Pins the reference year of the date scanner for one test, whatever the current year is.
class PinnedYear {
 public:
  explicit PinnedYear(int year) : previous_(zo::kel::detail::PinReferenceYear(year)) {}
  ~PinnedYear() { zo::kel::detail::PinReferenceYear(previous_); }

 private:
  int previous_;
};

constexpr double kNotWritten = -12345.0;

struct Read {
  const char* text;
  double expected;
};

// Checks that `scan` accepts each text of `accepted` with its value (times `unit`, within
// `tolerance`) and refuses each of `refused` and a null text, leaving its output alone.
template <typename Scan, std::size_t A, std::size_t R>
void ExpectScans(Scan scan, const Read (&accepted)[A], const char* const (&refused)[R], double unit,
                 double tolerance) {
  for (const Read& c : accepted) {
    double value = kNotWritten;
    EXPECT_TRUE(scan(c.text, &value)) << '"' << c.text << '"';
    EXPECT_NEAR(c.expected, value * unit, tolerance) << '"' << c.text << '"';
  }
  for (const char* text : refused) {
    double value = kNotWritten;
    EXPECT_FALSE(scan(text, &value)) << '"' << text << '"';
    EXPECT_EQ(kNotWritten, value) << '"' << text << '"';
  }
  double value = kNotWritten;
  EXPECT_FALSE(scan(nullptr, &value));
  EXPECT_EQ(kNotWritten, value);
}

TEST(AsciiToNumber, AcceptsDecimalScientificAndHexadecimalWithTheTablesQuirks) {
  // "0 " and "0." fail while "5 " and "5." pass; hexadecimal takes no sign and no blank after.
  const Read accepted[] = {
      {"1.5E3", 1500}, {"-.5", -0.5}, {"0x1F", 31},    {"0x1f", 31},
      {"  42  ", 42},  {"5 ", 5},     {"5.", 5},       {".5", 0.5},
      {"0", 0},        {"007", 7},    {"+12", 12},     {"0e5", 0},
      {"2E+2", 200},   {"00x10", 16}, {"0.25 ", 0.25}, {"0XABCDEF", 11259375},
  };
  const char* const refused[] = {"0 ",  "0.",    "-0x1F", "0x1F ", "",     " ",
                                 ".",   "-",     "+",     "E5",    "1E",   "1e+",
                                 "0x",  "1.5.2", "1-",    "12a",   "0x1G", "1,5",
                                 "\t1", "5e 2",  "1x2",   "- 5",   "0xx1", "\xc3\xa9"};
  ExpectScans(AsciiToNumber, accepted, refused, 1, 0);
  // Negative exponents multiply by powers of 0.1 (1e-2 is 0.1 * 0.1, one bit above 0.01), and
  // the exponent is a 16-bit count (65537 wraps to 1).
  double value = 0;
  ASSERT_TRUE(AsciiToNumber("1e-2", &value));
  EXPECT_EQ(0x1.47ae147ae147cp-7, value);
  ASSERT_TRUE(AsciiToNumber("1e65537", &value));
  EXPECT_EQ(10, value);
  ASSERT_TRUE(AsciiToNumber("-0", &value));
  EXPECT_TRUE(std::signbit(value));
}

TEST(AsciiToNumber, StaysCloseToStrtodAcrossTheExponentRange) {
  std::srand(7);
  char text[64];
  for (int i = 0; i < 20000; ++i) {
    double value = 0.0;
    std::snprintf(text, sizeof text, "%d.%03de%d", std::rand() % 100000, std::rand() % 1000,
                  std::rand() % 601 - 300);
    ASSERT_TRUE(AsciiToNumber(text, &value)) << text;
    const double reference = std::strtod(text, nullptr);
    EXPECT_NEAR(reference, value, std::fabs(reference) * 1e-13) << text;
  }
}

TEST(AsciiToDays, ReadsDurationsWithTheirFieldLimits) {
  // Seconds below 60 with a colon, minutes with two, hours below 24 only with days ("30:00:00"
  // is 30 hours); a fourth colon, a second point, or colons and points without digits fail.
  // clang-format off
  const Read accepted[] = {
      {"90", 90}, {"1:30", 90}, {"1:00:00:00", 86400}, {"25:00:00", 90000}, {"30:00:00", 108000},
      {"99:00", 5940}, {"1.5", 1.5}, {"1:30.25", 90.25}, {" 1:30 ", 90}, {"5.", 5}, {"", 0},
      {"   ", 0}, {"1:", 60}, {"1:30:", 5400}, {":5", 5}, {".5", 0.5}, {"100000", 100000},
      {"2:23:59:59.5", 259199.5}};
  // clang-format on
  const char* const refused[] = {"1:24:00:00", "1:60", "1:60:00", "0:0:0:0:0", "1.5:30",
                                 "1.2.3",      ":",    ".",       "::",        "1 2",
                                 "1:30 x",     "-5",   "1,5"};
  ExpectScans(AsciiToDays, accepted, refused, 86400, 1e-6);
}

TEST(AsciiToTime, ReadsTimesOfDayOnly) {
  // 16-bit fields wrap: "65537:00" reads as 01:00.
  const Read accepted[] = {
      {"23:59:59", 86399}, {"12:", 43200},    {":30", 1800}, {" 7:05 ", 25500},
      {"0:0:1", 1},        {"12:30 ", 45000}, {"00:00", 0},  {"65537:00", 3600},
  };
  const char* const refused[] = {"24:00",   "12",     "12 ", ":", "::",     "12:60",  "12:30:60",
                                 "1:2:3:4", "12 :30", "",    " ", "1.5:00", "12:30 x"};
  ExpectScans(AsciiToTime, accepted, refused, 86400, 1e-6);
}

TEST(AsciiToDateTime, ReadsDatesInEachOrderWithTheCenturyWindow) {
  PinnedYear pin(2026);
  // "12/25/67536": the 16-bit year slot wraps to 2000.
  // clang-format off
  const Read accepted[] = {
      {"12/25/99", 36519}, {"12/25/30", 47842}, {"2/29/1900", 60}, {"12/25", 46381},
      {"12/25/2078", 65374}, {"  12/25/2024", 45651}, {"1/1/76", 27760}, {"1/1/75", 63920},
      {"2024-05-20", 45432}, {"12/25/67536", 36885}, {"12/25/2024 10:30", 45651.4375},
      {"12/25/2024  10:30", 45651.4375}};
  // clang-format on
  const char* const refused[] = {
      "2/29/2023",  "12/25/1850",  "12/25/150",        "12/25/2079", "12-25/2024",
      "12/25-2024", "12/25/2024 ", "12/25/2024 25:00", "05-20",      "25/12/2024",
      "13/01/2024", "4/31/2024",   "0/10/2024",        "1/2/3/4",    "/1/2",
      "12",         "12/25/2024x", "12.25.2024",       "",           "12//2024"};
  ExpectScans([](const char* text, double* days) { return AsciiToDateTime(text, days, 0); },
              accepted, refused, 1, 1e-9);
  // Other orders by format; "-" dates outside year-month-day rotate the month/day/year slots,
  // which in day/month/year order puts the month in the year (-1: refused).
  const struct {
    const char* text;
    int format;
    double days;
  } cases[] = {
      {"2/29/2024", 64, 45351},  {"2024-05-20", 70, 45432}, {"2024/05/20", 71, 45432},
      {"25/12/2024", 53, 45651}, {"25/12", 51, 46381},      {"25/12/2024 12:00", 69, 45651.5},
      {"24-12-25", 70, 45651},   {"2024-05-20", 53, -1},    {"25-12", 51, -1},
  };
  for (const auto& c : cases) {
    double days = kNotWritten;
    EXPECT_EQ(c.days >= 0, AsciiToDateTime(c.text, &days, c.format)) << c.text << " " << c.format;
    EXPECT_EQ(c.days >= 0 ? c.days : kNotWritten, days) << c.text << " in format " << c.format;
  }
}

TEST(AsciiToDateTime, WindowFollowsTheReferenceYearNeverBefore1988) {
  double days = 0;
  {
    PinnedYear pin(1988);
    ASSERT_TRUE(AsciiToDateTime("1/1/37", &days, 0));
    EXPECT_EQ(50041, days);  // 2037: the window is 1938 to 2037
  }
  // Unpinned, the reference year is the local year when it was first asked for (this process,
  // possibly before a New Year it has since passed), or 1988 before that.
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ASSERT_NE(nullptr, localtime_r(&now, &local));
  const int year = local.tm_year + 1900 < 1988 ? 1988 : local.tm_year + 1900;
  const int reference = zo::kel::detail::ReferenceYear();
  EXPECT_TRUE(reference == year || reference == year - 1) << reference << " in " << year;
  ASSERT_TRUE(AsciiToDateTime("3/1", &days, 0));
  EXPECT_EQ(DateDay0(1, 3, static_cast<unsigned>(reference)), days);
}

TEST(GetDate0, EveryDayCountMatchesACalendarWalkedDayByDay) {
  EXPECT_EQ(0, DateDay0(5, 6, 2079));  // the 16-bit count wraps after 2079-06-04
  // Day 0 is 1900-01-00, a Saturday; every fourth year is a leap year, 1900 included (day 60 is
  // 1900-02-29), which is right for every other year up to 2079.
  int year = 1900, month = 1, day = 0, dayOfYear = 0, weekday = 7;  // 1: Sunday
  for (int n = 0; n <= 65535; ++n, ++day, ++dayOfYear, weekday = weekday % 7 + 1) {
    const int lengths[] = {31, year % 4 == 0 ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (day > lengths[month - 1]) {
      day = 1;
      if (++month > 12) {
        month = 1;
        dayOfYear = 1;
        ++year;
      }
    }
    double days = n + 0.75;
    unsigned short f[kDateFieldCount];
    GetDate0(&days, f);
    ASSERT_EQ(year, f[kDateYear]) << n;
    ASSERT_EQ(month, f[kDateMonth]) << n;
    ASSERT_EQ(day, f[kDateDayOfMonth]) << n;
    ASSERT_EQ(dayOfYear, f[kDateDayOfYear]) << n;
    ASSERT_EQ(weekday, f[kDateDayOfWeek]) << n;
    ASSERT_EQ(lengths[month - 1], f[kDateDaysInMonth]) << n;
    ASSERT_EQ(year % 4 == 0 ? 366 : 365, f[kDateDaysInYear]) << n;
    if (n == 0) continue;
    ASSERT_EQ(n, DateDay0(day, month, year)) << n;
  }
}

TEST(GetDate0, SplitsTheTimeOfDayAndWrapsLargeCounts) {
  double days = 36526.75;
  unsigned short f[kDateFieldCount];
  GetDate0(&days, f);
  EXPECT_EQ(36526.75, days);  // the count is read, not changed
  // Every second of a day, stored as seconds / 86400, reads back as that second: the 1e-08 day
  // added before truncation keeps values stored a hair low from losing a unit.
  for (int s = 0; s < 86400; ++s) {
    days = 40000 + s / 86400.0;
    GetDate0(&days, f);
    ASSERT_EQ(s, f[kDateHour] * 3600 + f[kDateMinute] * 60 + f[kDateSecond]) << s;
    ASSERT_EQ(0, f[kDateMillisecond]) << s;
  }
  // Counts beyond 16 bits wrap; -1 is the last day; NaN and values beyond 32 bits read as day 0.
  for (double wrapped : {65536.5 + 36526, -1.0, 1e300}) {
    days = wrapped;
    GetDate0(&days, f);
    const int expectedYear = wrapped > 1e10 ? 1900 : wrapped < 0 ? 2079 : 2000;
    EXPECT_EQ(expectedYear, f[kDateYear]) << wrapped;
  }
}

TEST(TextToNumber0, TriesNumberThenDurationThenDate) {
  PinnedYear pin(2026);
  // kNotWritten: refused. "  " is not a number, but an empty duration.
  // clang-format off
  const struct {
    const char* text;
    int format;
    double value;
  } cases[] = {{"42", 0, 42}, {"1:30", 0, 90 / 86400.0}, {"  ", 0, 0}, {"25/12/2024", 67, 45651},
               {"25/12/2024", 0, kNotWritten}, {"", 0, kNotWritten}, {nullptr, 0, kNotWritten}};
  // clang-format on
  for (const auto& c : cases) {
    double value = kNotWritten;
    EXPECT_EQ(c.value != kNotWritten, TextToNumber0(c.text, &value, c.format)) << c.format;
    EXPECT_DOUBLE_EQ(c.value, value) << (c.text != nullptr ? c.text : "null");
  }
}

TEST(TextScanner, ConcurrentCallsAgree) {
  // The month table is per call: threads on leap and common Februaries never see each other's.
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      for (int i = 0; i < 3000; ++i) {
        const bool leap = (t + i) % 2 == 0;
        double days = leap ? 36585 : 36937;  // 2000-02-29, 2001-02-28
        unsigned short f[kDateFieldCount];
        GetDate0(&days, f);
        failures += f[kDateDaysInMonth] != (leap ? 29 : 28);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(0, failures.load());
}

std::wstring Widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

// The text widened with the case of its ASCII letters swapped.
std::wstring SwapCase(const std::string& text) {
  std::wstring out = Widen(text);
  for (wchar_t& c : out) c = std::iswalpha(c) != 0 ? c ^ 0x20 : c;
  return out;
}

TEST(IsLogicalText, WholeWordsIgnoringCaseJokesIncluded) {
  // Each word narrow as written, and wide with the case of its letters swapped.
  const std::vector<std::string> yes = {"on",           "YES", "y", "TRUE", "t", "It Just Works",
                                        "Unbelievable!"};
  const std::vector<std::string> no = {"OFF", "no", "N", "False", "nil", "yeah, right"};
  for (const bool truth : {true, false}) {
    for (const std::string& word : truth ? yes : no) {
      bool narrow = !truth, wide = !truth;
      EXPECT_TRUE(IsLogicalText(word.c_str(), narrow) &&
                  IsLogicalText(SwapCase(word).c_str(), wide))
          << word;
      EXPECT_EQ(truth, narrow) << word;
      EXPECT_EQ(truth, wide) << word;
    }
  }
  // No "f", no blanks trimmed, no missing comma or exclamation mark, no prefixes.
  bool value = true;
  for (const char* text : {"f", " yes", "yes ", "yeah right", "unbelievable", "it just work", "1",
                           "0", "o", "tr", "", "yess"}) {
    EXPECT_FALSE(IsLogicalText(text, value)) << '"' << text << '"';
    EXPECT_FALSE(IsLogicalText(Widen(text).c_str(), value)) << '"' << text << '"';
  }
  EXPECT_FALSE(IsLogicalText(static_cast<const char*>(nullptr), value));
  EXPECT_FALSE(IsLogicalText(static_cast<const wchar_t*>(nullptr), value));
  EXPECT_TRUE(value);
}

TEST(IsNumericText, NarrowAndWideReadTheSameNumbersAndWideIsCutTo31Characters) {
  double narrow = 0, wide = 0;
  EXPECT_TRUE(IsNumericText("  1.5E3", narrow) && IsNumericText(L"  1.5E3", wide));
  EXPECT_EQ(1500, narrow);
  EXPECT_EQ(1500, wide);
  double value = -1;
  for (const wchar_t* text : {L"", L"0 ", L"4\u00e92", L"12a"}) {
    EXPECT_FALSE(IsNumericText(text, value));
  }
  EXPECT_FALSE(IsNumericText(static_cast<const wchar_t*>(nullptr), value));
  EXPECT_FALSE(IsNumericText(static_cast<const char*>(nullptr), value));
  EXPECT_EQ(-1, value);
  // 31 digits and an 'x': the 'x' is cut away, so the wide text is numeric; the narrow one is not.
  const std::string text = "1234567890123456789012345678901x";
  EXPECT_FALSE(IsNumericText(text.c_str(), value));
  ASSERT_TRUE(IsNumericText(Widen(text).c_str(), value));
  EXPECT_DOUBLE_EQ(1.234567890123456789e30, value);
}

TEST(IsTimeText, DurationsThenDatesAsDaysOrWholeSecondNanoseconds) {
  PinnedYear pin(2026);
  const struct {
    const char* text;
    long long nanoseconds;
  } cases[] = {
      {"12:30", 750000000000LL},  // minutes and seconds
      {"1.5", 1000000000LL},      // the half second is dropped
      {"12/25/2024", 45651LL * 86400000000000LL},
      {"100000:00:00:00", 8640000000000000000LL},  // 100000 days still fit in 64 bits
  };
  for (const auto& c : cases) {
    long long narrow = -1, wide = -1;
    EXPECT_TRUE(IsTimeText(c.text, narrow) && IsTimeText(Widen(c.text).c_str(), wide)) << c.text;
    EXPECT_EQ(c.nanoseconds, narrow) << c.text;
    EXPECT_EQ(c.nanoseconds, wide) << c.text;
  }
  double days = -1;
  EXPECT_TRUE(IsTimeText("30:00:00", days));
  EXPECT_DOUBLE_EQ(1.25, days);
  EXPECT_TRUE(IsTimeText(L"12/25/2024 18:00", days));
  EXPECT_DOUBLE_EQ(45651.75, days);
  // Not a time; and a million days of nanoseconds do not fit in 64 bits.
  long long nanoseconds = -1;
  for (const char* text : {"25/12/2024", "1000000:00:00:00", "1e3"}) {
    EXPECT_FALSE(IsTimeText(text, nanoseconds)) << text;
  }
  EXPECT_FALSE(IsTimeText(static_cast<const char*>(nullptr), days));
  EXPECT_FALSE(IsTimeText(L"12:\u00e9", days));
  EXPECT_EQ(-1, nanoseconds);
}

TEST(TimeToText, TheWideFormShowsWholeDaysOnly) {
  // Deliberately midnight in the wide form: it divides in integers.
  const long long dayAndAHalf = 129600000000000LL;
  char narrow[32];
  wchar_t wide[32];
  EXPECT_EQ(5, TimeToText(dayAndAHalf, 44, narrow, 32));
  EXPECT_STREQ("12:00", narrow);
  EXPECT_EQ(5, TimeToText(dayAndAHalf, 44, wide, 32));
  EXPECT_STREQ(L"00:00", wide);
  const long long evening = 45432LL * 86400000000000LL + 64800000000000LL;  // 2024-05-20 18:00
  EXPECT_EQ(4, TimeToText(evening, 71, wide, 5));                           // cut to size - 1
  EXPECT_STREQ(L"2024", wide);
  wide[0] = L'x';
  EXPECT_EQ(0, TimeToText(evening, 71, wide, 0));
  EXPECT_EQ(L'x', wide[0]);
  EXPECT_EQ(0, TimeToText(evening, 71, static_cast<wchar_t*>(nullptr), 32));
}

}  // namespace
