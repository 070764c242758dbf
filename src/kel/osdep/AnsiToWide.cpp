// Narrow text in a named code set to wide text, through the platform's converter.
#include "kel/osdep/AnsiToWide.h"

#include <cstddef>
#include <cstring>
#include <memory>

#include "kel/NewArray_impl.h"
#include "kel/osdep/IConv.h"

namespace zo {
namespace kel {
namespace osdep {

void AnsiToWide(const char* begin, const char* end, const char* codeSet, wchar_t*& outBegin,
                wchar_t*& outEnd) {
  const std::size_t n = begin != nullptr && end > begin ? static_cast<std::size_t>(end - begin) : 0;
  // One wide unit per input byte is always enough: every character and every '?' consumes at
  // least one byte.
  std::unique_ptr<wchar_t[]> result(detail::NewArray<wchar_t>(n + 1));
  wchar_t* stop = result.get() + n;
  IConv<char, wchar_t>(begin, begin + n, codeSet, result.get(), stop, "wchar_t");
  *stop = L'\0';
  outEnd = stop;
  outBegin = result.release();
}

wchar_t* AnsiToWide(const char* begin, const char* end, const char* codeSet) {
  wchar_t* outBegin;
  wchar_t* outEnd;
  AnsiToWide(begin, end, codeSet, outBegin, outEnd);
  return outBegin;
}

wchar_t* AnsiToWide(const char* text, int maxBytes, const char* codeSet) {
  std::size_t n = 0;
  if (text != nullptr) {
    n = maxBytes < 0 ? std::strlen(text) : strnlen(text, static_cast<std::size_t>(maxBytes));
  }
  return AnsiToWide(text, text + n, codeSet);
}

bool MakeAnsiToWideThrow(bool) noexcept { return false; }

}  // namespace osdep
}  // namespace kel
}  // namespace zo
