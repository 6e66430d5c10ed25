#include "TollbrookCore/Support/JsonEncoding.h"

#include <cstdint>

namespace tollbrook::Json {
namespace {

constexpr char32_t highSurrogates = 0xD800;
constexpr char32_t lowSurrogates = 0xDC00;
constexpr char32_t behindSurrogates = 0xE000;
constexpr char32_t lastCodePoint = 0x10FFFF;

unsigned byteAt(std::string_view text, std::size_t index) { return static_cast<unsigned char>(text[index]); }

char32_t unitAt(std::string_view text, std::size_t index, const Encoding& encoding) {
  char32_t unit = 0;
  for (std::size_t i = 0; i < encoding.unitBytes; ++i) {
    const std::size_t place = encoding.bigEndian ? i : encoding.unitBytes - 1 - i;
    unit = unit << 8 | byteAt(text, index + place);
  }
  return unit;
}

char* appendUtf8(char32_t point, char* output) {
  const auto put = [&output](char32_t byte) {
    *output++ = static_cast<char>(static_cast<unsigned char>(byte));
  };
  if (point < 0x80) {
    put(point);
  } else if (point < 0x800) {
    put(0xC0 | point >> 6);
    put(0x80 | (point & 0x3F));
  } else if (point < 0x10000) {
    put(0xE0 | point >> 12);
    put(0x80 | (point >> 6 & 0x3F));
    put(0x80 | (point & 0x3F));
  } else {
    put(0xF0 | point >> 18);
    put(0x80 | (point >> 12 & 0x3F));
    put(0x80 | (point >> 6 & 0x3F));
    put(0x80 | (point & 0x3F));
  }
  return output;
}

bool isSurrogate(char32_t unit) { return unit >= highSurrogates && unit < behindSurrogates; }

}  // namespace

Encoding Encoding::of(std::string_view text) {
  // UTF-32 comes first: its little-endian mark begins with that of UTF-16.
  if (text.starts_with(std::string_view("\xFF\xFE\0\0", 4))) return {4, false, 4};
  if (text.starts_with(std::string_view("\0\0\xFE\xFF", 4))) return {4, true, 4};
  if (text.starts_with("\xFF\xFE")) return {2, false, 2};
  if (text.starts_with("\xFE\xFF")) return {2, true, 2};
  if (text.starts_with("\xEF\xBB\xBF")) return {1, false, 3};
  if (text.size() < 4) return {};

  unsigned zeros = 0;
  for (std::size_t i = 0; i < 4; ++i) zeros = zeros << 1 | (text[i] == '\0' ? 1u : 0u);
  switch (zeros) {
    case 0b1110:
      return {4, true, 0};
    case 0b0111:
      return {4, false, 0};
    case 0b1010:
      return {2, true, 0};
    case 0b0101:
      return {2, false, 0};
    default:
      return {};
  }
}

std::size_t utf8BytesAtMost(std::string_view text, const Encoding& encoding) {
  // A unit of UTF-16 becomes three bytes at most (a pair of them four), one of UTF-32 four.
  return text.size() / encoding.unitBytes * (encoding.unitBytes == 2 ? 3 : 4);
}

std::optional<std::size_t> convertToUtf8(std::string_view text, const Encoding& encoding, char* output) {
  if (text.size() % encoding.unitBytes != 0) return std::nullopt;
  const char* const start = output;
  for (std::size_t i = encoding.markBytes; i < text.size(); i += encoding.unitBytes) {
    char32_t point = unitAt(text, i, encoding);
    if (isSurrogate(point)) {
      const std::size_t next = i + encoding.unitBytes;
      if (encoding.unitBytes != 2 || point >= lowSurrogates || next == text.size()) return std::nullopt;
      const char32_t low = unitAt(text, next, encoding);
      if (!isSurrogate(low) || low < lowSurrogates) return std::nullopt;
      point = 0x10000 + ((point - highSurrogates) << 10) + (low - lowSurrogates);
      i = next;
    }
    if (point > lastCodePoint) return std::nullopt;
    output = appendUtf8(point, output);
  }
  return static_cast<std::size_t>(output - start);
}

}  // namespace tollbrook::Json
