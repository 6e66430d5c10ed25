#pragma once

#include <set>
#include <vector>

#include "TollbrookCore/ImageMetadata/HeifFile.h"
#include "TollbrookCore/ImageMetadata/HeifMetadata.h"
#include "TollbrookCore/ImageMetadata/OutputPlan.h"

namespace tollbrook::ImageMetadata::Heif {

/// Reads `after` as any reader would and throws Refused unless it is its source, `old`, with these payloads
/// and without the items in `removed`: every other item with the same data, properties, references and
/// groups, every other box with the same content. A property that only those had must have become a "free"
/// box.
void requireOnlyMetadataChanged(const File& old, const OutputPlan& after,
                                const std::vector<Payload>& payloads, const std::set<ItemId>& removed);

}  // namespace tollbrook::ImageMetadata::Heif
