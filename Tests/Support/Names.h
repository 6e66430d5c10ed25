#pragma once

#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tollbrook::test {

/// The names in a folder, sorted.
std::vector<std::string> namesIn(const std::filesystem::path& folder);

/// Whether a name ends in one of these extensions, in whatever case; they are given in lower case with a dot.
bool hasExtension(const std::filesystem::path& name, std::initializer_list<std::string_view> extensions);

}  // namespace tollbrook::test
