#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Support/Fixtures.h"
#include "Support/ReadBack.h"
#include "Support/StandIn.h"
#include "TollbrookCore/BuiltInWriter.h"
#include "TollbrookCore/EmbeddedWriter.h"
#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"

namespace tollbrook {
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
using testing::HasSubstr;
using testing::Not;

SidecarData someData() { return {.takenTime = fromEpoch(1425445567)}; }

/// Only a test of a child that hangs needs a limit short enough to wait for.
EmbeddedWriter::Settings settingsFor(const StandIn& program, std::chrono::milliseconds limit = 60s) {
  return {program.path(), limit};
}

/// How often `text` has `part`.
int countOf(const std::string& part, const std::string& text) {
  int count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

int sessions(const StandIn& program) { return countOf("[session]\n", program.log()); }
int oneShots(const StandIn& program) { return countOf("[once]\n", program.log()); }

std::optional<Platform::FileAttributes> attributesOf(const std::filesystem::path& file) {
  const Files::Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  return Platform::readAttributes(descriptor.get());
}

bool operator==(const EmbeddedWriter::Result& a, std::pair<bool, bool> b) {
  return std::pair(a.written, a.confirmed) == b;
}

const std::pair nothing(false, false);
const std::pair writtenOnly(true, false);
const std::pair confirmed(true, true);

TEST(ImageIOExtension, IsOneOfSevenInAnyCase) {
  for (const char* extension : {"jpg", "jpeg", "heic", "heif", "tif", "tiff", "png", "PNG", "JpEg"}) {
    EXPECT_TRUE(isImageIOExtension(extension)) << extension;
  }
  for (const char* extension : {"", "gif", "mov", "mp4", "webp", "dng", "jp", "jpgx", ".jpg", "ＪＰＧ"}) {
    EXPECT_FALSE(isImageIOExtension(extension)) << extension;
  }
}

TEST(EmbeddedWriter, WritesEveryFileOfARunThroughOneSession) {
  StandIn program("2: unchanged; marker\n3: failed; marker");
  EmbeddedWriter writer(settingsFor(program));
  EXPECT_TRUE(writer.write("/a.jpg", someData(), "x") == confirmed);
  EXPECT_TRUE(writer.write("/b.mov", someData(), {}) == confirmed);
  EXPECT_TRUE(writer.write("/c.txt", someData(), {}) == writtenOnly) << "the marker alone counts";
  writer.close();
  EXPECT_EQ(sessions(program), 1);
  EXPECT_EQ(oneShots(program), 0);
  EXPECT_TRUE(test::hasNoChild());
}

TEST(EmbeddedWriter, StartsItsSessionBeforeTheFirstFile) {
  StandIn program;
  const EmbeddedWriter writer(settingsFor(program));
  EXPECT_TRUE(test::eventually([&] { return sessions(program) == 1; }));
}

TEST(EmbeddedWriter, WithoutASessionRunsOneChildForEachFile) {
  StandIn program("once: exit 0");
  auto settings = settingsFor(program);
  settings.useSession = false;
  EmbeddedWriter writer(settings);
  EXPECT_TRUE(writer.write("/a.jpg", someData(), {}) == confirmed);
  program.setScript("once: exit 1");
  EXPECT_TRUE(writer.write("/b.mov", someData(), {}) == nothing);
  EXPECT_EQ(sessions(program), 0);
  EXPECT_EQ(oneShots(program), 2);
}

TEST(EmbeddedWriter, GivesAFileThatKilledTheSessionOneTryAndOpensAnotherSession) {
  StandIn program("2: die");
  EmbeddedWriter writer(settingsFor(program));
  EXPECT_TRUE(writer.write("/a.jpg", someData(), {}) == confirmed);
  EXPECT_TRUE(writer.write("/killer.tif", someData(), {}) == confirmed);
  EXPECT_EQ(oneShots(program), 1);
  EXPECT_TRUE(writer.write("/b.jpg", someData(), {}) == confirmed);
  EXPECT_EQ(sessions(program), 2);
  EXPECT_EQ(oneShots(program), 1);
  EXPECT_EQ(countOf("/b.jpg\n-execute\n", program.log()), 1);
}

TEST(EmbeddedWriter, ReportsAFileThatKillsBothChildren) {
  StandIn program("1: die\nonce: die");
  EmbeddedWriter writer(settingsFor(program));
  EXPECT_TRUE(writer.write("/killer.tif", someData(), {}) == nothing);
}

TEST(EmbeddedWriter, TakesAwayWhatADeadSessionLeftBeforeTheNextTry) {
  TemporaryFolder folder;
  writeFile(folder / "a.jpg", "x");
  StandIn program("1: leave; die\nonce: mind-leftover");
  EmbeddedWriter writer(settingsFor(program));
  EXPECT_TRUE(writer.write(folder / "a.jpg", someData(), {}) == confirmed);
  EXPECT_FALSE(std::filesystem::exists(folder / "a.jpg_exiftool_tmp"));
}

TEST(EmbeddedWriter, LeavesWhatADeadSessionMadeOfAFileThatIsGone) {
  TemporaryFolder folder;
  StandIn program("1: leave; die\nonce: exit 1");
  EmbeddedWriter writer(settingsFor(program));
  EXPECT_TRUE(writer.write(folder / "a.jpg", someData(), {}) == nothing);
  EXPECT_TRUE(std::filesystem::exists(folder / "a.jpg_exiftool_tmp")) << "there is no other copy";
}

TEST(EmbeddedWriter, TakesAwayWhatAFailedProcessLeft) {
  TemporaryFolder folder;
  writeFile(folder / "a.jpg", "x");
  StandIn program("once: leave; exit 1");
  auto settings = settingsFor(program);
  settings.useSession = false;
  EXPECT_TRUE(EmbeddedWriter(settings).write(folder / "a.jpg", someData(), {}) == nothing);
  EXPECT_FALSE(std::filesystem::exists(folder / "a.jpg_exiftool_tmp"));
}

TEST(EmbeddedWriter, AsksNobodyWhenThereIsNothingThatCouldBeWritten) {
  StandIn program;
  EmbeddedWriter writer(settingsFor(program));
  const SidecarData unusable{.takenTime = fromEpoch(1e300), .latitude = 1e300, .longitude = 0, .altitude = 5};
  EXPECT_TRUE(writer.write("/a.jpg", unusable, {}) == nothing);
  EXPECT_TRUE(writer.write("/a.jpg", unusable, "") == nothing);
  EXPECT_TRUE(writer.write("/a.jpg", unusable, std::string(3, '\0')) == nothing);
  writer.close();
  EXPECT_EQ(countOf("-execute", program.log()), 0);
  EXPECT_EQ(oneShots(program), 0);
}

TEST(EmbeddedWriter, PutsSouthernAndWesternPositionsRightOnceTheFileIsWritten) {
  SidecarData data = someData();
  data.latitude = -33.8568;
  data.longitude = 151.2153;
  StandIn program("2: say     1 image files unchanged; marker\n3: failed; marker\n5: failed; marker");
  EmbeddedWriter writer(settingsFor(program));
  EXPECT_TRUE(writer.write("/a.jpg", data, {}) == confirmed);
  EXPECT_TRUE(writer.write("/refused.jpg", data, {}) == writtenOnly) << "it needs no second command";
  EXPECT_TRUE(writer.write("/b.mov", data, {}) == writtenOnly) << "its position is not what the sidecar says";
  writer.close();
  EXPECT_EQ(countOf("-execute\n", program.log()), 5);
  EXPECT_EQ(countOf("-XMP-exif:GPSLatitude=-33.8568\n-XMP-exif:GPSLongitude=151.2153\n/a.jpg\n-execute\n",
                    program.log()),
            1);
}

TEST(EmbeddedWriter, GivesACommandThreeMinutes) {
  EXPECT_EQ(ExifTool::answerLimit, 180s);
  EXPECT_EQ(EmbeddedWriter::Settings{}.answerLimit, 180s);
}

TEST(EmbeddedWriter, LetsGoOfASessionThatHangsBeforeTheNextTry) {
  StandIn program;
  // The second child would wait for the lock as long as the first one lives.
  program.setScript("start: hold " + (program / "held").string() + "\n1: hang");
  EmbeddedWriter writer(settingsFor(program, 1s));
  EXPECT_TRUE(writer.write("/a.jpg", someData(), {}) == confirmed);
  EXPECT_EQ(oneShots(program), 1);
  EXPECT_TRUE(test::hasNoChild());
}

TEST(EmbeddedWriter, GivesUpSessionsAfterThreeInARowWithoutASuccess) {
  StandIn program("1: die");
  EmbeddedWriter writer(settingsFor(program));
  for (int i = 0; i < 6; ++i) EXPECT_TRUE(writer.write("/a.jpg", someData(), {}) == confirmed);
  EXPECT_EQ(sessions(program), 3);
  EXPECT_EQ(oneShots(program), 6);
}

TEST(EmbeddedWriter, GoesOnWithSessionsThatHadASuccess) {
  StandIn program("2: die");
  EmbeddedWriter writer(settingsFor(program));
  for (int i = 0; i < 12; ++i) EXPECT_TRUE(writer.write("/a.jpg", someData(), {}) == confirmed);
  EXPECT_EQ(sessions(program), 6);
  EXPECT_EQ(oneShots(program), 6);
}

TEST(EmbeddedWriter, CountsOnlySessionsInARow) {
  StandIn program("1: die");
  EmbeddedWriter writer(settingsFor(program));
  for (int round = 0; round < 3; ++round) {
    program.setScript("1: die");
    writer.write("/a.jpg", someData(), {});
    writer.write("/a.jpg", someData(), {});
    program.setScript("2: die");
    writer.write("/a.jpg", someData(), {});
    writer.write("/a.jpg", someData(), {});
  }
  // The first session of all was started with the writer.
  EXPECT_EQ(sessions(program), 9);
}

TEST(EmbeddedWriter, WritesANameThatCannotStandInACommandWithoutCostingTheSession) {
  StandIn program;
  EmbeddedWriter writer(settingsFor(program));
  EXPECT_TRUE(writer.write("/a.jpg", someData(), {}) == confirmed);
  EXPECT_TRUE(writer.write("/b\n-execute\nc.jpg", someData(), {}) == confirmed);
  EXPECT_TRUE(writer.write("/d.jpeg\r", someData(), {}) == confirmed);
  EXPECT_TRUE(writer.write("/e.jpg", someData(), {}) == confirmed);
  EXPECT_EQ(sessions(program), 1);
  EXPECT_EQ(oneShots(program), 2);
}

TEST(EmbeddedWriter, IsOneShotWhereNoSessionCanBeStarted) {
  TemporaryFolder folder;
  EmbeddedWriter missing({folder / "missing"});
  EXPECT_TRUE(missing.write("/a.jpg", someData(), {}) == nothing);

  StandIn program("session: exit 0");
  EmbeddedWriter writer(settingsFor(program));
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(writer.write("/a.jpg", someData(), {}) == confirmed);
  EXPECT_EQ(oneShots(program), 5);
  EXPECT_LE(sessions(program), 3);
}

TEST(EmbeddedWriter, UsesTheBuiltInWriterOnlyWithoutAnExifTool) {
  TemporaryFolder folder;
  writeFile(folder / "a.mov", "no movie");
  EmbeddedWriter writer({std::nullopt});
  EXPECT_TRUE(writer.write(folder / "a.mov", someData(), {}) == nothing);
  EXPECT_TRUE(writer.write(folder / "no extension", someData(), {}) == nothing);
  EXPECT_TRUE(writer.write(folder / "missing.jpg", someData(), {}) == nothing);
  EXPECT_EQ(readFile(folder / "a.mov"), "no movie");
}

TEST(EmbeddedWriter, StartsAnotherSessionAfterItWasClosed) {
  StandIn program;
  EmbeddedWriter writer(settingsFor(program));
  writer.write("/a.jpg", someData(), {});
  writer.close();
  writer.close();
  EXPECT_TRUE(test::hasNoChild());
  EXPECT_TRUE(writer.write("/b.jpg", someData(), {}) == confirmed);
  EXPECT_EQ(sessions(program), 2);
}

/// A file with everything that a rewrite could lose.
Platform::FileAttributes makeSpecial(const std::filesystem::path& file, std::string_view bytes) {
  writeFile(file, bytes);
  const Files::Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  Platform::FileAttributes attributes = attributesOf(file).value_or(Platform::FileAttributes{});
  attributes.mode = (attributes.mode & ~07777u) | 0640u;
  // Only the superuser can give a file away.
  if (geteuid() == 0) attributes.owner = attributes.group = 12345;
  attributes.extended.emplace_back("user.tollbrook.test", std::string("kept\0too", 8));
  Platform::applyAttributes(descriptor.get(), attributes);
  return attributesOf(file).value_or(Platform::FileAttributes{});
}

TEST(EmbeddedWriter, KeepsModeOwnerAndExtendedAttributesOfAFileThatIsReplaced) {
  for (const bool useSession : {true, false}) {
    StandIn program("once: replace\n1: replace; updated; marker\n2: replace; hang\n*: replace; die");
    const auto before = makeSpecial(program / "a.jpg", "photo");
    if (before.extended.empty()) GTEST_SKIP() << "this file system keeps no extended attributes";
    auto settings = settingsFor(program, 1s);
    settings.useSession = useSession;
    EmbeddedWriter writer(settings);
    for (int i = 1; i <= 2; ++i) {
      EXPECT_TRUE(writer.write(program / "a.jpg", someData(), {}) == confirmed);
      EXPECT_THAT(readFile(program / "a.jpg"), HasSubstr("rewritten"));
      EXPECT_EQ(attributesOf(program / "a.jpg"), before);
    }
  }
}

TEST(EmbeddedWriter, KeepsTheAttributesOfAFileWhoseWriterFailedAfterReplacingIt) {
  StandIn program("1: replace; die\nonce: replace; exit 1");
  const auto before = makeSpecial(program / "a.jpg", "photo");
  EmbeddedWriter writer(settingsFor(program));
  EXPECT_TRUE(writer.write(program / "a.jpg", someData(), {}) == nothing);
  EXPECT_EQ(attributesOf(program / "a.jpg"), before);
}

TEST(EmbeddedWriter, DoesNotHangOnAFifo) {
  StandIn program("*: failed; marker");
  ASSERT_EQ(mkfifo((program / "pipe.jpg").c_str(), 0600), 0);
  EmbeddedWriter writer(settingsFor(program));
  EXPECT_TRUE(writer.write(program / "pipe.jpg", someData(), {}) == writtenOnly);
}

// With the real one.

TEST(RealEmbeddedWriter, KeepsModeOwnerAndExtendedAttributes) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  TemporaryFolder folder;
  const auto photo = makeSpecial(folder / "a.jpg", tinyJpeg());
  const auto oddlyNamed = makeSpecial(folder / "b\n.jpg", tinyJpeg());
  if (photo.extended.empty()) GTEST_SKIP() << "this file system keeps no extended attributes";
  EmbeddedWriter writer({});
  EXPECT_TRUE(writer.write(folder / "a.jpg", someData(), "x") == confirmed);
  EXPECT_TRUE(writer.write(folder / "b\n.jpg", someData(), "x") == confirmed);
  EXPECT_EQ(attributesOf(folder / "a.jpg"), photo);
  EXPECT_EQ(attributesOf(folder / "b\n.jpg"), oddlyNamed);
  EXPECT_EQ(metadataValue(metadataOf(folder / "a.jpg"), "IFD0:ImageDescription"), "x");
}

TEST(RealEmbeddedWriter, WritesAVideosPositionOnItsOwnSideOfTheGlobe) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  TemporaryFolder folder;
  EmbeddedWriter writer({});
  const std::pair<double, double> positions[] = {
      {-33.8568, 151.2153}, {40.6892, -74.0445}, {-22.9519, -43.2105}, {48.8584, 2.2945}};
  for (const auto& [latitude, longitude] : positions) {
    SidecarData data = someData();
    data.latitude = latitude;
    data.longitude = longitude;
    // A photo keeps its position in EXIF, with references.
    const std::pair<const char*, std::string> files[] = {
        {"video.mp4", "XMP-exif"}, {"line\nfeed.mp4", "XMP-exif"}, {"photo.jpg", "Composite"}};
    for (const auto& [name, group] : files) {
      const auto file = folder / std::to_string(latitude) / name;
      writeFile(file, file.extension() == ".mp4" ? test::tinyMp4(2000) : tinyJpeg());
      EXPECT_TRUE(writer.write(file, data, {}) == confirmed);
      const auto metadata = metadataOf(file);
      EXPECT_NEAR(std::stod(metadataValue(metadata, group + ":GPSLatitude")), latitude, 1e-6);
      EXPECT_NEAR(std::stod(metadataValue(metadata, group + ":GPSLongitude")), longitude, 1e-6);
    }
  }
}

TEST(RealEmbeddedWriter, DoesNotRunTheOptionsInAPhotosName) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  TemporaryFolder folder;
  const std::string victim = folder / "victim.jpg";
  writeFile(victim, tinyJpeg());
  // Line by line: a second command that would put an artist into the neighbour.
  const auto trap = folder / ("x.jpg\n-execute\n-overwrite_original\n-Artist=intruder\nvictim.jpg");
  writeFile(trap, tinyJpeg());
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  EmbeddedWriter writer({});
  EXPECT_TRUE(writer.write(trap, someData(), "x") == confirmed);
  writer.close();
  std::filesystem::current_path(before);
  EXPECT_EQ(readFile(victim), tinyJpeg());
  EXPECT_EQ(metadataValue(metadataOf(trap), "IFD0:ImageDescription"), "x");
  EXPECT_EQ(metadataValue(metadataOf(trap), "IFD0:Artist"), "");
}

TEST(RealEmbeddedWriter, DoesNotTakeAPhotoForItsNeighbourWithoutTheCarriageReturn) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  TemporaryFolder folder;
  writeFile(folder / "a.jpeg", tinyJpeg());
  writeFile(folder / "a.jpeg\r", tinyJpeg());
  EmbeddedWriter writer({});
  EXPECT_TRUE(writer.write(folder / "a.jpeg\r", someData(), "x") == confirmed);
  EXPECT_EQ(readFile(folder / "a.jpeg"), tinyJpeg());
  EXPECT_EQ(metadataValue(metadataOf(folder / "a.jpeg\r"), "IFD0:ImageDescription"), "x");
}

TEST(RealEmbeddedWriter, GetsPastTheBadFilesOfTheCorpus) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const std::filesystem::path corpus = std::filesystem::path(TOLLBROOK_CORPUS) / "broken" / "media";
  if (!std::filesystem::is_directory(corpus)) GTEST_SKIP() << "no corpus here: nothing was tested";
  TemporaryFolder folder;
  EmbeddedWriter writer({});
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(corpus)) {
    const auto file = folder / entry.path().filename().string();
    std::filesystem::copy_file(entry.path(), file);
    writer.write(file, someData(), "x");
    EXPECT_TRUE(std::filesystem::exists(file)) << file;
    ++count;
  }
  EXPECT_GT(count, 10);
  writeFile(folder / "good one.jpg", tinyJpeg());
  EXPECT_TRUE(writer.write(folder / "good one.jpg", someData(), "x") == confirmed);
}

}  // namespace
}  // namespace tollbrook
