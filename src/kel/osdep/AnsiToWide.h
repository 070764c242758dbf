// Narrow text in a named code set to wide text, through the platform's character-set converter.
#ifndef ZO_KEL_OSDEP_ANSITOWIDE_H
#define ZO_KEL_OSDEP_ANSITOWIDE_H

#include "kel/export.h"

namespace zo {
namespace kel {
namespace osdep {

// Code-set names: "US-ASCII" for ASCII strings, "" for the current locale's code set.
// Results are new NUL-terminated arrays owned by the caller (delete[]); a character the target
// lacks becomes '?'. An unopenable converter throws InvalidLocale ("Invalid locale").

/// Converts [begin, end); outBegin/outEnd receive the new array and its terminator's position.
ZO_KEL_API void AnsiToWide(const char* begin, const char* end, const char* codeSet,
                           wchar_t*& outBegin, wchar_t*& outEnd);
/// Converts [begin, end) and returns the new array.
ZO_KEL_API wchar_t* AnsiToWide(const char* begin, const char* end, const char* codeSet);
/// Converts text up to its first NUL or maxBytes bytes, whichever comes first.
ZO_KEL_API wchar_t* AnsiToWide(const char* text, int maxBytes, const char* codeSet);

/// Always false; conversions always throw on an unopenable converter on this platform.
ZO_KEL_API bool MakeAnsiToWideThrow(bool) noexcept;

}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_ANSITOWIDE_H
