#include "TollbrookCore/ImageMetadata/Jpeg.h"

namespace tollbrook::ImageMetadata::Jpeg {

bool recognizes(std::string_view start) { return start.starts_with("\xFF\xD8\xFF"); }

OutputPlan plan(const ByteSource&, const TargetTags&) { throw Refused("JPEG files are not written yet"); }

}  // namespace tollbrook::ImageMetadata::Jpeg
