// 128-bit binary fixed point with 64 integer and 64 fraction bits: the exact arithmetic under
// every time value of the library, plus the status merging that the time layer reports through.
#ifndef ZO_KEL_TIME_TFIXEDPOINT128_H
#define ZO_KEL_TIME_TFIXEDPOINT128_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "kel/export.h"

namespace nZOSS100 {

/// Merges a proposed status into the current one and returns the status to keep. Negative values
/// are errors, positive values warnings, zero success: the first error sticks, success takes
/// whatever is proposed, and a warning is replaced only by an error.
ZO_KEL_API std::int32_t palStatusSetStatus(std::int32_t current, std::int32_t proposed) noexcept;

namespace tFixedPoint128Types {

/// The 128 bits of a fixed-point value, least significant first: words 0 and 1 (half 0) are the
/// fraction, words 2 and 3 (half 1) the integer part. `tFixedPoint128` only ever stores and reads
/// `halves`; `words` documents the 32-bit view that `Get` and `FromWords` expose.
union i128DataUnion {
  /// Two 64-bit halves: fraction, then integer part.
  std::uint64_t halves[2];
  /// Four 32-bit words, least significant first.
  std::uint32_t words[4];
};

}  // namespace tFixedPoint128Types

namespace tFixedPoint128Extra {

/// Adds `addend` to chain[0] and carries into chain[1], ..., chain[length - 1]. Returns true when
/// a carry leaves the last element (the sum wrapped).
template <typename T>
constexpr bool AddChain(T* chain, T addend, std::size_t length) noexcept {
  for (std::size_t i = 0; i < length && addend != 0; ++i) {
    chain[i] += addend;
    addend = chain[i] < addend ? T(1) : T(0);
  }
  return addend != 0;
}

}  // namespace tFixedPoint128Extra

/// A 128-bit fixed-point number: the 128-bit integer of its words divided by 2^FractionBits.
/// Only FractionBits = 64 exists. The signed variant is two's complement over all 128 bits
/// (-2^63 .. 2^63 - 2^-64); the unsigned variant, the engine of division, covers 0 .. 2^64 - 2^-64
/// and has no sign handling (IsNegative is always false, comparisons are unsigned).
///
/// A plain value: copyable by its words, no heap, no ownership. Nothing reports errors: sums
/// and products wrap, conversions from floating point truncate toward zero and saturate on
/// infinities, and a zero divisor raises SIGFPE.
template <int FractionBits, bool Signed>
class ZO_KEL_API tFixedPoint128 {
  static_assert(FractionBits == 64, "only 64 fraction bits are provided");

 public:
  /// Leaves the words unset, deliberately (as for a built-in integer): call Zero() when zero is
  /// wanted.
  tFixedPoint128() noexcept = default;
  /// Exactly `value` (sign-extended into the integer part, fraction 0). Also serves the 32-bit
  /// signed `long` of the system's platform, which is `std::int32_t` = `int` here.
  tFixedPoint128(int value) noexcept;  // NOLINT: implicit, as for a built-in number
  /// Exactly `value`.
  tFixedPoint128(std::uint32_t value) noexcept;  // NOLINT
  /// The value of the IEEE-754 bits of `value`, truncated toward zero at 2^-64. A magnitude of
  /// 2^64 or more keeps only its low 64 integer bits. +infinity (and a NaN with the sign bit
  /// clear) saturates to the largest signed value, -infinity (and a NaN with the sign bit set) to
  /// the smallest, deliberately; the unsigned variant takes the same bits (2^63 - 2^-64 and 2^63).
  /// A negative argument gives the unsigned variant its two's complement.
  tFixedPoint128(double value) noexcept;  // NOLINT
  /// The same for the x87 extended type: truncation toward zero, the integer part kept modulo
  /// 2^64, infinities and NaNs saturated by their sign bit as for `double`.
  tFixedPoint128(long double value) noexcept;  // NOLINT
  /// `whole` and `part` converted separately and then added, so that a count of seconds and a
  /// fraction can be passed apart without losing precision.
  tFixedPoint128(long double whole, long double part) noexcept;

  /// The value with the given words, most significant first (the inverse of Get).
  static constexpr tFixedPoint128 FromWords(std::uint32_t w3, std::uint32_t w2, std::uint32_t w1,
                                            std::uint32_t w0) noexcept {
    return tFixedPoint128(HalvesTag{}, (std::uint64_t{w3} << 32) | w2,
                          (std::uint64_t{w1} << 32) | w0);
  }

  // The three conversions are implicit, as for a built-in number (`double d = t;`). A mixed
  // expression with a built-in number (t + 1.5, t < 2, 3 * t) would then be ambiguous between the
  // members here and the built-in operators; the free operators after the class settle it for
  // the fixed-point arithmetic.

  /// The value as an extended-precision number: the words are scaled and summed from the least
  /// significant up (the sum of the low two is exact, the integer words round to nearest). A
  /// negative value is converted as its magnitude and negated.
  operator long double() const noexcept;  // NOLINT(google-explicit-constructor)
  /// The `long double` conversion rounded to double.
  operator double() const noexcept;  // NOLINT(google-explicit-constructor)
  /// The low 32 bits of the integer part. The fraction is dropped from the two's-complement
  /// words as they stand, so a negative value gives its floor modulo 2^32 (-0.5 gives
  /// 0xFFFFFFFF), deliberately: callers round first when they need rounding.
  operator std::uint32_t() const noexcept;  // NOLINT(google-explicit-constructor)
  /// The integer words as they stand: for `size` 8 words 3 and 2, for `size` 4 word 2, for any
  /// other size the low 16 bits of word 2, zero-extended. `isSigned` names the caller's target
  /// and does not change the bits.
  std::uint64_t ConversionHelper(std::size_t size, bool isSigned) const noexcept;
  /// Hands out the four words, most significant first.
  void Get(std::uint32_t& w3, std::uint32_t& w2, std::uint32_t& w1,
           std::uint32_t& w0) const noexcept;

  /// The top bit of word 3 (always false for the unsigned variant).
  bool IsNegative() const noexcept;
  /// Bit 0 of the integer part, deliberately not of the fraction: the tie-breaker of rounding
  /// to even.
  bool IsOdd() const noexcept { return (data_.halves[1] & 1u) != 0; }
  /// True when all 128 bits are zero.
  bool operator!() const noexcept { return (data_.halves[0] | data_.halves[1]) == 0; }

  /// Equal when all 128 bits are equal.
  ///@{
  bool operator==(const tFixedPoint128& rhs) const noexcept {
    return data_.halves[0] == rhs.data_.halves[0] && data_.halves[1] == rhs.data_.halves[1];
  }
  bool operator!=(const tFixedPoint128& rhs) const noexcept { return !(*this == rhs); }
  ///@}
  /// Signed order: word 3 as a signed number, then words 2, 1, 0 unsigned. Unsigned order: all
  /// words unsigned.
  ///@{
  bool operator<(const tFixedPoint128& rhs) const noexcept;
  bool operator<=(const tFixedPoint128& rhs) const noexcept { return !(rhs < *this); }
  bool operator>(const tFixedPoint128& rhs) const noexcept { return rhs < *this; }
  bool operator>=(const tFixedPoint128& rhs) const noexcept { return !(*this < rhs); }
  ///@}

  /// 128-bit add and subtract; overflow wraps silently.
  ///@{
  tFixedPoint128& operator+=(const tFixedPoint128& rhs) noexcept;
  tFixedPoint128& operator-=(const tFixedPoint128& rhs) noexcept;
  tFixedPoint128 operator+(const tFixedPoint128& rhs) const noexcept {
    tFixedPoint128 sum(*this);
    return sum += rhs;
  }
  tFixedPoint128 operator-(const tFixedPoint128& rhs) const noexcept {
    tFixedPoint128 difference(*this);
    return difference -= rhs;
  }
  ///@}
  /// The product of the magnitudes kept at bits 64..191 of their 256-bit product and rounded half
  /// up on bit 63 (half away from zero on the signed value), then given its sign. Bits above the
  /// range are lost. The product of two operands and of their negations is the same, and negating
  /// one operand only negates the product.
  ///@{
#if defined(__SIZEOF_INT128__)
  tFixedPoint128& operator*=(const tFixedPoint128& rhs) noexcept {
    // Inline where the compiler has a 128-bit integer, since a call costs about as much as the
    // product: the carries are taken by the adder, and the signs applied without branches, as
    // (x ^ m) - m with m all ones for a negative value (operand signs follow the data).
    __extension__ typedef unsigned __int128 Wide;
    Wide a = (Wide{data_.halves[1]} << 64) | data_.halves[0];
    Wide b = (Wide{rhs.data_.halves[1]} << 64) | rhs.data_.halves[0];
    const Wide aSign = Signed ? 0 - (a >> 127) : 0, bSign = Signed ? 0 - (b >> 127) : 0;
    a = (a ^ aSign) - aSign;
    b = (b ^ bSign) - bSign;
    const auto a0 = static_cast<std::uint64_t>(a), a1 = static_cast<std::uint64_t>(a >> 64);
    const auto b0 = static_cast<std::uint64_t>(b), b1 = static_cast<std::uint64_t>(b >> 64);
    const Wide p00 = Wide{a0} * b0;
    Wide product = (p00 >> 64) + Wide{a0} * b1 + Wide{a1} * b0 + (Wide{a1 * b1} << 64);
    product += static_cast<std::uint64_t>(p00) >> 63;  // round half up on the first dropped bit
    const Wide sign = aSign ^ bSign;
    product = (product ^ sign) - sign;
    data_.halves[0] = static_cast<std::uint64_t>(product);
    data_.halves[1] = static_cast<std::uint64_t>(product >> 64);
    return *this;
  }
#else
  tFixedPoint128& operator*=(const tFixedPoint128& rhs) noexcept;
#endif
  tFixedPoint128 operator*(const tFixedPoint128& rhs) const noexcept {
    tFixedPoint128 product(*this);
    return product *= rhs;
  }
  ///@}
  /// The quotient truncated toward zero at 2^-64 (see DivideInternal).
  ///@{
  tFixedPoint128& operator/=(const tFixedPoint128& rhs) noexcept;
  tFixedPoint128 operator/(const tFixedPoint128& rhs) const noexcept {
    return DivideInternal(*this, rhs, nullptr);
  }
  ///@}
  /// Bitwise and of all 128 bits.
  ///@{
  tFixedPoint128& operator&=(const tFixedPoint128& rhs) noexcept {
    data_.halves[0] &= rhs.data_.halves[0];
    data_.halves[1] &= rhs.data_.halves[1];
    return *this;
  }
  tFixedPoint128 operator&(const tFixedPoint128& rhs) const noexcept {
    tFixedPoint128 masked(*this);
    return masked &= rhs;
  }
  ///@}

  /// Sets all words to 0.
  void Zero() noexcept { data_.halves[0] = data_.halves[1] = 0; }
  /// One's complement of all 128 bits.
  void Invert() noexcept;
  /// Adds 2^-64 with carry through all words (wraps from the largest value to the smallest).
  void IncrementLSB() noexcept;
  /// Two's complement: Invert then IncrementLSB. The smallest signed value stays itself.
  void Negate() noexcept;
  /// Shifts right by `count` bits (a negative count shifts left). Vacated top bits take the sign
  /// when `arithmetic` is set and the value is negative, else zeros. Bits shifted out are lost,
  /// with no rounding. A count of 128 or more fills every bit; a left shift of 128 or more clears.
  void RightShift(std::int32_t count, bool arithmetic) noexcept;
  /// Exactly RightShift(-count, arithmetic), for every `count`.
  void LeftShift(std::int32_t count, bool arithmetic) noexcept;

  /// Divides `dividend` by `divisor`. The quotient is exact to 2^-64 and truncated toward zero
  /// (a quotient outside the range wraps). When `remainder` is not null it receives
  /// dividend - quotient * divisor computed with the rounding multiplication above, so it carries
  /// the dividend's sign. A zero divisor is a programming error: SIGFPE is raised with
  /// std::raise; should a handler return, the quotient is unspecified and `remainder` untouched.
  static tFixedPoint128 DivideInternal(const tFixedPoint128& dividend,
                                       const tFixedPoint128& divisor,
                                       tFixedPoint128* remainder) noexcept;

 private:
  template <int, bool>
  friend class tFixedPoint128;
  struct HalvesTag {};

  constexpr tFixedPoint128(HalvesTag, std::uint64_t high, std::uint64_t low) noexcept
      : data_{{low, high}} {}
  // Shifts right by `count` (left when negative) with counts beyond the 32-bit range allowed.
  void Shift(std::int64_t count, bool arithmetic) noexcept;

  tFixedPoint128Types::i128DataUnion data_;
};

using tSignedFixedPoint128 = tFixedPoint128<64, true>;
using tUnsignedFixedPoint128 = tFixedPoint128<64, false>;

extern template class tFixedPoint128<64, true>;
extern template class tFixedPoint128<64, false>;

/// The value compared with `rhs` converted to fixed point.
ZO_KEL_API bool operator!=(const tSignedFixedPoint128& lhs, int rhs) noexcept;
ZO_KEL_API bool operator!=(const tSignedFixedPoint128& lhs, std::uint32_t rhs) noexcept;
/// `lhs` converted to fixed point minus `rhs` (wrapping).
ZO_KEL_API tSignedFixedPoint128 operator-(std::int32_t lhs,
                                          const tSignedFixedPoint128& rhs) noexcept;

namespace detail {

/// Enables the mixed operators for a built-in number that converts to the fixed-point type
/// without ambiguity (int, std::uint32_t, float, double, long double).
template <class Number, class Fixed>
using IfMixedOperand = typename std::enable_if<
    std::is_arithmetic<Number>::value && std::is_convertible<Number, Fixed>::value, int>::type;

}  // namespace detail

/// Arithmetic and comparison of a fixed-point value with a built-in number: the number is first
/// converted to fixed point (exactly for integers, truncated at 2^-64 for floating point), and
/// the fixed-point operation gives the result, so `t + 0.5` and `2 * t` stay exact fixed-point
/// values and `t < 1` compares exactly.
///@{
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
tFixedPoint128<F, S> operator+(const tFixedPoint128<F, S>& a, N b) noexcept {
  return a + tFixedPoint128<F, S>(b);
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
tFixedPoint128<F, S> operator+(N a, const tFixedPoint128<F, S>& b) noexcept {
  return tFixedPoint128<F, S>(a) + b;
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
tFixedPoint128<F, S> operator-(const tFixedPoint128<F, S>& a, N b) noexcept {
  return a - tFixedPoint128<F, S>(b);
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
tFixedPoint128<F, S> operator-(N a, const tFixedPoint128<F, S>& b) noexcept {
  return tFixedPoint128<F, S>(a) - b;
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
tFixedPoint128<F, S> operator*(const tFixedPoint128<F, S>& a, N b) noexcept {
  return a * tFixedPoint128<F, S>(b);
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
tFixedPoint128<F, S> operator*(N a, const tFixedPoint128<F, S>& b) noexcept {
  return tFixedPoint128<F, S>(a) * b;
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
tFixedPoint128<F, S> operator/(const tFixedPoint128<F, S>& a, N b) noexcept {
  return a / tFixedPoint128<F, S>(b);
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
tFixedPoint128<F, S> operator/(N a, const tFixedPoint128<F, S>& b) noexcept {
  return tFixedPoint128<F, S>(a) / b;
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
bool operator==(const tFixedPoint128<F, S>& a, N b) noexcept {
  return a == tFixedPoint128<F, S>(b);
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
bool operator==(N a, const tFixedPoint128<F, S>& b) noexcept {
  return tFixedPoint128<F, S>(a) == b;
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
bool operator!=(const tFixedPoint128<F, S>& a, N b) noexcept {
  return a != tFixedPoint128<F, S>(b);
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
bool operator!=(N a, const tFixedPoint128<F, S>& b) noexcept {
  return tFixedPoint128<F, S>(a) != b;
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
bool operator<(const tFixedPoint128<F, S>& a, N b) noexcept {
  return a < tFixedPoint128<F, S>(b);
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
bool operator<(N a, const tFixedPoint128<F, S>& b) noexcept {
  return tFixedPoint128<F, S>(a) < b;
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
bool operator<=(const tFixedPoint128<F, S>& a, N b) noexcept {
  return a <= tFixedPoint128<F, S>(b);
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
bool operator<=(N a, const tFixedPoint128<F, S>& b) noexcept {
  return tFixedPoint128<F, S>(a) <= b;
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
bool operator>(const tFixedPoint128<F, S>& a, N b) noexcept {
  return a > tFixedPoint128<F, S>(b);
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
bool operator>(N a, const tFixedPoint128<F, S>& b) noexcept {
  return tFixedPoint128<F, S>(a) > b;
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
bool operator>=(const tFixedPoint128<F, S>& a, N b) noexcept {
  return a >= tFixedPoint128<F, S>(b);
}
template <int F, bool S, class N, detail::IfMixedOperand<N, tFixedPoint128<F, S>> = 0>
bool operator>=(N a, const tFixedPoint128<F, S>& b) noexcept {
  return tFixedPoint128<F, S>(a) >= b;
}
///@}

namespace detail {

/// The division of the magnitudes, floor(dividend * 2^64 / divisor) modulo 2^128, by long
/// division over 32-bit digits: the path every platform without a 128-bit integer type takes.
/// Exported so that the tests check it on every platform. `divisor` must not be zero.
ZO_KEL_API tUnsignedFixedPoint128 DivideMagnitudesPortable(
    const tUnsignedFixedPoint128& dividend, const tUnsignedFixedPoint128& divisor) noexcept;

}  // namespace detail

}  // namespace nZOSS100

#endif  // ZO_KEL_TIME_TFIXEDPOINT128_H
