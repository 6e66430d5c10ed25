#include <gmock/gmock.h>

#include <QLabel>
#include <QMenuBar>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QToolBar>
#include <set>

#include "Desktop/Support/AppTest.h"
#include "Support/CommandLine.h"
#include "Support/ReadBack.h"
#include "Tollbrook/Actions.h"
#include "Tollbrook/TollbrookApp.h"
#include "TollbrookCore/ExifTool.h"

namespace tollbrook {
namespace {

using test::FolderLock;
using test::hasTakenDate;
using test::isBeingWritten;
using test::settle;
using testing::ElementsAre;

class TollbrookAppTest : public test::PhotosTest {
 protected:
  TollbrookAppTest() { start(); }

  // The application as it is started, on a desktop that only pretends.
  void start() {
    app_.reset();
    auto chooser = std::make_unique<test::FakeFolderChooser>();
    folderChooser_ = chooser.get();
    app_ = std::make_unique<TollbrookApp>(
        TollbrookApp::Desktop{.keepAwake = std::make_unique<test::FakeKeepAwake>(),
                              .folderChooser = std::move(chooser),
                              .fileManager = std::make_unique<test::FakeFileManager>()});
    model().setOptions(test::datesOnly());
  }

  void open(const std::optional<path>& folder = std::nullopt) {
    app_->open(folder);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    ASSERT_TRUE(!folder || waitUntilIdle());
  }

  AppModel& model() { return app_->model(); }
  MainWindow& window() { return app_->window(); }
  Actions& actions() { return window().actions(); }

  bool waitUntilIdle() { return test::waitUntilIdle(model()); }

  // Which of the four commands can be given, as letters.
  std::string enabled() {
    std::string letters;
    if (actions().chooseFolder()->isEnabled()) letters += 'C';
    if (actions().scanFolder()->isEnabled()) letters += 'S';
    if (actions().writeMetadata()->isEnabled()) letters += 'W';
    if (actions().stop()->isEnabled()) letters += 'X';
    return letters;
  }

  void press(int key, Qt::KeyboardModifiers modifiers = Qt::ControlModifier) {
    QTest::keyClick(&window(), static_cast<Qt::Key>(key), modifiers);
  }

  std::unique_ptr<TollbrookApp> app_;
  test::FakeFolderChooser* folderChooser_ = nullptr;
};

std::vector<QString> texts(const QMenu& menu) {
  std::vector<QString> found;
  for (const QAction* action : menu.actions()) {
    if (!action->isSeparator()) found.push_back(action->text().remove(u'&'));
  }
  return found;
}

TEST_F(TollbrookAppTest, OpensAWindowOfThisTitleAndSize) {
  open();
  EXPECT_EQ(window().windowTitle(), "Tollbrook"_s);
  EXPECT_EQ(window().size(), QSize(980, 660));
}

TEST_F(TollbrookAppTest, OpensNoLargerThanTheScreen) {
  EXPECT_EQ(MainWindow::firstSize({980, 700}), QSize(980, 660));
  EXPECT_EQ(MainWindow::firstSize({800, 500}), QSize(800, 460));
}

TEST_F(TollbrookAppTest, HasItsCommandsInTheMenus) {
  EXPECT_THAT(texts(*window().findChild<QMenu*>("fileMenu"_s)), ElementsAre("Choose Folder…"_s, "Quit"_s));
  EXPECT_THAT(texts(*window().findChild<QMenu*>("fixMenu"_s)),
              ElementsAre("Scan Folder"_s, "Write Metadata"_s, "Stop"_s));
  QStringList titles;
  for (const QAction* menu : window().menuBar()->actions()) titles.push_back(menu->text().remove(u'&'));
  EXPECT_THAT(titles, ElementsAre("File"_s, "Fix"_s));
}

TEST_F(TollbrookAppTest, SharesEachCommandBetweenMenuAndToolbar) {
  const auto* toolbar = window().findChild<QToolBar*>("toolbar"_s);
  EXPECT_THAT(toolbar->actions(),
              ElementsAre(actions().scanFolder(), actions().writeMetadata(), actions().stop()));
  EXPECT_EQ(actions().scanFolder()->iconText(), "Scan"_s);
  EXPECT_EQ(actions().writeMetadata()->iconText(), "Write Metadata"_s);
  EXPECT_EQ(actions().stop()->iconText(), "Stop"_s);
}

TEST_F(TollbrookAppTest, GivesNoShortcutTwice) {
  std::multiset<QString> shortcuts;
  for (const QAction* action : window().findChildren<QAction*>()) {
    for (const QKeySequence& keys : action->shortcuts()) {
      shortcuts.insert(keys.toString(QKeySequence::PortableText));
    }
  }
  EXPECT_THAT(shortcuts, testing::UnorderedElementsAre("Ctrl+O"_s, "Ctrl+R"_s, "Ctrl+Return"_s,
                                                       "Ctrl+Enter"_s, "Ctrl+."_s, "Ctrl+Q"_s));
}

TEST_F(TollbrookAppTest, AsksOnceForAKeyThatIsHeldDown) {
  for (const QAction* command :
       {actions().chooseFolder(), actions().scanFolder(), actions().writeMetadata(), actions().stop()}) {
    EXPECT_FALSE(command->autoRepeat()) << command->text().toStdString();
  }
}

TEST_F(TollbrookAppTest, OffersOnlyToChooseAFolderBeforeThereIsOne) {
  open();
  EXPECT_EQ(enabled(), "C");
}

TEST_F(TollbrookAppTest, OffersToStopAndNothingElseDuringAScan) {
  addPair("a.jpg");
  model().setFolder(root());
  ASSERT_TRUE(model().isScanning());
  EXPECT_EQ(enabled(), "CX");
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(enabled(), "CSW");
}

TEST_F(TollbrookAppTest, OffersToStopAndNothingElseDuringAWrite) {
  addPair("a.jpg");
  open(root());
  const FolderLock lock(root());
  actions().writeMetadata()->trigger();
  ASSERT_TRUE(model().isApplying());
  EXPECT_EQ(enabled(), "CX");
  actions().stop()->trigger();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_TRUE(model().outcome()->cancelled);
  EXPECT_EQ(enabled(), "CSW");
}

TEST_F(TollbrookAppTest, OffersNoWriteWhereNothingHasASidecar) {
  addLonePhoto("a.jpg");
  open(root());
  EXPECT_EQ(enabled(), "CS");
}

TEST_F(TollbrookAppTest, ObeysItsShortcuts) {
  addPair("a.jpg");
  open();
  folderChooser_->answer = root();
  press(Qt::Key_O);
  EXPECT_EQ(model().folder(), root());
  ASSERT_TRUE(waitUntilIdle());

  press(Qt::Key_R);
  EXPECT_TRUE(model().isScanning());
  ASSERT_TRUE(waitUntilIdle());

  const FolderLock lock(root());
  press(Qt::Key_Return);
  EXPECT_TRUE(model().isApplying());
  press(Qt::Key_Period);
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_TRUE(model().outcome()->cancelled);
}

TEST_F(TollbrookAppTest, WritesByTheEnterKeyOfTheKeypadToo) {
  const path photo = addPair("a.jpg");
  open(root());
  press(Qt::Key_Enter, Qt::ControlModifier | Qt::KeypadModifier);
  EXPECT_TRUE(model().isApplying());
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_TRUE(hasTakenDate(photo));
}

TEST_F(TollbrookAppTest, ContinuesUnfinishedWorkWhenItsWindowShows) {
  const path photo = addPair("a.jpg");
  leaveUnfinishedJob(true, test::datesOnly());
  open();
  ASSERT_TRUE(waitUntil([this] { return model().outcome().has_value(); }));
  EXPECT_EQ(model().folder(), root());
  EXPECT_TRUE(hasTakenDate(photo));
}

TEST_F(TollbrookAppTest, ContinuesNothingWhenItIsStartedWithAFolder) {
  const path photo = addPair("a.jpg");
  leaveUnfinishedJob(true, test::datesOnly());
  const path other = temporary_ / "other";
  std::filesystem::create_directory(other);
  open(other);
  EXPECT_TRUE(settle(model()));
  EXPECT_EQ(model().folder(), other);
  EXPECT_FALSE(hasTakenDate(photo));
}

TEST_F(TollbrookAppTest, OpensTheFolderOfALaterStart) {
  open();
  EXPECT_EQ(app_->takeOver(root()), SingleInstance::Answer::opened);
  ASSERT_TRUE(waitUntil([this] { return model().folder() == root(); }));
  EXPECT_TRUE(waitUntilIdle());
}

TEST_F(TollbrookAppTest, ComesToTheFrontForALaterStart) {
  open();
  window().showMinimized();
  EXPECT_EQ(app_->takeOver(std::nullopt), SingleInstance::Answer::raised);
  EXPECT_FALSE(window().isMinimized());
  EXPECT_TRUE(window().isVisible());
}

TEST_F(TollbrookAppTest, SaysThatItIsBusyToALaterStart) {
  addPair("a.jpg");
  open(root());
  FolderLock lock(root());
  model().apply();
  const auto* notice = window().findChild<QLabel*>("busyNotice"_s);
  EXPECT_FALSE(notice->isVisible());
  EXPECT_EQ(app_->takeOver(temporary_.path()), SingleInstance::Answer::busy);
  EXPECT_TRUE(notice->isVisible());
  EXPECT_EQ(notice->text(), "Tollbrook is busy with Holidays 2019. Open %1 again when it has finished."_s.arg(
                                QString::fromStdString(temporary_.path().filename())));
  lock.release();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model().folder(), root());
  EXPECT_TRUE(waitUntil([&] { return !notice->isVisible(); }));
  const auto* result = window().findChild<QLabel*>("resultNotice"_s);
  EXPECT_TRUE(waitUntil([&] { return result->isVisible(); }));
  EXPECT_EQ(result->text(), "1 dated"_s);
}

TEST_F(TollbrookAppTest, GoesOnSayingWhatARunDidWhileTheFolderIsScannedAgain) {
  addPair("a.jpg");
  addPair("b.jpg");
  open(root());
  const auto* notice = window().findChild<QLabel*>("resultNotice"_s);
  model().apply();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model().statusLine(), "2 of 2 files have sidecar metadata."_s);
  EXPECT_TRUE(waitUntil([&] { return notice->isVisible(); }));
  EXPECT_EQ(notice->text(), "2 dated"_s);
  model().setFolder(temporary_.path());
  EXPECT_TRUE(waitUntil([&] { return !notice->isVisible(); }));
}

TEST_F(TollbrookAppTest, IsNotBusyWithAnotherFolderForALaterStartWithItsOwn) {
  addPair("a.jpg");
  open(root());
  const FolderLock lock(root());
  model().apply();
  window().showMinimized();
  EXPECT_EQ(app_->takeOver(root()), SingleInstance::Answer::raised);
  EXPECT_FALSE(window().isMinimized());
  EXPECT_FALSE(window().findChild<QLabel*>("busyNotice"_s)->isVisible());
  model().stop();
  ASSERT_TRUE(waitUntilIdle());
}

TEST_F(TollbrookAppTest, TellsALaterStartThatItIsClosing) {
  addPair("a.jpg");
  open(root());
  FolderLock lock(root());
  model().apply();
  EXPECT_FALSE(window().close());
  for (const auto& folder :
       {std::optional<path>(), std::optional(root()), std::optional(temporary_.path())}) {
    EXPECT_EQ(app_->takeOver(folder), SingleInstance::Answer::closing);
  }
  lock.release();
  ASSERT_TRUE(waitUntil([this] { return !window().isVisible(); }));
  EXPECT_EQ(app_->takeOver(std::nullopt), SingleInstance::Answer::closing);
  EXPECT_FALSE(window().isVisible());
}

TEST_F(TollbrookAppTest, ClosesAtOnceWhenNothingIsGoingOn) {
  open();
  EXPECT_TRUE(window().close());
}

TEST_F(TollbrookAppTest, FinishesTheFileInHandBeforeItCloses) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const path videos[] = {addLongVideo("a.mp4"), addLongVideo("b.mp4")};
  model().setOptions(defaultRestoreOptions());
  open(root());
  actions().writeMetadata()->trigger();
  ASSERT_TRUE(waitUntil([&] { return isBeingWritten(videos[0]) || isBeingWritten(videos[1]); }));

  EXPECT_FALSE(window().close());
  EXPECT_EQ(model().statusLine(), "Stopping after the current file…"_s);
  ASSERT_TRUE(waitUntil([this] { return !window().isVisible(); }));
  EXPECT_FALSE(model().isApplying());
  ASSERT_EQ(finished().size(), 1U);
  EXPECT_TRUE(hasTakenDate(root() / *finished().begin()));
  EXPECT_EQ(record()->phase, JobJournal::Phase::writing);

  start();
  open();
  ASSERT_TRUE(waitUntil([this] { return model().outcome().has_value(); }));
  for (const path& video : videos) EXPECT_TRUE(hasTakenDate(video));
  EXPECT_EQ(record()->phase, JobJournal::Phase::complete);
}

TEST_F(TollbrookAppTest, ClosesWithoutTheFileInHandWhenThatTakesTooLong) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const path video = addLongVideo("a.mp4");
  model().setOptions(defaultRestoreOptions());
  open(root());
  window().findChild<QTimer*>("patience"_s)->setInterval(1);
  actions().writeMetadata()->trigger();
  ASSERT_TRUE(waitUntil([&] { return isBeingWritten(video); }));
  EXPECT_FALSE(window().close());
  ASSERT_TRUE(waitUntil([this] { return !window().isVisible(); }));
  EXPECT_TRUE(model().isApplying());
  ASSERT_TRUE(waitUntilIdle());
}

TEST_F(TollbrookAppTest, WaitsForNoScanWhenItCloses) {
  addPair("a.jpg");
  open();
  model().setFolder(root());
  ASSERT_TRUE(model().isScanning());
  EXPECT_TRUE(window().close());
  EXPECT_TRUE(waitUntilIdle());
}

}  // namespace
}  // namespace tollbrook
