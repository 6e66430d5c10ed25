#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "TollbrookCore/JobJournal.h"
#include "TollbrookCore/Models.h"

/// The documents that --json prints. Absent values are null, never left out.
namespace tollbrook::cli::JsonOutput {

nlohmann::ordered_json document(const std::filesystem::path& folder, bool recursive,
                                const ScanReport& report);

/// `folder` is absent when there was nothing to run.
nlohmann::ordered_json document(const std::optional<std::filesystem::path>& folder, std::int64_t seen,
                                std::string_view embeddedWriter, const RestoreOutcome& outcome);

nlohmann::ordered_json document(const std::vector<JobJournal::Listing>& jobs);

}  // namespace tollbrook::cli::JsonOutput
