#include <gtest/gtest.h>

#include "Support/ImageTags.h"
#include "Support/TiffBlock.h"
#include "TollbrookCore/ImageMetadata/MultiPicture.h"

namespace tollbrook::ImageMetadata {
namespace {

using test::Block;
using test::BlockEntry;

constexpr std::uint64_t indexOffset = 100, sizeOfFirst = 1000;
const std::string second = "\xFF\xD8\xFF the second picture";

/// The index of two pictures, the second of which begins `place` bytes behind the start of the index.
std::string indexOf(std::uint64_t lengthOfFirst, std::uint64_t place, ByteOrder order = ByteOrder::big) {
  constexpr std::uint16_t pictureEntries = 0xB002;
  Block block;
  block.order = order;
  std::string entries(32, '\0');
  entries.replace(4, 4, numberBytes(lengthOfFirst, 4, order));
  entries.replace(16 + 4, 4, numberBytes(second.size(), 4, order));
  entries.replace(16 + 8, 4, numberBytes(place, 4, order));
  block.first = {BlockEntry::ofBytes(pictureEntries, TiffType::undefined, entries)};
  return block.bytes();
}

/// A file in which the index and what lies behind the first picture are in these places.
std::string fileOf(const std::string& index, std::uint64_t at = indexOffset,
                   std::uint64_t size = sizeOfFirst) {
  std::string file(size, '.');
  return file.replace(at, index.size(), index) + second;
}

const std::string before = fileOf(indexOf(sizeOfFirst, sizeOfFirst - indexOffset));

std::string refusalOf(const std::string& after, std::uint64_t at, const std::string& old = before) {
  const std::uint64_t length = indexOf(0, 0).size();
  return test::refusalOf([&] {
    verifyPictures(MemorySource(old), {indexOffset, length}, MemorySource(after), {at, length});
  });
}

MultiPictureMove grownBy(std::int64_t all, std::int64_t behind) {
  return {.indexOffset = indexOffset,
          .scans = 500,
          .fileSize = before.size(),
          .growth = all,
          .growthBehind = behind};
}

TEST(MovedPictures, LeadToTheSamePictures) {
  for (const ByteOrder order : {ByteOrder::big, ByteOrder::little}) {
    const std::string old = indexOf(sizeOfFirst, sizeOfFirst - indexOffset, order);
    // 20 bytes are new before the index, 30 behind it.
    const auto moved = movedPictures(old, grownBy(50, 30));
    ASSERT_TRUE(moved);
    EXPECT_EQ(*moved, indexOf(sizeOfFirst + 50, sizeOfFirst - indexOffset + 30, order));
    EXPECT_EQ(refusalOf(fileOf(*moved, indexOffset + 20, sizeOfFirst + 50), indexOffset + 20, fileOf(old)),
              "");
  }
}

TEST(MovedPictures, AreNoneInADamagedIndex) {
  EXPECT_FALSE(movedPictures("no index", grownBy(1, 1)));
  EXPECT_FALSE(movedPictures(Block{}.bytes(), grownBy(1, 1)));
}

TEST(MovedPictures, AreRefusedBeyondTheirNumbers) {
  const std::string far = indexOf(sizeOfFirst, 0xFFFFFFFF);
  EXPECT_NE(test::refusalOf([&] { movedPictures(far, grownBy(1, 1)); }), "");
}

TEST(VerifyPictures, RefusesAPlaceThatLeadsElsewhere) {
  const std::uint64_t place = sizeOfFirst - indexOffset, grown = sizeOfFirst + 50;
  EXPECT_EQ(refusalOf(fileOf(indexOf(grown, place + 50), indexOffset, grown), indexOffset), "");
  for (const std::uint64_t spoiled : {place, place + 49, place + 51, std::uint64_t{0}}) {
    EXPECT_NE(refusalOf(fileOf(indexOf(grown, spoiled), indexOffset, grown), indexOffset), "") << spoiled;
  }
}

TEST(VerifyPictures, RefusesALengthOfTheFirstThatIsNeitherOldNorNew) {
  const std::uint64_t place = sizeOfFirst - indexOffset, grown = sizeOfFirst + 50;
  for (const std::uint64_t length : {sizeOfFirst, grown}) {
    EXPECT_EQ(refusalOf(fileOf(indexOf(length, place + 50), indexOffset, grown), indexOffset), "") << length;
  }
  EXPECT_NE(refusalOf(fileOf(indexOf(grown + 1, place + 50), indexOffset, grown), indexOffset), "");
}

TEST(VerifyPictures, RefusesADamagedIndexThatBecameAnother) {
  const std::string damaged = fileOf(std::string(indexOf(0, 0).size(), 'd'));
  EXPECT_EQ(refusalOf(damaged, indexOffset, damaged), "");
  EXPECT_NE(refusalOf(before, indexOffset, damaged), "");
  EXPECT_NE(refusalOf(damaged, indexOffset), "");
}

}  // namespace
}  // namespace tollbrook::ImageMetadata
