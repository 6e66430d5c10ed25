#include "TollbrookCore/ImageMetadata/Heif.h"

#include "TollbrookCore/ImageMetadata/HeifFile.h"
#include "TollbrookCore/ImageMetadata/HeifLayout.h"
#include "TollbrookCore/ImageMetadata/HeifMetadata.h"
#include "TollbrookCore/ImageMetadata/HeifPrimary.h"
#include "TollbrookCore/ImageMetadata/HeifVerification.h"

namespace tollbrook::ImageMetadata::Heif {

bool recognizes(std::string_view start) { return start.size() >= 8 && start.substr(4, 4) == "ftyp"; }

OutputPlan plan(const ByteSource& file, const TargetTags& target) {
  const File old = File::read(file);
  requireNoOldXmp(file, old.boxes, target);
  Meta meta = old.meta;
  const std::set<ItemId> removed = itemsOfOtherImages(meta);
  const bool hasOthers = !removed.empty() || old.hasMovie();
  // A new item must not get the number of one that goes.
  const std::vector<Payload> payloads = updateMetadata(file, meta, removed, target);
  if (hasOthers) removeItems(meta, removed);
  OutputPlan result = hasOthers ? layOutAnew(file, old, std::move(meta), payloads)
                                : layOutInPlace(file, old, std::move(meta), payloads);
  requireOnlyMetadataChanged(old, result, payloads, removed);
  return result;
}

}  // namespace tollbrook::ImageMetadata::Heif
