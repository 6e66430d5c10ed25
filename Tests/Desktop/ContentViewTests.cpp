#include <gmock/gmock.h>

#include <QApplication>
#include <QDragEnterEvent>
#include <QMenuBar>
#include <QMimeData>
#include <QProxyStyle>
#include <QSplitter>
#include <QTest>
#include <QToolBar>
#include <QToolButton>

#include "Desktop/Support/WindowTest.h"
#include "Tollbrook/ContentView.h"
#include "Tollbrook/DropFrame.h"
#include "Tollbrook/Palette.h"

namespace tollbrook {
namespace {

using test::dragged;
using testing::ElementsAre;

class ContentViewTest : public test::WindowTest {
 protected:
  QSplitter* columns() const { return find<QSplitter>("columns"); }
  int inspectorWidth() const { return columns()->sizes().front(); }

  // Pulls the line between the columns as far as it goes.
  void pull(int by) const {
    QWidget* const handle = columns()->handle(1);
    const QPoint start = handle->rect().center();
    QTest::mousePress(handle, Qt::LeftButton, {}, start);
    QTest::mouseMove(handle, start + QPoint(by, 0));
    QTest::mouseRelease(handle, Qt::LeftButton, {}, start + QPoint(by, 0));
  }
};

TEST_F(ContentViewTest, GivesTheInspectorItsIdealWidth) { EXPECT_EQ(inspectorWidth(), 300); }

TEST_F(ContentViewTest, LetsTheInspectorBeResizedWithinItsLimits) {
  pull(-600);
  EXPECT_EQ(inspectorWidth(), 268);
  pull(600);
  EXPECT_EQ(inspectorWidth(), 360);
}

TEST_F(ContentViewTest, GivesTheListWhatTheWindowGains) {
  window_->resize(1400, 700);
  QTest::qWait(0);
  EXPECT_EQ(inspectorWidth(), 300);
}

TEST_F(ContentViewTest, HasThreeCommandsInItsToolbar) {
  const auto* toolbar = find<QToolBar>("toolbar");
  QStringList texts;
  for (const QToolButton* button : toolbar->findChildren<QToolButton*>()) {
    if (!button->isVisible()) continue;
    texts.append(button->text());
    EXPECT_FALSE(button->icon().isNull());
  }
  EXPECT_THAT(texts, ElementsAre("Scan"_s, "Write Metadata"_s, "Stop"_s));
}

TEST_F(ContentViewTest, ScansAndWritesByItsToolbar) {
  addPair("a.jpg");
  scanRoot();
  const auto button = [this](QAction* action) { return find<QToolBar>("toolbar")->widgetForAction(action); };
  QTest::mouseClick(button(window_->actions().scanFolder()), Qt::LeftButton);
  EXPECT_TRUE(model_->isScanning());
  ASSERT_TRUE(waitUntilIdle());
  QTest::mouseClick(button(window_->actions().writeMetadata()), Qt::LeftButton);
  EXPECT_TRUE(model_->isApplying());
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->outcome()->datesSet, 1);
}

TEST_F(ContentViewTest, ShowsAFrameWhileSomethingIsDraggedOverIt) {
  const auto* view = find<ContentView>("contentView");
  const auto* frame = find<DropFrame>("dropFrame");
  EXPECT_FALSE(view->dropTargeted());
  EXPECT_FALSE(frame->isVisible());

  dragOver(*dragged({root()}));
  EXPECT_TRUE(view->dropTargeted());
  EXPECT_TRUE(frame->isVisible());
  EXPECT_TRUE(frame->testAttribute(Qt::WA_TransparentForMouseEvents));
  ASSERT_TRUE(waitUntil([&] { return frame->strength() == 1; }));
  EXPECT_EQ(frame->geometry(), view->rect());
  // The line is dashed: along it amber and what is behind it take turns.
  const QImage image = find("contentView")->grab().toImage();
  int changes = 0;
  bool amber = false;
  for (int x = 30; x < image.width() - 30; ++x) {
    const bool isAmber = image.pixel(x, image.height() - 9) == Palette::amber.rgb();
    changes += isAmber != amber ? 1 : 0;
    amber = isAmber;
  }
  EXPECT_GT(changes, 20);

  dragAway();
  EXPECT_FALSE(view->dropTargeted());
  EXPECT_TRUE(waitUntil([&] { return !frame->isVisible(); }));
}

// A style whose animations take so long; none is what desktops without motion ask for.
class StyleWithMotion : public QProxyStyle {
 public:
  explicit StyleWithMotion(int milliseconds) : milliseconds_(milliseconds) {}
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* result) const override {
    if (hint == SH_Widget_Animation_Duration) return milliseconds_;
    return QProxyStyle::styleHint(hint, option, widget, result);
  }

 private:
  const int milliseconds_;
};

TEST_F(ContentViewTest, ShowsItsFrameAtOnceOnADesktopWithoutMotion) {
  auto* frame = find<DropFrame>("dropFrame");
  StyleWithMotion still(0);
  StyleWithMotion moving(200);
  frame->setStyle(&still);
  dragOver(*dragged({root()}));
  EXPECT_EQ(frame->strength(), 1);
  dragAway();
  EXPECT_FALSE(frame->isVisible());

  frame->setStyle(&moving);
  dragOver(*dragged({root()}));
  EXPECT_TRUE(frame->isVisible());
  EXPECT_LT(frame->strength(), 1);
  frame->setStyle(nullptr);
}

TEST_F(ContentViewTest, ShowsNoFrameForWhatIsNoFile) {
  QMimeData text;
  text.setText("a word"_s);
  dragOver(text);
  EXPECT_FALSE(find<ContentView>("contentView")->dropTargeted());
}

TEST_F(ContentViewTest, ShowsNoFrameForALinkToElsewhere) {
  QMimeData link;
  link.setUrls({QUrl("https://photos.example/album"_s)});
  dragOver(link);
  EXPECT_FALSE(find<ContentView>("contentView")->dropTargeted());
}

TEST_F(ContentViewTest, CopiesWhatIsDroppedEvenIfAMoveIsProposed) {
  const auto data = dragged({root()});
  QDragEnterEvent enter(QPoint(50, 50), Qt::CopyAction | Qt::MoveAction, data.get(), Qt::LeftButton,
                        Qt::ShiftModifier);
  ASSERT_EQ(enter.proposedAction(), Qt::MoveAction);
  QApplication::sendEvent(find("contentView"), &enter);
  QDropEvent drop(QPointF(50, 50), Qt::CopyAction | Qt::MoveAction, data.get(), Qt::LeftButton,
                  Qt::ShiftModifier);
  QApplication::sendEvent(find("contentView"), &drop);
  EXPECT_TRUE(drop.isAccepted());
  EXPECT_EQ(drop.dropAction(), Qt::CopyAction);
  ASSERT_TRUE(waitUntil([this] { return model_->report().has_value(); }));
}

TEST_F(ContentViewTest, TakesADroppedFolder) {
  addPair("a.jpg");
  const auto data = dragged({root()});
  dragOver(*data);
  EXPECT_TRUE(drop(*data));
  EXPECT_FALSE(find<ContentView>("contentView")->dropTargeted());
  ASSERT_TRUE(waitUntil([this] { return model_->report().has_value(); }));
  EXPECT_EQ(model_->folder(), root());
}

TEST_F(ContentViewTest, TakesADropAnywhereOnTheWindow) {
  const auto data = dragged({root()});
  auto* view = find<ContentView>("contentView");
  window_->sayBusy(root());
  for (QWidget* place : {static_cast<QWidget*>(window_->menuBar()), find("busyNotice"), find("statusLine")}) {
    QDragEnterEvent enter(QPoint(1, 1), Qt::CopyAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(place, &enter);
    EXPECT_TRUE(view->dropTargeted()) << place->objectName().toStdString();
    QDropEvent drop(QPointF(1, 1), Qt::CopyAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    drop.ignore();
    QApplication::sendEvent(place, &drop);
    EXPECT_TRUE(drop.isAccepted());
    EXPECT_FALSE(view->dropTargeted());
    ASSERT_TRUE(waitUntil([this] { return model_->report().has_value(); }));
    model_->setFolder(temporary_.path());
    ASSERT_TRUE(waitUntilIdle());
  }
}

TEST_F(ContentViewTest, TakesTheFolderOfADroppedFile) {
  const path photo = addPair("a.jpg");
  EXPECT_TRUE(drop(*dragged({photo})));
  ASSERT_TRUE(waitUntil([this] { return model_->report().has_value(); }));
  EXPECT_EQ(model_->folder(), root());
}

TEST_F(ContentViewTest, IgnoresADroppedPathThatIsGone) {
  EXPECT_TRUE(drop(*dragged({root() / "gone"})));
  EXPECT_TRUE(test::settle(*model_));
  EXPECT_EQ(model_->folder(), std::nullopt);
}

TEST_F(ContentViewTest, RefusesADropOfNothing) { EXPECT_FALSE(drop(QMimeData())); }

}  // namespace
}  // namespace tollbrook
