#pragma once

#include <vector>

#include "TollbrookCore/ImageMetadata/HeifFile.h"
#include "TollbrookCore/ImageMetadata/HeifMetadata.h"
#include "TollbrookCore/ImageMetadata/OutputPlan.h"

/// Where everything goes in the new HEIF file.
namespace tollbrook::ImageMetadata::Heif {

/// The file with its boxes as they are, but for the meta box: it becomes `meta`, whatever its size, and
/// everything behind it moves. A changed payload is written over the old one where that has the same length
/// and is nobody else's; else into a box of media data of its own in front of the trailer, in place of one
/// that held nothing but payloads. Refused when an item would lose its place.
OutputPlan layOutInPlace(const ByteSource& file, const File& old, Meta meta,
                         const std::vector<Payload>& payloads);

/// The file without its tracks and with the data of the items in `meta` alone, once each, behind the meta
/// box.
OutputPlan layOutAnew(const ByteSource& file, const File& old, Meta meta,
                      const std::vector<Payload>& payloads);

}  // namespace tollbrook::ImageMetadata::Heif
