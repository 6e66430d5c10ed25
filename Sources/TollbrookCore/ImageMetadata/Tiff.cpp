#include "TollbrookCore/ImageMetadata/Tiff.h"

namespace tollbrook::ImageMetadata::Tiff {

bool recognizes(std::string_view start) {
  using namespace std::string_view_literals;
  for (const auto magic : {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv}) {
    if (start.starts_with(magic)) return true;
  }
  return false;
}

OutputPlan plan(const ByteSource&, const TargetTags&) { throw Refused("TIFF files are not written yet"); }

}  // namespace tollbrook::ImageMetadata::Tiff
