#include "TollbrookCore/ImageMetadata/PngChunks.h"

#include <zlib.h>

#include <algorithm>

namespace tollbrook::ImageMetadata::Png {
namespace {

constexpr std::uint64_t signatureSize = 8;
constexpr std::uint64_t headerContentSize = 13;
constexpr std::uint64_t longestContent = 0x7FFFFFFF;
// An animation has two for each frame.
constexpr std::size_t mostChunks = std::size_t{1} << 16;
constexpr std::uint64_t pieceSize = std::uint64_t{64} << 10;

std::uint32_t checksum(std::uint32_t start, std::string_view bytes) {
  return static_cast<std::uint32_t>(
      crc32_z(start, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
}

void requireChecksum(const ByteSource& file, const Chunk& chunk) {
  std::uint32_t sum = 0;
  std::uint64_t offset = chunk.offset + 4;
  const std::uint64_t end = chunk.end() - 4;
  while (offset < end) {
    const std::string piece = file.read(offset, std::min(pieceSize, end - offset));
    sum = checksum(sum, piece);
    offset += piece.size();
  }
  if (file.number(end, 4) != sum) throw Refused("a checksum is wrong");
}

bool isLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

Chunk readChunk(const ByteSource& file, std::uint64_t offset) {
  const std::string head = file.read(offset, 8);
  const std::uint64_t length = numberAt(head, 0, 4);
  Chunk chunk{.type = head.substr(4), .offset = offset, .size = length + 12};
  if (!std::all_of(chunk.type.begin(), chunk.type.end(), isLetter)) throw Refused("a chunk has no type");
  if (length > longestContent || !file.contains(offset, chunk.size)) throw Refused("a chunk is too long");
  requireChecksum(file, chunk);
  return chunk;
}

}  // namespace

std::vector<Chunk> chunksOf(const ByteSource& file) {
  std::vector<Chunk> chunks;
  std::uint64_t offset = signatureSize;
  bool hasImage = false;
  do {
    Chunk chunk = readChunk(file, offset);
    offset = chunk.end();
    const bool continuesImage = chunk.type == "IDAT" && !chunks.empty() && chunks.back().type == "IDAT";
    if (chunk.type == "IDAT" && hasImage && !continuesImage) throw Refused("the image data is in two places");
    hasImage |= chunk.type == "IDAT";
    if (continuesImage) {
      chunks.back().size += chunk.size;
    } else {
      chunks.push_back(std::move(chunk));
    }
    if (chunks.size() > mostChunks) throw Refused("there are too many chunks");
  } while (chunks.back().type != "IEND");
  if (chunks.front().type != "IHDR" || chunks.front().contentSize() != headerContentSize || !hasImage) {
    throw Refused("header or image data are missing");
  }
  return chunks;
}

std::string contentOf(const ByteSource& file, const Chunk& chunk) {
  if (chunk.contentSize() > mostMetadata) throw Refused("a chunk of metadata is too long");
  return file.read(chunk.contentOffset(), chunk.contentSize());
}

std::string chunk(std::string_view type, std::string_view content) {
  if (content.size() > longestContent) throw Refused("a chunk would become too long");
  const std::string body = std::string(type).append(content);
  return numberBytes(content.size(), 4) + body + numberBytes(checksum(0, body), 4);
}

}  // namespace tollbrook::ImageMetadata::Png
