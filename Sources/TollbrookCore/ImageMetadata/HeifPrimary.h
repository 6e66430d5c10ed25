#pragma once

#include <set>
#include <string>

#include "TollbrookCore/ImageMetadata/HeifFile.h"

/// What belongs to the primary image of a HEIF file, and what does not.
namespace tollbrook::ImageMetadata::Heif {

/// The items that are there for other images alone: those images, and what they are made of or described by.
/// What the primary image is made of stays, as do its thumbnails, auxiliary images, gain map and metadata,
/// and hidden items that nothing refers to.
std::set<ItemId> itemsOfOtherImages(const Meta& meta);

/// Takes these items out of all tables, and out of the groups every member that is no item. A property that
/// nothing has any more becomes a "free" box of the same size, filled with zeros.
void removeItems(Meta& meta, const std::set<ItemId>& items);

/// The content of a file type box without the brands that promise tracks; Refused when it ends within a
/// brand.
std::string withoutSequenceBrands(std::string_view fileType);

}  // namespace tollbrook::ImageMetadata::Heif
