#include "Support/TiffBlock.h"

#include <utility>

namespace tollbrook::test {
namespace {

using ImageMetadata::numberBytes;
using ImageMetadata::TiffType;
using ImageMetadata::TiffTag::exifIfd;
using ImageMetadata::TiffTag::gpsIfd;

class Writer {
 public:
  explicit Writer(const Block& block) : block_(block) {}

  std::string write() {
    bytes_ = block_.order == ImageMetadata::ByteOrder::little ? "II" : "MM";
    bytes_ += number(block_.isBig ? 43 : 42, 2);
    if (block_.isBig) bytes_ += number(8, 2) + number(0, 2);
    const std::size_t pointer = bytes_.size();
    bytes_ += number(0, width());
    std::vector<BlockEntry> first = block_.first;
    const TiffType offsets = block_.isBig ? TiffType::long8 : TiffType::longInteger;
    if (!block_.exif.empty()) first.push_back(BlockEntry::ofNumbers(exifIfd, offsets, {0}));
    if (!block_.gps.empty()) first.push_back(BlockEntry::ofNumbers(gpsIfd, offsets, {0}));
    std::size_t next = addDirectory(first, pointer);
    if (!block_.exif.empty()) addDirectory(block_.exif, fieldOf(exifIfd));
    if (!block_.gps.empty()) addDirectory(block_.gps, fieldOf(gpsIfd));
    for (const auto& page : block_.laterPages) next = addDirectory(page, next);
    return bytes_;
  }

 private:
  std::size_t width() const { return block_.isBig ? 8 : 4; }
  std::string number(std::uint64_t value, std::size_t size) const {
    return numberBytes(value, size, block_.order);
  }

  /// Where the field of a pointer in the first directory stands.
  std::size_t fieldOf(std::uint16_t tag) const {
    for (const auto& [known, field] : fields_) {
      if (known == tag) return field;
    }
    return 0;
  }

  std::string valueOf(const BlockEntry& entry) const {
    if (entry.numbers.empty()) return entry.bytes;
    const std::uint64_t size = entry.type == TiffType::rational ? 4 : sizeOf(entry.type).value_or(4);
    std::string value;
    for (const std::uint64_t one : entry.numbers) value += number(one, size);
    return value;
  }

  /// The place of the pointer to the directory after this one.
  std::size_t addDirectory(const std::vector<BlockEntry>& entries, std::size_t pointer) {
    if (bytes_.size() % 2 != 0) bytes_ += '\0';
    bytes_.replace(pointer, width(), number(bytes_.size(), width()));
    bytes_ += number(entries.size(), block_.isBig ? 8 : 2);
    std::size_t valuesAt = bytes_.size() + entries.size() * (block_.isBig ? 20 : 12) + width();
    std::string values;
    for (const BlockEntry& entry : entries) {
      const std::string value = valueOf(entry);
      bytes_ += number(entry.tag, 2) + number(static_cast<std::uint16_t>(entry.type), 2);
      bytes_ += number(value.size() / sizeOf(entry.type).value_or(1), width());
      fields_.emplace_back(entry.tag, bytes_.size());
      std::string field = value;
      if (value.size() > width()) {
        field = number(valuesAt + values.size(), width());
        values += value;
        if (values.size() % 2 != 0) values += '\0';
      }
      field.resize(width(), '\0');
      bytes_ += field;
    }
    const std::size_t next = bytes_.size();
    bytes_ += number(0, width()) + values;
    return next;
  }

  const Block& block_;
  std::string bytes_;
  std::vector<std::pair<std::uint16_t, std::size_t>> fields_;
};

}  // namespace

BlockEntry BlockEntry::text(std::uint16_t tag, const std::string& text) {
  return {.tag = tag, .type = TiffType::ascii, .bytes = text + '\0', .numbers = {}};
}

BlockEntry BlockEntry::ofBytes(std::uint16_t tag, TiffType type, std::string bytes) {
  return {.tag = tag, .type = type, .bytes = std::move(bytes), .numbers = {}};
}

BlockEntry BlockEntry::ofNumbers(std::uint16_t tag, TiffType type, std::vector<std::uint64_t> numbers) {
  return {.tag = tag, .type = type, .bytes = {}, .numbers = std::move(numbers)};
}

std::string Block::bytes() const { return Writer(*this).write(); }

}  // namespace tollbrook::test
