#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "Support/Fixtures.h"
#include "Support/ReadBack.h"
#include "Support/StandIn.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/MetadataValues.h"

namespace tollbrook::ExifTool {
namespace {

using namespace std::chrono_literals;
using test::metadataOf;
using test::metadataOfAll;
using test::metadataValue;
using test::readFile;
using test::StandIn;
using test::TemporaryFolder;
using test::tinyJpeg;
using test::writeFile;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// 2015-03-04 05:06:07 UTC.
constexpr TimePoint taken = fromEpoch(1425445567);

/// What follows the four arguments that are always there, which are checked here.
std::vector<std::string> values(const SidecarData& data, const std::optional<std::string>& caption = {}) {
  auto list = arguments(data, caption);
  const std::vector<std::string> always{"-overwrite_original", "-P", "-api", "QuickTimeUTC=1"};
  EXPECT_GE(list.size(), always.size());
  EXPECT_TRUE(std::equal(always.begin(), always.end(), list.begin()));
  list.erase(list.begin(), list.begin() + 4);
  return list;
}

SidecarData at(double latitude, double longitude, std::optional<double> altitude = {}) {
  return {.latitude = latitude, .longitude = longitude, .altitude = altitude};
}

SidecarData takenAt(TimePoint time) { return {.takenTime = time}; }

TEST(ExifToolArguments, HaveEveryValueInItsPlace) {
  SidecarData data = at(-33.8568, 151.2153, -3.5);
  data.takenTime = taken;
  EXPECT_THAT(
      arguments(data, "Line one\r\nLine two"),
      ElementsAre("-overwrite_original", "-P", "-api", "QuickTimeUTC=1",
                  "-DateTimeOriginal=2015:03:04 05:06:07", "-CreateDate=2015:03:04 05:06:07",
                  "-ModifyDate=2015:03:04 05:06:07", "-MediaCreateDate=2015:03:04 05:06:07",
                  "-MediaModifyDate=2015:03:04 05:06:07", "-TrackCreateDate=2015:03:04 05:06:07",
                  "-TrackModifyDate=2015:03:04 05:06:07", "-Keys:CreationDate=2015:03:04 05:06:07+00:00",
                  "-OffsetTimeOriginal=+00:00", "-OffsetTimeDigitized=+00:00", "-GPSLatitude=33.8568",
                  "-GPSLatitudeRef=S", "-GPSLongitude=151.2153", "-GPSLongitudeRef=E", "-GPSAltitude=3.5",
                  "-GPSAltitudeRef=Below Sea Level", "-ImageDescription=Line one  Line two",
                  "-Description=Line one  Line two", "-Caption-Abstract=Line one  Line two"));
}

TEST(ExifToolArguments, PutZeroNorthEastAndAboveTheSea) {
  EXPECT_THAT(values(at(0, 0, 0)),
              ElementsAre("-GPSLatitude=0.0", "-GPSLatitudeRef=N", "-GPSLongitude=0.0", "-GPSLongitudeRef=E",
                          "-GPSAltitude=0.0", "-GPSAltitudeRef=Above Sea Level"));
  EXPECT_THAT(values(at(-0.0, -0.0)), ElementsAre("-GPSLatitude=0.0", "-GPSLatitudeRef=N",
                                                  "-GPSLongitude=0.0", "-GPSLongitudeRef=E"));
}

TEST(ExifToolSignArguments, AreForTheSouthAndTheWestAlone) {
  EXPECT_THAT(signArguments(at(-33.8568, 151.2153, -3.5)),
              ElementsAre("-overwrite_original", "-P", "-api", "QuickTimeUTC=1", "-wm", "w",
                          "-XMP-exif:GPSLatitude=-33.8568", "-XMP-exif:GPSLongitude=151.2153"));
  EXPECT_THAT(signArguments(at(0, -1e-7)), testing::Contains("-XMP-exif:GPSLongitude=-1e-07"));
  for (const SidecarData& data :
       {at(0, 0, -5), at(48.1, 11.5), at(-91, 0), at(notANumber, -5), takenAt(taken)}) {
    EXPECT_THAT(signArguments(data), IsEmpty());
  }
}

TEST(ExifToolArguments, HaveNumbersInTheirShortestForm) {
  EXPECT_THAT(values(at(37.4219983, -122.084, 12)),
              ElementsAre("-GPSLatitude=37.4219983", "-GPSLatitudeRef=N", "-GPSLongitude=122.084",
                          "-GPSLongitudeRef=W", "-GPSAltitude=12.0", "-GPSAltitudeRef=Above Sea Level"));
  EXPECT_THAT(values(at(1e-5, 0.1)), ElementsAre("-GPSLatitude=1e-05", "-GPSLatitudeRef=N",
                                                 "-GPSLongitude=0.1", "-GPSLongitudeRef=E"));
}

TEST(ExifToolArguments, HaveNoHalfPositionAndNoAltitudeWithoutOne) {
  EXPECT_THAT(values({.latitude = 1, .altitude = 5}), IsEmpty());
  EXPECT_THAT(values({.longitude = 1}), IsEmpty());
  EXPECT_THAT(values({.altitude = 5}), IsEmpty());
}

TEST(ExifToolArguments, LeaveOutWhatNoReaderCouldTake) {
  for (const double bad : {infinity, -infinity, notANumber, 1e300, 180.5}) {
    EXPECT_THAT(values(at(bad, 0)), IsEmpty()) << bad;
    EXPECT_THAT(values(at(0, bad)), IsEmpty()) << bad;
  }
  for (const double bad : {infinity, notANumber, 1e300}) {
    EXPECT_EQ(values(at(1, 2, bad)).size(), 4u) << bad;
    EXPECT_THAT(values(takenAt(fromEpoch(bad))), IsEmpty()) << bad;
  }
  EXPECT_THAT(values(takenAt(fromEpoch(-1e11))), IsEmpty());
}

TEST(ExifToolArguments, HaveOnlyTheCaptionWhenThereIsNothingElse) {
  const SidecarData data{.caption = "the caller's choice decides, not this"};
  EXPECT_THAT(values(data), IsEmpty());
  EXPECT_THAT(values(data, ""), IsEmpty());
  EXPECT_THAT(values(data, "é"), ElementsAre("-ImageDescription=é", "-Description=é", "-Caption-Abstract=é"));
}

TEST(ExifToolArguments, HoldNoLineBreakAndNoNul) {
  using std::string_literals::operator""s;
  EXPECT_EQ(values({}, "a\n\rb\0c"s)[0], "-ImageDescription=a  bc");
  EXPECT_EQ(values({}, "\n-execute\n-o\r/tmp/x\n"s)[0], "-ImageDescription= -execute -o /tmp/x ");
  // An assignment of nothing would delete what the file has.
  EXPECT_THAT(values({}, "\0\0"s), IsEmpty());
}

TEST(ExifToolNames, WithALineBreakCannotStandInACommand) {
  EXPECT_TRUE(canNameInCommand("/a b/#x -y ü\xff.jpg"));
  EXPECT_FALSE(canNameInCommand("/a\nb.jpg"));
  EXPECT_FALSE(canNameInCommand("/a.jpeg\r"));
  EXPECT_FALSE(canNameInCommand("/folder\n/a.jpeg"));
  EXPECT_FALSE(canNameInCommand(std::string("/a\0.jpeg", 8)));
}

TEST(ExifToolNames, AreAbsoluteSoThatNoneIsAnOption) {
  const auto here = std::filesystem::current_path().string() + '/';
  EXPECT_EQ(fileArgument("-ver"), here + "-ver");
  EXPECT_EQ(fileArgument("#comment"), here + "#comment");
  EXPECT_EQ(fileArgument("-"), here + "-");
  EXPECT_EQ(fileArgument("/a/-b"), "/a/-b");
  EXPECT_EQ(fileArgument(""), std::nullopt);
  EXPECT_EQ(fileArgument(std::string("/a\0b", 4)), std::nullopt);
}

TEST(ExifToolPath, IsTheFirstOfThePlacesThatHoldsAnExecutableFile) {
  TemporaryFolder folder;
  const std::string missing = folder / "missing";
  const std::string plain = folder / "plain";
  const std::string directory = folder / "directory";
  const std::string first = folder / "first";
  const std::string second = folder / "second";
  std::filesystem::create_directory(directory);
  for (const auto& file : {plain, first, second}) writeFile(file, "");
  for (const auto& file : {first, second}) {
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  }
  const char* const candidates[] = {missing.c_str(), plain.c_str(), directory.c_str(), first.c_str(),
                                    second.c_str()};
  EXPECT_EQ(firstExecutable(candidates), first);
  EXPECT_EQ(firstExecutable(std::span(candidates).first(3)), std::nullopt);
  EXPECT_EQ(firstExecutable({}), std::nullopt);
}

TEST(ExifToolPath, IsLookedForOnceAtThePlacesOfThisProgram) {
  const std::vector<std::string> list(places.begin(), places.end());
  EXPECT_THAT(list,
              ElementsAre("/opt/homebrew/bin/exiftool", "/usr/local/bin/exiftool", "/usr/bin/exiftool"));
  EXPECT_EQ(path(), firstExecutable(places));
  EXPECT_EQ(&path(), &path());
}

TEST(ExifToolOnce, NamesTheFileLast) {
  StandIn program;
  const SidecarData data = takenAt(taken);
  EXPECT_TRUE(writeOnce("/photos/a\nb.jpg", data, "text", program.path()));
  std::string expected = "[once]\n";
  for (const auto& argument : arguments(data, "text")) expected += argument + '\n';
  EXPECT_EQ(program.log(), expected + "/photos/a\nb.jpg\n");
}

TEST(ExifToolOnce, IsTrueOnlyForStatusZero) {
  StandIn program("once: exit 0");
  EXPECT_TRUE(writeOnce("/a.jpg", {}, {}, program.path()));
  program.setScript("once: updated; exit 1");
  EXPECT_FALSE(writeOnce("/a.jpg", {}, {}, program.path()));
  program.setScript("once: die");
  EXPECT_FALSE(writeOnce("/a.jpg", {}, {}, program.path()));
  EXPECT_TRUE(test::hasNoChild());
}

TEST(ExifToolOnce, IsFalseWithoutAProgram) {
  TemporaryFolder folder;
  EXPECT_FALSE(writeOnce("/a.jpg", {}, {}, std::nullopt));
  EXPECT_FALSE(writeOnce("/a.jpg", {}, {}, folder / "missing"));
  StandIn program;
  EXPECT_FALSE(writeOnce("", {}, {}, program.path()));
  EXPECT_EQ(program.log(), "");
}

TEST(ExifToolOnce, InheritsItsInputAndHasNoOutput) {
  StandIn program;
  program.setScript("start: dump " + (program / "dump").string());
  EXPECT_TRUE(writeOnce("/a.jpg", {}, {}, program.path()));
  const std::string dump = readFile(program / "dump");
  EXPECT_NE(dump.find(" null null\n"), std::string::npos) << dump;
}

TEST(ExifToolOnce, EndsOneThatHangs) {
  StandIn program;
  program.setScript("once: hold " + (program / "held").string() + "; hang");
  EXPECT_FALSE(writeOnce("/a.jpg", {}, {}, program.path(), 100ms));
  EXPECT_FALSE(test::isHeld(program / "held"));
  EXPECT_TRUE(test::hasNoChild());
}

TEST(ExifToolOnce, LeavesNothingBehindOverManyFiles) {
  StandIn program("once: flood 100000");
  const int descriptors = test::openDescriptors();
  for (int i = 0; i < 300; ++i) ASSERT_TRUE(writeOnce("/a.jpg", {}, {}, program.path()));
  EXPECT_EQ(test::openDescriptors(), descriptors);
  EXPECT_TRUE(test::hasNoChild());
}

TEST(RealExifTool, WritesAPhotoThatReadsBack) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  TemporaryFolder folder;
  SidecarData data = at(-33.8568, 151.2153, -3.5);
  data.takenTime = taken;
  const std::string caption = "Zoë <= @$(x) %d #[CSTR]\\n";
  std::vector<std::filesystem::path> files;
  for (const char* name : {"a.jpg", "-ver", "#b.jpg", " c.jpg", "d\n-Artist=x\ne.jpg", "f.jpg\r"}) {
    files.push_back(folder / name);
    writeFile(files.back(), tinyJpeg());
    EXPECT_TRUE(writeOnce(files.back(), data, caption)) << name;
  }
  for (const auto& metadata : metadataOfAll(files)) {
    const auto name = metadataValue(metadata, "System:FileName");
    EXPECT_EQ(metadataValue(metadata, "ExifIFD:DateTimeOriginal"), "2015:03:04 05:06:07") << name;
    EXPECT_EQ(metadataValue(metadata, "ExifIFD:OffsetTimeOriginal"), "+00:00");
    EXPECT_EQ(metadataValue(metadata, "IFD0:ImageDescription"), caption);
    EXPECT_EQ(metadataValue(metadata, "XMP-dc:Description"), caption);
    EXPECT_EQ(metadataValue(metadata, "IFD0:Artist"), "");
    EXPECT_NEAR(metadata.value("Composite:GPSLatitude", 0.0), -33.8568, 1e-6);
    EXPECT_NEAR(metadata.value("Composite:GPSLongitude", 0.0), 151.2153, 1e-6);
    EXPECT_NEAR(metadata.value("Composite:GPSAltitude", 0.0), -3.5, 1e-6);
  }
}

TEST(RealExifTool, WritesAVideoThatReadsBack) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  TemporaryFolder folder;
  SidecarData data = at(37.4219983, -122.084);
  data.takenTime = taken;
  test::writeMp4(folder / "a.mp4", 5000);
  ASSERT_TRUE(writeOnce(folder / "a.mp4", data, "a caption"));
  const auto metadata = metadataOf(folder / "a.mp4");
  for (const char* tag : {"QuickTime:CreateDate", "Track1:TrackCreateDate", "Track1:MediaCreateDate",
                          "Track1:MediaModifyDate", "Keys:CreationDate"}) {
    EXPECT_EQ(metadataValue(metadata, tag), "2015:03:04 05:06:07+00:00") << tag;
  }
}

TEST(RealExifTool, FailsOnWhatItCannotWrite) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  TemporaryFolder folder;
  for (const char* name : {"text.jpg", "text.mkv", "text"}) {
    writeFile(folder / name, "no picture");
    EXPECT_FALSE(writeOnce(folder / name, takenAt(taken), {})) << name;
    EXPECT_EQ(readFile(folder / name), "no picture");
  }
  EXPECT_FALSE(writeOnce(folder / "missing.jpg", takenAt(taken), {}));
}

}  // namespace
}  // namespace tollbrook::ExifTool
