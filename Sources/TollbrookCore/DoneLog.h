#pragma once

#include <filesystem>
#include <string_view>
#include <system_error>

#include "TollbrookCore/FinishedSet.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook {

/// The file done.log of a job: one finished path a line, only ever appended to. docs/job-store.md has the
/// format. One thread at a time.
class DoneLog {
 public:
  /// What the log at `file` lists. Changes nothing, so it may be read while another program appends. Nothing
  /// when it cannot be read or is no regular file.
  static FinishedSet read(const std::filesystem::path& file);

  /// Whether `open` can be expected to succeed: there is no log yet, or it is a regular file that may be read
  /// and written. Changes nothing.
  static bool canBeOpened(const std::filesystem::path& file);

  /// Opens the log at `file` for appending: makes it with its header when there is none, cuts off a torn last
  /// line and forces that to disk. Only for whoever holds the job's lock.
  std::error_code open(const std::filesystem::path& file);
  void close();
  explicit operator bool() const { return static_cast<bool>(file_); }

  /// What the open log lists.
  FinishedSet read() const;

  /// Appends `path` as a line and forces it to disk. On an error the log is as long as before; where even
  /// that cannot be had, it takes no further line until it is opened again, so that no line ever follows a
  /// torn one. A path that no line can carry (FinishedSet::isLine) is refused with EILSEQ.
  std::error_code append(std::string_view path);
  /// Forces the log to disk.
  std::error_code force();

 private:
  std::error_code cutTornLine();
  std::error_code appendForced(std::string_view bytes);

  Files::Descriptor file_;
};

}  // namespace tollbrook
