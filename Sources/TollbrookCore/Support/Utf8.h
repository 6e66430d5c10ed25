#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// UTF-8, one code point at a time, forwards and backwards. Pure functions, any thread.
namespace tollbrook::Utf8 {

/// One code point of a text and the number of bytes that it takes there. A byte that is no UTF-8 reads as the
/// lone surrogate U+DC00 + byte: well-formed UTF-8 holds no surrogates, so such bytes stay distinct from all
/// text and find their way back.
struct CodePoint {
  char32_t value;
  std::size_t size;

  bool isStrayByte() const { return value >= 0xDC80 && value <= 0xDCFF; }
};

/// The code point that begins at `offset`, which must lie inside the text (Unicode Standard, table 3-7).
CodePoint decode(std::string_view text, std::size_t offset);

/// The last code point of a text, which must not be empty.
CodePoint decodeLast(std::string_view text);

/// Adds the bytes of a code point, or the byte that a lone surrogate from decode stands for.
void append(std::string& text, char32_t value);

}  // namespace tollbrook::Utf8
