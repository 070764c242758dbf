// Wide text to narrow text in a named code set, through the platform's character-set converter.
#ifndef ZO_KEL_OSDEP_WIDETOANSI_H
#define ZO_KEL_OSDEP_WIDETOANSI_H

#include "kel/export.h"

namespace zo {
namespace kel {
namespace osdep {

// Code-set names, ownership and failures as for AnsiToWide. The new array has room for 4 bytes
// per character, which holds every Unicode character in UTF-8 and in the other code sets in use;
// a character the code set lacks (a surrogate, for UTF-8) becomes '?'. Limit: the converter
// writes values above U+1FFFFF, which are not Unicode, in five or six UTF-8 bytes, so a text
// made mostly of them is cut short where the room ends (never overrun).

/// Converts [begin, end), embedded NULs included; outBegin/outEnd receive the new array and the
/// position of its terminator.
ZO_KEL_API void WideToAnsi(const wchar_t* begin, const wchar_t* end, const char* codeSet,
                           char*& outBegin, char*& outEnd);
/// Converts [begin, end) and returns the new array.
ZO_KEL_API char* WideToAnsi(const wchar_t* begin, const wchar_t* end, const char* codeSet);
/// Converts a NUL-terminated text (null is the empty text) and returns the new array.
ZO_KEL_API char* WideToAnsi(const wchar_t* text, const char* codeSet);

/// Kept for callers of the older interface: ignores its argument, changes nothing and returns
/// false; conversions always throw on an unopenable converter on this platform.
ZO_KEL_API bool MakeWideToAnsiThrow(bool) noexcept;

/// The Latin-1 fallback for platforms without a character-set converter (not the one used by
/// the library here): narrows every character below 256 to its low byte and every other to '?'.
/// Accepts only the code-set names "" and "US-ASCII"; any other, or null, throws InvalidLocale.
/// A null text is the empty text. Results and ownership as for WideToAnsi, without the spare
/// room: the array holds exactly one byte per character plus the terminator.
ZO_KEL_API void Latin1WideToAnsi(const wchar_t* begin, const wchar_t* end, const char* codeSet,
                                 char*& outBegin, char*& outEnd);

}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_WIDETOANSI_H
