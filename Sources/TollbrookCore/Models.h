#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TollbrookCore/Support/Time.h"

/// The value records that the engine and its front ends pass around. All are plain values: copied, compared
/// field by field, free to cross threads.
namespace tollbrook {

enum class MediaKind { image, video, other };

/// The text under which the kind is shown and stored.
std::string_view rawValue(MediaKind kind);
/// The kind with exactly this raw value (case-sensitive); none for any other text.
std::optional<MediaKind> mediaKindFromRawValue(std::string_view raw);
/// True for images and videos.
bool isMedia(MediaKind kind);
/// The kind of a file with this extension (without the dot, in any case): the one place that decides what is
/// a photo or a video.
MediaKind inferMediaKind(std::string_view extension);
/// inferMediaKind of the extension of the path's last component.
MediaKind inferMediaKindFrom(const std::filesystem::path& file);

/// The extension of a file name: what follows its last dot, empty when there is none. A leading dot hides a
/// file and starts no extension.
std::string_view fileExtension(std::string_view fileName);

enum class PairStatus {
  ready,      ///< a sidecar was found and holds usable metadata
  unmatched,  ///< no sidecar was found, or it could not be read or held nothing usable
  skipped,    ///< the write left the file alone
  fixed,      ///< metadata was written
  error       ///< writing failed
};

std::string_view rawValue(PairStatus status);
/// The status with exactly this raw value (case-sensitive); none for any other text.
std::optional<PairStatus> pairStatusFromRawValue(std::string_view raw);

/// What one sidecar says about its photo or video.
struct SidecarData {
  std::optional<std::string> title;    ///< only when not empty
  std::optional<TimePoint> takenTime;  ///< any value a sidecar can carry, usable or not
  std::optional<double> latitude;      ///< degrees, positive north
  std::optional<double> longitude;     ///< degrees, positive east
  std::optional<double> altitude;      ///< metres above sea level; only together with a position
  std::optional<std::string> caption;  ///< trimmed; only when not empty

  bool hasGPS() const { return latitude && longitude; }
  /// Whether there is anything to write: a time, a position or a caption. A title alone is nothing.
  bool hasAnything() const { return takenTime || hasGPS() || (caption && !caption->empty()); }

  bool operator==(const SidecarData&) const = default;
};

/// One media file and what belongs to it.
struct MediaPair {
  MediaPair(std::filesystem::path mediaFile, std::optional<std::filesystem::path> sidecarFile,
            MediaKind mediaKind, std::optional<SidecarData> sidecarData, PairStatus pairStatus,
            std::optional<std::string> note);

  std::string id;  ///< the media file's path; the pair's identity in lists
  std::filesystem::path media;
  std::optional<std::filesystem::path> sidecar;
  MediaKind kind;
  std::optional<SidecarData> data;  ///< only when the sidecar held something usable
  PairStatus status;
  std::optional<std::string> message;  ///< a short note for the status

  bool isReady() const { return status == PairStatus::ready && data && data->hasAnything(); }

  bool operator==(const MediaPair&) const = default;
};

/// The result of one scan. matchedCount + unmatchedCount equals mediaCount; parseErrorCount counts a subset
/// of unmatchedCount.
struct ScanReport {
  std::vector<MediaPair> pairs;  ///< at most the scan's cap; sorted by media file name unless capped
  std::int64_t mediaCount = 0;
  std::int64_t matchedCount = 0;
  std::int64_t unmatchedCount = 0;
  std::int64_t orphanJSONCount = 0;  ///< JSON files beside media that no media file claimed
  std::int64_t parseErrorCount = 0;  ///< claimed sidecars that could not be read or held nothing usable
  bool listCapped = false;           ///< at least one pair was left out of `pairs`

  bool operator==(const ScanReport&) const = default;
};

/// What a write run does. There are no defaults of its own: defaultRestoreOptions() is what a user starts
/// from.
struct RestoreOptions {
  bool writeFileDates;    ///< set the file's creation and modification dates to the taken time
  bool writeEmbedded;     ///< write dates, position and caption into the file
  bool writeCaptions;     ///< include the caption in the embedded write
  bool skipIfDatesMatch;  ///< leave a file alone when its dates already equal the taken time
  bool deleteSidecars;    ///< delete the sidecar after a successful write
  double dateTolerance;   ///< seconds; the difference that still counts as equal

  bool operator==(const RestoreOptions&) const = default;
};

RestoreOptions defaultRestoreOptions();

/// The options as a JSON object whose keys are the field names.
nlohmann::json encode(const RestoreOptions& options);
/// The options in a JSON object: every key must be there with a value of the right type, else none. Unknown
/// keys are ignored.
std::optional<RestoreOptions> decodeRestoreOptions(const nlohmann::json& json);

/// What a write run did. A file that gets both its dates and its embedded metadata counts once in datesSet
/// and once in embeddedWritten.
struct RestoreOutcome {
  std::int64_t attempted = 0;        ///< files with usable sidecar data that were not already done
  std::int64_t datesSet = 0;         ///< files whose dates were set
  std::int64_t embeddedWritten = 0;  ///< files whose embedded metadata was written
  std::int64_t skipped = 0;          ///< files left alone because their dates already matched
  std::int64_t deletedSidecars = 0;
  std::int64_t alreadyDone = 0;  ///< files passed over because the job lists them as finished
  std::int64_t failed = 0;       ///< files attempted in vain, and what could not be read
  bool cancelled = false;        ///< the run stopped early at the user's request
  /// One line per failure: file, ": " and the message. A run over a folder keeps the first 200.
  std::vector<std::string> errors;
};

/// Where a running write stands.
struct WorkProgress {
  std::int64_t seen = 0;   ///< media files reached so far
  std::int64_t total = 0;  ///< files the caller expects; 0 when it does not know
  std::int64_t written = 0;
  std::int64_t skipped = 0;  ///< already finished, or dates already matching
  std::int64_t failed = 0;
  std::optional<std::string> currentName;  ///< path of the file being handled, relative to the run's folder
};

}  // namespace tollbrook
