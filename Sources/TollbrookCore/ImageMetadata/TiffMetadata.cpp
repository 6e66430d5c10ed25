#include "TollbrookCore/ImageMetadata/TiffMetadata.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "TollbrookCore/ImageMetadata/IptcRecord.h"
#include "TollbrookCore/ImageMetadata/PhotoshopTags.h"
#include "TollbrookCore/ImageMetadata/XmpPacket.h"
#include "TollbrookCore/MetadataValues.h"

namespace tollbrook::ImageMetadata {
namespace {

constexpr std::size_t longSize = 4;

void setWhereThere(const TiffDirectory* directory, const TiffField& field, std::vector<TiffField>& fields) {
  if (directory != nullptr && directory->find(field.tag) != nullptr) fields.push_back(field);
}

/// The zones of the dates, which are in UTC now.
void addZones(const TiffDirectory* directory, std::vector<TiffField>& fields) {
  if (directory == nullptr) return;
  setWhereThere(directory, TiffField::text(TiffTag::offsetTime, "+00:00"), fields);
  // TIFF/EP counts whole hours, for one date or two.
  const TiffEntry* const hours = directory->find(TiffTag::timeZoneOffset);
  if (hours == nullptr || sizeOf(hours->type) != 2 || hours->count > 2) return;
  const std::string none(hours->count * 2, '\0');
  fields.push_back(TiffField::ofBytes(TiffTag::timeZoneOffset, hours->type, none));
}

// TIFF/EP (ISO 12234-2) keeps the dates of Exif in the first directory, and readers take all of these tags
// from either of the two.
void addDates(const TiffReader& reader, TimePoint takenTime, TiffEdits& edits) {
  const std::string stamp = MetadataWriter::exifStamp(takenTime);
  for (const auto tag : {TiffTag::dateTimeOriginal, TiffTag::dateTimeDigitized}) {
    setWhereThere(&reader.first(), TiffField::text(tag, stamp), edits.first);
  }
  for (const auto tag : {TiffTag::offsetTimeOriginal, TiffTag::offsetTimeDigitized}) {
    setWhereThere(&reader.first(), TiffField::text(tag, "+00:00"), edits.first);
  }
  setWhereThere(reader.exif(), TiffField::text(TiffTag::dateTime, stamp), edits.exif);
  addZones(&reader.first(), edits.first);
  addZones(reader.exif(), edits.exif);
}

/// The entry with a whole block of metadata. Of several a reader takes either, and each may hold what the
/// others do not.
const TiffEntry* onlyEntry(const TiffDirectory& directory, std::uint16_t tag) {
  if (directory.count(tag) > 1) throw Refused("a block of metadata is doubled");
  return directory.find(tag);
}

/// Many programs store IPTC as LONG numbers, and some of them swap its bytes with the file's.
std::string iptcDatasets(const TiffReader& reader, const TiffEntry& entry, std::uint64_t most) {
  constexpr char marker = 0x1C;
  std::string bytes = reader.value(entry, most);
  const bool isSwapped = bytes.size() >= longSize && bytes.size() % longSize == 0 && bytes[0] != marker &&
                         bytes[longSize - 1] == marker;
  if (!isSwapped) return bytes;
  for (std::size_t at = 0; at < bytes.size(); at += longSize) {
    std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                 bytes.begin() + static_cast<std::ptrdiff_t>(at + longSize));
  }
  return bytes;
}

TiffField iptcField(TiffType oldType, std::string datasets) {
  const bool isOfBytes = sizeOf(oldType) == 1;
  if (!isOfBytes) datasets.resize((datasets.size() + longSize - 1) / longSize * longSize, '\0');
  return TiffField::ofBytes(TiffTag::iptc, isOfBytes ? oldType : TiffType::longInteger, std::move(datasets));
}

/// The caption in every place for IPTC that there is, or in a new one.
void addCaption(const TiffReader& reader, const std::string& caption, MissingIptc missing, TiffEdits& edits) {
  const TiffEntry* const photoshop = onlyEntry(reader.first(), TiffTag::photoshop);
  const TiffEntry* const iptc = onlyEntry(reader.first(), TiffTag::iptc);
  std::string resources = photoshop != nullptr ? reader.value(*photoshop, mostMetadata) : std::string();
  const bool haveIptc = haveIptcResource(resources);
  if (haveIptc) resources = withCaptionInResources(resources, caption);
  if (iptc != nullptr || (!haveIptc && missing == MissingIptc::isMade)) {
    const std::string old = iptc != nullptr ? iptcDatasets(reader, *iptc, mostMetadata) : std::string();
    const TiffType type = iptc != nullptr ? iptc->type : TiffType::longInteger;
    edits.first.push_back(iptcField(type, withIptcCaption(old, caption)));
    if (!haveIptc) resources = withDigestOf(edits.first.back().bytes, resources);
  }
  if (photoshop != nullptr) {
    edits.first.push_back(TiffField::ofBytes(TiffTag::photoshop, photoshop->type, std::move(resources)));
  }
}

std::string packetIn(const TiffReader& reader, const TiffEntry& entry, std::uint64_t most) {
  // Some readers take it for XMP none the less.
  if (sizeOf(entry.type) != 1) throw Refused("the XMP is not stored as bytes");
  return reader.value(entry, most);
}

void addXmp(const TiffReader& reader, const TargetTags& target, TiffEdits& edits) {
  const TiffEntry* const entry = onlyEntry(reader.first(), TiffTag::xmp);
  if (entry == nullptr) return;
  if (auto packet = updatedXmp(packetIn(reader, *entry, mostMetadata), target)) {
    edits.first.push_back(TiffField::ofBytes(TiffTag::xmp, entry->type, std::move(*packet)));
  }
}

/// The directories in which nothing is set, read as readers do that look there for what belongs in the first.
class OtherDirectories {
 public:
  OtherDirectories(const TiffReader& reader, const TargetTags& target) : reader_(reader), target_(target) {}

  void requireNothingElse() {
    if (reader_.exif() != nullptr) require(*reader_.exif());
    for (const TiffDirectory& directory : reader_.others()) require(directory);
  }

 private:
  void require(const TiffDirectory& directory) {
    for (const TiffEntry& entry : directory.entries) {
      if (saysSomethingElse(entry)) throw Refused("another directory would say something else");
    }
  }

  bool saysSomethingElse(const TiffEntry& entry) {
    switch (entry.tag) {
      case TiffTag::exifIfd:
        return target_.takenTime.has_value();
      case TiffTag::gpsIfd:
        return target_.position.has_value();
      case TiffTag::xmp:
        return updatedXmp(packetIn(reader_, entry, taken(entry)), target_).has_value();
      case TiffTag::iptc:
        return !target_.caption.empty() && haveIptcCaption(iptcDatasets(reader_, entry, taken(entry)));
      case TiffTag::photoshop:
        return !target_.caption.empty() && haveCaptionInResources(reader_.value(entry, taken(entry)));
      default:
        return false;
    }
  }

  /// Many entries could lead to the same megabytes. Returns how much this one may take.
  std::uint64_t taken(const TiffEntry& entry) {
    const std::uint64_t most = left_;
    if (entry.value) left_ -= std::min(left_, entry.value->length);
    return most;
  }

  const TiffReader& reader_;
  const TargetTags& target_;
  std::uint64_t left_ = mostMetadata;
};

}  // namespace

OutputPlan patchMetadata(const TiffReader& block, const TargetTags& target, TiffEdits edits,
                         MissingIptc missing) {
  if (target.takenTime) addDates(block, *target.takenTime, edits);
  if (!target.caption.empty()) {
    setWhereThere(block.exif(), TiffField::text(TiffTag::imageDescription, target.caption), edits.exif);
    addCaption(block, target.caption, missing, edits);
  }
  addXmp(block, target, edits);
  if (const TiffEntry* const photoshop = block.first().find(TiffTag::photoshop)) {
    requireNothingOld(block.value(*photoshop, mostMetadata), target);
  }
  OutputPlan plan = patchTiff(block.block(), edits);
  OtherDirectories(TiffReader(plan), target).requireNothingElse();
  return plan;
}

}  // namespace tollbrook::ImageMetadata
