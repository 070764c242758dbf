// The main function of the library's benchmarks: it starts and joins a second thread first.
#ifndef ZO_KEL_BENCH_BENCHMAIN_H
#define ZO_KEL_BENCH_BENCHMAIN_H

#include <benchmark/benchmark.h>

#include <thread>

// A process that never started a thread takes the C and C++ runtimes' single-thread fast paths
// for reference counts and would understate what atomic counts cost in a real, threaded
// program. One thread started and joined turns those paths off for the life of the process.
#define ZO_KEL_BENCHMARK_MAIN()                                         \
  int main(int argc, char** argv) {                                     \
    std::thread([] {}).join();                                          \
    ::benchmark::Initialize(&argc, argv);                               \
    if (::benchmark::ReportUnrecognizedArguments(argc, argv)) return 1; \
    ::benchmark::RunSpecifiedBenchmarks();                              \
    ::benchmark::Shutdown();                                            \
    return 0;                                                           \
  }

#endif  // ZO_KEL_BENCH_BENCHMAIN_H
