#include <gtest/gtest.h>

#include <QHeaderView>
#include <QImage>
#include <QScrollBar>
#include <QTableView>
#include <atomic>
#include <cstdlib>

#include "Desktop/Support/WindowTest.h"
#include "Support/Fixtures.h"
#include "Support/Instrumented.h"

namespace {

// Every allocation of this program, Qt's own included.
std::atomic<long> allocations = 0;

}  // namespace

#if !TOLLBROOK_INSTRUMENTED
extern "C" void* __libc_malloc(std::size_t size);  // glibc's own
extern "C" void* malloc(std::size_t size) {
  ++allocations;
  return __libc_malloc(size);
}
#endif

namespace tollbrook {
namespace {

class ScrollingTest : public test::WindowTest {
 protected:
  ScrollingTest() {
    for (int number = 0; number < rows; ++number) {
      const std::string name = "IMG_" + std::to_string(number) + (number % 9 == 0 ? ".mp4" : ".jpg");
      number % 3 == 0 ? test::writeFile(root() / name, "") : test::writePair(root() / name, "");
    }
    scanRoot();
  }

  // Paints the rows from `row` on into memory that is there already.
  void paint(int row, int height) {
    table()->setFixedHeight(height + table()->horizontalHeader()->height());
    table()->verticalScrollBar()->setValue(row * table()->rowHeight(0));
    QWidget* const viewport = table()->viewport();
    if (image_.size() != viewport->size())
      image_ = QImage(viewport->size(), QImage::Format_ARGB32_Premultiplied);
    viewport->render(&image_);
  }

  long allocationsOfPainting(int row, int height) {
    paint(row, height);
    const long before = allocations;
    table()->viewport()->render(&image_);
    return allocations - before;
  }

  static constexpr int rows = 4000;
  QImage image_;
};

TEST_F(ScrollingTest, AllocatesNothingForARow) {
  if (test::isInstrumented) GTEST_SKIP() << "a sanitizer counts its own allocations";
  const int row = table()->rowHeight(0);
  allocationsOfPainting(0, 5 * row);
  for (const int from : {0, 1000, 3000}) {
    const long few = allocationsOfPainting(from, 5 * row);
    const long many = allocationsOfPainting(from, 45 * row);
    EXPECT_EQ(many, few) << "from row " << from;
  }
}

}  // namespace
}  // namespace tollbrook
