// Copying and destroying a value beside copying a std::shared_ptr<std::string>: the same
// benchmarks in a process that started a thread (VarData_bench) and in one that never did
// (CopySingleThread_bench), because the runtime's reference counts take a non-atomic path in a
// process that never started a thread.
#ifndef ZO_KEL_BENCH_COPYBENCHMARKS_H
#define ZO_KEL_BENCH_COPYBENCHMARKS_H

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "qmstatic/vardata/VarData.h"

namespace {

constexpr int kCopies = 1000;

void BM_VarDataCopy_Scalar(benchmark::State& state) {
  const VarData source(3.5);
  for (auto _ : state) {
    for (int i = 0; i < kCopies; ++i) {
      VarData copy(source);
      benchmark::DoNotOptimize(copy);
    }
  }
  state.SetItemsProcessed(state.iterations() * kCopies);
}
BENCHMARK(BM_VarDataCopy_Scalar);

void BM_VarDataCopy_String(benchmark::State& state) {
  const VarData source("a short tag name");
  for (auto _ : state) {
    for (int i = 0; i < kCopies; ++i) {
      VarData copy(source);
      benchmark::DoNotOptimize(copy);
    }
  }
  if (source.getGuts()->AddRef() != 2) state.SkipWithError("a copy was not released");
  source.getGuts()->Release();
  state.SetItemsProcessed(state.iterations() * kCopies);
}
BENCHMARK(BM_VarDataCopy_String);

void BM_SharedPtrCopy_String(benchmark::State& state) {
  const auto source = std::make_shared<std::string>("a short tag name");
  for (auto _ : state) {
    for (int i = 0; i < kCopies; ++i) {
      std::shared_ptr<std::string> copy(source);
      benchmark::DoNotOptimize(copy);
    }
  }
  if (source.use_count() != 1) state.SkipWithError("a copy was not released");
  state.SetItemsProcessed(state.iterations() * kCopies);
}
BENCHMARK(BM_SharedPtrCopy_String);

}  // namespace

#endif  // ZO_KEL_BENCH_COPYBENCHMARKS_H
