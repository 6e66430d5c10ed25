#pragma once

#include "TollbrookCore/ImageMetadata/JpegSegments.h"

/// What cameras and programs put behind the end of a JPEG image.
namespace tollbrook::ImageMetadata::Jpeg {

/// Whether something behind the image is found by its distance from a place before the image, so that it
/// would be lost if the metadata grew. Refused for an Exif segment that cannot be read.
bool trailerMustNotMove(const ByteSource& file, const Layout& layout);

}  // namespace tollbrook::ImageMetadata::Jpeg
