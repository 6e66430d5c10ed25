#pragma once

#include <chrono>
#include <functional>

namespace tollbrook {

class TollbrookApp;

/// What a run of the program does otherwise when it is measured or tested.
struct RunSettings {
  /// Called before the window shows, if there is something to call.
  std::function<void(TollbrookApp&)> onStart;
  /// What is left of the bounded wait that closing the window began.
  std::chrono::milliseconds lastWait{2000};
};

/// The whole program: the only window of a job store, or its folder handed to that window. Returns the
/// program's exit status; ends the program with it when a file takes longer than anybody waits, or when the
/// arguments only ask for its help or version. Called once, on the main thread.
int runProgram(int argc, char** argv, const RunSettings& settings = {});

}  // namespace tollbrook
