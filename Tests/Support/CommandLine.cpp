#include "Support/CommandLine.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>

#include "Support/StandIn.h"

namespace tollbrook::test {

Program::Call CommandLine::call(std::vector<std::string> arguments) const {
  Program::Call call;
  call.program = program_;
  call.arguments = std::move(arguments);
  // The width of characters is that of the locale; NO_COLOR is for the tests of colours to set.
  call.environment = {
      {"XDG_DATA_HOME", store_.path().string()}, {"LC_ALL", "C.UTF-8"}, {"NO_COLOR", std::nullopt}};
  return call;
}

nlohmann::json CommandLine::document(std::vector<std::string> arguments) const {
  arguments.emplace_back("--json");
  const Program::Result result = run(std::move(arguments));
  EXPECT_EQ(result.status, 0) << result.errors;
  return oneDocument(result.output);
}

std::vector<std::filesystem::path> CommandLine::jobs() const {
  std::vector<std::filesystem::path> result;
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator(store_ / "Tollbrook/jobs", none)) {
    result.push_back(entry.path());
  }
  return result;
}

std::filesystem::path CommandLine::job(const std::filesystem::path& folder) const {
  for (const auto& job : jobs()) {
    if (!std::filesystem::exists(job / "job.json")) continue;
    const auto record = nlohmann::json::parse(readFile(job / "job.json"));
    if (folder.empty() || record.at("folderPath") == folder.string()) return job;
  }
  return {};
}

nlohmann::json CommandLine::record(const std::filesystem::path& folder) const {
  const std::filesystem::path directory = job(folder);
  return directory.empty() ? nlohmann::json() : nlohmann::json::parse(readFile(directory / "job.json"));
}

std::string CommandLine::phase(const std::filesystem::path& folder) const {
  const nlohmann::json found = record(folder);
  return found.is_null() ? "" : found.at("phase");
}

nlohmann::json oneDocument(const std::string& text) {
  nlohmann::json document = nlohmann::json::parse(text, nullptr, false);
  EXPECT_TRUE(document.is_object()) << text;
  return document.is_object() ? document : nlohmann::json();
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    result.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return result;
}

FolderLock::FolderLock(const std::filesystem::path& folder)
    : descriptor_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  EXPECT_EQ(flock(descriptor_, LOCK_EX | LOCK_NB), 0) << folder;
}

void FolderLock::release() {
  if (descriptor_ >= 0) close(descriptor_);
  descriptor_ = -1;
}

Program::Result stoppedWrite(const CommandLine& commandLine, const std::filesystem::path& folder,
                             std::vector<std::string> options, int signal) {
  const FolderLock lock(folder);
  options.insert(options.begin(), {"write", folder.string()});
  Program program(commandLine.call(options));
  EXPECT_TRUE(eventually([&] { return commandLine.phase(folder) == "writing"; }));
  program.send(signal);
  return program.wait();
}

double modificationDate(const std::filesystem::path& file) {
  const auto time = std::chrono::file_clock::to_sys(std::filesystem::last_write_time(file));
  return std::chrono::duration<double>(time.time_since_epoch()).count();
}

void setModificationDate(const std::filesystem::path& file, std::int64_t seconds) {
  const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
  std::filesystem::last_write_time(file, std::chrono::file_clock::from_sys(time));
}

}  // namespace tollbrook::test
