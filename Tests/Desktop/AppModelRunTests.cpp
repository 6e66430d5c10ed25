#include <gmock/gmock.h>

#include <QSignalSpy>
#include <QThreadPool>
#include <cerrno>
#include <chrono>

#include "Desktop/Support/AppTest.h"
#include "Support/CommandLine.h"
#include "Support/ReadBack.h"
#include "Tollbrook/AppModel.h"
#include "Tollbrook/Paths.h"
#include "TollbrookCore/ExifTool.h"

namespace tollbrook {
namespace {

using test::FolderLock;
using test::hasTakenDate;
using test::sidecarOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// A run is held at its first file by the lock that writers of a folder take.
class AppModelRunTest : public test::AppTest {
 protected:
  bool scannedAgain() const { return statusLines_.back().endsWith("files have sidecar metadata."_s); }
};

TEST_F(AppModelRunTest, WritesAndRecordsEveryFile) {
  const path photo = addPair("a.jpg");
  const path inner = addPair("album/b.jpg");
  addLonePhoto("c.jpg");
  scanRoot();
  write();
  EXPECT_TRUE(hasTakenDate(photo));
  EXPECT_TRUE(hasTakenDate(inner));
  EXPECT_EQ(model_->outcome()->datesSet, 2);
  EXPECT_EQ(record()->phase, JobJournal::Phase::complete);
  EXPECT_THAT(finished(), testing::UnorderedElementsAre("a.jpg", "album/b.jpg", "c.jpg"));
}

TEST_F(AppModelRunTest, SaysHowFarItIs) {
  addPairs(12);
  scanRoot();
  statusLines_.clear();
  QStringList files;
  QObject::connect(model_.get(), &AppModel::currentFileChanged, model_.get(),
                   [&] { files.push_back(model_->currentFile()); });
  write();
  // What came between may have been overtaken by what came after it.
  EXPECT_EQ(statusLines_.front(), "Writing metadata…"_s);
  EXPECT_THAT(statusLines_,
              Contains(testing::ResultOf(
                  [](const QString& line) { return line.startsWith("Writing 12 of 12  IMG_"_s); }, true)));
  EXPECT_THAT(
      files,
      Contains(testing::ResultOf(
          [](const QString& file) { return file.startsWith("IMG_"_s) && file.endsWith(".jpg"_s); }, true)));
}

TEST_F(AppModelRunTest, ReportsWhatItDidAndScansAgain) {
  addPairs(2);
  scanRoot();
  statusLines_.clear();
  write();
  EXPECT_THAT(statusLines_, Contains("2 dated"_s));
  EXPECT_TRUE(scannedAgain());
}

TEST_F(AppModelRunTest, SaysThatNothingChanged) {
  std::filesystem::remove(sidecarOf(addPair("a.jpg")));
  addPair("b.jpg");
  scanRoot();
  statusLines_.clear();
  std::filesystem::remove(sidecarOf(root() / "b.jpg"));
  write();
  EXPECT_THAT(statusLines_, Contains("Nothing changed."_s));
}

TEST_F(AppModelRunTest, ShowsOneErrorAsItIs) {
  addPair("a.jpg");
  writeNothing();
  scanRoot();
  write();
  EXPECT_EQ(model_->lastError(), "a.jpg: Nothing was written"_s);
}

TEST_F(AppModelRunTest, ShowsTheFirstOfThreeErrorsAndCountsTheOthers) {
  for (const char* name : {"a %2.jpg", "b %2.jpg", "c %2.jpg"}) addPair(name);
  writeNothing();
  scanRoot();
  write();
  ASSERT_EQ(model_->outcome()->errors.size(), 3U);
  EXPECT_EQ(model_->lastError(), QString::fromStdString(model_->outcome()->errors.front()) + " (+2 more)"_s);
}

TEST_F(AppModelRunTest, NamesNoFileSoThatItTurnsTextRound) {
  addPair("a\u202Egpj.jpg");
  writeNothing();
  scanRoot();
  QStringList files;
  QObject::connect(model_.get(), &AppModel::currentFileChanged, model_.get(),
                   [&] { files.push_back(model_->currentFile()); });
  write();
  EXPECT_EQ(model_->lastError(), "a\uFFFDgpj.jpg: Nothing was written"_s);
  EXPECT_THAT(files, Contains("a\uFFFDgpj.jpg"_s));
  EXPECT_THAT(statusLines_, Contains("Writing 1 of 1  a\uFFFDgpj.jpg"_s));
}

TEST_F(AppModelRunTest, KeepsItsErrorWhileTheFolderIsScannedAgain) {
  addPair("a.jpg");
  writeNothing();
  scanRoot();
  write();
  ASSERT_TRUE(scannedAgain());
  EXPECT_NE(model_->lastError(), QString());
  model_->scan();
  EXPECT_EQ(model_->lastError(), QString());
  EXPECT_TRUE(waitUntilIdle());
}

TEST_F(AppModelRunTest, KeepsItsErrorWhenTheFolderCannotBeScannedAgain) {
  addPair("a.jpg");
  writeNothing();
  scanRoot();
  QObject::connect(model_.get(), &AppModel::outcomeChanged, model_.get(), [this] {
    if (model_->outcome()) std::filesystem::rename(root(), temporary_ / "away");
  });
  write();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->statusLine(), "Could not scan this folder."_s);
  EXPECT_THAT(model_->lastError().toStdString(), testing::StartsWith("a.jpg: "));
}

TEST_F(AppModelRunTest, ForgetsWhatTheRunBeforeItSaid) {
  addPair("a.jpg");
  writeNothing();
  scanRoot();
  write();
  ASSERT_NE(model_->lastError(), QString());
  ASSERT_TRUE(model_->outcome());
  FolderLock lock(root());
  model_->apply();
  EXPECT_EQ(model_->lastError(), QString());
  EXPECT_FALSE(model_->outcome());
  lock.release();
  ASSERT_TRUE(waitUntilIdle());
}

TEST_F(AppModelRunTest, ScansAgainWithNoTotal) {
  addPairs(3);
  scanRoot();
  std::vector<std::int64_t> totals;
  QObject::connect(model_.get(), &AppModel::statusLineChanged, model_.get(),
                   [&] { totals.push_back(model_->progressTotal()); });
  model_->apply();
  EXPECT_EQ(model_->progressTotal(), 3);
  ASSERT_TRUE(waitUntil([this] { return model_->isScanning(); }));
  EXPECT_EQ(model_->progressTotal(), 0);
  EXPECT_EQ(model_->progressDone(), 0);
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->progressTotal(), 0);
  EXPECT_EQ(model_->progressDone(), 0);
  EXPECT_EQ(totals.front(), 3);
  EXPECT_EQ(totals.back(), 0);
}

TEST_F(AppModelRunTest, KeepsTheComputerAwakeWhileItWrites) {
  addPair("a.jpg");
  scanRoot();
  EXPECT_THAT(keepAwake_.reasons, IsEmpty());
  FolderLock lock(root());
  model_->apply();
  EXPECT_EQ(keepAwake_.running, 1);
  EXPECT_THAT(keepAwake_.reasons, ElementsAre("Tollbrook is writing photo metadata"_s));
  lock.release();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(keepAwake_.running, 0);
}

TEST_F(AppModelRunTest, StopsBeforeTheNextFileAndDoesNotScanAgain) {
  const path photo = addPair("a.jpg");
  scanRoot();
  const FolderLock lock(root());
  model_->apply();
  const QSignalSpy scans(model_.get(), &AppModel::isScanningChanged);
  model_->stop();
  EXPECT_EQ(model_->statusLine(), "Stopping after the current file…"_s);
  EXPECT_TRUE(model_->isApplying());
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->statusLine(), "Stopped. Finished files are kept; reopen the app to continue the rest."_s);
  EXPECT_TRUE(model_->outcome()->cancelled);
  EXPECT_EQ(scans.count(), 0);
  EXPECT_EQ(record()->phase, JobJournal::Phase::writing);
  EXPECT_FALSE(hasTakenDate(photo));
}

TEST_F(AppModelRunTest, ReadsItsOptionsOnceSoThatAChangeIsForTheNextRun) {
  const path first = addPair("a.jpg");
  scanRoot();
  FolderLock lock(root());
  model_->apply();
  RestoreOptions options = model_->options();
  options.deleteSidecars = true;
  model_->setOptions(options);
  lock.release();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_TRUE(std::filesystem::exists(sidecarOf(first)));

  const path second = addPair("b.jpg");
  write();
  EXPECT_FALSE(std::filesystem::exists(sidecarOf(second)));
  EXPECT_TRUE(hasTakenDate(second));
}

TEST_F(AppModelRunTest, IgnoresADropWhileItWrites) {
  addPair("a.jpg");
  scanRoot();
  FolderLock lock(root());
  model_->apply();
  EXPECT_TRUE(model_->acceptDrop({Paths::toUrl(temporary_.path())}));
  // What was dropped is found to be a folder while the run is still held.
  ASSERT_TRUE(model_->findChild<QThreadPool*>()->waitForDone());
  QCoreApplication::processEvents();
  ASSERT_TRUE(model_->isApplying());
  lock.release();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->folder(), root());
}

TEST_F(AppModelRunTest, DoesNotScanAgainAfterACappedScan) {
  addFinishedPhotos(4000);
  addPair("IMG_1.jpg");
  scanRoot();
  ASSERT_TRUE(model_->report()->listCapped);
  EXPECT_EQ(model_->statusLine(),
            "1 of 4001 files have sidecar metadata. Showing a sample of 4000 — every nested folder is still "
            "included when writing."_s);
  write();
  EXPECT_EQ(model_->statusLine(), "1 dated · 4000 already finished"_s);
}

TEST_F(AppModelRunTest, Scans3999FilesAgain) {
  addFinishedPhotos(3998);
  addPair("IMG_1.jpg");
  scanRoot();
  statusLines_.clear();
  write();
  EXPECT_THAT(statusLines_, Contains("1 dated · 3998 already finished"_s));
  EXPECT_EQ(model_->statusLine(), "1 of 3999 files have sidecar metadata."_s);
}

TEST_F(AppModelRunTest, DoesNotScan4000FilesAgain) {
  addFinishedPhotos(3999);
  addPair("IMG_1.jpg");
  scanRoot();
  ASSERT_FALSE(model_->report()->listCapped);
  write();
  EXPECT_EQ(model_->statusLine(), "1 dated · 3999 already finished"_s);
}

// As on a disk that was unplugged after the scan.
TEST_F(AppModelRunTest, SaysThatTheFolderIsGone) {
  addPair("a.jpg");
  scanRoot();
  std::filesystem::rename(root(), temporary_ / "away");
  write();
  EXPECT_EQ(model_->statusLine(), "Could not start a recoverable job."_s);
  EXPECT_EQ(model_->lastError(), test::systemText(ENOENT));
  EXPECT_EQ(keepAwake_.running, 0);
}

TEST_F(AppModelRunTest, SaysThatAnotherProgramWritesTheFolder) {
  const path photo = addPair("a.jpg");
  scanRoot();
  const auto other = JobJournal::open(root(), true, test::datesOnly());
  write();
  EXPECT_EQ(model_->statusLine(), "Could not start a recoverable job."_s);
  EXPECT_EQ(model_->lastError(), "Another Tollbrook is writing this folder."_s);
  EXPECT_EQ(keepAwake_.running, 0);
  EXPECT_FALSE(hasTakenDate(photo));
  EXPECT_TRUE(model_->canApply());
}

TEST_F(AppModelRunTest, WritesNothingWithoutAJob) {
  const path photo = addPair("a.jpg");
  scanRoot();
  test::writeFile(store(), "in the way");
  write();
  EXPECT_EQ(model_->statusLine(), "Could not start a recoverable job."_s);
  EXPECT_EQ(model_->lastError(), "Not a directory"_s);
  EXPECT_FALSE(hasTakenDate(photo));
  EXPECT_EQ(keepAwake_.running, 0);
}

TEST_F(AppModelRunTest, LetsGoOfTheJobBeforeItReportsTheEnd) {
  addPair("a.jpg");
  scanRoot();
  bool free = false;
  QObject::connect(model_.get(), &AppModel::isApplyingChanged, model_.get(), [&] {
    if (!model_->isApplying()) free = JobJournal::open(root(), true, test::datesOnly()) != nullptr;
  });
  write();
  EXPECT_TRUE(free);
}

TEST_F(AppModelRunTest, IsStoppedAndWaitedForWhenTheModelGoes) {
  addPair("a.jpg");
  scanRoot();
  const FolderLock lock(root());
  model_->apply();
  model_.reset();
  EXPECT_EQ(keepAwake_.running, 0);
  EXPECT_EQ(record()->phase, JobJournal::Phase::writing);
  // Nobody holds the job any more.
  EXPECT_NO_THROW(JobJournal::open(root(), true, test::datesOnly()));
}

TEST_F(AppModelRunTest, IsWaitedForNoLongerThanAllowed) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  // A file that takes long to rewrite.
  const path video = addLongVideo("long.mp4", 1U << 30U);
  model_->setOptions(defaultRestoreOptions());
  scanRoot();
  model_->apply();
  ASSERT_TRUE(waitUntil([&] { return test::isBeingWritten(video); }));
  EXPECT_FALSE(model_->stopAndWait(std::chrono::milliseconds(1)));
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_THAT(finished(), Contains("long.mp4"));
}

}  // namespace
}  // namespace tollbrook
