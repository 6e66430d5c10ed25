#include "Folder.h"

#include <unistd.h>

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
  const Files::Descriptor opened = Files::openFolder(path);
  // A folder that may be listed but not entered shows names and none of the files.
  if (!opened || faccessat(opened.get(), ".", X_OK, 0) != 0) {
    throw CannotStart(Console::shown(path) + ": " + Files::lastError().message());
  }
  return path;
}

}  // namespace tollbrook::cli
