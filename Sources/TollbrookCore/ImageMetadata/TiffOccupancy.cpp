#include "TollbrookCore/ImageMetadata/TiffOccupancy.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tollbrook::ImageMetadata {
namespace {

constexpr std::array<std::pair<std::uint16_t, std::uint16_t>, 3> pieceTags{{
    {TiffTag::stripOffsets, TiffTag::stripByteCounts},
    {TiffTag::tileOffsets, TiffTag::tileByteCounts},
    {TiffTag::jpegOffset, TiffTag::jpegLength},
}};

/// What any sound file stays below; many directories of a damaged one could claim the same pieces.
constexpr std::uint64_t mostPieces = 4000000;

bool isReadable(const TiffEntry& entry) { return entry.value && isInteger(entry.type); }

/// A piece may be said to be of any length.
bool areApart(const TiffArea& piece, const TiffArea& area) {
  return piece.offset >= area.end() || area.offset >= sum(piece.offset, piece.length);
}

/// The numbers of an integer entry one after the other, a piece of them in memory.
class Numbers {
 public:
  Numbers(const TiffReader& reader, const TiffEntry& entry)
      : reader_(&reader), entry_(&entry), width_(sizeOf(entry.type).value_or(1)) {}

  std::uint64_t at(std::uint64_t index) {
    const std::uint64_t first = index / perPiece * perPiece;
    if (piece_.empty() || first != first_) {
      first_ = first;
      const std::uint64_t count = std::min(perPiece, entry_->count - first);
      piece_ = reader_->block().read(entry_->value->offset + first * width_, count * width_);
    }
    return reader_->numberIn(piece_, (index - first_) * width_, width_);
  }

 private:
  static constexpr std::uint64_t perPiece = 4096;

  const TiffReader* reader_;
  const TiffEntry* entry_;
  std::uint64_t width_;
  std::uint64_t first_ = 0;
  std::string piece_;
};

}  // namespace

TiffOccupancy::TiffOccupancy(const TiffReader& reader) : reader_(&reader) {
  owned_.push_back({{0, reader.headerSize()}, 0});
  forEachDirectory([this](const TiffDirectory& directory) { add(directory); });
}

template <typename Visit>
void TiffOccupancy::forEachDirectory(const Visit& visit) const {
  visit(reader_->first());
  if (reader_->exif() != nullptr) visit(*reader_->exif());
  if (reader_->gps() != nullptr) visit(*reader_->gps());
  for (const TiffDirectory& directory : reader_->others()) visit(directory);
}

void TiffOccupancy::add(const TiffDirectory& directory) {
  owned_.push_back({directory.area, directory.area.offset});
  for (const TiffEntry& entry : directory.entries) {
    const bool isOutside = entry.value && entry.value->length > reader_->offsetWidth();
    if (isOutside) owned_.push_back({*entry.value, entry.position});
  }
}

bool TiffOccupancy::isAlone(const TiffEntry& entry) const {
  return entry.value && isAlone(*entry.value, entry.position);
}

bool TiffOccupancy::entriesAreAlone(const TiffDirectory& directory) const {
  TiffArea area = directory.area;
  if (directory.hasNext) area.length -= reader_->offsetWidth();
  return isAlone(area, directory.area.offset);
}

bool TiffOccupancy::isAlone(const TiffArea& area, std::uint64_t owner) const {
  const bool isShared = std::any_of(owned_.begin(), owned_.end(), [&](const Owned& other) {
    return other.owner != owner && other.area.overlaps(area);
  });
  return !isShared && !touchesImageData(area);
}

template <typename Visit>
bool TiffOccupancy::forEachPiece(const Visit& visit) const {
  bool goesOn = true;
  std::uint64_t total = 0;
  forEachDirectory([&](const TiffDirectory& directory) {
    for (const auto& [offsetsTag, lengthsTag] : pieceTags) {
      const TiffEntry* const offsets = directory.find(offsetsTag);
      const TiffEntry* const lengths = directory.find(lengthsTag);
      if (offsets == nullptr || lengths == nullptr || !isReadable(*offsets) || !isReadable(*lengths))
        continue;
      Numbers offset(*reader_, *offsets), length(*reader_, *lengths);
      const std::uint64_t count = std::min(offsets->count, lengths->count);
      total = sum(total, count);
      if (total > mostPieces) throw Refused("there are too many strips or tiles");
      for (std::uint64_t i = 0; goesOn && i < count; ++i)
        goesOn = visit(TiffArea{offset.at(i), length.at(i)});
    }
  });
  return goesOn;
}

bool TiffOccupancy::touchesImageData(const TiffArea& area) const {
  return !forEachPiece([&](const TiffArea& piece) { return areApart(piece, area); });
}

bool TiffOccupancy::hasPieceBehind(const TiffArea& area) const {
  return !forEachPiece(
      [&](const TiffArea& piece) { return piece.offset < reader_->block().size() || areApart(piece, area); });
}

std::uint64_t TiffOccupancy::missingPieces() const {
  std::uint64_t missing = 0;
  forEachPiece([&](const TiffArea& piece) {
    if (!reader_->block().contains(piece.offset, piece.length)) ++missing;
    return true;
  });
  return missing;
}

std::uint64_t TiffOccupancy::end() const {
  std::uint64_t last = 0;
  for (const Owned& owned : owned_) last = std::max(last, owned.area.end());
  forEachPiece([&](const TiffArea& piece) {
    if (reader_->block().contains(piece.offset, piece.length)) last = std::max(last, piece.end());
    return true;
  });
  return last;
}

}  // namespace tollbrook::ImageMetadata
