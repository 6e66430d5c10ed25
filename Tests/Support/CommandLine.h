#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Support/Program.h"
#include "Support/TemporaryFolder.h"

namespace tollbrook::test {

/// The real command line with a job store of its own, run in a plain environment.
class CommandLine {
 public:
  /// The store is in the folder for temporary files, or in `parent`.
  explicit CommandLine(std::string program = TOLLBROOK_CLI,
                       const std::filesystem::path& parent = std::filesystem::temp_directory_path())
      : program_(std::move(program)), store_(parent) {}

  /// What `run` runs, for tests that change something about it.
  Program::Call call(std::vector<std::string> arguments) const;
  Program::Result run(std::vector<std::string> arguments) const {
    return Program::run(call(std::move(arguments)));
  }
  /// Runs it with --json and fails the test unless it exits with 0 and prints exactly one JSON document.
  nlohmann::json document(std::vector<std::string> arguments) const;

  /// The job directories, in any order.
  std::vector<std::filesystem::path> jobs() const;
  /// The directory of the job of `folder`, or of the only job; empty while no record names it.
  std::filesystem::path job(const std::filesystem::path& folder = {}) const;
  /// Its record; null while there is none.
  nlohmann::json record(const std::filesystem::path& folder = {}) const;
  /// The phase in its record; empty while there is none.
  std::string phase(const std::filesystem::path& folder = {}) const;
  /// Whether nothing at all was written to the store.
  bool hasNoStore() const { return std::filesystem::is_empty(store_.path()); }
  const std::filesystem::path& store() const { return store_.path(); }

 private:
  std::string program_;
  TemporaryFolder store_;
};

/// Exactly one JSON document; null and a failed test for everything else.
nlohmann::json oneDocument(const std::string& text);

/// The lines of a text that ends with a line feed or is empty.
std::vector<std::string> lines(const std::string& text);

/// Keeps every program from writing in a folder, by the lock that writers of a folder take.
class FolderLock {
 public:
  explicit FolderLock(const std::filesystem::path& folder);
  ~FolderLock() { release(); }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  void release();

 private:
  int descriptor_;
};

/// Starts a write of `folder`, stops it by `signal` before its first file, and returns what became of it. The
/// job is unfinished afterwards.
Program::Result stoppedWrite(const CommandLine& commandLine, const std::filesystem::path& folder,
                             std::vector<std::string> options, int signal);

/// The modification date, in seconds since 1970.
double modificationDate(const std::filesystem::path& file);
/// Puts the modification date of `file` at so many seconds since 1970.
void setModificationDate(const std::filesystem::path& file, std::int64_t seconds);

}  // namespace tollbrook::test
