#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QPaintEngine>
#include <QScrollArea>
#include <QScrollBar>
#include <QTableView>
#include <QTest>
#include <QTextEdit>

#include "Desktop/Support/WindowTest.h"
#include "Support/CommandLine.h"
#include "Support/Fixtures.h"
#include "Tollbrook/Appearance.h"
#include "Tollbrook/ElidedLabel.h"
#include "Tollbrook/PairTableDelegate.h"
#include "Tollbrook/PairTableModel.h"
#include "Tollbrook/StatusPill.h"
#include "Tollbrook/Typography.h"
#include "Tollbrook/WrappingText.h"

namespace tollbrook {
namespace {

// The window with the system's font at these times its size, and whether it is as small as it gets.
struct Setting {
  double font;
  bool smallest;
};

void PrintTo(const Setting& setting, std::ostream* out) {
  *out << setting.font << (setting.smallest ? " smallest" : " usual");
}

class LargeTypeTest : public test::WindowTest, public testing::WithParamInterface<Setting> {
 protected:
  LargeTypeTest() : font_(GetParam().font) {}

  void settle() {
    if (GetParam().smallest) window_->resize(window_->minimumSizeHint());
    // A height may follow from a width that followed from a height.
    for (int round = 0; round < 5; ++round) QTest::qWait(1);
  }

  void expectNothingClipped() {
    settle();
    for (const QLabel* label : window_->findChildren<QLabel*>()) {
      if (label->isVisible()) expectWhole(*label);
    }
    for (const QAbstractButton* button : window_->findChildren<QAbstractButton*>()) {
      if (button->isVisible()) expectWhole(*button);
    }
    for (const QTextEdit* text : window_->findChildren<QTextEdit*>()) {
      if (!text->isVisible() || text->verticalScrollBar()->isVisible()) continue;
      EXPECT_GE(text->height(), text->document()->size().height()) << name(*text);
    }
    for (const QWidget* widget : window_->findChildren<QWidget*>()) {
      if (widget->isVisible() && widget->parentWidget() != nullptr) expectInsideParent(*widget);
    }
    const auto* scrolled = find<QScrollArea>("inspectorScroll");
    EXPECT_LE(scrolled->widget()->width(), scrolled->viewport()->width());
  }

  // What a row shows, as far as there is room for it.
  QStringList shown(int row) const {
    const auto* delegate = qobject_cast<const PairTableDelegate*>(table()->itemDelegate());
    QStringList texts;
    for (int column = 0; column < PairTableModel::status; ++column) {
      texts.append(delegate->shown(table()->model()->index(row, column)));
      EXPECT_LE(table()->fontMetrics().horizontalAdvance(texts.back()), table()->columnWidth(column));
    }
    return texts;
  }

  static std::string name(const QWidget& widget) {
    return std::string(widget.metaObject()->className()) + ' ' + widget.objectName().toStdString();
  }

 private:
  static void expectWhole(const QLabel& label) {
    const auto* elided = qobject_cast<const ElidedLabel*>(&label);
    if (qobject_cast<const WrappingText*>(&label) != nullptr) return expectAllLines(label);
    const int flags = label.wordWrap() ? Qt::TextWordWrap : 0;
    const QRect needed =
        label.fontMetrics().boundingRect(QRect(0, 0, label.width(), 100000), flags, label.text());
    EXPECT_LE(needed.height(), label.height()) << name(label) << ": " << label.text().toStdString();
    EXPECT_LE(needed.width(), label.width()) << name(label) << ": " << label.text().toStdString();
    if (elided != nullptr && elided->text() != elided->fullText()) {
      EXPECT_EQ(elided->toolTip(), elided->fullText());
    }
  }

  // The text wraps into as many lines as it needs, and all of them are there.
  static void expectAllLines(const QLabel& label) {
    const int needed = label.heightForWidth(label.width());
    EXPECT_LE(needed, label.height()) << label.text().toStdString();
    const int lines = (needed - label.contentsMargins().top() - label.contentsMargins().bottom()) /
                      label.fontMetrics().height();
    EXPECT_GE(lines * label.contentsRect().width(), label.fontMetrics().horizontalAdvance(label.text()));
  }

  static void expectWhole(const QAbstractButton& button) {
    const QSize least = button.minimumSizeHint();
    EXPECT_LE(least.width(), button.width()) << name(button) << ": " << button.text().toStdString();
    const int height = button.hasHeightForWidth() ? button.heightForWidth(button.width()) : least.height();
    EXPECT_LE(height, button.height()) << name(button) << ": " << button.text().toStdString();
  }

  static void expectInsideParent(const QWidget& widget) {
    const QWidget& parent = *widget.parentWidget();
    const bool scrolls = parent.objectName() == "qt_scrollarea_viewport"_s || widget.isWindow();
    if (scrolls) return;
    EXPECT_TRUE(parent.rect().contains(widget.geometry()))
        << name(widget) << " at " << widget.x() << ' ' << widget.y() << ' ' << widget.width() << ' '
        << widget.height() << " in " << name(parent) << ' ' << parent.width() << ' ' << parent.height();
  }

  const test::LargerFont font_;
};

INSTANTIATE_TEST_SUITE_P(FontsAndSizes, LargeTypeTest,
                         testing::Values(Setting{1, false}, Setting{1, true}, Setting{1.5, true},
                                         Setting{2, false}, Setting{2, true}));

TEST_P(LargeTypeTest, ClipsNothingInTheWelcome) {
  expectNothingClipped();
  EXPECT_TRUE(labels("folderCard").contains("Choose a folder"_s));
  EXPECT_TRUE(labels("welcome").contains("IMG_504.HEIC.supplemental-metadata.json"_s));
}

TEST_P(LargeTypeTest, ClipsNothingInAScannedFolder) {
  addPairs(20);
  addLonePhoto("lone.jpg");
  test::writeFile(root() / "left.jpg.json", test::sidecarJson());
  scanRoot();
  expectNothingClipped();
}

TEST_P(LargeTypeTest, LeavesEachColumnRoomForWhatMatters) {
  addPair("IMG_1203.HEIC");
  addLonePhoto("MOV_1204.jpg");
  scanRoot();
  settle();
  EXPECT_EQ(shown(0).at(PairTableModel::file), "IMG_1203.HEIC"_s);
  EXPECT_TRUE(shown(0).at(PairTableModel::taken).contains("2015"_s)) << shown(0)[1].toStdString();
  EXPECT_EQ(shown(1).at(PairTableModel::file), "MOV_1204.jpg"_s);
  EXPECT_EQ(shown(1).at(PairTableModel::sidecar), "missing"_s);
}

TEST_P(LargeTypeTest, CutsLongNamesInTheMiddle) {
  addPair(std::string(86, 'n') + ".jpg");
  scanRoot();
  settle();
  for (const int column : {PairTableModel::file, PairTableModel::sidecar}) {
    EXPECT_TRUE(shown(0).at(column).contains("…"_s)) << shown(0)[column].toStdString();
    EXPECT_FALSE(shown(0).at(column).endsWith("…"_s)) << shown(0)[column].toStdString();
  }
}

TEST_P(LargeTypeTest, ClipsNothingInAFolderWithoutMedia) {
  scanRoot();
  expectNothingClipped();
}

TEST_P(LargeTypeTest, ClipsNothingOfLongNamesAndErrors) {
  const std::filesystem::path folder = root() / std::string(90, 'f');
  for (int number = 0; number < 3; ++number) {
    test::writePair(folder / (std::string(85, 'n') + std::to_string(number) + ".jpg"), test::tinyJpeg());
  }
  writeNothing();
  model_->setFolder(folder);
  ASSERT_TRUE(waitUntilIdle());
  write();
  ASSERT_FALSE(model_->lastError().isEmpty());
  expectNothingClipped();
  EXPECT_LE(find("inspector")->width(), 360);
}

TEST_P(LargeTypeTest, ClipsNothingOfALongNameThatItContinuesIn) {
  const std::filesystem::path folder = root() / std::string(90, 'f');
  test::writePair(folder / "a.jpg", test::tinyJpeg());
  leaveUnfinishedJob(folder, true, test::datesOnly());
  test::FolderLock lock(folder);
  model_->attemptAutoResume();
  ASSERT_TRUE(test::waitUntil([this] { return shows("resumeBanner"); }));
  expectNothingClipped();
  lock.release();
  EXPECT_TRUE(waitUntilIdle());
}

TEST_P(LargeTypeTest, GetsNoWiderForTheNameOfAFolderItHasNoTimeFor) {
  addPairs(20);
  scanRoot();
  settle();
  const int width = window_->width();
  const int least = window_->minimumSizeHint().width();
  window_->sayBusy(std::string(250, 'w'));
  EXPECT_TRUE(shows("busyNotice"));
  expectNothingClipped();
  EXPECT_LE(window_->width(), width);
  EXPECT_EQ(window_->minimumSizeHint().width(), least);
}

TEST_P(LargeTypeTest, HasRoomForThePillsInTheirRows) {
  addPair("a.jpg");
  scanRoot();
  settle();
  const Appearance shades(QGuiApplication::palette());
  const QFont font = Typography::font(Typography::TextStyle::captionSemibold);
  for (const PairStatus status : test::everyStatus) {
    const QSize pill = StatusPill(status, font, shades).size();
    EXPECT_LE(pill.height(), table()->rowHeight(0));
    EXPECT_LE(pill.width() + 16, table()->columnWidth(3));
  }
  EXPECT_GE(table()->rowHeight(0), 28);
  // All four columns are in sight.
  EXPECT_LE(table()->horizontalHeader()->length(), table()->viewport()->width());
}

TEST(LargeFontTest, ReachesAWindowThatIsOpen) {
  class OpenWindow : public test::WindowTest {
   public:
    void TestBody() override {}
    QList<QLabel*> labels() { return window_->findChildren<QLabel*>(); }
    int statusHeight() { return find("statusLine")->height(); }
  } window;
  const QList<QLabel*> labels = window.labels();
  std::vector<int> before;
  for (const QLabel* label : labels) before.push_back(label->fontMetrics().height());
  const int statusBefore = window.statusHeight();
  const test::LargerFont font(2);
  QTest::qWait(1);
  for (const QLabel* label : labels) {
    EXPECT_NEAR(label->fontMetrics().height(), 2 * before.at(static_cast<std::size_t>(labels.indexOf(label))),
                2)
        << label->text().toStdString();
  }
  EXPECT_TRUE(test::waitUntil([&] { return window.statusHeight() > statusBefore; }));
}

// Notes the texts that are drawn on it, cut as they are.
class NotedTexts : public QPaintDevice, private QPaintEngine {
 public:
  static QString of(QWidget& widget) {
    NotedTexts noted(widget);
    widget.render(&noted);
    return noted.texts_;
  }

 private:
  explicit NotedTexts(const QWidget& widget) : widget_(widget) {}

  QPaintEngine* paintEngine() const override { return const_cast<NotedTexts*>(this); }
  int metric(PaintDeviceMetric metric) const override {
    switch (metric) {
      case PdmWidth:
        return widget_.width();
      case PdmHeight:
        return widget_.height();
      case PdmDevicePixelRatio:
        return 1;
      case PdmDevicePixelRatioScaled:
        return static_cast<int>(devicePixelRatioFScale());
      default:
        return widget_.logicalDpiX();
    }
  }

  Type type() const override { return User; }
  bool begin(QPaintDevice*) override { return true; }
  bool end() override { return true; }
  void updateState(const QPaintEngineState&) override {}
  void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
  void drawPolygon(const QPointF*, int, PolygonDrawMode) override {}
  // A letter that is underlined comes by itself.
  void drawTextItem(const QPointF&, const QTextItem& item) override { texts_ += item.text(); }

  const QWidget& widget_;
  QString texts_;
};

class LargeMenuTest : public test::WindowTest, public testing::WithParamInterface<double> {
 protected:
  static void expectWhole(QMenu& menu) {
    const QString drawn = NotedTexts::of(menu);
    for (const QAction* action : menu.actions()) {
      EXPECT_TRUE(drawn.contains(action->text().remove(u'&'))) << drawn.toStdString();
      EXPECT_TRUE(drawn.contains(action->shortcut().toString(QKeySequence::NativeText)));
    }
  }

  // The menu that is asked for there.
  QMenu* contextMenu(QWidget* place, const char* name) {
    const QPoint point(5, 5);
    QContextMenuEvent asked(QContextMenuEvent::Mouse, point, place->mapToGlobal(point));
    QApplication::sendEvent(place, &asked);
    return find<QMenu>(name);
  }

 private:
  const test::LargerFont font_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Fonts, LargeMenuTest, testing::Values(1, 2, 3));

TEST_P(LargeMenuTest, ClipsNothingInItsMenus) {
  addPair("a.jpg");
  scanRoot();
  for (const char* name : {"fileMenu", "fixMenu"}) {
    find<QMenu>(name)->popup({});
    expectWhole(*find<QMenu>(name));
    find<QMenu>(name)->close();
  }
  table()->selectRow(0);
  expectWhole(*contextMenu(table()->viewport(), "pairMenu"));
  expectWhole(*contextMenu(find<ElidedLabel>("currentFile"), "copyMenu"));
}

}  // namespace
}  // namespace tollbrook
