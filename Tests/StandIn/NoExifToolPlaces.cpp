#include "TollbrookCore/ExifTool.h"

namespace tollbrook::ExifTool {

const std::span<const char* const> places;

}  // namespace tollbrook::ExifTool
