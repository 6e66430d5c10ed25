#include "Support/Encodings.h"

#include <bit>

namespace tollbrook::test {

std::u32string codePoints(std::string_view utf8) {
  std::u32string points;
  for (std::size_t i = 0; i < utf8.size();) {
    const auto first = static_cast<unsigned char>(utf8[i]);
    const int length = first < 0x80 ? 1 : std::countl_one(first);
    char32_t point = length == 1 ? first : first & (0x7Fu >> length);
    for (int k = 1; k < length; ++k) {
      point = point << 6 | (static_cast<unsigned char>(utf8[i + static_cast<std::size_t>(k)]) & 0x3Fu);
    }
    points += point;
    i += static_cast<std::size_t>(length);
  }
  return points;
}

std::string codeUnit(char32_t unit, const TextEncoding& encoding) {
  std::string bytes;
  for (std::size_t i = 0; i < encoding.unitBytes; ++i) {
    const std::size_t place = encoding.bigEndian ? encoding.unitBytes - 1 - i : i;
    bytes += static_cast<char>(static_cast<unsigned char>(unit >> 8 * place));
  }
  return bytes;
}

std::string encoded(std::string_view utf8, const TextEncoding& encoding) {
  std::string bytes;
  for (const char32_t point : codePoints(utf8)) {
    if (encoding.unitBytes == 2 && point >= 0x10000) {
      bytes += codeUnit(0xD800 + ((point - 0x10000) >> 10), encoding);
      bytes += codeUnit(0xDC00 + ((point - 0x10000) & 0x3FF), encoding);
    } else {
      bytes += codeUnit(point, encoding);
    }
  }
  return bytes;
}

std::string byteOrderMark(const TextEncoding& encoding) { return codeUnit(0xFEFF, encoding); }

}  // namespace tollbrook::test
