#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"

namespace tollbrook {

/// Both ends of a pipe, close-on-exec.
struct Pipe {
  Files::Descriptor read;
  Files::Descriptor write;
};

/// A new pipe that no child started by ChildProcess inherits; none when there are no descriptors left. Any
/// thread.
std::optional<Pipe> makePipe();

/// A running program: started without a shell, in a process group of its own (so that Ctrl-C in a terminal
/// does not reach it), with no signal blocked or ignored, with its three streams and none of our descriptors
/// that are close-on-exec, and bound to die when we die. Standard error goes to the null device. It is always
/// reaped. Any thread; only `start` cares which one.
class ChildProcess {
 public:
  using Clock = std::chrono::steady_clock;

  enum class Stream { inherited, nullDevice, pipe };

  /// Names with the values that the child gets in place of ours; none takes the variable from it.
  using EnvironmentChanges = std::vector<std::pair<std::string, std::optional<std::string>>>;

  struct Command {
    std::filesystem::path executable;    ///< absolute; no search path is consulted
    std::vector<std::string> arguments;  ///< without the program's own name
    Stream input = Stream::nullDevice;
    Stream output = Stream::nullDevice;
    EnvironmentChanges environment = {};
  };

  /// Starts the program; none when it cannot be launched. The system may tie the child to the thread that
  /// calls this: it must live as long as the child.
  static std::unique_ptr<ChildProcess> start(const Command& command);

  /// Ends the child at once and reaps it.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Our ends of the streams that are pipes. Closing the input is the child's end of file.
  Files::Descriptor& input() { return input_; }
  const Files::Descriptor& output() const { return output_; }

  /// Writes to the child's input, waiting for room until `deadline` at most. Returns how many bytes the pipe
  /// took: fewer than all when the time was up or the child no longer reads. Never raises SIGPIPE.
  std::size_t writeInput(std::string_view bytes, Clock::time_point deadline);

  bool isRunning();

  /// Waits for the child to end. Its exit status, or 128 + the number of the signal that ended it; none when
  /// it still runs at `deadline`.
  std::optional<int> waitUntil(Clock::time_point deadline);

  /// Ends the child: SIGTERM, and SIGKILL when it still runs after `grace`. Reaped on return.
  void end(std::chrono::milliseconds grace = std::chrono::seconds(2));

 private:
  ChildProcess() = default;
  /// Forks. The descriptor that tells of a failed exec; none when forking failed.
  Files::Descriptor launch(const Command& command);
  std::optional<int> reap();
  void signal(int number);

  Platform::ChildGuard guard_;
  int process_ = -1;  ///< also the number of its group
  Files::Descriptor input_;
  Files::Descriptor output_;
  std::mutex reaping_;  ///< a signal must not meet a process id that reaping has just set free
  std::optional<int> exitStatus_;
};

}  // namespace tollbrook
