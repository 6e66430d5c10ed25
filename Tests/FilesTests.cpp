#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "Support/JobStore.h"
#include "Support/Names.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook {
namespace {

namespace fs = std::filesystem;
using Files::errorOf;
using test::FullDisk;
using test::namesIn;
using test::readFile;
using test::TemporaryFolder;
using test::writeFile;

constexpr std::size_t noLimit = std::size_t{1} << 30;

TEST(StandardizedPath, ResolvesDotsByTextAlone) {
  EXPECT_EQ(Files::standardized("/a/./b"), "/a/b");
  EXPECT_EQ(Files::standardized("/a/x/../b"), "/a/b");
  EXPECT_EQ(Files::standardized("/a/b/."), "/a/b");
  EXPECT_EQ(Files::standardized("/a/b/x/.."), "/a/b");
  EXPECT_EQ(Files::standardized("/../a"), "/a");
  EXPECT_EQ(Files::standardized("/a//b"), "/a/b");
  EXPECT_EQ(Files::standardized("//a"), "/a");
}

TEST(StandardizedPath, HasNoTrailingSlashButTheRoot) {
  EXPECT_EQ(Files::standardized("/a/b/").native(), "/a/b");
  EXPECT_EQ(Files::standardized("/a/b///").native(), "/a/b");
  EXPECT_EQ(Files::standardized("/").native(), "/");
  EXPECT_EQ(Files::standardized("/a/..").native(), "/");
  EXPECT_EQ(Files::standardized("///").native(), "/");
}

TEST(StandardizedPath, KeepsNamesThatOnlyLookLikeDots) {
  for (const char* path : {"/...", "/a/.hidden", "/a/..b/c", "/a/b..", "/a b/ü", "/a\n/b", "/a/\xff"}) {
    EXPECT_EQ(Files::standardized(path).native(), path);
  }
}

TEST(StandardizedPath, IsAbsoluteAgainstTheCurrentFolder) {
  EXPECT_EQ(Files::standardized("x/../y"), fs::current_path() / "y");
  EXPECT_EQ(Files::standardized("."), fs::current_path());
  EXPECT_EQ(Files::standardized(""), "");
}

TEST(StandardizedPath, KeepsLinks) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "real");
  fs::create_directory_symlink(folder / "real", folder / "link");
  EXPECT_EQ(Files::standardized(folder / "link/"), folder / "link");
}

TEST(Descriptor, ClosesItsFileAndOnlyOnce) {
  Files::Descriptor file(open("/dev/null", O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(file);
  const int number = file.get();
  EXPECT_FALSE(file.close());
  EXPECT_FALSE(file);
  EXPECT_EQ(fcntl(number, F_GETFD), -1);
  EXPECT_FALSE(file.close());
}

TEST(Descriptor, HandsItsFileOverWhenMoved) {
  Files::Descriptor first(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int number = first.get();
  Files::Descriptor second(std::move(first));
  EXPECT_EQ(second.get(), number);
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): that is the point
  {
    Files::Descriptor third;
    third = std::move(second);
    EXPECT_EQ(third.get(), number);
  }
  EXPECT_EQ(fcntl(number, F_GETFD), -1);
}

TEST(Descriptor, TellsWhenClosingFails) {
  const int number = open("/dev/null", O_RDONLY | O_CLOEXEC);
  Files::Descriptor file(number);
  ::close(number);
  EXPECT_EQ(file.close(), errorOf(EBADF));
}

TEST(ReadAll, GivesTheBytesOfAFile) {
  const TemporaryFolder folder;
  const std::string bytes = std::string("a\0b\n", 4) + std::string(100000, 'x');
  writeFile(folder / "file", bytes);
  std::string read = "something longer than nothing";
  EXPECT_FALSE(Files::readAll(folder / "file", noLimit, read));
  EXPECT_EQ(read, bytes);
}

TEST(ReadAll, GivesNothingOfAnEmptyFile) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "");
  std::string read = "old";
  EXPECT_FALSE(Files::readAll(folder / "file", noLimit, read));
  EXPECT_EQ(read, "");
}

TEST(ReadAll, TakesAFileOfExactlyTheLimitAndNoLargerOne) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "12345");
  std::string read;
  EXPECT_FALSE(Files::readAll(folder / "file", 5, read));
  EXPECT_EQ(read, "12345");
  EXPECT_EQ(Files::readAll(folder / "file", 4, read), errorOf(EFBIG));
  EXPECT_EQ(read, "");
}

TEST(ReadAll, RefusesAHugeSparseFileWithoutTouchingMemory) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "x");
  ASSERT_EQ(truncate((folder / "file").c_str(), off_t{1} << 40), 0);
  std::string read;
  EXPECT_EQ(Files::readAll(folder / "file", noLimit, read), errorOf(EFBIG));
  EXPECT_LT(read.capacity(), 1000u);
}

TEST(ReadAll, FollowsALinkToAFile) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "x");
  fs::create_symlink(folder / "file", folder / "link");
  std::string read;
  EXPECT_FALSE(Files::readAll(folder / "link", noLimit, read));
  EXPECT_EQ(read, "x");
}

TEST(ReadAll, RefusesWhatIsNoRegularFileWithoutWaiting) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  std::string read;
  EXPECT_EQ(Files::readAll(folder / "fifo", noLimit, read), errorOf(EINVAL));
  EXPECT_EQ(Files::readAll(folder.path(), noLimit, read), errorOf(EISDIR));
  EXPECT_EQ(Files::readAll("/dev/zero", noLimit, read), errorOf(EINVAL));
  EXPECT_EQ(Files::readAll(folder / "none", noLimit, read), errorOf(ENOENT));
  EXPECT_EQ(Files::readAll(folder / "fifo/none", noLimit, read), errorOf(ENOTDIR));
}

TEST(ReadAll, OfADescriptorStartsAtTheBeginning) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "12345");
  const Files::Descriptor file(open((folder / "file").c_str(), O_RDWR | O_CLOEXEC));
  lseek(file.get(), 0, SEEK_END);
  std::string read;
  EXPECT_FALSE(Files::readAll(file.get(), noLimit, read));
  EXPECT_EQ(read, "12345");
}

TEST(ReadAll, ReadsAFileThatDoesNotTellItsSize) {
  if (!fs::exists("/proc/self/status")) GTEST_SKIP() << "there is no /proc here";
  std::string read;
  EXPECT_FALSE(Files::readAll("/proc/self/status", noLimit, read));
  EXPECT_NE(read.find("Pid:"), std::string::npos);
  EXPECT_EQ(Files::readAll("/proc/self/status", 10, read), errorOf(EFBIG));
}

TEST(WriteAll, CrossesShortWrites) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const Files::Descriptor reader(ends[0]);
  Files::Descriptor writer(ends[1]);
  const std::string bytes(1 << 20, 'x');  // many times what a pipe takes at once
  std::string received;
  std::thread drain([&] {
    char piece[1000];
    for (ssize_t got; (got = read(reader.get(), piece, sizeof piece)) > 0;) {
      received.append(piece, static_cast<std::size_t>(got));
    }
  });
  EXPECT_FALSE(Files::writeAll(writer.get(), bytes));
  writer.close();
  drain.join();
  EXPECT_EQ(received.size(), bytes.size());
}

TEST(WriteAll, ReportsTheError) {
  const Files::Descriptor file(open("/dev/null", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(Files::writeAll(file.get(), "x"), errorOf(EBADF));
  EXPECT_FALSE(Files::writeAll(file.get(), ""));
}

TEST(MakeFolders, MakesEveryMissingFolderForThisUserOnly) {
  const TemporaryFolder folder;
  EXPECT_FALSE(Files::makeFolders(folder / "a/b/c"));
  EXPECT_TRUE(fs::is_directory(folder / "a/b/c"));
  for (const char* made : {"a", "a/b", "a/b/c"}) {
    EXPECT_EQ(fs::status(folder / made).permissions(), fs::perms::owner_all) << made;
  }
}

TEST(MakeFolders, LeavesWhatIsThere) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "a");
  const auto before = fs::status(folder / "a").permissions();
  EXPECT_FALSE(Files::makeFolders(folder / "a"));
  EXPECT_FALSE(Files::makeFolders(folder / "a/"));
  EXPECT_FALSE(Files::makeFolders("/"));
  EXPECT_EQ(fs::status(folder / "a").permissions(), before);
}

TEST(MakeFolders, FollowsALinkToAFolder) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "real");
  fs::create_directory_symlink(folder / "real", folder / "link");
  EXPECT_FALSE(Files::makeFolders(folder / "link/a"));
  EXPECT_TRUE(fs::is_directory(folder / "real/a"));
}

TEST(MakeFolders, RefusesAFileInAFoldersPlace) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "x");
  EXPECT_EQ(Files::makeFolders(folder / "file"), errorOf(ENOTDIR));
  EXPECT_EQ(Files::makeFolders(folder / "file/a/b"), errorOf(ENOTDIR));
  fs::create_symlink("nowhere", folder / "dangling");
  EXPECT_EQ(Files::makeFolders(folder / "dangling"), errorOf(ENOTDIR));
  EXPECT_EQ(Files::makeFolders(""), errorOf(ENOENT));
  EXPECT_EQ(readFile(folder / "file"), "x");
}

TEST(Replace, MakesANewFile) {
  const TemporaryFolder folder;
  EXPECT_FALSE(Files::replace(folder / "file", folder / "file.tmp", "new"));
  EXPECT_EQ(readFile(folder / "file"), "new");
  EXPECT_EQ(namesIn(folder.path()).size(), 1u);
}

TEST(Replace, PutsAnotherFileInThePlaceOfTheOldOne) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old and longer");
  fs::create_hard_link(folder / "file", folder / "other");
  EXPECT_FALSE(Files::replace(folder / "file", folder / "file.tmp", "new"));
  EXPECT_EQ(readFile(folder / "file"), "new");
  EXPECT_EQ(readFile(folder / "other"), "old and longer") << "the old file's bytes were overwritten";
}

TEST(Replace, OverwritesALeftoverTemporary) {
  const TemporaryFolder folder;
  writeFile(folder / "file.tmp", "a longer leftover of a crash");
  EXPECT_FALSE(Files::replace(folder / "file", folder / "file.tmp", "new"));
  EXPECT_EQ(readFile(folder / "file"), "new");
  EXPECT_EQ(namesIn(folder.path()).size(), 1u);
}

TEST(Replace, NeverWritesThroughALink) {
  const TemporaryFolder folder;
  writeFile(folder / "photo", "photo");
  fs::create_symlink(folder / "photo", folder / "file.tmp");
  EXPECT_EQ(Files::replace(folder / "file", folder / "file.tmp", "new"), errorOf(ELOOP));
  EXPECT_EQ(readFile(folder / "photo"), "photo");
  EXPECT_FALSE(fs::exists(folder / "file"));
}

TEST(Replace, NeverWaitsOnAFifo) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "file.tmp").c_str(), 0600), 0);
  EXPECT_EQ(Files::replace(folder / "file", folder / "file.tmp", "new"), errorOf(ENXIO));
  EXPECT_FALSE(fs::exists(folder / "file"));
}

TEST(Replace, OnAFullDiskKeepsTheOldFileAndRemovesTheTemporary) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old");
  {
    const FullDisk full(4096);
    EXPECT_EQ(Files::replace(folder / "file", folder / "file.tmp", std::string(10000, 'x')), errorOf(EFBIG));
  }
  EXPECT_EQ(readFile(folder / "file"), "old");
  EXPECT_EQ(namesIn(folder.path()).size(), 1u);
}

TEST(Replace, WhereTheNameIsTakenByAFolderRemovesTheTemporary) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "file");
  EXPECT_TRUE(Files::replace(folder / "file", folder / "file.tmp", "new"));
  EXPECT_TRUE(fs::is_directory(folder / "file"));
  EXPECT_EQ(namesIn(folder.path()).size(), 1u);
}

TEST(Replace, InAMissingFolderIsAnError) {
  const TemporaryFolder folder;
  EXPECT_EQ(Files::replace(folder / "none/file", folder / "none/file.tmp", "new"), errorOf(ENOENT));
}

TEST(SyncFolder, TakesFoldersOnly) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "x");
  EXPECT_FALSE(Files::syncFolder(folder.path()));
  EXPECT_EQ(Files::syncFolder(folder / "file"), errorOf(ENOTDIR));
  EXPECT_EQ(Files::syncFolder(folder / "none"), errorOf(ENOENT));
}

TEST(SyncFolder, ForgivesAFileSystemThatCannotForceFolders) {
  if (!fs::exists("/proc/self")) GTEST_SKIP() << "there is no /proc here";
  EXPECT_FALSE(Files::syncFolder("/proc/self"));
}

Files::Descriptor openFolder(const fs::path& folder) {
  return Files::Descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

TEST(IsAt, TellsAFolderFromAnotherAndFromNone) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "other");
  fs::create_directory_symlink(folder.path(), folder / "link");
  const auto open = openFolder(folder.path());
  std::error_code error;
  EXPECT_TRUE(Files::isAt(open.get(), folder.path(), error));
  EXPECT_TRUE(Files::isAt(open.get(), folder / "link", error));
  EXPECT_FALSE(Files::isAt(open.get(), folder / "other", error));
  EXPECT_FALSE(Files::isAt(open.get(), folder / "none", error));
  EXPECT_FALSE(error);
}

TEST(IsAt, SaysWhyItCannotTell) {
  const TemporaryFolder folder;
  fs::create_symlink("loop", folder / "loop");
  const auto open = openFolder(folder.path());
  std::error_code error;
  EXPECT_FALSE(Files::isAt(open.get(), folder / "loop", error));
  EXPECT_EQ(error, errorOf(ELOOP));
  EXPECT_FALSE(Files::isAt(-1, folder.path(), error));
  EXPECT_EQ(error, errorOf(EBADF));
}

TEST(Lock, ExcludesTheNextOneUntilItGoes) {
  const TemporaryFolder folder;
  const auto first = openFolder(folder.path());
  const auto second = openFolder(folder.path());
  Files::Lock other;
  {
    Files::Lock lock;
    EXPECT_EQ(lock.tryAcquire(first.get()), Files::Lock::Outcome::held);
    EXPECT_TRUE(lock);
    EXPECT_EQ(other.tryAcquire(second.get()), Files::Lock::Outcome::taken);
    EXPECT_FALSE(other);
  }
  EXPECT_EQ(other.tryAcquire(second.get()), Files::Lock::Outcome::held);
}

TEST(Lock, IsHandedOverWhenMoved) {
  const TemporaryFolder folder;
  const auto first = openFolder(folder.path());
  const auto second = openFolder(folder.path());
  Files::Lock lock;
  ASSERT_EQ(lock.tryAcquire(first.get()), Files::Lock::Outcome::held);
  Files::Lock moved(std::move(lock));
  Files::Lock other;
  EXPECT_EQ(other.tryAcquire(second.get()), Files::Lock::Outcome::taken);
  moved.release();
  EXPECT_EQ(other.tryAcquire(second.get()), Files::Lock::Outcome::held);
}

TEST(Lock, IsGoneWhenReleasedThoughAChildStillHasTheFolder) {
  const TemporaryFolder folder;
  const auto first = openFolder(folder.path());
  const Files::Descriptor inherited(dup(first.get()));
  {
    Files::Lock lock;
    ASSERT_EQ(lock.tryAcquire(first.get()), Files::Lock::Outcome::held);
  }
  const auto second = openFolder(folder.path());
  Files::Lock other;
  EXPECT_EQ(other.tryAcquire(second.get()), Files::Lock::Outcome::held);
}

TEST(Lock, IsUnsupportedWhereThereIsNothingToLock) {
  Files::Lock lock;
  EXPECT_EQ(lock.tryAcquire(-1), Files::Lock::Outcome::unsupported);
  EXPECT_FALSE(lock);
}

}  // namespace
}  // namespace tollbrook
