// Tests of the 128-bit fixed-point type: exact words, with products, quotients and shifts checked
// against independent reference arithmetic written here.
#include "kel/time/tFixedPoint128.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/TimeTest.h"

namespace {

using nZOSS100::tSignedFixedPoint128;
using nZOSS100::tUnsignedFixedPoint128;
using Fixed = tSignedFixedPoint128;

using zo_kel_test::F;
using zo_kel_test::W;

// ---- Reference arithmetic on plain 128-bit numbers: four 32-bit digits, least significant first.
using Ref = std::array<std::uint32_t, 4>;

Ref RefSub(Ref a, const Ref& b) {
  std::uint64_t borrow = 0;
  for (int i = 0; i < 4; ++i) {
    const std::uint64_t d = std::uint64_t{a[i]} - b[i] - borrow;
    a[i] = static_cast<std::uint32_t>(d);
    borrow = d >> 63;
  }
  return a;
}
Ref RefNegate(const Ref& a) { return RefSub(Ref{}, a); }
Ref RefTwice(Ref a) {
  for (int i = 3; i >= 0; --i) a[i] = a[i] << 1 | (i > 0 ? a[i - 1] >> 31 : 0);
  return a;
}
bool RefNegative(const Ref& a) { return (a[3] >> 31) != 0; }
bool RefLess(const Ref& a, const Ref& b) {
  for (int i = 3; i >= 0; --i) {
    if (a[i] != b[i]) return a[i] < b[i];
  }
  return false;
}
bool Bit(const Ref& a, std::int64_t i) { return (a[i / 32] >> (i % 32) & 1) != 0; }

// Bit i of the result is bit i + n of v, where n is the count of a right shift (negated for a
// left one): zero below bit 0, and above bit 127 the sign bit when arithmetic.
Ref RefShift(const Ref& v, bool left, std::int64_t count, bool arithmetic) {
  Ref r{};
  for (std::int64_t i = 0, j = left ? -count : count; i < 128; ++i, ++j) {
    if (j >= 128 ? arithmetic && RefNegative(v) : j >= 0 && Bit(v, j)) r[i / 32] |= 1u << (i % 32);
  }
  return r;
}

template <typename T>
Ref ToRef(const T& v) {
  Ref r;
  v.Get(r[3], r[2], r[1], r[0]);
  return r;
}
template <typename T>
T FromRef(const Ref& r) {
  return T::FromWords(r[3], r[2], r[1], r[0]);
}
Ref FromHalves(std::uint64_t hi, std::uint64_t lo) {
  return {static_cast<std::uint32_t>(lo), static_cast<std::uint32_t>(lo >> 32),
          static_cast<std::uint32_t>(hi), static_cast<std::uint32_t>(hi >> 32)};
}

// Schoolbook product of the magnitudes: bits 64..191 of the 256-bit product, plus one when bit
// 63 is set.
Ref RefMultiplyMagnitudes(const Ref& a, const Ref& b) {
  std::uint32_t p[8] = {};
  for (int i = 0; i < 4; ++i) {
    std::uint64_t carry = 0;
    for (int j = 0; j < 4; ++j) {
      const std::uint64_t t = std::uint64_t{a[i]} * b[j] + p[i + j] + carry;  // < 2^64
      p[i + j] = static_cast<std::uint32_t>(t);
      carry = t >> 32;
    }
    p[i + 4] = static_cast<std::uint32_t>(carry);
  }
  const Ref r{p[2], p[3], p[4], p[5]};
  return (p[1] >> 31) != 0 ? RefSub(r, Ref{~0u, ~0u, ~0u, ~0u}) : r;  // + 1
}

Ref RefMultiplySigned(const Ref& a, const Ref& b) {
  const Ref r =
      RefMultiplyMagnitudes(RefNegative(a) ? RefNegate(a) : a, RefNegative(b) ? RefNegate(b) : b);
  return RefNegative(a) != RefNegative(b) ? RefNegate(r) : r;
}

// Restoring division, one bit of the 192-bit dividend a * 2^64 per round: the quotient modulo
// 2^128; b != 0. Doubling a remainder with its top bit set overflows, and is then above b.
Ref RefDivide(const Ref& a, const Ref& b) {
  Ref q{}, r{};
  int i = 191;
  while (i >= 64 && !Bit(a, i - 64)) --i;  // leading zeros leave r and q at zero
  for (; i >= 0; --i) {
    const bool overflow = RefNegative(r);
    r = RefTwice(r);
    r[0] |= i >= 64 && Bit(a, i - 64) ? 1 : 0;
    q = RefTwice(q);
    if (overflow || !RefLess(r, b)) {
      r = RefSub(r, b);
      q[0] |= 1;
    }
  }
  return q;
}

// An operand of random magnitude: 128 random bits shifted right by a random count.
Ref RandomOperand(std::mt19937_64& rng) {
  return RefShift(FromHalves(rng(), rng()), false, static_cast<std::int64_t>(rng() % 128), false);
}

constexpr char kMax[] = "7FFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF";
constexpr char kMin[] = "80000000 00000000 00000000 00000000";
constexpr char kZero[] = "00000000 00000000 00000000 00000000";
constexpr char kAllOnes[] = "FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF";

TEST(tFixedPoint128, IntegerConstructionsGiveExactWords) {
  EXPECT_EQ("FFFFFFFF FFFFFFFF 00000000 00000000", W(Fixed(-1)));
  EXPECT_EQ("00000000 FFFFFFFF 00000000 00000000", W(Fixed(0xFFFFFFFFu)));
  EXPECT_TRUE(Fixed(-1).IsNegative() && Fixed(-1).IsOdd() && F(0, 3, 0, 0).IsOdd());
  EXPECT_FALSE(Fixed(0xFFFFFFFFu).IsNegative() || Fixed(2).IsOdd());
  EXPECT_FALSE(F(0, 2, 0, 1).IsOdd());  // the fraction does not make a value odd
  // Zero tests (operator!) are checked through the division, which faults on a zero divisor only.
  // The unsigned variant has no sign: the same bits are a large positive number.
  EXPECT_EQ("FFFFFFFF FFFFFFFF 00000000 00000000", W(tUnsignedFixedPoint128(-1)));
  EXPECT_FALSE(tUnsignedFixedPoint128(-1).IsNegative());
}

TEST(tFixedPoint128, DoubleConstructionTruncatesTowardZeroAndSaturates) {
  EXPECT_EQ("00000000 00000001 80000000 00000000", W(Fixed(1.5)));
  // 1.5 x 2^-64 keeps 2^-64; its negation truncates toward zero as well.
  EXPECT_EQ(kAllOnes, W(Fixed(-0x1.8p-64)));
  // Magnitudes of 2^64 and more keep their low 64 integer bits.
  EXPECT_EQ(kMin, W(Fixed(0x1p63)));
  EXPECT_EQ("FFFFFFFF FFF00000 00000000 00000000", W(Fixed(-(0x1p70 + 0x1p20))));
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(kMax, W(Fixed(inf)));
  EXPECT_EQ(kMin, W(Fixed(-std::numeric_limits<double>::quiet_NaN())));
  EXPECT_EQ(kMax, W(tUnsignedFixedPoint128(inf)));
}

TEST(tFixedPoint128, LongDoubleConstructionTruncatesTowardZeroAndSaturates) {
  // 0.1L carries 64 significant bits: 0x1999999999999999.A truncated.
  EXPECT_EQ("00000000 00000000 19999999 99999999", W(Fixed(0.1L)));
  EXPECT_EQ("00000000 00000000 00000000 00000003", W(Fixed(0x3p-64L)));
  EXPECT_EQ(kZero, W(Fixed(std::numeric_limits<long double>::denorm_min())));
  EXPECT_EQ("FFFFFFFF FFFFFFF8 00000000 00000000", W(Fixed(-(0x1p65L + 8.0L))));
  const long double inf = std::numeric_limits<long double>::infinity();
  const long double nan = std::numeric_limits<long double>::quiet_NaN();
  EXPECT_EQ(kMin, W(Fixed(-inf)));
  EXPECT_EQ(kMax, W(Fixed(std::copysign(nan, 1.0L))));
  // Pairs are converted apart and added, so neither part loses bits to the other.
  EXPECT_EQ("00038D7E A4C68000 00000000 00000010", W(Fixed(1e15L, 0x1p-60L)));
  EXPECT_EQ("00000000 FFFFFFFF 80000000 00000000", W(Fixed(4294967296.0L, -0.5L)));
}

TEST(tFixedPoint128, ConversionsToFloatingPoint) {
  EXPECT_EQ(1.5L, static_cast<long double>(F(0, 1, 0x80000000, 0)));
  EXPECT_EQ(-1.5L, static_cast<long double>(F(0xFFFFFFFF, 0xFFFFFFFE, 0x80000000, 0)));
  EXPECT_EQ(-0x1p63L, static_cast<long double>(F(0x80000000, 0, 0, 0)));
  EXPECT_EQ(0x1p63L, static_cast<long double>(F(0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF)));
  // 1 + 2^-64 and 1 + 3 x 2^-64 need 65 bits: both round to nearest, ties to even.
  EXPECT_EQ(1.0L, static_cast<long double>(F(0, 1, 0, 1)));
  EXPECT_EQ(1.0L + 0x1p-62L, static_cast<long double>(F(0, 1, 0, 3)));
  EXPECT_EQ(-0x1.5555555555555p-2,
            static_cast<double>(F(0xFFFFFFFF, 0xFFFFFFFF, 0xAAAAAAAA, 0xAAAAAAAB)));
  tUnsignedFixedPoint128 top = tUnsignedFixedPoint128::FromWords(0x80000000, 0, 0, 0);
  EXPECT_EQ(0x1p63L, static_cast<long double>(top));
}

TEST(tFixedPoint128, ConversionToUnsignedLongTakesTheIntegerWords) {
  EXPECT_EQ(0xFFFFFFFFu, static_cast<std::uint32_t>(Fixed(-0.5)));
  EXPECT_EQ(5u, static_cast<std::uint32_t>(Fixed(0x1p32L + 5.0L)));
  EXPECT_EQ(0xFFFFFFFFFFFFFFFFu, Fixed(-1).ConversionHelper(8, true));
  EXPECT_EQ(0x2345u, Fixed(0x12345u).ConversionHelper(2, false));
}

// Values convert implicitly, as built-in numbers do, and mix with built-in numbers in fixed-point
// arithmetic and comparisons (the number converted first, so results stay exact).
TEST(tFixedPoint128, MixesWithBuiltInNumbersLikeANumber) {
  const Fixed t(1.5);
  const double d = t;
  const std::uint32_t whole = t;
  EXPECT_EQ(1.5, d);
  EXPECT_EQ(1u, whole);

  const Fixed tiny = F(0, 0, 0, 1);  // 2^-64: lost in any floating-point sum with 1
  EXPECT_EQ(F(0, 1, 0, 1), 1.0 + tiny);
  EXPECT_EQ(F(0xFFFFFFFF, 0xFFFFFFFF, 0, 1), tiny - 1);
  EXPECT_EQ(F(0, 0, 0xFFFFFFFF, 0xFFFFFFFF), 1u - tiny);
  EXPECT_EQ(Fixed(-3.0), -2.0 * t);
  EXPECT_EQ(Fixed(0.75), t / 2);
  EXPECT_EQ(Fixed(2), 3.0L / t);
  EXPECT_TRUE(t == 1.5 && 1.5f == t && t != 1 && 2u != t);
  EXPECT_TRUE(t < 2 && 1 < t && t <= 1.5 && 1.5 <= t && t > 1.25 && 1.75 > t);
  EXPECT_TRUE(t >= 1.5L && 2 >= t && t * 3 == 4.5);
  EXPECT_FALSE(tiny + 1 == 1);            // compared exactly, not as doubles
  EXPECT_TRUE(Fixed(-1) != 0xFFFFFFFFu);  // the number is converted first
}

TEST(tFixedPoint128, SignedAndUnsignedOrders) {
  using U = tUnsignedFixedPoint128;
  const Fixed max = F(0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF);
  EXPECT_TRUE(F(0x80000000, 0, 0, 0) < max && Fixed(-1) < Fixed(0) && Fixed(-1.5) < Fixed(-1.25));
  EXPECT_TRUE(F(0, 0, 0xFFFFFFFF, 0xFFFFFFFF) < Fixed(1) && F(0, 0, 0, 1) > Fixed(0));
  EXPECT_TRUE(U::FromWords(0x80000000, 0, 0, 0) > U::FromWords(0x7FFFFFFF, 0xFFFFFFFF, 0, 0));
  EXPECT_FALSE(U::FromWords(0, 0, 0xFFFFFFFF, 0) >= U(1));
}

TEST(tFixedPoint128, SumsNegationAndMaskCarryBorrowAndWrap) {
  EXPECT_EQ("00000000 00000001 00000000 00000000",
            W(F(0, 0, 0xFFFFFFFF, 0xFFFFFFFF) + F(0, 0, 0, 1)));
  EXPECT_EQ("00000000 00000000 FFFFFFFF FFFFFFFF", W(Fixed(1) - F(0, 0, 0, 1)));
  EXPECT_EQ(kMin, W(F(0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF) + F(0, 0, 0, 1)));
  Fixed t(1.75);
  t += Fixed(-2);
  EXPECT_EQ("FFFFFFFF FFFFFFFF C0000000 00000000", W(t));
  t -= Fixed(-0.25);
  EXPECT_EQ(kZero, W(t));
  EXPECT_EQ("FFFFFFFF 7FFFFFFF 00000000 00000000", W(INT32_MIN - Fixed(1)));
  EXPECT_EQ(kAllOnes, W(tUnsignedFixedPoint128(0) - tUnsignedFixedPoint128::FromWords(0, 0, 0, 1)));
  // Negation wraps too: the most negative value is its own negation.
  t = F(0x80000000, 0, 0, 0);
  t.Negate();
  EXPECT_EQ(kMin, W(t));
  t = Fixed(-1.75);  // FFFFFFFF FFFFFFFE 40000000 00000000
  t &= F(0x0000FFFF, 0xFFFF0000, 0x7FFFFFFF, 0);
  EXPECT_EQ("0000FFFF FFFF0000 40000000 00000000", W(t));
}

// Operands of every sign against the reference, which rounds the product of the magnitudes and
// then signs it: products of negated operands are their negations.
TEST(tFixedPoint128, ProductsMatchSchoolbookReference) {
  std::mt19937_64 rng(64);
  for (int i = 0; i < 20000; ++i) {
    Ref a = RandomOperand(rng), b = RandomOperand(rng);
    if ((rng() & 1) != 0) a = RefNegate(a);
    if ((rng() & 1) != 0) b = RefNegate(b);
    const Fixed x = FromRef<Fixed>(a), y = FromRef<Fixed>(b);
    ASSERT_EQ(RefMultiplySigned(a, b), ToRef(x * y)) << W(x) << " * " << W(y);
    const tUnsignedFixedPoint128 ux = FromRef<tUnsignedFixedPoint128>(a);
    const tUnsignedFixedPoint128 uy = FromRef<tUnsignedFixedPoint128>(b);
    ASSERT_EQ(RefMultiplyMagnitudes(a, b), ToRef(ux * uy)) << W(ux) << " * " << W(uy);
  }
}

TEST(tFixedPoint128, QuotientsMatchBitByBitDivision) {
  using U = tUnsignedFixedPoint128;
  // The smallest value's magnitude only fits the unsigned quotient of magnitudes.
  EXPECT_EQ("00000000 00000001 00000000 00000000",
            W(F(0x80000000, 0, 0, 0) / F(0x80000000, 0, 0, 0)));
  // High and low halves of operands at the edges of the digits and words.
  const std::uint64_t top = std::uint64_t{1} << 63, ones = ~std::uint64_t{0};
  // clang-format off
  const std::uint64_t edges[][2] = {
      {0, 1}, {0, 3}, {0, 0xFFFFFFFF}, {0, 0x100000000}, {0, top}, {0, ones}, {1, 0}, {1, 1},
      {0xFFFFFFFF, 0xFFFFFFFF00000000}, {top - 1, ones}, {top, 0}, {top, 1},
      {0xFFFFFFFF00000000, 0xFFFFFFFF00000000}, {0x100000000, 0}, {0xFFFFFFFF, ones - 1},
      {ones, ones}, {top, 0x80000000}, {0x80000000, 1}};
  // clang-format on
  std::vector<Ref> operands;
  for (const auto& edge : edges) operands.push_back(FromHalves(edge[0], edge[1]));
  std::mt19937_64 rng(2038);
  const std::size_t edgeCount = operands.size();
  for (int i = 0; i < 20000; ++i) operands.push_back(RandomOperand(rng));
  // Each operand against every edge, and against the next operand.
  const std::size_t n = operands.size();
  for (std::size_t k = 0; k < n * (edgeCount + 1); ++k) {
    const std::size_t i = k / (edgeCount + 1), j = k % (edgeCount + 1);
    const Ref a = operands[i], b = operands[j < edgeCount ? j : (i + 1) % n];
    if (b == Ref{}) continue;
    const Ref q = RefDivide(a, b);
    const Ref remainder = RefSub(a, RefMultiplyMagnitudes(q, b));
    const U ua = FromRef<U>(a), ub = FromRef<U>(b);
    U ur;
    ASSERT_EQ(q, ToRef(U::DivideInternal(ua, ub, &ur))) << W(ua) << " / " << W(ub);
    ASSERT_EQ(remainder, ToRef(ur)) << W(ua) << " / " << W(ub);
    ASSERT_EQ(q, ToRef(nZOSS100::detail::DivideMagnitudesPortable(ua, ub)));

    // The signed variant divides the magnitudes: the quotient takes the sign of the product, the
    // remainder that of the dividend.
    if (RefNegative(a) || RefNegative(b)) continue;
    const bool negate_a = (rng() & 1) != 0, negate_b = (rng() & 1) != 0;
    const Fixed sa = FromRef<Fixed>(negate_a ? RefNegate(a) : a);
    const Fixed sb = FromRef<Fixed>(negate_b ? RefNegate(b) : b);
    Fixed sr;
    ASSERT_EQ(negate_a != negate_b ? RefNegate(q) : q, ToRef(Fixed::DivideInternal(sa, sb, &sr)));
    ASSERT_EQ(negate_a ? RefNegate(remainder) : remainder, ToRef(sr)) << W(sa) << " / " << W(sb);
  }
}

TEST(tFixedPoint128, ShiftsMatchBitByBitShifting) {
  const Fixed values[] = {F(0x80000001, 2, 3, 0x80000005),
                          F(0, 0x12345678, 0x9ABCDEF0, 0x0FEDCBA9)};
  std::vector<std::int32_t> counts = {INT32_MIN, INT32_MIN + 1, INT32_MAX, 500};
  for (std::int32_t count = -130; count <= 130; ++count) counts.push_back(count);
  for (const Fixed& value : values) {
    for (const bool left : {false, true}) {
      for (const bool arithmetic : {false, true}) {
        for (const std::int32_t count : counts) {
          Fixed v(value);
          left ? v.LeftShift(count, arithmetic) : v.RightShift(count, arithmetic);
          ASSERT_EQ(RefShift(ToRef(value), left, count, arithmetic), ToRef(v))
              << (left ? "LeftShift(" : "RightShift(") << count << ", " << arithmetic << ") of "
              << W(value);
        }
      }
    }
  }
  tUnsignedFixedPoint128 u = tUnsignedFixedPoint128::FromWords(0x80000000, 0, 0, 0);
  u.RightShift(4, true);  // no sign in the unsigned variant: zeros come in
  EXPECT_EQ("08000000 00000000 00000000 00000000", W(u));
}

TEST(tFixedPoint128, StatusMergingKeepsTheFirstError) {
  // {current, new, merged}: an error replaces anything but an error, a warning only success.
  const std::int32_t rows[][3] = {{5, 7, 5}, {5, -2, -2}, {-2, -9, -2}, {-2, 4, -2},
                                  {0, 3, 3}, {0, 0, 0},   {5, 0, 5},    {0, -50175, -50175}};
  for (const auto& row : rows) {
    EXPECT_EQ(row[2], nZOSS100::palStatusSetStatus(row[0], row[1])) << row[0] << " " << row[1];
  }
}

TEST(tFixedPoint128DeathTest, ZeroDivisorRaisesArithmeticFault) {
  Fixed v(1);
  EXPECT_DEATH(v /= Fixed(0), "");
  tUnsignedFixedPoint128 r;
  EXPECT_DEATH(tUnsignedFixedPoint128::DivideInternal(5, tUnsignedFixedPoint128(0), &r), "");
}

}  // namespace
