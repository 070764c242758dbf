// Display text both ways: NumberToText0 against snprintf with the same printf text, and
// AsciiToNumber against strtod, on the same values in the same run.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "qmstatic/text/DisplayFormat_impl.h"
#include "qmstatic/text/NumberToText.h"
#include "qmstatic/text/TextScanner.h"

namespace {

constexpr std::size_t kValues = 1024;  // a power of two: the loops index with a mask

// Numbers as displays see them: up to seven significant digits at scales from 1e-6 to 1e6.
const std::vector<double>& Numbers() {
  static const std::vector<double> values = [] {
    std::mt19937_64 random(10);
    std::vector<double> v;
    for (std::size_t i = 0; i < kValues; ++i) {
      const double scale = std::pow(10.0, static_cast<int>(random() % 13) - 6);
      v.push_back((static_cast<std::int64_t>(random() % 2000001) - 1000000) * scale);
    }
    return v;
  }();
  return values;
}

// Durations of up to ten days, and day counts of dates from 2000 to 2028, with times of day.
std::vector<double> DayCounts(double first, double span) {
  std::mt19937_64 random(11);
  std::vector<double> v;
  for (std::size_t i = 0; i < kValues; ++i) v.push_back(first + span * (random() % 1000000) / 1e6);
  return v;
}

void CheckSame(benchmark::State& state, const char* ours, const char* theirs) {
  if (std::strcmp(ours, theirs) != 0) state.SkipWithError("texts differ from snprintf");
}

void NumberToText0Loop(benchmark::State& state, unsigned format, const char* printfText) {
  const std::vector<double>& values = Numbers();
  char buf[MAX_TEXT_DOUBLE];
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(NumberToText0(values[i++ & (kValues - 1)], format, buf, sizeof buf));
    benchmark::ClobberMemory();
  }
  char expected[MAX_TEXT_DOUBLE];
  std::snprintf(expected, sizeof expected, printfText, values[0]);
  NumberToText0(values[0], format, buf, sizeof buf);
  CheckSame(state, buf, expected);
}

void SnprintfLoop(benchmark::State& state, const char* printfText) {
  const std::vector<double>& values = Numbers();
  char buf[MAX_TEXT_DOUBLE];
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        std::snprintf(buf, sizeof buf, printfText, values[i++ & (kValues - 1)]));
    benchmark::ClobberMemory();
  }
}

#define NUMBER_FORMAT_PAIR(Case, format, printfText)                                    \
  void BM_NumberToText0_##Case(benchmark::State& state) {                               \
    NumberToText0Loop(state, format, printfText);                                       \
  }                                                                                     \
  void BM_snprintf_##Case(benchmark::State& state) { SnprintfLoop(state, printfText); } \
  BENCHMARK(BM_NumberToText0_##Case);                                                   \
  BENCHMARK(BM_snprintf_##Case)

NUMBER_FORMAT_PAIR(General, 0, "%G");
NUMBER_FORMAT_PAIR(Fixed2, 3, "%0.2f");
NUMBER_FORMAT_PAIR(Fixed8, 9, "%0.8f");
NUMBER_FORMAT_PAIR(Scientific2, 12, "%0.2E");
NUMBER_FORMAT_PAIR(ZeroPadded5, 22, "%05.0f");

// Every plain-number format (0 to 25) in turn on each value: ours against snprintf with the
// format's printf text.
constexpr unsigned kNumberFormats = 26;

void BM_NumberToText0_AllNumberFormats(benchmark::State& state) {
  const std::vector<double>& values = Numbers();
  char buf[MAX_TEXT_DOUBLE];
  std::size_t i = 0;
  for (auto _ : state) {
    const double v = values[i++ & (kValues - 1)];
    for (unsigned f = 0; f < kNumberFormats; ++f) {
      benchmark::DoNotOptimize(NumberToText0(v, f, buf, sizeof buf));
    }
    benchmark::ClobberMemory();
  }
  char expected[MAX_TEXT_DOUBLE];
  for (unsigned f = 0; f < kNumberFormats; ++f) {
    std::snprintf(expected, sizeof expected, zo::kel::detail::kDisplayFormats[f].printfText,
                  values[f]);
    NumberToText0(values[f], f, buf, sizeof buf);
    CheckSame(state, buf, expected);
  }
  state.SetItemsProcessed(state.iterations() * kNumberFormats);
}
BENCHMARK(BM_NumberToText0_AllNumberFormats);

void BM_snprintf_AllNumberFormats(benchmark::State& state) {
  const std::vector<double>& values = Numbers();
  char buf[MAX_TEXT_DOUBLE];
  std::size_t i = 0;
  for (auto _ : state) {
    const double v = values[i++ & (kValues - 1)];
    for (unsigned f = 0; f < kNumberFormats; ++f) {
      benchmark::DoNotOptimize(
          std::snprintf(buf, sizeof buf, zo::kel::detail::kDisplayFormats[f].printfText, v));
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kNumberFormats);
}
BENCHMARK(BM_snprintf_AllNumberFormats);

// Ours on day counts in a clock or calendar format, checked once against a known text.
void DayCountLoop(benchmark::State& state, const std::vector<double>& values, unsigned format,
                  double known, const char* knownText) {
  char buf[MAX_TEXT_TIME];
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(NumberToText0(values[i++ & (kValues - 1)], format, buf, sizeof buf));
    benchmark::ClobberMemory();
  }
  NumberToText0(known, format, buf, sizeof buf);
  CheckSame(state, buf, knownText);
}

// Elapsed clock "HH:MM:SS.S" (format 37). The baseline prints fields split beforehand, so it
// measures the formatter alone while ours also splits the day count.
void BM_NumberToText0_Elapsed(benchmark::State& state) {
  DayCountLoop(state, DayCounts(0, 10), 37, 3.5 + 5430.5 / 86400, "85:30:30.5");
}
BENCHMARK(BM_NumberToText0_Elapsed);

void BM_snprintf_Elapsed(benchmark::State& state) {
  std::vector<unsigned> fields;
  for (double v : DayCounts(0, 10)) {
    const unsigned ms = static_cast<unsigned>((v - std::trunc(v)) * 86400000.0);
    fields.push_back(static_cast<unsigned>(v) * 24 + ms / 3600000);
    fields.push_back(ms / 60000 % 60);
    fields.push_back(ms / 1000 % 60);
    fields.push_back(ms % 1000 / 100);
  }
  char buf[MAX_TEXT_TIME];
  std::size_t i = 0;
  for (auto _ : state) {
    const unsigned* f = &fields[4 * (i++ & (kValues - 1))];
    benchmark::DoNotOptimize(std::snprintf(buf, sizeof buf, "%2.2lu:%2.2u:%2.2u.%1u",
                                           static_cast<unsigned long>(f[0]), f[1], f[2], f[3]));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_snprintf_Elapsed);

// Calendar "yyyy-mm-dd hh:mm:ss" (format 72), with the same split-beforehand baseline.
void BM_NumberToText0_Calendar(benchmark::State& state) {
  DayCountLoop(state, DayCounts(36526, 10227), 72, 45432.75, "2024-05-20 18:00:00");
}
BENCHMARK(BM_NumberToText0_Calendar);

void BM_snprintf_Calendar(benchmark::State& state) {
  std::vector<unsigned> fields;
  for (double v : DayCounts(36526, 10227)) {
    double days = v;
    unsigned short date[kDateFieldCount];
    GetDate0(&days, date);
    for (int f : {kDateYear, kDateMonth, kDateDayOfMonth, kDateHour, kDateMinute, kDateSecond}) {
      fields.push_back(date[f]);
    }
  }
  char buf[MAX_TEXT_TIME];
  std::size_t i = 0;
  for (auto _ : state) {
    const unsigned* f = &fields[6 * (i++ & (kValues - 1))];
    benchmark::DoNotOptimize(std::snprintf(buf, sizeof buf, "%4.4u-%2.2u-%2.2u %2.2u:%2.2u:%2.2u",
                                           f[0], f[1], f[2], f[3], f[4], f[5]));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_snprintf_Calendar);

// Typed-in numbers: the texts "%.7g" makes of the display values.
const std::vector<std::string>& NumberTexts() {
  static const std::vector<std::string> texts = [] {
    std::vector<std::string> t;
    char buf[32];
    for (double v : Numbers()) {
      std::snprintf(buf, sizeof buf, "%.7g", v);
      t.emplace_back(buf);
    }
    return t;
  }();
  return texts;
}

std::int64_t TextBytes() {
  std::int64_t bytes = 0;
  for (const std::string& t : NumberTexts()) bytes += static_cast<std::int64_t>(t.size());
  return bytes;
}

void BM_AsciiToNumber_Display(benchmark::State& state) {
  const std::vector<std::string>& texts = NumberTexts();
  std::size_t i = 0;
  double value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(AsciiToNumber(texts[i++ & (kValues - 1)].c_str(), &value));
    benchmark::DoNotOptimize(value);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * TextBytes() /
                          static_cast<std::int64_t>(kValues));
  if (!AsciiToNumber(texts[0].c_str(), &value) ||
      std::fabs(value - std::strtod(texts[0].c_str(), nullptr)) > 1e-9 * std::fabs(value)) {
    state.SkipWithError("AsciiToNumber disagrees with strtod");
  }
}
BENCHMARK(BM_AsciiToNumber_Display);

void BM_strtod_Display(benchmark::State& state) {
  const std::vector<std::string>& texts = NumberTexts();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::strtod(texts[i++ & (kValues - 1)].c_str(), nullptr));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * TextBytes() /
                          static_cast<std::int64_t>(kValues));
}
BENCHMARK(BM_strtod_Display);

}  // namespace

BENCHMARK_MAIN();
