#include "TollbrookCore/SidecarParser.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include "TollbrookCore/Support/DoubleFromText.h"
#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook::SidecarParser {
namespace {

/// Without blocking: whoever opens a FIFO to read waits for a writer otherwise.
Files::Descriptor openWithoutBlocking(int directory, const char* name) {
  int descriptor;
  do {
    descriptor = openat(directory, name, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  } while (descriptor < 0 && errno == EINTR);
  return Files::Descriptor(descriptor);
}

/// The size of an open file that may be a sidecar.
std::optional<std::size_t> sizeOfSidecar(const Files::Descriptor& file) {
  struct stat status;
  if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  const auto size = static_cast<std::uintmax_t>(status.st_size);
  if (size > largestSidecarBytes) return std::nullopt;
  return static_cast<std::size_t>(size);
}

/// Whether this errno number says nothing about the file that it was met at.
bool isOutsideFile(int error) {
  constexpr std::array outside{EIO, ENODEV, ESTALE, ETIMEDOUT, EMFILE, ENFILE, ENOMEM};
  return std::find(outside.begin(), outside.end(), error) != outside.end();
}

/// Reads `file`, `size` bytes long when last seen, to its end. Returns the number of bytes; none, and errno,
/// when that cannot be done.
std::optional<std::size_t> load(const Files::Descriptor& file, std::size_t size, Json::Reader& json) {
  std::size_t room = size + 1;  // a byte more than there should be shows the end in one call
  std::size_t filled = 0;
  for (;;) {
    char* const bytes = json.reserve(room);
    if (bytes == nullptr) {
      errno = ENOMEM;
      return std::nullopt;
    }
    const ssize_t count = read(file.get(), bytes + filled, room - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    filled += static_cast<std::size_t>(count);
    if (filled > largestSidecarBytes) {
      errno = EFBIG;
      return std::nullopt;
    }
    if (count == 0 || filled == size) return filled;
    if (filled == room) room = std::min(2 * room, largestSidecarBytes + 1);
  }
}

std::optional<SidecarData> parse(Json::Reader& json, std::size_t size) {
  std::optional<SidecarData> data;
  const std::optional<Json::Value> value = json.read(size);
  if (value && value->isObject()) data = parseObject(*value);
  json.trim();
  return data;
}

std::optional<std::string_view> text(const std::optional<Json::Value>& value) {
  return value ? value->string() : std::nullopt;
}

/// A position of zero degrees by zero stands for none. An object without a position hides every other.
void readPosition(const Json::Value& place, SidecarData& data) {
  static constexpr std::array<std::string_view, 3> keys = {"latitude", "longitude", "altitude"};
  std::array<std::optional<Json::Value>, keys.size()> values;
  place.members(keys, values);
  const std::optional<double> latitude = number(values[0]);
  const std::optional<double> longitude = number(values[1]);
  if (!latitude || !longitude || (*latitude == 0 && *longitude == 0)) return;
  data.latitude = latitude;
  data.longitude = longitude;
  data.altitude = number(values[2]);
}

}  // namespace

std::optional<SidecarData> parseFile(const std::filesystem::path& file) {
  thread_local Reader reader;
  return reader.read(AT_FDCWD, file.c_str());
}

std::optional<SidecarData> parseData(std::string_view bytes) {
  thread_local Json::Reader json;
  char* const room = json.reserve(bytes.size());
  if (room == nullptr) return std::nullopt;
  bytes.copy(room, bytes.size());
  return parse(json, bytes.size());
}

SidecarData parseObject(const Json::Value& object) {
  enum { title, description, photoTakenTime, creationTime, geoDataExif, geoData };
  static constexpr std::array<std::string_view, 6> keys = {"title",        "description", "photoTakenTime",
                                                           "creationTime", "geoDataExif", "geoData"};
  std::array<std::optional<Json::Value>, keys.size()> values;
  object.members(keys, values);

  SidecarData data;
  if (const auto name = text(values[title]); name && !name->empty()) data.title = *name;
  if (const auto words = text(values[description])) {
    if (const std::string_view caption = Text::trimmed(*words); !caption.empty()) data.caption = caption;
  }
  data.takenTime = timestamp(values[photoTakenTime]);
  if (!data.takenTime) data.takenTime = timestamp(values[creationTime]);
  for (const auto& place : {values[geoDataExif], values[geoData]}) {
    if (!place || !place->isObject()) continue;
    readPosition(*place, data);
    break;
  }
  return data;
}

std::optional<TimePoint> timestamp(const std::optional<Json::Value>& value) {
  if (!value) return std::nullopt;
  return epoch(value->member("timestamp"));
}

std::optional<TimePoint> epoch(const std::optional<Json::Value>& value) {
  const std::optional<double> seconds = number(value);
  if (!seconds) return std::nullopt;
  return fromEpoch(*seconds);
}

std::optional<double> number(const std::optional<Json::Value>& value) {
  if (const auto words = text(value)) return doubleFromText(*words);
  return value ? value->number() : std::nullopt;
}

std::optional<SidecarData> Reader::read(int directory, const char* name) {
  hasFailed_ = false;
  const Files::Descriptor file = openWithoutBlocking(directory, name);
  if (!file) {
    hasFailed_ = isOutsideFile(errno);
    return std::nullopt;
  }
  const std::optional<std::size_t> size = sizeOfSidecar(file);
  if (!size) return std::nullopt;
  const std::optional<std::size_t> loaded = load(file, *size, json_);
  if (!loaded) {
    hasFailed_ = isOutsideFile(errno);
    return std::nullopt;
  }
  return parse(json_, *loaded);
}

}  // namespace tollbrook::SidecarParser
