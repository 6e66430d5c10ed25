#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "TollbrookCore/SidecarMatcher.h"

/// What pairing costs for each media file, in memory: with the index at two folder sizes, and with the plain
/// form. "per_name" is the time for one media file and its share of building the index. Names are shuffled,
/// as a file system lists them.
namespace {

using tollbrook::SidecarMatcher::Index;
using Names = std::vector<std::string>;

struct Folder {
  /// `unmatchedPercent` of the media files have no sidecar, and as many sidecars belong to nobody.
  Folder(int count, int unmatchedPercent) {
    for (int i = 0; i < count; ++i) {
      const bool unmatched = i % 100 < unmatchedPercent;
      std::string number = std::to_string(1000000 + i).substr(1);
      media.push_back((unmatched ? "DSC_" : "IMG_") + number + ".JPG");
      json.push_back(unmatched ? "meta-of-nobody-" + number + ".json"
                               : media.back() + ".supplemental-metadata.json");
    }
    std::mt19937 random(1);
    std::shuffle(media.begin(), media.end(), random);
    std::shuffle(json.begin(), json.end(), random);
  }

  Names media;
  Names json;
};

Folder folderOf(const benchmark::State& state) {
  return Folder(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
}

void countNames(benchmark::State& state, std::size_t namesEachTime) {
  using benchmark::Counter;
  const auto names = static_cast<double>(state.iterations()) * static_cast<double>(namesEachTime);
  state.counters["per_name"] = Counter(names, Counter::kIsRate | Counter::kInvert);
}

/// Processor time of this thread in seconds: what other programs do counts for little.
double now() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Copying the names is the caller's business, and freeing them too.
void buildIndex(benchmark::State& state) {
  const Folder folder = folderOf(state);
  for ([[maybe_unused]] const auto iteration : state) {
    Names names = folder.json;
    const double start = now();
    std::optional<Index> index(std::move(names));
    state.SetIterationTime(now() - start);
    benchmark::DoNotOptimize(index->jsonNames().data());
  }
  countNames(state, folder.json.size());
}

void pairWithIndex(benchmark::State& state) {
  const Folder folder = folderOf(state);
  std::size_t found = 0;
  for ([[maybe_unused]] const auto iteration : state) {
    Names names = folder.json;
    const double start = now();
    const Index index(std::move(names));
    for (const std::string& media : folder.media) found += index.match(media) ? 1u : 0u;
    state.SetIterationTime(now() - start);
  }
  benchmark::DoNotOptimize(found);
  countNames(state, folder.media.size());
}

/// One media file for each hundred: all would take minutes.
void pairPlainly(benchmark::State& state) {
  const Folder folder = folderOf(state);
  const std::size_t asked = folder.media.size() / 100;
  std::size_t found = 0;
  for ([[maybe_unused]] const auto iteration : state) {
    const double start = now();
    for (std::size_t i = 0; i < asked; ++i) {
      found += tollbrook::SidecarMatcher::match(folder.media[i], folder.json) ? 1u : 0u;
    }
    state.SetIterationTime(now() - start);
  }
  benchmark::DoNotOptimize(found);
  countNames(state, asked);
}

const std::vector<std::string> folderArguments{"names", "unmatched%"};

BENCHMARK(buildIndex)->ArgNames(folderArguments)->ArgsProduct({{1000, 20000}, {1}})->UseManualTime();
BENCHMARK(pairWithIndex)
    ->ArgNames(folderArguments)
    ->ArgsProduct({{1000, 20000}, {0, 1, 100}})
    ->UseManualTime();
BENCHMARK(pairPlainly)->ArgNames(folderArguments)->ArgsProduct({{1000}, {1, 100}})->UseManualTime();

}  // namespace
