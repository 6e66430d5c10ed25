#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

#include "Support/SafetyTest.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

/// A small file system of its own, for as long as this lives.
class SmallDisk {
 public:
  explicit SmallDisk(const std::filesystem::path& at) : path_(at) {
    mounted_ = mount("none", at.c_str(), "tmpfs", 0, "size=512k") == 0;
  }
  ~SmallDisk() {
    if (mounted_) umount2(path_.c_str(), MNT_DETACH);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  explicit operator bool() const { return mounted_; }

  void fill() const {
    const Files::Descriptor filler(
        open((path_ / "filler").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    const std::string page(4096, 'f');
    while (write(filler.get(), page.data(), page.size()) > 0) {
    }
    ASSERT_EQ(errno, ENOSPC);
  }
  void makeRoom() const { std::filesystem::remove(path_ / "filler"); }
  bool becomeReadOnly() const {
    return mount("none", path_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  }

 private:
  std::filesystem::path path_;
  bool mounted_;
};

#define TOLLBROOK_NEEDS_DISK(disk) \
  if (!(disk)) GTEST_SKIP() << "this user may not mount a file system: nothing was tested here"

class FullDiskTest : public SafetyTest {
 protected:
  /// Exit status 2, one clear line, no photo touched.
  void expectRefused(const Program::Result& result) const {
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.starts_with("tollbrook-cli: ")) << result.errors;
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
    expectUntouched();
  }

  void expectUntouched() const {
    for (const Photo& photo : photos_) {
      EXPECT_FALSE(isDated(photo.path, photo.wanted));
      EXPECT_TRUE(imageDataOf(photo.path) == photo.imageData);
      EXPECT_TRUE(std::filesystem::exists(sidecarOf(photo.path)));
    }
    EXPECT_THAT(leftovers(), IsEmpty());
  }

  void addPhotos(const std::string& folder = "") {
    for (const char* name : {"a.jpg", "b.png", "c.mp4"}) photos_.push_back(addPhoto(folder + name));
  }

  const std::vector<std::string> writing_{"write", root(), "--quiet", "--delete-sidecars"};
  std::vector<Photo> photos_;
};

TEST_F(FullDiskTest, NothingIsWrittenWhenTheJobStoreIsFull) {
  const SmallDisk disk(store());
  TOLLBROOK_NEEDS_DISK(disk);
  addPhotos();
  disk.fill();
  const auto result = run(writing_);
  expectRefused(result);
  EXPECT_NE(result.errors.find("No space left on device"), std::string::npos) << result.errors;
  disk.makeRoom();
  EXPECT_EQ(run(writing_).status, 0);
  for (const Photo& photo : photos_) EXPECT_TRUE(isDated(photo.path, photo.wanted));
}

TEST_F(FullDiskTest, NothingIsWrittenWhenTheJobStoreIsReadOnly) {
  const SmallDisk disk(store());
  const bool readOnly = disk ? disk.becomeReadOnly() : geteuid() != 0 && chmod(store().c_str(), 0555) == 0;
  if (!readOnly) GTEST_SKIP() << "this user cannot make a job store read-only: nothing was tested here";
  addPhotos();
  expectRefused(run(writing_));
  EXPECT_EQ(run({"jobs"}).output, "No jobs.\n");
}

TEST_F(FullDiskTest, NoPhotoIsDamagedAndNoSidecarDeletedOnAFullDisk) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  std::filesystem::create_directory(*this / "disk");
  const SmallDisk disk(*this / "disk");
  TOLLBROOK_NEEDS_DISK(disk);
  addPhotos("disk/");
  addPhotos("disk/line\nfeed/");
  disk.fill();
  std::vector<std::string> before;
  for (const Photo& photo : photos_) before.push_back(readFile(photo.path));
  const auto result = run(writing_);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, std::to_string(photos_.size()) + " failed\n");
  for (std::size_t i = 0; i < photos_.size(); ++i) {
    EXPECT_TRUE(readFile(photos_[i].path) == before[i]) << photos_[i].path;
    EXPECT_TRUE(std::filesystem::exists(sidecarOf(photos_[i].path))) << photos_[i].path;
  }
  EXPECT_THAT(leftovers(), IsEmpty());
  EXPECT_THAT(finished(), IsEmpty());
  disk.makeRoom();
  EXPECT_EQ(run(writing_).status, 0);
  expectAllRestored(photos_);
  for (const Photo& photo : photos_) EXPECT_FALSE(std::filesystem::exists(sidecarOf(photo.path)));
}

TEST_F(FullDiskTest, PhotosOfAnotherUserInAClosedFolderFailAndStayUnrecorded) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user: nothing was tested here";
  addPhotos();
  std::filesystem::permissions(root(), std::filesystem::perms(0755));
  ASSERT_EQ(chmod(store().c_str(), 0777), 0);
  auto call = command({"write", root(), "--quiet"});
  // The build may stand where that user cannot go.
  const TemporaryFolder open;
  std::filesystem::permissions(open.path(), std::filesystem::perms(0755));
  std::filesystem::copy(call.program, open / "tollbrook-cli");
  call.program = open / "tollbrook-cli";
  call.prepare = [] {
    constexpr unsigned nobody = 65534;
    return setgid(nobody) == 0 && setuid(nobody) == 0;
  };
  const auto result = Program::run(call);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, "3 failed\n");
  EXPECT_NE(result.errors.find("b.png: Could not set file dates: Operation not permitted"), std::string::npos)
      << result.errors;
  expectUntouched();
  EXPECT_THAT(finished(), IsEmpty());
}

TEST_F(FullDiskTest, WithoutExifToolNoPhotoIsDamagedEither) {
  std::filesystem::create_directory(*this / "disk");
  const SmallDisk disk(*this / "disk");
  TOLLBROOK_NEEDS_DISK(disk);
  for (const char* name : {"disk/a.jpg", "disk/b.png"}) photos_.push_back(addPhoto(name));
  const Photo film = addVideo("disk/c.mp4", 100000);
  disk.fill();
  auto call = command(writing_);
  call.program = TOLLBROOK_CLI_WITHOUT_EXIFTOOL;
  EXPECT_LE(Program::run(call).status, 1);
  EXPECT_TRUE(isDated(film.path, film.wanted)) << "nobody writes into it, so it needs no room";
  for (const Photo& photo : photos_) {
    EXPECT_TRUE(imageDataOf(photo.path) == photo.imageData) << photo.path;
    EXPECT_TRUE(std::filesystem::exists(sidecarOf(photo.path))) << photo.path;
  }
  EXPECT_THAT(leftovers(), IsEmpty());
  disk.makeRoom();
  ASSERT_EQ(run({"forget", root()}).status, 0);
  call.arguments.push_back("--rewrite-matching");
  EXPECT_EQ(Program::run(call).status, 0);
  for (const Photo& photo : photos_) {
    EXPECT_FALSE(std::filesystem::exists(sidecarOf(photo.path))) << photo.path;
    EXPECT_TRUE(imageDataOf(photo.path) == photo.imageData) << photo.path;
    EXPECT_TRUE(isDated(photo.path, photo.wanted));
    EXPECT_THAT(readFile(photo.path), HasSubstr(stampOf(photo.wanted.takenTime.value())));
  }
}

/// No file may grow beyond this, as on a full disk; works for every user.
template <rlim_t bytes>
bool limitFileSize() {
  const rlimit limit{bytes, bytes};
  return setrlimit(RLIMIT_FSIZE, &limit) == 0 && signal(SIGXFSZ, SIG_IGN) != SIG_ERR;
}

TEST_F(FullDiskTest, WithoutRoomForTheRecordNothingIsWritten) {
  addPhotos();
  auto call = command(writing_);
  call.prepare = limitFileSize<200>;
  // The message goes where there is no limit.
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const Files::Descriptor reader(ends[0]);
  Files::Descriptor writer(ends[1]);
  call.errors = writer.get();
  auto result = Program::run(call);
  writer.close();
  std::array<char, 4096> message{};
  const ssize_t size = read(reader.get(), message.data(), message.size());
  ASSERT_GT(size, 0);
  result.errors.assign(message.data(), static_cast<std::size_t>(size));
  expectRefused(result);
}

TEST_F(FullDiskTest, AMessageThatCannotBeWrittenChangesNoStatus) {
  addPhotos();
  auto call = command(writing_);
  call.prepare = limitFileSize<10>;
  EXPECT_EQ(Program::run(call).status, 2);
  expectUntouched();
}

TEST_F(FullDiskTest, AListThatCanTakeNoMoreHoldsWholeLinesAndTheRunGoesOn) {
  for (int i = 0; i < 300; ++i) photos_.push_back(addPhoto("IMG_" + std::to_string(i) + ".jpg"));
  auto call = command({"write", root(), "--quiet", "--no-embedded"});
  constexpr rlim_t limit = 1500;
  call.prepare = limitFileSize<limit>;
  const auto result = Program::run(call);
  EXPECT_EQ(result.status, 0) << result.errors;
  for (const Photo& photo : photos_) EXPECT_TRUE(isDated(photo.path, photo.wanted));
  const std::string log = readFile(job() / "done.log");
  EXPECT_LE(log.size(), limit);
  EXPECT_GT(log.size(), limit - 20);
  EXPECT_TRUE(log.ends_with(".jpg\n"));
  const auto lines = finished();
  for (const std::string& line : lines) EXPECT_TRUE(std::filesystem::exists(root() / line)) << line;
  const auto again =
      nlohmann::json::parse(run({"write", root(), "--quiet", "--no-embedded", "--json"}).output);
  EXPECT_EQ(again["alreadyDone"], lines.size());
  EXPECT_EQ(again["skipped"], photos_.size() - lines.size());
  EXPECT_EQ(finished().size(), photos_.size());
}

TEST_F(FullDiskTest, APhotoThatMayNotGrowStaysWhole) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  for (const char* name : {"a.mp4", "b.mp4", "line\nfeed.mp4"}) photos_.push_back(addPhoto(name));
  std::vector<std::string> before;
  for (const Photo& photo : photos_) before.push_back(readFile(photo.path));
  auto call = command(writing_);
  call.prepare = limitFileSize<4000>;
  EXPECT_LE(Program::run(call).status, 1);
  for (std::size_t i = 0; i < photos_.size(); ++i) {
    EXPECT_TRUE(readFile(photos_[i].path) == before[i]) << photos_[i].path;
    EXPECT_TRUE(std::filesystem::exists(sidecarOf(photos_[i].path)));
  }
  ASSERT_EQ(run({"forget", root()}).status, 0);
  auto arguments = writing_;
  arguments.push_back("--rewrite-matching");
  EXPECT_EQ(run(arguments).status, 0);
  expectAllRestored(photos_);
}

}  // namespace
}  // namespace tollbrook::test
