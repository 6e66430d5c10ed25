#pragma once

#include <set>
#include <string>
#include <vector>

#include "TollbrookCore/ImageMetadata/HeifFile.h"
#include "TollbrookCore/ImageMetadata/TargetTags.h"

/// The Exif and XMP items that describe the primary image of a HEIF file.
namespace tollbrook::ImageMetadata::Heif {

/// The data of such an item.
struct Payload {
  ItemId item;
  std::vector<Range> places;  ///< where in the file it lies now; empty for a new item or one in the meta box
  std::string before;         ///< what it is now; empty for a new item
  std::string bytes;          ///< what it is to be

  bool isChanged() const { return before != bytes; }
};

/// Refused when a box beside the items holds XMP that says something else of a target tag: readers would go
/// on showing it.
void requireNoOldXmp(const ByteSource& file, const std::vector<FileBox>& boxes, const TargetTags& target);

/// The payloads with the target tags, unchanged ones included. Items that are missing are put into the tables
/// of `meta`, without a place yet; those that are `leaving` the file count as missing. Throws Refused when
/// what is there is not sound enough.
std::vector<Payload> updateMetadata(const ByteSource& file, Meta& meta, const std::set<ItemId>& leaving,
                                    const TargetTags& target);

}  // namespace tollbrook::ImageMetadata::Heif
