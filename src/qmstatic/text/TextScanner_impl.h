// Test seam of the date scanner: the reference year that places two-digit years and completes
// dates typed without a year. Not part of the public interface.
#ifndef ZO_KEL_QMSTATIC_TEXT_TEXTSCANNER_IMPL_H
#define ZO_KEL_QMSTATIC_TEXT_TEXTSCANNER_IMPL_H

#include "kel/export.h"

namespace zo {
namespace kel {
namespace detail {

/// The reference year of AsciiToDateTime: the pinned year when one is set, otherwise the current
/// local year read once per process (never below 1988).
ZO_KEL_API int ReferenceYear() noexcept;

/// Pins the reference year to `year` (0 unpins, so that the year read from the clock applies
/// again) and returns the previous pin. For tests, so that they pass in any year; safe to call
/// while other threads scan dates.
ZO_KEL_API int PinReferenceYear(int year) noexcept;

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_QMSTATIC_TEXT_TEXTSCANNER_IMPL_H
