#pragma once

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace tollbrook::test {

/// What exiftool reads in `file` (-json -G1 -n): "IFD0:ImageDescription" and so on. Null when it fails.
nlohmann::json metadataOf(const std::filesystem::path& file);

/// The same of several files, in order, for the price of one start of exiftool.
std::vector<nlohmann::json> metadataOfAll(const std::vector<std::filesystem::path>& files);

/// What it reads in every photo and video below `folder`, by path, from one call of exiftool; tags that stand
/// in several groups are all there.
std::map<std::filesystem::path, nlohmann::json> metadataBelow(const std::filesystem::path& folder);

/// A value of that as text, empty when there is none.
std::string metadataValue(const nlohmann::json& metadata, std::string_view tag);

}  // namespace tollbrook::test

/// Skips the test, saying so, where exiftool is not installed.
#define TOLLBROOK_NEEDS_EXIFTOOL() \
  if (!tollbrook::ExifTool::path()) GTEST_SKIP() << "exiftool is not installed: nothing was tested here"
