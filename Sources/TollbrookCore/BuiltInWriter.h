#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "TollbrookCore/Models.h"

namespace tollbrook {

/// Whether the built-in writer is asked for a file with this extension (in any case): the seven image types.
bool isImageIOExtension(std::string_view extension);

namespace MetadataWriter {

/// Rewrites the metadata of an image by the built-in writer: dates, position and caption of `data` and
/// `caption`. True when `file` was replaced by the rewritten image, or holds all of it already; otherwise it
/// is untouched. Blocks; one thread at a time for the same file.
bool writeWithImageIO(const std::filesystem::path& file, const SidecarData& data,
                      const std::optional<std::string>& caption);

}  // namespace MetadataWriter
}  // namespace tollbrook
