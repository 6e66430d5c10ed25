#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "Support/TemporaryFolder.h"

namespace tollbrook::test {

/// A program that stands in for exiftool, in a folder of its own. What it understands is said in
/// Tests/StandIn/ExifToolStandIn.cpp.
class StandIn {
 public:
  /// It logs what it reads; `script` adds to that.
  explicit StandIn(std::string_view script = {});

  std::filesystem::path path() const { return folder_ / "exiftool"; }
  /// For the next start.
  void setScript(std::string_view script);
  /// Every byte it has read so far, "[session]" or "[once]" and the arguments for each start.
  std::string log() const;
  std::filesystem::path operator/(std::string_view name) const { return folder_ / name; }

 private:
  TemporaryFolder folder_;
};

/// Waits until `condition` is true; false when it is not within the limit, which a machine that does much
/// else keeps, too.
bool eventually(const std::function<bool()>& condition,
                std::chrono::seconds limit = std::chrono::seconds(120));

/// Whether some process holds the lock on `file`.
bool isHeld(const std::filesystem::path& file);

/// Whether this process has no child, running or waiting to be reaped.
bool hasNoChild();

/// How many descriptors this process has open.
int openDescriptors();

}  // namespace tollbrook::test
