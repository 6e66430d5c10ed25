#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "TollbrookCore/ImageMetadata/ByteSource.h"

/// The chunks that PNG files are made of (ISO/IEC 15948, 5.3).
namespace tollbrook::ImageMetadata::Png {

/// A chunk, or image data chunks that follow each other.
struct Chunk {
  std::string type;
  std::uint64_t offset;  ///< of its length field
  std::uint64_t size;    ///< with length, type and checksum

  std::uint64_t contentOffset() const { return offset + 8; }
  std::uint64_t contentSize() const { return size - 12; }
  std::uint64_t end() const { return offset + size; }
};

/// The chunks of a file from the header to the end chunk. Throws Refused unless all are whole, the checksums
/// right and the chunks that every file must have where they belong.
std::vector<Chunk> chunksOf(const ByteSource& file);

/// The content of a chunk of metadata; Refused when it is too long for that.
std::string contentOf(const ByteSource& file, const Chunk& chunk);

/// A chunk with its length and checksum.
std::string chunk(std::string_view type, std::string_view content);

}  // namespace tollbrook::ImageMetadata::Png
