// The two string orders of the library: case-insensitive (C locale) and exact.
#ifndef ZO_KEL_OSDEP_STRINGCASECOMPARE_H
#define ZO_KEL_OSDEP_STRINGCASECOMPARE_H

#include "kel/export.h"

namespace zo {
namespace kel {
namespace osdep {

// Each returns a negative, zero or positive int. The counted forms take [begin, end) ranges, so
// embedded NULs take part; when one range runs out, the result is (remaining length of the
// first) - (remaining length of the second), clamped to +-INT_MAX. A null NUL-terminated text is
// the empty text. No form allocates, and none depends on the process's locale.
//
// StringCaseCompare is the C locale's case-insensitive order whatever the process's locale:
// only A-Z and a-z are folded. Narrow text folds to lower case and returns the difference of the
// folded unsigned bytes (as strcasecmp does in the C locale); wide text folds to upper case (as
// towupper does) and returns -1, 0 or 1, comparing characters as signed wchar_t. Deliberately,
// the two orders differ for the six characters between 'Z' and 'a' ([ \ ] ^ _ `): narrow "_"
// sorts before "a", wide L"_" after L"a".
//
// StringExactCompare: narrow text compares unsigned bytes and returns their difference; wide
// text compares signed wchar_t and returns -1, 0 or 1.

ZO_KEL_API int StringCaseCompare(const char* a, const char* b);
ZO_KEL_API int StringCaseCompare(const char* aBegin, const char* aEnd, const char* bBegin,
                                 const char* bEnd);
ZO_KEL_API int StringCaseCompare(const wchar_t* a, const wchar_t* b);
ZO_KEL_API int StringCaseCompare(const wchar_t* aBegin, const wchar_t* aEnd, const wchar_t* bBegin,
                                 const wchar_t* bEnd);

ZO_KEL_API int StringExactCompare(const char* a, const char* b);
ZO_KEL_API int StringExactCompare(const char* aBegin, const char* aEnd, const char* bBegin,
                                  const char* bEnd);
ZO_KEL_API int StringExactCompare(const wchar_t* a, const wchar_t* b);
ZO_KEL_API int StringExactCompare(const wchar_t* aBegin, const wchar_t* aEnd, const wchar_t* bBegin,
                                  const wchar_t* bEnd);

}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_STRINGCASECOMPARE_H
