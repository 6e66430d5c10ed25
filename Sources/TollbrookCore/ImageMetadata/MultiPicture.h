#pragma once

#include <cstdint>
#include <string>

namespace tollbrook::ImageMetadata {

/// Where the index and what it tells of lie in the old file, and by how much they grow, in bytes.
struct MultiPictureMove {
  std::uint64_t indexOffset;  ///< of the byte order, from which on places are counted
  std::uint64_t scans;        ///< of the first picture; all that grows lies before
  std::uint64_t fileSize;
  std::int64_t growth;        ///< of the first picture
  std::int64_t growthBehind;  ///< of what follows the index in the first picture
};

/// The multi-picture index of a JPEG file (CIPA DC-007, 5.2: from the byte order on) with the new places of
/// all pictures but the first and the new length of the first, unless that was wrong before. Refused when it
/// cannot be read.
std::string movedPictures(const std::string& index, const MultiPictureMove& move);

}  // namespace tollbrook::ImageMetadata
