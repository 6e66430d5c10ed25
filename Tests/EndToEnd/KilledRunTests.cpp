#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <set>
#include <thread>

#include "Support/SafetyTest.h"
#include "Support/StandIn.h"
#include "TollbrookCore/ExifTool.h"

namespace tollbrook::test {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
constexpr std::chrono::microseconds glance(300);

class KilledRunTest : public SafetyTest {
 protected:
  static constexpr int photosPerExport = 60;

  /// The same names every time, as they were before any run, and no job.
  void makeExport() {
    std::filesystem::remove_all(store() / "Tollbrook");
    photos_.clear();
    finished_.clear();
    for (int i = 0; i < photosPerExport; ++i) {
      const char* extension = i % 4 == 3 ? ".png" : i % 4 == 1 ? ".mp4" : ".jpg";
      photos_.push_back(addPhoto("Album " + std::to_string(i % 3) + "/IMG_" + std::to_string(i) + extension));
    }
  }

  /// How long a run takes from start to end.
  Seconds measureRun() {
    makeExport();
    const auto start = Clock::now();
    EXPECT_EQ(run({"write", root(), "--quiet"}).status, 0);
    return Clock::now() - start;
  }

  Program::Call nextRun() const {
    return record().is_null() ? command({"write", root(), "--quiet"}) : command({"resume", "--quiet"});
  }

  /// Right after a kill: no photo is damaged, and what is listed as finished is.
  void expectListedAreFinished() {
    std::vector<std::filesystem::path> fresh;
    for (const std::string& line : finished()) {
      if (finished_.insert(line).second) fresh.push_back(root() / line);
    }
    const auto metadata = metadataOfAll(fresh);
    for (const Photo& photo : photos_) {
      SCOPED_TRACE(photo.path);
      EXPECT_TRUE(imageDataOf(photo.path) == photo.imageData);
      const auto found = std::find(fresh.begin(), fresh.end(), photo.path);
      if (found == fresh.end()) continue;
      EXPECT_TRUE(carries(metadata[static_cast<std::size_t>(found - fresh.begin())], photo.wanted));
      EXPECT_TRUE(isDated(photo.path, photo.wanted));
    }
  }

  void expectComplete() const {
    expectAllRestored(photos_);
    EXPECT_EQ(finished().size(), photos_.size());
    EXPECT_EQ(record().value("phase", ""), "complete");
  }

  std::vector<Photo> photos_;
  std::set<std::string> finished_;
};

TEST_F(KilledRunTest, AtAnyMomentEveryPhotoIsWholeAndNoneIsListedBeforeItIsFinished) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  constexpr int kills = 54;
  const double most = measureRun().count() / 8;
  expectComplete();
  makeExport();
  std::mt19937 random(20150304);
  std::set<std::size_t> progress;
  for (int killed = 0; killed < kills && !HasFailure();) {
    const auto limit = Clock::now() + Seconds(std::uniform_real_distribution(0.0, most)(random));
    const std::size_t before = finished().size();
    // Some right behind a new line, some while a temporary file is there, the others at any time.
    const auto isMoment = [&] {
      if (killed % 4 == 1) return finished().size() > before;
      if (killed % 4 == 3) return isBeingWritten();
      return Clock::now() >= limit;
    };
    Program program(nextRun());
    while (program.isRunning() && !isMoment()) std::this_thread::sleep_for(glance);
    program.send(SIGKILL);
    const auto result = program.wait();
    if (result.signal == SIGKILL) {
      ++killed;
      progress.insert(finished().size());
      SCOPED_TRACE("kill " + std::to_string(killed));
      expectListedAreFinished();
    } else {
      EXPECT_EQ(result.status, 0) << result.errors;
      expectComplete();
      makeExport();
    }
  }
  EXPECT_EQ(Program::run(nextRun()).status, 0);
  expectComplete();
  EXPECT_GT(progress.size(), 10u) << "the run was killed too early to have done anything";
}

class KilledVideoTest : public SafetyTest, public testing::WithParamInterface<const char*> {
 protected:
  static constexpr std::uint32_t mediaSize = 500'000'000;
};

TEST_P(KilledVideoTest, TheParentAloneIsKilledAndTheRunResumedAtOnceWhileAnotherProcessScans) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  if (std::filesystem::space(root()).available < 3'000'000'000u) {
    GTEST_SKIP() << "less than 3 GB are free in " << root() << ": nothing was tested here";
  }
  const Photo video = addVideo(GetParam(), mediaSize);
  {
    Program first(command({"write", root(), "--quiet"}));
    ASSERT_TRUE(eventually([&] { return isBeingWritten(mediaSize / 10) || !first.isRunning(); }));
    first.send(SIGKILL);
    ASSERT_EQ(first.wait().signal, SIGKILL) << "the video was too quick for this test";
  }
  EXPECT_FALSE(leftovers().empty());
  Program second(command({"resume", "--quiet"}));
  int scans = 0;
  while (second.isRunning()) {
    EXPECT_EQ(run({"scan", root(), "--json"}).status, 0);
    ++scans;
  }
  const auto result = second.wait();
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_GT(scans, 1);
  EXPECT_TRUE(isWholeVideo(video, mediaSize));
  expectAllRestored({video});
  EXPECT_EQ(record().value("phase", ""), "complete");
}

// The first goes to exiftool's session, the second, which no command can name, to an exiftool of its own.
INSTANTIATE_TEST_SUITE_P(BothRoutes, KilledVideoTest, testing::Values("a/video.mp4", "line\nfeed/video.mp4"),
                         [](const auto& tested) { return tested.index == 0 ? "Session" : "OneShot"; });

}  // namespace
}  // namespace tollbrook::test
