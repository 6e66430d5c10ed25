#include "TollbrookCore/ImageMetadata/ExifEdits.h"

#include "TollbrookCore/MetadataValues.h"

namespace tollbrook::ImageMetadata {
namespace {

void addDates(TiffEdits& edits, TimePoint takenTime) {
  const std::string stamp = MetadataWriter::exifStamp(takenTime);
  edits.first.push_back(TiffField::text(TiffTag::dateTime, stamp));
  edits.exif.push_back(TiffField::text(TiffTag::dateTimeOriginal, stamp));
  edits.exif.push_back(TiffField::text(TiffTag::dateTimeDigitized, stamp));
  edits.exif.push_back(TiffField::text(TiffTag::offsetTimeOriginal, "+00:00"));
  edits.exif.push_back(TiffField::text(TiffTag::offsetTimeDigitized, "+00:00"));
}

void addPosition(TiffEdits& edits, const TargetTags::Position& position) {
  auto& gps = edits.gps;
  gps.push_back(TiffField::text(TiffTag::gpsLatitudeRef, position.latitude >= 0 ? "N" : "S"));
  gps.push_back(TiffField::ofRationals(TiffTag::gpsLatitude, degreesMinutesSeconds(position.latitude)));
  gps.push_back(TiffField::text(TiffTag::gpsLongitudeRef, position.longitude >= 0 ? "E" : "W"));
  gps.push_back(TiffField::ofRationals(TiffTag::gpsLongitude, degreesMinutesSeconds(position.longitude)));
  if (!position.altitude) return;
  const std::string below(1, *position.altitude < 0 ? '\1' : '\0');
  gps.push_back(TiffField::ofBytes(TiffTag::gpsAltitudeRef, TiffType::byte, below));
  gps.push_back(TiffField::ofRationals(TiffTag::gpsAltitude, {altitudeRational(*position.altitude)}));
}

}  // namespace

TiffEdits exifEdits(const TargetTags& target) {
  TiffEdits edits;
  if (target.takenTime) addDates(edits, *target.takenTime);
  if (target.position) addPosition(edits, *target.position);
  if (!target.caption.empty())
    edits.first.push_back(TiffField::text(TiffTag::imageDescription, target.caption));
  edits.newExif = {TiffField::ofBytes(TiffTag::exifVersion, TiffType::undefined, "0232")};
  edits.newGps = {TiffField::ofBytes(TiffTag::gpsVersionId, TiffType::byte, std::string("\2\3\0\0", 4))};
  return edits;
}

}  // namespace tollbrook::ImageMetadata
