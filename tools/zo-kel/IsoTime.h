// Instants as ISO 8601 UTC text ("2024-12-25T10:30:00.5Z"), computed from the 128-bit value
// itself: every instant the value holds has a text, whatever the range of the calendar
// functions of the C library.
#ifndef ZO_KEL_TOOLS_ISOTIME_H
#define ZO_KEL_TOOLS_ISOTIME_H

#include <cstdint>
#include <string>

namespace zokel_tool {

/// Seconds between 1970-01-01 and the epoch of absolute times, 1904-01-01 (negative).
constexpr std::int64_t kAbsTimeEpochUnix = -2082844800;
/// Seconds between 1970-01-01 and the epoch of the time kind, 1899-12-30 (negative).
constexpr std::int64_t kTimeKindEpochUnix = -2209161600;

/// The instant `unixSeconds` + fraction / 2^64 s as ISO 8601 UTC with up to nine fraction
/// digits (cut, not rounded); years outside 0-9999 get a sign and as many digits as needed.
std::string IsoText(std::int64_t unixSeconds, std::uint64_t fraction);

/// Reads "YYYY-MM-DDTHH:MM:SS[.digits]Z" (a blank instead of "T", "+00:00" instead of "Z"; a
/// year of 4 to 11 digits with an optional sign); false for any other text. The fraction is kept to
/// the nanosecond.
bool ParseIsoText(const std::string& text, std::int64_t& unixSeconds, std::uint64_t& fraction);

/// `seconds` + `epochUnix` clamped to the range of a signed 64-bit count (for the text only).
std::int64_t ShiftedSeconds(std::int64_t seconds, std::int64_t epochUnix);

/// Nanoseconds of a fraction of a second in 2^-64 s, cut; and back, rounded down.
std::uint32_t FractionToNanoseconds(std::uint64_t fraction);
std::uint64_t NanosecondsToFraction(std::uint32_t ns);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_ISOTIME_H
