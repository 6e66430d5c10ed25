#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <system_error>

#include "Support/Fixtures.h"
#include "Support/Names.h"
#include "Support/OrdinaryUser.h"
#include "Support/ReadBack.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/ImageMetadata/ImageWriter.h"
#include "TollbrookCore/MetadataWriter.h"
#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"

namespace tollbrook::ImageMetadata {
namespace {

using std::filesystem::path;
using test::metadataValue;
using test::namesIn;
using test::readFile;
using test::TemporaryFolder;
using test::tinyJpeg;
using test::writeFile;
using testing::ElementsAre;

SidecarData everything() {
  return {.takenTime = fromEpoch(1561982400), .latitude = 48.8584, .longitude = -2.2945, .altitude = 35};
}

const std::optional<std::string> caption = "Grüße\nfrom here";

bool write(const path& file) { return MetadataWriter::writeWithImageIO(file, everything(), caption); }

struct stat statusOf(const path& file) {
  struct stat status {};
  EXPECT_EQ(lstat(file.c_str(), &status), 0);
  return status;
}

TEST(WriteImage, PutsTheTagsIntoTheFile) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const TemporaryFolder folder;
  const path file = folder / "a.JPG";
  writeFile(file, tinyJpeg());
  ASSERT_TRUE(write(file));
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("a.JPG"));
  const auto held = test::metadataOf(file);
  EXPECT_EQ(metadataValue(held, "ExifIFD:DateTimeOriginal"), "2019:07:01 12:00:00");
  EXPECT_EQ(metadataValue(held, "ExifIFD:CreateDate"), "2019:07:01 12:00:00");
  EXPECT_EQ(metadataValue(held, "ExifIFD:OffsetTimeOriginal"), "+00:00");
  EXPECT_EQ(metadataValue(held, "ExifIFD:OffsetTimeDigitized"), "+00:00");
  EXPECT_EQ(metadataValue(held, "IFD0:ModifyDate"), "2019:07:01 12:00:00");
  EXPECT_EQ(metadataValue(held, "Composite:GPSPosition"), "48.8584 -2.2945");
  EXPECT_EQ(metadataValue(held, "Composite:GPSAltitude"), "35");
  EXPECT_EQ(metadataValue(held, "IFD0:ImageDescription"), *caption);
  EXPECT_EQ(metadataValue(held, "IPTC:Caption-Abstract"), *caption);
}

TEST(WriteImage, GoesByTheContentWhateverTheNameIs) {
  const TemporaryFolder folder;
  writeFile(folder / "a.HEIC", tinyJpeg());
  EXPECT_TRUE(write(folder / "a.HEIC"));
  EXPECT_THAT(readFile(folder / "a.HEIC"), testing::HasSubstr("2019:07:01 12:00:00"));
}

TEST(WriteImage, LeavesAFileAloneThatHoldsEverything) {
  const TemporaryFolder folder;
  const path file = folder / "a.jpg";
  writeFile(file, tinyJpeg());
  ASSERT_TRUE(write(file));
  const auto before = statusOf(file);
  ASSERT_TRUE(write(file));
  EXPECT_EQ(statusOf(file).st_ino, before.st_ino);
  EXPECT_EQ(Platform::lastChange(statusOf(file)), Platform::lastChange(before));
}

TEST(WriteImage, LeavesAFileAloneWhenThereIsNothingToWrite) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", tinyJpeg());
  writeFile(folder / "text.jpg", "words");
  EXPECT_TRUE(MetadataWriter::writeWithImageIO(folder / "a.jpg", {}, std::nullopt));
  EXPECT_EQ(readFile(folder / "a.jpg"), tinyJpeg());
  EXPECT_FALSE(MetadataWriter::writeWithImageIO(folder / "text.jpg", {}, std::nullopt));
}

TEST(WriteImage, KeepsModeAndTimes) {
  const TemporaryFolder folder;
  const path file = folder / "a.jpg";
  writeFile(file, tinyJpeg());
  ASSERT_EQ(chmod(file.c_str(), 0640), 0);
  ASSERT_FALSE(Platform::setFileDates(file, fromEpoch(1e9)));
  ASSERT_TRUE(write(file));
  EXPECT_EQ(statusOf(file).st_mode & 07777u, 0640u);
  EXPECT_EQ(Platform::fileDates(file).modification, fromEpoch(1e9));
}

TEST(WriteImage, KeepsExtendedAttributesAndOwner) {
  const TemporaryFolder folder;
  const path file = folder / "a.jpg";
  writeFile(file, tinyJpeg());
  const Files::Descriptor old(open(file.c_str(), O_RDWR | O_CLOEXEC));
  auto wanted = *Platform::readAttributes(old.get());
  wanted.extended.emplace_back("user.comment", "kept");
  if (geteuid() == 0) wanted.owner = wanted.group = 1234;
  if (Platform::applyAttributes(old.get(), wanted)) {
    GTEST_SKIP() << "this file system keeps no extended attributes: nothing was tested here";
  }
  ASSERT_TRUE(write(file));
  const Files::Descriptor now(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(Platform::readAttributes(now.get()), wanted);
}

TEST(WriteImage, ReplacesAFileThatMayOnlyBeRead) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", tinyJpeg());
  ASSERT_EQ(chmod((folder / "a.jpg").c_str(), 0444), 0);
  EXPECT_TRUE(write(folder / "a.jpg"));
  EXPECT_EQ(statusOf(folder / "a.jpg").st_mode & 07777u, 0444u);
}

TEST(WriteImage, TouchesNothingThatIsNoImage) {
  const TemporaryFolder folder;
  writeFile(folder / "text.jpg", "words");
  writeFile(folder / "empty.jpg", "");
  writeFile(folder / "cut.jpg", tinyJpeg().substr(0, 100));
  for (const char* name : {"text.jpg", "empty.jpg", "cut.jpg"}) {
    const std::string before = readFile(folder / name);
    EXPECT_FALSE(write(folder / name)) << name;
    EXPECT_EQ(readFile(folder / name), before);
  }
  EXPECT_FALSE(write(folder / "missing.jpg"));
  EXPECT_EQ(namesIn(folder.path()).size(), 3u);
}

TEST(WriteImage, FollowsNoLinkAndWaitsForNobody) {
  const TemporaryFolder folder, elsewhere;
  writeFile(elsewhere / "target.jpg", tinyJpeg());
  std::filesystem::create_symlink(elsewhere / "target.jpg", folder / "link.jpg");
  ASSERT_EQ(mkfifo((folder / "fifo.jpg").c_str(), 0600), 0);
  std::filesystem::create_directory(folder / "folder.jpg");
  for (const char* name : {"link.jpg", "fifo.jpg", "folder.jpg"}) EXPECT_FALSE(write(folder / name)) << name;
  EXPECT_EQ(readFile(elsewhere / "target.jpg"), tinyJpeg());
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.jpg"));
  EXPECT_EQ(namesIn(folder.path()).size(), 3u);
}

TEST(WriteImage, CannotWriteInAFolderThatMayOnlyBeRead) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", tinyJpeg());
  ASSERT_EQ(chmod(folder.path().c_str(), 0555), 0);
  const test::OrdinaryUser user(folder.path());
  EXPECT_FALSE(write(folder / "a.jpg"));
  EXPECT_EQ(readFile(folder / "a.jpg"), tinyJpeg());
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("a.jpg"));
}

TEST(WriteImage, IsNotBotheredByWhatAnInterruptedWriteLeft) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", tinyJpeg());
  writeFile(folder / ".tollbrook-6F9619FF-8B86-4011-B42D-00C04FC964FF.jpg", "half");
  EXPECT_TRUE(write(folder / "a.jpg"));
  EXPECT_EQ(namesIn(folder.path()).size(), 2u);
}

TEST(WriteImage, SaysWhyItRefuses) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", "words");
  EXPECT_THROW(writeImage(folder / "a.jpg", targetTags(everything(), caption)), Refused);
  EXPECT_THROW(writeImage(folder / "b.jpg", targetTags(everything(), caption)), std::system_error);
}

}  // namespace
}  // namespace tollbrook::ImageMetadata
