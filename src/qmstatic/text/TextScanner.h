// Typed-in text to numbers, durations and dates: small table-driven scanners (one character
// class per input character, no backtracking), and the calendar of the display formats.
//
// The calendar counts days from 1899-12-30: day 1 is 1900-01-01 and every year divisible by 4 is
// a leap year, 1900 included, so from 1900-03-01 on a day count equals the days since 1899-12-30
// used by the time conversions. Counts are 16-bit: the calendar ends with day 65535, 2079-06-04.
//
// Every function returns true on success and false on any syntax or range failure, and writes
// its output only on success. A null text fails. Characters above 127 fail; no locale decides
// the decimal separator.
#ifndef ZO_KEL_QMSTATIC_TEXT_TEXTSCANNER_H
#define ZO_KEL_QMSTATIC_TEXT_TEXTSCANNER_H

#include "kel/export.h"

/// A number: optional leading blanks, an optional sign, digits with an optional point, an
/// optional exponent ("E" or "e", optional sign, digits), optional trailing blanks; or a
/// hexadecimal integer "0x1F" (either case) with no sign and no trailing blank.
/// The mantissa is scaled by a power of ten formed by binary powering from 10.0 or 0.1, so a
/// negative exponent can differ from strtod in the last bit ("1e-2" gives 0.1 * 0.1).
/// The exponent is a 16-bit count and wraps ("1e65537" is 10).
/// Deliberate quirks kept for compatibility with stored operator input: "0 " (a lone zero then a
/// blank) and "0." fail while "5 " and "5." are accepted; ".5" is accepted; ".", a lone sign, "E"
/// without digits and "0x" without digits fail. An empty text fails.
ZO_KEL_API bool AsciiToNumber(const char* text, double* value);

/// A duration [[[D:]H:]M:]S[.fraction] with optional blanks around it, as a day count. One field
/// is seconds of any size; with colons seconds must be below 60, with two or more colons minutes
/// too, and hours below 24 only when days are given (so "30:00:00" is 30 hours, deliberately).
/// The fraction belongs to the last field. An empty or all-blank text succeeds with 0; colons or
/// a point without any digit fail; a fourth colon fails.
ZO_KEL_API bool AsciiToDays(const char* text, double* days);

/// A time of day H:M or H:M:S with optional blanks around it, as a fraction of a day. Hours at
/// most 23, minutes and seconds at most 59; an empty field counts as 0 ("12:" is 12:00); a bare
/// number, or colons without any digit, fail. Fields are 16-bit and wrap ("65537:00" is 01:00).
ZO_KEL_API bool AsciiToTime(const char* text, double* days);

/// A date with an optional time of day after one blank, as a day count. The order of the numbers
/// follows display format `format`: 51-55 and 67-69 day/month/year, 70-72 year-month-day, every
/// other number month/day/year. Separators are "/" or "-", never mixed. A "-" date outside the
/// year-month-day formats is read with the month/day/year slots rotated to year-month-day, which
/// reads "2024-05-20" right in month/day/year order and fails it in day/month/year order
/// (deliberately: the year slot then holds the month), and needs a year of 1900 or later.
/// Two numbers take the reference year; a year from 100 to 1899 or above 2078 fails; a year
/// below 100 lies in the century window from the reference year - 50 to the reference year +
/// 49. The reference year is the current local year, read once per process, never below 1988.
/// A blank after the date must be followed by a time of day ("12/25/2024 " fails).
ZO_KEL_API bool AsciiToDateTime(const char* text, double* days, int format);

/// The day count of a date: with January and February taken as months 13 and 14 of the previous
/// year, day + floor(30.6001 * (month + 1)) + floor(year / 4) + 365 * year - 694037, modulo
/// 65536. No range check: DateDay0(1, 3, 1900) is 61, DateDay0(29, 2, 1900) is 60.
ZO_KEL_API unsigned short DateDay0(unsigned day, unsigned month, unsigned year);

/// Indices of the eleven fields that GetDate0 writes.
enum GetDate0Field {
  kDateYear,
  kDateDayOfYear,   // from 1
  kDateMonth,       // 1 to 12
  kDateDayOfMonth,  // from 1
  kDateDayOfWeek,   // 1 (Sunday) to 7 (Saturday)
  kDateHour,
  kDateMinute,
  kDateSecond,
  kDateMillisecond,
  kDateDaysInMonth,
  kDateDaysInYear,
  kDateFieldCount
};

/// Splits the day count `*days` into kDateFieldCount 16-bit fields (see GetDate0Field). The whole
/// days are truncated toward zero and taken modulo 65536 (values beyond the 32-bit range, and
/// NaN, count as day 0, as the processor's conversion gives); the time of day is the fraction
/// plus 1e-08 day, truncated to milliseconds. Day 0 reads as day 0 of January 1900, deliberately.
/// Negative counts are outside the calendar: their fields come out of the wrap-around.
/// `*days` is not modified.
ZO_KEL_API void GetDate0(double* days, unsigned short* fields);

/// A typed-in value: AsciiToNumber, else AsciiToDays, else AsciiToDateTime in `format`'s date
/// order; the first that succeeds decides. An empty text fails.
ZO_KEL_API bool TextToNumber0(const char* text, double* value, int format);

#endif  // ZO_KEL_QMSTATIC_TEXT_TEXTSCANNER_H
