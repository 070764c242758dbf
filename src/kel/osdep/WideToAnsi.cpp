// Wide text to narrow text in a named code set, through the platform's converter.
#include "kel/osdep/WideToAnsi.h"

#include <cstddef>
#include <cwchar>
#include <limits>
#include <memory>
#include <new>

#include "kel/NewArray_impl.h"
#include "kel/osdep/IConv.h"

namespace zo {
namespace kel {
namespace osdep {

// Room for the longest character of the code sets in use (UTF-8, GB18030); a character that
// needs more, in a stateful code set, is cut short by the rule of IConv.
constexpr std::size_t kBytesPerCharacter = 4;

void WideToAnsi(const wchar_t* begin, const wchar_t* end, const char* codeSet, char*& outBegin,
                char*& outEnd) {
  const std::size_t n = begin != nullptr && end > begin ? static_cast<std::size_t>(end - begin) : 0;
  if (n > (std::numeric_limits<std::size_t>::max() - 1) / kBytesPerCharacter) {
    throw std::bad_alloc();
  }
  std::unique_ptr<char[]> result(detail::NewArray<char>(n * kBytesPerCharacter + 1));
  char* stop = result.get() + n * kBytesPerCharacter;
  IConv<wchar_t, char>(begin, begin + n, "wchar_t", result.get(), stop, codeSet);
  *stop = '\0';
  outEnd = stop;
  outBegin = result.release();
}

char* WideToAnsi(const wchar_t* begin, const wchar_t* end, const char* codeSet) {
  char* outBegin;
  char* outEnd;
  WideToAnsi(begin, end, codeSet, outBegin, outEnd);
  return outBegin;
}

char* WideToAnsi(const wchar_t* text, const char* codeSet) {
  const std::size_t n = text != nullptr ? std::wcslen(text) : 0;
  return WideToAnsi(text, text + n, codeSet);
}

bool MakeWideToAnsiThrow(bool) noexcept { return false; }

}  // namespace osdep
}  // namespace kel
}  // namespace zo
