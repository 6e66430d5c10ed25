#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Console.h"
#include "ExitStatus.h"
#include "Folder.h"
#include "JsonOutput.h"
#include "Progress.h"
#include "Signals.h"
#include "TollbrookCore/FolderScanner.h"
#include "TollbrookCore/MetadataValues.h"
#include "TollbrookCore/Summary.h"

namespace tollbrook::cli {
namespace {

std::string statusColumn(const MediaPair& pair) {
  constexpr std::size_t width = 12;
  const bool ready = pair.status == PairStatus::ready;
  const char* label = ready ? "ready" : (pair.sidecar ? "unreadable" : "no sidecar");
  const auto colour = ready ? Console::Colour::green : Console::Colour::yellow;
  const std::string padding(width - std::string_view(label).size(), ' ');
  return Console::coloured(label, colour) + padding;
}

void printPair(const std::filesystem::path& folder, const MediaPair& pair) {
  constexpr std::string_view noDate = "-                  ";
  const std::string taken = pair.data && pair.data->takenTime
                                ? MetadataWriter::exifStamp(*pair.data->takenTime)
                                : std::string(noDate);
  std::string line = fmt::format("{}{}  {}", statusColumn(pair), taken,
                                 Console::shown(pair.media.lexically_relative(folder)));
  if (pair.sidecar) {
    line += Console::coloured("  <- " + Console::shown(pair.sidecar->filename()), Console::Colour::faint);
  }
  Console::print(line);
}

}  // namespace

int scan(const ScanArguments& arguments) {
  const std::filesystem::path folder = readableFolder(arguments.folder);
  ScanReport report;
  {
    Progress progress(false);
    report = FolderScanner::scan(
        folder, arguments.recursive, arguments.limit, [] { return Signals::stopRequested(); },
        [&](std::int64_t mediaCount) { progress.scanned(mediaCount); });
  }
  if (arguments.json) {
    Console::printDocument(JsonOutput::document(folder, arguments.recursive, report));
  } else {
    for (const MediaPair& pair : report.pairs) printPair(folder, pair);
    // Nobody asked for a list, so that it is empty needs no words.
    if (arguments.limit == 0) report.listCapped = false;
    Console::print(summarize(report));
    if (report.orphanJSONCount > 0) {
      Console::print(fmt::format("{} leftover JSON files not paired to media.", report.orphanJSONCount));
    }
  }
  return done;
}

}  // namespace tollbrook::cli
