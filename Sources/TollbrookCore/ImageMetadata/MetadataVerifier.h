#pragma once

#include <optional>
#include <string_view>

#include "TollbrookCore/ImageMetadata/TargetTags.h"

/// Metadata beside EXIF, read again after they were edited and compared with what they were. Each throws
/// Refused when anything differs that was not to change, or the new bytes cannot be read.
namespace tollbrook::ImageMetadata {

/// XMP packets, in which only what means the same as a target tag may differ. The old one can be read.
void verifyXmp(std::string_view before, std::string_view after, const TargetTags& target);

/// IPTC datasets: those of `after` are in UTF-8 and hold this caption and no other, all others say what they
/// said.
void verifyIptc(std::string_view before, std::string_view after, std::string_view caption);

/// Photoshop image resources: IPTC holds this caption (none: is what it was), all others but digests of it
/// are what they were.
void verifyResources(std::string_view before, std::string_view after,
                     std::optional<std::string_view> caption);

}  // namespace tollbrook::ImageMetadata
