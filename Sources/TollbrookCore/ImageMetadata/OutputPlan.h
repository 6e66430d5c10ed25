#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "TollbrookCore/ImageMetadata/ByteSource.h"

namespace tollbrook::ImageMetadata {

/// A new file, as ranges of the old one and new bytes between them. It can be read like the file that it will
/// make, so that it is judged before anything is written. However long the file, only the new bytes are in
/// memory. The source stays there longer.
class OutputPlan final : public ByteSource {
 public:
  explicit OutputPlan(const ByteSource& source) : source_(&source) {}
  /// The whole source as it is.
  static OutputPlan copyOf(const ByteSource& source);

  /// Adds a range of the source at the end; Refused when the source does not hold it.
  void copy(std::uint64_t offset, std::uint64_t length);
  /// Adds new bytes at the end.
  void add(std::string bytes);
  /// Puts these bytes in the place of as many that are there; Refused when there are not so many.
  void overwrite(std::uint64_t offset, std::string bytes);

  /// Whether a range of the new file holds what the source holds at `sourceOffset`. Only what was not copied
  /// from there is read.
  bool holds(std::uint64_t offset, std::uint64_t sourceOffset, std::uint64_t length) const;
  /// Whether the new file would be the old one.
  bool isUnchanged() const;
  /// All of it, for plans of small blocks.
  std::string bytes() const { return read(0, size()); }

 private:
  struct Extent {
    std::uint64_t start;  ///< in the new file
    std::uint64_t length;
    std::uint64_t sourceOffset;  ///< of a range of the source
    std::string bytes;           ///< when not empty, new ones

    bool isNew() const { return !bytes.empty(); }
  };

  void append(Extent extent);
  std::vector<Extent>::const_iterator extentAt(std::uint64_t offset) const;
  /// The index of the extent that begins at `offset` once the one across it is cut in two.
  std::size_t cutAt(std::uint64_t offset);
  void readInside(std::uint64_t offset, char* bytes, std::size_t length) const override;
  void copyInside(int descriptor, std::uint64_t offset, std::uint64_t length) const override;
  template <typename Visit>
  void forEachPart(std::uint64_t offset, std::uint64_t length, const Visit& visit) const;

  const ByteSource* source_;
  std::vector<Extent> extents_;
};

}  // namespace tollbrook::ImageMetadata
