// Reads Google Benchmark JSON results and prints one Markdown table: each library benchmark beside
// its baseline, the median CPU times and their ratio, from the pairs listed in bench/pairs.txt.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The repetitions of one benchmark, from every process that ran it; a benchmark that skipped with
// an error in any of them is marked failed.
struct Samples {
  std::vector<double> nanoseconds;
  std::map<std::string, std::vector<double>> counters;
  bool failed = false;
};

double MedianOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t n = values.size();
  return n % 2 != 0 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// A line of the pairs file: program | ours | baseline | target ratio or - | what is measured.
// A baseline written counter:NAME makes the row's ratio the median of ours' counter NAME (a
// figure that is already a ratio, such as peak memory per byte of image).
struct Pair {
  std::string program, ours, baseline, target, what;
};

std::string Trim(const std::string& s) {
  const auto first = s.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return s.substr(first, s.find_last_not_of(" \t") - first + 1);
}

std::vector<Pair> ReadPairs(const char* path) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error(std::string("cannot read ") + path);
  std::vector<Pair> pairs;
  std::string line;
  while (std::getline(in, line)) {
    if (Trim(line).empty() || Trim(line)[0] == '#') continue;
    std::vector<std::string> fields;
    std::istringstream split(line);
    for (std::string field; std::getline(split, field, '|');) fields.push_back(Trim(field));
    if (fields.size() != 5) throw std::runtime_error("a pairs line needs 5 fields: " + line);
    pairs.push_back({fields[0], fields[1], fields[2], fields[3], fields[4]});
  }
  return pairs;
}

double ToNanoseconds(double value, const std::string& unit) {
  if (unit == "us") return value * 1e3;
  if (unit == "ms") return value * 1e6;
  if (unit == "s") return value * 1e9;
  return value;
}

// Repetitions keyed by "program:run name". The program is the file name up to its first dot, so
// that the files of several processes of one program (PROGRAM.K.json) pool their repetitions.
// Only single repetitions are read: the median is taken over all of them, not over the medians
// of each process.
void ReadResults(const char* path, std::map<std::string, Samples>& samples) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error(std::string("cannot read ") + path);
  const nlohmann::json results = nlohmann::json::parse(in);
  std::string program = path;
  program = program.substr(program.find_last_of('/') + 1);
  program = program.substr(0, program.find('.'));
  for (const auto& b : results.at("benchmarks")) {
    const std::string key = program + ":" + b.value("run_name", b.value("name", ""));
    if (b.value("error_occurred", false)) {
      samples[key].failed = true;
    } else if (b.value("run_type", "iteration") == "iteration") {
      Samples& s = samples[key];
      s.nanoseconds.push_back(
          ToNanoseconds(b.at("cpu_time").get<double>(), b.value("time_unit", "ns")));
      for (const auto& field : b.items()) {
        if (field.value().is_number() && field.key() != "cpu_time" && field.key() != "real_time")
          s.counters[field.key()].push_back(field.value().get<double>());
      }
    }
  }
}

// The median CPU time and the median of each counter.
struct Median {
  double nanoseconds = 0;
  std::map<std::string, double> counters;
  bool failed = false;
};

Median MedianOf(const Samples& s) {
  Median m;
  m.failed = s.failed || s.nanoseconds.empty();
  if (m.failed) return m;
  m.nanoseconds = MedianOf(s.nanoseconds);
  for (const auto& counter : s.counters) m.counters[counter.first] = MedianOf(counter.second);
  return m;
}

std::string Time(double ns) {
  char text[32];
  if (ns >= 1e6) {
    std::snprintf(text, sizeof text, "%.2f ms", ns / 1e6);
  } else if (ns >= 1e3) {
    std::snprintf(text, sizeof text, "%.2f us", ns / 1e3);
  } else {
    std::snprintf(text, sizeof text, "%.1f ns", ns);
  }
  return text;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 3) {
    std::cerr << "usage: bench_table PAIRS RESULT.json...\n";
    return 2;
  }
  std::map<std::string, Samples> samples;
  for (int i = 2; i < argc; ++i) ReadResults(argv[i], samples);
  std::map<std::string, Median> medians;
  for (const auto& s : samples) medians[s.first] = MedianOf(s.second);
  int missed = 0, broken = 0;
  std::cout << "| measures | ours | median | baseline | median | ratio | target |\n"
               "|---|---|---:|---|---:|---:|---|\n";
  for (const Pair& p : ReadPairs(argv[1])) {
    const auto ours = medians.find(p.program + ":" + p.ours);
    const auto base = medians.find(p.program + ":" + p.baseline);
    const std::string counterPrefix = "counter:";
    const bool isCounter = p.baseline.compare(0, counterPrefix.size(), counterPrefix) == 0;
    const std::string counter = isCounter ? p.baseline.substr(counterPrefix.size()) : "";
    std::cout << "| " << p.what << " | `" << p.ours << "` | ";
    const auto row = [&](const std::string& ourTime, const std::string& baseTime) {
      std::cout << ourTime << " | `" << p.baseline << "` | " << baseTime << " | ";
    };
    const bool measured =
        ours != medians.end() && !ours->second.failed &&
        (isCounter ? ours->second.counters.count(counter) != 0
                   : base != medians.end() && !base->second.failed && base->second.nanoseconds > 0);
    if (!measured) {
      row("-", "-");
      std::cout << "- | not measured (missing or failed) |\n";
      ++broken;
      continue;
    }
    const double ratio = isCounter ? ours->second.counters.at(counter)
                                   : ours->second.nanoseconds / base->second.nanoseconds;
    std::string verdict = "-";
    if (p.target != "-") {
      const bool met = ratio <= std::stod(p.target);
      verdict = "<= " + p.target + (met ? " met" : " MISSED");
      missed += met ? 0 : 1;
    }
    char r[32];
    std::snprintf(r, sizeof r, "%.2f", ratio);
    row(Time(ours->second.nanoseconds), isCounter ? "-" : Time(base->second.nanoseconds));
    std::cout << r << " | " << verdict << " |\n";
  }
  std::cout << "\nratio = median CPU time of ours / median CPU time of the baseline, each over"
               " every repetition of every process (below 1: ours is faster); "
            << missed << " target(s) missed.\n";
  return broken ? 1 : 0;
} catch (const std::exception& e) {
  std::cerr << "bench_table: " << e.what() << "\n";
  return 2;
}
