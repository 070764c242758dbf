// WideToUtf8 and Utf8ToWide against iconv doing the same conversion with a converter opened
// once, on ASCII text and on mixed text (Latin, Greek, CJK, emoji).
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kel/Utf8.h"

namespace {

// A wide text of `characters` characters: plain ASCII, or a mix in which about half the
// characters need two to four bytes in UTF-8.
std::wstring MakeText(std::size_t characters, bool mixed) {
  static const wchar_t kAscii[] = L"The quick brown fox jumps over the lazy dog, 0123456789. ";
  static const wchar_t kMixed[] =
      L"Gr\xFC\xDF"
      L"e aus K\xF6ln \x039A\x03B1\x03BB\x03B7\x03BC\x03AD\x03C1\x03B1 "
      L"\x65E5\x672C\x8A9E\x306E\x6587 \x1F600\x1F680 ok. ";
  const wchar_t* pattern = mixed ? kMixed : kAscii;
  const std::size_t n = std::wcslen(pattern);
  std::wstring text;
  text.reserve(characters);
  for (std::size_t i = 0; i < characters; ++i) text.push_back(pattern[i % n]);
  return text;
}

// An iconv converter opened once for the whole benchmark.
class Converter {
 public:
  Converter(const char* to, const char* from) : cd_(iconv_open(to, from)) {
    if (cd_ == reinterpret_cast<iconv_t>(-1)) {
      std::perror("iconv_open");
      std::abort();
    }
  }
  ~Converter() { iconv_close(cd_); }
  // Converts all of in into out; returns the number of bytes written.
  std::size_t Run(const void* in, std::size_t inBytes, void* out, std::size_t outBytes) {
    char* inPointer = const_cast<char*>(static_cast<const char*>(in));
    char* outPointer = static_cast<char*>(out);
    iconv(cd_, nullptr, nullptr, nullptr, nullptr);
    if (iconv(cd_, &inPointer, &inBytes, &outPointer, &outBytes) == static_cast<std::size_t>(-1)) {
      std::perror("iconv");
      std::abort();
    }
    return static_cast<std::size_t>(outPointer - static_cast<char*>(out));
  }

 private:
  iconv_t cd_;
};

void Check(bool ok, const char* what) {
  if (!ok) {
    std::fprintf(stderr, "result check failed: %s\n", what);
    std::abort();
  }
}

void WideToUtf8Library(benchmark::State& state, bool mixed) {
  const std::wstring text = MakeText(static_cast<std::size_t>(state.range(0)), mixed);
  const std::uint32_t bytes = zo::kel::GetUtf8EncodingBytes(text.data(), text.data() + text.size());
  for (auto _ : state) {
    char* utf8 = zo::kel::WideToUtf8(text.data(), text.data() + text.size());
    benchmark::DoNotOptimize(utf8);
    delete[] utf8;
  }
  std::unique_ptr<char[]> utf8(zo::kel::WideToUtf8(text.data(), text.data() + text.size()));
  std::vector<char> reference(text.size() * 4);
  Converter converter("UTF-8", "WCHAR_T");
  Check(converter.Run(text.data(), text.size() * sizeof(wchar_t), reference.data(),
                      reference.size()) == bytes &&
            std::memcmp(reference.data(), utf8.get(), bytes) == 0,
        "WideToUtf8 differs from iconv");
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * bytes);
}

void WideToUtf8Iconv(benchmark::State& state, bool mixed) {
  const std::wstring text = MakeText(static_cast<std::size_t>(state.range(0)), mixed);
  std::vector<char> out(text.size() * 4 + 1);
  Converter converter("UTF-8", "WCHAR_T");
  std::size_t bytes = 0;
  for (auto _ : state) {
    bytes = converter.Run(text.data(), text.size() * sizeof(wchar_t), out.data(), out.size());
    benchmark::DoNotOptimize(out.data());
  }
  Check(bytes == zo::kel::GetUtf8EncodingBytes(text.data(), text.data() + text.size()),
        "iconv size");
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

void Utf8ToWideLibrary(benchmark::State& state, bool mixed) {
  const std::wstring text = MakeText(static_cast<std::size_t>(state.range(0)), mixed);
  std::unique_ptr<char[]> utf8(zo::kel::WideToUtf8(text.data(), text.data() + text.size()));
  const std::uint32_t bytes = zo::kel::GetUtf8EncodingBytes(text.data(), text.data() + text.size());
  for (auto _ : state) {
    wchar_t* wide = zo::kel::Utf8ToWide(utf8.get(), bytes);
    benchmark::DoNotOptimize(wide);
    delete[] wide;
  }
  std::unique_ptr<wchar_t[]> wide(zo::kel::Utf8ToWide(utf8.get(), bytes));
  Check(std::wmemcmp(wide.get(), text.data(), text.size()) == 0 && wide[text.size()] == L'\0',
        "Utf8ToWide does not give the text back");
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * bytes);
}

void Utf8ToWideIconv(benchmark::State& state, bool mixed) {
  const std::wstring text = MakeText(static_cast<std::size_t>(state.range(0)), mixed);
  std::unique_ptr<char[]> utf8(zo::kel::WideToUtf8(text.data(), text.data() + text.size()));
  const std::uint32_t bytes = zo::kel::GetUtf8EncodingBytes(text.data(), text.data() + text.size());
  std::vector<wchar_t> out(text.size() + 1);
  Converter converter("WCHAR_T", "UTF-8");
  std::size_t written = 0;
  for (auto _ : state) {
    written = converter.Run(utf8.get(), bytes, out.data(), out.size() * sizeof(wchar_t));
    benchmark::DoNotOptimize(out.data());
  }
  Check(written == text.size() * sizeof(wchar_t) &&
            std::wmemcmp(out.data(), text.data(), text.size()) == 0,
        "iconv does not give the text back");
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * bytes);
}

void BM_WideToUtf8_Ascii(benchmark::State& state) { WideToUtf8Library(state, false); }
void BM_WideToUtf8_AsciiIconv(benchmark::State& state) { WideToUtf8Iconv(state, false); }
void BM_WideToUtf8_Mixed(benchmark::State& state) { WideToUtf8Library(state, true); }
void BM_WideToUtf8_MixedIconv(benchmark::State& state) { WideToUtf8Iconv(state, true); }
void BM_Utf8ToWide_Ascii(benchmark::State& state) { Utf8ToWideLibrary(state, false); }
void BM_Utf8ToWide_AsciiIconv(benchmark::State& state) { Utf8ToWideIconv(state, false); }
void BM_Utf8ToWide_Mixed(benchmark::State& state) { Utf8ToWideLibrary(state, true); }
void BM_Utf8ToWide_MixedIconv(benchmark::State& state) { Utf8ToWideIconv(state, true); }

// Text sizes in characters: 1 Ki and 64 Ki.
#define ZO_KEL_UTF8_SIZES ->Arg(1 << 10)->Arg(1 << 16)

BENCHMARK(BM_WideToUtf8_Ascii) ZO_KEL_UTF8_SIZES;
BENCHMARK(BM_WideToUtf8_AsciiIconv) ZO_KEL_UTF8_SIZES;
BENCHMARK(BM_WideToUtf8_Mixed) ZO_KEL_UTF8_SIZES;
BENCHMARK(BM_WideToUtf8_MixedIconv) ZO_KEL_UTF8_SIZES;
BENCHMARK(BM_Utf8ToWide_Ascii) ZO_KEL_UTF8_SIZES;
BENCHMARK(BM_Utf8ToWide_AsciiIconv) ZO_KEL_UTF8_SIZES;
BENCHMARK(BM_Utf8ToWide_Mixed) ZO_KEL_UTF8_SIZES;
BENCHMARK(BM_Utf8ToWide_MixedIconv) ZO_KEL_UTF8_SIZES;

}  // namespace

BENCHMARK_MAIN();
