#include "TollbrookCore/Support/Utf8.h"

namespace tollbrook::Utf8 {
namespace {

unsigned byteAt(std::string_view text, std::size_t offset) {
  return static_cast<unsigned char>(text[offset]);
}

bool isContinuation(unsigned byte) { return (byte & 0xC0) == 0x80; }

CodePoint strayByte(unsigned byte) { return {static_cast<char32_t>(0xDC00 + byte), 1}; }

/// What a first byte announces: how many bytes there are, and which second bytes it allows (fewer than all
/// continuation bytes where a shorter form, a surrogate or a value beyond U+10FFFF would result).
struct Lead {
  std::size_t size;
  unsigned lowestSecond;
  unsigned highestSecond;
};

Lead leadOf(unsigned byte) {
  if (byte >= 0xC2 && byte <= 0xDF) return {2, 0x80, 0xBF};
  if (byte == 0xE0) return {3, 0xA0, 0xBF};
  if (byte == 0xED) return {3, 0x80, 0x9F};
  if (byte >= 0xE1 && byte <= 0xEF) return {3, 0x80, 0xBF};
  if (byte == 0xF0) return {4, 0x90, 0xBF};
  if (byte >= 0xF1 && byte <= 0xF3) return {4, 0x80, 0xBF};
  if (byte == 0xF4) return {4, 0x80, 0x8F};
  return {1, 0, 0};
}

char byteOf(char32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); }

}  // namespace

CodePoint decode(std::string_view text, std::size_t offset) {
  const unsigned first = byteAt(text, offset);
  if (first < 0x80) return {first, 1};
  const Lead lead = leadOf(first);
  if (lead.size == 1 || text.size() - offset < lead.size) return strayByte(first);
  const unsigned second = byteAt(text, offset + 1);
  if (second < lead.lowestSecond || second > lead.highestSecond) return strayByte(first);

  char32_t value = first & (0x7Fu >> lead.size);
  for (std::size_t i = 1; i < lead.size; ++i) {
    const unsigned next = byteAt(text, offset + i);
    if (!isContinuation(next)) return strayByte(first);
    value = value << 6 | (next & 0x3Fu);
  }
  return {value, lead.size};
}

CodePoint decodeLast(std::string_view text) {
  constexpr std::size_t longest = 4;
  const unsigned last = byteAt(text, text.size() - 1);
  if (last < 0x80) return {last, 1};
  for (std::size_t size = 2; size <= longest && size <= text.size(); ++size) {
    const std::size_t start = text.size() - size;
    if (isContinuation(byteAt(text, start))) continue;
    const CodePoint found = decode(text, start);
    if (found.size == size) return found;
    break;
  }
  return strayByte(last);
}

void append(std::string& text, char32_t value) {
  if (value < 0x80) {
    text += byteOf(value);
  } else if (value < 0x800) {
    text += {byteOf(0xC0 | value >> 6), byteOf(0x80 | (value & 0x3F))};
  } else if (CodePoint{value, 1}.isStrayByte()) {
    text += byteOf(value - 0xDC00);
  } else if (value < 0x10000) {
    text += {byteOf(0xE0 | value >> 12), byteOf(0x80 | (value >> 6 & 0x3F)), byteOf(0x80 | (value & 0x3F))};
  } else {
    text += {byteOf(0xF0 | value >> 18), byteOf(0x80 | (value >> 12 & 0x3F)),
             byteOf(0x80 | (value >> 6 & 0x3F)), byteOf(0x80 | (value & 0x3F))};
  }
}

}  // namespace tollbrook::Utf8
