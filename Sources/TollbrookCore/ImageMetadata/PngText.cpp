#include "TollbrookCore/ImageMetadata/PngText.h"

#include <zlib.h>

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "TollbrookCore/ImageMetadata/ByteSource.h"

namespace tollbrook::ImageMetadata::Png {
namespace {

constexpr std::size_t longestKeyword = 79;
// No metadata is longer; a chunk of a few bytes could claim gigabytes.
constexpr std::size_t longestText = std::size_t{8} << 20;
constexpr std::size_t bytesPerLine = 36;

unsigned char* zlibBytes(char* bytes) { return reinterpret_cast<unsigned char*>(bytes); }

std::optional<std::string> inflated(std::string_view bytes) {
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) return std::nullopt;
  std::string input(bytes);
  stream.next_in = zlibBytes(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  std::string result;
  int status = Z_OK;
  while (status == Z_OK && result.size() < longestText) {
    char piece[16384];
    stream.next_out = zlibBytes(piece);
    stream.avail_out = sizeof piece;
    status = inflate(&stream, Z_NO_FLUSH);
    result.append(piece, sizeof piece - stream.avail_out);
  }
  const bool isWhole = status == Z_STREAM_END && stream.avail_in == 0;
  inflateEnd(&stream);
  if (status == Z_OK) throw Refused("a text is too long");
  return isWhole ? std::optional(std::move(result)) : std::nullopt;
}

std::string deflated(std::string_view bytes) {
  uLongf size = compressBound(static_cast<uLong>(bytes.size()));
  std::string result(size, '\0');
  const auto* input = reinterpret_cast<const unsigned char*>(bytes.data());
  if (compress2(zlibBytes(result.data()), &size, input, static_cast<uLong>(bytes.size()),
                Z_BEST_COMPRESSION) != Z_OK) {
    throw Refused("a text cannot be compressed");
  }
  result.resize(size);
  return result;
}

/// Takes what stands before the next `end` off the front of `text`; none when there is no such.
std::optional<std::string_view> takeUntil(std::string_view& text, char end) {
  const std::size_t length = text.find(end);
  if (length == std::string_view::npos) return std::nullopt;
  const std::string_view result = text.substr(0, length);
  text.remove_prefix(length + 1);
  return result;
}

bool isTextType(std::string_view type) { return type == "tEXt" || type == "zTXt" || type == "iTXt"; }

// What stands between keyword and text.
bool takeSettings(Text& result, std::string_view& rest) {
  if (result.type == "tEXt") return true;
  result.isCompressed = true;
  if (result.type == "iTXt") {
    if (rest.empty() || (rest.front() != '\0' && rest.front() != '\1')) return false;
    result.isCompressed = rest.front() == '\1';
    rest.remove_prefix(1);
  }
  constexpr char deflateMethod = '\0';
  if (rest.empty() || rest.front() != deflateMethod) return false;
  rest.remove_prefix(1);
  if (result.type == "zTXt") return true;
  const auto language = takeUntil(rest, '\0');
  const auto translated = language ? takeUntil(rest, '\0') : std::nullopt;
  if (!translated) return false;
  result.language = *language;
  result.translatedKeyword = *translated;
  return true;
}

std::optional<unsigned> hexDigit(char c) {
  unsigned value = 0;
  const auto [end, error] = std::from_chars(&c, &c + 1, value, 16);
  return error == std::errc() ? std::optional(value) : std::nullopt;
}

std::optional<std::string> bytesOfHex(std::string_view text) {
  std::string digits;
  std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
               [](char c) { return c != '\n' && c != '\r' && c != ' '; });
  if (digits.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const auto high = hexDigit(digits[i]);
    const auto low = hexDigit(digits[i + 1]);
    if (!high || !low) return std::nullopt;
    bytes += static_cast<char>(*high << 4 | *low);
  }
  return bytes;
}

}  // namespace

std::string Text::content() const {
  std::string content = keyword + '\0';
  if (type == "iTXt") content += isCompressed ? '\1' : '\0';
  if (type != "tEXt") content += '\0';
  if (type == "iTXt") content += language + '\0' + translatedKeyword + '\0';
  return content + (isCompressed ? deflated(text) : text);
}

std::string_view textKeyword(std::string_view type, std::string_view start) {
  if (!isTextType(type)) return {};
  return takeUntil(start, '\0').value_or(std::string_view());
}

std::optional<Text> parseText(std::string_view type, std::string_view content) {
  const std::string_view keyword = textKeyword(type, content);
  if (keyword.empty() || keyword.size() > longestKeyword) return std::nullopt;
  Text result;
  result.type = type;
  result.keyword = keyword;
  std::string_view rest = content.substr(keyword.size() + 1);
  if (!takeSettings(result, rest)) return std::nullopt;
  if (!result.isCompressed) {
    result.text = rest;
    return result;
  }
  auto text = inflated(rest);
  if (!text) return std::nullopt;
  result.text = std::move(*text);
  return result;
}

std::optional<RawProfile> RawProfile::parse(std::string_view text) {
  if (!takeUntil(text, '\n')) return std::nullopt;
  const auto name = takeUntil(text, '\n');
  auto length = name ? takeUntil(text, '\n') : std::nullopt;
  if (!length) return std::nullopt;
  length->remove_prefix(std::min(length->find_first_not_of(' '), length->size()));
  std::size_t count = 0;
  const char* const end = length->data() + length->size();
  const auto number = std::from_chars(length->data(), end, count);
  auto bytes = bytesOfHex(text);
  if (number.ec != std::errc() || number.ptr != end || !bytes || bytes->size() != count) return std::nullopt;
  return RawProfile{std::string(*name), std::move(*bytes)};
}

std::string RawProfile::text() const {
  constexpr std::size_t lengthWidth = 8;
  constexpr std::string_view digits = "0123456789abcdef";
  std::string length = std::to_string(bytes.size());
  if (length.size() < lengthWidth) length.insert(0, lengthWidth - length.size(), ' ');
  std::string result = '\n' + name + '\n' + length;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i % bytesPerLine == 0) result += '\n';
    const auto byte = static_cast<unsigned char>(bytes[i]);
    result += digits[byte >> 4];
    result += digits[byte & 0xF];
  }
  return result + '\n';
}

}  // namespace tollbrook::ImageMetadata::Png
