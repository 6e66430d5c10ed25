#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Support/JobStore.h"

namespace tollbrook {
namespace {

namespace fs = std::filesystem;
using test::readFile;
using test::writeFile;
using Forget = JobJournal::ForgetOutcome;
using Phase = JobJournal::Phase;

class JobStoreTest : public test::JobStoreTest {
 protected:
  /// Makes the job of a new folder, whose directory was then last changed so many seconds after 2024 began.
  fs::path makeJob(const std::string& name, int seconds, Phase phase = Phase::writing) {
    const fs::path folder = makeFolder(name);
    {
      const auto journal = open(folder);
      if (phase == Phase::complete) journal->markComplete();
    }
    touch(jobs_ / JobJournal::id(folder), seconds);
    return folder;
  }

  static void touch(const fs::path& directory, int seconds) {
    const timespec stamp{.tv_sec = 1704067200 + seconds, .tv_nsec = 0};
    const timespec both[2] = {stamp, stamp};
    ASSERT_EQ(utimensat(AT_FDCWD, directory.c_str(), both, 0), 0);
  }

  static std::vector<fs::path> unfinishedFolders() {
    std::vector<fs::path> folders;
    for (const auto& journal : JobJournal::allUnfinished()) folders.push_back(journal->root());
    return folders;
  }
};

using Folders = std::vector<fs::path>;

TEST_F(JobStoreTest, ThatIsEmptyOrMissingHasNothingToResume) {
  EXPECT_TRUE(JobJournal::allUnfinished().empty());
  EXPECT_EQ(JobJournal::unfinishedToResume(), nullptr);
  EXPECT_EQ(JobJournal::claimUnfinished(), nullptr);
  EXPECT_TRUE(JobJournal::allJobs().empty());
  EXPECT_FALSE(fs::exists(jobs_)) << "looking made the store";
  fs::create_directories(jobs_);
  EXPECT_TRUE(JobJournal::allUnfinished().empty());
  EXPECT_EQ(JobJournal::unfinishedToResume(), nullptr);
  EXPECT_EQ(JobJournal::claimUnfinished(), nullptr);
}

TEST_F(JobStoreTest, ListsTheJobChangedLastFirst) {
  const fs::path second = makeJob("second", 20);
  const fs::path third = makeJob("third", 10);
  const fs::path first = makeJob("first", 30);
  EXPECT_EQ(unfinishedFolders(), (Folders{first, second, third}));
  EXPECT_EQ(JobJournal::unfinishedToResume()->root(), first);
  EXPECT_EQ(JobJournal::claimUnfinished()->root(), first);
}

TEST_F(JobStoreTest, SavingTheRecordMovesAJobToTheFront) {
  const fs::path older = makeJob("older", 10);
  makeJob("newer", 20);
  open(older)->note(1, 0, 0, 0);
  EXPECT_EQ(JobJournal::unfinishedToResume()->root(), older);
}

TEST_F(JobStoreTest, TellsJobsApartByFractionsOfASecond) {
  const fs::path older = makeJob("older", 10);
  const fs::path newer = makeJob("newer", 10);
  const timespec stamp{.tv_sec = 1704067210, .tv_nsec = 500'000'000};
  const timespec both[2] = {stamp, stamp};
  ASSERT_EQ(utimensat(AT_FDCWD, (jobs_ / JobJournal::id(newer)).c_str(), both, 0), 0);
  EXPECT_EQ(unfinishedFolders(), (Folders{newer, older}));
}

TEST_F(JobStoreTest, ResumesNoCompleteJob) {
  makeJob("complete", 20, Phase::complete);
  EXPECT_EQ(JobJournal::claimUnfinished(), nullptr);
  const fs::path unfinished = makeJob("unfinished", 10);
  EXPECT_EQ(unfinishedFolders(), Folders{unfinished});
}

TEST_F(JobStoreTest, AnUnfinishedJobBringsItsRecordAndItsList) {
  {
    const auto journal = JobJournal::open(photos_, false, defaultRestoreOptions());
    journal->markDone(photos_ / "a.jpg");
    journal->note(7, 0, 0, 0);
  }
  for (const auto& journal : {JobJournal::unfinishedToResume(), JobJournal::claimUnfinished()}) {
    ASSERT_TRUE(journal);
    EXPECT_EQ(journal->root(), photos_);
    EXPECT_EQ(journal->directory(), job());
    EXPECT_FALSE(journal->record().recursive);
    EXPECT_EQ(journal->record().written, 7);
    EXPECT_EQ(journal->done(), paths({"a.jpg"}));
  }
}

TEST_F(JobStoreTest, AJobWhoseFolderIsGoneWaitsUntilItIsBack) {
  open()->markDone(photos_ / "a.jpg");
  fs::rename(photos_, temporary_ / "away");
  EXPECT_TRUE(JobJournal::allUnfinished().empty());
  EXPECT_EQ(JobJournal::claimUnfinished(), nullptr);
  ASSERT_EQ(JobJournal::allJobs().size(), 1u);
  EXPECT_FALSE(JobJournal::allJobs()[0].folderFound);
  fs::rename(temporary_ / "away", photos_);
  ASSERT_EQ(unfinishedFolders(), Folders{photos_});
  EXPECT_TRUE(JobJournal::unfinishedToResume()->containsRelative("a.jpg"));
  EXPECT_TRUE(JobJournal::allJobs()[0].folderFound);
}

TEST_F(JobStoreTest, FindsAFolderByItsPathWhenTheBookmarkLeadsNowhere) {
  JobJournal::Record record;
  record.folderPath = photos_;
  EXPECT_EQ(JobJournal::resolveFolder(record), photos_);
  record.bookmark = "no bookmark of any system";
  EXPECT_EQ(JobJournal::resolveFolder(record), photos_);
  record.folderPath = temporary_ / "none";
  EXPECT_EQ(JobJournal::resolveFolder(record), std::nullopt);
  record.folderPath = "";
  EXPECT_EQ(JobJournal::resolveFolder(record), std::nullopt);
}

TEST_F(JobStoreTest, PassesOverEntriesThatAreNoJobs) {
  const fs::path folder = makeJob("folder", 10);
  const std::string record = readFile(jobs_ / JobJournal::id(folder) / "job.json");
  writeFile(jobs_ / "a file", "x");
  fs::create_directory(jobs_ / "empty");
  writeFile(jobs_ / "corrupt/job.json", record.substr(0, record.size() / 2));
  writeFile(jobs_ / ".hidden/job.json", record);
  fs::create_directories(jobs_ / "folder/job.json");
  fs::create_directory(jobs_ / "fifo");
  ASSERT_EQ(mkfifo((jobs_ / "fifo/job.json").c_str(), 0600), 0);
  fs::create_symlink("nowhere", jobs_ / "dangling");
  fs::create_symlink("loop", jobs_ / "loop");
  writeFile(jobs_ / "large/job.json", record + std::string(2 << 20, ' '));
  EXPECT_EQ(unfinishedFolders(), Folders{folder});
  EXPECT_EQ(JobJournal::allJobs().size(), 1u);
}

TEST_F(JobStoreTest, TakesAnyEntryWithARecordForAJob) {
  const fs::path folder = makeJob("folder", 10);
  fs::rename(jobs_ / JobJournal::id(folder), jobs_ / "renamed");
  EXPECT_EQ(unfinishedFolders(), Folders{folder});
  EXPECT_EQ(JobJournal::allJobs()[0].id, "renamed");
}

TEST_F(JobStoreTest, ListsEveryJobWithItsCounts) {
  const fs::path complete = makeJob("complete", 0, Phase::complete);
  {
    const auto journal = open(complete);
    journal->markDone(complete / "a.jpg");
    journal->markDone(complete / "b.jpg");
  }
  touch(jobs_ / JobJournal::id(complete), 10);
  const fs::path gone = makeJob("gone", 20);
  fs::remove(gone);
  const auto running = open();
  running->note(5, 4, 3, 2);
  touch(job(), 30);

  const auto jobs = JobJournal::allJobs();
  ASSERT_EQ(jobs.size(), 3u);
  EXPECT_EQ(jobs[0].id, JobJournal::id(photos_));
  EXPECT_EQ(jobs[0].record.written, 5);
  EXPECT_TRUE(jobs[0].folderFound);
  EXPECT_EQ(jobs[1].record.folderPath, gone);
  EXPECT_FALSE(jobs[1].folderFound);
  EXPECT_EQ(jobs[1].doneCount, 0u);
  EXPECT_EQ(jobs[2].record.phase, Phase::complete);
  EXPECT_EQ(jobs[2].doneCount, 2u);
}

TEST_F(JobStoreTest, ListsAJobWithoutItsListAsNothingDone) {
  open();
  fs::remove(list());
  ASSERT_EQ(JobJournal::allJobs().size(), 1u);
  EXPECT_EQ(JobJournal::allJobs()[0].doneCount, 0u);
  ASSERT_EQ(JobJournal::allUnfinished().size(), 1u);
  EXPECT_FALSE(fs::exists(list())) << "listing changed the job";
}

TEST_F(JobStoreTest, ListingChangesNoJobAndTakesNoLock) {
  open()->markDone(photos_ / "a.jpg");
  writeFile(list(), "v1\na.jpg\nb");
  touch(job(), 0);
  const auto changed = fs::last_write_time(job());
  const auto listed = JobJournal::allUnfinished();
  JobJournal::unfinishedToResume();
  JobJournal::allJobs();
  EXPECT_EQ(readFile(list()), "v1\na.jpg\nb");
  EXPECT_EQ(fs::last_write_time(job()), changed);
  EXPECT_EQ(listed[0]->done(), paths({"a.jpg"}));
  EXPECT_NO_THROW(open()) << "a listed journal holds the lock";
}

TEST_F(JobStoreTest, LetsOneRunAtATimeHaveAJob) {
  auto first = open();
  try {
    open();
    ADD_FAILURE() << "two runs have the same job";
  } catch (const JobJournal::Busy& busy) {
    EXPECT_STREQ(busy.what(), "Another Tollbrook is writing this folder.");
  }
  first->markDone(photos_ / "a.jpg");
  first.reset();
  EXPECT_TRUE(open()->containsRelative("a.jpg"));
}

TEST_F(JobStoreTest, LetsJobsOfDifferentFoldersRunAtOnce) {
  const fs::path inner = photos_ / "inner";
  fs::create_directory(inner);
  const auto first = open();
  EXPECT_NO_THROW(open(inner));
}

TEST_F(JobStoreTest, AJobRefusedAsBusyIsNotTouched) {
  const auto first = open();
  writeFile(list(), "v1\na.jpg\nb");
  const std::string record = readFile(this->record());
  EXPECT_THROW(open(), JobJournal::Busy);
  EXPECT_EQ(readFile(list()), "v1\na.jpg\nb");
  EXPECT_EQ(readFile(this->record()), record);
}

TEST_F(JobStoreTest, AListedJobIsLockedToRunAndReadAgain) {
  open();
  const auto listed = JobJournal::unfinishedToResume();
  {
    const auto running = open();
    EXPECT_FALSE(listed->lockForRun());
    running->markDone(photos_ / "a.jpg");
    running->note(9, 0, 0, 0);
    EXPECT_FALSE(listed->containsRelative("a.jpg"));
  }
  EXPECT_TRUE(listed->lockForRun());
  EXPECT_TRUE(listed->containsRelative("a.jpg"));
  EXPECT_EQ(listed->record().written, 9);
  EXPECT_TRUE(listed->lockForRun()) << "it has the lock already";
  EXPECT_THROW(open(), JobJournal::Busy);
}

TEST_F(JobStoreTest, AnOpenedJobHasItsLockAlready) { EXPECT_TRUE(open()->lockForRun()); }

TEST_F(JobStoreTest, LockingCutsATornLineBeforeTheNextIsAppended) {
  open()->markDone(photos_ / "a.jpg");
  writeFile(list(), "v1\na.jpg\nIMG_1");
  const auto listed = JobJournal::unfinishedToResume();
  ASSERT_TRUE(listed->lockForRun());
  EXPECT_EQ(readFile(list()), "v1\na.jpg\n");
  listed->markDoneRelative("2.jpg");
  EXPECT_EQ(readFile(list()), "v1\na.jpg\n2.jpg\n");
}

TEST_F(JobStoreTest, AJobForgottenSinceItWasListedCannotBeLocked) {
  open();
  const auto listed = JobJournal::unfinishedToResume();
  ASSERT_EQ(JobJournal::forget(photos_), Forget::forgotten);
  EXPECT_FALSE(listed->lockForRun());
  listed->markDone(photos_ / "a.jpg");
  listed->note(1, 1, 1, 1);
  EXPECT_FALSE(fs::exists(job())) << "a forgotten job came back";
}

TEST_F(JobStoreTest, AListedJobWithoutARecordAnyMoreCannotBeLocked) {
  open();
  const auto listed = JobJournal::unfinishedToResume();
  fs::remove(record());
  EXPECT_FALSE(listed->lockForRun());
  EXPECT_NO_THROW(open()) << "the refused journal kept the lock";
}

TEST_F(JobStoreTest, AListedJobTakesItsLockByItselfWhenItIsChanged) {
  open();
  writeFile(list(), "v1\nIMG_1");
  const auto listed = JobJournal::unfinishedToResume();
  listed->markDoneRelative("2.jpg");
  EXPECT_EQ(readFile(list()), "v1\n2.jpg\n");
  EXPECT_THROW(open(), JobJournal::Busy);
}

TEST_F(JobStoreTest, AListedJobThatIsRunningElsewhereIsChangedInMemoryOnly) {
  open();
  const auto listed = JobJournal::unfinishedToResume();
  const auto running = open();
  const std::string record = readFile(this->record());
  listed->markDone(photos_ / "a.jpg");
  listed->note(1, 1, 1, 1);
  listed->markComplete();
  EXPECT_TRUE(listed->contains(photos_ / "a.jpg"));
  EXPECT_TRUE(listed->isComplete());
  EXPECT_EQ(readFile(list()), "v1\n");
  EXPECT_EQ(readFile(this->record()), record);
}

TEST_F(JobStoreTest, ClaimsTheNewestJobThatNobodyRuns) {
  const fs::path free = makeJob("free", 10);
  const fs::path busy = makeJob("busy", 20);
  const auto running = open(busy);
  touch(jobs_ / JobJournal::id(busy), 20);
  const auto claimed = JobJournal::claimUnfinished();
  ASSERT_TRUE(claimed);
  EXPECT_EQ(claimed->root(), free);
  EXPECT_THROW(open(free), JobJournal::Busy);
  EXPECT_THROW(JobJournal::claimUnfinished(), JobJournal::Busy);
  EXPECT_EQ(unfinishedFolders(), (Folders{busy, free}));
}

TEST_F(JobStoreTest, AJobWhoseRunWasKilledIsFreeAtOnce) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const auto journal = open();
    const bool told = write(ready[1], "x", 1) == 1;
    while (told) pause();
    _exit(1);
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  EXPECT_THROW(open(), JobJournal::Busy);
  EXPECT_EQ(JobJournal::forget(photos_), Forget::busy);
  kill(child, SIGKILL);
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_NO_THROW(open());
  close(ready[0]);
  close(ready[1]);
}

TEST_F(JobStoreTest, ForgetsAJobAndNothingInItsFolder) {
  writeFile(photos_ / "a.jpg", "photo");
  open()->markDone(photos_ / "a.jpg");
  writeFile(job() / "job.json.tmp", "leftover");
  writeFile(job() / "done.log.tmp", "leftover");
  EXPECT_EQ(JobJournal::forget(photos_ / ""), Forget::forgotten);
  EXPECT_FALSE(fs::exists(job()));
  EXPECT_EQ(readFile(photos_ / "a.jpg"), "photo");
  EXPECT_EQ(JobJournal::forget(photos_), Forget::nothingToForget);
  EXPECT_FALSE(open()->containsRelative("a.jpg"));
}

TEST_F(JobStoreTest, ForgetsAJobWhoseFolderIsGone) {
  open();
  fs::remove(photos_);
  EXPECT_EQ(JobJournal::forget(photos_), Forget::forgotten);
}

TEST_F(JobStoreTest, HasNothingToForgetOfAFolderThatWasNeverWritten) {
  EXPECT_EQ(JobJournal::forget(photos_), Forget::nothingToForget);
  EXPECT_FALSE(fs::exists(jobs_));
  fs::create_directories(job());
  EXPECT_EQ(JobJournal::forget(photos_), Forget::nothingToForget);
}

TEST_F(JobStoreTest, DoesNotForgetAJobThatRuns) {
  const auto running = open();
  running->markDone(photos_ / "a.jpg");
  EXPECT_EQ(JobJournal::forget(photos_), Forget::busy);
  EXPECT_EQ(readFile(list()), "v1\na.jpg\n");
}

TEST_F(JobStoreTest, LeavesFilesOfOthersInAForgottenJob) {
  open();
  writeFile(job() / "notes.txt", "mine");
  EXPECT_EQ(JobJournal::forget(photos_), Forget::forgotten);
  EXPECT_EQ(readFile(job() / "notes.txt"), "mine");
  EXPECT_FALSE(fs::exists(record()));
  EXPECT_FALSE(fs::exists(list()));
}

TEST_F(JobStoreTest, TellsWhenAJobCannotBeForgotten) {
  open();
  fs::remove(list());
  fs::create_directory(list());
  try {
    JobJournal::forget(photos_);
    ADD_FAILURE() << "a folder was removed as if it were a list";
  } catch (const fs::filesystem_error& error) {
    EXPECT_EQ(error.path1(), list());
  }
  EXPECT_TRUE(fs::exists(list()));
  EXPECT_TRUE(fs::exists(record())) << "the record went before the list";
}

}  // namespace
}  // namespace tollbrook
