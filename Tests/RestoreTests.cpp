// Single files and lists of pairs, with the exiftool of this machine.
#include <gtest/gtest.h>

#include "Support/Fixtures.h"
#include "Support/ReadBack.h"
#include "Support/Sidecars.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/MetadataWriter.h"
#include "TollbrookCore/Support/Platform.h"

namespace tollbrook::MetadataWriter {
namespace {

using std::filesystem::path;
using test::metadataOf;
using test::metadataValue;
using test::TemporaryFolder;
using test::writeFile;

const TimePoint taken = fromEpoch(1425445567);  // 2015-03-04 05:06:07 UTC

SidecarData everything() {
  return {.takenTime = taken, .latitude = 48.8584, .longitude = 2.2945, .caption = "a caption"};
}

class RestoreTest : public testing::Test {
 protected:
  void SetUp() override { TOLLBROOK_NEEDS_EXIFTOOL(); }

  // A photo with a sidecar, as a scan lists it.
  MediaPair makePair(const std::string& name, const SidecarData& data = everything()) const {
    const path media = folder / name;
    test::writePair(media, test::tinyJpeg());
    return {media, test::sidecarOf(media), inferMediaKindFrom(media), data, PairStatus::ready, std::nullopt};
  }

  const TemporaryFolder folder;
  RestoreOptions options = defaultRestoreOptions();
};

TEST_F(RestoreTest, WritesIntoTheFileAndThenSetsItsDates) {
  const path photo = makePair("a.jpg").media;
  EXPECT_EQ(restore(photo, everything(), options), Result(Applied{.dates = true, .embedded = true}));
  EXPECT_EQ(Platform::fileDates(photo).modification, taken);
  const auto metadata = metadataOf(photo);
  EXPECT_EQ(metadataValue(metadata, "ExifIFD:DateTimeOriginal"), "2015:03:04 05:06:07");
  EXPECT_EQ(metadataValue(metadata, "IFD0:ImageDescription"), "a caption");
  EXPECT_EQ(restore(photo, everything(), options), Result(Skipped{}));
}

TEST_F(RestoreTest, WithoutFileDatesLeavesTheDateOfTheFile) {
  options.writeFileDates = false;
  const path photo = makePair("a.jpg").media;
  ASSERT_FALSE(Platform::setFileDates(photo, fromEpoch(1e9)));
  EXPECT_EQ(restore(photo, everything(), options), Result(Applied{.dates = false, .embedded = true}));
  EXPECT_EQ(Platform::fileDates(photo).modification, fromEpoch(1e9));
}

TEST_F(RestoreTest, WithoutCaptionsWritesTheRest) {
  options.writeCaptions = false;
  const path photo = makePair("a.jpg").media;
  EXPECT_EQ(restore(photo, everything(), options), Result(Applied{.dates = true, .embedded = true}));
  const auto metadata = metadataOf(photo);
  EXPECT_EQ(metadataValue(metadata, "IFD0:ImageDescription"), "");
  EXPECT_EQ(metadataValue(metadata, "ExifIFD:DateTimeOriginal"), "2015:03:04 05:06:07");
}

TEST_F(RestoreTest, OfACaptionThatIsNotWantedWritesNothing) {
  options.writeCaptions = false;
  const path photo = makePair("a.jpg").media;
  EXPECT_EQ(restore(photo, {.caption = "a caption"}, options), Result(Failed{"Nothing was written"}));
  EXPECT_EQ(test::readFile(photo), test::tinyJpeg());
}

TEST_F(RestoreTest, WritesThePhotoWhoseDateTheFileSystemCannotHold) {
  const path photo = makePair("a.jpg").media;
  SidecarData data = everything();
  data.takenTime = fromEpoch(253402300799);  // 9999-12-31 23:59:59
  if (!Platform::setFileDates(photo, *data.takenTime)) {
    GTEST_SKIP() << "this file system holds every date: nothing was tested here";
  }
  EXPECT_EQ(restore(photo, data, options), Result(Applied{.dates = false, .embedded = true}));
  EXPECT_EQ(metadataValue(metadataOf(photo), "ExifIFD:DateTimeOriginal"), "9999:12:31 23:59:59");
}

TEST_F(RestoreTest, FailsWhereExifToolRefusesAndThereAreNoDates) {
  const path photo = makePair("a.jpg").media;
  writeFile(photo, "no picture at all");
  EXPECT_EQ(restore(photo, {.caption = "a caption"}, options), Result(Failed{"Nothing was written"}));
  EXPECT_EQ(test::readFile(photo), "no picture at all");
}

TEST_F(RestoreTest, OfAListDeletesTheSidecarsOfWhatIsInTheFiles) {
  options.deleteSidecars = true;
  const MediaPair good = makePair("good.jpg");
  const MediaPair bad = makePair("bad.jpg");
  writeFile(bad.media, "no picture at all");
  const auto [pairs, outcome] = restoreTree({good, bad}, options);
  EXPECT_EQ(outcome.datesSet, 2);
  EXPECT_EQ(outcome.embeddedWritten, 1);
  EXPECT_EQ(outcome.deletedSidecars, 1);
  EXPECT_FALSE(std::filesystem::exists(*good.sidecar));
  EXPECT_TRUE(std::filesystem::exists(*bad.sidecar));
  EXPECT_EQ(pairs[0].message, "File dates and embedded metadata written");
  EXPECT_EQ(pairs[1].message, "File dates written");
}

}  // namespace
}  // namespace tollbrook::MetadataWriter
