#include <fmt/format.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "TollbrookCore/JobJournal.h"
#include "TollbrookCore/Support/Platform.h"

// What concerns the jobs as a whole: where they are, which there are, and how one goes.
namespace tollbrook {
namespace {

namespace fs = std::filesystem;

// A record is a few kilobytes: a path, a bookmark, a handful of values.
constexpr std::size_t largestRecord = std::size_t{1} << 20;

struct BaseDirectoryOverride {
  std::mutex mutex;
  std::optional<fs::path> directory;
};

BaseDirectoryOverride& baseDirectoryOverride() {
  static BaseDirectoryOverride instance;
  return instance;
}

/// The visible entries of the job store, the one that was changed last first.
std::vector<fs::path> jobDirectories() {
  struct Entry {
    fs::path path;
    fs::file_time_type changed;
  };
  std::vector<Entry> entries;
  std::error_code error;
  for (fs::directory_iterator entry(JobJournal::baseDirectory(), error);
       !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const fs::path& path = entry->path();
    if (path.filename().native().starts_with('.')) continue;
    std::error_code unreadable;
    const auto changed = fs::last_write_time(path, unreadable);
    entries.push_back({path, unreadable ? fs::file_time_type::min() : changed});
  }
  std::stable_sort(entries.begin(), entries.end(),
                   [](const Entry& a, const Entry& b) { return a.changed > b.changed; });
  std::vector<fs::path> paths;
  for (Entry& entry : entries) paths.push_back(std::move(entry.path));
  return paths;
}

/// The job's folder when it is there.
std::optional<fs::path> existingFolder(const JobJournal::Record& record) {
  auto folder = JobJournal::resolveFolder(record);
  std::error_code ignored;
  if (!folder || !fs::is_directory(*folder, ignored)) return std::nullopt;
  return folder;
}

/// Removes one file of a job; whether there was one.
bool removeFile(const fs::path& file) {
  if (unlink(file.c_str()) == 0) return true;
  if (errno != ENOENT) throw fs::filesystem_error("cannot forget the job", file, Files::lastError());
  return false;
}

}  // namespace

fs::path JobJournal::baseDirectory() {
  auto& override = baseDirectoryOverride();
  const std::lock_guard lock(override.mutex);
  return override.directory ? *override.directory : Platform::applicationSupportFolder() / "Tollbrook/jobs";
}

void JobJournal::setBaseDirectoryOverride(std::optional<fs::path> directory) {
  auto& override = baseDirectoryOverride();
  const std::lock_guard lock(override.mutex);
  override.directory = std::move(directory);
}

std::string JobJournal::id(const fs::path& folder) {
  const std::string path = Files::standardized(folder).native();
  std::array<unsigned char, 32> digest{};
  if (EVP_Digest(path.data(), path.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("SHA-256 is not available");
  }
  std::string text;
  for (const unsigned char byte : digest) text += fmt::format("{:02x}", byte);
  return text;
}

std::optional<JobJournal::Record> JobJournal::readRecord(const fs::path& file) {
  std::string text;
  if (Files::readAll(file, largestRecord, text)) return std::nullopt;
  return decode(text);
}

std::optional<fs::path> JobJournal::resolveFolder(const Record& record) {
  if (record.bookmark) {
    if (auto folder = Platform::resolveBookmark(*record.bookmark)) return folder;
  }
  std::error_code ignored;
  if (!fs::exists(record.folderPath, ignored)) return std::nullopt;
  return record.folderPath;
}

std::unordered_set<std::string> JobJournal::loadDone(const fs::path& file) {
  std::unordered_set<std::string> paths;
  DoneLog::read(file).forEach([&](std::string_view path) { paths.emplace(path); });
  return paths;
}

/// The unfinished job in `directory`, without its finished list; none when it is no such job, its folder
/// cannot be found or its list cannot be opened.
std::unique_ptr<JobJournal> JobJournal::unfinishedIn(const fs::path& directory) {
  const auto record = readRecord(directory / "job.json");
  if (!record || record->phase == Phase::complete) return nullptr;
  const auto folder = existingFolder(*record);
  if (!folder) return nullptr;
  std::unique_ptr<JobJournal> journal(new JobJournal(directory, *folder));
  if (!DoneLog::canBeOpened(journal->doneFile_)) return nullptr;
  journal->record_ = *record;
  return journal;
}

std::unique_ptr<JobJournal> JobJournal::unfinishedWithList(const fs::path& directory) {
  auto journal = unfinishedIn(directory);
  if (journal) journal->done_ = DoneLog::read(journal->doneFile_);
  return journal;
}

std::vector<std::unique_ptr<JobJournal>> JobJournal::allUnfinished() {
  std::vector<std::unique_ptr<JobJournal>> journals;
  for (const fs::path& directory : jobDirectories()) {
    if (auto journal = unfinishedWithList(directory)) journals.push_back(std::move(journal));
  }
  return journals;
}

std::unique_ptr<JobJournal> JobJournal::unfinishedToResume() {
  for (const fs::path& directory : jobDirectories()) {
    if (auto journal = unfinishedWithList(directory)) return journal;
  }
  return nullptr;
}

std::unique_ptr<JobJournal> JobJournal::claimUnfinished() {
  bool isBusy = false;
  std::optional<fs::filesystem_error> failure;
  for (const fs::path& directory : jobDirectories()) {
    auto journal = unfinishedIn(directory);
    if (!journal) continue;
    Claim claim = Claim::gone;
    if (const auto error = journal->claimForRun(claim)) {
      if (!failure) failure.emplace("cannot open the job", directory, error);
    }
    // Whoever held the lock until now may have completed the job.
    if (claim == Claim::claimed && !journal->isComplete()) return journal;
    isBusy = isBusy || claim == Claim::taken;
  }
  if (isBusy) throw Busy();
  if (failure) throw fs::filesystem_error(*failure);
  return nullptr;
}

std::vector<JobJournal::Listing> JobJournal::allJobs() {
  std::vector<Listing> jobs;
  for (const fs::path& directory : jobDirectories()) {
    const auto record = readRecord(directory / "job.json");
    if (!record) continue;
    jobs.push_back({.id = directory.filename().native(),
                    .record = *record,
                    .doneCount = DoneLog::read(directory / "done.log").size(),
                    .folderFound = existingFolder(*record).has_value()});
  }
  return jobs;
}

JobJournal::ForgetOutcome JobJournal::forget(const fs::path& folder) {
  JobJournal job(baseDirectory() / id(folder), folder);
  Claim claim = Claim::gone;
  if (const auto error = job.claimDirectory(claim)) {
    throw fs::filesystem_error("cannot open the job's folder", job.directory_, error);
  }
  if (claim == Claim::taken) return ForgetOutcome::busy;
  if (claim == Claim::gone) return ForgetOutcome::nothingToForget;
  // The list goes first, and for good: a crash that left it without its record would let the folder's next
  // job take it over.
  const bool hadList = removeFile(job.doneFile_);
  if (hadList) {
    if (const auto error = Files::syncFolder(job.directory_)) {
      throw fs::filesystem_error("cannot forget the job", job.directory_, error);
    }
  }
  const bool hadRecord = removeFile(job.metaFile_);
  removeFile(job.doneFile_.native() + ".tmp");
  removeFile(job.metaFile_.native() + ".tmp");
  // Somebody else's files keep the directory in being, which does no harm.
  if (rmdir(job.directory_.c_str()) == 0) Files::syncFolder(job.directory_.parent_path());
  return hadList || hadRecord ? ForgetOutcome::forgotten : ForgetOutcome::nothingToForget;
}

}  // namespace tollbrook
