#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "Support/DiskCalls.h"
#include "Support/JobStore.h"
#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"

namespace tollbrook {
namespace {

namespace fs = std::filesystem;
using test::calls;
using test::FullDisk;
using test::readFile;
using test::writeFile;
using ::testing::ElementsAre;

const std::error_code diskError(EIO, std::generic_category());

class Durability : public test::JobStoreTest {
 protected:
  void SetUp() override {
    failForcing();
    const Files::Descriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const bool reached = Platform::forceToDisk(null.get()) == diskError && !calls.made.empty();
    calls = {};
    ASSERT_TRUE(reached) << "files are no longer forced to disk through fsync";
  }
  void TearDown() override { calls = {}; }

  static void failForcing(int after = 0) {
    calls.fsyncError = EIO;
    calls.fsyncsToPass = after;
  }

  fs::path file() const { return temporary_ / "file"; }
  std::error_code replace(std::string_view bytes) const {
    return Files::replace(file(), temporary_ / "file.tmp", bytes);
  }
};

TEST_F(Durability, AReplacementIsForcedBeforeItTakesTheNameAndItsFolderAfterwards) {
  EXPECT_FALSE(replace("new"));
  EXPECT_THAT(calls.made, ElementsAre("force file", "rename file.tmp to file", "force folder"));
}

TEST_F(Durability, AReplacementThatCannotBeForcedLeavesTheOldFile) {
  writeFile(file(), "old");
  failForcing();
  EXPECT_EQ(replace("new"), diskError);
  EXPECT_THAT(calls.made, ElementsAre("force file", "remove file.tmp"));
  EXPECT_EQ(readFile(file()), "old");
}

TEST_F(Durability, AReplacementWhoseFolderCannotBeForcedStandsAndIsReported) {
  writeFile(file(), "old");
  failForcing(1);
  EXPECT_EQ(replace("new"), diskError);
  EXPECT_EQ(readFile(file()), "new");
  EXPECT_FALSE(fs::exists(temporary_ / "file.tmp"));
}

TEST_F(Durability, EachNewFolderIsForcedIntoTheOneAboveIt) {
  EXPECT_FALSE(Files::makeFolders(temporary_ / "a/b"));
  EXPECT_THAT(calls.made, ElementsAre("force folder", "force folder"));
  calls.made.clear();
  EXPECT_FALSE(Files::makeFolders(temporary_ / "a/b"));
  EXPECT_THAT(calls.made, ElementsAre());
  failForcing();
  EXPECT_EQ(Files::makeFolders(temporary_ / "c"), diskError);
}

TEST_F(Durability, ANewJobIsWhollyOnDiskWhenItIsOpen) {
  open();
  EXPECT_THAT(calls.made,
              ElementsAre("force folder", "force folder", "force folder",                     // folders
                          "force file", "rename done.log.tmp to done.log", "force folder",    // list
                          "force file", "rename job.json.tmp to job.json", "force folder"));  // record
}

TEST_F(Durability, EachLineIsForcedBeforeTheNextFile) {
  const auto journal = open();
  calls.made.clear();
  journal->markDoneRelative("a.jpg");
  EXPECT_THAT(calls.made, ElementsAre("force file"));
  journal->markDoneRelative("a.jpg");
  EXPECT_THAT(calls.made, ElementsAre("force file")) << "it was there already";
}

TEST_F(Durability, CompletionForcesTheListAfterTheRecord) {
  const auto journal = open();
  calls.made.clear();
  journal->markComplete();
  EXPECT_THAT(calls.made,
              ElementsAre("force file", "rename job.json.tmp to job.json", "force folder", "force file"));
}

TEST_F(Durability, ATornLineIsCutAndThatForcedBeforeTheJobIsOpen) {
  open();
  writeFile(list(), "v1\nIMG_1");
  calls.made.clear();
  const auto journal = open();
  EXPECT_THAT(calls.made, ElementsAre("cut", "force file", "force file", "rename job.json.tmp to job.json",
                                      "force folder"));
}

TEST_F(Durability, AJobWhoseTornLineCannotBeCutForGoodIsNotOpened) {
  open();
  writeFile(list(), "v1\nIMG_1");
  failForcing();
  EXPECT_THROW(open(), fs::filesystem_error);
  calls = {};
  writeFile(list(), "v1\nIMG_1");
  calls.ftruncateError = EIO;
  EXPECT_THROW(open(), fs::filesystem_error);
  EXPECT_THROW(JobJournal::claimUnfinished(), fs::filesystem_error);
  EXPECT_EQ(readFile(list()), "v1\nIMG_1");
}

TEST_F(Durability, AJobThatCannotBeForcedToDiskIsNotOpened) {
  for (int passed = 0; passed < 7; ++passed) {
    fs::remove_all(temporary_ / "store");
    failForcing(passed);
    EXPECT_THROW(open(), fs::filesystem_error) << passed;
    calls = {};
    EXPECT_NO_THROW(open()) << passed;
  }
}

TEST_F(Durability, ALineThatCannotBeForcedIsTakenBack) {
  const auto journal = open();
  journal->markDoneRelative("a.jpg");
  failForcing();
  journal->markDoneRelative("b.jpg");
  calls = {};
  EXPECT_TRUE(journal->containsRelative("b.jpg"));
  EXPECT_EQ(readFile(list()), "v1\na.jpg\n");
  journal->markDoneRelative("c.jpg");
  EXPECT_EQ(readFile(list()), "v1\na.jpg\nc.jpg\n");
}

TEST_F(Durability, NoLineFollowsATornOneThatCannotBeTakenBack) {
  {
    const auto journal = open();
    journal->markDoneRelative("a.jpg");
    calls.ftruncateError = EIO;
    {
      const FullDisk full(12);
      journal->markDoneRelative("IMG_1.jpg");
    }
    calls = {};
    ASSERT_EQ(readFile(list()), "v1\na.jpg\nIMG");
    journal->markDoneRelative("2.jpg");
    journal->note(1, 0, 0, 0);
    journal->markComplete();
    EXPECT_EQ(readFile(list()), "v1\na.jpg\nIMG");
    EXPECT_EQ(journal->doneCount(), 3u);
  }
  const auto journal = open();
  EXPECT_EQ(journal->done(), paths({"a.jpg"}));
  journal->markDoneRelative("2.jpg");
  EXPECT_EQ(readFile(list()), "v1\na.jpg\n2.jpg\n");
}

TEST_F(Durability, ARecordThatCannotBeForcedLeavesTheOldOne) {
  const auto journal = open();
  const std::string before = readFile(record());
  failForcing();
  journal->note(1, 0, 0, 0);
  EXPECT_EQ(readFile(record()), before);
  EXPECT_EQ(journal->record().written, 1);
}

TEST_F(Durability, AListIsForgottenForGoodBeforeItsRecord) {
  open();
  calls.made.clear();
  EXPECT_EQ(JobJournal::forget(photos_), JobJournal::ForgetOutcome::forgotten);
  EXPECT_THAT(calls.made, ElementsAre("remove done.log", "force folder", "remove job.json",
                                      "remove done.log.tmp", "remove job.json.tmp", "force folder"));
  open();
  failForcing();
  EXPECT_THROW(JobJournal::forget(photos_), fs::filesystem_error);
  EXPECT_TRUE(fs::exists(record()));
}

TEST_F(Durability, AJobForgottenWhileItIsLockedIsMadeAnew) {
  open()->markDoneRelative("a.jpg");
  calls.beforeLocking = [&] { EXPECT_EQ(JobJournal::forget(photos_), JobJournal::ForgetOutcome::forgotten); };
  const auto journal = open();
  EXPECT_EQ(journal->doneCount(), 0u);
  journal->markDoneRelative("b.jpg");
  EXPECT_EQ(readFile(list()), "v1\nb.jpg\n");
}

TEST_F(Durability, AJobReplacedByAnotherWhileItIsLockedIsNotTakenForIt) {
  open();
  const auto replaceJob = [&] {
    fs::rename(job(), temporary_ / "old");
    fs::copy(temporary_ / "old", job());
    fs::remove_all(temporary_ / "old");
  };
  const auto listed = JobJournal::unfinishedToResume();
  calls.beforeLocking = replaceJob;
  EXPECT_FALSE(listed->lockForRun()) << "the lock is on a directory that is no longer the job's";
  calls.beforeLocking = replaceJob;
  EXPECT_EQ(JobJournal::forget(photos_), JobJournal::ForgetOutcome::nothingToForget);
  EXPECT_TRUE(fs::exists(record()));
  EXPECT_TRUE(listed->lockForRun());
}

TEST_F(Durability, AJobCompletedWhileItIsClaimedIsNotRunAgain) {
  open();
  calls.beforeLocking = [&] { open()->markComplete(); };
  EXPECT_EQ(JobJournal::claimUnfinished(), nullptr);
  EXPECT_NO_THROW(open()) << "the complete job is still locked";
}

TEST_F(Durability, AFileSystemWithoutLocksRefusesNoRun) {
  for (const int error : {EBADF, ENOTSUP, EINVAL, ENOLCK, ENOSYS}) {
    calls.flockError = error;
    {
      const auto journal = open();
      journal->markDoneRelative(std::to_string(error));
      journal->note(error, 0, 0, 0);
    }
    const auto claimed = JobJournal::claimUnfinished();
    ASSERT_TRUE(claimed) << error;
    EXPECT_TRUE(claimed->containsRelative(std::to_string(error)));
    EXPECT_EQ(claimed->record().written, error);
  }
  EXPECT_EQ(JobJournal::forget(photos_), JobJournal::ForgetOutcome::forgotten);
}

TEST_F(Durability, ALockRefusedOverTheNetworkIsTaken) {
  open();
  calls.flockError = EACCES;
  EXPECT_THROW(open(), JobJournal::Busy);
}

}  // namespace
}  // namespace tollbrook
