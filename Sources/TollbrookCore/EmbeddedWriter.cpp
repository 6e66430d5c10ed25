#include "TollbrookCore/EmbeddedWriter.h"

#include <fcntl.h>

#include <cstdint>
#include <utility>

#include "TollbrookCore/BuiltInWriter.h"
#include "TollbrookCore/MetadataValues.h"
#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"
#include "TollbrookCore/TemporaryNames.h"

namespace tollbrook {
namespace {

/// So many sessions without one success are no accident of a file.
constexpr int sessionsBeforeGivingUp = 3;

Files::Descriptor openWithoutFollowing(const std::filesystem::path& file) {
  return Files::Descriptor(open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

std::optional<Platform::FileAttributes> attributesOf(const std::filesystem::path& file) {
  const auto descriptor = openWithoutFollowing(file);
  return descriptor ? Platform::readAttributes(descriptor.get()) : std::nullopt;
}

/// What cannot be given back is lost without a word, as with every program that rewrites a file.
void giveBack(const std::filesystem::path& file, const Platform::FileAttributes& attributes) {
  const auto descriptor = openWithoutFollowing(file);
  if (descriptor) Platform::applyAttributes(descriptor.get(), attributes);
}

bool isRegularFile(const std::filesystem::path& path) {
  std::error_code ignored;
  return std::filesystem::symlink_status(path, ignored).type() == std::filesystem::file_type::regular;
}

/// What a child that was ended left of its new file; the next child would refuse to begin another. The caller
/// holds the folder's lock, and the child is gone.
void removeTemporary(const std::filesystem::path& file) {
  std::filesystem::path temporary = file;
  temporary += TemporaryNames::exifToolSuffix;
  // When exiftool cannot rename over the original it removes that first; then this is all there is of it.
  if (!isRegularFile(file) || !isRegularFile(temporary)) return;
  std::error_code ignored;
  std::filesystem::remove(temporary, ignored);
}

/// How long a slow disk takes to write such a file anew.
std::chrono::milliseconds timeToCopy(const std::filesystem::path& file) {
  constexpr std::uintmax_t bytesPerMillisecond = 5000;
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(file, error);
  return std::chrono::milliseconds(error ? 0 : size / bytesPerMillisecond);
}

}  // namespace

EmbeddedWriter::EmbeddedWriter(Settings settings) : settings_(std::move(settings)) { haveSession(); }

EmbeddedWriter::~EmbeddedWriter() { close(); }

EmbeddedWriter::Result EmbeddedWriter::write(const std::filesystem::path& file, const SidecarData& data,
                                             const std::optional<std::string>& caption) {
  const SidecarData values = MetadataWriter::writable(data);
  // Told to write nothing, exiftool would read the file and print what it finds.
  if (!values.takenTime && !values.hasGPS() &&
      (!caption || caption->find_first_not_of('\0') == std::string::npos)) {
    return {};
  }
  if (!settings_.exifTool) {
    if (!isImageIOExtension(fileExtension(file.filename().native()))) return {};
    const bool written = MetadataWriter::writeWithImageIO(file, data, caption);
    return {.attempted = true, .written = written, .confirmed = written};
  }
  // exiftool replaces the file by one of the caller's, without extended attributes.
  const auto attributes = attributesOf(file);
  const Result result = writeWithExifTool(file, data, caption);
  // Also after a failure: a child that was ended may have replaced the file before.
  if (attributes) giveBack(file, *attributes);
  return result;
}

EmbeddedWriter::Result EmbeddedWriter::writeWithExifTool(const std::filesystem::path& file,
                                                         const SidecarData& data,
                                                         const std::optional<std::string>& caption) {
  Result result = run(file, ExifTool::arguments(data, caption));
  const auto signs = ExifTool::signArguments(data);
  if (result.confirmed && !signs.empty()) result.confirmed = run(file, signs).confirmed;
  return result;
}

EmbeddedWriter::Result EmbeddedWriter::run(const std::filesystem::path& file,
                                           const std::vector<std::string>& arguments) {
  if (ExifTool::canNameInCommand(file) && haveSession()) {
    if (session_->run(file, arguments)) {
      sessionHasSucceeded_ = true;
      return {.attempted = true, .written = true, .confirmed = session_->lastWriteConfirmed()};
    }
    // Before the next try: two children must not write the same file.
    letGoOfSession();
    removeTemporary(file);
  }
  const auto limit = settings_.answerLimit + timeToCopy(file);
  const bool written = ExifTool::runOnce(file, arguments, settings_.exifTool, limit);
  if (!written) removeTemporary(file);
  return {.attempted = true, .written = written, .confirmed = written};
}

bool EmbeddedWriter::haveSession() {
  if (session_) return true;
  if (!settings_.exifTool || !settings_.useSession) return false;
  if (sessionsWithoutSuccess_ == sessionsBeforeGivingUp) return false;
  session_ = ExifTool::Session::start(settings_.exifTool, settings_.answerLimit);
  sessionHasSucceeded_ = false;
  if (!session_) ++sessionsWithoutSuccess_;
  return session_ != nullptr;
}

void EmbeddedWriter::letGoOfSession() {
  session_.reset();
  sessionsWithoutSuccess_ = sessionHasSucceeded_ ? 0 : sessionsWithoutSuccess_ + 1;
}

void EmbeddedWriter::close() {
  if (session_) session_->close();
  session_.reset();
}

}  // namespace tollbrook
