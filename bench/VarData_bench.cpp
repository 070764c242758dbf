// Copying and destroying VarData values and dictionary insert/lookup by text key, each beside
// the standard-library structure an engineer would otherwise use.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "qmstatic/vardata/VarData.h"
#include "support/BenchMain.h"

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

std::vector<std::string> Keys(int n) {
  std::vector<std::string> keys;
  char text[32];
  for (int i = 0; i < n; ++i) {
    std::snprintf(text, sizeof text, "tag.%07d.value", (i * 7919) % n);
    keys.emplace_back(text);
  }
  return keys;
}

std::vector<VarData> Handles(const std::vector<std::string>& keys) {
  std::vector<VarData> handles;
  for (const std::string& key : keys) handles.emplace_back(key.c_str());
  return handles;
}

void BM_DictInsert_TextKeys(benchmark::State& state) {
  const auto keys = Keys(static_cast<int>(state.range(0)));
  const std::vector<VarData> handles = Handles(keys);
  for (auto _ : state) {
    VarData dict = VarData::dict();
    for (std::size_t i = 0; i < handles.size(); ++i) dict.setValue(handles[i], VarData(double(i)));
    benchmark::DoNotOptimize(dict);
    if (dict.size() != handles.size()) state.SkipWithError("wrong size");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_DictInsert_TextKeys)->Range(64, 16384);

void BM_StdMapInsert_TextKeys(benchmark::State& state) {
  const auto keys = Keys(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::map<std::string, double> map;
    for (std::size_t i = 0; i < keys.size(); ++i) map[keys[i]] = double(i);
    benchmark::DoNotOptimize(map);
    if (map.size() != keys.size()) state.SkipWithError("wrong size");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_StdMapInsert_TextKeys)->Range(64, 16384);

void BM_DictLookup_TextKeys(benchmark::State& state) {
  const auto keys = Keys(static_cast<int>(state.range(0)));
  const std::vector<VarData> handles = Handles(keys);
  VarData dict = VarData::dict();
  for (std::size_t i = 0; i < handles.size(); ++i) dict.setValue(handles[i], VarData(double(i)));
  const VarData& lookup = dict;
  double sum = 0;
  for (auto _ : state) {
    for (const VarData& key : handles) sum += static_cast<double>(lookup[key]);
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_DictLookup_TextKeys)->Range(64, 16384);

void BM_StdMapLookup_TextKeys(benchmark::State& state) {
  const auto keys = Keys(static_cast<int>(state.range(0)));
  std::map<std::string, double> map;
  for (std::size_t i = 0; i < keys.size(); ++i) map[keys[i]] = double(i);
  double sum = 0;
  for (auto _ : state) {
    for (const std::string& key : keys) sum += map.at(key);
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_StdMapLookup_TextKeys)->Range(64, 16384);

}  // namespace

ZO_KEL_BENCHMARK_MAIN();
