#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "Support/ImageTags.h"
#include "TollbrookCore/ImageMetadata/XmpPacket.h"

namespace tollbrook::ImageMetadata {
namespace {

using testing::HasSubstr;
using testing::Not;

TargetTags everything() { return test::everything("a <new> & \"better\"\ncaption", -35.5); }

std::string packetOf(const std::string& attributes, const std::string& elements) {
  return "<?xpacket begin=\"\xEF\xBB\xBF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
         "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\" x:xmptk=\"kit\">\n <rdf:RDF "
         "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n  <rdf:Description "
         "rdf:about=\"uuid:1\" "
         "xmlns:exif=\"http://ns.adobe.com/exif/1.0/\" xmlns:xap=\"http://ns.adobe.com/xap/1.0/\" "
         "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
         "xmlns:photoshop=\"http://ns.adobe.com/photoshop/1.0/\" "
         "xmlns:other=\"http://example.com/\"" +
         attributes + ">" + elements + "</rdf:Description>\n </rdf:RDF>\n</x:xmpmeta>\n" +
         std::string(100, ' ') + "\n<?xpacket end=\"w\"?>";
}

TEST(UpdatedXmp, SetsWhatMeansTheSame) {
  const auto packet = updatedXmp(
      packetOf(" exif:GPSLatitude=\"1,2.3N\" exif:GPSLongitude=\"4,5.6E\" exif:GPSAltitude=\"7/1\" "
               "exif:GPSAltitudeRef=\"0\" xap:ModifyDate=\"2001-01-01\"",
               "<exif:DateTimeOriginal>2001-01-01T01:01:01</exif:DateTimeOriginal>"
               "<photoshop:DateCreated>2001-01-01</photoshop:DateCreated>"),
      everything());
  ASSERT_TRUE(packet);
  EXPECT_THAT(*packet, HasSubstr("exif:GPSLatitude=\"48,51.50400000N\""));
  EXPECT_THAT(*packet, HasSubstr("exif:GPSLongitude=\"2,17.67000000W\""));
  EXPECT_THAT(*packet, HasSubstr("exif:GPSAltitude=\"355000/10000\""));
  EXPECT_THAT(*packet, HasSubstr("exif:GPSAltitudeRef=\"1\""));
  EXPECT_THAT(*packet, HasSubstr("xap:ModifyDate=\"2019-07-01T12:00:00+00:00\""));
  EXPECT_THAT(*packet, HasSubstr("<exif:DateTimeOriginal>2019-07-01T12:00:00+00:00</exif:DateTimeOriginal>"));
  EXPECT_THAT(*packet, HasSubstr("<photoshop:DateCreated>2019-07-01T12:00:00+00:00</photoshop:DateCreated>"));
  EXPECT_THAT(*packet, Not(HasSubstr("2001")));
  EXPECT_EQ(updatedXmp(*packet, everything()), std::nullopt);
}

TEST(UpdatedXmp, AddsNothing) {
  EXPECT_EQ(updatedXmp(packetOf(" other:thing=\"1\"", ""), everything()), std::nullopt);
}

TEST(UpdatedXmp, KeepsEverythingElse) {
  const std::string elements =
      "<other:bag><rdf:Bag><rdf:li>a &amp; b</rdf:li> <rdf:li/></rdf:Bag></other:bag><!-- a comment -->"
      "<other:CreateDate>1999</other:CreateDate>";
  const std::string before = packetOf(" xap:CreateDate=\"1\" other:text=\"line&#xA;break\"", elements);
  const auto after = updatedXmp(before, everything());
  ASSERT_TRUE(after);
  EXPECT_THAT(*after, HasSubstr("<rdf:Bag><rdf:li>a &amp; b</rdf:li> <rdf:li/></rdf:Bag>"));
  EXPECT_THAT(*after, HasSubstr("<!-- a comment --><other:CreateDate>1999</other:CreateDate>"));
  EXPECT_THAT(*after, HasSubstr("other:text=\"line&#10;break\""));
  EXPECT_THAT(*after, HasSubstr("rdf:about=\"uuid:1\""));
  EXPECT_EQ(after->substr(after->find("</x:xmpmeta>")), before.substr(before.find("</x:xmpmeta>")));
}

TEST(UpdatedXmp, KeepsCarriageReturns) {
  const auto after = updatedXmp(
      packetOf(" xap:CreateDate=\"1\" other:one=\"a&#xD;&#xA;b\"", "<other:two>a&#xD;&#xA;b</other:two>"),
      everything());
  ASSERT_TRUE(after);
  EXPECT_THAT(*after, HasSubstr("other:one=\"a&#13;&#10;b\""));
  EXPECT_THAT(*after, HasSubstr("<other:two>a&#xD;\nb</other:two>"));
  TargetTags target = everything();
  target.caption = "two\r\nlines";
  const auto captioned = updatedXmp(packetOf("", "<dc:description/>"), target);
  ASSERT_TRUE(captioned);
  EXPECT_THAT(*captioned, HasSubstr(">two&#xD;\nlines</rdf:li>"));
  EXPECT_EQ(updatedXmp(*captioned, target), std::nullopt);
}

TEST(UpdatedXmp, MakesOneDateOfAList) {
  for (const std::string form :
       {"<xap:CreateDate><rdf:Seq><rdf:li>2001-01-01</rdf:li></rdf:Seq></xap:CreateDate>",
        "<xap:CreateDate rdf:parseType=\"Resource\"><other:a>2001</other:a></xap:CreateDate>"}) {
    const auto packet = updatedXmp(packetOf("", form), everything());
    ASSERT_TRUE(packet) << form;
    EXPECT_THAT(*packet, HasSubstr("><xap:CreateDate>2019-07-01T12:00:00+00:00</xap:CreateDate><")) << form;
  }
}

TEST(UpdatedXmp, MakesAnAlternativeOfADescriptionInAnyOtherForm) {
  const std::string made =
      "<dc:description><rdf:Alt><rdf:li xml:lang=\"x-default\">a &lt;new&gt; &amp; \"better\"\ncaption"
      "</rdf:li></rdf:Alt></dc:description>";
  for (const std::string form :
       {"<dc:description/>", "<dc:description></dc:description>",
        "<dc:description><rdf:Alt/></dc:description>",
        "<dc:description><rdf:Alt><rdf:li xml:lang=\"de\">alt</rdf:li></rdf:Alt></dc:description>",
        "<dc:description><rdf:Alt><rdf:li xml:lang=\"x-default\">old</rdf:li><rdf:li xml:lang=\"de\">alt"
        "</rdf:li></rdf:Alt></dc:description>",
        "<dc:description>\n </dc:description>", "<dc:description>plain text</dc:description>",
        "<dc:description xml:lang=\"de\">alt</dc:description>",
        "<dc:description rdf:parseType=\"Resource\"><rdf:value>text</rdf:value></dc:description>",
        "<dc:description><rdf:Bag><rdf:li>text</rdf:li></rdf:Bag></dc:description>"}) {
    const auto packet = updatedXmp(packetOf("", form + "<other:thing/>"), everything());
    ASSERT_TRUE(packet) << form;
    EXPECT_THAT(*packet, HasSubstr(made + "<other:thing")) << form;
    EXPECT_EQ(updatedXmp(*packet, everything()), std::nullopt) << form;
  }
}

TEST(UpdatedXmp, MakesAnAlternativeOfADescriptionThatIsAnAttribute) {
  const auto packet = updatedXmp(packetOf(" dc:description=\"old\" other:thing=\"1\"", ""), everything());
  ASSERT_TRUE(packet);
  EXPECT_THAT(*packet, Not(HasSubstr("dc:description=")));
  EXPECT_THAT(*packet,
              HasSubstr("other:thing=\"1\"><dc:description><rdf:Alt><rdf:li xml:lang=\"x-default\">a "
                        "&lt;new&gt; &amp; \"better\"\ncaption</rdf:li></rdf:Alt></dc:description>"));
  EXPECT_EQ(updatedXmp(*packet, everything()), std::nullopt);
}

TEST(UpdatedXmp, KeepsTheNamespaceThatADescriptionDeclares) {
  const std::string declaration = " xmlns:d=\"http://purl.org/dc/elements/1.1/\"";
  const auto packet =
      updatedXmp(packetOf("", "<d:description" + declaration + ">old</d:description>"), everything());
  ASSERT_TRUE(packet);
  EXPECT_THAT(*packet, HasSubstr("<d:description" + declaration + "><rdf:Alt>"));
}

TEST(UpdatedXmp, FindsThePacketWhateverTheCaptionSays) {
  std::string bare = packetOf("", "<dc:description/>");
  bare.replace(bare.find("<x:xmpmeta"), bare.find(" <rdf:RDF") - bare.find("<x:xmpmeta"), "");
  bare.erase(bare.find("</x:xmpmeta>"), 12);
  TargetTags target = everything();
  target.caption = "about xmpmeta and xapmeta";
  const auto packet = updatedXmp(bare, target);
  ASSERT_TRUE(packet);
  EXPECT_EQ(updatedXmp(*packet, target), std::nullopt);
  EXPECT_NE(updatedXmp(*packet, everything()), std::nullopt);
}

TEST(UpdatedXmp, SaysThatAnAltitudeIsBelowSeaLevel) {
  const std::string attribute = packetOf(" exif:GPSAltitude=\"7/1\"", "");
  const auto asAttribute = updatedXmp(attribute, everything());
  ASSERT_TRUE(asAttribute);
  EXPECT_THAT(*asAttribute, HasSubstr("exif:GPSAltitude=\"355000/10000\" exif:GPSAltitudeRef=\"1\""));
  EXPECT_EQ(updatedXmp(*asAttribute, everything()), std::nullopt);

  const auto asElement = updatedXmp(packetOf("", "<exif:GPSAltitude>7/1</exif:GPSAltitude>"), everything());
  ASSERT_TRUE(asElement);
  EXPECT_THAT(*asElement, HasSubstr("<exif:GPSAltitude>355000/10000</exif:GPSAltitude>"
                                    "<exif:GPSAltitudeRef>1</exif:GPSAltitudeRef>"));
  EXPECT_EQ(updatedXmp(*asElement, everything()), std::nullopt);
}

TEST(UpdatedXmp, DeclaresTheNamespaceOfAnAltitudeRefWhereItIsUnknown) {
  const std::string declaration = " xmlns:e=\"http://ns.adobe.com/exif/1.0/\"";
  const auto packet =
      updatedXmp(packetOf("", "<e:GPSAltitude" + declaration + ">7/1</e:GPSAltitude>"), everything());
  ASSERT_TRUE(packet);
  EXPECT_THAT(*packet, HasSubstr("<e:GPSAltitudeRef" + declaration + ">1</e:GPSAltitudeRef>"));
  EXPECT_EQ(updatedXmp(*packet, everything()), std::nullopt);
}

TEST(UpdatedXmp, AddsNoAltitudeRefWhereNoneIsMissing) {
  TargetTags above = everything();
  above.position->altitude = 12;
  const auto packet = updatedXmp(packetOf(" exif:GPSAltitude=\"7/1\"", ""), above);
  ASSERT_TRUE(packet);
  EXPECT_THAT(*packet, Not(HasSubstr("GPSAltitudeRef")));

  std::string inTwo = packetOf(" exif:GPSAltitude=\"7/1\"", "");
  inTwo.insert(inTwo.find(" </rdf:RDF>"),
               "<rdf:Description rdf:about=\"uuid:1\" xmlns:exif=\"http://ns.adobe.com/exif/1.0/\" "
               "exif:GPSAltitudeRef=\"0\"/>");
  const auto updated = updatedXmp(inTwo, everything());
  ASSERT_TRUE(updated);
  EXPECT_THAT(*updated, HasSubstr("exif:GPSAltitudeRef=\"1\"/>"));
  EXPECT_EQ(updated->find("GPSAltitudeRef"), updated->rfind("GPSAltitudeRef"));
}

TEST(UpdatedXmp, LeavesWhatItCannotReadAlone) {
  const std::string good = packetOf(" xap:CreateDate=\"1\"", "");
  EXPECT_EQ(updatedXmp("", everything()), std::nullopt);
  EXPECT_EQ(updatedXmp("no packet at all", everything()), std::nullopt);
  EXPECT_EQ(updatedXmp(packetOf(" xap:CreateDate=\"1\"", "<open>"), everything()), std::nullopt);
  EXPECT_EQ(updatedXmp(packetOf(" xap:CreateDate=\"\xFF\"", ""), everything()), std::nullopt);
  for (std::size_t length = 0; length < good.find("</x:xmpmeta>"); ++length) {
    EXPECT_EQ(updatedXmp(good.substr(0, length), everything()), std::nullopt) << length;
  }
}

TEST(UpdatedXmp, LeavesAPacketAloneThatIsNestedTooDeeply) {
  constexpr int levels = 60000;
  std::string nested;
  for (int i = 0; i < levels; ++i) nested += "<b>";
  for (int i = 0; i < levels; ++i) nested += "</b>";
  const std::string description =
      "<dc:description><rdf:Alt><rdf:li>" + nested + "</rdf:li></rdf:Alt></dc:description>";
  EXPECT_EQ(updatedXmp(packetOf("", description), everything()), std::nullopt);
}

TEST(UpdatedXmp, RefusesAPacketThatWouldFillTheMemory) {
  const auto withElements = [](int count) {
    std::string elements;
    for (int i = 0; i < count; ++i) elements += "<a/>";
    return packetOf(" xap:CreateDate=\"2001-01-01T01:01:01+00:00\"", elements);
  };
  const std::string small = withElements(0);
  const auto others =
      std::count(small.begin(), small.end(), '<') + std::count(small.begin(), small.end(), '=');
  const int most = (1 << 17) - static_cast<int>(others);
  EXPECT_NE(updatedXmp(withElements(most), everything()), std::nullopt);
  EXPECT_THROW(updatedXmp(withElements(most + 1), everything()), Refused);
  constexpr std::size_t largest = 16 << 20;
  const auto padded = [&](std::size_t size) { return small + std::string(size - small.size(), ' '); };
  EXPECT_NE(updatedXmp(padded(largest), everything()), std::nullopt);
  EXPECT_THROW(updatedXmp(padded(largest + 1), everything()), Refused);
}

TEST(UpdatedXmp, LeavesAPacketAloneThatHasTooManyAttributes) {
  const auto withAttributes = [](int count) {
    std::string attributes;
    for (int i = 0; i < count; ++i) attributes += " a" + std::to_string(i) + "=\"\"";
    return packetOf(
        "", "<dc:description><rdf:Alt" + attributes + "><rdf:li>old</rdf:li></rdf:Alt></dc:description>");
  };
  EXPECT_NE(updatedXmp(withAttributes(1000), everything()), std::nullopt);
  EXPECT_EQ(updatedXmp(withAttributes(1001), everything()), std::nullopt);
}

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

TEST(UpdatedXmp, RefusesAPropertyInMorePlacesThanAnySoundPacketHas) {
  for (const std::string element : {"<dc:description/>", "<xap:CreateDate/>", "<other:CreateDate/>"}) {
    EXPECT_NE(updatedXmp(packetOf("", repeated(element, 16) + "<xap:ModifyDate/>"), everything()),
              std::nullopt);
    for (const int count : {17, 30000}) {
      EXPECT_THROW(updatedXmp(packetOf("", repeated(element, count) + "<xap:ModifyDate/>"), everything()),
                   Refused)
          << element;
    }
  }
}

TEST(UpdatedXmp, RefusesAPacketInAnotherEncoding) {
  const std::string packet = packetOf(" xap:CreateDate=\"1\"", "");
  std::string bigEndian, littleEndian, wide;
  for (const char c : packet) {
    bigEndian += {'\0', c};
    littleEndian += {c, '\0'};
    wide += {'\0', '\0', '\0', c};
  }
  for (const std::string& encoded : {bigEndian, littleEndian, wide}) {
    EXPECT_THROW(updatedXmp(encoded, everything()), Refused);
  }
}

TEST(UpdatedXmp, RefusesSeveralPacketsInOne) {
  const std::string packet = packetOf(" xap:CreateDate=\"1\"", "");
  const std::size_t start = packet.find("<x:xmpmeta"), end = packet.find("</x:xmpmeta>") + 12;
  const std::string whole = packet.substr(start, end - start);
  EXPECT_THROW(updatedXmp(whole + whole, everything()), Refused);
  const std::size_t rdfStart = packet.find("<rdf:RDF"), rdfEnd = packet.find("</rdf:RDF>") + 10;
  const std::string rdf = packet.substr(rdfStart, rdfEnd - rdfStart);
  EXPECT_THROW(updatedXmp(std::string(packet).insert(rdfEnd, rdf), everything()), Refused);
  EXPECT_THROW(updatedXmp(std::string(packet).insert(end, rdf), everything()), Refused);
  EXPECT_THROW(updatedXmp(std::string(packet).insert(start, rdf), everything()), Refused);
}

TEST(UpdatedXmp, FindsThePacketWhateverItsHeaderSays) {
  std::string packet = packetOf(" xap:CreateDate=\"1\"", "");
  packet.replace(packet.find("id=\"W5M0"), 4, "id=\"RDF xmpmeta ");
  packet.insert(packet.find("<x:xmpmeta"), "<!-- the xmpmeta -->");
  EXPECT_THAT(updatedXmp(packet, everything()).value_or(""), HasSubstr("CreateDate=\"2019-07-01T"));
}

TEST(UpdatedXmp, FindsPropertiesOfTheDefaultNamespace) {
  const std::string date = "<DateTimeOriginal xmlns=\"http://ns.adobe.com/exif/1.0/\">";
  const auto packet = updatedXmp(packetOf("", date + "1999</DateTimeOriginal>"), everything());
  EXPECT_THAT(packet.value_or(""), HasSubstr(date + "2019-07-01T12:00:00+00:00</DateTimeOriginal>"));
  const std::string text = "<description xmlns=\"http://purl.org/dc/elements/1.1/\">";
  const auto captioned = updatedXmp(packetOf("", text + "old</description>"), everything());
  EXPECT_THAT(captioned.value_or(""), HasSubstr(text + "<rdf:Alt><rdf:li xml:lang=\"x-default\">a &lt;new"));
}

TEST(UpdatedXmp, FindsPropertiesOfTypedNodes) {
  std::string packet = packetOf(" xap:CreateDate=\"1\"", "");
  packet.replace(packet.find("rdf:Description"), 15, "other:Photo");
  packet.replace(packet.find("rdf:Description"), 15, "other:Photo");
  EXPECT_THAT(updatedXmp(packet, everything()).value_or(""), HasSubstr("CreateDate=\"2019-07-01T"));
}

TEST(UpdatedXmp, RefusesAPropertyOfADoubtfulNamespace) {
  for (const std::string space : {"xmlns:e=\"http://ns.adobe.com/exif/1.0\"",
                                  "xmlns:e=\"http://ns.adobe.com/exif/2.1/\"", "rdf:about=\"\""}) {
    const std::string date = "<e:DateTimeOriginal " + space + ">1999</e:DateTimeOriginal>";
    EXPECT_THROW(updatedXmp(packetOf("", date), everything()), Refused) << space;
  }
  EXPECT_THROW(updatedXmp(packetOf(" unknown:CreateDate=\"1\"", ""), everything()), Refused);
}

TEST(UpdatedXmpWithCaption, AddsADescriptionWhereNoneIs) {
  const auto packet = updatedXmpWithCaption(packetOf("", ""), everything());
  ASSERT_TRUE(packet);
  EXPECT_THAT(*packet, HasSubstr("<rdf:li xml:lang=\"x-default\">a &lt;new&gt; &amp; \"better\"\ncaption"));
  EXPECT_EQ(updatedXmpWithCaption(*packet, everything()), std::nullopt);
}

TEST(NewXmp, HoldsTheCaption) {
  const std::string packet = newXmp("one\ntwo \x01 three");
  EXPECT_THAT(packet, HasSubstr("<rdf:li xml:lang=\"x-default\">one\ntwo  three</rdf:li>"));
  EXPECT_TRUE(packet.starts_with("<?xpacket begin=\"\xEF\xBB\xBF\""));
  EXPECT_TRUE(packet.ends_with("<?xpacket end=\"w\"?>"));
}

}  // namespace
}  // namespace tollbrook::ImageMetadata
