#include "TollbrookCore/Support/Text.h"

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>

#include "TollbrookCore/Support/TextUtf16.h"
#include "TollbrookCore/Support/Utf8.h"

namespace tollbrook::Text {

namespace Utf16 {

std::u16string from(std::string_view text) {
  constexpr char32_t firstSupplementary = 0x10000;
  if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()) / 4) {
    throw std::length_error("text of more than half a gigabyte");
  }
  std::u16string units;
  units.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const Utf8::CodePoint c = Utf8::decode(text, i);
    i += c.size;
    if (c.value < firstSupplementary) {
      units += static_cast<char16_t>(c.value);
    } else {
      units += static_cast<char16_t>(0xD7C0 + (c.value >> 10));
      units += static_cast<char16_t>(0xDC00 + (c.value & 0x3FF));
    }
  }
  return units;
}

std::string toUtf8(std::u16string_view units) {
  std::string text;
  text.reserve(units.size() * 2);
  for (std::size_t i = 0; i < units.size(); ++i) {
    auto value = static_cast<char32_t>(units[i]);
    // A lead surrogate never stands alone: stray bytes are trail surrogates.
    if (value >= 0xD800 && value < 0xDC00) value = ((value - 0xD7C0) << 10) + (units[++i] - 0xDC00u);
    Utf8::append(text, value);
  }
  return text;
}

void require(UErrorCode status, const char* what) {
  if (U_FAILURE(status)) throw std::runtime_error(std::string(what) + ": " + u_errorName(status));
}

}  // namespace Utf16

namespace {

bool isAsciiByte(char c) { return static_cast<unsigned char>(c) < 0x80; }

/// Whether every byte is a character: ASCII without a carriage return, which may be half of one.
bool isBytePerCharacter(std::string_view text) {
  return isAscii(text) && text.find('\r') == std::string_view::npos;
}

char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }

/// Calls an ICU function that fills a buffer and tells the length that it needs.
template <typename Fill>
std::u16string filled(std::size_t expected, const char* what, Fill&& fill) {
  std::u16string result(expected, u'\0');
  for (;;) {
    UErrorCode status = U_ZERO_ERROR;
    const auto needed =
        static_cast<std::size_t>(fill(result.data(), static_cast<std::int32_t>(result.size()), &status));
    const bool tooSmall = status == U_BUFFER_OVERFLOW_ERROR;
    if (!tooSmall) Utf16::require(status, what);
    result.resize(needed);
    if (!tooSmall) return result;
  }
}

std::u16string lowercased16(const std::u16string& text) {
  return filled(text.size() + 8, "lower-casing",
                [&](char16_t* buffer, std::int32_t capacity, UErrorCode* status) {
                  return u_strToLower(buffer, capacity, text.data(), static_cast<std::int32_t>(text.size()),
                                      "", status);
                });
}

std::u16string canonical16(const std::u16string& text) {
  UErrorCode opened = U_ZERO_ERROR;
  const UNormalizer2* normalizer = unorm2_getNFCInstance(&opened);
  Utf16::require(opened, "normalization");
  return filled(text.size() + 8, "normalization",
                [&](char16_t* buffer, std::int32_t capacity, UErrorCode* status) {
                  return unorm2_normalize(normalizer, text.data(), static_cast<std::int32_t>(text.size()),
                                          buffer, capacity, status);
                });
}

struct CloseIterator {
  void operator()(UBreakIterator* iterator) const { ubrk_close(iterator); }
};

/// Opening an iterator reads its rules; one for each thread is enough.
UBreakIterator* characterIterator() {
  thread_local const std::unique_ptr<UBreakIterator, CloseIterator> iterator = [] {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UBreakIterator, CloseIterator> opened(ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status));
    Utf16::require(status, "characters");
    return opened;
  }();
  return iterator.get();
}

/// Turns the stray bytes of a text into control characters, of which each stands alone; a mark would attach
/// itself to a lone surrogate.
void separateStrayBytes(std::u16string& units) {
  constexpr char16_t control = 1;
  bool afterLead = false;
  for (char16_t& unit : units) {
    if (!afterLead && Utf8::CodePoint{static_cast<char32_t>(unit), 1}.isStrayByte()) unit = control;
    afterLead = unit >= 0xD800 && unit < 0xDC00;
  }
}

/// Calls `visit` with the byte offset of every boundary in order, 0 and the size included, until it answers
/// false.
template <typename Visit>
void forEachBoundary(std::string_view text, Visit&& visit) {
  std::u16string units = Utf16::from(text);
  separateStrayBytes(units);
  UBreakIterator* iterator = characterIterator();
  UErrorCode status = U_ZERO_ERROR;
  ubrk_setText(iterator, units.data(), static_cast<std::int32_t>(units.size()), &status);
  Utf16::require(status, "characters");

  std::size_t unit = 0;
  std::size_t byte = 0;
  for (std::int32_t next = ubrk_first(iterator); next != UBRK_DONE; next = ubrk_next(iterator)) {
    while (unit < static_cast<std::size_t>(next)) {
      const Utf8::CodePoint c = Utf8::decode(text, byte);
      unit += c.value >= 0x10000 ? 2 : 1;
      byte += c.size;
    }
    if (!visit(byte)) return;
  }
}

/// Byte offset of the end of the first `count` characters.
std::size_t endOfPrefix(std::string_view text, std::size_t count) {
  if (text.size() <= count) return text.size();
  // What stands before and after decides, so the rest may be anything.
  if (isBytePerCharacter(text.substr(0, count + 1))) return count;
  std::size_t end = text.size();
  std::size_t characters = 0;
  forEachBoundary(text, [&](std::size_t boundary) {
    if (characters++ < count) return true;
    end = boundary;
    return false;
  });
  return end;
}

bool isTrimmed(char32_t c) {
  if (c < 0x80) return c == ' ' || (c >= '\t' && c <= '\r');
  constexpr char32_t nextLine = 0x85;
  const int type = u_charType(static_cast<UChar32>(c));
  return c == nextLine || type == U_SPACE_SEPARATOR || type == U_LINE_SEPARATOR ||
         type == U_PARAGRAPH_SEPARATOR;
}

}  // namespace

bool isAscii(std::string_view text) {
  unsigned char all = 0;
  for (const char c : text) all = static_cast<unsigned char>(all | static_cast<unsigned char>(c));
  return all < 0x80;
}

bool isValidUtf8(std::string_view text) {
  if (isAscii(text)) return true;
  for (std::size_t i = 0; i < text.size();) {
    const Utf8::CodePoint c = Utf8::decode(text, i);
    if (c.isStrayByte()) return false;
    i += c.size;
  }
  return true;
}

std::string replacingInvalidUtf8(std::string_view text) {
  if (isAscii(text)) return std::string(text);
  constexpr char32_t replacement = 0xFFFD;
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const Utf8::CodePoint c = Utf8::decode(text, i);
    Utf8::append(result, c.isStrayByte() ? replacement : c.value);
    i += c.size;
  }
  return result;
}

std::size_t characterCount(std::string_view text) {
  if (isBytePerCharacter(text)) return text.size();
  std::size_t boundaries = 0;
  forEachBoundary(text, [&](std::size_t) {
    ++boundaries;
    return true;
  });
  return boundaries - 1;
}

std::string_view prefix(std::string_view text, std::size_t count) {
  return text.substr(0, endOfPrefix(text, count));
}

std::string_view dropFirst(std::string_view text, std::size_t count) {
  return text.substr(endOfPrefix(text, count));
}

std::vector<std::size_t> characterBoundaries(std::string_view text) {
  std::vector<std::size_t> boundaries;
  boundaries.reserve(text.size() + 1);
  if (isBytePerCharacter(text)) {
    for (std::size_t i = 0; i <= text.size(); ++i) boundaries.push_back(i);
  } else {
    forEachBoundary(text, [&](std::size_t boundary) {
      boundaries.push_back(boundary);
      return true;
    });
  }
  return boundaries;
}

bool isCharacterBoundary(std::string_view text, std::size_t offset) {
  if (offset == 0 || offset >= text.size()) return offset <= text.size();
  const char before = text[offset - 1];
  const char after = text[offset];
  if (isAsciiByte(before) && isAsciiByte(after)) return before != '\r' || after != '\n';
  bool found = false;
  forEachBoundary(text, [&](std::size_t boundary) {
    found = boundary == offset;
    return boundary < offset;
  });
  return found;
}

std::string lowercased(std::string_view text) {
  return isAscii(text) ? foldedKey(text) : Utf16::toUtf8(lowercased16(Utf16::from(text)));
}

std::string canonical(std::string_view text) {
  if (isAscii(text)) return std::string(text);
  return Utf16::toUtf8(canonical16(Utf16::from(text)));
}

std::string foldedKey(std::string_view text) {
  std::string key;
  appendFoldedKey(key, text);
  return key;
}

void appendFoldedKey(std::string& keys, std::string_view text) {
  if (!isAscii(text)) {
    keys += Utf16::toUtf8(canonical16(lowercased16(Utf16::from(text))));
    return;
  }
  const std::size_t start = keys.size();
  keys.resize(start + text.size());
  std::transform(text.begin(), text.end(), keys.begin() + static_cast<std::ptrdiff_t>(start), asciiLower);
}

bool equal(std::string_view a, std::string_view b) {
  if (a == b) return true;
  if (isAscii(a) && isAscii(b)) return false;
  return canonical(a) == canonical(b);
}

bool hasPrefix(std::string_view text, std::string_view start) {
  if (isAscii(text) && isAscii(start)) {
    return text.starts_with(start) && isCharacterBoundary(text, start.size());
  }
  const std::string whole = canonical(text);
  const std::string part = canonical(start);
  return whole.starts_with(part) && isCharacterBoundary(whole, part.size());
}

bool hasSuffix(std::string_view text, std::string_view end) {
  if (isAscii(text) && isAscii(end)) {
    return text.ends_with(end) && isCharacterBoundary(text, text.size() - end.size());
  }
  const std::string whole = canonical(text);
  const std::string part = canonical(end);
  return whole.ends_with(part) && isCharacterBoundary(whole, whole.size() - part.size());
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty()) {
    const Utf8::CodePoint c = Utf8::decode(text, 0);
    if (!isTrimmed(c.value)) break;
    text.remove_prefix(c.size);
  }
  while (!text.empty()) {
    const Utf8::CodePoint c = Utf8::decodeLast(text);
    if (!isTrimmed(c.value)) break;
    text.remove_suffix(c.size);
  }
  return text;
}

}  // namespace tollbrook::Text
