#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "Support/SafetyTest.h"
#include "TollbrookCore/ExifTool.h"

namespace tollbrook::test {
namespace {

/// What belongs to a photo beside its picture and metadata. Each test on both routes: exiftool's session, and
/// an exiftool of its own for a path that no command can name.
class PreservationTest : public SafetyTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    TOLLBROOK_NEEDS_EXIFTOOL();
    photo_ = addPhoto(GetParam());
  }

  void writeAll() {
    const auto result = run({"write", root(), "--quiet"});
    ASSERT_EQ(result.status, 0) << result.errors;
    const nlohmann::json metadata = metadataOf(photo_.path);
    EXPECT_TRUE(carries(metadata, photo_.wanted));
    EXPECT_TRUE(isDated(photo_.path, photo_.wanted));
  }

  struct stat status() const {
    struct stat found {};
    EXPECT_EQ(stat(photo_.path.c_str(), &found), 0);
    return found;
  }

  Photo photo_;
};

TEST_P(PreservationTest, TheModeSurvives) {
  for (const mode_t mode : {0640u, 0444u, 0600u, 0777u}) {
    ASSERT_EQ(chmod(photo_.path.c_str(), mode), 0);
    ASSERT_EQ(run({"forget", root()}).status, 0);
    ASSERT_EQ(utimensat(AT_FDCWD, photo_.path.c_str(), nullptr, 0), 0);
    writeAll();
    EXPECT_EQ(status().st_mode & 07777, mode);
  }
}

TEST_P(PreservationTest, TheOwnerSurvives) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away: nothing was tested here";
  ASSERT_EQ(chown(photo_.path.c_str(), 1234, 5678), 0);
  ASSERT_EQ(chmod(photo_.path.c_str(), 0604), 0);
  writeAll();
  EXPECT_EQ(status().st_uid, 1234u);
  EXPECT_EQ(status().st_gid, 5678u);
  EXPECT_EQ(status().st_mode & 07777, 0604u);
}

TEST_P(PreservationTest, ExtendedAttributesSurvive) {
  const std::string tags("holiday\0sea", 11);
  if (setxattr(photo_.path.c_str(), "user.xdg.tags", tags.data(), tags.size(), 0) != 0 && errno == ENOTSUP) {
    GTEST_SKIP() << "this file system has no extended attributes: nothing was tested here";
  }
  const std::string large(2000, 'c');
  ASSERT_EQ(setxattr(photo_.path.c_str(), "user.xdg.comment", large.data(), large.size(), 0), 0);
  ASSERT_EQ(setxattr(photo_.path.c_str(), "user.empty", "", 0, 0), 0);
  writeAll();
  std::string value(4096, '\0');
  const auto attribute = [&](const char* name) {
    const ssize_t size = getxattr(photo_.path.c_str(), name, value.data(), value.size());
    return size < 0 ? "absent" : value.substr(0, static_cast<std::size_t>(size));
  };
  EXPECT_EQ(attribute("user.xdg.tags"), tags);
  EXPECT_EQ(attribute("user.xdg.comment"), large);
  EXPECT_EQ(attribute("user.empty"), "");
}

TEST_P(PreservationTest, TheAccessControlListSurvives) {
  const auto list = [&] {
    return Program::run({.program = "getfacl", .arguments = {"-cpn", photo_.path.string()}}).output;
  };
  const auto set = Program::run(
      {.program = "setfacl", .arguments = {"-m", "u:1234:rw,g:5678:r,m::rw", photo_.path.string()}});
  if (set.status != 0) GTEST_SKIP() << "no access control list can be set here: " << set.errors;
  const std::string before = list();
  ASSERT_NE(before.find("user:1234:rw-"), std::string::npos) << before;
  writeAll();
  EXPECT_EQ(list(), before);
}

constexpr std::array photoNames{"a.jpg", "b.png", "c.mp4", "line\nfeed.jpg"};
constexpr std::array testNames{"Jpeg", "Png", "Mp4", "OneShot"};

INSTANTIATE_TEST_SUITE_P(BothRoutes, PreservationTest, testing::ValuesIn(photoNames),
                         [](const auto& tested) { return testNames[tested.index]; });

}  // namespace
}  // namespace tollbrook::test
