#pragma once

#include <filesystem>

namespace tollbrook::cli {

/// `folder` made absolute; throws CannotStart when it is missing, is no folder or cannot be read.
std::filesystem::path readableFolder(const std::filesystem::path& folder);

}  // namespace tollbrook::cli
