// Tests of the 128-bit fixed-point type: exact words of constructions, conversions, sums,
// products, quotients, shifts and status merging, with products and quotients checked against
// independent reference arithmetic written here.
#include "kel/time/tFixedPoint128.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/TimeTest.h"

namespace {

using nZOSS100::tSignedFixedPoint128;
using nZOSS100::tUnsignedFixedPoint128;
using Fixed = tSignedFixedPoint128;

using zo_kel_test::F;
using zo_kel_test::W;

// ---- Reference arithmetic on plain 128-bit numbers (two 64-bit halves). ----
struct Ref {
  std::uint64_t hi, lo;
};

bool operator==(Ref a, Ref b) { return a.hi == b.hi && a.lo == b.lo; }
void PrintTo(const Ref& r, std::ostream* os) {
  char text[40];
  std::snprintf(text, sizeof text, "%016llX %016llX", static_cast<unsigned long long>(r.hi),
                static_cast<unsigned long long>(r.lo));
  *os << text;
}
bool RefGreaterEqual(Ref a, Ref b) { return a.hi != b.hi ? a.hi > b.hi : a.lo >= b.lo; }
Ref RefSub(Ref a, Ref b) { return {a.hi - b.hi - (a.lo < b.lo ? 1 : 0), a.lo - b.lo}; }
Ref RefShiftLeft1(Ref a) { return {(a.hi << 1) | (a.lo >> 63), a.lo << 1}; }
Ref RefNegate(Ref a) {
  Ref r{~a.hi, ~a.lo + 1};
  if (r.lo == 0) ++r.hi;
  return r;
}
bool RefNegative(Ref a) { return (a.hi >> 63) != 0; }

template <typename T>
Ref ToRef(const T& v) {
  std::uint32_t w3, w2, w1, w0;
  v.Get(w3, w2, w1, w0);
  return {(std::uint64_t{w3} << 32) | w2, (std::uint64_t{w1} << 32) | w0};
}

template <typename T>
T FromRef(Ref r) {
  return T::FromWords(static_cast<std::uint32_t>(r.hi >> 32), static_cast<std::uint32_t>(r.hi),
                      static_cast<std::uint32_t>(r.lo >> 32), static_cast<std::uint32_t>(r.lo));
}

// Schoolbook product of the magnitudes in 16-bit digits: bits 64..191 of the 256-bit product,
// plus one when bit 63 is set.
Ref RefMultiplyMagnitudes(Ref a, Ref b) {
  std::uint32_t x[8], y[8], p[16] = {};
  for (int i = 0; i < 4; ++i) {
    x[i] = static_cast<std::uint32_t>(a.lo >> (16 * i)) & 0xFFFF;
    x[i + 4] = static_cast<std::uint32_t>(a.hi >> (16 * i)) & 0xFFFF;
    y[i] = static_cast<std::uint32_t>(b.lo >> (16 * i)) & 0xFFFF;
    y[i + 4] = static_cast<std::uint32_t>(b.hi >> (16 * i)) & 0xFFFF;
  }
  for (int i = 0; i < 8; ++i) {
    std::uint32_t carry = 0;
    for (int j = 0; j < 8; ++j) {
      const std::uint32_t t = x[i] * y[j] + p[i + j] + carry;  // < 2^32
      p[i + j] = t & 0xFFFF;
      carry = t >> 16;
    }
    p[i + 8] = carry;
  }
  Ref r{0, 0};
  for (int i = 0; i < 4; ++i) {
    r.lo |= std::uint64_t{p[4 + i]} << (16 * i);
    r.hi |= std::uint64_t{p[8 + i]} << (16 * i);
  }
  if ((p[3] & 0x8000) != 0) r = RefSub(r, Ref{~std::uint64_t{0}, ~std::uint64_t{0}});  // +1
  return r;
}

Ref RefMultiplySigned(Ref a, Ref b) {
  const bool negative = RefNegative(a) != RefNegative(b);
  Ref r =
      RefMultiplyMagnitudes(RefNegative(a) ? RefNegate(a) : a, RefNegative(b) ? RefNegate(b) : b);
  return negative ? RefNegate(r) : r;
}

// Restoring division one bit per round: floor(a * 2^64 / b) modulo 2^128; b != 0.
Ref RefDivideBitByBit(Ref a, Ref b) {
  Ref r = a, d = b, q{0, 0};
  int k = 0;
  while ((d.hi >> 63) == 0) {
    d = RefShiftLeft1(d);
    ++k;
  }
  const int rounds = k + 64 + 1;
  bool out = false;
  for (int round = 0; round < rounds; ++round) {
    if (out || RefGreaterEqual(r, d)) {
      r = RefSub(r, d);
      q.lo |= 1;
    }
    if (round + 1 < rounds) {
      out = (r.hi >> 63) != 0;
      q = RefShiftLeft1(q);
      r = RefShiftLeft1(r);
    }
  }
  return q;
}

// An operand of random magnitude: 128 random bits shifted right by a random count.
Ref RandomOperand(std::mt19937_64& rng) {
  Ref r{rng(), rng()};
  const int shift = static_cast<int>(rng() % 128);
  if (shift >= 64) return {0, r.hi >> (shift - 64)};
  if (shift == 0) return r;
  return {r.hi >> shift, (r.lo >> shift) | (r.hi << (64 - shift))};
}

constexpr char kMax[] = "7FFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF";
constexpr char kMin[] = "80000000 00000000 00000000 00000000";
constexpr char kZero[] = "00000000 00000000 00000000 00000000";
constexpr char kAllOnes[] = "FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF";

TEST(tFixedPoint128, IntegerConstructionsGiveExactWords) {
  const Fixed minus_one(-1);
  EXPECT_EQ("FFFFFFFF FFFFFFFF 00000000 00000000", W(minus_one));
  EXPECT_TRUE(minus_one.IsNegative());
  EXPECT_TRUE(minus_one.IsOdd());
  EXPECT_EQ("00000000 7FFFFFFF 00000000 00000000", W(Fixed(INT32_MAX)));
  EXPECT_EQ("FFFFFFFF 80000000 00000000 00000000", W(Fixed(INT32_MIN)));
  EXPECT_EQ("00000000 FFFFFFFF 00000000 00000000", W(Fixed(0xFFFFFFFFu)));
  EXPECT_FALSE(Fixed(0xFFFFFFFFu).IsNegative());
  EXPECT_FALSE(Fixed(2).IsOdd());
  EXPECT_FALSE(F(0, 2, 0, 1).IsOdd());  // the fraction does not make a value odd
  EXPECT_TRUE(F(0, 3, 0, 0).IsOdd());
  EXPECT_TRUE(!Fixed(0));
  EXPECT_FALSE(!F(0, 0, 0, 1));
  EXPECT_FALSE(!F(0x80000000, 0, 0, 0));
  // The unsigned variant has no sign: the same bits are a large positive number.
  EXPECT_EQ("FFFFFFFF FFFFFFFF 00000000 00000000", W(tUnsignedFixedPoint128(-1)));
  EXPECT_FALSE(tUnsignedFixedPoint128(-1).IsNegative());
}

TEST(tFixedPoint128, DoubleConstructionTruncatesTowardZeroAndSaturates) {
  EXPECT_EQ("00000000 00000001 80000000 00000000", W(Fixed(1.5)));
  EXPECT_EQ("FFFFFFFF FFFFFFFE 80000000 00000000", W(Fixed(-1.5)));
  EXPECT_EQ("00000000 00000000 19999999 99999A00", W(Fixed(0.1)));
  EXPECT_EQ("0DE0B6B3 A7640000 00000000 00000000", W(Fixed(1e18)));
  EXPECT_EQ("00000000 00000000 00000000 00000001", W(Fixed(0x1p-64)));
  // 1.5 x 2^-64 keeps 2^-64; its negation truncates toward zero as well.
  EXPECT_EQ("00000000 00000000 00000000 00000001", W(Fixed(0x1.8p-64)));
  EXPECT_EQ(kAllOnes, W(Fixed(-0x1.8p-64)));
  EXPECT_EQ(kZero, W(Fixed(0x1p-70)));
  EXPECT_EQ(kZero, W(Fixed(-0x1p-70)));
  EXPECT_EQ(kZero, W(Fixed(-0.0)));
  EXPECT_EQ(kZero, W(Fixed(std::numeric_limits<double>::denorm_min())));
  // Magnitudes of 2^64 and more keep their low 64 integer bits.
  EXPECT_EQ(kMin, W(Fixed(0x1p63)));
  EXPECT_EQ("00000000 00100000 00000000 00000000", W(Fixed(0x1p70 + 0x1p20)));
  EXPECT_EQ("FFFFFFFF FFF00000 00000000 00000000", W(Fixed(-(0x1p70 + 0x1p20))));
  EXPECT_EQ(kZero, W(Fixed(0x1p200)));
  EXPECT_EQ(kZero, W(Fixed(std::numeric_limits<double>::max())));
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(kMax, W(Fixed(inf)));
  EXPECT_EQ(kMin, W(Fixed(-inf)));
  EXPECT_EQ(kMax, W(Fixed(std::copysign(nan, 1.0))));
  EXPECT_EQ(kMin, W(Fixed(std::copysign(nan, -1.0))));
  EXPECT_EQ(kMax, W(tUnsignedFixedPoint128(inf)));
  EXPECT_EQ("FFFFFFFF FFFFFFFE 80000000 00000000", W(tUnsignedFixedPoint128(-1.5)));
}

TEST(tFixedPoint128, LongDoubleConstructionTruncatesTowardZeroAndSaturates) {
  EXPECT_EQ("00000000 00000001 80000000 00000000", W(Fixed(1.5L)));
  EXPECT_EQ("FFFFFFFF FFFFFFFE 80000000 00000000", W(Fixed(-1.5L)));
  // 0.1L carries 64 significant bits: 0x1999999999999999.A truncated.
  EXPECT_EQ("00000000 00000000 19999999 99999999", W(Fixed(0.1L)));
  EXPECT_EQ("00000000 00000000 00000000 00000003", W(Fixed(0x3p-64L)));
  EXPECT_EQ(kZero, W(Fixed(0x1p-65L)));
  EXPECT_EQ(kZero, W(Fixed(std::numeric_limits<long double>::denorm_min())));
  EXPECT_EQ("00000000 00000008 00000000 00000000", W(Fixed(0x1p65L + 8.0L)));
  EXPECT_EQ("FFFFFFFF FFFFFFF8 00000000 00000000", W(Fixed(-(0x1p65L + 8.0L))));
  EXPECT_EQ(kMin, W(Fixed(0x1p63L)));
  EXPECT_EQ(kZero, W(Fixed(std::numeric_limits<long double>::max())));
  const long double inf = std::numeric_limits<long double>::infinity();
  const long double nan = std::numeric_limits<long double>::quiet_NaN();
  EXPECT_EQ(kMax, W(Fixed(inf)));
  EXPECT_EQ(kMin, W(Fixed(-inf)));
  EXPECT_EQ(kMax, W(Fixed(std::copysign(nan, 1.0L))));
  EXPECT_EQ(kMin, W(Fixed(std::copysign(nan, -1.0L))));
  // Pairs are converted apart and added, so neither part loses bits to the other.
  EXPECT_EQ("00038D7E A4C68000 40000000 00000000", W(Fixed(1e15L, 0.25L)));
  EXPECT_EQ("00038D7E A4C68000 00000000 00000010", W(Fixed(1e15L, 0x1p-60L)));
  EXPECT_EQ("00000000 FFFFFFFF 80000000 00000000", W(Fixed(4294967296.0L, -0.5L)));
  EXPECT_EQ(kMax, W(Fixed(inf, 0.0L)));
}

TEST(tFixedPoint128, DoubleAndLongDoubleConstructionsAgree) {
  // Two different recipes (IEEE bits and frexpl) must give the same words for every double.
  std::mt19937_64 rng(1904);
  for (int i = 0; i < 20000; ++i) {
    const double mantissa = static_cast<double>(rng() >> 11);  // 53 bits
    const int exponent = static_cast<int>(rng() % 200) - 150;  // 2^-150 .. 2^102
    const double d = std::ldexp((rng() & 1) != 0 ? -mantissa : mantissa, exponent);
    ASSERT_EQ(W(Fixed(d)), W(Fixed(static_cast<long double>(d)))) << d;
  }
}

TEST(tFixedPoint128, ConversionsToFloatingPoint) {
  EXPECT_EQ(1.5L, static_cast<long double>(F(0, 1, 0x80000000, 0)));
  EXPECT_EQ(-1.5L, static_cast<long double>(F(0xFFFFFFFF, 0xFFFFFFFE, 0x80000000, 0)));
  EXPECT_EQ(0x1p-64L, static_cast<long double>(F(0, 0, 0, 1)));
  EXPECT_EQ(-0x1p-64L, static_cast<long double>(F(0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF)));
  EXPECT_EQ(-0x1p63L, static_cast<long double>(F(0x80000000, 0, 0, 0)));
  EXPECT_EQ(0x1p63L, static_cast<long double>(F(0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF)));
  // 1 + 2^-64 and 1 + 3 x 2^-64 need 65 bits: both round to nearest, ties to even.
  EXPECT_EQ(1.0L, static_cast<long double>(F(0, 1, 0, 1)));
  EXPECT_EQ(1.0L + 0x1p-62L, static_cast<long double>(F(0, 1, 0, 3)));
  EXPECT_EQ(0x1.5555555555555p-2, static_cast<double>(F(0, 0, 0x55555555, 0x55555555)));
  EXPECT_EQ(-0x1.5555555555555p-2,
            static_cast<double>(F(0xFFFFFFFF, 0xFFFFFFFF, 0xAAAAAAAA, 0xAAAAAAAB)));
  EXPECT_EQ(0.0, static_cast<double>(Fixed(0)));
  EXPECT_EQ(-4294967296.0, static_cast<double>(F(0xFFFFFFFF, 0, 0, 0)));
  tUnsignedFixedPoint128 top = tUnsignedFixedPoint128::FromWords(0x80000000, 0, 0, 0);
  EXPECT_EQ(0x1p63L, static_cast<long double>(top));
}

TEST(tFixedPoint128, ConversionToUnsignedLongTakesTheIntegerWords) {
  EXPECT_EQ(0xFFFFFFFFu, static_cast<std::uint32_t>(Fixed(-0.5)));
  EXPECT_EQ(7u, static_cast<std::uint32_t>(Fixed(7.99)));
  EXPECT_EQ(0xFFFFFFF8u, static_cast<std::uint32_t>(Fixed(-7.99)));
  EXPECT_EQ(5u, static_cast<std::uint32_t>(Fixed(0x1p32L + 5.0L)));
  EXPECT_EQ(0xFFFFFFFFFFFFFFFFu, Fixed(-1).ConversionHelper(8, true));
  EXPECT_EQ(0x0000000100000002u, F(1, 2, 3, 4).ConversionHelper(8, false));
  EXPECT_EQ(2u, F(1, 2, 3, 4).ConversionHelper(4, true));
  EXPECT_EQ(0x2345u, Fixed(0x12345u).ConversionHelper(2, false));
  EXPECT_EQ(0x2345u, Fixed(0x12345u).ConversionHelper(1, true));
}

// Values convert implicitly, as built-in numbers do, and mix with built-in numbers in fixed-point
// arithmetic and comparisons (the number converted first, so results stay exact).
double Seconds(double s) { return s; }

TEST(tFixedPoint128, MixesWithBuiltInNumbersLikeANumber) {
  const Fixed t(1.5);
  const double d = t;
  const long double x = t;
  const std::uint32_t whole = t;
  EXPECT_EQ(1.5, d);
  EXPECT_EQ(1.5L, x);
  EXPECT_EQ(1u, whole);
  EXPECT_EQ(1.5, Seconds(t));

  const Fixed tiny = F(0, 0, 0, 1);  // 2^-64: lost in any floating-point sum with 1
  EXPECT_EQ(F(0, 1, 0, 1), tiny + 1);
  EXPECT_EQ(F(0, 1, 0, 1), 1.0 + tiny);
  EXPECT_EQ(F(0xFFFFFFFF, 0xFFFFFFFF, 0, 1), tiny - 1);
  EXPECT_EQ(F(0, 0, 0xFFFFFFFF, 0xFFFFFFFF), 1u - tiny);
  EXPECT_EQ(Fixed(4.5), t * 3);
  EXPECT_EQ(Fixed(-3.0), -2.0 * t);
  EXPECT_EQ(Fixed(0.75), t / 2);
  EXPECT_EQ(Fixed(2), 3.0L / t);
  EXPECT_TRUE(t == 1.5 && 1.5f == t && t != 1 && 2u != t);
  EXPECT_TRUE(t < 2 && 1 < t && t <= 1.5 && 1.5 <= t && t > 1.25 && 1.75 > t);
  EXPECT_TRUE(t >= 1.5L && 2 >= t);
  EXPECT_FALSE(tiny + 1 == 1);  // compared exactly, not as doubles
}

TEST(tFixedPoint128, SignedAndUnsignedOrders) {
  const Fixed min = F(0x80000000, 0, 0, 0);
  const Fixed max = F(0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF);
  EXPECT_TRUE(min < max);
  EXPECT_TRUE(Fixed(-1) < Fixed(0));
  EXPECT_TRUE(F(0, 0, 0, 1) > Fixed(0));
  EXPECT_TRUE(F(0, 0, 0xFFFFFFFF, 0xFFFFFFFF) < Fixed(1));
  EXPECT_TRUE(Fixed(-1.5) < Fixed(-1.25));
  EXPECT_TRUE(Fixed(-1.25) >= Fixed(-1.5));
  EXPECT_TRUE(Fixed(2) <= Fixed(2));
  EXPECT_FALSE(Fixed(2) < Fixed(2));
  EXPECT_FALSE(Fixed(2) > Fixed(2));
  EXPECT_TRUE(Fixed(2) == Fixed(2.0));
  EXPECT_TRUE(F(0, 2, 0, 0) != F(0, 2, 0, 1));
  using U = tUnsignedFixedPoint128;
  EXPECT_TRUE(U::FromWords(0x80000000, 0, 0, 0) > U::FromWords(0x7FFFFFFF, 0xFFFFFFFF, 0, 0));
  EXPECT_TRUE(U::FromWords(0xFFFFFFFF, 0, 0, 0) >= U(1));
  EXPECT_FALSE(U::FromWords(0, 0, 0xFFFFFFFF, 0) >= U(1));
  // Against plain integers, converted first.
  EXPECT_FALSE(Fixed(5) != 5);
  EXPECT_TRUE(Fixed(5.5) != 5);
  EXPECT_FALSE(Fixed(-1) != -1);
  EXPECT_FALSE(Fixed(0xFFFFFFFFu) != 0xFFFFFFFFu);
  EXPECT_TRUE(Fixed(-1) != 0xFFFFFFFFu);
}

TEST(tFixedPoint128, SumsCarryBorrowAndWrap) {
  EXPECT_EQ("00000000 00000001 00000000 00000000",
            W(F(0, 0, 0xFFFFFFFF, 0xFFFFFFFF) + F(0, 0, 0, 1)));
  EXPECT_EQ("00000000 00000000 FFFFFFFF FFFFFFFF", W(Fixed(1) - F(0, 0, 0, 1)));
  EXPECT_EQ(kMin, W(F(0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF) + F(0, 0, 0, 1)));
  EXPECT_EQ(kMax, W(F(0x80000000, 0, 0, 0) - F(0, 0, 0, 1)));
  Fixed t(1.75);
  t += Fixed(-2);
  EXPECT_EQ("FFFFFFFF FFFFFFFF C0000000 00000000", W(t));
  t -= Fixed(-0.25);
  EXPECT_EQ(kZero, W(t));
  EXPECT_EQ("00000000 00000002 C0000000 00000000", W(3 - Fixed(0.25)));
  EXPECT_EQ("FFFFFFFF 7FFFFFFF 00000000 00000000", W(INT32_MIN - Fixed(1)));
  EXPECT_EQ(kAllOnes, W(tUnsignedFixedPoint128(0) - tUnsignedFixedPoint128::FromWords(0, 0, 0, 1)));
}

TEST(tFixedPoint128, BitOperations) {
  Fixed v(0);
  v.Invert();
  EXPECT_EQ(kAllOnes, W(v));
  v.IncrementLSB();
  EXPECT_EQ(kZero, W(v));
  v = F(0, 0, 0xFFFFFFFF, 0xFFFFFFFF);
  v.IncrementLSB();
  EXPECT_EQ("00000000 00000001 00000000 00000000", W(v));
  v = Fixed(1.5);
  v.Negate();
  EXPECT_EQ("FFFFFFFF FFFFFFFE 80000000 00000000", W(v));
  v = F(0x80000000, 0, 0, 0);
  v.Negate();
  EXPECT_EQ(kMin, W(v));
  v.Zero();
  v.Negate();
  EXPECT_EQ(kZero, W(v));
  EXPECT_EQ("00000000 00000000 C0000000 00000000",
            W(Fixed(1.75) & F(0, 0, 0xFFFFFFFF, 0xFFFFFFFF)));
  v = Fixed(-1.75);  // FFFFFFFF FFFFFFFE 40000000 00000000
  v &= F(0x0000FFFF, 0xFFFF0000, 0x7FFFFFFF, 0);
  EXPECT_EQ("0000FFFF FFFF0000 40000000 00000000", W(v));

  using nZOSS100::tFixedPoint128Extra::AddChain;
  std::uint64_t chain[3] = {~std::uint64_t{0}, ~std::uint64_t{0}, 5};
  EXPECT_FALSE(AddChain<std::uint64_t>(chain, 1, 3));
  EXPECT_EQ(0u, chain[0]);
  EXPECT_EQ(0u, chain[1]);
  EXPECT_EQ(6u, chain[2]);
  std::uint32_t words[2] = {0xFFFFFFF0u, 0xFFFFFFFFu};
  EXPECT_TRUE(AddChain<std::uint32_t>(words, 0x20u, 2));
  EXPECT_EQ(0x10u, words[0]);
  EXPECT_EQ(0u, words[1]);
}

TEST(tFixedPoint128, ProductsRoundTheFirstDroppedBitAwayFromZero) {
  const Fixed lsb = F(0, 0, 0, 1);
  const Fixed minus_lsb = F(0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF);
  EXPECT_EQ("00000000 00000000 40000000 00000000", W(Fixed(0.5) * Fixed(0.5)));
  EXPECT_EQ("FFFFFFFF FFFFFFFD C0000000 00000000", W(Fixed(1.5) * Fixed(-1.5)));
  // 2^-65: the first dropped bit is set, the product rounds to 2^-64, and the signs only flip it.
  EXPECT_EQ("00000000 00000000 00000000 00000001", W(lsb * Fixed(0.5)));
  EXPECT_EQ(kAllOnes, W(minus_lsb * Fixed(0.5)));
  EXPECT_EQ(kAllOnes, W(lsb * Fixed(-0.5)));
  EXPECT_EQ("00000000 00000000 00000000 00000001", W(minus_lsb * Fixed(-0.5)));
  // 2^-66: only a lower bit is dropped.
  EXPECT_EQ(kZero, W(lsb * Fixed(0.25)));
  EXPECT_EQ(kZero, W(minus_lsb * Fixed(0.25)));
  // 1.5 x 2^-64 rounds half up to 2 x 2^-64; -1.5 x 2^-64 to -2 x 2^-64.
  EXPECT_EQ("00000000 00000000 00000000 00000002", W(F(0, 0, 0, 3) * Fixed(0.5)));
  EXPECT_EQ("FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFE", W(F(0, 0, 0, 3) * Fixed(-0.5)));
  // 3 x 2^-64 x 0x0.5555555555555555 = 2^-64 - 2^-128: rounds up to 2^-64.
  EXPECT_EQ("00000000 00000000 00000000 00000001",
            W(F(0, 0, 0, 3) * F(0, 0, 0x55555555, 0x55555555)));
  EXPECT_EQ("FFFFFFFE 00000001 00000000 00000000", W(Fixed(0xFFFFFFFFu) * Fixed(0xFFFFFFFFu)));
  // Integer bits beyond 2^63 are lost: 2^32 x 2^32 wraps to zero.
  EXPECT_EQ(kZero, W(F(1, 0, 0, 0) * F(1, 0, 0, 0)));
  EXPECT_EQ(kMin, W(F(0x80000000, 0, 0, 0) * Fixed(-1)));
  EXPECT_EQ(kMax, W(F(0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF) * Fixed(1)));
  Fixed v(-3);
  v *= Fixed(0.5);
  EXPECT_EQ("FFFFFFFF FFFFFFFE 80000000 00000000", W(v));
  using U = tUnsignedFixedPoint128;
  EXPECT_EQ("00000000 00000000 00000000 00000001",
            W(U::FromWords(0, 0, 0, 1) * U(1) * U::FromWords(0, 0, 0x80000000, 0)));
  EXPECT_EQ(kZero, W(U::FromWords(0x80000000, 0, 0, 0) * U(2)));
  EXPECT_EQ("FFFFFFFF 00000000 00000000 00000000",
            W(U::FromWords(0x7FFFFFFF, 0x80000000, 0, 0) * U(2)));
}

TEST(tFixedPoint128, ProductsMatchSchoolbookReference) {
  std::mt19937_64 rng(64);
  const Fixed min = F(0x80000000, 0, 0, 0);
  for (int i = 0; i < 20000; ++i) {
    Ref a = RandomOperand(rng), b = RandomOperand(rng);
    if ((rng() & 1) != 0) a = RefNegate(a);
    if ((rng() & 1) != 0) b = RefNegate(b);
    const Fixed x = FromRef<Fixed>(a), y = FromRef<Fixed>(b);
    ASSERT_EQ(RefMultiplySigned(a, b), ToRef(x * y)) << W(x) << " * " << W(y);
    const tUnsignedFixedPoint128 ux = FromRef<tUnsignedFixedPoint128>(a);
    const tUnsignedFixedPoint128 uy = FromRef<tUnsignedFixedPoint128>(b);
    ASSERT_EQ(RefMultiplyMagnitudes(a, b), ToRef(ux * uy)) << W(ux) << " * " << W(uy);
    if (x == min || y == min) continue;
    Fixed nx(x), ny(y), product(x * y);
    nx.Negate();
    ny.Negate();
    ASSERT_EQ(W(product), W(nx * ny));
    product.Negate();
    ASSERT_EQ(W(product), W(nx * y));
    ASSERT_EQ(W(product), W(x * ny));
  }
}

TEST(tFixedPoint128, QuotientsTruncateAndRemaindersUseTheFixedPointProduct) {
  Fixed r = F(0x12345678, 0x12345678, 0x12345678, 0x12345678);
  EXPECT_EQ("00000000 00000000 55555555 55555555", W(Fixed::DivideInternal(1, 3, &r)));
  EXPECT_EQ("00000000 00000000 00000000 00000001", W(r));
  EXPECT_EQ("FFFFFFFF FFFFFFFF AAAAAAAA AAAAAAAB", W(Fixed::DivideInternal(-1, 3, &r)));
  EXPECT_EQ(kAllOnes, W(r));  // the remainder takes the dividend's sign
  EXPECT_EQ("FFFFFFFF FFFFFFFF AAAAAAAA AAAAAAAB", W(Fixed::DivideInternal(1, -3, &r)));
  EXPECT_EQ("00000000 00000000 00000000 00000001", W(r));
  EXPECT_EQ("00000000 00000000 55555555 55555555", W(Fixed::DivideInternal(-1, -3, &r)));
  EXPECT_EQ(kAllOnes, W(r));
  EXPECT_EQ("00000000 00000003 80000000 00000000", W(Fixed::DivideInternal(7, 2, &r)));
  EXPECT_EQ(kZero, W(r));
  r = Fixed(9);
  EXPECT_EQ(kZero, W(Fixed::DivideInternal(0, 5, &r)));
  EXPECT_EQ(kZero, W(r));
  // 1 / (3 x 2^-64): the quotient's product with the divisor is 1 - 2^-128, which the rounding
  // multiplication makes 1, so the remainder is 0 rather than 2^-64.
  EXPECT_EQ("55555555 55555555 55555555 55555555", W(Fixed::DivideInternal(1, F(0, 0, 0, 3), &r)));
  EXPECT_EQ(kZero, W(r));
  EXPECT_EQ("AAAAAAAA AAAAAAAA AAAAAAAA AAAAAAAB", W(Fixed::DivideInternal(-1, F(0, 0, 0, 3), &r)));
  EXPECT_EQ(kZero, W(r));
  // Quotients beyond the range wrap.
  EXPECT_EQ(kZero, W(F(0x40000000, 0, 0, 0) / Fixed(0.25)));
  EXPECT_EQ(kMin, W(Fixed(1) / F(0, 0, 0, 2)));
  EXPECT_EQ("00000000 00000001 00000000 00000000",
            W(F(0x80000000, 0, 0, 0) / F(0x80000000, 0, 0, 0)));
  EXPECT_EQ("00000000 00000001 00000000 00000000",
            W(F(0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF) /
              F(0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF)));
  Fixed v(10);
  v /= Fixed(-4);
  EXPECT_EQ("FFFFFFFF FFFFFFFD 80000000 00000000", W(v));
  using U = tUnsignedFixedPoint128;
  U ur;
  // (1 - 2^-64) / 0.75 = 1.3333...3 - 2^-64 x 1.33, truncated.
  EXPECT_EQ("00000000 00000001 55555555 55555554",
            W(U::DivideInternal(U::FromWords(0, 0, 0xFFFFFFFF, 0xFFFFFFFF),
                                U::FromWords(0, 0, 0xC0000000, 0), &ur)));
}

TEST(tFixedPoint128, QuotientsMatchBitByBitDivision) {
  using U = tUnsignedFixedPoint128;
  std::vector<Ref> operands = {
      {0, 1},
      {0, 3},
      {0, 0xFFFFFFFFu},
      {0, 0x100000000u},
      {0, 0x8000000000000000u},
      {0, ~std::uint64_t{0}},
      {1, 0},
      {1, 1},
      {0xFFFFFFFFu, 0xFFFFFFFF00000000u},
      {0x7FFFFFFFFFFFFFFFu, ~std::uint64_t{0}},
      {0x8000000000000000u, 0},
      {0x8000000000000000u, 1},
      {0xFFFFFFFF00000000u, 0xFFFFFFFF00000000u},
      {0x0000000100000000u, 0},
      {0x00000000FFFFFFFFu, 0xFFFFFFFFFFFFFFFEu},
      {~std::uint64_t{0}, ~std::uint64_t{0}},
      {0x8000000000000000u, 0x0000000080000000u},
      {0x0000000080000000u, 0x0000000000000001u},
  };
  std::mt19937_64 rng(2038);
  for (int i = 0; i < 20000; ++i) operands.push_back(RandomOperand(rng));
  std::vector<std::pair<Ref, Ref>> pairs;
  for (const Ref& a : operands) {
    for (int j = 0; j < 18; ++j) pairs.emplace_back(a, operands[j]);
  }
  for (std::size_t i = 0; i + 1 < operands.size(); i += 2)
    pairs.emplace_back(operands[i], operands[i + 1]);

  for (const auto& pair : pairs) {
    const Ref a = pair.first, b = pair.second;
    if (b == Ref{0, 0}) continue;
    const Ref q = RefDivideBitByBit(a, b);
    const Ref remainder = RefSub(a, RefMultiplyMagnitudes(q, b));
    const U ua = FromRef<U>(a), ub = FromRef<U>(b);
    U ur;
    ASSERT_EQ(q, ToRef(U::DivideInternal(ua, ub, &ur))) << W(ua) << " / " << W(ub);
    ASSERT_EQ(remainder, ToRef(ur)) << W(ua) << " / " << W(ub);
    ASSERT_EQ(q, ToRef(nZOSS100::detail::DivideMagnitudesPortable(ua, ub)));

    // The signed variant divides the magnitudes: sign the operands at random.
    if (RefNegative(a) || RefNegative(b)) continue;
    const bool negate_a = (rng() & 1) != 0, negate_b = (rng() & 1) != 0;
    const Fixed sa = FromRef<Fixed>(negate_a ? RefNegate(a) : a);
    const Fixed sb = FromRef<Fixed>(negate_b ? RefNegate(b) : b);
    Fixed sr;
    const Ref expected_q = negate_a != negate_b ? RefNegate(q) : q;
    const Ref expected_r = negate_a ? RefNegate(remainder) : remainder;
    ASSERT_EQ(expected_q, ToRef(Fixed::DivideInternal(sa, sb, &sr))) << W(sa) << " / " << W(sb);
    ASSERT_EQ(expected_r, ToRef(sr)) << W(sa) << " / " << W(sb);
  }
}

TEST(tFixedPoint128, ShiftsByEveryBoundaryCount) {
  const Fixed negative = F(0x80000001, 0x00000002, 0x00000003, 0x80000005);
  const Fixed positive = F(0, 0x12345678, 0x9ABCDEF0, 0x0FEDCBA9);
  struct Case {
    const Fixed* value;
    bool left;
    std::int32_t count;
    bool arithmetic;
    const char* expected;
  };
  const Case cases[] = {
      {&negative, false, 0, true, "80000001 00000002 00000003 80000005"},
      {&negative, true, 0, true, "80000001 00000002 00000003 80000005"},
      {&negative, false, 1, true, "C0000000 80000001 00000001 C0000002"},
      {&negative, false, 1, false, "40000000 80000001 00000001 C0000002"},
      {&negative, false, 5, true, "FC000000 08000000 10000000 1C000000"},
      {&negative, false, 63, true, "FFFFFFFF FFFFFFFF 00000002 00000004"},
      {&negative, false, 63, false, "00000000 00000001 00000002 00000004"},
      {&negative, false, 64, true, "FFFFFFFF FFFFFFFF 80000001 00000002"},
      {&negative, false, 64, false, "00000000 00000000 80000001 00000002"},
      {&negative, false, 65, true, "FFFFFFFF FFFFFFFF C0000000 80000001"},
      {&negative, false, 127, true, kAllOnes},
      {&negative, false, 127, false, "00000000 00000000 00000000 00000001"},
      {&negative, false, 128, true, kAllOnes},
      {&negative, false, 128, false, kZero},
      {&negative, false, INT32_MAX, true, kAllOnes},
      {&positive, false, 1, true, "00000000 091A2B3C 4D5E6F78 07F6E5D4"},
      {&positive, false, 63, true, "00000000 00000000 00000000 2468ACF1"},
      {&positive, false, 64, true, "00000000 00000000 00000000 12345678"},
      {&positive, false, 127, true, kZero},
      {&positive, false, 128, true, kZero},
      {&negative, true, 1, true, "00000002 00000004 00000007 0000000A"},
      {&negative, true, 5, false, "00000020 00000040 00000070 000000A0"},
      {&negative, true, 63, true, "00000001 C0000002 80000000 00000000"},
      {&negative, true, 64, true, "00000003 80000005 00000000 00000000"},
      {&negative, true, 65, true, "00000007 0000000A 00000000 00000000"},
      {&negative, true, 127, true, "80000000 00000000 00000000 00000000"},
      {&negative, true, 128, true, kZero},
      {&negative, true, 500, true, kZero},
      // Negative counts turn a right shift into a left one and back.
      {&negative, false, -1, true, "00000002 00000004 00000007 0000000A"},
      {&negative, false, -64, false, "00000003 80000005 00000000 00000000"},
      {&negative, false, -127, true, "80000000 00000000 00000000 00000000"},
      {&negative, false, -128, true, kZero},
      {&negative, false, INT32_MIN, true, kZero},
      {&negative, true, -1, true, "C0000000 80000001 00000001 C0000002"},
      {&negative, true, -64, true, "FFFFFFFF FFFFFFFF 80000001 00000002"},
      {&negative, true, -128, true, kAllOnes},
      {&negative, true, INT32_MIN, true, kAllOnes},
      {&negative, true, INT32_MIN, false, kZero},
  };
  for (const Case& c : cases) {
    Fixed v(*c.value);
    if (c.left) {
      v.LeftShift(c.count, c.arithmetic);
    } else {
      v.RightShift(c.count, c.arithmetic);
    }
    EXPECT_EQ(c.expected, W(v)) << (c.left ? "LeftShift(" : "RightShift(") << c.count << ", "
                                << c.arithmetic << ") of " << W(*c.value);
  }
  tUnsignedFixedPoint128 u = tUnsignedFixedPoint128::FromWords(0x80000000, 0, 0, 0);
  u.RightShift(4, true);  // no sign in the unsigned variant: zeros come in
  EXPECT_EQ("08000000 00000000 00000000 00000000", W(u));
}

TEST(tFixedPoint128, StatusMergingKeepsTheFirstError) {
  using nZOSS100::palStatusSetStatus;
  EXPECT_EQ(5, palStatusSetStatus(5, 7));
  EXPECT_EQ(-2, palStatusSetStatus(5, -2));
  EXPECT_EQ(-2, palStatusSetStatus(-2, -9));
  EXPECT_EQ(-2, palStatusSetStatus(-2, 4));
  EXPECT_EQ(3, palStatusSetStatus(0, 3));
  EXPECT_EQ(-50175, palStatusSetStatus(0, -50175));
  EXPECT_EQ(0, palStatusSetStatus(0, 0));
  EXPECT_EQ(5, palStatusSetStatus(5, 0));
}

TEST(tFixedPoint128, ConversionConstantsAreSafeToBuildFromManyThreads) {
  std::vector<std::thread> threads;
  std::vector<long double> results(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &results] {
      long double sum = 0;
      for (int i = 0; i < 1000; ++i) sum += static_cast<long double>(F(0, 1, 0x80000000, 0));
      results[t] = sum;
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (long double r : results) EXPECT_EQ(1500.0L, r);
}

TEST(tFixedPoint128DeathTest, ZeroDivisorRaisesArithmeticFault) {
  EXPECT_DEATH(
      {
        Fixed v(1);
        v /= Fixed(0);
      },
      "");
  EXPECT_DEATH(
      {
        tUnsignedFixedPoint128 r;
        tUnsignedFixedPoint128::DivideInternal(5, tUnsignedFixedPoint128(0), &r);
      },
      "");
}

}  // namespace
