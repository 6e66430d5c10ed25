#include "TollbrookCore/DoneLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "TollbrookCore/Support/Platform.h"

namespace tollbrook {
namespace {

constexpr std::string_view header = "v1\n";
// Some two hundred million paths. Something larger is no finished list, and reading it could take all memory.
constexpr std::size_t largestLog = std::size_t{8} << 30;

// A link could lead out of the job store, and opening a FIFO would wait for its other end.
constexpr int openFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

std::error_code sizeOf(int descriptor, off_t& size) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return Files::lastError();
  if (!S_ISREG(status.st_mode)) return Files::errorOf(EINVAL);
  size = status.st_size;
  return {};
}

/// The size of the file without what follows its last line feed.
std::error_code sizeOfWholeLines(int descriptor, off_t size, off_t& whole) {
  std::array<char, 65536> piece;
  for (whole = size; whole > 0;) {
    const off_t start = std::max<off_t>(0, whole - static_cast<off_t>(piece.size()));
    const ssize_t got = pread(descriptor, piece.data(), static_cast<std::size_t>(whole - start), start);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return Files::lastError();
    if (got != whole - start) return Files::errorOf(EIO);
    const std::string_view bytes(piece.data(), static_cast<std::size_t>(got));
    const std::size_t lineFeed = bytes.rfind('\n');
    if (lineFeed != std::string_view::npos) {
      whole = start + static_cast<off_t>(lineFeed) + 1;
      return {};
    }
    whole = start;
  }
  return {};
}

std::error_code cutTo(int descriptor, off_t size) {
  while (ftruncate(descriptor, size) != 0) {
    if (errno != EINTR) return Files::lastError();
  }
  return {};
}

FinishedSet readOpen(int descriptor) {
  std::string log;
  if (Files::readAll(descriptor, largestLog, log)) return {};
  return FinishedSet(std::move(log));
}

}  // namespace

FinishedSet DoneLog::read(const std::filesystem::path& file) {
  const Files::Descriptor log(::open(file.c_str(), O_RDONLY | openFlags));
  return log ? readOpen(log.get()) : FinishedSet();
}

FinishedSet DoneLog::read() const { return readOpen(file_.get()); }

bool DoneLog::canBeOpened(const std::filesystem::path& file) {
  const Files::Descriptor log(::open(file.c_str(), O_RDWR | openFlags));
  if (!log) return errno == ENOENT;
  off_t size = 0;
  return !sizeOf(log.get(), size);
}

std::error_code DoneLog::open(const std::filesystem::path& file) {
  close();
  const auto openExisting = [&] {
    file_ = Files::Descriptor(::open(file.c_str(), O_RDWR | O_APPEND | openFlags));
  };
  openExisting();
  if (!file_ && errno == ENOENT) {
    if (const auto error = Files::replace(file, file.native() + ".tmp", header)) return error;
    openExisting();
  }
  if (!file_) return Files::lastError();
  const auto error = cutTornLine();
  if (error) close();
  return error;
}

void DoneLog::close() { file_.close(); }

std::error_code DoneLog::cutTornLine() {
  off_t size = 0;
  if (const auto error = sizeOf(file_.get(), size)) return error;
  off_t whole = 0;
  if (const auto error = sizeOfWholeLines(file_.get(), size, whole)) return error;
  if (whole < size) {
    if (const auto error = cutTo(file_.get(), whole)) return error;
    if (const auto error = force()) return error;
  }
  return whole == 0 ? appendForced(header) : std::error_code{};
}

std::error_code DoneLog::append(std::string_view path) {
  if (!file_) return Files::errorOf(EBADF);
  if (!FinishedSet::isLine(path)) return Files::errorOf(EILSEQ);
  return appendForced(std::string(path) + '\n');
}

std::error_code DoneLog::appendForced(std::string_view bytes) {
  off_t before = 0;
  if (const auto error = sizeOf(file_.get(), before)) return error;
  const auto write = [&] {
    const auto error = Files::writeAll(file_.get(), bytes);
    return error ? error : force();
  };
  const auto error = write();
  if (error && cutTo(file_.get(), before)) close();
  return error;
}

std::error_code DoneLog::force() {
  return file_ ? Platform::forceToDisk(file_.get()) : Files::errorOf(EBADF);
}

}  // namespace tollbrook
