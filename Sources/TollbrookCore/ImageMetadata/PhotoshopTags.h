#pragma once

#include <string_view>

#include "TollbrookCore/ImageMetadata/TargetTags.h"

namespace tollbrook::ImageMetadata {

/// Photoshop image resources may hold EXIF and XMP of their own, which nothing here changes. Refused when
/// that XMP says something else of a target tag, or that EXIF anything, so that readers would go on showing
/// it. A list that cannot be read says nothing. Pure function.
void requireNothingOld(std::string_view resources, const TargetTags& target);

}  // namespace tollbrook::ImageMetadata
