#include <gtest/gtest.h>

#include "TollbrookCore/ImageMetadata/ByteSource.h"
#include "TollbrookCore/ImageMetadata/IptcRecord.h"

namespace tollbrook::ImageMetadata {
namespace {

const std::string utf8Declared("\x1C\x01\x5A\0\3\x1B%G", 8);
const std::string version("\x1C\2\0\0\2\0\4", 7);

std::string dataset(int record, int number, const std::string& value) {
  return std::string{'\x1C', static_cast<char>(record), static_cast<char>(number)} +
         numberBytes(value.size(), 2, ByteOrder::big) + value;
}

std::string resource(int id, const std::string& data, const std::string& name = std::string(2, '\0')) {
  return "8BIM" + numberBytes(static_cast<std::uint64_t>(id), 2, ByteOrder::big) + name +
         numberBytes(data.size(), 4, ByteOrder::big) + data + std::string(data.size() % 2, '\0');
}

TEST(WithIptcCaption, MakesARecordInUtf8) {
  EXPECT_EQ(withIptcCaption({},
                            "Gr\xC3\xBC\xC3\x9F"
                            "e"),
            utf8Declared + version +
                dataset(2, 120,
                        "Gr\xC3\xBC\xC3\x9F"
                        "e"));
}

TEST(WithIptcCaption, ReplacesTheCaptionAndKeepsItsNeighbours) {
  const std::string before = utf8Declared + dataset(2, 5, "title") + dataset(2, 120, "old") +
                             dataset(2, 122, "writer") + dataset(3, 10, "other record");
  const std::string after = utf8Declared + dataset(2, 5, "title") + dataset(2, 120, "new\nline") +
                            dataset(2, 122, "writer") + dataset(3, 10, "other record");
  EXPECT_EQ(withIptcCaption(before, "new\nline"), after);
  EXPECT_EQ(withIptcCaption(after, "new\nline"), after);
}

TEST(WithIptcCaption, PutsANewCaptionInItsPlace) {
  EXPECT_EQ(withIptcCaption(utf8Declared + dataset(2, 5, "title") + dataset(2, 122, "writer"), "x"),
            utf8Declared + dataset(2, 5, "title") + dataset(2, 120, "x") + dataset(2, 122, "writer"));
}

TEST(WithIptcCaption, LeavesOneOfSeveralCaptions) {
  EXPECT_EQ(withIptcCaption(utf8Declared + dataset(2, 120, "one") + dataset(2, 120, "two"), "x"),
            utf8Declared + dataset(2, 120, "x"));
}

TEST(WithIptcCaption, TranscodesLatin1WhereNothingIsDeclared) {
  const std::string before = dataset(2, 5, "Caf\xE9 \x80") + dataset(2, 25, "plain") +
                             dataset(2, 202, "\xE9\xE9") + dataset(7, 20, "\xE9");
  EXPECT_EQ(withIptcCaption(before, "x"), utf8Declared + dataset(2, 5, "Caf\xC3\xA9 \xE2\x82\xAC") +
                                              dataset(2, 25, "plain") + dataset(2, 120, "x") +
                                              dataset(2, 202, "\xE9\xE9") + dataset(7, 20, "\xE9"));
}

TEST(WithIptcCaption, RefusesATextThatWouldPassItsLimitInUtf8) {
  const std::string most(31, 'b');
  EXPECT_NO_THROW(withIptcCaption(dataset(2, 85, most.substr(1) + "\xE9"), "x"));
  EXPECT_THROW(withIptcCaption(dataset(2, 85, most + "\xE9"), "x"), Refused);
  // One that is too long and stays as it is does not get worse.
  EXPECT_NO_THROW(withIptcCaption(dataset(2, 85, most + most), "x"));
  EXPECT_NO_THROW(withIptcCaption(utf8Declared + dataset(2, 85, most + "\xC3\xA9"), "x"));
}

TEST(WithIptcCaption, KeepsTextThatIsUtf8WithoutSayingSo) {
  EXPECT_EQ(withIptcCaption(dataset(2, 5, "Caf\xC3\xA9"), "x"),
            utf8Declared + dataset(2, 5, "Caf\xC3\xA9") + dataset(2, 120, "x"));
}

TEST(WithIptcCaption, ReplacesADeclarationOfLatin1) {
  EXPECT_EQ(withIptcCaption(dataset(1, 0, "v") + dataset(1, 90, "\x1B.A") + dataset(2, 5, "\xE9"), "x"),
            dataset(1, 0, "v") + utf8Declared + dataset(2, 5, "\xC3\xA9") + dataset(2, 120, "x"));
}

TEST(WithIptcCaption, RefusesAnUnknownCharacterSet) {
  EXPECT_THROW(withIptcCaption(dataset(1, 90, "\x1B(I") + dataset(2, 5, "\xE9"), "x"), Refused);
}

TEST(WithIptcCaption, RefusesACharacterSetThatReadersTakeForSomethingElse) {
  const std::string text = dataset(2, 5, "\xC3\xA9"), latin1 = dataset(1, 90, "\x1B.A");
  for (const std::string& record : {text + utf8Declared, text + latin1, utf8Declared + latin1 + text,
                                    latin1 + utf8Declared + text, utf8Declared + text + latin1}) {
    EXPECT_THROW(withIptcCaption(record, "x"), Refused);
  }
  EXPECT_EQ(withIptcCaption(utf8Declared + utf8Declared + text, "x"),
            utf8Declared + utf8Declared + text + dataset(2, 120, "x"));
}

TEST(WithIptcCaption, TakesLongCaptions) {
  const std::string caption(3000, 'c'), longer(40000, 'd');
  EXPECT_EQ(withIptcCaption(utf8Declared, caption), utf8Declared + dataset(2, 120, caption));
  const std::string extended = utf8Declared + std::string("\x1C\2\x78\x80\4", 5) +
                               numberBytes(longer.size(), 4, ByteOrder::big) + longer;
  EXPECT_EQ(withIptcCaption(utf8Declared, longer), extended);
  EXPECT_EQ(withIptcCaption(extended, longer), extended);
}

TEST(WithIptcCaption, RefusesWhatIsNoRecord) {
  for (const std::string bad : {"words", "\x1C\2", "\x1C\2\x78\x7F\x7F", "\x1C\2\x78\x80\x09"}) {
    EXPECT_THROW(withIptcCaption(bad, "x"), Refused) << bad;
  }
  EXPECT_THROW(withIptcCaption(version + "tail", "x"), Refused);
  EXPECT_NO_THROW(withIptcCaption(version + std::string(3, '\0'), "x"));
}

TEST(WithCaptionInResources, AddsTheIptcResourceAndKeepsTheOthers) {
  const std::string others = resource(0x03ED, "odd") + resource(0x0BB7, "data", "\5names");
  EXPECT_EQ(withCaptionInResources(others, "x"), others + resource(0x0404, withIptcCaption({}, "x")));
}

TEST(WithCaptionInResources, RenewsADigestThatIsThere) {
  const std::string before = resource(0x0404, utf8Declared) + resource(0x0425, std::string(16, 'd'));
  const std::string after = withCaptionInResources(before, "x");
  const std::string renewed = withDigestOf(utf8Declared + dataset(2, 120, "x"), before);
  EXPECT_EQ(after.substr(after.size() - 16), renewed.substr(renewed.size() - 16));
  EXPECT_NE(after.substr(after.size() - 16), std::string(16, 'd'));
  // The MD5 of nothing.
  const std::string ofNothing("\xD4\x1D\x8C\xD9\x8F\0\xB2\4\xE9\x80\x09\x98\xEC\xF8\x42\x7E", 16);
  EXPECT_EQ(withDigestOf("", resource(0x0425, "old")), resource(0x0425, ofNothing));
}

TEST(WithCaptionInResources, RefusesMoreIptcThanAnySoundFileHas) {
  std::string resources;
  for (int i = 0; i < 16; ++i) resources += resource(0x0404, "");
  EXPECT_NO_THROW(withCaptionInResources(resources, "x"));
  EXPECT_THROW(withCaptionInResources(resources + resource(0x0404, ""), "x"), Refused);
}

TEST(WithCaptionInResources, RefusesWhatRunsPastTheEnd) {
  const std::string whole = resource(0x0404, utf8Declared);
  for (std::size_t length = 4; length + 1 < whole.size(); ++length) {
    EXPECT_THROW(withCaptionInResources(whole.substr(0, length), "x"), Refused) << length;
  }
  EXPECT_THROW(withCaptionInResources(whole + "8BXX", "x"), Refused);
}

TEST(AreResources, MeansAllOfThemWhole) {
  const std::string whole = resource(0x03ED, "abcd") + resource(0x0404, "");
  EXPECT_TRUE(areResources(whole));
  EXPECT_TRUE(areResources(""));
  EXPECT_FALSE(areResources(whole.substr(0, 14)));
  EXPECT_FALSE(areResources(whole.substr(2)));
}

TEST(HaveIptcResource, LooksForItAmongAll) {
  EXPECT_TRUE(haveIptcResource(resource(0x03ED, "a") + resource(0x0404, "")));
  EXPECT_FALSE(haveIptcResource(resource(0x03ED, "a")));
  EXPECT_FALSE(haveIptcResource(""));
}

}  // namespace
}  // namespace tollbrook::ImageMetadata
