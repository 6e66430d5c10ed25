#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "Support/Encodings.h"
#include "Support/OrdinaryUser.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/SidecarParser.h"

namespace tollbrook::SidecarParser {
namespace {

using test::TemporaryFolder;
using test::writeFile;

constexpr std::string_view complete = R"({
  "title": "IMG_504.HEIC",
  "description": " At the lake \n",
  "imageViews": "12",
  "creationTime": {"timestamp": "1600000000", "formatted": "13.09.2020, 12:26:40 UTC"},
  "photoTakenTime": {"timestamp": "1577836800", "formatted": "01.01.2020, 00:00:00 UTC"},
  "geoData": {"latitude": 1.5, "longitude": 2.5, "altitude": 3.5, "latitudeSpan": 0.0, "longitudeSpan": 0.0},
  "geoDataExif": {"latitude": 48.1, "longitude": 11.5, "altitude": 519.0},
  "url": "https://photos.example/1"
})";

SidecarData completeData() {
  return {.title = "IMG_504.HEIC",
          .takenTime = fromEpoch(1577836800),
          .latitude = 48.1,
          .longitude = 11.5,
          .altitude = 519.0,
          .caption = "At the lake"};
}

/// The data of a sidecar that holds these members.
SidecarData parsed(std::string_view members) {
  const std::optional<SidecarData> data = parseData(fmt::format("{{{}}}", members));
  EXPECT_TRUE(data) << members;
  return data.value_or(SidecarData());
}

std::optional<TimePoint> takenTime(std::string_view members) { return parsed(members).takenTime; }

SidecarData at(double latitude, double longitude, std::optional<double> altitude = std::nullopt) {
  return {.latitude = latitude, .longitude = longitude, .altitude = altitude};
}

TEST(SidecarParser, ReadsEveryField) { EXPECT_EQ(parseData(complete), completeData()); }

TEST(SidecarParser, AnEmptyObjectLeavesEveryFieldAbsent) { EXPECT_EQ(parseData("{}"), SidecarData()); }

TEST(SidecarParser, WhatIsNoObjectGivesNoResult) {
  for (const char* text : {"", " ", "[]", R"([{"title": "x"}])", R"("title")", "1", "null", "true", "{",
                           "{\"title\"}", "x", R"({"title": "x"} x)", "{\"title\": \"\xff\"}"}) {
    EXPECT_EQ(parseData(text), std::nullopt) << text;
  }
}

TEST(SidecarParser, ATimeAloneGivesATimeAndNothingElse) {
  const SidecarData data{.takenTime = fromEpoch(1577836800)};
  EXPECT_EQ(parsed(R"("photoTakenTime": {"timestamp": "1577836800"})"), data);
}

TEST(SidecarParser, ATimeMayBeANumberWithFractions) {
  EXPECT_EQ(takenTime(R"("photoTakenTime": {"timestamp": 1577836800.5})"), fromEpoch(1577836800.5));
  EXPECT_EQ(takenTime(R"("photoTakenTime": {"timestamp": -86400})"), fromEpoch(-86400));
  EXPECT_EQ(takenTime(R"("photoTakenTime": {"timestamp": 0})"), fromEpoch(0));
  EXPECT_EQ(takenTime(R"("photoTakenTime": {"timestamp": 99999999999999999999})"), fromEpoch(1e20));
  EXPECT_EQ(takenTime(R"("photoTakenTime": {"timestamp": "0.25"})"), fromEpoch(0.25));
}

TEST(SidecarParser, WithoutAUsableTakenTimeTheCreationTimeCounts) {
  for (const char* taken :
       {R"({"timestamp": " 1577836800"})", R"({"timestamp": "1577836800 "})", R"({"timestamp": ""})", "{}",
        R"({"Timestamp": 1})", R"({"timestamp": true})", R"({"timestamp": null})", R"({"timestamp": [1]})",
        R"({"timestamp": {"timestamp": 1}})", "1577836800", R"("1577836800")", "[]", "null", "true"}) {
    const std::string members =
        fmt::format(R"("photoTakenTime": {}, "creationTime": {{"timestamp": "1600000000"}})", taken);
    EXPECT_EQ(takenTime(members), fromEpoch(1600000000)) << taken;
    EXPECT_EQ(takenTime(fmt::format(R"("photoTakenTime": {})", taken)), std::nullopt) << taken;
  }
  EXPECT_EQ(takenTime(R"("creationTime": {"timestamp": 5})"), fromEpoch(5));
}

TEST(SidecarParser, ATakenTimeThatNobodyCanWriteIsStillATime) {
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(takenTime(R"("photoTakenTime": {"timestamp": "inf"}, "creationTime": {"timestamp": 1})"),
            fromEpoch(infinity));
  EXPECT_EQ(takenTime(R"("photoTakenTime": {"timestamp": "-1e999"})"), fromEpoch(-infinity));
  EXPECT_EQ(takenTime(R"("photoTakenTime": {"timestamp": 1e300})"), fromEpoch(1e300));
  EXPECT_EQ(takenTime(R"("photoTakenTime": {"timestamp": "0x5E0BE100"})"), fromEpoch(1577836800));
  EXPECT_TRUE(std::isnan(secondsSinceEpoch(takenTime(R"("photoTakenTime": {"timestamp": "nan"})").value())));
}

TEST(SidecarParser, APositionMayBeNumbersOrText) {
  EXPECT_EQ(parsed(R"("geoData": {"latitude": 48.1, "longitude": 11.5})"), at(48.1, 11.5));
  EXPECT_EQ(parsed(R"("geoData": {"latitude": "48.1", "longitude": "11.5", "altitude": "-3"})"),
            at(48.1, 11.5, -3));
  EXPECT_EQ(parsed(R"("geoData": {"latitude": 48, "longitude": "1e1", "altitude": 0})"), at(48, 10, 0));
  EXPECT_EQ(parsed(R"("geoData": {"latitude": 1e300, "longitude": "inf"})"),
            at(1e300, std::numeric_limits<double>::infinity()));
}

TEST(SidecarParser, ZeroDegreesByZeroIsNoPositionAndHasNoAltitude) {
  for (const char* place :
       {R"("latitude": 0.0, "longitude": 0.0, "altitude": 12)", R"("latitude": -0.0, "longitude": 0)",
        R"("latitude": "-0", "longitude": -0.0)", R"("latitude": "0", "longitude": "0.0")",
        R"("latitude": 0, "longitude": 1e-999)"}) {
    EXPECT_EQ(parsed(fmt::format(R"("geoData": {{{}}})", place)), SidecarData()) << place;
    EXPECT_EQ(parsed(fmt::format(
                  R"("geoDataExif": {{{}}}, "geoData": {{"latitude": 48.1, "longitude": 11.5}})", place)),
              SidecarData())
        << place;
  }
}

TEST(SidecarParser, OneZeroAloneIsAPosition) {
  EXPECT_EQ(parsed(R"("geoData": {"latitude": 0, "longitude": 5})"), at(0, 5));
  EXPECT_EQ(parsed(R"("geoData": {"latitude": 5, "longitude": 0, "altitude": 0})"), at(5, 0, 0));
}

TEST(SidecarParser, AnExifPositionHidesTheOtherEvenWithoutCoordinates) {
  for (const char* exif : {"{}", R"({"latitude": 1})", R"({"longitude": 1, "altitude": 5})",
                           R"({"latitude": true, "longitude": 1})", R"({"latitude": " 1", "longitude": 1})",
                           R"({"latitude": null, "longitude": 1})"}) {
    EXPECT_EQ(
        parsed(fmt::format(R"("geoData": {{"latitude": 48.1, "longitude": 11.5}}, "geoDataExif": {})", exif)),
        SidecarData())
        << exif;
  }
}

TEST(SidecarParser, AnExifPositionThatIsNoObjectHidesNothing) {
  for (const char* exif : {R"("48.1, 11.5")", "null", "[1, 2]", "5", "false"}) {
    EXPECT_EQ(
        parsed(fmt::format(R"("geoDataExif": {}, "geoData": {{"latitude": 48.1, "longitude": 11.5}})", exif)),
        at(48.1, 11.5))
        << exif;
  }
  EXPECT_EQ(parsed(R"("geoDataExif": null, "geoData": "x")"), SidecarData());
}

TEST(SidecarParser, AnUnusableAltitudeIsAbsentAlone) {
  for (const char* altitude : {"true", "null", R"("")", R"("12 m")", "[12]"}) {
    EXPECT_EQ(
        parsed(fmt::format(R"("geoData": {{"latitude": 1, "longitude": 2, "altitude": {}}})", altitude)),
        at(1, 2));
  }
}

TEST(SidecarParser, ATitleIsKeptAsItStands) {
  EXPECT_EQ(parsed(R"("title": " a\n ")").title, " a\n ");
  EXPECT_EQ(parsed(R"("title": " ")").title, " ");
  for (const char* title : {R"("")", "1", "null", "true", R"(["x"])", "{}"}) {
    EXPECT_EQ(parsed(fmt::format(R"("title": {})", title)), SidecarData()) << title;
  }
}

TEST(SidecarParser, ACaptionIsTrimmed) {
  EXPECT_EQ(parsed(R"("description": " \t\r\n a  b\n c \u00a0\u2028\u3000")").caption, "a  b\n c");
  EXPECT_EQ(parsed(R"("description": "a\u0000b")").caption, std::string("a\0b", 3));
  for (const char* caption :
       {R"("")", R"("  \n\r\n\t ")", R"("\u2029\u00a0")", "1", "null", "false", R"(["x"])"}) {
    EXPECT_EQ(parsed(fmt::format(R"("description": {})", caption)), SidecarData()) << caption;
  }
}

TEST(SidecarParser, KeysAreCaseSensitiveAndBelongToTheTop) {
  EXPECT_EQ(parsed(R"("Title": "a", "DESCRIPTION": "b", "geodata": {"latitude": 1, "longitude": 2},
                      "x": {"title": "c", "photoTakenTime": {"timestamp": 1}})"),
            SidecarData());
}

TEST(SidecarParser, OfDuplicateKeysTheLastWins) {
  EXPECT_EQ(parsed(R"("title": "a", "title": "b")").title, "b");
  EXPECT_EQ(parsed(R"("title": "a", "title": 1)").title, std::nullopt);
  EXPECT_EQ(takenTime(R"("photoTakenTime": {"timestamp": 1, "timestamp": "2"})"), fromEpoch(2));
  EXPECT_EQ(
      takenTime(
          R"("photoTakenTime": {"timestamp": 1}, "photoTakenTime": {}, "creationTime": {"timestamp": 3})"),
      fromEpoch(3));
  EXPECT_EQ(parsed(R"("geoData": {"latitude": 1, "longitude": 2, "longitude": 3})"), at(1, 3));
}

TEST(SidecarParser, ReadsEveryEncoding) {
  EXPECT_EQ(parseData("\xEF\xBB\xBF" + std::string(complete)), completeData());
  for (const auto& encoding : test::wideEncodings) {
    EXPECT_EQ(parseData(encoded(complete, encoding)), completeData()) << encoding.name;
    EXPECT_EQ(parseData(byteOrderMark(encoding) + encoded(complete, encoding)), completeData())
        << encoding.name;
  }
}

TEST(SidecarParser, ValuesThatAreAbsentHaveNoTimeAndNoNumber) {
  EXPECT_EQ(timestamp(std::nullopt), std::nullopt);
  EXPECT_EQ(epoch(std::nullopt), std::nullopt);
  EXPECT_EQ(number(std::nullopt), std::nullopt);
}

TEST(SidecarParser, MayBeUsedFromManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int k = 0; k < 200; ++k) EXPECT_EQ(parseData(complete), completeData());
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(SidecarFile, IsReadByPathAndRelativeToAFolder) {
  const TemporaryFolder folder;
  writeFile(folder / "a.json", complete);
  writeFile(folder / "b.json", "[]");
  writeFile(folder / "empty.json", "");
  EXPECT_EQ(parseFile(folder / "a.json"), completeData());
  const int directory = open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(directory, 0);
  Reader reader;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(reader.read(directory, "a.json"), completeData());
    EXPECT_EQ(reader.read(directory, "b.json"), std::nullopt);
    EXPECT_EQ(reader.read(directory, "empty.json"), std::nullopt);
    EXPECT_EQ(reader.read(directory, "missing.json"), std::nullopt);
  }
  close(directory);
}

TEST(SidecarFile, MayHaveANameThatIsNotUtf8) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder / "\xff\xfe caf\xe9.jpg.json";
  int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (descriptor < 0) GTEST_SKIP() << "this file system takes no names that are not UTF-8";
  close(descriptor);
  writeFile(file, complete);
  EXPECT_EQ(parseFile(file), completeData());
}

TEST(SidecarFile, MayBeALinkToARegularFile) {
  const TemporaryFolder folder;
  writeFile(folder / "a.json", complete);
  std::filesystem::create_symlink("a.json", folder / "link.json");
  std::filesystem::create_symlink("link.json", folder / "second.json");
  std::filesystem::create_symlink("missing.json", folder / "dangling.json");
  std::filesystem::create_symlink("loop.json", folder / "loop.json");
  std::filesystem::create_directory_symlink(".", folder / "folder.json");
  EXPECT_EQ(parseFile(folder / "second.json"), completeData());
  EXPECT_EQ(parseFile(folder / "dangling.json"), std::nullopt);
  EXPECT_EQ(parseFile(folder / "loop.json"), std::nullopt);
  EXPECT_EQ(parseFile(folder / "folder.json"), std::nullopt);
}

TEST(SidecarFile, IsNeitherAFolderNorAFifoNorASocketNorADevice) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "folder.json");
  ASSERT_EQ(mkfifo((folder / "fifo.json").c_str(), 0600), 0);
  EXPECT_EQ(parseFile(folder / "folder.json"), std::nullopt);
  EXPECT_EQ(parseFile(folder / "fifo.json"), std::nullopt);
  EXPECT_EQ(parseFile("/dev/zero"), std::nullopt);

  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string name = (folder / "socket.json").string();
  ASSERT_LT(name.size(), sizeof address.sun_path);
  name.copy(address.sun_path, name.size());
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(parseFile(name), std::nullopt);
  close(listener);
}

TEST(SidecarFile, AFifoWithAWriterIsNotReadEither) {
  const TemporaryFolder folder;
  const std::string name = (folder / "fifo.json").string();
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  const int both = open(name.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(both, 0);
  ASSERT_EQ(write(both, "{}", 2), 2);
  EXPECT_EQ(parseFile(name), std::nullopt);
  char left[4];
  EXPECT_EQ(read(both, left, sizeof left), 2);
  close(both);
}

TEST(SidecarFile, ThatMayNotBeReadGivesNoResult) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder / "a.json";
  writeFile(file, complete);
  ASSERT_EQ(chmod(file.c_str(), 0), 0);
  const test::OrdinaryUser user(folder.path());
  EXPECT_EQ(parseFile(file), std::nullopt);
  ASSERT_EQ(chmod(file.c_str(), 0444), 0);
  EXPECT_EQ(parseFile(file), completeData());
}

int nextDescriptor() {
  const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(descriptor);
  return descriptor;
}

TEST(SidecarFile, LeavesNoDescriptorOpen) {
  const TemporaryFolder folder;
  writeFile(folder / "a.json", complete);
  writeFile(folder / "b.json", "{");
  const int before = nextDescriptor();
  for (int i = 0; i < 10; ++i) {
    parseFile(folder / "a.json");
    parseFile(folder / "b.json");
    parseFile(folder.path());
    parseFile(folder / "c.json");
  }
  EXPECT_EQ(nextDescriptor(), before);
}

/// A file of any size that takes no room on the disk: a sidecar, then zeros.
void writeSparse(const std::filesystem::path& file, std::size_t size) {
  writeFile(file, complete);
  ASSERT_EQ(truncate(file.c_str(), static_cast<off_t>(size)), 0);
}

TEST(SidecarFile, OfMoreThan256MegabytesIsRefusedUnread) {
  const TemporaryFolder folder;
  writeSparse(folder / "a.json", largestSidecarBytes + 1);
  EXPECT_EQ(parseFile(folder / "a.json"), std::nullopt);
  writeSparse(folder / "a.json", std::size_t{1} << 40);  // to read it would take minutes
  EXPECT_EQ(parseFile(folder / "a.json"), std::nullopt);
}

}  // namespace
}  // namespace tollbrook::SidecarParser
