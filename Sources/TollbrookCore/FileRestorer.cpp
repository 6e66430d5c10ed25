#include "TollbrookCore/FileRestorer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <thread>

#include "TollbrookCore/MetadataValues.h"
#include "TollbrookCore/Support/Platform.h"

namespace tollbrook {
namespace {

constexpr std::chrono::milliseconds lockPoll(50);

std::error_code forceFileToDisk(const FileRestorer::Target& target) {
  constexpr int flags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  Files::Descriptor file(openat(target.folder, target.name.c_str(), O_RDONLY | flags));
  // A file that may be written but not read can still be forced to disk.
  if (!file) file = Files::Descriptor(openat(target.folder, target.name.c_str(), O_WRONLY | flags));
  return file ? Platform::forceToDisk(file.get()) : Files::lastError();
}

// Whether the file system could take another file of this size. A writer that ran out of room leaves the file
// as it was and may not say so; the next run is to find it unfinished.
bool hasRoomForCopy(const FileRestorer::Target& target) {
  constexpr std::uint64_t metadata = std::uint64_t{64} << 10;
  struct stat file {};
  struct statvfs system {};
  if (fstatat(target.folder, target.name.c_str(), &file, AT_SYMLINK_NOFOLLOW) != 0) return true;
  if (fstatvfs(target.folder, &system) != 0) return true;
  const std::uint64_t free = std::uint64_t{system.f_bavail} * system.f_frsize;
  return free >= static_cast<std::uint64_t>(file.st_size) + metadata;
}

// A folder can be moved away during a run, and another one take its place.
bool isFolderAtItsPath(const FileRestorer::Target& target) {
  std::error_code ignored;
  return Files::isAt(target.folder, target.path.parent_path(), ignored);
}

}  // namespace

FileRestorer::FileRestorer(const RestoreOptions& options, EmbeddedWriter::Settings settings)
    : options_(options) {
  if (options.writeEmbedded) writer_.emplace(std::move(settings));
}

void FileRestorer::close() {
  if (writer_) writer_->close();
}

bool FileRestorer::isToBeSkipped(const Target& target, const SidecarData& data) const {
  return options_.skipIfDatesMatch && data.takenTime &&
         Platform::fileDates(target.folder, target.name.c_str())
             .areNear(*data.takenTime, options_.dateTolerance);
}

std::optional<Files::Lock> FileRestorer::lockFolder(int folder, const std::function<bool()>& shouldCancel) {
  Files::Lock lock;
  while (lock.tryAcquire(folder) == Files::Lock::Outcome::taken) {
    if (shouldCancel && shouldCancel()) return std::nullopt;
    std::this_thread::sleep_for(lockPoll);
  }
  return lock;
}

FileRestorer::EmbeddedStep FileRestorer::embed(const Target& target, const SidecarData& data) {
  EmbeddedStep step;
  // Every writer makes its new file beside the old one.
  if (faccessat(target.folder, ".", W_OK, AT_EACCESS) != 0) return step;
  const EmbeddedWriter::Result result =
      writer_->write(target.path, data, options_.writeCaptions ? data.caption : std::nullopt);
  // The writer goes by the path; the dates and the sidecar are of the folder that we hold.
  const bool isInDoubt = result.attempted && !result.confirmed;
  if (!isFolderAtItsPath(target) || (isInDoubt && !hasRoomForCopy(target))) {
    step.mayBeDated = false;
    return step;
  }
  step.written = result.written;
  step.confirmed = result.confirmed;
  // Whatever the writer answered, it may have replaced the file.
  std::error_code error = forceFileToDisk(target);
  // What nobody may open nobody has rewritten; its dates can be set all the same.
  const bool isUntouched = error == std::errc::permission_denied;
  if (!error) error = Files::syncFolder(target.folder);
  step.durable = !error;
  step.mayBeDated = !error || isUntouched;
  return step;
}

FileRestorer::Outcome FileRestorer::write(const Target& target, const SidecarData& data) {
  // Until the lock was had, something else may have taken the file's place; a writer would enter a folder.
  struct stat status {};
  const bool isSomethingElse =
      fstatat(target.folder, target.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
      !S_ISREG(status.st_mode);
  if (isSomethingElse || !isFolderAtItsPath(target)) {
    return {.result = MetadataWriter::Failed{"Nothing was written"}};
  }
  const SidecarData writable = MetadataWriter::writable(data);
  const EmbeddedStep embedded = writer_ ? embed(target, data) : EmbeddedStep{};
  Outcome outcome;
  outcome.durable = embedded.durable;
  bool dated = false;
  std::error_code dateError;
  if (options_.writeFileDates && embedded.mayBeDated && writable.takenTime) {
    dateError = Platform::setFileDates(target.folder, target.name.c_str(), *writable.takenTime);
    dated = !dateError;
    if (dated) outcome.durable = !forceFileToDisk(target) && outcome.durable;
  }

  if (embedded.written || dated) {
    outcome.result = MetadataWriter::Applied{.dates = dated, .embedded = embedded.written};
  } else if (dateError) {
    outcome.result = datesNotSet(dateError);
  } else {
    outcome.result = MetadataWriter::Failed{"Nothing was written"};
  }
  const bool everythingIsInTheFile = embedded.confirmed && writable == data;
  outcome.sidecarIsSpent = outcome.durable && (writer_ ? everythingIsInTheFile : dated);
  return outcome;
}

MetadataWriter::Failed FileRestorer::datesNotSet(const std::error_code& error) {
  return {"Could not set file dates: " + error.message()};
}

}  // namespace tollbrook
