#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/Fixtures.h"
#include "Support/ImageTags.h"
#include "Support/TiffBlock.h"
#include "TollbrookCore/ImageMetadata/IptcRecord.h"
#include "TollbrookCore/ImageMetadata/Jpeg.h"
#include "TollbrookCore/ImageMetadata/JpegSegments.h"

namespace tollbrook::ImageMetadata::Jpeg {
namespace {

using test::Block;
using test::BlockEntry;
using test::tinyJpeg;
using testing::ElementsAre;
using testing::HasSubstr;
using namespace std::string_literals;

constexpr std::uint16_t make = 0x010F, pictureEntries = 0xB002;
constexpr std::size_t endOfJfif = 20;

TargetTags everything() { return test::everything("Grüße\nfrom here"); }

std::string written(const std::string& file, const TargetTags& target = everything()) {
  return plan(MemorySource(file), target).bytes();
}

std::string refusalOf(const std::string& file) {
  return test::refusalOf([&] { written(file); });
}

bool staysAsItIs(const std::string& file) { return plan(MemorySource(file), everything()).isUnchanged(); }

/// The small JPEG with more behind its first segment.
std::string jpegWith(const std::string& segments) { return tinyJpeg().insert(endOfJfif, segments); }

std::string exifSegment(const std::string& block) {
  return segmentBytes(app1, std::string("Exif\0\0", 6) + block);
}
std::string xmpSegment(const std::string& packet) {
  return segmentBytes(app1, std::string(xmpHeader) + packet);
}
std::string photoshopSegment(const std::string& resources) {
  return segmentBytes(app13, std::string(photoshopHeader) + resources);
}

std::string cameraBlock() {
  Block block;
  block.first = {BlockEntry::text(make, "A maker of cameras")};
  return block.bytes();
}

std::vector<std::string> payloadsOf(const std::string& file, std::uint8_t marker, std::string_view header) {
  std::vector<std::string> payloads;
  for (const Segment& segment : readLayout(MemorySource(file)).segments) {
    if (!segment.is(marker, header)) continue;
    payloads.push_back(
        file.substr(segment.payloadOffset + header.size(), segment.payloadLength - header.size()));
  }
  return payloads;
}

std::string scansOf(const std::string& file) { return file.substr(readLayout(MemorySource(file)).scans); }

TEST(JpegPlan, AddsExifAndIptcBehindJfif) {
  const std::string file = written(tinyJpeg());
  std::vector<int> markers;
  for (const Segment& segment : readLayout(MemorySource(file)).segments) markers.push_back(segment.marker);
  EXPECT_THAT(markers, ElementsAre(0xE0, 0xE1, 0xED, 0xDB, 0xC0, 0xC4, 0xC4));
  EXPECT_EQ(scansOf(file), scansOf(tinyJpeg()));
  const auto iptc = payloadsOf(file, app13, photoshopHeader);
  EXPECT_EQ(iptc, std::vector{withCaptionInResources({}, everything().caption)});
}

TEST(JpegPlan, GivesANewExifTheMandatoryTags) {
  const std::string exif = payloadsOf(written(tinyJpeg()), app1, exifHeader)[0].substr(1);
  const MemorySource source(exif);
  const TiffReader block(source);
  for (const auto tag : {TiffTag::xResolution, TiffTag::yResolution, TiffTag::resolutionUnit}) {
    EXPECT_NE(block.first().find(tag), nullptr) << tag;
  }
  ASSERT_NE(block.exif(), nullptr);
  EXPECT_EQ(block.number(*block.exif()->find(TiffTag::pixelXDimension)), 8u);
  EXPECT_EQ(block.number(*block.exif()->find(TiffTag::pixelYDimension)), 8u);
}

TEST(JpegPlan, TakesTheResolutionFromJfif) {
  const auto resolutionIn = [](const std::string& file) {
    const std::string exif = payloadsOf(written(file), app1, exifHeader)[0].substr(1);
    const MemorySource source(exif);
    const TiffReader block(source);
    const auto unit = block.number(*block.first().find(TiffTag::resolutionUnit));
    const std::string x = block.value(*block.first().find(TiffTag::xResolution), 8);
    return std::pair(block.numberIn(x, 0, 4), unit);
  };
  EXPECT_EQ(resolutionIn(tinyJpeg()), std::pair(std::uint64_t{72}, std::uint64_t{2}))
      << "a mere aspect ratio";
  const std::string perCentimetre = tinyJpeg().replace(13, 5, std::string("\2\0\x76\0\x76", 5));
  EXPECT_EQ(resolutionIn(perCentimetre), std::pair(std::uint64_t{118}, std::uint64_t{3}));
}

TEST(JpegPlan, StaysAsItIsTheSecondTime) {
  EXPECT_TRUE(staysAsItIs(written(tinyJpeg())));
  EXPECT_TRUE(staysAsItIs(written(jpegWith(exifSegment(cameraBlock()) + photoshopSegment("")))));
}

TEST(JpegPlan, WithoutACaptionAddsNoIptc) {
  TargetTags target = everything();
  target.caption.clear();
  EXPECT_TRUE(payloadsOf(written(tinyJpeg(), target), app13, photoshopHeader).empty());
}

TEST(JpegPlan, KeepsFillBytesAndWhatFollowsTheImage) {
  const std::string fill = "\xFF\xFF" + segmentBytes(0xFE, "a comment behind fill bytes");
  const std::string trailer = "a film " + std::string(1000, '\xFF') + " and more";
  const std::string file = written(jpegWith(fill) + trailer);
  EXPECT_THAT(file, HasSubstr(fill));
  EXPECT_TRUE(file.ends_with("\xFF\xD9" + trailer));
  EXPECT_TRUE(staysAsItIs(file));
}

TEST(JpegPlan, KeepsATrailerWithADirectoryOfItsOwn) {
  const auto number = [](std::uint64_t value, std::size_t width) {
    return numberBytes(value, width, ByteOrder::little);
  };
  // Places count back from the directory, and its length from the end of the file.
  const std::string name = "Image_UTC_Data", value = "1561982400000";
  const std::string data = number(0x0A010000, 4) + number(name.size(), 4) + name + value;
  const std::string directory = "SEFH" + number(107, 4) + number(1, 4) + number(0x0A010000, 4) +
                                number(data.size(), 4) + number(data.size(), 4);
  const std::string trailer = data + directory + number(directory.size(), 4) + "SEFT";
  const std::string file = written(jpegWith(exifSegment(cameraBlock())) + trailer);
  EXPECT_GT(file.size(), jpegWith(exifSegment(cameraBlock())).size() + trailer.size());
  EXPECT_TRUE(file.ends_with(scansOf(tinyJpeg()) + trailer));
}

TEST(JpegPlan, EditsTheExifSegmentWhereItStands) {
  const std::string comment = segmentBytes(0xFE, "before");
  const std::string file = written(jpegWith(comment + exifSegment(cameraBlock())));
  EXPECT_EQ(file.find(comment), endOfJfif);
  EXPECT_EQ(payloadsOf(file, app1, exifHeader).size(), 1u);
  EXPECT_THAT(file, HasSubstr("A maker of cameras"));
}

TEST(JpegPlan, UsesTheZerosOfAFullExifSegment) {
  const std::size_t most = mostPayload - 6;
  std::string full = cameraBlock();
  full.resize(most, '\0');
  const std::string file = written(jpegWith(exifSegment(full)));
  EXPECT_THAT(file, HasSubstr("2019:07:01 12:00:00"));
  full = cameraBlock();
  full.resize(most, 'x');
  EXPECT_EQ(refusalOf(jpegWith(exifSegment(full))), "there is no room for the metadata");
}

TEST(JpegPlan, RefusesACaptionThatFitsNoSegment) {
  for (const std::string& file : {tinyJpeg(), jpegWith(exifSegment(cameraBlock()))}) {
    EXPECT_NE(test::refusalOf([&] { written(file, test::captioned(std::string(70000, 'c'))); }), "");
  }
}

TEST(JpegPlan, RefusesSeveralExifSegments) {
  const std::string twice = exifSegment(cameraBlock()) + exifSegment(cameraBlock());
  EXPECT_EQ(refusalOf(jpegWith(twice)), "there are several Exif segments");
}

std::string pictureIndex(std::uint64_t firstLength, std::uint64_t place) {
  Block block;
  block.order = ByteOrder::big;
  std::string entries(32, '\0');
  entries.replace(4, 4, numberBytes(firstLength, 4, ByteOrder::big));
  entries.replace(16 + 8, 4, numberBytes(place, 4, ByteOrder::big));
  block.first = {BlockEntry::ofBytes(pictureEntries, TiffType::undefined, entries)};
  return block.bytes();
}

/// A file of two pictures, the index of which lies before or behind the Exif segment and takes the first to
/// be `lengthError` bytes longer than it is.
std::string twoPictures(bool indexIsFirst, std::int64_t lengthError = 0, const std::string& fill = {}) {
  const std::string exif = exifSegment(cameraBlock());
  const auto build = [&](std::uint64_t firstLength, std::uint64_t place) {
    const std::string index =
        fill + segmentBytes(app2, std::string(mpfHeader) + pictureIndex(firstLength, place));
    return jpegWith(indexIsFirst ? index + exif : exif + index);
  };
  const std::string first = build(0, 0);
  const std::size_t indexAt = first.find(mpfHeader) + mpfHeader.size();
  const std::int64_t length = static_cast<std::int64_t>(first.size()) + lengthError;
  return build(static_cast<std::uint64_t>(length), first.size() - indexAt) + tinyJpeg();
}

/// A number in the index: `offset` counts from the start of the entries.
std::uint64_t numberInIndex(const std::string& file, std::uint64_t offset) {
  const std::string index = file.substr(file.find(mpfHeader) + mpfHeader.size());
  const MemorySource source(index);
  const TiffReader reader(source);
  return reader.numberIn(index, reader.first().find(pictureEntries)->value->offset + offset, 4);
}

std::uint64_t lengthOfFirst(const std::string& file) { return numberInIndex(file, 4); }

/// What the index calls the second picture.
std::string secondPicture(const std::string& file) {
  return file.substr(file.find(mpfHeader) + mpfHeader.size() + numberInIndex(file, 16 + 8));
}

TEST(JpegPlan, KeepsFurtherPicturesWithinReach) {
  for (const bool indexIsFirst : {true, false}) {
    const std::string before = twoPictures(indexIsFirst);
    ASSERT_EQ(secondPicture(before), tinyJpeg());
    const std::string after = written(before);
    EXPECT_GT(after.size(), before.size());
    EXPECT_EQ(secondPicture(after), tinyJpeg()) << indexIsFirst;
  }
}

TEST(JpegPlan, KeepsTheLengthOfTheFirstPictureRight) {
  for (const bool indexIsFirst : {true, false}) {
    for (const std::string& fill : {std::string(), std::string(3, '\xFF')}) {
      const std::string before = twoPictures(indexIsFirst, 0, fill);
      ASSERT_EQ(lengthOfFirst(before), before.size() - tinyJpeg().size());
      const std::string after = written(before);
      EXPECT_GT(after.size(), before.size());
      EXPECT_EQ(lengthOfFirst(after), after.size() - tinyJpeg().size()) << indexIsFirst;
      EXPECT_EQ(secondPicture(after), tinyJpeg()) << indexIsFirst;
      EXPECT_TRUE(staysAsItIs(after));
    }
  }
}

TEST(JpegPlan, LeavesALengthOfTheFirstPictureAloneThatWasWrong) {
  for (const bool indexIsFirst : {true, false}) {
    const auto length = static_cast<std::int64_t>(twoPictures(indexIsFirst).size() - tinyJpeg().size());
    for (const std::int64_t error : {-length, 20 - length, std::int64_t{1}, std::int64_t{1000000}}) {
      const std::string before = twoPictures(indexIsFirst, error);
      const std::string after = written(before);
      EXPECT_EQ(lengthOfFirst(after), lengthOfFirst(before)) << error;
      EXPECT_EQ(secondPicture(after), tinyJpeg()) << error;
    }
  }
}

TEST(JpegPlan, KeepsABrokenIndexBehindWhichNothingGrows) {
  const std::string broken = segmentBytes(app2, std::string(mpfHeader) + "no index");
  EXPECT_THAT(written(jpegWith(exifSegment(cameraBlock()) + broken)), HasSubstr(broken));
}

TEST(JpegPlan, RefusesAnIndexThatItCannotFollow) {
  const std::string broken = segmentBytes(app2, std::string(mpfHeader) + "no index");
  EXPECT_NE(refusalOf(jpegWith(broken + exifSegment(cameraBlock()))), "");
}

const std::string oldCaption = withCaptionInResources({}, "an old caption");
const std::string otherResource = std::string("8BIM\x03\xED\0\0\0\0\0\4", 12) + "abcd";

TEST(JpegPlan, SetsTheCaptionAmongOtherResources) {
  const std::string file = written(jpegWith(photoshopSegment(otherResource + oldCaption)));
  EXPECT_EQ(payloadsOf(file, app13, photoshopHeader),
            std::vector{withCaptionInResources(otherResource + oldCaption, everything().caption)});
}

TEST(JpegPlan, LeavesASegmentOfOtherResourcesAlone) {
  const std::string file = written(jpegWith(photoshopSegment(otherResource) + photoshopSegment(oldCaption)));
  EXPECT_EQ(payloadsOf(file, app13, photoshopHeader),
            (std::vector{otherResource, withCaptionInResources(oldCaption, everything().caption)}));
}

TEST(JpegPlan, JoinsResourcesThatGoOnInTheNextSegment) {
  const std::string resources = otherResource + oldCaption;
  const std::string file =
      written(jpegWith(photoshopSegment(resources.substr(0, 20)) + photoshopSegment(resources.substr(20))));
  std::string joined;
  for (const std::string& payload : payloadsOf(file, app13, photoshopHeader)) joined += payload;
  EXPECT_EQ(joined, withCaptionInResources(resources, everything().caption));
}

std::string resourceOf(int id, const std::string& data) {
  return "8BIM" + numberBytes(static_cast<std::uint64_t>(id), 2) + std::string(2, '\0') +
         numberBytes(data.size(), 4) + data + std::string(data.size() % 2, '\0');
}

TEST(JpegPlan, RefusesMoreIptcThanAnySoundFileHas) {
  std::string segments;
  for (int i = 0; i < 16; ++i) segments += photoshopSegment(oldCaption);
  EXPECT_EQ(refusalOf(jpegWith(segments)), "");
  EXPECT_EQ(refusalOf(jpegWith(segments + photoshopSegment(oldCaption))),
            "there are too many IPTC resources");
}

TEST(JpegPlan, RefusesAListOfResourcesThatWouldFillTheMemory) {
  constexpr std::size_t most = mostPayload - photoshopHeader.size();
  const auto inSegments = [&](std::size_t size) {
    const std::string list = resourceOf(0x03ED, std::string(size - 12, 'x'));
    std::string segments;
    for (std::size_t at = 0; at < list.size(); at += most)
      segments += photoshopSegment(list.substr(at, most));
    return segments;
  };
  EXPECT_EQ(refusalOf(jpegWith(inSegments(mostMetadata))), "");
  EXPECT_EQ(refusalOf(jpegWith(inSegments(mostMetadata + 2))), "the Photoshop resources are too large");
}

TEST(JpegPlan, RefusesResourcesThatWouldSaySomethingElse) {
  const std::string date =
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
      "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description "
      "xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmp:CreateDate=\"1999\"/></rdf:RDF></x:xmpmeta>";
  Block dated;
  dated.first = {BlockEntry::text(TiffTag::dateTime, "1999:01:01 01:01:01")};
  for (const auto& [resource, refusal] :
       {std::pair{resourceOf(0x0424, date), "XMP among the Photoshop resources would say something else"},
        {resourceOf(0x0422, dated.bytes()), "EXIF among the Photoshop resources would say something else"},
        {resourceOf(0x0424, "no packet"), ""},
        {resourceOf(0x0422, cameraBlock()), ""}}) {
    const std::string list = otherResource + resource;
    const std::string pieces = photoshopSegment(list.substr(0, 20)) + photoshopSegment(list.substr(20));
    for (const std::string& segments : {photoshopSegment(list), pieces}) {
      for (const TargetTags& target : {everything(), test::dates()}) {
        EXPECT_EQ(test::refusalOf([&] { written(jpegWith(segments), target); }), refusal);
      }
    }
  }
}

TEST(JpegPlan, BringsXmpIntoLine) {
  const std::string packet =
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
      "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description rdf:about=\"\" "
      "xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmp:CreateDate=\"1999-01-01\"/></rdf:RDF></x:xmpmeta>";
  const std::string file = written(jpegWith(xmpSegment(packet)));
  EXPECT_THAT(payloadsOf(file, app1, xmpHeader)[0], HasSubstr("\"2019-07-01T12:00:00+00:00\""));
  const std::string broken = packet.substr(0, packet.size() - 20);
  EXPECT_EQ(payloadsOf(written(jpegWith(xmpSegment(broken))), app1, xmpHeader)[0], broken);
}

/// A part of extended XMP that is `length` bytes as a whole.
std::string extendedSegment(const std::string& part, std::size_t length, std::size_t place,
                            char digest = 'D') {
  return segmentBytes(app1, std::string(extendedXmpHeader) + std::string(32, digest) +
                                numberBytes(length, 4) + numberBytes(place, 4) + part);
}

std::string extendedPacket(const std::string& attributes) {
  return "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
         "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description rdf:about=\"\" "
         "xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmlns:exif=\"http://ns.adobe.com/exif/1.0/\" " +
         attributes + "/></rdf:RDF></x:xmpmeta>";
}

TEST(JpegPlan, RefusesExtendedXmpThatWouldSaySomethingElse) {
  for (const std::string old : {"xmp:CreateDate=\"1999\"", "exif:GPSLatitude=\"1,2.3N\""}) {
    const std::string packet = extendedPacket(old);
    const std::string other = extendedSegment("other", 5, 0, 'E');
    EXPECT_EQ(refusalOf(jpegWith(other + extendedSegment(packet, packet.size(), 0))),
              "the extended XMP would say something else");
    const std::string parts = extendedSegment(packet.substr(50), packet.size(), 50) +
                              extendedSegment(packet.substr(0, 50), packet.size(), 0);
    EXPECT_EQ(refusalOf(jpegWith(parts)), "the extended XMP would say something else") << "in any order";
  }
}

TEST(JpegPlan, KeepsExtendedXmpThatSaysNothingElse) {
  const std::string other = extendedPacket("xmp:Rating=\"4\"");
  const std::string same = extendedPacket("xmp:CreateDate=\"2019-07-01T12:00:00+00:00\"");
  const std::string old = extendedPacket("xmp:CreateDate=\"1999\"");
  for (const std::string& segments :
       {extendedSegment(other, other.size(), 0), extendedSegment(same, same.size(), 0),
        extendedSegment(old.substr(50), old.size(), 50), extendedSegment(old, old.size() + 1, 0),
        extendedSegment(old.substr(0, old.size() - 1), old.size() - 1, 0),
        segmentBytes(app1, std::string(extendedXmpHeader) + "too short")}) {
    const std::string file = written(jpegWith(segments));
    EXPECT_THAT(file, HasSubstr(segments));
    EXPECT_TRUE(staysAsItIs(file));
  }
}

TEST(JpegPlan, RefusesAPartOfExtendedXmpThatIsThereTwice) {
  const std::string packet = extendedPacket("xmp:CreateDate=\"1999\"");
  const std::string whole = extendedSegment(packet, packet.size(), 0);
  EXPECT_EQ(refusalOf(jpegWith(extendedSegment("zz", packet.size(), 0) + whole)),
            "a part of the extended XMP is there twice");
}

TEST(JpegPlan, RefusesMetadataBehindAHeaderThatOnlySomeReadersKnow) {
  for (const std::string& header : {"EXIF\0\0"s, "xxExif\0\0"s}) {
    EXPECT_EQ(refusalOf(jpegWith(segmentBytes(app1, header + cameraBlock()))),
              "there is EXIF behind an unknown header");
    EXPECT_EQ(refusalOf(jpegWith(segmentBytes(app1, header + "no block"))), "");
  }
  for (const std::string& header : {"XMP\0"s, "http://ns.adobe.com/xap/1.0/"s}) {
    EXPECT_EQ(refusalOf(jpegWith(segmentBytes(app1, header + extendedPacket("")))),
              "there is XMP behind an unknown header");
    EXPECT_EQ(refusalOf(jpegWith(segmentBytes(app1, header + "no packet"))), "");
  }
}

TEST(JpegPlan, RefusesMoreXmpThanAnySoundFileHas) {
  std::string segments;
  for (int i = 0; i < 16; ++i) segments += xmpSegment(extendedPacket(""));
  EXPECT_EQ(refusalOf(jpegWith(segments)), "");
  EXPECT_EQ(refusalOf(jpegWith(segments + xmpSegment(extendedPacket("")))),
            "there are too many XMP segments");
}

TEST(JpegPlan, RefusesATrailerWithAbsolutePlaces) {
  EXPECT_NE(refusalOf(tinyJpeg() + "AXS!" + std::string(8, '\0')), "");
}

/// A JPEG with this behind its end, the distance of which from the EXIF header `blockWith` puts into the
/// block.
template <typename BlockWith>
std::string withTrailer(const std::string& trailer, std::int64_t tooFar, const BlockWith& blockWith) {
  const auto withPlace = [&](std::uint64_t place) { return jpegWith(exifSegment(blockWith(place).bytes())); };
  const std::uint64_t exifHeaderAt = endOfJfif + 10;
  const auto distance = static_cast<std::int64_t>(withPlace(0).size() - exifHeaderAt);
  return withPlace(static_cast<std::uint64_t>(distance + tooFar)) + trailer;
}

Block blockWithNote(std::uint64_t place) {
  Block block;
  block.first = {BlockEntry::text(make, "A maker of cameras")};
  block.exif = {BlockEntry::ofBytes(TiffTag::makerNote, TiffType::undefined,
                                    "note" + numberBytes(place, 4, ByteOrder::big) + "more of it")};
  return block;
}

TEST(JpegPlan, RefusesATrailerThatTheMakerNoteLeadsTo) {
  EXPECT_EQ(refusalOf(withTrailer(tinyJpeg(), 0, blockWithNote)), "what follows the image must not be moved");
  EXPECT_EQ(refusalOf(withTrailer(tinyJpeg(), 1, blockWithNote)), "");
}

TEST(JpegPlan, RefusesAPreviewBehindTheImageWhoseFirstByteIsWrong) {
  const std::string preview = '\0' + tinyJpeg().substr(1);
  EXPECT_EQ(refusalOf(withTrailer(preview, 0, blockWithNote)), "what follows the image must not be moved");
  for (const std::string& coded : {std::string("\0\xD8\xFF\0", 4), std::string("\0\xD8\xFF\xD9", 4)}) {
    EXPECT_EQ(refusalOf(withTrailer(coded + preview, 0, blockWithNote)), "") << "no picture begins there";
  }
}

TEST(JpegPlan, RefusesAThumbnailBehindTheImage) {
  const auto blockWithThumbnail = [](std::uint64_t place) {
    Block block;
    block.first = {BlockEntry::text(make, "A maker of cameras")};
    block.laterPages = {{BlockEntry::ofNumbers(TiffTag::jpegOffset, TiffType::longInteger, {place}),
                         BlockEntry::ofNumbers(TiffTag::jpegLength, TiffType::longInteger, {100})}};
    return block;
  };
  for (const std::string& gap : {std::string(5000, '\0'), std::string(100000, '\0')}) {
    const auto distance = static_cast<std::int64_t>(gap.size());
    EXPECT_EQ(refusalOf(withTrailer(gap + tinyJpeg(), distance, blockWithThumbnail)),
              "what follows the image must not be moved");
  }
  EXPECT_EQ(refusalOf(withTrailer(tinyJpeg(), 1000000, blockWithThumbnail)), "") << "it is not there at all";
}

TEST(JpegPlan, RefusesAFileThatIsCutShort) {
  const std::string whole = jpegWith(exifSegment(cameraBlock()) + photoshopSegment(oldCaption));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_NE(refusalOf(whole.substr(0, length)), "") << length;
  }
}

TEST(JpegPlan, RefusesWhatIsNoSoundJpeg) {
  EXPECT_NE(refusalOf("words"), "");
  const std::string noLength = tinyJpeg().insert(endOfJfif, std::string("\xFF\xE1\0\0", 4));
  EXPECT_NE(refusalOf(noLength), "");
  const std::string noFrame =
      std::string("\xFF\xD8") + std::string("\xFF\xDA\0\x08\1\1\0\0\x3F\0\x1F\xFF\xD9", 13);
  EXPECT_EQ(refusalOf(noFrame), "there is no frame before the first scan");
  EXPECT_EQ(refusalOf(jpegWith("\xFF\xD9")), "a marker is in the wrong place");
}

}  // namespace
}  // namespace tollbrook::ImageMetadata::Jpeg
