#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <thread>

#include "Support/StandIn.h"
#include "TollbrookCore/Support/ChildProcess.h"

namespace tollbrook {
namespace {

using namespace std::chrono_literals;
using test::eventually;
using test::hasNoChild;
using test::isHeld;
using test::openDescriptors;
using test::readFile;
using test::StandIn;
using test::TemporaryFolder;
using test::writeFile;
using Stream = ChildProcess::Stream;

/// What was left open for us by whoever started the tests is not for the children.
const bool inheritedDescriptorsEndHere = [] {
  for (int descriptor = 3; descriptor < 1024; ++descriptor) fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  return true;
}();

const auto never = ChildProcess::Clock::time_point::max();

std::unique_ptr<ChildProcess> start(const StandIn& program, Stream input = Stream::nullDevice,
                                    Stream output = Stream::nullDevice) {
  return ChildProcess::start({program.path(), {"word"}, input, output});
}

std::string readAll(const ChildProcess& child) {
  std::string text;
  std::array<char, 4096> bytes{};
  for (ssize_t count; (count = read(child.output().get(), bytes.data(), bytes.size())) > 0;) {
    text.append(bytes.data(), static_cast<std::size_t>(count));
  }
  return text;
}

/// What a child that dumps to "dump" was given: the rest of the line that begins with `name`.
std::string given(const std::string& dump, const std::string& name) {
  const auto found = ("\n" + dump).find("\n" + name + ":");
  if (found == std::string::npos) return "missing";
  const auto from = found + name.size() + 1;
  return dump.substr(from, dump.find('\n', from) - from);
}

std::string dumpOf(StandIn& program, const std::vector<std::string>& arguments = {}) {
  std::filesystem::remove(program / "dump");
  program.setScript("start: dump " + (program / "dump").string());
  const auto child = ChildProcess::start({program.path(), arguments});
  EXPECT_TRUE(child != nullptr);
  EXPECT_EQ(child ? child->waitUntil(never) : std::nullopt, 0);
  return readFile(program / "dump");
}

TEST(ChildProcess, GetsItsArgumentsAsTheyAre) {
  StandIn program;
  const auto dump = dumpOf(program, {"$(touch shell)", "a b", "'", "", "*", "-x", "two\nlines"});
  EXPECT_NE(dump.find("argument: $(touch shell)\nargument: a b\nargument: '\nargument: \nargument: *\n"
                      "argument: -x\nargument: two\nlines\n"),
            std::string::npos)
      << dump;
}

TEST(ChildProcess, GetsOurEnvironment) {
  StandIn program;
  setenv("TOLLBROOK_CHILD_TEST", "as it is", 1);
  EXPECT_NE(dumpOf(program).find("variable: TOLLBROOK_CHILD_TEST=as it is\n"), std::string::npos);
  unsetenv("TOLLBROOK_CHILD_TEST");
}

TEST(ChildProcess, GetsTheChangesToOurEnvironment) {
  StandIn program;
  program.setScript("start: dump " + (program / "dump").string());
  setenv("TOLLBROOK_CHILD_TEST", "ours", 1);
  setenv("TOLLBROOK_CHILD_TEST_2", "goes", 1);
  ChildProcess::Command command{.executable = program.path(), .arguments = {}};
  command.environment = {{"TOLLBROOK_CHILD_TEST", "theirs"},
                         {"TOLLBROOK_CHILD_TEST_2", std::nullopt},
                         {"TOLLBROOK_CHILD_TEST_3", "new"}};
  const auto child = ChildProcess::start(command);
  ASSERT_TRUE(child != nullptr);
  ASSERT_EQ(child->waitUntil(never), 0);
  EXPECT_STREQ(std::getenv("TOLLBROOK_CHILD_TEST"), "ours");
  unsetenv("TOLLBROOK_CHILD_TEST");
  unsetenv("TOLLBROOK_CHILD_TEST_2");
  const std::string dump = readFile(program / "dump");
  EXPECT_NE(dump.find("variable: TOLLBROOK_CHILD_TEST=theirs\n"), std::string::npos) << dump;
  EXPECT_EQ(dump.find("TOLLBROOK_CHILD_TEST=ours"), std::string::npos) << dump;
  EXPECT_EQ(dump.find("TOLLBROOK_CHILD_TEST_2"), std::string::npos) << dump;
  EXPECT_NE(dump.find("variable: TOLLBROOK_CHILD_TEST_3=new\n"), std::string::npos) << dump;
  EXPECT_NE(dump.find("variable: PATH="), std::string::npos) << dump;
}

TEST(ChildProcess, CannotBeStartedFromWhatIsNoProgram) {
  TemporaryFolder folder;
  writeFile(folder / "text", "no program");
  writeFile(folder / "not executable", "#!/bin/sh\n");
  writeFile(folder / "executable text", "no program");
  std::filesystem::permissions(folder / "executable text", std::filesystem::perms::owner_all);
  const int descriptors = openDescriptors();
  for (const auto& path :
       {folder / "missing", folder / "text", folder / "not executable", folder.path(),
        folder / "executable text", std::filesystem::path("true"), std::filesystem::path()}) {
    EXPECT_EQ(ChildProcess::start({path, {}, Stream::pipe, Stream::pipe}), nullptr) << path;
  }
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_TRUE(hasNoChild());
}

TEST(ChildProcess, IsNotSearchedForInTheCurrentFolder) {
  StandIn program;
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(program.path().parent_path());
  EXPECT_EQ(ChildProcess::start({"exiftool", {}}), nullptr);
  std::filesystem::current_path(before);
}

TEST(ChildProcess, HasOnlyItsThreeStreams) {
  StandIn other("once: hang");
  const auto running = start(other, Stream::pipe, Stream::pipe);
  ASSERT_TRUE(running);
  StandIn program;
  const auto dump = dumpOf(program);
  EXPECT_EQ(given(dump, "descriptors"), " 0 1 2");
  EXPECT_EQ(given(dump, "streams"), " null null null");

  program.setScript("start: dump " + (program / "pipes").string());
  const auto child = start(program, Stream::pipe, Stream::pipe);
  ASSERT_TRUE(child);
  EXPECT_EQ(child->waitUntil(never), 0);
  EXPECT_EQ(given(readFile(program / "pipes"), "descriptors"), " 0 1 2");
  EXPECT_EQ(given(readFile(program / "pipes"), "streams"), " pipe pipe null");
}

TEST(ChildProcess, InheritsNothingFromOneThatIsStartedAtTheSameTime) {
  constexpr int startsPerThread = 60;
  // Standard file streams are not close-on-exec: no thread opens one while others start children.
  std::array<StandIn, 4> programs;
  for (StandIn& program : programs) program.setScript("start: dump " + (program / "dump").string());
  std::vector<std::thread> threads;
  for (const StandIn& program : programs) {
    threads.emplace_back([&program] {
      for (int i = 0; i < startsPerThread; ++i) {
        const auto child = start(program, Stream::pipe, Stream::pipe);
        if (child) child->waitUntil(never);
      }
    });
  }
  std::atomic<bool> done = false;
  std::thread plumber([&done] {
    while (!done) EXPECT_TRUE(makePipe());
  });
  for (std::thread& thread : threads) thread.join();
  done = true;
  plumber.join();
  for (const StandIn& program : programs) {
    std::istringstream dump(readFile(program / "dump"));
    int starts = 0;
    for (std::string line; std::getline(dump, line);) {
      if (!line.starts_with("descriptors:")) continue;
      ++starts;
      EXPECT_EQ(line, "descriptors: 0 1 2");
    }
    EXPECT_EQ(starts, startsPerThread);
  }
}

TEST(ChildProcess, RunsInAGroupOfItsOwnSoThatCtrlCDoesNotReachIt) {
  StandIn program;
  const auto dump = dumpOf(program);
  EXPECT_EQ(given(dump, "group"), given(dump, "process"));
  EXPECT_NE(std::stol(given(dump, "group")), getpgrp());
}

TEST(ChildProcess, StartsWithNoSignalBlockedOrIgnored) {
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  for (const int number : {SIGTERM, SIGINT, SIGUSR1}) sigaddset(&blocked, number);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const auto handler = ::signal(SIGPIPE, SIG_IGN);
  StandIn program;
  const auto dump = dumpOf(program);
  ::signal(SIGPIPE, handler);
  EXPECT_EQ(given(dump, "blocked"), "");
  EXPECT_EQ(given(dump, "ignored"), "");
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, &before, &after);
  EXPECT_EQ(sigismember(&after, SIGUSR1), 1);
  EXPECT_EQ(sigismember(&after, SIGHUP), 0);
}

TEST(ChildProcess, HasItsPipesWhereOurOwnStreamsAreClosed) {
  std::array<int, 3> saved{};
  for (int stream = 0; stream < 3; ++stream) {
    saved[static_cast<std::size_t>(stream)] = fcntl(stream, F_DUPFD_CLOEXEC, 10);
    close(stream);
  }
  StandIn program;
  program.setScript("start: dump " + (program / "dump").string() + "; say hello");
  const auto child = start(program, Stream::pipe, Stream::pipe);
  const std::string said = child ? readAll(*child) : "not started";
  for (int stream = 0; stream < 3; ++stream) {
    dup2(saved[static_cast<std::size_t>(stream)], stream);
    close(saved[static_cast<std::size_t>(stream)]);
  }
  EXPECT_EQ(said, "hello\n");
  EXPECT_EQ(given(readFile(program / "dump"), "descriptors"), " 0 1 2");
  EXPECT_EQ(given(readFile(program / "dump"), "streams"), " pipe pipe null");
}

TEST(ChildProcess, TellsHowItEnded) {
  const auto endOf = [](std::string_view script) {
    StandIn program(script);
    const auto child = start(program);
    return child ? child->waitUntil(never) : std::nullopt;
  };
  EXPECT_EQ(endOf("once: exit 0"), 0);
  EXPECT_EQ(endOf("once: exit 7"), 7);
  EXPECT_EQ(endOf("once: die"), 128 + SIGKILL);
  EXPECT_TRUE(hasNoChild());
}

TEST(ChildProcess, IsNoSuccessWhereTheSystemReapsByItself) {
  const auto handler = ::signal(SIGCHLD, SIG_IGN);
  StandIn program("once: exit 0");
  const auto child = start(program);
  ASSERT_TRUE(child);
  const auto status = child->waitUntil(never);
  ::signal(SIGCHLD, handler);
  ASSERT_TRUE(status);
  EXPECT_NE(*status, 0);
}

TEST(ChildProcess, RunsOnPastADeadline) {
  StandIn program("once: hang");
  const auto child = start(program);
  ASSERT_TRUE(child);
  EXPECT_EQ(child->waitUntil(ChildProcess::Clock::now()), std::nullopt);
  EXPECT_EQ(child->waitUntil(ChildProcess::Clock::now() + 50ms), std::nullopt);
  EXPECT_TRUE(child->isRunning());
}

TEST(ChildProcess, EndsByAFriendlySignalFirst) {
  StandIn program("once: hang");
  auto child = start(program);
  ASSERT_TRUE(child);
  child->end();
  EXPECT_FALSE(child->isRunning());
  EXPECT_EQ(child->waitUntil(never), 128 + SIGTERM);
  child->end();
  child.reset();
  EXPECT_TRUE(hasNoChild());
}

TEST(ChildProcess, IsKilledWhenItIgnoresTheFriendlySignal) {
  StandIn program;
  program.setScript("once: ignore-term; hold " + (program / "held").string() + "; hang");
  const auto child = start(program);
  ASSERT_TRUE(child);
  ASSERT_TRUE(eventually([&] { return isHeld(program / "held"); }));
  child->end(50ms);
  EXPECT_EQ(child->waitUntil(never), 128 + SIGKILL);
}

TEST(ChildProcess, IsEndedAndReapedWhenItIsLetGo) {
  StandIn program;
  program.setScript("once: ignore-term; hold " + (program / "held").string() + "; hang");
  const int descriptors = openDescriptors();
  auto child = start(program, Stream::pipe, Stream::pipe);
  ASSERT_TRUE(child);
  ASSERT_TRUE(eventually([&] { return isHeld(program / "held"); }));
  child.reset();
  EXPECT_FALSE(isHeld(program / "held"));
  EXPECT_TRUE(hasNoChild());
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(ChildProcess, TakesAlongWhatItStarted) {
  for (const std::string ending : {"hang", "sleep 100; exit 0"}) {
    StandIn program;
    program.setScript("once: grandchild " + (program / "held").string() + "; sleep 100; " + ending);
    const auto child = start(program);
    ASSERT_TRUE(child);
    ASSERT_TRUE(eventually([&] { return isHeld(program / "held"); }));
    if (ending == "hang") {
      child->end();
    } else {
      child->waitUntil(never);
    }
    EXPECT_TRUE(eventually([&] { return !isHeld(program / "held"); })) << ending;
  }
}

TEST(ChildProcess, TakesInputAndGivesOutput) {
  StandIn program;
  program.setScript("1: say first; flood 200000; say end; exit 0");
  const auto child =
      ChildProcess::start({program.path(), {"-stay_open", "True", "-@", "-"}, Stream::pipe, Stream::pipe});
  ASSERT_TRUE(child);
  EXPECT_EQ(child->writeInput("one\n-execute\n", never), 13u);
  const std::string output = readAll(*child);
  EXPECT_EQ(output, "first\n" + std::string(200000, 'x') + "end\n");
  EXPECT_EQ(program.log(), "[session]\none\n-execute\n");
}

TEST(ChildProcess, WritingToOneThatDoesNotReadEndsAtTheDeadline) {
  StandIn program("start: hang");
  const auto child = start(program, Stream::pipe);
  ASSERT_TRUE(child);
  const std::string much(10'000'000, 'x');
  const auto written = child->writeInput(much, ChildProcess::Clock::now() + 50ms);
  EXPECT_GT(written, 0u);
  EXPECT_LT(written, much.size());
  EXPECT_EQ(child->writeInput(much, ChildProcess::Clock::now()), 0u);
}

volatile sig_atomic_t pipeSignals = 0;

TEST(ChildProcess, WritingToADeadOneRaisesNoSignal) {
  const auto handler = ::signal(SIGPIPE, [](int) { pipeSignals = pipeSignals + 1; });
  StandIn program("start: exit 0");
  const auto child = start(program, Stream::pipe);
  ASSERT_TRUE(child);
  child->waitUntil(never);
  EXPECT_EQ(child->writeInput("text", never), 0u);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
  EXPECT_EQ(pipeSignals, 0);
  ::raise(SIGPIPE);
  EXPECT_EQ(pipeSignals, 1) << "signals of others come through as before";
  ::signal(SIGPIPE, handler);
}

TEST(ChildProcess, DiesWithAParentThatIsKilled) {
  for (const std::string way : {"once", "session"}) {
    for (int attempt = 0; attempt < 5; ++attempt) {
      StandIn program;
      program.setScript("start: ignore-term; hold " + (program / "held").string() +
                        "\nonce: hang\n1: marker; hang");
      auto parent = ChildProcess::start({TOLLBROOK_PARENT, {way, program.path().string(), "/photo.jpg"}});
      ASSERT_TRUE(parent);
      ASSERT_TRUE(eventually([&] { return isHeld(program / "held"); }));
      ASSERT_TRUE(parent->isRunning());
      // Letting go of the parent kills it, with its group, to which its child does not belong.
      parent.reset();
      EXPECT_TRUE(eventually([&] { return !isHeld(program / "held"); })) << way;
    }
  }
}

}  // namespace
}  // namespace tollbrook
