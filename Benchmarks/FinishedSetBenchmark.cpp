#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "TollbrookCore/FinishedSet.h"

// A finished list of a million paths, held as FinishedSet and, for comparison, as a set of strings. Looking
// up goes in an order of its own, as the walk of a folder does, so that nearly every look misses the caches.
namespace {

using tollbrook::FinishedSet;
using StringSet = std::unordered_set<std::string>;

constexpr int count = 1'000'000;

const std::vector<std::string>& paths() {
  static const std::vector<std::string> all = [] {
    std::vector<std::string> made;
    for (int i = 0; i < count; ++i) {
      const std::string digits = std::to_string(i);
      made.push_back("Photos from 2015/IMG_" + std::string(9 - digits.size(), '0') + digits + ".jpg");
    }
    std::shuffle(made.begin(), made.end(), std::mt19937(1));
    return made;
  }();
  return all;
}

const std::string& log() {
  static const std::string text = [] {
    std::string lines = "v1\n";
    std::vector<std::string> shuffled = paths();
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(2));
    for (const std::string& path : shuffled) lines += path + '\n';
    return lines;
  }();
  return text;
}

StringSet stringSet() {
  StringSet set;
  for (std::size_t start = 0, end; (end = log().find('\n', start)) != std::string::npos; start = end + 1) {
    if (start > 0) set.emplace(log(), start, end - start);
  }
  return set;
}

void perPath(benchmark::State& state) {
  state.counters["per path"] =
      benchmark::Counter(count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void loadFinishedSet(benchmark::State& state) {
  log();
  for (auto _ : state) benchmark::DoNotOptimize(FinishedSet(log()).size());
  perPath(state);
}

void loadStringSet(benchmark::State& state) {
  log();
  for (auto _ : state) benchmark::DoNotOptimize(stringSet().size());
  perPath(state);
}

template <typename Set>
void lookUp(benchmark::State& state, const Set& set, const std::string& ending) {
  std::vector<std::string> asked = paths();
  for (std::string& path : asked) path += ending;
  for (auto _ : state) {
    std::size_t found = 0;
    for (const std::string& path : asked) found += set.contains(path) ? 1u : 0u;
    benchmark::DoNotOptimize(found);
  }
  perPath(state);
}

void findInFinishedSet(benchmark::State& state) { lookUp(state, FinishedSet(log()), ""); }
void findInStringSet(benchmark::State& state) { lookUp(state, stringSet(), ""); }
void missInFinishedSet(benchmark::State& state) { lookUp(state, FinishedSet(log()), "x"); }
void missInStringSet(benchmark::State& state) { lookUp(state, stringSet(), "x"); }

void addToFinishedSet(benchmark::State& state) {
  paths();
  for (auto _ : state) {
    FinishedSet set;
    for (const std::string& path : paths()) set.insert(path);
    benchmark::DoNotOptimize(set.size());
  }
  perPath(state);
}

BENCHMARK(loadFinishedSet)->Unit(benchmark::kMillisecond);
BENCHMARK(loadStringSet)->Unit(benchmark::kMillisecond);
BENCHMARK(findInFinishedSet)->Unit(benchmark::kMillisecond);
BENCHMARK(findInStringSet)->Unit(benchmark::kMillisecond);
BENCHMARK(missInFinishedSet)->Unit(benchmark::kMillisecond);
BENCHMARK(missInStringSet)->Unit(benchmark::kMillisecond);
BENCHMARK(addToFinishedSet)->Unit(benchmark::kMillisecond);

}  // namespace
