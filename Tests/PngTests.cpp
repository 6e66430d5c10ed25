#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/Fixtures.h"
#include "Support/HeifMaker.h"
#include "Support/ImageTags.h"
#include "TollbrookCore/ImageMetadata/IptcRecord.h"
#include "TollbrookCore/ImageMetadata/Png.h"
#include "TollbrookCore/ImageMetadata/PngChunks.h"
#include "TollbrookCore/ImageMetadata/PngText.h"

namespace tollbrook::ImageMetadata::Png {
namespace {

using test::captioned;
using test::dates;
using test::exifBlock;
using test::stamp;
using test::tinyPng;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::size_t headerEnd = 33;  // signature and header chunk
const std::string xmpKeyword = "XML:com.adobe.xmp";
const std::string packet =
    "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
    "<rdf:Description rdf:about='' xmlns:xmp='http://ns.adobe.com/xap/1.0/' "
    "xmp:CreateDate='2001-01-01T00:00:00' xmp:Rating='4'/></rdf:RDF></x:xmpmeta>";

std::string written(const std::string& file, const TargetTags& target = dates()) {
  return plan(MemorySource(file), target).bytes();
}

void expectRefused(const std::string& file) { EXPECT_THROW(written(file), Refused); }

/// The tiny picture with these chunks before its image data.
std::string withChunks(const std::string& chunks) { return tinyPng().insert(headerEnd, chunks); }

std::string withLateChunks(const std::string& chunks) {
  std::string file = tinyPng();
  constexpr std::size_t endChunk = 12;
  return file.insert(file.size() - endChunk, chunks);
}

std::string textChunk(const std::string& type, const std::string& keyword, const std::string& text,
                      bool isCompressed = false) {
  Text chunkText;
  chunkText.type = type;
  chunkText.keyword = keyword;
  chunkText.isCompressed = isCompressed;
  chunkText.text = text;
  return chunk(type, chunkText.content());
}

std::string profileChunk(const std::string& type, const std::string& name, const std::string& bytes) {
  return textChunk(type, "Raw profile type " + name, RawProfile{name, bytes}.text(), type == "zTXt");
}

std::vector<std::string> typesOf(const std::string& file) {
  std::vector<std::string> types;
  for (const Chunk& chunk : chunksOf(MemorySource(file))) types.push_back(chunk.type);
  return types;
}

/// The content of the only chunk of this type.
std::string contentOfType(const std::string& file, const std::string& type) {
  std::string content = "none";
  const MemorySource source(file);
  for (const Chunk& chunk : chunksOf(source)) {
    if (chunk.type != type) continue;
    EXPECT_EQ(content, "none");
    content = contentOf(source, chunk);
  }
  return content;
}

std::string textOfType(const std::string& file, const std::string& type) {
  const auto text = parseText(type, contentOfType(file, type));
  return text ? text->text : "no text";
}

TEST(Png, GetsAnExifChunkBeforeTheImageData) {
  const std::string after = written(tinyPng());
  EXPECT_THAT(typesOf(after), ElementsAre("IHDR", "eXIf", "IDAT", "IEND"));
  EXPECT_THAT(contentOfType(after, "eXIf"), StartsWith("II*"));
  EXPECT_THAT(contentOfType(after, "eXIf"), HasSubstr(stamp));
  EXPECT_EQ(written(after), after);
}

TEST(Png, KeepsTheExifChunkWhereItIs) {
  for (const std::string& before :
       {withChunks(chunk("eXIf", exifBlock())), withLateChunks(chunk("eXIf", exifBlock()))}) {
    const std::string after = written(before);
    EXPECT_EQ(typesOf(after), typesOf(before));
    EXPECT_THAT(contentOfType(after, "eXIf"), HasSubstr(stamp));
    EXPECT_THAT(contentOfType(after, "eXIf"), HasSubstr("Acme"));
    EXPECT_EQ(written(after), after);
  }
}

TEST(Png, KeepsAMarkBeforeTheExifBlock) {
  const std::string mark("Exif\0\0", 6);
  const std::string content = contentOfType(written(withChunks(chunk("eXIf", mark + exifBlock()))), "eXIf");
  EXPECT_THAT(content, StartsWith(mark + "MM"));
  EXPECT_THAT(content, HasSubstr(stamp));
}

TEST(Png, RefusesAnExifBlockWhoseLastDirectoryIsCut) {
  std::string block = exifBlock();
  constexpr std::size_t nextDirectory = 22;
  block[nextDirectory + 3] = static_cast<char>(block.size() - 2);  // two zeros: no entries, and no more
  expectRefused(withChunks(chunk("eXIf", block)));
}

TEST(Png, RefusesTwoExifChunks) {
  expectRefused(withLateChunks(chunk("eXIf", exifBlock())).insert(headerEnd, chunk("eXIf", exifBlock())));
}

TEST(Png, TakesARawProfileOver) {
  const std::string mark("Exif\0\0", 6);
  for (const std::string type : {"tEXt", "zTXt", "iTXt"}) {
    for (const std::string& profile :
         {profileChunk(type, "exif", exifBlock()), profileChunk(type, "exif", mark + exifBlock()),
          profileChunk(type, "APP1", mark + exifBlock())}) {
      for (const std::string& before : {withChunks(profile), withLateChunks(profile)}) {
        const std::string after = written(before);
        EXPECT_THAT(typesOf(after), ElementsAre("IHDR", "eXIf", "IDAT", "IEND"));
        EXPECT_THAT(contentOfType(after, "eXIf"), StartsWith("MM"));
        EXPECT_THAT(contentOfType(after, "eXIf"), HasSubstr("Acme"));
        EXPECT_THAT(contentOfType(after, "eXIf"), HasSubstr(stamp));
        EXPECT_EQ(written(after), after);
      }
    }
  }
}

TEST(Png, ChangesARawProfileBesideAnExifChunkToo) {
  for (const std::string type : {"tEXt", "zTXt", "iTXt"}) {
    const std::string before =
        withChunks(profileChunk(type, "exif", exifBlock()) + chunk("eXIf", exifBlock()));
    const std::string after = written(before);
    EXPECT_EQ(typesOf(after), typesOf(before));
    EXPECT_THAT(contentOfType(after, "eXIf"), HasSubstr(stamp));
    const auto profile = RawProfile::parse(textOfType(after, type));
    ASSERT_TRUE(profile);
    EXPECT_EQ(profile->bytes, contentOfType(after, "eXIf"));
    EXPECT_EQ(written(after), after);
  }
}

TEST(Png, RefusesARawProfileThatCannotBeRead) {
  const std::string keyword = "Raw profile type exif";
  for (const std::string text : {"", "\nexif\n       2\n4d", "\nexif\n       2\n4d4dx",
                                 "\nexif\n       2\n4d4", "\nexif\n x\n4d4d", "exif"}) {
    expectRefused(withChunks(textChunk("tEXt", keyword, text)));
  }
  expectRefused(withChunks(chunk("zTXt", keyword + std::string(2, '\0') + "not compressed")));
  expectRefused(withChunks(profileChunk("tEXt", "exif", "no TIFF header")));
}

TEST(Png, RefusesATextThatWouldFillTheMemory) {
  const std::string huge(std::size_t{9} << 20, '0');
  expectRefused(withChunks(textChunk("zTXt", "Raw profile type exif", huge, true)));
}

TEST(Png, RefusesTextsThatWouldFillTheMemoryTogether) {
  const std::string text =
      textChunk("iTXt", xmpKeyword, packet + std::string(std::size_t{7} << 20, ' '), true);
  EXPECT_NO_THROW(written(withChunks(text + text)));
  expectRefused(withChunks(text + text + text));
}

TEST(Png, RefusesATextThatIsTooLongEvenWhereAnUnreadableOneStays) {
  const std::string huge(std::size_t{9} << 20, '0');
  expectRefused(withChunks(textChunk("zTXt", "Raw profile type iptc", huge, true)));
}

TEST(Png, RefusesMoreTextsOfMetadataThanAnySoundFileHas) {
  for (const std::string& text : {textChunk("zTXt", "Raw profile type iptc", "unreadable", true),
                                  textChunk("iTXt", xmpKeyword, packet)}) {
    std::string texts;
    for (int i = 0; i < 16; ++i) texts += text;
    EXPECT_NO_THROW(written(withChunks(texts)));
    expectRefused(withChunks(texts + text));
  }
}

TEST(Png, RefusesAProfileOfResourcesWithXmpThatWouldSaySomethingElse) {
  const auto resourcesWith = [](const std::string& xmp) {
    return std::string("8BIM\4\x24\0\0", 8) + numberBytes(xmp.size(), 4) + xmp +
           std::string(xmp.size() % 2, '\0');
  };
  expectRefused(withChunks(profileChunk("zTXt", "8bim", resourcesWith(packet))));
  EXPECT_NO_THROW(written(withChunks(profileChunk("zTXt", "8bim", resourcesWith("no packet")))));
}

TEST(Png, PutsTheCaptionIntoNewXmp) {
  const std::string after = written(tinyPng(), captioned("line one\nline two & more"));
  EXPECT_THAT(typesOf(after), ElementsAre("IHDR", "eXIf", "iTXt", "IDAT", "IEND"));
  EXPECT_THAT(contentOfType(after, "iTXt"), StartsWith(xmpKeyword + std::string(5, '\0') + "<"));
  EXPECT_THAT(textOfType(after, "iTXt"), HasSubstr("line one\nline two &amp; more"));
  EXPECT_THAT(contentOfType(after, "eXIf"), HasSubstr("line one\nline two & more"));
  EXPECT_EQ(written(after, captioned("line one\nline two & more")), after);
}

TEST(Png, BringsXmpIntoLineWhereItIs) {
  for (const bool isCompressed : {false, true}) {
    const std::string before = withLateChunks(textChunk("iTXt", xmpKeyword, packet, isCompressed));
    const std::string after = written(before, captioned("words"));
    EXPECT_THAT(typesOf(after), ElementsAre("IHDR", "eXIf", "IDAT", "iTXt", "IEND"));
    EXPECT_EQ(parseText("iTXt", contentOfType(after, "iTXt"))->isCompressed, isCompressed);
    EXPECT_THAT(textOfType(after, "iTXt"), HasSubstr("2019-07-01T12:00:00"));
    EXPECT_THAT(textOfType(after, "iTXt"), HasSubstr("words"));
    EXPECT_THAT(textOfType(after, "iTXt"), HasSubstr("Rating"));
    EXPECT_THAT(textOfType(after, "iTXt"), Not(HasSubstr("2001")));
    EXPECT_EQ(written(after, captioned("words")), after);
  }
}

TEST(Png, BringsXmpInARawProfileIntoLine) {
  const std::string mark("http://ns.adobe.com/xap/1.0/\0", 29);
  for (const std::string& profile :
       {profileChunk("zTXt", "xmp", packet), profileChunk("zTXt", "APP1", mark + packet)}) {
    const std::string after = written(withChunks(profile), captioned("words"));
    EXPECT_THAT(typesOf(after), ElementsAre("IHDR", "zTXt", "eXIf", "IDAT", "IEND"));
    const auto raw = RawProfile::parse(textOfType(after, "zTXt"));
    ASSERT_TRUE(raw);
    EXPECT_THAT(raw->bytes, HasSubstr("2019-07-01T12:00:00"));
    EXPECT_THAT(raw->bytes, HasSubstr("words"));
    EXPECT_EQ(written(after, captioned("words")), after);
  }
}

TEST(Png, BringsTheCaptionInARawProfileOfIptcIntoLine) {
  const std::string old = withIptcCaption({}, "old words"), wanted = withIptcCaption({}, "words");
  const std::string resources = withCaptionInResources({}, "old words");
  for (const auto& [profile, after] :
       {std::pair{old, wanted}, {resources, withCaptionInResources(resources, "words")}}) {
    for (const std::string name : {"iptc", "8bim"}) {
      for (const std::string type : {"tEXt", "zTXt"}) {
        const std::string file =
            written(withLateChunks(profileChunk(type, name, profile)), captioned("words"));
        const auto raw = RawProfile::parse(textOfType(file, type));
        ASSERT_TRUE(raw);
        EXPECT_EQ(raw->bytes, after);
        EXPECT_EQ(written(file, captioned("words")), file);
      }
    }
  }
}

TEST(Png, LeavesARawProfileAloneThatHoldsNoCaption) {
  const std::string title("\x1C\2\5\0\1t", 6), emptyResource("8BIM\4\4\0\0\0\0\0\0", 12);
  const std::string old = profileChunk("zTXt", "iptc", withIptcCaption({}, "old words"));
  EXPECT_THAT(written(withChunks(old)), HasSubstr(old)) << "no caption is to be written";
  for (const std::string& profile : {title, emptyResource, std::string("neither")}) {
    const std::string chunk = profileChunk("zTXt", "iptc", profile);
    EXPECT_THAT(written(withChunks(chunk), captioned("words")), HasSubstr(chunk));
  }
}

TEST(Png, RefusesARawProfileOfIptcThatIsCut) {
  const std::string cut = withCaptionInResources({}, "old words").substr(0, 30);
  EXPECT_THROW(written(withChunks(profileChunk("zTXt", "iptc", cut)), captioned("words")), Refused);
}

TEST(Png, LeavesXmpThatCannotBeReadAsItIs) {
  const std::string text = textChunk("iTXt", xmpKeyword, "<not xml");
  EXPECT_THAT(written(withChunks(text), captioned("c")), HasSubstr(text));
}

TEST(Png, KeepsEveryOtherChunkAsItIs) {
  const std::string others = chunk("tEXt", "Comment") + chunk("zTXt", std::string("Title\0\0broken", 13)) +
                             chunk("iCCP", "broken") + chunk("tIME", "now") + chunk("prVt", "private") +
                             textChunk("tEXt", "Raw profile type iptc", "whatever");
  const std::string after = written(withChunks(others), captioned("c"));
  EXPECT_THAT(after, StartsWith(withChunks(others).substr(0, headerEnd + others.size())));
  EXPECT_THAT(after, EndsWith(tinyPng().substr(headerEnd)));
}

TEST(Png, KeepsWhatFollowsItsEnd) {
  const std::string trailer("anything\0at all", 15);
  EXPECT_THAT(written(tinyPng() + trailer), EndsWith("IEND\xAE\x42\x60\x82" + trailer));
  EXPECT_EQ(written(written(tinyPng() + trailer)), written(tinyPng() + trailer));
}

TEST(Png, KeepsTheFramesOfAnAnimation) {
  const std::string control = chunk("acTL", std::string(8, '\1')) + chunk("fcTL", std::string(26, '\0'));
  std::string before = withChunks(control);
  before.insert(before.size() - 12, chunk("fcTL", std::string(26, '\1')) + chunk("fdAT", "frame"));
  const std::string after = written(before);
  EXPECT_THAT(typesOf(after), ElementsAre("IHDR", "acTL", "fcTL", "eXIf", "IDAT", "fcTL", "fdAT", "IEND"));
  EXPECT_EQ(contentOfType(after, "fdAT"), "frame");
}

TEST(Png, KeepsImageDataInManyChunks) {
  std::string before = tinyPng();
  const std::string image = before.substr(headerEnd, before.size() - headerEnd - 12);
  const std::string data = image.substr(8, image.size() - 12);
  std::string pieces;
  for (const char byte : data) pieces += chunk("IDAT", std::string(1, byte));
  before.replace(headerEnd, image.size(), pieces);
  EXPECT_THAT(written(before), EndsWith(pieces + before.substr(before.size() - 12)));
}

TEST(Png, RefusesAFileThatIsCutAnywhere) {
  const std::string file = withChunks(chunk("eXIf", exifBlock()) + textChunk("iTXt", xmpKeyword, packet));
  for (std::size_t size = 0; size < file.size(); ++size) expectRefused(file.substr(0, size));
}

TEST(Png, RefusesEveryWrongByte) {
  const std::string file = withChunks(chunk("eXIf", exifBlock()));
  constexpr std::size_t signature = 8;
  for (std::size_t i = signature; i < file.size(); ++i) {
    std::string wrong = file;
    wrong[i] = static_cast<char>(wrong[i] ^ 0x20);
    expectRefused(wrong);
  }
}

TEST(Png, RefusesWhatIsNotWhole) {
  const std::string file = tinyPng();
  const std::string header = file.substr(8, 25);
  const std::string image = file.substr(headerEnd, file.size() - headerEnd - 12);
  const std::string end = file.substr(file.size() - 12);
  const std::string signature = file.substr(0, 8);
  EXPECT_NO_THROW(written(signature + header + image + end));
  expectRefused(signature + header + end);
  expectRefused(signature + image + end);
  expectRefused(signature + image + header + end);
  expectRefused(signature + header + image + chunk("tIME", "now") + image + end);
  expectRefused(signature + header + chunk("ab1d", "") + image + end);
}

TEST(RawProfile, ReadsItsOwnText) {
  for (const std::size_t size : {0U, 1U, 35U, 36U, 37U, 1000U}) {
    const RawProfile profile{"exif", std::string(size, '\xA5')};
    const auto again = RawProfile::parse(profile.text());
    ASSERT_TRUE(again) << size;
    EXPECT_EQ(again->bytes, profile.bytes);
    EXPECT_EQ(again->name, profile.name);
  }
}

}  // namespace
}  // namespace tollbrook::ImageMetadata::Png
