#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <system_error>

#include "TollbrookCore/EmbeddedWriter.h"
#include "TollbrookCore/MetadataResult.h"
#include "TollbrookCore/Models.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook {

/// Puts sidecars' metadata onto files, one file at a time, for a single file as for a whole run. For each
/// file the order is: embedded metadata written; the file and its folder forced to disk; the file dates set;
/// the file forced to disk again. Dates that reached the disk before the data would make a later run take the
/// file for finished; for the same reason a file whose data cannot be forced to disk keeps its old dates.
/// While a file is written its folder is locked, so that nobody takes away the writer's temporary files. One
/// thread at a time.
class FileRestorer {
 public:
  FileRestorer(const RestoreOptions& options, EmbeddedWriter::Settings settings);

  /// A file to be written, by its path and relative to its open folder.
  struct Target {
    std::filesystem::path path;
    int folder = -1;
    std::string name;
  };

  struct Outcome {
    MetadataWriter::Result result = MetadataWriter::Skipped{};
    /// Whether everything written is on stable storage.
    bool durable = true;
    /// Whether the sidecar holds nothing that is not in the file now.
    bool sidecarIsSpent = false;
  };

  /// Whether the options say to leave the file alone because its dates match already.
  bool isToBeSkipped(const Target& target, const SidecarData& data) const;

  /// Waits until nobody else writes in the folder; none when `shouldCancel` says so first.
  static std::optional<Files::Lock> lockFolder(int folder, const std::function<bool()>& shouldCancel);

  /// Writes what the options allow of `data`, which has something; the caller holds the folder's lock and has
  /// looked at isToBeSkipped.
  Outcome write(const Target& target, const SidecarData& data);

  /// The failure of a file whose dates could not be set.
  static MetadataWriter::Failed datesNotSet(const std::error_code& error);

  /// Ends the writer's children.
  void close();

 private:
  // What became of the embedded write.
  struct EmbeddedStep {
    bool written = false;
    bool confirmed = false;
    bool durable = true;
    bool mayBeDated = true;  ///< false when dates would make a later run take the file for finished
  };
  EmbeddedStep embed(const Target& target, const SidecarData& data);

  RestoreOptions options_;
  std::optional<EmbeddedWriter> writer_;  ///< only when embedded metadata is wanted
};

}  // namespace tollbrook
