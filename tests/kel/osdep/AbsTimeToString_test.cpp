// Tests of absolute time to calendar text: formats, fractions and their carry, order, suffix, UTC
// and a pinned local zone, the convertible range, the clock and the global lock; of the lock and
// the atomic counter themselves; and of the digits of integers.
#include "kel/osdep/AbsTimeToString.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "kel/exception.h"
#include "kel/osdep/AtomicInt.h"
#include "kel/osdep/CriticalSection.h"
#include "kel/osdep/IntegerToString.h"
#include "support/KelTest.h"
#include "support/ScopedEnv.h"
#include "support/ScopedLocale.h"

namespace {

using zo::kel::AbsTime;
using zo::kel::WString;
using zo::kel::exception::UnableToConvert;
using namespace zo::kel::osdep;
using zo_kel_test::ScopedEnv;

std::wstring Text(const WString& s) { return std::wstring(s.c_str(), s.size()); }

// 1904-based seconds of a UTC calendar time after 1970, from the Unix count.
AbsTime Unix(double seconds, double fraction = 0.0) {
  return AbsTime(2082844800.0 + seconds, fraction);
}

std::wstring Utc(const AbsTime& t, unsigned digits, bool timeFirst = false,
                 const wchar_t* suffix = nullptr, const wchar_t* date = L"%Y-%m-%d",
                 const wchar_t* time = L"%H:%M:%S") {
  return Text(AbsTimeToString(t, date, time, digits, kTimeStringUTC, timeFirst, suffix));
}

TEST(AbsTimeToString, FormatsDateTimeAndFraction) {
  const AbsTime t = Unix(0.0, 0.25);
  EXPECT_EQ(L"1970-01-01 00:00:00.250", Utc(t, 3));
  EXPECT_EQ(L"1970-01-01 00:00:00.3", Utc(t, 1));  // 2.5 tenths round up
  EXPECT_EQ(L"1970-01-01 00:00:00.250 UTC", Utc(t, 3, false, L"UTC"));
  EXPECT_EQ(L"00:00:00.250 UTC 1970-01-01", Utc(t, 3, true, L"UTC"));
  EXPECT_EQ(L"2000-02-29 13:45:07.004", Utc(Unix(951831907.0, 0.004), 3));
  // An empty part is left out with its blank; the suffix needs a time format.
  EXPECT_EQ(L"00:00:00.250", Utc(t, 3, false, L"", L""));
  EXPECT_EQ(L"1970-01-01", Utc(t, 3, true, L"UTC", L"%Y-%m-%d", L""));
  EXPECT_EQ(L"", Utc(AbsTime::min, 3));
}

TEST(AbsTimeToString, FractionGoesAfterTheFirstSecondsConversionOnly) {
  const AbsTime t = Unix(5.0, 0.5);
  const auto with = [&t](const wchar_t* format) { return Utc(t, 3, false, nullptr, L"", format); };
  EXPECT_EQ(L"05.500", with(L"%#S"));
  // The first "S" decides, deliberately: a literal S before the conversion keeps the fraction out.
  EXPECT_EQ(L"S=05", with(L"S=%S"));
  EXPECT_EQ(L"%S 05", with(L"%%S %S"));
  EXPECT_EQ(L"00:00", with(L"%H:%M"));

  WString format(L"%M:%S");
  AbsTime moved = Unix(59.0, 0.9996);
  EXPECT_KEL_THROW(HandleFractionalSeconds(format, moved, 4), zo::kel::exception::InvalidArgument,
                   0x8ABC700F, "Invalid argument(s)");
}

TEST(AbsTimeToString, FractionThatRoundsUpCarriesIntoTheNextSecond) {
  EXPECT_EQ(L"1970-01-01 00:01:00.000", Utc(Unix(59.0, 0.9996), 3));
  EXPECT_EQ(L"1970-01-01 00:00:59.999", Utc(Unix(59.0, 0.9994), 3));
  EXPECT_EQ(L"1970-01-01 00:00:59", Utc(Unix(59.0, 0.9996), 0));  // whole seconds never round up
  std::tm out{};
  AbsTimeToUTCDateTime(Unix(59.5), out, true);  // calendar conversions round only when asked
  EXPECT_TRUE(out.tm_min == 1 && out.tm_sec == 0);
  AbsTimeToUTCDateTime(Unix(58.5), out, true);  // a tie goes to the even second
  EXPECT_EQ(58, out.tm_sec);
}

TEST(AbsTimeToString, RejectsTooManyDigitsAndTimesOutsideTheRange) {
  using zo::kel::exception::OutOfRange;
  EXPECT_KEL_THROW(Utc(Unix(0.0), 4), zo::kel::exception::InvalidArgument, 0x8ABC700F,
                   "Invalid argument(s)");
  // Before 1970, and from 2038-01-19 on (which would still fit a 32-bit time_t: a margin).
  for (const AbsTime& t : {Unix(-1.0), AbsTime(0.0, 0.0), Unix(2147472000.0), AbsTime::max}) {
    EXPECT_KEL_THROW(Utc(t, 0), OutOfRange, 0x8ABC7007, "Out of range");
  }
  EXPECT_EQ(L"1970-01-01 00:00:00", Utc(GetMinTime_T(), 0));
  EXPECT_EQ(L"2038-01-18 00:00:00", Utc(GetMaxTime_T(), 0));
  AbsTime beyond(GetMaxTime_T());
  beyond += zo::kel::RelTime(nZOSS100::tSignedFixedPoint128::FromWords(0, 0, 0, 1));
  std::tm out{};
  out.tm_year = 77;
  EXPECT_KEL_THROW(AbsTimeToUTCDateTime(beyond, out, false), OutOfRange, 0x8ABC7007,
                   "Out of range");
  EXPECT_KEL_THROW(AbsTimeToLocalDateTime(Unix(-0.5), out, true), OutOfRange, 0x8ABC7007,
                   "Out of range");
  EXPECT_EQ(77, out.tm_year);  // unchanged after a failure
}

TEST(AbsTimeToString, LocalTimeFollowsThePinnedZone) {
  const ScopedEnv zone("TZ", "America/New_York");
  const auto local = [](const AbsTime& t) {
    return Text(
        AbsTimeToString(t, L"%Y-%m-%d", L"%H:%M:%S %Z", 3, kTimeStringLocal, false, nullptr));
  };
  EXPECT_EQ(L"1969-12-31 19:00:00.250 EST", local(Unix(0.0, 0.25)));
  // 2000-07-01 12:00:00 UTC in daylight saving time.
  EXPECT_EQ(L"2000-07-01 08:00:00.000 EDT", local(Unix(962452800.0)));
}

TEST(AbsTimeToString, SystemFormatsAndSeparator) {
  // The system formats are the locale's conversions, without a "%S" to put a fraction after;
  // the separator is the process's numeric one: a comma under a German locale.
  const struct {
    const char *locale, *separator;
    const wchar_t *systemText, *explicitText;
  } rows[] = {{"C", ".", L"07/01/00 12:00:00", L"07/01/00 12:00:00.250"},
              {"de_DE.UTF-8", ",", L"01.07.2000 12:00:00", L"01.07.2000 12:00:00,250"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.locale);
    const ScopedEnv environment("LC_ALL", row.locale);
    const zo_kel_test::ScopedLocale locale(row.locale);
    ASSERT_TRUE(locale.ok());
    const AbsTime t = Unix(962452800.0, 0.25);
    EXPECT_EQ(row.systemText, Utc(t, 3, false, nullptr, nullptr, nullptr));
    EXPECT_EQ(row.explicitText, Utc(t, 3, false, nullptr, nullptr));
    char point[4] = {'x', 'x', 'x', 'x'};
    GetDecimalSeparator(point, sizeof point);
    EXPECT_STREQ(row.separator, point);
  }
  const ScopedEnv locale("LC_ALL", "C");
  GetSystemDateFormat();  // puts the process's time category back to C
  char point[2] = {'x', 'x'};
  GetDecimalSeparator(point, 1);
  EXPECT_EQ('\0', point[0]);
  point[0] = 'x';
  GetDecimalSeparator(point, 0);
  EXPECT_EQ('x', point[0]);
}

TEST(AbsTimeToString, CurrentTimeReadsTheClock) {
  // Bounded by the clock the library reads: std::time may read a coarser clock that lags it.
  timeval before{}, after{};
  gettimeofday(&before, nullptr);
  const AbsTime now = GetCurrentAbsTime();
  gettimeofday(&after, nullptr);
  EXPECT_GE(now.getSecondsImpl(), static_cast<std::int64_t>(before.tv_sec) + 2082844800);
  EXPECT_LE(now.getSecondsImpl(), static_cast<std::int64_t>(after.tv_sec) + 2082844800);
}

TEST(AbsTimeToString, ConversionsRunInParallelAndTheGlobalLockIsRecursive) {
  g_timeConversionGuard.enter();
  g_timeConversionGuard.enter();
  EXPECT_EQ(L"1970-01-01 00:00:00.250", Utc(Unix(0.0, 0.25), 3));  // the owner converts
  // Another thread waits while the lock is held. Correct code can never fail this; a slow start
  // of the thread can only make the check weaker, never wrong.
  std::atomic<bool> converted{false};
  std::thread waiter([&converted] {
    Utc(Unix(0.0), 0);
    converted = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(converted.load());
  g_timeConversionGuard.leave();
  g_timeConversionGuard.leave();
  waiter.join();
  EXPECT_TRUE(converted.load());

  // Conversions of different times on several threads at once each get their own result.
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (const double unix : {0.0, 951831907.0, 0.0, 951831907.0}) {
    threads.emplace_back([unix, &failures] {
      const std::wstring expected = Utc(Unix(unix, 0.25), 3);
      for (int i = 0; i < 200; ++i) failures += Utc(Unix(unix, 0.25), 3) != expected;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, failures.load());
}

TEST(AtomicInt, OperationsReturnNewValuesAndCompareExchangeTheValueFound) {
  AtomicInt count(1);
  EXPECT_EQ(2, count.increment());
  EXPECT_EQ(1, count.decrement());
  EXPECT_EQ(0, count.decrement());
  EXPECT_EQ(-1, count.decrement());
  EXPECT_EQ(-1, count.compareExchange(-1, 7));
  EXPECT_EQ(7, count.compareExchange(5, 9));  // no match: unchanged
  EXPECT_TRUE(count == 7 && count != 6 && count > 6 && count >= 7 && !(count > 7));
}

// Four threads at once: the counter's updates are atomic, and guarded updates are serialised
// even when the guard is taken twice.
TEST(AtomicInt, ConcurrentUpdatesBalanceAndGuardsSerialise) {
  AtomicInt count(0);
  CriticalSection lock(nullptr);
  long total = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        count.increment();
        count.decrement();
        count.increment();
        CriticalSectionGuard guard(lock);
        CriticalSectionGuard again(lock);
        ++total;
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(80000, count.getCount());
  EXPECT_EQ(80000, total);
}

TEST(CriticalSection, OwnerMayEnterAgainOthersMayNot) {
  CriticalSection lock;
  lock.enter();
  EXPECT_TRUE(lock.tryEnter());  // recursive: the owner enters again without blocking
  bool otherGotIn = true;
  std::thread([&] { otherGotIn = lock.tryEnter(); }).join();
  EXPECT_FALSE(otherGotIn);
  lock.leave();
  lock.leave();
  std::thread([&] {
    otherGotIn = lock.tryEnter();
    if (otherGotIn) lock.leave();
  }).join();
  EXPECT_TRUE(otherGotIn);
  EXPECT_TRUE(lock.inOwningThread());
}

TEST(IntegerToString, DigitsMostSignificantFirstNegativesSignedOnlyInDecimal) {
  const struct {
    WString text;
    const wchar_t* expected;
  } rows[] = {
      {UInt32ToString(255, 16), L"FF"},
      {UInt64ToString(~0ull, 36), L"3W5E11264SGSF"},
      {UInt16ToString(65535, 8), L"177777"},
      {UInt8ToString(0, 7), L"0"},
      {UIntToString(4294967295u, 10), L"4294967295"},
      // Other radixes show the two's-complement bits at the type's width.
      {Int16ToString(-2, 16), L"FFFE"},
      {Int8ToString(-1, 2), L"11111111"},
      {Int64ToString(std::numeric_limits<std::int64_t>::min(), 10), L"-9223372036854775808"},
      {Int32ToString(std::numeric_limits<std::int32_t>::min(), 10), L"-2147483648"},
      {IntToString(std::numeric_limits<int>::min(), 8), L"20000000000"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.expected, Text(row.text));
  }
}

TEST(IntegerToString, RadixOutsideTwoToThirtySixIsRefused) {
  for (const std::uint32_t radix : {0u, 1u, 37u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(radix);
    EXPECT_KEL_THROW(UInt32ToString(0, radix), UnableToConvert, -1, "Unable to convert.");
    EXPECT_KEL_THROW(Int64ToString(-7, radix), UnableToConvert, -1, "Unable to convert.");
    EXPECT_KEL_THROW(Int16ToString(7, radix), UnableToConvert, -1, "Unable to convert.");
  }
}

}  // namespace
