// Numbers read from packets as any host type, and runs of array elements converted between
// element types in one pass.
#ifndef ZO_KEL_FD_NUMERICCONVERSION_H
#define ZO_KEL_FD_NUMERICCONVERSION_H

#include <cstdint>

#include "kel/export.h"
#include "kel/fd/fd.h"

namespace zo {
namespace kel {
namespace fd {

// The host type of each numeric FlexType: I8 signed char, UI8 unsigned char, Bool signed char
// (array transform only), I16 short, UI16 unsigned short, I32 std::int32_t, UI32 std::uint32_t,
// F32 float, I64 long long, UI64 unsigned long long, F64 double. The templates below exist for
// exactly these ten host types (the 100 pairs of them for copyEltsHelper).
//
// Conversions are those of a cast, defined for every input:
// - integer to integer keeps the low bits of the two's-complement value (no range check);
// - integer to floating point rounds to nearest; a UI64 source converts as the signed 64-bit
//   integer of the same bits, deliberately, so values of 2^63 and above come out negative;
// - floating point to integer truncates toward zero; out of range (and NaN) gives the value the
//   processor's conversion gives: I16 -32768; I8, UI8 and Bool the low byte of the 16-bit
//   result (0 when out of range); UI16 the low 16 bits of the 32-bit result (0 when out of
//   range); I32 -2147483648; UI32 the low 32 bits of the 64-bit result (0 when out of 64-bit
//   range); I64 -9223372036854775808; UI64 exact in [0, 2^64), the 64-bit two's complement of
//   the truncated value in (-2^63, 0), 0x8000000000000000 for NaN and everything else.
//   Converting to Bool therefore stores the low byte (an I16 of 256 becomes 0), deliberately
//   not a normalised 0 or 1;
// - floating point to floating point rounds to nearest (overflow gives infinity).

/// Reads the number of the given numeric type at p (little-endian, its whole width before end)
/// and converts it to T. Throws InvalidArgument (source "FlexData", line 653) for any other
/// type, Bool included, and SyntaxError (source "fd") when the number does not lie before end.
template <typename T>
ZO_KEL_API T GetNum(FlexType type, const unsigned char* p, const unsigned char* end);

/// out = v converted as a UI64 source converts (see above).
template <typename T>
ZO_KEL_API void ConvertUI64(unsigned long long v, T& out) noexcept;

/// Converts count elements of srcType at src to To at dst through copyEltsHelper. Throws
/// InvalidArgument (source "FlexData", line 1330) for a srcType that is not numeric or Bool.
template <typename To>
ZO_KEL_API void copyElts(FlexType srcType, std::uint32_t count, TAEndian srcEndian, const void* src,
                         TAEndian dstEndian, void* dst);

/// Converts count elements From at src to To at dst, each as described above. Byte order: equal
/// flags, Little to Host and Host to Little convert; any other combination writes nothing,
/// deliberately without an error. Neither range is checked: src must hold count From values and
/// dst room for count To values, and they must not overlap. Neither needs alignment.
template <typename From, typename To>
ZO_KEL_API void copyEltsHelper(std::uint32_t count, TAEndian srcEndian, const void* src,
                               TAEndian dstEndian, void* dst) noexcept;

// The instances for the ten host types are defined in the library.

}  // namespace fd
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_FD_NUMERICCONVERSION_H
