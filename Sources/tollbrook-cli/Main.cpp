#include "Main.h"

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <clocale>
#include <cmath>
#include <functional>
#include <sstream>

#include "Commands.h"
#include "Console.h"
#include "ExitStatus.h"
#include "Signals.h"
#include "TollbrookCore/FolderScanner.h"
#include "TollbrookCore/JobJournal.h"
#include "TollbrookCore/Support/DoubleFromText.h"

namespace tollbrook::cli {
namespace {

// The command that the command line named, with its arguments.
using Command = std::function<int()>;

const CLI::Validator seconds(
    [](const std::string& text) {
      const std::optional<double> value = doubleFromText(text);
      return value && std::isfinite(*value) && *value >= 0 ? std::string()
                                                           : '"' + text + "\" is no number of seconds";
    },
    "");

const CLI::Validator count(
    [](const std::string& text) {
      std::int64_t value = 0;
      const char* const end = text.data() + text.size();
      const auto [rest, error] = std::from_chars(text.data(), end, value);
      return error == std::errc() && rest == end && value >= 0 ? std::string()
                                                               : '"' + text + "\" is no number of pairs";
    },
    "");

// An option without a value, which sets `target` to `value`.
void addSwitch(CLI::App* subcommand, const std::string& name, bool& target, bool value,
               const std::string& description) {
  subcommand
      ->add_flag_callback(
          name, [&target, value] { target = value; }, description)
      ->disable_flag_override()
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

void addFolder(CLI::App* subcommand, std::filesystem::path& folder, const std::string& description) {
  subcommand->add_option("FOLDER", folder, description)->required()->type_name("");
}

void addScan(CLI::App& app, ScanArguments& arguments, Command& command) {
  arguments.limit = FolderScanner::previewLimit;
  CLI::App* scanning = app.add_subcommand("scan", "Pair photos and videos with their sidecars and report");
  addFolder(scanning, arguments.folder, "The folder to scan");
  addSwitch(scanning, "--no-recursive", arguments.recursive, false, "Leave subfolders out");
  scanning->add_option("--limit", arguments.limit, "List at most so many pairs; 0 counts only")
      ->check(count)
      ->type_name("N")
      ->capture_default_str();
  addSwitch(scanning, "--json", arguments.json, true, "Print one JSON document");
  scanning->callback([&] { command = [&arguments] { return scan(arguments); }; });
}

void addOutput(CLI::App* subcommand, RunOutput& output) {
  addSwitch(subcommand, "--json", output.json, true, "Print one JSON document");
  addSwitch(subcommand, "--quiet", output.quiet, true, "Show no progress");
}

void addWrite(CLI::App& app, WriteArguments& arguments, Command& command) {
  RestoreOptions& options = arguments.options;
  CLI::App* writing = app.add_subcommand("write", "Write the sidecars' data back into photos and videos");
  addFolder(writing, arguments.folder, "The folder to write");
  addSwitch(writing, "--no-recursive", arguments.recursive, false, "Leave subfolders out");
  addSwitch(writing, "--no-file-dates", options.writeFileDates, false, "Leave the files' own dates alone");
  addSwitch(writing, "--no-embedded", options.writeEmbedded, false, "Write nothing into the files");
  addSwitch(writing, "--no-captions", options.writeCaptions, false, "Write no captions");
  addSwitch(writing, "--rewrite-matching", options.skipIfDatesMatch, false,
            "Write files whose dates already match, too");
  addSwitch(writing, "--delete-sidecars", options.deleteSidecars, true,
            "Delete each sidecar after a successful write");
  writing
      ->add_option("--date-tolerance", options.dateTolerance, "Seconds within which dates count as matching")
      ->check(seconds)
      ->type_name("SECONDS")
      ->capture_default_str();
  addOutput(writing, arguments.output);
  writing->callback([&] { command = [&arguments] { return write(arguments); }; });
}

// One line that says what is wrong with the command line.
std::string complaint(const CLI::App& app, const CLI::ParseError& error) {
  if (!app.get_subcommands().empty()) return error.what();
  constexpr const char* hint = "; tollbrook-cli --help lists the commands";
  const std::vector<std::string> unknown = app.remaining();
  return (unknown.empty() ? "a command is missing" : unknown.front() + " is no command") + hint;
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

// A program started with a standard stream closed would open its own files under that stream's number, and
// print into them.
void occupyStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // It takes the lowest free number, and children inherit a standard stream.
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDWR);  // NOLINT(android-cloexec-open)
  }
}

}  // namespace

int runProgram(int argumentCount, char** arguments) {
  occupyStandardStreams();
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
  addSwitch(listing, "--json", jobsAsJson, true, "Print one JSON document");
  listing->callback([&] { command = [&] { return listJobs(jobsAsJson); }; });
  CLI::App* forgetting =
      app.add_subcommand("forget", "Forget what was finished in a folder, to start it anew");
  addFolder(forgetting, forgotten, "The folder, which may be gone");
  forgetting->callback([&] { command = [&] { return forget(forgotten); }; });
  try {
    app.parse(argumentCount, arguments);
  } catch (const CLI::Success& asked) {
    // Printed as everything else is, so that an error of standard output is seen.
    std::ostringstream text;
    app.exit(asked, text, text);
    const std::string shown = text.str();
    Console::print(std::string_view(shown).substr(0, shown.find_last_not_of('\n') + 1));
    return Console::flush() ? done : cannotStart;
  } catch (const CLI::ParseError& error) {
    Console::complain(Console::shown(complaint(app, error)));
    return cannotStart;
  }
  return execute(command);
}

}  // namespace tollbrook::cli
