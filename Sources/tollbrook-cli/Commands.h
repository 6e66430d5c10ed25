#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "TollbrookCore/Models.h"

/// The commands of tollbrook-cli. Each prints its result and returns the exit status.
namespace tollbrook::cli {

/// Why the work cannot be begun: one line for standard error, exit status 2.
class CannotStart : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ScanArguments {
  std::filesystem::path folder;
  bool recursive = true;
  std::int64_t limit = 0;  ///< pairs to list; 0 lists none
  bool json = false;
};
int scan(const ScanArguments& arguments);

/// How a write run tells what it does.
struct RunOutput {
  bool json = false;
  bool quiet = false;  ///< no progress
};

struct WriteArguments {
  std::filesystem::path folder;
  bool recursive = true;
  RestoreOptions options = defaultRestoreOptions();
  RunOutput output;
};
int write(const WriteArguments& arguments);

int resume(const RunOutput& output);

int listJobs(bool json);

int forget(const std::filesystem::path& folder);

}  // namespace tollbrook::cli
