#pragma once

#include <string>
#include <utility>

#include "TollbrookCore/ImageMetadata/ByteSource.h"
#include "TollbrookCore/ImageMetadata/TargetTags.h"

namespace tollbrook::test {

/// When the pictures of the image writer's tests were taken, and how EXIF writes that.
inline constexpr TimePoint takenTime = fromEpoch(1561982400);
inline const std::string stamp = "2019:07:01 12:00:00";

/// That time alone.
inline ImageMetadata::TargetTags dates() { return {.takenTime = takenTime}; }

/// That time and a caption.
inline ImageMetadata::TargetTags captioned(std::string caption) {
  return {.takenTime = takenTime, .caption = std::move(caption)};
}

/// That time, a position and a caption.
inline ImageMetadata::TargetTags everything(std::string caption, double altitude = 35) {
  return {.takenTime = takenTime,
          .position =
              ImageMetadata::TargetTags::Position{
                  .latitude = 48.8584, .longitude = -2.2945, .altitude = altitude},
          .caption = std::move(caption)};
}

/// Why `write` refuses; empty when it does not.
template <typename Write>
std::string refusalOf(const Write& write) {
  try {
    write();
  } catch (const ImageMetadata::Refused& refusal) {
    return refusal.what();
  }
  return "";
}

}  // namespace tollbrook::test
