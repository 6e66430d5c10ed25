#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Console.h"
#include "ExitStatus.h"
#include "Folder.h"
#include "JsonOutput.h"
#include "TollbrookCore/JobJournal.h"

namespace tollbrook::cli {
namespace {

std::string minute(TimePoint time) {
  const CivilTime civil = civilTime(time).value_or(CivilTime{});
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02} UTC", civil.year, civil.month, civil.day, civil.hour,
                     civil.minute);
}

void printJob(const JobJournal::Listing& job) {
  const JobJournal::Record& record = job.record;
  const bool complete = record.phase == JobJournal::Phase::complete;
  Console::print(fmt::format("{}  {}{}",
                             Console::coloured(complete ? "complete  " : "unfinished",
                                               complete ? Console::Colour::green : Console::Colour::yellow),
                             Console::shown(record.folderPath),
                             job.folderFound ? "" : "  (folder not found)"));
  Console::print(
      fmt::format("            {} finished, {} written, {} skipped, {} already finished, {} failed; started "
                  "{}, updated {}",
                  job.doneCount, record.written, record.skipped, record.alreadyDone, record.failed,
                  minute(record.startedAt), minute(record.updatedAt)));
}

}  // namespace

int listJobs(bool json) {
  const auto jobs = JobJournal::allJobs();
  if (json) {
    Console::printDocument(JsonOutput::document(jobs));
  } else if (jobs.empty()) {
    Console::print("No jobs.");
  } else {
    for (const JobJournal::Listing& job : jobs) printJob(job);
  }
  return done;
}

int forget(const std::filesystem::path& folder) {
  const std::filesystem::path path = namedFolder(folder);
  switch (JobJournal::forget(path)) {
    case JobJournal::ForgetOutcome::busy:
      throw JobJournal::Busy();
    case JobJournal::ForgetOutcome::nothingToForget:
      Console::print("Nothing to forget about " + Console::shown(path));
      break;
    case JobJournal::ForgetOutcome::forgotten:
      Console::print("Forgot the job of " + Console::shown(path));
      break;
  }
  return done;
}

}  // namespace tollbrook::cli
