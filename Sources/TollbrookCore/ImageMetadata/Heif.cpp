#include "TollbrookCore/ImageMetadata/Heif.h"

namespace tollbrook::ImageMetadata::Heif {

bool recognizes(std::string_view start) { return start.size() >= 8 && start.substr(4, 4) == "ftyp"; }

OutputPlan plan(const ByteSource&, const TargetTags&) { throw Refused("HEIF files are not written yet"); }

}  // namespace tollbrook::ImageMetadata::Heif
