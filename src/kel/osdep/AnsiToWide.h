// Narrow text in a named code set to wide text, through the platform's character-set converter.
#ifndef ZO_KEL_OSDEP_ANSITOWIDE_H
#define ZO_KEL_OSDEP_ANSITOWIDE_H

#include "kel/export.h"

namespace zo {
namespace kel {
namespace osdep {

// Code-set names: "US-ASCII" for ASCII strings, "" for the calling thread's current locale's
// code set (so the result depends on setlocale), or any name the platform's converter knows.
// Results are new NUL-terminated arrays owned by the caller (delete[]), holding at most one
// character per input byte. Nothing is an error in the text: a byte or sequence that is invalid
// in the code set becomes one '?' per byte (see IConv). An unopenable converter throws
// InvalidLocale ("Invalid locale") and std::bad_alloc reports exhausted memory; after a throw
// nothing is allocated and the out pointers are unchanged. A null text is the empty text.

/// Converts [begin, end), embedded NULs included; outBegin/outEnd receive the new array and the
/// position of its terminator.
ZO_KEL_API void AnsiToWide(const char* begin, const char* end, const char* codeSet,
                           wchar_t*& outBegin, wchar_t*& outEnd);
/// Converts [begin, end) and returns the new array.
ZO_KEL_API wchar_t* AnsiToWide(const char* begin, const char* end, const char* codeSet);
/// Converts text up to its first NUL or maxBytes bytes, whichever comes first; a negative
/// maxBytes sets no limit (the text is NUL-terminated).
ZO_KEL_API wchar_t* AnsiToWide(const char* text, int maxBytes, const char* codeSet);

/// Kept for callers of the older interface: ignores its argument, changes nothing and returns
/// false; conversions always throw on an unopenable converter on this platform.
ZO_KEL_API bool MakeAnsiToWideThrow(bool) noexcept;

/// The Latin-1 fallback for platforms without a character-set converter (not the one used by
/// the library here): widens every byte to its value (0x80-0xFF become U+0080-U+00FF, even for
/// "US-ASCII"). Accepts only the code-set names "" and "US-ASCII"; any other, or null, throws
/// InvalidLocale. Results and ownership as for AnsiToWide.
ZO_KEL_API void Latin1AnsiToWide(const char* begin, const char* end, const char* codeSet,
                                 wchar_t*& outBegin, wchar_t*& outEnd);

}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_ANSITOWIDE_H
