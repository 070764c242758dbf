// AsciiToDays and AsciiToTime: table-driven scanners for typed-in durations and times of day.
#include <cstdint>

#include "qmstatic/text/ScanStep_impl.h"
#include "qmstatic/text/TextScanner.h"

namespace {

enum Action : std::uint8_t { kNothing, kNextField, kDigit, kFractionDigit };

using Step = zo::kel::detail::ScanStep<Action>;
using zo::kel::detail::Do;
using zo::kel::detail::Go;
constexpr Go F(zo::kel::detail::kScanFail);
// Duration classes: blank, digit, ':', '.'; -1 fails at once.
int DurationClass(char c) {
  if (c == ' ') return 0;
  if (c >= '0' && c <= '9') return 1;
  if (c == ':') return 2;
  if (c == '.') return 3;
  return -1;
}

// Duration states: 0 start, 1 to 4 the first to fourth field, 5 fraction, 6 trailing blanks.
// A fourth ':' fails; a fraction ends the fields.
constexpr Step kDurationTable[7][4] = {
    //  blank  digit              ':'                "."
    {Go(0), Do(kDigit, 1), Do(kNextField, 2), Go(5)},
    {Go(6), Do(kDigit, 1), Do(kNextField, 2), Go(5)},
    {Go(6), Do(kDigit, 2), Do(kNextField, 3), Go(5)},
    {Go(6), Do(kDigit, 3), Do(kNextField, 4), Go(5)},
    {Go(6), Do(kDigit, 4), F, Go(5)},
    {Go(6), Do(kFractionDigit, 5), F, F},
    {Go(6), F, F, F},
};

// Time-of-day classes: blank, digit, ':'; -1 fails at once.
int TimeClass(char c) {
  if (c == ' ') return 0;
  if (c >= '0' && c <= '9') return 1;
  if (c == ':') return 2;
  return -1;
}

// Time-of-day states: 0 start, 1 hours, 2 minutes, 3 seconds, 4 trailing blanks.
constexpr Step kTimeTable[5][3] = {
    //  blank  digit          ':'
    {Go(0), Do(kDigit, 1), Do(kNextField, 2)},
    {Go(4), Do(kDigit, 1), Do(kNextField, 2)},
    {Go(4), Do(kDigit, 2), Do(kNextField, 3)},
    {Go(4), Do(kDigit, 3), F},
    {Go(4), F, F},
};

}  // namespace

bool AsciiToDays(const char* text, double* days) {
  if (text == nullptr || days == nullptr) return false;
  double fields[4] = {0.0, 0.0, 0.0, 0.0};
  unsigned colons = 0;
  bool anyDigit = false;
  bool point = false;
  double place = 1.0;
  int state = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    const int cls = DurationClass(*p);
    if (cls < 0) return false;
    const Step step = kDurationTable[state][cls];
    if (step.next == zo::kel::detail::kScanFail) return false;
    switch (step.action) {
      case kNothing:
        break;
      case kNextField:
        ++colons;
        break;
      case kDigit:
        fields[colons] = fields[colons] * 10.0 + (*p - '0');
        anyDigit = true;
        break;
      case kFractionDigit:
        place /= 10.0;
        fields[colons] += (*p - '0') * place;
        anyDigit = true;
        break;
    }
    if (*p == '.') point = true;
    state = step.next;
  }
  if ((colons > 0 || point) && !anyDigit) return false;
  // The last field is seconds; the ones before it minutes, hours and days.
  const double seconds = fields[colons];
  const double minutes = colons >= 1 ? fields[colons - 1] : 0.0;
  const double hours = colons >= 2 ? fields[colons - 2] : 0.0;
  const double wholeDays = colons >= 3 ? fields[0] : 0.0;
  if (colons >= 1 && seconds >= 60.0) return false;
  if (colons >= 2 && minutes >= 60.0) return false;
  // Hours are limited only when days are given: "30:00:00" is 30 hours, deliberately, because
  // operators type long durations that way.
  if (colons >= 3 && hours >= 24.0) return false;
  *days = wholeDays + hours / 24.0 + minutes / 1440.0 + seconds / 86400.0;
  return true;
}

bool AsciiToTime(const char* text, double* days) {
  if (text == nullptr || days == nullptr) return false;
  // 16-bit accumulators: a huge field wraps (deliberately, as stored input expects).
  std::uint16_t fields[3] = {0, 0, 0};
  unsigned colons = 0;
  bool anyDigit = false;
  int state = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    const int cls = TimeClass(*p);
    if (cls < 0) return false;
    const Step step = kTimeTable[state][cls];
    if (step.next == zo::kel::detail::kScanFail) return false;
    if (step.action == kNextField) {
      ++colons;
    } else if (step.action == kDigit) {
      fields[colons] = static_cast<std::uint16_t>(fields[colons] * 10u + unsigned(*p - '0'));
      anyDigit = true;
    }
    state = step.next;
  }
  // A bare number is not a time of day; an empty field counts as 0 ("12:" is 12:00).
  if (colons == 0 || !anyDigit) return false;
  if (fields[0] > 23 || fields[1] > 59 || fields[2] > 59) return false;
  *days = fields[0] / 24.0 + fields[1] / 1440.0 + fields[2] / 86400.0;
  return true;
}
