#include <CoreFoundation/CoreFoundation.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/acl.h>
#include <sys/attr.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"
#include "TollbrookCore/Support/PlatformAttributes.h"

namespace tollbrook::Platform {
namespace {

std::string accessControlOf(int descriptor) {
  const acl_t list = acl_get_fd_np(descriptor, ACL_TYPE_EXTENDED);
  if (list == nullptr) return {};
  ssize_t length = 0;
  char* const text = acl_to_text(list, &length);
  std::string result(text != nullptr ? text : "", text != nullptr ? static_cast<std::size_t>(length) : 0);
  acl_free(text);
  acl_free(list);
  return result;
}

int setAccessControl(int descriptor, const std::string& text) {
  const acl_t list = text.empty() ? acl_init(0) : acl_from_text(text.c_str());
  if (list == nullptr) return -1;
  const int result = acl_set_fd_np(descriptor, list, ACL_TYPE_EXTENDED);
  acl_free(list);
  return result;
}

int setCreationDate(int descriptor, TimePoint date) {
  std::optional<timespec> stamp = toTimespec(date);
  if (!stamp) return 0;
  attrlist list{};
  list.bitmapcount = ATTR_BIT_MAP_COUNT;
  list.commonattr = ATTR_CMN_CRTIME;
  return fsetattrlist(descriptor, &list, &*stamp, sizeof *stamp, 0);
}

// A Core Foundation object that is released when it goes.
template <typename Reference>
class Owned {
 public:
  explicit Owned(Reference reference) : reference_(reference) {}
  ~Owned() {
    if (reference_ != nullptr) CFRelease(reference_);
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  explicit operator bool() const { return reference_ != nullptr; }
  Reference get() const { return reference_; }

 private:
  Reference reference_;
};

const UInt8* bytesOf(const std::string& text) { return reinterpret_cast<const UInt8*>(text.data()); }

}  // namespace

FileDates fileDates(int directory, const char* name) {
  struct stat status {};
  if (fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return {};
  return {.creation = fromTimespec(status.st_birthtimespec),
          .modification = fromTimespec(status.st_mtimespec)};
}

TimePoint lastChange(const struct stat& status) { return fromTimespec(status.st_ctimespec); }

std::error_code setFileDates(int directory, const char* name, TimePoint date) {
  const std::optional<timespec> stamp = toTimespec(date);
  if (!stamp) return std::make_error_code(std::errc::value_too_large);
  attrlist list{};
  list.bitmapcount = ATTR_BIT_MAP_COUNT;
  list.commonattr = ATTR_CMN_CRTIME | ATTR_CMN_MODTIME;
  // In the order of the attribute bits, as setattrlist(2) has it.
  timespec dates[2] = {*stamp, *stamp};
  if (setattrlistat(directory, name, &list, dates, sizeof dates, FSOPT_NOFOLLOW) != 0)
    return Files::lastError();
  return {};
}

// No call tells this for a file that another program opened.
bool isOpenElsewhere(int, const char*) { return false; }

std::error_code forceToDisk(int descriptor) {
  // fsync leaves the bytes in the drive's cache; not every file system knows the stronger call.
  if (fcntl(descriptor, F_FULLFSYNC) == 0) return {};
  if (fsync(descriptor) != 0) return Files::lastError();
  return {};
}

// Nothing copies a part of a file without reading it.
std::uint64_t copyRange(int, std::uint64_t, int, std::uint64_t) { return 0; }

std::error_code copyTimes(int from, int to) {
  struct stat status {};
  if (fstat(from, &status) != 0) return Files::lastError();
  const timespec times[2] = {status.st_atimespec, status.st_mtimespec};
  if (futimens(to, times) != 0) return Files::lastError();
  return {};
}

std::optional<std::string> makeBookmark(const std::filesystem::path& folder) {
  const std::string& text = folder.native();
  const Owned url(CFURLCreateFromFileSystemRepresentation(nullptr, bytesOf(text),
                                                          static_cast<CFIndex>(text.size()), true));
  if (!url) return std::nullopt;
  const Owned data(CFURLCreateBookmarkData(nullptr, url.get(), kCFURLBookmarkCreationMinimalBookmarkMask,
                                           nullptr, nullptr, nullptr));
  if (!data) return std::nullopt;
  const auto* bytes = reinterpret_cast<const char*>(CFDataGetBytePtr(data.get()));
  return std::string(bytes, static_cast<std::size_t>(CFDataGetLength(data.get())));
}

std::optional<std::filesystem::path> resolveBookmark(const std::string& bookmark) {
  const Owned data(CFDataCreate(nullptr, bytesOf(bookmark), static_cast<CFIndex>(bookmark.size())));
  if (!data) return std::nullopt;
  const Owned url(
      CFURLCreateByResolvingBookmarkData(nullptr, data.get(), 0, nullptr, nullptr, nullptr, nullptr));
  std::array<UInt8, 4096> text{};
  if (!url ||
      !CFURLGetFileSystemRepresentation(url.get(), true, text.data(), static_cast<CFIndex>(text.size()))) {
    return std::nullopt;
  }
  return std::filesystem::path(reinterpret_cast<const char*>(text.data()));
}

std::filesystem::path applicationSupportFolder() {
  if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/') {
    return std::filesystem::path(home) / "Library/Application Support";
  }
  passwd entry{};
  passwd* found = nullptr;
  std::array<char, 4096> strings{};
  getpwuid_r(getuid(), &entry, strings.data(), strings.size(), &found);
  return std::filesystem::path(found != nullptr ? found->pw_dir : "/") / "Library/Application Support";
}

const bool Native::inheritsExtended = false;

ssize_t Native::listNames(int descriptor, char* names, std::size_t size) {
  return flistxattr(descriptor, names, size, 0);
}

ssize_t Native::getValue(int descriptor, const char* name, char* value, std::size_t size) {
  return fgetxattr(descriptor, name, value, size, 0, 0);
}

int Native::setValue(int descriptor, const char* name, const std::string& value) {
  return fsetxattr(descriptor, name, value.data(), value.size(), 0, 0);
}

int Native::removeValue(int descriptor, const char* name) { return fremovexattr(descriptor, name, 0); }

void Native::readOwn(int descriptor, const struct stat& status, FileAttributes& attributes) {
  attributes.flags = status.st_flags;
  attributes.creation = fromTimespec(status.st_birthtimespec);
  attributes.accessControl = accessControlOf(descriptor);
}

void Native::applyOwn(int descriptor, const FileAttributes& current, const FileAttributes& wanted,
                      const std::function<void(int)>& attempt) {
  if (current.accessControl != wanted.accessControl) {
    attempt(setAccessControl(descriptor, wanted.accessControl));
  }
  if (wanted.creation && current.creation != wanted.creation) {
    attempt(setCreationDate(descriptor, *wanted.creation));
  }
  // Last: a flag may forbid all other changes.
  if (current.flags != wanted.flags) attempt(fchflags(descriptor, wanted.flags));
}

bool silencePipe(int descriptor) { return fcntl(descriptor, F_SETNOSIGPIPE, 1) == 0; }

}  // namespace tollbrook::Platform
