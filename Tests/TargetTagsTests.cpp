#include <gtest/gtest.h>

#include <cmath>

#include "TollbrookCore/ImageMetadata/TargetTags.h"

namespace tollbrook::ImageMetadata {
namespace {

using namespace std::string_literals;

TEST(TargetTagsOf, LeaveOutWhatNoReaderCouldTake) {
  SidecarData data{.takenTime = fromEpoch(1e300), .latitude = 91, .longitude = 1, .altitude = 5};
  EXPECT_TRUE(targetTags(data, std::nullopt).isEmpty());
  data.latitude = 90;
  data.altitude = HUGE_VAL;
  const TargetTags target = targetTags(data, std::nullopt);
  ASSERT_TRUE(target.position);
  EXPECT_FALSE(target.position->altitude);
}

TEST(TargetTagsOf, NeedBothCoordinates) {
  EXPECT_TRUE(targetTags({.latitude = 10, .altitude = 5}, std::nullopt).isEmpty());
}

TEST(TargetTagsOf, DropNulFromTheCaptionAndKeepTheRest) {
  EXPECT_EQ(targetTags({}, "a\0b\r\nc \xF0\x9F\x8E\x89"s).caption, "ab\r\nc \xF0\x9F\x8E\x89");
  EXPECT_TRUE(targetTags({}, "\0"s).isEmpty());
  EXPECT_TRUE(targetTags({}, "").isEmpty());
}

}  // namespace
}  // namespace tollbrook::ImageMetadata
