#include "TollbrookCore/Support/Platform.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/PlatformAttributes.h"

namespace tollbrook::Platform {
namespace {

// What `read(buffer, size)` gives, for as long as it says that the buffer is too small.
template <typename Read>
std::optional<std::string> readWhole(const Read& read) {
  std::string buffer(256, '\0');
  for (;;) {
    const ssize_t length = read(buffer.data(), buffer.size());
    if (length >= 0) {
      buffer.resize(static_cast<std::size_t>(length));
      return buffer;
    }
    if (errno != ERANGE) return std::nullopt;
    buffer.resize(buffer.size() * 4);
  }
}

// None when they cannot be listed.
std::optional<std::string> extendedNames(int descriptor) {
  auto names =
      readWhole([&](char* buffer, std::size_t size) { return Native::listNames(descriptor, buffer, size); });
  if (!names && errno == ENOTSUP) return std::string();
  return names;
}

}  // namespace

FileDates fileDates(const std::filesystem::path& file) { return fileDates(AT_FDCWD, file.c_str()); }

std::error_code setFileDates(const std::filesystem::path& file, TimePoint date) {
  return setFileDates(AT_FDCWD, file.c_str(), date);
}

bool FileDates::areNear(TimePoint date, double tolerance) const {
  const auto isNear = [&](const std::optional<TimePoint>& held) {
    return held && std::abs(secondsSinceEpoch(*held) - secondsSinceEpoch(date)) <= tolerance;
  };
  return isNear(creation) || isNear(modification);
}

std::optional<FileAttributes> readAttributes(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return std::nullopt;
  const std::optional<std::string> names = extendedNames(descriptor);
  if (!names) return std::nullopt;
  FileAttributes attributes{.mode = status.st_mode & 07777u,
                            .owner = status.st_uid,
                            .group = status.st_gid,
                            .flags = 0,
                            .creation = {},
                            .accessControl = {},
                            .extended = {}};
  Native::readOwn(descriptor, status, attributes);
  for (std::size_t at = 0; at < names->size(); at = names->find('\0', at) + 1) {
    const char* name = names->data() + at;
    auto value = readWhole(
        [&](char* buffer, std::size_t size) { return Native::getValue(descriptor, name, buffer, size); });
    if (value) attributes.extended.emplace_back(name, std::move(*value));
  }
  std::sort(attributes.extended.begin(), attributes.extended.end());
  return attributes;
}

std::error_code applyAttributes(int descriptor, const FileAttributes& attributes) {
  const std::optional<FileAttributes> current = readAttributes(descriptor);
  if (!current) return Files::lastError();
  if (*current == attributes) return {};
  std::error_code first;
  const auto attempt = [&first](int result) {
    if (result != 0 && !first) first = Files::lastError();
  };
  const bool ownerDiffers = current->owner != attributes.owner || current->group != attributes.group;
  if (ownerDiffers) attempt(fchown(descriptor, attributes.owner, attributes.group));
  for (const auto& present : current->extended) {
    const auto hasItsName = [&present](const auto& wanted) { return wanted.first == present.first; };
    if (Native::inheritsExtended &&
        std::none_of(attributes.extended.begin(), attributes.extended.end(), hasItsName)) {
      attempt(Native::removeValue(descriptor, present.first.c_str()));
    }
  }
  // After the owner, since a change of owner clears the set-id bits; before the ACL, whose mask the mode
  // would change.
  if (ownerDiffers || current->mode != attributes.mode) {
    attempt(fchmod(descriptor, static_cast<mode_t>(attributes.mode)));
  }
  for (const auto& attribute : attributes.extended) {
    if (std::binary_search(current->extended.begin(), current->extended.end(), attribute)) continue;
    attempt(Native::setValue(descriptor, attribute.first.c_str(), attribute.second));
  }
  Native::applyOwn(descriptor, *current, attributes, attempt);
  return first;
}

}  // namespace tollbrook::Platform
