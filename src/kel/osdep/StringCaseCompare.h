// The two string orders of the library: case-insensitive (C locale) and exact.
#ifndef ZO_KEL_OSDEP_STRINGCASECOMPARE_H
#define ZO_KEL_OSDEP_STRINGCASECOMPARE_H

#include "kel/export.h"

namespace zo {
namespace kel {
namespace osdep {

// Each returns a negative, zero or positive int. The counted forms take [begin, end) ranges, so
// embedded NULs take part; when one range runs out the difference of the remaining lengths
// decides.

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
ZO_KEL_API int StringExactCompare(const wchar_t* aBegin, const wchar_t* aEnd,
                                  const wchar_t* bBegin, const wchar_t* bEnd);

}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_STRINGCASECOMPARE_H
