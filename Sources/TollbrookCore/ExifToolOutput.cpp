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
  std::string_view rest = pending_;
  std::int64_t markers = 0;
  for (auto found = rest.find(marker); found != std::string_view::npos; found = rest.find(marker)) {
    takeLines(rest.substr(0, found));
    lastMarkerConfirmed_ = confirmed_;
    confirmed_ = false;
    ++markers;
    rest.remove_prefix(found + marker.size());
  }
  const auto lineEnd = rest.rfind('\n');
  if (lineEnd != std::string_view::npos) {
    takeLines(rest.substr(0, lineEnd));
    rest.remove_prefix(lineEnd + 1);
  }
  const bool endless = rest.size() > longestLine;
  // The end may be the beginning of a marker; the line is spoilt, so that its rest confirms nothing.
  if (endless) rest.remove_prefix(rest.size() - longestLine);
  pending_ = std::string(rest);
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
