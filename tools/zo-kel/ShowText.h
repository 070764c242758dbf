// Text pieces of zo-kel's readable output: quoted strings with escapes, numbers that read back
// exactly, and times as calendar text.
#ifndef ZO_KEL_TOOLS_SHOWTEXT_H
#define ZO_KEL_TOOLS_SHOWTEXT_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "kel/time/AbsTime.h"

namespace zokel_tool {

/// Longest text shown in full on one line of a tree; longer ones are cut with "...".
constexpr std::size_t kShownTextLimit = 120;

/// Narrow text in double quotes: printable ASCII as it is, \" \\ \n \t, other bytes as \xNN.
std::string QuoteBytes(const char* data, std::size_t n);
/// 16-bit code units in double quotes: printable ASCII as it is, the others as \uXXXX.
std::string QuoteUnits(const std::uint16_t* units, std::size_t n);
/// The shortest text that reads back as exactly d ("3.5", "0.1", "-0", "nan", "inf").
std::string ShowDouble(double d);
/// The instant as ISO 8601 UTC text, computed from its 128-bit value: every instant has one.
std::string IsoAbsTime(const zo::kel::AbsTime& t);
/// A time as "2024-12-25 10:30:00.000 UTC" when the calendar conversion can show it, and its
/// seconds since 1904-01-01 in any case.
std::string ShowAbsTime(const zo::kel::AbsTime& t);
/// Seconds of a fixed-point time value, shown exactly enough to tell neighbouring doubles apart.
std::string ShowSeconds(const nZOSS100::tSSTimeValue& t);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_SHOWTEXT_H
