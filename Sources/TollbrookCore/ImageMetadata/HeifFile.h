#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TollbrookCore/ImageMetadata/HeifItems.h"

/// The structure of a HEIF file (ISO/IEC 23008-12). Everything here throws Refused for a file that is not
/// sound, or says something that is not understood.
namespace tollbrook::ImageMetadata::Heif {

/// The meta box, which describes the items. What the tables do not hold is kept as it is.
struct Meta {
  /// A box in it; those that a table stands for are in that table.
  struct Child {
    std::string type;
    std::string whole;
  };

  std::vector<Child> children;
  ItemId primary = 0;
  LocationTable locations;
  ItemTable items;
  ReferenceTable references;
  std::vector<Child> propertyBoxes;  ///< those in "iprp"
  std::vector<PropertyTable> properties;
  std::vector<EntityGroup> groups;

  static Meta parse(std::string_view content);
  std::string content() const;
  /// The data that items may have inside the meta box; empty when there is none.
  std::string_view itemData() const;
  bool has(std::string_view child) const;
  /// What can have properties or be in a group: the items and the groups.
  std::set<std::uint32_t> entities() const;
  /// The properties that items may have, in the order of their places in "ipco".
  std::vector<Box> itemProperties() const;
  /// The places in "ipco", from 1, of the properties that anything has.
  std::set<std::uint32_t> propertiesInUse() const;
};

/// A part of a file.
struct Range {
  std::uint64_t offset;
  std::uint64_t length;

  std::uint64_t end() const { return offset + length; }
  bool overlaps(const Range& other) const { return offset < other.end() && other.offset < end(); }
  bool holds(const Range& other) const { return offset <= other.offset && other.end() <= end(); }
  bool operator==(const Range& other) const = default;
  /// By their places.
  bool operator<(const Range& other) const {
    return std::pair(offset, length) < std::pair(other.offset, other.length);
  }
};

struct File {
  std::vector<FileBox> boxes;
  std::size_t metaBox;  ///< its place in `boxes`
  /// The first box of what makers put behind the picture, to be found by counting back from the end.
  std::size_t trailer;
  Meta meta;

  static File read(const ByteSource& file);
  /// Whether there are tracks besides the items.
  bool hasMovie() const;
};

/// Where in the file the data of an item lies that counts from the beginning of the file; none for other
/// items.
std::vector<Range> rangesInFile(const LocationTable::Location& location);

/// The data of an item; Refused when it is longer than `limit`.
std::string itemBytes(const ByteSource& file, const Meta& meta, const LocationTable::Location& location,
                      std::uint64_t limit);

}  // namespace tollbrook::ImageMetadata::Heif
