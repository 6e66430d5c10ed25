#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "TollbrookCore/BuiltInWriter.h"
#include "TollbrookCore/MetadataResult.h"
#include "TollbrookCore/MetadataValues.h"
#include "TollbrookCore/Models.h"

/// Puts the metadata of one sidecar, or of a list of pairs, back onto the files. Stateless; everything here
/// blocks and belongs on a background thread.
namespace tollbrook::MetadataWriter {

PairStatus status(const Result& result);
std::string message(const Result& result);

/// Writes what `options` allow of `data` into `media`: embedded metadata first, then the file dates
/// (replacing a file gives it new dates). Every failure is a Failed result.
Result restore(const std::filesystem::path& media, const SidecarData& data, const RestoreOptions& options);

/// Whether the creation date or the modification date of `file` is at most `tolerance` seconds from `date`.
bool datesMatch(const std::filesystem::path& file, TimePoint date, double tolerance);

/// Writes every pair of the list that is ready, in order, and returns the list with new statuses and
/// messages, and the counts. `progress(done, total)` is called before each write. `failed` stays 0: failures
/// are in `errors`, one line each.
std::pair<std::vector<MediaPair>, RestoreOutcome> restoreTree(
    const std::vector<MediaPair>& pairs, const RestoreOptions& options,
    const std::function<void(std::int64_t done, std::int64_t total)>& progress = {});

}  // namespace tollbrook::MetadataWriter
