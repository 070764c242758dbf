// Wide text to narrow text in a named code set, through the platform's character-set converter.
#ifndef ZO_KEL_OSDEP_WIDETOANSI_H
#define ZO_KEL_OSDEP_WIDETOANSI_H

#include "kel/export.h"

namespace zo {
namespace kel {
namespace osdep {

// Code-set names and ownership as for AnsiToWide.

/// Converts [begin, end); outBegin/outEnd receive the new array and its terminator's position.
ZO_KEL_API void WideToAnsi(const wchar_t* begin, const wchar_t* end, const char* codeSet,
                           char*& outBegin, char*& outEnd);
/// Converts [begin, end) and returns the new array.
ZO_KEL_API char* WideToAnsi(const wchar_t* begin, const wchar_t* end, const char* codeSet);
/// Converts a NUL-terminated text and returns the new array.
ZO_KEL_API char* WideToAnsi(const wchar_t* text, const char* codeSet);

/// Always false; conversions always throw on an unopenable converter on this platform.
ZO_KEL_API bool MakeWideToAnsiThrow(bool) noexcept;

}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_WIDETOANSI_H
