#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>

#include "Support/TemporaryFolder.h"
#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"

namespace tollbrook::Platform {
namespace {

using test::TemporaryFolder;

TEST(FileDates, ReadBackWhatWasSet) {
  const TemporaryFolder folder;
  test::writeFile(folder / "a.jpg", "x");
  const TimePoint date = fromEpoch(1425445567.25);
  ASSERT_FALSE(setFileDates(folder / "a.jpg", date));
  ASSERT_TRUE(fileDates(folder / "a.jpg").modification);
  EXPECT_NEAR(secondsSinceEpoch(*fileDates(folder / "a.jpg").modification), 1425445567.25, 1e-6);
}

TEST(FileDates, OfAMissingFileAreAbsentAndCannotBeSet) {
  const TemporaryFolder folder;
  EXPECT_FALSE(fileDates(folder / "a.jpg").creation);
  EXPECT_FALSE(fileDates(folder / "a.jpg").modification);
  EXPECT_EQ(setFileDates(folder / "a.jpg", fromEpoch(0)), std::errc::no_such_file_or_directory);
  EXPECT_EQ(setFileDates(folder / "a.jpg", fromEpoch(-3e9)), std::errc::no_such_file_or_directory);
}

TEST(FileDates, ThatTheFileSystemCannotHoldAreAnErrorAndLeaveTheOldOnes) {
  const TemporaryFolder folder;
  test::writeFile(folder / "a.jpg", "x");
  ASSERT_FALSE(setFileDates(folder / "a.jpg", fromEpoch(1e9)));
  int refused = 0;
  // The years 1, 1850, 2900 and 9999: most file systems hold some of them, none all of them.
  for (const double seconds : {-62135596800.0, -3786912000.0, 29348006400.0, 253402300799.0}) {
    const std::error_code error = setFileDates(folder / "a.jpg", fromEpoch(seconds));
    const double held = secondsSinceEpoch(*fileDates(folder / "a.jpg").modification);
    if (error) {
      EXPECT_EQ(error, std::errc::value_too_large);
      EXPECT_EQ(held, 1e9) << seconds;
      ++refused;
    } else {
      EXPECT_EQ(held, seconds);
      ASSERT_FALSE(setFileDates(folder / "a.jpg", fromEpoch(1e9)));
    }
  }
  EXPECT_GT(refused, 0);
}

TEST(FileDates, WithoutACalendarDateAreRefused) {
  const TemporaryFolder folder;
  test::writeFile(folder / "a.jpg", "x");
  for (const double seconds : {HUGE_VAL, -HUGE_VAL, std::nan(""), 1e300}) {
    EXPECT_EQ(setFileDates(folder / "a.jpg", fromEpoch(seconds)), std::errc::value_too_large);
  }
}

TEST(FileDates, OfALinkAreItsOwn) {
  const TemporaryFolder folder;
  test::writeFile(folder / "a.jpg", "x");
  ASSERT_FALSE(setFileDates(folder / "a.jpg", fromEpoch(1e9)));
  std::filesystem::create_symlink("a.jpg", folder / "link.jpg");
  ASSERT_FALSE(setFileDates(folder / "link.jpg", fromEpoch(5e8)));
  EXPECT_EQ(fileDates(folder / "a.jpg").modification, fromEpoch(1e9));
}

TEST(FileAttributes, AreTakenOverWhereTheyDiffer) {
  const TemporaryFolder folder;
  test::writeFile(folder / "old.jpg", "x");
  test::writeFile(folder / "new.jpg", "x");
  ASSERT_EQ(chmod((folder / "old.jpg").c_str(), 0640), 0);
  if (geteuid() == 0) {
    ASSERT_EQ(chown((folder / "old.jpg").c_str(), 1234, 2345), 0);
  }
  const Files::Descriptor old(open((folder / "old.jpg").c_str(), O_RDONLY | O_CLOEXEC));
  const Files::Descriptor fresh(open((folder / "new.jpg").c_str(), O_RDONLY | O_CLOEXEC));
  const auto wanted = readAttributes(old.get());
  ASSERT_TRUE(wanted);
  EXPECT_EQ(wanted->mode, 0640u);
  ASSERT_NE(readAttributes(fresh.get()), wanted);
  EXPECT_FALSE(applyAttributes(fresh.get(), *wanted));
  EXPECT_EQ(readAttributes(fresh.get()), wanted);
}

TEST(ApplicationSupportFolder, IsTheUsersOwn) {
  const std::string home = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
  setenv("HOME", "/home/somebody", 1);
  EXPECT_EQ(applicationSupportFolder().native().find("/home/somebody/"), 0u);
  setenv("HOME", home.c_str(), 1);
}

}  // namespace
}  // namespace tollbrook::Platform
