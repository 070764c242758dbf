// Compact serialization and deserialization of VarData values beside memcpy of the same byte
// count and beside msgpack-cxx packing and unpacking the same logical data.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <msgpack.hpp>
#include <string>
#include <vector>

#include "kel/AutoBuffer.h"
#include "qmstatic/vardata/VarData.h"
#include "support/BenchMain.h"

namespace {

using zo::kel::AutoBuffer;

// glibc maps a block above its mmap threshold afresh and trims the top of the heap back to the
// system when such a block is freed: msgpack's zone for the million numbers (16 MB of objects)
// was faulted in page by page on every iteration, 85 ms of page faults around 5 ms of unpacking.
// Both sides keep their heap instead, as a long-running program's malloc has settled to.
const bool kHeapKept =
    mallopt(M_MMAP_THRESHOLD, 64 << 20) == 1 && mallopt(M_TRIM_THRESHOLD, 256 << 20) == 1;

// The four data sets: (0) numbers in an array, (1) a dictionary of mixed values (numbers, short
// strings, small arrays) under text keys, (2) seven-character strings in an array, (3) strings of
// 8 to 24 characters in an array.
constexpr std::uint32_t kNumbers = 1000000;
constexpr std::uint32_t kEntries = 10000;
constexpr std::uint32_t kStrings = 100000;

std::string Text(const char* format, std::uint32_t i) {
  char text[32];
  std::snprintf(text, sizeof text, format, i);
  return text;
}

double Number(std::uint32_t i) { return i * 1.25 - 77.0; }

// String i of set 3: the seven characters of set 2 followed by 1 to 17 more.
std::string LongerText(std::uint32_t i) {
  std::string text = Text("s%06u", i);
  text.resize(8 + i % 17, 'x');
  return text;
}

VarData Numbers() {
  VarData array;
  for (std::uint32_t i = kNumbers; i-- > 0;) array.SetElement(i, VarData(Number(i)));
  return array;
}

// Entry i holds a number, a short string or a three-number array, by i mod 3.
VarData MixedValue(std::uint32_t i) {
  switch (i % 3) {
    case 0:
      return VarData(Number(i));
    case 1:
      return VarData(Text("value %u", i).c_str());
    default: {
      VarData small;
      for (std::uint32_t j = 0; j < 3; ++j) small.SetElement(j, VarData(Number(i + j)));
      return small;
    }
  }
}

VarData Dictionary() {
  VarData dict = VarData::dict();
  for (std::uint32_t i = 0; i < kEntries; ++i) {
    dict.setValue(VarData(Text("key.%05u", i).c_str()), MixedValue(i));
  }
  return dict;
}

std::string StringAt(int which, std::uint32_t i) {
  return which == 2 ? Text("s%06u", i) : LongerText(i);
}

VarData Strings(int which) {
  VarData array;
  for (std::uint32_t i = kStrings; i-- > 0;)
    array.SetElement(i, VarData(StringAt(which, i).c_str()));
  return array;
}

const VarData& DataSet(int which) {
  static const VarData sets[] = {Numbers(), Dictionary(), Strings(2), Strings(3)};
  return sets[which];
}

void PackMsgpack(int which, msgpack::sbuffer& out) {
  msgpack::packer<msgpack::sbuffer> packer(out);
  switch (which) {
    case 0:
      packer.pack_array(kNumbers);
      for (std::uint32_t i = 0; i < kNumbers; ++i) packer.pack_double(Number(i));
      return;
    case 1:
      packer.pack_map(kEntries);
      for (std::uint32_t i = 0; i < kEntries; ++i) {
        packer.pack(Text("key.%05u", i));
        switch (i % 3) {
          case 0:
            packer.pack_double(Number(i));
            break;
          case 1:
            packer.pack(Text("value %u", i));
            break;
          default:
            packer.pack_array(3);
            for (std::uint32_t j = 0; j < 3; ++j) packer.pack_double(Number(i + j));
        }
      }
      return;
    default:
      packer.pack_array(kStrings);
      for (std::uint32_t i = 0; i < kStrings; ++i) packer.pack(StringAt(which, i));
  }
}

// msgpack packs from the application's own structures: the same data held as a vector of
// doubles, the dictionary both as a vector of key-variant pairs built for packing and as the
// std::map a program keeps it in, and vectors of strings.
struct MsgpackData {
  std::vector<double> numbers;
  std::vector<std::pair<std::string, msgpack::type::variant>> entries;
  std::map<std::string, msgpack::type::variant> map;
  std::vector<std::string> strings[2];
};

const MsgpackData& Native() {
  static const MsgpackData data = [] {
    MsgpackData d;
    for (std::uint32_t i = 0; i < kNumbers; ++i) d.numbers.push_back(Number(i));
    for (std::uint32_t i = 0; i < kEntries; ++i) {
      msgpack::type::variant value;
      switch (i % 3) {
        case 0:
          value = Number(i);
          break;
        case 1:
          value = Text("value %u", i);
          break;
        default:
          value = std::vector<msgpack::type::variant>{Number(i), Number(i + 1), Number(i + 2)};
      }
      d.entries.emplace_back(Text("key.%05u", i), value);
    }
    d.map.insert(d.entries.begin(), d.entries.end());
    for (std::uint32_t i = 0; i < kStrings; ++i) {
      d.strings[0].push_back(StringAt(2, i));
      d.strings[1].push_back(StringAt(3, i));
    }
    return d;
  }();
  return data;
}

// Packs data set `which` from the native structures; the dictionary from the std::map when
// `fromMap` is set (the keys come out in the same order, so the bytes are the same).
void PackNative(int which, msgpack::sbuffer& out, bool fromMap = false) {
  const MsgpackData& d = Native();
  msgpack::packer<msgpack::sbuffer> packer(out);
  switch (which) {
    case 0:
      packer.pack(d.numbers);
      return;
    case 1:
      if (fromMap) {
        packer.pack(d.map);
        return;
      }
      packer.pack_map(static_cast<std::uint32_t>(d.entries.size()));
      for (const auto& entry : d.entries) {
        packer.pack(entry.first);
        packer.pack(entry.second);
      }
      return;
    default:
      packer.pack(d.strings[which - 2]);
  }
}

std::uint32_t ImageSize(int which) { return DataSet(which).serializationSizeImpl(true) - 4; }

void BM_Serialize(benchmark::State& state) {
  const int which = static_cast<int>(state.range(0));
  const VarData& value = DataSet(which);
  AutoBuffer buffer(ImageSize(which));
  for (auto _ : state) {
    buffer.Erase();
    value.SerializeWithoutSize(buffer, true);
    benchmark::DoNotOptimize(buffer.Data());
  }
  if (buffer.Len() != ImageSize(which)) state.SkipWithError("wrong image size");
  state.SetBytesProcessed(state.iterations() * ImageSize(which));
}

void BM_Deserialize(benchmark::State& state) {
  const int which = static_cast<int>(state.range(0));
  AutoBuffer buffer;
  DataSet(which).SerializeWithoutSize(buffer, true);
  std::uint32_t consumed = 0;
  for (auto _ : state) {
    VarData back = VarData::DeserializeWithoutSize(buffer.Data(), buffer.Len(), consumed, true);
    benchmark::DoNotOptimize(back);
  }
  std::uint32_t check = 0;
  if (VarData::DeserializeWithoutSize(buffer.Data(), buffer.Len(), check, true)
          .Compare(DataSet(which)) != 0) {
    state.SkipWithError("value read back differs");
  }
  state.SetBytesProcessed(state.iterations() * buffer.Len());
}

void BM_Memcpy(benchmark::State& state) {
  const std::uint32_t n = ImageSize(static_cast<int>(state.range(0)));
  std::vector<unsigned char> source(n, 0x5A), target(n);
  for (auto _ : state) {
    std::memcpy(target.data(), source.data(), n);
    benchmark::DoNotOptimize(target.data());
    benchmark::ClobberMemory();
  }
  if (target[n - 1] != 0x5A) state.SkipWithError("copy failed");
  state.SetBytesProcessed(state.iterations() * n);
}

void Pack(benchmark::State& state, bool fromMap) {
  const int which = static_cast<int>(state.range(0));
  Native();
  std::size_t size = 0;
  // One buffer reused, as ours reuses its AutoBuffer.
  msgpack::sbuffer out(ImageSize(which));
  for (auto _ : state) {
    out.clear();
    PackNative(which, out, fromMap);
    size = out.size();
    benchmark::DoNotOptimize(out.data());
  }
  msgpack::sbuffer check;
  PackMsgpack(which, check);
  if (size != check.size() || std::memcmp(out.data(), check.data(), size) != 0)
    state.SkipWithError("packed bytes differ");
  state.SetBytesProcessed(state.iterations() * size);
}

void BM_MsgpackPack(benchmark::State& state) { Pack(state, false); }
void BM_MsgpackPackFromMap(benchmark::State& state) { Pack(state, true); }

void BM_MsgpackUnpack(benchmark::State& state) {
  const int which = static_cast<int>(state.range(0));
  if (!kHeapKept) state.SkipWithError("the heap could not be kept between iterations");
  msgpack::sbuffer packed;
  PackMsgpack(which, packed);
  for (auto _ : state) {
    msgpack::object_handle handle = msgpack::unpack(packed.data(), packed.size());
    benchmark::DoNotOptimize(handle.get());
  }
  state.SetBytesProcessed(state.iterations() * packed.size());
}

// The unpacked objects owned by their zone (strings copied into it) converted on into the
// application's own structures, the ones PackNative packs from: owned values like ours.
void BM_MsgpackUnpackToStd(benchmark::State& state) {
  const int which = static_cast<int>(state.range(0));
  msgpack::sbuffer packed;
  PackMsgpack(which, packed);
  std::size_t count = 0;
  for (auto _ : state) {
    msgpack::object_handle handle = msgpack::unpack(packed.data(), packed.size());
    switch (which) {
      case 0: {
        const auto numbers = handle.get().as<std::vector<double>>();
        count = numbers.size();
        benchmark::DoNotOptimize(numbers.data());
        break;
      }
      case 1: {
        const auto entries = handle.get().as<std::map<std::string, msgpack::type::variant>>();
        count = entries.size();
        benchmark::DoNotOptimize(&entries);
        break;
      }
      default: {
        const auto strings = handle.get().as<std::vector<std::string>>();
        count = strings.size();
        benchmark::DoNotOptimize(strings.data());
      }
    }
  }
  const std::uint32_t expected[] = {kNumbers, kEntries, kStrings, kStrings};
  if (count != expected[which]) state.SkipWithError("wrong element count");
  state.SetBytesProcessed(state.iterations() * packed.size());
}

void DataSets(benchmark::internal::Benchmark* b) {
  b->ArgName("set")->Arg(0)->Arg(1)->Arg(2)->Arg(3)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_Serialize)->Apply(DataSets);
BENCHMARK(BM_Deserialize)->Apply(DataSets);
BENCHMARK(BM_Memcpy)->Apply(DataSets);
BENCHMARK(BM_MsgpackPack)->Apply(DataSets);
BENCHMARK(BM_MsgpackPackFromMap)->ArgName("set")->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_MsgpackUnpack)->Apply(DataSets);
BENCHMARK(BM_MsgpackUnpackToStd)->Apply(DataSets);

}  // namespace

ZO_KEL_BENCHMARK_MAIN();
