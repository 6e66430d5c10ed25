#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "Tollbrook/Latest.h"

namespace tollbrook {
namespace {

TEST(LatestTest, IsEmptyAtFirst) {
  Latest<int> latest;
  EXPECT_EQ(latest.take(), std::nullopt);
}

TEST(LatestTest, HandsOutTheNewestValueOnce) {
  Latest<int> latest;
  latest.put(1);
  latest.put(2);
  EXPECT_EQ(latest.take(), 2);
  EXPECT_EQ(latest.take(), std::nullopt);
}

TEST(LatestTest, TellsTheReaderOnlyOfTheFirstValueThatItHasNotTaken) {
  Latest<int> latest;
  EXPECT_TRUE(latest.put(1));
  EXPECT_FALSE(latest.put(2));
  latest.take();
  EXPECT_TRUE(latest.put(3));
}

TEST(LatestTest, HandsOverWhatCannotBeCopied) {
  Latest<std::unique_ptr<int>> latest;
  latest.put(std::make_unique<int>(4));
  EXPECT_EQ(*latest.take().value(), 4);
}

// A reader that takes whenever it is told sees values in order, and the last one.
TEST(LatestTest, LosesNeitherTheOrderNorTheEndBetweenThreads) {
  constexpr int last = 100000;
  Latest<int> latest;
  std::thread writer([&] {
    for (int value = 1; value <= last; ++value) latest.put(value);
  });
  for (int before = 0; before < last;) {
    const int value = latest.take().value_or(before);
    EXPECT_GE(value, before);
    before = value;
  }
  writer.join();
  EXPECT_EQ(latest.take(), std::nullopt);
}

}  // namespace
}  // namespace tollbrook
