#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tollbrook::test {

/// A fresh folder that goes with everything in it.
class TemporaryFolder {
 public:
  /// In the system's folder for temporary files, or in `parent`.
  explicit TemporaryFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path());
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

/// Makes `file` with these bytes, and the folders above it.
void writeFile(const std::filesystem::path& file, std::string_view bytes);
/// The bytes of `file`; fails the test when it cannot be read.
std::string readFile(const std::filesystem::path& file);

}  // namespace tollbrook::test
