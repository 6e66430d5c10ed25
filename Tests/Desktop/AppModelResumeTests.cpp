#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QSemaphore>
#include <QSignalSpy>
#include <QThreadPool>
#include <cerrno>

#include "Desktop/Support/AppTest.h"
#include "Support/CommandLine.h"
#include "Tollbrook/AppModel.h"
#include "Tollbrook/Paths.h"

namespace tollbrook {
namespace {

using test::FolderLock;
using test::hasTakenDate;
using test::settle;
using testing::IsEmpty;

class AppModelResumeTest : public test::AppTest {
 protected:
  bool waitUntilResuming() {
    return waitUntil([this] { return model_->isResuming() && model_->isApplying(); });
  }
};

TEST_F(AppModelResumeTest, ContinuesAnUnfinishedJobWithItsOwnSettingsAndWithoutAScan) {
  const path photo = addPair("a.jpg");
  const path inner = addPair("album/b.jpg");
  RestoreOptions options = test::datesOnly();
  options.deleteSidecars = true;
  options.dateTolerance = 7;
  leaveUnfinishedJob(false, options);
  const QSignalSpy scans(model_.get(), &AppModel::isScanningChanged);

  model_->attemptAutoResume();
  ASSERT_TRUE(waitUntil([this] { return model_->outcome().has_value(); }));
  EXPECT_EQ(model_->folder(), root());
  EXPECT_FALSE(model_->recursive());
  EXPECT_EQ(model_->options(), options);
  EXPECT_TRUE(hasTakenDate(photo));
  EXPECT_FALSE(std::filesystem::exists(test::sidecarOf(photo)));
  EXPECT_FALSE(hasTakenDate(inner));
  EXPECT_EQ(scans.count(), 0);
  EXPECT_EQ(record()->phase, JobJournal::Phase::complete);
}

TEST_F(AppModelResumeTest, SaysWhichFolderItContinuesIn) {
  addPairs(3);
  leaveUnfinishedJob(true, test::datesOnly());
  FolderLock lock(root());
  model_->attemptAutoResume();
  ASSERT_TRUE(waitUntilResuming());
  EXPECT_EQ(model_->resumeFolderName(), "Holidays 2019"_s);
  EXPECT_EQ(model_->progressTotal(), 0);
  EXPECT_THAT(statusLines_, testing::ElementsAre("Continuing where you left off in Holidays 2019…"_s,
                                                 "Resuming metadata write…"_s));
  statusLines_.clear();
  lock.release();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_FALSE(model_->isResuming());
  EXPECT_THAT(statusLines_,
              testing::Contains(testing::ResultOf(
                  [](const QString& line) { return line.startsWith("Writing 3  IMG_"_s); }, true)));
  EXPECT_EQ(model_->statusLine(), "3 dated"_s);
}

TEST_F(AppModelResumeTest, RemembersTheFoldersNameUntilAnotherIsChosen) {
  addPair("a.jpg");
  leaveUnfinishedJob(true, test::datesOnly());
  model_->attemptAutoResume();
  ASSERT_TRUE(waitUntil([this] { return model_->outcome().has_value(); }));
  EXPECT_FALSE(model_->isResuming());
  EXPECT_EQ(model_->resumeFolderName(), "Holidays 2019"_s);
  model_->scan();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->resumeFolderName(), "Holidays 2019"_s);
  model_->setFolder(temporary_.path());
  EXPECT_EQ(model_->resumeFolderName(), QString());
  EXPECT_TRUE(waitUntilIdle());
}

TEST_F(AppModelResumeTest, ContinuesWhatAnEarlierModelStopped) {
  const path photo = addPair("a.jpg");
  scanRoot();
  {
    const FolderLock lock(root());
    model_->apply();
    startAgain();
  }
  model_->attemptAutoResume();
  ASSERT_TRUE(waitUntil([this] { return model_->outcome().has_value(); }));
  EXPECT_TRUE(hasTakenDate(photo));
}

TEST_F(AppModelResumeTest, PassesOverAJobThatAnotherProgramRuns) {
  addPair("a.jpg");
  const path other = temporary_ / "other";
  test::writePair(other / "b.jpg", "", {});
  leaveUnfinishedJob(other, true, test::datesOnly());
  // The newest job comes first.
  JobJournal::Record older = record(other).value();
  older.updatedAt -= std::chrono::hours(1);
  test::writeFile(store() / JobJournal::id(other) / "job.json", JobJournal::encode(older));
  leaveUnfinishedJob(true, test::datesOnly());
  const auto running = JobJournal::open(root(), true, test::datesOnly());
  model_->attemptAutoResume();
  ASSERT_TRUE(waitUntil([this] { return model_->outcome().has_value(); }));
  EXPECT_EQ(model_->folder(), other);
}

TEST_F(AppModelResumeTest, ContinuesNothingWhenAnotherProgramRunsTheOnlyJob) {
  addPair("a.jpg");
  leaveUnfinishedJob(true, test::datesOnly());
  const auto running = JobJournal::open(root(), true, test::datesOnly());
  model_->attemptAutoResume();
  EXPECT_TRUE(settle(*model_));
  EXPECT_EQ(model_->folder(), std::nullopt);
  EXPECT_THAT(statusLines_, IsEmpty());
}

TEST_F(AppModelResumeTest, ContinuesNothingWhereThereIsNothingToContinue) {
  model_->attemptAutoResume();
  EXPECT_TRUE(settle(*model_));
  EXPECT_EQ(model_->folder(), std::nullopt);
  EXPECT_THAT(statusLines_, IsEmpty());
}

TEST_F(AppModelResumeTest, ContinuesNothingWhenAFolderIsSet) {
  addPair("a.jpg");
  leaveUnfinishedJob(true, test::datesOnly());
  model_->setFolder(temporary_.path());
  model_->attemptAutoResume();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_TRUE(settle(*model_));
  EXPECT_EQ(model_->folder(), temporary_.path());
  EXPECT_FALSE(model_->isApplying());
}

TEST_F(AppModelResumeTest, GivesWayToAFolderThatIsSetMeanwhile) {
  const path photo = addPair("a.jpg");
  leaveUnfinishedJob(true, test::datesOnly());
  model_->attemptAutoResume();
  model_->setFolder(temporary_.path());
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_TRUE(settle(*model_));
  EXPECT_EQ(model_->folder(), temporary_.path());
  EXPECT_FALSE(model_->isApplying());
  EXPECT_FALSE(hasTakenDate(photo));
  // It is free for whoever wants it.
  EXPECT_NE(JobJournal::claimUnfinished(), nullptr);
}

TEST_F(AppModelResumeTest, GivesWayToAFolderThatIsDroppedMeanwhile) {
  const path photo = addPair("a.jpg");
  leaveUnfinishedJob(true, test::datesOnly());
  model_->attemptAutoResume();
  EXPECT_TRUE(model_->acceptDrop({Paths::toUrl(temporary_.path())}));
  EXPECT_TRUE(settle(*model_));
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->folder(), temporary_.path());
  EXPECT_EQ(model_->resumeFolderName(), QString());
  EXPECT_FALSE(hasTakenDate(photo));
  EXPECT_NE(JobJournal::claimUnfinished(), nullptr);
}

TEST_F(AppModelResumeTest, LeavesTheJobOfAFolderThatIsGoneUnfinished) {
  addPair("a.jpg");
  leaveUnfinishedJob(true, test::datesOnly());
  const path away = temporary_ / "away";
  std::shared_ptr<JobJournal> journal = JobJournal::claimUnfinished();
  ASSERT_NE(journal, nullptr);
  std::filesystem::rename(root(), away);
  model_->setFolder(root());
  ASSERT_TRUE(waitUntilIdle());
  model_->apply(std::move(journal));
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->statusLine(), "Could not start a recoverable job."_s);
  EXPECT_EQ(model_->lastError(), test::systemText(ENOENT));
  std::filesystem::rename(away, root());
  EXPECT_NE(JobJournal::claimUnfinished(), nullptr);
}

TEST_F(AppModelResumeTest, ContinuesWhenWhatIsDroppedMeanwhileIsGone) {
  const path photo = addPair("a.jpg");
  leaveUnfinishedJob(true, test::datesOnly());
  model_->attemptAutoResume();
  EXPECT_TRUE(model_->acceptDrop({Paths::toUrl(temporary_ / "gone")}));
  EXPECT_TRUE(model_->acceptDrop({Paths::toUrl(temporary_ / "gone as well")}));
  ASSERT_TRUE(waitUntil([this] { return model_->outcome().has_value(); }));
  EXPECT_EQ(model_->folder(), root());
  EXPECT_TRUE(hasTakenDate(photo));
}

// Or this program would be the one that keeps its user from writing that folder.
TEST_F(AppModelResumeTest, LetsGoOfAPostponedJobWhenAFolderIsChosen) {
  addPair("a.jpg");
  leaveUnfinishedJob(true, test::datesOnly());
  // One look after the other, and none at what is dropped before this test is over.
  auto* looks = model_->findChild<QThreadPool*>();
  looks->setMaxThreadCount(1);
  QSemaphore found;
  QSemaphore over;
  model_->attemptAutoResume();
  looks->start([&] {
    found.release();
    over.acquire();
  });
  EXPECT_TRUE(model_->acceptDrop({Paths::toUrl(temporary_ / "gone")}));
  found.acquire();
  QCoreApplication::processEvents();
  EXPECT_FALSE(model_->folder());
  EXPECT_THROW(JobJournal::claimUnfinished(), JobJournal::Busy);
  model_->setFolder(temporary_.path());
  EXPECT_NO_THROW(EXPECT_NE(JobJournal::claimUnfinished(), nullptr));
  over.release();
  looks->waitForDone();
  EXPECT_TRUE(waitUntilIdle());
}

// As one at a disk that takes its time to answer.
TEST_F(AppModelResumeTest, IgnoresADropThatComesTooLate) {
  const path other = temporary_ / "other";
  std::filesystem::create_directory(other);
  auto* looks = model_->findChild<QThreadPool*>();
  looks->setMaxThreadCount(1);
  QSemaphore over;
  looks->start([&] { over.acquire(); });
  EXPECT_TRUE(model_->acceptDrop({Paths::toUrl(other)}));
  model_->setFolder(root());
  EXPECT_TRUE(waitUntilIdle());
  over.release();
  EXPECT_TRUE(looks->waitForDone());
  QCoreApplication::processEvents();
  EXPECT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->folder(), root());
}

}  // namespace
}  // namespace tollbrook
