#include <gtest/gtest.h>

#include <optional>

#include "TollbrookCore/ImageMetadata/ByteSource.h"
#include "TollbrookCore/ImageMetadata/IptcRecord.h"
#include "TollbrookCore/ImageMetadata/MetadataVerifier.h"
#include "TollbrookCore/ImageMetadata/XmpPacket.h"

namespace tollbrook::ImageMetadata {
namespace {

TargetTags datedAndCaptioned() {
  TargetTags target;
  target.takenTime = fromEpoch(1561982400);
  target.caption = "new";
  return target;
}

std::string packetOf(const std::string& attributes, const std::string& elements) {
  return "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
         "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description rdf:about=\"\" "
         "xmlns:exif=\"http://ns.adobe.com/exif/1.0/\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
         "xmlns:other=\"http://example.com/\"" +
         attributes + ">" + elements + "</rdf:Description></rdf:RDF></x:xmpmeta> padding";
}

const std::string xmpBefore =
    packetOf(" exif:DateTimeOriginal=\"1999\" exif:GPSLatitude=\"1,2.3N\" other:text=\"words\"",
             "<other:bag><rdf:Bag><rdf:li>one</rdf:li><rdf:li>two</rdf:li></rdf:Bag></other:bag>"
             "<dc:description><rdf:Alt><rdf:li>old</rdf:li></rdf:Alt></dc:description>");

/// The text with the only place of `from` replaced.
std::string replaced(std::string text, const std::string& from, const std::string& to) {
  EXPECT_EQ(text.find(from), text.rfind(from)) << from;
  return text.replace(text.find(from), from.size(), to);
}

TEST(VerifyXmp, TakesChangesOfTheTargetsAlone) {
  const std::string after = updatedXmp(xmpBefore, datedAndCaptioned()).value();
  EXPECT_NO_THROW(verifyXmp(xmpBefore, after, datedAndCaptioned()));
  TargetTags captioned;
  captioned.caption = "new";
  EXPECT_THROW(verifyXmp(xmpBefore, after, captioned), Refused) << "the date was not to change";
}

TEST(VerifyXmp, RefusesWhateverElseChanged) {
  const std::string after = updatedXmp(xmpBefore, datedAndCaptioned()).value();
  for (const auto& [from, to] : {std::pair{"words", "word"},
                                 {" other:text=\"words\"", ""},
                                 {"1,2.3N", "1,2.4N"},
                                 {"<rdf:li>one</rdf:li>", ""},
                                 {"<rdf:li>two</rdf:li>", "<rdf:li xml:lang=\"de\">two</rdf:li>"},
                                 {"<other:bag>", "<other:bag/><other:bag>"},
                                 {"http://example.com/", "http://example.org/"},
                                 {" padding", ""},
                                 {"</rdf:RDF>", ""}}) {
    EXPECT_THROW(verifyXmp(xmpBefore, replaced(after, from, to), datedAndCaptioned()), Refused) << from;
  }
}

TEST(VerifyXmp, GoesThroughAnyNumberOfElementsOnce) {
  std::string attributes, elements;
  for (int i = 0; i < 900; ++i) attributes += " exif:a" + std::to_string(i) + "=\"\"";
  for (int i = 0; i < 30000; ++i) elements += "<late:description/><dc:description/>";
  const std::string packet = packetOf(attributes + " xmlns:late=\"http://example.com/late/\"", elements);
  EXPECT_NO_THROW(verifyXmp(packet, packet, datedAndCaptioned()));
  EXPECT_THROW(verifyXmp(packet, replaced(packet, " padding", ""), datedAndCaptioned()), Refused);
}

std::string dataset(int record, int number, const std::string& value) {
  return std::string{'\x1C', static_cast<char>(record), static_cast<char>(number)} +
         numberBytes(value.size(), 2) + value;
}

std::string resource(int id, const std::string& data) {
  return "8BIM" + numberBytes(static_cast<std::uint64_t>(id), 2) + std::string(2, '\0') +
         numberBytes(data.size(), 4) + data + std::string(data.size() % 2, '\0');
}

const std::string utf8Declared = dataset(1, 90, "\x1B%G");
const std::string latin1Record =
    dataset(2, 5, "Caf\xE9") + dataset(2, 120, "old") + dataset(2, 122, "writer");

TEST(VerifyIptc, TakesTextInAnotherCharacterSetAndANewCaption) {
  EXPECT_NO_THROW(verifyIptc(latin1Record, withIptcCaption(latin1Record, "new"), "new"));
  EXPECT_NO_THROW(verifyIptc("", withIptcCaption("", "new"), "new"));
}

TEST(VerifyIptc, TakesEveryByteInAnotherCharacterSet) {
  for (int byte = 0x80; byte < 0x100; ++byte) {
    const std::string before = dataset(2, 5, std::string(1, static_cast<char>(byte)));
    EXPECT_NO_THROW(withIptcCaption(before, "new")) << byte;
  }
}

TEST(VerifyIptc, RefusesWhateverElseChanged) {
  const std::string after = withIptcCaption(latin1Record, "new");
  for (const auto& [from, to] : {std::pair{std::string("\xC3\xA9"), std::string("\xC3\xA8")},
                                 {dataset(2, 122, "writer"), dataset(2, 122, "WRITER")},
                                 {dataset(2, 122, "writer"), dataset(2, 110, "writer")},
                                 {dataset(2, 122, "writer"), std::string()},
                                 {dataset(2, 120, "new"), std::string()},
                                 {dataset(2, 120, "new"), dataset(2, 120, "old")},
                                 {dataset(2, 120, "new"), dataset(2, 120, "new") + dataset(2, 120, "new")},
                                 {utf8Declared, std::string()},
                                 {utf8Declared, utf8Declared.substr(1)}}) {
    EXPECT_THROW(verifyIptc(latin1Record, replaced(after, from, to), "new"), Refused) << to;
  }
}

TEST(VerifyIptc, RefusesTextThatWasUtf8AndIsOtherBytes) {
  const std::string before = utf8Declared + dataset(2, 5, "Caf\xE9");
  EXPECT_NO_THROW(verifyIptc(before, before + dataset(2, 120, "new"), "new"));
  EXPECT_THROW(
      verifyIptc(before, utf8Declared + dataset(2, 5, "Caf\xC3\xA9") + dataset(2, 120, "new"), "new"),
      Refused);
}

TEST(VerifyIptc, RefusesADeclarationThatReadersMayPassOver) {
  const std::string text = dataset(2, 5, "title"), caption = dataset(2, 120, "new");
  EXPECT_NO_THROW(verifyIptc(text, utf8Declared + text + caption, "new"));
  for (const std::string& after : {text + caption + utf8Declared, text + utf8Declared + caption,
                                   utf8Declared + dataset(1, 90, "\x1B.A") + text + caption,
                                   utf8Declared + text + caption + dataset(1, 90, "\x1B.A")}) {
    EXPECT_THROW(verifyIptc(text, after, "new"), Refused);
  }
}

TEST(VerifyIptc, RefusesTextWhereThereWasNone) {
  const std::string before = dataset(2, 5, "") + dataset(2, 120, "old");
  const std::string faceWithSmile = "\xF0\x9F\x98\x80";
  for (const std::string& text : {std::string("x"), faceWithSmile}) {
    const std::string after = utf8Declared + dataset(2, 5, text) + dataset(2, 120, "new");
    EXPECT_THROW(verifyIptc(before, after, "new"), Refused) << text;
  }
}

TEST(VerifyResources, TakesIptcAndItsDigestAlone) {
  const std::string before =
      resource(0x03ED, "abcd") + resource(0x0404, latin1Record) + resource(0x0425, std::string(16, 'd'));
  const std::string after = withCaptionInResources(before, "new");
  EXPECT_NO_THROW(verifyResources(before, after, "new"));
  EXPECT_NO_THROW(verifyResources(resource(0x03ED, "abcd"),
                                  withCaptionInResources(resource(0x03ED, "abcd"), "new"), "new"));
  EXPECT_THROW(verifyResources(before, after, std::nullopt), Refused) << "IPTC was not to change";
  EXPECT_THROW(verifyResources(before, after, "another"), Refused);
  EXPECT_THROW(verifyResources(before, replaced(after, "abcd", "abce"), "new"), Refused);
  EXPECT_THROW(verifyResources(before, replaced(after, resource(0x03ED, "abcd"), ""), "new"), Refused);
  EXPECT_THROW(verifyResources(before, replaced(after, "writer", "WRITER"), "new"), Refused);
  EXPECT_THROW(verifyResources(before, after.substr(0, after.size() - 28), "new"), Refused) << "the digest";
  EXPECT_THROW(verifyResources(before, after + '\0', "new"), Refused);
  EXPECT_THROW(verifyResources(before, after.substr(0, after.size() - 1), "new"), Refused);
}

}  // namespace
}  // namespace tollbrook::ImageMetadata
