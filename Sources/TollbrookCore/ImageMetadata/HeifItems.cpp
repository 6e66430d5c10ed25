#include "TollbrookCore/ImageMetadata/HeifItems.h"

#include <algorithm>
#include <limits>
#include <set>
#include <utility>

namespace tollbrook::ImageMetadata::Heif {
namespace {

constexpr std::size_t narrowId = 2;
constexpr std::size_t wideId = 4;
// A grid of images has as many tiles as 16 bits count; nothing real comes near these.
constexpr std::uint64_t mostReferences = std::uint64_t{1} << 18;
constexpr std::uint64_t mostExtents = std::uint64_t{1} << 17;
constexpr std::uint64_t mostAssociations = std::uint64_t{1} << 17;
constexpr std::uint64_t mostProperties = std::uint64_t{1} << 19;

std::size_t checkedWidth(std::uint64_t width) {
  if (width != 0 && width != 4 && width != 8) throw Refused("an item location has a field of an odd width");
  return width;
}

std::string checkedField(std::uint64_t value, std::size_t width) {
  if (width < 8 && value >> (8 * width) != 0) throw Refused("a number does not fit its field");
  return numberBytes(value, width);
}

void requireEnd(const FieldReader& fields) {
  if (!fields.atEnd()) throw Refused("a box holds more than it should");
}

std::size_t idWidth(const LocationTable& table) { return table.header.version < 2 ? narrowId : wideId; }

LocationTable::Location parseLocation(const LocationTable& table, FieldReader& fields) {
  LocationTable::Location location{};
  location.item = fields.number32(idWidth(table));
  if (table.header.version > 0) location.method = fields.number32(2);
  location.dataReference = fields.number32(2);
  location.base = fields.number(table.baseWidth);
  const std::uint64_t count = fields.number(2);
  if (count > 1 && table.indexWidth + table.offsetWidth + table.lengthWidth == 0) {
    throw Refused("the parts of an item are all the same");
  }
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t index = fields.number(table.indexWidth);
    const std::uint64_t offset = fields.number(table.offsetWidth);
    location.extents.push_back({index, offset, fields.number(table.lengthWidth)});
  }
  return location;
}

std::string locationBytes(const LocationTable& table, const LocationTable::Location& location) {
  std::string bytes = checkedField(location.item, idWidth(table));
  if (table.header.version > 0) bytes += checkedField(location.method, 2);
  bytes += checkedField(location.dataReference, 2);
  bytes += checkedField(location.base, table.baseWidth);
  bytes += checkedField(location.extents.size(), 2);
  for (const auto& extent : location.extents) {
    bytes += checkedField(extent.index, table.indexWidth);
    bytes += checkedField(extent.offset, table.offsetWidth);
    bytes += checkedField(extent.length, table.lengthWidth);
  }
  return bytes;
}

}  // namespace

FullHeader FullHeader::read(FieldReader& fields) {
  FullHeader header;
  header.version = static_cast<std::uint8_t>(fields.number(1));
  header.flags = fields.number32(3);
  return header;
}

LocationTable LocationTable::parse(std::string_view content) {
  FieldReader fields(content);
  LocationTable table;
  table.header = FullHeader::read(fields);
  if (table.header.version > 2) throw Refused("the item locations have an unknown form");
  const std::uint64_t widths = fields.number(2);
  table.offsetWidth = checkedWidth(widths >> 12);
  table.lengthWidth = checkedWidth(widths >> 8 & 0xF);
  table.baseWidth = checkedWidth(widths >> 4 & 0xF);
  const std::uint64_t last = widths & 0xF;
  if (table.header.version == 0 && last != 0) throw Refused("the item locations have an unknown form");
  table.indexWidth = checkedWidth(last);
  const std::uint64_t count = fields.number(idWidth(table));
  if (count > mostExtents) throw Refused("there are too many item locations");
  std::set<ItemId> seen;
  std::uint64_t extents = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    table.locations.push_back(parseLocation(table, fields));
    extents += table.locations.back().extents.size();
    if (extents > mostExtents) throw Refused("items lie in too many parts");
    if (!seen.insert(table.locations.back().item).second) throw Refused("an item lies in two places");
  }
  requireEnd(fields);
  return table;
}

std::string LocationTable::content() const {
  std::string bytes = header.bytes();
  bytes += numberBytes(offsetWidth << 12 | lengthWidth << 8 | baseWidth << 4 | indexWidth, 2);
  bytes += checkedField(locations.size(), idWidth(*this));
  for (const Location& location : locations) bytes += locationBytes(*this, location);
  return bytes;
}

void LocationTable::widen(std::size_t width) {
  offsetWidth = std::max(offsetWidth, width);
  lengthWidth = std::max(lengthWidth, width);
}

const LocationTable::Location* LocationTable::find(ItemId item) const {
  const auto found = std::find_if(locations.begin(), locations.end(),
                                  [&](const Location& location) { return location.item == item; });
  return found == locations.end() ? nullptr : &*found;
}

Item Item::parse(const Box& box) {
  if (box.type != "infe") throw Refused("the list of items holds something else");
  FieldReader fields(box.content);
  const FullHeader header = FullHeader::read(fields);
  if (header.version != 2 && header.version != 3) throw Refused("an item has an unknown form");
  Item item;
  item.whole = box.whole;
  item.hidden = (header.flags & 1) != 0;
  item.id = fields.number32(header.version == 2 ? narrowId : wideId);
  const bool isProtected = fields.number(2) != 0;
  item.type = fields.bytes(4);
  fields.text();  // its name
  if (item.type == "mime") item.contentType = fields.text();
  const bool isEncoded = item.type == "mime" && !fields.atEnd() && !fields.text().empty();
  item.isPlain = !isProtected && !isEncoded;
  return item;
}

Item Item::make(ItemId id, const std::string& type, const std::string& contentType) {
  const FullHeader header{
      .version = id > std::numeric_limits<std::uint16_t>::max() ? std::uint8_t{3} : std::uint8_t{2},
      .flags = 1};
  std::string content =
      header.bytes() + numberBytes(id, header.version == 2 ? narrowId : wideId) + numberBytes(0, 2);
  content += type + '\0';
  if (type == "mime") content += contentType + '\0';
  const std::string whole = box("infe", content);
  return parse({"infe", whole, std::string_view(whole).substr(whole.size() - content.size())});
}

ItemTable ItemTable::parse(std::string_view content) {
  FieldReader fields(content);
  ItemTable table;
  table.header = FullHeader::read(fields);
  const std::uint64_t count = fields.number(table.header.version == 0 ? 2 : 4);
  std::set<ItemId> seen;
  for (const Box& box : boxesIn(fields.rest())) {
    table.items.push_back(Item::parse(box));
    if (!seen.insert(table.items.back().id).second) throw Refused("two items have one number");
  }
  if (table.items.size() != count) throw Refused("the number of items is wrong");
  return table;
}

std::string ItemTable::content() const {
  std::string bytes = header.bytes() + checkedField(items.size(), header.version == 0 ? 2 : 4);
  for (const Item& item : items) bytes += item.whole;
  return bytes;
}

const Item* ItemTable::find(ItemId item) const {
  const auto found =
      std::find_if(items.begin(), items.end(), [&](const Item& candidate) { return candidate.id == item; });
  return found == items.end() ? nullptr : &*found;
}

ReferenceTable ReferenceTable::parse(std::string_view content) {
  FieldReader fields(content);
  ReferenceTable table;
  table.header = FullHeader::read(fields);
  if (table.header.version > 1) throw Refused("the item references have an unknown form");
  const std::size_t width = table.header.version == 0 ? narrowId : wideId;
  std::uint64_t total = 0;
  for (const Box& box : boxesIn(fields.rest())) {
    FieldReader inner(box.content);
    Reference reference{box.type, inner.number32(width), {}};
    const std::uint64_t count = inner.number(2);
    total += count;
    if (total > mostReferences) throw Refused("there are too many references");
    for (std::uint64_t i = 0; i < count; ++i) reference.to.push_back(inner.number32(width));
    requireEnd(inner);
    table.references.push_back(std::move(reference));
  }
  return table;
}

std::string ReferenceTable::content() const {
  const std::size_t width = header.version == 0 ? narrowId : wideId;
  std::string bytes = header.bytes();
  for (const Reference& reference : references) {
    std::string content = checkedField(reference.from, width) + checkedField(reference.to.size(), 2);
    for (const ItemId item : reference.to) content += checkedField(item, width);
    bytes += box(reference.type, content);
  }
  return bytes;
}

PropertyTable PropertyTable::parse(std::string_view content) {
  FieldReader fields(content);
  PropertyTable table;
  table.header = FullHeader::read(fields);
  if (table.header.version > 1) throw Refused("the item properties have an unknown form");
  const std::uint64_t count = fields.number(4);
  if (count > mostAssociations) throw Refused("there are too many item properties");
  std::uint64_t total = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    Association association{fields.number32(table.header.version == 0 ? narrowId : wideId), {}};
    const std::uint64_t properties = fields.number(1);
    total += properties;
    if (total > mostProperties) throw Refused("there are too many item properties");
    for (std::uint64_t j = 0; j < properties; ++j) {
      association.properties.push_back(fields.number32(table.propertyWidth()));
    }
    table.associations.push_back(std::move(association));
  }
  requireEnd(fields);
  return table;
}

std::string PropertyTable::content() const {
  std::string bytes = header.bytes() + numberBytes(associations.size(), 4);
  for (const Association& association : associations) {
    bytes += checkedField(association.item, header.version == 0 ? narrowId : wideId);
    bytes += checkedField(association.properties.size(), 1);
    for (const std::uint32_t property : association.properties)
      bytes += numberBytes(property, propertyWidth());
  }
  return bytes;
}

std::uint32_t PropertyTable::place(std::uint32_t property) const {
  return property & (propertyWidth() == 2 ? 0x7FFFU : 0x7FU);
}

EntityGroup EntityGroup::parse(const Box& box) {
  FieldReader fields(box.content);
  EntityGroup group;
  group.type = box.type;
  group.header = FullHeader::read(fields);
  group.id = fields.number32(4);
  const std::uint64_t count = fields.number(4);
  for (std::uint64_t i = 0; i < count; ++i) group.entities.push_back(fields.number32(4));
  group.rest = fields.rest();
  return group;
}

std::string EntityGroup::whole() const {
  std::string content = header.bytes() + numberBytes(id, 4) + numberBytes(entities.size(), 4);
  for (const std::uint32_t entity : entities) content += numberBytes(entity, 4);
  return box(type, content + rest);
}

}  // namespace tollbrook::ImageMetadata::Heif
