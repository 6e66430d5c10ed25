#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "Support/JobStore.h"
#include "Support/Names.h"
#include "Support/OrdinaryUser.h"
#include "TollbrookCore/JobJournal.h"
#include "TollbrookCore/Support/Platform.h"

namespace tollbrook {
namespace {

namespace fs = std::filesystem;
using Files::errorOf;
using test::FullDisk;
using test::OrdinaryUser;
using test::readFile;
using test::TemporaryFolder;
using test::writeFile;
using Phase = JobJournal::Phase;

class JobJournalTest : public test::JobStoreTest {
 protected:
  JobJournal::Record savedRecord() const {
    const auto decoded = JobJournal::decode(readFile(record()));
    EXPECT_TRUE(decoded) << readFile(record());
    return decoded.value_or(JobJournal::Record{});
  }

  std::vector<std::string> filesInJob() const { return test::namesIn(job()); }
};

/// The error of opening the job of `folder`; its text must name `path`.
std::error_code errorOfOpening(const fs::path& folder, const fs::path& path) {
  try {
    JobJournal::open(folder, true, defaultRestoreOptions());
  } catch (const fs::filesystem_error& error) {
    EXPECT_NE(std::string(error.what()).find(path.native()), std::string::npos) << error.what();
    return error.code();
  }
  return {};
}

TEST(JobIdentifier, IsTheSha256OfTheStandardizedPath) {
  EXPECT_EQ(JobJournal::id("/photos"), "407dd20b96399e2729553194fc85ba78c1a17899cee99bffd6e7ed6b4399a728");
  EXPECT_EQ(JobJournal::id("/photos/K\xff"),
            "43dcb2b1dc15710e354a9d6ed1c19424f4c6c449e0bee2141c33213ae80a47dd");
  for (const char* same : {"/photos/", "/photos//", "/./photos", "/x/../photos/."}) {
    EXPECT_EQ(JobJournal::id(same), JobJournal::id("/photos")) << same;
  }
  EXPECT_NE(JobJournal::id("/Photos"), JobJournal::id("/photos"));
}

TEST(JobIdentifier, OfALinkIsAnotherThanOfItsTarget) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "real");
  fs::create_directory_symlink(folder / "real", folder / "link");
  EXPECT_NE(JobJournal::id(folder / "link"), JobJournal::id(folder / "real"));
}

TEST(JobRelativePath, IsThePathBelowTheFolder) {
  EXPECT_EQ(JobJournal::relativePath("/r/sub/x.jpg", "/r"), "sub/x.jpg");
  EXPECT_EQ(JobJournal::relativePath("/r/sub/../x.jpg", "/r/"), "x.jpg");
  EXPECT_EQ(JobJournal::relativePath("/r/\xff", "/r"), "\xff");
}

TEST(JobRelativePath, OfTheFolderItselfIsItsName) {
  EXPECT_EQ(JobJournal::relativePath("/a/r", "/a/r/"), "r");
  EXPECT_EQ(JobJournal::relativePath("/", "/"), "/");
}

TEST(JobRelativePath, OfAFileElsewhereIsItsWholePath) {
  EXPECT_EQ(JobJournal::relativePath("/other/x.jpg", "/r"), "/other/x.jpg");
  EXPECT_EQ(JobJournal::relativePath("/r2/./x.jpg", "/r"), "/r2/x.jpg");
  EXPECT_EQ(JobJournal::relativePath("/R/x.jpg", "/r"), "/R/x.jpg");
  EXPECT_EQ(JobJournal::relativePath("/r/../x.jpg", "/r"), "/x.jpg");
}

TEST(JobStore, IsInTheUsersApplicationData) {
  EXPECT_EQ(JobJournal::baseDirectory(), Platform::applicationSupportFolder() / "Tollbrook/jobs");
  JobJournal::setBaseDirectoryOverride("/elsewhere");
  EXPECT_EQ(JobJournal::baseDirectory(), "/elsewhere");
  JobJournal::setBaseDirectoryOverride(std::nullopt);
  EXPECT_EQ(JobJournal::baseDirectory(), Platform::applicationSupportFolder() / "Tollbrook/jobs");
}

TEST_F(JobJournalTest, OfANewJobHasItsRecordAndAnEmptyList) {
  const TimePoint before = now();
  const auto journal = JobJournal::open(photos_, false, defaultRestoreOptions());
  EXPECT_EQ(journal->directory(), job());
  EXPECT_EQ(journal->root(), photos_);
  EXPECT_EQ(filesInJob(), (std::vector<std::string>{"done.log", "job.json"}));
  EXPECT_EQ(readFile(list()), "v1\n");
  EXPECT_EQ(JobJournal::loadDone(list()), paths({}));
  EXPECT_EQ(journal->doneCount(), 0u);

  const JobJournal::Record made = journal->record();
  EXPECT_EQ(made.version, 1);
  EXPECT_EQ(made.folderPath, photos_);
  EXPECT_FALSE(made.recursive);
  EXPECT_EQ(made.options, defaultRestoreOptions());
  EXPECT_EQ(made.phase, Phase::writing);
  EXPECT_GE(made.startedAt, before);
  EXPECT_LE(made.startedAt, now());
  EXPECT_EQ(made.updatedAt, made.startedAt);
  EXPECT_EQ(made.written + made.skipped + made.failed + made.alreadyDone, 0);
  EXPECT_EQ(JobJournal::encode(savedRecord()), JobJournal::encode(made));
}

TEST_F(JobJournalTest, KeepsTheStoreToTheUser) {
  open();
  for (const fs::path& folder : {temporary_ / "store", jobs_, job()}) {
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all) << folder;
  }
}

TEST_F(JobJournalTest, IsTheSameByAPathWithATrailingSlash) {
  open(photos_ / "")->markDone(photos_ / "a.jpg");
  EXPECT_TRUE(open(photos_)->contains(photos_ / "a.jpg"));
}

TEST_F(JobJournalTest, RemembersAFinishedFileOnce) {
  const auto journal = open();
  journal->markDone(photos_ / "sub/x.jpg");
  journal->markDone(photos_ / "sub/../sub/x.jpg");
  journal->markDoneRelative("sub/x.jpg");
  EXPECT_EQ(readFile(list()), "v1\nsub/x.jpg\n");
  EXPECT_TRUE(journal->contains(photos_ / "sub/x.jpg"));
  EXPECT_TRUE(journal->containsRelative("sub/x.jpg"));
  EXPECT_FALSE(journal->contains(photos_ / "x.jpg"));
  EXPECT_EQ(journal->doneCount(), 1u);
  EXPECT_EQ(journal->done(), paths({"sub/x.jpg"}));
}

TEST_F(JobJournalTest, KeepsItsListWhenReopened) {
  open()->markDone(photos_ / "a.jpg");
  open()->markDone(photos_ / "b.jpg");
  EXPECT_EQ(open()->done(), paths({"a.jpg", "b.jpg"}));
  EXPECT_EQ(readFile(list()), "v1\na.jpg\nb.jpg\n");
}

TEST_F(JobJournalTest, KeepsAFileFinishedInMemoryThatNoLineCanCarry) {
  const auto journal = open();
  const std::string odd[] = {"v1", "#1.jpg", "a\nb.jpg", "\xff.jpg", "sub/\xc3.jpg", "\n"};
  for (const std::string& path : odd) {
    journal->markDoneRelative(path);
    EXPECT_TRUE(journal->containsRelative(path)) << path;
  }
  journal->markDoneRelative("c\r");
  EXPECT_EQ(journal->doneCount(), std::size(odd) + 1);
  EXPECT_EQ(readFile(list()), "v1\nc\r\n");
}

TEST_F(JobJournalTest, RemembersInMemoryOnlyWhenToldSo) {
  {
    const auto journal = open();
    journal->rememberRelative("a.jpg");
    EXPECT_TRUE(journal->containsRelative("a.jpg"));
    journal->markDoneRelative("a.jpg");
    EXPECT_EQ(readFile(list()), "v1\n");
  }
  EXPECT_FALSE(open()->containsRelative("a.jpg"));
}

TEST_F(JobJournalTest, ReopenedKeepsTheSettingsItWasStartedWith) {
  const RestoreOptions options{.writeFileDates = false,
                               .writeEmbedded = true,
                               .writeCaptions = false,
                               .skipIfDatesMatch = false,
                               .deleteSidecars = true,
                               .dateTolerance = 7};
  {
    const auto journal = JobJournal::open(photos_, false, options);
    journal->note(5, 4, 3, 2);
    journal->markComplete();
  }
  const JobJournal::Record before = savedRecord();
  const auto journal = JobJournal::open(photos_, true, defaultRestoreOptions());
  EXPECT_EQ(journal->record(), before);
  EXPECT_EQ(journal->record().options, options);
  EXPECT_EQ(journal->record().written, 5);
  EXPECT_FALSE(journal->record().recursive);
  EXPECT_TRUE(journal->isComplete());
  EXPECT_EQ(savedRecord(), before);
}

TEST_F(JobJournalTest, NotesCountsAndGoesBackToWriting) {
  const auto journal = open();
  journal->markComplete();
  EXPECT_TRUE(journal->isComplete());
  EXPECT_EQ(savedRecord().phase, Phase::complete);
  journal->note(1, 2, 3, 4);
  EXPECT_FALSE(journal->isComplete());
  const JobJournal::Record saved = savedRecord();
  EXPECT_EQ(saved.phase, Phase::writing);
  EXPECT_EQ(saved.written, 1);
  EXPECT_EQ(saved.skipped, 2);
  EXPECT_EQ(saved.failed, 3);
  EXPECT_EQ(saved.alreadyDone, 4);
  EXPECT_GE(journal->record().updatedAt, journal->record().startedAt);
  EXPECT_EQ(filesInJob(), (std::vector<std::string>{"done.log", "job.json"}));
}

TEST_F(JobJournalTest, CompletionLeavesTheCountsAlone) {
  const auto journal = open();
  journal->note(1, 2, 3, 4);
  journal->markComplete();
  EXPECT_EQ(savedRecord().written, 1);
  EXPECT_EQ(savedRecord().alreadyDone, 4);
}

TEST_F(JobJournalTest, MarksOnlyACompleteJobAsBeingWrittenAgain) {
  const auto journal = open();
  writeFile(record(), "untouched");
  journal->markWriting();
  EXPECT_EQ(readFile(record()), "untouched");
  journal->markComplete();
  journal->markWriting();
  EXPECT_EQ(savedRecord().phase, Phase::writing);
}

TEST_F(JobJournalTest, ACorruptRecordNeverCostsTheFinishedList) {
  open()->markDone(photos_ / "a.jpg");
  for (const char* corrupt : {"", "{", "{\"version\": 1}", "\xff", "[]"}) {
    writeFile(record(), corrupt);
    const auto journal = open();
    EXPECT_TRUE(journal->containsRelative("a.jpg")) << corrupt;
    EXPECT_EQ(savedRecord().folderPath, photos_);
  }
  fs::remove(record());
  EXPECT_TRUE(open()->containsRelative("a.jpg"));
}

TEST_F(JobJournalTest, AListThatIsNotUtf8ReadsAsEmptyAndKeepsItsLines) {
  open();
  writeFile(list(), "v1\na.jpg\n\xff.jpg\nto\xc3");
  const auto journal = open();
  EXPECT_EQ(journal->doneCount(), 0u);
  journal->markDone(photos_ / "b.jpg");
  EXPECT_EQ(readFile(list()), "v1\na.jpg\n\xff.jpg\nb.jpg\n");
  EXPECT_EQ(JobJournal::loadDone(list()), paths({}));
}

TEST_F(JobJournalTest, LoadsNothingFromAListThatCannotBeRead) {
  EXPECT_EQ(JobJournal::loadDone(temporary_ / "none"), paths({}));
  EXPECT_EQ(JobJournal::loadDone(photos_), paths({}));
  ASSERT_EQ(mkfifo((temporary_ / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(JobJournal::loadDone(temporary_ / "fifo"), paths({}));
  writeFile(temporary_ / "torn", "v1\na\nb");
  EXPECT_EQ(JobJournal::loadDone(temporary_ / "torn"), paths({"a"}));
  writeFile(temporary_ / "odd", "#\nv1\n\na\n#b\nv1\n\n");
  EXPECT_EQ(JobJournal::loadDone(temporary_ / "odd"), paths({"a"}));
}

TEST_F(JobJournalTest, OfAFolderThatIsNotUtf8ThrowsNothingAndIsFoundByItsPath) {
  const fs::path folder = temporary_ / "K\xf6ln";
  std::error_code error;
  fs::create_directory(folder, error);
  if (error) GTEST_SKIP() << "this file system takes no such name";
  {
    const auto journal = open(folder);
    journal->markDone(folder / "a.jpg");
    journal->note(1, 0, 0, 0);
  }
  EXPECT_TRUE(open(folder)->containsRelative("a.jpg"));
  EXPECT_TRUE(JobJournal::allUnfinished().empty());
  ASSERT_EQ(JobJournal::allJobs().size(), 1u);
  EXPECT_FALSE(JobJournal::allJobs()[0].folderFound);
  EXPECT_EQ(JobJournal::forget(folder), JobJournal::ForgetOutcome::forgotten);
}

TEST_F(JobJournalTest, TakesAMillionFinishedFiles) {
  open();
  std::string log = "v1\n";
  for (int i = 0; i < 1'000'000; ++i) log += "Photos from 2015/IMG_" + std::to_string(i) + ".jpg\n";
  writeFile(list(), log);
  const auto journal = open();
  EXPECT_EQ(journal->doneCount(), 1'000'000u);
  EXPECT_TRUE(journal->containsRelative("Photos from 2015/IMG_999999.jpg"));
  EXPECT_FALSE(journal->containsRelative("Photos from 2015/IMG_1000000.jpg"));
  journal->markDoneRelative("Photos from 2015/IMG_1000000.jpg");
  EXPECT_EQ(fs::file_size(list()), log.size() + 33);
}

TEST_F(JobJournalTest, AnswersOtherThreadsWhileARunRecordsItsFiles) {
  const auto journal = open();
  constexpr int count = 300;
  std::thread runner([&] {
    for (int i = 0; i < count; ++i) journal->markDone(photos_ / std::to_string(i));
  });
  std::thread noter([&] {
    for (int i = 0; i < 30; ++i) journal->note(i, 0, 0, 0);
  });
  std::thread completer([&] {
    for (int i = 0; i < 30; ++i) {
      journal->markComplete();
      journal->markWriting();
    }
  });
  std::size_t last = 0;
  while (last < count) {
    const std::size_t seen = journal->doneCount();
    EXPECT_GE(seen, last);
    EXPECT_TRUE(seen == 0 || journal->contains(photos_ / std::to_string(seen - 1)));
    EXPECT_EQ(journal->record().folderPath, photos_);
    last = seen;
  }
  runner.join();
  noter.join();
  completer.join();
  EXPECT_EQ(JobJournal::loadDone(list()), journal->done());
  EXPECT_EQ(JobJournal::encode(savedRecord()), JobJournal::encode(journal->record()));
  EXPECT_EQ(filesInJob(), (std::vector<std::string>{"done.log", "job.json"}));
}

TEST_F(JobJournalTest, OnAFullDiskIsNotOpened) {
  const FullDisk full(2);
  EXPECT_EQ(errorOfOpening(photos_, list()), errorOf(EFBIG));
  EXPECT_EQ(filesInJob(), std::vector<std::string>{});
}

TEST_F(JobJournalTest, WithoutRoomForItsRecordIsNotOpened) {
  const FullDisk full(100);
  EXPECT_EQ(errorOfOpening(photos_, record()), errorOf(EFBIG));
  EXPECT_EQ(filesInJob(), std::vector<std::string>{"done.log"});
}

TEST_F(JobJournalTest, WhoseDiskFillsUpLeavesNoTornLine) {
  const auto journal = open();
  journal->markDoneRelative("IMG_1.jpg");
  {
    const FullDisk full(18);
    journal->markDoneRelative("IMG_2.jpg");
  }
  EXPECT_EQ(readFile(list()), "v1\nIMG_1.jpg\n");
  EXPECT_TRUE(journal->containsRelative("IMG_2.jpg"));
  journal->markDoneRelative("IMG_3.jpg");
  EXPECT_EQ(readFile(list()), "v1\nIMG_1.jpg\nIMG_3.jpg\n");
}

TEST_F(JobJournalTest, WhoseDiskFillsUpKeepsItsOldRecord) {
  const auto journal = open();
  const std::string before = readFile(record());
  {
    const FullDisk full(100);
    journal->note(1, 2, 3, 4);
  }
  EXPECT_EQ(readFile(record()), before);
  EXPECT_EQ(journal->record().written, 1);
  EXPECT_EQ(filesInJob(), (std::vector<std::string>{"done.log", "job.json"}));
}

TEST_F(JobJournalTest, InAReadOnlyStoreIsNotOpened) {
  fs::create_directories(jobs_);
  fs::permissions(jobs_, fs::perms::owner_read | fs::perms::owner_exec);
  const OrdinaryUser user(temporary_.path());
  EXPECT_EQ(errorOfOpening(photos_, job()), errorOf(EACCES));
  EXPECT_FALSE(fs::exists(job()));
}

TEST_F(JobJournalTest, InAReadOnlyJobFolderIsNotOpened) {
  open()->markDone(photos_ / "a.jpg");
  fs::permissions(job(), fs::perms::owner_read | fs::perms::owner_exec);
  const OrdinaryUser user(temporary_.path());
  EXPECT_EQ(errorOfOpening(photos_, record()), errorOf(EACCES));
  EXPECT_EQ(readFile(list()), "v1\na.jpg\n");
}

TEST_F(JobJournalTest, WhoseListMayNotBeWrittenIsNeitherOpenedNorListed) {
  open()->markDone(photos_ / "a.jpg");
  fs::permissions(list(), fs::perms::owner_read);
  const OrdinaryUser user(temporary_.path());
  EXPECT_EQ(errorOfOpening(photos_, list()), errorOf(EACCES));
  EXPECT_TRUE(JobJournal::allUnfinished().empty());
  EXPECT_EQ(JobJournal::allJobs().size(), 1u);
}

TEST_F(JobJournalTest, IsNotOpenedWhereAFileIsInTheStoresPlace) {
  writeFile(jobs_, "x");
  EXPECT_EQ(errorOfOpening(photos_, job()), errorOf(ENOTDIR));
  EXPECT_TRUE(JobJournal::allUnfinished().empty());
  EXPECT_TRUE(JobJournal::allJobs().empty());
  EXPECT_EQ(JobJournal::claimUnfinished(), nullptr);
  EXPECT_EQ(readFile(jobs_), "x");
}

TEST_F(JobJournalTest, IsNotOpenedWhereAFileIsInTheJobFoldersPlace) {
  writeFile(job(), "x");
  EXPECT_EQ(errorOfOpening(photos_, job()), errorOf(ENOTDIR));
  EXPECT_TRUE(JobJournal::allJobs().empty());
}

TEST_F(JobJournalTest, IsNotOpenedWhereAFolderIsInTheRecordsPlace) {
  fs::create_directories(record());
  EXPECT_EQ(errorOfOpening(photos_, record()), errorOf(EISDIR));
  EXPECT_TRUE(JobJournal::allUnfinished().empty());
}

TEST_F(JobJournalTest, ReplacesAFifoInTheRecordsPlace) {
  fs::create_directories(job());
  ASSERT_EQ(mkfifo(record().c_str(), 0600), 0);
  EXPECT_TRUE(JobJournal::allJobs().empty());
  open();
  EXPECT_EQ(savedRecord().folderPath, photos_);
}

TEST_F(JobJournalTest, TakesNothingButARegularFileAsItsList) {
  open();
  fs::remove(list());
  fs::create_directory(list());
  EXPECT_EQ(errorOfOpening(photos_, list()), errorOf(EISDIR));
  EXPECT_TRUE(JobJournal::allUnfinished().empty());

  fs::remove(list());
  ASSERT_EQ(mkfifo(list().c_str(), 0600), 0);
  EXPECT_EQ(errorOfOpening(photos_, list()), errorOf(EINVAL));
  EXPECT_TRUE(JobJournal::allUnfinished().empty());

  fs::remove(list());
  writeFile(temporary_ / "photo", "torn");
  fs::create_symlink(temporary_ / "photo", list());
  EXPECT_EQ(errorOfOpening(photos_, list()), errorOf(ELOOP));
  EXPECT_TRUE(JobJournal::allUnfinished().empty());
  EXPECT_EQ(readFile(temporary_ / "photo"), "torn");
}

TEST_F(JobJournalTest, LeavesNoDescriptorBehindNorOpenToChildren) {
  const auto openDescriptors = [] {
    int count = 0;
    for (int descriptor = 0; descriptor < 256; ++descriptor) {
      const int flags = fcntl(descriptor, F_GETFD);
      if (flags < 0) continue;
      ++count;
      if (descriptor > 2 && (flags & FD_CLOEXEC) == 0) count += 1000;
    }
    return count;
  };
  const int before = openDescriptors();
  {
    const auto journal = open();
    journal->markDone(photos_ / "a.jpg");
    journal->note(1, 0, 0, 0);
    EXPECT_EQ(openDescriptors(), before + 2);
    JobJournal::allUnfinished();
    JobJournal::allJobs();
    EXPECT_THROW(open(), JobJournal::Busy);
    EXPECT_EQ(openDescriptors(), before + 2);
  }
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace tollbrook
