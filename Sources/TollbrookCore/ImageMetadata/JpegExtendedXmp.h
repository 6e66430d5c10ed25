#pragma once

#include <string>
#include <vector>

#include "TollbrookCore/ImageMetadata/JpegSegments.h"

/// XMP that does not fit into one segment.
namespace tollbrook::ImageMetadata::Jpeg {

/// What readers add to the packet, put together from its segments. Without what is not complete; Refused when
/// it is too large or a part of it is there twice.
std::vector<std::string> extendedXmp(const ByteSource& file, const Layout& layout);

}  // namespace tollbrook::ImageMetadata::Jpeg
