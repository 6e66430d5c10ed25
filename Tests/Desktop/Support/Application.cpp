#include "Desktop/Support/Application.h"

#include <fcntl.h>

#include <cerrno>

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

}  // namespace tollbrook::test
