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

}  // namespace tollbrook::test
