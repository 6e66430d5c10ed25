#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/ImageTags.h"
#include "Support/TiffBlock.h"
#include "TollbrookCore/ImageMetadata/ExifEdits.h"

namespace tollbrook::ImageMetadata {
namespace {

using test::Block;
using test::BlockEntry;
using testing::HasSubstr;

constexpr std::uint16_t make = 0x010F, model = 0x0110, makerNote = 0x927C, exposureTime = 0x829A;

TargetTags everything() { return test::everything("two\nlines", -12.5); }
TargetTags captionAlone(const std::string& caption) { return {.caption = caption}; }

Block cameraBlock() {
  Block block;
  block.first = {BlockEntry::text(make, "A maker of cameras"), BlockEntry::text(model, "X1"),
                 BlockEntry::text(TiffTag::dateTime, "2001:01:01 01:01:01")};
  block.exif = {BlockEntry::ofNumbers(exposureTime, TiffType::rational, {1, 250}),
                BlockEntry::ofBytes(TiffTag::exifVersion, TiffType::undefined, "0221"),
                BlockEntry::ofBytes(makerNote, TiffType::undefined, "a note with places in it")};
  return block;
}

std::string patched(const std::string& block, const TiffEdits& edits) {
  return patchTiff(MemorySource(block), edits).bytes();
}

std::string patched(const std::string& block, const TargetTags& target) {
  return patched(block, exifEdits(target));
}

std::string refusalOf(const std::string& block, const TiffEdits& edits) {
  return test::refusalOf([&] { patched(block, edits); });
}

std::string refusalOf(const std::string& block) { return refusalOf(block, exifEdits(everything())); }

/// A block read again; values by directory and tag.
class Read {
 public:
  explicit Read(std::string bytes) : bytes_(std::move(bytes)), source_(bytes_), reader_(source_) {}

  const TiffReader& reader() const { return reader_; }
  std::string first(std::uint16_t tag) const { return valueIn(&reader_.first(), tag); }
  std::string exif(std::uint16_t tag) const { return valueIn(reader_.exif(), tag); }
  std::string gps(std::uint16_t tag) const { return valueIn(reader_.gps(), tag); }
  std::vector<std::uint64_t> gpsNumbers(std::uint16_t tag) const {
    std::vector<std::uint64_t> numbers;
    const std::string value = gps(tag);
    for (std::size_t at = 0; at < value.size(); at += 4) numbers.push_back(reader_.numberIn(value, at, 4));
    return numbers;
  }

 private:
  std::string valueIn(const TiffDirectory* directory, std::uint16_t tag) const {
    const TiffEntry* const entry = directory == nullptr ? nullptr : directory->find(tag);
    return entry == nullptr ? "absent" : reader_.value(*entry, 1000);
  }

  std::string bytes_;
  MemorySource source_;
  TiffReader reader_;
};

void expectEverything(const Read& block) {
  const std::string stamp = test::stamp + '\0', offset("+00:00\0", 7);
  EXPECT_EQ(block.first(TiffTag::dateTime), stamp);
  EXPECT_EQ(block.first(TiffTag::imageDescription), std::string("two\nlines\0", 10));
  EXPECT_EQ(block.exif(TiffTag::dateTimeOriginal), stamp);
  EXPECT_EQ(block.exif(TiffTag::dateTimeDigitized), stamp);
  EXPECT_EQ(block.exif(TiffTag::offsetTimeOriginal), offset);
  EXPECT_EQ(block.exif(TiffTag::offsetTimeDigitized), offset);
  EXPECT_EQ(block.gps(TiffTag::gpsVersionId), std::string("\2\3\0\0", 4));
  EXPECT_EQ(block.gps(TiffTag::gpsLatitudeRef), std::string("N\0", 2));
  EXPECT_EQ(block.gps(TiffTag::gpsLongitudeRef), std::string("W\0", 2));
  EXPECT_EQ(block.gps(TiffTag::gpsAltitudeRef), std::string("\1", 1));
  EXPECT_THAT(block.gpsNumbers(TiffTag::gpsLatitude), testing::ElementsAre(48, 1, 51, 1, 30240000, 1000000));
  EXPECT_THAT(block.gpsNumbers(TiffTag::gpsLongitude), testing::ElementsAre(2, 1, 17, 1, 40200000, 1000000));
  EXPECT_THAT(block.gpsNumbers(TiffTag::gpsAltitude), testing::ElementsAre(125000, 10000));
}

struct Kind {
  ByteOrder order;
  bool isBig;
};

class EveryKindOfBlock : public testing::TestWithParam<Kind> {
 protected:
  static Block block() {
    Block block = cameraBlock();
    block.order = GetParam().order;
    block.isBig = GetParam().isBig;
    return block;
  }
};

TEST_P(EveryKindOfBlock, GetsAllTagsAndKeepsTheOthers) {
  const std::string before = block().bytes();
  const Read after(patched(before, everything()));
  expectEverything(after);
  EXPECT_EQ(after.first(make), std::string("A maker of cameras\0", 19));
  EXPECT_EQ(after.first(model), std::string("X1\0", 3));
  EXPECT_EQ(after.exif(exposureTime), Read(before).exif(exposureTime));
  EXPECT_EQ(after.exif(makerNote), "a note with places in it");
}

TEST_P(EveryKindOfBlock, StaysAsItIsTheSecondTime) {
  const std::string once = patched(block().bytes(), everything());
  EXPECT_TRUE(patchTiff(MemorySource(once), exifEdits(everything())).isUnchanged());
}

TEST_P(EveryKindOfBlock, MovesNoByteThatWasThere) {
  const std::string before = block().bytes();
  const std::string after = patched(before, everything());
  const Read old(before), now(after);
  const auto* note = old.reader().exif()->find(makerNote);
  EXPECT_EQ(now.reader().exif()->find(makerNote)->value->offset, note->value->offset);
}

TEST_P(EveryKindOfBlock, KeepsItsLaterPagesUnlessOnlyTheFirstIsWanted) {
  Block pages = block();
  pages.laterPages = {{BlockEntry::text(make, "second page")}, {BlockEntry::text(make, "third page")}};
  const std::string before = pages.bytes();
  EXPECT_EQ(Read(patched(before, everything())).reader().others().size(), 2u);
  TiffEdits edits = exifEdits(everything());
  edits.keepsFirstPageOnly = true;
  const Read after(patched(before, edits));
  EXPECT_TRUE(after.reader().others().empty());
  expectEverything(after);
}

INSTANTIATE_TEST_SUITE_P(All, EveryKindOfBlock,
                         testing::Values(Kind{ByteOrder::little, false}, Kind{ByteOrder::big, false},
                                         Kind{ByteOrder::little, true}, Kind{ByteOrder::big, true}),
                         [](const auto& kind) {
                           return std::string(kind.param.order == ByteOrder::little ? "Little" : "Big") +
                                  (kind.param.isBig ? "BigTiff" : "Classic");
                         });

TEST(NewExifBlock, HoldsTheTagsAndNothingElse) {
  const Read block(newExifBlock(exifEdits(everything())));
  expectEverything(block);
  EXPECT_EQ(block.exif(TiffTag::exifVersion), "0232");
  EXPECT_EQ(block.reader().first().entries.size(), 4u);  // two tags and two pointers
  EXPECT_EQ(block.reader().gps()->area.offset, block.reader().headerSize());
}

TEST(NewExifBlock, HasNoDirectoryForWhatIsNotGiven) {
  const Read block(newExifBlock(exifEdits(captionAlone("words"))));
  EXPECT_EQ(block.reader().exif(), nullptr);
  EXPECT_EQ(block.reader().gps(), nullptr);
  EXPECT_EQ(block.first(TiffTag::imageDescription), std::string("words\0", 6));
}

TEST(PatchTiff, ReplacesADateWhereItStands) {
  const std::string before = cameraBlock().bytes();
  const std::string after = patched(before, test::dates());
  EXPECT_EQ(after.find("2001:01:01"), std::string::npos);
  EXPECT_EQ(after.find("2019:07:01"), before.find("2001:01:01"));
}

TEST(PatchTiff, DoesNotWriteOverAValueThatTwoEntriesShare) {
  Block block;
  block.first = {BlockEntry::text(make, "Made by somebody"), BlockEntry::text(model, "a model of it"),
                 BlockEntry::text(TiffTag::imageDescription, "a description that is long enough")};
  std::string bytes = block.bytes();
  // The model is said to be the end of the description.
  const Read read(bytes);
  const TiffEntry& named = *read.reader().first().find(model);
  const TiffEntry& description = *read.reader().first().find(TiffTag::imageDescription);
  const std::uint64_t shared = description.value->end() - named.value->length;
  bytes.replace(named.position + 8, 4, numberBytes(shared, 4, ByteOrder::little));
  const Read after(patched(bytes, captionAlone("short")));
  EXPECT_EQ(after.first(model), std::string("is long enough\0", 15).substr(1));
  EXPECT_EQ(after.first(TiffTag::imageDescription), std::string("short\0", 6));
}

TEST(PatchTiff, GrowsByTheDifferenceForALongerCaption) {
  const std::string once = patched(cameraBlock().bytes(), everything());
  TargetTags more = everything();
  more.caption += " and some more text";
  const std::string twice = patched(once, more);
  EXPECT_EQ(twice.size() - once.size(), more.caption.size() - everything().caption.size());
  EXPECT_LE(patched(twice, everything()).size(), twice.size());
}

TEST_P(EveryKindOfBlock, BecomesShorterAndLongerWithItsCaption) {
  const auto written = [](const std::string& before, std::size_t length) {
    TargetTags target = everything();
    target.caption = std::string(length, 'c');
    return patched(before, target);
  };
  std::string bytes = written(block().bytes(), 700);
  const std::size_t size = bytes.size();
  for (const std::size_t length : {500U, 700U, 20U, 700U}) {
    bytes = written(bytes, length);
    // A value begins on a word boundary, behind one that may end between two.
    EXPECT_NEAR(static_cast<double>(bytes.size()), static_cast<double>(size - 700 + length), 1) << length;
  }
  EXPECT_EQ(bytes.size(), size);
}

TEST(PatchTiff, GrowsByAValueThatLeavesTheMiddleOnce) {
  Block block = cameraBlock();
  block.first.push_back(BlockEntry::text(TiffTag::imageDescription, std::string(20, 'd')));
  const auto written = [](const std::string& before, std::size_t length) {
    return patched(before, captionAlone(std::string(length, 'c')));
  };
  const std::string before = block.bytes();
  EXPECT_EQ(written(before, 20).size(), before.size());
  EXPECT_EQ(written(written(before, 10), 10).size(), before.size());
  std::string bytes = written(written(before, 10), 21);
  EXPECT_LE(bytes.size(), before.size() + 22 + 1);
  const std::size_t withoutCaption = bytes.size() - 22;
  for (const std::size_t length : {10U, 30U, 5U, 100U, 20U, 40U}) {
    bytes = written(bytes, length);
    EXPECT_EQ(bytes.size(), withoutCaption + length + 1) << length;
  }
}

TEST(PatchTiff, LaysNothingAnewThatSharesAByteWithAStrip) {
  Block block = cameraBlock();
  block.first.push_back(BlockEntry::ofNumbers(TiffTag::stripOffsets, TiffType::longInteger, {0}));
  block.first.push_back(BlockEntry::ofNumbers(TiffTag::stripByteCounts, TiffType::longInteger, {1}));
  std::string bytes = patched(block.bytes(), captionAlone("an odd number of bytes"));
  ASSERT_EQ(bytes.size() % 2, 1u);
  // The strip is the byte that would else fill up the caption.
  bytes.replace(Read(bytes).reader().first().find(TiffTag::stripOffsets)->position + 8, 4,
                numberBytes(bytes.size(), 4, ByteOrder::little));
  bytes += 'p';
  const std::string after = patched(bytes, captionAlone("a longer one than there was before"));
  EXPECT_EQ(after.substr(0, bytes.size()).back(), 'p');
  EXPECT_GT(after.size(), bytes.size());
}

TEST(PatchTiff, PutsAShortCaptionIntoTheEntry) {
  EXPECT_EQ(Read(patched(cameraBlock().bytes(), captionAlone("abc"))).first(TiffTag::imageDescription),
            std::string("abc\0", 4));
}

TEST(PatchTiff, RaisesAnExifVersionThatHasNoOffsets) {
  EXPECT_EQ(Read(patched(cameraBlock().bytes(), everything())).exif(TiffTag::exifVersion), "0232");
  EXPECT_EQ(Read(patched(cameraBlock().bytes(), captionAlone("x"))).exif(TiffTag::exifVersion), "0221");
  Block newer = cameraBlock();
  newer.exif[1].bytes = "0300";
  EXPECT_EQ(Read(patched(newer.bytes(), everything())).exif(TiffTag::exifVersion), "0300");
}

TEST(PatchTiff, KeepsTheVersionOfAPosition) {
  Block block = cameraBlock();
  block.gps = {BlockEntry::ofBytes(TiffTag::gpsVersionId, TiffType::byte, std::string("\2\2\0\0", 4))};
  EXPECT_EQ(Read(patched(block.bytes(), everything())).gps(TiffTag::gpsVersionId),
            std::string("\2\2\0\0", 4));
  block.gps[0].bytes = std::string("\0\0\0\1", 4);
  EXPECT_THAT(refusalOf(block.bytes()), HasSubstr("unknown version"));
  EXPECT_EQ(Read(patched(block.bytes(), test::dates())).gps(TiffTag::gpsVersionId),
            std::string("\0\0\0\1", 4));
}

TEST(PatchTiff, FillsAGpsDirectoryWithoutEntries) {
  Block block = cameraBlock();
  block.gps = {BlockEntry::ofBytes(TiffTag::gpsVersionId, TiffType::byte, std::string("\2\2\0\0", 4))};
  std::string bytes = block.bytes();
  const std::uint64_t gps = Read(bytes).reader().gps()->area.offset;
  bytes.replace(gps, 2, std::string(2, '\0'));
  expectEverything(Read(patched(bytes, everything())));
}

TEST(PatchTiff, LeavesOneOfSeveralEntriesOfATargetTag) {
  Block block = cameraBlock();
  block.first.push_back(BlockEntry::text(TiffTag::dateTime, "2002:02:02 02:02:02"));
  const Read after(patched(block.bytes(), everything()));
  const auto& entries = after.reader().first().entries;
  EXPECT_EQ(std::count_if(entries.begin(), entries.end(),
                          [](const TiffEntry& entry) { return entry.tag == TiffTag::dateTime; }),
            1);
  expectEverything(after);
}

TEST(PatchTiff, SortsTheDirectoriesThatItMakes) {
  Block block;
  block.first = {BlockEntry::text(model, "X1"), BlockEntry::text(make, "M")};
  const Read after(patched(block.bytes(), everything()));
  const auto& entries = after.reader().first().entries;
  EXPECT_TRUE(std::is_sorted(entries.begin(), entries.end(),
                             [](const TiffEntry& a, const TiffEntry& b) { return a.tag < b.tag; }));
}

TEST(PatchTiff, KeepsTheOffsetsInAMakerNote) {
  const std::string word = "a value behind the directory of the note";
  // The places in it count from the start of the block.
  const auto note = [&](std::uint64_t place) {
    const auto number = [](std::uint64_t value, std::size_t width) {
      return numberBytes(value, width, ByteOrder::little);
    };
    return std::string("SANYO\0\1\0", 8) + number(1, 2) + number(0x0201, 2) + number(7, 2) +
           number(word.size(), 4) + number(place, 4) + number(0, 4) + word;
  };
  const auto with = [](const std::string& value) {
    Block block = cameraBlock();
    block.exif.back() = BlockEntry::ofBytes(makerNote, TiffType::undefined, value);
    return block.bytes();
  };
  const std::uint64_t place = with(note(0)).find(word);
  std::string bytes = with(note(place));
  for (const std::size_t length : {10U, 300U, 30U}) {
    bytes = patched(bytes, test::everything(std::string(length, 'c')));
    EXPECT_EQ(Read(bytes).exif(makerNote), note(place));
    EXPECT_EQ(bytes.substr(place, word.size()), word);
  }
}

TEST(PatchTiff, WritesOverAValueAtAnOddOffset) {
  for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
    Block block = cameraBlock();
    block.order = order;
    std::string bytes = block.bytes();
    const TiffEntry date = *Read(bytes).reader().first().find(TiffTag::dateTime);
    bytes.resize(bytes.size() | 1, 'p');
    const std::uint64_t odd = bytes.size();
    bytes.replace(date.position + 8, 4, numberBytes(odd, 4, order));
    bytes += "2001:01:01 01:01:01" + std::string("\0behind it", 10);
    const std::string after = patched(bytes, everything());
    expectEverything(Read(after));
    EXPECT_EQ(after.substr(odd, 29), test::stamp + std::string("\0behind it", 10));
    EXPECT_TRUE(patchTiff(MemorySource(after), exifEdits(everything())).isUnchanged());
  }
}

TEST(PatchTiff, GivesUpZerosAtTheEndForRoom) {
  const std::string full = cameraBlock().bytes() + std::string(2000, '\0');
  TiffEdits edits = exifEdits(everything());
  edits.sizeLimit = full.size();
  const std::string after = patched(full, edits);
  EXPECT_LE(after.size(), full.size());
  expectEverything(Read(after));
}

TEST(PatchTiff, KeepsZerosAtTheEndThatBelongToAValue) {
  Block block;
  block.first = {BlockEntry::ofBytes(makerNote, TiffType::undefined, std::string(2000, '\0'))};
  const std::string full = block.bytes();
  TiffEdits edits = exifEdits(everything());
  edits.sizeLimit = full.size();
  EXPECT_EQ(refusalOf(full, edits), "there is no room for the metadata");
}

TEST(PatchTiff, CopesWithADirectoryWithoutASuccessor) {
  Block block;
  block.first = {BlockEntry::text(model, "X1")};
  std::string bytes = block.bytes();
  bytes.resize(bytes.size() - 4);
  expectEverything(Read(patched(bytes, everything())));
}

TEST(PatchTiff, RefusesAValueOfAnUnknownType) {
  Block block = cameraBlock();
  block.exif[0] = BlockEntry::ofBytes(exposureTime, static_cast<TiffType>(0), "");
  EXPECT_THAT(refusalOf(block.bytes()), HasSubstr("unknown type"));
}

TEST(PatchTiff, RefusesDoubtfulPointers) {
  const std::string good = cameraBlock().bytes();
  const Read read(good);
  const std::uint64_t pointer = read.reader().first().find(TiffTag::exifIfd)->position;

  std::string ofShortType = good;
  ofShortType[pointer + 2] = 3;
  EXPECT_THAT(refusalOf(ofShortType), HasSubstr("doubtful"));

  std::string toFirst = good;
  toFirst.replace(pointer + 8, 4, numberBytes(8, 4, ByteOrder::little));
  EXPECT_THAT(refusalOf(toFirst), HasSubstr("two pointers"));

  std::string outside = good;
  outside.replace(pointer + 8, 4, numberBytes(good.size(), 4, ByteOrder::little));
  EXPECT_THAT(refusalOf(outside), HasSubstr("damaged"));

  Block twice = cameraBlock();
  twice.first.push_back(BlockEntry::ofNumbers(TiffTag::exifIfd, TiffType::longInteger, {8}));
  EXPECT_THAT(refusalOf(twice.bytes()), HasSubstr("doubtful"));

  Block clash = cameraBlock();
  clash.gps = {BlockEntry::text(TiffTag::gpsLatitudeRef, "N")};
  std::string same = clash.bytes();
  const Read clashing(same);
  const std::uint64_t exif = clashing.reader().exif()->area.offset;
  same.replace(clashing.reader().first().find(TiffTag::gpsIfd)->position + 8, 4,
               numberBytes(exif, 4, ByteOrder::little));
  EXPECT_THAT(refusalOf(same), HasSubstr("two pointers"));
}

TEST(PatchTiff, RefusesLoops) {
  Block block = cameraBlock();
  block.laterPages = {{BlockEntry::text(make, "second page")}};
  std::string bytes = block.bytes();
  const TiffArea second = Read(bytes).reader().others().front().area;
  bytes.replace(second.end() - 4, 4, numberBytes(second.offset, 4, ByteOrder::little));
  EXPECT_THAT(refusalOf(bytes), HasSubstr("two pointers"));

  Block interop = cameraBlock();
  interop.exif.push_back(BlockEntry::ofNumbers(TiffTag::interopIfd, TiffType::longInteger, {8}));
  EXPECT_THAT(refusalOf(interop.bytes()), HasSubstr("two pointers"));
}

TEST(PatchTiff, RefusesAValueThatRunsIntoWhatIsAppended) {
  Block block = cameraBlock();
  std::string bytes = block.bytes();
  const std::uint64_t note = Read(bytes).reader().exif()->find(makerNote)->position;
  bytes.replace(note + 4, 4, numberBytes(100, 4, ByteOrder::little));
  EXPECT_THAT(refusalOf(bytes), HasSubstr("would change"));
}

TEST(PatchTiff, RefusesAThumbnailThatRunsIntoWhatIsAppended) {
  Block block = cameraBlock();
  const std::size_t size = block.bytes().size();
  block.laterPages = {{BlockEntry::ofNumbers(TiffTag::jpegOffset, TiffType::longInteger, {size}),
                       BlockEntry::ofNumbers(TiffTag::jpegLength, TiffType::longInteger, {100})}};
  EXPECT_THAT(refusalOf(block.bytes()), HasSubstr("would change"));
}

TEST(PatchTiff, RefusesADirectoryThatOverlapsAValue) {
  Block block = cameraBlock();
  std::string bytes = block.bytes();
  const std::uint64_t entry = Read(bytes).reader().first().find(make)->position;
  bytes.replace(entry + 8, 4, numberBytes(8, 4, ByteOrder::little));
  EXPECT_THAT(refusalOf(bytes), HasSubstr("overlaps"));
}

TEST(PatchTiff, RefusesHugeCounts) {
  Block block = cameraBlock();
  block.isBig = true;
  std::string bytes = block.bytes();
  bytes.replace(16, 8, numberBytes(std::uint64_t{1} << 60, 8, ByteOrder::little));
  EXPECT_THAT(refusalOf(bytes), HasSubstr("damaged"));
}

TEST(PatchTiff, RefusesValuesThatAllShareTheirBytes) {
  Block block = cameraBlock();
  for (std::uint16_t tag = 0xC000; tag < 0xC100; ++tag) {
    block.first.push_back(BlockEntry::text(tag, "some text that is long"));
  }
  std::string bytes = block.bytes() + std::string(2000000, 'x');
  const Read read(bytes);
  for (const TiffEntry& entry : read.reader().first().entries) {
    if (entry.tag < 0xC000) continue;
    bytes.replace(entry.position + 4, 8,
                  numberBytes(1900000, 4, ByteOrder::little) +
                      numberBytes(bytes.size() - 1950000, 4, ByteOrder::little));
  }
  EXPECT_THAT(refusalOf(bytes), HasSubstr("would change"));
}

TEST(PatchTiff, RefusesEveryBlockThatIsCutShort) {
  const std::string whole = patched(cameraBlock().bytes(), everything());
  for (std::size_t length = 0; length < 8 + 2 + 12; ++length) {
    EXPECT_NE(refusalOf(whole.substr(0, length)), "") << length;
  }
  // Further on a cut is either refused or harmless.
  for (std::size_t length = 8 + 2 + 12; length < whole.size(); ++length) {
    const std::string cut = whole.substr(0, length);
    if (refusalOf(cut).empty()) expectEverything(Read(patched(cut, everything())));
  }
}

TEST(DegreesMinutesSeconds, CarryTheSecondsThatRoundToSixty) {
  const auto angle = degreesMinutesSeconds(-(10 + 59.0 / 60 + 59.99999999999 / 3600));
  EXPECT_EQ(angle[0].numerator, 11u);
  EXPECT_EQ(angle[1].numerator, 0u);
  EXPECT_EQ(angle[2].numerator, 0u);
}

TEST(AltitudeRational, FitsInto32Bits) {
  EXPECT_EQ(altitudeRational(-8848.86).numerator, 88488600u);
  EXPECT_EQ(altitudeRational(4294967295.0).numerator, 4294967295u);
  EXPECT_EQ(altitudeRational(4294967295.0).denominator, 1u);
  EXPECT_EQ(altitudeRational(429496729.4).denominator, 10u);
}

}  // namespace
}  // namespace tollbrook::ImageMetadata
