// NumberToText0: a double in one of the display formats, written into the caller's buffer.
#include "qmstatic/text/NumberToText.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <new>

#include "kel/DLLMalloc.h"
#include "qmstatic/text/DisplayFormat_impl.h"
#include "qmstatic/text/NumberFormatter_impl.h"
#include "qmstatic/text/TextScanner.h"

namespace {

using zo::kel::detail::DisplayFormatAt;
using zo::kel::detail::TruncateToInt32;

constexpr unsigned kGeneral = 0;
constexpr unsigned kLastNumber = 25;
constexpr unsigned kFirstScientific = 10;
constexpr unsigned kLastScientific = 18;
constexpr unsigned kLastHoursMinutesSeconds = 34;
constexpr unsigned kLastElapsedHours = 39;
constexpr unsigned kLastElapsed = 43;
constexpr unsigned kFirstHex = 56;
constexpr unsigned kLastHex = 63;

// Elapsed clock formats refuse day counts whose hours would not fit the 32-bit arithmetic.
constexpr double kElapsedLimit = 2147483647.0;

// The number formats 0-34, parsed once at compile time.
struct NumberFormats {
  zo::kel::detail::DoubleFormat of[kLastHoursMinutesSeconds + 1];
};

constexpr NumberFormats MakeNumberFormats() {
  NumberFormats t{};
  for (unsigned i = 0; i <= kLastHoursMinutesSeconds; ++i) {
    t.of[i] = zo::kel::detail::MakeDoubleFormat(DisplayFormatAt(i).printfText);
  }
  return t;
}

constexpr NumberFormats kNumberFormats = MakeNumberFormats();

// Copies the whole text [text, text + length) into the caller's buffer as snprintf would: cut to
// size - 1 characters and terminated. Returns `length`. (A plain loop: the texts are short, and
// the library calls for a variable length cost more than the copy.)
int Deliver(const char* text, int length, char* dst, unsigned size) {
  const unsigned n =
      static_cast<unsigned>(length) < size ? static_cast<unsigned>(length) : size - 1;
  for (unsigned i = 0; i < n; ++i) dst[i] = text[i];
  dst[n] = '\0';
  return length;
}

bool HasExponent(const char* text, int length) {
  for (int i = 0; i < length; ++i) {
    if (text[i] == 'E') return true;
  }
  return false;
}

// Formats 0-25 and 26-34: one floating-point conversion.
int NumberText(double value, unsigned format, char* dst, unsigned size) {
  char text[zo::kel::detail::kNumberTextCapacity];
  int length = zo::kel::detail::FormatDouble(kNumberFormats.of[format], value, text, sizeof text);
  if (length < 0 && format <= kLastNumber) {
    // A formatter error falls back to "General", which then counts as format 0.
    format = kGeneral;
    length = zo::kel::detail::FormatDouble(kNumberFormats.of[kGeneral], value, text, sizeof text);
  }
  if (length < 0) return SetOverflow(dst, size);
  const bool scientific = (format >= kFirstScientific && format <= kLastScientific) ||
                          (format == kGeneral && HasExponent(text, length));
  if (scientific) length = zo::kel::detail::TrimExponent(text, length);
  return Deliver(text, length, dst, size);
}

// Formats 35-63 and 64-73: unsigned integer fields.
int FieldText(unsigned format, const std::uint32_t* fields, std::size_t count, char* dst,
              unsigned size) {
  char text[64];
  const int length = zo::kel::detail::FormatUnsigned(DisplayFormatAt(format).printfText, fields,
                                                     count, text, sizeof text);
  if (length < 0) return SetOverflow(dst, size);
  return Deliver(text, length, dst, size);
}

int HexText(double value, unsigned format, char* dst, unsigned size) {
  // The bits of the truncated signed value, printed unsigned: -1.0 shows 0xFFFFFFFF.
  const std::uint32_t bits = static_cast<std::uint32_t>(TruncateToInt32(value));
  return FieldText(format, &bits, 1, dst, size);
}

int ElapsedText(double value, unsigned format, char* dst, unsigned size) {
  if (std::isnan(value) || std::fabs(value) >= kElapsedLimit) return SetOverflow(dst, size);
  // Unsigned 32-bit arithmetic throughout: negative durations wrap rather than fail.
  const std::uint32_t d = static_cast<std::uint32_t>(TruncateToInt32(value));
  const std::uint32_t ms = zo::kel::detail::MillisecondsOfDay(value);
  const std::uint32_t h = ms / 3600000u;
  const std::uint32_t m = (ms % 3600000u) / 60000u;
  const std::uint32_t s = (ms % 60000u) / 1000u;
  const std::uint32_t f = ms % 1000u;
  std::uint32_t fields[4];
  std::size_t n = 0;
  if (format <= kLastElapsedHours) {
    fields[n++] = h + 24u * d;
    fields[n++] = m;
  } else {
    fields[n++] = m + 1440u * d + 60u * h;
  }
  fields[n++] = s;
  // The fraction digit groups truncate: tenths, hundredths or thousandths of the second.
  switch (format) {
    case 37:
    case 41:
      fields[n++] = f / 100u;
      break;
    case 38:
    case 42:
      fields[n++] = f / 10u;
      break;
    case 39:
    case 43:
      fields[n++] = f;
      break;
    default:
      break;
  }
  return FieldText(format, fields, n, dst, size);
}

// The fields of a calendar format in printing order: Y year, y year modulo 100, m month, d day,
// h hour, n minute, s second, t tenth of a second. They follow the format's name.
const char* CalendarFields(unsigned format) {
  static constexpr const char* kLayouts[] = {
      "hn",    "hns",    "mdhn",  "mdhns",  "mdy",    "mdyhn", "mdyhns", "dmhn",   // 44-51
      "dmhns", "dmy",    "dmyhn", "dmyhns", nullptr,  nullptr, nullptr,  nullptr,  // 52-59
      nullptr, nullptr,  nullptr, nullptr,  "mdY",    "mdYhn", "mdYhns", "dmY",    // 60-67
      "dmYhn", "dmYhns", "Ymd",   "Ymdhn",  "Ymdhns", "hnst"};                     // 68-73
  return kLayouts[format - 44];
}

int CalendarText(double value, unsigned format, char* dst, unsigned size) {
  if (!std::isfinite(value)) return SetOverflow(dst, size);
  unsigned short date[kDateFieldCount];
  GetDate0(&value, date);
  std::uint32_t fields[6];
  std::size_t n = 0;
  for (const char* p = CalendarFields(format); *p != '\0'; ++p) {
    std::uint32_t v = 0;
    switch (*p) {
      case 'Y':
        v = date[kDateYear];
        break;
      case 'y':
        v = date[kDateYear] % 100u;
        break;
      case 'm':
        v = date[kDateMonth];
        break;
      case 'd':
        v = date[kDateDayOfMonth];
        break;
      case 'h':
        v = date[kDateHour];
        break;
      case 'n':
        v = date[kDateMinute];
        break;
      case 's':
        v = date[kDateSecond];
        break;
      default:
        v = date[kDateMillisecond] / 100u;
        break;  // 't'
    }
    fields[n++] = v;
  }
  return FieldText(format, fields, n, dst, size);
}

}  // namespace

int NumberToText0(double value, unsigned format, char* dst, unsigned size) {
  if (dst == nullptr || size == 0) return 0;
  if (format >= zo::kel::detail::kDisplayFormatCount) format = kGeneral;
  if (format <= kLastHoursMinutesSeconds) {
    if (format > kLastNumber) {
      // Durations as one number: hours, minutes or seconds.
      value *= format <= 28 ? 24.0 : format <= 31 ? 1440.0 : 86400.0;
    }
    return NumberText(value, format, dst, size);
  }
  if (format <= kLastElapsed) return ElapsedText(value, format, dst, size);
  if (format >= kFirstHex && format <= kLastHex) return HexText(value, format, dst, size);
  return CalendarText(value, format, dst, size);
}

int NumberToText(double value, int format, zo::kel::AString& out) {
  // The largest of the callers' text sizes, which fits every format's normal output.
  constexpr unsigned kFirstSize = std::max({MAX_TEXT_INTEGER, MAX_TEXT_DOUBLE, MAX_TEXT_TIME});
  struct Free {
    void operator()(char* p) const noexcept { zo::kel::DLLFree(p); }
  };
  for (unsigned size = kFirstSize;; size *= 2) {
    const std::unique_ptr<char, Free> buffer(static_cast<char*>(zo::kel::DLLMalloc(size)));
    const int result = NumberToText0(value, static_cast<unsigned>(format), buffer.get(), size);
    if (result >= 0) {
      out = buffer.get();
      return result;
    }
    // Unbounded on purpose (see the declaration); only the 32-bit size itself ends the doubling.
    if (size > 0x7FFFFFFFu) throw std::bad_alloc();
  }
}
