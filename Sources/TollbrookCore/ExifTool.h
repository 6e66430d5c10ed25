#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "TollbrookCore/Models.h"
#include "TollbrookCore/Support/ChildProcess.h"

/// The bridge to the external exiftool program, which writes embedded metadata into files of every kind. Two
/// ways to run it: one child process for one file, or a Session, one long-lived child that takes a command
/// per file. Nothing is reported but success; of what exiftool says only its count of files is read.
namespace tollbrook::ExifTool {

/// Where exiftool is looked for, in this order. A constant of the program, not of the engine: each executable
/// links its own definition (the library ExifToolPlaces holds the product's).
extern const std::span<const char* const> places;

/// How long a session waits for the answer to one command.
inline constexpr std::chrono::milliseconds answerLimit = std::chrono::seconds(180);

/// The first of `candidates` that is a file and can be executed, or none.
std::optional<std::filesystem::path> firstExecutable(std::span<const char* const> candidates);

/// The exiftool executable: the first of `places` that can be executed, or none. Found once per process, on
/// first use, and never again. Any thread.
const std::optional<std::filesystem::path>& path();

/// The arguments that write `data` (what of it is writable) and `caption`, in exiftool's order of reading,
/// without the file name. Line breaks in the caption become spaces, NUL is dropped, so that every argument is
/// one line.
std::vector<std::string> arguments(const SidecarData& data, const std::optional<std::string>& caption);

/// The arguments that put a southern or western position right after that, in a file that keeps it in XMP:
/// XMP has no tags for the references, so that there exiftool takes the absolute values for north and east.
/// Files that do not are left as they are. Empty for all other positions.
std::vector<std::string> signArguments(const SidecarData& data);

/// What exiftool finds otherwise in its environment than we do, so that it works alike for everybody: no
/// configuration file of the user's, which could have it keep old values or assign to other tags and still
/// report success; none of the variables with which Perl itself reads and writes differently (where it looks
/// for its modules is left alone); and UTC for the time zone, because the dates in the tracks of a film have
/// no place for one and would be taken for local time.
ChildProcess::EnvironmentChanges environmentChanges();

/// Whether a path can be named in a command to a session: commands are lines, so one with a line feed or a
/// carriage return cannot. (No path holds a NUL byte; one that does is not named either.)
bool canNameInCommand(const std::filesystem::path& file);

/// How a file is named to exiftool: by its absolute path, which begins with a slash and so is never taken for
/// an option, a comment or an option's beginning. None when it has none.
std::optional<std::string> fileArgument(const std::filesystem::path& file);

/// Runs `executable` once for one file and waits for it, at most `limit`; then it is ended. True when it ran
/// and exited with status 0. Any thread.
bool writeOnce(const std::filesystem::path& file, const SidecarData& data,
               const std::optional<std::string>& caption,
               const std::optional<std::filesystem::path>& executable = path(),
               std::chrono::milliseconds limit = answerLimit);

/// The same with the given arguments.
bool runOnce(const std::filesystem::path& file, std::vector<std::string> arguments,
             const std::optional<std::filesystem::path>& executable = path(),
             std::chrono::milliseconds limit = answerLimit);

/// One exiftool child in -stay_open mode. Running from start until close; there is no restart. write and
/// close may be called from any thread and exclude each other.
class Session {
 public:
  /// Starts the child; none when there is no executable, it cannot be launched or it ends at once.
  static std::unique_ptr<Session> start(const std::optional<std::filesystem::path>& executable = path(),
                                        std::chrono::milliseconds limit = answerLimit);

  /// Ends the child as close does, without sending it the stop command.
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Sends one command and waits for its completion marker, at most the session's limit for both. True when
  /// the marker arrived in time, whatever exiftool did with the file; false at once when the child dies.
  /// Commands are not numbered: the marker of a command that timed out answers the next one, so let go of a
  /// session that returned false. After a command that the child took only in part every write returns false:
  /// the next one would be read as its end. A file that cannot be named in a command is refused and nothing
  /// is sent.
  bool write(const std::filesystem::path& file, const SidecarData& data,
             const std::optional<std::string>& caption);

  /// The same with the given arguments.
  bool run(const std::filesystem::path& file, const std::vector<std::string>& arguments);

  /// Whether exiftool said of the last command's file that it was updated, or needed no change. False after a
  /// command that returned false, and when the marker that answered it was that of an earlier one.
  bool lastWriteConfirmed() const;

  /// Whether the child still runs.
  bool isRunning() const;

  /// Ends the session: stop command, then SIGTERM, then after two seconds SIGKILL; the child is reaped.
  /// Waits for a write under way. Afterwards write returns false and close does nothing.
  void close();

 private:
  class Child;
  explicit Session(std::unique_ptr<Child> child);
  std::unique_ptr<Child> child_;
};

}  // namespace tollbrook::ExifTool
