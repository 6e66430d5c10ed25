#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/Fixtures.h"
#include "Support/SafetyTest.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/MetadataWriter.h"

/// exiftool is a Perl program that everybody may configure for himself; a run is to do the same for all.
namespace tollbrook::test {
namespace {

class HostileEnvironmentTest : public SafetyTest {
 protected:
  using Variables = std::vector<std::pair<std::string, std::optional<std::string>>>;

  Program::Result writeIn(const Variables& variables) const {
    auto call = command({"write", root(), "--quiet", "--delete-sidecars"});
    call.environment.insert(call.environment.end(), variables.begin(), variables.end());
    return Program::run(call);
  }

  /// A photo that has another date and caption already.
  Photo addOldPhoto(std::string_view name) {
    const Photo photo = addPhoto(name);
    const auto old =
        Program::run({.program = "exiftool",
                      .arguments = {"-overwrite_original", "-DateTimeOriginal=1999:01:01 00:00:00",
                                    "-ImageDescription=old", photo.path}});
    EXPECT_EQ(old.status, 0) << old.errors;
    return photo;
  }
};

TEST_F(HostileEnvironmentTest, AUsersConfigurationOfExiftoolKeepsNoOldValue) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const TemporaryFolder home;
  writeFile(home / ".ExifTool_config", "%Image::ExifTool::UserDefined::Options = (WriteMode => 'cg');\n1;\n");
  // The name decides between the session and a process for the file alone.
  const std::vector<Photo> photos{addOldPhoto("a.jpg"), addOldPhoto("b\n.jpg")};
  const auto result = writeIn({{"HOME", home.path().string()}});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(result.output, "2 dated · 2 tagged · 2 JSON removed\n");
  for (const Photo& photo : photos) EXPECT_TRUE(carries(metadataOf(photo.path), photo.wanted));
}

TEST_F(HostileEnvironmentTest, VariablesThatChangePerlDoNotReachExiftool) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const Photo photo = addPhoto("a.jpg");
  const auto result = writeIn({{"PERL5OPT", "-MNoModuleOfThisName"}});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(result.output, "1 dated · 1 tagged · 1 JSON removed\n");
  EXPECT_TRUE(carries(metadataOf(photo.path), photo.wanted));
}

TEST_F(HostileEnvironmentTest, ATimeZoneMovesNoDateOfAFilm) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const std::vector<Photo> films{addPhoto("a.mp4"), addPhoto("b\n.mp4")};
  EXPECT_EQ(writeIn({{"TZ", "EST5"}}).status, 0);
  for (const Photo& film : films) {
    const auto taken = fromEpoch(static_cast<double>(film.wanted.takenTime.value()));
    for (const char* tag : {"QuickTime:CreateDate", "Track1:TrackCreateDate", "Track1:MediaModifyDate"}) {
      EXPECT_THAT(metadataValue(metadataOf(film.path), tag),
                  testing::StartsWith(MetadataWriter::exifStamp(taken)))
          << tag;
    }
  }
}

}  // namespace
}  // namespace tollbrook::test
