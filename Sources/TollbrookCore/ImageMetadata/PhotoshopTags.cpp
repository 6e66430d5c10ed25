#include "TollbrookCore/ImageMetadata/PhotoshopTags.h"

#include <algorithm>
#include <vector>

#include "TollbrookCore/ImageMetadata/ExifEdits.h"
#include "TollbrookCore/ImageMetadata/IptcParts.h"
#include "TollbrookCore/ImageMetadata/IptcRecord.h"
#include "TollbrookCore/ImageMetadata/TiffReader.h"
#include "TollbrookCore/ImageMetadata/XmpPacket.h"

namespace tollbrook::ImageMetadata {
namespace {

bool haveAny(const TiffDirectory* directory, const std::vector<TiffField>& fields) {
  return directory != nullptr && std::any_of(fields.begin(), fields.end(), [&](const TiffField& field) {
           return directory->find(field.tag) != nullptr;
         });
}

/// Whether the block has any of the tags that are to be set, whatever they say.
bool hasTargetTags(std::string_view block, const TiffEdits& edits) {
  const MemorySource source(block);
  const TiffReader reader(source);
  return haveAny(&reader.first(), edits.first) || haveAny(reader.exif(), edits.exif) ||
         haveAny(reader.gps(), edits.gps);
}

}  // namespace

void requireNothingOld(std::string_view resources, const TargetTags& target) {
  if (!areResources(resources)) return;
  const TiffEdits edits = exifEdits(target);
  for (const PhotoshopResource& resource : PhotoshopResources::parse(resources).list) {
    if (resource.isXmp() && updatedXmp(resource.data, target)) {
      throw Refused("XMP among the Photoshop resources would say something else");
    }
    if (resource.isExif() && !resource.data.empty() && hasTargetTags(resource.data, edits)) {
      throw Refused("EXIF among the Photoshop resources would say something else");
    }
  }
}

}  // namespace tollbrook::ImageMetadata
