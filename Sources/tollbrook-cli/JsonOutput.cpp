#include "JsonOutput.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "TollbrookCore/Support/Base64.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook::cli::JsonOutput {
namespace {

using Json = nlohmann::ordered_json;

Json text(std::string_view value) { return Text::replacingInvalidUtf8(value); }

Json textOrNull(const std::optional<std::string>& value) { return value ? text(*value) : Json(nullptr); }

Json path(const std::optional<std::filesystem::path>& value) {
  return value ? text(value->native()) : Json(nullptr);
}

// A number that JSON has no form for is text.
Json number(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  return value;
}

Json number(const std::optional<double>& value) { return value ? number(*value) : Json(nullptr); }

Json sidecarData(const SidecarData& data) {
  return {{"title", textOrNull(data.title)},
          {"takenTime", data.takenTime ? number(secondsSinceEpoch(*data.takenTime)) : Json(nullptr)},
          {"latitude", number(data.latitude)},
          {"longitude", number(data.longitude)},
          {"altitude", number(data.altitude)},
          {"caption", textOrNull(data.caption)}};
}

Json mediaPair(const MediaPair& pair) {
  Json result = {
      {"media", path(pair.media)},           {"sidecar", path(pair.sidecar)},
      {"kind", rawValue(pair.kind)},         {"status", rawValue(pair.status)},
      {"message", textOrNull(pair.message)}, {"data", pair.data ? sidecarData(*pair.data) : Json(nullptr)}};
  if (!Text::isValidUtf8(pair.media.native())) result["mediaBytes"] = Base64::encode(pair.media.native());
  return result;
}

}  // namespace

Json document(const std::filesystem::path& folder, bool recursive, const ScanReport& report) {
  Json pairs = Json::array();
  for (const MediaPair& pair : report.pairs) pairs.push_back(mediaPair(pair));
  return {{"folder", path(folder)},
          {"recursive", recursive},
          {"mediaCount", report.mediaCount},
          {"matchedCount", report.matchedCount},
          {"unmatchedCount", report.unmatchedCount},
          {"orphanJSONCount", report.orphanJSONCount},
          {"parseErrorCount", report.parseErrorCount},
          {"listCapped", report.listCapped},
          {"pairs", std::move(pairs)}};
}

Json document(const std::optional<std::filesystem::path>& folder, std::int64_t seen,
              std::string_view embeddedWriter, const RestoreOutcome& outcome) {
  Json errors = Json::array();
  for (const std::string& line : outcome.errors) errors.push_back(text(line));
  return {{"folder", path(folder)},
          {"seen", seen},
          {"embeddedWriter", embeddedWriter},
          {"attempted", outcome.attempted},
          {"datesSet", outcome.datesSet},
          {"embeddedWritten", outcome.embeddedWritten},
          {"skipped", outcome.skipped},
          {"deletedSidecars", outcome.deletedSidecars},
          {"alreadyDone", outcome.alreadyDone},
          {"failed", outcome.failed},
          {"cancelled", outcome.cancelled},
          {"errors", std::move(errors)}};
}

Json document(const std::vector<JobJournal::Listing>& jobs) {
  Json list = Json::array();
  for (const JobJournal::Listing& job : jobs) {
    // The record's own form has the keys and the dates that this document uses.
    const Json record = Json::parse(JobJournal::encode(job.record));
    Json entry = {{"id", job.id}};
    for (const char* key : {"folderPath", "phase", "recursive", "options", "startedAt", "updatedAt",
                            "written", "skipped", "failed", "alreadyDone"}) {
      entry[key] = record.at(key);
    }
    entry["doneCount"] = job.doneCount;
    entry["folderFound"] = job.folderFound;
    list.push_back(std::move(entry));
  }
  return {{"jobs", std::move(list)}};
}

}  // namespace tollbrook::cli::JsonOutput
