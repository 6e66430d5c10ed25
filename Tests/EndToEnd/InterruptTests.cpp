#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>

#include "Support/SafetyTest.h"
#include "Support/StandIn.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook::test {
namespace {

using testing::AnyOf;

/// A run over a few videos that take a while each.
class InterruptTest : public SafetyTest {
 protected:
  static constexpr std::uint32_t mediaSize = 80'000'000;

  InterruptTest() {
    for (const char* name : {"a.mp4", "b.mp4", "c.mp4"}) videos_.push_back(addVideo(name, mediaSize));
  }

  /// Waits until some video is being written.
  testing::AssertionResult becomesBusy(Program& program) const {
    if (eventually([&] { return isBeingWritten() || !program.isRunning(); }) && program.isRunning()) {
      return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "no video is being written: " << program.errors();
  }

  /// The file in flight was finished, and recorded as every other one that carries its metadata.
  void expectStoppedBetweenFiles() const {
    const auto lines = finished();
    EXPECT_GE(lines.size(), 1u);
    EXPECT_LT(lines.size(), videos_.size());
    const auto metadata = metadataBelow(root());
    std::size_t carrying = 0;
    for (const Photo& video : videos_) {
      ASSERT_TRUE(metadata.contains(video.path)) << video.path;
      if (carries(metadata.at(video.path), video.wanted)) ++carrying;
      EXPECT_TRUE(isWholeVideo(video, mediaSize));
    }
    EXPECT_EQ(carrying, lines.size());
    for (const std::string& line : lines) {
      SCOPED_TRACE(line);
      const auto video = std::find_if(videos_.begin(), videos_.end(),
                                      [&](const Photo& each) { return each.path == root() / line; });
      ASSERT_NE(video, videos_.end());
      EXPECT_TRUE(carries(metadata.at(video->path), video->wanted));
      EXPECT_TRUE(isDated(video->path, video->wanted));
    }
    EXPECT_TRUE(leftovers().empty());
    EXPECT_EQ(record().value("phase", ""), "writing");
  }

  void expectResumes() const {
    const auto result = run({"resume", "--quiet"});
    EXPECT_EQ(result.status, 0) << result.errors;
    expectAllRestored(videos_);
    for (const Photo& video : videos_) EXPECT_TRUE(isWholeVideo(video, mediaSize));
    EXPECT_EQ(record().value("phase", ""), "complete");
  }

  std::vector<Photo> videos_;
};

/// Makes standard input the controlling terminal, and the caller the leader of its foreground group.
bool terminalIsOurs() { return setsid() >= 0 && ioctl(STDIN_FILENO, TIOCSCTTY, 0) == 0; }

/// A terminal with somebody at it.
class Terminal {
 public:
  Terminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (!master_ || grantpt(master_.get()) != 0 || unlockpt(master_.get()) != 0) return;
    slave_ = Files::Descriptor(open(ptsname(master_.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    fcntl(master_.get(), F_SETFL, O_NONBLOCK);
  }

  explicit operator bool() const { return static_cast<bool>(slave_); }

  /// The call as typed there: the program leads the foreground group.
  Program::Call with(Program::Call call) const {
    call.input = call.errors = slave_.get();
    call.prepare = terminalIsOurs;
    return call;
  }

  /// Takes what is on the screen, so that nobody waits for room there.
  void look() const {
    std::array<char, 4096> bytes;
    while (read(master_.get(), bytes.data(), bytes.size()) > 0) {
    }
  }

  void type(char character) const { ASSERT_EQ(write(master_.get(), &character, 1), 1); }

 private:
  Files::Descriptor master_;
  Files::Descriptor slave_;
};

TEST_F(InterruptTest, ControlCInATerminalLosesNothingOfTheFileInFlight) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const Terminal terminal;
  ASSERT_TRUE(terminal);
  Program program(terminal.with(command({"write", root()})));
  ASSERT_TRUE(eventually([&] {
    terminal.look();
    return isBeingWritten() || !program.isRunning();
  }));
  constexpr char interruptCharacter = 3;
  terminal.type(interruptCharacter);
  ASSERT_TRUE(eventually([&] {
    terminal.look();
    return !program.isRunning();
  }));
  EXPECT_EQ(program.wait().status, 130);
  expectStoppedBetweenFiles();
  expectResumes();
}

TEST_F(InterruptTest, ControlCInATerminalSparesAnExifToolThatHasOneFile) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  // No command of a session can name these.
  for (Photo& video : videos_) {
    const auto path = *this / ("line\nfeed " + video.path.filename().native());
    std::filesystem::rename(video.path, path);
    std::filesystem::rename(sidecarOf(video.path), sidecarOf(path));
    video.path = path;
  }
  const Terminal terminal;
  ASSERT_TRUE(terminal);
  Program program(terminal.with(command({"write", root(), "--json", "--quiet"})));
  ASSERT_TRUE(becomesBusy(program));
  constexpr char interruptCharacter = 3;
  terminal.type(interruptCharacter);
  const auto result = program.wait();
  EXPECT_EQ(result.status, 130);
  const auto metadata = metadataBelow(root());
  std::int64_t carrying = 0;
  for (const Photo& video : videos_) {
    if (carries(metadata.at(video.path), video.wanted)) ++carrying;
    EXPECT_TRUE(isWholeVideo(video, mediaSize));
  }
  EXPECT_GE(carrying, 1);
  EXPECT_EQ(nlohmann::json::parse(result.output)["embeddedWritten"], carrying);
  EXPECT_TRUE(leftovers().empty());
  expectResumes();
}

class SignalTest : public InterruptTest, public testing::WithParamInterface<int> {};

TEST_P(SignalTest, FinishesAndRecordsTheFileInFlight) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  Program program(command({"write", root(), "--quiet"}));
  ASSERT_TRUE(becomesBusy(program));
  program.send(GetParam());
  const auto result = program.wait();
  EXPECT_EQ(result.status, 128 + GetParam());
  EXPECT_EQ(result.signal, 0) << "it died of the signal instead of ending";
  expectStoppedBetweenFiles();
  expectResumes();
}

INSTANTIATE_TEST_SUITE_P(Each, SignalTest, testing::Values(SIGINT, SIGTERM, SIGHUP), [](const auto& tested) {
  return tested.param == SIGINT ? "Interrupt" : tested.param == SIGTERM ? "Terminate" : "HangUp";
});

TEST_F(InterruptTest, UnderNohupAHangUpStopsNothing) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  auto call = command({"write", root(), "--quiet"});
  call.prepare = [] { return signal(SIGHUP, SIG_IGN) != SIG_ERR; };
  Program program(call);
  ASSERT_TRUE(becomesBusy(program));
  program.send(SIGHUP);
  EXPECT_EQ(program.wait().status, 0);
  expectAllRestored(videos_);
  EXPECT_EQ(record().value("phase", ""), "complete");
}

TEST_F(InterruptTest, ARunGoesOnWithoutTheTerminalThatShowsItsProgress) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  std::optional<Terminal> terminal(std::in_place);
  ASSERT_TRUE(*terminal);
  auto call = terminal->with(command({"write", root()}));
  call.prepare = [] { return signal(SIGHUP, SIG_IGN) != SIG_ERR && terminalIsOurs(); };
  Program program(call);
  ASSERT_TRUE(eventually([&] {
    terminal->look();
    return isBeingWritten() || !program.isRunning();
  }));
  ASSERT_TRUE(program.isRunning());
  terminal.reset();
  EXPECT_EQ(program.wait().status, 0);
  expectAllRestored(videos_);
  EXPECT_EQ(record().value("phase", ""), "complete");
}

TEST_F(InterruptTest, HangingUpTheTerminalFinishesTheFileInFlight) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  std::optional<Terminal> terminal(std::in_place);
  ASSERT_TRUE(*terminal);
  Program program(terminal->with(command({"write", root()})));
  ASSERT_TRUE(eventually([&] {
    terminal->look();
    return isBeingWritten() || !program.isRunning();
  }));
  terminal.reset();
  EXPECT_EQ(program.wait().status, 129);
  expectStoppedBetweenFiles();
  expectResumes();
}

TEST_F(InterruptTest, ASecondSignalStopsAtOnceAndLeavesEveryPhotoWhole) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  constexpr std::uint32_t large = 400'000'000;
  for (const Photo& video : videos_) std::filesystem::remove(video.path);
  videos_ = {addVideo("large.mp4", large)};
  Program program(command({"write", root(), "--quiet"}));
  ASSERT_TRUE(becomesBusy(program));
  program.send(SIGINT);
  program.send(SIGTERM);
  // The system may run the handlers in either order.
  EXPECT_THAT(program.wait().status, AnyOf(130, 143));
  EXPECT_EQ(finished().size(), 0u) << "it went on to the end of the file";
  EXPECT_TRUE(isWholeVideo(videos_[0], large));
  EXPECT_EQ(run({"resume", "--quiet"}).status, 0);
  EXPECT_TRUE(isWholeVideo(videos_[0], large));
  expectAllRestored(videos_);
}

}  // namespace
}  // namespace tollbrook::test
