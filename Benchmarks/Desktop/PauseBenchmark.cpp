#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <QApplication>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <fstream>

#include "Tollbrook/TollbrookApp.h"
#include "TollbrookCore/JobJournal.h"

// The longest time for which the event loop of the window did not turn, while a dates-only run goes over
// 20,000 files, and while nothing goes on. The first should stay under 50 milliseconds on a machine where the
// second does.

namespace {

using tollbrook::AppModel;
using Clock = std::chrono::steady_clock;

constexpr int fileCount = 20000;

// Takes note of the longest time between two turns of the event loop.
class Turns : public QObject {
 public:
  Turns() {
    connect(&timer_, &QTimer::timeout, this, [this] {
      const auto now = Clock::now();
      longest_ = std::max(longest_, now - last_);
      last_ = now;
    });
    timer_.start(1);
  }
  double longestMilliseconds() const { return std::chrono::duration<double, std::milli>(longest_).count(); }

 private:
  QTimer timer_;
  Clock::time_point last_ = Clock::now();
  Clock::duration longest_{};
};

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

void idle(benchmark::State& state) {
  for ([[maybe_unused]] const auto& _ : state) {
    const Turns turns;
    const auto end = Clock::now() + std::chrono::seconds(5);
    turnUntil([&] { return Clock::now() >= end; });
    state.counters["longestPauseInMs"] = turns.longestMilliseconds();
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
    const Turns turns;
    model.apply();
    turnUntil([&] { return !model.isApplying(); });
    state.counters["longestPauseInMs"] = turns.longestMilliseconds();
    state.counters["files"] = static_cast<double>(model.outcome()->datesSet);
  }
}

BENCHMARK(idle)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(1)
    ->ReportAggregatesOnly(false);
BENCHMARK(writing)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(1)
    ->ReportAggregatesOnly(false);

}  // namespace

int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet("DISPLAY")) qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication application(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
