// Digits of integers in radix 2 to 36, written backwards into a work buffer.
#include "kel/osdep/IntegerToString.h"

#include <limits>
#include <type_traits>

#include "kel/exception.h"

namespace zo {
namespace kel {
namespace osdep {
namespace {

constexpr wchar_t kDigits[] = L"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::uint32_t kMaxRadix = 36;

// Radix 1 and radices above 36 are refused here, at the first digit.
wchar_t DigitToChar(std::uint32_t digit, std::uint32_t radix) {
  if (radix < 2 || radix > kMaxRadix || digit >= radix) {
    throw exception::UnableToConvert(ZO_KEL_HERE);
  }
  return kDigits[digit];
}

template <typename U>
WString UnsignedToString(U value, std::uint32_t radix, bool negative = false) {
  static_assert(std::is_unsigned<U>::value, "digits of an unsigned value");
  if (radix == 0) throw exception::UnableToConvert(ZO_KEL_HERE);
  // One character per bit holds radix 2; a sign only comes with radix 10, which needs fewer.
  constexpr int kCapacity = std::numeric_limits<U>::digits + 1;
  wchar_t buffer[kCapacity];
  wchar_t* const last = buffer + kCapacity;
  wchar_t* first = last;
  do {
    *--first = DigitToChar(static_cast<std::uint32_t>(value % radix), radix);
    value = static_cast<U>(value / radix);
  } while (value != 0);
  if (negative) *--first = L'-';
  return WString(first, last);
}

template <typename S>
WString SignedToString(S value, std::uint32_t radix) {
  using U = std::make_unsigned_t<S>;
  const U pattern = static_cast<U>(value);  // the two's-complement bits at the type's width
  if (value < 0 && radix == 10) {
    // The magnitude as unsigned, so that the most negative value needs no wider type.
    return UnsignedToString<U>(static_cast<U>(0u - pattern), radix, true);
  }
  return UnsignedToString<U>(pattern, radix);
}

}  // namespace

WString UInt64ToString(std::uint64_t value, std::uint32_t radix) {
  return UnsignedToString(value, radix);
}
WString UInt32ToString(std::uint32_t value, std::uint32_t radix) {
  return UnsignedToString(value, radix);
}
WString UInt16ToString(std::uint16_t value, std::uint32_t radix) {
  return UnsignedToString(value, radix);
}
WString UInt8ToString(std::uint8_t value, std::uint32_t radix) {
  return UnsignedToString(value, radix);
}
WString UIntToString(unsigned int value, std::uint32_t radix) {
  return UnsignedToString(value, radix);
}
WString Int64ToString(std::int64_t value, std::uint32_t radix) {
  return SignedToString(value, radix);
}
WString Int32ToString(std::int32_t value, std::uint32_t radix) {
  return SignedToString(value, radix);
}
WString Int16ToString(std::int16_t value, std::uint32_t radix) {
  return SignedToString(value, radix);
}
WString Int8ToString(std::int8_t value, std::uint32_t radix) {
  return SignedToString(value, radix);
}
WString IntToString(int value, std::uint32_t radix) { return SignedToString(value, radix); }

}  // namespace osdep
}  // namespace kel
}  // namespace zo
