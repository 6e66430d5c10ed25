#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <unordered_set>
#include <vector>

#include "TollbrookCore/DoneLog.h"
#include "TollbrookCore/FinishedSet.h"
#include "TollbrookCore/Models.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook {

/// Makes a write run resumable. Every folder that was ever written has a job directory named by the SHA-256
/// of its path, with two files: job.json says which folder, with which options, how far; done.log lists the
/// finished files, one relative path a line, each forced to disk before the run goes on. docs/job-store.md
/// has the format.
///
/// A job is run or forgotten by one program at a time, which holds an advisory lock on the job directory, and
/// nothing in a job directory is ever changed without that lock; listing jobs takes none. Where the file
/// system has no such locks, nothing keeps two programs apart. Operations may be called from any thread
/// unless they say otherwise.
class JobJournal {
 public:
  enum class Phase {
    writing,  ///< started and not known to have finished
    complete  ///< the last run walked the whole folder
  };

  /// What job.json holds.
  struct Record {
    std::int64_t version = 1;
    std::string folderPath;               ///< standardized
    std::optional<std::string> bookmark;  ///< opaque bytes that lead back to the folder
    bool recursive = true;
    RestoreOptions options{};
    Phase phase = Phase::writing;
    TimePoint startedAt{};
    TimePoint updatedAt{};
    std::int64_t written = 0;  ///< dates set plus embedded writes: a file that got both counts twice
    std::int64_t skipped = 0;
    std::int64_t failed = 0;
    std::int64_t alreadyDone = 0;

    bool operator==(const Record&) const = default;
  };

  /// Another program runs this job; what() is the text for the user.
  class Busy : public std::runtime_error {
   public:
    Busy();
  };

  static std::string_view rawValue(Phase phase);
  static std::optional<Phase> phaseFromRawValue(std::string_view raw);

  /// The record as JSON text: pretty-printed, keys sorted, dates in UTC with whole seconds.
  static std::string encode(const Record& record);
  /// The record in a JSON text; none unless every key but "bookmark" is there with a value of its type.
  static std::optional<Record> decode(std::string_view text);

  /// The folder of all job directories.
  static std::filesystem::path baseDirectory();
  /// Makes `directory` the folder of all job directories; none goes back to the user's own.
  static void setBaseDirectoryOverride(std::optional<std::filesystem::path> directory);

  /// The identifier of a folder's job: 64 hexadecimal digits, the SHA-256 (FIPS 180-4) of its standardized
  /// path.
  static std::string id(const std::filesystem::path& folder);
  /// The path of `file` below `root`, both standardized; the last component for the root itself, the whole
  /// path for a file elsewhere.
  static std::string relativePath(const std::filesystem::path& file, const std::filesystem::path& root);

  /// Makes or reopens the job of `root` and takes its lock, for whoever is about to run it. A reopened job
  /// keeps the record that it was started with. Throws Busy when another program holds the lock,
  /// std::filesystem::filesystem_error when the job's files cannot be made or opened.
  static std::unique_ptr<JobJournal> open(const std::filesystem::path& root, bool recursive,
                                          const RestoreOptions& options);

  /// Every unfinished job whose folder can be found, newest first. Never fails; what cannot be read is left
  /// out. These journals hold no lock and change nothing until lockForRun.
  static std::vector<std::unique_ptr<JobJournal>> allUnfinished();
  /// The first of allUnfinished, or none.
  static std::unique_ptr<JobJournal> unfinishedToResume();
  /// The first of allUnfinished whose lock can be had, with the lock; none when nothing is unfinished. When
  /// something is and none can be had, it throws what open would.
  static std::unique_ptr<JobJournal> claimUnfinished();

  /// One job as it stands in the store, whether or not its folder exists.
  struct Listing {
    std::string id;
    Record record;
    std::size_t doneCount = 0;
    bool folderFound = false;
  };
  /// Every job with a readable record, newest first. Never fails.
  static std::vector<Listing> allJobs();

  enum class ForgetOutcome { forgotten, nothingToForget, busy };
  /// Removes the job of `folder`, never anything in the folder itself. Throws
  /// std::filesystem::filesystem_error when it cannot.
  static ForgetOutcome forget(const std::filesystem::path& folder);

  /// The job's folder: through its bookmark, else at its path if something is there.
  static std::optional<std::filesystem::path> resolveFolder(const Record& record);

  /// The finished files that a done.log lists; empty when it cannot be read or is not UTF-8.
  static std::unordered_set<std::string> loadDone(const std::filesystem::path& file);

  ~JobJournal();
  JobJournal(const JobJournal&) = delete;
  JobJournal& operator=(const JobJournal&) = delete;

  const std::filesystem::path& directory() const { return directory_; }
  const std::filesystem::path& root() const { return root_; }
  Record record() const;
  std::unordered_set<std::string> done() const;

  /// Takes the job's lock and reads record and finished list again, since another run may have changed them;
  /// false when another program holds it, the job is no longer there or its files cannot be opened. A journal
  /// from `open` already has it. The changes below, on a journal without the lock, take it by themselves if
  /// they can have it (without reading anything again); else they stay in memory.
  bool lockForRun();

  bool contains(const std::filesystem::path& file) const;
  /// The same for a path relative to the job's folder.
  bool containsRelative(std::string_view relative) const;

  /// Records `file` as finished: in memory, and as a line of done.log that is on stable storage on return. A
  /// disk error is ignored, the file stays finished in memory. So does a file whose path no line can carry:
  /// one with a line feed, one that is not UTF-8, one that a reader of the log would pass over.
  void markDone(const std::filesystem::path& file);
  void markDoneRelative(std::string_view relative);
  /// Records a file as finished in memory only, so that a later run does it again.
  void rememberRelative(std::string_view relative);

  /// Sets the counts and the phase `writing`, and saves the record (failure ignored).
  void note(std::int64_t written, std::int64_t skipped, std::int64_t failed, std::int64_t alreadyDone);
  /// Sets the phase `writing` of a complete job again, before its first new file, so that a crash is resumed.
  void markWriting();
  /// Sets the phase `complete`, saves the record and forces done.log to disk (failures ignored).
  void markComplete();
  bool isComplete() const;
  std::size_t doneCount() const;

 private:
  enum class Claim { claimed, taken, gone };

  JobJournal(std::filesystem::path directory, const std::filesystem::path& root);

  static std::optional<Record> readRecord(const std::filesystem::path& file);
  static Record freshRecord(const std::filesystem::path& root, bool recursive, const RestoreOptions& options);
  static std::unique_ptr<JobJournal> unfinishedIn(const std::filesystem::path& directory);
  static std::unique_ptr<JobJournal> unfinishedWithList(const std::filesystem::path& directory);

  std::error_code claimDirectory(Claim& claim);
  std::error_code claimForRun(Claim& claim);
  void releaseDirectory();
  bool mayChange();
  void enter(Phase phase);
  std::error_code saveMeta();

  const std::filesystem::path directory_;
  const std::filesystem::path root_;
  const std::filesystem::path doneFile_;
  const std::filesystem::path metaFile_;
  std::mutex saveMutex_;      ///< lets one thread at a time replace job.json; taken before mutex_
  mutable std::mutex mutex_;  ///< guards everything below
  Record record_;
  FinishedSet done_;
  DoneLog log_;  ///< open exactly while the directory is claimed, unless appending to it failed for good
  bool claimed_ = false;
  Files::Descriptor directoryHandle_;
  Files::Lock runLock_;  ///< on directoryHandle_, where the file system has locks
};

}  // namespace tollbrook
