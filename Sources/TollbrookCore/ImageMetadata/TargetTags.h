#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TollbrookCore/Models.h"

namespace tollbrook::ImageMetadata {

/// In no sound file or packet does a value stand in more places. Each takes the new one, and so a caption
/// could be made to fill the memory.
constexpr std::size_t mostPlaces = 16;

/// What is to stand in the image afterwards.
struct TargetTags {
  struct Position {
    double latitude;                 ///< degrees, positive north
    double longitude;                ///< degrees, positive east
    std::optional<double> altitude;  ///< metres above sea level
  };

  std::optional<TimePoint> takenTime;
  std::optional<Position> position;
  std::string caption;  ///< UTF-8 without NUL; empty: none is to be written

  bool isEmpty() const { return !takenTime && !position && caption.empty(); }
};

/// The values of `data` that can be written, and `caption`.
TargetTags targetTags(const SidecarData& data, const std::optional<std::string>& caption);

/// An unsigned EXIF rational.
struct Rational {
  std::uint32_t numerator;
  std::uint32_t denominator;
};

/// Degrees, minutes and seconds of an angle, without its sign, as GPSLatitude and GPSLongitude hold it; the
/// seconds in millionths (Exif 2.32, 4.6.6).
std::vector<Rational> degreesMinutesSeconds(double degrees);
/// An altitude without its sign, as finely as 32 bits let it be, at most in ten-thousandths of a metre.
Rational altitudeRational(double metres);

}  // namespace tollbrook::ImageMetadata
