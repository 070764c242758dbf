// Exact time values: tSSTimeValue (seconds in 128-bit fixed point, with unit scaling and rounding),
// tSSTimeAbsolute (epoch moves), and the two kinds that callers exchange, AbsTime and RelTime.
//
// The time layer's own types live in nZOSS100; the two value kinds that the rest of the library
// stores and passes around are zo::kel::AbsTime and zo::kel::RelTime. All three share one layout:
// a single signed fixed-point count of seconds, so that converting between them is a copy.
#ifndef ZO_KEL_TIME_ABSTIME_H
#define ZO_KEL_TIME_ABSTIME_H

#include <cstdint>

#include "kel/export.h"
#include "kel/time/tFixedPoint128.h"

namespace nZOSS100 {

/// Time units. Every enumerator is the fixed odd base 919263159 plus an offset that identifies the
/// unit; any other value, inside or outside the enumerators' span, is an unknown unit.
enum tTimeUnit : std::int32_t {
  kTimeUnitBase = 919263159,
  kAttoseconds = kTimeUnitBase + 0,      ///< 10^18 per second
  kFemtoseconds = kTimeUnitBase + 3,     ///< 10^15 per second
  kPicoseconds = kTimeUnitBase + 6,      ///< 10^12 per second
  kNanoseconds = kTimeUnitBase + 9,      ///< 10^9 per second
  k100Nanoseconds = kTimeUnitBase + 11,  ///< 10^7 per second
  kMicroseconds = kTimeUnitBase + 12,    ///< 10^6 per second
  kMilliseconds = kTimeUnitBase + 15,    ///< 10^3 per second
  kSeconds = kTimeUnitBase + 18,
  kMinutes = kTimeUnitBase + 20,  ///< 60 seconds per unit
  kHours = kTimeUnitBase + 22,    ///< 3600 seconds per unit
  kDays = kTimeUnitBase + 24,     ///< 86400 seconds per unit
};

/// Epochs, named by their year; each starts on January 1st at 00:00:00 UTC. kEpoch1904 is the
/// internal epoch of AbsTime.
enum tEpoch : std::int32_t {
  kEpoch0001 = 1,
  kEpoch1601 = 1601,
  kEpoch1904 = 1904,
  kEpoch1970 = 1970,
};

/// Status codes of the time layer, merged with palStatusSetStatus (negative = error).
constexpr std::int32_t kStatusUnknownUnitOrEpoch = -50003;
constexpr std::int32_t kStatusDoesNotFit = -50175;

/// Rounding methods of tSSTimeValue::_RoundAndCheckFit and getI32ByUnits.
enum tRoundMethod : std::int32_t {
  kRoundNearestEven = 1,  ///< to nearest, ties to the even integer
  kRoundFloor = 2,        ///< the integer part as stored: the floor, also for negative values
  kRoundUp = 3,           ///< toward plus infinity (the ceiling)
  kRoundDown = 4,         ///< toward minus infinity (the floor, the same result as kRoundFloor)
};

/// A time value: one signed fixed-point count of seconds (resolution 2^-64 s), with the unit and
/// rounding services of the time layer. Failures are reported as status codes merged into the
/// caller's status with palStatusSetStatus; nothing here throws or allocates.
class ZO_KEL_API tSSTimeValue {
 public:
  /// Conversion kinds of _CorrectUnits: from the unit to seconds, or from seconds to the unit.
  /// Any value other than kSecondsToUnits converts to seconds.
  enum : std::int32_t { kUnitsToSeconds = 1, kSecondsToUnits = 2 };

  /// Zero seconds.
  constexpr tSSTimeValue() noexcept : value_(tSignedFixedPoint128::FromWords(0, 0, 0, 0)) {}
  /// `seconds` as they stand.
  constexpr explicit tSSTimeValue(const tSignedFixedPoint128& seconds) noexcept : value_(seconds) {}

  /// The count of seconds: read it, or change it in place.
  ///@{
  constexpr const tSignedFixedPoint128& value() const noexcept { return value_; }
  tSignedFixedPoint128& value() noexcept { return value_; }
  ///@}

  /// The whole seconds: the floor of the value (so that getSecondsImpl() + getFractionImpl() is
  /// the value, also for negative values).
  std::int64_t getSecondsImpl() const noexcept;
  /// The fraction above the floor as a double, in [0, 1] (values within 2^-54 below the next
  /// second round up to 1.0; getFraction carries those). -0.75 s gives 0.25.
  double getFractionImpl() const noexcept;
  /// getSecondsImpl(), moved one step away from zero (+1 for a count >= 0, -1 for a negative
  /// count) when getFractionImpl() is not below 1 or lies within one double epsilon of 1.
  /// Deliberate: the step is away from zero, so for a negative count the pair (seconds, fraction)
  /// no longer adds up to the value when it carries; callers of negative times read value().
  std::int64_t getSeconds() const noexcept;
  /// getFractionImpl(), or 0.0 when it carries into getSeconds().
  double getFraction() const noexcept;

  /// Scales `value` between seconds and `unit`: seconds to nanoseconds multiplies by 10^9,
  /// seconds to hours divides by 3600 (truncating toward zero at 2^-64), and the other kind the
  /// reverse. An unknown unit merges kStatusUnknownUnitOrEpoch and leaves the value; a
  /// multiplication that changes the sign merges kStatusDoesNotFit (a multiplication that wraps
  /// further may go unnoticed: callers bound the result with _RoundAndCheckFit). Divisions never
  /// report. `status` may be null.
  static void _CorrectUnits(std::int32_t conversion, tTimeUnit unit, tSignedFixedPoint128& value,
                            std::int32_t* status) noexcept;
  /// Stores in `result` the integer that `method` (a tRoundMethod) makes of `value`, with a zero
  /// fraction. An unknown method merges kStatusUnknownUnitOrEpoch and keeps the integer part;
  /// a rounding step that wraps the sign, or a result outside [min, max], merges
  /// kStatusDoesNotFit (`result` is stored either way). `status` may be null.
  static void _RoundAndCheckFit(std::int32_t method, std::int64_t min, std::int64_t max,
                                const tSignedFixedPoint128& value, tSignedFixedPoint128& result,
                                std::int32_t* status) noexcept;
  /// The value in `unit`, rounded by `method`, as a signed 32-bit number (the low 32 integer bits
  /// when it does not fit, with kStatusDoesNotFit merged into `*status`). A null `status` discards
  /// the status.
  std::int32_t getI32ByUnits(tTimeUnit unit, std::int32_t method,
                             std::int32_t* status = nullptr) const noexcept;

  /// Order of the two second counts, as signed 128-bit numbers.
  ///@{
  friend bool operator==(const tSSTimeValue& a, const tSSTimeValue& b) noexcept {
    return a.value_ == b.value_;
  }
  friend bool operator!=(const tSSTimeValue& a, const tSSTimeValue& b) noexcept {
    return a.value_ != b.value_;
  }
  friend bool operator<(const tSSTimeValue& a, const tSSTimeValue& b) noexcept {
    return a.value_ < b.value_;
  }
  friend bool operator<=(const tSSTimeValue& a, const tSSTimeValue& b) noexcept {
    return a.value_ <= b.value_;
  }
  friend bool operator>(const tSSTimeValue& a, const tSSTimeValue& b) noexcept {
    return a.value_ > b.value_;
  }
  friend bool operator>=(const tSSTimeValue& a, const tSSTimeValue& b) noexcept {
    return a.value_ >= b.value_;
  }
  ///@}

 protected:
  /// Seconds as a signed 64.64 fixed-point count.
  tSignedFixedPoint128 value_;
};

/// A time value counted from the internal 1904 epoch, with the moves to and from other epochs.
class ZO_KEL_API tSSTimeAbsolute : public tSSTimeValue {
 public:
  /// Conversion kinds of _CorrectEpoch. Any value other than kFromEpoch moves to the epoch.
  enum : std::int32_t { kFromEpoch = 1, kToEpoch = 2 };

  using tSSTimeValue::tSSTimeValue;
  constexpr tSSTimeAbsolute() noexcept = default;

  /// kFromEpoch: `value` counts seconds from `epoch` and becomes a count from 1904-01-01 (0 from
  /// 1970 becomes 2082844800, 0 from 1601 becomes -9561628800). Any other kind: the reverse. The
  /// epochs 1, 1601 and 1970 are known; any other (1904 included) merges
  /// kStatusUnknownUnitOrEpoch and leaves the value. A sum that wraps the sign merges
  /// kStatusDoesNotFit. `status` may be null.
  static void _CorrectEpoch(std::int32_t conversion, tEpoch epoch, tSignedFixedPoint128& value,
                            std::int32_t* status) noexcept;
};

}  // namespace nZOSS100

namespace zo {
namespace kel {

class RelTime;

/// A point in time: seconds since 1904-01-01 00:00:00 UTC, exact to 2^-64 s. Copying is a copy of
/// the count; converting to and from tSSTimeValue (the stored form) is a copy too.
class ZO_KEL_API AbsTime : public nZOSS100::tSSTimeAbsolute {
 public:
  /// The epoch itself, 1904-01-01 00:00:00.
  constexpr AbsTime() noexcept = default;
  /// The instant `seconds` after the epoch, given as a count or as a stored time value.
  ///@{
  constexpr explicit AbsTime(const nZOSS100::tSignedFixedPoint128& seconds) noexcept
      : tSSTimeAbsolute(seconds) {}
  constexpr explicit AbsTime(const nZOSS100::tSSTimeValue& value) noexcept
      : tSSTimeAbsolute(value.value()) {}
  ///@}
  /// `seconds + fraction`, each converted exactly on its own, so whole seconds and a fraction
  /// can be passed apart.
  AbsTime(double seconds, double fraction) noexcept;

  /// -2^63 s exactly, also the "no time" value, and 2^63 - 2^-64 s.
  ///@{
  static const AbsTime min;
  static const AbsTime max;
  ///@}

  /// True unless a2 < b1 or a1 > b2: the closed ranges [a1, a2] and [b1, b2] meet (touching ends
  /// meet).
  static bool doRangesIntersect(const AbsTime& a1, const AbsTime& a2, const AbsTime& b1,
                                const AbsTime& b2) noexcept;
  /// True when a1 >= b1 and a2 <= b2: [a1, a2] lies within [b1, b2], ends included.
  static bool isSubRange(const AbsTime& a1, const AbsTime& a2, const AbsTime& b1,
                         const AbsTime& b2) noexcept;

  /// Moves the time by a duration (wrapping silently at the ends of the range).
  ///@{
  AbsTime& operator+=(const RelTime& d) noexcept;
  AbsTime& operator-=(const RelTime& d) noexcept;
  ///@}
};

/// A duration in seconds, exact to 2^-64 s; the same layout and services as AbsTime.
class ZO_KEL_API RelTime : public nZOSS100::tSSTimeValue {
 public:
  /// Zero seconds.
  constexpr RelTime() noexcept = default;
  /// A duration of `seconds`, given as a count or as a stored time value.
  ///@{
  constexpr explicit RelTime(const nZOSS100::tSignedFixedPoint128& seconds) noexcept
      : tSSTimeValue(seconds) {}
  constexpr explicit RelTime(const nZOSS100::tSSTimeValue& value) noexcept
      : tSSTimeValue(value.value()) {}
  ///@}
  /// `seconds + fraction`, each converted exactly on its own.
  RelTime(double seconds, double fraction) noexcept;

  /// Adds or subtracts a duration (wrapping silently at the ends of the range).
  ///@{
  RelTime& operator+=(const RelTime& d) noexcept {
    value_ += d.value();
    return *this;
  }
  RelTime& operator-=(const RelTime& d) noexcept {
    value_ -= d.value();
    return *this;
  }
  ///@}
};

inline AbsTime& AbsTime::operator+=(const RelTime& d) noexcept {
  value_ += d.value();
  return *this;
}
inline AbsTime& AbsTime::operator-=(const RelTime& d) noexcept {
  value_ -= d.value();
  return *this;
}
inline AbsTime operator+(AbsTime t, const RelTime& d) noexcept { return t += d; }
inline AbsTime operator-(AbsTime t, const RelTime& d) noexcept { return t -= d; }
/// The duration from `b` to `a`.
inline RelTime operator-(const AbsTime& a, const AbsTime& b) noexcept {
  return RelTime(a.value() - b.value());
}
inline RelTime operator+(RelTime a, const RelTime& b) noexcept { return a += b; }
inline RelTime operator-(RelTime a, const RelTime& b) noexcept { return a -= b; }

}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_TIME_ABSTIME_H
