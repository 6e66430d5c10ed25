#include "TollbrookCore/ImageMetadata/MultiPicture.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "TollbrookCore/ImageMetadata/TiffReader.h"

namespace tollbrook::ImageMetadata {
namespace {

// CIPA DC-007, 5.2.3.3
constexpr std::uint64_t entrySize = 16, lengthInEntry = 4, placeInEntry = 8;

std::vector<std::uint64_t> entriesIn(const TiffReader& reader) {
  constexpr std::uint16_t pictureEntries = 0xB002;
  const TiffEntry* const entries = reader.first().find(pictureEntries);
  if (entries == nullptr || !entries->value || entries->value->length % entrySize != 0) {
    throw Refused("the multi-picture index is damaged");
  }
  std::vector<std::uint64_t> offsets;
  for (std::uint64_t at = entries->value->offset; at < entries->value->end(); at += entrySize) {
    offsets.push_back(at);
  }
  return offsets;
}

std::string grown(std::uint64_t number, std::int64_t growth, ByteOrder order) {
  const std::int64_t sum = static_cast<std::int64_t>(number) + growth;
  if (sum <= 0 || sum > std::numeric_limits<std::uint32_t>::max()) {
    throw Refused("a further picture would be too far away");
  }
  return numberBytes(static_cast<std::uint64_t>(sum), 4, order);
}

}  // namespace

std::string movedPictures(const std::string& index, const MultiPictureMove& move) {
  const MemorySource source(index);
  const TiffReader reader(source);
  const auto entries = entriesIn(reader);
  const auto placeOf = [&](std::uint64_t entry) { return reader.numberIn(index, entry + placeInEntry, 4); };
  std::uint64_t mostLength = move.fileSize;
  for (const std::uint64_t entry : entries) {
    if (placeOf(entry) != 0) mostLength = std::min(mostLength, move.indexOffset + placeOf(entry));
  }
  std::string moved = index;
  for (const std::uint64_t entry : entries) {
    if (const std::uint64_t place = placeOf(entry); place != 0) {
      moved.replace(entry + placeInEntry, 4, grown(place, move.growthBehind, reader.order()));
      continue;
    }
    // The first picture, at the start of the file.
    const std::uint64_t length = reader.numberIn(index, entry + lengthInEntry, 4);
    if (length <= move.scans || length > mostLength) continue;
    moved.replace(entry + lengthInEntry, 4, grown(length, move.growth, reader.order()));
  }
  return moved;
}

}  // namespace tollbrook::ImageMetadata
