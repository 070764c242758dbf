// Fuzz target: the scanners of typed-in text (numbers, durations, times of day, dates, logical
// words) in their narrow and wide forms. Outputs change only on success, TextToNumber0 is the
// first scanner that accepts, and the wide forms agree with the narrow ones on ASCII text.
#include <cstdint>
#include <cstring>
#include <string>

#include "FuzzCheck.h"
#include "qmstatic/text/LogicalText.h"
#include "qmstatic/text/TextScanner.h"

namespace {

constexpr double kUntouched = -12345.678;

// Runs scan(text, &out) over an output holding kUntouched; false leaves it so.
template <class Scan>
bool Scan(Scan scan, double& out) {
  out = kUntouched;
  const bool ok = scan(&out);
  if (!ok) FUZZ_CHECK(std::memcmp(&out, &kUntouched, sizeof out) == 0);
  return ok;
}

bool SameDouble(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

void CheckScanners(const char* text, int format) {
  double number, days, date, combined;
  const bool isNumber = Scan([&](double* o) { return AsciiToNumber(text, o); }, number);
  const bool isDays = Scan([&](double* o) { return AsciiToDays(text, o); }, days);
  const bool isDate = Scan([&](double* o) { return AsciiToDateTime(text, o, format); }, date);
  const bool any = Scan([&](double* o) { return TextToNumber0(text, o, format); }, combined);
  // An empty text is refused, although AsciiToDays reads it as 0.
  FUZZ_CHECK(any == (*text != 0 && (isNumber || isDays || isDate)));
  if (any) FUZZ_CHECK(SameDouble(combined, isNumber ? number : isDays ? days : date));
  double timeOfDay;
  if (Scan([&](double* o) { return AsciiToTime(text, o); }, timeOfDay)) {
    FUZZ_CHECK(timeOfDay >= 0.0 && timeOfDay < 1.0);
  }
}

void CheckRecognisers(const std::string& text, bool ascii) {
  const char* narrow = text.c_str();
  bool logical = false;
  const bool isLogical = IsLogicalText(narrow, logical);
  double value = kUntouched;
  const bool isNumeric = IsNumericText(narrow, value);
  double number = kUntouched;
  FUZZ_CHECK(isNumeric == AsciiToNumber(narrow, &number) && SameDouble(value, number));
  double days = kUntouched;
  const bool isTime = IsTimeText(narrow, days);
  if (!isTime) FUZZ_CHECK(SameDouble(days, kUntouched));
  long long nanoseconds = -7;
  if (IsTimeText(narrow, nanoseconds)) {
    FUZZ_CHECK(isTime);
  } else {
    FUZZ_CHECK(nanoseconds == -7);
  }
  if (!ascii) return;
  // The wide forms read the first 31 characters of a number or time; logical words whole.
  const std::wstring wide(text.begin(), text.end());
  bool wideLogical = false;
  FUZZ_CHECK(IsLogicalText(wide.c_str(), wideLogical) == isLogical && wideLogical == logical);
  if (text.size() <= 31) {
    double wideValue = kUntouched;
    FUZZ_CHECK(IsNumericText(wide.c_str(), wideValue) == isNumeric);
    FUZZ_CHECK(SameDouble(wideValue, value));
    double wideDays = kUntouched;
    FUZZ_CHECK(IsTimeText(wide.c_str(), wideDays) == isTime && SameDouble(wideDays, days));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // The first byte chooses the display format that orders a date's numbers.
  static const int kFormats[] = {0, 51, 67, 70, 72, 20};
  const int format = kFormats[data[0] % (sizeof kFormats / sizeof kFormats[0])];
  std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  text.resize(std::strlen(text.c_str()));
  bool ascii = true;
  for (unsigned char c : text) ascii &= c != 0 && c < 128;
  CheckScanners(text.c_str(), format);
  CheckRecognisers(text, ascii);
  return 0;
}
