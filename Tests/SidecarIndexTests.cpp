#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Support/Instrumented.h"
#include "Support/NameGenerator.h"
#include "TollbrookCore/SidecarMatcher.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook {
namespace {

using Names = std::vector<std::string>;
using test::escaped;

constexpr std::size_t folderCount = test::isInstrumented ? 2500 : 25000;

std::optional<std::string> matchIndexed(const SidecarMatcher::Index& index, std::string_view media) {
  const auto position = index.match(media);
  return position ? std::optional(index.jsonNames().at(*position)) : std::nullopt;
}

std::string describe(const Names& names, const std::string& media) {
  std::string text = fmt::format("media \"{}\" among", escaped(media));
  for (const std::string& name : names) text += fmt::format("\n  \"{}\"", escaped(name));
  return text;
}

enum Step { exact, prefix, longerStem, shorterStem, nothing, stepCount };

/// The rule that led to an answer, judged by the answer alone.
Step stepOf(const std::string& media, const std::optional<std::string>& answer) {
  if (!answer) return nothing;
  const std::string key = Text::foldedKey(*answer);
  for (const std::string& candidate : SidecarMatcher::candidates(media)) {
    if (Text::foldedKey(candidate) == key) return exact;
  }
  const std::string lower = Text::foldedKey(media);
  if (Text::hasPrefix(key, lower + ".suppl") && Text::hasSuffix(key, ".json")) return prefix;
  return Text::hasPrefix(key, lower) ? longerStem : shorterStem;
}

/// A folder of names that are near to each other and to the media files asked for.
struct Folder {
  explicit Folder(test::NameGenerator& make) {
    Names bases;
    for (std::size_t i = 1 + make.below(2); i > 0; --i) bases.push_back(make.media());
    const auto base = [&] { return bases[make.below(bases.size())]; };
    for (std::size_t i = 1 + make.below(6); i > 0; --i) {
      json.push_back(make.json(make.chance(70) ? base() : make.relative(base())));
      if (make.chance(15)) json.push_back(make.disguised(json.back()));
    }
    for (std::size_t i = 3; i > 0; --i) media.push_back(make.chance(50) ? base() : make.relative(base()));
    if (make.chance(20)) media.push_back(make.media());
  }

  Names json;
  Names media;
};

TEST(SidecarIndexTests, AnswersLikeThePlainFormForFoldersMadeOfTheRulesIngredients) {
  test::NameGenerator make(20240607);
  std::array<std::size_t, stepCount> answered{};
  std::size_t asked = 0;
  std::size_t nonAscii = 0;
  for (std::size_t i = 0; i < folderCount; ++i) {
    const Folder folder(make);
    const SidecarMatcher::Index index(folder.json);
    for (const std::string& media : folder.media) {
      const auto plain = SidecarMatcher::match(media, folder.json);
      ASSERT_EQ(plain, matchIndexed(index, media)) << describe(folder.json, media);
      ++answered[stepOf(media, plain)];
      ++asked;
      if (!Text::isAscii(media)) ++nonAscii;
    }
  }
  const auto percent = [&](std::size_t count) {
    return 100.0 * static_cast<double>(count) / static_cast<double>(asked);
  };
  EXPECT_GT(percent(answered[exact]), 10);
  EXPECT_GT(percent(answered[prefix]), 2);
  EXPECT_GT(percent(answered[longerStem]), 2);
  EXPECT_GT(percent(answered[shorterStem]), 2);
  EXPECT_GT(percent(answered[nothing]), 10);
  EXPECT_GT(percent(nonAscii), 20);
  EXPECT_LT(percent(nonAscii), 80);
  RecordProperty("exact", static_cast<int>(answered[exact]));
  RecordProperty("prefix", static_cast<int>(answered[prefix]));
  RecordProperty("longerStem", static_cast<int>(answered[longerStem]));
  RecordProperty("shorterStem", static_cast<int>(answered[shorterStem]));
  RecordProperty("nothing", static_cast<int>(answered[nothing]));
}

TEST(SidecarIndexTests, AnswersNothingForAnEmptyFolder) {
  const SidecarMatcher::Index index({});
  EXPECT_EQ(index.match("IMG_1.jpg"), std::nullopt);
  EXPECT_EQ(index.match(""), std::nullopt);
  EXPECT_TRUE(index.jsonNames().empty());
}

TEST(SidecarIndexTests, KeepsTheNamesAsGivenAndAnswersTheirPosition) {
  const Names names{"b.jpg.json", "A.JPG.Supplemental-Metadata.JSON", "c.jpg.json"};
  const SidecarMatcher::Index index(names);
  EXPECT_EQ(index.jsonNames(), names);
  EXPECT_EQ(index.match("a.jpg"), 1u);
  EXPECT_EQ(index.match("C.jpg"), 2u);
}

TEST(SidecarIndexTests, TakesTheFirstOfNamesThatDifferInCaseOnly) {
  const SidecarMatcher::Index index({"x.json", "IMG_1.JPG.json", "img_1.jpg.json"});
  EXPECT_EQ(index.match("img_1.jpg"), 1u);
}

TEST(SidecarIndexTests, GivesTiesToTheEarlierName) {
  EXPECT_EQ(SidecarMatcher::Index({"a.jpg.suppl1.json", "a.jpg.suppl0.json"}).match("a.jpg"), 0u);
  EXPECT_EQ(SidecarMatcher::Index({"abcdefghijklmnopq(2).json", "abcdefghijklmnopq(1).json"})
                .match("abcdefghijklmnopqr.jpg"),
            0u);
  EXPECT_EQ(SidecarMatcher::Index({"abcdefghijklmnop.jpgz.json", "abcdefghijklmnop.jpgy.json"})
                .match("abcdefghijklmnop.jpg"),
            0u);
}

TEST(SidecarIndexTests, StaysRightWhenItIsMoved) {
  SidecarMatcher::Index first({"IMG_1.jpg.json", "a-long-name-of-a-photo.json"});
  EXPECT_EQ(first.match("a-long-name-of-a-photograph.jpg"), 1u);
  SidecarMatcher::Index second = std::move(first);
  EXPECT_EQ(second.match("IMG_1.jpg"), 0u);
  EXPECT_EQ(second.match("a-long-name-of-a-photograph.jpg"), 1u);
  SidecarMatcher::Index third({});
  third = std::move(second);
  EXPECT_EQ(third.match("a-long-name-of-a-photo.of-mine.jpg"), 1u);
}

TEST(SidecarIndexTests, FindsEachOfAHundredThousandNamesAndNothingForOthers) {
  constexpr int count = 100000;
  Names names;
  for (int i = 0; i < count; ++i) names.push_back(fmt::format("IMG_{:06}.JPG.supplemental-metadata.json", i));
  const SidecarMatcher::Index index(names);
  for (int i = 0; i < count; ++i) {
    ASSERT_EQ(index.match(fmt::format("img_{:06}.jpg", i)), static_cast<std::size_t>(i));
    ASSERT_EQ(index.match(fmt::format("DSC_{:06}.jpg", i)), std::nullopt);
  }
}

}  // namespace
}  // namespace tollbrook
