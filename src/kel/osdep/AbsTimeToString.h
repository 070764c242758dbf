// Absolute times as calendar text through the C library (UTC or local time, the locale's formats,
// an optional fraction of a second), and the current time as an AbsTime.
#ifndef ZO_KEL_OSDEP_ABSTIMETOSTRING_H
#define ZO_KEL_OSDEP_ABSTIMETOSTRING_H

#include <cstdint>
#include <ctime>

#include "kel/StringBase.h"
#include "kel/export.h"
#include "kel/osdep/CriticalSection.h"
#include "kel/time/AbsTime.h"

namespace zo {
namespace kel {
namespace osdep {

/// Which calendar a time is shown in: 0 is UTC, any other value local time.
enum TimeStringType : std::int32_t { kTimeStringUTC = 0, kTimeStringLocal = 1 };

/// The process-wide lock around the C library's calendar conversions (gmtime and localtime share
/// static state) and the clock read. Recursive; built before the library's other static objects
/// and destroyed after them. Callers that use those C functions themselves may hold it too.
extern ZO_KEL_API CriticalSection g_timeConversionGuard;

/// The system clock (gettimeofday) as an AbsTime, to the microsecond.
ZO_KEL_API AbsTime GetCurrentAbsTime();

/// Sets the time category of the C locale from the environment (setlocale(LC_TIME, "")) and
/// returns "%x", the locale's date conversion. The library's own calls of setlocale and strftime
/// run under g_timeConversionGuard, so conversions in several threads do not race; a program that
/// calls setlocale itself while other threads convert times must hold that lock too.
ZO_KEL_API WString GetSystemDateFormat();
/// As GetSystemDateFormat, returning "%X", the locale's time conversion. "%X" holds no "%S", so
/// a time text made with the system time format shows no fraction of a second in any locale;
/// pass an explicit time format such as "%H:%M:%S" to get one.
ZO_KEL_API WString GetSystemTimeFormat();

/// Copies the current locale's decimal point into `dst`, NUL-terminated: at most size - 1
/// characters and the terminator. A size of 0 writes nothing.
ZO_KEL_API void GetDecimalSeparator(char* dst, std::uint32_t size);

/// The convertible range of the calendar conversions: 1970-01-01 00:00:00 UTC and
/// 2038-01-18 00:00:00 UTC (what a signed 32-bit time_t holds, with a margin). Built once, on
/// first use, safely from any thread.
ZO_KEL_API const AbsTime& GetMinTime_T();
ZO_KEL_API const AbsTime& GetMaxTime_T();

/// Converts `t` to broken-down UTC (gmtime) under g_timeConversionGuard. The whole seconds are
/// the nearest (ties to even) when `round` is set, else the whole seconds below `t`.
/// Throws exception::OutOfRange, leaving `out` unchanged, for a time outside
/// [GetMinTime_T(), GetMaxTime_T()] (checked before the C library is called) or one the C library
/// cannot convert.
ZO_KEL_API void AbsTimeToUTCDateTime(const AbsTime& t, std::tm& out, bool round);
/// The same in the local time zone (localtime, which reads TZ).
ZO_KEL_API void AbsTimeToLocalDateTime(const AbsTime& t, std::tm& out, bool round);

/// Appends the fraction of `t` with `digits` digits (1 to 3), rounded to nearest, right after the
/// first "S" of `format` when that is the seconds conversion "%S" or "%#S" (a format whose first
/// "S" is anything else is left unchanged, deliberately). The fraction is the locale's decimal
/// point and zero-padded digits. A fraction that rounds up to a whole second moves `t` to the next
/// second and prints zeros (59.9996 s with three digits shows as the next minute, ".000").
/// Throws exception::InvalidArgument for more than 3 digits; 0 digits change nothing.
ZO_KEL_API void HandleFractionalSeconds(WString& format, AbsTime& t, unsigned digits);

/// `t` as calendar text with strftime: the date format, a blank and the time format (the time
/// first with `timeFirst`). A null format is the locale's (GetSystemDateFormat or
/// GetSystemTimeFormat); an empty one is left out with its blank. A non-empty `suffix` is added
/// after a blank to a non-empty time format; `fractionDigits` (0 to 3) add a fraction of a second
/// after "%S" (HandleFractionalSeconds). `type` 0 shows UTC, any other value local time; the
/// seconds are the whole seconds below the time (never rounded up, so that the fraction and the
/// seconds agree).
/// Returns an empty text for AbsTime::min (no time) and when the text would exceed 511
/// characters. Throws exception::InvalidArgument for more than 3 digits and exception::OutOfRange
/// outside [GetMinTime_T(), GetMaxTime_T()].
ZO_KEL_API WString AbsTimeToString(AbsTime t, const wchar_t* dateFormat, const wchar_t* timeFormat,
                                   unsigned fractionDigits, TimeStringType type, bool timeFirst,
                                   const wchar_t* suffix);

}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_ABSTIMETOSTRING_H
