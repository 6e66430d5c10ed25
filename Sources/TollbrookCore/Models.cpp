#include "TollbrookCore/Models.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

namespace tollbrook {
namespace {

template <typename Case>
struct RawCase {
  Case value;
  std::string_view raw;
};

constexpr std::array<RawCase<MediaKind>, 3> mediaKinds{
    {{MediaKind::image, "image"}, {MediaKind::video, "video"}, {MediaKind::other, "other"}}};

constexpr std::array<RawCase<PairStatus>, 5> pairStatuses{{{PairStatus::ready, "ready"},
                                                           {PairStatus::unmatched, "unmatched"},
                                                           {PairStatus::skipped, "skipped"},
                                                           {PairStatus::fixed, "fixed"},
                                                           {PairStatus::error, "error"}}};

template <typename Cases, typename Case>
std::string_view rawOf(const Cases& cases, Case value) {
  return std::find_if(cases.begin(), cases.end(), [&](const auto& c) { return c.value == value; })->raw;
}

template <typename Case, std::size_t n>
std::optional<Case> caseOf(const std::array<RawCase<Case>, n>& cases, std::string_view raw) {
  for (const auto& c : cases) {
    if (c.raw == raw) return c.value;
  }
  return std::nullopt;
}

constexpr std::array<std::string_view, 19> imageExtensions{
    "jpg", "jpeg", "png", "gif", "heic", "heif", "tif", "tiff", "bmp", "webp",
    "dng", "raw",  "cr2", "cr3", "nef",  "arw",  "orf", "rw2",  "raf"};
constexpr std::array<std::string_view, 12> videoExtensions{"mp4", "mov",  "m4v", "avi", "mkv",  "webm",
                                                           "mpg", "mpeg", "3gp", "mts", "m2ts", "hevc"};
constexpr std::size_t longestExtension = 4;

template <std::size_t n>
bool holds(const std::array<std::string_view, n>& list, std::string_view text) {
  return std::find(list.begin(), list.end(), text) != list.end();
}

}  // namespace

std::string_view rawValue(MediaKind kind) { return rawOf(mediaKinds, kind); }

std::optional<MediaKind> mediaKindFromRawValue(std::string_view raw) { return caseOf(mediaKinds, raw); }

bool isMedia(MediaKind kind) { return kind != MediaKind::other; }

MediaKind inferMediaKind(std::string_view extension) {
  // Only letters that lower-case to ASCII can spell a known extension, and none outside ASCII does but the
  // Kelvin sign, which is longer than one byte.
  constexpr std::string_view kelvinSign = "\u212a";
  std::array<char, longestExtension> lower{};
  std::size_t length = 0;
  for (std::size_t i = 0; i < extension.size(); ++i, ++length) {
    if (length == lower.size()) return MediaKind::other;
    char c = extension[i];
    if (extension.substr(i).starts_with(kelvinSign)) {
      c = 'k';
      i += kelvinSign.size() - 1;
    }
    lower[length] = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  const std::string_view key(lower.data(), length);
  if (holds(imageExtensions, key)) return MediaKind::image;
  if (holds(videoExtensions, key)) return MediaKind::video;
  return MediaKind::other;
}

MediaKind inferMediaKindFrom(const std::filesystem::path& file) {
  const std::string name = file.filename().native();
  return inferMediaKind(fileExtension(name));
}

std::string_view fileExtension(std::string_view fileName) {
  const std::size_t dot = fileName.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return {};
  return fileName.substr(dot + 1);
}

std::string_view rawValue(PairStatus status) { return rawOf(pairStatuses, status); }

std::optional<PairStatus> pairStatusFromRawValue(std::string_view raw) { return caseOf(pairStatuses, raw); }

MediaPair::MediaPair(std::filesystem::path mediaFile, std::optional<std::filesystem::path> sidecarFile,
                     MediaKind mediaKind, std::optional<SidecarData> sidecarData, PairStatus pairStatus,
                     std::optional<std::string> note)
    : id(mediaFile.native()),
      media(std::move(mediaFile)),
      sidecar(std::move(sidecarFile)),
      kind(mediaKind),
      data(std::move(sidecarData)),
      status(pairStatus),
      message(std::move(note)) {}

RestoreOptions defaultRestoreOptions() {
  return {.writeFileDates = true,
          .writeEmbedded = true,
          .writeCaptions = true,
          .skipIfDatesMatch = true,
          .deleteSidecars = false,
          .dateTolerance = 2.0};
}

nlohmann::json encode(const RestoreOptions& options) {
  return {{"writeFileDates", options.writeFileDates}, {"writeEmbedded", options.writeEmbedded},
          {"writeCaptions", options.writeCaptions},   {"skipIfDatesMatch", options.skipIfDatesMatch},
          {"deleteSidecars", options.deleteSidecars}, {"dateTolerance", options.dateTolerance}};
}

std::optional<RestoreOptions> decodeRestoreOptions(const nlohmann::json& json) {
  if (!json.is_object()) return std::nullopt;
  RestoreOptions options{};
  bool complete = true;
  const auto readBoolean = [&](const char* key, bool& field) {
    const auto found = json.find(key);
    if (found == json.end() || !found->is_boolean()) {
      complete = false;
    } else {
      field = found->get<bool>();
    }
  };
  readBoolean("writeFileDates", options.writeFileDates);
  readBoolean("writeEmbedded", options.writeEmbedded);
  readBoolean("writeCaptions", options.writeCaptions);
  readBoolean("skipIfDatesMatch", options.skipIfDatesMatch);
  readBoolean("deleteSidecars", options.deleteSidecars);
  const auto tolerance = json.find("dateTolerance");
  if (tolerance == json.end() || !tolerance->is_number()) return std::nullopt;
  options.dateTolerance = tolerance->get<double>();
  if (!complete) return std::nullopt;
  return options;
}

}  // namespace tollbrook
