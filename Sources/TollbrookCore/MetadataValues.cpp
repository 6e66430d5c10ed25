#include "TollbrookCore/MetadataValues.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>

namespace tollbrook::MetadataWriter {
namespace {

constexpr double plainFrom = 1e-4;
constexpr double plainBelow = 1e16;

bool isWithin(double value, double limit) { return std::isfinite(value) && std::abs(value) <= limit; }

template <typename... Format>
std::string shortest(double value, Format... format) {
  char text[32];
  const auto end = std::to_chars(std::begin(text), std::end(text), value, format...).ptr;
  return {text, end};
}

}  // namespace

std::string exifStamp(TimePoint date) {
  const CivilTime civil = civilTime(date).value_or(CivilTime{});
  return fmt::format("{:04}:{:02}:{:02} {:02}:{:02}:{:02}", civil.year, civil.month, civil.day, civil.hour,
                     civil.minute, civil.second);
}

std::string numberText(double value) {
  if (!std::isfinite(value)) return shortest(value);
  const double magnitude = std::abs(value);
  if (magnitude != 0 && (magnitude < plainFrom || magnitude >= plainBelow)) {
    return shortest(value, std::chars_format::scientific);
  }
  std::string text = shortest(value, std::chars_format::fixed);
  if (text.find('.') == std::string::npos) text += ".0";
  return text;
}

SidecarData writable(const SidecarData& data) {
  SidecarData result = data;
  if (result.takenTime && !civilTime(*result.takenTime)) result.takenTime.reset();
  if (!result.hasGPS() || !isWithin(*result.latitude, 90) || !isWithin(*result.longitude, 180)) {
    result.latitude.reset();
    result.longitude.reset();
    result.altitude.reset();
  }
  if (result.altitude && !isWithin(*result.altitude, std::numeric_limits<std::uint32_t>::max())) {
    result.altitude.reset();
  }
  return result;
}

}  // namespace tollbrook::MetadataWriter
