#include <gtest/gtest.h>

#include <QHeaderView>
#include <QImage>
#include <QScrollBar>
#include <QTableView>
#include <atomic>
#include <cstdlib>
#include <vector>

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

  // Scrolls to `row` and paints the page there into memory that is there already.
  void show(int row) {
    table()->verticalScrollBar()->setValue(row * table()->rowHeight(0));
    table()->viewport()->render(&image_);
  }

  long allocationsOfShowing(int row) {
    const long before = allocations;
    show(row);
    return allocations - before;
  }

  // Makes pages of so many rows.
  void setPage(int height) {
    table()->setFixedHeight(height * table()->rowHeight(0) + table()->horizontalHeader()->height());
    image_ = QImage(table()->viewport()->size(), QImage::Format_ARGB32_Premultiplied);
  }

  static constexpr int rows = 4000;
  QImage image_;
};

// Whatever Qt takes for a page, such as for its clip, it takes once and not for each row.
TEST_F(ScrollingTest, AllocatesNothingForARowThatWasNeverShown) {
  if (test::isInstrumented) GTEST_SKIP() << "a sanitizer counts its own allocations";
  // The first rows show every character, icon and pill once.
  setPage(45);
  for (const int row : {0, 45, 90}) show(row);
  std::vector<long> taken;
  for (const int height : {5, 45}) {
    setPage(height);
    show(0);
    const int first = height == 5 ? 200 : 2000;
    long total = 0;
    for (int page = 0; page < 40; ++page) total += allocationsOfShowing(first + page * 45);
    taken.push_back(total);
  }
  EXPECT_EQ(taken[0], taken[1]) << "by 40 pages of 5 rows, and by 40 of 45";
}

}  // namespace
}  // namespace tollbrook
