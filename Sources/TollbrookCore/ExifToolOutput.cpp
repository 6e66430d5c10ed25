#include "TollbrookCore/ExifToolOutput.h"

namespace tollbrook::ExifTool {
namespace {

constexpr std::string_view marker = "{ready}";

/// Longer than any line that means something.
constexpr std::size_t longestLine = 256;

bool isConfirmation(std::string_view line) {
  if (line.size() > longestLine) return false;
  const auto start = line.find_first_not_of(' ');
  if (start == std::string_view::npos) return false;
  line.remove_prefix(start);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line == "1 image files updated" || line == "1 image files unchanged";
}

}  // namespace

std::int64_t Output::take(std::string_view bytes) {
  pending_ += bytes;
  const std::string_view text = pending_;
  std::size_t done = 0;
  std::int64_t markers = 0;
  for (auto found = text.find(marker); found != text.npos; found = text.find(marker, done)) {
    takeLines(text.substr(done, found - done));
    lastMarkerConfirmed_ = confirmed_;
    confirmed_ = false;
    ++markers;
    done = found + marker.size();
  }
  const auto lineEnd = text.rfind('\n');
  if (lineEnd != text.npos && lineEnd >= done) {
    takeLines(text.substr(done, lineEnd - done));
    done = lineEnd + 1;
  }
  const bool endless = text.size() - done > longestLine;
  if (endless) done = text.size() - longestLine;
  pending_.erase(0, done);
  // The end of an endless line is kept, where a marker may have begun; spoilt, so that it confirms nothing.
  if (endless) pending_.front() = '?';
  return markers;
}

void Output::takeLines(std::string_view text) {
  while (!text.empty()) {
    const auto end = text.find('\n');
    confirmed_ = confirmed_ || isConfirmation(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

}  // namespace tollbrook::ExifTool
