#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/Models.h"

namespace tollbrook {

/// Writes embedded metadata for the length of one run, by the best route there is: an exiftool session, else
/// one exiftool process per file, else the built-in image writer. One bad file never costs the others: a
/// session whose child died or that timed out is let go, its file gets one try with a process of its own, and
/// another session is opened for the next file; after three sessions in a row without a success every file
/// gets its own process. One thread at a time.
class EmbeddedWriter {
 public:
  struct Settings {
    std::optional<std::filesystem::path> exifTool = ExifTool::path();
    /// For one command to a session. A process of its own gets as long, and the time to copy its file
    /// besides.
    std::chrono::milliseconds answerLimit = ExifTool::answerLimit;
    bool useSession = true;  ///< false: one exiftool process per file
  };

  struct Result {
    bool attempted = false;  ///< false: there was nothing to write, or nobody who could
    bool written = false;    ///< what the run counts
    bool confirmed = false;  ///< the writer itself said that everything is in the file
  };

  /// Starts a session, when there is an exiftool.
  explicit EmbeddedWriter(Settings settings);
  /// Ends the session, as close does.
  ~EmbeddedWriter();
  EmbeddedWriter(const EmbeddedWriter&) = delete;
  EmbeddedWriter& operator=(const EmbeddedWriter&) = delete;

  /// Writes `data` and `caption` into `file`, whose folder's lock the caller holds. Nothing is attempted when
  /// there is nothing to write. Mode, owner and extended attributes of the file survive; its new bytes are
  /// not yet forced to disk.
  Result write(const std::filesystem::path& file, const SidecarData& data,
               const std::optional<std::string>& caption);

  /// Ends the session. A write after it starts another.
  void close();

 private:
  Result writeWithExifTool(const std::filesystem::path& file, const SidecarData& data,
                           const std::optional<std::string>& caption);
  // One command, given to a session or to a process of its own.
  Result run(const std::filesystem::path& file, const std::vector<std::string>& arguments);
  bool haveSession();
  void letGoOfSession();

  Settings settings_;
  std::unique_ptr<ExifTool::Session> session_;
  bool sessionHasSucceeded_ = false;
  int sessionsWithoutSuccess_ = 0;
};

}  // namespace tollbrook
