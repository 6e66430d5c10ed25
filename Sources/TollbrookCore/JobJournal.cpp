#include "TollbrookCore/JobJournal.h"

#include <cerrno>
#include <utility>

#include "TollbrookCore/Support/Platform.h"

namespace tollbrook {
namespace {

// A job directory can go between being made and being locked when it is forgotten just then.
constexpr int mostAttemptsToOpen = 10;

std::string_view relativeText(std::string_view file, std::string_view root) {
  if (file == root) return file.size() > 1 ? file.substr(file.rfind('/') + 1) : file;
  const bool isBelow = file.size() > root.size() && file.starts_with(root) && file[root.size()] == '/';
  return isBelow ? file.substr(root.size() + 1) : file;
}

void throwIf(const std::error_code& error, const char* what, const std::filesystem::path& path) {
  if (error) throw std::filesystem::filesystem_error(what, path, error);
}

}  // namespace

JobJournal::Busy::Busy() : std::runtime_error("Another Tollbrook is writing this folder.") {}

JobJournal::JobJournal(std::filesystem::path directory, const std::filesystem::path& root)
    : directory_(std::move(directory)),
      root_(Files::standardized(root)),
      doneFile_(directory_ / "done.log"),
      metaFile_(directory_ / "job.json") {}

JobJournal::~JobJournal() = default;

std::string JobJournal::relativePath(const std::filesystem::path& file, const std::filesystem::path& root) {
  return std::string(relativeText(Files::standardized(file).native(), Files::standardized(root).native()));
}

JobJournal::Record JobJournal::freshRecord(const std::filesystem::path& root, bool recursive,
                                           const RestoreOptions& options) {
  Record record;
  record.folderPath = Files::standardized(root).native();
  record.bookmark = Platform::makeBookmark(root);
  record.recursive = recursive;
  record.options = options;
  record.startedAt = record.updatedAt = now();
  return record;
}

std::unique_ptr<JobJournal> JobJournal::open(const std::filesystem::path& root, bool recursive,
                                             const RestoreOptions& options) {
  std::unique_ptr<JobJournal> journal(new JobJournal(baseDirectory() / id(root), root));
  Claim claim = Claim::gone;
  for (int attempt = 0; claim == Claim::gone; ++attempt) {
    throwIf(Files::makeFolders(journal->directory_), "cannot make the job's folder", journal->directory_);
    throwIf(journal->claimDirectory(claim), "cannot open the job's folder", journal->directory_);
    if (claim == Claim::taken) throw Busy();
    if (claim == Claim::gone && attempt == mostAttemptsToOpen) {
      throwIf(Files::errorOf(ENOENT), "cannot open the job's folder", journal->directory_);
    }
  }
  throwIf(journal->log_.open(journal->doneFile_), "cannot open the list of finished files",
          journal->doneFile_);
  journal->done_ = journal->log_.read();
  // A record that cannot be read costs the settings of the job, never its finished list.
  const auto record = readRecord(journal->metaFile_);
  journal->record_ = record ? *record : freshRecord(root, recursive, options);
  throwIf(journal->saveMeta(), "cannot save the job's record", journal->metaFile_);
  return journal;
}

std::error_code JobJournal::claimDirectory(Claim& claim) {
  claim = Claim::gone;
  Files::Descriptor directory = Files::openFolder(directory_);
  if (!directory) return errno == ENOENT ? std::error_code{} : Files::lastError();
  Files::Lock lock;
  if (lock.tryAcquire(directory.get()) == Files::Lock::Outcome::taken) {
    claim = Claim::taken;
    return {};
  }
  // The lock is worth nothing on a directory that was removed, or replaced by another, while we took it.
  std::error_code error;
  if (!Files::isAt(directory.get(), directory_, error)) return error;
  directoryHandle_ = std::move(directory);
  runLock_ = std::move(lock);
  claimed_ = true;
  claim = Claim::claimed;
  return {};
}

void JobJournal::releaseDirectory() {
  claimed_ = false;
  log_.close();
  runLock_.release();
  directoryHandle_.close();
}

bool JobJournal::lockForRun() {
  Claim claim = Claim::gone;
  return !claimForRun(claim) && claim == Claim::claimed;
}

std::error_code JobJournal::claimForRun(Claim& claim) {
  const std::lock_guard lock(mutex_);
  claim = Claim::claimed;
  if (claimed_) return {};
  auto error = claimDirectory(claim);
  if (error || claim != Claim::claimed) return error;
  const auto record = readRecord(metaFile_);
  if (record) error = log_.open(doneFile_);
  if (!record || error) {
    releaseDirectory();
    claim = Claim::gone;
    return error;
  }
  record_ = *record;
  // Two large lists at once would double the memory of a run.
  static_cast<void>(std::exchange(done_, FinishedSet()));
  done_ = log_.read();
  return {};
}

/// Whether the job directory is ours to change. Called under mutex_.
bool JobJournal::mayChange() {
  if (claimed_) return true;
  Claim claim = Claim::gone;
  if (claimDirectory(claim) || claim != Claim::claimed) return false;
  if (log_.open(doneFile_)) releaseDirectory();
  return claimed_;
}

JobJournal::Record JobJournal::record() const {
  const std::lock_guard lock(mutex_);
  return record_;
}

std::unordered_set<std::string> JobJournal::done() const {
  const std::lock_guard lock(mutex_);
  std::unordered_set<std::string> paths;
  paths.reserve(done_.size());
  done_.forEach([&](std::string_view path) { paths.emplace(path); });
  return paths;
}

bool JobJournal::contains(const std::filesystem::path& file) const {
  return containsRelative(relativeText(Files::standardized(file).native(), root_.native()));
}

bool JobJournal::containsRelative(std::string_view relative) const {
  const std::lock_guard lock(mutex_);
  return done_.contains(relative);
}

void JobJournal::markDone(const std::filesystem::path& file) {
  markDoneRelative(relativeText(Files::standardized(file).native(), root_.native()));
}

void JobJournal::markDoneRelative(std::string_view relative) {
  const std::lock_guard lock(mutex_);
  if (!done_.insert(relative)) return;
  if (FinishedSet::isLine(relative) && mayChange()) log_.append(relative);
}

void JobJournal::rememberRelative(std::string_view relative) {
  const std::lock_guard lock(mutex_);
  done_.insert(relative);
}

void JobJournal::note(std::int64_t written, std::int64_t skipped, std::int64_t failed,
                      std::int64_t alreadyDone) {
  {
    const std::lock_guard lock(mutex_);
    record_.written = written;
    record_.skipped = skipped;
    record_.failed = failed;
    record_.alreadyDone = alreadyDone;
  }
  enter(Phase::writing);
}

void JobJournal::markWriting() {
  if (isComplete()) enter(Phase::writing);
}

void JobJournal::enter(Phase phase) {
  {
    const std::lock_guard lock(mutex_);
    record_.phase = phase;
    record_.updatedAt = now();
  }
  saveMeta();
}

void JobJournal::markComplete() {
  enter(Phase::complete);
  const std::lock_guard lock(mutex_);
  log_.force();
}

bool JobJournal::isComplete() const {
  const std::lock_guard lock(mutex_);
  return record_.phase == Phase::complete;
}

std::size_t JobJournal::doneCount() const {
  const std::lock_guard lock(mutex_);
  return done_.size();
}

std::error_code JobJournal::saveMeta() {
  const std::lock_guard saving(saveMutex_);
  Record record;
  {
    const std::lock_guard lock(mutex_);
    if (!mayChange()) return std::make_error_code(std::errc::no_lock_available);
    record = record_;
  }
  return Files::replace(metaFile_, metaFile_.native() + ".tmp", encode(record));
}

}  // namespace tollbrook
