#pragma once

#include <filesystem>

#include "TollbrookCore/ImageMetadata/OutputPlan.h"
#include "TollbrookCore/ImageMetadata/TargetTags.h"

namespace tollbrook::ImageMetadata {

/// The new file for an image, by what its content is, whatever it is called. Refused for any other content.
OutputPlan plan(const ByteSource& file, const TargetTags& target);

/// Replaces the image `file`, which may not be a link, by one with the target tags. The new file is made
/// under a hidden name beside it, forced to disk, given mode, owner, extended attributes and times of the old
/// one and renamed over it; then the folder is forced to disk. A file that holds all of it already is left
/// alone. Throws Refused or std::system_error; the old file is then untouched and no other is left, save that
/// forcing the folder comes after the rename. Any thread; one at a time for the same file.
void writeImage(const std::filesystem::path& file, const TargetTags& target);

}  // namespace tollbrook::ImageMetadata
