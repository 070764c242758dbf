// The Latin-1 conversion pair, kept for platforms that have no character-set converter; the
// converter-based AnsiToWide and WideToAnsi are the ones the library uses here.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "kel/NewArray_impl.h"
#include "kel/exception.h"
#include "kel/osdep/AnsiToWide.h"
#include "kel/osdep/WideToAnsi.h"

namespace zo {
namespace kel {
namespace osdep {
namespace {

void CheckLatin1CodeSet(const char* codeSet) {
  if (codeSet == nullptr || (codeSet[0] != '\0' && std::strcmp(codeSet, "US-ASCII") != 0)) {
    throw exception::InvalidLocale(ZO_KEL_HERE);
  }
}

}  // namespace

void Latin1AnsiToWide(const char* begin, const char* end, const char* codeSet, wchar_t*& outBegin,
                      wchar_t*& outEnd) {
  CheckLatin1CodeSet(codeSet);
  const std::size_t n = begin != nullptr && end > begin ? static_cast<std::size_t>(end - begin) : 0;
  wchar_t* const result = detail::NewArray<wchar_t>(n + 1);
  for (std::size_t i = 0; i < n; ++i) {
    result[i] = static_cast<wchar_t>(static_cast<unsigned char>(begin[i]));
  }
  result[n] = L'\0';
  outBegin = result;
  outEnd = result + n;
}

void Latin1WideToAnsi(const wchar_t* begin, const wchar_t* end, const char* codeSet,
                      char*& outBegin, char*& outEnd) {
  CheckLatin1CodeSet(codeSet);
  const std::size_t n = begin != nullptr && end > begin ? static_cast<std::size_t>(end - begin) : 0;
  char* const result = detail::NewArray<char>(n + 1);
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint32_t c = static_cast<std::uint32_t>(begin[i]);
    result[i] = c < 256u ? static_cast<char>(c) : '?';
  }
  result[n] = '\0';
  outBegin = result;
  outEnd = result + n;
}

}  // namespace osdep
}  // namespace kel
}  // namespace zo
