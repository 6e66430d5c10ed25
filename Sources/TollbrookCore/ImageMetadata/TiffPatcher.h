#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "TollbrookCore/ImageMetadata/OutputPlan.h"
#include "TollbrookCore/ImageMetadata/TargetTags.h"
#include "TollbrookCore/ImageMetadata/TiffReader.h"

namespace tollbrook::ImageMetadata {

/// A tag and its value, in no byte order yet.
struct TiffField {
  std::uint16_t tag;
  TiffType type;
  std::string bytes;                   ///< of the types of one byte
  std::vector<std::uint32_t> numbers;  ///< of the others; two for each rational

  static TiffField text(std::uint16_t tag, std::string_view text);  ///< adds the NUL
  static TiffField ofBytes(std::uint16_t tag, TiffType type, std::string bytes);
  static TiffField ofNumbers(std::uint16_t tag, TiffType type, std::vector<std::uint32_t> numbers);
  static TiffField ofRationals(std::uint16_t tag, const std::vector<Rational>& values);
};

/// What is to change in a TIFF file or an EXIF block.
struct TiffEdits {
  /// Tags to be set.
  std::vector<TiffField> first, exif, gps;
  /// Tags that such a directory must have, set only where it is made for the tags above.
  std::vector<TiffField> newFirst, newExif, newGps;
  /// Whether the chain of directories ends after the first.
  bool keepsFirstPageOnly = false;
  /// The block must not become larger; zeros at its end that belong to nothing are given up for that.
  std::uint64_t sizeLimit = std::numeric_limits<std::uint64_t>::max();
};

/// The block with these edits. No byte that belongs to anything else moves or changes: values are replaced
/// where they are if nothing else lies there, everything more is appended. The result has been read again and
/// compared. Throws Refused when the block is not sound enough for that; unchanged when all is there already.
OutputPlan patchTiff(const ByteSource& block, const TiffEdits& edits);

/// A new EXIF block of these tags, little-endian.
std::string newExifBlock(const TiffEdits& edits);

}  // namespace tollbrook::ImageMetadata
