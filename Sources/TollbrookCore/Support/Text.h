#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// Text as people see it. Strings are UTF-8; a byte that is no UTF-8 (file names may hold any) counts as one
/// character of its own that equals only itself and has no case. A "character" is an extended grapheme
/// cluster (Unicode Standard Annex #29), so a carriage return and the line feed after it are one. ASCII takes
/// a fast path everywhere. All functions may be called from any thread; std::runtime_error says that the
/// Unicode library is unusable (no memory, or its data are missing), std::length_error that a text has more
/// than half a gigabyte.
namespace tollbrook::Text {

bool isAscii(std::string_view text);

/// Whether the bytes are well-formed UTF-8 (Unicode Standard, table 3-7).
bool isValidUtf8(std::string_view text);

/// `text` with each byte that is not part of well-formed UTF-8 replaced by U+FFFD.
std::string replacingInvalidUtf8(std::string_view text);

/// Number of characters.
std::size_t characterCount(std::string_view text);

/// The first `count` characters; the whole text when it has no more.
std::string_view prefix(std::string_view text, std::size_t count);

/// What follows the first `count` characters.
std::string_view dropFirst(std::string_view text, std::size_t count);

/// Byte offsets of the character boundaries, 0 and text.size() included; {0} for the empty text.
std::vector<std::size_t> characterBoundaries(std::string_view text);

/// Whether a character begins or the text ends at this byte offset.
bool isCharacterBoundary(std::string_view text, std::size_t offset);

/// Unicode lower-casing in the root locale (Unicode Standard, 3.13, toLowercase).
std::string lowercased(std::string_view text);

/// Normalization form C: canonically equivalent texts give the same bytes (Unicode Standard Annex #15).
std::string canonical(std::string_view text);

/// canonical(lowercased(text)): what two names must share to be the same name in any case.
std::string foldedKey(std::string_view text);

/// The same, added to the end of `keys`, which may hold any bytes.
void appendFoldedKey(std::string& keys, std::string_view text);

/// Canonical equivalence.
bool equal(std::string_view a, std::string_view b);

/// Whether the first characters of `text` are those of `start`, both in canonical form: equal bytes that end
/// on a character boundary of `text`. (In that form "e" is no prefix of "e" with a combining accent.)
bool hasPrefix(std::string_view text, std::string_view start);

/// The same for the last characters.
bool hasSuffix(std::string_view text, std::string_view end);

/// `text` without white space (Unicode's separators and tab) and line breaks (U+000A to U+000D, U+0085) at
/// both ends.
std::string_view trimmed(std::string_view text);

/// The order in which a file browser lists names: case-insensitive, runs of digits by value, otherwise as the
/// user's locale sorts. One comparison costs much more than one key, so sort by key. One object may be used
/// by several threads at once.
class NameOrder {
 public:
  /// The order of the user's locale, as the environment names it; the root order for "C" and "POSIX", which
  /// put all capitals first.
  NameOrder();
  /// The order of the locale with this BCP 47 or ICU name; "" is the root locale.
  explicit NameOrder(const char* locale);
  ~NameOrder();
  NameOrder(const NameOrder&) = delete;
  NameOrder& operator=(const NameOrder&) = delete;

  /// Bytes whose lexicographic order is the order of the names; equal for names that the order does not tell
  /// apart.
  std::string key(std::string_view name) const;

 private:
  struct Collator;
  std::unique_ptr<Collator> collator_;
};

}  // namespace tollbrook::Text
