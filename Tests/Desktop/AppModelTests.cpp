#include <gmock/gmock.h>

#include <QSignalSpy>
#include <cerrno>

#include "Desktop/Support/AppTest.h"
#include "Tollbrook/AppModel.h"
#include "Tollbrook/Paths.h"

namespace tollbrook {
namespace {

using test::writeFile;
using testing::IsEmpty;

class AppModelTest : public test::AppTest {
 protected:
  std::vector<std::string> visibleNames() const {
    std::vector<std::string> names;
    for (const MediaPair* pair : model_->visiblePairs()) names.push_back(pair->media.filename());
    return names;
  }
};

TEST_F(AppModelTest, BeginsWithoutAFolderAndWithTheseOptions) {
  const AppModel model(keepAwake_, folderChooser_);
  EXPECT_EQ(model.folder(), std::nullopt);
  EXPECT_TRUE(model.recursive());
  EXPECT_EQ(model.options(), (RestoreOptions{.writeFileDates = true,
                                             .writeEmbedded = true,
                                             .writeCaptions = true,
                                             .skipIfDatesMatch = true,
                                             .deleteSidecars = false,
                                             .dateTolerance = 2.0}));
  EXPECT_EQ(model.filter(), RowFilter::all);
  EXPECT_THAT(model.pairs(), IsEmpty());
  EXPECT_THAT(model.visiblePairs(), IsEmpty());
  EXPECT_FALSE(model.report());
  EXPECT_FALSE(model.outcome());
  EXPECT_FALSE(model.isScanning() || model.isApplying() || model.isResuming() || model.canApply());
  EXPECT_EQ(model.progressDone(), 0);
  EXPECT_EQ(model.progressTotal(), 0);
  EXPECT_EQ(model.currentFile(), QString());
  EXPECT_EQ(model.statusLine(), "Choose a folder of Google Photos downloads."_s);
  EXPECT_EQ(model.lastError(), QString());
  EXPECT_EQ(model.resumeFolderName(), QString());
}

TEST_F(AppModelTest, ScansTheFolderThatIsSet) {
  addPair("a.jpg");
  addPair("album/b.jpg");
  addLonePhoto("c.jpg");
  scanRoot();
  EXPECT_EQ(model_->folder(), root());
  EXPECT_THAT(visibleNames(), testing::ElementsAre("a.jpg", "b.jpg", "c.jpg"));
  EXPECT_EQ(model_->report()->matchedCount, 2);
  EXPECT_TRUE(model_->canApply());
  EXPECT_THAT(statusLines_,
              testing::ElementsAre(Paths::shown(root()), "Scanning nested folders…"_s,
                                   "Scanning… 3 media files"_s, "2 of 3 files have sidecar metadata."_s));
  EXPECT_EQ(model_->progressDone(), 0);
}

TEST_F(AppModelTest, LeavesSubfoldersOutWhenToldSo) {
  addPair("a.jpg");
  addPair("album/b.jpg");
  model_->setRecursive(false);
  scanRoot();
  EXPECT_EQ(model_->report()->mediaCount, 1);
}

TEST_F(AppModelTest, SaysThatAFolderHoldsNoMedia) {
  writeFile(root() / "notes.txt", "none");
  scanRoot();
  EXPECT_EQ(model_->statusLine(), "No photos or videos in this folder."_s);
  EXPECT_FALSE(model_->canApply());
}

TEST_F(AppModelTest, HasNothingToWriteWithoutAnyMatchedSidecar) {
  addLonePhoto("a.jpg");
  addLonePhoto("b.jpg");
  scanRoot();
  EXPECT_EQ(model_->statusLine(), "0 of 2 files have sidecar metadata."_s);
  EXPECT_FALSE(model_->canApply());
  model_->apply();
  EXPECT_FALSE(model_->isApplying());
  EXPECT_EQ(record(), std::nullopt);
}

TEST_F(AppModelTest, ForgetsWhatItKnewOfAnotherFolder) {
  addPair("a.jpg");
  scanRoot();
  write();
  ASSERT_TRUE(model_->outcome());
  const path other = temporary_ / "other";
  std::filesystem::create_directory(other);
  model_->setFolder(other);
  EXPECT_THAT(model_->pairs(), IsEmpty());
  EXPECT_THAT(model_->visiblePairs(), IsEmpty());
  EXPECT_FALSE(model_->report());
  EXPECT_FALSE(model_->outcome());
  EXPECT_TRUE(waitUntilIdle());
}

TEST_F(AppModelTest, ProblemsOverlapNoSidecar) {
  addPair("a.jpg");
  addLonePhoto("b.jpg");
  scanRoot();
  const QSignalSpy aboutToChange(model_.get(), &AppModel::visiblePairsAboutToChange);
  const QSignalSpy changed(model_.get(), &AppModel::visiblePairsChanged);
  model_->setFilter(RowFilter::ready);
  EXPECT_THAT(visibleNames(), testing::ElementsAre("a.jpg"));
  model_->setFilter(RowFilter::unmatched);
  EXPECT_THAT(visibleNames(), testing::ElementsAre("b.jpg"));
  model_->setFilter(RowFilter::problems);
  EXPECT_THAT(visibleNames(), testing::ElementsAre("b.jpg"));
  EXPECT_EQ(changed.count(), 3);
  EXPECT_EQ(aboutToChange.count(), 3);
}

TEST_F(AppModelTest, AsksForAFolderInTheseWords) {
  folderChooser_.answer = root();
  model_->chooseFolder();
  EXPECT_EQ(folderChooser_.prompt, "Choose"_s);
  EXPECT_EQ(folderChooser_.message,
            "Pick a folder of Takeout or Ferrywell downloads. Nested folders are included."_s);
  EXPECT_EQ(model_->folder(), root());
  EXPECT_TRUE(waitUntilIdle());
}

TEST_F(AppModelTest, ChangesNothingWhenTheQuestionForAFolderIsCancelled) {
  model_->chooseFolder();
  EXPECT_EQ(folderChooser_.asked, 1);
  EXPECT_EQ(model_->folder(), std::nullopt);
  EXPECT_THAT(statusLines_, IsEmpty());
}

TEST_F(AppModelTest, StopsAScan) {
  addPair("a.jpg");
  model_->setFolder(root());
  model_->stop();
  EXPECT_EQ(model_->statusLine(), "Stopping after the current file…"_s);
  EXPECT_TRUE(model_->isScanning());
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->statusLine(), "Scan stopped. Finished files from earlier runs are kept."_s);
}

TEST_F(AppModelTest, ScansAgainAfterAStop) {
  addPair("a.jpg");
  model_->setFolder(root());
  model_->stop();
  ASSERT_TRUE(waitUntilIdle());
  model_->scan();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->statusLine(), "1 of 1 files have sidecar metadata."_s);
}

TEST_F(AppModelTest, DoesOneThingAtATime) {
  addPair("a.jpg");
  scanRoot();
  model_->apply();
  model_->scan();
  EXPECT_FALSE(model_->isScanning());
  model_->setFolder(temporary_.path());
  EXPECT_EQ(model_->folder(), root());
  ASSERT_TRUE(waitUntilIdle());

  model_->scan();
  model_->apply();
  EXPECT_FALSE(model_->isApplying());
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(keepAwake_.reasons.size(), 1U);
}

TEST_F(AppModelTest, DoesNothingWithoutAFolder) {
  model_->scan();
  model_->apply();
  EXPECT_FALSE(model_->isScanning() || model_->isApplying());
  EXPECT_THAT(statusLines_, IsEmpty());
}

TEST_F(AppModelTest, TellsOfEveryChangeOnItsOwnThread) {
  addPairs(30);
  std::vector<bool> onMainThread;
  const auto note = [&] { onMainThread.push_back(QThread::currentThread() == model_->thread()); };
  for (const auto signal :
       {&AppModel::statusLineChanged, &AppModel::progressDoneChanged, &AppModel::currentFileChanged,
        &AppModel::reportChanged, &AppModel::outcomeChanged, &AppModel::isScanningChanged,
        &AppModel::isApplyingChanged}) {
    QObject::connect(model_.get(), signal, model_.get(), note, Qt::DirectConnection);
  }
  scanRoot();
  write();
  EXPECT_GT(onMainThread.size(), 10U);
  EXPECT_THAT(onMainThread, testing::Each(true));
}

TEST_F(AppModelTest, SaysWhyAFolderCannotBeScanned) {
  addPair("a.jpg");
  model_->setFolder(root() / "gone");
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->statusLine(), "Could not scan this folder."_s);
  EXPECT_EQ(model_->lastError(), test::systemText(ENOENT));
  EXPECT_FALSE(model_->report());
  EXPECT_FALSE(model_->canApply());
  scanRoot();
  EXPECT_EQ(model_->lastError(), QString());
  EXPECT_TRUE(model_->canApply());
  // What was found before says nothing about a folder that is gone now.
  std::filesystem::rename(root(), temporary_ / "away");
  model_->scan();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->lastError(), test::systemText(ENOENT));
  EXPECT_FALSE(model_->report());
  EXPECT_FALSE(model_->canApply());
}

TEST_F(AppModelTest, TakesADroppedFolder) {
  EXPECT_TRUE(model_->acceptDrop({Paths::toUrl(root())}));
  ASSERT_TRUE(waitUntil([this] { return model_->folder().has_value(); }));
  EXPECT_EQ(model_->folder(), root());
  EXPECT_TRUE(waitUntilIdle());
}

TEST_F(AppModelTest, TakesTheFolderOfADroppedFile) {
  const path photo = addPair("a.jpg");
  EXPECT_TRUE(model_->acceptDrop({Paths::toUrl(photo), Paths::toUrl(temporary_.path())}));
  ASSERT_TRUE(waitUntil([this] { return model_->folder().has_value(); }));
  EXPECT_EQ(model_->folder(), root());
  EXPECT_TRUE(waitUntilIdle());
}

TEST_F(AppModelTest, IgnoresADropThatHasVanished) {
  EXPECT_TRUE(model_->acceptDrop({Paths::toUrl(root() / "gone")}));
  EXPECT_TRUE(model_->acceptDrop({Paths::toUrl(root())}));
  ASSERT_TRUE(waitUntil([this] { return model_->folder().has_value(); }));
  EXPECT_EQ(model_->folder(), root());
  EXPECT_TRUE(waitUntilIdle());
}

TEST_F(AppModelTest, IgnoresADropThatIsNoFile) {
  EXPECT_TRUE(model_->acceptDrop({QUrl("https://example.org/photos"_s)}));
  EXPECT_TRUE(model_->acceptDrop({Paths::toUrl(root())}));
  ASSERT_TRUE(waitUntil([this] { return model_->folder().has_value(); }));
  EXPECT_EQ(model_->folder(), root());
  EXPECT_TRUE(waitUntilIdle());
}

TEST_F(AppModelTest, RefusesADropOfNothing) {
  EXPECT_FALSE(model_->acceptDrop({}));
  EXPECT_EQ(model_->folder(), std::nullopt);
}

TEST_F(AppModelTest, TakesADroppedFolderOfAnyName) {
  const path folder = temporary_ / "50% #1? caf\xe9 \xc3\xa9";
  std::filesystem::create_directory(folder);
  model_->acceptDrop({Paths::toUrl(folder)});
  ASSERT_TRUE(waitUntil([this] { return model_->folder().has_value(); }));
  EXPECT_EQ(model_->folder(), folder);
  EXPECT_EQ(statusLines_.front(), Paths::shown(folder));
  EXPECT_TRUE(waitUntilIdle());
}

}  // namespace
}  // namespace tollbrook
