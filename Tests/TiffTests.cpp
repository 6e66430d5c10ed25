#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "Support/ImageTags.h"
#include "Support/TemporaryFolder.h"
#include "Support/TiffBlock.h"
#include "TollbrookCore/ImageMetadata/IptcRecord.h"
#include "TollbrookCore/ImageMetadata/Tiff.h"
#include "TollbrookCore/ImageMetadata/TiffReader.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook::ImageMetadata::Tiff {
namespace {

using test::Block;
using test::BlockEntry;
using testing::HasSubstr;

const std::string pixels = "some pixels";

TargetTags everything() { return test::everything("a caption"); }

/// A directory of one strip, which lies at `offset`.
std::vector<BlockEntry> image(std::uint64_t offset, std::uint64_t length = pixels.size()) {
  return {BlockEntry::ofNumbers(0x0100, TiffType::shortInteger, {11}),
          BlockEntry::ofNumbers(0x0101, TiffType::shortInteger, {1}),
          BlockEntry::ofNumbers(TiffTag::stripOffsets, TiffType::longInteger, {offset}),
          BlockEntry::ofNumbers(TiffTag::stripByteCounts, TiffType::longInteger, {length})};
}

/// A file of these directories with the pixels of the first behind them.
std::string fileOf(Block block) {
  const std::uint64_t size = block.bytes().size();
  for (BlockEntry& entry : block.first) {
    if (entry.tag == TiffTag::stripOffsets) entry.numbers = {size};
  }
  return block.bytes() + pixels;
}

Block plainBlock() {
  Block block;
  block.first = image(0);
  return block;
}

std::string written(const std::string& file, const TargetTags& target = everything()) {
  return plan(MemorySource(file), target).bytes();
}

std::string refusalOf(const std::string& file) {
  return test::refusalOf([&] { written(file); });
}

std::string firstValue(const std::string& file, std::uint16_t tag) {
  const MemorySource source(file);
  const TiffReader reader(source);
  const TiffEntry* const entry = reader.first().find(tag);
  return entry == nullptr ? "absent" : reader.value(*entry, 10000);
}

std::string stripOf(const std::string& file) {
  const MemorySource source(file);
  const TiffReader reader(source);
  return file.substr(reader.number(*reader.first().find(TiffTag::stripOffsets)),
                     reader.number(*reader.first().find(TiffTag::stripByteCounts)));
}

TEST(TiffPlan, PutsTheCaptionIntoIptcToo) {
  for (const bool isBig : {false, true}) {
    Block block = plainBlock();
    block.isBig = isBig;
    const std::string file = written(fileOf(block));
    EXPECT_EQ(firstValue(file, TiffTag::imageDescription), std::string("a caption\0", 10));
    std::string iptc = withIptcCaption({}, "a caption");
    iptc.resize((iptc.size() + 3) / 4 * 4, '\0');
    EXPECT_EQ(firstValue(file, TiffTag::iptc), iptc);
    EXPECT_EQ(stripOf(file), pixels);
    EXPECT_TRUE(plan(MemorySource(file), everything()).isUnchanged());
  }
}

TEST(TiffPlan, ReadsIptcWhoseBytesWereSwapped) {
  std::string iptc = withIptcCaption({}, "an old caption");
  iptc.resize((iptc.size() + 3) / 4 * 4, '\0');
  std::string swapped = iptc;
  for (std::size_t at = 0; at < swapped.size(); at += 4) {
    std::reverse(swapped.begin() + static_cast<std::ptrdiff_t>(at),
                 swapped.begin() + static_cast<std::ptrdiff_t>(at + 4));
  }
  for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
    for (const std::string& old : {iptc, swapped}) {
      Block block = plainBlock();
      block.order = order;
      block.first.push_back(BlockEntry::ofBytes(TiffTag::iptc, TiffType::longInteger, old));
      const std::string file = written(fileOf(block));
      EXPECT_THAT(firstValue(file, TiffTag::iptc), testing::StartsWith(withIptcCaption(iptc, "a caption")));
      EXPECT_EQ(stripOf(file), pixels);
    }
  }
}

TEST(TiffPlan, SetsTheCaptionInPhotoshopResources) {
  Block block = plainBlock();
  const std::string resources = withCaptionInResources({}, "an old caption");
  block.first.push_back(BlockEntry::ofBytes(TiffTag::photoshop, TiffType::byte, resources));
  const std::string file = written(fileOf(block));
  EXPECT_EQ(firstValue(file, TiffTag::photoshop), withCaptionInResources({}, "a caption"));
  EXPECT_EQ(firstValue(file, TiffTag::iptc), "absent") << "one record is enough";
}

TEST(TiffPlan, RenewsTheDigestOfARecordThatStandsByItself) {
  Block block = plainBlock();
  const std::string resources = std::string("8BIM\x04\x25\0\0\0\0\0\x10", 12) + std::string(16, 'd');
  block.first.push_back(BlockEntry::ofBytes(TiffTag::iptc, TiffType::undefined, withIptcCaption({}, "old")));
  block.first.push_back(BlockEntry::ofBytes(TiffTag::photoshop, TiffType::byte, resources));
  const std::string file = written(fileOf(block));
  EXPECT_EQ(firstValue(file, TiffTag::iptc), withIptcCaption({}, "a caption"));
  EXPECT_EQ(firstValue(file, TiffTag::photoshop), withDigestOf(withIptcCaption({}, "a caption"), resources));
}

TEST(TiffPlan, RefusesPhotoshopResourcesThatWouldSaySomethingElse) {
  Block dated;
  dated.first = {BlockEntry::text(TiffTag::dateTime, "1999:01:01 01:01:01")};
  for (const auto& [exif, refusal] :
       {std::pair{dated.bytes(), "EXIF among the Photoshop resources would say something else"},
        {plainBlock().bytes(), ""}}) {
    Block block = plainBlock();
    block.first.push_back(
        BlockEntry::ofBytes(TiffTag::photoshop, TiffType::undefined,
                            std::string("8BIM\4\x22\0\0", 8) + numberBytes(exif.size(), 4) + exif));
    EXPECT_EQ(refusalOf(fileOf(block)), refusal);
    EXPECT_EQ(test::refusalOf([&] { written(fileOf(block), test::dates()); }), refusal);
  }
}

TEST(TiffPlan, BringsXmpIntoLine) {
  Block block = plainBlock();
  const std::string packet =
      "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description "
      "xmlns:tiff=\"http://ns.adobe.com/tiff/1.0/\" tiff:DateTime=\"1999-01-01\"/></rdf:RDF>";
  block.first.push_back(BlockEntry::ofBytes(TiffTag::xmp, TiffType::byte, packet));
  EXPECT_THAT(firstValue(written(fileOf(block)), TiffTag::xmp),
              HasSubstr("tiff:DateTime=\"2019-07-01T12:00:00+00:00\""));
}

TEST(TiffPlan, KeepsTheFirstPageOnly) {
  Block block = plainBlock();
  block.laterPages.assign(4, image(0, 4));
  const std::string before = fileOf(block);
  ASSERT_EQ(TiffReader(MemorySource(before)).others().size(), 4u);
  const std::string file = written(before);
  const MemorySource source(file);
  const TiffReader reader(source);
  EXPECT_EQ(reader.first().next, 0u);
  EXPECT_TRUE(reader.others().empty());
  EXPECT_EQ(stripOf(file), pixels);
}

TEST(TiffPlan, KeepsSubdirectories) {
  Block block = plainBlock();
  block.first.push_back(BlockEntry::ofNumbers(TiffTag::subfileType, TiffType::longInteger, {1}));
  block.first.push_back(BlockEntry::ofNumbers(TiffTag::subIfds, TiffType::longInteger, {0}));
  std::string file = fileOf(block) + '\0';
  const std::size_t subdirectory = file.size();
  Block inner;
  inner.first = image(0, 4);
  // Its directory follows the header of a block of its own; the only offset in it is that of the strip.
  file += inner.bytes().substr(8);
  const MemorySource source(file);
  const std::uint64_t entry =
      TiffReader(MemorySource(fileOf(block))).first().find(TiffTag::subIfds)->position;
  file.replace(entry + 8, 4, numberBytes(subdirectory, 4, ByteOrder::little));
  const std::string after = written(file);
  const MemorySource written(after);
  const TiffReader reader(written);
  ASSERT_EQ(reader.others().size(), 1u);
  EXPECT_EQ(reader.others()[0].area.offset, subdirectory);
}

TEST(TiffPlan, RefusesAPreviewOfALaterPage) {
  Block block = plainBlock();
  block.first.push_back(BlockEntry::ofNumbers(TiffTag::subfileType, TiffType::longInteger, {1}));
  EXPECT_EQ(refusalOf(fileOf(block)), "");
  block.laterPages = {image(0, 4)};
  EXPECT_THAT(refusalOf(fileOf(block)), HasSubstr("preview"));
}

TEST(TiffPlan, RefusesAPreviewOfALaterPageHoweverThatIsSaid) {
  for (const TiffType type :
       {TiffType::byte, TiffType::shortInteger, TiffType::longInteger, TiffType::long8}) {
    for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
      for (const auto& [tag, value] :
           {std::pair{TiffTag::subfileType, 1}, {TiffTag::subfileType, 4}, {TiffTag::oldSubfileType, 2}}) {
        Block block = plainBlock();
        block.order = order;
        block.laterPages = {image(0, 4)};
        block.first.push_back(BlockEntry::ofNumbers(tag, type, {static_cast<std::uint64_t>(value)}));
        EXPECT_THAT(refusalOf(fileOf(block)), HasSubstr("preview")) << tag << ' ' << static_cast<int>(type);
      }
    }
  }
}

TEST(TiffPlan, WritesAFirstPageThatIsThePicture) {
  for (const auto& [tag, value] : {std::pair{TiffTag::subfileType, 0},
                                   {TiffTag::subfileType, 2},
                                   {TiffTag::oldSubfileType, 1},
                                   {TiffTag::oldSubfileType, 3}}) {
    Block block = plainBlock();
    block.laterPages = {image(0, 4)};
    block.first.push_back(
        BlockEntry::ofNumbers(tag, TiffType::shortInteger, {static_cast<std::uint64_t>(value)}));
    EXPECT_EQ(refusalOf(fileOf(block)), "") << tag << ' ' << value;
  }
}

TEST(TiffPlan, RefusesRawPhotosOfCanon) {
  std::string raw = fileOf(plainBlock());
  raw.insert(8, std::string("CR\2\0\0\0\0\0", 8));
  raw.replace(4, 4, numberBytes(16, 4, ByteOrder::little));
  raw += std::string(100, '\0');
  EXPECT_THAT(refusalOf(raw), HasSubstr("raw"));
}

TEST(TiffPlan, RefusesAFileThatLacksAPart) {
  const std::string whole = fileOf(plainBlock());
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_NE(refusalOf(whole.substr(0, length)), "") << length;
  }
  Block lacking = plainBlock();
  lacking.laterPages = {image(100000, 4)};
  EXPECT_THAT(refusalOf(fileOf(lacking)), HasSubstr("missing"));
}

TEST(TiffPlan, ChangesNoPixelThatAnEntryShares) {
  Block block = plainBlock();
  block.first.push_back(BlockEntry::text(TiffTag::dateTime, "2001:01:01 01:01:01"));
  const std::string sound = fileOf(block);
  const MemorySource source(sound);
  const TiffReader reader(source);
  // The strip is said to begin within the date.
  const std::uint64_t date = reader.first().find(TiffTag::dateTime)->value->offset;
  std::string sharing = sound;
  sharing.replace(reader.first().find(TiffTag::stripOffsets)->position + 8, 4,
                  numberBytes(date + 5, 4, ByteOrder::little));
  EXPECT_EQ(stripOf(written(sharing)), stripOf(sharing));
}

TEST(TiffPlan, RefusesAFileThatWouldOutgrowItsOffsets) {
  const test::TemporaryFolder folder;
  const auto file = folder / "large.tif";
  test::writeFile(file, fileOf(plainBlock()));
  if (truncate(file.c_str(), (std::int64_t{1} << 32) - 100) != 0) {
    GTEST_SKIP() << "no file may be so large here: nothing was tested";
  }
  const Files::Descriptor open(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  const FileSource source(open.get());
  EXPECT_THROW(plan(source, everything()), Refused);
  Block big = plainBlock();
  big.isBig = true;
  const auto bigFile = folder / "large big.tif";
  test::writeFile(bigFile, fileOf(big));
  ASSERT_EQ(truncate(bigFile.c_str(), (std::int64_t{1} << 32) - 100), 0);
  const Files::Descriptor bigOpen(::open(bigFile.c_str(), O_RDONLY | O_CLOEXEC));
  const FileSource bigSource(bigOpen.get());
  EXPECT_GT(plan(bigSource, everything()).size(), std::uint64_t{1} << 32);
}

}  // namespace
}  // namespace tollbrook::ImageMetadata::Tiff
