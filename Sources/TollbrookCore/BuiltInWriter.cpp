#include "TollbrookCore/BuiltInWriter.h"

#include <algorithm>
#include <array>
#include <exception>

#include "TollbrookCore/ImageMetadata/ImageWriter.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook {
namespace {

constexpr std::array<std::string_view, 7> imageIOExtensions{"jpg", "jpeg", "heic", "heif",
                                                            "tif", "tiff", "png"};

}  // namespace

bool isImageIOExtension(std::string_view extension) {
  const std::string lower = Text::lowercased(extension);
  return std::find(imageIOExtensions.begin(), imageIOExtensions.end(), lower) != imageIOExtensions.end();
}

bool MetadataWriter::writeWithImageIO(const std::filesystem::path& file, const SidecarData& data,
                                      const std::optional<std::string>& caption) {
  // Whatever goes wrong, the file is as it was.
  try {
    ImageMetadata::writeImage(file, ImageMetadata::targetTags(data, caption));
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace tollbrook
