#include "TollbrookCore/MetadataWriter.h"

#include <algorithm>
#include <map>

#include "TollbrookCore/FileRestorer.h"
#include "TollbrookCore/Support/Platform.h"

namespace tollbrook::MetadataWriter {
namespace {

template <typename... Cases>
struct Match : Cases... {
  using Cases::operator()...;
};
template <typename... Cases>
Match(Cases...) -> Match<Cases...>;

// One process per file: a single write does not repay the start of a session, nor does a list in memory.
EmbeddedWriter::Settings oneShot() {
  EmbeddedWriter::Settings settings;
  settings.useSession = false;
  return settings;
}

// What restoring one file comes to, and whether its sidecar may go.
FileRestorer::Outcome restoreOne(FileRestorer& restorer, const RestoreOptions& options,
                                 const std::filesystem::path& media, const SidecarData& data) {
  if (!data.hasAnything()) return {.result = Failed{"Sidecar has no usable metadata"}};
  const std::filesystem::path file = Files::standardized(media);
  const Files::Descriptor folder = Files::openFolder(file.parent_path());
  if (!folder) {
    const bool datesWanted = options.writeFileDates && writable(data).takenTime;
    return {.result =
                datesWanted ? FileRestorer::datesNotSet(Files::lastError()) : Failed{"Nothing was written"}};
  }
  const FileRestorer::Target target{.path = file, .folder = folder.get(), .name = file.filename().native()};
  if (restorer.isToBeSkipped(target, data)) return {.result = Skipped{}};
  const auto lock = FileRestorer::lockFolder(folder.get(), {});
  return restorer.write(target, data);
}

// How many pairs of the list still need each sidecar.
std::map<std::filesystem::path, std::int64_t> countUses(const std::vector<MediaPair>& pairs) {
  std::map<std::filesystem::path, std::int64_t> uses;
  for (const MediaPair& pair : pairs) {
    if (pair.isReady() && pair.sidecar) ++uses[*pair.sidecar];
  }
  return uses;
}

}  // namespace

PairStatus status(const Result& result) {
  return std::visit(
      Match{[](const Applied&) { return PairStatus::fixed; }, [](const Failed&) { return PairStatus::error; },
            [](const Skipped&) { return PairStatus::skipped; }},
      result);
}

std::string message(const Result& result) {
  return std::visit(Match{[](const Applied& applied) -> std::string {
                            if (!applied.embedded) return "File dates written";
                            return applied.dates ? "File dates and embedded metadata written"
                                                 : "Embedded metadata written";
                          },
                          [](const Failed& failed) { return failed.message; },
                          [](const Skipped&) -> std::string { return "Dates already match"; }},
                    result);
}

Result restore(const std::filesystem::path& media, const SidecarData& data, const RestoreOptions& options) {
  FileRestorer restorer(options, oneShot());
  return restoreOne(restorer, options, media, data).result;
}

bool datesMatch(const std::filesystem::path& file, TimePoint date, double tolerance) {
  return Platform::fileDates(file).areNear(date, tolerance);
}

std::pair<std::vector<MediaPair>, RestoreOutcome> restoreTree(
    const std::vector<MediaPair>& pairs, const RestoreOptions& options,
    const std::function<void(std::int64_t, std::int64_t)>& progress) {
  const auto ready =
      std::count_if(pairs.begin(), pairs.end(), [](const MediaPair& pair) { return pair.isReady(); });
  const std::int64_t total = std::max<std::int64_t>(1, ready);
  std::vector<MediaPair> result = pairs;
  RestoreOutcome outcome;
  auto uses = countUses(pairs);
  FileRestorer restorer(options, oneShot());
  for (MediaPair& pair : result) {
    if (!pair.isReady()) continue;
    ++outcome.attempted;
    if (progress) progress(outcome.attempted, total);
    const FileRestorer::Outcome restored = restoreOne(restorer, options, pair.media, *pair.data);
    pair.status = status(restored.result);
    pair.message = message(restored.result);
    if (std::holds_alternative<Failed>(restored.result)) {
      outcome.errors.push_back(pair.media.filename().native() + ": " + *pair.message);
      continue;
    }
    // An edited copy or a duplicate shares the sidecar: it goes with the last of them, once all have got all
    // of it.
    const bool lastUse = pair.sidecar && restored.sidecarIsSpent && --uses[*pair.sidecar] == 0;
    if (std::holds_alternative<Skipped>(restored.result)) {
      ++outcome.skipped;
      continue;
    }
    const auto& applied = std::get<Applied>(restored.result);
    if (applied.dates) ++outcome.datesSet;
    if (applied.embedded) ++outcome.embeddedWritten;
    std::error_code notDeleted;
    if (options.deleteSidecars && lastUse && std::filesystem::remove(*pair.sidecar, notDeleted)) {
      ++outcome.deletedSidecars;
    }
  }
  return {std::move(result), std::move(outcome)};
}

}  // namespace tollbrook::MetadataWriter
