#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "Support/Fixtures.h"
#include "Support/OrdinaryUser.h"
#include "Support/Sidecars.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/CancelFlag.h"
#include "TollbrookCore/Support/Platform.h"
#include "TollbrookCore/WorkRunner.h"

namespace tollbrook {
namespace {

using std::filesystem::path;
using test::sidecarOf;
using test::writeFile;
using test::writePair;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

const auto never = [] { return false; };
constexpr double taken = 1425445567;

// A folder of photos and a job store of its own.
class WorkRunnerTest : public testing::Test {
 protected:
  WorkRunnerTest() {
    JobJournal::setBaseDirectoryOverride(store_.path());
    options.writeEmbedded = false;
    writer.exifTool.reset();
  }
  ~WorkRunnerTest() override { JobJournal::setBaseDirectoryOverride(std::nullopt); }

  path operator/(std::string_view name) const { return folder_ / name; }
  path root() const { return folder_.path(); }
  path store() const { return store_.path(); }

  RestoreOutcome run(const std::function<bool()>& shouldCancel = never,
                     const std::function<void(const WorkProgress&)>& progress = {}) {
    const auto journal = JobJournal::open(root(), true, options);
    return WorkRunner::run(root(), true, options, *journal, 7, shouldCancel, progress, writer);
  }

  JobJournal::Record record() const {
    const auto text = test::readFile(store_ / JobJournal::id(root()) / "job.json");
    return JobJournal::decode(text).value();
  }
  std::string doneLog() const { return test::readFile(store_ / JobJournal::id(root()) / "done.log"); }

  // An exiftool of a few lines of shell, run once per file.
  void useExifTool(const std::string& script) {
    const path tool = tools_ / "exiftool";
    writeFile(tool, "#!/bin/sh\nfor file; do :; done\n" + script);
    ASSERT_EQ(chmod(tool.c_str(), 0755), 0);
    writer.exifTool = tool;
    writer.useSession = false;
    options.writeEmbedded = true;
  }

  RestoreOptions options = defaultRestoreOptions();
  EmbeddedWriter::Settings writer;

 private:
  test::TemporaryFolder folder_;
  test::TemporaryFolder store_;
  test::TemporaryFolder tools_;
};

TEST_F(WorkRunnerTest, SetsTheDatesOfEveryFileWithASidecar) {
  writePair(*this / "a.jpg", "x");
  writePair(*this / "sub/b.mov", "x");
  writeFile(*this / "c.jpg", "x");
  const RestoreOutcome outcome = run();
  EXPECT_EQ(outcome.attempted, 2);
  EXPECT_EQ(outcome.datesSet, 2);
  EXPECT_EQ(outcome.failed, 0);
  EXPECT_FALSE(outcome.cancelled);
  EXPECT_EQ(Platform::fileDates(*this / "a.jpg").modification, fromEpoch(taken));
  EXPECT_EQ(Platform::fileDates(*this / "sub/b.mov").modification, fromEpoch(taken));
  EXPECT_EQ(record().phase, JobJournal::Phase::complete);
  EXPECT_NE(doneLog().find("\nsub/b.mov\n"), std::string::npos);
}

TEST_F(WorkRunnerTest, CountsFilesThatTheJobListsAsFinished) {
  writePair(*this / "a.jpg", "x");
  writePair(*this / "b.jpg", "x");
  run();
  ASSERT_FALSE(Platform::setFileDates(*this / "a.jpg", fromEpoch(5)));
  WorkProgress last;
  const RestoreOutcome outcome = run(never, [&](const WorkProgress& progress) { last = progress; });
  EXPECT_EQ(outcome.alreadyDone, 2);
  EXPECT_EQ(outcome.attempted, 0);
  EXPECT_EQ(last.skipped, 2);
  EXPECT_EQ(last.seen, 2);
  EXPECT_EQ(last.total, 7);
  EXPECT_EQ(record().phase, JobJournal::Phase::complete);
  EXPECT_EQ(Platform::fileDates(*this / "a.jpg").modification, fromEpoch(5));
}

TEST_F(WorkRunnerTest, WithNothingToWriteEveryFileFailsAndStaysUnmarked) {
  options.writeFileDates = false;
  writePair(*this / "sub/a.jpg", "x");
  const RestoreOutcome outcome = run();
  EXPECT_EQ(outcome.attempted, 1);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(outcome.errors, ElementsAre("sub/a.jpg: Nothing was written"));
  EXPECT_EQ(doneLog(), "v1\n");
}

TEST_F(WorkRunnerTest, ACaptionWithoutTimeFailsWhereOnlyDatesAreWritten) {
  writePair(*this / "a.jpg", "x", {.takenTime = std::nullopt, .caption = "c"});
  EXPECT_THAT(run().errors, ElementsAre("a.jpg: Nothing was written"));
}

TEST_F(WorkRunnerTest, AFileWhoseEmbeddedWriteFailsIsWrittenWhenItsDatesAreSet) {
  options.writeEmbedded = true;
  writePair(*this / "a.mov", "x");
  const RestoreOutcome outcome = run();
  EXPECT_EQ(outcome.datesSet, 1);
  EXPECT_EQ(outcome.embeddedWritten, 0);
  EXPECT_EQ(outcome.failed, 0);
  EXPECT_THAT(outcome.errors, IsEmpty());
}

TEST_F(WorkRunnerTest, SkipsFilesWhoseDatesMatchAndMarksThemDone) {
  writePair(*this / "a.jpg", "x");
  ASSERT_FALSE(Platform::setFileDates(*this / "a.jpg", fromEpoch(taken + 1.5)));
  const RestoreOutcome outcome = run();
  EXPECT_EQ(outcome.attempted, 1);
  EXPECT_EQ(outcome.skipped, 1);
  EXPECT_EQ(outcome.datesSet, 0);
  EXPECT_EQ(doneLog(), "v1\na.jpg\n");
}

TEST_F(WorkRunnerTest, CountsTheTwoHundredAndFirstErrorWithoutListingIt) {
  options.writeFileDates = false;
  for (int i = 0; i < 201; ++i) writePair(*this / ("p" + std::to_string(i) + ".jpg"), "x");
  const RestoreOutcome outcome = run();
  EXPECT_EQ(outcome.failed, 201);
  EXPECT_EQ(outcome.errors.size(), 200u);
}

TEST_F(WorkRunnerTest, MarksAFileWithoutUsableSidecarDoneSoThatALaterSidecarIsNotSeen) {
  writeFile(*this / "a.jpg", "x");
  writeFile(*this / "b.jpg", "x");
  writeFile(*this / "b.jpg.json", "not json");
  writePair(*this / "c.jpg", "x", {.takenTime = std::nullopt, .title = "c.jpg"});
  EXPECT_EQ(run().attempted, 0);
  writePair(*this / "a.jpg", "x");
  EXPECT_EQ(run().alreadyDone, 3);
}

TEST_F(WorkRunnerTest, AFailedFileIsTriedAgain) {
  options.writeFileDates = false;
  writePair(*this / "a.jpg", "x");
  EXPECT_EQ(run().failed, 1);
  options.writeFileDates = true;
  EXPECT_EQ(run().datesSet, 1);
}

TEST_F(WorkRunnerTest, FinishesTheFileInHandWhenCancelledAndGoesOnLater) {
  for (int i = 0; i < 20; ++i) writePair(*this / ("p" + std::to_string(i) + ".jpg"), "x");
  CancelFlag flag;
  const RestoreOutcome first = run([&] { return flag.isSet(); },
                                   [&](const WorkProgress& progress) {
                                     if (progress.seen == 5) flag.cancel();
                                   });
  EXPECT_TRUE(first.cancelled);
  EXPECT_EQ(first.datesSet, 5);
  EXPECT_EQ(record().phase, JobJournal::Phase::writing);
  EXPECT_EQ(record().written, 5);
  const RestoreOutcome second = run();
  EXPECT_FALSE(second.cancelled);
  EXPECT_EQ(second.alreadyDone, 5);
  EXPECT_EQ(second.datesSet, 15);
}

// As a disk that is not plugged in.
TEST_F(WorkRunnerTest, LeavesTheJobOfAFolderThatIsGoneUnfinished) {
  writePair(*this / "a.jpg", "x");
  const auto journal = JobJournal::open(root(), true, options);
  const path away = store() / "away";
  std::filesystem::rename(root(), away);
  const RestoreOutcome outcome = WorkRunner::run(root(), true, options, *journal, 7, never, {}, writer);
  std::filesystem::rename(away, root());
  EXPECT_EQ(outcome.attempted, 0);
  EXPECT_THAT(outcome.errors, IsEmpty());
  EXPECT_EQ(record().phase, JobJournal::Phase::writing);
}

// It shows names, and none of what they name.
TEST_F(WorkRunnerTest, LeavesTheJobOfAFolderThatCannotBeEnteredUnfinished) {
  writePair(*this / "a.jpg", "x");
  const auto journal = JobJournal::open(root(), true, options);
  ASSERT_EQ(chmod(root().c_str(), 0444), 0);
  {
    const test::OrdinaryUser user(root());
    EXPECT_EQ(WorkRunner::run(root(), true, options, *journal, 7, never, {}, writer).attempted, 0);
  }
  ASSERT_EQ(chmod(root().c_str(), 0700), 0);
  EXPECT_EQ(journal->record().phase, JobJournal::Phase::writing);
}

TEST_F(WorkRunnerTest, RecordsNoFileOfASubfolderThatCannotBeEntered) {
  writePair(*this / "sub/a.jpg", "x");
  const auto journal = JobJournal::open(root(), true, options);
  ASSERT_EQ(chmod((*this / "sub").c_str(), 0444), 0);
  {
    const test::OrdinaryUser user(root());
    EXPECT_EQ(WorkRunner::run(root(), true, options, *journal, 7, never, {}, writer).attempted, 0);
  }
  ASSERT_EQ(chmod((*this / "sub").c_str(), 0700), 0);
  EXPECT_FALSE(journal->containsRelative("sub/a.jpg"));
}

TEST_F(WorkRunnerTest, CancelledAtOnceTouchesNothing) {
  writePair(*this / "a.jpg", "x");
  writeFile(*this / ".tollbrook-1.jpg", "x");
  const RestoreOutcome outcome = run([] { return true; });
  EXPECT_TRUE(outcome.cancelled);
  EXPECT_EQ(outcome.attempted, 0);
  EXPECT_TRUE(std::filesystem::exists(*this / ".tollbrook-1.jpg"));
  EXPECT_EQ(record().phase, JobJournal::Phase::writing);
}

TEST_F(WorkRunnerTest, ReportsTheFirstAndEveryFifthFileThatReachedItsEnd) {
  for (int i = 0; i < 12; ++i) writePair(*this / ("p" + std::to_string(i) + ".jpg"), "x");
  std::vector<std::int64_t> seen;
  const auto note = [&](const WorkProgress& progress) { seen.push_back(progress.seen); };
  run(never, note);
  EXPECT_THAT(seen, ElementsAre(1, 5, 10, 12));
  seen.clear();
  run(never, note);  // every file is already done
  EXPECT_THAT(seen, ElementsAre(1, 5, 10, 12));
}

TEST_F(WorkRunnerTest, ReportsNoFileThatHasNoSidecar) {
  for (int i = 0; i < 12; ++i) writeFile(*this / ("p" + std::to_string(i) + ".jpg"), "x");
  std::vector<std::int64_t> seen;
  run(never, [&](const WorkProgress& progress) { seen.push_back(progress.seen); });
  EXPECT_THAT(seen, ElementsAre(12));
}

TEST_F(WorkRunnerTest, ReportsTheCurrentFileByItsRelativePath) {
  writePair(*this / "sub/a.jpg", "x");
  std::optional<std::string> name;
  run(never, [&](const WorkProgress& progress) { name = progress.currentName; });
  EXPECT_EQ(name, "sub/a.jpg");
}

TEST_F(WorkRunnerTest, LeavesTheCountsOfTheRecordAtCompletionAsTheLastSaveLeftThem) {
  writePair(*this / "a.jpg", "x");
  run();
  EXPECT_EQ(record().written, 0);
  EXPECT_EQ(record().phase, JobJournal::Phase::complete);
}

// Sleeps past the time between two saves at the first report.
void sleepAtFirst(const WorkProgress& progress) {
  if (progress.seen == 1) std::this_thread::sleep_for(std::chrono::milliseconds(2100));
}

TEST_F(WorkRunnerTest, SavesTheCountsEveryTwoSeconds) {
  writer.exifTool.reset();
  for (int i = 0; i < 3; ++i) writePair(*this / ("p" + std::to_string(i) + ".jpg"), "x");
  run(never, sleepAtFirst);
  EXPECT_EQ(record().written, 2);
}

TEST_F(WorkRunnerTest, FilesAlreadyDoneNeverTriggerASave) {
  for (int i = 0; i < 3; ++i) writePair(*this / ("p" + std::to_string(i) + ".jpg"), "x");
  run();
  run(never, sleepAtFirst);
  EXPECT_EQ(record().alreadyDone, 0);
  EXPECT_EQ(record().phase, JobJournal::Phase::complete);
}

TEST_F(WorkRunnerTest, ACompleteJobIsUnfinishedAgainBeforeItsFirstNewFile) {
  writePair(*this / "a.jpg", "x");
  run();
  writePair(*this / "b.jpg", "x");
  std::vector<JobJournal::Phase> phases;
  run(never, [&](const WorkProgress&) { phases.push_back(record().phase); });
  EXPECT_EQ(phases.back(), JobJournal::Phase::complete);
  writePair(*this / "c.jpg", "x");
  useExifTool("cp '" + (store() / JobJournal::id(root()) / "job.json").native() + "' '" +
              (*this / "seen.json").native() + "'\n");
  run();
  const auto during = JobJournal::decode(test::readFile(*this / "seen.json"));
  ASSERT_TRUE(during);
  EXPECT_EQ(during->phase, JobJournal::Phase::writing);
}

TEST_F(WorkRunnerTest, DeletesASidecarWhoseDatesAloneWereWanted) {
  options.deleteSidecars = true;
  writePair(*this / "a.jpg", "x");
  EXPECT_EQ(run().deletedSidecars, 1);
  EXPECT_FALSE(std::filesystem::exists(sidecarOf(*this / "a.jpg")));
  EXPECT_NE(doneLog().find("a.jpg\n"), std::string::npos);
}

TEST_F(WorkRunnerTest, DeletesNoSidecarUnasked) {
  writePair(*this / "a.jpg", "x");
  EXPECT_EQ(run().deletedSidecars, 0);
  EXPECT_TRUE(std::filesystem::exists(sidecarOf(*this / "a.jpg")));
}

TEST_F(WorkRunnerTest, KeepsTheSidecarOfASkippedFile) {
  options.deleteSidecars = true;
  writePair(*this / "a.jpg", "x");
  ASSERT_FALSE(Platform::setFileDates(*this / "a.jpg", fromEpoch(taken)));
  EXPECT_EQ(run().deletedSidecars, 0);
  EXPECT_TRUE(std::filesystem::exists(sidecarOf(*this / "a.jpg")));
}

TEST_F(WorkRunnerTest, KeepsASidecarWhoseMetadataIsNotInTheFile) {
  useExifTool("exit 1\n");
  options.deleteSidecars = true;
  writePair(*this / "a.jpg", "x");
  const RestoreOutcome outcome = run();
  EXPECT_EQ(outcome.datesSet, 1);
  EXPECT_EQ(outcome.deletedSidecars, 0);
  EXPECT_TRUE(std::filesystem::exists(sidecarOf(*this / "a.jpg")));
}

TEST_F(WorkRunnerTest, KeepsASidecarWithAValueThatNobodyCouldWrite) {
  useExifTool("exit 0\n");
  options.deleteSidecars = true;
  writePair(*this / "a.jpg", "x", {.latitude = 1e300, .longitude = 5});
  writePair(*this / "b.jpg", "x", {.latitude = 48, .longitude = 5});
  EXPECT_EQ(run().deletedSidecars, 1);
  EXPECT_TRUE(std::filesystem::exists(sidecarOf(*this / "a.jpg")));
}

TEST_F(WorkRunnerTest, DeletesASharedSidecarWithTheLastFileThatMatchesIt) {
  options.deleteSidecars = true;
  writePair(*this / "a.jpg", "x");
  writeFile(*this / "a-edited.jpg", "x");
  const RestoreOutcome outcome = run();
  EXPECT_EQ(outcome.datesSet, 2);
  EXPECT_EQ(outcome.deletedSidecars, 1);
  EXPECT_EQ(Platform::fileDates(*this / "a-edited.jpg").modification, fromEpoch(taken));
}

TEST_F(WorkRunnerTest, KeepsASharedSidecarWhileAnotherFileThatMatchesItFails) {
  useExifTool("case \"$file\" in *edited*) exit 1;; esac\n");
  options.writeFileDates = false;
  options.deleteSidecars = true;
  writePair(*this / "a.jpg", "x");
  writeFile(*this / "a-edited.jpg", "x");
  const RestoreOutcome outcome = run();
  EXPECT_EQ(outcome.embeddedWritten, 1);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_EQ(outcome.deletedSidecars, 0);
  EXPECT_TRUE(std::filesystem::exists(sidecarOf(*this / "a.jpg")));
  // What an earlier run put into a file is not known to this one.
  useExifTool("exit 0\n");
  const RestoreOutcome later = run();
  EXPECT_EQ(later.embeddedWritten, 1);
  EXPECT_EQ(later.deletedSidecars, 0);
}

TEST_F(WorkRunnerTest, KeepsASharedSidecarWhenAnotherFileGotItsDatesAlone) {
  useExifTool("case \"$file\" in *edited*) exit 1;; esac\n");
  options.deleteSidecars = true;
  writePair(*this / "a.jpg", "x");
  writeFile(*this / "a-edited.jpg", "x");
  const RestoreOutcome outcome = run();
  EXPECT_EQ(outcome.datesSet, 2);
  EXPECT_EQ(outcome.embeddedWritten, 1);
  EXPECT_EQ(outcome.deletedSidecars, 0);
  EXPECT_TRUE(std::filesystem::exists(sidecarOf(*this / "a.jpg")));
}

TEST_F(WorkRunnerTest, CountsAFileThatGotBothTwiceInTheRecord) {
  useExifTool("exit 0\n");
  CancelFlag flag;
  writePair(*this / "a.jpg", "x");
  const RestoreOutcome outcome =
      run([&] { return flag.isSet(); }, [&](const WorkProgress&) { flag.cancel(); });
  EXPECT_EQ(outcome.datesSet, 1);
  EXPECT_EQ(outcome.embeddedWritten, 1);
  EXPECT_EQ(record().written, 2);
}

TEST_F(WorkRunnerTest, SetsTheDatesAfterTheEmbeddedWrite) {
  useExifTool("echo more >> \"$file\"\n");
  writePair(*this / "a.jpg", "x");
  run();
  EXPECT_EQ(test::readFile(*this / "a.jpg"), "xmore\n");
  EXPECT_EQ(Platform::fileDates(*this / "a.jpg").modification, fromEpoch(taken));
}

TEST_F(WorkRunnerTest, DatesAFileThatNobodyMayOpenAndDoesNotRecordIt) {
  useExifTool("exit 1\n");
  writePair(*this / "a.jpg", "x");
  ASSERT_EQ(chmod((*this / "a.jpg").c_str(), 0), 0);
  EXPECT_EQ(run().datesSet, 1);
  EXPECT_EQ(Platform::fileDates(*this / "a.jpg").modification, fromEpoch(taken));
  // Who may open every file may also force it to disk.
  EXPECT_EQ(doneLog(), geteuid() == 0 ? "v1\na.jpg\n" : "v1\n");
}

TEST_F(WorkRunnerTest, LocksTheFolderWhileItWritesThereAndOnlyThen) {
  useExifTool("flock --nonblock --conflict-exit-code 7 \"$(dirname \"$file\")\" true; echo $? > '" +
              (*this / "answer").native() + "'\n");
  writePair(*this / "a.jpg", "x");
  run();
  EXPECT_EQ(test::readFile(*this / "answer"), "7\n");
  const Files::Descriptor folder(open(root().c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(flock(folder.get(), LOCK_EX | LOCK_NB), 0);
}

TEST_F(WorkRunnerTest, WaitsWhileAnotherProgramWritesInTheFolder) {
  writePair(*this / "a.jpg", "x");
  Files::Descriptor other(open(root().c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(flock(other.get(), LOCK_EX | LOCK_NB), 0);
  CancelFlag flag;
  int asked = 0;
  const RestoreOutcome stopped = run([&] { return ++asked > 10; });
  EXPECT_TRUE(stopped.cancelled);
  EXPECT_EQ(stopped.attempted, 0);
  std::thread release([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    other.close();
  });
  EXPECT_EQ(run().datesSet, 1);
  release.join();
}

TEST_F(WorkRunnerTest, WritesThroughNoLinkThatTookAPhotosPlaceWhileItWaited) {
  writePair(*this / "a.jpg", "x");
  const test::TemporaryFolder elsewhere;
  writeFile(elsewhere / "other.jpg", "x");
  const auto dates = Platform::fileDates(elsewhere / "other.jpg");
  Files::Descriptor other(open(root().c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(flock(other.get(), LOCK_EX | LOCK_NB), 0);
  int asked = 0;
  const RestoreOutcome outcome = run([&] {
    // The first time is before the photo; from then on the run waits for the lock.
    if (++asked == 3) {
      std::filesystem::remove(*this / "a.jpg");
      std::filesystem::create_symlink(elsewhere / "other.jpg", *this / "a.jpg");
      other.close();
    }
    return false;
  });
  EXPECT_THAT(outcome.errors, ElementsAre("a.jpg: Nothing was written"));
  EXPECT_EQ(Platform::fileDates(elsewhere / "other.jpg").modification, dates.modification);
  EXPECT_EQ(doneLog(), "v1\n");
}

TEST_F(WorkRunnerTest, AFolderThatIsMovedAwayIsNotRecordedAndLeavesTheJobUnfinished) {
  useExifTool("mv \"$(dirname \"$file\")\" '" + (root() / "moved").native() + "'\nexit 0\n");
  writePair(*this / "sub/a.jpg", "x");
  writePair(*this / "sub/b.jpg", "x");
  const RestoreOutcome outcome = run();
  EXPECT_THAT(outcome.errors, testing::UnorderedElementsAre("sub/a.jpg: Nothing was written",
                                                            "sub/b.jpg: Nothing was written"));
  EXPECT_EQ(record().phase, JobJournal::Phase::writing);
  EXPECT_EQ(doneLog(), "v1\n");
}

TEST_F(WorkRunnerTest, AFolderThatIsReplacedKeepsItsDatesAndSidecars) {
  const std::string sub = (*this / "sub").native();
  const std::string moved = (root() / "moved").native();
  useExifTool("mv '" + sub + "' '" + moved + "'\ncp -R '" + moved + "' '" + sub + "'\nexit 0\n");
  options.deleteSidecars = true;
  writePair(*this / "sub/a.jpg", "x");
  const auto dates = Platform::fileDates(*this / "sub/a.jpg");
  const RestoreOutcome outcome = run();
  EXPECT_THAT(outcome.errors, ElementsAre("sub/a.jpg: Nothing was written"));
  EXPECT_EQ(Platform::fileDates(*this / "moved/a.jpg").modification, dates.modification);
  EXPECT_TRUE(std::filesystem::exists(sidecarOf(*this / "moved/a.jpg")));
  EXPECT_EQ(record().phase, JobJournal::Phase::writing);
  EXPECT_EQ(doneLog(), "v1\n");
}

TEST_F(WorkRunnerTest, ASubfolderOfAFolderThatIsMovedAwayIsNotTakenForSeen) {
  writePair(*this / "a/one/x.jpg", "x");
  writePair(*this / "a/two/x.jpg", "x");
  // The walk shuts a folder while it is in one below it.
  bool moved = false;
  const RestoreOutcome outcome = run(never, [&](const WorkProgress& progress) {
    if (moved || !progress.currentName) return;
    moved = true;
    std::filesystem::rename(*this / "a", *this / "moved");
  });
  ASSERT_TRUE(moved);
  EXPECT_EQ(outcome.datesSet, 1);
  EXPECT_EQ(outcome.failed, 1);
  ASSERT_EQ(outcome.errors.size(), 1u);
  EXPECT_THAT(outcome.errors[0], testing::AnyOf("a/one: Could not be read", "a/two: Could not be read"));
  EXPECT_EQ(record().phase, JobJournal::Phase::writing);
}

TEST_F(WorkRunnerTest, AWishToStopIsNotForgotten) {
  for (const char* name : {"a.jpg", "b.jpg", "c.jpg"}) writePair(*this / name, "x");
  int asked = 0;
  const RestoreOutcome outcome = run([&] { return ++asked == 2; });
  EXPECT_TRUE(outcome.cancelled);
  EXPECT_LE(outcome.attempted, 1);
  EXPECT_EQ(record().phase, JobJournal::Phase::writing);
}

TEST_F(WorkRunnerTest, ACaptionThatIsNotWantedIsNothingToWrite) {
  useExifTool("exit 0\n");
  options.writeCaptions = false;
  writePair(*this / "a.jpg", "x", {.takenTime = std::nullopt, .caption = "c"});
  EXPECT_THAT(run().errors, ElementsAre("a.jpg: Nothing was written"));
}

TEST_F(WorkRunnerTest, AFileThatCanHaveNoSuchDateIsWrittenWhenItsMetadataIs) {
  useExifTool("exit 0\n");
  options.deleteSidecars = true;
  // 9999-12-31 23:59:59, later than ext4, XFS and tmpfs can hold.
  writePair(*this / "a.jpg", "x", {.takenTime = 253402300799});
  if (!Platform::setFileDates(*this / "a.jpg", fromEpoch(253402300799))) {
    GTEST_SKIP() << "this file system holds every date: nothing was tested here";
  }
  const RestoreOutcome outcome = run();
  EXPECT_EQ(outcome.embeddedWritten, 1);
  EXPECT_EQ(outcome.datesSet, 0);
  EXPECT_EQ(outcome.failed, 0);
  EXPECT_EQ(doneLog(), "v1\na.jpg\n");
}

TEST_F(WorkRunnerTest, AFileWhosePathNoLineCanCarryIsFinishedInMemoryOnly) {
  writePair(*this / "a\nb.jpg", "x");
  EXPECT_EQ(run().datesSet, 1);
  EXPECT_EQ(doneLog(), "v1\n");
}

TEST_F(WorkRunnerTest, ANonRecursiveRunStaysInTheFolder) {
  writePair(*this / "a.jpg", "x");
  writePair(*this / "sub/b.jpg", "x");
  const auto journal = JobJournal::open(root(), false, options);
  EXPECT_EQ(WorkRunner::run(root(), false, options, *journal, 0, never, {}, writer).datesSet, 1);
}

TEST(CancelFlag, IsSetUntilItIsReset) {
  CancelFlag flag;
  EXPECT_FALSE(flag.isSet());
  flag.cancel();
  EXPECT_TRUE(flag.isSet());
  flag.reset();
  EXPECT_FALSE(flag.isSet());
}

}  // namespace
}  // namespace tollbrook
