#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include "TollbrookCore/MetadataValues.h"
#include "TollbrookCore/Models.h"

/// Puts the metadata of one sidecar, or of a list of pairs, back onto the files. Stateless; everything here
/// blocks and belongs on a background thread.
namespace tollbrook::MetadataWriter {

/// Something was written. Never both false.
struct Applied {
  bool dates = false;
  bool embedded = false;
  bool operator==(const Applied&) const = default;
};
/// Nothing was written, or nothing could be.
struct Failed {
  std::string message;  ///< for the user
  bool operator==(const Failed&) const = default;
};
/// The file's dates already match; it was not touched.
struct Skipped {
  bool operator==(const Skipped&) const = default;
};
using Result = std::variant<Applied, Failed, Skipped>;

/// The failure of a file whose dates could not be set.
Failed datesNotSet(const std::error_code& error);

PairStatus status(const Result& result);
std::string message(const Result& result);

/// Writes what `options` allow of `data` into `media`: embedded metadata first, then the file dates
/// (replacing a file gives it new dates). Every failure is a Failed result.
Result restore(const std::filesystem::path& media, const SidecarData& data, const RestoreOptions& options);

/// Whether the creation date or the modification date of `file` is at most `tolerance` seconds from `date`.
bool datesMatch(const std::filesystem::path& file, TimePoint date, double tolerance);

/// Rewrites the metadata of an image by the built-in writer: dates, position and caption of `data` and
/// `caption`. True when `file` was replaced by the rewritten image; otherwise it is untouched.
bool writeWithImageIO(const std::filesystem::path& file, const SidecarData& data,
                      const std::optional<std::string>& caption);

/// Writes every pair of the list that is ready, in order, and returns the list with new statuses and
/// messages, and the counts. `progress(done, total)` is called before each write. `failed` stays 0: failures
/// are in `errors`, one line each.
std::pair<std::vector<MediaPair>, RestoreOutcome> restoreTree(
    const std::vector<MediaPair>& pairs, const RestoreOptions& options,
    const std::function<void(std::int64_t done, std::int64_t total)>& progress = {});

}  // namespace tollbrook::MetadataWriter
