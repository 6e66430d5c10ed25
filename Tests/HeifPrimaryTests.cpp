#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/HeifItems.h"
#include "Support/HeifMaker.h"
#include "Support/ImageTags.h"
#include "TollbrookCore/ImageMetadata/Heif.h"
#include "TollbrookCore/ImageMetadata/HeifPrimary.h"

// Only the primary image is carried over.
namespace tollbrook::ImageMetadata::Heif {
namespace {

using test::dataOf;
using test::exifItem;
using test::HeifShape;
using test::isoBox;
using test::itemsOf;
using test::makeHeif;
using test::metaOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

std::string written(const std::string& file) { return plan(MemorySource(file), test::dates()).bytes(); }

HeifShape::Item image(std::uint32_t id, const std::string& data) {
  return {.id = id, .type = "hvc1", .data = data};
}

HeifShape::Item hiddenImage(std::uint32_t id, const std::string& data) {
  return {.id = id, .type = "hvc1", .data = data, .isHidden = true};
}

HeifShape::Item exif(std::uint32_t id) {
  return {.id = id, .type = "Exif", .data = exifItem(), .isHidden = true, .isImage = false};
}

TEST(PrimaryImage, StaysAlone) {
  HeifShape shape;
  shape.items = {image(1, "first"), image(2, "second"), image(3, "third")};
  shape.primary = 2;
  const std::string after = written(makeHeif(shape));
  EXPECT_THAT(itemsOf(after), ElementsAre(2, 4));
  EXPECT_EQ(dataOf(after, 2), "second");
  EXPECT_THAT(after, Not(HasSubstr("third")));
  EXPECT_EQ(written(after), after);
}

TEST(PrimaryImage, GetsXmpOfItsOwnWhenTheOnlyOneGoes) {
  HeifShape shape;
  // With the extent of an image it is one.
  shape.items = {image(1, "first"),
                 {.id = 2, .type = "mime", .data = "<x/>", .contentType = "application/rdf+xml"}};
  const TargetTags target = test::captioned("a caption");
  const auto captioned = [&](const std::string& file) { return plan(MemorySource(file), target).bytes(); };
  const std::string after = captioned(makeHeif(shape));
  EXPECT_THAT(itemsOf(after), ElementsAre(1, 3, 4));
  EXPECT_THAT(dataOf(after, 4), HasSubstr("a caption"));
  EXPECT_EQ(captioned(after), after);
}

TEST(PrimaryImage, LeavesNoPropertyOfAnother) {
  const auto extent = [](char width) {
    return isoBox("ispe", std::string(7, '\0') + width + std::string("\0\0\0\x30", 4));
  };
  const auto sized = [](std::uint32_t id, std::uint32_t width, const std::string& data) {
    return HeifShape::Item{.id = id, .type = "hvc1", .data = data, .width = width};
  };
  HeifShape shape;
  shape.items = {sized(1, 10, "first"), sized(2, 20, "second"), sized(3, 30, "third"),
                 sized(4, 20, "fourth")};
  shape.primary = 2;
  const std::string before = makeHeif(shape);
  ASSERT_THAT(before, HasSubstr(isoBox("ipco", extent(10) + extent(20) + extent(30))));
  const std::string after = written(before), room = isoBox("free", std::string(12, '\0'));
  EXPECT_THAT(after, HasSubstr(isoBox("ipco", room + extent(20) + room)));
  EXPECT_EQ(metaOf(after).propertiesInUse(), std::set<std::uint32_t>{2});
  EXPECT_EQ(written(after), after);
}

TEST(PrimaryImage, KeepsAPropertyThatNothingEverHad) {
  HeifShape shape;
  shape.items = {image(1, "first"), image(2, "second"), image(3, "third")};
  shape.items[1].width = 20;
  std::string file = makeHeif(shape);
  // The second image gets the property of the first.
  file[file.find("ipma") + 4 + 4 + 4 + 4 + 3] = 1;
  EXPECT_THAT(written(file), HasSubstr(std::string("ispe\0\0\0\0\0\0\0\x14", 12)));
}

TEST(PrimaryImage, KeepsItsTilesThumbnailAuxiliaryImageAndMetadata) {
  HeifShape shape;
  shape.locationVersion = 1;
  shape.items = {hiddenImage(1, "tile 1"),
                 hiddenImage(2, "tile 2"),
                 {.id = 3, .type = "grid", .data = "grid", .inItemData = true},
                 image(4, "thumbnail"),
                 hiddenImage(5, "alpha"),
                 exif(6),
                 image(7, "other"),
                 image(8, "other thumbnail"),
                 exif(9),
                 hiddenImage(10, "other tile")};
  shape.primary = 3;
  shape.references = {{"dimg", 3, {1, 2}}, {"thmb", 4, {3}},    {"auxl", 5, {3, 7}}, {"cdsc", 6, {3, 7}},
                      {"thmb", 8, {7}},    {"cdsc", 9, {7, 8}}, {"dimg", 7, {10, 2}}};
  const std::string after = written(makeHeif(shape));
  EXPECT_THAT(itemsOf(after), ElementsAre(1, 2, 3, 4, 5, 6));
  EXPECT_EQ(dataOf(after, 2), "tile 2");
  EXPECT_EQ(dataOf(after, 3), "grid");
  EXPECT_EQ(dataOf(after, 4), "thumbnail");
  EXPECT_THAT(dataOf(after, 6), HasSubstr("2019:07:01"));
  for (const auto& reference : metaOf(after).references.references) {
    EXPECT_THAT(reference.to, Not(testing::Contains(7U)));
  }
}

TEST(PrimaryImage, KeepsDataThatItSharesOnce) {
  HeifShape shape;
  shape.items = {image(1, "shared data"), image(2, "other data")};
  std::string file = makeHeif(shape);
  // The second item gets the place of the first, which becomes hidden.
  const std::size_t table = file.find("iloc") + 4 + 4 + 2 + 2;
  const std::size_t entry = 2 + 2 + 2 + 8;
  file.replace(table + entry + 6, 8, file, table + 6, 8);
  const std::size_t first = file.find("infe") + 7;
  file[first] = 1;
  const std::string after = written(file);
  EXPECT_EQ(dataOf(after, 1), "shared data");
  EXPECT_THAT(itemsOf(after), ElementsAre(1, 3));
}

TEST(PrimaryImage, KeepsHiddenImagesThatNothingRefersTo) {
  HeifShape shape;
  shape.items = {image(1, "first"), hiddenImage(2, "hidden"), image(3, "third")};
  EXPECT_THAT(itemsOf(written(makeHeif(shape))), ElementsAre(1, 2, 4));
}

TEST(PrimaryImage, KeepsItsGainMap) {
  HeifShape shape;
  shape.items = {image(1, "first"),
                 hiddenImage(2, "gain map"),
                 {.id = 3, .type = "tmap", .data = "tone map"},
                 image(4, "other")};
  shape.references = {{"dimg", 3, {1, 2}}};
  shape.groups = {{"altr", 20, {3, 1}}, {"ster", 21, {1, 4}}, {"eqiv", 22, {1, 3, 4}}};
  const std::string after = written(makeHeif(shape));
  EXPECT_THAT(itemsOf(after), ElementsAre(1, 2, 3, 23));
  EXPECT_EQ(dataOf(after, 2), "gain map");
  const auto groups = metaOf(after).groups;
  ASSERT_EQ(groups.size(), 2U) << "a pair that lost one is none";
  EXPECT_THAT(groups[0].entities, ElementsAre(3, 1));
  EXPECT_THAT(groups[1].entities, ElementsAre(1, 3));
}

TEST(PrimaryImage, KeepsWhatItIsTheThumbnailOf) {
  HeifShape shape;
  shape.items = {image(1, "thumbnail"), image(2, "the picture"), image(3, "other")};
  shape.references = {{"thmb", 1, {2}}};
  const std::string after = written(makeHeif(shape));
  EXPECT_THAT(itemsOf(after), ElementsAre(1, 2, 4));
  EXPECT_EQ(dataOf(after, 2), "the picture");
  EXPECT_EQ(written(after), after);
}

TEST(PrimaryImage, LosesTheTracksBesideIt) {
  HeifShape shape;
  shape.major = "msf1";
  shape.brands = {"msf1", "hevc", "mif1", "heic", "iso8"};
  shape.groups = {{"brst", 40, {900}}};
  shape.behindMeta = isoBox("moov", "tracks") + isoBox("free", "room");
  shape.trailer = isoBox("uuid", "kept at the end");
  const std::string after = written(makeHeif(shape));
  EXPECT_EQ(after.substr(4, 20), std::string("ftypheic\0\0\0\0mif1heic", 20));
  EXPECT_THAT(after, Not(HasSubstr("moov")));
  EXPECT_THAT(after, EndsWith(shape.trailer));
  EXPECT_TRUE(metaOf(after).groups.empty());
  EXPECT_EQ(dataOf(after, 1), "the picture");
  EXPECT_EQ(written(after), after);
}

TEST(PrimaryImage, HasABrandOfItsOwnWithoutTracks) {
  const auto type = [](const std::string& content) { return withoutSequenceBrands(content); };
  const std::string minor(4, '\0');
  EXPECT_EQ(type("msf1" + minor + "msf1iso8"), "mif1" + minor + "mif1");
  EXPECT_EQ(type("avis" + minor + "avismif1avif"), "avif" + minor + "mif1avif");
  EXPECT_EQ(type("heic" + minor + "heicmsf1mif1miaf"), "heic" + minor + "heicmif1miaf");
  EXPECT_THROW(type("msf1" + minor + "mi"), Refused);
}

TEST(PrimaryImage, StaysWithoutAnyOtherInEveryLayout) {
  for (const unsigned version : {0U, 1U, 2U}) {
    for (const std::size_t width : {4U, 8U}) {
      for (const bool metaIsLast : {false, true}) {
        HeifShape shape;
        shape.locationVersion = version;
        shape.offsetWidth = shape.lengthWidth = shape.baseWidth = width;
        shape.metaIsLast = metaIsLast;
        shape.lastBoxIsOpen = true;
        shape.items = {image(1, "first"), image(2, "second"), exif(3)};
        shape.items.front().parts = 3;
        shape.references = {{"cdsc", 3, {1}}};
        const std::string after = written(makeHeif(shape));
        EXPECT_THAT(itemsOf(after), ElementsAre(1, 3));
        EXPECT_EQ(dataOf(after, 1), "first");
        EXPECT_EQ(written(after), after);
      }
    }
  }
}

}  // namespace
}  // namespace tollbrook::ImageMetadata::Heif
