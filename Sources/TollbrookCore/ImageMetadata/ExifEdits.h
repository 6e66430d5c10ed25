#pragma once

#include "TollbrookCore/ImageMetadata/TargetTags.h"
#include "TollbrookCore/ImageMetadata/TiffPatcher.h"

namespace tollbrook::ImageMetadata {

/// The dates, position and caption of the target as EXIF tags, the same for every container.
TiffEdits exifEdits(const TargetTags& target);

}  // namespace tollbrook::ImageMetadata
