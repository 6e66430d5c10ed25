// Every JPEG and TIFF sample, written by the built-in writer and judged by other programs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <map>
#include <regex>
#include <set>

#include "Support/Names.h"
#include "Support/PixelData.h"
#include "Support/Program.h"
#include "Support/ReadBack.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/ImageMetadata/JpegSegments.h"
#include "TollbrookCore/ImageMetadata/TiffReader.h"
#include "TollbrookCore/MetadataWriter.h"

namespace tollbrook::test {
namespace {

using std::filesystem::path;
using testing::IsEmpty;

const path corpus = TOLLBROOK_CORPUS;
const std::string caption = "Grüße aus 京都\nsecond line 🎉";
const SidecarData someData{
    .takenTime = fromEpoch(1561985045), .latitude = 48.8584, .longitude = -2.2945, .altitude = 35};
const std::string stamp = "2019:07:01 12:44:05";

std::vector<std::string> imagesIn(const path& folder) {
  std::vector<std::string> names;
  if (std::filesystem::exists(folder)) names = namesIn(folder);
  std::erase_if(names, [](const std::string& name) {
    return !hasExtension(name, {".jpg", ".jpeg", ".tif", ".tiff"});
  });
  return names;
}

void copyImages(const path& from, const std::vector<std::string>& names, const path& to) {
  for (const std::string& name : names) writeFile(to / name, readFile(from / name));
}

bool write(const path& file) { return MetadataWriter::writeWithImageIO(file, someData, caption); }

using Values = Tags::mapped_type;

const Values* find(const Tags& metadata, const std::string& tag) {
  const auto found = metadata.find(tag);
  return found == metadata.end() ? nullptr : &found->second;
}

std::string valueOf(const Tags& metadata, const std::string& tag) {
  const Values* const values = find(metadata, tag);
  return values == nullptr ? "" : *values->begin();
}

bool hasGroup(const Tags& metadata, const std::string& group) {
  const auto first = metadata.lower_bound(group + ":");
  return first != metadata.end() && first->first.starts_with(group + ":");
}

/// The tags that were to be set, wherever they stand.
bool isTarget(const std::string& tag) {
  static const std::regex targets(
      "(ExifIFD|ExifOffset):(DateTimeOriginal|CreateDate|OffsetTime(Original|Digitized)?)|"
      "IFD0:(ModifyDate|ImageDescription)|GPS:GPS(Latitude|Longitude|Altitude)(Ref)?|"
      "IPTC:(Caption-Abstract|CodedCharacterSet)|Photoshop:IPTCDigest|"
      "XMP-exif:(DateTimeOriginal|DateTimeDigitized|GPSLatitude|GPSLongitude|GPSAltitude|GPSAltitudeRef)|"
      "XMP-xmp:(CreateDate|ModifyDate)|XMP-tiff:(DateTime|ImageDescription)|XMP-dc:Description|"
      "XMP-photoshop:DateCreated|XMP-x:XMPToolkit");
  return std::regex_match(tag, targets);
}

/// What a directory must have that was made for the target tags, and an Exif version that is too low for
/// them.
bool isMandatory(const std::string& tag, const Tags& before) {
  static const std::regex inImages(
      "IFD0:(XResolution|YResolution|ResolutionUnit|YCbCrPositioning)|File:ExifByteOrder");
  static const std::regex inExif(
      "(ExifIFD|ExifOffset):(ExifVersion|ComponentsConfiguration|FlashpixVersion|ColorSpace|ExifImageWidth|"
      "ExifImageHeight)");
  if (std::regex_match(tag, inImages)) return !hasGroup(before, "IFD0");
  if (tag == "ExifIFD:ExifVersion" && valueOf(before, tag) < "0231") return true;
  if (tag == "GPS:GPSVersionID") return !hasGroup(before, "GPS");
  if (tag == "GPS:GPSProcessingMethod") return !hasGroup(before, "GPS");
  if (tag == "IPTC:ApplicationRecordVersion") return !hasGroup(before, "IPTC");
  return std::regex_match(tag, inExif) && !hasGroup(before, "ExifIFD");
}

/// Where things lie, which changes when something before them grows.
bool isPlace(const std::string& tag) {
  static const std::regex places("MPImage[0-9]+:MPImageStart|MPImage1:MPImageLength");
  return std::regex_match(tag, places);
}

/// Of a TIFF file the first page is kept.
bool isOfLaterPage(const std::string& tag, const std::string& name) {
  static const std::regex later("(IFD[1-9][0-9]*):.*|File:PageCount");
  return path(name).extension().native().find_first_of("tT") == 1 && std::regex_match(tag, later);
}

bool isBigTiff(const std::string& name) {
  const std::string start = readFile(corpus / "media" / name).substr(0, 4);
  return start == std::string("II+\0", 4) || start == std::string("MM\0+", 4);
}

/// exiftool knows no EXIF or GPS directory in a BigTIFF and reads them as directories of any kind.
bool isMisreadIn(const std::string& name, const std::string& tag) {
  return (tag.starts_with("GPSInfo:") || tag.starts_with("ExifOffset:")) && isBigTiff(name);
}

class ImageCorpus : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    names_ = imagesIn(corpus / "media");
    if (names_.empty()) return;
    folder_ = std::make_unique<TemporaryFolder>();
    copyImages(corpus / "media", names_, folder_->path());
    for (const std::string& name : names_) {
      if (write(*folder_ / name)) written_.push_back(name);
    }
    std::cout << written_.size() << " of " << names_.size() << " files were written\n";
  }
  static void TearDownTestSuite() { folder_.reset(); }

  void SetUp() override {
    if (!std::filesystem::exists(corpus)) {
      GTEST_SKIP() << "there are no samples in " << corpus << ": nothing was tested here";
    }
  }

  static path original(const std::string& name) { return corpus / "media" / name; }
  static path written(const std::string& name) { return *folder_ / name; }
  static path folder() { return folder_->path(); }

  static inline std::vector<std::string> names_, written_;
  static inline std::unique_ptr<TemporaryFolder> folder_;
};

TEST_F(ImageCorpus, IsOfTheseMakers) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const std::map<std::string, int> wanted{{"", 56},
                                          {"Acme", 3},
                                          {"Apple", 2},
                                          {"Canon", 9},
                                          {"Caplio", 1},
                                          {"EASTMAN KODAK COMPANY", 2},
                                          {"Eastman Kodak Company", 1},
                                          {"FLIR Systems AB", 1},
                                          {"FUJIFILM", 1},
                                          {"GoPro", 1},
                                          {"Google", 2},
                                          {"HTC", 1},
                                          {"KONICA MINOLTA", 1},
                                          {"Make", 1},
                                          {"Motorola", 1},
                                          {"NIKON", 4},
                                          {"NIKON CORPORATION", 5},
                                          {"Nintendo", 2},
                                          {"Nokia", 1},
                                          {"OLYMPUS CORPORATION", 1},
                                          {"OLYMPUS IMAGING CORP.", 1},
                                          {"PENTAX Corporation", 1},
                                          {"Panasonic", 2},
                                          {"Rollei", 1},
                                          {"SAMSUNG", 1},
                                          {"SIGMA", 2},
                                          {"SONY", 5},
                                          {"Samsung Techwin", 1},
                                          {"samsung", 1},
                                          {"vivo", 1}};
  std::map<std::string, int> makers;
  for (const auto& [name, tags] : allTagsOf(corpus / "media", names_, {"-IFD0:Make"})) {
    ++makers[valueOf(tags, "IFD0:Make")];
  }
  EXPECT_EQ(makers, wanted);
}

TEST_F(ImageCorpus, RefusedFilesStayAsTheyAreAndNothingIsLeftBehind) {
  for (const std::string& name : names_) {
    if (std::find(written_.begin(), written_.end(), name) != written_.end()) continue;
    EXPECT_TRUE(readFile(written(name)) == readFile(original(name))) << name;
  }
  const auto count = std::distance(std::filesystem::directory_iterator(folder()), {});
  EXPECT_EQ(static_cast<std::size_t>(count), names_.size());
}

TEST_F(ImageCorpus, AlmostAllFilesAreWrittenThatExifToolWrites) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const auto changed = changedByExifTool(corpus / "media", names_, {"-m", "-EXIF:Artist=probe"});
  const std::size_t byExifTool = changed.size();
  std::size_t byBoth = 0;
  for (const std::string& name : changed) {
    byBoth += std::count(written_.begin(), written_.end(), name) != 0 ? 1u : 0u;
  }
  std::cout << "exiftool writes " << byExifTool << " files, " << byBoth << " of which were written\n";
  EXPECT_GE(static_cast<double>(byBoth), 0.95 * static_cast<double>(byExifTool));
}

TEST_F(ImageCorpus, ThePictureStays) {
  const auto before = pixelDataOf(corpus / "media", written_, Pictures::first);
  const auto after = pixelDataOf(folder(), written_, Pictures::first);
  std::size_t compared = 0;
  for (const std::string& name : written_) {
    EXPECT_TRUE(before.at(name) == after.at(name)) << name;
    compared += before.at(name).means == "ImageMagick" ? 1u : 0u;
  }
  EXPECT_GT(compared, written_.size() * 9 / 10);
}

TEST_F(ImageCorpus, NothingButTheTargetTagsChanges) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const std::vector<std::string> everything{"-b", "-u", "-n"};
  const auto before = allTagsOf(corpus / "media", written_, everything);
  const auto after = allTagsOf(folder(), written_, everything);
  for (const std::string& name : written_) {
    ASSERT_TRUE(before.contains(name) && after.contains(name)) << name;
    std::set<std::string> tags;
    for (const auto* const metadata : {&before.at(name), &after.at(name)}) {
      for (const auto& [tag, values] : *metadata) tags.insert(tag);
    }
    for (const std::string& tag : tags) {
      if (tag.starts_with("System:") || tag.starts_with("Composite:") || tag.starts_with("ExifTool:"))
        continue;
      if (tag == "File:CurrentIPTCDigest" || isTarget(tag) || isPlace(tag) || isMisreadIn(name, tag))
        continue;
      if (isMandatory(tag, before.at(name)) || isOfLaterPage(tag, name)) continue;
      const Values* const old = find(before.at(name), tag);
      const Values* const now = find(after.at(name), tag);
      EXPECT_TRUE(old != nullptr && now != nullptr && *old == *now) << name << ": " << tag;
    }
  }
}

TEST_F(ImageCorpus, ExifToolWarnsOfNothingNew) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  // Of a BigTIFF exiftool reads the GPS directory by the wrong table.
  static const std::regex misread(".*GPSInfo:InteropIndex");
  const std::vector<std::string> validating{"-validate", "-warning", "-error"};
  const auto before = allTagsOf(corpus / "media", written_, validating);
  const auto after = allTagsOf(folder(), written_, validating);
  for (const std::string& name : written_) {
    for (const char* const tag : {"ExifTool:Warning", "ExifTool:Error"}) {
      const Values* const now = find(after.at(name), tag);
      const Values* const old = find(before.at(name), tag);
      if (now == nullptr) continue;
      for (const std::string& line : *now) {
        const std::size_t allowed = old == nullptr ? 0 : old->count(line);
        const bool isMisread = isBigTiff(name) && std::regex_match(line, misread);
        EXPECT_TRUE(now->count(line) <= allowed || isMisread) << name << ": " << line;
      }
    }
  }
}

void expectNear(const Tags& metadata, const std::string& tag, double wanted) {
  const std::string value = valueOf(metadata, tag);
  ASSERT_NE(value, "") << tag;
  EXPECT_NEAR(std::stod(value), wanted, 1e-9) << tag;
}

/// That every value of the tag, if there is any, begins with this.
void expectInLine(const Tags& metadata, const std::string& tag, const std::string& wanted) {
  const Values* const values = find(metadata, tag);
  if (values == nullptr) return;
  for (const std::string& value : *values) EXPECT_TRUE(value.starts_with(wanted)) << tag << " " << value;
}

void expectTargets(const Tags& held) {
  EXPECT_EQ(valueOf(held, "IFD0:ModifyDate"), stamp);
  EXPECT_EQ(valueOf(held, "IFD0:ImageDescription"), caption);
  EXPECT_EQ(valueOf(held, "IPTC:Caption-Abstract"), caption);
  const std::string exif = hasGroup(held, "ExifOffset") ? "ExifOffset:" : "ExifIFD:";
  EXPECT_EQ(valueOf(held, exif + "DateTimeOriginal"), stamp);
  EXPECT_EQ(valueOf(held, exif + "CreateDate"), stamp);
  EXPECT_EQ(valueOf(held, exif + "OffsetTimeOriginal"), "+00:00");
  EXPECT_EQ(valueOf(held, exif + "OffsetTimeDigitized"), "+00:00");
  expectInLine(held, exif + "OffsetTime", "+00:00");
  for (const char* const tag :
       {"XMP-exif:DateTimeOriginal", "XMP-exif:DateTimeDigitized", "XMP-xmp:CreateDate", "XMP-xmp:ModifyDate",
        "XMP-tiff:DateTime", "XMP-photoshop:DateCreated"}) {
    expectInLine(held, tag, stamp);
  }
  expectInLine(held, "XMP-dc:Description", caption);
  expectInLine(held, "XMP-exif:GPSLatitude", "48.8584");
  expectInLine(held, "XMP-exif:GPSLongitude", "-2.2945");
  if (hasGroup(held, "GPSInfo")) {
    EXPECT_EQ(valueOf(held, "GPSInfo:InteropVersion"), "48 51 30.24");
    EXPECT_EQ(valueOf(held, "GPSInfo:Exif_0x0004"), "2 17 40.2");
    EXPECT_EQ(valueOf(held, "GPSInfo:Exif_0x0006"), "35");
    return;
  }
  expectNear(held, "GPS:GPSLatitude", 48.8584);
  expectNear(held, "GPS:GPSLongitude", 2.2945);
  expectNear(held, "GPS:GPSAltitude", 35);
  EXPECT_EQ(valueOf(held, "GPS:GPSLatitudeRef"), "N");
  EXPECT_EQ(valueOf(held, "GPS:GPSLongitudeRef"), "W");
  EXPECT_EQ(valueOf(held, "GPS:GPSAltitudeRef"), "0");
}

TEST_F(ImageCorpus, ExifToolReadsTheTargetTags) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const auto held = allTagsOf(folder(), written_, {"-n", "-u"});
  for (const std::string& name : written_) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(held.contains(name));
    expectTargets(held.at(name));
  }
}

TEST_F(ImageCorpus, Exiv2ReadsTheTargetTags) {
  if (Program::run({.program = "exiv2", .arguments = {"--version"}}).status != 0) {
    GTEST_SKIP() << "exiv2 is not installed: nothing was tested here";
  }
  std::size_t read = 0;
  for (const std::string& name : written_) {
    SCOPED_TRACE(name);
    const auto reading = Program::run(
        {.program = "exiv2",
         .arguments = {"-q", "-Pkv", "-g", "Exif.Photo.DateTimeOriginal", "-g",
                       "Exif.Photo.OffsetTimeOriginal", "-g", "Exif.GPSInfo.GPSLatitude$", "-g",
                       "Exif.GPSInfo.GPSLongitudeRef", "-g", "Iptc.Application2.Caption", written(name)}});
    if (reading.status != 0) continue;  // it does not read every kind
    ++read;
    const std::regex dated("Exif.Photo.DateTimeOriginal +" + stamp + "\\s"),
        offset("Exif.Photo.OffsetTimeOriginal +\\+00:00\\s"),
        latitude("Exif.GPSInfo.GPSLatitude +48/1 51/1 30240000/1000000\\s"),
        reference("Exif.GPSInfo.GPSLongitudeRef +W\\s");
    for (const std::regex& wanted : {dated, offset, latitude, reference}) {
      EXPECT_TRUE(std::regex_search(reading.output, wanted)) << reading.output;
    }
    EXPECT_THAT(reading.output, testing::HasSubstr(caption));
  }
  std::cout << "exiv2 reads " << read << " of " << written_.size() << '\n';
  EXPECT_GT(read, written_.size() * 9 / 10);
}

TEST_F(ImageCorpus, ASecondWriteLeavesEveryByte) {
  for (const std::string& name : written_) {
    const std::string before = readFile(written(name));
    EXPECT_TRUE(write(written(name))) << name;
    EXPECT_TRUE(readFile(written(name)) == before) << name;
  }
}

TEST_F(ImageCorpus, OtherDataOfTheSameLengthTakeNoMoreRoom) {
  const TemporaryFolder again;
  SidecarData other = someData;
  other.takenTime = fromEpoch(961985045);
  other.latitude = -8.5;
  const std::string otherCaption(caption.size(), 'o');
  for (const std::string& name : written_) {
    const path file = again / name;
    std::filesystem::copy_file(written(name), file);
    EXPECT_TRUE(MetadataWriter::writeWithImageIO(file, other, otherCaption)) << name;
    // XMP may write the same value in fewer or more characters.
    EXPECT_NEAR(static_cast<double>(std::filesystem::file_size(file)),
                static_cast<double>(std::filesystem::file_size(written(name))), 8)
        << name;
  }
}

/// The size of the file once it has a caption of this length.
std::int64_t sizeWithCaption(const path& file, std::size_t length) {
  EXPECT_TRUE(MetadataWriter::writeWithImageIO(file, someData, std::string(length, 'c'))) << file;
  return static_cast<std::int64_t>(std::filesystem::file_size(file));
}

TEST_F(ImageCorpus, OtherCaptionsCostTheirDifferenceAlone) {
  const TemporaryFolder again;
  constexpr std::int64_t padding = 12;  // a few bytes for each place of the caption
  std::size_t moved = 0;
  for (const std::string& name : written_) {
    SCOPED_TRACE(name);
    const path file = again / name;
    std::filesystem::copy_file(written(name), file);
    // A value in the middle of the file leaves it for the first longer caption; what that costs stays.
    const std::int64_t first = sizeWithCaption(file, 20), longest = sizeWithCaption(file, 700);
    std::int64_t size = sizeWithCaption(file, 20), length = 20;
    if (size > first + padding) {
      std::cout << name << ": what left the middle of the file cost " << size - first << " bytes\n";
      ++moved;
    }
    const std::int64_t places = (longest - size) / 680;
    EXPECT_THAT(places, testing::AllOf(testing::Ge(2), testing::Le(4))) << "EXIF, IPTC, two kinds of XMP";
    for (const std::int64_t next : {500, 700, 650, 1, 700, 20}) {
      const std::int64_t now = sizeWithCaption(file, static_cast<std::size_t>(next));
      EXPECT_LE(now, size + places * (next - length) + padding) << next;
      size = now;
      length = next;
      EXPECT_LE(size, longest + padding) << next;
    }
  }
  std::cout << moved << " of " << written_.size() << " files grew by more than the difference, once\n";
  EXPECT_LE(moved, written_.size() / 20);
}

/// That a file of these bytes is refused and stays.
void expectRefused(const path& file, const std::string& bytes) {
  writeFile(file, bytes);
  EXPECT_FALSE(write(file));
  EXPECT_TRUE(readFile(file) == bytes);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(file.parent_path()), {}), 1);
}

TEST_F(ImageCorpus, DamagedFilesAreRefused) {
  const TemporaryFolder place;
  for (const std::string& name : imagesIn(corpus / "broken/media")) {
    SCOPED_TRACE(name);
    const std::string bytes = readFile(corpus / "broken/media" / name);
    // Two are sound images of another kind.
    if (bytes.starts_with("\x89PNG") || bytes.substr(0, 8).ends_with("ftyp")) continue;
    expectRefused(place / "a", bytes);
  }
}

/// Where the directories of a block begin and end.
std::set<std::uint64_t> edgesOfBlock(const std::string& bytes) {
  const ImageMetadata::MemorySource source(bytes);
  const ImageMetadata::TiffReader reader(source);
  std::set<std::uint64_t> edges{reader.headerSize()};
  for (const auto* const directory : {&reader.first(), reader.exif(), reader.gps()}) {
    if (directory != nullptr) edges.insert({directory->area.offset, directory->area.end()});
  }
  for (const auto& directory : reader.others()) edges.insert({directory.area.offset, directory.area.end()});
  return edges;
}

std::set<std::uint64_t> edgesOf(const std::string& bytes) {
  namespace Jpeg = ImageMetadata::Jpeg;
  std::set<std::uint64_t> edges{0, 1};
  if (!bytes.starts_with("\xFF\xD8")) {
    edges.merge(edgesOfBlock(bytes));
    return edges;
  }
  const auto layout = Jpeg::readLayout(ImageMetadata::MemorySource(bytes));
  for (const auto& segment : layout.segments) {
    edges.insert({segment.offset, segment.offset + 2, segment.payloadOffset});
    if (!segment.is(Jpeg::app1, Jpeg::exifHeader)) continue;
    const std::uint64_t start = segment.payloadOffset + ImageMetadata::exifMark.size();
    const std::uint64_t length = segment.payloadLength - ImageMetadata::exifMark.size();
    for (const std::uint64_t edge : edgesOfBlock(bytes.substr(start, length))) edges.insert(start + edge);
  }
  edges.insert({layout.scans, layout.scans + 2, bytes.size() - 1});
  return edges;
}

TEST_F(ImageCorpus, FilesThatAreCutAtAnEdgeAreRefused) {
  const TemporaryFolder place;
  std::size_t chosen = 0, cuts = 0;
  for (const char* const name : {"DSC_5000.JPG", "IMG_0004.JPG", "several Photoshop segments.jpg",
                                 "ExtendedXMP.jpg", "progressive.jpg", "GOPR0001.JPG", "Scan II.tif",
                                 "Scan MM.tif", "bigtiff.tif", "Scan three pages.tif", "child_ifd.tiff"}) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(std::filesystem::exists(original(name)));
    ++chosen;
    const std::string bytes = readFile(original(name));
    for (const std::uint64_t edge : edgesOf(bytes)) {
      if (edge >= bytes.size()) continue;
      SCOPED_TRACE(edge);
      expectRefused(place / "a", bytes.substr(0, edge));
      ++cuts;
    }
  }
  EXPECT_GE(chosen, 10u);
  std::cout << cuts << " cuts\n";
}

}  // namespace
}  // namespace tollbrook::test
