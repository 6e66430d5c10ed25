// Stands in for exiftool in tests: answers the -stay_open marker protocol, or runs once, and misbehaves as
// told. What to do stands in a file beside it, named as the program with ".script" added: lines of the form
// "WHEN: action; action; …". WHEN is "start" (either way), "once" (run for one file), "session" (when one
// begins), the number of a command of a session, or "*" (every other command). Without a script every command
// is updated and answered. Like exiftool, it does not end at the end of its input.
//
// Actions: updated, unchanged, failed, say TEXT   print a line
//          marker, split-marker, markers N        answer: at once, byte by byte, N times
//          flood N                                print N bytes without a line end
//          sleep MS, hang, exit N, die            die: of a signal
//          ignore-term                            from then on
//          close-output                           and go on
//          log FILE                               append every byte that is read, and how it was started
//          dump FILE                              append what it was given by whoever started it
//          hold FILE, grandchild FILE             lock FILE for as long as it, or a child of it, lives
//          replace                                rewrite the named file as exiftool does, mode 0600
//          leave                                  begin to, and get no further than the temporary file
//          mind-leftover                          exit 1, as exiftool does, when there is such a file

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace {

std::string trimmed(const std::string& text) {
  const auto start = text.find_first_not_of(' ');
  return start == std::string::npos ? "" : text.substr(start, text.find_last_not_of(' ') - start + 1);
}

void print(const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = write(STDOUT_FILENO, text.data() + done, text.size() - done);
    if (count <= 0) _exit(3);
    done += static_cast<std::size_t>(count);
  }
}

[[noreturn]] void hang() {
  while (true) pause();
}

void pauseFor(long milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

void hold(const std::string& file) {
  const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (descriptor < 0 || flock(descriptor, LOCK_EX) != 0) _exit(4);
}

std::string kindOf(int descriptor) {
  struct stat status = {};
  struct stat null = {};
  if (fstat(descriptor, &status) != 0) return "closed";
  if (stat("/dev/null", &null) == 0 && S_ISCHR(status.st_mode) && status.st_rdev == null.st_rdev)
    return "null";
  return S_ISFIFO(status.st_mode) ? "pipe" : "other";
}

/// The signals for which `holds` is true, as " 2 15".
template <typename Holds>
std::string signalList(Holds holds) {
  std::string list;
  for (int number = 1; number < NSIG; ++number) {
    if (holds(number)) list += ' ' + std::to_string(number);
  }
  return list;
}

std::string givenThings(const std::vector<std::string>& arguments) {
  std::ostringstream dump;
  dump << "descriptors:";
  for (int descriptor = 0; descriptor < 1024; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) dump << ' ' << descriptor;
  }
  sigset_t mask;
  sigprocmask(SIG_SETMASK, nullptr, &mask);
  dump << "\nstreams: " << kindOf(0) << ' ' << kindOf(1) << ' ' << kindOf(2) << "\nprocess: " << getpid()
       << "\ngroup: " << getpgrp()
       << "\nblocked:" << signalList([&](int number) { return sigismember(&mask, number) == 1; })
       << "\nignored:" << signalList([](int number) {
            struct sigaction action = {};
            return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
          })
       << '\n';
  for (const std::string& argument : arguments) dump << "argument: " << argument << '\n';
  for (char** variable = environ; *variable != nullptr; ++variable) dump << "variable: " << *variable << '\n';
  return dump.str();
}

class StandIn {
 public:
  StandIn(const std::string& program, std::vector<std::string> arguments)
      : program_(program), arguments_(std::move(arguments)) {
    std::ifstream script(program + ".script");
    for (std::string line; std::getline(script, line);) {
      const auto colon = line.find(':');
      if (colon != std::string::npos) script_[line.substr(0, colon)] = line.substr(colon + 1);
    }
  }

  int run() {
    perform("start");
    if (arguments_ != std::vector<std::string>{"-stay_open", "True", "-@", "-"}) {
      file_ = arguments_.empty() ? "" : arguments_.back();
      log("[once]\n");
      for (const std::string& argument : arguments_) log(argument + '\n');
      perform("once");
      return 0;
    }
    log("[session]\n");
    perform("session");
    converse();
    hang();
  }

 private:
  void converse() {
    std::string pending;
    std::vector<char> bytes(65536);
    for (ssize_t count; (count = read(STDIN_FILENO, bytes.data(), bytes.size())) > 0;) {
      log({bytes.data(), static_cast<std::size_t>(count)});
      pending.append(bytes.data(), static_cast<std::size_t>(count));
      for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
        takeLine(pending.substr(0, end));
        pending.erase(0, end + 1);
      }
    }
  }

  void takeLine(const std::string& line) {
    if (line == "-execute") {
      const std::string number = std::to_string(++command_);
      perform(script_.count(number) != 0 ? number : "*");
    } else if (file_ == "-stay_open" && line == "False") {
      _exit(0);
    }
    file_ = line;
  }

  void perform(const std::string& when) {
    const auto entry = script_.find(when);
    std::string actions = entry != script_.end() ? entry->second : when == "*" ? "updated; marker" : "";
    std::istringstream list(actions);
    for (std::string action; std::getline(list, action, ';');) {
      action = trimmed(action);
      const auto space = action.find(' ');
      perform(action.substr(0, space), space == std::string::npos ? "" : action.substr(space + 1));
    }
  }

  void perform(const std::string& action, const std::string& operand) {
    using Line = std::map<std::string, std::string>;
    static const Line lines{
        {"updated", "    1 image files updated\n"},
        {"unchanged", "    0 image files updated\n    1 image files unchanged\n"},
        {"failed", "    0 image files updated\n    1 files weren't updated due to errors\n"},
        {"marker", "{ready}\n"}};
    if (const auto line = lines.find(action); line != lines.end()) return print(line->second);
    if (action == "say") return print(operand + '\n');
    if (action == "split-marker") return printSlowly("{ready}\n");
    if (action == "markers") return printTimes(std::stol(operand), "{ready}\n");
    if (action == "flood") return printTimes(std::stol(operand) / 1000, std::string(1000, 'x'));
    if (action == "replace") return replace();
    if (action == "leave") return append(temporary(), "half of it");
    if (action == "mind-leftover" && access(temporary().c_str(), F_OK) == 0) _exit(1);
    if (action == "log") logFile_ = operand;
    if (action == "dump") append(operand, givenThings(arguments_));
    if (action == "hold") hold(operand);
    if (action == "grandchild" && fork() == 0) hold(operand), hang();
    if (action == "sleep") pauseFor(std::stol(operand));
    if (action == "ignore-term") signal(SIGTERM, SIG_IGN);
    if (action == "close-output") close(STDOUT_FILENO);
    if (action == "exit") _exit(std::stoi(operand));
    if (action == "hang") hang();
    if (action == "die") kill(getpid(), SIGKILL);
  }

  static void printSlowly(const std::string& text) {
    for (const char character : text) {
      print(std::string(1, character));
      pauseFor(5);
    }
  }

  static void printTimes(long count, const std::string& text) {
    for (long i = 0; i < count; ++i) print(text);
  }

  std::string temporary() const { return file_ + "_exiftool_tmp"; }

  void replace() const {
    std::ifstream original(file_, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(original)), {});
    append(temporary(), bytes + "rewritten");
    std::rename(temporary().c_str(), file_.c_str());
  }

  static void append(const std::string& file, const std::string& bytes) {
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (descriptor < 0 ||
        write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
      _exit(5);
    }
    close(descriptor);
  }

  void log(const std::string& bytes) const {
    if (!logFile_.empty()) append(logFile_, bytes);
  }

  std::string program_;
  std::vector<std::string> arguments_;
  std::map<std::string, std::string> script_;
  std::string logFile_;
  std::string file_;  ///< the last line or argument
  int command_ = 0;
};

}  // namespace

int main(int count, char** words) {
  return StandIn(words[0], std::vector<std::string>(words + 1, words + count)).run();
}
