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
  void close();

 private:
  int descriptor_ = -1;
};

/// `path` made absolute, "." and ".." resolved by text alone, without a trailing slash; links are kept.
std::filesystem::path standardized(const std::filesystem::path& path);

/// The error that errno holds.
std::error_code lastError();

/// Writes all bytes, across interruptions and short writes.
std::error_code writeAll(int descriptor, std::string_view bytes);

/// The bytes of the regular file at `path`, at most `limit` of them; an error when it cannot be read or is
/// larger.
std::error_code readAll(const std::filesystem::path& path, std::size_t limit, std::string& bytes);

/// Forces a folder's entries to disk.
std::error_code syncFolder(const std::filesystem::path& folder);

/// Replaces `path` by a file of these bytes: written to `temporary` beside it, forced to disk, renamed over
/// `path`, the folder forced to disk. On an error the old file stands and the temporary one is gone.
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
