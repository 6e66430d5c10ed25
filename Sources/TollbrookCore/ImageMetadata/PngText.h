#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The text chunks of PNG files and what is stored in them besides text.
namespace tollbrook::ImageMetadata::Png {

/// A text chunk: "tEXt", "zTXt" or "iTXt" (ISO/IEC 15948, 11.3.4).
struct Text {
  std::string type;
  std::string keyword;
  bool isCompressed = false;
  std::string language;
  std::string translatedKeyword;
  std::string text;

  /// The content of the chunk; Refused when it cannot be compressed.
  std::string content() const;
};

/// The keyword of a text chunk, of which `start` is the first part; empty when there is none, or the chunk is
/// no text chunk.
std::string_view textKeyword(std::string_view type, std::string_view start);

/// The text chunk with this content; none when it cannot be read. Refused when it is longer than any sound
/// one.
std::optional<Text> parseText(std::string_view type, std::string_view content);

/// Other metadata written in digits as the text of a chunk, as ImageMagick has introduced it: an empty line,
/// the name, the number of bytes, and the bytes in hexadecimal.
struct RawProfile {
  std::string name;
  std::string bytes;

  /// None when that is not what the text is.
  static std::optional<RawProfile> parse(std::string_view text);
  std::string text() const;
};

}  // namespace tollbrook::ImageMetadata::Png
