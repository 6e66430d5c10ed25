#include "TollbrookCore/ImageMetadata/HeifMetadata.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "TollbrookCore/ImageMetadata/ExifEdits.h"
#include "TollbrookCore/ImageMetadata/TiffMetadata.h"
#include "TollbrookCore/ImageMetadata/XmpPacket.h"

namespace tollbrook::ImageMetadata::Heif {
namespace {

// One is usual. Several could share their data, and be of any size together.
constexpr std::size_t mostXmpItems = 16;
constexpr std::string_view xmpType = "application/rdf+xml";

bool isExif(const Item& item) { return item.type == "Exif"; }
bool isXmp(const Item& item) { return item.type == "mime" && item.contentType == xmpType; }

// The items of a kind that describe the primary image; when none says so, those that do not say what they
// describe.
template <typename Kind>
std::vector<const Item*> describingPrimary(const Meta& meta, const std::set<ItemId>& leaving,
                                           const Kind& isOfKind) {
  std::set<ItemId> describing, saying;
  for (const auto& reference : meta.references.references) {
    if (reference.type != "cdsc") continue;
    saying.insert(reference.from);
    if (std::find(reference.to.begin(), reference.to.end(), meta.primary) != reference.to.end()) {
      describing.insert(reference.from);
    }
  }
  std::vector<const Item*> result, silent;
  for (const Item& item : meta.items.items) {
    if (!isOfKind(item) || leaving.contains(item.id)) continue;
    if (describing.contains(item.id)) result.push_back(&item);
    if (!saying.contains(item.id)) silent.push_back(&item);
  }
  return result.empty() ? silent : result;
}

Payload payloadOf(const ByteSource& file, const Meta& meta, const Item& item,
                  std::uint64_t largest = mostMetadata) {
  const auto* location = meta.locations.find(item.id);
  if (!location) throw Refused("an item of metadata has no data");
  std::string bytes = itemBytes(file, meta, *location, largest);
  return {.item = item.id, .places = rangesInFile(*location), .before = bytes, .bytes = bytes};
}

bool startsTiff(std::string_view bytes) {
  return bytes.starts_with(std::string_view("II*\0", 4)) || bytes.starts_with(std::string_view("MM\0*", 4));
}

// Behind the offset of the TIFF header and what that passes over (ISO/IEC 23008-12, A.2.1); some writers put
// no offset there, or one that does not count the mark.
std::size_t tiffStart(std::string_view payload) {
  if (startsTiff(payload)) return 0;
  const std::uint64_t start = numberAt(payload, 0, 4) + 4;
  if (start >= payload.size()) throw Refused("the Exif item has no TIFF header");
  const std::string_view rest = payload.substr(start);
  if (startsTiff(rest)) return start;
  if (rest.starts_with(exifMark) && startsTiff(rest.substr(exifMark.size()))) return start + exifMark.size();
  throw Refused("the Exif item has no TIFF header");
}

std::string updatedExif(const std::string& payload, const TargetTags& target, const TiffEdits& edits) {
  const std::size_t start = tiffStart(payload);
  const MemorySource block(std::string_view(payload).substr(start));
  return payload.substr(0, start) + patchMetadata(TiffReader(block), target, edits).bytes();
}

std::string newExif(const TiffEdits& edits) {
  return numberBytes(exifMark.size(), 4).append(exifMark).append(newExifBlock(edits));
}

// Items, tracks and groups are numbered together. The next free number fits the narrow tables if any does.
ItemId unusedId(const Meta& meta) {
  std::set<std::uint32_t> used{0};
  for (const Item& item : meta.items.items) used.insert(item.id);
  for (const auto& location : meta.locations.locations) used.insert(location.item);
  for (const auto& reference : meta.references.references) {
    used.insert(reference.from);
    used.insert(reference.to.begin(), reference.to.end());
  }
  for (const EntityGroup& group : meta.groups) {
    used.insert(group.id);
    used.insert(group.entities.begin(), group.entities.end());
  }
  const std::uint32_t largest = *used.rbegin();
  if (largest < std::numeric_limits<std::uint16_t>::max()) return largest + 1;
  ItemId id = 1;
  while (used.contains(id)) ++id;
  return id;
}

void addReferenceTable(Meta& meta) {
  meta.references.header.version = meta.primary > std::numeric_limits<std::uint16_t>::max() ? 1 : 0;
  const auto items = std::find_if(meta.children.begin(), meta.children.end(),
                                  [](const Meta::Child& child) { return child.type == "iinf"; });
  meta.children.insert(items + 1, {"iref", {}});
}

ItemId addItem(Meta& meta, const std::string& type, const std::string& contentType) {
  const ItemId id = unusedId(meta);
  meta.items.items.push_back(Item::make(id, type, contentType));
  if (!meta.has("iref")) addReferenceTable(meta);
  meta.references.references.push_back({"cdsc", id, {meta.primary}});
  meta.locations.locations.push_back({.item = id, .method = LocationTable::fromFile});
  return id;
}

void updateExif(const ByteSource& file, Meta& meta, const std::set<ItemId>& leaving, const TargetTags& target,
                std::vector<Payload>& payloads) {
  const TiffEdits edits = exifEdits(target);
  const auto items = describingPrimary(meta, leaving, isExif);
  if (items.size() > 1) throw Refused("there are several Exif items");
  if (items.empty()) {
    payloads.push_back(
        {.item = addItem(meta, "Exif", {}), .places = {}, .before = {}, .bytes = newExif(edits)});
    return;
  }
  if (!items.front()->isPlain) throw Refused("the Exif item is encrypted");
  Payload payload = payloadOf(file, meta, *items.front());
  payload.bytes = updatedExif(payload.before, target, edits);
  payloads.push_back(std::move(payload));
}

void updateXmp(const ByteSource& file, Meta& meta, const std::set<ItemId>& leaving, const TargetTags& target,
               std::vector<Payload>& payloads) {
  const auto items = describingPrimary(meta, leaving, isXmp);
  if (items.size() > mostXmpItems) throw Refused("there are too many XMP items");
  bool needsCaption = true;
  std::uint64_t left = mostMetadata;
  for (const Item* item : items) {
    if (!item->isPlain) continue;
    Payload payload = payloadOf(file, meta, *item, left);
    left -= payload.before.size();
    if (payload.before.empty()) continue;
    const auto packet =
        needsCaption ? updatedXmpWithCaption(payload.before, target) : updatedXmp(payload.before, target);
    if (packet) payload.bytes = *packet;
    needsCaption = false;
    payloads.push_back(std::move(payload));
  }
  if (!items.empty() || target.caption.empty()) return;
  const ItemId id = addItem(meta, "mime", std::string(xmpType));
  payloads.push_back({.item = id, .places = {}, .before = {}, .bytes = newXmp(target.caption)});
}

}  // namespace

void requireNoOldXmp(const ByteSource& file, const std::vector<FileBox>& boxes, const TargetTags& target) {
  // As ISO 16684-3 has it.
  constexpr std::string_view xmpBox{"\xBE\x7A\xCF\xCB\x97\xA9\x42\xE8\x9C\x71\x99\x94\x91\xE3\xAF\xAC"};
  std::uint64_t left = mostMetadata;
  for (const FileBox& box : boxes) {
    if (box.type != "uuid" || box.contentSize() < xmpBox.size()) continue;
    if (file.read(box.contentOffset(), xmpBox.size()) != xmpBox) continue;
    if (box.contentSize() > left) throw Refused("the XMP is too large");
    left -= box.contentSize();
    const std::string content = file.read(box.contentOffset(), box.contentSize());
    if (updatedXmp(std::string_view(content).substr(xmpBox.size()), target)) {
      throw Refused("XMP beside the items would say something else");
    }
  }
}

std::vector<Payload> updateMetadata(const ByteSource& file, Meta& meta, const std::set<ItemId>& leaving,
                                    const TargetTags& target) {
  std::vector<Payload> payloads;
  updateExif(file, meta, leaving, target, payloads);
  updateXmp(file, meta, leaving, target, payloads);
  return payloads;
}

}  // namespace tollbrook::ImageMetadata::Heif
