#include "TollbrookCore/ImageMetadata/HeifBoxes.h"

#include <algorithm>
#include <limits>

namespace tollbrook::ImageMetadata::Heif {
namespace {

constexpr std::uint64_t shortHeader = 8;
constexpr std::uint64_t longHeader = 16;
// More than the largest picture collection has; each costs a read.
constexpr std::size_t mostFileBoxes = 4096;
// The largest grid has 65536 tiles.
constexpr std::size_t mostBoxes = 70000;

struct Header {
  std::string type;
  std::uint64_t headerSize = shortHeader;
  std::uint64_t size = 0;
  bool reachesEnd = false;
};

// `start` is the beginning of a box, `available` how much there is of it and all that follows.
Header headerOf(std::string_view start, std::uint64_t available) {
  FieldReader fields(start);
  Header header;
  header.size = fields.number(4);
  header.type = fields.bytes(4);
  if (header.size == 0) {
    header.reachesEnd = true;
    header.size = available;
  } else if (header.size == 1) {
    header.headerSize = longHeader;
    header.size = fields.number(8);
  }
  if (header.size < header.headerSize) throw Refused("a box is shorter than its header");
  if (header.size > available) throw Refused("a box runs past the end");
  return header;
}

}  // namespace

std::vector<Box> boxesIn(std::string_view bytes) {
  std::vector<Box> boxes;
  while (!bytes.empty()) {
    if (boxes.size() == mostBoxes) throw Refused("a box holds too many others");
    const Header header = headerOf(bytes, bytes.size());
    if (header.reachesEnd) throw Refused("a box inside another has no size");
    const std::string_view whole = bytes.substr(0, header.size);
    boxes.push_back({header.type, whole, whole.substr(header.headerSize)});
    bytes.remove_prefix(header.size);
  }
  return boxes;
}

std::vector<FileBox> boxesOf(const ByteSource& file) {
  std::vector<FileBox> boxes;
  for (std::uint64_t offset = 0; offset < file.size(); offset = boxes.back().end()) {
    if (boxes.size() == mostFileBoxes) throw Refused("the file has too many boxes");
    const Header header = headerOf(file.readUpTo(offset, longHeader), file.size() - offset);
    boxes.push_back({.type = header.type,
                     .offset = offset,
                     .headerSize = header.headerSize,
                     .size = header.size,
                     .reachesEnd = header.reachesEnd});
  }
  return boxes;
}

std::string boxHeader(std::string_view type, std::uint64_t contentSize) {
  const std::uint64_t size = sum(contentSize, shortHeader);
  if (size <= std::numeric_limits<std::uint32_t>::max()) return numberBytes(size, 4).append(type);
  return numberBytes(1, 4).append(type).append(numberBytes(sum(contentSize, longHeader), 8));
}

std::string box(std::string_view type, std::string_view content) {
  return boxHeader(type, content.size()).append(content);
}

std::uint64_t FieldReader::number(std::size_t width) {
  const std::uint64_t value = numberAt(bytes_, 0, width);
  bytes_.remove_prefix(width);
  return value;
}

std::string_view FieldReader::bytes(std::size_t count) {
  if (count > bytes_.size()) throw Refused("a box ends too early");
  const std::string_view result = bytes_.substr(0, count);
  bytes_.remove_prefix(count);
  return result;
}

std::string_view FieldReader::text() {
  const std::size_t length = std::min(bytes_.find('\0'), bytes_.size());
  const std::string_view result = bytes(length);
  if (!atEnd()) bytes_.remove_prefix(1);
  return result;
}

}  // namespace tollbrook::ImageMetadata::Heif
