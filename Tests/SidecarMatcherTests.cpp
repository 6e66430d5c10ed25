#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Support/TemporaryFolder.h"
#include "TollbrookCore/SidecarMatcher.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook {
namespace {

using SidecarMatcher::candidates;
using SidecarMatcher::DupParts;
using SidecarMatcher::splitDuplicate;
using SidecarMatcher::stripEdited;
using SidecarMatcher::truncatedSupplemental;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using Names = std::vector<std::string>;
constexpr std::string_view family = "\U0001F468\u200d\U0001F469\u200d\U0001F467";

/// The answer of the plain form, after a check that the index gives the same.
std::optional<std::string> match(std::string_view media, const Names& names) {
  const auto plain = SidecarMatcher::match(media, names);
  const SidecarMatcher::Index index(names);
  const auto position = index.match(media);
  EXPECT_EQ(plain, position ? std::optional(names[*position]) : std::nullopt) << media;
  return plain;
}

std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

TEST(TruncatedSupplementalTests, KeepsANameOfExactlyTheLimit) {
  const std::string base = repeated("a", 24);
  EXPECT_EQ(truncatedSupplemental(base, 51), base + ".supplemental-metadata.json");
  EXPECT_EQ(truncatedSupplemental(base + "b", 51), base +
                                                       "b.supplemental-metadat"
                                                       ".json");
  EXPECT_EQ(truncatedSupplemental(base + "b", 51).size(), 51u);
  EXPECT_EQ(truncatedSupplemental(base, 46), base +
                                                 ".supplemental-met"
                                                 ".json");
}

TEST(TruncatedSupplementalTests, CountsCharactersNotBytes) {
  const std::string umlauts = repeated("\u00fc", 24);
  EXPECT_EQ(truncatedSupplemental(umlauts, 51), umlauts + ".supplemental-metadata.json");
  const std::string families = repeated(family, 60);
  EXPECT_EQ(truncatedSupplemental(families, 51), repeated(family, 46) + ".json");
  EXPECT_EQ(truncatedSupplemental(repeated("e\u0301", 60), 46), repeated("e\u0301", 41) + ".json");
}

TEST(CandidatesTests, ListsTheFamilyOfTheNameThenOfTheNameWithoutExtension) {
  EXPECT_THAT(candidates("IMG_504.HEIC"),
              ElementsAre("IMG_504.HEIC.supplemental-metadata.json", "IMG_504.HEIC.json", "IMG_504.json",
                          "IMG_504.supplemental-metadata.json"));
}

TEST(CandidatesTests, ListsTheCounterFormsOfADuplicateInOrder) {
  EXPECT_THAT(
      candidates("IMG_1234(1).jpg"),
      ElementsAre("IMG_1234(1).jpg.supplemental-metadata.json", "IMG_1234(1).jpg.json", "IMG_1234(1).json",
                  "IMG_1234(1).supplemental-metadata.json", "IMG_1234.jpg.supplemental-metadata(1).json",
                  "IMG_1234.jpg(1).json", "IMG_1234.jpg(1).supplemental-metadata.json",
                  "IMG_1234.jpg.supplemental-metadata.json", "IMG_1234.jpg.json", "IMG_1234.json"));
}

TEST(CandidatesTests, ListsTheNamesOfTheUneditedFileAfterTheEditedOnes) {
  EXPECT_THAT(
      candidates("a(2)-edited.jpg"),
      ElementsAre("a(2)-edited.jpg.supplemental-metadata.json", "a(2)-edited.jpg.json", "a(2)-edited.json",
                  "a(2)-edited.supplemental-metadata.json", "a(2).jpg.supplemental-metadata.json",
                  "a(2).jpg.json", "a(2).json", "a.jpg.supplemental-metadata.json", "a.jpg.json"));
}

TEST(CandidatesTests, AddsTheCutFormsOfLongNamesBehindTheWholeOnes) {
  const std::string base = repeated("x", 30);
  EXPECT_THAT(candidates(base), ElementsAre(base + ".supplemental-metadata.json", base + ".json",
                                            base + ".supplemental-me.json", base + ".supplement.json"));
}

TEST(CandidatesTests, AddsOnlyTheShortCutBetweenFortySixAndFiftyOneCharacters) {
  const std::string base = repeated("x", 20);
  EXPECT_THAT(candidates(base), ElementsAre(base + ".supplemental-metadata.json", base + ".json",
                                            base + ".supplemental-metadat"
                                                   ".json"));
}

TEST(CandidatesTests, TakesAHiddenNameWithoutFurtherDotAsOneWithoutExtension) {
  EXPECT_THAT(candidates(".jpg"), ElementsAre(".jpg.supplemental-metadata.json", ".jpg.json"));
  EXPECT_THAT(candidates("-edited.jpg"), testing::Contains(".jpg.json"));
}

TEST(CandidatesTests, HoldsEachNameOnce) {
  for (const std::string name :
       {"IMG_1234(1).jpg", "a(2)-edited.jpg", "\u00fc(1)-edited.jpg", "e\u0301~2.jpg", ""}) {
    const Names list = candidates(name);
    for (std::size_t i = 0; i < list.size(); ++i) {
      EXPECT_FALSE(list[i].empty());
      for (std::size_t j = 0; j < i; ++j) EXPECT_FALSE(Text::equal(list[i], list[j])) << list[i];
    }
  }
}

TEST(SplitDuplicateTests, FindsTheCounterBeforeTheExtension) {
  EXPECT_EQ(splitDuplicate("IMG_1234(1).jpg"), (DupParts{"IMG_1234", "1", ".jpg"}));
  EXPECT_EQ(splitDuplicate("IMG_1234 (2).jpg"), (DupParts{"IMG_1234", "2", ".jpg"}));
  EXPECT_EQ(splitDuplicate("a  (12).b"), (DupParts{"a ", "12", ".b"}));
  EXPECT_EQ(splitDuplicate("(1).jpg"), (DupParts{"", "1", ".jpg"}));
  EXPECT_EQ(splitDuplicate("a(1)(2).jpg"), (DupParts{"a(1)", "2", ".jpg"}));
  EXPECT_EQ(splitDuplicate("a.b(3).jpg"), (DupParts{"a.b", "3", ".jpg"}));
}

TEST(SplitDuplicateTests, TakesTheDigitsOfAnyScript) {
  EXPECT_EQ(splitDuplicate("a(\u0663).jpg"), (DupParts{"a", "\u0663", ".jpg"}));
  EXPECT_EQ(splitDuplicate("a(\U0001D7CF).jpg"), (DupParts{"a", "\U0001D7CF", ".jpg"}));
  EXPECT_EQ(splitDuplicate("a(\u00b2).jpg"), std::nullopt);
}

TEST(SplitDuplicateTests, FindsNothingWithoutCounterOrExtension) {
  for (const std::string_view name : {"", "a.jpg", "a(1)", "a(1).", "a().jpg", "a(1x).jpg", "a1).jpg",
                                      "a(1)b.jpg", "a(1).x.jpg", "a\n(1).jpg"}) {
    EXPECT_EQ(splitDuplicate(name), std::nullopt) << name;
  }
}

TEST(StripEditedTests, RemovesTheMarkerOfEachLanguageInAnyCase) {
  for (const std::string marker : {"-edited", "-EDITED", "-edit", "-Bewerkt", "-bewer\u212at", "-modifie",
                                   "-modifi\u00e9", "-MODIFI\u00c9", "-modifie\u0301", "-MODIFIE\u0301",
                                   "-mod\u0069\ufb01\u00e9", "-bearbeitet", "~2", "~123", "~\u0661"}) {
    EXPECT_EQ(stripEdited("IMG_1" + marker + ".jpg"), "IMG_1.jpg") << marker;
  }
}

TEST(StripEditedTests, RemovesOneMarkerOnly) {
  EXPECT_EQ(stripEdited("a-edited-edited.jpg"), "a-edited.jpg");
  EXPECT_EQ(stripEdited("a-edited~2.jpg"), "a-edited.jpg");
  EXPECT_EQ(stripEdited("-edited.jpg"), ".jpg");
}

TEST(StripEditedTests, FindsNothingWithoutMarkerOrExtension) {
  for (const std::string_view name : {"", "a.jpg", "a-edited", "a-edited.", "a-edite.jpg", "a~.jpg", "a2.jpg",
                                      "edited.jpg", "a-edited(1).jpg", "a\n-edited.jpg", "a-modifi.jpg",
                                      "a-modifi\u0301.jpg", "a-modifi\u00e8.jpg", "a-edited.b.jpg"}) {
    EXPECT_EQ(stripEdited(name), std::nullopt) << name;
  }
}

TEST(MatchTests, FindsTheSidecarInAnyCaseAndKeepsItsOwn) {
  EXPECT_EQ(match("IMG_504.HEIC", {"IMG_504.HEIC.supplemental-metadata.json"}),
            "IMG_504.HEIC.supplemental-metadata.json");
  EXPECT_EQ(match("IMG_504.HEIC", {"img_504.heic.Supplemental-Metadata.JSON"}),
            "img_504.heic.Supplemental-Metadata.JSON");
  EXPECT_EQ(match("\u00dc.jpg", {"\u00fc.JPG.json"}), "\u00fc.JPG.json");
}

TEST(MatchTests, FindsASidecarCutToFiftyOneOrFortySixCharacters) {
  const std::string name = "A_photo_with_a_rather_long_name_1.jpg";
  const std::string whole = name + ".supplemental-metadata.json";
  const std::string at51 = whole.substr(0, 46) + ".json";
  const std::string at46 = whole.substr(0, 41) + ".json";
  EXPECT_EQ(match(name, {at51}), at51);
  EXPECT_EQ(match(name, {at46}), at46);
  EXPECT_EQ(match(name, {at46, at51, whole}), whole);
  EXPECT_EQ(match(name, {at46, at51}), at51);
}

TEST(MatchTests, CutsNamesOfEmojiAndAccentsByCharacter) {
  const std::string name = repeated(family, 40) + repeated("e\u0301", 10) + ".jpg";
  const std::string cut = repeated(family, 40) + repeated("\u00e9", 6) + ".json";
  EXPECT_EQ(match(name, {cut}), cut);
}

TEST(MatchTests, PrefersTheCounterFormsForADuplicate) {
  const std::string behindSuffix = "IMG_1234.jpg.supplemental-metadata(1).json";
  const std::string behindName = "IMG_1234.jpg(1).json";
  const std::string plain = "IMG_1234.jpg.json";
  EXPECT_EQ(match("IMG_1234(1).jpg", {plain, behindName, behindSuffix}), behindSuffix);
  EXPECT_EQ(match("IMG_1234(1).jpg", {plain, behindName}), behindName);
  EXPECT_EQ(match("IMG_1234(1).jpg", {plain}), plain);
}

TEST(MatchTests, GivesAnEditedCopyTheSidecarOfTheUneditedFile) {
  const Names names{"IMG_1234.jpg.supplemental-metadata.json"};
  for (const std::string marker :
       {"-edited", "-EDITED", "-bearbeitet", "-modifi\u00e9", "-modifie\u0301", "~2"}) {
    EXPECT_EQ(match("IMG_1234" + marker + ".jpg", names), names[0]) << marker;
  }
}

TEST(MatchTests, PrefersTheEarlierCandidate) {
  EXPECT_EQ(match("a.jpg", {"a.jpg.json", "a.jpg.supplemental-metadata.json"}),
            "a.jpg.supplemental-metadata.json");
  EXPECT_EQ(match("a.jpg", {"a.supplemental-metadata.json", "a.json"}), "a.json");
}

TEST(MatchTests, FindsASuffixCutByAnotherTool) {
  EXPECT_EQ(match("IMG.jpg", {"img.jpg.suppl.json"}), "img.jpg.suppl.json");
  EXPECT_EQ(match("IMG.jpg", {"img.jpg.supplemental-meta(3).json"}), "img.jpg.supplemental-meta(3).json");
  EXPECT_EQ(match("IMG.jpg", {"img.jpg.supp.json"}), std::nullopt);
  EXPECT_EQ(match("IMG.jpg", {"img.jpg.suppl"}), std::nullopt);
  EXPECT_EQ(match("IMG.jpg", {"img.jpg2.suppl.json"}), std::nullopt);
}

TEST(MatchTests, TakesTheLongestNameThatThePrefixRuleAccepts) {
  EXPECT_EQ(match("a.jpg", {"a.jpg.suppl.json", "a.jpg.supple.json", "a.jpg.supp.json"}),
            "a.jpg.supple.json");
  EXPECT_EQ(match("a.jpg", {"a.jpg.suppl1.json", "a.jpg.suppl2.json"}), "a.jpg.suppl1.json");
}

TEST(MatchTests, LetsEveryPieceOfTheSuffixInANameLeadToIt) {
  const Names names{"a.b.suppl.suppl.json"};
  EXPECT_EQ(match("a.b", names), names[0]);
  EXPECT_EQ(match("a.b.suppl", names), names[0]);
  EXPECT_EQ(match("a.b.suppl.s", names), std::nullopt);
}

TEST(MatchTests, MeasuresThePrefixRulesNamesInCharacters) {
  const std::string fewBytes = "a.jpg.suppl-xx.json";
  const std::string fewCharacters = "a.jpg.suppl" + std::string(family) + ".json";
  EXPECT_EQ(match("a.jpg", {fewCharacters, fewBytes}), fewBytes);
}

TEST(MatchTests, AcceptsNoSuffixWhoseLastLetterCarriesAMark) {
  EXPECT_EQ(match("a.jpg", {"a.jpg.suppl\u0301.json"}), std::nullopt);
  EXPECT_EQ(match("a.jpg", {"a.jpg.suppl\u0308.json"}), std::nullopt);
  EXPECT_EQ(match("a.jpg", {"a.jpg.\u0301suppl.json"}), std::nullopt);
  EXPECT_EQ(match("a", {"a.suppl\u0600.json"}), std::nullopt);
}

TEST(MatchTests, NeverTakesAStemOfFifteenCharacters) {
  EXPECT_EQ(match("abcdefghijklmno_1.jpg", {"abcdefghijklmno.json"}), std::nullopt);
  EXPECT_EQ(match("abcdefghijklmnop_1.jpg", {"abcdefghijklmnop.json"}), "abcdefghijklmnop.json");
  EXPECT_EQ(match("abcdefghijklmno_1.jpg", {"abcdefghijklmno(1).supplemental-metadata.json"}), std::nullopt);
  EXPECT_EQ(match("abcdefghijklmnop_1.jpg", {"ABCDEFGHIJKLMNOP(1).supplemental-metadata.json"}),
            "ABCDEFGHIJKLMNOP(1).supplemental-metadata.json");
}

TEST(MatchTests, MeasuresStemsInCharacters) {
  EXPECT_EQ(match(repeated("\u00fc", 15) + "_1.jpg", {repeated("\u00fc", 15) + ".json"}), std::nullopt);
  EXPECT_EQ(match(repeated("\u00fc", 16) + "_1.jpg", {repeated("u\u0308", 16) + ".json"}),
            repeated("u\u0308", 16) + ".json");
}

TEST(MatchTests, TakesTheLongestStemThatBeginsTheMediaName) {
  EXPECT_EQ(match("abcdefghijklmnopqrst.jpg",
                  {"abcdefghijklmnop.json", "abcdefghijklmnopqr.json", "abcdefghijklmnopq.json"}),
            "abcdefghijklmnopqr.json");
}

TEST(MatchTests, TakesAStemThatTheMediaNameBegins) {
  EXPECT_EQ(match("IMG_1.jpg", {"IMG_1.jpg.su.json"}), std::nullopt);
  EXPECT_EQ(match("IMG_000001.jpg", {"IMG_000001.jpg.su.json"}), "IMG_000001.jpg.su.json");
  EXPECT_EQ(match("abcdefghijklmnop.jpg", {"abcdefghijklmnop.json2.json", "abcdefghijklmnop.jpgx.json",
                                           "abcdefghijklmnop.jpgxy.json"}),
            "abcdefghijklmnop.jpgxy.json");
  EXPECT_EQ(match("a", {"abcdefghijklmnopq.json", "abcdefghijklmnopqr.json"}), "abcdefghijklmnopqr.json");
}

TEST(MatchTests, ComparesStemsByWholeCharacters) {
  EXPECT_EQ(match("abcdefghijklmnope\u0301.jpg", {"abcdefghijklmnope.json"}), std::nullopt);
  EXPECT_EQ(match("abcdefghijklmnopq\u0308.jpg", {"abcdefghijklmnopq.json"}), std::nullopt);
  EXPECT_EQ(match("abcdefghijklmno", {"abcdefghijklmno\u0301pqr.json"}), std::nullopt);
  EXPECT_EQ(match("abcdefghijklmnopq", {"abcdefghijklmnopq\u0308rs.json"}), std::nullopt);
}

TEST(MatchTests, RemovesACounterBeforeALineBreakThatEndsTheStem) {
  const Names names{"abcdefghijklmnop(2)\n.json"};
  EXPECT_EQ(match("abcdefghijklmnop\n.jpg", names), names[0]);
  EXPECT_EQ(match("abcdefghijklmnop.jpg", names), std::nullopt);
}

TEST(MatchTests, TakesTheDotAlongBehindALetterThatAttachesItselfToIt) {
  constexpr std::string_view media = "ab\u0600";
  EXPECT_EQ(match(media, {"AB\u0600..suppl.json"}), "AB\u0600..suppl.json");
  EXPECT_EQ(match(media, {"AB\u0600.suppl.json"}), std::nullopt);
}

TEST(MatchTests, GivesTiesToTheEarlierName) {
  EXPECT_EQ(match("abcdefghijklmnopq.jpg", {"abcdefghijklmnop(2).json", "abcdefghijklmnop(1).json"}),
            "abcdefghijklmnop(2).json");
  EXPECT_EQ(match("a.jpg", {"A.JPG.json", "a.jpg.json"}), "A.JPG.json");
}

TEST(MatchTests, FindsNothingInAnEmptyList) { EXPECT_EQ(match("IMG_1.jpg", {}), std::nullopt); }

TEST(MatchTests, FindsNothingForUnrelatedNames) {
  EXPECT_EQ(match("IMG_1.jpg", {"IMG_10.jpg.json", "IMG_2.jpg.json", "metadata.json"}), std::nullopt);
}

TEST(MatchTests, ComparesByCanonicalEquivalence) {
  EXPECT_EQ(match("caf\u00e9.jpg", {"CAFE\u0301.jpg.json"}), "CAFE\u0301.jpg.json");
  EXPECT_EQ(match("cafe\u0301.jpg", {"caf\u00e9.jpg.json"}), "caf\u00e9.jpg.json");
  EXPECT_EQ(match("cafe.jpg", {"caf\u00e9.jpg.json"}), std::nullopt);
}

TEST(MatchTests, FindsANameThatEndsInSigma) {
  // Alone the sigma is the last of its word; before a suffix it is not.
  EXPECT_EQ(match("\u039f\u03a3", {"\u039f\u03a3.json"}), "\u039f\u03a3.json");
  EXPECT_EQ(match("\u039f\u03a3", {"\u03bf\u03c2.json"}), "\u03bf\u03c2.json");
  EXPECT_EQ(match("\u039f\u03a3", {"\u03bf\u03c2.supplemental-metadata.json"}),
            "\u03bf\u03c2.supplemental-metadata.json");
}

TEST(MatchTests, MatchesNamesOfAnyBytes) {
  EXPECT_EQ(match("a\xff.jpg", {"A\xff.JPG.json"}), "A\xff.JPG.json");
  EXPECT_EQ(match("a\xff.jpg", {"a\xfe.jpg.json"}), std::nullopt);
  EXPECT_EQ(match("a\r\nb.jpg", {"A\r\nB.jpg.json"}), "A\r\nB.jpg.json");
}

TEST(JsonFilenamesTests, TellsJsonByItsExtension) {
  for (const std::string_view name :
       {"a.json", "A.JSON", "a.b.JsOn", "..json", "a\xff.json", "\u00fc.json"}) {
    EXPECT_TRUE(SidecarMatcher::isJsonFilename(name)) << name;
  }
  for (const std::string_view name :
       {"", "json", ".json", "a.jso", "a.jsonx", "ajson", "a.json.jpg", "a.j\u017fon", "a\x0ejson"}) {
    EXPECT_FALSE(SidecarMatcher::isJsonFilename(name)) << name;
  }
}

TEST(JsonFilenamesTests, ListsHiddenNamesFoldersAndLinksButNothingBelow) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "a.json", "{}");
  test::writeFile(folder / ".hidden.JSON", "{}");
  test::writeFile(folder / "a.jpg", "");
  test::writeFile(folder / "sub/below.json", "{}");
  std::filesystem::create_directory(folder / "folder.json");
  std::filesystem::create_symlink("nowhere", folder / "link.json");
  EXPECT_THAT(SidecarMatcher::jsonFilenames(folder.path()),
              UnorderedElementsAre("a.json", ".hidden.JSON", "folder.json", "link.json"));
}

TEST(JsonFilenamesTests, KeepsTheListingOrder) {
  const test::TemporaryFolder folder;
  for (const std::string name : {"c.json", "a.json", "b.json", "d.json"}) test::writeFile(folder / name, "");
  Names listed;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
    listed.push_back(entry.path().filename());
  EXPECT_EQ(SidecarMatcher::jsonFilenames(folder.path()), listed);
}

TEST(JsonFilenamesTests, IsEmptyWhereNothingCanBeListed) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "file.json", "{}");
  EXPECT_THAT(SidecarMatcher::jsonFilenames(folder / "missing"), IsEmpty());
  EXPECT_THAT(SidecarMatcher::jsonFilenames(folder / "file.json"), IsEmpty());
}

TEST(SidecarTests, LooksInTheFolderOfTheMediaFile) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "IMG_1.jpg", "");
  test::writeFile(folder / "img_1.JPG.json", "{}");
  EXPECT_EQ(SidecarMatcher::sidecar(folder / "IMG_1.jpg"), folder / "img_1.JPG.json");
  EXPECT_EQ(SidecarMatcher::sidecar(folder / "IMG_2.jpg"), std::nullopt);
  EXPECT_EQ(SidecarMatcher::sidecar(folder / "missing/IMG_1.jpg"), std::nullopt);
}

TEST(SidecarTests, TrustsTheNamesItIsGiven) {
  EXPECT_EQ(SidecarMatcher::sidecar("/nowhere/a.jpg", Names{"a.json"}), "/nowhere/a.json");
  EXPECT_EQ(SidecarMatcher::sidecar("/nowhere/a.jpg", Names{}), std::nullopt);
}

}  // namespace
}  // namespace tollbrook
