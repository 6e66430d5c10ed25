#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Support/NameGenerator.h"
#include "TollbrookCore/SidecarNames.h"
#include "TollbrookCore/Support/Text.h"

/// The hand-written scanning of names against regular expressions that say the same.
namespace tollbrook {
namespace {

using test::escaped;

constexpr int nameCount = 200000;

std::string utf8(const icu::UnicodeString& text) {
  std::string result;
  return text.toUTF8String(result);
}

/// A regular expression and the groups of its first match.
class Expression {
 public:
  explicit Expression(std::string_view pattern, std::uint32_t flags = 0) {
    UErrorCode status = U_ZERO_ERROR;
    pattern_.reset(
        icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(std::string(pattern)), flags, status));
    EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  }

  std::optional<std::vector<std::string>> groups(const std::string& text) const {
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString subject = icu::UnicodeString::fromUTF8(text);
    const std::unique_ptr<icu::RegexMatcher> matcher(pattern_->matcher(subject, status));
    std::optional<std::vector<std::string>> found;
    if (matcher->find(status)) {
      found.emplace();
      for (std::int32_t i = 1; i <= matcher->groupCount(); ++i)
        found->push_back(utf8(matcher->group(i, status)));
    }
    EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status) << " " << escaped(text);
    return found;
  }

  std::string removedFrom(const std::string& text) const {
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString subject = icu::UnicodeString::fromUTF8(text);
    const std::unique_ptr<icu::RegexMatcher> matcher(pattern_->matcher(subject, status));
    std::string result = utf8(matcher->replaceAll(icu::UnicodeString(), status));
    EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status) << " " << escaped(text);
    return result;
  }

 private:
  std::unique_ptr<icu::RegexPattern> pattern_;
};

/// A name whose parts are chosen to meet, or to miss by little, what the expressions look for.
std::string generated(test::NameGenerator& make) {
  const auto odd = [&] {
    return make.pick({"",
                      "",
                      "",
                      "",
                      " ",
                      "\u00a0",
                      "\n",
                      "\r",
                      "\r\n",
                      "\v",
                      "\f",
                      "\u0085",
                      "\u2028",
                      "\u2029",
                      "\u0301",
                      "\u0307",
                      ".",
                      "-",
                      "~",
                      "(",
                      ")",
                      "(1)",
                      "7",
                      "\u0661",
                      "\u00b2",
                      "\u2460",
                      "\U0001D7DC",
                      "\uff08",
                      "\u200d",
                      "\u0600",
                      "e",
                      "E",
                      "\u00e9",
                      "\u00c9",
                      "\u017f",
                      "\u0131",
                      "\u0130",
                      "\ufb00",
                      "\ufb01",
                      "\ufb03",
                      "\ufb05",
                      "\u212a",
                      "\u1e97",
                      "\u1e98",
                      "\ufb01e",
                      "-edited",
                      "-mod\u0130fie"});
  };
  const auto marker = [&] {
    std::string text =
        make.chance(50)
            ? make.editMarker()
            : make.pick({"-modifi", "-MODI\ufb01", "-modif\u0131", "-bewer\u212a", "-bearbeite", "~0\u0663",
                         "-Edi", "-b\u00e9arbeitet", "-bearbei\u1e97", "-mod\u0131fi", "-modi\ufb01\u00e9"});
    return make.chance(20) ? make.disguised(text) : text;
  };
  std::string name =
      make.chance(20) ? make.media() : make.pick({"a", "", "IMG_1", "a.b", "\u00fc", "a ", "a  "});
  name += odd();
  if (make.chance(60)) name += make.chance(50) ? make.counter() : marker();
  name += odd();
  if (make.chance(30)) name += make.chance(50) ? make.counter() : marker();
  if (make.chance(10)) name += odd();
  if (make.chance(85)) name += ".";
  name += make.pick({"jpg", "JPG", "", "j\n", "\n", "\r\n", "\u2028", "a.b"});
  if (make.chance(10)) name += odd();
  return name;
}

/// Calls `check` with many names until one fails; regular expressions know no stray bytes.
template <typename Check>
void forManyNames(std::uint64_t seed, Check&& check) {
  test::NameGenerator make(seed);
  for (int i = 0; i < nameCount && !testing::Test::HasFailure(); ++i) {
    const std::string name = generated(make);
    if (Text::isValidUtf8(name)) check(name);
  }
}

TEST(SidecarNamesTests, SplitsDuplicatesLikeTheExpression) {
  const Expression expression(R"(^(.*?) ?\((\d+)\)(\.[^.]+)$)");
  int found = 0;
  forManyNames(1, [&](const std::string& name) {
    const auto groups = expression.groups(name);
    const auto parts = SidecarMatcher::splitDuplicate(name);
    ASSERT_EQ(groups.has_value(), parts.has_value()) << escaped(name);
    if (!groups) return;
    ++found;
    EXPECT_EQ(parts, (SidecarMatcher::DupParts{(*groups)[0], (*groups)[1], (*groups)[2]})) << escaped(name);
  });
  EXPECT_GT(found, nameCount / 20);
}

TEST(SidecarNamesTests, StripsEditMarkersLikeTheExpression) {
  const Expression expression(
      "^(.*)(-edited|-edit|-bewerkt|-modifi(?:[e\u00e9]|e\u0301)|-bearbeitet|~\\d+)(\\.[^.]+)$",
      UREGEX_CASE_INSENSITIVE);
  int found = 0;
  forManyNames(2, [&](const std::string& name) {
    const auto groups = expression.groups(name);
    const auto stripped = SidecarMatcher::stripEdited(name);
    ASSERT_EQ(groups.has_value(), stripped.has_value()) << escaped(name);
    if (!groups) return;
    ++found;
    EXPECT_EQ(stripped, (*groups)[0] + (*groups)[2]) << escaped(name);
  });
  EXPECT_GT(found, nameCount / 20);
}

TEST(SidecarNamesTests, RemovesATrailingCounterLikeTheExpression) {
  const Expression expression(R"(\(\d+\)$)");
  int removed = 0;
  forManyNames(3, [&](std::string name) {
    name.resize(std::min(name.rfind('.'), name.size()));
    for (const std::string_view lineBreak : {"", "\n", "\r\n", "\r", "\u0085", "\u2029", "\n\n"}) {
      const std::string stem = name + std::string(lineBreak);
      const auto parts = SidecarMatcher::Names::withoutCounter(stem);
      const std::string result = std::string(parts.head).append(parts.lineBreak);
      ASSERT_EQ(result, expression.removedFrom(stem)) << escaped(stem);
      if (result != stem) ++removed;
    }
  });
  EXPECT_GT(removed, nameCount / 20);
}

TEST(SidecarNamesTests, FoldsEveryLetterOfTheMarkersLikeTheExpression) {
  const Expression expression(
      "^(.*)(-edited|-edit|-bewerkt|-modifi(?:[e\u00e9]|e\u0301)|-bearbeitet)(\\.[^.]+)$",
      UREGEX_CASE_INSENSITIVE);
  // Only letters with case, and digits, could stand for a letter of a marker.
  const std::vector<std::string> markers{"-edited", "-edit", "-bewerkt", "-bearbeitet", "-modifie"};
  for (UChar32 c = 0x80; c <= 0x1FFFF; ++c) {
    if (u_getIntPropertyValue(c, UCHAR_CHANGES_WHEN_CASEFOLDED) == 0) continue;
    const std::string letter = utf8(icu::UnicodeString(c));
    for (const std::string& marker : markers) {
      for (std::size_t at = 0; at < marker.size(); ++at) {
        for (std::size_t length = 1; length <= 3 && at + length <= marker.size(); ++length) {
          std::string name = "a" + marker + ".jpg";
          name.replace(1 + at, length, letter);
          ASSERT_EQ(SidecarMatcher::stripEdited(name).has_value(), expression.groups(name).has_value())
              << escaped(name);
        }
      }
    }
  }
}

}  // namespace
}  // namespace tollbrook
