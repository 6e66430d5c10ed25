#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tollbrook::test {

/// One way to write a text down.
struct TextEncoding {
  const char* name;
  std::size_t unitBytes;
  bool bigEndian;
};

inline constexpr TextEncoding wideEncodings[] = {
    {"UTF-16LE", 2, false}, {"UTF-16BE", 2, true}, {"UTF-32LE", 4, false}, {"UTF-32BE", 4, true}};

/// The code points of well-formed UTF-8.
std::u32string codePoints(std::string_view utf8);
/// One code unit in this encoding, whatever it means.
std::string codeUnit(char32_t unit, const TextEncoding& encoding);
/// Well-formed UTF-8 in another encoding, without a byte-order mark.
std::string encoded(std::string_view utf8, const TextEncoding& encoding);
std::string byteOrderMark(const TextEncoding& encoding);

}  // namespace tollbrook::test
