#include <gmock/gmock.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QAccessibleInterface>
#include <QApplication>
#include <QCheckBox>
#include <QProgressBar>
#include <QTableView>
#include <QTest>
#include <QTextEdit>

#include "Desktop/Support/WindowTest.h"
#include "Support/CommandLine.h"

namespace tollbrook {
namespace {

using testing::ElementsAre;

class AccessibilityTest : public test::WindowTest {
 protected:
  // The names of the controls that the tab key goes to, from the first one on.
  std::vector<QString> tabOrder() {
    std::vector<QString> names;
    find("folderCard")->setFocus();
    for (const QWidget* at = QApplication::focusWidget(); names.size() < 40;) {
      names.push_back(at->objectName());
      QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
      at = QApplication::focusWidget();
      if (at == find("folderCard")) break;
    }
    return names;
  }

  // A run that has written a file and waits before the next for as long as the lock is held.
  std::unique_ptr<test::FolderLock> holdARun() {
    for (const char* name : {"one/a.jpg", "two/b.jpg"}) addPair(name);
    scanRoot();
    // A run goes by the order of the directory.
    auto second = std::filesystem::directory_iterator(root());
    auto lock = std::make_unique<test::FolderLock>((++second)->path());
    click("writeButton");
    EXPECT_TRUE(waitUntil([this] { return !model_->currentFile().isEmpty(); }));
    return lock;
  }

  // Each changes along more than half of its edges, as by a ring; a caret changes less.
  void expectRings(const std::vector<QString>& controls) {
    const auto looks = [](QWidget* widget) { return widget->grab().toImage(); };
    for (const QString& name : controls) {
      auto* control = window_->findChild<QWidget*>(name);
      ASSERT_NE(control, nullptr) << name.toStdString();
      find("columns")->setFocus();
      window_->setAttribute(Qt::WA_KeyboardFocusChange, false);
      const QImage without = looks(control);
      control->setFocus(Qt::TabFocusReason);
      window_->setAttribute(Qt::WA_KeyboardFocusChange);
      const QImage with = looks(control);
      int changed = 0;
      for (int y = 0; y < with.height(); ++y) {
        for (int x = 0; x < with.width(); ++x) changed += with.pixel(x, y) != without.pixel(x, y) ? 1 : 0;
      }
      EXPECT_GT(changed, control->width() + control->height()) << name.toStdString();
    }
  }
};

TEST_F(AccessibilityTest, NamesEveryControl) {
  addPair("a.jpg");
  scanRoot();
  int controls = 0;
  for (QWidget* widget : window_->findChildren<QWidget*>()) {
    const bool isControl =
        qobject_cast<QAbstractButton*>(widget) != nullptr || qobject_cast<QTableView*>(widget) != nullptr ||
        qobject_cast<QTextEdit*>(widget) != nullptr || qobject_cast<QProgressBar*>(widget) != nullptr;
    // Parts of Qt's own, such as the button in a table's corner.
    if (!isControl || widget->objectName().startsWith("qt_"_s) || widget->inherits("QTableCornerButton"))
      continue;
    ++controls;
    EXPECT_FALSE(widget->objectName().isEmpty()) << widget->metaObject()->className();
    QAccessibleInterface* const told = QAccessible::queryAccessibleInterface(widget);
    ASSERT_NE(told, nullptr);
    EXPECT_FALSE(told->text(QAccessible::Name).isEmpty()) << widget->objectName().toStdString();
  }
  EXPECT_GE(controls, 18);
}

TEST_F(AccessibilityTest, TakesEveryTextOfAButtonAsItStands) {
  addPair("a.jpg");
  scanRoot();
  int texts = 0;
  for (QAbstractButton* button : window_->findChildren<QAbstractButton*>()) {
    EXPECT_TRUE(button->shortcut().isEmpty()) << button->objectName().toStdString();
    if (button->text().isEmpty() || button->objectName().startsWith("qt_"_s)) continue;
    ++texts;
    EXPECT_EQ(QAccessible::queryAccessibleInterface(button)->text(QAccessible::Name), button->text());
  }
  EXPECT_GE(texts, 16);
}

TEST_F(AccessibilityTest, GoesThroughTheWelcomeByTab) {
  EXPECT_THAT(tabOrder(), ElementsAre("folderCard"_s, "recursive"_s, "writeFileDates"_s, "writeEmbedded"_s,
                                      "writeCaptions"_s, "skipIfDatesMatch"_s, "deleteSidecars"_s,
                                      "statusLine"_s, "All"_s, "welcomeButton"_s));
}

TEST_F(AccessibilityTest, GoesThroughAScannedFolderByTab) {
  addPair("a.jpg");
  scanRoot();
  EXPECT_THAT(tabOrder(), ElementsAre("folderCard"_s, "recursive"_s, "writeFileDates"_s, "writeEmbedded"_s,
                                      "writeCaptions"_s, "skipIfDatesMatch"_s, "deleteSidecars"_s,
                                      "writeButton"_s, "statusLine"_s, "All"_s, "pairs"_s,
                                      "scanFolderToolButton"_s, "writeMetadataToolButton"_s));
}

TEST_F(AccessibilityTest, GoesThroughARunByTab) {
  const auto held = holdARun();
  EXPECT_THAT(tabOrder(),
              ElementsAre("folderCard"_s, "writeFileDates"_s, "writeEmbedded"_s, "writeCaptions"_s,
                          "skipIfDatesMatch"_s, "deleteSidecars"_s, "stopButton"_s, "currentFile"_s,
                          "statusLine"_s, "All"_s, "pairs"_s, "stopToolButton"_s));
  model_->stop();
  ASSERT_TRUE(waitUntilIdle());
}

TEST_F(AccessibilityTest, WorksByKeyboardAlone) {
  addPair("a.jpg");
  folderChooser_.answer = root();
  find("folderCard")->setFocus();
  QTest::keyClick(find("folderCard"), Qt::Key_Space);
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->folder(), root());

  QTest::keyClick(find("deleteSidecars"), Qt::Key_Space);
  EXPECT_TRUE(model_->options().deleteSidecars);
  QTest::keyClick(find("recursive"), Qt::Key_Space);
  EXPECT_FALSE(model_->recursive());
  QTest::keyClick(find("writeButton"), Qt::Key_Space);
  EXPECT_TRUE(model_->isApplying());
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->outcome()->datesSet, 1);
}

TEST_F(AccessibilityTest, HandsTheFocusFromWritingToStoppingAndBack) {
  addPair("a.jpg");
  scanRoot();
  test::FolderLock lock(root());
  find("writeButton")->setFocus();
  QTest::keyClick(find("writeButton"), Qt::Key_Space);
  ASSERT_TRUE(model_->isApplying());
  EXPECT_EQ(QApplication::focusWidget(), find("stopButton"));
  lock.release();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(QApplication::focusWidget(), find("writeButton"));
  find("statusLine")->setFocus();
  model_->scan();
  EXPECT_EQ(QApplication::focusWidget(), find("statusLine"));
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(QApplication::focusWidget(), find("statusLine"));
}

// Else the next press of the space bar would switch an option.
TEST_F(AccessibilityTest, HandsTheFocusOfAToggleToStoppingAndBack) {
  addPair("a.jpg");
  scanRoot();
  test::FolderLock lock(root());
  const RestoreOptions options = model_->options();
  find("recursive")->setFocus();
  model_->apply();
  EXPECT_EQ(QApplication::focusWidget(), find("stopButton"));
  lock.release();
  ASSERT_TRUE(waitUntilIdle());
  ASSERT_EQ(QApplication::focusWidget(), find("recursive"));
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
  EXPECT_FALSE(model_->recursive());
  EXPECT_EQ(model_->options(), options);

  // The next run is nothing to the toggle.
  find("pairs")->setFocus();
  test::FolderLock again(root());
  model_->apply();
  find("stopButton")->setFocus();
  again.release();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(QApplication::focusWidget(), find("writeButton"));
}

TEST_F(AccessibilityTest, LeavesTheFocusInTheToolbarWhenThereIsNothingLeftToWrite) {
  addPair("a.jpg");
  RestoreOptions options = model_->options();
  options.deleteSidecars = true;
  model_->setOptions(options);
  scanRoot();
  find("writeMetadataToolButton")->setFocus();
  model_->apply();
  ASSERT_TRUE(waitUntilIdle());
  ASSERT_FALSE(model_->canApply());
  EXPECT_EQ(QApplication::focusWidget(), find("scanFolderToolButton"));
}

TEST_F(AccessibilityTest, HandsTheFocusOfTheToolbarToItsStopButtonAndBack) {
  addPair("a.jpg");
  scanRoot();
  for (const char* name : {"writeMetadataToolButton", "scanFolderToolButton"}) {
    test::FolderLock lock(root());
    find(name)->setFocus();
    model_->apply();
    EXPECT_EQ(QApplication::focusWidget(), find("stopToolButton"));
    lock.release();
    ASSERT_TRUE(waitUntilIdle());
    EXPECT_EQ(QApplication::focusWidget(), find(name));
  }
}

TEST_F(AccessibilityTest, ScrollsToWhatTheTabKeyGoesTo) {
  window_->resize(window_->minimumSizeHint());
  find("folderCard")->setFocus();
  for (int presses = 0; presses < 6; ++presses) QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
  ASSERT_EQ(QApplication::focusWidget()->objectName(), "deleteSidecars"_s);
  QWidget* const toggle = QApplication::focusWidget();
  EXPECT_EQ(toggle->visibleRegion().boundingRect(), toggle->rect());
}

TEST_F(AccessibilityTest, ShowsTheFocusOnceTheKeyboardIsUsed) {
  addPairs(3);
  writeNothing();
  scanRoot();
  click("writeButton");
  ASSERT_TRUE(waitUntilIdle());
  ASSERT_TRUE(shows("lastError"));
  expectRings(tabOrder());
}

TEST_F(AccessibilityTest, ShowsTheFocusDuringARun) {
  const auto held = holdARun();
  expectRings(tabOrder());
  model_->stop();
  ASSERT_TRUE(waitUntilIdle());
}

TEST_F(AccessibilityTest, ShowsTheFocusInTheWelcome) { expectRings(tabOrder()); }

TEST_F(AccessibilityTest, KnowsTheProgressAsAValue) {
  addPairs(50);
  scanRoot();
  auto* bar = find<QProgressBar>("progress");
  QAccessibleInterface* const told = QAccessible::queryAccessibleInterface(bar);
  ASSERT_NE(told, nullptr);
  EXPECT_EQ(told->role(), QAccessible::ProgressBar);
  ASSERT_NE(told->valueInterface(), nullptr);
  std::vector<double> shares;
  QObject::connect(bar, &QProgressBar::valueChanged, bar, [&] {
    EXPECT_TRUE(bar->isVisible());
    const QAccessibleValueInterface& value = *told->valueInterface();
    shares.push_back(value.currentValue().toDouble() / value.maximumValue().toDouble());
  });
  click("writeButton");
  ASSERT_TRUE(waitUntil([this] { return model_->outcome().has_value(); }));
  EXPECT_THAT(shares, testing::Contains(1.0));
}

TEST_F(AccessibilityTest, DescribesARow) {
  addPair("a.jpg");
  addPair("b.mp4");
  scanRoot();
  const auto spoken = [this](int row) {
    return table()->model()->index(row, 0).data(Qt::AccessibleTextRole).toString();
  };
  EXPECT_EQ(spoken(0), "Photo a.jpg"_s);
  EXPECT_EQ(spoken(1), "Video b.mp4"_s);
}

}  // namespace
}  // namespace tollbrook
