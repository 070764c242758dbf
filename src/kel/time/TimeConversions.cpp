// Time64, days, QMTIME and FILETIME conversions.
#include "kel/time/TimeConversions.h"

#include <cmath>
#include <cstring>

namespace zo {
namespace kel {

namespace {

constexpr long double kNanosecondsPerDay = 8.64e13L;

double FromBits(std::uint64_t bits) noexcept {
  double d;
  std::memcpy(&d, &bits, sizeof d);
  return d;
}

// The unsigned count of nanoseconds that a tick count stands for (wrapping, never overflowing).
std::uint64_t TicksToNanoseconds(std::int64_t qmtime) noexcept {
  return (static_cast<std::uint64_t>(qmtime) - static_cast<std::uint64_t>(kQMTIMEEpochOffset)) *
         100u;
}

}  // namespace

double inline_NanosecsToDays(std::uint64_t n) noexcept {
  constexpr std::uint64_t kTwo52Bits = 0x4330000000000000u;  // the double 2^52
  constexpr std::uint64_t kMantissa = (std::uint64_t{1} << 52) - 1;
  double value;
  if ((n >> 52) == 0) {
    value = FromBits(kTwo52Bits | n) - FromBits(kTwo52Bits);  // exact
  } else {
    int b = 0;  // significant bits above bit 51
    for (std::uint64_t top = n >> 52; top != 0; top >>= 1) ++b;
    // Deliberate truncation: the bits below the 53 kept ones are dropped, not rounded.
    const std::uint64_t kept = n >> (b - 1);
    value = FromBits((static_cast<std::uint64_t>(1074 + b) << 52) | (kept & kMantissa));
  }
  return static_cast<double>(static_cast<long double>(value) / kNanosecondsPerDay);
}

double NanosecsToDays(std::uint64_t time64) noexcept { return inline_NanosecsToDays(time64); }

std::uint64_t DaysToNanosecs(double days) noexcept {
  const double product = static_cast<double>(kNanosecondsPerDay * static_cast<long double>(days));
  if (!(product > 0)) return 0;  // before the origin, or NaN
  if (product >= 18446744073709551616.0) return UINT64_MAX;
  return static_cast<std::uint64_t>(product);
}

std::int64_t Time64ToQMTIME(std::uint64_t time64) noexcept {
  return static_cast<std::int64_t>(time64 / 100u) + kQMTIMEEpochOffset;
}

std::uint64_t QMTIMEToTime64(std::int64_t qmtime) noexcept { return TicksToNanoseconds(qmtime); }

FILETIME Time64ToFILETIME(std::uint64_t time64) noexcept {
  const auto ticks = static_cast<std::uint64_t>(Time64ToQMTIME(time64));
  return FILETIME{static_cast<std::uint32_t>(ticks), static_cast<std::uint32_t>(ticks >> 32)};
}

std::uint64_t FILETIMEToTime64(const FILETIME& filetime) noexcept {
  const std::uint64_t ticks = (std::uint64_t{filetime.highDateTime} << 32) | filetime.lowDateTime;
  return QMTIMEToTime64(static_cast<std::int64_t>(ticks));
}

std::int64_t DaysToQMTIME(double days) noexcept {
  return static_cast<std::int64_t>(DaysToNanosecs(days) / 100u) + kQMTIMEEpochOffset;
}

double QMTIMEToDays(std::int64_t qmtime) noexcept {
  return inline_NanosecsToDays(TicksToNanoseconds(qmtime));
}

}  // namespace kel
}  // namespace zo
