#include "TollbrookCore/ImageMetadata/Png.h"

namespace tollbrook::ImageMetadata::Png {

bool recognizes(std::string_view start) { return start.starts_with("\x89PNG\r\n\x1A\n"); }

OutputPlan plan(const ByteSource&, const TargetTags&) { throw Refused("PNG files are not written yet"); }

}  // namespace tollbrook::ImageMetadata::Png
