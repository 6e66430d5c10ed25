#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <random>

#include "Support/JobStore.h"
#include "Support/Names.h"

// Each test lays out what a crash or a power loss at one moment leaves on disk, opens the job again, and says
// what survives and what is lost.
namespace tollbrook {
namespace {

namespace fs = std::filesystem;
using test::readFile;
using test::writeFile;
using Phase = JobJournal::Phase;

class JobJournalCrash : public test::JobStoreTest {
 protected:
  /// A job with one finished file and these counts, not running.
  void makeJob(std::int64_t written) {
    const auto journal = open();
    journal->markDoneRelative("a.jpg");
    journal->note(written, 0, 0, 0);
  }

  void expectOnlyListAndRecord() const {
    EXPECT_EQ(test::namesIn(job()).size(), 2u);
    EXPECT_TRUE(fs::exists(list()));
    EXPECT_TRUE(JobJournal::decode(readFile(record())));
  }
};

TEST_F(JobJournalCrash, AfterTheStoreWasMade) {
  fs::create_directories(jobs_);
  EXPECT_TRUE(JobJournal::allJobs().empty());
  open();
  expectOnlyListAndRecord();
}

TEST_F(JobJournalCrash, AfterTheJobFolderWasMade) {
  fs::create_directories(job());
  EXPECT_TRUE(JobJournal::allJobs().empty());
  EXPECT_EQ(JobJournal::claimUnfinished(), nullptr);
  EXPECT_EQ(open()->doneCount(), 0u);
  expectOnlyListAndRecord();
}

TEST_F(JobJournalCrash, WhileTheHeaderIsWritten) {
  for (const char* part : {"", "v", "v1", "v1\n"}) {
    fs::remove_all(job());
    writeFile(job() / "done.log.tmp", part);
    EXPECT_TRUE(JobJournal::allJobs().empty());
    open()->markDoneRelative("a.jpg");
    EXPECT_EQ(readFile(list()), "v1\na.jpg\n");
    expectOnlyListAndRecord();
  }
}

TEST_F(JobJournalCrash, AfterTheHeaderBeforeTheFirstRecord) {
  writeFile(list(), "v1\n");
  EXPECT_TRUE(JobJournal::allJobs().empty());
  open()->markDoneRelative("a.jpg");
  EXPECT_EQ(readFile(list()), "v1\na.jpg\n");
  expectOnlyListAndRecord();
}

TEST_F(JobJournalCrash, WhileTheFirstRecordIsWritten) {
  makeJob(1);
  const std::string whole = readFile(record());
  for (std::size_t size = 0; size <= whole.size(); size += 40) {
    fs::remove_all(job());
    writeFile(list(), "v1\n");
    writeFile(job() / "job.json.tmp", whole.substr(0, size));
    EXPECT_TRUE(JobJournal::allJobs().empty()) << "a record counts before it has its name";
    EXPECT_EQ(open()->record().written, 0);
    expectOnlyListAndRecord();
  }
}

TEST_F(JobJournalCrash, WhileALaterRecordIsWritten) {
  makeJob(2);
  const std::string later = readFile(record());
  makeJob(1);
  for (std::size_t size = 0; size < later.size(); size += 40) {
    writeFile(job() / "job.json.tmp", later.substr(0, size));
    ASSERT_EQ(JobJournal::allJobs().size(), 1u);
    const auto journal = JobJournal::claimUnfinished();
    ASSERT_TRUE(journal);
    EXPECT_EQ(journal->record().written, 1);
    EXPECT_TRUE(journal->containsRelative("a.jpg"));
    journal->note(1, 0, 0, 0);
    expectOnlyListAndRecord();
  }
}

TEST_F(JobJournalCrash, BeforeALaterRecordTakesItsName) {
  makeJob(2);
  const std::string later = readFile(record());
  makeJob(1);
  writeFile(job() / "job.json.tmp", later);
  EXPECT_EQ(JobJournal::claimUnfinished()->record().written, 1) << "the newer counts are lost, no more";
  open()->note(3, 0, 0, 0);
  EXPECT_EQ(JobJournal::decode(readFile(record()))->written, 3);
  expectOnlyListAndRecord();
}

TEST_F(JobJournalCrash, BeforeTheJobIsMarkedComplete) {
  {
    const auto journal = open();
    journal->markDoneRelative("a.jpg");
    journal->markDoneRelative("b.jpg");
  }
  const auto journal = JobJournal::claimUnfinished();
  ASSERT_TRUE(journal);
  EXPECT_EQ(journal->done(), paths({"a.jpg", "b.jpg"}));
  EXPECT_EQ(journal->record().written, 0) << "counts may lag behind the list";
}

TEST_F(JobJournalCrash, AfterACompleteJobWasMarkedAsBeingWrittenAgain) {
  open()->markComplete();
  EXPECT_EQ(JobJournal::claimUnfinished(), nullptr);
  open()->markWriting();
  EXPECT_NE(JobJournal::claimUnfinished(), nullptr);
}

TEST_F(JobJournalCrash, WhileALineIsAppended) {
  const std::string before = "v1\na.jpg\n";
  const std::string line = "sub/K\xc3\xb6ln 1.jpg\n";
  for (std::size_t size = 0; size < line.size(); ++size) {
    makeJob(1);
    writeFile(list(), before + line.substr(0, size));
    EXPECT_EQ(JobJournal::loadDone(list()), paths({"a.jpg"})) << size;
    const auto journal = JobJournal::claimUnfinished();
    ASSERT_TRUE(journal);
    EXPECT_EQ(journal->done(), paths({"a.jpg"})) << size;
    EXPECT_EQ(readFile(list()), before) << size;
    journal->markDoneRelative("2.jpg");
    EXPECT_EQ(readFile(list()), before + "2.jpg\n") << size;
    journal->markDoneRelative(std::string_view(line).substr(0, line.size() - 1));
    EXPECT_EQ(readFile(list()), before + "2.jpg\n" + line) << size;
  }
}

TEST_F(JobJournalCrash, AfterALineIsAppended) {
  makeJob(1);
  EXPECT_EQ(JobJournal::claimUnfinished()->done(), paths({"a.jpg"}));
}

TEST_F(JobJournalCrash, WhileALineLongerThanOneBlockIsAppended) {
  for (const std::size_t size : {65534u, 65535u, 65536u, 65537u, 200000u}) {
    makeJob(1);
    writeFile(list(), "v1\na.jpg\n" + std::string(size, 'x'));
    EXPECT_EQ(JobJournal::claimUnfinished()->done(), paths({"a.jpg"}));
    EXPECT_EQ(readFile(list()), "v1\na.jpg\n") << size;
    writeFile(list(), std::string(size, 'x'));
    EXPECT_EQ(JobJournal::claimUnfinished()->doneCount(), 0u);
    EXPECT_EQ(readFile(list()), "v1\n") << size;
  }
}

TEST_F(JobJournalCrash, ThatLeftZerosInPlaceOfTheLastLine) {
  makeJob(1);
  writeFile(list(), "v1\na.jpg\n" + std::string(4096, '\0'));
  const auto journal = JobJournal::claimUnfinished();
  EXPECT_EQ(journal->done(), paths({"a.jpg"}));
  journal->markDoneRelative("b.jpg");
  EXPECT_EQ(readFile(list()), "v1\na.jpg\nb.jpg\n");
}

TEST_F(JobJournalCrash, ThatLeftZerosAtTheEndOfTheRecord) {
  makeJob(1);
  writeFile(record(), readFile(record()) + std::string(100, '\0'));
  EXPECT_TRUE(JobJournal::allJobs().empty());
  EXPECT_TRUE(open()->containsRelative("a.jpg"));
  expectOnlyListAndRecord();
}

TEST_F(JobJournalCrash, ThatLeftTheListEmptyOrWithinItsHeader) {
  for (const char* part : {"", "v", "v1"}) {
    makeJob(1);
    writeFile(list(), part);
    const auto journal = open();
    EXPECT_EQ(journal->doneCount(), 0u);
    EXPECT_EQ(readFile(list()), "v1\n") << part;
    journal->markDoneRelative("1.jpg");
    EXPECT_EQ(readFile(list()), "v1\n1.jpg\n") << part;
  }
}

TEST_F(JobJournalCrash, BetweenCuttingATornLineAndTheNextLine) {
  makeJob(1);
  writeFile(list(), "v1\na.jpg\nb");
  open();
  EXPECT_EQ(readFile(list()), "v1\na.jpg\n");
  EXPECT_EQ(open()->done(), paths({"a.jpg"}));
}

TEST_F(JobJournalCrash, WhileAJobIsForgottenNeverLeavesItsListToTheNextOne) {
  makeJob(1);
  fs::remove(list());
  EXPECT_EQ(JobJournal::claimUnfinished()->doneCount(), 0u);
  EXPECT_EQ(open()->doneCount(), 0u);
  EXPECT_EQ(JobJournal::forget(photos_), JobJournal::ForgetOutcome::forgotten);

  makeJob(1);
  fs::remove(list());
  fs::remove(record());
  EXPECT_TRUE(JobJournal::allJobs().empty());
  EXPECT_EQ(JobJournal::forget(photos_), JobJournal::ForgetOutcome::nothingToForget);
  EXPECT_FALSE(fs::exists(job()));
}

/// Runs a job in a child that tells each file's number once it is recorded, and kills it in the middle.
int runUntilKilled(const fs::path& photos, int first, int killAfter, useconds_t pauseMicroseconds) {
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe(ends.data()), 0);
  const pid_t child = fork();
  if (child == 0) {
    const auto journal = JobJournal::open(photos, true, defaultRestoreOptions());
    for (int number = first;; ++number) {
      journal->markDone(photos / std::to_string(number));
      journal->note(number, 0, 0, 0);
      if (write(ends[1], &number, sizeof number) != sizeof number) _exit(1);
    }
  }
  close(ends[1]);
  int number = first - 1;
  int last = number;
  while (number < first + killAfter && read(ends[0], &number, sizeof number) == sizeof number) last = number;
  usleep(pauseMicroseconds);
  kill(child, SIGKILL);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  while (read(ends[0], &number, sizeof number) == sizeof number) last = number;
  close(ends[0]);
  return last;
}

TEST_F(JobJournalCrash, AtAnyMomentLosesNoRecordedFile) {
  std::mt19937 random(1);
  int recorded = -1;
  for (int round = 0; round < 50; ++round) {
    recorded = runUntilKilled(photos_, recorded + 1, static_cast<int>(random() % 5),
                              static_cast<useconds_t>(random() % 2000));
    ASSERT_GE(recorded, round);
    const auto journal = JobJournal::claimUnfinished();
    ASSERT_TRUE(journal) << "the job is busy, or its record is not whole";
    for (int number = 0; number <= recorded; ++number) {
      ASSERT_TRUE(journal->containsRelative(std::to_string(number))) << number;
    }
    EXPECT_LE(journal->doneCount(), static_cast<std::size_t>(recorded) + 2)
        << "at most the file in flight more";
  }
}

}  // namespace
}  // namespace tollbrook
