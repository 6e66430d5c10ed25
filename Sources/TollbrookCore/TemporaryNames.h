#pragma once

#include <string_view>

/// What the new files are called that replace media, until they are renamed.
namespace tollbrook::TemporaryNames {

/// The built-in writer's begin with this.
inline constexpr std::string_view builtInPrefix = ".tollbrook-";
/// exiftool's have the file's name with this at the end.
inline constexpr std::string_view exifToolSuffix = "_exiftool_tmp";

}  // namespace tollbrook::TemporaryNames
