#include <gmock/gmock.h>
#include <signal.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <set>
#include <sstream>

#include "Desktop/Support/AppTest.h"
#include "Desktop/Support/Application.h"
#include "Support/CommandLine.h"
#include "Support/Fixtures.h"
#include "Support/ReadBack.h"
#include "Support/StandIn.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook {
namespace {

using test::Application;
using test::eventually;
using test::FolderLock;
using test::hasTakenDate;
using test::Program;
using test::Trace;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Notes what is opened in a folder from now on, by any program.
class OpenedIn {
 public:
  explicit OpenedIn(const path& folder) : events_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    EXPECT_GE(inotify_add_watch(events_.get(), folder.c_str(), IN_OPEN), 0);
  }

  // Whether this file was opened; with an empty name, the folder itself.
  bool has(const std::string& name) {
    alignas(inotify_event) std::array<char, 4096> buffer;
    for (ssize_t size; (size = read(events_.get(), buffer.data(), buffer.size())) > 0;) {
      for (const char* at = buffer.data(); at < buffer.data() + size;) {
        const auto& event = *reinterpret_cast<const inotify_event*>(at);
        names_.insert(event.len > 0 ? event.name : "");
        at += sizeof event + event.len;
      }
    }
    return names_.contains(name);
  }

 private:
  const Files::Descriptor events_;
  std::set<std::string> names_;
};

// The processes that a program has started and that have not ended.
std::vector<pid_t> childrenOf(const Program& program) {
  std::vector<pid_t> children;
  const path threads = "/proc/" + std::to_string(program.process()) + "/task";
  for (const auto& thread : std::filesystem::directory_iterator(threads)) {
    std::ifstream list(thread.path() / "children");
    for (pid_t child; list >> child;) children.push_back(child);
  }
  return children;
}

// Drives the built program, without a display, from outside.
class ApplicationTest : public test::PhotosTest {
 protected:
  // An unfinished job in the application's own store, which it continues when it starts.
  void leaveUnfinishedJob() const {
    JobJournal::setBaseDirectoryOverride(application_.data() / "Tollbrook/jobs");
    PhotosTest::leaveUnfinishedJob(true, test::datesOnly());
  }

  // Whether the program ended by itself, and well.
  static testing::AssertionResult endedWell(Program& program) {
    const Program::Result result = program.wait(std::chrono::seconds(60));
    if (result.status == 0) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "status " << result.status << ": " << result.errors;
  }

  const Application application_;
};

TEST_F(ApplicationTest, ContinuesUnfinishedWorkAndEndsWhenItIsTold) {
  const path photo = addPair("a.jpg");
  leaveUnfinishedJob();
  const auto program = application_.start();
  EXPECT_TRUE(eventually([this] { return application_.phase(root()) == JobJournal::Phase::complete; }));
  program->send(SIGTERM);
  EXPECT_TRUE(endedWell(*program));
  EXPECT_TRUE(hasTakenDate(photo));
}

TEST_F(ApplicationTest, FinishesTheFileInHandWhenItIsTerminated) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const path videos[] = {addLongVideo("a.mp4"), addLongVideo("b.mp4")};
  JobJournal::setBaseDirectoryOverride(application_.data() / "Tollbrook/jobs");
  PhotosTest::leaveUnfinishedJob(true, defaultRestoreOptions());
  const auto program = application_.start();
  ASSERT_TRUE(eventually([&] { return test::isBeingWritten(videos[0]) || test::isBeingWritten(videos[1]); }));
  program->send(SIGTERM);
  EXPECT_TRUE(endedWell(*program));
  EXPECT_EQ(application_.finishedCount(root()), 1U);
  EXPECT_EQ(application_.phase(root()), JobJournal::Phase::writing);
}

TEST_F(ApplicationTest, EndsWithoutTheFileInHandWhenExifToolHangs) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const path video = addLongVideo("a.mp4");
  JobJournal::setBaseDirectoryOverride(application_.data() / "Tollbrook/jobs");
  PhotosTest::leaveUnfinishedJob(true, defaultRestoreOptions());
  Program::Call call = application_.call({});
  call.program = TOLLBROOK_IMPATIENT_APPLICATION;
  Program program(call);
  ASSERT_TRUE(eventually([&] { return test::isBeingWritten(video); }));
  const std::vector<pid_t> children = childrenOf(program);
  ASSERT_EQ(children.size(), 1U);
  kill(children[0], SIGSTOP);
  ASSERT_TRUE(test::isBeingWritten(video));
  program.send(SIGTERM);
  EXPECT_TRUE(endedWell(program));
  EXPECT_EQ(application_.finishedCount(root()), 0U);
  EXPECT_EQ(application_.phase(root()), JobJournal::Phase::writing);
  EXPECT_TRUE(eventually([&] { return kill(children[0], 0) != 0; }));
}

TEST_F(ApplicationTest, LeavesAnUnfinishedJobAloneWhenItIsStartedWithAFolder) {
  const path photo = addPair("a.jpg");
  leaveUnfinishedJob();
  const path first = temporary_ / "first";
  const path second = temporary_ / "second";
  for (const path& folder : {first, second}) std::filesystem::create_directory(folder);
  // A run that was continued would wait for this and be busy for good.
  const FolderLock lock(root());
  const auto program = application_.start({first.string()});
  ASSERT_TRUE(eventually([this] { return application_.listens(); }));
  // Once it has scanned the first folder it takes the second, behind whatever it looks at when it starts.
  OpenedIn opened(second);
  ASSERT_TRUE(eventually([&] { return application_.run({second.string()}).status == 0; }));
  EXPECT_TRUE(eventually([&] { return opened.has(""); }));
  EXPECT_FALSE(application_.isRunning(root()));
  program->send(SIGTERM);
  EXPECT_TRUE(endedWell(*program));
  EXPECT_FALSE(hasTakenDate(photo));
}

TEST_F(ApplicationTest, GivesItsFolderToTheWindowThatIsOpen) {
  const auto first = application_.start();
  ASSERT_TRUE(eventually([this] { return application_.listens(); }));
  OpenedIn opened(root());
  const Program::Result second = application_.run({root().string()});
  EXPECT_EQ(second.status, 0) << second.errors;
  EXPECT_TRUE(eventually([&] { return opened.has(""); }));
  EXPECT_TRUE(first->isRunning());
  first->send(SIGTERM);
  EXPECT_TRUE(endedWell(*first));
}

TEST_F(ApplicationTest, SaysThatTheWindowThatIsOpenIsBusy) {
  addPair("a.jpg");
  leaveUnfinishedJob();
  const FolderLock lock(root());
  OpenedIn opened(root());
  const auto first = application_.start();
  ASSERT_TRUE(eventually([this] { return application_.listens(); }));
  // The window knows of the run before that reads its first sidecar.
  ASSERT_TRUE(eventually([&] { return opened.has(test::sidecarOf("a.jpg")); }));
  const Program::Result second = application_.run({temporary_.path().string()});
  EXPECT_EQ(second.status, 1);
  EXPECT_THAT(second.errors, HasSubstr("its window is busy with another folder"));
  first->send(SIGTERM);
  EXPECT_TRUE(endedWell(*first));
}

TEST_F(ApplicationTest, GoesOnWhenItIsStartedAgainWhileItCloses) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const path videos[] = {addLongVideo("a.mp4"), addLongVideo("b.mp4")};
  JobJournal::setBaseDirectoryOverride(application_.data() / "Tollbrook/jobs");
  PhotosTest::leaveUnfinishedJob(true, defaultRestoreOptions());
  const auto first = application_.start();
  ASSERT_TRUE(eventually([&] { return test::isBeingWritten(videos[0]) || test::isBeingWritten(videos[1]); }));
  first->send(SIGTERM);
  const auto second = application_.start();
  EXPECT_TRUE(endedWell(*first));
  EXPECT_TRUE(eventually([this] { return application_.phase(root()) == JobJournal::Phase::complete; }));
  EXPECT_EQ(application_.finishedCount(root()), 2U);
  EXPECT_TRUE(second->isRunning());
  second->send(SIGTERM);
  EXPECT_TRUE(endedWell(*second));
}

TEST_F(ApplicationTest, RefusesAFolderThatIsNotThere) {
  const Program::Result result = application_.run({(root() / "gone").string()});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, HasSubstr("gone: No such file or directory"));
}

TEST_F(ApplicationTest, RefusesTwoFolders) {
  EXPECT_EQ(application_.run({root().string(), root().string()}).status, 2);
}

TEST_F(ApplicationTest, RefusesAFolderWithoutAName) {
  const Program::Result result = application_.run({""});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.errors, "Tollbrook: the folder's name is empty\n");
}

TEST_F(ApplicationTest, TakesTheFolderOnEitherSideOfTheEndOfOptions) {
  for (const auto& arguments : {std::vector<std::string>{"gone", "--"}, {"--", "gone"}, {"--", "--gone"}}) {
    const Program::Result result = application_.run(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.errors, HasSubstr("gone: No such file or directory"));
  }
}

TEST_F(ApplicationTest, AnswersWithoutADisplay) {
  for (const std::string option : {"--help", "-h", "--version", "-v"}) {
    Program::Call call = application_.call({option});
    for (auto& [name, value] : call.environment) {
      if (name == "QT_QPA_PLATFORM") value = "none-such";
    }
    const Program::Result result = Program::run(call);
    EXPECT_EQ(result.status, 0) << option << result.errors;
    EXPECT_THAT(result.output, HasSubstr("Tollbrook"));
    if (option == "--help") {
      EXPECT_THAT(result.output, HasSubstr("Started without one"));
    }
  }
}

TEST_F(ApplicationTest, DoesNoFileWorkOnItsMainThread) {
  if (!Trace::isPossible())
    GTEST_SKIP() << "strace is not installed or may not trace: nothing was tested here";
  addPairs(30);
  leaveUnfinishedJob();
  const Trace trace(application_.call({}));
  ASSERT_TRUE(eventually([this] { return application_.phase(root()) == JobJournal::Phase::complete; }));
  EXPECT_TRUE(trace.end());
  for (const path& place : {root(), application_.data() / "Tollbrook"}) {
    EXPECT_THAT(trace.callsOfMainThread(place), IsEmpty());
    EXPECT_TRUE(trace.hasOpened(place));
  }
}

TEST_F(ApplicationTest, LooksOnItsMainThreadOnlyAtTheFolderThatItIsStartedWith) {
  if (!Trace::isPossible())
    GTEST_SKIP() << "strace is not installed or may not trace: nothing was tested here";
  addPairs(30);
  const path other = temporary_ / "other";
  test::writePair(other / "a.jpg", test::tinyJpeg(), {});
  const Trace trace(application_.call({root().string()}));
  ASSERT_TRUE(eventually([&] { return trace.hasOpened(root()); }));
  // It goes the way of a drop.
  ASSERT_TRUE(eventually([&] { return application_.run({other.string()}).status == 0; }));
  ASSERT_TRUE(eventually([&] { return trace.hasOpened(other); }));
  EXPECT_TRUE(trace.end());
  EXPECT_THAT(trace.callsOfMainThread(root()), ElementsAre(HasSubstr("stat")));
  EXPECT_THAT(trace.callsOfMainThread(other), IsEmpty());
  EXPECT_THAT(trace.callsOfMainThread(application_.data() / "Tollbrook"), IsEmpty());
}

}  // namespace
}  // namespace tollbrook
