#include <gtest/gtest.h>
#include <time.h>

#include <cmath>
#include <cstdlib>
#include <iostream>
#include <limits>

#include "Desktop/Support/AppTest.h"
#include "Tollbrook/TakenDateFormat.h"

namespace tollbrook {
namespace {

const TimePoint taken = fromEpoch(1425445567);  // 2015-03-04 05:06:07 UTC

QString plain(QString text) { return text.replace(u'\u202F', u' ').replace(u'\u00A0', u' '); }

TEST(TakenDateFormatTest, WritesTheMediumDateAndTheShortTimeOfTheLocale) {
  EXPECT_EQ(plain(TakenDateFormat("en_US", u"UTC").text(taken)), "Mar 4, 2015, 5:06 AM"_s);
  EXPECT_EQ(plain(TakenDateFormat("en_GB.UTF-8", u"UTC").text(taken)), "4 Mar 2015, 05:06"_s);
  EXPECT_EQ(plain(TakenDateFormat("de_DE", u"UTC").text(taken)), "04.03.2015, 05:06"_s);
  EXPECT_EQ(plain(TakenDateFormat("ja_JP", u"UTC").text(taken)), "2015/03/04 5:06"_s);
}

TEST(TakenDateFormatTest, UsesTheTimeZone) {
  EXPECT_EQ(plain(TakenDateFormat("en_GB", u"Asia/Tokyo").text(taken)), "4 Mar 2015, 14:06"_s);
  EXPECT_EQ(plain(TakenDateFormat("en_GB", u"America/New_York").text(taken)), "4 Mar 2015, 00:06"_s);
  // In summer that zone is an hour later.
  EXPECT_EQ(plain(TakenDateFormat("en_GB", u"America/New_York").text(fromEpoch(1435986367))),
            "4 Jul 2015, 01:06"_s);
}

// Ends this program with the taken date on standard error, as it reads in this zone.
[[noreturn]] void printDateIn(const char* timeZone) {
  qputenv("TZ", timeZone);
  qputenv("LC_ALL", "en_GB.UTF-8");
  tzset();
  std::cerr << plain(TakenDateFormat().text(taken)).toStdString() << std::endl;
  std::exit(EXIT_SUCCESS);
}

// A program has the time zone that it was started in; each of these is one of its own.
TEST(TakenDateFormatDeathTest, TakesTheTimeZoneOfTheEnvironment) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(printDateIn("Asia/Tokyo"), testing::ExitedWithCode(0), "4 Mar 2015, 14:06");
  EXPECT_EXIT(printDateIn("America/New_York"), testing::ExitedWithCode(0), "4 Mar 2015, 00:06");
}

TEST(TakenDateFormatTest, TakesTheLocaleOfTheEnvironment) {
  qputenv("LC_ALL", "");
  qputenv("LC_TIME", "de_DE.UTF-8");
  qputenv("LANG", "en_GB.UTF-8");
  EXPECT_TRUE(TakenDateFormat().text(taken).startsWith("04.03.2015"_s));
  qputenv("LC_ALL", "en_GB.UTF-8");
  EXPECT_TRUE(TakenDateFormat().text(taken).startsWith("4 Mar 2015"_s));
  for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) qunsetenv(variable);
}

TEST(TakenDateFormatTest, AnswersForAnyTimeASidecarCanHold) {
  const TakenDateFormat format("en_US", u"UTC");
  EXPECT_EQ(format.text(fromEpoch(std::nan(""))), QString());
  EXPECT_EQ(format.text(fromEpoch(std::numeric_limits<double>::infinity())), QString());
  for (const double seconds : {-1e300, -1e18, -1e10, 0.0, 1e10, 1e18, 1e300}) {
    EXPECT_FALSE(format.text(fromEpoch(seconds)).isEmpty()) << seconds;
  }
}

}  // namespace
}  // namespace tollbrook
