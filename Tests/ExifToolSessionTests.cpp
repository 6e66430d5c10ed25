#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <random>
#include <thread>

#include "Support/Fixtures.h"
#include "Support/ReadBack.h"
#include "Support/StandIn.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/ExifToolOutput.h"

namespace tollbrook::ExifTool {
namespace {

using namespace std::chrono_literals;
using test::eventually;
using test::hasNoChild;
using test::isHeld;
using test::metadataOfAll;
using test::metadataValue;
using test::openDescriptors;
using test::readFile;
using test::StandIn;
using test::TemporaryFolder;
using test::tinyJpeg;
using test::writeFile;
using testing::HasSubstr;
using testing::Not;

SidecarData someData() { return {.takenTime = fromEpoch(1425445567)}; }

std::string commandFor(const std::string& file, const SidecarData& data,
                       const std::optional<std::string>& caption) {
  std::string command;
  for (const auto& argument : arguments(data, caption)) command += argument + '\n';
  return command + file + "\n-execute\n";
}

/// The log of one session with these commands and its end.
std::string conversation(const std::string& commands) {
  return "[session]\n" + commands + "-stay_open\nFalse\n";
}

// What exiftool prints.

/// Feeds `text` to an Output in pieces of at most `most` bytes.
std::pair<std::int64_t, bool> answersIn(const std::string& text, std::size_t most) {
  Output output;
  std::int64_t markers = 0;
  for (std::size_t at = 0; at < text.size(); at += most) markers += output.take(text.substr(at, most));
  return {markers, output.lastMarkerConfirmed()};
}

TEST(ExifToolOutput, IsReadTheSameHoweverItIsCut) {
  const std::string spaces(300, ' ');
  const std::vector<std::tuple<std::string, std::int64_t, bool>> cases{
      {"    1 image files updated\n{ready}\n", 1, true},
      {"    0 image files updated\n    1 image files unchanged\n{ready}\n", 1, true},
      {"    0 image files updated\n    1 files weren't updated due to errors\n{ready}\n", 1, false},
      {"   11 image files updated\n{ready}\n", 1, false},
      {"    1 image files updated\n{ready}\n{ready}\n", 2, false},
      {"{ready}\n    1 image files updated\n{ready}\n", 2, true},
      {"    1 image files updated\n{ready}\n    1 image files upda", 1, true},
      {"1 image files updated, it says\n{ready}\n", 1, false},
      {"1 image files updated{ready}", 1, true},
      {"{ready{ready}{ready1}{read", 1, false},
      {std::string(10'000, 'x') + "    1 image files updated\n{ready}", 1, false},
      {spaces + "1 image files updated\n{ready}", 1, false},
      {std::string(10'000, 'x') + "\n1 image files updated\n" + std::string(9999, 'y') + "{ready}", 1, true},
      {"", 0, false},
  };
  for (const auto& [text, markers, confirmed] : cases) {
    for (std::size_t most = 1; most <= text.size() + 1; most = most < 40 ? most + 1 : most * 2) {
      EXPECT_EQ(answersIn(text, most), std::pair(markers, confirmed)) << text.substr(0, 80) << " by " << most;
    }
  }
}

// Starting and ending.

TEST(ExifToolSession, IsStartedAsAnExecutableThatReadsItsArgumentsFromItsInput) {
  StandIn program;
  program.setScript("start: dump " + (program / "dump").string());
  const auto session = Session::start(program.path());
  ASSERT_TRUE(session);
  EXPECT_TRUE(session->isRunning());
  EXPECT_TRUE(session->write("/a.jpg", {}, {}));
  const std::string dump = readFile(program / "dump");
  EXPECT_THAT(dump, HasSubstr("argument: -stay_open\nargument: True\nargument: -@\nargument: -\n"));
  EXPECT_THAT(dump, HasSubstr("streams: pipe pipe null\n"));
}

TEST(ExifToolSession, IsNoneWithoutAProgramThatRuns) {
  TemporaryFolder folder;
  writeFile(folder / "plain", "");
  const int descriptors = openDescriptors();
  EXPECT_EQ(Session::start(std::nullopt), nullptr);
  EXPECT_EQ(Session::start(folder / "missing"), nullptr);
  EXPECT_EQ(Session::start(folder / "plain"), nullptr);
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_TRUE(hasNoChild());
}

TEST(ExifToolSession, OfAProgramThatEndsAtOnceWritesNothing) {
  StandIn program("start: exit 0");
  for (int i = 0; i < 50; ++i) {
    const auto session = Session::start(program.path());
    EXPECT_FALSE(session && session->write("/a.jpg", {}, {}));
  }
  EXPECT_TRUE(hasNoChild());
}

TEST(ExifToolSession, EndsWithTheStopCommand) {
  StandIn program;
  const auto session = Session::start(program.path());
  ASSERT_TRUE(session->write("/a.jpg", someData(), {}));
  session->close();
  EXPECT_FALSE(session->isRunning());
  EXPECT_TRUE(hasNoChild());
  const std::string commands = "[session]\n" + commandFor("/a.jpg", someData(), {});
  // The signal may come before the child has read the command.
  EXPECT_TRUE(program.log() == commands ||
              program.log() == conversation(commandFor("/a.jpg", someData(), {})))
      << program.log();
}

TEST(ExifToolSession, SendsTheStopCommandToAChildThatIgnoresTheSignal) {
  StandIn program("start: ignore-term");
  const auto session = Session::start(program.path());
  ASSERT_TRUE(session->write("/a.jpg", someData(), "x"));
  session->close();
  EXPECT_EQ(program.log(), conversation(commandFor("/a.jpg", someData(), "x")));
}

TEST(ExifToolSession, ThatIsLetGoSendsNoStopCommand) {
  StandIn program;
  auto session = Session::start(program.path());
  ASSERT_TRUE(session->write("/a.jpg", someData(), {}));
  session.reset();
  EXPECT_TRUE(hasNoChild());
  EXPECT_EQ(program.log(), "[session]\n" + commandFor("/a.jpg", someData(), {}));
}

TEST(ExifToolSession, WritesNothingOnceClosed) {
  StandIn program("start: ignore-term");
  const auto session = Session::start(program.path());
  ASSERT_TRUE(session->write("/a.jpg", someData(), {}));
  session->close();
  const std::string log = program.log();
  EXPECT_FALSE(session->write("/b.jpg", someData(), {}));
  EXPECT_FALSE(session->lastWriteConfirmed());
  session->close();
  EXPECT_EQ(program.log(), log);
}

TEST(ExifToolSession, KillsAChildThatIgnoresEverything) {
  StandIn program;
  program.setScript("start: ignore-term; hold " + (program / "held").string() + "; hang");
  const auto session = Session::start(program.path(), 100ms);
  ASSERT_TRUE(eventually([&] { return isHeld(program / "held"); }));
  session->close();
  EXPECT_FALSE(isHeld(program / "held"));
  EXPECT_TRUE(hasNoChild());
}

TEST(ExifToolSession, EndsAChildThatFloodsItsOutputWhileItIsClosed) {
  StandIn program("1: marker; markers 100000; flood 2000000000");
  const auto session = Session::start(program.path());
  EXPECT_TRUE(session->write("/a.jpg", {}, {}));
  session->close();
  EXPECT_TRUE(hasNoChild());
}

TEST(ExifToolSession, ClosesOnlyAfterAWriteThatWaits) {
  StandIn program("1: sleep 300; updated; marker");
  const auto session = Session::start(program.path());
  std::atomic<bool> writing = false;
  std::atomic<bool> written = false;
  std::thread writer([&] {
    writing = true;
    written = session->write("/a.jpg", {}, {});
  });
  // Only when the child has the command is the write certain to hold the session.
  EXPECT_TRUE(eventually([&] { return writing && program.log().ends_with("-execute\n"); }));
  session->close();
  writer.join();
  EXPECT_TRUE(written);
  EXPECT_FALSE(session->write("/b.jpg", {}, {}));
}

TEST(ExifToolSession, TakesOneCommandAtATimeFromManyThreads) {
  StandIn program("start: ignore-term\n*: sleep 1; updated; marker");
  const auto session = Session::start(program.path());
  std::vector<std::thread> threads;
  std::atomic<int> written = 0;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 25; ++i) {
        if (session->write(fmt::format("/{}-{}.jpg", thread, i), someData(), {})) ++written;
        (void)session->isRunning();
        (void)session->lastWriteConfirmed();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  session->close();
  EXPECT_EQ(written, 100);
  std::string log = program.log();
  for (int thread = 0; thread < 4; ++thread) {
    for (int i = 0; i < 25; ++i) {
      EXPECT_THAT(log, HasSubstr(commandFor(fmt::format("/{}-{}.jpg", thread, i), someData(), {})));
    }
  }
}

// Commands.

TEST(ExifToolSession, SendsEachCommandLineByLineInUtf8) {
  StandIn program("start: ignore-term");
  const auto session = Session::start(program.path());
  EXPECT_TRUE(session->write("/Fotos/Zoë 日本 👨‍👩‍👧.jpg", someData(), "Grüße\naus"));
  EXPECT_TRUE(session->write("/not utf-8 \xff.jpg", {}, {}));
  session->close();
  EXPECT_EQ(program.log(),
            conversation(commandFor("/Fotos/Zoë 日本 👨‍👩‍👧.jpg", someData(), "Grüße aus") +
                         commandFor("/not utf-8 \xff.jpg", {}, {})));
}

TEST(ExifToolSession, RefusesAFileThatCannotStandOnALine) {
  StandIn program("start: ignore-term");
  const auto session = Session::start(program.path());
  EXPECT_TRUE(session->write("/good.jpg", {}, {}));
  EXPECT_TRUE(session->lastWriteConfirmed());
  for (const char* name : {"/a\n-execute\n.jpg", "/a.jpeg\r", "", "/x\n"}) {
    EXPECT_FALSE(session->write(name, someData(), {}));
    EXPECT_FALSE(session->lastWriteConfirmed());
  }
  EXPECT_TRUE(session->write("/good.jpg", {}, {})) << "a refusal costs the session nothing";
  session->close();
  EXPECT_EQ(program.log(), conversation(commandFor("/good.jpg", {}, {}) + commandFor("/good.jpg", {}, {})));
}

TEST(ExifToolSession, NamesRelativeFilesByTheirWholePath) {
  StandIn program("start: ignore-term");
  const auto session = Session::start(program.path());
  EXPECT_TRUE(session->write("-ver", {}, {}));
  session->close();
  EXPECT_EQ(program.log(), conversation(commandFor(std::filesystem::current_path() / "-ver", {}, {})));
}

TEST(ExifToolSession, SendsACommandThatIsLargerThanThePipe) {
  StandIn program("start: ignore-term");
  const auto session = Session::start(program.path());
  const std::string caption(3'000'000, 'x');
  EXPECT_TRUE(session->write("/a.jpg", {}, caption));
  session->close();
  EXPECT_EQ(program.log(), conversation(commandFor("/a.jpg", {}, caption)));
}

// Answers.

TEST(ExifToolSession, CountsTheMarkerAloneAsWrittenAndTheCountAsConfirmed) {
  StandIn program(
      "1: updated; marker\n2: unchanged; marker\n3: failed; marker\n4: marker\n5: updated; marker");
  const auto session = Session::start(program.path());
  for (const bool confirmed : {true, true, false, false, true}) {
    EXPECT_TRUE(session->write("/a.jpg", {}, {}));
    EXPECT_EQ(session->lastWriteConfirmed(), confirmed);
  }
}

TEST(ExifToolSession, FindsAMarkerThatArrivesByteByByte) {
  StandIn program("*: updated; split-marker");
  const auto session = Session::start(program.path());
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(session->write("/a.jpg", {}, {}));
    EXPECT_TRUE(session->lastWriteConfirmed());
  }
}

long largestMemory() {
  struct rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST(ExifToolSession, SurvivesAFloodInBoundedMemory) {
  StandIn program("*: flood 200000000; say; updated; marker");
  const auto session = Session::start(program.path());
  const long before = largestMemory();
  EXPECT_TRUE(session->write("/a.jpg", {}, {}));
  EXPECT_TRUE(session->lastWriteConfirmed());
  // Counted in kilobytes on some systems and in bytes on others; the bound is right for both kinds of doubt.
  EXPECT_LT(largestMemory() - before, 40'000) << "of 200 MB";
}

TEST(ExifToolSession, IsFalseAtTheDeadlineWhenNoAnswerComes) {
  StandIn program("1: updated; hang");
  const auto session = Session::start(program.path(), 100ms);
  EXPECT_FALSE(session->write("/a.jpg", {}, {}));
  EXPECT_FALSE(session->lastWriteConfirmed());
  EXPECT_TRUE(session->isRunning());
}

TEST(ExifToolSession, IsFalseAtTheDeadlineWhenTheChildDoesNotRead) {
  StandIn program("start: hang");
  const auto session = Session::start(program.path(), 100ms);
  EXPECT_FALSE(session->write("/a.jpg", {}, std::string(10'000'000, 'x')));
  EXPECT_TRUE(session->isRunning());
  // The rest of the cut command would swallow the next one.
  EXPECT_FALSE(session->write("/b.jpg", {}, {}));
}

TEST(ExifToolSession, SendsNothingAfterACommandThatWasCutShort) {
  StandIn program;
  program.setScript("start: ignore-term; sleep 700");
  const auto session = Session::start(program.path(), 100ms);
  EXPECT_FALSE(session->write("/a.jpg", {}, std::string(10'000'000, 'x')));
  EXPECT_TRUE(eventually([&] { return program.log().size() > 50'000; }));
  EXPECT_FALSE(session->write("/b.jpg", {}, {}));
  session->close();
  EXPECT_THAT(program.log(), Not(HasSubstr("/b.jpg")));
  EXPECT_THAT(program.log(), Not(HasSubstr("-stay_open")));
}

TEST(ExifToolSession, IsFalseAtOnceWhenTheChildDies) {
  StandIn program("1: updated; marker\n2: updated; die");
  const auto session = Session::start(program.path());
  EXPECT_TRUE(session->write("/a.jpg", {}, {}));
  // The limit is 180 seconds: the test's own time limit tells waiting from knowing.
  EXPECT_FALSE(session->write("/b.jpg", {}, {}));
  EXPECT_FALSE(session->lastWriteConfirmed());
  EXPECT_FALSE(session->write("/c.jpg", {}, {}));
  EXPECT_TRUE(eventually([&] { return !session->isRunning(); }));
  session->close();
}

TEST(ExifToolSession, IsTrueForACommandThatWasAnsweredBeforeTheChildDied) {
  StandIn program("1: updated; marker; die");
  const auto session = Session::start(program.path());
  EXPECT_TRUE(session->write("/a.jpg", {}, {}));
  EXPECT_TRUE(session->lastWriteConfirmed());
  EXPECT_FALSE(session->write("/b.jpg", {}, {}));
}

TEST(ExifToolSession, IsFalseAtOnceWhenTheChildClosesItsOutput) {
  StandIn program("1: close-output; hang");
  const auto session = Session::start(program.path());
  EXPECT_FALSE(session->write("/a.jpg", {}, {}));
  EXPECT_FALSE(session->write("/b.jpg", {}, {}));
}

TEST(ExifToolSession, IsFalseAtOnceWhenTheChildDiesWithoutReadingALargeCommand) {
  StandIn program("start: sleep 50; die");
  const auto session = Session::start(program.path());
  ASSERT_TRUE(session);
  EXPECT_FALSE(session->write("/a.jpg", {}, std::string(10'000'000, 'x')));
}

TEST(ExifToolSession, TakesALateMarkerForTheAnswerToTheNextCommand) {
  StandIn program("1: sleep 800; updated; marker\n*: hang");
  const auto session = Session::start(program.path(), 200ms);
  ASSERT_TRUE(eventually([&] { return program.log() == "[session]\n"; }));
  EXPECT_FALSE(session->write("/a.jpg", {}, {}));
  std::this_thread::sleep_for(1500ms);
  EXPECT_TRUE(session->write("/b.jpg", {}, {})) << "commands are not numbered";
  EXPECT_FALSE(session->lastWriteConfirmed()) << "it was the first file that was updated";
  EXPECT_FALSE(session->write("/c.jpg", {}, {}));
}

// Resources.

TEST(ExifToolSession, LeavesNothingBehindOverTenThousandWrites) {
  StandIn program("*: updated; marker");
  const int without = openDescriptors();
  {
    const auto session = Session::start(program.path());
    ASSERT_TRUE(session->write("/a.jpg", {}, {}));
    const int descriptors = openDescriptors();
    for (int i = 0; i < 10'000; ++i) ASSERT_TRUE(session->write("/a.jpg", someData(), "caption")) << i;
    EXPECT_TRUE(session->lastWriteConfirmed());
    EXPECT_EQ(openDescriptors(), descriptors);
    session->close();
  }
  EXPECT_EQ(openDescriptors(), without);
  EXPECT_TRUE(hasNoChild());
}

TEST(ExifToolSession, LeavesNothingBehindOverHundredsOfStarts) {
  StandIn program("1: marker\n2: die");
  const int descriptors = openDescriptors();
  for (int i = 0; i < 300; ++i) {
    const auto session = Session::start(program.path());
    ASSERT_TRUE(session);
    ASSERT_TRUE(session->write("/a.jpg", {}, {}));
    if (i % 3 == 1) {
      ASSERT_FALSE(session->write("/a.jpg", {}, {}));
    }
    if (i % 3 == 2) session->close();
  }
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_TRUE(hasNoChild());
}

TEST(ExifToolSession, OutlivesTheThreadThatStartedIt) {
  StandIn program;
  std::unique_ptr<Session> session;
  std::thread([&] { session = Session::start(program.path()); }).join();
  ASSERT_TRUE(session);
  std::this_thread::sleep_for(50ms);
  EXPECT_TRUE(session->write("/a.jpg", {}, {}));
}

TEST(ExifToolSession, WaitsWithoutWorking) {
  StandIn program("1: sleep 1000; marker");
  const auto session = Session::start(program.path());
  struct rusage before = {};
  struct rusage after = {};
  getrusage(RUSAGE_SELF, &before);
  EXPECT_TRUE(session->write("/a.jpg", {}, {}));
  getrusage(RUSAGE_SELF, &after);
  const auto microseconds = [](const timeval& time) { return time.tv_sec * 1'000'000 + time.tv_usec; };
  EXPECT_LT(microseconds(after.ru_utime) + microseconds(after.ru_stime) - microseconds(before.ru_utime) -
                microseconds(before.ru_stime),
            300'000);
}

// The real one.

TEST(RealExifToolSession, WritesPhotosThatReadBack) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  TemporaryFolder folder;
  const auto session = Session::start();
  ASSERT_TRUE(session);
  std::vector<std::filesystem::path> files;
  for (const char* name : {"a.jpg", "#b.jpg", " c .jpg", "Zoë 日本.jpg", "%d [x]*.jpg", "-Artist=x"}) {
    files.push_back(folder / name);
    writeFile(files.back(), tinyJpeg());
    EXPECT_TRUE(session->write(files.back(), someData(), "Zoë\nat sea")) << name;
    EXPECT_TRUE(session->lastWriteConfirmed()) << name;
    EXPECT_TRUE(session->write(files.back(), someData(), "Zoë\nat sea")) << name;
    EXPECT_TRUE(session->lastWriteConfirmed()) << name;
  }
  files.push_back(folder / "v.mp4");
  test::writeMp4(files.back(), 5000);
  EXPECT_TRUE(session->write(files.back(), someData(), {}));
  EXPECT_TRUE(session->lastWriteConfirmed());
  session->close();
  auto all = metadataOfAll(files);
  EXPECT_EQ(metadataValue(all.back(), "QuickTime:CreateDate"), "2015:03:04 05:06:07+00:00");
  all.pop_back();
  for (const auto& metadata : all) {
    const auto name = metadataValue(metadata, "System:FileName");
    EXPECT_EQ(metadataValue(metadata, "ExifIFD:DateTimeOriginal"), "2015:03:04 05:06:07") << name;
    EXPECT_EQ(metadataValue(metadata, "IFD0:ImageDescription"), "Zoë at sea") << name;
    EXPECT_EQ(metadataValue(metadata, "IFD0:Artist"), "") << name;
  }
}

TEST(RealExifToolSession, TakesACaptionForNothingElse) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  TemporaryFolder folder;
  const auto session = Session::start();
  ASSERT_TRUE(session);
  writeFile(folder / "secret", "secret");
  const std::string secret = folder / "secret";
  const std::vector<std::string> captions{"<=" + secret, "x<=" + secret, "<FileName",  "a>b",      "@",
                                          "-=1",         "=x",           "+=x",        "$Make",    "{ready}",
                                          "-execute",    "#comment",     "#[CSTR]\\n", "x\n-o\ny", "%f"};
  std::vector<std::filesystem::path> files;
  for (const std::string& caption : captions) {
    files.push_back(folder / (std::to_string(files.size()) + ".jpg"));
    writeFile(files.back(), tinyJpeg());
    EXPECT_TRUE(session->write(files.back(), {}, caption)) << caption;
    EXPECT_TRUE(session->lastWriteConfirmed()) << caption;
  }
  const auto all = metadataOfAll(files);
  for (std::size_t i = 0; i < captions.size(); ++i) {
    std::string expected = captions[i];
    std::replace(expected.begin(), expected.end(), '\n', ' ');
    EXPECT_EQ(metadataValue(all[i], "IFD0:ImageDescription"), expected);
    EXPECT_EQ(metadataValue(all[i], "IPTC:Caption-Abstract"), expected);
  }
}

TEST(RealExifToolSession, AnswersWithoutConfirmingWhatItCannotWrite) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  TemporaryFolder folder;
  const auto session = Session::start();
  ASSERT_TRUE(session);
  for (const char* name : {"text.jpg", "text.mkv", "empty.png"}) {
    writeFile(folder / name, name);
    EXPECT_TRUE(session->write(folder / name, someData(), {})) << name;
    EXPECT_FALSE(session->lastWriteConfirmed()) << name;
    EXPECT_EQ(readFile(folder / name), name);
  }
  EXPECT_TRUE(session->write(folder / "missing.jpg", someData(), {}));
  EXPECT_FALSE(session->lastWriteConfirmed());
}

}  // namespace
}  // namespace tollbrook::ExifTool
