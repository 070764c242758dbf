// printf-identical rendering of the display formats: std::to_chars gives exactly the digits of
// printf for a precision (both round the exact binary value, ties to even), and the flags are
// applied here. About three times faster than snprintf, which parses its format on every call.
#include <langinfo.h>

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "qmstatic/text/NumberFormatter_impl.h"

namespace zo {
namespace kel {
namespace detail {
namespace {

// Pads the text [out, out + length) on the left to `width`: zeros after the sign when
// `zeros`, blanks before everything otherwise. Returns the new length or -1 without room.
int PadToWidth(char* out, int length, std::size_t outSize, unsigned width, bool zeros) {
  if (width <= static_cast<unsigned>(length)) return length;
  if (width >= outSize) return -1;
  const int pad = static_cast<int>(width) - length;
  const int keep = (zeros && (out[0] == '-' || out[0] == '+' || out[0] == ' ')) ? 1 : 0;
  std::memmove(out + keep + pad, out + keep, static_cast<std::size_t>(length - keep));
  std::memset(out + keep, zeros ? '0' : ' ', static_cast<std::size_t>(pad));
  return static_cast<int>(width);
}

// %g with `precision` significant digits of a finite value, from the shortest text that reads
// back as the value, when that text has at most `precision` digits: the exact value then lies
// within half a unit of the 53-bit significand of it, far closer than any rounding boundary of
// `precision` <= 15 digits, so rounding the exact value gives those digits too. Normal numbers
// only: subnormals carry fewer bits ("5e-324" is shortest, %g shows 4.94066e-324). Returns the
// length, or -1 when the shortest text is longer and std::to_chars' own rounding must decide.
// Typed or measured display values mostly take this path, which is about a third faster.
constexpr int kMaxShortcutPrecision = 15;

int FormatGeneralFromShortest(double value, int precision, bool upper, char* out) {
  if (!(std::fabs(value) >= DBL_MIN)) return -1;
  char e[32];
  const std::to_chars_result r =
      std::to_chars(e, e + sizeof e, value, std::chars_format::scientific);
  if (r.ec != std::errc()) return -1;
  // e holds [-]d[.ddd]e(+|-)XX.
  const char* p = e;
  const bool negative = *p == '-';
  if (negative) ++p;
  char digits[20];
  int count = 0;
  for (; *p != 'e'; ++p) {
    if (*p == '.') continue;
    if (count == precision) return -1;
    digits[count++] = *p;
  }
  const char* const exponentText = p;
  int exponent = 0;
  for (const char* q = p + 2; q != r.ptr; ++q) exponent = exponent * 10 + (*q - '0');
  if (p[1] == '-') exponent = -exponent;

  int n = 0;
  if (negative) out[n++] = '-';
  if (exponent < precision && exponent >= -4) {
    // Fixed notation without trailing zeros (the shortest digits have none after the point).
    if (exponent >= 0) {
      for (int i = 0; i <= exponent; ++i) out[n++] = i < count ? digits[i] : '0';
      if (count > exponent + 1) {
        out[n++] = '.';
        for (int i = exponent + 1; i < count; ++i) out[n++] = digits[i];
      }
    } else {
      out[n++] = '0';
      out[n++] = '.';
      for (int i = exponent; i < -1; ++i) out[n++] = '0';
      for (int i = 0; i < count; ++i) out[n++] = digits[i];
    }
  } else {
    out[n++] = digits[0];
    if (count > 1) {
      out[n++] = '.';
      for (int i = 1; i < count; ++i) out[n++] = digits[i];
    }
    out[n++] = upper ? 'E' : 'e';
    for (const char* q = exponentText + 1; q != r.ptr; ++q) out[n++] = *q;
  }
  return n;
}

// True when the process's numeric locale writes '.' as the decimal point, as std::to_chars does.
bool PointIsDecimalSeparator() noexcept {
  const char* radix = nl_langinfo(RADIXCHAR);
  return radix[0] == '.' && radix[1] == '\0';
}

int FormatWithSnprintf(const char* printfText, double value, char* out, std::size_t outSize) {
  const int n = std::snprintf(out, outSize, printfText, value);
  return (n < 0 || static_cast<std::size_t>(n) >= outSize) ? -1 : n;
}

}  // namespace

int FormatDouble(const DoubleFormat& format, double value, char* out, std::size_t outSize) {
  if (outSize == 0) return -1;
  const PrintfConversion& c = format.conversion;
  std::chars_format style = std::chars_format::fixed;
  bool upper = false;
  switch (c.type) {
    case 'f':
    case 'F':
      break;
    case 'E':
      upper = true;
      [[fallthrough]];
    case 'e':
      style = std::chars_format::scientific;
      break;
    case 'G':
      upper = true;
      [[fallthrough]];
    case 'g':
      style = std::chars_format::general;
      break;
    default:
      return FormatWithSnprintf(format.printfText, value, out, outSize);
  }
  // Infinities and NaN are spelled by the C library and padded with blanks even under the '0'
  // flag; they are rare enough to leave to it, like texts with more than one conversion and
  // processes whose numeric locale writes another decimal point than '.'.
  if (c.otherFlag || format.printfText[c.length] != '\0' || !std::isfinite(value) ||
      !PointIsDecimalSeparator()) {
    return FormatWithSnprintf(format.printfText, value, out, outSize);
  }
  const int precision = c.precision < 0 ? 6 : c.precision;
  int length = -1;
  if (style == std::chars_format::general && precision > 0 && precision <= kMaxShortcutPrecision &&
      outSize > 64) {
    length = FormatGeneralFromShortest(value, precision, upper, out);
  }
  if (length < 0) {
    // The last byte stays free for the terminator.
    const std::to_chars_result r = std::to_chars(out, out + outSize - 1, value, style, precision);
    if (r.ec != std::errc()) return -1;
    length = static_cast<int>(r.ptr - out);
    if (upper) {
      // A finite value's only letter is the exponent's 'e'.
      for (int i = 0; i < length; ++i) {
        if (out[i] == 'e') out[i] = 'E';
      }
    }
  }
  length = PadToWidth(out, length, outSize, c.width, c.zeroPad);
  if (length < 0) return -1;
  out[length] = '\0';
  return length;
}

int FormatUnsigned(const char* printfText, const std::uint32_t* args, std::size_t count, char* out,
                   std::size_t outSize) {
  std::size_t length = 0;
  std::size_t used = 0;
  for (const char* p = printfText; *p != '\0';) {
    if (*p != '%') {
      if (length + 1 >= outSize) return -1;
      out[length++] = *p++;
      continue;
    }
    const PrintfConversion c = ParsePrintfConversion(p);
    if ((c.type != 'u' && c.type != 'X') || c.otherFlag || used == count) return -1;
    p += c.length;
    // Digits, least significant first.
    char digits[16];
    unsigned n = 0;
    const unsigned base = c.type == 'X' ? 16 : 10;
    for (std::uint32_t v = args[used++]; v != 0; v /= base)
      digits[n++] = "0123456789ABCDEF"[v % base];
    // The precision is the minimum number of digits (so "%.0u" of 0 prints nothing); without
    // one it is 1, and the '0' flag pads with zeros up to the width instead of blanks.
    unsigned minimum = c.precision < 0 ? 1u : static_cast<unsigned>(c.precision);
    const bool zerosToWidth = c.precision < 0 && c.zeroPad;
    if (zerosToWidth && c.width > minimum) minimum = c.width;
    const unsigned shown = n > minimum ? n : minimum;
    const unsigned total = c.width > shown ? c.width : shown;
    if (length + total >= outSize) return -1;
    for (unsigned i = shown; i < total; ++i) out[length++] = ' ';
    for (unsigned i = n; i < shown; ++i) out[length++] = '0';
    while (n > 0) out[length++] = digits[--n];
  }
  out[length] = '\0';
  return static_cast<int>(length);
}

int TrimExponent(char* text, int length) noexcept {
  if (length < 3 || text[length - 3] != '0') return length;
  if (text[length - 2] != '0') {
    text[length - 3] = text[length - 2];
    text[length - 2] = text[length - 1];
    text[length - 1] = '\0';
    return length - 1;
  }
  text[length - 3] = text[length - 1];
  text[length - 2] = '\0';
  return length - 2;
}

}  // namespace detail
}  // namespace kel
}  // namespace zo
