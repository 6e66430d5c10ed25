#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"
#include "TollbrookCore/Support/PlatformAttributes.h"

namespace tollbrook::Platform {
namespace {

TimePoint fromStatx(const statx_timestamp& stamp) {
  return fromTimespec({.tv_sec = stamp.tv_sec, .tv_nsec = static_cast<long>(stamp.tv_nsec)});
}

// Every file system holds the dates from 1980 (FAT) to 2038 (32-bit seconds); outside, the kernel silently
// sets the nearest date that fits.
constexpr double alwaysHeldFrom = 315532800;
constexpr double alwaysHeldTo = 2147483647;
// The coarsest modification date there is, FAT's, counts in steps of two seconds.
constexpr double coarsestStep = 2;

std::error_code setModificationDate(int directory, const char* name, const timespec& modification) {
  const timespec dates[2] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, modification};
  if (utimensat(directory, name, dates, AT_SYMLINK_NOFOLLOW) != 0) return Files::lastError();
  return {};
}

// NTFS-3G and the kernel's SMB client let a program set the creation date through an extended attribute, as
// 100 ns intervals since 1601: the one big-endian, the other in the machine's order. All others refuse the
// name.
void setCreationDateWherePossible(int directory, const char* name, TimePoint date) {
  constexpr double secondsFrom1601To1970 = 11644473600;
  const double intervals = std::floor((secondsSinceEpoch(date) + secondsFrom1601To1970) * 1e7);
  if (!(intervals >= 0 && intervals < 9.2e18)) return;
  const Files::Descriptor file(openat(directory, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file) return;
  std::array<char, 8> current{};
  const auto native = static_cast<std::uint64_t>(intervals);
  if (fgetxattr(file.get(), "system.ntfs_crtime_be", current.data(), current.size()) == 8) {
    std::array<char, 8> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(native >> (8 * (7 - i)));
    fsetxattr(file.get(), "system.ntfs_crtime_be", bytes.data(), bytes.size(), XATTR_REPLACE);
  } else if (fgetxattr(file.get(), "user.cifs.creationtime", current.data(), current.size()) == 8) {
    fsetxattr(file.get(), "user.cifs.creationtime", &native, sizeof native, 0);
  }
}

}  // namespace

FileDates fileDates(int directory, const char* name) {
  struct statx status {};
  if (statx(directory, name, AT_SYMLINK_NOFOLLOW, STATX_BTIME | STATX_MTIME, &status) != 0) return {};
  FileDates dates;
  if ((status.stx_mask & STATX_BTIME) != 0) dates.creation = fromStatx(status.stx_btime);
  if ((status.stx_mask & STATX_MTIME) != 0) dates.modification = fromStatx(status.stx_mtime);
  return dates;
}

TimePoint lastChange(const struct stat& status) { return fromTimespec(status.st_ctim); }

std::error_code setFileDates(int directory, const char* name, TimePoint date) {
  const std::optional<timespec> stamp = toTimespec(date);
  if (!stamp) return std::make_error_code(std::errc::value_too_large);
  const double seconds = secondsSinceEpoch(date);
  const bool mayNotFit = seconds < alwaysHeldFrom || seconds > alwaysHeldTo;
  struct stat before {};
  if (mayNotFit && fstatat(directory, name, &before, AT_SYMLINK_NOFOLLOW) != 0) return Files::lastError();
  if (const std::error_code error = setModificationDate(directory, name, *stamp)) return error;
  if (mayNotFit) {
    const std::optional<TimePoint> held = fileDates(directory, name).modification;
    if (!held || std::abs(secondsSinceEpoch(*held) - seconds) > coarsestStep) {
      setModificationDate(directory, name, before.st_mtim);
      return std::make_error_code(std::errc::value_too_large);
    }
  }
  setCreationDateWherePossible(directory, name, date);
  return {};
}

bool isOpenElsewhere(int directory, const char* name) {
  const Files::Descriptor file(openat(directory, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  // A write lease is granted only to the one program that has the file open; EAGAIN says that there are
  // others. It goes with the descriptor.
  if (!file || fcntl(file.get(), F_SETSIG, SIGURG) != 0) return false;
  return fcntl(file.get(), F_SETLEASE, F_WRLCK) != 0 && errno == EAGAIN;
}

std::error_code forceToDisk(int descriptor) {
  if (fsync(descriptor) != 0) return Files::lastError();
  return {};
}

std::uint64_t copyRange(int from, std::uint64_t offset, int to, std::uint64_t length) {
  constexpr std::uint64_t mostPerCall = std::uint64_t{1} << 30;
  std::uint64_t copied = 0;
  while (copied < length) {
    auto position = static_cast<off_t>(offset + copied);
    const ssize_t count =
        copy_file_range(from, &position, to, nullptr, std::min(length - copied, mostPerCall), 0);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    copied += static_cast<std::uint64_t>(count);
  }
  return copied;
}

std::error_code copyTimes(int from, int to) {
  struct stat status {};
  if (fstat(from, &status) != 0) return Files::lastError();
  const timespec times[2] = {status.st_atim, status.st_mtim};
  if (futimens(to, times) != 0) return Files::lastError();
  return {};
}

std::optional<std::string> makeBookmark(const std::filesystem::path&) { return std::nullopt; }

std::optional<std::filesystem::path> resolveBookmark(const std::string&) { return std::nullopt; }

std::filesystem::path applicationSupportFolder() {
  // The XDG Base Directory Specification ignores a relative path.
  if (const char* data = std::getenv("XDG_DATA_HOME"); data != nullptr && data[0] == '/') return data;
  if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/') {
    return std::filesystem::path(home) / ".local/share";
  }
  passwd entry{};
  passwd* found = nullptr;
  std::array<char, 4096> strings{};
  getpwuid_r(getuid(), &entry, strings.data(), strings.size(), &found);
  return std::filesystem::path(found != nullptr ? found->pw_dir : "/") / ".local/share";
}

const bool Native::inheritsExtended = true;

ssize_t Native::listNames(int descriptor, char* names, std::size_t size) {
  return flistxattr(descriptor, names, size);
}

ssize_t Native::getValue(int descriptor, const char* name, char* value, std::size_t size) {
  return fgetxattr(descriptor, name, value, size);
}

int Native::setValue(int descriptor, const char* name, const std::string& value) {
  return fsetxattr(descriptor, name, value.data(), value.size(), 0);
}

int Native::removeValue(int descriptor, const char* name) { return fremovexattr(descriptor, name); }

void Native::readOwn(int, const struct stat&, FileAttributes&) {}

void Native::applyOwn(int, const FileAttributes&, const FileAttributes&, const std::function<void(int)>&) {}

bool silencePipe(int) { return true; }

}  // namespace tollbrook::Platform
