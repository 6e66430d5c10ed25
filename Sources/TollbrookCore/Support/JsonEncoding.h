#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

/// The Unicode encodings in which a JSON text may come.
namespace tollbrook::Json {

/// One of UTF-8, UTF-16 and UTF-32, and the byte-order mark in front of it.
struct Encoding {
  std::size_t unitBytes = 1;  ///< 1, 2 or 4
  bool bigEndian = false;
  std::size_t markBytes = 0;

  /// The encoding of a JSON text: told by its byte-order mark, else by where its first four bytes are zero
  /// (RFC 4627, section 3: the first two characters of an object or array are ASCII), else UTF-8.
  static Encoding of(std::string_view text);
};

/// Bytes that converting `text` to UTF-8 takes at most.
std::size_t utf8BytesAtMost(std::string_view text, const Encoding& encoding);

/// Converts `text` (UTF-16 or UTF-32, byte-order mark included) to UTF-8 without mark. Returns the bytes
/// written; none when the text holds an unpaired surrogate, a number beyond U+10FFFF or half a code unit.
std::optional<std::size_t> convertToUtf8(std::string_view text, const Encoding& encoding, char* output);

}  // namespace tollbrook::Json
