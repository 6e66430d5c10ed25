#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <future>
#include <mutex>
#include <semaphore>
#include <system_error>
#include <thread>

#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/ExifToolOutput.h"
#include "TollbrookCore/Support/ChildProcess.h"
#include "TollbrookCore/Support/SignalMask.h"

namespace tollbrook::ExifTool {
namespace {

using Clock = ChildProcess::Clock;

/// What the reader tells the writer. The semaphore is the only way in which the two wait for each other.
class Answers {
 public:
  /// Takes the child's output. In the reader.
  void take(std::string_view bytes) {
    std::int64_t found;
    {
      const std::lock_guard lock(lock_);
      found = output_.take(bytes);
      markers_ += found;
    }
    // A child that prints markers without end must not overrun the counter.
    for (; found > 0 && signalled_ < mostSignals; --found, ++signalled_) ready_.release();
  }

  /// There will be no more output. In the reader.
  void end() {
    ended_ = true;
    ready_.release();
  }

  bool hasEnded() const { return ended_; }

  enum class Kind { none, earlier, confirmed, unconfirmed };

  /// Waits for the next marker: whether it answers command number `command` (from 1) or an earlier one, and
  /// whether that was confirmed. None when there is none by the deadline, or ever. In the writer.
  Kind waitForMarker(std::int64_t command, Clock::time_point deadline) {
    if (!ready_.try_acquire_until(deadline)) return Kind::none;
    const std::lock_guard lock(lock_);
    if (taken_ == markers_) {
      // The end woke us, and wakes whoever comes after us.
      ready_.release();
      return Kind::none;
    }
    ++taken_;
    if (taken_ != command || markers_ != command) return Kind::earlier;
    return output_.lastMarkerConfirmed() ? Kind::confirmed : Kind::unconfirmed;
  }

 private:
  static constexpr std::int64_t mostSignals = 1'000'000'000;

  std::counting_semaphore<> ready_{0};
  std::atomic<bool> ended_ = false;
  std::int64_t signalled_ = 0;  ///< the reader's own
  std::mutex lock_;             ///< over what follows
  Output output_;
  std::int64_t markers_ = 0;
  std::int64_t taken_ = 0;
};

/// Starts a thread that takes no signals: those are for the threads that know them.
template <typename Function>
std::thread quietThread(Function function) {
  const AllSignalsBlocked blocked;
  try {
    return std::thread(std::move(function));
  } catch (const std::system_error&) {
    return {};  // no thread left: the caller sees one that is not joinable
  }
}

}  // namespace

/// The child with its reader. The reader forks the child and lives until it is reaped, because on Linux the
/// child dies with the thread that forked it; it knows the answers and the pipes, never the session.
class Session::Child {
 public:
  static std::unique_ptr<Child> start(const std::filesystem::path& executable,
                                      std::chrono::milliseconds limit);
  ~Child() { close(false); }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  bool run(const std::filesystem::path& file, const std::vector<std::string>& arguments);
  bool lastWriteConfirmed() const { return confirmed_; }
  bool isRunning() { return process_->isRunning(); }
  void close(bool withStopCommand);

 private:
  explicit Child(std::chrono::milliseconds limit) : limit_(limit) {}
  bool open(const std::filesystem::path& executable);
  void read(int output, int release);

  const std::chrono::milliseconds limit_;
  std::unique_ptr<ChildProcess> process_;
  Answers answers_;
  Pipe release_;  ///< the reader may go when its write end closes
  std::thread reader_;

  std::mutex lock_;    ///< serialises write and close, over what follows
  bool alive_ = true;  ///< until close begins
  bool whole_ = true;  ///< the child has taken every command from end to end
  std::int64_t sent_ = 0;
  std::atomic<bool> confirmed_ = false;
};

std::unique_ptr<Session::Child> Session::Child::start(const std::filesystem::path& executable,
                                                      std::chrono::milliseconds limit) {
  std::unique_ptr<Child> child(new Child(limit));
  return child->open(executable) && child->isRunning() ? std::move(child) : nullptr;
}

bool Session::Child::open(const std::filesystem::path& executable) {
  auto pipe = makePipe();
  if (!pipe) return false;
  release_ = std::move(*pipe);
  const ChildProcess::Command command{executable,
                                      {"-stay_open", "True", "-@", "-"},
                                      ChildProcess::Stream::pipe,
                                      ChildProcess::Stream::pipe,
                                      environmentChanges()};
  std::promise<std::unique_ptr<ChildProcess>> start;
  auto started = start.get_future();
  reader_ = quietThread([this, command, start = std::move(start), release = release_.read.get()]() mutable {
    auto child = ChildProcess::start(command);
    const int output = child ? child->output().get() : -1;
    start.set_value(std::move(child));
    if (output >= 0) read(output, release);
  });
  if (!reader_.joinable()) return false;
  process_ = started.get();
  return process_ != nullptr;
}

void Session::Child::read(int output, int release) {
  std::array<char, 4096> bytes{};
  std::array<pollfd, 2> both{{{release, POLLIN, 0}, {output, POLLIN, 0}}};
  while (true) {
    if (poll(both.data(), both.size(), -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (both[0].revents != 0) break;
    if (both[1].revents == 0) continue;
    const ssize_t count = ::read(output, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    answers_.take({bytes.data(), static_cast<std::size_t>(count)});
  }
  answers_.end();
  while (::read(release, bytes.data(), 1) < 0 && errno == EINTR) {
  }
}

bool Session::Child::run(const std::filesystem::path& file, const std::vector<std::string>& arguments) {
  const std::lock_guard lock(lock_);
  confirmed_ = false;
  const auto name = fileArgument(file);
  if (!alive_ || !whole_ || !name || !canNameInCommand(*name)) return false;
  if (answers_.hasEnded() || !isRunning()) return false;

  std::string command;
  for (const std::string& argument : arguments) command += argument + '\n';
  command += *name + "\n-execute\n";
  const auto deadline = Clock::now() + limit_;
  const std::size_t taken = process_->writeInput(command, deadline);
  whole_ = taken == 0 || taken == command.size();
  if (taken < command.size()) return false;

  const auto answer = answers_.waitForMarker(++sent_, deadline);
  confirmed_ = answer == Answers::Kind::confirmed;
  return answer != Answers::Kind::none;
}

void Session::Child::close(bool withStopCommand) {
  const std::lock_guard lock(lock_);
  alive_ = false;
  if (process_ && process_->input()) {
    // A child that has no room for this does not read; it is ended below.
    if (withStopCommand && whole_) process_->writeInput("-stay_open\nFalse\n", Clock::now());
    process_->input().close();
    process_->end();
  }
  release_.write.close();
  if (reader_.joinable()) reader_.join();
}

std::unique_ptr<Session> Session::start(const std::optional<std::filesystem::path>& executable,
                                        std::chrono::milliseconds limit) {
  if (!executable) return nullptr;
  auto child = Child::start(*executable, limit);
  return child ? std::unique_ptr<Session>(new Session(std::move(child))) : nullptr;
}

Session::Session(std::unique_ptr<Child> child) : child_(std::move(child)) {}

Session::~Session() = default;

bool Session::write(const std::filesystem::path& file, const SidecarData& data,
                    const std::optional<std::string>& caption) {
  return run(file, arguments(data, caption));
}

bool Session::run(const std::filesystem::path& file, const std::vector<std::string>& arguments) {
  return child_->run(file, arguments);
}

bool Session::lastWriteConfirmed() const { return child_->lastWriteConfirmed(); }

bool Session::isRunning() const { return child_->isRunning(); }

void Session::close() { child_->close(true); }

}  // namespace tollbrook::ExifTool
