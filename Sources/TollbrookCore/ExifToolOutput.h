#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tollbrook::ExifTool {

/// Finds the answers in what exiftool prints in -stay_open mode: the marker "{ready}" that ends each command,
/// and before it the count that says the command's one file was updated or needed no change. Everything else
/// is dropped; no more than one line's beginning is kept, however much is printed. Not for two threads at
/// once.
class Output {
 public:
  /// Takes the next bytes, cut anywhere. Returns how many markers they completed.
  std::int64_t take(std::string_view bytes);

  /// Whether exiftool confirmed its file between the last marker and the one before it.
  bool lastMarkerConfirmed() const { return lastMarkerConfirmed_; }

 private:
  void takeLines(std::string_view text);

  std::string pending_;  ///< the line under way
  bool confirmed_ = false;
  bool lastMarkerConfirmed_ = false;
};

}  // namespace tollbrook::ExifTool
