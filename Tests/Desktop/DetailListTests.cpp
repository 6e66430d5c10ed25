#include <gmock/gmock.h>

#include <QAbstractButton>
#include <QApplication>
#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QTableView>
#include <QTest>
#include <QTextDocument>
#include <QTextEdit>
#include <QToolTip>
#include <algorithm>

#include "Desktop/Support/WindowTest.h"
#include "Support/CommandLine.h"
#include "Support/Fixtures.h"
#include "Tollbrook/Appearance.h"
#include "Tollbrook/DetailList.h"
#include "Tollbrook/Icons.h"
#include "Tollbrook/Palette.h"
#include "Tollbrook/SegmentedPicker.h"
#include "Tollbrook/ShortcutButton.h"
#include "Tollbrook/TakenDateFormat.h"
#include "Tollbrook/Typography.h"

namespace tollbrook {
namespace {

using testing::ElementsAre;

class DetailListTest : public test::WindowTest {
 protected:
  QString shown() const { return find<QLabel>("shownCount")->text(); }
  void pick(RowFilter filter) const {
    QTest::mouseClick(find<SegmentedPicker>("filter")->segment(static_cast<int>(filter)), Qt::LeftButton);
  }

  QPoint middleOf(int row) const { return table()->visualRect(table()->model()->index(row, 0)).center(); }
  void select(int row) const { QTest::mouseClick(table()->viewport(), Qt::LeftButton, {}, middleOf(row)); }

  // What can be seen of the table there.
  QImage picture(const QRect& place) const {
    return table()->viewport()->grab(place).toImage().convertToFormat(QImage::Format_RGB32);
  }

  // What the system sends for a right click there.
  void rightClick(const QPoint& place) const {
    QWidget* const viewport = table()->viewport();
    QTest::mouseClick(viewport, Qt::RightButton, {}, place);
    QContextMenuEvent event(QContextMenuEvent::Mouse, place, viewport->mapToGlobal(place));
    QApplication::sendEvent(viewport, &event);
  }

  // The items of the menu that a right click on a row opens; chooses one of them.
  QStringList contextMenu(int row, const QString& choice = {}) const {
    rightClick(middleOf(row));
    return openMenu(choice);
  }

  // The items of the menu that is open, which ends with this.
  QStringList openMenu(const QString& choice = {}) const {
    auto* menu = window_->findChild<QMenu*>("pairMenu"_s);
    if (menu == nullptr) return {};
    QStringList items;
    for (QAction* action : menu->actions()) {
      items.append(action->text());
      if (action->text() == choice) action->trigger();
    }
    menu->close();
    delete menu;
    return items;
  }
};

TEST_F(DetailListTest, WelcomesBeforeThereIsAFolder) {
  EXPECT_TRUE(shows("welcome"));
  EXPECT_FALSE(shows("pairs"));
  EXPECT_FALSE(shows("noMedia"));
  EXPECT_THAT(labels("welcome"),
              ElementsAre("Drop a download folder here"_s, "Pairs each photo with its JSON, for example:"_s,
                          "IMG_504.HEIC"_s, "IMG_504.HEIC.supplemental-metadata.json"_s));
}

TEST_F(DetailListTest, ChoosesAFolderFromTheWelcome) {
  addPair("a.jpg");
  folderChooser_.answer = root();
  const auto* button = find<ShortcutButton>("welcomeButton");
  EXPECT_EQ(button->text(), "Choose Folder…"_s);
  EXPECT_EQ(button->shownShortcut(), QKeySequence(Qt::CTRL | Qt::Key_O).toString(QKeySequence::NativeText));
  EXPECT_TRUE(button->shortcut().isEmpty());
  click("welcomeButton");
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_FALSE(shows("welcome"));
  EXPECT_TRUE(shows("pairs"));
}

TEST_F(DetailListTest, ShowsAnEmptyTableDuringAFirstScan) {
  model_->setFolder(root());
  ASSERT_TRUE(model_->isScanning());
  EXPECT_TRUE(shows("pairs"));
  EXPECT_FALSE(shows("noMedia"));
  EXPECT_EQ(table()->model()->rowCount(), 0);
  ASSERT_TRUE(waitUntilIdle());
}

TEST_F(DetailListTest, SaysWhereThereIsNoMedia) {
  test::writeFile(root() / "notes.txt", "no photo");
  scanRoot();
  EXPECT_TRUE(shows("noMedia"));
  EXPECT_FALSE(shows("welcome"));
  EXPECT_FALSE(shows("pairs"));
  EXPECT_THAT(labels("noMedia"),
              ElementsAre("No media found"_s, "This folder has no photos or videos Tollbrook recognises."_s));
}

// A job is continued without a scan, and only a scan lists pairs.
TEST_F(DetailListTest, ListsNothingWhileAJobIsContinued) {
  addPairs(3);
  leaveUnfinishedJob(true, test::datesOnly());
  test::FolderLock lock(root());
  model_->attemptAutoResume();
  ASSERT_TRUE(waitUntil([this] { return model_->isApplying(); }));
  EXPECT_TRUE(shows("noMedia"));
  lock.release();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(model_->statusLine(), "3 dated"_s);
  EXPECT_TRUE(shows("noMedia"));
  model_->scan();
  EXPECT_TRUE(shows("pairs"));
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(table()->model()->rowCount(), 3);
}

TEST_F(DetailListTest, ShowsEachPair) {
  addPair("a.jpg");
  addPair("b.mp4");
  addLonePhoto("c.jpg");
  scanRoot();
  const QString taken = TakenDateFormat().text(fromEpoch(1425445567));
  EXPECT_THAT(row(0), ElementsAre("a.jpg"_s, taken, "a.jpg.supplemental-metadata.json"_s, "Ready"_s));
  EXPECT_THAT(row(1), ElementsAre("b.mp4"_s, taken, "b.mp4.supplemental-metadata.json"_s, "Ready"_s));
  EXPECT_THAT(row(2), ElementsAre("c.jpg"_s, "—"_s, "missing"_s, "No sidecar"_s));
}

TEST_F(DetailListTest, ShowsNoNameSoThatItTurnsTextRound) {
  addPair("a\u202Egpj.jpg");
  scanRoot();
  EXPECT_EQ(row(0).at(0), "a\uFFFDgpj.jpg"_s);
  EXPECT_EQ(row(0).at(2), "a\uFFFDgpj.jpg.supplemental-metadata.json"_s);
  EXPECT_EQ(table()->model()->index(0, 0).data(Qt::ToolTipRole).toString(), "a\uFFFDgpj.jpg"_s);
}

TEST_F(DetailListTest, DrawsAPhotoOrAFilmBeforeEachName) {
  addPair("a.jpg");
  addPair("b.mp4");
  scanRoot();
  const auto expected = [this](Icons::Symbol symbol, const QColor& ground) {
    const int side = Typography::scaled(16);
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(ground);
    QPainter(&image).drawPixmap(
        0, 0, Icons::icon(symbol, Palette::amber).pixmap(QSize(side, side), table()->devicePixelRatioF()));
    return image;
  };
  const Appearance& shades = Appearance::current();
  const QImage photo = expected(Icons::Symbol::photo, shades.surface);
  const QImage film = expected(Icons::Symbol::film, shades.stripe);
  const auto drawn = [this](int row, const QImage& icon) {
    const QRect cell = table()->visualRect(table()->model()->index(row, 0));
    const QPoint corner(cell.left() + 8, cell.top() + (cell.height() - icon.height()) / 2);
    return picture(QRect(corner, icon.size()));
  };
  EXPECT_EQ(drawn(0, photo), photo);
  EXPECT_EQ(drawn(1, film), film);
}

// How far the strongest pixel of a cell's text stands off from its ground.
double strength(const QImage& cell, const QColor& ground) {
  double strongest = 1;
  for (int y = 0; y < cell.height(); ++y) {
    for (int x = 0; x < cell.width(); ++x) {
      strongest = std::max(strongest, contrast(cell.pixelColor(x, y), ground));
    }
  }
  return strongest;
}

TEST_F(DetailListTest, SaysWhatIsMissingInAFainterShade) {
  addPair("a.jpg");
  addLonePhoto("b.jpg");
  scanRoot();
  const Appearance& shades = Appearance::current();
  for (const int column : {1, 2}) {
    const auto drawn = [&](int row) {
      return picture(table()->visualRect(table()->model()->index(row, column)));
    };
    const double faint = contrast(shades.tertiaryText, shades.stripe);
    EXPECT_GT(strength(drawn(0), shades.surface), faint * 1.2) << column;
    const double missing = strength(drawn(1), shades.stripe);
    EXPECT_GT(missing, faint * 0.6) << column;
    EXPECT_LE(missing, faint + 1e-6) << column;
  }
}

TEST_F(DetailListTest, SaysInATooltipWhatIsCut) {
  const QString name = "<b>"_s + QString(80, u'n') + ".jpg"_s;
  addPair("a.jpg");
  addPair(name.toStdString());
  scanRoot();
  const auto toolTip = [this](int row, int column) {
    const QPoint place = table()->visualRect(table()->model()->index(row, column)).center();
    QHelpEvent event(QEvent::ToolTip, place, table()->viewport()->mapToGlobal(place));
    QApplication::sendEvent(table()->viewport(), &event);
    return QToolTip::text();
  };
  EXPECT_EQ(toolTip(1, 2), "a.jpg.supplemental-metadata.json"_s);
  EXPECT_EQ(toolTip(0, 0), Qt::convertFromPlainText(name));
  EXPECT_TRUE(waitUntil([&] { return toolTip(1, 0).isEmpty(); }));
}

TEST_F(DetailListTest, NamesItsColumns) {
  QStringList names;
  for (int column = 0; column < table()->model()->columnCount(); ++column) {
    names.append(table()->model()->headerData(column, Qt::Horizontal).toString());
  }
  EXPECT_THAT(names, ElementsAre("File"_s, "Taken"_s, "Sidecar"_s, "Status"_s));
}

TEST_F(DetailListTest, OffersTheFiltersInOrder) {
  const auto* filter = find<SegmentedPicker>("filter");
  QStringList names;
  for (int index = 0; index < 4; ++index) names.append(filter->segment(index)->text());
  EXPECT_THAT(names, ElementsAre("All"_s, "Ready"_s, "No sidecar"_s, "Problems"_s));
  EXPECT_EQ(filter->current(), 0);
  EXPECT_LE(filter->width(), 420);
  EXPECT_THAT(labels("detailList"), testing::Contains("Show"_s));
}

TEST_F(DetailListTest, CountsWhatTheFilterShows) {
  addPairs(3);
  addLonePhoto("x.jpg");
  addLonePhoto("y.jpg");
  EXPECT_EQ(shown(), "0 shown"_s);
  scanRoot();
  EXPECT_EQ(shown(), "5 shown"_s);
  pick(RowFilter::ready);
  EXPECT_EQ(model_->filter(), RowFilter::ready);
  EXPECT_EQ(shown(), "3 shown"_s);
  pick(RowFilter::problems);
  EXPECT_EQ(shown(), "2 shown"_s);
  EXPECT_EQ(row(0).front(), "x.jpg"_s);
}

TEST_F(DetailListTest, ShowsPhotosWithoutSidecarInTwoFilters) {
  addPair("a.jpg");
  addLonePhoto("b.jpg");
  scanRoot();
  pick(RowFilter::unmatched);
  EXPECT_EQ(row(0).front(), "b.jpg"_s);
  pick(RowFilter::problems);
  EXPECT_EQ(row(0).front(), "b.jpg"_s);
}

TEST_F(DetailListTest, FollowsAFilterThatTheModelChanges) {
  model_->setFilter(RowFilter::problems);
  EXPECT_EQ(find<SegmentedPicker>("filter")->current(), 3);
}

TEST_F(DetailListTest, ShowsTheTableWhereAFilterHidesAll) {
  addPair("a.jpg");
  scanRoot();
  pick(RowFilter::problems);
  EXPECT_TRUE(shows("pairs"));
  EXPECT_EQ(shown(), "0 shown"_s);
}

TEST_F(DetailListTest, SelectsOneRow) {
  addPairs(3);
  scanRoot();
  const auto* list = find<DetailList>("detailList");
  EXPECT_EQ(list->selection(), std::nullopt);
  select(1);
  EXPECT_EQ(list->selection(), (root() / "IMG_2.jpg").native());
  select(2);
  EXPECT_EQ(table()->selectionModel()->selectedRows().size(), 1);
  EXPECT_EQ(list->selection(), (root() / "IMG_3.jpg").native());
}

TEST_F(DetailListTest, KeepsTheSelectedPairSelectedThroughFiltersAndScans) {
  addPairs(2);
  addLonePhoto("IMG_9.jpg");
  scanRoot();
  select(1);
  pick(RowFilter::problems);
  EXPECT_EQ(table()->selectionModel()->selectedRows().size(), 0);
  pick(RowFilter::all);
  ASSERT_EQ(table()->selectionModel()->selectedRows().size(), 1);
  EXPECT_EQ(table()->selectionModel()->selectedRows().front().row(), 1);
  model_->scan();
  ASSERT_TRUE(waitUntilIdle());
  ASSERT_EQ(table()->selectionModel()->selectedRows().size(), 1);
  EXPECT_EQ(table()->selectionModel()->selectedRows().front().row(), 1);
}

TEST_F(DetailListTest, StaysWhereItWasScrolledToWhenTheFolderIsScannedAgain) {
  addPairs(60);
  scanRoot();
  select(3);
  QScrollBar* bar = table()->verticalScrollBar();
  bar->setValue(bar->maximum());
  const int inSight = bar->value();
  ASSERT_GT(inSight, 500);
  model_->scan();
  ASSERT_TRUE(waitUntilIdle());
  EXPECT_EQ(bar->value(), inSight);
  EXPECT_EQ(table()->selectionModel()->selectedRows().size(), 1);
}

TEST_F(DetailListTest, ScrollsToTheSelectionAmongTheRowsOfAnotherFilter) {
  addPairs(60);
  addLonePhoto("IMG_999.jpg");
  scanRoot();
  pick(RowFilter::problems);
  select(0);
  pick(RowFilter::all);
  const QModelIndexList selected = table()->selectionModel()->selectedRows();
  ASSERT_EQ(selected.size(), 1);
  EXPECT_GT(selected.front().row(), 50);
  EXPECT_TRUE(waitUntil(
      [&] { return table()->viewport()->rect().intersects(table()->visualRect(selected.front())); }));
}

TEST_F(DetailListTest, RevealsThePhotoAndItsSidecar) {
  const path photo = addPair("a.jpg");
  scanRoot();
  EXPECT_THAT(contextMenu(0, "Reveal in Finder"_s),
              ElementsAre("Reveal in Finder"_s, "Reveal sidecar JSON"_s));
  contextMenu(0, "Reveal sidecar JSON"_s);
  EXPECT_THAT(fileManager_.revealed, ElementsAre(photo, test::sidecarOf(photo)));
}

TEST_F(DetailListTest, RevealsNoSidecarWhereThereIsNone) {
  addLonePhoto("a.jpg");
  scanRoot();
  EXPECT_THAT(contextMenu(0), ElementsAre("Reveal in Finder"_s));
}

TEST_F(DetailListTest, OpensItsContextMenuByTheKeyboard) {
  const path photo = addPair("a.jpg");
  scanRoot();
  select(0);
  table()->setFocus();
  ASSERT_EQ(QApplication::focusWidget(), table());
  // Where the pointer is does not matter to the menu key.
  const QPoint place(3, 3);
  QContextMenuEvent event(QContextMenuEvent::Keyboard, place, table()->mapToGlobal(place));
  QApplication::sendEvent(QApplication::focusWidget(), &event);
  EXPECT_THAT(openMenu("Reveal in Finder"_s), ElementsAre("Reveal in Finder"_s, "Reveal sidecar JSON"_s));
  EXPECT_THAT(fileManager_.revealed, ElementsAre(photo));
}

TEST_F(DetailListTest, OpensItsContextMenuInTheListWhenTheRowIsScrolledAway) {
  addPairs(100);
  scanRoot();
  select(0);
  table()->setFocus();
  table()->scrollToBottom();
  const QPoint row = middleOf(0);
  ASSERT_LT(row.y(), -500);
  QContextMenuEvent event(QContextMenuEvent::Keyboard, row, table()->viewport()->mapToGlobal(row));
  QApplication::sendEvent(table()->viewport(), &event);
  const auto* menu = window_->findChild<QMenu*>("pairMenu"_s);
  ASSERT_NE(menu, nullptr);
  EXPECT_TRUE(table()->rect().contains(table()->mapFromGlobal(menu->pos())));
  openMenu();
}

TEST_F(DetailListTest, HasNoContextMenuWithoutASelection) {
  addPair("a.jpg");
  scanRoot();
  rightClick(QPoint(5, table()->viewport()->height() - 5));
  EXPECT_EQ(window_->findChild<QMenu*>("pairMenu"_s), nullptr);
}

TEST_F(DetailListTest, HasNoContextMenuForAPairThatIsNotListed) {
  addPair("a.jpg");
  scanRoot();
  select(0);
  model_->setFilter(RowFilter::problems);
  ASSERT_EQ(table()->model()->rowCount(), 0);
  ASSERT_TRUE(find<DetailList>("detailList")->selection());
  Q_EMIT table()->customContextMenuRequested(QPoint(5, 5));
  EXPECT_EQ(window_->findChild<QMenu*>("pairMenu"_s), nullptr);
}

TEST_F(DetailListTest, MovesTheSelectionByTheKeyboard) {
  addPairs(3);
  scanRoot();
  table()->setFocus();
  QTest::keyClick(table(), Qt::Key_Home, Qt::ControlModifier);
  QTest::keyClick(table(), Qt::Key_Down);
  EXPECT_EQ(find<DetailList>("detailList")->selection(), (root() / "IMG_2.jpg").native());
}

TEST_F(DetailListTest, ChangesTheFilterByTheKeyboard) {
  auto* filter = find<SegmentedPicker>("filter");
  filter->segment(0)->setFocus();
  QTest::keyClick(filter->segment(0), Qt::Key_Right);
  EXPECT_EQ(model_->filter(), RowFilter::ready);
}

TEST_F(DetailListTest, ShowsOnlyTheSampleOfACappedScan) {
  for (int number = 0; number < 4003; ++number) {
    test::writeFile(root() / ("IMG_" + std::to_string(number) + ".jpg"), "");
  }
  addPair("paired.jpg");
  scanRoot();
  ASSERT_TRUE(model_->report()->listCapped);
  EXPECT_EQ(table()->model()->rowCount(), 4000);
  EXPECT_EQ(shown(), "4000 shown"_s);
  EXPECT_EQ(find<QTextEdit>("statusLine")->toPlainText(),
            "1 of 4004 files have sidecar metadata. Showing a sample of 4000 — every nested folder is still "
            "included when writing."_s);
}

}  // namespace
}  // namespace tollbrook
