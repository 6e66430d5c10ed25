#include "TollbrookCore/ImageMetadata/MultiPicture.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "TollbrookCore/ImageMetadata/TiffReader.h"

namespace tollbrook::ImageMetadata {
namespace {

// CIPA DC-007, 5.2.3.3
constexpr std::uint64_t entrySize = 16, lengthInEntry = 4, placeInEntry = 8;

struct Picture {
  std::uint64_t entry;  ///< offset in the index
  std::uint64_t length;
  std::uint64_t place;  ///< from the index on; 0 of the first picture, at the start of the file

  bool isFirst() const { return place == 0; }
};

struct Pictures {
  ByteOrder order;
  std::vector<Picture> list;
};

/// None when the index cannot be read.
std::optional<Pictures> picturesIn(const std::string& index) {
  constexpr std::uint16_t pictureEntries = 0xB002;
  const MemorySource source(index);
  try {
    const TiffReader reader(source);
    const TiffEntry* const entries = reader.first().find(pictureEntries);
    if (entries == nullptr || !entries->value || entries->value->length % entrySize != 0) return std::nullopt;
    Pictures pictures{.order = reader.order(), .list = {}};
    for (std::uint64_t at = entries->value->offset; at < entries->value->end(); at += entrySize) {
      pictures.list.push_back({.entry = at,
                               .length = reader.numberIn(index, at + lengthInEntry, 4),
                               .place = reader.numberIn(index, at + placeInEntry, 4)});
    }
    return pictures;
  } catch (const Refused&) {
    return std::nullopt;
  }
}

std::string grown(std::uint64_t number, std::int64_t growth, ByteOrder order) {
  const std::int64_t sum = static_cast<std::int64_t>(number) + growth;
  if (sum <= 0 || sum > std::numeric_limits<std::uint32_t>::max()) {
    throw Refused("a further picture would be too far away");
  }
  return numberBytes(static_cast<std::uint64_t>(sum), 4, order);
}

}  // namespace

std::optional<std::string> movedPictures(const std::string& index, const MultiPictureMove& move) {
  const auto pictures = picturesIn(index);
  if (!pictures) return std::nullopt;
  std::uint64_t mostLength = move.fileSize;
  for (const Picture& picture : pictures->list) {
    if (!picture.isFirst()) mostLength = std::min(mostLength, move.indexOffset + picture.place);
  }
  std::string moved = index;
  const auto put = [&](std::uint64_t at, std::uint64_t number, std::int64_t growth) {
    moved.replace(at, 4, grown(number, growth, pictures->order));
  };
  for (const Picture& picture : pictures->list) {
    if (!picture.isFirst()) {
      put(picture.entry + placeInEntry, picture.place, move.growthBehind);
    } else if (picture.length > move.scans && picture.length <= mostLength) {
      put(picture.entry + lengthInEntry, picture.length, move.growth);
    }
  }
  return moved;
}

void verifyPictures(const ByteSource& before, const MultiPictureIndex& old, const ByteSource& after,
                    const MultiPictureIndex& now) {
  constexpr std::uint64_t startLength = 64;
  const std::string oldIndex = before.read(old.offset, old.length);
  const std::string nowIndex = after.read(now.offset, now.length);
  const auto were = picturesIn(oldIndex), are = picturesIn(nowIndex);
  if (!were || !are) return requireSame(oldIndex == nowIndex);
  requireSame(were->order == are->order && were->list.size() == are->list.size());
  for (std::size_t i = 0; i < were->list.size(); ++i) {
    const Picture& was = were->list[i];
    const Picture& is = are->list[i];
    requireSame(was.entry == is.entry && was.isFirst() == is.isFirst());
    if (was.isFirst()) {
      const bool grewWithFile = is.length + before.size() == was.length + after.size();
      requireSame(is.length == was.length || grewWithFile);
    } else {
      requireSame(is.length == was.length);
      requireSame(before.readUpTo(old.offset + was.place, startLength) ==
                  after.readUpTo(now.offset + is.place, startLength));
    }
  }
}

}  // namespace tollbrook::ImageMetadata
