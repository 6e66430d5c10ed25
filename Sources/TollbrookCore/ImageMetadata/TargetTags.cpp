#include "TollbrookCore/ImageMetadata/TargetTags.h"

#include <cmath>
#include <limits>

#include "TollbrookCore/MetadataValues.h"

namespace tollbrook::ImageMetadata {

TargetTags targetTags(const SidecarData& data, const std::optional<std::string>& caption) {
  const SidecarData values = MetadataWriter::writable(data);
  TargetTags target;
  target.takenTime = values.takenTime;
  if (values.hasGPS()) {
    target.position = {
        .latitude = *values.latitude, .longitude = *values.longitude, .altitude = values.altitude};
  }
  if (caption) target.caption = *caption;
  std::erase(target.caption, '\0');
  return target;
}

std::vector<Rational> degreesMinutesSeconds(double degrees) {
  constexpr std::uint32_t millionths = 1000000;
  constexpr std::uint64_t perMinute = std::uint64_t{60} * millionths;
  constexpr std::uint64_t perDegree = 60 * perMinute;
  const auto total =
      static_cast<std::uint64_t>(std::llround(std::abs(degrees) * static_cast<double>(perDegree)));
  return {{static_cast<std::uint32_t>(total / perDegree), 1},
          {static_cast<std::uint32_t>(total % perDegree / perMinute), 1},
          {static_cast<std::uint32_t>(total % perMinute), millionths}};
}

Rational altitudeRational(double metres) {
  const double magnitude = std::abs(metres);
  std::uint32_t denominator = 10000;
  while (denominator > 1 && magnitude * denominator > std::numeric_limits<std::uint32_t>::max() - 1.0) {
    denominator /= 10;
  }
  return {static_cast<std::uint32_t>(std::llround(magnitude * denominator)), denominator};
}

}  // namespace tollbrook::ImageMetadata
