#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

#include "Support/DiskCalls.h"
#include "Support/Fixtures.h"
#include "Support/JobStore.h"
#include "Support/Names.h"
#include "Support/Program.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/MetadataWriter.h"

namespace tollbrook {
namespace {

using test::calls;
using test::namesIn;
using test::readFile;
using test::TemporaryFolder;
using test::tinyJpeg;
using test::writeFile;
using testing::ElementsAre;
using testing::MatchesRegex;
using testing::StartsWith;

class ReplacingAnImage : public testing::Test {
 protected:
  void SetUp() override {
    writeFile(file_, before_);
    calls = {};
  }
  void TearDown() override { calls = {}; }

  bool write() const {
    return MetadataWriter::writeWithImageIO(file_, {.takenTime = fromEpoch(1561982400)}, std::nullopt);
  }

  void expectUntouched() const {
    EXPECT_TRUE(readFile(file_) == before_);
    EXPECT_THAT(namesIn(folder_.path()), ElementsAre("a.jpg"));
  }

  const TemporaryFolder folder_;
  const std::filesystem::path file_ = folder_ / "a.jpg";
  const std::string before_ = tinyJpeg() + std::string(200000, 'x');
};

TEST_F(ReplacingAnImage, ForcesTheFileThenRenamesThenForcesTheFolder) {
  EXPECT_TRUE(write());
  EXPECT_THAT(calls.made,
              ElementsAre("force file", MatchesRegex("rename \\.tollbrook-.* to a\\.jpg"), "force folder"));
}

TEST_F(ReplacingAnImage, LeavesItWhenTheNewFileCannotBeForcedToDisk) {
  calls.fsyncError = EIO;
  EXPECT_FALSE(write());
  EXPECT_THAT(calls.made, ElementsAre("force file", StartsWith("remove .tollbrook-")));
  expectUntouched();
}

TEST_F(ReplacingAnImage, LeavesItWhenTheNewFileCannotTakeItsName) {
  calls.renameError = EACCES;
  EXPECT_FALSE(write());
  expectUntouched();
}

TEST_F(ReplacingAnImage, LeavesItToWhoeverChangedItMeanwhile) {
  const std::string ofSameSize(before_.size(), 'o');
  for (const std::string& changed : {before_ + "more", ofSameSize}) {
    writeFile(file_, before_);
    calls.beforeForcing = [&] {
      // File systems count time in ticks.
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      writeFile(file_, changed);
    };
    EXPECT_FALSE(write());
    EXPECT_TRUE(readFile(file_) == changed);
    EXPECT_THAT(namesIn(folder_.path()), ElementsAre("a.jpg"));
  }
}

TEST_F(ReplacingAnImage, LeavesItToWhoeverReplacedItMeanwhile) {
  writeFile(folder_ / "other", before_);
  calls.beforeForcing = [&] {
    EXPECT_EQ(renameat(AT_FDCWD, (folder_ / "other").c_str(), AT_FDCWD, file_.c_str()), 0);
  };
  EXPECT_FALSE(write());
  expectUntouched();
  calls.beforeForcing = [&] { std::filesystem::remove(file_); };
  EXPECT_FALSE(write());
  EXPECT_TRUE(namesIn(folder_.path()).empty());
}

TEST_F(ReplacingAnImage, WorksWhereTheSystemCopiesNoRanges) {
  calls.copyError = EXDEV;
  EXPECT_TRUE(write());
  EXPECT_TRUE(readFile(file_).ends_with(before_.substr(20)));
}

TEST_F(ReplacingAnImage, LeavesItOnAFullDisk) {
  // Beyond this size a file cannot grow.
  const int status = test::statusOfChild([&] {
    const test::FullDisk disk(100000);
    return write() ? 1 : 0;
  });
  EXPECT_EQ(status, 0);
  expectUntouched();
}

TEST_F(ReplacingAnImage, LeavesItWhenTheProgramDiesBeforeTheNewFileTakesItsName) {
  const int status = test::statusOfChild([&] {
    calls.beforeRenaming = [] { raise(SIGKILL); };
    return write() ? 1 : 0;
  });
  ASSERT_EQ(status, 128 + SIGKILL);
  EXPECT_TRUE(readFile(file_) == before_);
  std::vector<std::string> left = namesIn(folder_.path());
  std::erase(left, "a.jpg");
  ASSERT_EQ(left.size(), 1u);
  EXPECT_TRUE(left.front().starts_with(".tollbrook-")) << "or nobody would know it for a leftover";
  EXPECT_TRUE(left.front().ends_with(".jpg"));
  EXPECT_EQ(left.front().size(), std::string(".tollbrook-.jpg").size() + 36);
  EXPECT_TRUE(write());
}

}  // namespace
}  // namespace tollbrook
