// What only Linux has: attributes set from outside the engine, and the XDG folders.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "Support/TemporaryFolder.h"
#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"

/// The attribute by which NTFS-3G tells and takes a file's creation date, on a disk that has none.
static std::optional<std::string> ntfsCreationDate;

static bool isNtfsCreationDate(const char* name) {
  return ntfsCreationDate && std::string_view(name) == "system.ntfs_crtime_be";
}

extern "C" ssize_t fgetxattr(int descriptor, const char* name, void* value, size_t size) noexcept {
  if (isNtfsCreationDate(name))
    return static_cast<ssize_t>(ntfsCreationDate->copy(static_cast<char*>(value), size));
  return syscall(SYS_fgetxattr, descriptor, name, value, size);
}

extern "C" int fsetxattr(int descriptor, const char* name, const void* value, size_t size,
                         int flags) noexcept {
  if (!isNtfsCreationDate(name))
    return static_cast<int>(syscall(SYS_fsetxattr, descriptor, name, value, size, flags));
  ntfsCreationDate->assign(static_cast<const char*>(value), size);
  return 0;
}

namespace tollbrook::Platform {
namespace {

using test::TemporaryFolder;

TEST(FileAttributesOnLinux, IncludeExtendedAttributesOfAnySize) {
  const TemporaryFolder folder;
  test::writeFile(folder / "old.jpg", "x");
  test::writeFile(folder / "new.jpg", "x");
  const Files::Descriptor old(open((folder / "old.jpg").c_str(), O_RDWR | O_CLOEXEC));
  const Files::Descriptor fresh(open((folder / "new.jpg").c_str(), O_RDWR | O_CLOEXEC));
  const std::string large(3000, 'v');
  if (fsetxattr(old.get(), "user.tag", "holiday", 7, 0) != 0 && errno == ENOTSUP) {
    GTEST_SKIP() << "the temporary folder's file system keeps no extended attributes";
  }
  ASSERT_EQ(fsetxattr(old.get(), "user.large", large.data(), large.size(), 0), 0);
  ASSERT_EQ(fsetxattr(fresh.get(), "user.stray", "x", 1, 0), 0);
  ASSERT_FALSE(applyAttributes(fresh.get(), readAttributes(old.get()).value()));
  EXPECT_EQ(readAttributes(fresh.get()), readAttributes(old.get()));
  ASSERT_EQ(readAttributes(fresh.get())->extended.size(), 2u);
  EXPECT_EQ(readAttributes(fresh.get())->extended.front().second, large);
}

// 2019-07-01 12:00:00.5 UTC in steps of 100 ns since 1601.
constexpr std::uint64_t creationSteps = 132064560005000000;
const TimePoint creation = fromEpoch(1561982400.5);

TEST(SetFileDatesOnLinux, SetsTheCreationDateOfAnSmbShare) {
  const TemporaryFolder folder;
  test::writeFile(folder / "a.jpg", "x");
  std::uint64_t held = 0;
  if (setxattr((folder / "a.jpg").c_str(), "user.cifs.creationtime", &held, sizeof held, 0) != 0) {
    GTEST_SKIP() << "the temporary folder's file system keeps no extended attributes";
  }
  ASSERT_FALSE(setFileDates(folder / "a.jpg", creation));
  ASSERT_EQ(getxattr((folder / "a.jpg").c_str(), "user.cifs.creationtime", &held, sizeof held), 8);
  EXPECT_EQ(held, creationSteps);
}

TEST(SetFileDatesOnLinux, SetsTheCreationDateOfAnNtfsVolume) {
  const TemporaryFolder folder;
  test::writeFile(folder / "a.jpg", "x");
  ntfsCreationDate = std::string(8, '\0');
  ASSERT_FALSE(setFileDates(folder / "a.jpg", creation));
  std::uint64_t held = 0;
  for (const char byte : *ntfsCreationDate) held = held << 8 | static_cast<unsigned char>(byte);
  ntfsCreationDate.reset();
  EXPECT_EQ(held, creationSteps);
}

TEST(IsOpenElsewhere, IsTrueWhileAnotherProgramHasTheFileOpen) {
  const TemporaryFolder folder;
  test::writeFile(folder / "a.jpg_exiftool_tmp", "x");
  const Files::Descriptor directory(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  EXPECT_FALSE(isOpenElsewhere(directory.get(), "a.jpg_exiftool_tmp"));
  for (const int mode : {O_RDONLY, O_WRONLY}) {
    // A stopped writer is no dead writer.
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const Files::Descriptor reader(ends[0]);
    Files::Descriptor writer(ends[1]);
    const pid_t other = fork();
    if (other == 0) {
      open((folder / "a.jpg_exiftool_tmp").c_str(), mode);
      [[maybe_unused]] const ssize_t told = write(writer.get(), "x", 1);
      while (true) pause();
    }
    char ready = 0;
    EXPECT_EQ(read(reader.get(), &ready, 1), 1);
    EXPECT_TRUE(isOpenElsewhere(directory.get(), "a.jpg_exiftool_tmp")) << mode;
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
    EXPECT_FALSE(isOpenElsewhere(directory.get(), "a.jpg_exiftool_tmp")) << mode;
  }
}

TEST(IsOpenElsewhere, IsFalseForWhatCannotBeOpened) {
  const TemporaryFolder folder;
  const Files::Descriptor directory(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  EXPECT_FALSE(isOpenElsewhere(directory.get(), "missing"));
}

TEST(ApplicationSupportFolderOnLinux, FollowsXdgDataHomeWhenItIsAbsolute) {
  setenv("XDG_DATA_HOME", "/data/somebody", 1);
  EXPECT_EQ(applicationSupportFolder(), "/data/somebody");
  setenv("XDG_DATA_HOME", "relative", 1);
  EXPECT_NE(applicationSupportFolder(), "relative");
  unsetenv("XDG_DATA_HOME");
  const char* home = std::getenv("HOME");
  ASSERT_NE(home, nullptr);
  EXPECT_EQ(applicationSupportFolder(), std::filesystem::path(home) / ".local/share");
}

}  // namespace
}  // namespace tollbrook::Platform
