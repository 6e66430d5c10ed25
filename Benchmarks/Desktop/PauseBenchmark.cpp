#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <QApplication>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <vector>

#include "Tollbrook/TollbrookApp.h"
#include "TollbrookCore/JobJournal.h"

// The times for which the event loop of the window did not turn, while a dates-only run goes over 20,000
// files, and for as long again while nothing goes on: the longest, and the one that one in a thousand
// exceeds. Those of the run should stay under 50 milliseconds on a machine where the others do.

namespace {

using tollbrook::AppModel;
using Clock = std::chrono::steady_clock;

constexpr int fileCount = 20000;

// Takes note of the times between two turns of the event loop.
class Turns : public QObject {
 public:
  Turns() {
    connect(&timer_, &QTimer::timeout, this, [this] {
      const auto now = Clock::now();
      pauses_.push_back(now - last_);
      last_ = now;
    });
    pauses_.reserve(1U << 20U);  // room for a quarter of an hour
    timer_.start(1);
  }

  void report(benchmark::State& state) {
    timer_.stop();
    std::sort(pauses_.begin(), pauses_.end());
    state.counters["longestPauseInMs"] = exceededBy(0);
    state.counters["99.9thPercentileInMs"] = exceededBy(pauses_.size() / 1000);
    state.counters["turns"] = static_cast<double>(pauses_.size());
  }

 private:
  double exceededBy(std::size_t count) const {
    if (pauses_.empty()) return 0;
    return std::chrono::duration<double, std::milli>(pauses_[pauses_.size() - 1 - count]).count();
  }

  QTimer timer_;
  Clock::time_point last_ = Clock::now();
  std::vector<Clock::duration> pauses_;
};

// How long the run took, so that idling is watched for as long.
Clock::duration runTime = std::chrono::seconds(5);

void turnUntil(const std::function<bool()>& condition) {
  while (!condition()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void makePhotos(const std::filesystem::path& folder) {
  std::filesystem::create_directory(folder);
  for (int number = 0; number < fileCount; ++number) {
    const std::string photo = (folder / fmt::format("IMG_{:05}.jpg", number)).string();
    std::ofstream(photo) << "not looked into";
    std::ofstream(photo + ".supplemental-metadata.json")
        << R"({"photoTakenTime": {"timestamp": "1425445567"}})";
  }
}

void writing(benchmark::State& state) {
  for ([[maybe_unused]] const auto& _ : state) {
    const QTemporaryDir folder;
    const std::filesystem::path place = folder.path().toStdString();
    tollbrook::JobJournal::setBaseDirectoryOverride(place / "jobs");
    makePhotos(place / "photos");
    tollbrook::TollbrookApp app;
    AppModel& model = app.model();
    auto options = model.options();
    options.writeEmbedded = false;
    model.setOptions(options);
    app.open(place / "photos");
    turnUntil([&] { return !model.isScanning(); });
    const auto begin = Clock::now();
    Turns turns;
    model.apply();
    turnUntil([&] { return !model.isApplying(); });
    runTime = Clock::now() - begin;
    turns.report(state);
    state.counters["files"] = static_cast<double>(model.outcome()->datesSet);
  }
}

void idle(benchmark::State& state) {
  for ([[maybe_unused]] const auto& _ : state) {
    Turns turns;
    const auto end = Clock::now() + runTime;
    turnUntil([&] { return Clock::now() >= end; });
    turns.report(state);
  }
}

BENCHMARK(writing)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(1)
    ->ReportAggregatesOnly(false);
BENCHMARK(idle)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(1)
    ->ReportAggregatesOnly(false);

}  // namespace

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
