#pragma once

#include <string>
#include <vector>

#include "TollbrookCore/ImageMetadata/HeifFile.h"

namespace tollbrook::test {

/// What the HEIF file with these bytes has in its meta box.
ImageMetadata::Heif::Meta metaOf(const std::string& file);

/// The numbers of its items, in order.
std::vector<ImageMetadata::Heif::ItemId> itemsOf(const std::string& file);

/// The data of an item; "no data" when it has no place.
std::string dataOf(const std::string& file, ImageMetadata::Heif::ItemId item);

}  // namespace tollbrook::test
