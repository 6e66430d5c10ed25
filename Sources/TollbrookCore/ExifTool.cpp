#include "TollbrookCore/ExifTool.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <system_error>

#include "TollbrookCore/MetadataValues.h"
#include "TollbrookCore/Support/ChildProcess.h"

namespace tollbrook::ExifTool {
namespace {

using MetadataWriter::exifStamp;
using MetadataWriter::numberText;

void addDates(std::vector<std::string>& list, TimePoint takenTime) {
  const std::string stamp = exifStamp(takenTime);
  for (const char* tag : {"DateTimeOriginal", "CreateDate", "ModifyDate", "MediaCreateDate",
                          "MediaModifyDate", "TrackCreateDate", "TrackModifyDate"}) {
    list.push_back(fmt::format("-{}={}", tag, stamp));
  }
  list.push_back(fmt::format("-Keys:CreationDate={}+00:00", stamp));
  list.push_back("-OffsetTimeOriginal=+00:00");
  list.push_back("-OffsetTimeDigitized=+00:00");
}

void addNumber(std::vector<std::string>& list, const char* tag, double value, const char* notNegative,
               const char* negative) {
  list.push_back(fmt::format("-{}={}", tag, numberText(std::abs(value))));
  list.push_back(fmt::format("-{}Ref={}", tag, value >= 0 ? notNegative : negative));
}

std::vector<std::string> commonArguments() { return {"-overwrite_original", "-P", "-api", "QuickTimeUTC=1"}; }

void addCaption(std::vector<std::string>& list, std::string caption) {
  std::erase(caption, '\0');
  // An assignment of nothing would delete the tag.
  if (caption.empty()) return;
  std::replace(caption.begin(), caption.end(), '\n', ' ');
  std::replace(caption.begin(), caption.end(), '\r', ' ');
  for (const char* tag : {"ImageDescription", "Description", "Caption-Abstract"}) {
    list.push_back(fmt::format("-{}={}", tag, caption));
  }
}

}  // namespace

std::optional<std::filesystem::path> firstExecutable(std::span<const char* const> candidates) {
  for (const char* candidate : candidates) {
    std::error_code ignored;
    if (std::filesystem::is_regular_file(candidate, ignored) && access(candidate, X_OK) == 0) {
      return candidate;
    }
  }
  return std::nullopt;
}

const std::optional<std::filesystem::path>& path() {
  static const std::optional<std::filesystem::path> found = firstExecutable(places);
  return found;
}

std::vector<std::string> arguments(const SidecarData& data, const std::optional<std::string>& caption) {
  const SidecarData values = MetadataWriter::writable(data);
  std::vector<std::string> list = commonArguments();
  if (values.takenTime) addDates(list, *values.takenTime);
  if (values.hasGPS()) {
    addNumber(list, "GPSLatitude", *values.latitude, "N", "S");
    addNumber(list, "GPSLongitude", *values.longitude, "E", "W");
    if (values.altitude) {
      addNumber(list, "GPSAltitude", *values.altitude, "Above Sea Level", "Below Sea Level");
    }
  }
  if (caption) addCaption(list, *caption);
  return list;
}

std::vector<std::string> signArguments(const SidecarData& data) {
  const SidecarData values = MetadataWriter::writable(data);
  if (!values.hasGPS() || (*values.latitude >= 0 && *values.longitude >= 0)) return {};
  std::vector<std::string> list = commonArguments();
  // Only where there is one.
  list.insert(list.end(), {"-wm", "w", fmt::format("-XMP-exif:GPSLatitude={}", numberText(*values.latitude)),
                           fmt::format("-XMP-exif:GPSLongitude={}", numberText(*values.longitude))});
  return list;
}

ChildProcess::EnvironmentChanges environmentChanges() {
  return {{"EXIFTOOL_HOME", "/dev/null"}, {"PERL5DB", std::nullopt},      {"PERL5OPT", std::nullopt},
          {"PERLIO", std::nullopt},       {"PERL_UNICODE", std::nullopt}, {"TZ", "UTC"}};
}

bool canNameInCommand(const std::filesystem::path& file) {
  return file.native().find_first_of(std::string_view("\n\r\0", 3)) == std::string::npos;
}

std::optional<std::string> fileArgument(const std::filesystem::path& file) {
  if (file.empty() || file.native().find('\0') != std::string::npos) return std::nullopt;
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(file, error);
  if (error) return std::nullopt;
  return absolute.string();
}

bool writeOnce(const std::filesystem::path& file, const SidecarData& data,
               const std::optional<std::string>& caption,
               const std::optional<std::filesystem::path>& executable, std::chrono::milliseconds limit) {
  return runOnce(file, arguments(data, caption), executable, limit);
}

bool runOnce(const std::filesystem::path& file, std::vector<std::string> arguments,
             const std::optional<std::filesystem::path>& executable, std::chrono::milliseconds limit) {
  const auto name = fileArgument(file);
  if (!executable || !name) return false;
  arguments.push_back(*name);
  const auto child = ChildProcess::start({*executable, std::move(arguments), ChildProcess::Stream::inherited,
                                          ChildProcess::Stream::nullDevice, environmentChanges()});
  if (!child) return false;
  const auto status = child->waitUntil(ChildProcess::Clock::now() + limit);
  if (!status) child->end();
  return status == 0;
}

}  // namespace tollbrook::ExifTool
