#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "Support/HeifItems.h"
#include "Support/HeifMaker.h"
#include "Support/ImageTags.h"
#include "TollbrookCore/ImageMetadata/Heif.h"
#include "TollbrookCore/ImageMetadata/HeifFile.h"

namespace tollbrook::ImageMetadata::Heif {
namespace {

using test::captioned;
using test::dataOf;
using test::dates;
using test::exifBlock;
using test::exifItem;
using test::HeifShape;
using test::isoBox;
using test::itemsOf;
using test::makeHeif;
using test::metaOf;
using test::stamp;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string written(const std::string& file, const TargetTags& target = dates()) {
  return plan(MemorySource(file), target).bytes();
}

void expectRefused(const std::string& file) { EXPECT_THROW(written(file), Refused); }
void expectRefused(const HeifShape& shape) { expectRefused(makeHeif(shape)); }

/// The data of the only item of this type.
std::string dataOfType(const std::string& file, std::string_view type) {
  std::string data = "none";
  for (const Item& item : metaOf(file).items.items) {
    if (item.type != type) continue;
    EXPECT_EQ(data, "none");
    data = dataOf(file, item.id);
  }
  return data;
}

bool refers(const std::string& file, const std::string& type, ItemId from, ItemId to) {
  for (const auto& reference : metaOf(file).references.references) {
    if (reference.type == type && reference.from == from &&
        std::find(reference.to.begin(), reference.to.end(), to) != reference.to.end()) {
      return true;
    }
  }
  return false;
}

std::vector<std::string> boxTypes(const std::string& file) {
  std::vector<std::string> types;
  for (const FileBox& box : boxesOf(MemorySource(file))) types.push_back(box.type);
  return types;
}

HeifShape withExif() {
  HeifShape shape;
  shape.items.push_back({.id = 2, .type = "Exif", .data = exifItem(), .isHidden = true, .isImage = false});
  shape.references.push_back({"cdsc", 2, {1}});
  return shape;
}

void expectWritten(const HeifShape& shape) {
  const std::string before = makeHeif(shape);
  const std::string after = written(before);
  for (const auto& item : shape.items) {
    if (item.type != "Exif") {
      EXPECT_EQ(dataOf(after, item.id), dataOf(before, item.id));
    }
  }
  EXPECT_THAT(dataOfType(after, "Exif"), HasSubstr(stamp));
  if (dataOfType(before, "Exif") != "none") {
    EXPECT_THAT(dataOfType(after, "Exif"), HasSubstr("Acme"));
  }
  EXPECT_EQ(written(after), after);
}

using Layout = std::tuple<unsigned, std::size_t, std::size_t, std::size_t, bool>;

class EveryLayout : public testing::TestWithParam<Layout> {
 protected:
  static HeifShape shaped(HeifShape shape) {
    std::tie(shape.locationVersion, shape.offsetWidth, shape.lengthWidth, shape.baseWidth, shape.metaIsLast) =
        GetParam();
    if (shape.locationVersion > 0) shape.indexWidth = 4;
    return shape;
  }
  /// Without a length of its own an item ends where the file ends.
  static bool reachesIntoTheMetaBox(const HeifShape& shape) {
    return shape.lengthWidth == 0 && shape.metaIsLast;
  }
};

TEST_P(EveryLayout, GetsAnExifItem) {
  HeifShape shape = shaped({});
  if (reachesIntoTheMetaBox(shape)) return expectRefused(shape);
  expectWritten(shape);
  shape.hasReferenceTable = false;
  expectWritten(shape);
  shape.behindMeta = isoBox("free", std::string(40, '\0'));
  expectWritten(shape);
}

TEST_P(EveryLayout, GetsItsExifItemChanged) {
  HeifShape shape = shaped(withExif());
  if (reachesIntoTheMetaBox(shape)) return expectRefused(shape);
  expectWritten(shape);
  if (shape.offsetWidth > 0) {
    for (auto& item : shape.items) item.parts = 2;
    expectWritten(shape);
  }
}

TEST_P(EveryLayout, GetsAnExifItemOutOfTheMetaBox) {
  HeifShape shape = shaped(withExif());
  if (shape.locationVersion == 0 || shape.lengthWidth == 0) return;
  shape.items[1].inItemData = true;
  shape.items.push_back(
      {.id = 3, .type = "grid", .data = "a grid", .isHidden = true, .isImage = true, .inItemData = true});
  expectWritten(shape);
}

INSTANTIATE_TEST_SUITE_P(OfTheItemLocations, EveryLayout,
                         testing::Combine(testing::Values(0U, 1U, 2U), testing::Values(4U, 8U),
                                          testing::Values(0U, 4U, 8U), testing::Values(0U, 4U, 8U),
                                          testing::Bool()));
INSTANTIATE_TEST_SUITE_P(OfBasesAlone, EveryLayout,
                         testing::Combine(testing::Values(0U, 1U, 2U), testing::Values(0U),
                                          testing::Values(4U, 8U), testing::Values(4U, 8U), testing::Bool()));

TEST(Heif, IsKnownByItsFirstBox) {
  EXPECT_TRUE(recognizes(makeHeif({}).substr(0, 16)));
  EXPECT_FALSE(recognizes("\x89PNG\r\n\x1A\n"));
  EXPECT_FALSE(recognizes("ftyp"));
}

TEST(Heif, MovesNothingWhenTheExifItemIsThere) {
  const std::string before = makeHeif(withExif());
  const std::string after = written(before);
  ASSERT_GT(after.size(), before.size());
  std::size_t differences = 0;
  for (std::size_t i = 0; i < before.size(); ++i) differences += before[i] != after[i] ? 1U : 0U;
  EXPECT_LE(differences, 8U) << "only offset and length of the item";
  EXPECT_THAT(dataOfType(after, "Exif"), StartsWith(exifItem().substr(0, 10)));
}

TEST(Heif, WritesOverAnExifItemOfTheSameLength) {
  const std::string first = written(makeHeif(withExif()));
  TargetTags later = dates();
  later.takenTime = fromEpoch(1561982401);
  const std::string second = written(first, later);
  EXPECT_EQ(second.size(), first.size());
  EXPECT_THAT(dataOfType(second, "Exif"), HasSubstr("2019:07:01 12:00:01"));
  EXPECT_THAT(second, Not(HasSubstr(stamp)));
}

TEST(Heif, GrowsByNoMoreThanTheCaptionDoes) {
  const std::string none = makeHeif(withExif());
  const std::string first = written(none, captioned("short"));
  std::string again = written(first, captioned("a longer caption than before"));
  EXPECT_EQ(boxTypes(again), boxTypes(first));
  const std::size_t copies = 2;  // one in each of the Exif and XMP items
  EXPECT_LE(again.size() - first.size(), copies * (28 - 5) + 1);
  const std::size_t size = again.size();
  for (const char last : {'1', '2', '3', '4', '5'}) {
    again = written(again, captioned(std::string("another that is as long as ") + last));
  }
  EXPECT_EQ(again.size(), size);
}

TEST(Heif, PutsTheCaptionIntoANewXmpItem) {
  const std::string after = written(makeHeif({}), captioned("line one\nline two & more"));
  EXPECT_THAT(dataOfType(after, "mime"), HasSubstr("line one\nline two &amp; more"));
  EXPECT_THAT(dataOfType(after, "Exif"), HasSubstr("line one\nline two & more"));
  EXPECT_EQ(itemsOf(after), (std::vector<ItemId>{1, 2, 3}));
  EXPECT_TRUE(refers(after, "cdsc", 2, 1));
  EXPECT_TRUE(refers(after, "cdsc", 3, 1));
  EXPECT_EQ(metaOf(after).items.find(3)->contentType, "application/rdf+xml");
  EXPECT_TRUE(metaOf(after).items.find(2)->hidden);
  EXPECT_EQ(written(after, captioned("line one\nline two & more")), after);
}

TEST(Heif, BringsTheXmpItemThatIsThereIntoLine) {
  const std::string packet =
      "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
      "<rdf:Description rdf:about='' xmlns:xmp='http://ns.adobe.com/xap/1.0/' "
      "xmp:CreateDate='2001-01-01T00:00:00' xmp:Rating='4'/></rdf:RDF></x:xmpmeta>";
  HeifShape shape = withExif();
  shape.items.push_back(
      {.id = 3, .type = "mime", .data = packet, .isImage = false, .contentType = "application/rdf+xml"});
  const std::string after = written(makeHeif(shape));
  EXPECT_THAT(dataOf(after, 3), HasSubstr("2019-07-01T12:00:00"));
  EXPECT_THAT(dataOf(after, 3), Not(HasSubstr("2001")));
  EXPECT_THAT(dataOf(after, 3), HasSubstr("4"));
}

TEST(Heif, LeavesXmpThatCannotBeReadAsItIs) {
  HeifShape shape = withExif();
  shape.items.push_back(
      {.id = 3, .type = "mime", .data = "<not xml", .isImage = false, .contentType = "application/rdf+xml"});
  EXPECT_EQ(dataOf(written(makeHeif(shape), captioned("c")), 3), "<not xml");
  shape.items[2].data = "";
  shape.items[2].parts = 0;
  EXPECT_EQ(dataOf(written(makeHeif(shape), captioned("c")), 3), "");
  shape.items[2].data = "<not xml";
  shape.items[2].parts = 1;
  shape.items[2].contentEncoding = "deflate";
  EXPECT_EQ(dataOf(written(makeHeif(shape), captioned("c")), 3), "<not xml");
}

TEST(Heif, AcceptsEveryPlaceOfTheTiffHeaderThatIsInUse) {
  for (const std::string& start : {std::string("\0\0\0\6Exif\0\0", 10), std::string(4, '\0'),
                                   std::string("\0\0\0\0Exif\0\0", 10), std::string()}) {
    HeifShape shape = withExif();
    shape.items[1].data = start + exifBlock();
    const std::string data = dataOf(written(makeHeif(shape)), 2);
    EXPECT_THAT(data, StartsWith(start + "MM"));
    EXPECT_THAT(data, HasSubstr(stamp));
  }
  HeifShape shape = withExif();
  for (const std::string& data : {std::string("\0\0\0\6Exif", 8), std::string("\0\0\0\1", 4) + exifBlock(),
                                  std::string("\xFF\xFF\xFF\xFF") + exifBlock(), std::string()}) {
    shape.items[1].data = data;
    expectRefused(shape);
  }
}

TEST(Heif, KeepsTheTrailerOfTheMakerAtTheEnd) {
  for (const bool metaIsLast : {false, true}) {
    for (HeifShape shape : {HeifShape{}, withExif()}) {
      shape.metaIsLast = metaIsLast;
      shape.trailer = isoBox("sefd", "a maker's own data SEFT");
      expectWritten(shape);
      EXPECT_THAT(written(makeHeif(shape)), EndsWith(shape.trailer));
    }
  }
}

TEST(Heif, RefusesXmpBesideTheItemsThatWouldSaySomethingElse) {
  const std::string uuid = "\xBE\x7A\xCF\xCB\x97\xA9\x42\xE8\x9C\x71\x99\x94\x91\xE3\xAF\xAC";
  const std::string packet =
      "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
      "<rdf:Description xmlns:xmp='http://ns.adobe.com/xap/1.0/' xmp:CreateDate='1999'/></rdf:RDF>"
      "</x:xmpmeta>";
  HeifShape shape;
  for (const bool isLast : {true, false}) {
    std::string& place = isLast ? shape.trailer : shape.beforeMeta;
    place = isoBox("uuid", uuid + packet);
    expectRefused(shape);
    for (const std::string& other :
         {uuid + "no packet", std::string(16, 'u') + packet, std::string("short")}) {
      place = isoBox("uuid", other);
      EXPECT_NO_THROW(written(makeHeif(shape)));
    }
  }
}

TEST(Heif, KeepsAFilmBehindThePicture) {
  HeifShape shape = withExif();
  shape.trailer =
      isoBox("ftyp", std::string("mp42\0\0\0\0", 8)) + isoBox("mdat", "film") + isoBox("moov", "tracks");
  expectWritten(shape);
  EXPECT_THAT(written(makeHeif(shape)), EndsWith(shape.trailer));
}

TEST(Heif, GivesAnOpenLastBoxItsSize) {
  for (const bool metaIsLast : {false, true}) {
    for (HeifShape shape : {HeifShape{}, withExif()}) {
      shape.metaIsLast = metaIsLast;
      shape.lastBoxIsOpen = true;
      expectWritten(shape);
    }
  }
}

TEST(Heif, NumbersItemsOnFromTheLargestNumber) {
  HeifShape shape;
  shape.groups.push_back({"brst", 70, {1}});
  EXPECT_EQ(itemsOf(written(makeHeif(shape))), (std::vector<ItemId>{1, 71}));
  shape.groups.front().id = 0xFFFFFFFF;
  EXPECT_EQ(itemsOf(written(makeHeif(shape))), (std::vector<ItemId>{1, 2}));
  shape.itemInfoVersion = 3;
  shape.locationVersion = 2;
  shape.primary = shape.items.front().id = 0x12345;
  shape.groups.front().entities = {0x12345};
  const std::string after = written(makeHeif(shape));
  EXPECT_EQ(itemsOf(after), (std::vector<ItemId>{0x12345, 1}));
  EXPECT_TRUE(refers(after, "cdsc", 1, 0x12345));
  shape.hasReferenceTable = false;
  EXPECT_TRUE(refers(written(makeHeif(shape)), "cdsc", 1, 0x12345));
}

/// A file of which only the beginning is more than zeros.
class LargeSource final : public ByteSource {
 public:
  LargeSource(std::string start, std::uint64_t size) : ByteSource(size), start_(std::move(start)) {}

 private:
  void readInside(std::uint64_t offset, char* bytes, std::size_t length) const override {
    for (std::size_t i = 0; i < length; ++i) {
      bytes[i] = offset + i < start_.size() ? start_[offset + i] : '\0';
    }
  }

  std::string start_;
};

TEST(Heif, WidensTheOffsetsOfALargeFile) {
  for (HeifShape shape : {HeifShape{}, withExif()}) {
    std::string start = makeHeif(shape);
    // The media data, the last box, becomes one of six gigabytes.
    const std::size_t box = start.rfind("mdat") - 4;
    const std::uint64_t size = std::uint64_t{6} << 30;
    start.replace(box, 4, numberBytes(1, 4));
    start.insert(box + 8, numberBytes(size - box, 8));
    for (std::size_t i = 0; i < shape.items.size(); ++i) {
      const std::size_t offset = start.find("iloc") + 4 + 4 + 2 + 2 + i * 14 + 6;
      start.replace(offset, 4, numberBytes(numberAt(start, offset, 4, ByteOrder::big) + 8, 4));
    }
    const LargeSource source(start, size);
    const OutputPlan after = plan(source, dates());
    EXPECT_GT(after.size(), size);
    const Meta meta = File::read(after).meta;
    EXPECT_EQ(meta.locations.offsetWidth, 8U);
    EXPECT_EQ(itemBytes(after, meta, *meta.locations.find(1), 100), "the picture");
    EXPECT_THAT(itemBytes(after, meta, *meta.locations.find(2), 1000), HasSubstr(stamp));
    EXPECT_TRUE(plan(after, dates()).isUnchanged());
  }
}

TEST(Heif, RefusesAnOpenBoxTooLargeForItsSize) {
  HeifShape shape;
  shape.lastBoxIsOpen = true;
  EXPECT_THROW(plan(LargeSource(makeHeif(shape), std::uint64_t{5} << 30), dates()), Refused);
}

TEST(Heif, RefusesWhatItDoesNotUnderstand) {
  for (const std::string type : {"moof", "sidx", "mini", "meco", "meta"}) {
    HeifShape shape = withExif();
    shape.behindMeta = isoBox(type, "something");
    expectRefused(shape);
  }
  expectRefused(isoBox("ftyp", std::string("msf1\0\0\0\0msf1", 12)) + isoBox("moov", "tracks") +
                isoBox("mdat", "data"));
  HeifShape elsewhere = withExif();
  elsewhere.dataReference = 1;
  expectRefused(elsewhere);
  HeifShape missing = withExif();
  missing.primary = 9;
  expectRefused(missing);
  HeifShape twice = withExif();
  twice.items.push_back(twice.items.back());
  expectRefused(twice);
  HeifShape two = withExif();
  two.items.push_back({.id = 3, .type = "Exif", .data = exifItem(), .isImage = false});
  two.references.push_back({"cdsc", 3, {1}});
  expectRefused(two);
  HeifShape oddWidth = withExif();
  oddWidth.indexWidth = 2;
  oddWidth.locationVersion = 1;
  expectRefused(oddWidth);
}

TEST(Heif, RefusesItemsThatAreMadeOfOthers) {
  HeifShape shape = withExif();
  shape.locationVersion = 1;
  std::string file = makeHeif(shape);
  const std::size_t table = file.find("iloc");
  const std::size_t method = table + 4 + 4 + 2 + 2 + 2 + 1;
  file[method] = 2;
  expectRefused(file);
}

TEST(Heif, RefusesAFileThatIsCutAnywhere) {
  for (const bool metaIsLast : {false, true}) {
    HeifShape shape = withExif();
    shape.metaIsLast = metaIsLast;
    shape.behindMeta = isoBox("free", "room");
    // Behind the meta box, what is cut off a box in front of nothing else is no loss.
    const std::string file = makeHeif(shape);
    const std::size_t sound = metaIsLast ? file.size() - shape.behindMeta.size() : file.size();
    for (std::size_t size = 0; size < file.size(); ++size) {
      if (size != sound) expectRefused(file.substr(0, size));
    }
    EXPECT_NO_THROW(written(file));
  }
}

TEST(Heif, RefusesMoreReferencesThanAnyFileHas) {
  ReferenceTable table;
  const std::vector<ItemId> most(65535, 2);
  table.references.assign(4, {"dimg", 1, most});
  EXPECT_NO_THROW(ReferenceTable::parse(table.content()));
  table.references.push_back({"dimg", 1, most});
  EXPECT_THROW(ReferenceTable::parse(table.content()), Refused);
}

TEST(Heif, RefusesMorePartsOfItemsThanAnyFileHas) {
  LocationTable table;
  for (ItemId item = 1; item <= 4; ++item) {
    table.locations.push_back({.item = item, .extents = std::vector<LocationTable::Extent>(32768)});
  }
  EXPECT_NO_THROW(LocationTable::parse(table.content()));
  table.locations.front().extents.push_back({});
  EXPECT_THROW(LocationTable::parse(table.content()), Refused);
}

TEST(Heif, RefusesMorePropertiesThanAnyFileHas) {
  PropertyTable table;
  table.associations.assign(std::size_t{1} << 17, {1, {1, 2, 3, 4}});
  EXPECT_NO_THROW(PropertyTable::parse(table.content()));
  table.associations.front().properties.push_back(5);
  EXPECT_THROW(PropertyTable::parse(table.content()), Refused);
  table.associations.assign((std::size_t{1} << 17) + 1, {1, {}});
  EXPECT_THROW(PropertyTable::parse(table.content()), Refused);
}

TEST(Heif, RefusesMoreGroupsThanAnyFileHas) {
  HeifShape shape = withExif();
  shape.groups.assign(10001, {"altr", 7, {}});
  expectRefused(shape);
  shape.groups.resize(1);
  EXPECT_NO_THROW(written(makeHeif(shape)));
}

TEST(Heif, RefusesMoreXmpItemsThanAnyFileHas) {
  HeifShape shape = withExif();
  for (ItemId item = 10; item < 26; ++item) {
    shape.items.push_back(
        {.id = item, .type = "mime", .data = "XMP", .isImage = false, .contentType = "application/rdf+xml"});
  }
  EXPECT_NO_THROW(written(makeHeif(shape)));
  shape.items.push_back(shape.items.back());
  shape.items.back().id = 26;
  expectRefused(shape);
}

TEST(Heif, RefusesTwoListsOfProperties) {
  Meta meta = metaOf(makeHeif(withExif()));
  meta.propertyBoxes.push_back({"free", isoBox("free", "")});
  EXPECT_NO_THROW(Meta::parse(meta.content()));
  meta.propertyBoxes.push_back({"ipco", isoBox("ipco", "")});
  EXPECT_THROW(Meta::parse(meta.content()), Refused);
}

TEST(Heif, RefusesAMetaBoxOfMoreBoxesThanAnyFileHas) {
  const Meta::Child room{"free", isoBox("free", "")};
  for (const auto list : {&Meta::children, &Meta::propertyBoxes}) {
    Meta meta = metaOf(makeHeif(withExif()));
    (meta.*list).resize(100, room);
    EXPECT_NO_THROW(Meta::parse(meta.content()));
    (meta.*list).push_back(room);
    EXPECT_THROW(Meta::parse(meta.content()), Refused);
  }
}

TEST(Heif, SurvivesEveryWrongByte) {
  HeifShape shape = withExif();
  shape.groups.push_back({"altr", 50, {1}});
  const std::string file = makeHeif(shape);
  std::size_t wrote = 0;
  for (std::size_t i = 0; i < file.size(); ++i) {
    for (const int change : {0x01, 0x80, 0xFF}) {
      std::string wrong = file;
      wrong[i] = static_cast<char>(wrong[i] ^ change);
      try {
        const std::string after = written(wrong);
        EXPECT_EQ(written(after), after) << "byte " << i;
        ++wrote;
      } catch (const Refused&) {
      }
    }
  }
  EXPECT_GT(wrote, 0U);
  EXPECT_LT(wrote, 3 * file.size());
}

}  // namespace
}  // namespace tollbrook::ImageMetadata::Heif
