#include "TollbrookCore/ImageMetadata/MultiPicture.h"

#include <limits>

#include "TollbrookCore/ImageMetadata/TiffReader.h"

namespace tollbrook::ImageMetadata {

std::string movedPictures(const std::string& index, std::int64_t growth) {
  constexpr std::uint16_t pictureEntries = 0xB002;
  constexpr std::uint64_t entrySize = 16, placeInEntry = 8;
  const MemorySource source(index);
  const TiffReader reader(source);
  const TiffEntry* const entries = reader.first().find(pictureEntries);
  if (entries == nullptr || !entries->value || entries->value->length % entrySize != 0) {
    throw Refused("the multi-picture index is damaged");
  }
  std::string moved = index;
  for (std::uint64_t at = entries->value->offset; at < entries->value->end(); at += entrySize) {
    const auto place = static_cast<std::int64_t>(reader.numberIn(index, at + placeInEntry, 4));
    if (place == 0) continue;  // the first picture, at the start of the file
    const std::int64_t newPlace = place + growth;
    if (newPlace <= 0 || newPlace > std::numeric_limits<std::uint32_t>::max()) {
      throw Refused("a further picture would be too far away");
    }
    moved.replace(at + placeInEntry, 4, numberBytes(static_cast<std::uint64_t>(newPlace), 4, reader.order()));
  }
  return moved;
}

}  // namespace tollbrook::ImageMetadata
