#pragma once

#include <filesystem>
#include <memory>

namespace tollbrook {

/// The program in which the user looks at folders. Main thread only.
class FileManager {
 public:
  virtual ~FileManager() = default;

  /// Shows `file` selected in a window of its folder, or at least that folder. Returns at once; a desktop
  /// that can do neither does nothing.
  virtual void reveal(const std::filesystem::path& file) = 0;
};

/// The file manager of the system that the program runs on.
std::unique_ptr<FileManager> systemFileManager();

}  // namespace tollbrook
