#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

/// The built-in image writer: metadata put into JPEG, PNG, TIFF and HEIF files without decoding them.
namespace tollbrook::ImageMetadata {

/// A file that is not to be written, and why: it is damaged, or something in it might be. Thrown by
/// everything that reads or plans; the file is left as it is.
class Refused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What any sound value, item or chunk of metadata stays far below; a damaged file must not fill the memory.
constexpr std::uint64_t mostMetadata = std::uint64_t{16} << 20;

/// For what reads a new file and compares it with the old one: Refused when something else than the target
/// tags differs.
void requireSame(bool isSame);

/// Of numbers. In all formats but TIFF it is big.
enum class ByteOrder { little, big };

/// The unsigned number in `width` (at most 8) bytes of `bytes` from `offset`; Refused when they end before.
std::uint64_t numberAt(std::string_view bytes, std::size_t offset, std::size_t width,
                       ByteOrder order = ByteOrder::big);
/// The low `width` bytes of `value`.
std::string numberBytes(std::uint64_t value, std::size_t width, ByteOrder order = ByteOrder::big);

/// Bytes at offsets, none of which is trusted. One thread at a time.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  std::uint64_t size() const { return size_; }
  bool contains(std::uint64_t offset, std::uint64_t length) const {
    return offset <= size_ && length <= size_ - offset;
  }
  /// These bytes; Refused when they do not all lie inside, std::system_error when they cannot be read.
  std::string read(std::uint64_t offset, std::uint64_t length) const;
  /// The unsigned number in `width` (at most 8) of these bytes; throws as read does.
  std::uint64_t number(std::uint64_t offset, std::size_t width, ByteOrder order = ByteOrder::big) const {
    return numberAt(read(offset, width), 0, width, order);
  }
  /// As many of these bytes as there are.
  std::string readUpTo(std::uint64_t offset, std::uint64_t length) const;
  /// Writes these bytes to the open file `descriptor`, at its position, in pieces. Throws as read does, and
  /// std::system_error when they cannot be written.
  void copyTo(int descriptor, std::uint64_t offset, std::uint64_t length) const;

 protected:
  ByteSource() = default;
  explicit ByteSource(std::uint64_t size) : size_(size) {}
  ByteSource(ByteSource&&) = default;
  ByteSource& operator=(ByteSource&&) = default;
  /// These bytes lie inside, too.
  virtual void copyInside(int descriptor, std::uint64_t offset, std::uint64_t length) const;
  void setSize(std::uint64_t size) { size_ = size; }

 private:
  /// The bytes lie inside.
  virtual void readInside(std::uint64_t offset, char* bytes, std::size_t length) const = 0;

  std::uint64_t size_ = 0;
};

/// The regular file open as `descriptor`, which stays open longer.
class FileSource final : public ByteSource {
 public:
  explicit FileSource(int descriptor);

 private:
  void readInside(std::uint64_t offset, char* bytes, std::size_t length) const override;
  void copyInside(int descriptor, std::uint64_t offset, std::uint64_t length) const override;
  void readFromFile(std::uint64_t offset, char* bytes, std::size_t length) const;

  /// A part of the file that was read before.
  struct Window {
    std::uint64_t offset = 0;
    std::string bytes;

    bool holds(std::uint64_t wanted, std::size_t length) const {
      return wanted >= offset && wanted - offset <= bytes.size() &&
             length <= bytes.size() - (wanted - offset);
    }
  };

  int descriptor_ = -1;
  /// Structures are read in many small steps, at both ends of a file; the one used last comes first.
  mutable std::array<Window, 2> windows_;
};

/// Bytes in memory, which stay there longer.
class MemorySource final : public ByteSource {
 public:
  explicit MemorySource(std::string_view bytes) : ByteSource(bytes.size()), bytes_(bytes) {}

 private:
  void readInside(std::uint64_t offset, char* bytes, std::size_t length) const override;

  std::string_view bytes_;
};

/// Whether two ranges of the same length hold the same bytes; compared in pieces. Throws as read does.
bool sameBytes(const ByteSource& a, std::uint64_t offsetInA, const ByteSource& b, std::uint64_t offsetInB,
               std::uint64_t length);

/// a + b; Refused when that is no 64-bit number.
std::uint64_t sum(std::uint64_t a, std::uint64_t b);

}  // namespace tollbrook::ImageMetadata
