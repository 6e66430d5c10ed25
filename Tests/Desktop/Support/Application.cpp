#include "Desktop/Support/Application.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <sstream>
#include <string_view>
#include <utility>

#include "Support/StandIn.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook::test {

Program::Call Application::call(const std::vector<std::string>& arguments) const {
  return {.program = TOLLBROOK_APPLICATION,
          .arguments = arguments,
          .environment = {{"XDG_DATA_HOME", data_.path().string()},
                          {"XDG_RUNTIME_DIR", runtime_.path().string()},
                          {"HOME", data_.path().string()},
                          {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"},
                          {"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus"},
                          {"WAYLAND_DISPLAY", std::nullopt},
                          {"DISPLAY", display_},
                          {"QT_QPA_PLATFORM", display_ ? "xcb" : "offscreen"}}};
}

std::filesystem::path Application::job(const std::filesystem::path& folder) const {
  return data_ / "Tollbrook/jobs" / JobJournal::id(folder);
}

std::optional<JobJournal::Phase> Application::phase(const std::filesystem::path& folder) const {
  std::string text;
  if (Files::readAll(job(folder) / "job.json", 1U << 20U, text)) return std::nullopt;
  const auto record = JobJournal::decode(text);
  return record ? std::optional(record->phase) : std::nullopt;
}

std::size_t Application::finishedCount(const std::filesystem::path& folder) const {
  return JobJournal::loadDone(job(folder) / "done.log").size();
}

bool Application::isRunning(const std::filesystem::path& folder) const {
  const Files::Descriptor directory(open(job(folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  Files::Lock lock;
  return directory && lock.tryAcquire(directory.get()) == Files::Lock::Outcome::taken;
}

bool Application::listens() const {
  for (const auto& entry : std::filesystem::directory_iterator(runtime_.path())) {
    if (entry.is_socket()) return true;
  }
  return false;
}

bool Trace::isPossible() {
  return Program::run({.program = "strace", .arguments = {"-f", "-o", "/dev/null", "true"}}).status == 0;
}

Trace::Trace(Program::Call call) {
  // -y names the file of every descriptor.
  std::vector<std::string> arguments{
      "-f", "-y", "-qq", "-s", "4096", "-e", "trace=%file,%desc", "-o", log_.string(), call.program};
  arguments.insert(arguments.end(), call.arguments.begin(), call.arguments.end());
  call.arguments = std::move(arguments);
  call.program = "strace";
  // A sanitizer cannot look for leaks in a program that is being traced.
  call.environment.emplace_back("ASAN_OPTIONS", "detect_leaks=0");
  program_ = std::make_unique<Program>(call);
  EXPECT_TRUE(eventually([this] { return exists(log_) && file_size(log_) > 0; }));
}

bool Trace::end() const {
  kill(std::stoi(mainThread()), SIGTERM);
  return program_->wait(std::chrono::seconds(60)).status == 0;
}

bool Trace::hasOpened(const std::filesystem::path& folder) const {
  const std::string log = readFile(log_);
  return log.find(folder.string() + '>') != std::string::npos ||
         log.find(folder.string() + '/') != std::string::npos;
}

std::vector<std::string> Trace::callsOfMainThread(const std::filesystem::path& folder) const {
  std::vector<std::string> found;
  for (const std::string& call : callsOfMainThread()) {
    // A name in the arguments of the program, which a sanitizer reads again, or in what another program says
    // touches no file.
    const bool isText = call.find(" execve(") != std::string::npos ||
                        call.find("<socket:") != std::string::npos ||
                        call.find("/cmdline>, ") != std::string::npos;
    if (call.find(folder.string()) != std::string::npos && !isText) found.push_back(call);
  }
  return found;
}

std::vector<std::string> Trace::callsOfMainThread() const {
  constexpr std::string_view unfinished = " <unfinished ...>", resumed = " resumed>";
  const std::string prefix = mainThread() + ' ';
  std::vector<std::string> calls;
  std::istringstream lines(readFile(log_));
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(prefix)) continue;
    // A call in which another thread did something comes in two pieces.
    const auto rest = line.find(resumed);
    if (!calls.empty() && calls.back().ends_with(unfinished) && rest != std::string::npos) {
      calls.back().erase(calls.back().size() - unfinished.size());
      calls.back() += line.substr(rest + resumed.size());
    } else {
      calls.push_back(line);
    }
  }
  return calls;
}

// Which writes the first line.
std::string Trace::mainThread() const {
  const std::string log = readFile(log_);
  return log.substr(0, log.find(' '));
}

}  // namespace tollbrook::test
