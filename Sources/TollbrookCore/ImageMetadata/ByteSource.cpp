#include "TollbrookCore/ImageMetadata/ByteSource.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <system_error>
#include <utility>

#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"

namespace tollbrook::ImageMetadata {
namespace {

constexpr std::size_t pieceSize = std::size_t{64} << 10;
constexpr std::uint64_t windowSize = std::uint64_t{64} << 10;

}  // namespace

void requireSame(bool isSame) {
  if (!isSame) throw Refused("something would change that is not to change");
}

std::string ByteSource::read(std::uint64_t offset, std::uint64_t length) const {
  if (!contains(offset, length)) throw Refused("something lies past the end");
  std::string bytes(length, '\0');
  readInside(offset, bytes.data(), bytes.size());
  return bytes;
}

std::string ByteSource::readUpTo(std::uint64_t offset, std::uint64_t length) const {
  return offset < size_ ? read(offset, std::min(length, size_ - offset)) : std::string();
}

void ByteSource::copyTo(int descriptor, std::uint64_t offset, std::uint64_t length) const {
  if (!contains(offset, length)) throw Refused("something lies past the end");
  copyInside(descriptor, offset, length);
}

void ByteSource::copyInside(int descriptor, std::uint64_t offset, std::uint64_t length) const {
  std::string piece(std::min<std::uint64_t>(length, pieceSize), '\0');
  while (length > 0) {
    const std::size_t count = std::min<std::uint64_t>(length, piece.size());
    readInside(offset, piece.data(), count);
    if (const auto error = Files::writeAll(descriptor, {piece.data(), count})) throw std::system_error(error);
    offset += count;
    length -= count;
  }
}

FileSource::FileSource(int descriptor) : descriptor_(descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) throw std::system_error(Files::lastError());
  if (!S_ISREG(status.st_mode)) throw Refused("this is no file");
  setSize(static_cast<std::uint64_t>(status.st_size));
}

void FileSource::readInside(std::uint64_t offset, char* bytes, std::size_t length) const {
  if (length >= windowSize) return readFromFile(offset, bytes, length);
  if (!windows_[0].holds(offset, length)) std::swap(windows_[0], windows_[1]);
  if (!windows_[0].holds(offset, length)) {
    Window window{.offset = offset, .bytes = std::string(std::min(windowSize, size() - offset), '\0')};
    readFromFile(offset, window.bytes.data(), window.bytes.size());
    windows_[0] = std::move(window);
  }
  std::memcpy(bytes, windows_[0].bytes.data() + (offset - windows_[0].offset), length);
}

void FileSource::readFromFile(std::uint64_t offset, char* bytes, std::size_t length) const {
  while (length > 0) {
    const ssize_t count = pread(descriptor_, bytes, length, static_cast<off_t>(offset));
    if (count == 0) throw Refused("the file was cut short while it was read");
    if (count < 0) {
      if (errno == EINTR) continue;
      throw std::system_error(Files::lastError());
    }
    bytes += count;
    offset += static_cast<std::uint64_t>(count);
    length -= static_cast<std::size_t>(count);
  }
}

void FileSource::copyInside(int descriptor, std::uint64_t offset, std::uint64_t length) const {
  const std::uint64_t copied = Platform::copyRange(descriptor_, offset, descriptor, length);
  ByteSource::copyInside(descriptor, offset + copied, length - copied);
}

void MemorySource::readInside(std::uint64_t offset, char* bytes, std::size_t length) const {
  std::memcpy(bytes, bytes_.data() + offset, length);
}

bool sameBytes(const ByteSource& a, std::uint64_t offsetInA, const ByteSource& b, std::uint64_t offsetInB,
               std::uint64_t length) {
  while (length > 0) {
    const std::uint64_t count = std::min<std::uint64_t>(length, pieceSize);
    if (a.read(offsetInA, count) != b.read(offsetInB, count)) return false;
    offsetInA += count;
    offsetInB += count;
    length -= count;
  }
  return true;
}

std::uint64_t numberAt(std::string_view bytes, std::size_t offset, std::size_t width, ByteOrder order) {
  if (offset > bytes.size() || width > bytes.size() - offset) throw Refused("something ends too early");
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    const std::size_t at = order == ByteOrder::big ? i : width - 1 - i;
    value = value << 8 | static_cast<unsigned char>(bytes[offset + at]);
  }
  return value;
}

std::string numberBytes(std::uint64_t value, std::size_t width, ByteOrder order) {
  std::string bytes(width, '\0');
  for (std::size_t i = 0; i < width; ++i, value >>= 8) {
    bytes[order == ByteOrder::big ? width - 1 - i : i] = static_cast<char>(value & 0xFF);
  }
  return bytes;
}

std::uint64_t sum(std::uint64_t a, std::uint64_t b) {
  if (a > std::numeric_limits<std::uint64_t>::max() - b) throw Refused("an offset is too large");
  return a + b;
}

}  // namespace tollbrook::ImageMetadata
