#include "TollbrookCore/ImageMetadata/Tiff.h"

#include <algorithm>
#include <array>
#include <utility>

#include "TollbrookCore/ImageMetadata/ExifEdits.h"
#include "TollbrookCore/ImageMetadata/TiffMetadata.h"
#include "TollbrookCore/ImageMetadata/TiffOccupancy.h"

namespace tollbrook::ImageMetadata::Tiff {
namespace {

/// Whether the directory says of its image that it is a smaller version of another or a mask for it, be it by
/// NewSubfileType or by the SubfileType that TIFF 6.0 replaced with it.
bool isOfAnother(const TiffReader& reader, const TiffDirectory& directory) {
  constexpr std::uint64_t reducedOrMask = 1 | 4, oldReduced = 2;
  return std::any_of(directory.entries.begin(), directory.entries.end(), [&](const TiffEntry& entry) {
    if (!isInteger(entry.type) || entry.count == 0) return false;
    return (entry.tag == TiffTag::subfileType && (reader.number(entry) & reducedOrMask) != 0) ||
           (entry.tag == TiffTag::oldSubfileType && reader.number(entry) == oldReduced);
  });
}

/// The tags that readers miss in the directories of an image that is not compressed as JPEG.
void addMandatoryTags(TiffEdits& edits) {
  constexpr std::uint32_t uncalibrated = 0xFFFF;
  // The method for a position that no receiver measured (Exif 2.32, 4.6.6).
  const std::string method("ASCII\0\0\0MANUAL", 14);
  edits.newExif.push_back(TiffField::ofBytes(TiffTag::flashpixVersion, TiffType::undefined, "0100"));
  edits.newExif.push_back(TiffField::ofNumbers(TiffTag::colorSpace, TiffType::shortInteger, {uncalibrated}));
  edits.newGps.push_back(TiffField::ofBytes(TiffTag::gpsProcessingMethod, TiffType::undefined, method));
}

bool hasAllValues(const TiffDirectory& directory) {
  return std::all_of(directory.entries.begin(), directory.entries.end(),
                     [](const TiffEntry& entry) { return entry.value.has_value(); });
}

/// A file that is cut short must not become one that looks sound.
void requireWhole(const TiffReader& reader) {
  const auto& others = reader.others();
  if (!reader.isWhole() || !hasAllValues(reader.first()) ||
      !std::all_of(others.begin(), others.end(), hasAllValues) ||
      TiffOccupancy(reader).missingPieces() != 0) {
    throw Refused("a part of the file is missing");
  }
}

/// Only the first page is kept; it must be what people call the picture.
void requireFirstIsPicture(const TiffReader& reader) {
  // Canon's raw format keeps a preview first and the raw picture in the last of its directories.
  if (!reader.isBig() && reader.block().readUpTo(8, 2) == "CR") throw Refused("this is a raw photo");
  const bool hasSubdirectories = reader.first().find(TiffTag::subIfds) != nullptr;
  if (reader.first().next != 0 && !hasSubdirectories && isOfAnother(reader, reader.first())) {
    throw Refused("the first page is only a preview or a mask of another");
  }
}

}  // namespace

bool recognizes(std::string_view start) {
  using namespace std::string_view_literals;
  constexpr std::array magics{"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv};
  return std::any_of(magics.begin(), magics.end(),
                     [&](std::string_view magic) { return start.starts_with(magic); });
}

OutputPlan plan(const ByteSource& file, const TargetTags& target) {
  const TiffReader reader(file);
  requireWhole(reader);
  requireFirstIsPicture(reader);
  TiffEdits edits = exifEdits(target);
  edits.keepsFirstPageOnly = true;
  addMandatoryTags(edits);
  return patchMetadata(reader, target, std::move(edits), MissingIptc::isMade);
}

}  // namespace tollbrook::ImageMetadata::Tiff
