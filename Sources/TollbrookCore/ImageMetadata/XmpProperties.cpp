#include "TollbrookCore/ImageMetadata/XmpProperties.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>

#include "TollbrookCore/Support/Text.h"

namespace tollbrook::ImageMetadata {
namespace {

constexpr std::string_view tiff = "http://ns.adobe.com/tiff/1.0/";
constexpr std::string_view xmp = "http://ns.adobe.com/xap/1.0/";
constexpr std::string_view photoshop = "http://ns.adobe.com/photoshop/1.0/";

/// ISO 8601, as XMP has it (ISO 16684-1, 8.2.1.2).
std::string dateText(TimePoint time) {
  const CivilTime civil = civilTime(time).value_or(CivilTime{});
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}+00:00", civil.year, civil.month, civil.day,
                     civil.hour, civil.minute, civil.second);
}

/// "DDD,MM.mmmmmmk" (ISO 16684-2, GPSCoordinate).
std::string coordinateText(double degrees, char positive, char negative) {
  constexpr std::uint64_t unitsPerMinute = 100000000, unitsPerDegree = 60 * unitsPerMinute;
  const auto total =
      static_cast<std::uint64_t>(std::llround(std::abs(degrees) * static_cast<double>(unitsPerDegree)));
  const std::uint64_t rest = total % unitsPerDegree;
  return fmt::format("{},{}.{:08}{}", total / unitsPerDegree, rest / unitsPerMinute, rest % unitsPerMinute,
                     degrees >= 0 ? positive : negative);
}

/// XML has no place for most control characters, not even escaped (XML 1.0, 2.2).
std::string xmlText(std::string_view text) {
  std::string result = Text::replacingInvalidUtf8(text);
  std::erase_if(result, [](char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 && code != '\n' && code != '\r' && code != '\t';
  });
  return result;
}

}  // namespace

std::vector<XmpProperty> xmpProperties(const TargetTags& target) {
  std::vector<XmpProperty> list;
  if (target.takenTime) {
    const std::string date = dateText(*target.takenTime);
    for (const auto& [space, name] : {std::pair{exifSpace, "DateTimeOriginal"},
                                      {exifSpace, "DateTimeDigitized"},
                                      {xmp, "CreateDate"},
                                      {tiff, "DateTime"},
                                      {xmp, "ModifyDate"},
                                      {photoshop, "DateCreated"}}) {
      list.push_back({space, name, date});
    }
  }
  if (target.position) {
    list.push_back({exifSpace, "GPSLatitude", coordinateText(target.position->latitude, 'N', 'S')});
    list.push_back({exifSpace, "GPSLongitude", coordinateText(target.position->longitude, 'E', 'W')});
    if (const auto altitude = target.position->altitude) {
      const Rational value = altitudeRational(*altitude);
      list.push_back({exifSpace, "GPSAltitude", fmt::format("{}/{}", value.numerator, value.denominator)});
      list.push_back({exifSpace, "GPSAltitudeRef", *altitude < 0 ? belowSeaLevel : "0"});
    }
  }
  if (!target.caption.empty()) {
    list.push_back({dcSpace, "description", xmlText(target.caption), true});
    list.push_back({tiff, "ImageDescription", xmlText(target.caption), true});
  }
  return list;
}

}  // namespace tollbrook::ImageMetadata
