#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "TollbrookCore/ImageMetadata/Png.h"
#include "TollbrookCore/ImageMetadata/PngChunks.h"

// Any bytes are refused or give a new file, which is then complete: a second write changes nothing.

namespace {

using namespace tollbrook::ImageMetadata;

const TargetTags target{
    .takenTime = tollbrook::fromEpoch(1561982400),
    .position = TargetTags::Position{.latitude = 48.8584, .longitude = -2.2945, .altitude = 35},
    .caption = "a caption"};

/// The input with every checksum right; no change of a byte would get past them else.
std::string withChecksums(const std::string& input) {
  constexpr std::size_t signature = 8, frame = 12;
  std::string file = input.substr(0, signature);
  std::size_t at = signature;
  while (at + frame <= input.size()) {
    const std::uint64_t length = numberAt(input, at, 4, ByteOrder::big);
    if (length > input.size() - at - frame) break;
    file += Png::chunk(input.substr(at + 4, 4), input.substr(at + 8, length));
    at += frame + length;
  }
  return file + (at < input.size() ? input.substr(at) : "");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string file = withChecksums({reinterpret_cast<const char*>(bytes), size});
  std::string written;
  try {
    written = Png::plan(MemorySource(file), target).bytes();
  } catch (const Refused&) {
    return 0;
  }
  if (!Png::plan(MemorySource(written), target).isUnchanged()) std::abort();
  return 0;
}
