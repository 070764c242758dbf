// Integers as wide text in any radix from 2 to 36.
#ifndef ZO_KEL_OSDEP_INTEGERTOSTRING_H
#define ZO_KEL_OSDEP_INTEGERTOSTRING_H

#include <cstdint>

#include "kel/StringBase.h"
#include "kel/export.h"

namespace zo {
namespace kel {
namespace osdep {

// Each returns the digits of value in radix, most significant first, with the digits
// "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ", no prefix and no padding; 0 gives "0". A radix outside
// 2..36 throws exception::UnableToConvert ("Unable to convert.").
//
// Signed forms: a negative value in radix 10 gives "-" and the digits of its magnitude (the most
// negative 64-bit value gives "-9223372036854775808"). In any other radix a negative value gives
// the digits of its two's-complement bit pattern at the type's own width, deliberately:
// Int32ToString(-1, 16) is "FFFFFFFF", Int8ToString(-1, 2) is "11111111".

ZO_KEL_API WString UInt64ToString(std::uint64_t value, std::uint32_t radix);
ZO_KEL_API WString UInt32ToString(std::uint32_t value, std::uint32_t radix);
ZO_KEL_API WString UInt16ToString(std::uint16_t value, std::uint32_t radix);
ZO_KEL_API WString UInt8ToString(std::uint8_t value, std::uint32_t radix);
ZO_KEL_API WString UIntToString(unsigned int value, std::uint32_t radix);
ZO_KEL_API WString Int64ToString(std::int64_t value, std::uint32_t radix);
ZO_KEL_API WString Int32ToString(std::int32_t value, std::uint32_t radix);
ZO_KEL_API WString Int16ToString(std::int16_t value, std::uint32_t radix);
ZO_KEL_API WString Int8ToString(std::int8_t value, std::uint32_t radix);
ZO_KEL_API WString IntToString(int value, std::uint32_t radix);

}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_INTEGERTOSTRING_H
