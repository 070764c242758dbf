// AutoBuffer appends of small records, beside memcpy of the same bytes into a preallocated block.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "kel/AutoBuffer.h"

namespace {

using zo::kel::AutoBuffer;

constexpr std::uint32_t kTotal = 64 * 1024;  // bytes written per iteration, at most

// A record of `size` bytes with a recognisable pattern.
std::vector<unsigned char> Record(std::uint32_t size) {
  std::vector<unsigned char> r(size);
  for (std::uint32_t i = 0; i < size; ++i) r[i] = static_cast<unsigned char>(i * 7 + 1);
  return r;
}

// The records fit kTotal: the same byte count for every variant of one record size.
std::uint32_t RecordCount(std::uint32_t size) { return kTotal / size; }

void CheckTail(benchmark::State& state, const unsigned char* data, std::uint32_t len,
               const std::vector<unsigned char>& record) {
  const std::uint32_t size = static_cast<std::uint32_t>(record.size());
  if (len != RecordCount(size) * size || std::memcmp(data + len - size, record.data(), size) != 0) {
    state.SkipWithError("wrong bytes written");
  }
}

void BM_Memcpy_Preallocated(benchmark::State& state) {
  const auto record = Record(static_cast<std::uint32_t>(state.range(0)));
  const std::uint32_t size = static_cast<std::uint32_t>(record.size());
  const std::uint32_t count = RecordCount(size);
  std::vector<unsigned char> block(kTotal);
  std::uint32_t len = 0;
  for (auto _ : state) {
    len = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
      std::memcpy(block.data() + len, record.data(), size);
      len += size;
    }
    benchmark::DoNotOptimize(block.data());
    benchmark::ClobberMemory();
  }
  CheckTail(state, block.data(), len, record);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * count * size);
}
BENCHMARK(BM_Memcpy_Preallocated)->Arg(4)->Arg(12)->Arg(32);

// One buffer for the whole run, erased per iteration: its block is grown once and reused.
void BM_AutoBufferAppend_Reused(benchmark::State& state) {
  const auto record = Record(static_cast<std::uint32_t>(state.range(0)));
  const std::uint32_t size = static_cast<std::uint32_t>(record.size());
  const std::uint32_t count = RecordCount(size);
  AutoBuffer b;
  for (auto _ : state) {
    b.Erase();
    for (std::uint32_t i = 0; i < count; ++i) b.Append(record.data(), size);
    benchmark::DoNotOptimize(b.Data());
    benchmark::ClobberMemory();
  }
  CheckTail(state, b.Data(), b.Len(), record);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * count * size);
}
BENCHMARK(BM_AutoBufferAppend_Reused)->Arg(4)->Arg(12)->Arg(32);

// A new buffer per iteration: the growth policy's reallocations are part of the cost.
void BM_AutoBufferAppend_Fresh(benchmark::State& state) {
  const auto record = Record(static_cast<std::uint32_t>(state.range(0)));
  const std::uint32_t size = static_cast<std::uint32_t>(record.size());
  const std::uint32_t count = RecordCount(size);
  AutoBuffer last;
  for (auto _ : state) {
    AutoBuffer b;
    for (std::uint32_t i = 0; i < count; ++i) b.Append(record.data(), size);
    benchmark::DoNotOptimize(b.Data());
    benchmark::ClobberMemory();
    last.swap(b);
  }
  CheckTail(state, last.Data(), last.Len(), record);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * count * size);
}
BENCHMARK(BM_AutoBufferAppend_Fresh)->Arg(4)->Arg(12)->Arg(32);

// The serializers' pattern: Skip the record's room, then write through Data().
void BM_AutoBufferSkip_Reused(benchmark::State& state) {
  const auto record = Record(static_cast<std::uint32_t>(state.range(0)));
  const std::uint32_t size = static_cast<std::uint32_t>(record.size());
  const std::uint32_t count = RecordCount(size);
  AutoBuffer b(kTotal);
  for (auto _ : state) {
    b.Erase();
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint32_t at = b.Len();
      b.Skip(size);
      std::memcpy(b.Data() + at, record.data(), size);
    }
    benchmark::DoNotOptimize(b.Data());
    benchmark::ClobberMemory();
  }
  CheckTail(state, b.Data(), b.Len(), record);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * count * size);
}
BENCHMARK(BM_AutoBufferSkip_Reused)->Arg(4)->Arg(12)->Arg(32);

}  // namespace

BENCHMARK_MAIN();
