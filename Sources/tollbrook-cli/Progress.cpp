#include "Progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "Console.h"

namespace tollbrook::cli {
namespace {

constexpr std::chrono::milliseconds betweenDrawings(100);
constexpr std::chrono::seconds betweenLines(5);
constexpr std::size_t barColumns = 20;

std::string duration(double seconds) {
  const auto whole = static_cast<std::int64_t>(std::max(0.0, seconds));
  if (whole >= 3600) return fmt::format("{}h{:02}m", whole / 3600, whole / 60 % 60);
  if (whole >= 60) return fmt::format("{}m{:02}s", whole / 60, whole % 60);
  return fmt::format("{}s", whole);
}

std::string bar(double fraction) {
  const auto filled =
      static_cast<std::size_t>(std::clamp(fraction, 0.0, 1.0) * static_cast<double>(barColumns));
  return '[' + std::string(filled, '#') + std::string(barColumns - filled, '.') + ']';
}

}  // namespace

Progress::Progress(bool quiet) : quiet_(quiet) {
  if (!Console::errorIsTerminal()) next_ += betweenLines;
}

Progress::~Progress() {
  if (drawn_) Console::tell("\r\x1b[K");
}

bool Progress::isDue() {
  if (quiet_) return false;
  const Clock::time_point time = Clock::now();
  if (time < next_) return false;
  next_ =
      time + (Console::errorIsTerminal() ? Clock::duration(betweenDrawings) : Clock::duration(betweenLines));
  return true;
}

void Progress::show(const std::string& line) {
  if (!Console::errorIsTerminal()) {
    Console::tell(line + "\n");
    return;
  }
  // The last column stays free: a character there makes some terminals begin a new line.
  Console::tell(fmt::format("\r\x1b[K{}", Console::cut(line, Console::errorWidth() - 1)));
  drawn_ = true;
}

void Progress::scanned(std::int64_t mediaCount) {
  if (isDue()) show(fmt::format("Scanning… {} media files", mediaCount));
}

void Progress::written(const WorkProgress& progress) {
  if (!isDue()) return;
  const double elapsed = std::chrono::duration<double>(Clock::now() - start_).count();
  const double rate = elapsed > 0 ? static_cast<double>(progress.seen) / elapsed : 0;
  std::string line;
  if (progress.total > 0) {
    const auto left = static_cast<double>(std::max<std::int64_t>(0, progress.total - progress.seen));
    const double fraction = static_cast<double>(progress.seen) / static_cast<double>(progress.total);
    line = fmt::format("{} {}/{}  {:.1f} files/s", bar(fraction), progress.seen, progress.total, rate);
    if (rate > 0) line += fmt::format("  {} left", duration(left / rate));
  } else {
    line = fmt::format("{} files  {:.1f} files/s", progress.seen, rate);
  }
  if (progress.currentName) line += "  " + Console::shown(*progress.currentName);
  show(line);
}

}  // namespace tollbrook::cli
