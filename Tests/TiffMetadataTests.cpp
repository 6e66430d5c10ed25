#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/Fixtures.h"
#include "Support/HeifItems.h"
#include "Support/HeifMaker.h"
#include "Support/ImageTags.h"
#include "Support/TiffBlock.h"
#include "TollbrookCore/ImageMetadata/ExifEdits.h"
#include "TollbrookCore/ImageMetadata/Heif.h"
#include "TollbrookCore/ImageMetadata/IptcRecord.h"
#include "TollbrookCore/ImageMetadata/Jpeg.h"
#include "TollbrookCore/ImageMetadata/JpegSegments.h"
#include "TollbrookCore/ImageMetadata/Png.h"
#include "TollbrookCore/ImageMetadata/PngChunks.h"
#include "TollbrookCore/ImageMetadata/Tiff.h"
#include "TollbrookCore/ImageMetadata/XmpPacket.h"

namespace tollbrook::ImageMetadata {
namespace {

using test::Block;
using test::BlockEntry;
using testing::HasSubstr;
using testing::Not;

constexpr std::uint16_t make = 0x010F;
const std::string utc("+00:00\0", 7);

TargetTags everything() { return test::everything("a caption"); }

/// How a block gets into a file and out of it again.
struct Container {
  const char* name;
  std::string (*with)(const std::string& block);
  OutputPlan (*plan)(const ByteSource& file, const TargetTags& target);
  std::string (*blockOf)(const std::string& file);
};

std::string jpegWith(const std::string& block) {
  constexpr std::size_t endOfJfif = 20;
  return test::tinyJpeg().insert(endOfJfif, Jpeg::segmentBytes(Jpeg::app1, std::string(exifMark) + block));
}

std::string blockOfJpeg(const std::string& file) {
  for (const Jpeg::Segment& segment : Jpeg::readLayout(MemorySource(file)).segments) {
    if (!segment.is(Jpeg::app1, Jpeg::exifHeader)) continue;
    return file.substr(segment.payloadOffset, segment.payloadLength).substr(exifMark.size());
  }
  return "";
}

std::string pngWith(const std::string& block) {
  constexpr std::size_t headerEnd = 33;
  return test::tinyPng().insert(headerEnd, Png::chunk("eXIf", block));
}

std::string blockOfPng(const std::string& file) {
  const MemorySource source(file);
  for (const Png::Chunk& chunk : Png::chunksOf(source)) {
    if (chunk.type == "eXIf") return Png::contentOf(source, chunk);
  }
  return "";
}

std::string heifWith(const std::string& block) {
  test::HeifShape shape;
  const std::string item = numberBytes(0, 4) + block;
  shape.items.push_back({.id = 2, .type = "Exif", .data = item, .isHidden = true, .isImage = false});
  shape.references.push_back({"cdsc", 2, {1}});
  return test::makeHeif(shape);
}

std::string blockOfHeif(const std::string& file) { return test::dataOf(file, 2).substr(4); }

std::string itself(const std::string& block) { return block; }

class EveryContainer : public testing::TestWithParam<Container> {
 protected:
  static std::string written(const std::string& block, const TargetTags& target = everything()) {
    const std::string file = GetParam().with(block);
    return GetParam().blockOf(GetParam().plan(MemorySource(file), target).bytes());
  }

  static std::string refusalOf(const std::string& block, const TargetTags& target = everything()) {
    return test::refusalOf([&] { written(block, target); });
  }
};

INSTANTIATE_TEST_SUITE_P(OfBlocks, EveryContainer,
                         testing::Values(Container{"Jpeg", jpegWith, Jpeg::plan, blockOfJpeg},
                                         Container{"Png", pngWith, Png::plan, blockOfPng},
                                         Container{"Heif", heifWith, Heif::plan, blockOfHeif},
                                         Container{"Tiff", itself, Tiff::plan, itself}),
                         [](const auto& container) { return std::string(container.param.name); });

std::string valueIn(const TiffReader& reader, const TiffDirectory* directory, std::uint16_t tag) {
  const TiffEntry* const entry = directory == nullptr ? nullptr : directory->find(tag);
  return entry == nullptr ? "absent" : reader.value(*entry, 10000);
}

std::string firstValue(const std::string& block, std::uint16_t tag) {
  const MemorySource source(block);
  const TiffReader reader(source);
  return valueIn(reader, &reader.first(), tag);
}

std::string exifValue(const std::string& block, std::uint16_t tag) {
  const MemorySource source(block);
  const TiffReader reader(source);
  return valueIn(reader, reader.exif(), tag);
}

std::string gpsValue(const std::string& block, std::uint16_t tag) {
  const MemorySource source(block);
  const TiffReader reader(source);
  return valueIn(reader, reader.gps(), tag);
}

Block blockWith(const std::vector<BlockEntry>& entries) {
  Block block;
  block.order = ByteOrder::big;
  block.first = {BlockEntry::text(make, "Acme")};
  block.first.insert(block.first.end(), entries.begin(), entries.end());
  return block;
}

/// XMP with an old date and an old caption.
std::string packet() {
  return "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description "
         "xmlns:tiff=\"http://ns.adobe.com/tiff/1.0/\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
         "tiff:DateTime=\"1999-01-01\" dc:rights=\"mine\"><dc:description><rdf:Alt><rdf:li "
         "xml:lang=\"x-default\">old words</rdf:li></rdf:Alt></dc:description></rdf:Description></rdf:RDF>";
}

/// A record with an old caption and a keyword.
std::string iptc() {
  const std::string keyword("\x1C\x02\x19\0\x04tree", 9);
  return withIptcCaption(keyword, "old words");
}

/// Resources with that record.
std::string resources() {
  const std::string record = iptc();
  const std::string padding(record.size() % 2, '\0');
  return std::string("8BIM\x04\x04\0\0", 8) + numberBytes(record.size(), 4) + record + padding;
}

TEST_P(EveryContainer, SetsDatesThatStandInTheFirstDirectory) {
  const std::string old = "2001:01:01 01:01:01", now = test::stamp + '\0';
  const std::string before = blockWith({BlockEntry::text(TiffTag::dateTimeOriginal, old),
                                        BlockEntry::text(TiffTag::dateTimeDigitized, old),
                                        BlockEntry::text(TiffTag::offsetTimeOriginal, "+09:00"),
                                        BlockEntry::text(TiffTag::offsetTimeDigitized, "+09:00")})
                                 .bytes();
  const std::string after = written(before);
  for (const auto tag : {TiffTag::dateTimeOriginal, TiffTag::dateTimeDigitized}) {
    EXPECT_EQ(firstValue(after, tag), now);
    EXPECT_EQ(exifValue(after, tag), now);
  }
  for (const auto tag : {TiffTag::offsetTimeOriginal, TiffTag::offsetTimeDigitized}) {
    EXPECT_EQ(firstValue(after, tag), utc);
  }
  EXPECT_EQ(written(after), after);
  const TargetTags captionAlone{.caption = "words"};
  EXPECT_EQ(firstValue(written(before, captionAlone), TiffTag::dateTimeOriginal), old + '\0');
}

TEST_P(EveryContainer, SetsTheZonesOfTheDatesWhereTheyAreThere) {
  constexpr auto signedShort = static_cast<TiffType>(8);
  const std::vector<BlockEntry> zones{BlockEntry::text(TiffTag::offsetTime, "+09:00"),
                                      BlockEntry::ofNumbers(TiffTag::timeZoneOffset, signedShort, {9, 9})};
  Block block = blockWith(zones);
  block.exif = zones;
  const std::string before = block.bytes(), after = written(before);
  for (const auto& [tag, value] :
       {std::pair{TiffTag::offsetTime, utc}, {TiffTag::timeZoneOffset, std::string(4, '\0')}}) {
    EXPECT_EQ(firstValue(after, tag), value);
    EXPECT_EQ(exifValue(after, tag), value);
  }
  EXPECT_EQ(written(after), after);
  const TargetTags captionAlone{.caption = "words"};
  EXPECT_EQ(exifValue(written(before, captionAlone), TiffTag::offsetTime), std::string("+09:00\0", 7));
  const std::string without = written(blockWith({}).bytes());
  EXPECT_EQ(exifValue(without, TiffTag::offsetTime), "absent");
  EXPECT_EQ(firstValue(without, TiffTag::timeZoneOffset), "absent");
}

TEST_P(EveryContainer, KeepsTheFractionsOfSecondsAndTheAltitudeOfAnUnknownOne) {
  constexpr std::uint16_t fraction = 0x9291;
  Block block = blockWith({});
  block.exif = {BlockEntry::text(fraction, "77")};
  block.gps = {BlockEntry::ofBytes(TiffTag::gpsAltitudeRef, TiffType::byte, std::string(1, '\1')),
               BlockEntry::ofNumbers(TiffTag::gpsAltitude, TiffType::rational, {25, 2})};
  TargetTags target = everything();
  target.position->altitude.reset();
  const std::string before = block.bytes(), after = written(before, target);
  EXPECT_EQ(exifValue(after, fraction), std::string("77\0", 3));
  EXPECT_EQ(gpsValue(after, TiffTag::gpsAltitude), gpsValue(before, TiffTag::gpsAltitude));
  EXPECT_EQ(gpsValue(after, TiffTag::gpsAltitudeRef), std::string("\1", 1));
  EXPECT_EQ(gpsValue(after, TiffTag::gpsLatitudeRef), std::string("N\0", 2));
}

TEST_P(EveryContainer, SetsWhatStandsInTheExifDirectoryThoughItBelongsInTheFirst) {
  Block block = blockWith({});
  block.exif = {BlockEntry::text(TiffTag::imageDescription, "old words"),
                BlockEntry::text(TiffTag::dateTime, "2001:01:01 01:01:01")};
  const std::string after = written(block.bytes());
  EXPECT_EQ(exifValue(after, TiffTag::imageDescription), std::string("a caption\0", 10));
  EXPECT_EQ(exifValue(after, TiffTag::dateTime), test::stamp + '\0');
  EXPECT_EQ(written(after), after);
}

TEST_P(EveryContainer, PutsNoDateWhereThereWasNone) {
  Block block = blockWith({});
  block.exif = {BlockEntry::text(0xA433, "a maker of lenses")};
  const std::string after = written(block.bytes());
  EXPECT_EQ(firstValue(after, TiffTag::dateTimeOriginal), "absent");
  EXPECT_EQ(firstValue(after, TiffTag::dateTimeDigitized), "absent");
  EXPECT_EQ(exifValue(after, TiffTag::dateTime), "absent");
  EXPECT_EQ(exifValue(after, TiffTag::imageDescription), "absent");
}

TEST_P(EveryContainer, BringsXmpInAnEntryIntoLine) {
  const std::string before = blockWith({BlockEntry::ofBytes(TiffTag::xmp, TiffType::byte, packet())}).bytes();
  const std::string after = written(before);
  const std::string xmp = firstValue(after, TiffTag::xmp);
  EXPECT_THAT(xmp, HasSubstr("tiff:DateTime=\"2019-07-01T12:00:00+00:00\""));
  EXPECT_THAT(xmp, HasSubstr(">a caption<"));
  EXPECT_THAT(xmp, HasSubstr("dc:rights=\"mine\""));
  EXPECT_THAT(after, Not(HasSubstr("old words")));
  EXPECT_EQ(written(after), after);
}

TEST_P(EveryContainer, SetsTheCaptionInIptcInAnEntry) {
  const std::string before =
      blockWith({BlockEntry::ofBytes(TiffTag::iptc, TiffType::undefined, iptc())}).bytes();
  const std::string after = written(before);
  EXPECT_EQ(firstValue(after, TiffTag::iptc), withIptcCaption(iptc(), "a caption"));
  EXPECT_EQ(written(after), after);
}

TEST_P(EveryContainer, SetsTheCaptionInPhotoshopResourcesInAnEntry) {
  const std::string before =
      blockWith({BlockEntry::ofBytes(TiffTag::photoshop, TiffType::byte, resources())}).bytes();
  const std::string after = written(before);
  EXPECT_EQ(firstValue(after, TiffTag::photoshop), withCaptionInResources(resources(), "a caption"));
  EXPECT_EQ(firstValue(after, TiffTag::iptc), "absent");
  EXPECT_EQ(written(after), after);
}

TEST_P(EveryContainer, LeavesIptcAloneWithoutACaption) {
  const std::string before = blockWith({BlockEntry::ofBytes(TiffTag::iptc, TiffType::undefined, "no record"),
                                        BlockEntry::ofBytes(TiffTag::photoshop, TiffType::byte, "nothing")})
                                 .bytes();
  const std::string after = written(before, test::dates());
  EXPECT_EQ(firstValue(after, TiffTag::iptc), "no record");
  EXPECT_EQ(firstValue(after, TiffTag::photoshop), "nothing");
}

TEST_P(EveryContainer, RefusesADoubledBlock) {
  for (const BlockEntry& entry : {BlockEntry::ofBytes(TiffTag::xmp, TiffType::byte, packet()),
                                  BlockEntry::ofBytes(TiffTag::iptc, TiffType::undefined, iptc()),
                                  BlockEntry::ofBytes(TiffTag::photoshop, TiffType::byte, resources())}) {
    EXPECT_EQ(refusalOf(blockWith({entry}).bytes()), "");
    EXPECT_THAT(refusalOf(blockWith({entry, entry}).bytes()), HasSubstr("doubled")) << entry.tag;
  }
}

TEST_P(EveryContainer, RefusesXmpThatIsNotStoredAsBytes) {
  std::string aligned = packet();
  aligned.resize((aligned.size() + 3) / 4 * 4, ' ');
  for (const TiffType type : {TiffType::shortInteger, TiffType::longInteger}) {
    const Block block = blockWith({BlockEntry::ofBytes(TiffTag::xmp, type, aligned)});
    EXPECT_THAT(refusalOf(block.bytes()), HasSubstr("bytes"));
  }
  for (const TiffType type : {TiffType::byte, TiffType::undefined}) {
    const Block block = blockWith({BlockEntry::ofBytes(TiffTag::xmp, type, aligned)});
    EXPECT_THAT(firstValue(written(block.bytes()), TiffTag::xmp), HasSubstr("a caption"));
  }
}

TEST_P(EveryContainer, RefusesAnExifDirectoryThatWouldSayElse) {
  for (const BlockEntry& entry : {BlockEntry::ofBytes(TiffTag::xmp, TiffType::byte, packet()),
                                  BlockEntry::ofBytes(TiffTag::iptc, TiffType::undefined, iptc()),
                                  BlockEntry::ofBytes(TiffTag::photoshop, TiffType::byte, resources()),
                                  BlockEntry::ofNumbers(TiffTag::gpsIfd, TiffType::longInteger, {8})}) {
    Block block = blockWith({});
    block.exif = {entry};
    EXPECT_THAT(refusalOf(block.bytes()), HasSubstr("something else")) << entry.tag;
  }
}

TEST_P(EveryContainer, KeepsXmpInTheExifDirectoryThatSaysTheSame) {
  const TargetTags target{.takenTime = test::takenTime};
  Block block = blockWith({});
  block.exif = {BlockEntry::ofBytes(TiffTag::xmp, TiffType::byte, *updatedXmp(packet(), target))};
  EXPECT_EQ(refusalOf(block.bytes(), target), "");
}

class EveryBlockContainer : public EveryContainer {};

INSTANTIATE_TEST_SUITE_P(OfBlocks, EveryBlockContainer,
                         testing::Values(Container{"Jpeg", jpegWith, Jpeg::plan, blockOfJpeg},
                                         Container{"Png", pngWith, Png::plan, blockOfPng},
                                         Container{"Heif", heifWith, Heif::plan, blockOfHeif}),
                         [](const auto& container) { return std::string(container.param.name); });

TEST_P(EveryBlockContainer, GetsNoNewIptcIntoItsBlock) {
  const std::string after = written(blockWith({}).bytes());
  EXPECT_EQ(firstValue(after, TiffTag::iptc), "absent");
  EXPECT_EQ(firstValue(after, TiffTag::photoshop), "absent");
}

TEST_P(EveryBlockContainer, RefusesAThumbnailsDirectoryThatWouldSayElse) {
  for (const BlockEntry& entry : {BlockEntry::ofBytes(TiffTag::xmp, TiffType::byte, packet()),
                                  BlockEntry::ofNumbers(TiffTag::exifIfd, TiffType::longInteger, {0})}) {
    Block block = blockWith({});
    block.laterPages = {{entry}};
    EXPECT_THAT(refusalOf(block.bytes()), HasSubstr("something else")) << entry.tag;
  }
}

TEST(TiffMetadata, OfAPageThatGoesStopsNothing) {
  Block block = blockWith({});
  block.laterPages = {{BlockEntry::ofBytes(TiffTag::xmp, TiffType::byte, packet())}};
  EXPECT_NO_THROW(Tiff::plan(MemorySource(block.bytes()), everything()));
}

TEST(TiffMetadata, OfOtherDirectoriesIsReadOnceAlone) {
  // Each entry alone is small enough.
  Block block = blockWith({});
  const std::string large = std::string(std::size_t{9} << 20, ' ') + packet();
  const auto entry = BlockEntry::ofBytes(TiffTag::xmp, TiffType::byte, *updatedXmp(large, everything()));
  block.exif = {entry};
  EXPECT_NO_THROW(Tiff::plan(MemorySource(block.bytes()), everything()));
  block.exif = {entry, entry};
  EXPECT_THROW(Tiff::plan(MemorySource(block.bytes()), everything()), Refused);
}

TEST(TiffMetadata, IsNotDroppedByAnEdit) {
  const BlockEntry entry = BlockEntry::ofBytes(TiffTag::xmp, TiffType::byte, packet());
  TiffEdits edits;
  edits.first = {TiffField::ofBytes(TiffTag::xmp, TiffType::byte, packet() + ' ')};
  EXPECT_NO_THROW(patchTiff(MemorySource(blockWith({entry}).bytes()), edits));
  EXPECT_THROW(patchTiff(MemorySource(blockWith({entry, entry}).bytes()), edits), Refused);
}

}  // namespace
}  // namespace tollbrook::ImageMetadata
