// Unit scaling, rounding, epoch moves and the seconds/fraction split of the time values.
#include "kel/time/AbsTime.h"

#include <cfloat>
#include <cmath>

namespace nZOSS100 {

namespace {

void Merge(std::int32_t* status, std::int32_t proposed) noexcept {
  if (status != nullptr) *status = palStatusSetStatus(*status, proposed);
}

// How a unit relates to seconds: a count per second (sub-second units) or seconds per unit.
struct UnitScale {
  bool known;
  bool secondsPerUnit;
  std::uint32_t high;  // the factor's integer words 3 and 2: factors reach 10^18
  std::uint32_t low;
};

UnitScale ScaleOf(tTimeUnit unit) noexcept {
  switch (unit) {
    case kAttoseconds:
      return {true, false, 0x0DE0B6B3u, 0xA7640000u};  // 10^18
    case kFemtoseconds:
      return {true, false, 0x00038D7Eu, 0xA4C68000u};  // 10^15
    case kPicoseconds:
      return {true, false, 0x000000E8u, 0xD4A51000u};  // 10^12
    case kNanoseconds:
      return {true, false, 0, 1000000000u};
    case k100Nanoseconds:
      return {true, false, 0, 10000000u};
    case kMicroseconds:
      return {true, false, 0, 1000000u};
    case kMilliseconds:
      return {true, false, 0, 1000u};
    case kSeconds:
      return {true, false, 0, 1u};
    case kMinutes:
      return {true, true, 0, 60u};
    case kHours:
      return {true, true, 0, 3600u};
    case kDays:
      return {true, true, 0, 86400u};
    default:
      return {false, false, 0, 1u};
  }
}

// Where each known epoch starts, in seconds on the 1904 count (1970-01-01 is 24107 days after
// 1904-01-01, 1601-01-01 is 110667 days and 0001-01-01 695055 days before it).
bool EpochStart(tEpoch epoch, std::int64_t& seconds) noexcept {
  switch (epoch) {
    case kEpoch0001:
      seconds = -60052752000;
      return true;
    case kEpoch1601:
      seconds = -9561628800;
      return true;
    case kEpoch1970:
      seconds = 2082844800;
      return true;
    default:
      return false;
  }
}

tSignedFixedPoint128 WholeSeconds(std::int64_t seconds) noexcept {
  const auto bits = static_cast<std::uint64_t>(seconds);
  return tSignedFixedPoint128::FromWords(static_cast<std::uint32_t>(bits >> 32),
                                         static_cast<std::uint32_t>(bits), 0, 0);
}

std::int64_t IntegerPart(const tSignedFixedPoint128& value) noexcept {
  return static_cast<std::int64_t>(value.ConversionHelper(8, true));
}

// A fraction that is 1 once converted to double, or within one double epsilon of it, is a carry
// into the seconds.
bool Carries(double fraction) noexcept {
  return !(fraction < 1.0) || std::fabs(1.0 - fraction) <= DBL_EPSILON * std::fmax(1.0, fraction);
}

constexpr tSignedFixedPoint128 kHalf = tSignedFixedPoint128::FromWords(0, 0, 0x80000000u, 0);
constexpr tSignedFixedPoint128 kFractionMask =
    tSignedFixedPoint128::FromWords(0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu);

}  // namespace

std::int64_t tSSTimeValue::getSecondsImpl() const noexcept {
  tSignedFixedPoint128 seconds(value_);
  tSignedFixedPoint128 whole;
  std::int32_t status = 0;
  _CorrectUnits(kSecondsToUnits, kSeconds, seconds, &status);
  _RoundAndCheckFit(kRoundFloor, INT64_MIN, INT64_MAX, seconds, whole, &status);
  return IntegerPart(whole);
}

double tSSTimeValue::getFractionImpl() const noexcept {
  return static_cast<double>(value_ & kFractionMask);
}

std::int64_t tSSTimeValue::getSeconds() const noexcept {
  const std::int64_t seconds = getSecondsImpl();
  if (!Carries(getFractionImpl())) return seconds;
  // Deliberately away from zero (see the declaration).
  return seconds >= 0 ? seconds + 1 : seconds - 1;
}

double tSSTimeValue::getFraction() const noexcept {
  const double fraction = getFractionImpl();
  return Carries(fraction) ? 0.0 : fraction;
}

void tSSTimeValue::_CorrectUnits(std::int32_t conversion, tTimeUnit unit,
                                 tSignedFixedPoint128& value, std::int32_t* status) noexcept {
  const UnitScale scale = ScaleOf(unit);
  if (!scale.known) Merge(status, kStatusUnknownUnitOrEpoch);
  const tSignedFixedPoint128 factor = tSignedFixedPoint128::FromWords(scale.high, scale.low, 0, 0);
  // Sub-second units divide on the way to seconds; minutes, hours and days multiply.
  bool multiply = scale.secondsPerUnit;
  if (conversion == kSecondsToUnits) multiply = !multiply;
  if (!multiply) {
    value /= factor;
    return;
  }
  const bool negativeBefore = value.IsNegative();
  value *= factor;
  if (value.IsNegative() != negativeBefore) Merge(status, kStatusDoesNotFit);
}

void tSSTimeValue::_RoundAndCheckFit(std::int32_t method, std::int64_t min, std::int64_t max,
                                     const tSignedFixedPoint128& value,
                                     tSignedFixedPoint128& result, std::int32_t* status) noexcept {
  const tSignedFixedPoint128 fraction = value & kFractionMask;
  result = value - fraction;  // the floor
  bool stepUp = false;
  switch (method) {
    case kRoundNearestEven:
      stepUp = fraction > kHalf || (fraction == kHalf && result.IsOdd());
      break;
    case kRoundFloor:
    case kRoundDown:
      break;
    case kRoundUp:
      stepUp = fraction != 0;
      break;
    default:
      Merge(status, kStatusUnknownUnitOrEpoch);
      break;
  }
  if (stepUp) {
    const bool negativeBefore = result.IsNegative();
    result += tSignedFixedPoint128(1);
    if (result.IsNegative() != negativeBefore) Merge(status, kStatusDoesNotFit);
  }
  const std::int64_t whole = IntegerPart(result);
  if (whole < min || whole > max) Merge(status, kStatusDoesNotFit);
}

std::int32_t tSSTimeValue::getI32ByUnits(tTimeUnit unit, std::int32_t method,
                                         std::int32_t* status) const noexcept {
  std::int32_t local = 0;
  std::int32_t* merged = status != nullptr ? status : &local;
  tSignedFixedPoint128 scaled(value_);
  tSignedFixedPoint128 whole;
  _CorrectUnits(kSecondsToUnits, unit, scaled, merged);
  _RoundAndCheckFit(method, INT32_MIN, INT32_MAX, scaled, whole, merged);
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(whole));
}

void tSSTimeAbsolute::_CorrectEpoch(std::int32_t conversion, tEpoch epoch,
                                    tSignedFixedPoint128& value, std::int32_t* status) noexcept {
  std::int64_t start = 0;
  if (!EpochStart(epoch, start)) {
    Merge(status, kStatusUnknownUnitOrEpoch);
    return;
  }
  tSignedFixedPoint128 offset = WholeSeconds(start);
  if (conversion != kFromEpoch) offset.Negate();
  const bool valueNegative = value.IsNegative();
  const bool offsetNegative = offset.IsNegative();
  value += offset;
  if (valueNegative == offsetNegative && value.IsNegative() != valueNegative) {
    Merge(status, kStatusDoesNotFit);
  }
}

}  // namespace nZOSS100

namespace zo {
namespace kel {

using nZOSS100::tSignedFixedPoint128;

// Constant-initialised: usable from any other static initialiser of the library.
const AbsTime AbsTime::min(tSignedFixedPoint128::FromWords(0x80000000u, 0, 0, 0));
const AbsTime AbsTime::max(tSignedFixedPoint128::FromWords(0x7FFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu,
                                                           0xFFFFFFFFu));

AbsTime::AbsTime(double seconds, double fraction) noexcept
    : tSSTimeAbsolute(tSignedFixedPoint128(static_cast<long double>(seconds),
                                           static_cast<long double>(fraction))) {}

bool AbsTime::doRangesIntersect(const AbsTime& a1, const AbsTime& a2, const AbsTime& b1,
                                const AbsTime& b2) noexcept {
  return !(a2 < b1 || a1 > b2);
}

bool AbsTime::isSubRange(const AbsTime& a1, const AbsTime& a2, const AbsTime& b1,
                         const AbsTime& b2) noexcept {
  return a1 >= b1 && a2 <= b2;
}

RelTime::RelTime(double seconds, double fraction) noexcept
    : tSSTimeValue(tSignedFixedPoint128(static_cast<long double>(seconds),
                                        static_cast<long double>(fraction))) {}

}  // namespace kel
}  // namespace zo
