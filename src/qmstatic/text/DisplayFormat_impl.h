// Internal view of the display format table and the numeric helpers shared by the text
// conversions; not part of the public interface.
#ifndef ZO_KEL_QMSTATIC_TEXT_DISPLAYFORMAT_IMPL_H
#define ZO_KEL_QMSTATIC_TEXT_DISPLAYFORMAT_IMPL_H

#include <cmath>
#include <cstdint>

namespace zo {
namespace kel {
namespace detail {

constexpr unsigned kDisplayFormatCount = 74;

/// One display format: the name users pick it by and the printf text that renders it.
struct DisplayFormat {
  const char* name;
  const char* printfText;
};

// Numbers 0-25 are plain numbers, 26-34 durations as one number of hours, minutes or seconds,
// 35-43 elapsed clock durations, 44-55 and 64-73 calendar dates and times of day, 56-63
// hexadecimal. Format 73 stands after the four-digit-year formats deliberately: its number is
// stored in operators' display settings and must not move.
inline constexpr DisplayFormat kDisplayFormats[kDisplayFormatCount] = {
    {"General", "%G"},
    {"0", "%0.0f"},
    {"0.0", "%0.1f"},
    {"0.00", "%0.2f"},
    {"0.000", "%0.3f"},
    {"0.0000", "%0.4f"},
    {"0.00000", "%0.5f"},
    {"0.000000", "%0.6f"},
    {"0.0000000", "%0.7f"},
    {"0.00000000", "%0.8f"},
    {"0E0", "%0.0E"},
    {"0.0E+0", "%0.1E"},
    {"0.00E+0", "%0.2E"},
    {"0.000E+0", "%0.3E"},
    {"0.0000E+0", "%0.4E"},
    {"0.00000E+0", "%0.5E"},
    {"0.000000E+0", "%0.6E"},
    {"0.0000000E+0", "%0.7E"},
    {"0.00000000E+0", "%0.8E"},
    {"00", "%02.0f"},
    {"000", "%03.0f"},
    {"0000", "%04.0f"},
    {"00000", "%05.0f"},
    {"000000", "%06.0f"},
    {"0000000", "%07.0f"},
    {"00000000", "%08.0f"},
    {"H", "%0.0f"},
    {"H.H", "%0.1f"},
    {"H.HH", "%0.2f"},
    {"M", "%0.0f"},
    {"M.M", "%0.1f"},
    {"M.MM", "%0.2f"},
    {"S", "%0.0f"},
    {"S.S", "%0.1f"},
    {"S.SS", "%0.2f"},
    {"HH:MM", "%2.2lu:%2.2u"},
    {"HH:MM:SS", "%2.2lu:%2.2u:%2.2u"},
    {"HH:MM:SS.S", "%2.2lu:%2.2u:%2.2u.%1u"},
    {"HH:MM:SS.SS", "%2.2lu:%2.2u:%2.2u.%2.2u"},
    {"HH:MM:SS.SSS", "%2.2lu:%2.2u:%2.2u.%3.3u"},
    {"MM:SS", "%2.2lu:%2.2u"},
    {"MM:SS.S", "%2.2lu:%2.2u.%1u"},
    {"MM:SS.SS", "%2.2lu:%2.2u.%2.2u"},
    {"MM:SS.SSS", "%2.2lu:%2.2u.%3.3u"},
    {"hh:mm", "%2.2u:%2.2u"},
    {"hh:mm:ss", "%2.2u:%2.2u:%2.2u"},
    {"mm/dd hh:mm", "%2.2u/%2.2u %2.2u:%2.2u"},
    {"mm/dd hh:mm:ss", "%2.2u/%2.2u %2.2u:%2.2u:%2.2u"},
    {"mm/dd/yy", "%2.2u/%2.2u/%2.2u"},
    {"mm/dd/yy hh:mm", "%2.2u/%2.2u/%2.2u %2.2u:%2.2u"},
    {"mm/dd/yy hh:mm:ss", "%2.2u/%2.2u/%2.2u %2.2u:%2.2u:%2.2u"},
    {"dd/mm hh:mm", "%2.2u/%2.2u %2.2u:%2.2u"},
    {"dd/mm hh:mm:ss", "%2.2u/%2.2u %2.2u:%2.2u:%2.2u"},
    {"dd/mm/yy", "%2.2u/%2.2u/%2.2u"},
    {"dd/mm/yy hh:mm", "%2.2u/%2.2u/%2.2u %2.2u:%2.2u"},
    {"dd/mm/yy hh:mm:ss", "%2.2u/%2.2u/%2.2u %2.2u:%2.2u:%2.2u"},
    {"0x0", "0x%01X"},
    {"0x00", "0x%02X"},
    {"0x000", "0x%03X"},
    {"0x0000", "0x%04X"},
    {"0x00000", "0x%05X"},
    {"0x000000", "0x%06X"},
    {"0x0000000", "0x%07X"},
    {"0x00000000", "0x%08X"},
    {"mm/dd/yyyy", "%2.2u/%2.2u/%4.4u"},
    {"mm/dd/yyyy hh:mm", "%2.2u/%2.2u/%4.4u %2.2u:%2.2u"},
    {"mm/dd/yyyy hh:mm:ss", "%2.2u/%2.2u/%4.4u %2.2u:%2.2u:%2.2u"},
    {"dd/mm/yyyy", "%2.2u/%2.2u/%4.4u"},
    {"dd/mm/yyyy hh:mm", "%2.2u/%2.2u/%4.4u %2.2u:%2.2u"},
    {"dd/mm/yyyy hh:mm:ss", "%2.2u/%2.2u/%4.4u %2.2u:%2.2u:%2.2u"},
    {"yyyy-mm-dd", "%4.4u-%2.2u-%2.2u"},
    {"yyyy-mm-dd hh:mm", "%4.4u-%2.2u-%2.2u %2.2u:%2.2u"},
    {"yyyy-mm-dd hh:mm:ss", "%4.4u-%2.2u-%2.2u %2.2u:%2.2u:%2.2u"},
    {"hh:mm:ss.s", "%2.2u:%2.2u:%2.2u.%1u"},
};

/// The format numbered `index`; 74 and above give format 0, "General".
constexpr const DisplayFormat& DisplayFormatAt(unsigned index) noexcept {
  return kDisplayFormats[index < kDisplayFormatCount ? index : 0];
}

/// Truncates toward zero to a signed 32-bit integer the way the x86 conversion instruction does:
/// NaN and values outside the 32-bit range give the integer-indefinite value INT32_MIN. The
/// range test comes first because a cast of such a value is undefined behaviour.
inline std::int32_t TruncateToInt32(double value) noexcept {
  if (value > -2147483649.0 && value < 2147483648.0) return static_cast<std::int32_t>(value);
  return INT32_MIN;
}

/// Milliseconds of the time of day in a day count: the fraction of `days` plus 1e-08 day (about
/// 0.864 ms), truncated. The addition keeps times stored a hair low, such as 0.5 s, from showing
/// one unit less. NaN and infinities give 0x80000000, as the processor's conversion does.
inline std::uint32_t MillisecondsOfDay(double days) noexcept {
  constexpr double kDayFudge = 1e-08;
  return static_cast<std::uint32_t>(
      TruncateToInt32(((days - std::trunc(days)) + kDayFudge) * 86400000.0));
}

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_QMSTATIC_TEXT_DISPLAYFORMAT_IMPL_H
