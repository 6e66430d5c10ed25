#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "TollbrookCore/Support/Time.h"

/// The one seam to the operating system. Each function has one source per system; nothing else in the engine
/// asks which system it runs on. Any thread.
namespace tollbrook::Platform {

struct FileDates {
  std::optional<TimePoint> creation;  ///< absent where the file system keeps none
  std::optional<TimePoint> modification;

  /// Whether one of them is at most `tolerance` seconds from `date`.
  bool areNear(TimePoint date, double tolerance) const;
};

/// Both dates of a file, read in one request; both absent when they cannot be read.
FileDates fileDates(const std::filesystem::path& file);
/// The same for `name` relative to the open folder `directory`.
FileDates fileDates(int directory, const char* name);

/// When the file's bytes, dates, name or attributes last changed (POSIX's status change time).
TimePoint lastChange(const struct stat& status);

/// Sets creation and modification date of `name` (no link) relative to the open folder `directory`. Where no
/// call sets a creation date, the modification date alone is set. A date that the file system cannot hold is
/// an error (std::errc::value_too_large) and leaves the old dates.
std::error_code setFileDates(int directory, const char* name, TimePoint date);
/// The same for a path.
std::error_code setFileDates(const std::filesystem::path& file, TimePoint date);

/// Whether another program has the file `name` below the open folder `directory` open, as far as the system
/// tells.
bool isOpenElsewhere(int directory, const char* name);

/// Forces the file or folder open as `descriptor` to stable storage, past the drive's own cache where the
/// system can ask for that.
std::error_code forceToDisk(int descriptor);

/// Copies up to `length` bytes of the file open as `from`, from `offset` on, to the position of the one open
/// as `to`, without reading them where the system can do that. The number of bytes copied, which may be none.
std::uint64_t copyRange(int from, std::uint64_t offset, int to, std::uint64_t length);

/// Gives the file open as `to` the times of access and modification of the one open as `from`.
std::error_code copyTimes(int from, int to);

/// Opaque bytes that lead back to the folder even after it was moved; none where the system has no such
/// thing.
std::optional<std::string> makeBookmark(const std::filesystem::path& folder);
std::optional<std::filesystem::path> resolveBookmark(const std::string& bookmark);

/// The folder for the data of applications, of this user; below "/" when the user has no home.
std::filesystem::path applicationSupportFolder();

/// What belongs to a file beside its bytes and dates, and must survive its replacement.
struct FileAttributes {
  std::uint32_t mode = 0;
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  std::uint32_t flags = 0;            ///< file flags, where the system has them (macOS: chflags)
  std::optional<TimePoint> creation;  ///< where a program can set it
  std::string accessControl;  ///< the access control list as text, where it is no extended attribute (macOS)
  std::vector<std::pair<std::string, std::string>>
      extended;  ///< extended attributes; on Linux the ACL is one

  bool operator==(const FileAttributes&) const = default;
};

/// The attributes of the file open as `descriptor`; none when they cannot be read.
std::optional<FileAttributes> readAttributes(int descriptor);

/// Gives the file open as `descriptor` these attributes, as far as it lacks them. The first error is returned
/// after all has been tried.
std::error_code applyAttributes(int descriptor, const FileAttributes& attributes);

/// Keeps a write to this pipe from raising SIGPIPE in whatever thread the system chooses, where it may choose
/// another than the writer's (macOS). False when it cannot be kept.
bool silencePipe(int descriptor);

/// Ties a child's life to ours. The child dies with the thread that forked it
/// (Linux: by a signal from the kernel) or with the process (macOS: by a guard process that watches us),
/// whichever way that ends. To be made before fork, in the thread that will fork and that lives as long as
/// the child, and while no other thread forks; to be kept until the child is reaped.
class ChildGuard {
 public:
  ChildGuard();
  ~ChildGuard();
  ChildGuard(const ChildGuard&) = delete;
  ChildGuard& operator=(const ChildGuard&) = delete;

  /// In the child, between fork and exec and after it has made its own process group; async-signal-safe.
  /// False when the child could not be bound or the parent is already gone: it must then exit at once.
  bool armInChild() const;

 private:
  int parent_;
  [[maybe_unused]] int guard_ = -1;     ///< macOS: the guard process
  [[maybe_unused]] int lifeline_ = -1;  ///< macOS: the guard acts when this descriptor is closed everywhere
};

}  // namespace tollbrook::Platform
