#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "TollbrookCore/ImageMetadata/HeifBoxes.h"

/// The tables of the meta box: which items there are, where they lie and how they hang together (ISO/IEC
/// 14496-12, 8.11). Each is read from the content of its box and gives that content back byte for byte as
/// long as nothing in it is changed. Everything here throws Refused for what is not as the standard has it.
namespace tollbrook::ImageMetadata::Heif {

using ItemId = std::uint32_t;

/// The first four bytes of most boxes.
struct FullHeader {
  std::uint8_t version = 0;
  std::uint32_t flags = 0;

  static FullHeader read(FieldReader& fields);
  std::string bytes() const { return numberBytes(version, 1) + numberBytes(flags, 3); }
};

/// Where the items lie: "iloc".
struct LocationTable {
  struct Extent {
    std::uint64_t index;
    std::uint64_t offset;
    std::uint64_t length;
  };
  /// What the offsets count from.
  enum Method : unsigned { fromFile = 0, fromItemData = 1 };
  struct Location {
    ItemId item;
    unsigned method;  ///< a Method, or another that is left alone
    unsigned dataReference;
    std::uint64_t base;
    std::vector<Extent> extents;
  };

  FullHeader header;
  std::size_t offsetWidth = 4;  ///< in bytes, as the others: 0, 4 or 8
  std::size_t lengthWidth = 4;
  std::size_t baseWidth = 0;
  std::size_t indexWidth = 0;
  std::vector<Location> locations;

  static LocationTable parse(std::string_view content);
  std::string content() const;
  /// Makes the offsets and lengths at least `width` bytes wide.
  void widen(std::size_t width);
  /// None for an item without data.
  const Location* find(ItemId item) const;
};

/// An item: "infe".
struct Item {
  ItemId id = 0;
  std::string type;         ///< "hvc1", "Exif", "mime" ...
  std::string contentType;  ///< of a "mime" item: its MIME type
  bool hidden = false;      ///< not to be shown by itself
  bool isPlain = true;      ///< neither encrypted nor compressed
  std::string whole;        ///< its box

  static Item parse(const Box& box);
  /// A hidden item of this type.
  static Item make(ItemId id, const std::string& type, const std::string& contentType);
};

/// All items: "iinf".
struct ItemTable {
  FullHeader header;
  std::vector<Item> items;

  static ItemTable parse(std::string_view content);
  std::string content() const;
  const Item* find(ItemId item) const;
};

/// What items say about others: "iref".
struct ReferenceTable {
  struct Reference {
    std::string type;  ///< "dimg", "thmb", "auxl", "cdsc" ...
    ItemId from;
    std::vector<ItemId> to;
  };

  FullHeader header;
  std::vector<Reference> references;

  static ReferenceTable parse(std::string_view content);
  std::string content() const;
};

/// Which properties items have: "ipma", of which there may be several.
struct PropertyTable {
  struct Association {
    ItemId item;
    std::vector<std::uint32_t> properties;  ///< as stored: place in "ipco", the top bit for essential ones
  };

  FullHeader header;
  std::vector<Association> associations;

  static PropertyTable parse(std::string_view content);
  std::string content() const;
  std::size_t propertyWidth() const { return (header.flags & 1) != 0 ? 2 : 1; }
  /// The place in "ipco", from 1, that a stored property names.
  std::uint32_t place(std::uint32_t property) const;
};

/// A group of items or tracks: a box in "grpl".
struct EntityGroup {
  std::string type;
  FullHeader header;
  std::uint32_t id = 0;
  std::vector<std::uint32_t> entities;
  std::string rest;  ///< what its kind of group adds

  static EntityGroup parse(const Box& box);
  std::string whole() const;
};

}  // namespace tollbrook::ImageMetadata::Heif
