#include "TollbrookCore/Support/Files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "TollbrookCore/Support/Platform.h"

namespace tollbrook::Files {
namespace {

// Darwin refuses to read or write more than INT_MAX bytes in one call.
constexpr std::size_t mostPerCall = std::size_t{1} << 30;

/// Whether standardizing would leave the path as it is, so that the usual case costs one look at its bytes.
bool isStandardized(std::string_view path) {
  if (path == "/") return true;
  if (!path.starts_with('/') || path.ends_with('/')) return false;
  for (std::size_t slash = 0; slash != std::string_view::npos; slash = path.find('/', slash + 1)) {
    const std::string_view component = path.substr(slash + 1, path.find('/', slash + 1) - slash - 1);
    if (component.empty() || component == "." || component == "..") return false;
  }
  return true;
}

std::error_code errorUnlessRegular(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return {};
  return errorOf(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
}

/// Reads up to `size` bytes at `offset`; fewer only at the end of the file.
std::error_code readAt(int descriptor, std::size_t offset, char* bytes, std::size_t size,
                       std::size_t& count) {
  count = 0;
  while (count < size) {
    const ssize_t got = pread(descriptor, bytes + count, std::min(size - count, mostPerCall),
                              static_cast<off_t>(offset + count));
    if (got == 0) return {};
    if (got > 0) {
      count += static_cast<std::size_t>(got);
    } else if (errno != EINTR) {
      return lastError();
    }
  }
  return {};
}

std::error_code readWhole(int descriptor, std::size_t limit, std::string& bytes) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return lastError();
  if (const auto error = errorUnlessRegular(status)) return error;
  const auto expected = static_cast<std::size_t>(status.st_size);
  if (expected > limit) return errorOf(EFBIG);
  bytes.resize(expected);
  std::size_t count = 0;
  if (const auto error = readAt(descriptor, 0, bytes.data(), expected, count)) return error;
  if (count < expected) {  // it shrank meanwhile
    bytes.resize(count);
    return {};
  }
  // It may have grown meanwhile, and the files of some systems (/proc) do not tell their size.
  std::array<char, 4096> more;
  do {
    if (const auto error = readAt(descriptor, bytes.size(), more.data(), more.size(), count)) return error;
    if (count > limit - bytes.size()) return errorOf(EFBIG);
    bytes.append(more.data(), count);
  } while (count == more.size());
  return {};
}

std::error_code writeTemporary(const std::filesystem::path& temporary, std::string_view bytes) {
  // Without O_NONBLOCK a FIFO in this place would make us wait for a reader.
  Descriptor file(
      ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666));
  if (!file) return lastError();
  const auto write = [&]() -> std::error_code {
    struct stat status {};
    if (fstat(file.get(), &status) != 0) return lastError();
    if (const auto error = errorUnlessRegular(status)) return error;
    if (const auto error = writeAll(file.get(), bytes)) return error;
    if (const auto error = Platform::forceToDisk(file.get())) return error;
    return file.close();
  };
  const auto error = write();
  if (error) unlink(temporary.c_str());
  return error;
}

}  // namespace

std::error_code Descriptor::close() {
  if (descriptor_ < 0) return {};
  // An interrupted close has closed the descriptor all the same; trying again could close somebody else's.
  if (::close(std::exchange(descriptor_, -1)) != 0 && errno != EINTR) return lastError();
  return {};
}

std::error_code errorOf(int number) { return {number, std::generic_category()}; }

std::error_code lastError() { return errorOf(errno); }

std::filesystem::path standardized(const std::filesystem::path& path) {
  if (path.empty() || isStandardized(path.native())) return path;
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  std::string text = (error ? path : absolute).lexically_normal().native();
  while (text.size() > 1 && text.ends_with('/')) text.pop_back();
  return text;
}

std::error_code writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), std::min(bytes.size(), mostPerCall));
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return lastError();
    }
  }
  return {};
}

std::error_code readAll(const std::filesystem::path& path, std::size_t limit, std::string& bytes) {
  bytes.clear();
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file) return lastError();
  return readAll(file.get(), limit, bytes);
}

std::error_code readAll(int descriptor, std::size_t limit, std::string& bytes) {
  const auto error = readWhole(descriptor, limit, bytes);
  if (error) bytes.clear();
  return error;
}

Descriptor openFolder(const std::filesystem::path& folder) {
  return Descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
}

std::error_code entryError(int folder) {
  return faccessat(folder, ".", X_OK, AT_EACCESS) == 0 ? std::error_code() : lastError();
}

std::error_code folderError(const std::filesystem::path& folder) {
  const Descriptor opened = openFolder(folder);
  return opened ? entryError(opened.get()) : lastError();
}

bool isAt(int descriptor, const std::filesystem::path& path, std::error_code& error) {
  struct stat held {};
  struct stat named {};
  error.clear();
  if (fstat(descriptor, &held) != 0 || stat(path.c_str(), &named) != 0) {
    if (errno != ENOENT) error = lastError();
    return false;
  }
  return held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

std::error_code syncFolder(const std::filesystem::path& folder) {
  const Descriptor directory = openFolder(folder);
  if (!directory) return lastError();
  return syncFolder(directory.get());
}

std::error_code syncFolder(int descriptor) {
  const auto error = Platform::forceToDisk(descriptor);
  for (const int unsupported : {EINVAL, ENOTSUP, EOPNOTSUPP, ENOSYS}) {
    if (error == errorOf(unsupported)) return {};
  }
  return error;
}

std::error_code makeFolders(const std::filesystem::path& folder) {
  if (folder.empty()) return errorOf(ENOENT);
  std::error_code ignored;
  if (std::filesystem::is_directory(folder, ignored)) return {};
  const std::filesystem::path path = standardized(folder);
  const std::filesystem::path parent = path.parent_path();
  if (parent != path) {
    if (const auto error = makeFolders(parent)) return error;
  }
  if (mkdir(path.c_str(), 0700) != 0) {
    if (errno != EEXIST) return lastError();
    return std::filesystem::is_directory(path, ignored) ? std::error_code{} : errorOf(ENOTDIR);
  }
  return syncFolder(parent);
}

std::error_code replace(const std::filesystem::path& path, const std::filesystem::path& temporary,
                        std::string_view bytes) {
  if (const auto error = writeTemporary(temporary, bytes)) return error;
  if (::rename(temporary.c_str(), path.c_str()) != 0) {
    const auto error = lastError();
    unlink(temporary.c_str());
    return error;
  }
  const std::filesystem::path folder = path.parent_path();
  return syncFolder(folder.empty() ? "." : folder);
}

Lock::Outcome Lock::tryAcquire(int descriptor) {
  release();
  int result = 0;
  do {
    result = flock(descriptor, LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  if (result == 0) {
    descriptor_ = descriptor;
    return Outcome::held;
  }
  // Where locks go over a network, a conflict may be reported as the permission it is made of.
  if (errno == EWOULDBLOCK || errno == EACCES) return Outcome::taken;
  return Outcome::unsupported;
}

void Lock::release() {
  // Closing the descriptor would not do: a child between fork and exec still has it.
  if (descriptor_ >= 0) flock(std::exchange(descriptor_, -1), LOCK_UN);
}

}  // namespace tollbrook::Files
