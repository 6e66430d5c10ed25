#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

#include "TollbrookCore/Models.h"

/// Looks at a folder before anything is written: pairs every photo and video with its sidecar and reads that.
namespace tollbrook::FolderScanner {

/// The most pairs that the application keeps of one scan.
inline constexpr std::int64_t previewLimit = 4000;

/// Scans `root` (its subfolders too when `recursive`) and returns the counts for everything and the first
/// `pairCap` pairs, sorted by name as a file browser sorts unless pairs were left out. `shouldCancel` is
/// asked once per entry and stops the scan, which then reports what it saw. `progress` is told the number of
/// media files every 25 files and at the end. Synchronous; both callbacks run on the caller's thread. Changes
/// nothing on disk but leftovers of interrupted writes (FolderWalker.h).
ScanReport scan(const std::filesystem::path& root, bool recursive, std::int64_t pairCap,
                const std::function<bool()>& shouldCancel,
                const std::function<void(std::int64_t mediaCount)>& progress = {});

}  // namespace tollbrook::FolderScanner
