#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <map>

#include "Support/SafetyTest.h"
#include "Support/StandIn.h"
#include "TollbrookCore/ExifTool.h"

namespace tollbrook::test {
namespace {

constexpr const char* busy = "tollbrook-cli: Another Tollbrook is writing this folder.\n";

class TwoRunsTest : public SafetyTest {
 protected:
  void addPhotos(const std::string& folder, int count) {
    for (int i = 0; i < count; ++i) photos_.push_back(addPhoto(folder + "IMG_" + std::to_string(i) + ".jpg"));
  }

  /// Everything below the folder: bytes and modification date of each file.
  static std::map<std::string, std::pair<std::string, std::int64_t>> snapshot(
      const std::filesystem::path& folder) {
    std::map<std::string, std::pair<std::string, std::int64_t>> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      struct stat status {};
      stat(entry.path().c_str(), &status);
      files[entry.path()] = {entry.is_regular_file() ? readFile(entry.path()) : "", status.st_mtime};
    }
    return files;
  }

  std::vector<Photo> photos_;
};

TEST_F(TwoRunsTest, TheSecondOfOneFolderIsTurnedAwayAndWritesNothing) {
  addPhotos("", 400);
  Program first(command({"write", root(), "--quiet", "--no-embedded"}));
  ASSERT_TRUE(eventually([&] { return !finished().empty() || !first.isRunning(); }));
  first.send(SIGSTOP);
  ASSERT_LT(finished().size(), photos_.size());
  ASSERT_TRUE(first.isRunning());
  const auto photosBefore = snapshot(root());
  const auto storeBefore = snapshot(store());

  const auto second = run({"write", root(), "--no-embedded"});
  EXPECT_EQ(second.status, 2);
  EXPECT_EQ(second.errors, busy);
  EXPECT_EQ(second.output, "");
  const auto forget = run({"forget", root()});
  EXPECT_EQ(forget.status, 2);
  EXPECT_EQ(forget.errors, busy);
  const auto resume = run({"resume"});
  EXPECT_EQ(resume.status, 2);
  EXPECT_EQ(resume.errors, busy);
  EXPECT_EQ(run({"jobs"}).status, 0);
  EXPECT_TRUE(snapshot(root()) == photosBefore);
  EXPECT_TRUE(snapshot(store()) == storeBefore);

  first.send(SIGCONT);
  EXPECT_EQ(first.wait().status, 0);
  EXPECT_EQ(finished().size(), photos_.size());
  for (const Photo& photo : photos_) EXPECT_TRUE(isDated(photo.path, photo.wanted));
}

TEST_F(TwoRunsTest, TheLockIsFreeAtOnceWhenItsHolderIsKilled) {
  addPhotos("", 400);
  Program first(command({"write", root(), "--quiet", "--no-embedded"}));
  ASSERT_TRUE(eventually([&] { return !finished().empty() || !first.isRunning(); }));
  first.send(SIGKILL);
  ASSERT_EQ(first.wait().signal, SIGKILL);
  const auto second = run({"resume", "--quiet"});
  EXPECT_EQ(second.status, 0) << second.errors;
  EXPECT_EQ(finished().size(), photos_.size());
  for (const Photo& photo : photos_) EXPECT_TRUE(isDated(photo.path, photo.wanted));
}

TEST_F(TwoRunsTest, OfAFolderAndOneInsideItBothFinishAndLoseNothing) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  addPhotos("inner/", 120);
  addPhotos("inner/deep/", 40);
  addPhotos("", 40);
  // Without the skip test both write every file of the inner folder.
  Program outer(command({"write", root(), "--quiet", "--rewrite-matching"}));
  Program inner(command({"write", *this / "inner", "--quiet", "--rewrite-matching"}));
  int scans = 0;
  for (; outer.isRunning() || inner.isRunning(); ++scans) {
    EXPECT_EQ(run({"scan", root(), "--limit", "0"}).status, 0);
  }
  const auto outerResult = outer.wait();
  const auto innerResult = inner.wait();
  EXPECT_EQ(outerResult.status, 0) << outerResult.errors;
  EXPECT_EQ(innerResult.status, 0) << innerResult.errors;
  EXPECT_NE(outerResult.output.find("200 dated · 200 tagged"), std::string::npos) << outerResult.output;
  EXPECT_NE(innerResult.output.find("160 dated · 160 tagged"), std::string::npos) << innerResult.output;
  EXPECT_EQ(finished().size(), 200u);
  EXPECT_GT(scans, 1);
  expectAllRestored(photos_);
}

}  // namespace
}  // namespace tollbrook::test
