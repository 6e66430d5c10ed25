#include "TollbrookCore/ImageMetadata/HeifPrimary.h"

#include <algorithm>
#include <array>
#include <map>
#include <vector>

namespace tollbrook::ImageMetadata::Heif {
namespace {

constexpr std::size_t typeOffset = 4;

/// Which items come along with an item.
using Company = std::map<ItemId, std::vector<ItemId>>;

// A thumbnail, an auxiliary image and a description name the image that they belong to; every other
// reference names what an image is made of.
bool namesItsImage(const ReferenceTable::Reference& reference) {
  return reference.type == "thmb" || reference.type == "auxl" || reference.type == "cdsc";
}

Company companyOf(const Meta& meta) {
  // An image with its gain map applied (ISO/IEC 23008-12, tone map) is the only one that knows of that map.
  std::set<ItemId> toneMaps;
  for (const Item& item : meta.items.items) {
    if (item.type == "tmap") toneMaps.insert(item.id);
  }
  Company company;
  for (const auto& reference : meta.references.references) {
    for (const ItemId to : reference.to) {
      if (!namesItsImage(reference)) company[reference.from].push_back(to);
      if (namesItsImage(reference) || toneMaps.contains(reference.from))
        company[to].push_back(reference.from);
    }
  }
  return company;
}

std::set<ItemId> withCompany(const std::vector<ItemId>& seeds, const Company& company) {
  std::set<ItemId> found(seeds.begin(), seeds.end());
  std::vector<ItemId> open = seeds;
  while (!open.empty()) {
    const auto companions = company.find(open.back());
    open.pop_back();
    if (companions == company.end()) continue;
    for (const ItemId item : companions->second) {
      if (found.insert(item).second) open.push_back(item);
    }
  }
  return found;
}

// A primary image that is the thumbnail of another must not be all that is left of that.
std::vector<ItemId> primaryAndWhatItShows(const Meta& meta) {
  std::vector<ItemId> items{meta.primary};
  for (const auto& reference : meta.references.references) {
    if (reference.from == meta.primary) items.insert(items.end(), reference.to.begin(), reference.to.end());
  }
  return items;
}

// Every image has its extent among its properties (ISO/IEC 23008-12, 6.5.3), and nothing else has.
std::set<ItemId> imagesAmong(const Meta& meta) {
  std::set<std::uint32_t> extents;
  std::uint32_t place = 0;
  for (const Box& property : meta.itemProperties()) {
    ++place;
    if (property.type == "ispe") extents.insert(place);
  }
  std::set<ItemId> images;
  for (const PropertyTable& table : meta.properties) {
    for (const auto& [item, properties] : table.associations) {
      if (std::any_of(properties.begin(), properties.end(),
                      [&](std::uint32_t property) { return extents.contains(table.place(property)); })) {
        images.insert(item);
      }
    }
  }
  return images;
}

void removeMembers(Meta& meta) {
  const std::set<std::uint32_t> entities = meta.entities();
  std::set<std::uint32_t> gone;
  std::erase_if(meta.groups, [&](EntityGroup& group) {
    const auto lost =
        std::erase_if(group.entities, [&](std::uint32_t entity) { return !entities.contains(entity); });
    // What is left of it is no group any more.
    const bool isGone = lost > 0 && group.entities.size() < 2;
    if (isGone) gone.insert(group.id);
    return isGone;
  });
  for (PropertyTable& table : meta.properties) {
    std::erase_if(table.associations,
                  [&](const auto& association) { return gone.contains(association.item); });
  }
}

// Readers that do not look who has a property would take one that is left over for the kept image's. The
// others are known by their places, so it must not go.
void freeProperties(Meta& meta, const std::set<std::uint32_t>& places) {
  for (Meta::Child& child : meta.propertyBoxes) {
    if (child.type != "ipco") continue;
    const std::string before = child.whole;
    std::uint32_t place = 0;
    for (const Box& property : boxesIn(boxesIn(before).front().content)) {
      if (!places.contains(++place)) continue;
      const auto start = static_cast<std::size_t>(property.whole.data() - before.data());
      child.whole.replace(start + typeOffset, property.type.size(), "free");
      child.whole.replace(start + property.whole.size() - property.content.size(), property.content.size(),
                          property.content.size(), '\0');
    }
  }
}

}  // namespace

std::set<ItemId> itemsOfOtherImages(const Meta& meta) {
  const Company company = companyOf(meta);
  const std::set<ItemId> kept = withCompany(primaryAndWhatItShows(meta), company);
  const std::set<ItemId> images = imagesAmong(meta);
  std::vector<ItemId> others;
  for (const Item& item : meta.items.items) {
    if (!item.hidden && images.contains(item.id) && !kept.contains(item.id)) others.push_back(item.id);
  }
  std::set<ItemId> result = withCompany(others, company);
  std::erase_if(result, [&](ItemId item) { return kept.contains(item); });
  return result;
}

void removeItems(Meta& meta, const std::set<ItemId>& items) {
  const auto isGone = [&](ItemId item) { return items.contains(item); };
  std::set<std::uint32_t> unused = meta.propertiesInUse();
  std::erase_if(meta.items.items, [&](const Item& item) { return isGone(item.id); });
  std::erase_if(meta.locations.locations, [&](const auto& location) { return isGone(location.item); });
  std::erase_if(meta.references.references, [&](ReferenceTable::Reference& reference) {
    const auto lost = std::erase_if(reference.to, isGone);
    return isGone(reference.from) || (lost > 0 && reference.to.empty());
  });
  for (PropertyTable& table : meta.properties) {
    std::erase_if(table.associations, [&](const auto& association) { return isGone(association.item); });
  }
  removeMembers(meta);
  for (const std::uint32_t place : meta.propertiesInUse()) unused.erase(place);
  freeProperties(meta, unused);
}

std::string withoutSequenceBrands(std::string_view fileType) {
  constexpr std::array<std::string_view, 13> sequence{"msf1", "hevc", "hevx", "hevm", "hevs", "avis", "isom",
                                                      "iso2", "iso4", "iso6", "iso8", "mp41", "mp42"};
  const auto promisesTracks = [&](std::string_view brand) {
    return std::find(sequence.begin(), sequence.end(), brand) != sequence.end();
  };
  FieldReader fields(fileType);
  std::string major(fields.bytes(4));
  const std::string_view minor = fields.bytes(4);
  std::vector<std::string> brands;
  while (!fields.atEnd()) {
    const std::string_view brand = fields.bytes(4);
    if (!promisesTracks(brand)) brands.emplace_back(brand);
  }
  const auto has = [&](std::string_view brand) {
    return std::find(brands.begin(), brands.end(), brand) != brands.end();
  };
  if (!has("mif1")) brands.emplace_back("mif1");
  if (promisesTracks(major)) major = has("heic") ? "heic" : has("avif") ? "avif" : "mif1";
  std::string result = major;
  result += minor;
  for (const std::string& brand : brands) result += brand;
  return result;
}

}  // namespace tollbrook::ImageMetadata::Heif
