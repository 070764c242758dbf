// Number to display text: a double rendered in one of the 74 display formats.
#ifndef ZO_KEL_QMSTATIC_TEXT_NUMBERTOTEXT_H
#define ZO_KEL_QMSTATIC_TEXT_NUMBERTOTEXT_H

#include "kel/StringBase.h"
#include "kel/export.h"
#include "qmstatic/text/DisplayFormat.h"

/// Renders `value` in display format `format` (74 and above are taken as 0, "General") into
/// `dst`, always terminated, cut to `size` - 1 characters when longer. Times and durations are
/// day counts: whole days since 1899-12-30 (on the calendar of GetDate0) with the time of day as
/// the fraction.
///
/// - 0 to 25: the number through the format's printf text ("%G", "%0.2f", "%0.3E", "%05.0f"...).
/// - 26 to 34: the duration as one number of hours, minutes or seconds.
/// - 35 to 43: elapsed clock text ("HH:MM:SS.S", hours not wrapped at 24); fractions of a second
///   are truncated, never rounded, after adding 1e-08 day so that values stored a hair low (such
///   as 0.5 s) do not show one unit less.
/// - 44 to 55, 64 to 73: calendar date and time of day from GetDate0; the day count is taken
///   modulo 65536 (1900-01-01 to 2079-06-04).
/// - 56 to 63: the value truncated to a signed 32-bit integer, shown as unsigned upper-case
///   hexadecimal ("0xFFFFFFFF" for -1.0); NaN and values outside that range show 0x80000000, the
///   processor's integer-indefinite value.
///
/// Returns the length of the whole text (terminator not counted): a result of `size` or more
/// means the text was cut. Returns 0 and writes nothing when `dst` is null or `size` is 0.
/// Returns a negative number when the value cannot be shown, with the overflow text of
/// SetOverflow in `dst`: clock formats refuse magnitudes of 2147483647 days or more, and clock
/// and calendar formats refuse NaN and infinities. Negative durations are outside the clock
/// formats' domain: their fields come out of unsigned 32-bit wrap-around, without an error.
/// Allocates nothing.
ZO_KEL_API int NumberToText0(double value, unsigned format, char* dst, unsigned size);

/// NumberToText0 into `out`, through a buffer of 32 characters (MAX_TEXT_DOUBLE), which holds
/// every format's normal output. While the value cannot be shown (a negative result), the buffer
/// is freed, doubled and tried again, with no bound on the number of tries: deliberately, so a
/// value that can never be shown (3e9 days in a clock format) doubles until memory runs out, and
/// the caller sees std::bad_alloc (also thrown when the size would leave 32 bits). Callers check
/// the range first where that matters. On success `out` holds the text and the result of
/// NumberToText0 is returned; a text longer than 31 characters (such as 1e22 in "0.00000000") is
/// cut to 31, and the result, its whole length, says so. After a throw `out` is unchanged.
ZO_KEL_API int NumberToText(double value, int format, zo::kel::AString& out);

#endif  // ZO_KEL_QMSTATIC_TEXT_NUMBERTOTEXT_H
