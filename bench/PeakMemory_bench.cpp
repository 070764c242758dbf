// Peak heap memory while reading an image of short strings back, per byte of the image. The
// program puts its own malloc family in front of the C library's (as an application preloading
// an allocator does) and counts each block's usable size plus the allocator's per-block header,
// so the figure covers every block reading holds, from the library and the C++ runtime alike.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "kel/AutoBuffer.h"
#include "qmstatic/vardata/VarData.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* p, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* p);
}

namespace {

std::atomic<std::size_t> live{0};
std::atomic<std::size_t> peak{0};

std::size_t Footprint(void* p) { return malloc_usable_size(p) + sizeof(std::size_t); }

void* Counted(void* p) {
  if (p == nullptr) return p;
  const std::size_t now = live.fetch_add(Footprint(p), std::memory_order_relaxed) + Footprint(p);
  std::size_t seen = peak.load(std::memory_order_relaxed);
  while (now > seen && !peak.compare_exchange_weak(seen, now, std::memory_order_relaxed)) {
  }
  return p;
}

void Uncount(void* p) {
  if (p != nullptr) live.fetch_sub(Footprint(p), std::memory_order_relaxed);
}

}  // namespace

extern "C" {
void* malloc(std::size_t size) { return Counted(__libc_malloc(size)); }
void* calloc(std::size_t count, std::size_t size) { return Counted(__libc_calloc(count, size)); }
void* realloc(void* p, std::size_t size) {
  Uncount(p);
  void* q = __libc_realloc(p, size);
  if (q == nullptr && p != nullptr && size != 0) return Counted(p);  // p is still held
  return Counted(q);
}
void* memalign(std::size_t alignment, std::size_t size) {
  return Counted(__libc_memalign(alignment, size));
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return Counted(__libc_memalign(alignment, size));
}
int posix_memalign(void** out, std::size_t alignment, std::size_t size) {
  void* p = Counted(__libc_memalign(alignment, size));
  if (p == nullptr) return ENOMEM;
  *out = p;
  return 0;
}
void free(void* p) {
  Uncount(p);
  __libc_free(p);
}
}

namespace {

using zo::kel::AutoBuffer;

constexpr std::uint32_t kStrings = 1000000;

std::string Text(std::uint32_t i) {
  char text[16];
  std::snprintf(text, sizeof text, "s%06u", i % 1000000);
  return text;
}

// Runs `read` on an image of a million seven-character strings; the counter is the peak of the
// bytes held while reading and holding what was read, divided by the image's size.
template <typename Read>
void MeasurePeak(benchmark::State& state, Read read) {
  AutoBuffer image;
  {
    VarData array;
    for (std::uint32_t i = kStrings; i-- > 0;) array.SetElement(i, VarData(Text(i).c_str()));
    array.SerializeWithoutSize(image, true);
  }
  double ratio = 0;
  for (auto _ : state) {
    const std::size_t before = live.load();
    peak.store(before);
    if (!read(image)) state.SkipWithError("wrong element count");
    ratio = static_cast<double>(peak.load() - before) / image.Len();
  }
  state.counters["peak_per_image_byte"] = ratio;
}

void BM_PeakMemory_ReadShortStrings(benchmark::State& state) {
  MeasurePeak(state, [](const AutoBuffer& image) {
    std::uint32_t consumed = 0;
    VarData back = VarData::DeserializeWithoutSize(image.Data(), image.Len(), consumed, true);
    benchmark::DoNotOptimize(back);
    return back.GetLength() == kStrings;
  });
}
BENCHMARK(BM_PeakMemory_ReadShortStrings)->Unit(benchmark::kMillisecond);

// The same strings in the std::vector<std::string> a program would otherwise build.
void BM_PeakMemory_StdVectorOfStrings(benchmark::State& state) {
  MeasurePeak(state, [](const AutoBuffer&) {
    std::vector<std::string> back;
    back.reserve(kStrings);
    for (std::uint32_t i = 0; i < kStrings; ++i) back.push_back(Text(i));
    benchmark::DoNotOptimize(back.data());
    return back.size() == kStrings;
  });
}
BENCHMARK(BM_PeakMemory_StdVectorOfStrings)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
