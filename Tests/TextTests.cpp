#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "TollbrookCore/Support/Text.h"
#include "TollbrookCore/Support/Utf8.h"

namespace tollbrook {
namespace {

using testing::ElementsAre;

constexpr std::string_view family = "\U0001F468\u200d\U0001F469\u200d\U0001F467";
constexpr std::string_view flag = "\U0001F1E9\U0001F1EA";

/// Every code point that is no surrogate, as UTF-8.
template <typename Visit>
void forEachCodePoint(Visit&& visit) {
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    std::string text;
    Utf8::append(text, c);
    visit(c, text);
  }
}

std::string decomposed(const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  const auto* normalizer = icu::Normalizer2::getNFDInstance(status);
  std::string result;
  normalizer->normalize(icu::UnicodeString::fromUTF8(text), status).toUTF8String(result);
  EXPECT_TRUE(U_SUCCESS(status));
  return result;
}

TEST(TextTests, TellsAsciiFromOtherBytes) {
  EXPECT_TRUE(Text::isAscii(""));
  EXPECT_TRUE(Text::isAscii(std::string_view("a\0\x7f", 3)));
  EXPECT_FALSE(Text::isAscii("a\x80"));
  EXPECT_FALSE(Text::isAscii("aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\xc3\xa9"));
}

TEST(TextTests, AcceptsWellFormedUtf8Only) {
  for (const std::string_view good :
       {"", "abc", "\u00e9", "\u0800", "\uffff", "\ud7ff", "\U00010000", "\U0010ffff"}) {
    EXPECT_TRUE(Text::isValidUtf8(good)) << good;
  }
  for (const std::string_view bad :
       {"\x80", "\xc3", "\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xed\xbf\xbf",
        "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff", "a\xe2\x82", "\xe2\x82z",
        "\xf0\x9f\x98", "\xc3\xa9\xa9"}) {
    EXPECT_FALSE(Text::isValidUtf8(bad)) << testing::PrintToString(bad);
  }
}

TEST(TextTests, ReplacesEachByteThatIsNoUtf8) {
  EXPECT_EQ(Text::replacingInvalidUtf8("abc"), "abc");
  EXPECT_EQ(Text::replacingInvalidUtf8("a\xff\u00e9\xe2\x82"), "a\ufffd\u00e9\ufffd\ufffd");
}

TEST(TextTests, ReadsEveryCodePointBothWays) {
  forEachCodePoint([](char32_t c, const std::string& text) {
    const auto first = Utf8::decode(text, 0);
    ASSERT_EQ(first.value, c);
    ASSERT_EQ(first.size, text.size());
    const auto last = Utf8::decodeLast("x" + text);
    ASSERT_EQ(last.value, c);
    ASSERT_EQ(last.size, text.size());
  });
}

TEST(TextTests, ReadsStrayBytesAloneFromBothEnds) {
  const std::string text = "\xe2\x82\u00e9\xa9";
  std::vector<std::size_t> forwards;
  for (std::size_t i = 0; i < text.size(); i += forwards.back())
    forwards.push_back(Utf8::decode(text, i).size);
  std::vector<std::size_t> backwards;
  for (std::size_t i = text.size(); i > 0; i -= backwards.back()) {
    backwards.push_back(Utf8::decodeLast(std::string_view(text).substr(0, i)).size);
  }
  EXPECT_THAT(forwards, ElementsAre(1, 1, 2, 1));
  EXPECT_THAT(backwards, ElementsAre(1, 2, 1, 1));
}

TEST(TextTests, CountsCharactersAsPeopleSeeThem) {
  EXPECT_EQ(Text::characterCount(""), 0u);
  EXPECT_EQ(Text::characterCount("IMG_1234.jpg"), 12u);
  EXPECT_EQ(Text::characterCount("\u00e9"), 1u);
  EXPECT_EQ(Text::characterCount("e\u0301"), 1u);
  EXPECT_EQ(Text::characterCount(family), 1u);
  EXPECT_EQ(Text::characterCount(flag), 1u);
  EXPECT_EQ(Text::characterCount("\u1100\u1161\u11a8"), 1u);
  EXPECT_EQ(Text::characterCount("\u65e5\u672c"), 2u);
}

TEST(TextTests, CountsCarriageReturnAndLineFeedAsOne) {
  EXPECT_EQ(Text::characterCount("\r\n"), 1u);
  EXPECT_EQ(Text::characterCount("a\r\nb"), 3u);
  EXPECT_EQ(Text::characterCount("\n\r"), 2u);
  EXPECT_EQ(Text::prefix("a\r\nb", 1), "a");
  EXPECT_EQ(Text::prefix("a\r\nb", 2), "a\r\n");
  EXPECT_FALSE(Text::hasPrefix("a\r\nb", "a\r"));
  EXPECT_FALSE(Text::hasSuffix("a\r\nb", "\nb"));
  EXPECT_FALSE(Text::isCharacterBoundary("a\r\nb", 2));
}

TEST(TextTests, CountsAByteThatIsNoUtf8AsACharacterOfItsOwn) {
  EXPECT_EQ(Text::characterCount("\xff\xfe"), 2u);
  EXPECT_EQ(Text::characterCount("a\xe2\x82z"), 4u);
  EXPECT_EQ(Text::characterCount("\xff\u0301"), 2u);
  EXPECT_EQ(Text::prefix("\xe2\x82z", 1), "\xe2");
}

TEST(TextTests, CutsOnCharacterBoundaries) {
  const std::string text = "a" + std::string(family) + "e\u0301z";
  EXPECT_EQ(Text::prefix(text, 0), "");
  EXPECT_EQ(Text::prefix(text, 1), "a");
  EXPECT_EQ(Text::prefix(text, 2), "a" + std::string(family));
  EXPECT_EQ(Text::prefix(text, 3), "a" + std::string(family) + "e\u0301");
  EXPECT_EQ(Text::prefix(text, 4), text);
  EXPECT_EQ(Text::prefix(text, 400), text);
  EXPECT_EQ(Text::dropFirst(text, 3), "z");
  EXPECT_EQ(Text::dropFirst(text, 4), "");
  EXPECT_EQ(Text::dropFirst(text, 400), "");
}

TEST(TextTests, SeesACombiningMarkThatFollowsTheCut) {
  EXPECT_EQ(Text::prefix("abe\u0301", 3), "abe\u0301");
  EXPECT_EQ(Text::prefix("abe\u0301", 2), "ab");
}

TEST(TextTests, ListsCharacterBoundaries) {
  EXPECT_THAT(Text::characterBoundaries(""), ElementsAre(0));
  EXPECT_THAT(Text::characterBoundaries("ab"), ElementsAre(0, 1, 2));
  EXPECT_THAT(Text::characterBoundaries("a\r\nb"), ElementsAre(0, 1, 3, 4));
  EXPECT_THAT(Text::characterBoundaries("e\u0301\U0001F600\xff"), ElementsAre(0, 3, 7, 8));
}

TEST(TextTests, AgreesWithTheListAtEachOffset) {
  const std::string text = "a\r\ne\u0301" + std::string(family) + "\u0600.\xff\u65e5x";
  const auto boundaries = Text::characterBoundaries(text);
  for (std::size_t i = 0; i <= text.size(); ++i) {
    EXPECT_EQ(Text::isCharacterBoundary(text, i), std::binary_search(boundaries.begin(), boundaries.end(), i))
        << i;
  }
  EXPECT_FALSE(Text::isCharacterBoundary(text, text.size() + 1));
}

TEST(TextTests, LowerCasesInTheRootLocale) {
  EXPECT_EQ(Text::lowercased("IMG_1@[`{.JPG"), "img_1@[`{.jpg");
  EXPECT_EQ(Text::lowercased("\u00c9T\u00c9"), "\u00e9t\u00e9");
  EXPECT_EQ(Text::lowercased("I"), "i");
  EXPECT_EQ(Text::lowercased("\u0130"), "i\u0307");
  EXPECT_EQ(Text::lowercased("\u212A"), "k");
  EXPECT_EQ(Text::lowercased("\U00010400"), "\U00010428");
  EXPECT_EQ(Text::lowercased("\u1e9e\u00df"), "\u00df\u00df");
}

TEST(TextTests, LowerCasesASigmaByItsPlaceInTheWord) {
  EXPECT_EQ(Text::lowercased("\u039f\u0394\u039f\u03a3"), "\u03bf\u03b4\u03bf\u03c2");
  EXPECT_EQ(Text::lowercased("\u039f\u03a3.A"), "\u03bf\u03c3.a");
  EXPECT_EQ(Text::lowercased("\u039f\u03a3.1"), "\u03bf\u03c2.1");
}

TEST(TextTests, LeavesBytesThatAreNoUtf8AsTheyAre) {
  const std::string text =
      "A\xff\xc3"
      "B\xe2\x82\xed\xa0\x80";
  EXPECT_EQ(Text::lowercased(text),
            "a\xff\xc3"
            "b\xe2\x82\xed\xa0\x80");
  EXPECT_EQ(Text::canonical(text), text);
  EXPECT_FALSE(Text::equal("\xff", "\xfe"));
  EXPECT_FALSE(Text::equal("\xff", "\ufffd"));
  EXPECT_TRUE(Text::equal("\xff", "\xff"));
}

TEST(TextTests, ComposesToOneForm) {
  EXPECT_EQ(Text::canonical("e\u0301"), "\u00e9");
  EXPECT_EQ(Text::canonical("\u212b"), "\u00c5");
  EXPECT_EQ(Text::canonical("\u1100\u1161\u11a8"), "\uac01");
  EXPECT_EQ(Text::canonical("a\u0323\u0307"), Text::canonical("a\u0307\u0323"));
  EXPECT_EQ(Text::foldedKey("E\u0301.JPG"), "\u00e9.jpg");
}

TEST(TextTests, AddsAKeyBehindWhatIsThere) {
  std::string keys = "Kept\xff";
  Text::appendFoldedKey(keys, "ABC");
  Text::appendFoldedKey(keys, "E\u0301");
  EXPECT_EQ(keys,
            "Kept\xff"
            "abc\u00e9");
}

TEST(TextTests, ComparesByCanonicalEquivalence) {
  EXPECT_TRUE(Text::equal("caf\u00e9", "cafe\u0301"));
  EXPECT_FALSE(Text::equal("caf\u00e9", "cafe"));
  EXPECT_FALSE(Text::equal("a", "A"));
  EXPECT_FALSE(Text::equal("\ufb01", "fi"));
}

TEST(TextTests, KeepsEquivalenceWhenLowerCasing) {
  forEachCodePoint([](char32_t c, const std::string& text) {
    if (u_charType(static_cast<UChar32>(c)) == U_UNASSIGNED) return;
    const std::string apart = decomposed(text);
    if (apart == text) return;
    ASSERT_EQ(Text::foldedKey(text), Text::foldedKey(apart)) << std::hex << static_cast<unsigned>(c);
    ASSERT_EQ(Text::characterCount(text), Text::characterCount(apart))
        << std::hex << static_cast<unsigned>(c);
  });
}

TEST(TextTests, FindsPrefixesOfWholeCharacters) {
  EXPECT_TRUE(Text::hasPrefix("img.json", "img."));
  EXPECT_TRUE(Text::hasPrefix("img", ""));
  EXPECT_TRUE(Text::hasPrefix("", ""));
  EXPECT_FALSE(Text::hasPrefix("", "a"));
  EXPECT_FALSE(Text::hasPrefix("IMG", "img"));
  EXPECT_TRUE(Text::hasPrefix("\u00e9t\u00e9", "e\u0301t"));
  EXPECT_TRUE(Text::hasPrefix("e\u0301te\u0301", "\u00e9t"));
  EXPECT_FALSE(Text::hasPrefix("e\u0301t", "e"));
  EXPECT_FALSE(Text::hasPrefix(".\u0301json", "."));
  EXPECT_FALSE(Text::hasPrefix("\u00e9", "\xc3"));
  EXPECT_FALSE(Text::hasPrefix(family, "\U0001F468"));
}

TEST(TextTests, FindsSuffixesOfWholeCharacters) {
  EXPECT_TRUE(Text::hasSuffix("img.json", ".json"));
  EXPECT_TRUE(Text::hasSuffix("img", ""));
  EXPECT_FALSE(Text::hasSuffix("son", ".json"));
  EXPECT_TRUE(Text::hasSuffix("\u00e9te\u0301", "t\u00e9"));
  EXPECT_FALSE(Text::hasSuffix("\u0600.json", ".json"));
  EXPECT_FALSE(Text::hasSuffix("\u00e9", "\xa9"));
  EXPECT_FALSE(Text::hasSuffix(family, "\U0001F467"));
}

TEST(TextTests, TrimsWhiteSpaceAndLineBreaks) {
  EXPECT_EQ(Text::trimmed(" \t\r\n a b \n"), "a b");
  EXPECT_EQ(Text::trimmed("\u00a0\u2003\u3000a\u2028\u2029\u0085\v\f"), "a");
  EXPECT_EQ(Text::trimmed(" \u2003\n"), "");
  EXPECT_EQ(Text::trimmed(""), "");
  EXPECT_EQ(Text::trimmed("\u200ba\ufeff"), "\u200ba\ufeff");
  EXPECT_EQ(Text::trimmed(" \xff "), "\xff");
  EXPECT_EQ(Text::trimmed(std::string_view("\0 ", 2)), std::string_view("\0", 1));
}

TEST(TextTests, GivesTheSameAnswersOnManyThreads) {
  const std::string text = "e\u0301" + std::string(family) + "\u039f\u03a3";
  std::vector<std::thread> threads;
  std::vector<int> right(4);
  for (std::size_t t = 0; t < right.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        right[t] +=
            Text::characterCount(text) == 4 && Text::foldedKey(text).ends_with("\u03bf\u03c2") ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(right, testing::Each(200));
}

std::vector<std::string> sorted(const Text::NameOrder& order, std::vector<std::string> names) {
  std::stable_sort(names.begin(), names.end(),
                   [&](const auto& a, const auto& b) { return order.key(a) < order.key(b); });
  return names;
}

TEST(NameOrderTests, ComparesDigitsByTheirValue) {
  const Text::NameOrder order("");
  EXPECT_THAT(sorted(order, {"IMG_10.jpg", "IMG_2.jpg", "IMG_1.jpg"}),
              ElementsAre("IMG_1.jpg", "IMG_2.jpg", "IMG_10.jpg"));
}

TEST(NameOrderTests, IgnoresCaseAndKeepsEqualNamesInTheirOrder) {
  const Text::NameOrder order("");
  EXPECT_EQ(order.key("IMG_1.JPG"), order.key("img_1.jpg"));
  EXPECT_THAT(sorted(order, {"b", "A", "B", "a"}), ElementsAre("A", "a", "b", "B"));
}

TEST(NameOrderTests, TellsAccentsApartButNotTheirEncoding) {
  const Text::NameOrder order("");
  EXPECT_LT(order.key("cafe"), order.key("caf\u00e9"));
  EXPECT_LT(order.key("caf\u00e9"), order.key("cafz"));
  EXPECT_EQ(order.key("caf\u00e9"), order.key("cafe\u0301"));
}

TEST(NameOrderTests, SortsAsTheLocaleDoes) {
  EXPECT_GT(Text::NameOrder("sv").key("\u00e4"), Text::NameOrder("sv").key("z"));
  EXPECT_LT(Text::NameOrder("de-DE").key("\u00e4"), Text::NameOrder("de-DE").key("z"));
  const Text::NameOrder phonebook("de-DE-u-co-phonebk");
  EXPECT_GT(phonebook.key("\u00e4"), phonebook.key("ad"));
}

TEST(NameOrderTests, TakesTheUsersOrderFromTheEnvironmentWithoutPuttingCapitalsFirst) {
  const Text::NameOrder order;
  EXPECT_THAT(sorted(order, {"c", "B", "a10", "a9"}), ElementsAre("a9", "a10", "B", "c"));
}

TEST(NameOrderTests, MakesKeysOfLongAndOfBrokenNames) {
  const Text::NameOrder order("");
  EXPECT_LT(order.key(std::string(5000, 'a')), order.key(std::string(5001, 'a')));
  EXPECT_NE(order.key("a\xff"), order.key("a"));
  EXPECT_EQ(order.key(""), order.key(""));
}

}  // namespace
}  // namespace tollbrook
