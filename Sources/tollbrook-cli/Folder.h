#pragma once

#include <filesystem>

namespace tollbrook::cli {

/// `folder` made absolute, whether or not it is there; throws CannotStart when there is no such path.
std::filesystem::path namedFolder(const std::filesystem::path& folder);

/// The same; throws CannotStart also when it is missing, is no folder or cannot be read.
std::filesystem::path readableFolder(const std::filesystem::path& folder);

}  // namespace tollbrook::cli
