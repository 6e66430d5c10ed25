#include <cstddef>
#include <cstdint>

#include "ImageFuzzer.h"
#include "TollbrookCore/ImageMetadata/Tiff.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace tollbrook::ImageMetadata;
  checkRewriting(Tiff::plan, checkPlan(Tiff::plan, {reinterpret_cast<const char*>(bytes), size}));
  return 0;
}
