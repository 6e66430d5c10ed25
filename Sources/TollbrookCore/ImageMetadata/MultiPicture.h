#pragma once

#include <cstdint>
#include <string>

namespace tollbrook::ImageMetadata {

/// The multi-picture index of a JPEG file (CIPA DC-007, 5.2: from the byte order on) with the places of all
/// pictures but the first `growth` bytes farther away. Refused when it cannot be read.
std::string movedPictures(const std::string& index, std::int64_t growth);

}  // namespace tollbrook::ImageMetadata
