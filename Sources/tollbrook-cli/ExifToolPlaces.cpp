#include "TollbrookCore/ExifTool.h"

namespace tollbrook::ExifTool {
namespace {

constexpr const char* usualPlaces[] = {"/opt/homebrew/bin/exiftool", "/usr/local/bin/exiftool",
                                       "/usr/bin/exiftool"};

}  // namespace

const std::span<const char* const> places = usualPlaces;

}  // namespace tollbrook::ExifTool
