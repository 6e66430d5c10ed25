#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

/// Small file operations with the guarantees that a crash-safe program needs. Any thread.
namespace tollbrook::Files {

/// An open file descriptor, closed when it goes.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~Descriptor() { close(); }

  explicit operator bool() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }
  /// Hands the descriptor over to somebody who closes it.
  int release() { return std::exchange(descriptor_, -1); }
  /// Closes it now. The error of a file that was written matters: some file systems report a full disk only
  /// here.
  std::error_code close();

 private:
  int descriptor_ = -1;
};

/// `path` made absolute against the current folder, "." and ".." resolved by text alone, without a trailing
/// slash; links are kept. The empty path names nothing and stays empty.
std::filesystem::path standardized(const std::filesystem::path& path);

/// Opens a folder to look into it and for calls relative to it; empty, and errno, when it is missing or no
/// folder.
Descriptor openFolder(const std::filesystem::path& folder);
/// Why the files of an open folder cannot be reached: it may be listed but not entered. No error when they
/// can.
std::error_code entryError(int folder);
/// The same for one that may be missing, no folder or closed to this user, too.
std::error_code folderError(const std::filesystem::path& folder);

/// Whether `path`, links followed, leads to what is open as `descriptor`; false, and `error`, when it cannot
/// be told. That nothing is there is no error.
bool isAt(int descriptor, const std::filesystem::path& path, std::error_code& error);

/// The error with this errno number.
std::error_code errorOf(int number);
/// The error that errno holds.
std::error_code lastError();

/// Writes all bytes, across interruptions and short writes.
std::error_code writeAll(int descriptor, std::string_view bytes);

/// The bytes of the regular file at `path`, which may be a link to one, at most `limit` of them. An error,
/// and no bytes, when it cannot be read, is no regular file (EISDIR, else EINVAL) or is larger (EFBIG). Never
/// waits for a writer, as reading a FIFO would.
std::error_code readAll(const std::filesystem::path& path, std::size_t limit, std::string& bytes);
/// The same for the file open as `descriptor`, from its beginning whatever its position is.
std::error_code readAll(int descriptor, std::size_t limit, std::string& bytes);

/// Forces a folder's entries to disk. A file system that cannot do that for folders is no error.
std::error_code syncFolder(const std::filesystem::path& folder);
/// The same for the folder open as `descriptor`.
std::error_code syncFolder(int descriptor);

/// Makes `folder` and the folders above it, each with access for this user only and its entry forced to disk;
/// one that is there is fine. ENOTDIR when something else is in its place.
std::error_code makeFolders(const std::filesystem::path& folder);

/// Replaces `path` by a file of these bytes: written to `temporary` beside it (a leftover there is
/// overwritten), forced to disk, renamed over `path`, the folder forced to disk. On an error the old file
/// stands and the temporary one is gone, save that forcing the folder comes after the rename: when only that
/// fails, the new file stands, though a power loss may bring the old one back.
std::error_code replace(const std::filesystem::path& path, const std::filesystem::path& temporary,
                        std::string_view bytes);

/// An advisory lock on an open folder or file (flock, exclusive), let go when it goes or when the process
/// dies.
class Lock {
 public:
  enum class Outcome {
    held,
    taken,       ///< somebody else holds it
    unsupported  ///< this file system has no such locks
  };

  Lock() = default;
  Lock(Lock&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Lock& operator=(Lock&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~Lock() { release(); }

  /// Takes the lock on `descriptor`, which must stay open as long as the lock is held, without waiting.
  Outcome tryAcquire(int descriptor);
  void release();
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_ = -1;
};

}  // namespace tollbrook::Files
