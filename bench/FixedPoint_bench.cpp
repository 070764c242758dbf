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

void BM_Multiply_Int128Baseline(benchmark::State& state) {
  const std::vector<Int128> left = AsInt128(TheOperands().left);
  const std::vector<Int128> right = AsInt128(TheOperands().right);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(left[i] * right[i]);
    i = (i + 1) % kOperands;
  }
  if (left[0] * Int128{1} != left[0]) state.SkipWithError("x * 1 is not x");
}
BENCHMARK(BM_Multiply_Int128Baseline);

void BM_Divide_Int128Baseline(benchmark::State& state) {
  const std::vector<Int128> left = AsInt128(TheOperands().left);
  const std::vector<Int128> right = AsInt128(TheOperands().right);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(left[i] / right[i]);
    i = (i + 1) % kOperands;
  }
  if (left[0] / left[0] != 1) state.SkipWithError("x / x is not 1");
}
BENCHMARK(BM_Divide_Int128Baseline);
#endif

}  // namespace

BENCHMARK_MAIN();
