#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/CommandLine.h"
#include "Support/Fixtures.h"
#include "Support/ReadBack.h"
#include "Support/Sidecars.h"
#include "TollbrookCore/ExifTool.h"

/// What each option of `write` does to the files, as exiftool and the file system tell it.
namespace tollbrook::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::int64_t taken = 1425445567;
const std::string stamp = "2015:03:04 05:06:07";

class WriteOptionsTest : public testing::Test {
 protected:
  WriteOptionsTest() {
    writePair(photo, tinyJpeg(),
              {.latitude = -33.8568, .longitude = 151.2153, .altitude = 12.5, .caption = "Zoë"});
    writePair(sub, tinyPng(), {.caption = "Deep"});
    setModificationDate(photo, old);
    setModificationDate(sub, old);
  }

  Program::Result write(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"write", place.string(), "--quiet"});
    return tool.run(options);
  }

  static constexpr std::int64_t old = 1000000000;
  const TemporaryFolder folder;
  const std::filesystem::path place = folder / "export";
  const std::filesystem::path photo = place / "a.jpg";
  const std::filesystem::path sub = place / "sub/b.png";
  const CommandLine tool;
};

TEST_F(WriteOptionsTest, WritesDatesPositionAndCaptionWhenNothingElseIsSaid) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const auto result = write();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "2 dated · 2 tagged\n");
  EXPECT_EQ(result.errors, "");
  const auto held = metadataOf(photo);
  EXPECT_EQ(metadataValue(held, "ExifIFD:DateTimeOriginal"), stamp);
  EXPECT_EQ(metadataValue(held, "ExifIFD:CreateDate"), stamp);
  EXPECT_EQ(metadataValue(held, "Composite:GPSPosition"), "-33.8568 151.2153");
  EXPECT_EQ(metadataValue(held, "Composite:GPSAltitude"), "12.5");
  EXPECT_EQ(metadataValue(held, "IFD0:ImageDescription"), "Zoë");
  EXPECT_EQ(metadataValue(metadataOf(sub), "ExifIFD:DateTimeOriginal"), stamp);
  EXPECT_EQ(modificationDate(photo), taken);
  EXPECT_EQ(modificationDate(sub), taken);
  EXPECT_TRUE(std::filesystem::exists(sidecarOf(photo)));
}

TEST_F(WriteOptionsTest, WithoutFileDatesTheDateOfTheFileStays) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  EXPECT_EQ(write({"--no-file-dates"}).output, "2 tagged\n");
  EXPECT_EQ(modificationDate(photo), old);
  EXPECT_EQ(metadataValue(metadataOf(photo), "ExifIFD:DateTimeOriginal"), stamp);
}

TEST_F(WriteOptionsTest, WithoutEmbeddedTheBytesOfTheFileStay) {
  EXPECT_EQ(write({"--no-embedded"}).output, "2 dated\n");
  EXPECT_EQ(readFile(photo), tinyJpeg());
  EXPECT_EQ(readFile(sub), tinyPng());
  EXPECT_EQ(modificationDate(photo), taken);
}

TEST_F(WriteOptionsTest, WithoutCaptionsTheRestIsWritten) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  EXPECT_EQ(write({"--no-captions"}).status, 0);
  const auto held = metadataOf(photo);
  EXPECT_EQ(metadataValue(held, "ExifIFD:DateTimeOriginal"), stamp);
  EXPECT_EQ(metadataValue(held, "Composite:GPSPosition"), "-33.8568 151.2153");
  EXPECT_THAT(held.dump(), testing::Not(HasSubstr("Zoë")));
}

TEST_F(WriteOptionsTest, WithoutRecursionSubfoldersAreLeftAlone) {
  EXPECT_EQ(write({"--no-recursive", "--no-embedded"}).output, "1 dated\n");
  EXPECT_EQ(modificationDate(photo), taken);
  EXPECT_EQ(modificationDate(sub), old);
}

TEST_F(WriteOptionsTest, MatchingDatesAreSkippedUnlessTheyAreToBeRewritten) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  setModificationDate(photo, taken);
  setModificationDate(sub, taken);
  EXPECT_EQ(write().output, "2 already correct\n");
  EXPECT_EQ(readFile(photo), tinyJpeg());
  EXPECT_EQ(tool.run({"forget", place.string()}).status, 0);
  EXPECT_EQ(write({"--rewrite-matching"}).output, "2 dated · 2 tagged\n");
  EXPECT_EQ(metadataValue(metadataOf(photo), "ExifIFD:DateTimeOriginal"), stamp);
  EXPECT_EQ(modificationDate(photo), taken);
}

TEST_F(WriteOptionsTest, RewritingDoesNotDoFinishedFilesAgain) {
  EXPECT_EQ(write({"--no-embedded"}).status, 0);
  EXPECT_EQ(write({"--no-embedded", "--rewrite-matching"}).output, "2 already finished\n");
}

TEST_F(WriteOptionsTest, TheToleranceDecidesWhichDatesMatch) {
  setModificationDate(photo, taken + 3);
  setModificationDate(sub, taken - 2);
  EXPECT_EQ(write({"--no-embedded"}).output, "1 dated · 1 already correct\n");
  const auto again = [&](const char* tolerance) {
    setModificationDate(photo, taken + 3);
    setModificationDate(sub, taken - 2);
    EXPECT_EQ(tool.run({"forget", place.string()}).status, 0);
    return write({"--no-embedded", "--date-tolerance", tolerance}).output;
  };
  EXPECT_EQ(again("3"), "2 already correct\n");
  EXPECT_EQ(again("2.999"), "1 dated · 1 already correct\n");
  EXPECT_EQ(again("0"), "2 dated\n");
  EXPECT_EQ(again("1e3"), "2 already correct\n");
}

TEST_F(WriteOptionsTest, SidecarsAreDeletedOnlyWhenAskedFor) {
  EXPECT_EQ(write({"--no-embedded", "--delete-sidecars"}).output, "2 dated · 2 JSON removed\n");
  EXPECT_FALSE(std::filesystem::exists(sidecarOf(photo)));
  EXPECT_FALSE(std::filesystem::exists(sidecarOf(sub)));
  EXPECT_TRUE(std::filesystem::exists(photo));
}

TEST_F(WriteOptionsTest, ASidecarIsDeletedAfterEverythingOfItIsInTheFile) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  // exiftool refuses this one, so the caption would be lost with the sidecar.
  writePair(place / "c.avi", "no film", {.caption = "Not in the file"});
  EXPECT_EQ(write({"--delete-sidecars"}).status, 0);
  EXPECT_FALSE(std::filesystem::exists(sidecarOf(photo)));
  EXPECT_TRUE(std::filesystem::exists(sidecarOf(place / "c.avi")));
  EXPECT_EQ(readFile(place / "c.avi"), "no film");
}

TEST_F(WriteOptionsTest, ASecondWriteChangesNothingAndNamesForget) {
  EXPECT_EQ(write().status, 0);
  const std::string bytes = readFile(photo);
  const auto again = write();
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.output, "2 already finished\n");
  EXPECT_EQ(again.errors,
            "tollbrook-cli: 2 files were passed over because the job lists them as finished; to start anew: "
            "tollbrook-cli forget " +
                place.string() + "\n");
  EXPECT_EQ(readFile(photo), bytes);
  EXPECT_EQ(modificationDate(photo), taken);
}

TEST_F(WriteOptionsTest, AfterForgetAWriteStartsAnew) {
  EXPECT_EQ(write({"--no-embedded"}).status, 0);
  setModificationDate(photo, old);
  EXPECT_EQ(tool.run({"forget", place.string()}).output, "Forgot the job of " + place.string() + "\n");
  EXPECT_THAT(tool.jobs(), IsEmpty());
  const auto result = write({"--no-embedded"});
  EXPECT_EQ(result.output, "1 dated · 1 already correct\n");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(modificationDate(photo), taken);
}

TEST_F(WriteOptionsTest, TheSummaryIsTheLastLine) {
  writePair(place / "empty.jpg", tinyJpeg(), {.takenTime = std::nullopt, .caption = "no dates"});
  EXPECT_EQ(lines(write({"--no-embedded", "--delete-sidecars"}).output).back(),
            "2 dated · 2 JSON removed · 1 failed");
}

TEST_F(WriteOptionsTest, ALinkToAFolderIsWrittenAndLinksBelowItAreNot) {
  std::filesystem::create_directory_symlink("export", folder / "link");
  writePair(folder / "elsewhere/c.jpg", tinyJpeg());
  setModificationDate(folder / "elsewhere/c.jpg", old);
  std::filesystem::create_directory_symlink(folder / "elsewhere", place / "away");
  EXPECT_EQ(tool.run({"write", (folder / "link").string(), "--no-embedded"}).output, "2 dated\n");
  EXPECT_EQ(modificationDate(photo), taken);
  EXPECT_EQ(modificationDate(folder / "elsewhere/c.jpg"), old);
}

TEST_F(WriteOptionsTest, WithoutExifToolTheBuiltInWriterIsNamed) {
  const CommandLine without(TOLLBROOK_CLI_WITHOUT_EXIFTOOL);
  const auto outcome = without.document({"write", place.string()});
  EXPECT_EQ(outcome.at("embeddedWriter"), "built-in");
  EXPECT_EQ(outcome.at("datesSet"), 2);
  EXPECT_EQ(outcome.at("failed"), 0);
  EXPECT_EQ(modificationDate(photo), taken);
}

}  // namespace
}  // namespace tollbrook::test
