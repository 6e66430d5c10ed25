#include "TollbrookCore/Support/Platform.h"

#include <fcntl.h>

namespace tollbrook::Platform {

FileDates fileDates(const std::filesystem::path& file) { return fileDates(AT_FDCWD, file.c_str()); }

std::error_code setFileDates(const std::filesystem::path& file, TimePoint date) {
  return setFileDates(AT_FDCWD, file.c_str(), date);
}

}  // namespace tollbrook::Platform
