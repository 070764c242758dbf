// Recognisers for typed-in and stored text: is it a logical, a number or a time, and what does
// it mean; and a nanosecond time count shown in a display format. Each comes narrow and wide.
#ifndef ZO_KEL_QMSTATIC_TEXT_LOGICALTEXT_H
#define ZO_KEL_QMSTATIC_TEXT_LOGICALTEXT_H

#include "kel/export.h"

/// True when `text` is a logical word, compared whole and ignoring case (C locale), without
/// trimming blanks: "on", "yes", "y", "true", "t", "it just works", "unbelievable!" mean true;
/// "off", "no", "n", "false", "nil", "yeah, right" mean false. The two joke entries on each side
/// are part of the vocabulary, exactly as written; there is deliberately no "f", although "t"
/// means true. `value` is set only on a match; a null or empty text is not logical.
ZO_KEL_API bool IsLogicalText(const char* text, bool& value);
ZO_KEL_API bool IsLogicalText(const wchar_t* text, bool& value);

/// True when `text` is a number as AsciiToNumber reads it; `value` is set only then. A null text
/// is not numeric.
ZO_KEL_API bool IsNumericText(const char* text, double& value);
/// The wide form converts `text` to the locale's multibyte form first (wcstombs), keeping at
/// most 31 bytes: a longer text is cut, deliberately, to the size of a number's text, and the
/// cut text is what is read. A text that cannot be converted is not numeric.
ZO_KEL_API bool IsNumericText(const wchar_t* text, double& value);

/// True when `text` is a duration or time of day (AsciiToDays) or else a month/day/year date
/// with an optional time (AsciiToDateTime); `days` is set to the day count only then.
ZO_KEL_API bool IsTimeText(const char* text, double& days);
/// As above, as nanoseconds: the day count becomes seconds (days * 24 * 60 * 60), truncated
/// toward zero to whole seconds (the fraction of a second is dropped), times 1000000000.
/// A time whose nanoseconds do not fit in 64 bits is refused (false, `nanoseconds` unchanged).
ZO_KEL_API bool IsTimeText(const char* text, long long& nanoseconds);
/// Wide forms: the text is converted as for the wide IsNumericText (at most 31 bytes).
ZO_KEL_API bool IsTimeText(const wchar_t* text, double& days);
ZO_KEL_API bool IsTimeText(const wchar_t* text, long long& nanoseconds);

/// Shows a nanosecond time count (or duration) in display format `format`: the count divided by
/// 8.64e13 in floating point is given to NumberToText0, whose result is returned.
ZO_KEL_API int TimeToText(long long nanoseconds, int format, char* dst, unsigned size);
/// The wide form takes whole days only: the count is divided by 86400000000000 in integers
/// (truncating toward zero), so its time of day is always midnight. This asymmetry with the
/// narrow form is deliberate and kept: callers rely on it to show dates without their time.
/// The text (at most 31 characters, the overflow text included) is widened into `dst`: at most
/// `size` - 1 characters and a terminator. Returns the number of characters written; 0 and
/// nothing written when `dst` is null or `size` is 0.
ZO_KEL_API int TimeToText(long long nanoseconds, int format, wchar_t* dst, unsigned size);

#endif  // ZO_KEL_QMSTATIC_TEXT_LOGICALTEXT_H
