// Calendar text of absolute times through strftime, the calendar conversions under the global
// lock, and the clock.
#include "kel/osdep/AbsTimeToString.h"

#include <sys/time.h>

#include <clocale>
#include <cstring>
#include <cwchar>
#include <memory>

#include "kel/exception.h"
#include "kel/osdep/AnsiToWide.h"
#include "kel/osdep/WideToAnsi.h"

namespace zo {
namespace kel {
namespace osdep {

// Built before, and destroyed after, every static object of default priority, so that the other
// static initialisers of the library may already convert times.
__attribute__((init_priority(101))) CriticalSection g_timeConversionGuard;

namespace {

using nZOSS100::tSignedFixedPoint128;

// Seconds from 1904-01-01 to 1970-01-01.
constexpr double kUnixEpochSeconds = 2082844800.0;
// Seconds from 1970-01-01 to 2038-01-18 (24854 days).
constexpr double kMaxTimeTSeconds = 2147385600.0;
// The limit of strftime's output, terminator included.
constexpr std::size_t kMaxTextBytes = 512;
// The fraction format and the fraction text each fit this many wide characters.
constexpr std::size_t kFractionBufferChars = 20;

using Converter = std::tm* (*)(const std::time_t*);

void ToDateTime(const AbsTime& t, std::tm& out, bool round, Converter convert) {
  if (t < GetMinTime_T() || t > GetMaxTime_T()) {
    throw exception::OutOfRange(ZO_KEL_HERE);
  }
  tSignedFixedPoint128 seconds(t.value());
  std::int32_t status = 0;
  nZOSS100::tSSTimeAbsolute::_CorrectEpoch(nZOSS100::tSSTimeAbsolute::kToEpoch,
                                           nZOSS100::kEpoch1970, seconds, &status);
  const std::time_t whole = nZOSS100::tSSTimeValue(seconds).getI32ByUnits(
      nZOSS100::kSeconds, round ? nZOSS100::kRoundNearestEven : nZOSS100::kRoundFloor, &status);
  CriticalSectionGuard lock(g_timeConversionGuard);
  const std::tm* converted = convert(&whole);
  if (converted == nullptr) throw exception::OutOfRange(ZO_KEL_HERE);
  out = *converted;
}

// The text of a wide array that the caller owns.
WString TakeWide(wchar_t* text) {
  const std::unique_ptr<wchar_t[]> owned(text);
  return WString(owned.get());
}

// True when the character at `pos` (an 'S') ends a seconds conversion: "%S" or "%#S" with an odd
// run of '%' before it ("%%S" is a literal percent sign and an S).
bool IsSecondsConversion(const WString& format, WString::size_type pos) {
  const wchar_t* text = format.c_str();
  WString::size_type start = pos;
  if (start > 0 && text[start - 1] == L'#') --start;
  WString::size_type percents = 0;
  while (start > percents && text[start - percents - 1] == L'%') ++percents;
  return percents % 2 == 1;
}

}  // namespace

AbsTime GetCurrentAbsTime() {
  timeval now{};
  {
    CriticalSectionGuard lock(g_timeConversionGuard);
    gettimeofday(&now, nullptr);
  }
  return AbsTime(static_cast<double>(now.tv_sec) + kUnixEpochSeconds,
                 static_cast<double>(now.tv_usec) / 1000000.0);
}

// setlocale and the locale's time texts are shared by the whole process: the library changes and
// reads them under the time-conversion lock, so that conversions in several threads do not race.
WString GetSystemDateFormat() {
  CriticalSectionGuard lock(g_timeConversionGuard);
  std::setlocale(LC_TIME, "");
  return WString(L"%x");
}

WString GetSystemTimeFormat() {
  CriticalSectionGuard lock(g_timeConversionGuard);
  std::setlocale(LC_TIME, "");
  // Deliberately the conversion, not the locale's expansion of it: the expansion ("%H:%M:%S" in
  // the C locale, "%T" in others) would show a fraction in some locales and not in others.
  return WString(L"%X");
}

void GetDecimalSeparator(char* dst, std::uint32_t size) {
  if (size == 0) return;
  const char* point = std::localeconv()->decimal_point;
  std::size_t n = std::strlen(point);
  if (n > size - 1) n = size - 1;
  std::memcpy(dst, point, n);
  dst[n] = '\0';
}

const AbsTime& GetMinTime_T() {
  static const AbsTime min(kUnixEpochSeconds, 0.0);
  return min;
}

const AbsTime& GetMaxTime_T() {
  static const AbsTime max(kUnixEpochSeconds + kMaxTimeTSeconds, 0.0);
  return max;
}

void AbsTimeToUTCDateTime(const AbsTime& t, std::tm& out, bool round) {
  ToDateTime(t, out, round, [](const std::time_t* s) { return std::gmtime(s); });
}

void AbsTimeToLocalDateTime(const AbsTime& t, std::tm& out, bool round) {
  ToDateTime(t, out, round, [](const std::time_t* s) { return std::localtime(s); });
}

void HandleFractionalSeconds(WString& format, AbsTime& t, unsigned digits) {
  static const std::uint32_t kPowersOfTen[] = {1, 10, 100, 1000};
  if (digits > 3) throw exception::InvalidArgument(ZO_KEL_HERE);
  if (digits == 0) return;
  const std::uint32_t scale = kPowersOfTen[digits];
  auto n = static_cast<std::uint32_t>(t.getFraction() * scale + 0.5);
  if (n >= scale) {
    t += RelTime(1.0, 0.0);
    n = 0;
  }
  char point[kFractionBufferChars];
  GetDecimalSeparator(point, sizeof point);
  const WString separator = TakeWide(AnsiToWide(point, -1, ""));
  wchar_t fractionFormat[kFractionBufferChars];
  wchar_t fraction[kFractionBufferChars];
  // "%ls" is the wide separator; the result reads like ".%03d".
  std::swprintf(fractionFormat, kFractionBufferChars, L"%ls%%0%dd", separator.c_str(),
                static_cast<int>(digits));
  if (std::swprintf(fraction, kFractionBufferChars, fractionFormat, static_cast<int>(n)) < 0) {
    return;  // a separator too long for the buffer: the fraction is left out
  }
  const WString::size_type pos = format.find(L'S');
  if (pos == WString::npos || !IsSecondsConversion(format, pos)) return;
  format.replace(pos + 1, 0, WString(fraction));
}

WString AbsTimeToString(AbsTime t, const wchar_t* dateFormat, const wchar_t* timeFormat,
                        unsigned fractionDigits, TimeStringType type, bool timeFirst,
                        const wchar_t* suffix) {
  if (fractionDigits > 3) throw exception::InvalidArgument(ZO_KEL_HERE);
  if (t == AbsTime::min) return WString();
  const WString date = dateFormat != nullptr ? WString(dateFormat) : GetSystemDateFormat();
  WString time = timeFormat != nullptr ? WString(timeFormat) : GetSystemTimeFormat();
  if (suffix != nullptr && *suffix != L'\0' && !time.empty()) {
    time += L' ';
    time += suffix;
  }
  if (fractionDigits != 0 && !time.empty()) HandleFractionalSeconds(time, t, fractionDigits);
  WString joined(timeFirst ? time : date);
  const WString& second = timeFirst ? date : time;
  if (!joined.empty() && !second.empty()) joined += L' ';
  joined += second;

  std::tm calendar{};
  if (type == kTimeStringUTC) {
    AbsTimeToUTCDateTime(t, calendar, false);
  } else {
    AbsTimeToLocalDateTime(t, calendar, false);
  }
  const std::unique_ptr<char[]> narrow(WideToAnsi(joined.c_str(), ""));
  char text[kMaxTextBytes];
  std::size_t length = 0;
  {
    CriticalSectionGuard lock(g_timeConversionGuard);  // strftime reads the locale's time texts
    length = std::strftime(text, sizeof text, narrow.get(), &calendar);
  }
  return TakeWide(AnsiToWide(text, text + length, ""));
}

}  // namespace osdep
}  // namespace kel
}  // namespace zo
