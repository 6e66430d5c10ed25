#include "Support/StandIn.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "TollbrookCore/Support/Files.h"

namespace tollbrook::test {

StandIn::StandIn(std::string_view script) {
  std::filesystem::create_symlink(TOLLBROOK_STAND_IN, path());
  setScript(script);
}

void StandIn::setScript(std::string_view script) {
  // The program reads one line for each occasion.
  std::string text(script);
  const std::string logging = "start: log " + (folder_ / "log").string();
  const auto start = text.find("start:");
  if (start == std::string::npos) {
    text = logging + '\n' + text;
  } else {
    text.replace(start, 6, logging + ';');
  }
  writeFile(folder_ / "exiftool.script", text);
}

std::string StandIn::log() const {
  return std::filesystem::exists(folder_ / "log") ? readFile(folder_ / "log") : "";
}

bool eventually(const std::function<bool()>& condition, std::chrono::seconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

bool isHeld(const std::filesystem::path& file) {
  const Files::Descriptor descriptor(open(file.c_str(), O_RDWR | O_CLOEXEC));
  return descriptor && flock(descriptor.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

bool hasNoChild() { return waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD; }

int openDescriptors() {
  int count = 0;
  for (int descriptor = 0; descriptor < 4096; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) ++count;
  }
  return count;
}

}  // namespace tollbrook::test
