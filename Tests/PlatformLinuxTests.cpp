// What only Linux has: attributes set from outside the engine, and the XDG folders.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdlib>

#include "Support/TemporaryFolder.h"
#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"

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
