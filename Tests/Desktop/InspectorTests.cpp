#include <gmock/gmock.h>

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QTextEdit>
#include <QWheelEvent>

#include "Desktop/Support/WindowTest.h"
#include "Support/CommandLine.h"
#include "Support/Fixtures.h"
#include "Tollbrook/Appearance.h"
#include "Tollbrook/ElidedLabel.h"
#include "Tollbrook/SelectableText.h"
#include "Tollbrook/Style.h"

namespace tollbrook {
namespace {

using test::FolderLock;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

class InspectorTest : public test::WindowTest {
 protected:
  QString text(const char* name) const { return find<SelectableText>(name)->text(); }

  // From the upper edge of the window.
  int top(const char* name) const { return find(name)->mapTo(window_.get(), QPoint()).y(); }

  // Starts a write that waits at its first file until the folder's lock is let go.
  void startHeldWrite() {
    scanRoot();
    click("writeButton");
    ASSERT_TRUE(model_->isApplying());
  }

  // Makes two albums of five pairs, and keeps a write from the one that it comes to last.
  void addAlbums(const std::string& prefix = "IMG_") {
    for (const char* album : {"one/", "two/"}) {
      for (int number = 1; number <= 5; ++number) addPair(album + prefix + std::to_string(number) + ".jpg");
    }
    // A write goes through a folder in the order that the system lists it in.
    path last;
    for (const auto& album : std::filesystem::directory_iterator(root())) last = album.path();
    albumLock_ = std::make_unique<FolderLock>(last);
  }
  bool hasFinishedAnAlbum() const { return model_->progressDone() == 5; }

  // Starts a write that has finished five of ten files and waits until it is stopped.
  void startHalfHeldWrite(const std::string& prefix = "IMG_") {
    addAlbums(prefix);
    scanRoot();
    click("writeButton");
    ASSERT_TRUE(waitUntil([this] { return hasFinishedAnAlbum(); }));
  }

  std::unique_ptr<FolderLock> albumLock_;

  static constexpr std::array toggles{"writeFileDates", "writeEmbedded", "writeCaptions", "skipIfDatesMatch",
                                      "deleteSidecars"};
};

TEST_F(InspectorTest, SaysWhatTheProgramDoes) {
  EXPECT_THAT(
      labels("header"),
      ElementsAre(
          "Tollbrook"_s,
          "Puts Takeout and Ferrywell JSON dates, GPS and captions back onto the files they belong to. "
          "Nested folders are included; size is not capped."_s));
}

TEST_F(InspectorTest, ShowsItsSectionsInOrder) {
  addPair("a.jpg");
  scanRoot();
  QTest::qWait(0);
  int above = -1;
  for (const char* section : {"header", "folderCard", "recursive", "stats", "options", "safety", "actions"}) {
    const int top = find(section)->mapTo(window_.get(), QPoint()).y();
    EXPECT_GT(top, above) << section;
    // The actions are pinned to the foot, over what is scrolled away.
    above = section == std::string("safety") ? above : top;
  }
}

TEST_F(InspectorTest, ScrollsNoFurtherThanToItsLastSection) {
  window_->resize(window_->minimumSizeHint());
  const QWidget* safety = find("safety");
  const QWidget* sections = find("sections");
  const auto below = [&] {
    return sections->height() - safety->mapTo(sections, QPoint(0, safety->height())).y();
  };
  EXPECT_TRUE(waitUntil([&] { return below() == 16; })) << below();
}

TEST_F(InspectorTest, EndsWithItsStatusLine) {
  addPair("a.jpg");
  scanRoot();
  const auto* status = find<SelectableText>("statusLine");
  // Its text changes its height in a later turn of the event loop.
  EXPECT_TRUE(waitUntil([&] { return status->height() == status->heightForWidth(status->width()); }))
      << status->height();
  const int endOfText = status->height() - Style::focusRoom;
  EXPECT_EQ(status->mapTo(find("inspector"), QPoint(0, endOfText)).y(), find("inspector")->height() - 16);
}

TEST_F(InspectorTest, AsksForAFolderBeforeThereIsOne) {
  EXPECT_THAT(labels("folderCard"),
              ElementsAre("Choose a folder"_s, "Google Takeout unzip, or a Ferrywell download."_s));
  EXPECT_FALSE(shows("stats"));
  EXPECT_TRUE(shows("writeButton"));
  EXPECT_FALSE(find("writeButton")->isEnabled());
  EXPECT_EQ(text("statusLine"), "Choose a folder of Google Photos downloads."_s);
}

TEST_F(InspectorTest, ChoosesAFolderByAClickOnItsCard) {
  addPair("a.jpg");
  folderChooser_.answer = root();
  click("folderCard");
  EXPECT_EQ(folderChooser_.prompt, "Choose"_s);
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->folder(), root());
  EXPECT_THAT(labels("folderCard"), ElementsAre("Holidays 2019"_s));
}

TEST_F(InspectorTest, LeavesTheFolderWhenTheChoiceIsCancelled) {
  click("folderCard");
  EXPECT_EQ(folderChooser_.asked, 1);
  EXPECT_EQ(model_->folder(), std::nullopt);
}

TEST_F(InspectorTest, CountsWhatWasFound) {
  addPairs(3);
  addLonePhoto("lone.jpg");
  scanRoot();
  EXPECT_THAT(labels("stats"),
              ElementsAre("This folder"_s, "4"_s, "3"_s, "1"_s, "media"_s, "ready"_s, "no JSON"_s));
}

TEST_F(InspectorTest, CountsLeftoverSidecarsOnlyWhereThereAreSome) {
  addPair("a.jpg");
  scanRoot();
  EXPECT_FALSE(shows("orphanJSONCount"));
  test::writeFile(root() / "b.jpg.json", test::sidecarJson());
  test::writeFile(root() / "c.jpg.json", test::sidecarJson());
  scanRoot();
  EXPECT_THAT(labels("stats"), Contains("2 leftover JSON files not paired to media."_s));
}

TEST_F(InspectorTest, NamesTheOptionsInOrder) {
  EXPECT_THAT(labels("options"), ElementsAre("When writing"_s));
  QStringList names;
  for (const char* toggle : toggles) names.append(find<QCheckBox>(toggle)->text());
  EXPECT_THAT(names, ElementsAre("File created & modified dates"_s, "Embedded EXIF / GPS (and video dates)"_s,
                                 "Captions from JSON"_s, "Skip files whose dates already match"_s,
                                 "Delete JSON after a successful write"_s));
  EXPECT_EQ(find<QCheckBox>("recursive")->text(), "Include subfolders"_s);
  for (std::size_t index = 1; index < toggles.size(); ++index) {
    EXPECT_GT(find(toggles.at(index))->y(), find(toggles.at(index - 1))->y());
  }
}

TEST_F(InspectorTest, ChangesEachOptionByItsToggle) {
  const auto values = [this] {
    const RestoreOptions& options = model_->options();
    return std::array{options.writeFileDates, options.writeEmbedded, options.writeCaptions,
                      options.skipIfDatesMatch, options.deleteSidecars};
  };
  for (std::size_t index = 0; index < toggles.size(); ++index) {
    auto expected = values();
    EXPECT_EQ(find<QCheckBox>(toggles.at(index))->isChecked(), expected.at(index));
    expected.at(index) = !expected.at(index);
    click(toggles.at(index));
    EXPECT_EQ(values(), expected) << toggles.at(index);
  }
  click("recursive");
  EXPECT_FALSE(model_->recursive());
}

TEST_F(InspectorTest, ShowsOptionsThatTheModelChanges) {
  RestoreOptions options = model_->options();
  options.deleteSidecars = true;
  options.skipIfDatesMatch = false;
  model_->setOptions(options);
  model_->setRecursive(false);
  EXPECT_TRUE(find<QCheckBox>("deleteSidecars")->isChecked());
  EXPECT_FALSE(find<QCheckBox>("skipIfDatesMatch")->isChecked());
  EXPECT_FALSE(find<QCheckBox>("recursive")->isChecked());
}

TEST_F(InspectorTest, KeepsItsTogglesLiveDuringARunForTheNext) {
  addPairs(2);
  const FolderLock lock(root());
  startHeldWrite();
  for (const char* toggle : toggles) EXPECT_TRUE(find(toggle)->isEnabled()) << toggle;
  EXPECT_FALSE(find("recursive")->isEnabled());

  click("writeFileDates");
  EXPECT_FALSE(model_->options().writeFileDates);
  model_->stop();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_TRUE(record()->options.writeFileDates);
  EXPECT_TRUE(find("recursive")->isEnabled());
}

TEST_F(InspectorTest, PromisesSafety) {
  EXPECT_THAT(
      labels("safety"),
      ElementsAre("Safety"_s,
                  "Photos are never deleted. Each file is finished (and recorded) before the next one "
                  "starts, so a crash or dead battery retries only the file that was in flight. "
                  "Reopening the app continues automatically. This Mac stays awake while writing."_s));
}

TEST_F(InspectorTest, OffersToStopWhileItScans) {
  addPairs(3);
  model_->setFolder(root());
  ASSERT_TRUE(model_->isScanning());
  EXPECT_TRUE(shows("stopButton"));
  EXPECT_FALSE(shows("writeButton"));
  EXPECT_EQ(find<QProgressBar>("progress")->value(), 0);
  EXPECT_FALSE(find("recursive")->isEnabled());
  click("stopButton");
  EXPECT_EQ(text("statusLine"), "Stopping after the current file…"_s);
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(text("statusLine"), "Scan stopped. Finished files from earlier runs are kept."_s);
  EXPECT_FALSE(shows("stopButton"));
  EXPECT_TRUE(shows("writeButton"));
}

TEST_F(InspectorTest, WritesByItsButtonAndOffersToStop) {
  startHalfHeldWrite();
  EXPECT_TRUE(shows("stopButton"));
  EXPECT_FALSE(shows("writeButton"));
  EXPECT_EQ(find<QPushButton>("stopButton")->text(), "Stop after this file"_s);
  EXPECT_TRUE(shows("currentFile"));
  EXPECT_EQ(find<ElidedLabel>("currentFile")->fullText(), model_->currentFile());
  EXPECT_THAT(text("statusLine").toStdString(),
              testing::MatchesRegex("Writing 5 of 10  (one|two)/IMG_[1-5].jpg"));
  click("stopButton");
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_TRUE(model_->outcome()->cancelled);
  EXPECT_EQ(text("statusLine"), "Stopped. Finished files are kept; reopen the app to continue the rest."_s);
}

// The button that comes stands for the opposite, and where the other was.
TEST_F(InspectorTest, TakesNoDoubleClickForOneOnTheButtonThatComes) {
  const auto clickTwice = [this](const char* name) {
    const test::DoubleClickInterval forEver(std::chrono::hours(1));
    click(name);
    QTest::keyClick(find(name), Qt::Key_Space);
  };
  addPair("a.jpg");
  FolderLock lock(root());
  startHeldWrite();
  clickTwice("stopButton");
  EXPECT_EQ(model_->statusLine(), "Writing metadata…"_s);
  click("stopButton");
  EXPECT_EQ(model_->statusLine(), "Stopping after the current file…"_s);
  lock.release();
  ASSERT_TRUE(waitUntilIdle());
  clickTwice("writeButton");
  EXPECT_FALSE(model_->isApplying());
  click("writeButton");
  EXPECT_TRUE(model_->isApplying());
  EXPECT_TRUE(waitUntilIdle());
}

TEST_F(InspectorTest, WritesOnceForAKeyThatIsHeldDown) {
  addPair("a.jpg");
  scanRoot();
  for (const bool repeats : {true, false}) {
    QKeyEvent event(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, "\r"_s, repeats);
    QApplication::sendEvent(find("writeButton"), &event);
    EXPECT_EQ(model_->isApplying(), !repeats);
  }
  EXPECT_TRUE(waitUntilIdle());
}

TEST_F(InspectorTest, FillsTheBarByWhatIsDone) {
  addPairs(4);
  scanRoot();
  auto* bar = find<QProgressBar>("progress");
  std::vector<double> shares;
  QObject::connect(bar, &QProgressBar::valueChanged, bar,
                   [&] { shares.push_back(static_cast<double>(bar->value()) / bar->maximum()); });
  click("writeButton");
  ASSERT_TRUE(waitUntil([&] { return model_->outcome().has_value(); }));
  EXPECT_EQ(model_->outcome()->datesSet, 4);
  EXPECT_THAT(shares, testing::Each(testing::AllOf(testing::Ge(0.0), testing::Le(1.0))));
  EXPECT_THAT(shares, Contains(1.0));
}

TEST_F(InspectorTest, KeepsTheBarEmptyWhileTheTotalIsUnknown) {
  addAlbums();
  leaveUnfinishedJob(true, test::datesOnly());
  model_->attemptAutoResume();
  ASSERT_TRUE(waitUntil([this] { return hasFinishedAnAlbum(); }));
  ASSERT_EQ(model_->progressTotal(), 0);
  const auto* bar = find<QProgressBar>("progress");
  EXPECT_EQ(bar->value(), bar->minimum());
  // A bar without a range runs to and fro.
  EXPECT_GT(bar->maximum(), bar->minimum());
  model_->stop();
  ASSERT_TRUE(waitUntilIdle());
}

TEST_F(InspectorTest, SaysThatItContinuesUnfinishedWork) {
  addPairs(2);
  leaveUnfinishedJob(true, test::datesOnly());
  EXPECT_FALSE(shows("resumeBanner"));
  FolderLock lock(root());
  model_->attemptAutoResume();
  ASSERT_TRUE(waitUntil([this] { return model_->isResuming(); }));
  EXPECT_TRUE(shows("resumeBanner"));
  EXPECT_THAT(labels("resumeBanner"),
              ElementsAre("Continuing unfinished work in Holidays 2019. Files already done are skipped."_s));
  lock.release();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_FALSE(shows("resumeBanner"));
}

TEST_F(InspectorTest, SaysThatItContinuesAboveTheFolder) {
  // Before any job has been continued there is no name.
  EXPECT_EQ(find<QLabel>("resumeText")->text(),
            "Continuing unfinished work in the last folder. Files already done are skipped."_s);
  addPairs(2);
  leaveUnfinishedJob(true, test::datesOnly());
  FolderLock lock(root());
  model_->attemptAutoResume();
  ASSERT_TRUE(waitUntil([this] { return shows("resumeBanner"); }));
  QTest::qWait(0);
  EXPECT_GT(top("resumeBanner"), top("header"));
  EXPECT_LT(top("resumeBanner"), top("folderCard"));
  lock.release();
  ASSERT_TRUE(waitUntilIdle());
}

TEST_F(InspectorTest, CountsNothingWhileItKnowsNoneOfAFolder) {
  addPair("a.jpg");
  scanRoot();
  ASSERT_TRUE(shows("stats"));
  model_->setFolder(temporary_.path());
  EXPECT_FALSE(shows("stats"));
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_TRUE(shows("stats"));
}

TEST_F(InspectorTest, ShowsErrorsBelowTheActions) {
  addPair("a.jpg");
  writeNothing();
  scanRoot();
  write();
  ASSERT_TRUE(shows("lastError"));
  EXPECT_TRUE(waitUntil([this] { return top("lastError") > top("statusLine"); }));
}

TEST_F(InspectorTest, LetsTheCurrentFileAndTheStatusBeSelected) {
  startHalfHeldWrite();
  model_->stop();
  ASSERT_TRUE(waitUntilIdle());
  auto* file = find<QLabel>("currentFile");
  QTest::mouseDClick(file, Qt::LeftButton, {}, QPoint(4, file->height() / 2));
  EXPECT_THAT(file->selectedText().toStdString(), testing::MatchesRegex("(one|two).*"));
  QTest::keyClick(file, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), file->selectedText());

  QContextMenuEvent asked(QContextMenuEvent::Mouse, QPoint(4, 4), file->mapToGlobal(QPoint(4, 4)));
  QApplication::sendEvent(file, &asked);
  auto* menu = file->findChild<QMenu*>("copyMenu"_s);
  ASSERT_NE(menu, nullptr);
  EXPECT_TRUE(menu->isVisible());
  QGuiApplication::clipboard()->clear();
  menu->actions().front()->trigger();
  EXPECT_EQ(QGuiApplication::clipboard()->text(), file->selectedText());
  menu->close();

  auto* status = find<QTextEdit>("statusLine");
  QTest::mouseDClick(status->viewport(), Qt::LeftButton, {}, QPoint(4, 4));
  EXPECT_EQ(status->textCursor().selectedText(), "Stopped"_s);
  EXPECT_TRUE(status->isReadOnly());
}

TEST(SelectableTextTest, GetsNoLowerByTheTextsThatComeWhileItIsHeld) {
  constexpr int width = 200;
  const QString one = "name"_s, two = "longer name "_s.repeated(4), many = "long path "_s.repeated(40);
  SelectableText text(Typography::TextStyle::caption, SelectableText::Tone::secondary);
  const auto height = [&text](const QString& shown) {
    text.setText(shown);
    return text.heightForWidth(width);
  };
  const int low = height(one), high = height(two);
  ASSERT_LT(low, high);
  ASSERT_LT(high, height(many));
  text.holdHeight(true);
  // What it said before counts for nothing, even if it is asked in between.
  EXPECT_LT(high, text.heightForWidth(width));
  EXPECT_EQ(height(one), low);
  EXPECT_EQ(height(two), high);
  EXPECT_EQ(height(one), high);
  text.holdHeight(false);
  EXPECT_EQ(text.heightForWidth(width), low);
}

TEST_F(InspectorTest, ShowsErrorsInRedToBeSelected) {
  addPairs(3);
  writeNothing();
  scanRoot();
  EXPECT_FALSE(shows("lastError"));
  write();
  EXPECT_TRUE(shows("lastError"));
  EXPECT_TRUE(text("lastError").endsWith("(+2 more)"_s)) << text("lastError").toStdString();

  auto* error = find<QTextEdit>("lastError");
  const QColor colour = error->palette().color(QPalette::Text);
  EXPECT_GT(colour.redF(), 2 * colour.greenF());
  EXPECT_GT(colour.redF(), 2 * colour.blueF());
  error->setFocus();
  QTest::keyClick(error, Qt::Key_A, Qt::ControlModifier);
  EXPECT_EQ(error->textCursor().selectedText(), model_->lastError());
  scanRoot();
  EXPECT_FALSE(shows("lastError"));
}

TEST_F(InspectorTest, ScrollsAnErrorThatIsTooLongForTheColumn) {
  path folder = root();
  for (int level = 0; level < 8; ++level) folder /= std::string(200, 'f');
  test::writePair(folder / "a.jpg", test::tinyJpeg());
  writeNothing();
  scanRoot();
  write();
  ASSERT_TRUE(shows("lastError"));
  auto* error = find<QTextEdit>("lastError");
  const QScrollBar* bar = error->verticalScrollBar();
  ASSERT_TRUE(waitUntil([&] { return bar->maximum() > 0 && error->height() > 50; }));
  EXPECT_LE(error->height(), find("inspector")->height() / 3);
  EXPECT_TRUE(bar->isVisible());
  EXPECT_TRUE(
      find("inspector")->rect().contains(QRect(error->mapTo(find("inspector"), QPoint()), error->size())));

  const QPoint middle = error->viewport()->rect().center();
  QWheelEvent wheel(middle, error->viewport()->mapToGlobal(middle), QPoint(), QPoint(0, -12000), Qt::NoButton,
                    Qt::NoModifier, Qt::NoScrollPhase, false);
  // One turn goes on by a page at most.
  for (int turn = 0; turn < 3; ++turn) QApplication::sendEvent(error->viewport(), &wheel);
  EXPECT_EQ(bar->value(), bar->maximum());
  error->setFocus();
  QTest::keyClick(error, Qt::Key_Home, Qt::ControlModifier);
  EXPECT_LE(bar->value(), Style::focusRoom);
  QTest::keyClick(error, Qt::Key_End, Qt::ControlModifier);
  EXPECT_GE(bar->value(), bar->maximum() - Style::focusRoom);
}

TEST_F(InspectorTest, HidesTheCurrentFileWhereThereIsNone) {
  EXPECT_FALSE(shows("currentFile"));
  addPair("a.jpg");
  scanRoot();
  EXPECT_FALSE(shows("currentFile"));
}

TEST_F(InspectorTest, ShowsLongNamesCutInTheMiddleAndWholeAsTooltip) {
  startHalfHeldWrite(std::string(80, 'n') + "_");
  model_->stop();
  ASSERT_TRUE(waitUntilIdle());
  const auto* file = find<ElidedLabel>("currentFile");
  EXPECT_THAT(file->text().toStdString(), testing::AllOf(testing::HasSubstr("…"), testing::EndsWith(".jpg")));
  EXPECT_EQ(file->toolTip(), model_->currentFile());
  EXPECT_LE(find("inspector")->width(), 360);
}

}  // namespace
}  // namespace tollbrook
