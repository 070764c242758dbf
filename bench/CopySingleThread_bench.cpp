// The copy benchmarks in a process that never starts a thread: what a single-threaded program
// gets, where std::shared_ptr's count is not atomic but a value's always is.
#include <benchmark/benchmark.h>

#include "support/CopyBenchmarks.h"

BENCHMARK_MAIN();
