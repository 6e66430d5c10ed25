#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "Support/Fixtures.h"
#include "Support/SafetyTest.h"
#include "TollbrookCore/ExifTool.h"

namespace tollbrook::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class HostileNameTest : public SafetyTest {
 protected:
  /// Whether the photo, whatever it is called, has all that its sidecar wanted.
  static void expectRestored(const Photo& photo) {
    SCOPED_TRACE(testing::PrintToString(photo.path.native()));
    EXPECT_TRUE(carries(metadataOf(photo.path), photo.wanted));
    EXPECT_TRUE(isDated(photo.path, photo.wanted));
    EXPECT_TRUE(imageDataOf(photo.path) == photo.imageData);
  }
};

TEST_F(HostileNameTest, ALineBreakFollowedByOptionsRunsNoneOfThem) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  TemporaryFolder here;
  writeFile(here / "canary.jpg", tinyJpeg());
  const auto caption = Program::run({.program = "exiftool",
                                     .arguments = {"-overwrite_original", "-Comment=alive", "canary.jpg"},
                                     .folder = here.path()});
  ASSERT_EQ(caption.status, 0) << caption.errors;
  const std::string canary = readFile(here / "canary.jpg");
  std::vector<Photo> photos;
  const std::string attack = "\n-overwrite_original\n-all=\ncanary.jpg\n-execute\n";
  photos.push_back(addPhoto("a" + attack + "b.jpg"));
  photos.push_back(addPhoto("folder" + attack + "/c.jpg"));
  photos.push_back(addPhoto("d\r-all=\rcanary.jpg\r-execute\r.jpg"));
  photos.push_back(addPhoto("e\n-o\nstolen.jpg\n.jpg"));
  photos.push_back(addPhoto("f\n-stay_open\nFalse\n.jpg"));
  photos.push_back(addPhoto("g.jpg"));
  auto call = command({"write", root(), "--quiet"});
  call.folder = here.path();
  const auto result = Program::run(call);
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(readFile(here / "canary.jpg") == canary);
  EXPECT_FALSE(std::filesystem::exists(here / "stolen.jpg"));
  for (const Photo& photo : photos) expectRestored(photo);
  EXPECT_THAT(leftovers(), IsEmpty());
  // What no line can carry is in no line, and found finished by its dates.
  EXPECT_EQ(finished().size(), 2u);
  const auto again = run({"write", root(), "--quiet", "--json"});
  const auto outcome = nlohmann::json::parse(again.output);
  EXPECT_EQ(outcome["alreadyDone"], 2);
  EXPECT_EQ(outcome["skipped"], 4);
  EXPECT_EQ(outcome["failed"], 0);
}

TEST_F(HostileNameTest, ACarriageReturnAtTheEndChangesNoNeighbour) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  writeFile(*this / "a.jpg", tinyJpeg());
  addPhoto("a.jpg\r");
  writeFile(*this / "folder/b.jpg", tinyJpeg());
  const Photo inFolder = addPhoto("folder\r/b.jpg");
  EXPECT_EQ(run({"write", root(), "--quiet"}).status, 0);
  EXPECT_TRUE(readFile(*this / "a.jpg") == tinyJpeg());
  EXPECT_TRUE(readFile(*this / "folder/b.jpg") == tinyJpeg());
  expectRestored(inFolder);
}

TEST_F(HostileNameTest, NamesThatMeanSomethingToExiftoolAreNames) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  std::vector<Photo> photos;
  for (const char* name : {"-all=.jpg", "-execute.jpg", "#comment.jpg", "@list.jpg", " space.jpg", "%d%f.jpg",
                           "-@.jpg", "a*?[b].jpg", "$HOME`id`.jpg", "\\.jpg", "\"'.jpg", "- /-.jpg"}) {
    photos.push_back(addPhoto(name));
  }
  auto call = command({"write", ".", "--quiet"});
  call.folder = root();
  const auto result = Program::run(call);
  EXPECT_EQ(result.status, 0) << result.errors;
  for (const Photo& photo : photos) expectRestored(photo);
  // A line that begins with "#" is a comment to whoever reads the list.
  EXPECT_EQ(finished().size(), photos.size() - 1);
}

TEST_F(HostileNameTest, NamesThatAreNoTextAreWritten) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  std::vector<Photo> photos;
  for (const char* name : {"\xff\xfe.jpg", "caf\xe9.jpg", "\xe9t\xe9/a.jpg"}) {
    try {
      photos.push_back(addPhoto(name));
    } catch (const std::filesystem::filesystem_error& error) {
      GTEST_SKIP() << "this file system wants names that are text: nothing was tested here";
    }
  }
  const auto result = run({"write", root(), "--quiet"});
  EXPECT_EQ(result.status, 0) << result.errors;
  for (const Photo& photo : photos) expectRestored(photo);
  EXPECT_THAT(finished(), IsEmpty());
}

TEST_F(HostileNameTest, ATornLineNeverBecomesAnotherName) {
  ASSERT_EQ(run({"write", root(), "--quiet", "--no-embedded"}).status, 0);
  std::ofstream(job() / "done.log", std::ios::app) << "IMG_1";
  const Photo second = addPhoto("2.jpg");
  EXPECT_EQ(run({"write", root(), "--quiet", "--no-embedded"}).status, 0);
  EXPECT_EQ(readFile(job() / "done.log"), "v1\n2.jpg\n");
  const Photo twelfth = addPhoto("IMG_12.jpg");
  EXPECT_EQ(run({"write", root(), "--quiet", "--no-embedded"}).status, 0);
  EXPECT_THAT(finished(), ElementsAre("2.jpg", "IMG_12.jpg"));
  EXPECT_TRUE(isDated(second.path, second.wanted));
  EXPECT_TRUE(isDated(twelfth.path, twelfth.wanted));
}

}  // namespace
}  // namespace tollbrook::test
