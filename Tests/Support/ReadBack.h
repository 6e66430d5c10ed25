#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tollbrook::test {

/// What exiftool reads in `file` (-json -G1 -n): "IFD0:ImageDescription" and so on, times in UTC. Null when
/// it fails.
nlohmann::json metadataOf(const std::filesystem::path& file);

/// The same of several files, in order, for the price of one start of exiftool. All are null when it fails
/// for one.
std::vector<nlohmann::json> metadataOfAll(const std::vector<std::filesystem::path>& files);

/// What it reads in every photo and video below `folder`, by path, from one call of exiftool; tags that stand
/// in several groups are all there.
std::map<std::filesystem::path, nlohmann::json> metadataBelow(const std::filesystem::path& folder);

/// A value of that as text, empty when there is none.
std::string metadataValue(const nlohmann::json& metadata, std::string_view tag);

/// How EXIF writes a time, given in seconds since 1970, in UTC.
std::string stampOf(std::int64_t time);

/// All values of each tag of a file, since a tag may stand there several times.
using Tags = std::map<std::string, std::multiset<std::string>>;

/// What exiftool says with these options of files of one folder, by name.
std::map<std::string, Tags> allTagsOf(const std::filesystem::path& folder,
                                      const std::vector<std::string>& names,
                                      const std::vector<std::string>& options);

/// Those of the files of a folder that exiftool itself changes with these arguments, tried on copies.
std::set<std::string> changedByExifTool(const std::filesystem::path& folder,
                                        const std::vector<std::string>& names,
                                        std::vector<std::string> arguments);

}  // namespace tollbrook::test

/// Skips the test, saying so, where exiftool is not installed.
#define TOLLBROOK_NEEDS_EXIFTOOL() \
  if (!tollbrook::ExifTool::path()) GTEST_SKIP() << "exiftool is not installed: nothing was tested here"
