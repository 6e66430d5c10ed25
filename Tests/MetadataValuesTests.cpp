#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>

#include "TollbrookCore/MetadataValues.h"

namespace tollbrook::MetadataWriter {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TEST(ExifStamp, IsUtcWithFractionsDropped) {
  EXPECT_EQ(exifStamp(fromEpoch(946684799.9)), "1999:12:31 23:59:59");
  EXPECT_EQ(exifStamp(fromEpoch(1577838600)), "2020:01:01 00:30:00");
  EXPECT_EQ(exifStamp(fromEpoch(-0.5)), "1969:12:31 23:59:59");
}

TEST(ExifStamp, DoesNotDependOnTheTimeZone) {
  setenv("TZ", "America/New_York", 1);
  tzset();
  EXPECT_EQ(exifStamp(fromEpoch(1577838600)), "2020:01:01 00:30:00");
  unsetenv("TZ");
  tzset();
}

TEST(ExifStamp, HasNineteenCharactersForEveryDouble) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 100'000; ++i) {
    double seconds;
    const std::uint64_t bits = random();
    std::memcpy(&seconds, &bits, sizeof seconds);
    ASSERT_EQ(exifStamp(fromEpoch(seconds)).size(), 19u) << seconds;
  }
}

TEST(ExifStamp, OfATimeWithoutCalendarFieldsIsZeros) {
  for (const double seconds :
       {infinity, -infinity, notANumber, 1e300, -1e300, 253402300800.0, -62135596801.0}) {
    EXPECT_EQ(exifStamp(fromEpoch(seconds)), "0000:00:00 00:00:00") << seconds;
  }
  EXPECT_EQ(exifStamp(fromEpoch(253402300799.5)), "9999:12:31 23:59:59");
  EXPECT_EQ(exifStamp(fromEpoch(-62135596800.0)), "0001:01:01 00:00:00");
}

TEST(CivilTime, RoundTripsThroughTheCalendar) {
  std::mt19937_64 random(2);
  std::uniform_int_distribution<std::int64_t> seconds(-62135596800, 253402300799);
  for (int i = 0; i < 20'000; ++i) {
    const TimePoint time = fromEpoch(static_cast<double>(seconds(random)));
    ASSERT_EQ(fromCivil(civilTime(time).value()), time);
  }
}

TEST(CivilTime, RefusesFieldsThatNameNoMoment) {
  EXPECT_FALSE(fromCivil({2023, 2, 29, 0, 0, 0}));
  EXPECT_TRUE(fromCivil({2024, 2, 29, 0, 0, 0}));
  EXPECT_FALSE(fromCivil({2024, 13, 1, 0, 0, 0}));
  EXPECT_FALSE(fromCivil({2024, 1, 1, 24, 0, 0}));
  EXPECT_FALSE(fromCivil({0, 1, 1, 0, 0, 0}));
}

TEST(Timespec, KeepsNanosecondsInRangeForEveryDouble) {
  std::mt19937_64 random(3);
  std::uniform_real_distribution<double> seconds(-62135596800.0, 253402300799.0);
  for (int i = 0; i < 100'000; ++i) {
    const auto converted = toTimespec(fromEpoch(seconds(random)));
    ASSERT_TRUE(converted);
    ASSERT_GE(converted->tv_nsec, 0);
    ASSERT_LT(converted->tv_nsec, 1'000'000'000);
  }
  EXPECT_EQ(toTimespec(fromEpoch(-0.25))->tv_sec, -1);
  EXPECT_EQ(toTimespec(fromEpoch(-0.25))->tv_nsec, 750'000'000);
  EXPECT_FALSE(toTimespec(fromEpoch(notANumber)));
  EXPECT_FALSE(toTimespec(fromEpoch(infinity)));
}

TEST(NumberText, IsPlainBetweenATenThousandthAndTenToTheSixteenth) {
  EXPECT_EQ(numberText(37.4219983), "37.4219983");
  EXPECT_EQ(numberText(122.084), "122.084");
  EXPECT_EQ(numberText(12), "12.0");
  EXPECT_EQ(numberText(0), "0.0");
  EXPECT_EQ(numberText(0.0001), "0.0001");
  EXPECT_EQ(numberText(9999999999999998.0), "9999999999999998.0");
  EXPECT_EQ(numberText(123456789012.0), "123456789012.0");
  EXPECT_EQ(numberText(0.1 + 0.2), "0.30000000000000004");
}

TEST(NumberText, HasAnExponentOutside) {
  EXPECT_EQ(numberText(0.00001), "1e-05");
  EXPECT_EQ(numberText(1e16), "1e+16");
  EXPECT_EQ(numberText(1.5e300), "1.5e+300");
  EXPECT_EQ(numberText(5e-324), "5e-324");
}

TEST(NumberText, ReadsBackAsTheSameDouble) {
  std::mt19937_64 random(4);
  for (int i = 0; i < 100'000; ++i) {
    double value;
    const std::uint64_t bits = random();
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value)) continue;
    ASSERT_EQ(std::strtod(numberText(value).c_str(), nullptr), value);
  }
}

SidecarData complete() {
  return {.takenTime = fromEpoch(1577836800),
          .latitude = -33.8568,
          .longitude = 151.2153,
          .altitude = -3.5,
          .caption = "caption"};
}

TEST(Writable, KeepsWhatReadersTake) { EXPECT_EQ(writable(complete()), complete()); }

TEST(Writable, DropsTimesWithoutAYearOfFourDigits) {
  for (const double seconds : {infinity, -infinity, notANumber, 1e300, 99999999999999.0, -99999999999999.0}) {
    SidecarData data = complete();
    data.takenTime = fromEpoch(seconds);
    EXPECT_FALSE(writable(data).takenTime) << seconds;
    EXPECT_TRUE(writable(data).hasGPS());
  }
}

TEST(Writable, DropsPositionsThatAreNotOnTheGlobeWithTheirAltitude) {
  for (const double bad : {infinity, -infinity, notANumber, 1e300, 90.1, -90.1}) {
    SidecarData data = complete();
    data.latitude = bad;
    EXPECT_FALSE(writable(data).latitude || writable(data).longitude || writable(data).altitude) << bad;
  }
  SidecarData data = complete();
  data.longitude = 180.5;
  EXPECT_FALSE(writable(data).hasGPS());
  data.longitude = -180;
  EXPECT_TRUE(writable(data).hasGPS());
  data.latitude.reset();
  EXPECT_FALSE(writable(data).longitude || writable(data).altitude);
}

TEST(Writable, DropsAnUnusableAltitudeAlone) {
  for (const double bad : {infinity, notANumber, 1e300, -4294967296.0}) {
    SidecarData data = complete();
    data.altitude = bad;
    EXPECT_FALSE(writable(data).altitude) << bad;
    EXPECT_TRUE(writable(data).hasGPS());
  }
}

}  // namespace
}  // namespace tollbrook::MetadataWriter
