#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "TollbrookCore/ImageMetadata/Heif.h"

// Any bytes are refused or give a new file, which is then complete: a second write changes nothing.

namespace {

using namespace tollbrook::ImageMetadata;

const TargetTags target{
    .takenTime = tollbrook::fromEpoch(1561982400),
    .position = TargetTags::Position{.latitude = 48.8584, .longitude = -2.2945, .altitude = 35},
    .caption = "a caption"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const MemorySource file({reinterpret_cast<const char*>(bytes), size});
  std::string written;
  try {
    written = Heif::plan(file, target).bytes();
  } catch (const Refused&) {
    return 0;
  }
  if (!Heif::plan(MemorySource(written), target).isUnchanged()) std::abort();
  return 0;
}
