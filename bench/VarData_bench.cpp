// Copying and destroying VarData values and dictionary insert/lookup by text key, each beside
// the standard-library structure an engineer would otherwise use.
#include <benchmark/benchmark.h>
#include <strings.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "qmstatic/vardata/VarData.h"
#include "support/BenchMain.h"
#include "support/CopyBenchmarks.h"

namespace {

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

// The map a program would hold under text keys compared as the dictionary compares them, without
// regard to ASCII case, with the C library's comparison (this process keeps the C locale).
struct CaseInsensitiveLess {
  bool operator()(const std::string& a, const std::string& b) const {
    return strcasecmp(a.c_str(), b.c_str()) < 0;
  }
};
using CaseInsensitiveMap = std::map<std::string, double, CaseInsensitiveLess>;

// Both sides look up with keys built apart from the ones inserted, as a program looks up with
// text it has just read or formatted: no shared storage, no pointer-equality shortcut.
void BM_DictInsert_TextKeys(benchmark::State& state) {
  const std::vector<VarData> handles = Handles(Keys(static_cast<int>(state.range(0))));
  for (auto _ : state) {
    VarData dict = VarData::dict();
    for (std::size_t i = 0; i < handles.size(); ++i) dict.setValue(handles[i], VarData(double(i)));
    benchmark::DoNotOptimize(dict);
    if (dict.size() != handles.size()) state.SkipWithError("wrong size");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_DictInsert_TextKeys)->Arg(64)->Arg(16384);

void BM_StdMapInsert_TextKeys(benchmark::State& state) {
  const auto keys = Keys(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CaseInsensitiveMap map;
    for (std::size_t i = 0; i < keys.size(); ++i) map[keys[i]] = double(i);
    benchmark::DoNotOptimize(map);
    if (map.size() != keys.size()) state.SkipWithError("wrong size");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_StdMapInsert_TextKeys)->Arg(64)->Arg(16384);

void BM_DictLookup_TextKeys(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  VarData dict = VarData::dict();
  {
    const std::vector<VarData> stored = Handles(Keys(n));
    for (std::size_t i = 0; i < stored.size(); ++i) dict.setValue(stored[i], VarData(double(i)));
  }
  const std::vector<VarData> handles = Handles(Keys(n));
  const VarData& lookup = dict;
  double sum = 0;
  for (auto _ : state) {
    for (const VarData& key : handles) sum += static_cast<double>(lookup[key]);
  }
  benchmark::DoNotOptimize(sum);
  if (static_cast<double>(lookup[handles.back()]) != double(handles.size() - 1))
    state.SkipWithError("wrong value");
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_DictLookup_TextKeys)->Arg(64)->Arg(16384);

void BM_StdMapLookup_TextKeys(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  CaseInsensitiveMap map;
  {
    const auto stored = Keys(n);
    for (std::size_t i = 0; i < stored.size(); ++i) map[stored[i]] = double(i);
  }
  const auto keys = Keys(n);
  double sum = 0;
  for (auto _ : state) {
    for (const std::string& key : keys) sum += map.at(key);
  }
  benchmark::DoNotOptimize(sum);
  if (map.at(keys.back()) != double(keys.size() - 1)) state.SkipWithError("wrong value");
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_StdMapLookup_TextKeys)->Arg(64)->Arg(16384);

}  // namespace

ZO_KEL_BENCHMARK_MAIN();
