#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "TollbrookCore/ImageMetadata/Jpeg.h"

// Any bytes are refused or give a new file, which is then complete: a second write changes nothing.

namespace {

using namespace tollbrook::ImageMetadata;

const TargetTags target{
    .takenTime = tollbrook::fromEpoch(1561982400),
    .position = TargetTags::Position{.latitude = 48.8584, .longitude = -2.2945, .altitude = 35},
    .caption =
        "Gr\xC3\xBC\xC3\x9F"
        "e\nand more"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string file(reinterpret_cast<const char*>(bytes), size);
  std::string written;
  try {
    written = Jpeg::plan(MemorySource(file), target).bytes();
  } catch (const Refused&) {
    return 0;
  }
  if (!Jpeg::plan(MemorySource(written), target).isUnchanged()) std::abort();
  return 0;
}
