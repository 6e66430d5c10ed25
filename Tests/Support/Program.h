#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tollbrook::test {

/// A program that a test runs: in a process of its own, its output collected in nameless files, so that it
/// never waits for a reader. Whatever becomes of the test, the program does not outlive this object.
class Program {
 public:
  struct Call {
    std::string program;                 ///< looked for in PATH when it holds no slash
    std::vector<std::string> arguments;  ///< without the program's own name
    /// Changes to the test's own environment; none takes a variable out.
    std::vector<std::pair<std::string, std::optional<std::string>>> environment;
    std::filesystem::path folder;   ///< to run in; empty for that of the test
    int input = -1;                 ///< standard input; -1 is the null device
    int output = -1;                ///< standard output, instead of collecting it
    int errors = -1;                ///< the same for standard error
    std::function<bool()> prepare;  ///< called in the new process; async-signal-safe calls only
  };

  struct Result {
    int status = -1;  ///< of its exit; 128 + the signal's number when it died of a signal; -1: it went on
    int signal = 0;   ///< that it died of
    std::string output;
    std::string errors;
  };

  static constexpr std::chrono::seconds patience{300};

  /// Starts it. Status 127 when it cannot be found or run.
  explicit Program(const Call& call);
  /// Kills it if it still runs.
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// Runs it from start to end.
  static Result run(const Call& call) { return Program(call).wait(); }

  pid_t process() const { return process_; }
  bool isRunning();
  void send(int signal);
  /// What it has printed so far.
  std::string output() const;
  std::string errors() const;
  /// Waits for its end. One that outlasts `limit` is killed; its status is -1 then.
  Result wait(std::chrono::milliseconds limit = patience);

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  using File = std::unique_ptr<std::FILE, Close>;

  [[noreturn]] static void become(const Call& call, char* const* arguments, char** environment,
                                  const int (&streams)[3]);

  File output_;
  File errors_;
  pid_t process_ = -1;
  std::optional<int> ending_;  ///< as waitpid tells it
};

/// Calls `work` in a process of its own, which ends with what it returns. The status is as in a Result.
int statusOfChild(const std::function<int()>& work);

}  // namespace tollbrook::test
