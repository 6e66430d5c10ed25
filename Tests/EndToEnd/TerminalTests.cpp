#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <thread>

#include "Support/CommandLine.h"
#include "Support/Fixtures.h"
#include "Support/Sidecars.h"
#include "Support/StandIn.h"

/// Where the output goes: a terminal, a pipe whose reader left, a full disk.
namespace tollbrook::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string eraseLine = "\r\x1b[K";

// A terminal, and everything that programs print on it.
class Terminal {
 public:
  explicit Terminal(unsigned short columns) : own_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    EXPECT_EQ(grantpt(own_), 0);
    EXPECT_EQ(unlockpt(own_), 0);
    programs_ = open(ptsname(own_), O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_GE(programs_, 0);
    const winsize size{.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    EXPECT_EQ(ioctl(programs_, TIOCSWINSZ, &size), 0);
  }
  ~Terminal() {
    hangUp();
    close(own_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  int descriptor() const { return programs_; }

  // What came until the last program closed it.
  std::string everything() {
    hangUp();
    std::string text;
    std::array<char, 4096> piece{};
    for (ssize_t count; (count = read(own_, piece.data(), piece.size())) > 0;) {
      text.append(piece.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  void hangUp() {
    if (programs_ >= 0) close(programs_);
    programs_ = -1;
  }

  int own_;
  int programs_ = -1;
};

// What is drawn between two erasures of the line.
std::vector<std::string> drawings(const std::string& text) {
  std::vector<std::string> result;
  std::size_t at = text.find(eraseLine);
  while (at != std::string::npos) {
    at += eraseLine.size();
    const std::size_t end = text.find(eraseLine, at);
    result.push_back(text.substr(at, end == std::string::npos ? end : end - at));
    at = end;
  }
  return result;
}

class TerminalTest : public testing::Test {
 protected:
  TerminalTest() { std::filesystem::create_directory(place); }

  // Standard output and standard error of a call as a terminal shows them.
  std::string shownBy(Program::Call call, unsigned short columns = 80) const {
    Terminal terminal(columns);
    call.output = call.errors = terminal.descriptor();
    Program program(call);
    std::string text = terminal.everything();
    EXPECT_EQ(program.wait().status, 0) << text;
    return text;
  }

  // The write's progress on a terminal, its other output apart.
  std::string progressOf(std::vector<std::string> arguments, unsigned short columns = 80) const {
    auto call = tool.call(std::move(arguments));
    Terminal terminal(columns);
    call.errors = terminal.descriptor();
    Program program(call);
    std::string text = terminal.everything();
    EXPECT_EQ(program.wait().status, 0) << text;
    return text;
  }

  const TemporaryFolder folder;
  const std::filesystem::path place = folder / "export";
  const CommandLine tool;
};

TEST_F(TerminalTest, ColoursAreForTerminalsOnly) {
  writePair(place / "a.jpg", tinyJpeg());
  writeFile(place / "b.jpg", tinyJpeg());
  const auto call = tool.call({"scan", place.string()});
  EXPECT_THAT(shownBy(call), HasSubstr("\x1b[32mready\x1b[0m"));
  EXPECT_THAT(shownBy(call), HasSubstr("\x1b[33mno sidecar\x1b[0m"));
  EXPECT_THAT(Program::run(call).output, Not(HasSubstr("\x1b")));
}

TEST_F(TerminalTest, NoColorIsObeyed) {
  writePair(place / "a.jpg", tinyJpeg());
  auto call = tool.call({"scan", place.string(), "--limit", "1"});
  std::erase_if(call.environment, [](const auto& entry) { return entry.first == "NO_COLOR"; });
  auto empty = call;
  call.environment.emplace_back("NO_COLOR", "1");
  EXPECT_THAT(shownBy(call), Not(HasSubstr("\x1b[32m")));
  // Only a value that is not empty counts (no-color.org).
  empty.environment.emplace_back("NO_COLOR", "");
  EXPECT_THAT(shownBy(empty), HasSubstr("\x1b[32m"));
}

TEST_F(TerminalTest, AJsonDocumentHasNoColours) {
  writePair(place / "a.jpg", tinyJpeg());
  EXPECT_EQ(tool.run({"write", place.string(), "--no-embedded"}).status, 0);
  for (const auto& arguments :
       {std::vector<std::string>{"scan", "--json", place.string()}, {"jobs", "--json"}}) {
    auto call = tool.call(arguments);
    Terminal terminal(80);
    call.output = terminal.descriptor();
    Program program(call);
    const std::string text = terminal.everything();
    EXPECT_EQ(program.wait().status, 0);
    EXPECT_TRUE(oneDocument(text).is_object());
  }
}

TEST_F(TerminalTest, ProgressIsOneLineThatIsDrawnAgainAndTakenOff) {
  writePair(place / "photo.jpg", tinyJpeg());
  const std::string text = progressOf({"write", place.string(), "--no-embedded"});
  const auto drawn = drawings(text);
  ASSERT_GE(drawn.size(), 2u) << text;
  EXPECT_THAT(text, StartsWith(eraseLine));
  EXPECT_THAT(drawn[0], StartsWith("[####################] 1/1  "));
  EXPECT_THAT(drawn[0], HasSubstr(" files/s  "));
  EXPECT_THAT(drawn[0], HasSubstr(" left  photo.jpg"));
  EXPECT_EQ(drawn.back(), "") << "nothing is left of it";
  EXPECT_THAT(text, Not(HasSubstr("\n")));
}

TEST_F(TerminalTest, ProgressIsCutToTheWidthOfTheTerminal) {
  // Characters of two columns.
  std::string name;
  for (int count = 0; count < 60; ++count) name += "\xe9\x95\xb7";
  writePair(place / (name + ".jpg"), tinyJpeg());
  const auto drawn = drawings(progressOf({"write", place.string(), "--no-embedded"}, 60));
  ASSERT_GE(drawn.size(), 2u);
  const std::string& line = drawn[0];
  const std::size_t at = line.find("left  ");
  ASSERT_NE(at, std::string::npos) << line;
  const std::size_t before = at + 6;
  ASSERT_EQ((line.size() - before) % 3, 0u) << "no character is cut in two";
  const std::size_t columns = before + (line.size() - before) / 3 * 2;
  EXPECT_LT(columns, 60u) << line;
  EXPECT_GE(columns, 58u) << line;
  for (const unsigned short width : std::initializer_list<unsigned short>{1, 2, 10}) {
    EXPECT_EQ(tool.run({"forget", place.string()}).status, 0);
    const auto narrow =
        drawings(progressOf({"write", place.string(), "--no-embedded", "--rewrite-matching"}, width));
    ASSERT_GE(narrow.size(), 1u);
    EXPECT_LT(narrow[0].size(), width);
  }
}

TEST_F(TerminalTest, ControlCharactersInNamesNeverReachTheTerminal) {
  const std::string name =
      "a\x1b[31mb\rc\nd\x07"
      "e\x7f"
      "f\xc2\x9b"
      "g\xff.jpg";
  const std::string shown =
      "a\\x1b[31mb\\x0dc\\nd\\x07"
      "e\\x7f"
      "f\\u009bg\xef\xbf\xbd.jpg";
  try {
    writePair(place / name, tinyJpeg());
  } catch (const std::exception&) {
    GTEST_SKIP() << "this file system takes no such name: nothing was tested here";
  }
  EXPECT_THAT(shownBy(tool.call({"scan", place.string()}), 200), HasSubstr("  " + shown + "\x1b"));
  const std::string progress = progressOf({"write", place.string(), "--no-embedded"}, 200);
  EXPECT_THAT(progress, HasSubstr("left  " + shown + eraseLine));
  EXPECT_EQ(tool.run({"forget", place.string()}).status, 0);
  const auto failed =
      tool.run({"write", place.string(), "--no-embedded", "--no-file-dates", "--rewrite-matching"});
  EXPECT_EQ(failed.errors, "tollbrook-cli: " + shown + ": Nothing was written\n");
}

TEST_F(TerminalTest, QuietShowsNoProgress) {
  writePair(place / "a.jpg", tinyJpeg());
  EXPECT_EQ(progressOf({"write", place.string(), "--no-embedded", "--quiet"}), "");
  EXPECT_EQ(progressOf({"resume", "--quiet"}), "");
}

TEST_F(TerminalTest, AJsonRunShowsItsProgressToo) {
  writePair(place / "a.jpg", tinyJpeg());
  EXPECT_THAT(progressOf({"write", place.string(), "--no-embedded", "--json"}), HasSubstr("1/1"));
}

TEST_F(TerminalTest, WithoutATerminalProgressIsALineEveryFewSeconds) {
  writePair(place / "a.jpg", tinyJpeg());
  EXPECT_EQ(tool.run({"write", place.string(), "--no-embedded"}).errors, "") << "a short run needs none";
  writePair(place / "b.jpg", tinyJpeg());
  FolderLock lock(place);
  Program program(tool.call({"write", place.string(), "--no-embedded"}));
  // A complete job is unfinished again when the run is at its first new file.
  ASSERT_TRUE(eventually([&] { return tool.phase() == "writing"; }));
  // The lines stand five seconds apart: nothing but that time brings the first.
  std::this_thread::sleep_for(std::chrono::milliseconds(5100));
  lock.release();
  const auto result = program.wait();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "1 dated · 1 already finished\n");
  const auto shown = lines(result.errors);
  ASSERT_EQ(shown.size(), 2u) << result.errors;
  // Which of the two comes first is up to the file system.
  EXPECT_THAT(shown[0], testing::ContainsRegex("^\\[#+\\.*\\] [12]/2  "));
  EXPECT_THAT(shown[0], HasSubstr(" files/s  "));
  EXPECT_THAT(shown[1], StartsWith("tollbrook-cli: 1 file was passed over"));
  EXPECT_THAT(result.errors, Not(HasSubstr("\x1b")));
  EXPECT_THAT(result.errors, Not(HasSubstr("\r")));
}

// The end of a pipe from which nobody will read.
int closedPipe() {
  int ends[2];
  if (pipe(ends) != 0) return -1;
  close(ends[0]);
  fcntl(ends[1], F_SETFD, FD_CLOEXEC);
  return ends[1];
}

TEST_F(TerminalTest, AReaderWhoLeavesEndsAScanQuietly) {
  for (int number = 0; number < 2000; ++number) writeFile(place / (std::to_string(number) + ".jpg"), "");
  for (const bool json : {false, true}) {
    auto call = tool.call({"scan", place.string()});
    if (json) call.arguments.emplace_back("--json");
    call.output = closedPipe();
    const auto result = Program::run(call);
    close(call.output);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
  }
  const auto head =
      Program::run({"sh", {"-c", "\"$0\" scan \"$1\" | head -n 1", TOLLBROOK_CLI, place.string()}});
  EXPECT_EQ(lines(head.output).size(), 1u);
  EXPECT_EQ(head.errors, "");
}

TEST_F(TerminalTest, AReaderWhoLeavesDoesNotStopAWrite) {
  for (const char* name : {"a.jpg", "b.jpg"}) writePair(place / name, tinyJpeg());
  auto call = tool.call({"write", place.string(), "--no-embedded"});
  call.output = call.errors = closedPipe();
  EXPECT_EQ(Program::run(call).status, 0);
  close(call.output);
  EXPECT_EQ(modificationDate(place / "a.jpg"), 1425445567);
  EXPECT_EQ(modificationDate(place / "b.jpg"), 1425445567);
  EXPECT_EQ(tool.phase(), "complete");
}

TEST_F(TerminalTest, AFullDiskUnderStandardOutputIsReported) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  if (full < 0) GTEST_SKIP() << "there is no /dev/full here: nothing was tested";
  writePair(place / "a.jpg", tinyJpeg());
  const std::string line = "tollbrook-cli: cannot write to standard output: No space left on device\n";
  for (const auto& arguments : {std::vector<std::string>{"--help"},
                                {"--version"},
                                {"scan", place.string()},
                                {"scan", place.string(), "--json"},
                                {"write", place.string(), "--no-embedded"},
                                {"jobs"},
                                {"resume"},
                                {"forget", place.string()}}) {
    auto call = tool.call(arguments);
    call.output = full;
    const auto result = Program::run(call);
    EXPECT_EQ(result.status, 2) << arguments[0];
    EXPECT_EQ(result.errors, line) << arguments[0];
  }
  close(full);
  EXPECT_EQ(modificationDate(place / "a.jpg"), 1425445567) << "the work itself was done";
}

}  // namespace
}  // namespace tollbrook::test
