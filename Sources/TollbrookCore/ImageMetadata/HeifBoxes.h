#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "TollbrookCore/ImageMetadata/ByteSource.h"

/// The boxes that HEIF files are made of (ISO/IEC 14496-12, 4.2). Everything here throws Refused for what is
/// not as the standard has it.
namespace tollbrook::ImageMetadata::Heif {

/// A box in memory, which stays there longer.
struct Box {
  std::string type;
  std::string_view whole;    ///< with its header
  std::string_view content;  ///< behind its header
};

/// The boxes that `bytes` are made of.
std::vector<Box> boxesIn(std::string_view bytes);

/// A box at the top level of a file.
struct FileBox {
  std::string type;
  std::uint64_t offset;
  std::uint64_t headerSize;
  std::uint64_t size;       ///< with its header
  bool reachesEnd = false;  ///< its size is not stored: it is the last, and ends where the file ends

  std::uint64_t contentOffset() const { return offset + headerSize; }
  std::uint64_t contentSize() const { return size - headerSize; }
  std::uint64_t end() const { return offset + size; }
};

/// The boxes that the file is made of.
std::vector<FileBox> boxesOf(const ByteSource& file);

/// The header of a box with this much content; the shortest that can hold it.
std::string boxHeader(std::string_view type, std::uint64_t contentSize);
/// A box with its header.
std::string box(std::string_view type, std::string_view content);

/// Reads numbers and texts one after the other.
class FieldReader {
 public:
  explicit FieldReader(std::string_view bytes) : bytes_(bytes) {}

  /// An unsigned number of `width` bytes (0 to 8); 0 where there are none.
  std::uint64_t number(std::size_t width);
  std::uint32_t number32(std::size_t width) { return static_cast<std::uint32_t>(number(width)); }
  std::string_view bytes(std::size_t count);
  /// Up to the next NUL, which is passed over; to the end when there is none.
  std::string_view text();
  std::string_view rest() { return bytes(bytes_.size()); }
  bool atEnd() const { return bytes_.empty(); }

 private:
  std::string_view bytes_;
};

}  // namespace tollbrook::ImageMetadata::Heif
