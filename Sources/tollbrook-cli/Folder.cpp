#include "Folder.h"

#include <system_error>

#include "Commands.h"
#include "Console.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook::cli {

std::filesystem::path namedFolder(const std::filesystem::path& folder) {
  if (folder.empty()) throw CannotStart("the folder's name is empty");
  std::filesystem::path path = Files::standardized(folder);
  if (path.is_relative()) throw CannotStart("the current folder is gone");
  return path;
}

std::filesystem::path readableFolder(const std::filesystem::path& folder) {
  std::filesystem::path path = namedFolder(folder);
  if (const std::error_code error = Files::folderError(path)) {
    throw CannotStart(Console::shown(path) + ": " + error.message());
  }
  return path;
}

}  // namespace tollbrook::cli
