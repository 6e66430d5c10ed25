#include <cstddef>
#include <cstdint>

#include "ImageFuzzer.h"
#include "TollbrookCore/ImageMetadata/Png.h"
#include "TollbrookCore/ImageMetadata/PngChunks.h"

namespace tollbrook::ImageMetadata {
namespace {

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
}  // namespace tollbrook::ImageMetadata

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace tollbrook::ImageMetadata;
  checkPlan(Png::plan, withChecksums({reinterpret_cast<const char*>(bytes), size}));
  return 0;
}
