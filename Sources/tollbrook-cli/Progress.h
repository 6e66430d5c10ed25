#pragma once

#include <chrono>
#include <string>

#include "TollbrookCore/Models.h"

namespace tollbrook::cli {

/// Progress on standard error: a line that is drawn again and again on a terminal, one line every few seconds
/// elsewhere. One thread at a time.
class Progress {
 public:
  /// `quiet` shows nothing. What is left is worked out from now on.
  explicit Progress(bool quiet);
  /// Takes the line off the terminal.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void scanned(std::int64_t mediaCount);
  void written(const WorkProgress& progress);

 private:
  using Clock = std::chrono::steady_clock;

  bool isDue();
  void show(const std::string& line);

  bool quiet_;
  bool drawn_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point next_ = start_;
};

}  // namespace tollbrook::cli
