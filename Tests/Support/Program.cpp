#include "Support/Program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <thread>

extern char** environ;

namespace tollbrook::test {
namespace {

[[noreturn]] void fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

std::FILE* namelessFile() {
  std::FILE* file = std::tmpfile();
  if (file == nullptr) fail("tmpfile");
  fcntl(fileno(file), F_SETFD, FD_CLOEXEC);
  // Two ends of one file position would overwrite each other.
  fcntl(fileno(file), F_SETFL, O_APPEND);
  return file;
}

std::string contents(std::FILE* file) {
  std::string text;
  std::array<char, 65536> piece;
  for (ssize_t count;
       (count = pread(fileno(file), piece.data(), piece.size(), static_cast<off_t>(text.size()))) > 0;) {
    text.append(piece.data(), static_cast<std::size_t>(count));
  }
  return text;
}

std::vector<char*> pointers(std::vector<std::string>& words) {
  std::vector<char*> list;
  for (std::string& word : words) list.push_back(word.data());
  list.push_back(nullptr);
  return list;
}

std::vector<std::string> environmentOf(const Program::Call& call) {
  std::vector<std::string> list;
  const auto isChanged = [&](std::string_view entry) {
    for (const auto& [name, value] : call.environment) {
      if (entry.starts_with(name + '=')) return true;
    }
    return false;
  };
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (!isChanged(*entry)) list.emplace_back(*entry);
  }
  for (const auto& [name, value] : call.environment) {
    if (value) list.push_back(name + '=' + *value);
  }
  return list;
}

/// As a Result has it; `ending` is what waitpid tells.
int statusOf(int ending) { return WIFSIGNALED(ending) ? 128 + WTERMSIG(ending) : WEXITSTATUS(ending); }

}  // namespace

Program::Program(const Call& call) : output_(namelessFile()), errors_(namelessFile()) {
  std::vector<std::string> words{call.program};
  words.insert(words.end(), call.arguments.begin(), call.arguments.end());
  std::vector<std::string> variables = environmentOf(call);
  const std::vector<char*> arguments = pointers(words);
  std::vector<char*> environment = pointers(variables);
  const int streams[3] = {call.input, call.output >= 0 ? call.output : fileno(output_.get()),
                          call.errors >= 0 ? call.errors : fileno(errors_.get())};
  process_ = fork();
  if (process_ < 0) fail("fork");
  if (process_ == 0) become(call, arguments.data(), environment.data(), streams);
}

void Program::become(const Call& call, char* const* arguments, char** environment, const int (&streams)[3]) {
  // A shell's background has its children ignore some of them.
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) signal(number, SIG_DFL);
  const int input = streams[0] >= 0 ? streams[0] : open("/dev/null", O_RDONLY);
  const bool ready = dup2(input, 0) >= 0 && dup2(streams[1], 1) >= 0 && dup2(streams[2], 2) >= 0 &&
                     (call.folder.empty() || chdir(call.folder.c_str()) == 0) &&
                     (!call.prepare || call.prepare());
  if (ready) {
    environ = environment;
    execvp(arguments[0], arguments);
  }
  _exit(127);
}

Program::~Program() {
  if (!isRunning()) return;
  send(SIGKILL);
  waitpid(process_, nullptr, 0);
}

bool Program::isRunning() {
  if (ending_) return false;
  int ending = 0;
  if (waitpid(process_, &ending, WNOHANG) != process_) return true;
  ending_ = ending;
  return false;
}

void Program::send(int signal) {
  if (!ending_) kill(process_, signal);
}

std::string Program::output() const { return contents(output_.get()); }

std::string Program::errors() const { return contents(errors_.get()); }

Program::Result Program::wait(std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (isRunning() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  Result result;
  if (isRunning()) {
    send(SIGKILL);
    waitpid(process_, nullptr, 0);
    ending_ = 0;
  } else {
    result.status = statusOf(*ending_);
    if (WIFSIGNALED(*ending_)) result.signal = WTERMSIG(*ending_);
  }
  result.output = output();
  result.errors = errors();
  return result;
}

int statusOfChild(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  int ending = 0;
  if (waitpid(child, &ending, 0) != child) fail("waitpid");
  return statusOf(ending);
}

}  // namespace tollbrook::test
