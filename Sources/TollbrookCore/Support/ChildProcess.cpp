#include "TollbrookCore/Support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <thread>

#include "TollbrookCore/Support/SignalMask.h"

extern char** environ;

namespace tollbrook {
namespace {

using Files::Descriptor;

/// Held while a descriptor that is not yet close-on-exec exists, and while forking.
std::mutex& forkLock() {
  static std::mutex lock;
  return lock;
}

/// Sets close-on-exec, and moves the descriptor out of the numbers of the standard streams: a program
/// started with those closed would otherwise have its pipes overwritten by the child's streams.
Descriptor guarded(int descriptor) {
  Descriptor original(descriptor);
  if (descriptor > STDERR_FILENO) {
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    return original;
  }
  return Descriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

std::optional<Pipe> makePipeLocked() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) return std::nullopt;
  Pipe result{guarded(ends[0]), guarded(ends[1])};
  if (!result.read || !result.write || !Platform::silencePipe(result.write.get())) return std::nullopt;
  return result;
}

/// The texts as exec takes them, for as long as they live.
std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

std::vector<std::string> changed(const char* const* environment,
                                 const ChildProcess::EnvironmentChanges& changes) {
  std::vector<std::string> result;
  for (; environment != nullptr && *environment != nullptr; ++environment) {
    const std::string_view variable = *environment;
    const auto isChanged = [&](const auto& change) {
      return variable.substr(0, variable.find('=')) == change.first;
    };
    if (std::none_of(changes.begin(), changes.end(), isChanged)) result.emplace_back(variable);
  }
  for (const auto& [name, value] : changes) {
    if (value) result.push_back(name + '=' + *value);
  }
  return result;
}

/// What the child needs between fork and exec, where nothing may be allocated.
struct Launch {
  const char* executable;
  char* const* arguments;
  char* const* environment;
  std::array<int, 3> streams{-1, -1, -1};  ///< to become 0, 1 and 2; -1 keeps the inherited one
  int errorReport;                         ///< takes errno when exec fails; closes when it succeeds
};

void resetSignals() {
  struct sigaction standard = {};
  standard.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) sigaction(number, &standard, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// In the child; async-signal-safe calls only.
[[noreturn]] void becomeProgram(const Launch& launch, const Platform::ChildGuard& guard) {
  bool ready = setpgid(0, 0) == 0 && guard.armInChild();
  for (int stream = 0; ready && stream < 3; ++stream) {
    const int source = launch.streams[static_cast<std::size_t>(stream)];
    ready = source < 0 || dup2(source, stream) >= 0;
  }
  if (ready) {
    resetSignals();
    execve(launch.executable, launch.arguments, launch.environment);
  }
  const int error = errno;
  // A parent that is gone cannot be told.
  [[maybe_unused]] const ssize_t ignored = write(launch.errorReport, &error, sizeof error);
  _exit(127);
}

bool reportsError(const Descriptor& errorReport) {
  int error = 0;
  ssize_t count;
  do {
    count = read(errorReport.get(), &error, sizeof error);
  } while (count < 0 && errno == EINTR);
  return count != 0;
}

/// Keeps SIGPIPE from this thread while it lives, and takes away the one that a write may have raised.
class NoSigpipe {
 public:
  NoSigpipe() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    wasPending_ = isPending();
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  ~NoSigpipe() {
    if (!wasPending_ && isPending()) {
      int taken;
      sigwait(&pipe_, &taken);
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  NoSigpipe(const NoSigpipe&) = delete;
  NoSigpipe& operator=(const NoSigpipe&) = delete;

 private:
  static bool isPending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t pipe_;
  sigset_t before_;
  bool wasPending_;
};

/// Whether `descriptor` can be written to (or has failed) before the deadline. Looks at least once.
bool waitForRoom(int descriptor, ChildProcess::Clock::time_point deadline) {
  using Milliseconds = std::chrono::milliseconds;
  while (true) {
    const auto left = std::chrono::ceil<Milliseconds>(deadline - ChildProcess::Clock::now());
    const auto wait = std::clamp(left, Milliseconds(0), Milliseconds(INT_MAX));
    pollfd entry{descriptor, POLLOUT, 0};
    const int count = poll(&entry, 1, static_cast<int>(wait.count()));
    if (count > 0) return true;
    if (count < 0 && errno != EINTR) return false;
    if (left <= Milliseconds(0)) return false;
  }
}

}  // namespace

std::optional<Pipe> makePipe() {
  const std::lock_guard lock(forkLock());
  return makePipeLocked();
}

std::unique_ptr<ChildProcess> ChildProcess::start(const Command& command) {
  if (!command.executable.is_absolute()) return nullptr;
  std::unique_ptr<ChildProcess> child;
  Descriptor errorReport;
  {
    const AllSignalsBlocked blocked;
    const std::lock_guard forking(forkLock());
    child.reset(new ChildProcess);
    errorReport = child->launch(command);
  }
  if (!errorReport || reportsError(errorReport)) return nullptr;
  return child;
}

Descriptor ChildProcess::launch(const Command& command) {
  std::vector<std::string> words{command.executable.string()};
  words.insert(words.end(), command.arguments.begin(), command.arguments.end());
  std::vector<std::string> variables = changed(environ, command.environment);
  const std::vector<char*> arguments = pointers(words);
  const std::vector<char*> environment = pointers(variables);

  const Descriptor null = guarded(open("/dev/null", O_RDWR | O_CLOEXEC));
  std::optional<Pipe> errorReport = makePipeLocked();
  std::optional<Pipe> input(std::in_place);
  std::optional<Pipe> output(std::in_place);
  if (command.input == Stream::pipe) input = makePipeLocked();
  if (command.output == Stream::pipe) output = makePipeLocked();
  if (!null || !errorReport || !input || !output) return Descriptor();
  if (input->write) fcntl(input->write.get(), F_SETFL, O_NONBLOCK);

  Launch launch{
      words[0].c_str(), arguments.data(), environment.data(), {-1, -1, null.get()}, errorReport->write.get()};
  if (command.input != Stream::inherited) launch.streams[0] = input->read ? input->read.get() : null.get();
  if (command.output != Stream::inherited)
    launch.streams[1] = output->write ? output->write.get() : null.get();
  process_ = fork();
  if (process_ == 0) becomeProgram(launch, guard_);
  if (process_ < 0) return Descriptor();
  input_ = std::move(input->write);
  output_ = std::move(output->read);
  return std::move(errorReport->read);
}

ChildProcess::~ChildProcess() {
  if (process_ < 0) return;
  signal(SIGKILL);
  waitUntil(Clock::time_point::max());
}

std::size_t ChildProcess::writeInput(std::string_view bytes, Clock::time_point deadline) {
  const NoSigpipe quiet;
  std::size_t written = 0;
  while (written < bytes.size() && waitForRoom(input_.get(), deadline)) {
    const ssize_t count = write(input_.get(), bytes.data() + written, bytes.size() - written);
    if (count >= 0) {
      written += static_cast<std::size_t>(count);
    } else if (errno != EINTR && errno != EAGAIN) {
      break;
    }
  }
  return written;
}

bool ChildProcess::isRunning() { return !reap(); }

std::optional<int> ChildProcess::waitUntil(Clock::time_point deadline) {
  // No portable call waits for one child and for a time at once. A child runs for tens of milliseconds at
  // least, so looking every few costs nothing that anybody could notice.
  constexpr std::chrono::microseconds longestPause = std::chrono::milliseconds(8);
  std::chrono::microseconds pause(250);
  while (true) {
    if (const auto status = reap()) return status;
    const auto now = Clock::now();
    if (now >= deadline) return std::nullopt;
    std::this_thread::sleep_for(std::min<Clock::duration>(pause, deadline - now));
    pause = std::min(pause * 2, longestPause);
  }
}

void ChildProcess::end(std::chrono::milliseconds grace) {
  signal(SIGTERM);
  if (waitUntil(Clock::now() + grace)) return;
  signal(SIGKILL);
  waitUntil(Clock::time_point::max());
}

std::optional<int> ChildProcess::reap() {
  const std::lock_guard lock(reaping_);
  if (exitStatus_) return exitStatus_;
  siginfo_t information = {};
  const int found = waitid(P_PID, static_cast<id_t>(process_), &information, WEXITED | WNOHANG | WNOWAIT);
  if (found == 0 && information.si_pid == 0) return std::nullopt;
  if (found != 0 && errno != ECHILD) return std::nullopt;
  // While the child is not reaped its number names its group and nobody else's: the last moment to take
  // along what it may have started.
  if (found == 0) kill(-process_, SIGKILL);
  int status = 0;
  // Where SIGCHLD is ignored the system reaps by itself and the status is lost: no success then.
  if (waitpid(process_, &status, 0) != process_) {
    exitStatus_ = 255;
  } else {
    exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  return exitStatus_;
}

void ChildProcess::signal(int number) {
  const std::lock_guard lock(reaping_);
  if (!exitStatus_) kill(-process_, number);
}

}  // namespace tollbrook
