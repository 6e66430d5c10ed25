#include "TollbrookCore/ImageMetadata/JpegExtendedXmp.h"

#include <cstdint>
#include <map>
#include <optional>

namespace tollbrook::ImageMetadata::Jpeg {
namespace {

// Behind the header: a digest by which the parts know each other, the length of the whole, and the place in
// it.
constexpr std::size_t digestSize = 32, lengthAt = digestSize, placeAt = lengthAt + 4, dataAt = placeAt + 4;

struct Extension {
  std::uint64_t length = 0;
  std::map<std::uint64_t, std::string> parts;  ///< by their places

  std::optional<std::string> whole() const {
    std::string bytes;
    for (const auto& [place, part] : parts) {
      if (place != bytes.size()) return std::nullopt;
      bytes += part;
    }
    return bytes.size() == length ? std::optional(std::move(bytes)) : std::nullopt;
  }
};

}  // namespace

std::vector<std::string> extendedXmp(const ByteSource& file, const Layout& layout) {
  std::map<std::string, Extension> extensions;
  std::uint64_t total = 0;
  for (const Segment& segment : layout.segments) {
    if (!segment.is(app1, extendedXmpHeader)) continue;
    total += segment.payloadLength;
    if (total > mostMetadata) throw Refused("the extended XMP is too large");
    const std::string part =
        file.read(segment.payloadOffset, segment.payloadLength).substr(extendedXmpHeader.size());
    if (part.size() < dataAt) continue;
    Extension& extension = extensions[part.substr(0, digestSize)];
    extension.length = numberAt(part, lengthAt, 4);
    const bool isNew = extension.parts.emplace(numberAt(part, placeAt, 4), part.substr(dataAt)).second;
    // Which one counts is up to the reader.
    if (!isNew) throw Refused("a part of the extended XMP is there twice");
  }
  std::vector<std::string> result;
  for (const auto& [digest, extension] : extensions) {
    if (auto whole = extension.whole()) result.push_back(std::move(*whole));
  }
  return result;
}

}  // namespace tollbrook::ImageMetadata::Jpeg
