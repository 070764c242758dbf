// The array transform converting 1,000,000 elements (F64 to I32, I16 to F64), beside memcpy of
// the same source bytes.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "kel/fd/FlexData.h"

namespace {

using zo::kel::FlexData;
using zo::kel::fd::FlexType;
using zo::kel::fd::TAEndian;

constexpr std::uint32_t kCount = 1000000;

std::vector<double> Doubles() {
  std::vector<double> v(kCount);
  // In range of I32 with fractions, and every 97th value out of range.
  for (std::uint32_t i = 0; i < kCount; ++i) v[i] = i % 97 == 0 ? 3e9 : (i - 500000.0) * 1.25;
  return v;
}

std::vector<short> Shorts() {
  std::vector<short> v(kCount);
  for (std::uint32_t i = 0; i < kCount; ++i) v[i] = static_cast<short>(i * 31);
  return v;
}

template <typename T>
void BM_Memcpy_Baseline(benchmark::State& state, const std::vector<T>& src) {
  std::vector<unsigned char> dst(src.size() * sizeof(T));
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), dst.size());
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  if (std::memcmp(dst.data(), src.data(), dst.size()) != 0) state.SkipWithError("wrong bytes");
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * dst.size());
}

void BM_Memcpy_F64Bytes(benchmark::State& state) { BM_Memcpy_Baseline(state, Doubles()); }
BENCHMARK(BM_Memcpy_F64Bytes)->Unit(benchmark::kMicrosecond);

void BM_TransformArray_F64ToI32(benchmark::State& state) {
  const std::vector<double> src = Doubles();
  std::vector<std::int32_t> dst(kCount);
  const FlexData f;
  for (auto _ : state) {
    f.TransformArray(kCount, FlexType::F64, TAEndian::Little, src.data(), FlexType::I32,
                     TAEndian::Host, dst.data());
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  if (dst[1] != -624998 || dst[97] != -2147483647 - 1) state.SkipWithError("wrong conversion");
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * kCount * 8);
}
BENCHMARK(BM_TransformArray_F64ToI32)->Unit(benchmark::kMicrosecond);

void BM_Memcpy_I16Bytes(benchmark::State& state) { BM_Memcpy_Baseline(state, Shorts()); }
BENCHMARK(BM_Memcpy_I16Bytes)->Unit(benchmark::kMicrosecond);

void BM_TransformArray_I16ToF64(benchmark::State& state) {
  const std::vector<short> src = Shorts();
  std::vector<double> dst(kCount);
  const FlexData f;
  for (auto _ : state) {
    f.TransformArray(kCount, FlexType::I16, TAEndian::Little, src.data(), FlexType::F64,
                     TAEndian::Host, dst.data());
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  if (dst[3] != 93.0 || dst[2114] != static_cast<short>(2114 * 31)) {
    state.SkipWithError("wrong conversion");
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * kCount * 2);
}
BENCHMARK(BM_TransformArray_I16ToF64)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
