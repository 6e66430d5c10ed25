#include <gtest/gtest.h>

#include "TollbrookCore/ImageMetadata/OutputPlan.h"

namespace tollbrook::ImageMetadata {
namespace {

const std::string text = "0123456789";
const MemorySource source(text);

TEST(OutputPlan, IsMadeOfOldAndNewBytes) {
  OutputPlan plan(source);
  plan.copy(5, 3);
  plan.add("new");
  plan.copy(0, 2);
  EXPECT_EQ(plan.bytes(), "567new01");
  EXPECT_EQ(plan.read(2, 3), "7ne");
  EXPECT_EQ(plan.readUpTo(6, 100), "01");
  EXPECT_THROW(plan.read(6, 3), Refused);
  EXPECT_THROW(plan.copy(8, 3), Refused);
}

TEST(OutputPlan, TakesNewBytesInThePlaceOfOthers) {
  OutputPlan plan = OutputPlan::copyOf(source);
  plan.overwrite(3, "abc");
  EXPECT_EQ(plan.bytes(), "012abc6789");
  plan.overwrite(5, "xy");
  EXPECT_EQ(plan.bytes(), "012abxy789");
  plan.overwrite(0, "AAAAAAAAAA");
  EXPECT_EQ(plan.bytes(), "AAAAAAAAAA");
  EXPECT_THROW(plan.overwrite(9, "xy"), Refused);
}

TEST(OutputPlan, KnowsWhatItHoldsOfTheSource) {
  OutputPlan plan(source);
  plan.copy(4, 6);
  plan.add("01x3");
  EXPECT_TRUE(plan.holds(0, 4, 6));
  EXPECT_TRUE(plan.holds(2, 6, 3));
  EXPECT_FALSE(plan.holds(0, 3, 6));
  EXPECT_TRUE(plan.holds(6, 0, 2)) << "the same bytes, not copied";
  EXPECT_FALSE(plan.holds(6, 0, 4));
  EXPECT_TRUE(plan.holds(10, 0, 0));
  EXPECT_THROW(plan.holds(8, 0, 3), Refused);
}

TEST(OutputPlan, IsUnchangedWhenAllBytesAre) {
  EXPECT_TRUE(OutputPlan::copyOf(source).isUnchanged());
  OutputPlan same = OutputPlan::copyOf(source);
  same.overwrite(2, "23");
  EXPECT_TRUE(same.isUnchanged());
  same.overwrite(2, "32");
  EXPECT_FALSE(same.isUnchanged());
  OutputPlan longer = OutputPlan::copyOf(source);
  longer.add("!");
  EXPECT_FALSE(longer.isUnchanged());
  EXPECT_FALSE(OutputPlan(source).isUnchanged());
}

}  // namespace
}  // namespace tollbrook::ImageMetadata
