#pragma once

#include <string_view>

#include "TollbrookCore/ImageMetadata/OutputPlan.h"
#include "TollbrookCore/ImageMetadata/TargetTags.h"

/// PNG (ISO/IEC 15948) files.
namespace tollbrook::ImageMetadata::Png {

/// Whether a file with these first bytes is one; sixteen are enough.
bool recognizes(std::string_view start);

/// The file with the target tags, read again and compared. Refused for a file that is not sound enough;
/// unchanged when all is there already.
OutputPlan plan(const ByteSource& file, const TargetTags& target);

}  // namespace tollbrook::ImageMetadata::Png
