// Fixed-point multiplication and division beside unsigned __int128 arithmetic on the same
// operands (the baselines exist where the compiler has a 128-bit integer type).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "kel/time/tFixedPoint128.h"

namespace {

using nZOSS100::tSignedFixedPoint128;
using nZOSS100::tUnsignedFixedPoint128;

constexpr std::size_t kOperands = 1024;

// Times as the library meets them: absolute times around 2^32 s with a full fraction, divided or
// scaled by durations from a millisecond to a few days and by the unit factors.
struct Operands {
  std::vector<tSignedFixedPoint128> left, right;
};

const Operands& TheOperands() {
  static const Operands operands = [] {
    Operands o;
    std::mt19937_64 rng(1970);
    std::uniform_real_distribution<long double> times(3.0e9L, 4.2e9L);
    std::uniform_real_distribution<long double> exponents(-3.0L, 5.5L);
    for (std::size_t i = 0; i < kOperands; ++i) {
      o.left.emplace_back(std::floor(times(rng)), std::ldexp(static_cast<long double>(rng()), -64));
      o.right.emplace_back(std::pow(10.0L, exponents(rng)));
    }
    return o;
  }();
  return operands;
}

void BM_Multiply_FixedPoint(benchmark::State& state) {
  const Operands& o = TheOperands();
  std::size_t i = 0;
  tSignedFixedPoint128 product(0);
  for (auto _ : state) {
    product = o.left[i] * o.right[i];
    benchmark::DoNotOptimize(product);
    i = (i + 1) % kOperands;
  }
  const long double expected =
      static_cast<long double>(o.left[0]) * static_cast<long double>(o.right[0]);
  const long double got = static_cast<long double>(o.left[0] * o.right[0]);
  if (std::fabs(got - expected) > std::fabs(expected) * 1e-15L)
    state.SkipWithError("wrong product");
}
BENCHMARK(BM_Multiply_FixedPoint);

void BM_Divide_FixedPoint(benchmark::State& state) {
  const Operands& o = TheOperands();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(tSignedFixedPoint128::DivideInternal(o.left[i], o.right[i], nullptr));
    i = (i + 1) % kOperands;
  }
  // The platform's division path must agree with the portable long division.
  std::uint32_t a[4], b[4];
  o.left[1].Get(a[3], a[2], a[1], a[0]);
  o.right[1].Get(b[3], b[2], b[1], b[0]);
  const tUnsignedFixedPoint128 portable = nZOSS100::detail::DivideMagnitudesPortable(
      tUnsignedFixedPoint128::FromWords(a[3], a[2], a[1], a[0]),
      tUnsignedFixedPoint128::FromWords(b[3], b[2], b[1], b[0]));
  std::uint32_t q[4], p[4];
  (o.left[1] / o.right[1]).Get(q[3], q[2], q[1], q[0]);
  portable.Get(p[3], p[2], p[1], p[0]);
  for (int k = 0; k < 4; ++k) {
    if (q[k] != p[k]) state.SkipWithError("division paths disagree");
  }
}
BENCHMARK(BM_Divide_FixedPoint);

void BM_Divide_FixedPointWithRemainder(benchmark::State& state) {
  const Operands& o = TheOperands();
  std::size_t i = 0;
  tSignedFixedPoint128 remainder(0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        tSignedFixedPoint128::DivideInternal(o.left[i], o.right[i], &remainder));
    benchmark::DoNotOptimize(remainder);
    i = (i + 1) % kOperands;
  }
  tSignedFixedPoint128::DivideInternal(o.left[2], o.right[2], &remainder);
  if (remainder.IsNegative() || !(remainder < o.right[2])) state.SkipWithError("bad remainder");
}
BENCHMARK(BM_Divide_FixedPointWithRemainder);

void BM_Divide_FixedPointPortable(benchmark::State& state) {
  const Operands& o = TheOperands();
  std::vector<tUnsignedFixedPoint128> left, right;
  for (std::size_t k = 0; k < kOperands; ++k) {
    std::uint32_t w[4];
    o.left[k].Get(w[3], w[2], w[1], w[0]);
    left.push_back(tUnsignedFixedPoint128::FromWords(w[3], w[2], w[1], w[0]));
    o.right[k].Get(w[3], w[2], w[1], w[0]);
    right.push_back(tUnsignedFixedPoint128::FromWords(w[3], w[2], w[1], w[0]));
  }
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(nZOSS100::detail::DivideMagnitudesPortable(left[i], right[i]));
    i = (i + 1) % kOperands;
  }
  if (!(nZOSS100::detail::DivideMagnitudesPortable(left[3], left[3]) ==
        tUnsignedFixedPoint128(1))) {
    state.SkipWithError("x / x is not 1");
  }
}
BENCHMARK(BM_Divide_FixedPointPortable);

#if defined(__SIZEOF_INT128__)
__extension__ typedef unsigned __int128 Int128;

std::vector<Int128> AsInt128(const std::vector<tSignedFixedPoint128>& values) {
  std::vector<Int128> out;
  for (const tSignedFixedPoint128& v : values) {
    std::uint32_t w3, w2, w1, w0;
    v.Get(w3, w2, w1, w0);
    out.push_back((Int128{w3} << 96) | (Int128{w2} << 64) | (Int128{w1} << 32) | w0);
  }
  return out;
}

// The same 64.64 arithmetic written plainly with the compiler's 128-bit integers: signs taken
// off, the full product (or the 192-bit dividend) formed from 64-bit halves, the product rounded
// half away from zero at the last fraction bit and the quotient truncated, the sign put back.
bool Negative(Int128 v) { return (v >> 127) != 0; }
Int128 Magnitude(Int128 v) { return Negative(v) ? -v : v; }
std::uint64_t Low(Int128 v) { return static_cast<std::uint64_t>(v); }
std::uint64_t High(Int128 v) { return static_cast<std::uint64_t>(v >> 64); }

Int128 MultiplyFixed(Int128 a, Int128 b) {
  const bool negative = Negative(a) != Negative(b);
  a = Magnitude(a);
  b = Magnitude(b);
  const Int128 p00 = Int128{Low(a)} * Low(b), p01 = Int128{Low(a)} * High(b);
  const Int128 p10 = Int128{High(a)} * Low(b), p11 = Int128{High(a)} * High(b);
  const Int128 middle = Int128{High(p00)} + Low(p01) + Low(p10);
  const std::uint64_t high = High(middle) + High(p01) + High(p10) + Low(p11);
  Int128 result = (Int128{high} << 64) | Low(middle);
  result += Low(p00) >> 63;  // bit 63 of the product: round half up on the magnitude
  return negative ? -result : result;
}

// floor(a * 2^64 / b) for magnitudes: the integer part and remainder by one 128-bit division, the
// fraction by one 128/64 division when b fits in 64 bits, else by one estimated digit (the
// divisor normalised so that its top bit is set, the estimate corrected at most twice).
Int128 DivideMagnitudes(Int128 a, Int128 b) {
  const Int128 whole = a / b;
  const Int128 r = a % b;
  if (High(b) == 0) return (whole << 64) + ((r << 64) / b);
  const int shift = __builtin_clzll(High(b));
  const Int128 d = b << shift, n = r << shift;  // n < d < 2^128
  std::uint64_t q = High(n) >= High(d) ? ~std::uint64_t{0} : Low(n / High(d));
  // q * d as a 192-bit number: high 128 bits `top`, low 64 bits `bottom`.
  const Int128 low = Int128{q} * Low(d);
  Int128 top = Int128{q} * High(d) + High(low);
  std::uint64_t bottom = Low(low);
  while (top > n || (top == n && bottom != 0)) {
    --q;
    const std::uint64_t borrow = bottom < Low(d) ? 1 : 0;
    bottom -= Low(d);
    top -= Int128{High(d)} + borrow;
  }
  return (whole << 64) + q;
}

Int128 DivideFixed(Int128 a, Int128 b) {
  const bool negative = Negative(a) != Negative(b);
  const Int128 q = DivideMagnitudes(Magnitude(a), Magnitude(b));
  return negative ? -q : q;
}

void BM_Multiply_Int128Baseline(benchmark::State& state) {
  const std::vector<Int128> left = AsInt128(TheOperands().left);
  const std::vector<Int128> right = AsInt128(TheOperands().right);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(MultiplyFixed(left[i], right[i]));
    i = (i + 1) % kOperands;
  }
  for (std::size_t k = 0; k < kOperands; ++k) {
    const tSignedFixedPoint128 ours = TheOperands().left[k] * TheOperands().right[k];
    if (AsInt128({ours})[0] != MultiplyFixed(left[k], right[k]) ||
        AsInt128({0 - ours})[0] != MultiplyFixed(-left[k], right[k])) {
      state.SkipWithError("the baseline's product differs from ours");
      break;
    }
  }
}
BENCHMARK(BM_Multiply_Int128Baseline);

void BM_Divide_Int128Baseline(benchmark::State& state) {
  const std::vector<Int128> left = AsInt128(TheOperands().left);
  const std::vector<Int128> right = AsInt128(TheOperands().right);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(DivideFixed(left[i], right[i]));
    i = (i + 1) % kOperands;
  }
  for (std::size_t k = 0; k < kOperands; ++k) {
    const tSignedFixedPoint128 ours = TheOperands().left[k] / TheOperands().right[k];
    if (AsInt128({ours})[0] != DivideFixed(left[k], right[k]) ||
        AsInt128({0 - ours})[0] != DivideFixed(-left[k], right[k])) {
      state.SkipWithError("the baseline's quotient differs from ours");
      break;
    }
  }
}
BENCHMARK(BM_Divide_Int128Baseline);
#endif

}  // namespace

BENCHMARK_MAIN();
