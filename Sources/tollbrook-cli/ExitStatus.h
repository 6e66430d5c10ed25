#pragma once

namespace tollbrook::cli {

/// The exit status of tollbrook-cli. A run that a signal stopped exits with 128 plus the signal's number.
enum ExitStatus : int {
  done = 0,         ///< also when there was nothing to do
  someFailed = 1,   ///< the run finished and some files failed
  cannotStart = 2,  ///< bad usage, or the work could not be begun
  stoppedBySignal = 128
};

}  // namespace tollbrook::cli
