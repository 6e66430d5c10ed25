#pragma once

#include <cstdint>
#include <vector>

#include "TollbrookCore/ImageMetadata/TiffReader.h"

namespace tollbrook::ImageMetadata {

/// Which bytes of a TIFF block belong to what, so that nothing is changed that two things share. The reader
/// stays there longer.
class TiffOccupancy {
 public:
  explicit TiffOccupancy(const TiffReader& reader);

  /// Whether a value that lies outside of its entry shares no byte with anything else.
  bool isAlone(const TiffEntry& entry) const;
  /// The same for any area, of which only the entry or directory at `owner` may own bytes.
  bool isAlone(const TiffArea& area, std::uint64_t owner) const;
  /// The same for a directory without the offset of the next one.
  bool entriesAreAlone(const TiffDirectory& directory) const;
  /// Whether a strip, tile or thumbnail is said to begin behind the block and to share bytes with `area`.
  bool hasPieceBehind(const TiffArea& area) const;
  /// How many strips, tiles and thumbnails the block does not hold whole, though its directories say so.
  std::uint64_t missingPieces() const;
  /// The end of the last byte that is known to belong to something.
  std::uint64_t end() const;

 private:
  struct Owned {
    TiffArea area;
    std::uint64_t owner;  ///< position of the entry or the directory
  };

  void add(const TiffDirectory& directory);
  bool touchesImageData(const TiffArea& area) const;
  /// Visits the strips, tiles and thumbnails of all images until `visit` says false; whether it never did.
  template <typename Visit>
  bool forEachPiece(const Visit& visit) const;
  template <typename Visit>
  void forEachDirectory(const Visit& visit) const;

  const TiffReader* reader_;
  std::vector<Owned> owned_;
};

}  // namespace tollbrook::ImageMetadata
