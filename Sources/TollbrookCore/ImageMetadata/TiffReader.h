#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "TollbrookCore/ImageMetadata/ByteSource.h"

/// Reading the structure of TIFF files, BigTIFF among them, and of EXIF blocks, which are TIFF files without
/// an image (TIFF 6.0, section 2; BigTIFF as LibTIFF defines it; Exif 2.32, 4.5).
namespace tollbrook::ImageMetadata {

/// What stands before an EXIF block in JPEG files, and where one came from there.
constexpr std::string_view exifMark{"Exif\0\0", 6};

/// The tags that have a meaning here.
namespace TiffTag {
constexpr std::uint16_t subfileType = 0x00FE, oldSubfileType = 0x00FF, imageDescription = 0x010E,
                        stripOffsets = 0x0111, stripByteCounts = 0x0117, xResolution = 0x011A,
                        yResolution = 0x011B, resolutionUnit = 0x0128, dateTime = 0x0132,
                        tileOffsets = 0x0144, tileByteCounts = 0x0145, subIfds = 0x014A, jpegOffset = 0x0201,
                        jpegLength = 0x0202, ycbcrPositioning = 0x0213, xmp = 0x02BC, iptc = 0x83BB,
                        photoshop = 0x8649, exifIfd = 0x8769, gpsIfd = 0x8825, interopIfd = 0xA005,
                        timeZoneOffset = 0x882A;
constexpr std::uint16_t exifVersion = 0x9000, dateTimeOriginal = 0x9003, dateTimeDigitized = 0x9004,
                        offsetTime = 0x9010, offsetTimeOriginal = 0x9011, offsetTimeDigitized = 0x9012,
                        componentsConfiguration = 0x9101, makerNote = 0x927C, flashpixVersion = 0xA000,
                        colorSpace = 0xA001, pixelXDimension = 0xA002, pixelYDimension = 0xA003;
constexpr std::uint16_t gpsVersionId = 0, gpsLatitudeRef = 1, gpsLatitude = 2, gpsLongitudeRef = 3,
                        gpsLongitude = 4, gpsAltitudeRef = 5, gpsAltitude = 6, gpsProcessingMethod = 0x1B;
}  // namespace TiffTag

enum class TiffType : std::uint16_t {
  byte = 1,
  ascii = 2,
  shortInteger = 3,
  longInteger = 4,
  rational = 5,
  undefined = 7,
  ifd = 13,
  long8 = 16,
  ifd8 = 18
};

/// The bytes that one value of this type takes; none for a type that nobody has defined.
std::optional<std::uint64_t> sizeOf(TiffType type);
/// Whether its values are whole numbers, whatever their width and sign.
bool isInteger(TiffType type);

/// A range of the block.
struct TiffArea {
  std::uint64_t offset;
  std::uint64_t length;

  std::uint64_t end() const { return offset + length; }
  bool overlaps(const TiffArea& other) const { return offset < other.end() && other.offset < end(); }
};

struct TiffEntry {
  std::uint16_t tag;
  TiffType type;
  std::uint64_t count;
  std::uint64_t position;  ///< of the entry in the block
  std::string field;       ///< the value itself, or its offset
  /// Where the value is, be it in the entry or elsewhere; none when the type is unknown or the block ends
  /// before.
  std::optional<TiffArea> value;
};

struct TiffDirectory {
  TiffArea area;  ///< from the number of entries to the offset of the next directory
  std::vector<TiffEntry> entries;
  bool hasNext = true;     ///< false: the block ends before the offset of the next directory
  std::uint64_t next = 0;  ///< offset of the next directory in the chain; 0: none

  /// The first entry with this tag; null when there is none.
  const TiffEntry* find(std::uint16_t tag) const;
  std::size_t count(std::uint16_t tag) const;
};

/// The directories of a block. Throws Refused for a block that has no sound first directory, and for loops.
class TiffReader {
 public:
  explicit TiffReader(const ByteSource& block);

  const ByteSource& block() const { return *block_; }
  ByteOrder order() const { return order_; }
  bool isBig() const { return isBig_; }
  std::size_t offsetWidth() const { return isBig_ ? 8 : 4; }
  std::uint64_t headerSize() const { return isBig_ ? 16 : 8; }
  /// Where the header holds the offset of the first directory.
  std::uint64_t firstPointer() const { return isBig_ ? 8 : 4; }

  const TiffDirectory& first() const { return first_; }
  /// The directories that the first one points to; null when there is none. Refused when the pointer is
  /// doubtful.
  const TiffDirectory* exif() const { return exif_ ? &*exif_ : nullptr; }
  const TiffDirectory* gps() const { return gps_ ? &*gps_ : nullptr; }
  /// Whatever else could be read: the rest of the chain, sub-directories, interoperability.
  const std::vector<TiffDirectory>& others() const { return others_; }
  /// Whether the others are all that something points to.
  bool isWhole() const { return isWhole_; }

  /// The value of an entry; Refused when the block does not hold it or it is larger than `limit`.
  std::string value(const TiffEntry& entry, std::uint64_t limit) const;
  /// One number of an integer entry; Refused when the block does not hold it.
  std::uint64_t number(const TiffEntry& entry, std::uint64_t index = 0) const;
  std::uint64_t numberIn(std::string_view bytes, std::size_t offset, std::size_t width) const {
    return numberAt(bytes, offset, width, order_);
  }

 private:
  void readHeader();
  /// None when the block does not hold a sound one there.
  std::optional<TiffDirectory> readDirectory(std::uint64_t offset);
  TiffEntry readEntry(std::string_view bytes, std::uint64_t position) const;
  std::optional<TiffDirectory> readPointedTo(std::uint16_t tag);
  void readOthers();
  void readChain(std::uint64_t offset);
  void readSubdirectories(const TiffEntry& entry);
  void readOther(std::uint64_t offset);
  void visit(std::uint64_t offset);

  const ByteSource* block_;
  ByteOrder order_ = ByteOrder::little;
  bool isBig_ = false;
  std::uint64_t entriesRead_ = 0;
  std::set<std::uint64_t> visited_;
  TiffDirectory first_;
  std::optional<TiffDirectory> exif_;
  std::optional<TiffDirectory> gps_;
  std::vector<TiffDirectory> others_;
  bool isWhole_ = true;
};

}  // namespace tollbrook::ImageMetadata
