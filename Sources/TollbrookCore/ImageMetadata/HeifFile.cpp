#include "TollbrookCore/ImageMetadata/HeifFile.h"

#include <algorithm>
#include <array>

namespace tollbrook::ImageMetadata::Heif {
namespace {

// Sixty-five thousand tiles need less.
constexpr std::uint64_t largestMeta = std::uint64_t{4} << 20;
// Few have more than ten; they are looked through again and again.
constexpr std::size_t mostChildren = 100;
constexpr std::size_t mostGroups = 10000;
// Items may share data, but not so that comparing them takes forever.
constexpr std::uint64_t mostSharing = 16;

template <std::size_t count>
bool isOneOf(std::string_view type, const std::array<std::string_view, count>& types) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

// Boxes that hold places in the file of their own.
constexpr std::array<std::string_view, 8> foreign{"moof", "sidx", "ssix", "mfra",
                                                  "meco", "styp", "mini", "prft"};
// Boxes that belong to the picture; what follows the last of them is a trailer.
constexpr std::array<std::string_view, 4> known{"ftyp", "meta", "mdat", "moov"};

ItemId parsePrimary(std::string_view content) {
  FieldReader fields(content);
  const FullHeader header = FullHeader::read(fields);
  return fields.number32(header.version == 0 ? 2 : 4);
}

void requireStillImage(std::string_view handler) {
  FieldReader fields(handler);
  fields.bytes(8);
  if (fields.bytes(4) != "pict") throw Refused("the meta box describes no picture");
}

void parseProperties(std::string_view content, Meta& meta) {
  const auto boxes = boxesIn(content);
  if (boxes.size() > mostChildren) throw Refused("there are too many boxes");
  for (const Box& box : boxes) {
    const bool isSecond = std::any_of(meta.propertyBoxes.begin(), meta.propertyBoxes.end(),
                                      [](const Meta::Child& child) { return child.type == "ipco"; });
    if (box.type == "ipco" && isSecond) throw Refused("a box is there twice");
    meta.propertyBoxes.push_back({box.type, std::string(box.whole)});
    if (box.type == "ipma") meta.properties.push_back(PropertyTable::parse(box.content));
  }
}

void parseGroups(std::string_view content, Meta& meta) {
  const auto boxes = boxesIn(content);
  if (boxes.size() > mostGroups) throw Refused("there are too many groups");
  for (const Box& box : boxes) meta.groups.push_back(EntityGroup::parse(box));
}

void parseChild(const Box& box, Meta& meta) {
  constexpr std::array<std::string_view, 9> single{"hdlr", "pitm", "iloc", "iinf", "iref",
                                                   "iprp", "grpl", "idat", "dinf"};
  if (isOneOf(box.type, single) && meta.has(box.type)) throw Refused("a box is there twice");
  meta.children.push_back({box.type, std::string(box.whole)});
  if (box.type == "hdlr") requireStillImage(box.content);
  if (box.type == "pitm") meta.primary = parsePrimary(box.content);
  if (box.type == "iloc") meta.locations = LocationTable::parse(box.content);
  if (box.type == "iinf") meta.items = ItemTable::parse(box.content);
  if (box.type == "iref") meta.references = ReferenceTable::parse(box.content);
  if (box.type == "iprp") parseProperties(box.content, meta);
  if (box.type == "grpl") parseGroups(box.content, meta);
}

std::string propertiesContent(const Meta& meta) {
  std::string content;
  auto table = meta.properties.begin();
  for (const Meta::Child& child : meta.propertyBoxes) {
    content += child.type == "ipma" ? box("ipma", (table++)->content()) : child.whole;
  }
  return content;
}

std::string groupsContent(const Meta& meta) {
  std::string content;
  for (const EntityGroup& group : meta.groups) content += group.whole();
  return content;
}

// Where the length has no field, the item reaches to the end of what it lies in. It gets a length of its own,
// so that something can follow.
void giveLengths(LocationTable& table, std::uint64_t fileSize, std::uint64_t itemDataSize) {
  if (table.lengthWidth != 0) return;
  table.lengthWidth = fileSize >> 32 == 0 ? 4 : 8;
  for (auto& location : table.locations) {
    const std::uint64_t end = location.method == LocationTable::fromItemData ? itemDataSize : fileSize;
    for (auto& extent : location.extents) {
      const std::uint64_t start = sum(location.base, extent.offset);
      if (start > end) throw Refused("an item lies past the end");
      extent.length = end - start;
    }
  }
}

void requireInside(const LocationTable::Location& location, std::uint64_t end) {
  for (const auto& extent : location.extents) {
    const std::uint64_t start = sum(location.base, extent.offset);
    if (sum(start, extent.length) > end) throw Refused("an item lies past the end");
    if (extent.length == 0 && start != 0) throw Refused("the length of an item is in doubt");
  }
}

void requireSound(const Meta& meta, std::uint64_t fileSize) {
  std::uint64_t total = 0;
  for (const auto& location : meta.locations.locations) {
    if (location.dataReference != 0) throw Refused("an item lies in another file");
    if (location.method > LocationTable::fromItemData) throw Refused("an item is made of others");
    const bool inFile = location.method == LocationTable::fromFile;
    requireInside(location, inFile ? fileSize : meta.itemData().size());
    for (const auto& extent : location.extents) total = sum(total, extent.length);
  }
  if (total / mostSharing > fileSize) throw Refused("too many items share their data");
  if (!meta.items.find(meta.primary)) throw Refused("there is no primary image");
}

}  // namespace

Meta Meta::parse(std::string_view content) {
  Meta meta;
  FieldReader fields(content);
  const FullHeader header = FullHeader::read(fields);
  if (header.version != 0 || header.flags != 0) throw Refused("the meta box has an unknown form");
  const auto boxes = boxesIn(fields.rest());
  if (boxes.size() > mostChildren) throw Refused("there are too many boxes");
  for (const Box& box : boxes) parseChild(box, meta);
  for (const std::string_view needed : {"hdlr", "pitm", "iloc", "iinf"}) {
    if (!meta.has(needed)) throw Refused("the meta box is not complete");
  }
  // Whatever the tables have no place for would be lost.
  if (meta.content() != content) throw Refused("the meta box holds more than is understood");
  return meta;
}

std::string Meta::content() const {
  std::string content = FullHeader{}.bytes();
  for (const Child& child : children) {
    if (child.type == "iloc") {
      content += box("iloc", locations.content());
    } else if (child.type == "iinf") {
      content += box("iinf", items.content());
    } else if (child.type == "iref") {
      content += box("iref", references.content());
    } else if (child.type == "iprp") {
      content += box("iprp", propertiesContent(*this));
    } else if (child.type == "grpl") {
      content += box("grpl", groupsContent(*this));
    } else {
      content += child.whole;
    }
  }
  return content;
}

std::string_view Meta::itemData() const {
  for (const Child& child : children) {
    if (child.type == "idat") return boxesIn(child.whole).front().content;
  }
  return {};
}

bool Meta::has(std::string_view child) const {
  return std::any_of(children.begin(), children.end(),
                     [&](const Child& candidate) { return candidate.type == child; });
}

std::set<std::uint32_t> Meta::entities() const {
  std::set<std::uint32_t> entities;
  for (const Item& item : items.items) entities.insert(item.id);
  for (const EntityGroup& group : groups) entities.insert(group.id);
  return entities;
}

std::vector<Box> Meta::itemProperties() const {
  for (const Child& child : propertyBoxes) {
    if (child.type == "ipco") return boxesIn(boxesIn(child.whole).front().content);
  }
  return {};
}

std::set<std::uint32_t> Meta::propertiesInUse() const {
  std::set<std::uint32_t> places;
  for (const PropertyTable& table : properties) {
    for (const auto& association : table.associations) {
      for (const std::uint32_t property : association.properties) places.insert(table.place(property));
    }
  }
  return places;
}

File File::read(const ByteSource& file) {
  File result{.boxes = boxesOf(file), .metaBox = 0, .trailer = 0, .meta = {}};
  if (result.boxes.empty() || result.boxes.front().type != "ftyp") throw Refused("the file has no type");
  std::size_t place = 0;
  for (const FileBox& box : result.boxes) {
    // A second file behind the picture, a film for instance, is none of its parts.
    if (box.type == "ftyp" && place > 0) break;
    if (isOneOf(box.type, foreign)) throw Refused("the file has a structure that is not understood");
    if (box.type == "meta") {
      if (result.metaBox != 0) throw Refused("there are two meta boxes");
      result.metaBox = place;
    }
    ++place;
    if (isOneOf(box.type, known)) result.trailer = place;
  }
  if (result.metaBox == 0) throw Refused("there is no meta box");
  const FileBox& meta = result.boxes[result.metaBox];
  if (meta.size > largestMeta) throw Refused("the meta box is too large");
  result.meta = Meta::parse(file.read(meta.contentOffset(), meta.contentSize()));
  giveLengths(result.meta.locations, file.size(), result.meta.itemData().size());
  requireSound(result.meta, file.size());
  return result;
}

bool File::hasMovie() const {
  return std::any_of(boxes.begin(), boxes.begin() + static_cast<std::ptrdiff_t>(trailer),
                     [](const FileBox& box) { return box.type == "moov"; });
}

std::vector<Range> rangesInFile(const LocationTable::Location& location) {
  std::vector<Range> ranges;
  if (location.method != LocationTable::fromFile) return ranges;
  for (const auto& extent : location.extents) {
    if (extent.length > 0) ranges.push_back({sum(location.base, extent.offset), extent.length});
  }
  return ranges;
}

std::string itemBytes(const ByteSource& file, const Meta& meta, const LocationTable::Location& location,
                      std::uint64_t limit) {
  std::string bytes;
  for (const auto& extent : location.extents) {
    const std::uint64_t start = sum(location.base, extent.offset);
    if (extent.length > limit - bytes.size()) throw Refused("an item is too long");
    bytes += location.method == LocationTable::fromItemData
                 ? std::string(meta.itemData().substr(start, extent.length))
                 : file.read(start, extent.length);
  }
  return bytes;
}

}  // namespace tollbrook::ImageMetadata::Heif
