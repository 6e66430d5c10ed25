#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QHeaderView>
#include <QScrollBar>
#include <QTableView>
#include <QTest>
#include <algorithm>

#include "Desktop/Support/WindowTest.h"
#include "Tollbrook/DetailList.h"
#include "Tollbrook/PairTableDelegate.h"

namespace tollbrook {
namespace {

using testing::ElementsAre;

class PairTableTest : public test::WindowTest {
 protected:
  int rowOf(const QString& name) const {
    for (int index = 0; index < table()->model()->rowCount(); ++index) {
      if (row(index).front() == name) return index;
    }
    return -1;
  }
  void select(int row, int column = 0) const {
    const QModelIndex cell = table()->model()->index(row, column);
    QTest::mouseClick(table()->viewport(), Qt::LeftButton, {}, table()->visualRect(cell).center());
  }
};

TEST_F(PairTableTest, FindsANameByItsFirstLetters) {
  for (const char* name : {"alps.jpg", "beach.jpg", "Ready.jpg"}) addPair(name);
  scanRoot();
  // The word of every row in the column that was clicked on is "Ready".
  select(rowOf("Ready.jpg"_s), 3);
  const test::KeyboardInputInterval oneWord(std::chrono::seconds(30));
  QTest::keyClicks(table(), "bea"_s);
  EXPECT_EQ(find<DetailList>("detailList")->selection(), (root() / "beach.jpg").native());
}

TEST_F(PairTableTest, GoesToTheFirstAndTheLastRowByTheKeyboard) {
  addPairs(3);
  scanRoot();
  select(1);
  QTest::keyClick(table(), Qt::Key_End);
  EXPECT_EQ(table()->selectionModel()->selectedRows(), QModelIndexList{table()->model()->index(2, 0)});
  QTest::keyClick(table(), Qt::Key_Home);
  EXPECT_EQ(table()->selectionModel()->selectedRows(), QModelIndexList{table()->model()->index(0, 0)});
}

// The columns that have an edge to take hold of.
class ColumnTest : public PairTableTest, public testing::WithParamInterface<int> {
 protected:
  // Its dates with their times are longer than the least that a column has.
  static void SetUpTestSuite() { qputenv("LC_ALL", "en_GB.UTF-8"); }
  static void TearDownTestSuite() {
    if (localeBefore.isNull()) {
      qunsetenv("LC_ALL");
    } else {
      qputenv("LC_ALL", localeBefore);
    }
  }

  ColumnTest() {
    addPair("a.jpg");
    addPair("IMG_1234 " + std::string(15, 'w') + ".jpg");
    addLonePhoto("b.jpg");
    scanRoot();
    resizeWindow(1600);
  }

  void resizeWindow(int width) const {
    window_->resize(width, window_->height());
    QCoreApplication::processEvents();
  }
  QHeaderView* header() const { return table()->horizontalHeader(); }
  const PairTableDelegate* delegate() const {
    return qobject_cast<const PairTableDelegate*>(table()->itemDelegate());
  }
  std::vector<int> widths() const {
    std::vector<int> widths;
    for (int column = 0; column < header()->count(); ++column) {
      widths.push_back(header()->sectionSize(column));
    }
    return widths;
  }
  QPoint edge(int column) const {
    const int end = header()->sectionViewportPosition(column) + header()->sectionSize(column);
    return {end - 1, header()->height() / 2};
  }
  void drag(int column, int distance) const {
    const QPoint from = edge(column);
    // A header does not listen to a pointer before its beginning.
    const QPoint to(std::max(from.x() + distance, 0), from.y());
    QTest::mousePress(header()->viewport(), Qt::LeftButton, {}, from);
    QTest::mouseMove(header()->viewport(), (from + to) / 2);
    QTest::mouseMove(header()->viewport(), to);
    QTest::mouseRelease(header()->viewport(), Qt::LeftButton, {}, to);
  }
  bool fillsTheWidth() const { return header()->length() == table()->viewport()->width(); }
  // Whether a text of the column is.
  bool isCut(int column) const {
    bool cut = false;
    for (int row = 0; row < table()->model()->rowCount(); ++row) {
      const QModelIndex cell = table()->model()->index(row, column);
      cut = cut || delegate()->shown(cell) != cell.data().toString();
    }
    return cut;
  }

 private:
  inline static const QByteArray localeBefore = qgetenv("LC_ALL");
};

INSTANTIATE_TEST_SUITE_P(FileAndTaken, ColumnTest, testing::Values(0, 1));

TEST_P(ColumnTest, LeavesTheEdgeAtThePointer) {
  for (const int distance : {-20, 35}) {
    const QPoint before = edge(GetParam());
    drag(GetParam(), distance);
    EXPECT_EQ(edge(GetParam()), before + QPoint(distance, 0));
    EXPECT_TRUE(fillsTheWidth());
  }
}

TEST_P(ColumnTest, LeavesEveryColumnItsUse) {
  const std::vector<int> before = widths();
  for (const int distance : {-2000, 2000}) {
    drag(GetParam(), distance);
    EXPECT_NE(widths(), before);
    EXPECT_TRUE(fillsTheWidth());
    for (int column = 0; column < header()->count(); ++column) {
      EXPECT_GE(header()->sectionSize(column), delegate()->leastWidth(column));
    }
    EXPECT_EQ(header()->sectionSize(3), before[3]);
  }
}

TEST_P(ColumnTest, StaysAsItWasSizedWhenTheColoursChange) {
  drag(GetParam(), -20);
  const std::vector<int> before = widths();
  const test::DarkAppearance dark;
  QCoreApplication::processEvents();
  EXPECT_EQ(widths(), before);
}

TEST_P(ColumnTest, GivesTheFileWhatAWindowThatIsResizedBrings) {
  drag(GetParam(), -20);
  const std::vector<int> before = widths();
  resizeWindow(window_->minimumSizeHint().width());
  EXPECT_TRUE(fillsTheWidth());
  EXPECT_EQ(header()->sectionSize(0), delegate()->leastWidth(0));
  resizeWindow(1700);
  EXPECT_THAT(widths(), ElementsAre(before[0] + 100, before[1], before[2], before[3]));
}

TEST_P(ColumnTest, FitsAfterADoubleClickOnItsEdge) {
  drag(GetParam(), -2000);
  ASSERT_TRUE(isCut(GetParam()));
  // A press and a double click, as the system sends them.
  QTest::mouseClick(header()->viewport(), Qt::LeftButton, {}, edge(GetParam()));
  QTest::mouseDClick(header()->viewport(), Qt::LeftButton, {}, edge(GetParam()));
  EXPECT_FALSE(isCut(GetParam()));
  EXPECT_TRUE(fillsTheWidth());
  drag(GetParam(), -2);
  EXPECT_TRUE(isCut(GetParam()));
}

TEST_F(ColumnTest, HoldsTheStatusAtItsPill) {
  const std::vector<int> before = widths();
  for (const int column : {2, 3}) {
    drag(column, -40);
    EXPECT_EQ(widths(), before);
  }
}

TEST_F(ColumnTest, FitsAnotherFont) {
  drag(0, -40);
  const test::LargerFont larger(1.5);
  QCoreApplication::processEvents();
  EXPECT_TRUE(fillsTheWidth());
  EXPECT_NEAR(header()->sectionSize(0) * 45.0, header()->sectionSize(2) * 55.0, 100);
}

// A bar that comes and goes while the window gets narrower would leave the list a height that it has not.
TEST_F(ColumnTest, HasNoBarToScrollItSidewards) {
  addPairs(100);
  scanRoot();
  for (const int width : {1200, 1000, window_->minimumSizeHint().width()}) {
    resizeWindow(width);
    EXPECT_TRUE(fillsTheWidth());
    EXPECT_FALSE(table()->horizontalScrollBar()->isVisible());
    EXPECT_EQ(table()->verticalScrollBar()->maximum(),
              table()->model()->rowCount() * table()->rowHeight(0) - table()->viewport()->height());
  }
}

}  // namespace
}  // namespace tollbrook
