#include "Support/HeifItems.h"

namespace tollbrook::test {

using namespace ImageMetadata;

Heif::Meta metaOf(const std::string& file) { return Heif::File::read(MemorySource(file)).meta; }

std::vector<Heif::ItemId> itemsOf(const std::string& file) {
  std::vector<Heif::ItemId> ids;
  for (const Heif::Item& item : metaOf(file).items.items) ids.push_back(item.id);
  return ids;
}

std::string dataOf(const std::string& file, Heif::ItemId item) {
  const Heif::Meta meta = metaOf(file);
  const auto* const location = meta.locations.find(item);
  if (location == nullptr) return "no data";
  return Heif::itemBytes(MemorySource(file), meta, *location, file.size());
}

}  // namespace tollbrook::test
