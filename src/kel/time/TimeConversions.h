// Conversions between the plain representations of a point in time: Time64 (nanoseconds since
// 1899-12-30 00:00:00, unsigned), days (a double day count from the same origin), and QMTIME and
// FILETIME (100-nanosecond ticks since 1601-01-01 00:00:00). No time zone enters any of them.
#ifndef ZO_KEL_TIME_TIMECONVERSIONS_H
#define ZO_KEL_TIME_TIMECONVERSIONS_H

#include <cstdint>

#include "kel/export.h"

namespace zo {
namespace kel {

/// A 64-bit count of 100-nanosecond ticks since 1601-01-01 00:00:00 in two 32-bit halves, low
/// half first (its byte image is the little-endian 64-bit count).
struct FILETIME {
  /// Low 32 bits of the tick count.
  std::uint32_t lowDateTime;
  /// High 32 bits of the tick count.
  std::uint32_t highDateTime;
};

/// Ticks of 100 ns from 1601-01-01 to 1899-12-30 (109205 days).
constexpr std::int64_t kQMTIMEEpochOffset = 94353120000000000;

/// `n` nanoseconds as days. A count of 2^53 ns or more (every time after 1900-04-13) loses its
/// lowest bits toward zero on the way to double, deliberately: the conversion truncates instead of
/// rounding. The division by 8.64e13 is made in extended precision and rounded once to double.
ZO_KEL_API double inline_NanosecsToDays(std::uint64_t n) noexcept;
/// The same as inline_NanosecsToDays.
ZO_KEL_API double NanosecsToDays(std::uint64_t time64) noexcept;
/// `days` × 8.64e13 formed in extended precision, rounded to double and truncated toward zero.
/// Outside the domain: a negative count or a NaN gives 0, a product of 2^64 ns or more gives
/// 2^64 - 1 (both clamped rather than undefined).
ZO_KEL_API std::uint64_t DaysToNanosecs(double days) noexcept;
/// time64 / 100 (truncating) + kQMTIMEEpochOffset.
ZO_KEL_API std::int64_t Time64ToQMTIME(std::uint64_t time64) noexcept;
/// (qmtime - kQMTIMEEpochOffset) × 100 in 64-bit wrap-around arithmetic: a tick count before
/// 1899-12-30 wraps around 2^64.
ZO_KEL_API std::uint64_t QMTIMEToTime64(std::int64_t qmtime) noexcept;
/// The value of Time64ToQMTIME as a FILETIME.
ZO_KEL_API FILETIME Time64ToFILETIME(std::uint64_t time64) noexcept;
/// The rule of QMTIMEToTime64 applied to the 64-bit count of `filetime`.
ZO_KEL_API std::uint64_t FILETIMEToTime64(const FILETIME& filetime) noexcept;
/// DaysToNanosecs(days) / 100 (truncating) + kQMTIMEEpochOffset; negative counts clamp to the
/// origin as in DaysToNanosecs.
ZO_KEL_API std::int64_t DaysToQMTIME(double days) noexcept;
/// (qmtime - kQMTIMEEpochOffset) × 100 taken as an unsigned nanosecond count, then
/// inline_NanosecsToDays.
ZO_KEL_API double QMTIMEToDays(std::int64_t qmtime) noexcept;

}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_TIME_TIMECONVERSIONS_H
