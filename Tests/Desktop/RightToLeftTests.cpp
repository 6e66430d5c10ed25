#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QLabel>
#include <QTableView>
#include <QTest>
#include <QTextBlock>
#include <QTextEdit>
#include <QTextLayout>

#include "Desktop/Support/WindowTest.h"
#include "Tollbrook/PairTableModel.h"

namespace tollbrook {
namespace {

// The window in a language that is written from right to left, opened there or changed while it is open.
class RightToLeftTest : public test::WindowTest, public testing::WithParamInterface<bool> {
 protected:
  RightToLeftTest() {
    left_ = look("folderChevron");
    QApplication::setLayoutDirection(Qt::RightToLeft);
    if (GetParam()) open();
    QTest::qWait(0);
  }
  ~RightToLeftTest() override { QApplication::setLayoutDirection(Qt::LeftToRight); }

  QImage look(const char* name) const {
    QWidget* const widget = find(name);
    QImage image(widget->size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    widget->render(&image, QPoint(), QRegion(), QWidget::RenderFlags());
    return image;
  }

  // How far what a cell of the first row shows is from the cell's left and right.
  std::pair<int, int> gaps(int column) const {
    const QRect cell = table()->visualRect(table()->model()->index(0, column));
    const QImage image = table()->viewport()->grab(cell).toImage();
    int first = image.width();
    int last = -1;
    for (int x = 0; x < image.width(); ++x) {
      for (int y = 0; y < image.height(); ++y) {
        if (image.pixel(x, y) == image.pixel(0, 0)) continue;
        first = std::min(first, x);
        last = std::max(last, x);
      }
    }
    return {first, image.width() - 1 - last};
  }

  QImage left_;  ///< the chevron where text runs from left to right
};

INSTANTIATE_TEST_SUITE_P(WhileOpenAndFromTheStart, RightToLeftTest, testing::Bool());

TEST_P(RightToLeftTest, KeepsTheMarginsOfTheInspector) {
  const QWidget* inspector = find("inspector");
  for (const char* name : {"header", "folderCard", "safety"}) {
    const QWidget* section = find(name);
    const int left = section->mapTo(inspector, QPoint()).x();
    EXPECT_EQ(left, 20) << name;
    EXPECT_EQ(inspector->width() - left - section->width(), 20) << name;
  }
}

TEST_P(RightToLeftTest, BeginsEachCellAtItsRight) {
  addPair("a.jpg");
  scanRoot();
  for (int column = 0; column <= PairTableModel::status; ++column) {
    const auto [left, right] = gaps(column);
    EXPECT_GE(right, 7) << column;
    EXPECT_LE(right, 11) << column;
    EXPECT_GT(left, right) << column;
  }
}

TEST_P(RightToLeftTest, BeginsNumbersAndNamesAtTheRight) {
  addPair("a.jpg");
  scanRoot();
  for (const char* name : {"folderName", "count", "shownCount"}) {
    EXPECT_TRUE(find<QLabel>(name)->alignment().testFlag(Qt::AlignRight)) << name;
    EXPECT_TRUE(find<QLabel>(name)->alignment().testFlag(Qt::AlignAbsolute)) << name;
  }
}

TEST_P(RightToLeftTest, BeginsItsSelectableTextsAtTheRight) {
  const auto* status = find<QTextEdit>("statusLine");
  ASSERT_FALSE(status->toPlainText().isEmpty());
  const QRectF line = status->document()->firstBlock().layout()->lineAt(0).naturalTextRect();
  EXPECT_GT(line.left(), 20);
  EXPECT_NEAR(line.right(), status->viewport()->width() - 2 * status->document()->documentMargin(), 2);
}

TEST_P(RightToLeftTest, PointsOnwardsToTheLeft) {
  ASSERT_NE(left_, left_.mirrored(true, false));
  EXPECT_EQ(look("folderChevron"), left_.mirrored(true, false));
}

}  // namespace
}  // namespace tollbrook
