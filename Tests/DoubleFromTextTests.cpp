#include <fmt/format.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "Support/Instrumented.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/SidecarParser.h"
#include "TollbrookCore/Support/DoubleFromText.h"

namespace tollbrook {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(DoubleFromText, TakesNumbersAsAWhole) {
  EXPECT_EQ(doubleFromText("1577836800"), 1577836800);
  EXPECT_EQ(doubleFromText("1577836800.5"), 1577836800.5);
  EXPECT_EQ(doubleFromText("-12.25"), -12.25);
  EXPECT_EQ(doubleFromText("+7"), 7);
  EXPECT_EQ(doubleFromText("007"), 7);
  EXPECT_EQ(doubleFromText(".5"), 0.5);
  EXPECT_EQ(doubleFromText("5."), 5);
  EXPECT_EQ(doubleFromText("1e3"), 1000);
  EXPECT_EQ(doubleFromText("1E-3"), 0.001);
  EXPECT_TRUE(std::signbit(doubleFromText("-0").value()));
}

TEST(DoubleFromText, TakesNothingBeforeOrBehindTheNumber) {
  for (const char* text : {"",
                           " 1",
                           "\t1",
                           "\n1",
                           "\v1",
                           "\f1",
                           "\r1",
                           "1 ",
                           "1\n",
                           "1x",
                           "x1",
                           "1,5",
                           "1.5.2",
                           "1e",
                           "1e+",
                           "--1",
                           "+-1",
                           "-",
                           "+",
                           ".",
                           "e5",
                           "0x",
                           "one",
                           "\u00a0"
                           "1",
                           "١",
                           "1_000",
                           "1f",
                           "1L",
                           "nan(",
                           "infin"}) {
    EXPECT_EQ(doubleFromText(text), std::nullopt) << testing::PrintToString(text);
  }
}

TEST(DoubleFromText, TakesNoNulAnywhere) {
  using namespace std::string_view_literals;
  for (const std::string_view text : {"\0"sv, "1\0"sv,
                                      "1\0"
                                      "2"sv,
                                      "\0"
                                      "1"sv}) {
    EXPECT_EQ(doubleFromText(text), std::nullopt) << testing::PrintToString(text);
  }
  EXPECT_EQ(doubleFromText(std::string(500, '1') + '\0'), std::nullopt);
  EXPECT_EQ(doubleFromText(fmt::format("0x{}{}", std::string(500, '1'), '\0')), std::nullopt);
}

TEST(DoubleFromText, ReadsOnlyTheGivenPart) { EXPECT_EQ(doubleFromText(std::string_view("123456", 3)), 123); }

TEST(DoubleFromText, TakesHexadecimalInfinityAndNan) {
  EXPECT_EQ(doubleFromText("0x5E0BE100"), 1577836800);
  EXPECT_EQ(doubleFromText("-0x1.8p1"), -3);
  EXPECT_EQ(doubleFromText("inf"), infinity);
  EXPECT_EQ(doubleFromText("-Infinity"), -infinity);
  EXPECT_TRUE(std::isnan(doubleFromText("nan").value()));
  EXPECT_TRUE(std::isnan(doubleFromText("NaN").value()));
  EXPECT_EQ(doubleFromText("1e999"), infinity);
  EXPECT_EQ(doubleFromText("-1e999"), -infinity);
  EXPECT_EQ(doubleFromText("1e-999"), 0);
}

/// A number of up to a few hundred digits, in every spelling, often at the point between two doubles.
std::string anyNumber(std::mt19937_64& random) {
  std::string text;
  if (random() % 3 == 0) text += random() % 2 == 0 ? '-' : '+';
  const auto digits = [&random, &text](std::uint64_t count) {
    while (count-- > 0) text += static_cast<char>('0' + random() % 10);
  };
  text.append(random() % 4 == 0 ? random() % 300 : 0, '0');
  digits(random() % 300 + 1);
  if (random() % 2 == 0) {
    text += '.';
    text.append(random() % 4 == 0 ? random() % 400 : 0, '0');
    digits(random() % 900);
  }
  text.append(random() % 4 == 0 && text.find('.') != std::string::npos ? random() % 900 : 0, '0');
  if (random() % 2 == 0) text += fmt::format("e{}", static_cast<int>(random() % 1400) - 700);
  return text;
}

TEST(DoubleFromText, OfManyDigitsIsStillTheNearest) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 50'000; ++i) {
    const std::string text = anyNumber(random);
    ASSERT_EQ(doubleFromText(text), std::strtod(text.c_str(), nullptr)) << text;
  }
}

TEST(DoubleFromText, OneDigitFarBehindTheMiddleOfTwoDoublesDecides) {
  // 2^53 + 1 lies between two doubles and is rounded to the even one.
  const std::string middle = "9007199254740993." + std::string(5000, '0');
  EXPECT_EQ(doubleFromText(middle), 9007199254740992);
  EXPECT_EQ(doubleFromText(middle + "1"), 9007199254740994);
  EXPECT_EQ(doubleFromText(fmt::format("-{}1e-0", middle)), -9007199254740994);
}

TEST(DoubleFromText, OfManyDigitsIsStrictToo) {
  const std::string digits(5000, '1');
  for (const char* behind : {" ", "x", "e", "e+", "e1.5", "..", ".1.", "\n", "e5 "}) {
    EXPECT_EQ(doubleFromText(digits + behind), std::nullopt) << behind;
  }
  EXPECT_EQ(doubleFromText(fmt::format(" {}", digits)), std::nullopt);
  EXPECT_EQ(doubleFromText(fmt::format(".{}", std::string(5000, 'x'))), std::nullopt);
  EXPECT_EQ(doubleFromText(std::string(5000, 'x')), std::nullopt);
  EXPECT_EQ(doubleFromText(std::string(5000, '-')), std::nullopt);
}

TEST(DoubleFromText, OfMillionsOfDigitsEnds) {
  constexpr std::size_t count = test::isInstrumented ? 5'000'000 : 50'000'000;
  const std::string digits(count, '7');
  const std::string zeros(count, '0');
  EXPECT_EQ(doubleFromText(digits), infinity);
  EXPECT_EQ(doubleFromText(fmt::format("-{}", digits)), -infinity);
  EXPECT_EQ(doubleFromText(fmt::format("{}e-{}", digits, count - 1)), 7.777777777777778);
  EXPECT_EQ(doubleFromText(fmt::format("0.{}", digits)), 0.7777777777777778);
  EXPECT_EQ(doubleFromText(fmt::format("0.{}25e{}", zeros, count + 1)), 2.5);
  EXPECT_EQ(doubleFromText(zeros + "12"), 12);
  EXPECT_EQ(doubleFromText(fmt::format("1e{}", digits)), infinity);
  EXPECT_EQ(doubleFromText(fmt::format("1e-{}", digits)), 0);
  EXPECT_EQ(doubleFromText(fmt::format("1e{}2", zeros)), 100);
  EXPECT_TRUE(std::signbit(doubleFromText(fmt::format("-{}", zeros)).value()));
  EXPECT_EQ(doubleFromText(digits + "x"), std::nullopt);
  EXPECT_EQ(doubleFromText(fmt::format("0x1p{}1", zeros)), 2);
}

/// Makes the comma the decimal mark for the whole process: in a locale of the system, else in one that is
/// compiled for the purpose where there is a compiler for locales.
class CommaLocale {
 public:
  CommaLocale() {
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "nl_NL.UTF-8", "ru_RU.UTF-8"}) {
      if (set(name)) return;
    }
    const std::string compiled = (folder_ / "de_DE.UTF-8").string();
    const std::string compiler = "localedef -i de_DE -f UTF-8 '" + compiled + "' 2>/dev/null";
    if (std::system(compiler.c_str()) != 0) return;
    setenv("LOCPATH", folder_.path().c_str(), 1);
    set("de_DE.UTF-8");
  }
  ~CommaLocale() {
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
  }
  bool isSet() const { return isSet_; }

 private:
  bool set(const char* name) {
    isSet_ = std::setlocale(LC_ALL, name) != nullptr && *std::localeconv()->decimal_point == ',';
    return isSet_;
  }

  test::TemporaryFolder folder_;
  bool isSet_ = false;
};

TEST(DoubleFromText, DoesNotDependOnTheLocale) {
  const CommaLocale comma;
  if (!comma.isSet()) GTEST_SKIP() << "there is no locale with a decimal comma, and none could be made";
  ASSERT_EQ(std::strtod("1,5", nullptr), 1.5);
  EXPECT_EQ(doubleFromText("1.5"), 1.5);
  EXPECT_EQ(doubleFromText("1,5"), std::nullopt);
  EXPECT_EQ(doubleFromText("1." + std::string(2000, '5')), 1.5555555555555556);
}

TEST(DoubleFromText, AndNeitherDoTheOtherNumbersOfASidecar) {
  const CommaLocale comma;
  if (!comma.isSet()) GTEST_SKIP() << "there is no locale with a decimal comma, and none could be made";
  const auto data = SidecarParser::parseData(
      R"({"photoTakenTime": {"timestamp": "1.5"}, "geoData": {"latitude": 48.1, "longitude": 99999999999999999999}})");
  ASSERT_TRUE(data);
  EXPECT_EQ(data->takenTime, fromEpoch(1.5));
  EXPECT_EQ(data->latitude, 48.1);
  EXPECT_EQ(data->longitude, 1e20);
}

}  // namespace
}  // namespace tollbrook
