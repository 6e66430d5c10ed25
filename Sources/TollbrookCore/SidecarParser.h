#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string_view>

#include "TollbrookCore/Models.h"
#include "TollbrookCore/Support/Json.h"

/// Reads one sidecar into a SidecarData. A missing key or a value of the wrong type leaves its field absent;
/// only a file that cannot be read or holds no JSON object gives no result.
namespace tollbrook::SidecarParser {

/// Larger files are no sidecars and are not read.
inline constexpr std::size_t largestSidecarBytes = 256u << 20;

/// The data of the sidecar at `file` (or at the end of a link); none when it is no regular file of at most
/// largestSidecarBytes, cannot be read, or holds no JSON object. Never blocks on a FIFO or a device. Any
/// thread.
std::optional<SidecarData> parseFile(const std::filesystem::path& file);

/// The same for bytes in memory. Any thread.
std::optional<SidecarData> parseData(std::string_view bytes);

/// The data of a decoded JSON object.
SidecarData parseObject(const Json::Value& object);

/// The time in an object's "timestamp"; none when the value is absent, no object, or has no such time.
std::optional<TimePoint> timestamp(const std::optional<Json::Value>& value);

/// Seconds since 1970 given as a number or as text; none for everything else.
std::optional<TimePoint> epoch(const std::optional<Json::Value>& value);

/// A number given as a number or as text that is a number as a whole (C locale, strtod of ISO C 7.22.1.3);
/// none for everything else.
std::optional<double> number(const std::optional<Json::Value>& value);

/// Reads many sidecars with one set of buffers. One thread at a time.
class Reader {
 public:
  /// As parseFile, with `name` relative to the open folder `directory`.
  std::optional<SidecarData> read(int directory, const char* name);

  /// Whether the last read gave nothing for a reason that lies outside the sidecar: the disk failed or went
  /// away, or this process had no descriptor or memory left.
  bool hasFailed() const { return hasFailed_; }

 private:
  Json::Reader json_;
  bool hasFailed_ = false;
};

}  // namespace tollbrook::SidecarParser
