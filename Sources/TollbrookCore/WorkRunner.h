#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

#include "TollbrookCore/EmbeddedWriter.h"
#include "TollbrookCore/JobJournal.h"
#include "TollbrookCore/Models.h"

/// Writes a whole folder as one streaming, resumable pass: every photo and video is finished and recorded in
/// the journal before the next one starts. Nothing about the folder is collected beforehand.
namespace tollbrook::WorkRunner {

/// The most error lines that an outcome keeps.
inline constexpr std::size_t mostErrorLines = 200;

/// Runs over `root` (its subfolders too when `recursive`) with `options` and the open, locked journal of that
/// folder. `totalHint` is copied into the progress. `shouldCancel` is asked before every file; a file that
/// was begun is finished first. `progress` is called once at the end, and for the 1st, 5th, 10th … file,
/// unless that one has no usable sidecar. A folder or a sidecar that the system fails to read, and a folder
/// that is moved away meanwhile, is one more failure and leaves the job unfinished; so does, without a
/// failure, a `root` that is closed to this user or gone. Never fails itself: every problem of a file becomes
/// a count or an error line. Blocks; both callbacks run on the caller's thread, which must be a background
/// thread of a program with a user interface.
RestoreOutcome run(const std::filesystem::path& root, bool recursive, const RestoreOptions& options,
                   JobJournal& journal, std::int64_t totalHint, const std::function<bool()>& shouldCancel,
                   const std::function<void(const WorkProgress&)>& progress = {},
                   const EmbeddedWriter::Settings& writer = {});

}  // namespace tollbrook::WorkRunner
