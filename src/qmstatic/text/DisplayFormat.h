// The 74 numbered display formats of the operator displays: their names, the buffer sizes callers
// give for a displayed value, and the overflow text shown when a value does not fit.
#ifndef ZO_KEL_QMSTATIC_TEXT_DISPLAYFORMAT_H
#define ZO_KEL_QMSTATIC_TEXT_DISPLAYFORMAT_H

#include "kel/export.h"

/// Text sizes (terminator included) that callers provide for an integer, a number and a time.
/// Every format's normal output fits in 32 characters.
constexpr unsigned MAX_TEXT_INTEGER = 32;
constexpr unsigned MAX_TEXT_DOUBLE = 32;
constexpr unsigned MAX_TEXT_TIME = 32;

/// Looks `name` up among the 74 format names in number order, exactly and case-sensitively
/// ("hh:mm" is a clock time of day, "HH:MM" an elapsed duration). On the first match stores the
/// format number in `*index` (when `index` is not null) and returns true; otherwise returns false
/// and leaves `*index` unchanged. A null `name` matches nothing.
ZO_KEL_API bool IsFormat0(const char* name, short* index);

/// Copies the name of format `index` (a number of 74 or more is taken as 0, "General") into
/// `dst`, at most `size` characters, and always terminates at `dst[size - 1]`, so a short buffer
/// gets the name cut. Returns `dst`. With a null `dst` or a `size` of 0 nothing is written.
ZO_KEL_API char* GetFormatText0(unsigned index, char* dst, unsigned size);

/// Writes the overflow text: n = min(size, 16) - 1 asterisks and a terminator (so at most
/// "***************"), and returns -n. A buffer of 1 gets an empty text and the result 0; with a
/// null `dst` or a `size` of 0 nothing is written and the result is 0.
ZO_KEL_API int SetOverflow(char* dst, unsigned size);

#endif  // ZO_KEL_QMSTATIC_TEXT_DISPLAYFORMAT_H
