#include "TollbrookCore/FileRestorer.h"

#include <fcntl.h>

#include <chrono>
#include <cmath>
#include <thread>

#include "TollbrookCore/Support/Platform.h"

namespace tollbrook {
namespace {

constexpr std::chrono::milliseconds lockPoll(50);

bool areDatesNear(const Platform::FileDates& dates, TimePoint date, double tolerance) {
  const auto isNear = [&](const std::optional<TimePoint>& held) {
    return held && std::abs(secondsSinceEpoch(*held) - secondsSinceEpoch(date)) <= tolerance;
  };
  return isNear(dates.creation) || isNear(dates.modification);
}

std::error_code forceFileToDisk(const FileRestorer::Target& target) {
  constexpr int flags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  Files::Descriptor file(openat(target.folder, target.name.c_str(), O_RDONLY | flags));
  // A file that may be written but not read can still be forced to disk.
  if (!file) file = Files::Descriptor(openat(target.folder, target.name.c_str(), O_WRONLY | flags));
  return file ? Platform::forceToDisk(file.get()) : Files::lastError();
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
         areDatesNear(Platform::fileDates(target.folder, target.name.c_str()), *data.takenTime,
                      options_.dateTolerance);
}

std::optional<Files::Lock> FileRestorer::lockFolder(int folder, const std::function<bool()>& shouldCancel) {
  Files::Lock lock;
  while (lock.tryAcquire(folder) == Files::Lock::Outcome::taken) {
    if (shouldCancel && shouldCancel()) return std::nullopt;
    std::this_thread::sleep_for(lockPoll);
  }
  return lock;
}

FileRestorer::Outcome FileRestorer::write(const Target& target, const SidecarData& data) {
  if (!data.hasAnything()) return {.result = MetadataWriter::Failed{"Sidecar has no usable metadata"}};
  Outcome outcome;
  EmbeddedWriter::Result embedded;
  bool mayBeDated = options_.writeFileDates;
  if (writer_) {
    embedded = writer_->write(target.path, data, options_.writeCaptions ? data.caption : std::nullopt);
    // Whatever the writer answered, it may have replaced the file.
    std::error_code error = forceFileToDisk(target);
    // What nobody may open nobody has rewritten; its dates can be set all the same.
    const bool isUntouched = error == std::errc::permission_denied;
    if (!error) error = Files::syncFolder(target.folder);
    outcome.durable = !error;
    // A later run would take the file for finished by its dates.
    if (error && !isUntouched) mayBeDated = false;
  }

  const std::optional<TimePoint> taken = MetadataWriter::writable(data).takenTime;
  bool dated = false;
  std::error_code dateError;
  if (mayBeDated && taken) {
    dateError = Platform::setFileDates(target.folder, target.name.c_str(), *taken);
    dated = !dateError;
    if (dated) outcome.durable = !forceFileToDisk(target) && outcome.durable;
  }

  if (embedded.written || dated) {
    outcome.result = MetadataWriter::Applied{.dates = dated, .embedded = embedded.written};
  } else if (dateError) {
    outcome.result = MetadataWriter::Failed{"Could not set file dates: " + dateError.message()};
  } else {
    outcome.result = MetadataWriter::Failed{"Nothing was written"};
  }
  const bool everythingIsInTheFile = embedded.confirmed && MetadataWriter::writable(data) == data;
  outcome.sidecarIsSpent = outcome.durable && (writer_ ? everythingIsInTheFile : dated);
  return outcome;
}

bool MetadataWriter::datesMatch(const std::filesystem::path& file, TimePoint date, double tolerance) {
  return areDatesNear(Platform::fileDates(file), date, tolerance);
}

}  // namespace tollbrook
