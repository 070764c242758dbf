// Conversion between code sets through the platform's character-set converter (iconv).
#ifndef ZO_KEL_OSDEP_ICONV_H
#define ZO_KEL_OSDEP_ICONV_H

#include "kel/export.h"

namespace zo {
namespace kel {
namespace osdep {

/// Converts the units [begin, end), in the code set named fromCode, into [outBegin, outEnd) in
/// the code set named toCode; on return outEnd points just past the last unit written (nothing
/// is terminated). Code-set names: "wchar_t" (wide text, one 32-bit unit per character),
/// "UTF-16LE", "US-ASCII", "" (the calling thread's current locale's code set), or any other name
/// the platform's converter knows.
///
/// Whatever the converter cannot convert, it replaces: when it stops with an error while input
/// and output room both remain, a '?' is written in the target's unit width, one unit is skipped
/// on each side, and the conversion goes on. So an unknown character, an invalid byte and an
/// incomplete sequence at the end of the input each become one '?' per skipped source unit,
/// and a character that needs more room than is left (a UTF-16 surrogate pair with one unit of
/// room) becomes '?' too. Conversion stops when the input or the output room is used up.
///
/// Throws InvalidLocale ("Invalid locale") when the converter cannot be opened for the pair of
/// names (an unknown name, or a null one), before anything is written. Opens and closes its own
/// converter on every call: no state is shared between calls or threads.
///
/// Instantiated for (char, wchar_t), (wchar_t, char), (wchar_t, unsigned short) and
/// (unsigned short, wchar_t).
template <typename From, typename To>
ZO_KEL_API void IConv(const From* begin, const From* end, const char* fromCode, To* outBegin,
                      To*& outEnd, const char* toCode);

extern template ZO_KEL_API void IConv<char, wchar_t>(const char*, const char*, const char*,
                                                     wchar_t*, wchar_t*&, const char*);
extern template ZO_KEL_API void IConv<wchar_t, char>(const wchar_t*, const wchar_t*, const char*,
                                                     char*, char*&, const char*);
extern template ZO_KEL_API void IConv<wchar_t, unsigned short>(const wchar_t*, const wchar_t*,
                                                               const char*, unsigned short*,
                                                               unsigned short*&, const char*);
extern template ZO_KEL_API void IConv<unsigned short, wchar_t>(const unsigned short*,
                                                               const unsigned short*, const char*,
                                                               wchar_t*, wchar_t*&, const char*);

}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_ICONV_H
