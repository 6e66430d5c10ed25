#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "TollbrookCore/ImageMetadata/TiffReader.h"

namespace tollbrook::test {

/// An entry as a test wants it: numbers are put in the block's byte order, text gets a NUL.
struct BlockEntry {
  std::uint16_t tag;
  ImageMetadata::TiffType type;
  std::string bytes;
  std::vector<std::uint64_t> numbers;  ///< two for each rational

  static BlockEntry text(std::uint16_t tag, const std::string& text);
  static BlockEntry ofBytes(std::uint16_t tag, ImageMetadata::TiffType type, std::string bytes);
  static BlockEntry ofNumbers(std::uint16_t tag, ImageMetadata::TiffType type,
                              std::vector<std::uint64_t> numbers);
};

/// A TIFF block of made directories.
struct Block {
  ImageMetadata::ByteOrder order = ImageMetadata::ByteOrder::little;
  bool isBig = false;
  std::vector<BlockEntry> first;
  std::vector<BlockEntry> exif, gps;                ///< not there when empty
  std::vector<std::vector<BlockEntry>> laterPages;  ///< the rest of the chain

  /// Each directory, in this order, is followed by its values.
  std::string bytes() const;
};

}  // namespace tollbrook::test
