#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Console.h"
#include "ExitStatus.h"
#include "Folder.h"
#include "JsonOutput.h"
#include "Progress.h"
#include "Signals.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/FolderWalker.h"
#include "TollbrookCore/JobJournal.h"
#include "TollbrookCore/Summary.h"
#include "TollbrookCore/WorkRunner.h"

namespace tollbrook::cli {
namespace {

std::string_view embeddedWriter(const RestoreOptions& options) {
  if (!options.writeEmbedded) return "none";
  return ExifTool::path() ? "exiftool" : "built-in";
}

// How many files the run will come across, so that its progress can say how far it is.
std::int64_t countMedia(const std::filesystem::path& folder, bool recursive) {
  class Counter : public FolderWalker::Visitor {
   public:
    bool shouldCancel() override { return Signals::stopRequested(); }
    void visit(FolderWalker::Folder&, const char*) override { ++count; }
    std::int64_t count = 0;
  };
  Counter counter;
  FolderWalker::walk(folder, recursive, counter);
  return counter.count;
}

void report(const std::filesystem::path& folder, const RestoreOutcome& outcome) {
  for (const std::string& line : outcome.errors) Console::complain(Console::shown(line));
  const auto unlisted = outcome.failed - static_cast<std::int64_t>(outcome.errors.size());
  if (unlisted > 0) {
    Console::complain(fmt::format("and {} more {} failed", unlisted, unlisted == 1 ? "file" : "files"));
  }
  if (outcome.cancelled) Console::complain("stopped; to continue: tollbrook-cli resume");
  if (outcome.alreadyDone > 0) {
    Console::complain(fmt::format(
        "{} passed over because the job lists {} as finished; to start anew: "
        "tollbrook-cli forget {}",
        outcome.alreadyDone == 1 ? "1 file was" : fmt::format("{} files were", outcome.alreadyDone),
        outcome.alreadyDone == 1 ? "it" : "them", Console::shown(folder)));
  }
}

int run(const std::filesystem::path& folder, bool recursive, const RestoreOptions& options,
        JobJournal& journal, const RunOutput& output) {
  WorkProgress last;
  RestoreOutcome outcome;
  {
    const std::int64_t total = output.quiet ? 0 : countMedia(folder, recursive);
    Progress progress(output.quiet);
    outcome = WorkRunner::run(
        folder, recursive, options, journal, total, [] { return Signals::stopRequested(); },
        [&](const WorkProgress& now) {
          last = now;
          progress.written(now);
        });
  }
  report(folder, outcome);
  if (output.json) {
    Console::printDocument(JsonOutput::document(folder, last.seen, embeddedWriter(options), outcome));
  } else {
    Console::print(summarize(outcome));
  }
  return outcome.failed > 0 ? someFailed : done;
}

}  // namespace

int write(const WriteArguments& arguments) {
  const std::filesystem::path folder = readableFolder(arguments.folder);
  const auto journal = JobJournal::open(folder, arguments.recursive, arguments.options);
  return run(folder, arguments.recursive, arguments.options, *journal, arguments.output);
}

int resume(const RunOutput& output) {
  auto journal = JobJournal::claimUnfinished();
  if (!journal) {
    if (output.json) {
      Console::printDocument(JsonOutput::document(std::nullopt, 0, "none", {}));
    } else {
      Console::print("No unfinished job.");
    }
    return done;
  }
  const JobJournal::Record record = journal->record();
  const std::filesystem::path folder = readableFolder(journal->root());
  if (!output.json) Console::print("Continuing in " + Console::shown(folder));
  return run(folder, record.recursive, record.options, *journal, output);
}

}  // namespace tollbrook::cli
