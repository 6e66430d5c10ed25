#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "Support/Fixtures.h"
#include "Support/JobStore.h"
#include "Support/Names.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/MetadataWriter.h"
#include "TollbrookCore/Support/Platform.h"

// How the C library promises that a function throws nothing; a definition has to repeat it.
#ifndef __THROW
#define __THROW
#endif

namespace {

/// The calls by which a file is replaced, as this program makes them: noted in their order, and failing when
/// a test wants it.
struct Calls {
  std::vector<std::string> made;
  int fsyncError = 0;   ///< what fsync of a file fails with; 0 lets it through
  int renameError = 0;  ///< the same for rename
  int copyError = 0;    ///< the same for copying ranges
  bool diesInRename = false;
};
Calls calls;

template <typename Function>
Function original(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

int fail(int error) {
  errno = error;
  return -1;
}

}  // namespace

extern "C" int fsync(int descriptor) {
  struct stat status {};
  fstat(descriptor, &status);
  calls.made.push_back(S_ISDIR(status.st_mode) ? "force folder" : "force file");
  if (calls.fsyncError != 0 && !S_ISDIR(status.st_mode)) return fail(calls.fsyncError);
  return original<int (*)(int)>("fsync")(descriptor);
}

extern "C" int rename(const char* from, const char* to) __THROW {
  calls.made.push_back("rename to " + std::filesystem::path(to).filename().native());
  if (calls.diesInRename) raise(SIGKILL);
  if (calls.renameError != 0) return fail(calls.renameError);
  return original<int (*)(const char*, const char*)>("rename")(from, to);
}

extern "C" ssize_t copy_file_range(int in, off64_t* inOffset, int out, off64_t* outOffset, std::size_t length,
                                   unsigned flags) {
  using Function = ssize_t (*)(int, off64_t*, int, off64_t*, std::size_t, unsigned);
  if (calls.copyError != 0) return fail(calls.copyError);
  return original<Function>("copy_file_range")(in, inOffset, out, outOffset, length, flags);
}

namespace tollbrook {
namespace {

using test::namesIn;
using test::readFile;
using test::TemporaryFolder;
using test::tinyJpeg;
using test::writeFile;
using testing::ElementsAre;

class ReplacingAnImage : public testing::Test {
 protected:
  void SetUp() override {
    writeFile(file_, before_);
    calls = Calls();
  }
  void TearDown() override { calls = Calls(); }

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
  EXPECT_THAT(calls.made, ElementsAre("force file", "rename to a.jpg", "force folder"));
}

TEST_F(ReplacingAnImage, LeavesItWhenTheNewFileCannotBeForcedToDisk) {
  calls.fsyncError = EIO;
  EXPECT_FALSE(write());
  EXPECT_THAT(calls.made, ElementsAre("force file"));
  expectUntouched();
}

TEST_F(ReplacingAnImage, LeavesItWhenTheNewFileCannotTakeItsName) {
  calls.renameError = EACCES;
  EXPECT_FALSE(write());
  expectUntouched();
}

TEST_F(ReplacingAnImage, WorksWhereTheSystemCopiesNoRanges) {
  calls.copyError = EXDEV;
  EXPECT_TRUE(write());
  EXPECT_TRUE(readFile(file_).ends_with(before_.substr(20)));
}

TEST_F(ReplacingAnImage, LeavesItOnAFullDisk) {
  // Beyond this size a file cannot grow.
  const pid_t child = fork();
  if (child == 0) {
    const test::FullDisk disk(100000);
    _exit(write() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  expectUntouched();
}

TEST_F(ReplacingAnImage, LeavesItWhenTheProgramDiesBeforeTheNewFileTakesItsName) {
  const pid_t child = fork();
  if (child == 0) {
    calls.diesInRename = true;
    write();
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
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
