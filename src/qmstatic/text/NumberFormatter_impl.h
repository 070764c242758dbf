// printf-identical rendering of the display formats' printf texts without the C library's
// general-purpose formatter on the common paths; not part of the public interface.
#ifndef ZO_KEL_QMSTATIC_TEXT_NUMBERFORMATTER_IMPL_H
#define ZO_KEL_QMSTATIC_TEXT_NUMBERFORMATTER_IMPL_H

#include <cstddef>
#include <cstdint>

#include "kel/export.h"

namespace zo {
namespace kel {
namespace detail {

/// Room for the longest text of a double in any display format: "%0.8f" of -DBL_MAX is a sign,
/// 309 integer digits, a point and 8 decimals (319 characters); the rest is margin for a width.
constexpr std::size_t kNumberTextCapacity = 352;

/// One printf conversion, %[flags][width][.precision][l]type.
struct PrintfConversion {
  bool zeroPad = false;
  bool otherFlag = false;  // '-', '+', ' ' or '#', which only snprintf applies here
  unsigned width = 0;
  int precision = -1;   // -1: none given
  char type = '\0';     // '\0': not a conversion this parser knows
  unsigned length = 0;  // characters from the '%' to the type, both included
};

/// Parses the conversion that starts at the '%' at `p`.
constexpr PrintfConversion ParsePrintfConversion(const char* p) noexcept {
  PrintfConversion c;
  const char* const start = p;
  if (*p != '%') return c;
  for (++p;; ++p) {
    if (*p == '0') {
      c.zeroPad = true;
    } else if (*p == '-' || *p == '+' || *p == ' ' || *p == '#') {
      c.otherFlag = true;
    } else {
      break;
    }
  }
  for (; *p >= '0' && *p <= '9'; ++p) {
    if (c.width > 9999) return PrintfConversion{};
    c.width = c.width * 10 + static_cast<unsigned>(*p - '0');
  }
  if (*p == '.') {
    c.precision = 0;
    for (++p; *p >= '0' && *p <= '9'; ++p) {
      if (c.precision > 9999) return PrintfConversion{};
      c.precision = c.precision * 10 + (*p - '0');
    }
  }
  if (*p == 'l') ++p;
  if (*p == '\0') return PrintfConversion{};
  c.type = *p;
  c.length = static_cast<unsigned>(p + 1 - start);
  return c;
}

/// A number format: a printf text that is one floating-point conversion, parsed once.
struct DoubleFormat {
  const char* printfText = nullptr;
  PrintfConversion conversion;
};

constexpr DoubleFormat MakeDoubleFormat(const char* printfText) noexcept {
  return DoubleFormat{printfText, ParsePrintfConversion(printfText)};
}

/// Writes exactly what snprintf(out, outSize, format.printfText, value) writes when the text
/// fits: finite values through std::to_chars when the text is a single %f, %F, %e, %E, %g or %G
/// conversion with at most the '0' flag, everything else through snprintf. Returns the length
/// of the text, or -1 when it does not fit in `outSize` (terminator included); `out` is then
/// unspecified.
ZO_KEL_API int FormatDouble(const DoubleFormat& format, double value, char* out,
                            std::size_t outSize);

/// Writes what snprintf writes for `printfText` with the 32-bit unsigned `args` in order, for
/// texts made of literal characters and conversions %[0][width][.precision][l]{u,X} (a %lu takes
/// its value as unsigned long, which prints the same digits). Returns the length, or -1 when the
/// text needs more arguments than `count`, holds another conversion, or does not fit in
/// `outSize` (terminator included).
ZO_KEL_API int FormatUnsigned(const char* printfText, const std::uint32_t* args, std::size_t count,
                              char* out, std::size_t outSize);

/// Shortens a scientific text whose exponent carries a leading zero, as written by formatters
/// that print three exponent digits: "1.5E+005" becomes "1.5E+5" and "1.0E+015" becomes
/// "1.0E+15". A text whose third character from the end is not '0' (such as "1.5E+05", where it
/// is the sign) is left alone. Returns the new length; `text` stays terminated.
ZO_KEL_API int TrimExponent(char* text, int length) noexcept;

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_QMSTATIC_TEXT_NUMBERFORMATTER_IMPL_H
