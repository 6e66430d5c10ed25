#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "Support/TemporaryFolder.h"
#include "TollbrookCore/JobJournal.h"

namespace tollbrook::test {

/// A job store of its own and a folder of photos, for one test.
class JobStoreTest : public ::testing::Test {
 protected:
  JobStoreTest() {
    std::filesystem::create_directory(photos_);
    JobJournal::setBaseDirectoryOverride(jobs_);
  }
  ~JobStoreTest() override { JobJournal::setBaseDirectoryOverride(std::nullopt); }

  std::unique_ptr<JobJournal> open() { return open(photos_); }
  static std::unique_ptr<JobJournal> open(const std::filesystem::path& folder) {
    return JobJournal::open(folder, true, defaultRestoreOptions());
  }
  /// Another folder of photos.
  std::filesystem::path makeFolder(const std::string& name) const {
    std::filesystem::create_directory(temporary_ / name);
    return temporary_ / name;
  }

  /// The job directory of photos_ and its files.
  std::filesystem::path job() const { return jobs_ / JobJournal::id(photos_); }
  std::filesystem::path record() const { return job() / "job.json"; }
  std::filesystem::path list() const { return job() / "done.log"; }

  static std::unordered_set<std::string> paths(std::initializer_list<const char*> list) {
    return {list.begin(), list.end()};
  }

  const TemporaryFolder temporary_;
  const std::filesystem::path jobs_ = temporary_ / "store/jobs";
  const std::filesystem::path photos_ = temporary_ / "photos";
};

/// No file of this process may grow beyond `size` bytes while this lives, as on a full disk: a write that
/// crosses the limit is cut short, the next one fails.
class FullDisk {
 public:
  explicit FullDisk(unsigned size);
  ~FullDisk();
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  struct State;
  std::unique_ptr<State> before_;
};

}  // namespace tollbrook::test
