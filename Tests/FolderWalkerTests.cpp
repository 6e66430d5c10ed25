#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

#include "Support/OrdinaryUser.h"
#include "Support/StandIn.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/FolderWalker.h"
#include "TollbrookCore/Models.h"

namespace tollbrook::FolderWalker {
namespace {

using std::filesystem::path;
using test::openDescriptors;
using test::TemporaryFolder;
using test::writeFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

const auto never = [] { return false; };

std::vector<std::string> visited(const path& root, bool recursive = true) {
  std::vector<std::string> names;
  forEachMedia(root, recursive, never, [&](const path& media, const std::vector<std::string>&) {
    names.push_back(media.lexically_relative(root).native());
  });
  return names;
}

// The photos below a folder in the order in which the system lists directories, depth first.
void listInDirectoryOrder(const path& folder, const path& relative, std::vector<std::string>& names) {
  DIR* directory = opendir(folder.c_str());
  ASSERT_NE(directory, nullptr);
  std::vector<std::string> entries;
  while (const dirent* entry = readdir(directory)) entries.emplace_back(entry->d_name);
  closedir(directory);
  for (const std::string& name : entries) {
    if (name.starts_with('.')) continue;
    if (std::filesystem::is_directory(folder / name)) {
      listInDirectoryOrder(folder / name, relative / name, names);
    } else if (isMedia(inferMediaKindFrom(name))) {
      names.push_back(relative / name);
    }
  }
}

TEST(FolderWalker, VisitsPhotosAndVideosAndNothingElse) {
  const TemporaryFolder folder;
  for (const char* name :
       {"IMG_1.JPG", "clip.mp4", "IMG_1.json", "notes.txt", "noextension", ".hidden.jpg"}) {
    writeFile(folder / name, "x");
  }
  std::filesystem::create_directory(folder / "x.jpg");
  EXPECT_THAT(visited(folder.path()), UnorderedElementsAre("IMG_1.JPG", "clip.mp4"));
}

TEST(FolderWalker, VisitsNoLinksFifosOrDevices) {
  const TemporaryFolder folder;
  const TemporaryFolder elsewhere;
  writeFile(elsewhere / "far.jpg", "x");
  std::filesystem::create_directory_symlink(elsewhere.path(), folder / "linked");
  std::filesystem::create_symlink(elsewhere / "far.jpg", folder / "link.jpg");
  std::filesystem::create_symlink("nowhere", folder / "dangling.jpg");
  ASSERT_EQ(mkfifo((folder / "fifo.jpg").c_str(), 0600), 0);
  writeFile(folder / "near.jpg", "x");
  EXPECT_THAT(visited(folder.path()), ElementsAre("near.jpg"));
}

TEST(FolderWalker, WalksARootThatIsALinkToAFolder) {
  const TemporaryFolder folder;
  writeFile(folder / "real/sub/a.jpg", "x");
  std::filesystem::create_directory_symlink(folder / "real", folder / "link");
  EXPECT_THAT(visited(folder / "link"), ElementsAre("sub/a.jpg"));
}

TEST(FolderWalker, StaysInTheRootUnlessRecursive) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", "x");
  writeFile(folder / "sub/b.jpg", "x");
  EXPECT_THAT(visited(folder.path(), false), ElementsAre("a.jpg"));
  EXPECT_THAT(visited(folder.path(), true), UnorderedElementsAre("a.jpg", "sub/b.jpg"));
}

TEST(FolderWalker, DescendsInDirectoryOrder) {
  const TemporaryFolder folder;
  for (int i = 0; i < 40; ++i) {
    writeFile(folder / ("photo" + std::to_string(i * 7919 % 40) + ".jpg"), "x");
    writeFile(folder / ("album" + std::to_string(i * 104729 % 40)) / "inner/c.jpg", "x");
    writeFile(folder / ("album" + std::to_string(i)) / "d.jpg", "x");
  }
  std::vector<std::string> expected;
  listInDirectoryOrder(folder.path(), {}, expected);
  ASSERT_EQ(expected.size(), 120u);
  EXPECT_EQ(visited(folder.path()), expected);
}

TEST(FolderWalker, HandsOverTheJsonNamesOfTheFileSOwnFolder) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", "x");
  writeFile(folder / ".hidden.json", "x");
  writeFile(folder / "B.JSON", "x");
  writeFile(folder / "sub/c.json", "x");
  writeFile(folder / ".json", "x");
  std::filesystem::create_directory(folder / "folder.json");
  std::filesystem::create_symlink("nowhere", folder / "link.json");
  forEachMedia(folder.path(), true, never, [&](const path&, const std::vector<std::string>& names) {
    EXPECT_THAT(names, UnorderedElementsAre(".hidden.json", "B.JSON", "folder.json", "link.json"));
    EXPECT_EQ(names, SidecarMatcher::jsonFilenames(folder.path()));
  });
}

TEST(FolderWalker, GivesEveryFileOfAFolderTheSameNamesWhateverIsDeletedMeanwhile) {
  const TemporaryFolder folder;
  for (const char* name : {"a.jpg", "b.jpg", "a.jpg.json", "b.jpg.json"}) writeFile(folder / name, "x");
  int visits = 0;
  forEachMedia(folder.path(), true, never, [&](const path&, const std::vector<std::string>& names) {
    EXPECT_THAT(names, UnorderedElementsAre("a.jpg.json", "b.jpg.json"));
    std::filesystem::remove(folder / "a.jpg.json");
    writeFile(folder / "c.jpg.json", "x");
    ++visits;
  });
  EXPECT_EQ(visits, 2);
}

TEST(FolderWalker, VisitsNamesThatAreNoUtf8) {
  const TemporaryFolder folder;
  const std::string name = "caf\xe9.jpg";
  std::ofstream(folder / name) << "x";
  if (!std::filesystem::exists(folder / name)) GTEST_SKIP() << "this file system takes no such names";
  EXPECT_THAT(visited(folder.path()), ElementsAre(name));
}

TEST(FolderWalker, OfAMissingRootOrAFileIsEmpty) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", "x");
  EXPECT_THAT(visited(folder / "missing"), IsEmpty());
  EXPECT_THAT(visited(folder / "a.jpg"), IsEmpty());
}

TEST(FolderWalker, SaysWhetherTheRootCouldBeRead) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", "x");
  class : public Visitor {
    bool shouldCancel() override { return false; }
    void visit(Folder&, const char*) override {}
  } visitor;
  EXPECT_TRUE(walk(folder.path(), true, visitor));
  EXPECT_FALSE(walk(folder / "missing", true, visitor));
  EXPECT_FALSE(walk(folder / "a.jpg", true, visitor));
  const test::OrdinaryUser user(folder.path());
  for (const mode_t mode : {0U, 0444U}) {
    ASSERT_EQ(chmod(folder.path().c_str(), mode), 0);
    EXPECT_FALSE(walk(folder.path(), true, visitor)) << mode;
  }
  ASSERT_EQ(chmod(folder.path().c_str(), 0700), 0);
}

TEST(FolderWalker, PassesOverAFolderThatCannotBeRead) {
  const TemporaryFolder folder;
  writeFile(folder / "closed/a.jpg", "x");
  writeFile(folder / "open/b.jpg", "x");
  ASSERT_EQ(chmod((folder / "closed").c_str(), 0), 0);
  const test::OrdinaryUser user(folder.path());
  EXPECT_THAT(visited(folder.path()), ElementsAre("open/b.jpg"));
}

TEST(FolderWalker, PassesOverAFolderThatWasReplacedMeanwhile) {
  const TemporaryFolder folder;
  writeFile(folder / "a/first.jpg", "x");
  writeFile(folder / "a/second.jpg", "x");
  writeFile(folder / "a/sub/third.jpg", "x");
  std::vector<std::string> names;
  forEachMedia(folder.path(), true, never, [&](const path& media, const std::vector<std::string>&) {
    names.push_back(media.filename());
    if (media.filename() != "third.jpg") return;
    std::filesystem::rename(folder / "a", folder / "moved");
    writeFile(folder / "a/first.jpg", "another");
    writeFile(folder / "a/second.jpg", "another");
  });
  // Whatever came before the subfolder was visited in the old folder; nothing of the new one is.
  std::vector<std::string> before;
  listInDirectoryOrder(folder / "moved", {}, before);
  before.erase(std::find(before.begin(), before.end(), "sub/third.jpg") + 1, before.end());
  EXPECT_EQ(names.size(), before.size());
}

TEST(FolderWalker, AsksForCancellationOncePerVisibleEntry) {
  const TemporaryFolder folder;
  for (const char* name : {"a.jpg", "a.jpg.json", "notes.txt", ".hidden.jpg", ".hidden.json", "sub/b.jpg"}) {
    writeFile(folder / name, "x");
  }
  int asked = 0;
  forEachMedia(
      folder.path(), true,
      [&] {
        ++asked;
        return false;
      },
      [](const path&, const std::vector<std::string>&) {});
  EXPECT_EQ(asked, 5);  // a.jpg, a.jpg.json, notes.txt, sub, sub/b.jpg
}

TEST(FolderWalker, VisitsAndRemovesNothingWhenCancelledAtOnce) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", "x");
  writeFile(folder / ".tollbrook-1234.jpg", "x");
  int visits = 0;
  forEachMedia(
      folder.path(), true, [] { return true; },
      [&](const path&, const std::vector<std::string>&) { ++visits; });
  EXPECT_EQ(visits, 0);
  EXPECT_TRUE(std::filesystem::exists(folder / ".tollbrook-1234.jpg"));
}

TEST(FolderWalker, StopsBeforeTheNextEntryWhenCancelled) {
  const TemporaryFolder folder;
  for (int i = 0; i < 10; ++i) writeFile(folder / (std::to_string(i) + ".jpg"), "x");
  int visits = 0;
  forEachMedia(
      folder.path(), true, [&] { return visits == 3; },
      [&](const path&, const std::vector<std::string>&) { ++visits; });
  EXPECT_EQ(visits, 3);
}

TEST(FolderWalker, RemovesLeftoversOfAnInterruptedWriteBeforeTheFirstVisit) {
  const TemporaryFolder folder;
  writeFile(folder / "IMG_1.jpg", "x");
  writeFile(folder / ".tollbrook-1234.jpg", "x");
  writeFile(folder / "IMG_1.jpg_exiftool_tmp", "x");
  writeFile(folder / "sub/.tollbrook-5678", "x");
  writeFile(folder / "sub/notes.txt", "x");
  int visits = 0;
  forEachMedia(folder.path(), true, never, [&](const path& media, const std::vector<std::string>&) {
    ++visits;
    EXPECT_EQ(media.filename(), "IMG_1.jpg");
    EXPECT_FALSE(std::filesystem::exists(folder / ".tollbrook-1234.jpg"));
    EXPECT_FALSE(std::filesystem::exists(folder / "IMG_1.jpg_exiftool_tmp"));
  });
  EXPECT_EQ(visits, 1);
  // Nothing was visited there.
  EXPECT_TRUE(std::filesystem::exists(folder / "sub/.tollbrook-5678"));
}

TEST(FolderWalker, LeavesTheNewFileOfAPhotoThatIsGone) {
  const TemporaryFolder folder;
  const std::string photo(2000, 'x');
  writeFile(folder / "a.jpg", photo);
  for (const char* name : {"a.jpg", "gone.jpg", "notes.txt"}) {
    writeFile(folder / (name + std::string("_exiftool_tmp")), photo);
  }
  cleanupTemps(folder.path());
  EXPECT_TRUE(std::filesystem::exists(folder / "gone.jpg_exiftool_tmp")) << "there is no other copy";
  EXPECT_FALSE(std::filesystem::exists(folder / "a.jpg_exiftool_tmp"));
  EXPECT_FALSE(std::filesystem::exists(folder / "notes.txt_exiftool_tmp"));
}

TEST(FolderWalker, TakesNoFolderPhotoSidecarOrLinkForALeftover) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", "x");
  writeFile(folder / ".tollbrook-folder/keep", "x");
  writeFile(folder / "b_exiftool_tmp.jpg", "x");
  writeFile(folder / "b_exiftool_tmp.jpg.json", "x");
  writeFile(folder / "B_EXIFTOOL_TMP", "x");
  writeFile(folder / ".Tollbrook-1", "x");
  std::filesystem::create_symlink("a.jpg", folder / ".tollbrook-link");
  EXPECT_THAT(visited(folder.path()), UnorderedElementsAre("a.jpg", "b_exiftool_tmp.jpg"));
  for (const char* name : {".tollbrook-folder/keep", "b_exiftool_tmp.jpg", "b_exiftool_tmp.jpg.json",
                           "B_EXIFTOOL_TMP", ".Tollbrook-1"}) {
    EXPECT_TRUE(std::filesystem::exists(folder / name)) << name;
  }
  EXPECT_TRUE(std::filesystem::is_symlink(folder / ".tollbrook-link"));
}

TEST(FolderWalker, LeavesLeftoversAloneWhileSomebodyWritesInTheFolder) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", "x");
  writeFile(folder / ".tollbrook-1234.jpg", "x");
  const Files::Descriptor held(open(folder.path().c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(flock(held.get(), LOCK_EX | LOCK_NB), 0);
  visited(folder.path());
  cleanupTemps(folder.path());
  EXPECT_TRUE(std::filesystem::exists(folder / ".tollbrook-1234.jpg"));
  ASSERT_EQ(flock(held.get(), LOCK_UN), 0);
  cleanupTemps(folder.path());
  EXPECT_FALSE(std::filesystem::exists(folder / ".tollbrook-1234.jpg"));
}

TEST(FolderWalker, LeavesAloneAnExifToolFileThatIsStillBeingWritten) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", "x");
  const path temporary = folder / "a.jpg_exiftool_tmp";
  writeFile(temporary, "x");
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    std::ofstream stream(temporary, std::ios::app);
    while (!stop) {
      stream << 'x' << std::flush;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  visited(folder.path());
  stop = true;
  writer.join();
  EXPECT_TRUE(std::filesystem::exists(temporary));
}

TEST(FolderWalker, CleansNothingInAMissingFolder) {
  const TemporaryFolder folder;
  cleanupTemps(folder / "missing");
  writeFile(folder / ".tollbrook-1", "x");
  cleanupTemps(folder.path());
  EXPECT_FALSE(std::filesystem::exists(folder / ".tollbrook-1"));
}

TEST(FolderWalker, KeepsNoDescriptorPerLevel) {
  const TemporaryFolder folder;
  path deep = folder.path();
  constexpr int levels = 1000;
  for (int level = 0; level < levels; ++level) {
    deep /= "d";
    ASSERT_EQ(mkdir(deep.c_str(), 0700), 0);
  }
  writeFile(deep / "deep.jpg", "x");
  writeFile(folder / "top.jpg", "x");
  const int before = openDescriptors();
  int most = 0;
  std::size_t visits = 0;
  forEachMedia(folder.path(), true, never, [&](const path&, const std::vector<std::string>&) {
    most = std::max(most, openDescriptors() - before);
    ++visits;
  });
  EXPECT_EQ(visits, 2u);
  EXPECT_LE(most, 2);
  EXPECT_EQ(openDescriptors(), before);
}

TEST(FolderWalker, PassesOverFoldersWhosePathIsTooLong) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", "x");
  Files::Descriptor current(open(folder.path().c_str(), O_RDONLY | O_CLOEXEC));
  const std::string name(200, 'n');
  for (int level = 0; level < 40; ++level) {
    ASSERT_EQ(mkdirat(current.get(), name.c_str(), 0700), 0);
    current = Files::Descriptor(openat(current.get(), name.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(current);
  }
  EXPECT_THAT(visited(folder.path()), ElementsAre("a.jpg"));
  EXPECT_EQ(std::system(("rm -rf '" + (folder / name).native() + "'").c_str()), 0);
}

}  // namespace
}  // namespace tollbrook::FolderWalker
