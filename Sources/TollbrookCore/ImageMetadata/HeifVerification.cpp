#include "TollbrookCore/ImageMetadata/HeifVerification.h"

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <tuple>

#include "TollbrookCore/ImageMetadata/HeifPrimary.h"

namespace tollbrook::ImageMetadata::Heif {
namespace {

/// Two files side by side.
struct Comparison {
  const File& old;
  const OutputPlan& after;
  const File& now;
  const std::map<ItemId, const Payload*>& payloads;
  const std::set<ItemId>& removed;

  bool isAdded(ItemId item) const {
    const auto payload = payloads.find(item);
    return payload != payloads.end() && payload->second->before.empty();
  }
};

using Locations = std::map<ItemId, const LocationTable::Location*>;

Locations locationsOf(const Meta& meta) {
  Locations locations;
  for (const auto& location : meta.locations.locations) locations[location.item] = &location;
  return locations;
}

void compareExtents(const Comparison& files, const LocationTable::Location& a,
                    const LocationTable::Location& b) {
  requireSame(a.method == b.method && a.extents.size() == b.extents.size());
  for (std::size_t i = 0; i < a.extents.size(); ++i) {
    requireSame(a.extents[i].index == b.extents[i].index && a.extents[i].length == b.extents[i].length);
    if (a.method == LocationTable::fromItemData) {
      requireSame(a.base + a.extents[i].offset == b.base + b.extents[i].offset);
    } else {
      requireSame(
          files.after.holds(b.base + b.extents[i].offset, a.base + a.extents[i].offset, a.extents[i].length));
    }
  }
}

void compareData(const Comparison& files) {
  const Locations old = locationsOf(files.old.meta);
  const Locations now = locationsOf(files.now.meta);
  for (const auto& [item, location] : now) {
    const auto payload = files.payloads.find(item);
    if (payload != files.payloads.end()) {
      const std::string& bytes = payload->second->bytes;
      requireSame(itemBytes(files.after, files.now.meta, *location, bytes.size()) == bytes);
    } else {
      const auto before = old.find(item);
      requireSame(before != old.end());
      compareExtents(files, *before->second, *location);
    }
  }
  for (const auto& [item, location] : old) requireSame(files.removed.contains(item) || now.contains(item));
  for (const auto& [item, payload] : files.payloads) requireSame(now.contains(item));
}

void compareItems(const Comparison& files) {
  std::map<ItemId, std::string_view> old;
  for (const Item& item : files.old.meta.items.items) {
    if (!files.removed.contains(item.id)) old[item.id] = item.whole;
  }
  std::size_t added = 0;
  for (const Item& item : files.now.meta.items.items) {
    if (files.isAdded(item.id)) {
      ++added;
    } else {
      const auto before = old.find(item.id);
      requireSame(before != old.end() && before->second == item.whole);
    }
  }
  requireSame(files.now.meta.items.items.size() == old.size() + added);
  requireSame(files.now.meta.primary == files.old.meta.primary);
}

using References = std::vector<std::tuple<std::string, ItemId, ItemId>>;

References referencesOf(const Meta& meta, const std::set<ItemId>& removed) {
  References result;
  for (const auto& reference : meta.references.references) {
    for (const ItemId to : reference.to) {
      if (!removed.contains(reference.from) && !removed.contains(to)) {
        result.emplace_back(reference.type, reference.from, to);
      }
    }
  }
  return result;
}

void compareReferences(const Comparison& files) {
  References now = referencesOf(files.now.meta, {});
  std::erase_if(now, [&](const auto& reference) {
    return reference == std::tuple("cdsc", std::get<1>(reference), files.old.meta.primary) &&
           files.isAdded(std::get<1>(reference));
  });
  requireSame(now == referencesOf(files.old.meta, files.removed));
}

std::map<std::uint32_t, std::vector<std::uint32_t>> propertiesOf(const Meta& meta,
                                                                 const std::set<std::uint32_t>& entities) {
  std::map<std::uint32_t, std::vector<std::uint32_t>> result;
  for (const PropertyTable& table : meta.properties) {
    for (const auto& association : table.associations) {
      if (!entities.contains(association.item)) continue;
      auto& properties = result[association.item];
      properties.insert(properties.end(), association.properties.begin(), association.properties.end());
    }
  }
  return result;
}

void compareProperties(const Comparison& files, const std::set<std::uint32_t>& entities) {
  requireSame(propertiesOf(files.old.meta, entities) == propertiesOf(files.now.meta, entities));
  const auto old = files.old.meta.itemProperties(), now = files.now.meta.itemProperties();
  const auto wereUsed = files.old.meta.propertiesInUse(), areUsed = files.now.meta.propertiesInUse();
  requireSame(old.size() == now.size());
  for (std::uint32_t place = 1; place <= old.size(); ++place) {
    const Box &before = old[place - 1], &after = now[place - 1];
    if (wereUsed.contains(place) && !areUsed.contains(place)) {
      requireSame(after.type == "free" && after.whole.size() == before.whole.size());
      requireSame(after.content.find_first_not_of('\0') == std::string_view::npos);
    } else {
      requireSame(after.whole == before.whole);
    }
  }
}

void compareGroups(const Comparison& files, const std::set<std::uint32_t>& entities) {
  std::map<std::uint32_t, EntityGroup> old;
  for (const EntityGroup& group : files.old.meta.groups) old[group.id] = group;
  for (const EntityGroup& group : files.now.meta.groups) {
    const auto before = old.find(group.id);
    requireSame(before != old.end());
    if (before->second.whole() == group.whole()) continue;
    std::erase_if(before->second.entities, [&](std::uint32_t entity) { return !entities.contains(entity); });
    requireSame(before->second.whole() == group.whole());
  }
}

// The boxes of these types, and in them what a table stands for, are compared by what they mean.
std::vector<std::string_view> otherChildren(const std::vector<Meta::Child>& children) {
  constexpr std::array<std::string_view, 7> tables{"iloc", "iinf", "iref", "iprp", "ipco", "ipma", "grpl"};
  std::vector<std::string_view> result;
  for (const Meta::Child& child : children) {
    if (std::find(tables.begin(), tables.end(), child.type) == tables.end()) result.push_back(child.whole);
  }
  return result;
}

std::vector<const FileBox*> otherBoxes(const File& file) {
  constexpr std::array<std::string_view, 7> compared{"ftyp", "meta", "mdat", "moov", "free", "skip", "wide"};
  std::vector<const FileBox*> result;
  for (std::size_t i = 0; i < file.boxes.size(); ++i) {
    const FileBox& box = file.boxes[i];
    const bool isCompared = std::find(compared.begin(), compared.end(), box.type) != compared.end();
    if (i >= file.trailer || !isCompared) result.push_back(&box);
  }
  return result;
}

void compareBoxes(const Comparison& files) {
  const auto old = otherBoxes(files.old);
  const auto now = otherBoxes(files.now);
  requireSame(old.size() == now.size());
  for (std::size_t i = 0; i < old.size(); ++i) {
    requireSame(old[i]->type == now[i]->type && old[i]->size == now[i]->size &&
                files.after.holds(now[i]->offset, old[i]->offset, old[i]->size));
  }
}

}  // namespace

void requireOnlyMetadataChanged(const File& old, const OutputPlan& after,
                                const std::vector<Payload>& payloads, const std::set<ItemId>& removed) {
  const File now = File::read(after);
  requireSame(!now.hasMovie() && itemsOfOtherImages(now.meta).empty());
  std::map<ItemId, const Payload*> byItem;
  for (const Payload& payload : payloads) byItem[payload.item] = &payload;
  const Comparison files{old, after, now, byItem, removed};
  compareItems(files);
  compareData(files);
  compareReferences(files);
  const auto entities = now.meta.entities();
  compareProperties(files, entities);
  compareGroups(files, entities);
  requireSame(otherChildren(old.meta.children) == otherChildren(now.meta.children));
  requireSame(otherChildren(old.meta.propertyBoxes) == otherChildren(now.meta.propertyBoxes));
  compareBoxes(files);
}

}  // namespace tollbrook::ImageMetadata::Heif
