#include "Support/Names.h"

#include <algorithm>
#include <cctype>

namespace tollbrook::test {

std::vector<std::string> namesIn(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool hasExtension(const std::filesystem::path& name, std::initializer_list<std::string_view> extensions) {
  std::string extension = name.extension();
  for (char& letter : extension) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

}  // namespace tollbrook::test
