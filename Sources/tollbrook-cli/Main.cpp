#include "Main.h"

#include <CLI/CLI.hpp>
#include <clocale>
#include <cmath>
#include <functional>

#include "Commands.h"
#include "Console.h"
#include "ExitStatus.h"
#include "Signals.h"
#include "TollbrookCore/FolderScanner.h"
#include "TollbrookCore/JobJournal.h"

namespace tollbrook::cli {
namespace {

// The command that the command line named, with its arguments.
using Command = std::function<int()>;

const CLI::Validator seconds(
    [](std::string& text) {
      double value = 0;
      return CLI::detail::lexical_cast(text, value) && std::isfinite(value) && value >= 0
                 ? std::string()
                 : text + " is no number of seconds";
    },
    "SECONDS");

void addScan(CLI::App& app, ScanArguments& arguments, Command& command) {
  arguments.limit = FolderScanner::previewLimit;
  CLI::App* scanning = app.add_subcommand("scan", "Pair photos and videos with their sidecars and report");
  scanning->add_option("FOLDER", arguments.folder, "The folder to scan")->required();
  scanning->add_flag("!--no-recursive", arguments.recursive, "Leave subfolders out");
  scanning->add_option("--limit", arguments.limit, "List at most so many pairs; 0 counts only")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  scanning->add_flag("--json", arguments.json, "Print one JSON document");
  scanning->callback([&] { command = [&arguments] { return scan(arguments); }; });
}

void addOutput(CLI::App* subcommand, RunOutput& output) {
  subcommand->add_flag("--json", output.json, "Print one JSON document");
  subcommand->add_flag("--quiet", output.quiet, "Show no progress");
}

void addWrite(CLI::App& app, WriteArguments& arguments, Command& command) {
  RestoreOptions& options = arguments.options;
  CLI::App* writing = app.add_subcommand("write", "Write the sidecars' data back into photos and videos");
  writing->add_option("FOLDER", arguments.folder, "The folder to write")->required();
  writing->add_flag("!--no-recursive", arguments.recursive, "Leave subfolders out");
  writing->add_flag("!--no-file-dates", options.writeFileDates, "Leave the files' own dates alone");
  writing->add_flag("!--no-embedded", options.writeEmbedded, "Write nothing into the files");
  writing->add_flag("!--no-captions", options.writeCaptions, "Write no captions");
  writing->add_flag("!--rewrite-matching", options.skipIfDatesMatch,
                    "Write files whose dates already match, too");
  writing->add_flag("--delete-sidecars", options.deleteSidecars,
                    "Delete each sidecar after a successful write");
  writing
      ->add_option("--date-tolerance", options.dateTolerance, "Seconds within which dates count as matching")
      ->check(seconds)
      ->capture_default_str();
  addOutput(writing, arguments.output);
  writing->callback([&] { command = [&arguments] { return write(arguments); }; });
}

int execute(const Command& command) {
  try {
    Signals::listen();
    const int status = command();
    if (!Console::flush()) return cannotStart;
    return Signals::exitStatus(status);
  } catch (const std::filesystem::filesystem_error& error) {
    Console::flush();
    Console::complain(Console::shown(error.path1()) + ": " + error.code().message());
    return cannotStart;
  } catch (const std::exception& error) {
    Console::flush();
    Console::complain(Console::shown(error.what()));
    return cannotStart;
  }
}

}  // namespace

int main(int count, char** arguments) {
  // For the widths of characters; the numbers of results keep their decimal point.
  std::setlocale(LC_CTYPE, "");
  CLI::App app("Puts the dates, positions and captions of an exported photo library back into its files.",
               "tollbrook-cli");
  app.set_version_flag("--version", "tollbrook-cli " TOLLBROOK_VERSION);
  app.require_subcommand(1);
  Command command;
  ScanArguments scanArguments;
  WriteArguments writeArguments;
  RunOutput resumeOutput;
  bool jobsAsJson = false;
  std::filesystem::path forgotten;
  addScan(app, scanArguments, command);
  addWrite(app, writeArguments, command);
  CLI::App* resuming = app.add_subcommand("resume", "Continue the newest unfinished job");
  addOutput(resuming, resumeOutput);
  resuming->callback([&] { command = [&] { return resume(resumeOutput); }; });
  CLI::App* listing = app.add_subcommand("jobs", "List every job, newest first");
  listing->add_flag("--json", jobsAsJson, "Print one JSON document");
  listing->callback([&] { command = [&] { return listJobs(jobsAsJson); }; });
  CLI::App* forgetting =
      app.add_subcommand("forget", "Forget what was finished in a folder, to start it anew");
  forgetting->add_option("FOLDER", forgotten, "The folder, which may be gone")->required();
  forgetting->callback([&] { command = [&] { return forget(forgotten); }; });
  try {
    app.parse(count, arguments);
  } catch (const CLI::Success& asked) {
    app.exit(asked);
    return Console::flush() ? done : cannotStart;
  } catch (const CLI::ParseError& error) {
    Console::complain(Console::shown(error.what()));
    return cannotStart;
  }
  return execute(command);
}

}  // namespace tollbrook::cli
