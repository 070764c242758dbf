// Numeric and time recognisers, and nanosecond time counts shown in a display format.
#include <cmath>
#include <cstdlib>

#include "qmstatic/text/LogicalText.h"
#include "qmstatic/text/NumberToText.h"
#include "qmstatic/text/TextScanner.h"

namespace {

// A wide text is read as at most this many multibyte characters plus a terminator: the size of a
// number's text. Longer texts are cut, deliberately.
constexpr std::size_t kNarrowTextSize = 32;

// The locale's multibyte form of `text`, cut to kNarrowTextSize - 1 bytes; false when the text
// cannot be converted.
bool Narrow(const wchar_t* text, char (&narrow)[kNarrowTextSize]) {
  if (text == nullptr) return false;
  const std::size_t n = std::wcstombs(narrow, text, kNarrowTextSize - 1);
  if (n == static_cast<std::size_t>(-1)) return false;
  narrow[n] = '\0';
  return true;
}

// Whole seconds of a nanosecond count that fits in a signed 64-bit integer.
constexpr double kMaxWholeSeconds = 9223372036.0;

}  // namespace

bool IsNumericText(const char* text, double& value) { return AsciiToNumber(text, &value); }

bool IsNumericText(const wchar_t* text, double& value) {
  char narrow[kNarrowTextSize];
  return Narrow(text, narrow) && AsciiToNumber(narrow, &value);
}

bool IsTimeText(const char* text, double& days) {
  return AsciiToDays(text, &days) || AsciiToDateTime(text, &days, 0);
}

bool IsTimeText(const char* text, long long& nanoseconds) {
  double days;
  if (!IsTimeText(text, days)) return false;
  const double seconds = std::trunc(days * 24 * 60 * 60);
  if (!(seconds >= -kMaxWholeSeconds && seconds <= kMaxWholeSeconds)) return false;
  nanoseconds = static_cast<long long>(seconds) * 1000000000LL;
  return true;
}

bool IsTimeText(const wchar_t* text, double& days) {
  char narrow[kNarrowTextSize];
  return Narrow(text, narrow) && IsTimeText(narrow, days);
}

bool IsTimeText(const wchar_t* text, long long& nanoseconds) {
  char narrow[kNarrowTextSize];
  return Narrow(text, narrow) && IsTimeText(narrow, nanoseconds);
}

int TimeToText(long long nanoseconds, int format, char* dst, unsigned size) {
  return NumberToText0(static_cast<double>(nanoseconds) / 8.64e13, static_cast<unsigned>(format),
                       dst, size);
}

int TimeToText(long long nanoseconds, int format, wchar_t* dst, unsigned size) {
  if (dst == nullptr || size == 0) return 0;
  const long long wholeDays = nanoseconds / 86400000000000LL;
  char text[MAX_TEXT_TIME];
  NumberToText0(static_cast<double>(wholeDays), static_cast<unsigned>(format), text, sizeof text);
  unsigned n = 0;
  for (; n + 1 < size && text[n] != '\0'; ++n) {
    dst[n] = static_cast<wchar_t>(static_cast<unsigned char>(text[n]));
  }
  dst[n] = L'\0';
  return static_cast<int>(n);
}
