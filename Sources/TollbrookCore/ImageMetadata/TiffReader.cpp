#include "TollbrookCore/ImageMetadata/TiffReader.h"

#include <algorithm>
#include <limits>

namespace tollbrook::ImageMetadata {
namespace {

// What any sound file stays far below; a damaged one must not fill the memory.
constexpr std::uint64_t mostEntries = 100000;
constexpr std::uint64_t mostSubdirectories = 1000;

constexpr std::uint16_t classicMagic = 42, bigMagic = 43;

bool isPointer(TiffType type) {
  return type == TiffType::longInteger || type == TiffType::ifd || type == TiffType::long8 ||
         type == TiffType::ifd8;
}

}  // namespace

std::optional<std::uint64_t> sizeOf(TiffType type) {
  switch (static_cast<int>(type)) {
    case 1:    // BYTE
    case 2:    // ASCII
    case 6:    // SBYTE
    case 7:    // UNDEFINED
    case 129:  // UTF-8 (Exif 3.0)
      return 1;
    case 3:  // SHORT
    case 8:  // SSHORT
      return 2;
    case 4:   // LONG
    case 9:   // SLONG
    case 11:  // FLOAT
    case 13:  // IFD
      return 4;
    case 5:   // RATIONAL
    case 10:  // SRATIONAL
    case 12:  // DOUBLE
    case 16:  // LONG8
    case 17:  // SLONG8
    case 18:  // IFD8
      return 8;
    default:
      return std::nullopt;
  }
}

bool isInteger(TiffType type) {
  switch (static_cast<int>(type)) {
    case 1:   // BYTE
    case 3:   // SHORT
    case 4:   // LONG
    case 6:   // SBYTE
    case 8:   // SSHORT
    case 9:   // SLONG
    case 13:  // IFD
    case 16:  // LONG8
    case 17:  // SLONG8
    case 18:  // IFD8
      return true;
    default:
      return false;
  }
}

const TiffEntry* TiffDirectory::find(std::uint16_t tag) const {
  const auto found =
      std::find_if(entries.begin(), entries.end(), [&](const TiffEntry& entry) { return entry.tag == tag; });
  return found == entries.end() ? nullptr : &*found;
}

std::size_t TiffDirectory::count(std::uint16_t tag) const {
  return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(),
                                                [&](const TiffEntry& entry) { return entry.tag == tag; }));
}

TiffReader::TiffReader(const ByteSource& block) : block_(&block) {
  readHeader();
  const std::uint64_t offset = block.number(firstPointer(), offsetWidth(), order_);
  visit(offset);
  auto first = readDirectory(offset);
  if (!first) throw Refused("the first directory is damaged");
  first_ = std::move(*first);
  exif_ = readPointedTo(TiffTag::exifIfd);
  gps_ = readPointedTo(TiffTag::gpsIfd);
  readOthers();
}

void TiffReader::readHeader() {
  const std::string header = block_->read(0, 8);
  if (!header.starts_with("II") && !header.starts_with("MM")) throw Refused("this is no TIFF block");
  order_ = header[0] == 'I' ? ByteOrder::little : ByteOrder::big;
  const std::uint64_t magic = numberIn(header, 2, 2);
  isBig_ = magic == bigMagic;
  if (!isBig_ && magic != classicMagic) throw Refused("this is no TIFF block");
  if (isBig_ && (numberIn(header, 4, 2) != 8 || numberIn(header, 6, 2) != 0)) {
    throw Refused("this BigTIFF has offsets of an unknown width");
  }
}

void TiffReader::visit(std::uint64_t offset) {
  if (!visited_.insert(offset).second) throw Refused("two pointers lead to one directory");
}

std::optional<TiffDirectory> TiffReader::readDirectory(std::uint64_t offset) {
  const std::uint64_t countWidth = isBig_ ? 8 : 2, entryWidth = isBig_ ? 20 : 12;
  if (offset < headerSize() || !block_->contains(offset, countWidth)) return std::nullopt;
  const std::uint64_t count = block_->number(offset, countWidth, order_);
  if (count > std::numeric_limits<std::uint16_t>::max()) return std::nullopt;
  const std::uint64_t entries = offset + countWidth;
  if (!block_->contains(entries, count * entryWidth)) return std::nullopt;
  entriesRead_ += count + 1;
  if (entriesRead_ > mostEntries) throw Refused("there are too many directory entries");

  const std::string bytes = block_->read(entries, count * entryWidth);
  TiffDirectory directory{.area = {offset, countWidth + bytes.size()}, .entries = {}};
  directory.entries.reserve(count);
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::string_view entry = std::string_view(bytes).substr(i * entryWidth, entryWidth);
    directory.entries.push_back(readEntry(entry, entries + i * entryWidth));
  }
  directory.hasNext = block_->contains(directory.area.end(), offsetWidth());
  if (directory.hasNext) {
    directory.next = block_->number(directory.area.end(), offsetWidth(), order_);
    directory.area.length += offsetWidth();
  }
  return directory;
}

TiffEntry TiffReader::readEntry(std::string_view bytes, std::uint64_t position) const {
  const std::size_t fieldAt = 4 + offsetWidth();
  TiffEntry entry{.tag = static_cast<std::uint16_t>(numberIn(bytes, 0, 2)),
                  .type = static_cast<TiffType>(numberIn(bytes, 2, 2)),
                  .count = numberIn(bytes, 4, offsetWidth()),
                  .position = position,
                  .field = std::string(bytes.substr(fieldAt)),
                  .value = {}};
  const auto width = sizeOf(entry.type);
  if (!width || entry.count > std::numeric_limits<std::uint64_t>::max() / *width) return entry;
  const std::uint64_t length = entry.count * *width;
  const std::uint64_t offset =
      length <= offsetWidth() ? position + fieldAt : numberIn(entry.field, 0, offsetWidth());
  if (block_->contains(offset, length)) entry.value = TiffArea{offset, length};
  return entry;
}

std::optional<TiffDirectory> TiffReader::readPointedTo(std::uint16_t tag) {
  const TiffEntry* const entry = first_.find(tag);
  if (entry == nullptr) return std::nullopt;
  if (first_.count(tag) != 1 || !isPointer(entry->type) || entry->count != 1) {
    throw Refused("the pointer to a directory is doubtful");
  }
  const std::uint64_t offset = number(*entry);
  visit(offset);
  auto directory = readDirectory(offset);
  if (!directory) throw Refused("a directory is damaged");
  return directory;
}

void TiffReader::readOthers() {
  readChain(first_.next);
  if (const TiffEntry* const entry = first_.find(TiffTag::subIfds)) readSubdirectories(*entry);
  if (exif_) {
    if (const TiffEntry* const entry = exif_->find(TiffTag::interopIfd)) readSubdirectories(*entry);
  }
  // A sub-directory may have others, which come to the end of the list.
  for (std::size_t i = 0; i < others_.size(); ++i) {
    for (const auto tag : {TiffTag::subIfds, TiffTag::exifIfd, TiffTag::gpsIfd, TiffTag::interopIfd}) {
      const TiffEntry* const found = others_[i].find(tag);
      if (found == nullptr) continue;
      const TiffEntry entry = *found;
      readSubdirectories(entry);
    }
  }
}

void TiffReader::readChain(std::uint64_t offset) {
  while (offset != 0) {
    const std::size_t before = others_.size();
    readOther(offset);
    offset = others_.size() > before ? others_.back().next : 0;
  }
}

void TiffReader::readSubdirectories(const TiffEntry& entry) {
  if (!isPointer(entry.type) || !entry.value || entry.count > mostSubdirectories) return;
  for (std::uint64_t i = 0; i < entry.count; ++i) readOther(number(entry, i));
}

void TiffReader::readOther(std::uint64_t offset) {
  if (offset == 0) return;
  visit(offset);
  if (auto directory = readDirectory(offset)) {
    others_.push_back(std::move(*directory));
  } else {
    isWhole_ = false;
  }
}

std::string TiffReader::value(const TiffEntry& entry, std::uint64_t limit) const {
  if (!entry.value || entry.value->length > limit) throw Refused("a value is missing or too large");
  return block_->read(entry.value->offset, entry.value->length);
}

std::uint64_t TiffReader::number(const TiffEntry& entry, std::uint64_t index) const {
  const auto width = sizeOf(entry.type);
  if (!entry.value || !width || index >= entry.count) throw Refused("a number is missing");
  return block_->number(entry.value->offset + index * *width, *width, order_);
}

}  // namespace tollbrook::ImageMetadata
