#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "TollbrookCore/ImageMetadata/TargetTags.h"

/// The target tags in the words of XMP.
namespace tollbrook::ImageMetadata {

/// A property and the value it is to have wherever it is there.
struct XmpProperty {
  std::string_view space;
  std::string_view name;
  std::string value;
  bool isLanguageAlternative = false;
};

constexpr std::string_view dcSpace = "http://purl.org/dc/elements/1.1/";
constexpr std::string_view exifSpace = "http://ns.adobe.com/exif/1.0/";
constexpr const char* belowSeaLevel = "1";  ///< GPSAltitudeRef

/// All properties that mean the same as one of these tags.
std::vector<XmpProperty> xmpProperties(const TargetTags& target);

}  // namespace tollbrook::ImageMetadata
