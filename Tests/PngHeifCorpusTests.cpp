#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

#include "Support/ImageTags.h"
#include "Support/Names.h"
#include "Support/PixelData.h"
#include "Support/Program.h"
#include "Support/ReadBack.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/ImageMetadata/HeifPrimary.h"
#include "TollbrookCore/ImageMetadata/ImageWriter.h"
#include "TollbrookCore/ImageMetadata/PngChunks.h"
#include "TollbrookCore/Support/Text.h"

// Every PNG and HEIF file of the sample collection, written by the built-in writer and read by other
// programs.
namespace tollbrook::ImageMetadata {
namespace {

using std::filesystem::path;
using test::namesIn;
using test::Program;
using test::Tags;
using test::TemporaryFolder;
using Names = std::vector<std::string>;

const path corpus = TOLLBROOK_CORPUS;
const std::string caption = "A caption, \xC3\xA9\nof two lines";

TargetTags target() { return test::everything(caption); }

bool isPng(const path& name) { return test::hasExtension(name, {".png"}); }
bool isOurs(const path& name) { return test::hasExtension(name, {".png", ".heic", ".heif", ".avif"}); }

/// Empty when the file was written, else why not.
std::string refusal(const path& file) {
  return test::refusalOf([&] { writeImage(file, target()); });
}

std::string groupOf(const std::string& tag) { return tag.substr(0, tag.find(':')); }
std::string nameOf(const std::string& tag) { return tag.substr(tag.rfind(':') + 1); }

/// The samples as they were and as they were written.
class Samples {
 public:
  Samples() {
    for (const path& folder : {before(), after()}) std::filesystem::create_directory(folder);
    for (const std::string& name : namesIn(corpus / "media")) {
      if (!isOurs(name)) continue;
      const std::string bytes = test::readFile(corpus / "media" / name);
      test::writeFile(before() / name, bytes);
      test::writeFile(after() / name, bytes);
      all_.push_back(name);
      const std::string why = refusal(after() / name);
      if (why.empty()) written_.push_back(name);
      if (!why.empty()) refused_[name] = why;
    }
  }

  path before() const { return folder_ / "before"; }
  path after() const { return folder_ / "after"; }
  const Names& all() const { return all_; }
  const Names& written() const { return written_; }
  const std::map<std::string, std::string>& refused() const { return refused_; }

 private:
  TemporaryFolder folder_;
  Names all_;
  Names written_;
  std::map<std::string, std::string> refused_;
};

class PngHeifCorpus : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (std::filesystem::exists(corpus / "media")) samples_ = std::make_unique<Samples>();
  }
  static void TearDownTestSuite() { samples_.reset(); }

  void SetUp() override {
    if (!samples_)
      GTEST_SKIP() << "the sample files are not here: TOLLBROOK_CORPUS names no folder with them";
    TOLLBROOK_NEEDS_EXIFTOOL();
    ASSERT_GT(samples_->all().size(), 40U);
  }

  static const Samples& samples() { return *samples_; }
  /// What exiftool says of the written ones.
  static std::map<std::string, Tags> readings(const path& folder, Names options = {}) {
    options.insert(options.end(), {"-u", "-n"});
    return test::allTagsOf(folder, samples().written(), options);
  }

 private:
  static inline std::unique_ptr<Samples> samples_;
};

TEST_F(PngHeifCorpus, IsWrittenWhereExifToolWritesIt) {
  const auto changed =
      test::changedByExifTool(samples().before(), samples().all(), {"-DateTimeOriginal=" + test::stamp});
  std::size_t theirs = 0, ours = 0;
  for (const std::string& name : samples().all()) {
    const bool isTheirs = changed.contains(name);
    const bool isWritten = !samples().refused().contains(name);
    theirs += isTheirs ? 1U : 0U;
    ours += isTheirs && isWritten ? 1U : 0U;
    if (!isWritten) std::cout << name << ": " << samples().refused().at(name) << '\n';
  }
  std::cout << "exiftool writes " << theirs << " files, " << ours << " of which were written\n";
  EXPECT_GT(theirs, 40U);
  EXPECT_GE(static_cast<double>(ours), 0.95 * static_cast<double>(theirs)) << ours << " of " << theirs;
}

TEST_F(PngHeifCorpus, IsUntouchedWhenRefused) {
  for (const auto& [name, why] : samples().refused()) {
    EXPECT_EQ(test::readFile(samples().after() / name), test::readFile(samples().before() / name)) << name;
  }
  EXPECT_EQ(namesIn(samples().after()), samples().all()) << "something was left behind";
}

/// XMP that is no UTF-8 stays as it is.
bool hasUnreadableXmp(const path& file) {
  const auto xmp = Program::run({ExifTool::path()->string(), {"-b", "-XMP", file.string()}});
  return !Text::isValidUtf8(xmp.output);
}

TEST_F(PngHeifCorpus, HasTheTargetTagsForOtherReaders) {
  const auto after = readings(samples().after());
  for (const std::string& name : samples().written()) {
    SCOPED_TRACE(name);
    const auto value = [&](const std::string& tag) {
      const auto found = after.at(name).find(tag);
      return found == after.at(name).end() || found->second.size() != 1 ? "not there once"
                                                                        : *found->second.begin();
    };
    EXPECT_EQ(value("ExifIFD:DateTimeOriginal"), test::stamp);
    EXPECT_EQ(value("ExifIFD:CreateDate"), test::stamp);
    EXPECT_EQ(value("ExifIFD:OffsetTimeOriginal"), "+00:00");
    EXPECT_EQ(value("ExifIFD:OffsetTimeDigitized"), "+00:00");
    const auto zone = after.at(name).find("ExifIFD:OffsetTime");
    EXPECT_TRUE(zone == after.at(name).end() || value("ExifIFD:OffsetTime") == "+00:00");
    EXPECT_EQ(value("IFD0:ModifyDate"), test::stamp);
    EXPECT_EQ(value("IFD0:ImageDescription"), caption);
    EXPECT_TRUE(value("XMP-dc:Description") == caption || hasUnreadableXmp(samples().after() / name))
        << value("XMP-dc:Description");
    EXPECT_THAT(value("GPS:GPSLatitude"), testing::StartsWith("48.8584"));
    EXPECT_THAT(value("GPS:GPSLongitude"), testing::StartsWith("2.2945"));
    EXPECT_EQ(value("GPS:GPSLatitudeRef") + value("GPS:GPSLongitudeRef"), "NW");
    EXPECT_EQ(value("GPS:GPSAltitude"), "35");
    EXPECT_EQ(value("GPS:GPSAltitudeRef"), "0");
  }
}

using Texts = std::map<std::string, std::string>;

/// What exiv2 says of these tags.
Texts readByExiv2(const path& file, const Texts& tags) {
  Names arguments{"-q", "-Pkv"};
  for (const auto& [tag, value] : tags) arguments.insert(arguments.end(), {"-K", tag});
  arguments.push_back(file.string());
  Texts result;
  std::string last;
  std::istringstream lines(Program::run({"exiv2", arguments}).output);
  for (std::string line; std::getline(lines, line);) {
    const std::string key = line.substr(0, line.find(' '));
    if (tags.contains(key)) {
      last = key;
      result[key] = line.substr(std::min(line.find_first_not_of(' ', key.size()), line.size()));
    } else {
      result[last] += '\n' + line;
    }
  }
  return result;
}

TEST_F(PngHeifCorpus, IsReadByExiv2WhereItKnowsTheKind) {
  if (Program::run({"exiv2", {"--version"}}).status != 0) {
    GTEST_SKIP() << "exiv2 is not installed: nothing was tested here";
  }
  const Texts targets{{"Exif.Image.DateTime", test::stamp},
                      {"Exif.Image.ImageDescription", caption},
                      {"Exif.Photo.DateTimeOriginal", test::stamp},
                      {"Exif.Photo.DateTimeDigitized", test::stamp},
                      {"Exif.Photo.OffsetTimeOriginal", "+00:00"},
                      {"Exif.Photo.OffsetTimeDigitized", "+00:00"},
                      {"Exif.GPSInfo.GPSLatitudeRef", "N"},
                      {"Exif.GPSInfo.GPSLatitude", "48/1 51/1 30240000/1000000"},
                      {"Exif.GPSInfo.GPSLongitudeRef", "W"},
                      {"Exif.GPSInfo.GPSLongitude", "2/1 17/1 40200000/1000000"},
                      {"Exif.GPSInfo.GPSAltitudeRef", "0"},
                      {"Exif.GPSInfo.GPSAltitude", "350000/10000"},
                      {"Xmp.dc.description", "lang=\"x-default\" " + caption}};
  std::size_t read = 0;
  for (const std::string& name : samples().written()) {
    const Texts values = readByExiv2(samples().after() / name, targets);
    if (values.empty() && !isPng(name)) continue;
    ++read;
    EXPECT_EQ(values, targets) << name;
  }
  EXPECT_GT(read, 10U);
}

bool isTarget(const std::string& tag, const Tags& before) {
  static const std::map<std::string, std::set<std::string>> targets{
      {"IFD0", {"ModifyDate", "ImageDescription"}},
      {"ExifIFD",
       {"DateTimeOriginal", "CreateDate", "OffsetTime", "OffsetTimeOriginal", "OffsetTimeDigitized"}},
      {"GPS",
       {"GPSLatitude", "GPSLatitudeRef", "GPSLongitude", "GPSLongitudeRef", "GPSAltitude", "GPSAltitudeRef"}},
      {"XMP-dc", {"Description"}},
      {"IPTC", {"Caption-Abstract"}},
      {"XMP-x", {"XMPToolkit"}},
      {"XMP-xmp", {"CreateDate", "ModifyDate"}},
      {"XMP-photoshop", {"DateCreated"}},
      {"XMP-tiff", {"DateTime", "ImageDescription"}},
      {"XMP-exif", {"DateTimeOriginal", "DateTimeDigitized", "GPSLatitude", "GPSLongitude", "GPSAltitude"}}};
  if (tag == "ExifIFD:ExifVersion") {
    const auto version = before.find(tag);
    return version == before.end() || *version->second.begin() < "0231";
  }
  if (tag == "GPS:GPSVersionID") {
    return std::none_of(before.begin(), before.end(),
                        [](const auto& entry) { return groupOf(entry.first) == "GPS"; });
  }
  const auto group = targets.find(groupOf(tag));
  return group != targets.end() && group->second.contains(nameOf(tag));
}

// What the file system, the places of data and the target tags themselves bring with them.
bool follows(const std::string& tag) {
  static const std::set<std::string> places{"ThumbnailOffset", "PreviewImageStart", "OtherImageStart",
                                            "MediaDataOffset", "MediaDataSize",     "MediaData",
                                            "FileSize",        "ExifByteOrder"};
  const std::string group = groupOf(tag);
  return group == "System" || places.contains(nameOf(tag)) ||
         (group == "Composite" && (nameOf(tag).starts_with("GPS") || nameOf(tag).starts_with("SubSec")));
}

/// What there was besides the primary image.
struct Others {
  bool images = false;
  bool tracks = false;
};

Others othersIn(const path& file) {
  const std::string bytes = test::readFile(file);
  if (isPng(file)) return {};
  const Heif::File heif = Heif::File::read(MemorySource(bytes));
  return {.images = !Heif::itemsOfOtherImages(heif.meta).empty(), .tracks = heif.hasMovie()};
}

// The brands, and what exiftool takes from them.
bool isBrand(const std::string& tag) {
  static const std::set<std::string> brands{"File:FileType", "File:FileTypeExtension", "File:MIMEType",
                                            "QuickTime:MajorBrand", "QuickTime:CompatibleBrands"};
  return brands.contains(tag);
}

bool isOfTracks(const std::string& tag) {
  return groupOf(tag) == "QuickTime" || groupOf(tag).starts_with("Track") || tag == "Composite:AvgBitrate";
}

bool isPropertyOrGroup(const std::string& tag) {
  const std::string group = groupOf(tag);
  return group == "QuickTime" || group.starts_with("ICC") || tag == "Meta:Unknown_grpl";
}

/// Whether the tag says of the file what it said, but for what there is no more.
bool isKept(const std::string& tag, const Tags& before, const Tags& after, const Others& others) {
  const auto valuesIn = [&](const Tags& tags) {
    const auto found = tags.find(tag);
    return found == tags.end() ? Tags::mapped_type() : found->second;
  };
  const Tags::mapped_type old = valuesIn(before), now = valuesIn(after);
  if (old == now || (others.tracks && isBrand(tag))) return true;
  // Room that properties have left.
  if (others.images && tag == "QuickTime:Unknown_free") return now.count("") == now.size();
  const bool mayLose =
      (others.tracks && isOfTracks(tag)) || ((others.images || others.tracks) && isPropertyOrGroup(tag));
  return mayLose && std::includes(old.begin(), old.end(), now.begin(), now.end());
}

TEST_F(PngHeifCorpus, DiffersInNothingButTheTargetTags) {
  const auto before = readings(samples().before(), {"-b"});
  const auto after = readings(samples().after(), {"-b"});
  for (const std::string& name : samples().written()) {
    const Others others = othersIn(samples().before() / name);
    const Tags &old = before.at(name), &now = after.at(name);
    std::set<std::string> tags;
    for (const Tags* const list : {&old, &now}) {
      for (const auto& [tag, values] : *list) tags.insert(tag);
    }
    for (const std::string& tag : tags) {
      EXPECT_TRUE(isTarget(tag, old) || follows(tag) || isKept(tag, old, now, others)) << name << ": " << tag;
    }
  }
}

TEST_F(PngHeifCorpus, GetsNoNewWarning) {
  const Names options{"-validate", "-warning", "-error"};
  const auto before = readings(samples().before(), options);
  const auto after = readings(samples().after(), options);
  const auto warnings = [](const Tags& tags) {
    std::multiset<std::string> texts;
    for (const auto& [tag, values] : tags) {
      if (nameOf(tag) == "Warning" || nameOf(tag) == "Error") texts.insert(values.begin(), values.end());
    }
    return texts;
  };
  for (const std::string& name : samples().written()) {
    const auto old = warnings(before.at(name)), now = warnings(after.at(name));
    EXPECT_TRUE(std::includes(old.begin(), old.end(), now.begin(), now.end()))
        << name << ": " << testing::PrintToString(now) << " after " << testing::PrintToString(old);
  }
}

TEST_F(PngHeifCorpus, ShowsTheSamePicture) {
  // Large ones take a while; those of phones are decoded once, below.
  constexpr std::uintmax_t largest = 300'000;
  Names names = samples().written();
  std::erase_if(names, [](const std::string& name) {
    return !isPng(name) && std::filesystem::file_size(samples().before() / name) > largest;
  });
  const auto before = test::pixelDataOf(samples().before(), names);
  const auto after = test::pixelDataOf(samples().after(), names);
  std::size_t decoded = 0;
  for (const std::string& name : names) {
    if (before.at(name).means != "ImageMagick") continue;
    ++decoded;
    EXPECT_EQ(before.at(name), after.at(name)) << name;
  }
  EXPECT_GT(decoded, 30U);
}

/// The pixels that heif-convert makes of the primary image, and how many images there are.
struct Converted {
  std::size_t images = 0;
  std::string pixels;
};

Converted converted(const path& file) {
  Converted result;
  std::size_t primary = 0;
  std::istringstream lines(Program::run({"heif-info", {file.string()}}).output);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("image: ")) continue;
    ++result.images;
    if (line.ends_with("primary")) primary = result.images;
  }
  const TemporaryFolder folder;
  Program::run({"heif-convert", {file.string(), (folder / "out.y4m").string()}});
  const std::string name = result.images > 1 ? "out-" + std::to_string(primary) + ".y4m" : "out.y4m";
  if (std::filesystem::exists(folder / name)) result.pixels = test::readFile(folder / name);
  return result;
}

TEST_F(PngHeifCorpus, ShowsTheSamePrimaryImageAlone) {
  if (Program::run({"heif-info", {"--help"}}).status == 127) {
    GTEST_SKIP() << "heif-info is not installed: nothing was tested here";
  }
  std::size_t decoded = 0;
  for (const std::string& name : samples().written()) {
    if (isPng(name)) continue;
    const Converted before = converted(samples().before() / name);
    const Converted after = converted(samples().after() / name);
    // It takes some that hold a film as well for no image at all.
    if (before.images > 0) {
      EXPECT_EQ(after.images, 1U) << name;
    }
    if (before.pixels.empty()) continue;
    ++decoded;
    EXPECT_TRUE(before.pixels == after.pixels) << name;
  }
  EXPECT_GT(decoded, 20U);
}

TEST_F(PngHeifCorpus, KeepsTheVerdictOfPngcheck) {
  const auto verdict = [](const path& file) { return Program::run({"pngcheck", {"-q", file.string()}}); };
  for (const std::string& name : samples().written()) {
    if (!isPng(name)) continue;
    const auto before = verdict(samples().before() / name);
    if (before.status == 127) GTEST_SKIP() << "pngcheck is not installed: nothing was tested here";
    EXPECT_EQ(before.status, verdict(samples().after() / name).status) << name;
  }
}

TEST_F(PngHeifCorpus, IsUnchangedByASecondWrite) {
  const TemporaryFolder folder;
  for (const std::string& name : samples().written()) {
    const std::string bytes = test::readFile(samples().after() / name);
    test::writeFile(folder / name, bytes);
    EXPECT_EQ(refusal(folder / name), "") << name;
    EXPECT_TRUE(test::readFile(folder / name) == bytes) << name;
  }
}

TEST_F(PngHeifCorpus, GrowsByNoMoreThanOtherDataDo) {
  TargetTags other = target();
  other.takenTime = fromEpoch(1592395445);
  other.position = TargetTags::Position{.latitude = -12.3456, .longitude = 77.6543, .altitude = 12};
  constexpr std::uint64_t longerBy = 1000;
  const TemporaryFolder folder;
  for (const std::string& name : samples().written()) {
    const path file = folder / name;
    const auto sizeWith = [&](const std::string& text) {
      other.caption = text;
      writeImage(file, other);
      return std::filesystem::file_size(file);
    };
    const std::string bytes = test::readFile(samples().after() / name);
    test::writeFile(file, bytes);
    const std::uint64_t size = bytes.size();
    // Once in EXIF and once in XMP; where there is IPTC, in hexadecimal digits besides.
    const bool hasIptc = bytes.find("Raw profile type iptc") != std::string::npos;
    const std::uint64_t places = hasIptc ? 4 : 2;
    // In XMP a position has as many digits as it needs.
    constexpr std::uint64_t digits = 32;
    EXPECT_LE(sizeWith("another caption\nas long."), size + digits) << name;
    EXPECT_LE(sizeWith(caption + std::string(longerBy, 'x')), size + places * longerBy + digits) << name;
  }
}

/// Where a PNG or HEIF file has chunks or boxes that end, those of the meta box included.
std::set<std::uint64_t> edgesOf(const std::string& bytes) {
  std::set<std::uint64_t> edges;
  const MemorySource source(bytes);
  if (bytes.starts_with("\x89PNG")) {
    for (const auto& chunk : Png::chunksOf(source))
      edges.insert({chunk.offset, chunk.contentOffset(), chunk.end()});
    return edges;
  }
  for (const auto& box : Heif::boxesOf(source)) {
    edges.insert({box.offset, box.contentOffset(), box.end()});
    if (box.type != "meta") continue;
    std::uint64_t edge = box.contentOffset() + 4;
    for (const auto& child : Heif::boxesIn(std::string_view(bytes).substr(edge, box.contentSize() - 4))) {
      edges.insert({edge, edge + child.whole.size() - child.content.size()});
      edge += child.whole.size();
    }
  }
  return edges;
}

TEST_F(PngHeifCorpus, IsRefusedWhenCutAtAnyEdge) {
  const TemporaryFolder folder;
  for (const std::string name :
       {"IMG_2682.heic", "IMG_2927.HEIC", "DSC09001.HEIF", "C017.heic", "rainbow.heic", "three images.heic",
        "IMG_BURST_0001.heic", "Reagan.PNG", "with eXIf.PNG", "png_with_exif_and_gps.png"}) {
    const std::string bytes = test::readFile(corpus / "media" / name);
    const auto edges = edgesOf(bytes);
    EXPECT_GT(edges.size(), 8U) << name;
    for (const std::uint64_t edge : edges) {
      if (edge == bytes.size()) continue;
      const std::string cut = bytes.substr(0, edge);
      test::writeFile(folder / name, cut);
      EXPECT_NE(refusal(folder / name), "") << name << " cut at " << edge;
      EXPECT_TRUE(test::readFile(folder / name) == cut) << name << " cut at " << edge;
    }
  }
  EXPECT_EQ(namesIn(folder.path()).size(), 10U) << "something was left behind";
}

TEST_F(PngHeifCorpus, IsRefusedWhenBroken) {
  const TemporaryFolder folder;
  Names names;
  for (const std::string& name : namesIn(corpus / "broken" / "media")) {
    // A sound picture under a false name is none of the broken ones.
    if (!isOurs(name) || name == "IMG_7001.HEIC") continue;
    names.push_back(name);
    const std::string bytes = test::readFile(corpus / "broken" / "media" / name);
    test::writeFile(folder / name, bytes);
    EXPECT_NE(refusal(folder / name), "") << name;
    EXPECT_TRUE(test::readFile(folder / name) == bytes) << name;
  }
  EXPECT_GT(names.size(), 9U);
  EXPECT_EQ(namesIn(folder.path()), names) << "something was left behind";
}

TEST_F(PngHeifCorpus, IsWrittenAsWhatItIsUnderAnyName) {
  const TemporaryFolder folder;
  test::writeFile(folder / "heif.jpg", test::readFile(corpus / "media" / "rainbow.heic"));
  test::writeFile(folder / "png.heic", test::readFile(corpus / "media" / "plain.png"));
  EXPECT_EQ(refusal(folder / "heif.jpg"), "");
  EXPECT_EQ(refusal(folder / "png.heic"), "");
  EXPECT_THAT(test::readFile(folder / "heif.jpg"), testing::HasSubstr(test::stamp));
  EXPECT_THAT(test::readFile(folder / "png.heic"), testing::HasSubstr(test::stamp));
}

}  // namespace
}  // namespace tollbrook::ImageMetadata
