#include "TollbrookCore/Summary.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

namespace tollbrook {

std::string summarize(const ScanReport& report) {
  if (report.mediaCount == 0) return "No photos or videos in this folder.";
  std::string text =
      fmt::format("{} of {} files have sidecar metadata.", report.matchedCount, report.mediaCount);
  if (report.listCapped) {
    text += fmt::format(" Showing a sample of {} — every nested folder is still included when writing.",
                        report.pairs.size());
  }
  return text;
}

std::string summarize(const RestoreOutcome& outcome) {
  if (outcome.cancelled) return "Stopped. Finished files are kept; reopen the app to continue the rest.";
  const std::pair<std::int64_t, std::string_view> counts[] = {{outcome.datesSet, "dated"},
                                                              {outcome.embeddedWritten, "tagged"},
                                                              {outcome.skipped, "already correct"},
                                                              {outcome.alreadyDone, "already finished"},
                                                              {outcome.deletedSidecars, "JSON removed"},
                                                              {outcome.failed, "failed"}};
  std::string text;
  for (const auto& [count, label] : counts) {
    if (count < 1) continue;
    if (!text.empty()) text += " · ";
    text += fmt::format("{} {}", count, label);
  }
  return text.empty() ? "Nothing changed." : text;
}

}  // namespace tollbrook
