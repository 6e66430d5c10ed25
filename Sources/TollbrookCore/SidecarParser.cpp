#include "TollbrookCore/SidecarParser.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>

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

/// Whether an error says something about the file that it was met at. Every other one may be gone next time.
bool isOfFile(const std::error_code& error) {
  constexpr std::array ofFile{EACCES, EFBIG,   EINVAL,       EISDIR, ELOOP,
                              ENOENT, ENOTDIR, ENAMETOOLONG, ENXIO,  EPERM};
  return std::find(ofFile.begin(), ofFile.end(), error.value()) != ofFile.end();
}

/// Reads a sidecar into `json`; `filled` is the number of its bytes.
std::error_code load(int directory, const char* name, Json::Reader& json, std::size_t& filled) {
  const Files::Descriptor file = openWithoutBlocking(directory, name);
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) return Files::lastError();
  if (!S_ISREG(status.st_mode)) return std::make_error_code(std::errc::invalid_argument);
  const auto size = static_cast<std::uintmax_t>(status.st_size);
  std::uintmax_t room = size + 1;  // a byte more than there should be shows the end in one call
  for (filled = 0;;) {
    if (std::max<std::uintmax_t>(filled, size) > largestSidecarBytes) {
      return std::make_error_code(std::errc::file_too_large);
    }
    char* const bytes = json.reserve(room);
    if (bytes == nullptr) return std::make_error_code(std::errc::not_enough_memory);
    const ssize_t count = ::read(file.get(), bytes + filled, room - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return Files::lastError();
    filled += static_cast<std::size_t>(count);
    if (count == 0 || filled == size) return {};
    if (filled == room) room = std::min<std::uintmax_t>(2 * room, largestSidecarBytes + 1);
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
  std::size_t size = 0;
  const std::error_code error = load(directory, name, json_, size);
  hasFailed_ = error && !isOfFile(error);
  return error ? std::nullopt : parse(json_, size);
}

}  // namespace tollbrook::SidecarParser
