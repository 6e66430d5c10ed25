#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Support/Program.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/JobJournal.h"

namespace tollbrook::test {

/// The built application, run as a process of its own with a job store of its own and without a message bus.
class Application {
 public:
  /// Draws into memory; with a display, in a real window there.
  explicit Application(std::optional<std::string> display = std::nullopt) : display_(std::move(display)) {}

  Program::Call call(const std::vector<std::string>& arguments) const;
  std::unique_ptr<Program> start(const std::vector<std::string>& arguments = {}) const {
    return std::make_unique<Program>(call(arguments));
  }
  Program::Result run(const std::vector<std::string>& arguments) const {
    return Program::run(call(arguments));
  }

  const std::filesystem::path& data() const { return data_.path(); }
  std::filesystem::path job(const std::filesystem::path& folder) const;
  /// Of the folder's job; none while there is no whole record.
  std::optional<JobJournal::Phase> phase(const std::filesystem::path& folder) const;
  /// How many files the folder's job lists as finished.
  std::size_t finishedCount(const std::filesystem::path& folder) const;
  /// Whether some program runs the folder's job.
  bool isRunning(const std::filesystem::path& folder) const;
  /// Whether a window has listened for later starts.
  bool listens() const;

 private:
  std::optional<std::string> display_;
  TemporaryFolder data_;
  TemporaryFolder runtime_;
};

/// The application under strace, from which it tells which thread touched what.
class Trace {
 public:
  /// Whether strace is there and may trace.
  static bool isPossible();

  explicit Trace(Program::Call call);

  /// Tells the application to end; whether it ended well.
  bool end() const;
  /// Whether this folder, or something in it, has been opened.
  bool hasOpened(const std::filesystem::path& folder) const;
  /// What the main thread asked of the system about this folder and what is below it.
  std::vector<std::string> callsOfMainThread(const std::filesystem::path& folder) const;

 private:
  std::string mainThread() const;
  std::vector<std::string> callsOfMainThread() const;

  TemporaryFolder temporary_;
  const std::filesystem::path log_ = temporary_ / "strace.log";
  std::unique_ptr<Program> program_;
};

}  // namespace tollbrook::test
