#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "TollbrookCore/ImageMetadata/ByteSource.h"

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
/// all pictures but the first and the new length of the first, unless that was wrong before. None when it
/// cannot be read, Refused for places that are too far away.
std::optional<std::string> movedPictures(const std::string& index, const MultiPictureMove& move);

/// Where the bytes of an index lie in a file.
struct MultiPictureIndex {
  std::uint64_t offset;
  std::uint64_t length;
};

/// Throws Refused unless the index in the new file leads to what it led to in the old one: further pictures
/// that begin with the same bytes, and a first one that has grown with the file if anything in it changed.
/// One that cannot be read must be the same.
void verifyPictures(const ByteSource& before, const MultiPictureIndex& old, const ByteSource& after,
                    const MultiPictureIndex& now);

}  // namespace tollbrook::ImageMetadata
